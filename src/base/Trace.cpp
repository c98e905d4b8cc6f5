#include "base/Trace.hpp"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <mutex>

#include "base/CryptXmlException.hpp"
#include "base/RecursiveLock.hpp"

namespace trace {
namespace {

constexpr wchar_t kPrefix[] = L"Talvoran-CryptXml.dll: ";

std::atomic<long> debugFlag{0};
RecursiveLock traceLock;

wchar_t lastLine[kLineCapacity];
wchar_t pairBuffer[kPartCapacity];
wchar_t convertBuffer[kPartCapacity];
char narrowPairBuffer[kPartCapacity];

// Read once, at load: the variable forces tracing for the life of the process.
const char* const forcedDebugMode = std::getenv("talvoran-cryptxml-force-debug-mode");

bool Forced() noexcept {
    const char* forced = forcedDebugMode;
    return forced != nullptr && forced[0] == '1';
}

// Appends src to dst (capacity counted in characters, terminator included), cutting
// what does not fit.
template <typename Char>
void AppendTruncating(Char* dst, size_t capacity, const Char* src) noexcept {
    size_t used = 0;
    while (used < capacity && dst[used] != 0) ++used;
    while (used + 1 < capacity && *src != 0) dst[used++] = *src++;
    dst[used < capacity ? used : capacity - 1] = 0;
}

// Decimal digits of a thread id; ids are DWORDs, so no sign and at most ten digits.
void FormatThreadNumber(DWORD id, wchar_t (&out)[30]) noexcept {
    wchar_t reversed[30];
    size_t n = 0;
    do {
        reversed[n++] = static_cast<wchar_t>(L'0' + id % 10);
        id /= 10;
    } while (id != 0);
    for (size_t i = 0; i < n; ++i) out[i] = reversed[n - 1 - i];
    out[n] = 0;
}

template <typename Char>
void CopyTruncating(Char* dst, size_t capacity, const Char* src) noexcept {
    dst[0] = 0;
    AppendTruncating(dst, capacity, src);
}

}  // namespace

bool IsOn() noexcept { return Forced() || debugFlag.load() != 0; }
void Start() noexcept { debugFlag.store(1); }
void Stop() noexcept { debugFlag.store(0); }

void TraceLine(const wchar_t* text) noexcept {
    if (!IsOn() || text == nullptr) return;
    wchar_t threadNumber[30];
    FormatThreadNumber(::GetThreadId(::GetCurrentThread()), threadNumber);

    std::lock_guard<RecursiveLock> guard(traceLock);
    CopyTruncating(lastLine, kLineCapacity, kPrefix);
    AppendTruncating(lastLine, kLineCapacity, threadNumber);
    AppendTruncating(lastLine, kLineCapacity, L". ");
    AppendTruncating(lastLine, kLineCapacity, text);
    AppendTruncating(lastLine, kLineCapacity, L"\n");
    ::OutputDebugStringW(lastLine);
}

void TraceW(const wchar_t* functionName, const wchar_t* text) noexcept {
    if (!IsOn() || functionName == nullptr || text == nullptr) return;
    std::lock_guard<RecursiveLock> guard(traceLock);
    CopyTruncating(pairBuffer, kPartCapacity, functionName);
    AppendTruncating(pairBuffer, kPartCapacity, L". ");
    AppendTruncating(pairBuffer, kPartCapacity, text);
    TraceLine(pairBuffer);
}

void TraceA(const char* text) noexcept {
    if (!IsOn() || text == nullptr) return;
    std::lock_guard<RecursiveLock> guard(traceLock);
    // Text longer than the buffer is cut: convert at most what fits, then terminate.
    const size_t length = ::strnlen(text, kPartCapacity - 1);
    const int converted = ::MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text, static_cast<int>(length), convertBuffer,
                                                static_cast<int>(kPartCapacity - 1));
    convertBuffer[converted > 0 ? converted : 0] = 0;
    TraceLine(convertBuffer);
}

void TraceA(const char* functionName, const char* text) noexcept {
    if (!IsOn() || functionName == nullptr || text == nullptr) return;
    std::lock_guard<RecursiveLock> guard(traceLock);
    CopyTruncating(narrowPairBuffer, kPartCapacity, functionName);
    AppendTruncating(narrowPairBuffer, kPartCapacity, ". ");
    AppendTruncating(narrowPairBuffer, kPartCapacity, text);
    TraceA(narrowPairBuffer);
}

HRESULT CopyLastLine(wchar_t* dst, size_t dstSize) noexcept {
    if (dst == nullptr) return hr::kPointer;
    if (dstSize == 0) return hr::kInvalidArg;
    std::lock_guard<RecursiveLock> guard(traceLock);
    const size_t length = ::wcsnlen(lastLine, kLineCapacity);
    if (length >= dstSize) {
        dst[0] = 0;
        return hr::kInvalidArg;
    }
    std::wmemcpy(dst, lastLine, length + 1);
    return S_OK;
}

}  // namespace trace
