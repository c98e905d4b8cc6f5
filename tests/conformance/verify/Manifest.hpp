#pragma once
#include <map>
#include <string>
#include <vector>

#include "Outcome.hpp"

namespace verifyVectors {

// Where the verification key comes from.
enum class KeySource {
    None,                 // the document is refused before any key is needed
    Document,             // CryptXmlVerifySignature(hSig, NULL, 0): the document's own KeyInfo
    Certificate,          // a DER certificate file, imported here through CryptoAPI
    PublicKeyInfo,        // a DER SubjectPublicKeyInfo file, imported here through CryptoAPI
    HmacSecret,           // a raw secret file, given through CryptXmlSetHMACSecret
    DocumentCertificate,  // the first X509Certificate of the decoded KeyInfo, imported here
};

struct ExternalData {
    std::wstring uri;
    std::string path;
};

// The outcome a row expects, as the manifest states it.
enum class Verdict { Valid, OpenFails, VerifyFails };

struct VectorRow {
    std::string name;
    std::string document;
    KeySource key = KeySource::None;
    std::string keyPath;
    std::vector<ExternalData> external;
    Verdict verdict = Verdict::Valid;
    Expectation failure;  // OpenFails / VerifyFails: what the failure looks like
    std::string note;
};

// Placeholders of the manifest's paths (@SUITES@, @OUT@, @SHARED@) and their values.
using Placeholders = std::map<std::string, std::string>;

// Reads the tab-separated manifest; `error` names the first bad line, if any.
std::vector<VectorRow> LoadManifest(const std::string& path, const Placeholders& places, std::string& error);

}  // namespace verifyVectors
