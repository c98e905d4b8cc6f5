#pragma once
#include <string>

#include "Outcome.hpp"

namespace verifyVectors {

// The build hands over host paths; Wine sees the host's root as drive Z:.
std::string WinPath(const std::string& path);
bool ReadAll(const std::string& path, Bytes& out);
bool WriteAll(const std::string& path, const std::string& text);
std::wstring Widen(const std::string& utf8);
std::string Narrow(const std::wstring& wide);
std::string Environment(const char* name);

}  // namespace verifyVectors
