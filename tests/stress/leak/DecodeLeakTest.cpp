// Opens, reads and closes documents many times in one process and checks that every
// allocation and every registered context is released again, failed opens included.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/SignatureXml.hpp"
#include "CountingAllocator.hpp"
#include "dsig/ContextRegistry.hpp"
#include "crypto/XmlStack.hpp"

using testing_support::Document;
using testing_support::SigParts;
using testing_support::Transform;

namespace {

struct Sample {
    std::string name;
    std::string xml;
};

std::vector<Sample> Corpus() {
    std::vector<Sample> corpus;
    SigParts plain;
    corpus.push_back({"plain", Document(plain.Xml())});
    SigParts rich;
    rich.keyInfo =
        "<KeyInfo><KeyName>k</KeyName><KeyValue><RSAKeyValue><Modulus>AQID</Modulus><Exponent>AQAB"
        "</Exponent></RSAKeyValue></KeyValue><X509Data><X509SubjectName>CN=S</X509SubjectName>"
        "<X509Certificate>MIIB</X509Certificate></X509Data></KeyInfo>";
    rich.objects = "<Object Id=\"obj1\"><Manifest>" + SigParts::Reference("urn:a") + "</Manifest></Object>";
    rich.references =
        SigParts::Reference("#obj1", Transform("http://www.w3.org/2000/09/xmldsig#base64") +
                                         Transform("http://www.w3.org/TR/1999/REC-xpath-19991116", "<XPath>1</XPath>"));
    corpus.push_back({"rich", Document(rich.Xml())});
    // Failing opens: a bad signature after a good one, too many signatures, broken XML.
    SigParts bad;
    bad.signatureMethod = "urn:unknown";
    corpus.push_back({"bad second signature", Document(rich.Xml() + bad.Xml())});
    std::string seventeen;
    for (int i = 0; i < 17; ++i) seventeen += plain.Xml();
    corpus.push_back({"17 signatures", Document(seventeen)});
    corpus.push_back({"truncated", Document(rich.Xml()).substr(0, 200)});
    SigParts duplicate;
    duplicate.objects = "<Object Id=\"d\"/><Object Id=\"d\"/>";
    corpus.push_back({"duplicate object ids", Document(rich.Xml() + duplicate.Xml())});
    // Every document of the xmlsec1 signature suites.
    for (const char* suite : {"merlin-xmldsig-twenty-three", "aleksey-xmldsig-01", "phaos-xmldsig-three"}) {
        const std::string dir = std::string(TALVORAN_XMLSEC1_TESTS) + "/" + suite + "/";
        WIN32_FIND_DATAA found;
        HANDLE search = FindFirstFileA((dir + "*.xml").c_str(), &found);
        if (search == INVALID_HANDLE_VALUE) continue;
        do {
            std::ifstream in(dir + found.cFileName, std::ios::binary);
            corpus.push_back({std::string(suite) + "/" + found.cFileName,
                              std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>())});
        } while (FindNextFileA(search, &found));
        FindClose(search);
    }
    // The real documents shipped with the project's shared material.
    for (const char* name :
         {"gost-csp-made-Verify2001.xml", "gost-csp-made-Verify2012_256.xml", "gost-csp-made-Verify2012_512.xml"}) {
        std::ifstream in(std::string(TALVORAN_SHARED_VECTORS) + "/" + name, std::ios::binary);
        if (in)
            corpus.push_back({name, std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>())});
    }
    return corpus;
}

// One open, a full read of every structure, and a close.
void OpenReadClose(const std::string& xml) {
    CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(xml.size()),
                           reinterpret_cast<BYTE*>(const_cast<char*>(xml.data()))};
    HCRYPTXML doc = nullptr;
    if (CryptXmlOpenToDecode(nullptr, 0, nullptr, 0, &blob, &doc) != S_OK) return;
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    CryptXmlGetDocContext(doc, &ctxt);
    CRYPT_XML_STATUS status;
    CryptXmlGetStatus(doc, &status);
    for (ULONG i = 0; i < ctxt->cSignature; ++i) {
        const CRYPT_XML_SIGNATURE* sig = nullptr;
        CryptXmlGetSignature(ctxt->rgpSignature[i]->hSignature, &sig);
        CryptXmlGetStatus(sig->hSignature, &status);
        for (ULONG r = 0; r < sig->SignedInfo.cReference; ++r) {
            const CRYPT_XML_REFERENCE* ref = nullptr;
            CryptXmlGetReference(sig->SignedInfo.rgpReference[r]->hReference, &ref);
        }
    }
    CryptXmlClose(doc);
}

}  // namespace

TEST(DecodeLeaks, OpenReadCloseReleasesEverything) {
    const std::vector<Sample> corpus = Corpus();
    ASSERT_GE(corpus.size(), 90u) << "the xmlsec1 suites were not found";
    xmlStack::Ensure();
    for (const Sample& sample : corpus) OpenReadClose(sample.xml);  // first-use caches settle here

    constexpr int kRounds = 20;
    const long long before = testing_support::TotalBlocks();
    const long long baseline = testing_support::LiveBlocks();
    for (const Sample& sample : corpus) {
        const long long live = testing_support::LiveBlocks();
        for (int round = 0; round < kRounds; ++round) OpenReadClose(sample.xml);
        EXPECT_EQ(live, testing_support::LiveBlocks()) << sample.name << " leaks";
        EXPECT_EQ(0u, registry::ContextCount()) << sample.name;
    }
    EXPECT_GT(testing_support::TotalBlocks() - before, 10000) << "the rounds allocated next to nothing";
    std::printf(
        "decode leak check: %zu documents x %d rounds, %lld allocations, live blocks %lld -> %lld, "
        "registered contexts %zu\n",
        corpus.size(), kRounds, testing_support::TotalBlocks() - before, baseline, testing_support::LiveBlocks(),
        registry::ContextCount());
    CryptXmlCleanup();
}
