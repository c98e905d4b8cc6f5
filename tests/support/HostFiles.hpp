#pragma once
// Files of the build machine as a Windows test program under Wine reaches them, and the
// UTF-8 / UTF-16 conversions of what the tests read and report.
#include <windows.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace testing_support {

// The build hands over host paths; Wine sees the host's root as drive Z:.
inline std::string WinPath(const std::string& path) {
    std::string p = path;
    if (!p.empty() && p[0] == '/') p = "Z:" + p;
    std::replace(p.begin(), p.end(), '/', '\\');
    return p;
}

inline bool ReadHostFile(const std::string& path, std::vector<unsigned char>& out) {
    std::ifstream in(WinPath(path), std::ios::binary);
    if (!in) return false;
    out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return true;
}

inline std::wstring WidenUtf8(const std::string& utf8) {
    if (utf8.empty()) return std::wstring();
    const int n = ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    std::wstring w(static_cast<size_t>(n), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), &w[0], n);
    return w;
}

inline std::string NarrowUtf8(const std::wstring& wide) {
    if (wide.empty()) return std::string();
    const int n =
        ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), nullptr, 0, nullptr, nullptr);
    std::string s(static_cast<size_t>(n), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), &s[0], n, nullptr, nullptr);
    return s;
}

}  // namespace testing_support
