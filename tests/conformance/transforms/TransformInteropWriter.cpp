// Writes the DLL's output for every case of a manifest made by xmlsec1-c14n-expected.sh:
//   transform_interop_writer MANIFEST OUTDIR
// Each line "NAME<TAB>URI<TAB>/linux/path/of/input.xml" becomes OUTDIR/ours/NAME.out,
// made with the table's factory of CryptXmlGetTransforms; compare-c14n.sh then compares it
// with xmlsec1's. A case the DLL refuses gets no file and a line on stdout.
#include <windows.h>

#include <cryptxml.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "support/TransformSupport.hpp"

namespace {

// The Linux path as Wine shows it on drive Z:.
std::string WinePath(const std::string& path) {
    std::string win = "Z:" + path;
    for (char& c : win) {
        if (c == '/') c = '\\';
    }
    return win;
}

std::wstring Wide(const std::string& text) { return std::wstring(text.begin(), text.end()); }

bool RunCase(const std::string& name, const std::string& uri, const std::string& input, const std::string& outDir) {
    const std::string target = outDir + "\\ours\\" + name + ".out";
    DeleteFileA(target.c_str());  // a refused case must not leave an earlier run's output
    std::ifstream file(WinePath(input), std::ios::binary);
    transformtest::MemorySource source;
    source.data.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    if (!file || source.data.empty()) {
        std::printf("%s: cannot read %s\n", name.c_str(), input.c_str());
        return false;
    }
    const std::wstring wuri = Wide(uri);
    const transformtest::Outcome r = transformtest::Transform(wuri.c_str(), source);
    if (r.hr != S_OK) {
        std::printf("%s: the DLL refuses it: 0x%08lX\n", name.c_str(), static_cast<unsigned long>(r.hr));
        return false;
    }
    std::ofstream out(target, std::ios::binary | std::ios::trunc);
    out.write(r.bytes.data(), static_cast<std::streamsize>(r.bytes.size()));
    return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::printf("usage: transform_interop_writer MANIFEST OUTDIR\n");
        return 2;
    }
    const std::string outDir = WinePath(argv[2]);
    CreateDirectoryA((outDir + "\\ours").c_str(), nullptr);
    std::ifstream manifest(WinePath(argv[1]));
    std::string line;
    int cases = 0;
    int written = 0;
    while (std::getline(manifest, line)) {
        std::istringstream fields(line);
        std::string name, uri, input;
        if (!std::getline(fields, name, '\t') || !std::getline(fields, uri, '\t') || !std::getline(fields, input))
            continue;
        ++cases;
        if (RunCase(name, uri, input, outDir)) ++written;
    }
    std::printf("transform_interop_writer: %d cases, %d written\n", cases, written);
    return cases > 0 && written == cases ? 0 : 1;
}
