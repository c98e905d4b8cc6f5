#pragma once
#include <windows.h>

#include <string>

namespace testing_support {

// The line the trace writes for `text` on the calling thread.
inline std::wstring ExpectedLine(const std::wstring& text) {
    return L"Talvoran-CryptXml.dll: " + std::to_wstring(GetCurrentThreadId()) + L". " + text + L"\n";
}

// The line an export frame writes for a failure of `exportName` with message `what`.
inline std::wstring ExpectedFrameLine(const std::wstring& exportName, const std::wstring& what) {
    return ExpectedLine(exportName + L". " + what);
}

inline std::wstring Widen(const std::string& narrow) { return std::wstring(narrow.begin(), narrow.end()); }

// The composed message of an argument error with a detail text.
inline std::string InvalidArgMessage(const std::string& function, const std::string& detail) {
    return "an error occurred. function: " + function + ". desc: One or more arguments are invalid  " + detail;
}

inline std::string CodeMessage(const std::string& function, const std::string& tableText, const std::string& detail) {
    return "an error occurred. function: " + function + ". desc: " + tableText + " " + detail;
}

}  // namespace testing_support
