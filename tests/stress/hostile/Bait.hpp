#pragma once
// Where the hostile documents point: files in a bait folder and a listener on 127.0.0.1,
// both set up and watched by fetch-watch.py, which fails the run if anything reads a bait
// file or connects to the listener. The program is told both through the environment.
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "support/HostFiles.hpp"

namespace hostile {

class Bait {
public:
    static const Bait& Get() {
        static const Bait bait;
        return bait;
    }

    // file:///Z:/... as Xerces under Wine would open it.
    std::string FileUrl(const std::string& name) const { return "file:///Z:" + dir_ + "/" + name; }
    // Z:\...\name, a system id without a scheme.
    std::string WindowsPath(const std::string& name) const { return testing_support::WinPath(dir_ + "/" + name); }
    std::string HttpUrl(const std::string& name) const { return http_ + "/" + name; }
    const std::string& Dir() const { return dir_; }
    const std::string& Http() const { return http_; }

private:
    Bait() : dir_(Env("HOSTILE_BAIT_DIR")), http_(Env("HOSTILE_BAIT_HTTP")) {}

    static std::string Env(const char* name) {
        const char* value = std::getenv(name);
        if (value == nullptr || *value == '\0') {
            throw std::runtime_error(std::string(name) + " is not set: run this program through fetch-watch.py");
        }
        return value;
    }

    std::string dir_;
    std::string http_;
};

}  // namespace hostile
