#pragma once
#include <string>

namespace textConvert {

// UTF-16 to the ANSI code page, as messages and trace texts are kept.
std::string ToAnsi(const std::wstring& wide);

// The same for a possibly null text; null becomes "NULL".
std::string ToAnsiOrNull(const wchar_t* wide);

}  // namespace textConvert
