#include "support/DebugCapture.hpp"

#include <stdexcept>

namespace keytest {
namespace {

constexpr DWORD kPrintNarrow = 0x40010006;  // DBG_PRINTEXCEPTION_C
constexpr DWORD kPrintWide = 0x4001000A;    // DBG_PRINTEXCEPTION_WIDE_C

// One capture at a time: the tests run on one thread and nest none.
DebugCapture* g_active = nullptr;
std::vector<std::wstring>* g_lines = nullptr;

std::wstring Widen(const char* text, size_t length) {
    if (length == 0) return std::wstring();
    const int count = MultiByteToWideChar(CP_ACP, 0, text, static_cast<int>(length), nullptr, 0);
    std::wstring wide(static_cast<size_t>(count), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text, static_cast<int>(length), &wide[0], count);
    return wide;
}

// ExceptionInformation[0] is the length with the terminator, [1] the text.
std::wstring TextOf(const EXCEPTION_RECORD& record) {
    const size_t length = record.ExceptionInformation[0] > 0 ? record.ExceptionInformation[0] - 1 : 0;
    if (record.ExceptionCode == kPrintWide) {
        return std::wstring(reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1]), length);
    }
    return Widen(reinterpret_cast<const char*>(record.ExceptionInformation[1]), length);
}

}  // namespace

DebugCapture::DebugCapture() {
    if (g_active != nullptr) throw std::logic_error("DebugCapture: one at a time");
    g_active = this;
    g_lines = &lines_;
    handler_ = AddVectoredExceptionHandler(1, &DebugCapture::Handler);
    if (handler_ == nullptr) throw std::runtime_error("AddVectoredExceptionHandler failed");
}

DebugCapture::~DebugCapture() {
    RemoveVectoredExceptionHandler(handler_);
    g_active = nullptr;
    g_lines = nullptr;
}

LONG CALLBACK DebugCapture::Handler(EXCEPTION_POINTERS* pointers) {
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    if (record.ExceptionCode != kPrintNarrow && record.ExceptionCode != kPrintWide) return EXCEPTION_CONTINUE_SEARCH;
    if (g_lines == nullptr || record.NumberParameters < 2) return EXCEPTION_CONTINUE_SEARCH;
    g_lines->push_back(TextOf(record));
    // Handled: OutputDebugString returns without passing the text on, so a wide text is not
    // announced a second time in its narrow form.
    return EXCEPTION_CONTINUE_EXECUTION;
}

}  // namespace keytest
