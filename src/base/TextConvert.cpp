#include "base/TextConvert.hpp"

#include <vector>

#include "base/WinApi.hpp"

namespace textConvert {

std::string ToAnsi(const std::wstring& wide) {
    if (wide.empty()) return std::string();
    const int length = static_cast<int>(wide.size());
    const int needed = ::WideCharToMultiByte(CP_ACP, 0, wide.c_str(), length, nullptr, 0, nullptr, nullptr);
    if (needed <= 0) return std::string();
    std::string out(static_cast<size_t>(needed), '\0');
    ::WideCharToMultiByte(CP_ACP, 0, wide.c_str(), length, &out[0], needed, nullptr, nullptr);
    return out;
}

std::string ToAnsiOrNull(const wchar_t* wide) { return wide == nullptr ? "NULL" : ToAnsi(wide); }

}  // namespace textConvert
