#include "Corpus.hpp"

#include <windows.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>

#include "support/HostFiles.hpp"

namespace fuzz {
namespace {

constexpr size_t kSeedMax = 4u << 20;  // larger files are not documents worth mutating

bool EndsWith(const std::string& text, const char* tail) {
    const size_t n = std::char_traits<char>::length(tail);
    if (text.size() < n) return false;
    return std::equal(text.end() - static_cast<std::ptrdiff_t>(n), text.end(), tail,
                      [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; });
}

std::string Trimmed(const std::string& line) {
    const size_t begin = line.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos) return std::string();
    return line.substr(begin, line.find_last_not_of(" \t\r\n") - begin + 1);
}

DWORD Attributes(const std::string& path) {
    return GetFileAttributesW(testing_support::WidenUtf8(testing_support::WinPath(path)).c_str());
}

// Closes a FindFirstFileW search on every exit.
class FindHandle {
public:
    explicit FindHandle(HANDLE handle) : handle_(handle) {}
    ~FindHandle() {
        if (handle_ != INVALID_HANDLE_VALUE) FindClose(handle_);
    }
    FindHandle(const FindHandle&) = delete;
    FindHandle& operator=(const FindHandle&) = delete;
    HANDLE get() const { return handle_; }

private:
    HANDLE handle_;
};

}  // namespace

bool ReadWholeFile(const std::string& path, std::string& out) {
    std::ifstream in(testing_support::WinPath(path), std::ios::binary);
    if (!in) return false;
    out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return true;
}

bool WriteWholeFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(testing_support::WinPath(path), std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

bool Corpus::Add(const std::string& path) {
    const DWORD attributes = Attributes(path);
    if (attributes == INVALID_FILE_ATTRIBUTES) return false;
    if (attributes & FILE_ATTRIBUTE_DIRECTORY) return AddDirectory(path);
    if (EndsWith(path, ".lst")) return AddList(path);
    return AddFile(path);
}

bool Corpus::AddFile(const std::string& path) {
    SeedDocument seed;
    seed.name = path;
    if (!ReadWholeFile(path, seed.bytes) || seed.bytes.empty() || seed.bytes.size() > kSeedMax) return false;
    seeds_.push_back(std::move(seed));
    return true;
}

bool Corpus::AddDirectory(const std::string& dir) {
    const std::wstring pattern = testing_support::WidenUtf8(testing_support::WinPath(dir + "/*"));
    WIN32_FIND_DATAW found;
    FindHandle search(FindFirstFileW(pattern.c_str(), &found));
    if (search.get() == INVALID_HANDLE_VALUE) return false;
    bool any = false;
    do {
        const std::string name = testing_support::NarrowUtf8(found.cFileName);
        if (name == "." || name == "..") continue;
        const std::string child = dir + "/" + name;
        if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            any = AddDirectory(child) || any;
        } else if (EndsWith(name, ".xml")) {
            any = AddFile(child) || any;
        }
    } while (FindNextFileW(search.get(), &found));
    return any;
}

bool Corpus::AddList(const std::string& path) {
    std::string text;
    if (!ReadWholeFile(path, text)) return false;
    bool any = false;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        const std::string line = Trimmed(text.substr(start, end - start));
        if (!line.empty() && line[0] != '#') any = Add(line) || any;
        start = end + 1;
    }
    return any;
}

void Corpus::Seal() {
    std::sort(seeds_.begin(), seeds_.end(),
              [](const SeedDocument& a, const SeedDocument& b) { return a.name < b.name; });
    std::set<std::string> seen;
    std::vector<SeedDocument> unique;
    for (SeedDocument& seed : seeds_) {
        if (seen.insert(seed.bytes).second) unique.push_back(std::move(seed));
    }
    seeds_.swap(unique);
}

}  // namespace fuzz
