#include "Files.hpp"

#include "support/HostFiles.hpp"

#include <cstdlib>
#include <fstream>

namespace verifyVectors {

std::string WinPath(const std::string& path) { return testing_support::WinPath(path); }

bool ReadAll(const std::string& path, Bytes& out) { return testing_support::ReadHostFile(path, out); }

bool WriteAll(const std::string& path, const std::string& text) {
    std::ofstream out(WinPath(path), std::ios::binary);
    out << text;
    return static_cast<bool>(out);
}

std::wstring Widen(const std::string& utf8) { return testing_support::WidenUtf8(utf8); }

std::string Narrow(const std::wstring& wide) { return testing_support::NarrowUtf8(wide); }

std::string Environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

}  // namespace verifyVectors
