#pragma once
#include "base/WinApi.hpp"

// The debug trace: lines on the debugger channel, the last one kept for
// CryptXmlGetLastDebugMessage. Every entry returns at once when tracing is off and
// never throws; buffers are static so that even an out-of-memory failure is traced.
namespace trace {

constexpr size_t kLineCapacity = 4098;  // the kept line, terminator included
constexpr size_t kPartCapacity = 4096;  // the two-part and conversion buffers

bool IsOn() noexcept;
void Start() noexcept;
void Stop() noexcept;

void TraceLine(const wchar_t* text) noexcept;
void TraceW(const wchar_t* functionName, const wchar_t* text) noexcept;
void TraceA(const char* text) noexcept;
void TraceA(const char* functionName, const char* text) noexcept;

// Copies the last line into dst (dstSize wide characters). E_POINTER for a null dst,
// E_INVALIDARG for a zero size or a buffer too short for the line (dst is emptied).
HRESULT CopyLastLine(wchar_t* dst, size_t dstSize) noexcept;

}  // namespace trace
