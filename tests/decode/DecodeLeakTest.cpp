// Opens, reads and closes documents many times in one process and checks that every
// allocation and every registered context is released again, failed opens included.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "../blackbox/SignatureXml.hpp"
#include "CountingAllocator.hpp"
#include "api/ContextRegistry.hpp"
#include "api/Lifecycle.hpp"

using testing_support::Document;
using testing_support::SigParts;
using testing_support::Transform;

namespace {

std::vector<std::string> Corpus() {
    std::vector<std::string> corpus;
    SigParts plain;
    corpus.push_back(Document(plain.Xml()));
    SigParts rich;
    rich.keyInfo = "<KeyInfo><KeyName>k</KeyName><KeyValue><RSAKeyValue><Modulus>AQID</Modulus><Exponent>AQAB"
                   "</Exponent></RSAKeyValue></KeyValue><X509Data><X509SubjectName>CN=S</X509SubjectName>"
                   "<X509Certificate>MIIB</X509Certificate></X509Data></KeyInfo>";
    rich.objects = "<Object Id=\"obj1\"><Manifest>" + SigParts::Reference("urn:a") + "</Manifest></Object>";
    rich.references = SigParts::Reference("#obj1", Transform("http://www.w3.org/2000/09/xmldsig#base64") +
                                                       Transform("http://www.w3.org/TR/1999/REC-xpath-19991116",
                                                                 "<XPath>1</XPath>"));
    corpus.push_back(Document(rich.Xml()));
    // Failing opens: a bad signature after a good one, too many signatures, broken XML.
    SigParts bad;
    bad.signatureMethod = "urn:unknown";
    corpus.push_back(Document(rich.Xml() + bad.Xml()));
    std::string seventeen;
    for (int i = 0; i < 17; ++i) seventeen += plain.Xml();
    corpus.push_back(Document(seventeen));
    corpus.push_back(Document(rich.Xml()).substr(0, 200));
    SigParts duplicate;
    duplicate.objects = "<Object Id=\"d\"/><Object Id=\"d\"/>";
    corpus.push_back(Document(rich.Xml() + duplicate.Xml()));
    // The real documents shipped with the project's shared material, when present.
    for (const char* name : {"gost-csp-made-Verify2001.xml", "gost-csp-made-Verify2012_256.xml",
                             "gost-csp-made-Verify2012_512.xml"}) {
        std::ifstream in(std::string(TALVORAN_SHARED_VECTORS) + "/" + name, std::ios::binary);
        if (in) corpus.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
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
    const std::vector<std::string> corpus = Corpus();
    ASSERT_GE(corpus.size(), 6u);
    lifecycle::ensureXmlStack();
    for (const std::string& xml : corpus) OpenReadClose(xml);  // first-use caches settle here

    const long long baseline = testing_support::LiveBlocks();
    const long long before = testing_support::TotalBlocks();
    for (int round = 0; round < 50; ++round) {
        for (const std::string& xml : corpus) OpenReadClose(xml);
    }
    EXPECT_GT(testing_support::TotalBlocks() - before, 10000) << "the rounds allocated next to nothing";
    EXPECT_EQ(baseline, testing_support::LiveBlocks());
    EXPECT_EQ(0u, registry::ContextCount());
    std::printf("decode leak check: %zu documents x 50 rounds, %lld allocations, live blocks %lld -> %lld, "
                "registered contexts %zu\n",
                corpus.size(), testing_support::TotalBlocks() - before, baseline, testing_support::LiveBlocks(),
                registry::ContextCount());
    CryptXmlCleanup();
}
