#pragma once
#include <string>

#include "base/Trace.hpp"

namespace testing_support {

// The last trace line as the library keeps it.
inline std::wstring LastLine() {
    wchar_t buffer[trace::kLineCapacity] = {};
    if (trace::CopyLastLine(buffer, trace::kLineCapacity) != S_OK) return L"<copy failed>";
    return buffer;
}

// Switches tracing on for a test and off again afterwards.
class TraceOn {
public:
    TraceOn() { trace::Start(); }
    ~TraceOn() { trace::Stop(); }
};

}  // namespace testing_support
