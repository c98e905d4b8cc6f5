#pragma once
// The seed documents: every *.xml under the directories given, the files a list names, or
// single files. Kept sorted by path and without duplicate contents, so that the same
// directories give the same seed numbers on every run.
#include <string>
#include <vector>

namespace fuzz {

struct SeedDocument {
    std::string name;  // the path it was read from
    std::string bytes;
};

class Corpus {
public:
    // A directory (searched recursively for *.xml), a list file (*.lst: one path a line,
    // '#' starts a comment) or a document. Host paths (/...) are reached through Z:.
    // False when nothing could be read from it.
    bool Add(const std::string& path);
    // Sorts by name and drops documents whose bytes an earlier one has.
    void Seal();

    size_t size() const { return seeds_.size(); }
    bool empty() const { return seeds_.empty(); }
    const SeedDocument& operator[](size_t i) const { return seeds_[i]; }

private:
    bool AddFile(const std::string& path);
    bool AddDirectory(const std::string& dir);
    bool AddList(const std::string& path);

    std::vector<SeedDocument> seeds_;
};

bool ReadWholeFile(const std::string& path, std::string& out);
bool WriteWholeFile(const std::string& path, const std::string& bytes);

}  // namespace fuzz
