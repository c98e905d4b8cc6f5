#include "Files.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace verifyVectors {

std::string WinPath(const std::string& path) {
    std::string p = path;
    if (!p.empty() && p[0] == '/') p = "Z:" + p;
    std::replace(p.begin(), p.end(), '/', '\\');
    return p;
}

bool ReadAll(const std::string& path, Bytes& out) {
    std::ifstream in(WinPath(path), std::ios::binary);
    if (!in) return false;
    out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return true;
}

bool WriteAll(const std::string& path, const std::string& text) {
    std::ofstream out(WinPath(path), std::ios::binary);
    out << text;
    return static_cast<bool>(out);
}

std::wstring Widen(const std::string& utf8) {
    if (utf8.empty()) return std::wstring();
    const int n = ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    std::wstring w(static_cast<size_t>(n), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), &w[0], n);
    return w;
}

std::string Narrow(const std::wstring& wide) {
    if (wide.empty()) return std::string();
    const int n = ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), nullptr, 0, nullptr,
                                        nullptr);
    std::string s(static_cast<size_t>(n), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), &s[0], n, nullptr, nullptr);
    return s;
}

std::string Environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

}  // namespace verifyVectors
