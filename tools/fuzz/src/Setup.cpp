#include "Setup.hpp"

#include <cinttypes>
#include <cstdio>

#include "support/CryptXmlDll.hpp"
#include "support/HostFiles.hpp"

namespace fuzz {
namespace {

BOOL WINAPI CollectUri(const CRYPT_XML_ALGORITHM_INFO* info, void* arg) {
    if (info != nullptr && info->wszAlgorithmURI != nullptr) {
        static_cast<Dictionary*>(arg)->AddUri(testing_support::NarrowUtf8(info->wszAlgorithmURI));
    }
    return TRUE;
}

}  // namespace

std::string HexText(uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%016" PRIX64, value);
    return text;
}

bool LoadCorpus(const Options& options, Corpus& corpus, std::string& error) {
    for (const std::string& path : options.corpus) {
        if (!corpus.Add(path)) std::printf("cryptxml-fuzz: no seed read from %s\n", path.c_str());
    }
    corpus.Seal();
    if (corpus.empty()) error = "no seed documents";
    return !corpus.empty();
}

void LoadDictionary(Dictionary& dictionary) {
    const testing_support::CryptXmlDll& dll = testing_support::CryptXmlDll::Get();
    for (DWORD group : {CRYPT_XML_GROUP_ID_HASH, CRYPT_XML_GROUP_ID_SIGN}) {
        dll.EnumAlgorithmInfo(group, 0, &dictionary, CollectUri);
    }
}

bool LoadSettings(const Options& options, ExerciseSettings& settings, std::string& error) {
    settings.trace = options.trace;
    for (const auto& [uri, file] : options.external) {
        std::string bytes;
        if (!ReadWholeFile(file, bytes)) {
            error = "cannot read " + file;
            return false;
        }
        settings.externalData[testing_support::WidenUtf8(uri)] = bytes;
    }
    return true;
}

bool LoadInputs(const Options& options, Corpus& corpus, Dictionary& dictionary, ExerciseSettings& settings) {
    std::string error;
    if (!LoadCorpus(options, corpus, error) || !LoadSettings(options, settings, error)) {
        std::printf("cryptxml-fuzz: %s\n", error.c_str());
        return false;
    }
    LoadDictionary(dictionary);
    return true;
}

}  // namespace fuzz
