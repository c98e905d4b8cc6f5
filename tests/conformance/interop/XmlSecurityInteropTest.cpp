// RSA-SHA256, DSA-SHA1 and HMAC-SHA256 at the xml-security-c level through our CryptoAPI
// classes, against stock xmlsec1 both ways: documents xmlsec1 signed (fresh keys, made by a
// native step before this test) verify here with the key of their KeyValue; documents
// signed here are written for xmlsec1 to verify in the native step after it.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xsec/dsig/DSIGKeyInfoList.hpp>
#include <xsec/dsig/DSIGKeyInfoValue.hpp>
#include <xsec/dsig/DSIGReference.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/framework/XSECException.hpp>
#include <xsec/framework/XSECProvider.hpp>

#include "crypto/XmlStack.hpp"
#include "exports/Lifecycle.hpp"
#include "support/XsecDocument.hpp"
#include "base/TextConvert.hpp"
#include "crypto/CapiHandles.hpp"
#include "crypto/WinCAPICryptoKeyDSA.hpp"
#include "crypto/WinCAPICryptoKeyHMAC.hpp"
#include "crypto/WinCAPICryptoKeyRSA.hpp"
#include "document/DsigDom.hpp"
#include "document/XmlBlob.hpp"

namespace xc = XERCES_CPP_NAMESPACE;

namespace {

const std::string kOut = TALVORAN_INTEROP_OUT;
constexpr wchar_t kC14n[] = L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315";

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFile(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

std::string Tampered(std::string xml, const std::string& from, const std::string& to) {
    const size_t at = xml.find(from);
    if (at != std::string::npos) xml.replace(at, from.size(), to);
    return xml;
}

const DSIGKeyInfoValue* KeyValue(DSIGSignature* sig) {
    const DSIGKeyInfoList* list = sig->getKeyInfoList();
    for (DSIGKeyInfoList::size_type i = 0; i < list->getSize(); ++i) {
        if (const auto* value = dynamic_cast<const DSIGKeyInfoValue*>(list->item(i))) return value;
    }
    return nullptr;
}

// Loads each Base64 text of the KeyValue into a key class's loader.
template <class Key, class Loader>
void Load(Key& key, Loader loader, const XMLCh* text) {
    const std::string narrow = textConvert::ToAnsi(text != nullptr ? text : L"");
    (key.*loader)(narrow.c_str(), static_cast<unsigned int>(narrow.size()));
}

std::string Hmac() { return ReadFile(kOut + "/keys/hmac.key"); }

class Interop : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        xmlStack::Ensure();
        for (auto* entry : {&rsa_, &dsa_}) {
            HCRYPTPROV ignored = 0;
            CryptAcquireContextW(&ignored, entry->container, nullptr, entry->type, CRYPT_DELETEKEYSET);
            ASSERT_TRUE(
                CryptAcquireContextW(entry->prov.put(), entry->container, nullptr, entry->type, CRYPT_NEWKEYSET));
            HCRYPTKEY key = 0;
            ASSERT_TRUE(CryptGenKey(entry->prov.get(), AT_SIGNATURE, entry->keyFlags, &key))
                << std::hex << GetLastError();
            CryptDestroyKey(key);
            ASSERT_TRUE(CryptAcquireContextW(entry->verify.put(), nullptr, nullptr, entry->type, CRYPT_VERIFYCONTEXT));
        }
    }
    static void TearDownTestSuite() {
        for (auto* entry : {&rsa_, &dsa_}) {
            entry->prov.reset();
            entry->verify.reset();
            HCRYPTPROV ignored = 0;
            CryptAcquireContextW(&ignored, entry->container, nullptr, entry->type, CRYPT_DELETEKEYSET);
        }
        lifecycle::Cleanup();
    }

    struct Provider {
        const wchar_t* container;
        DWORD type;
        DWORD keyFlags;
        crypto::ProvHandle prov;
        crypto::ProvHandle verify;
    };
    static inline Provider rsa_{L"talvoran-interop-rsa", PROV_RSA_AES, 2048u << 16, {}, {}};
    static inline Provider dsa_{L"talvoran-interop-dsa", PROV_DSS, 1024u << 16, {}, {}};

    // Signs the template document of a kind with our key class and writes it (and a
    // tampered copy) for xmlsec1.
    static std::string SignOurs(const char* kind, const wchar_t* method, const wchar_t* digest, XSECCryptoKey* key,
                                bool rsaKeyValue, bool dsaKeyValue) {
        testing_support::XsecDocument doc("<Envelope xmlns=\"urn:envelope\"><Body>interop payload</Body></Envelope>");
        XSECProvider provider;
        DSIGSignature* sig = provider.newSignature();
        sig->setDSIGNSPrefix(L"ds");
        doc.parser.getDocument()->getDocumentElement()->appendChild(
            sig->createBlankSignature(doc.parser.getDocument(), kC14n, method));
        DSIGReference* ref = sig->createReference(L"", digest);
        ref->appendEnvelopedSignatureTransform();
        char a[2048], b[2048], c[2048], d[2048];
        if (rsaKeyValue) {
            auto* rsa = static_cast<WinCAPICryptoKeyRSA*>(key);
            a[rsa->getModulusBase64BigNums(a, sizeof a)] = 0;
            b[rsa->getExponentBase64BigNums(b, sizeof b)] = 0;
            sig->appendRSAKeyValue(Wide(a).c_str(), Wide(b).c_str());
        }
        if (dsaKeyValue) {
            auto* dsa = static_cast<WinCAPICryptoKeyDSA*>(key);
            a[dsa->getPBase64BigNums(a, sizeof a)] = 0;
            b[dsa->getQBase64BigNums(b, sizeof b)] = 0;
            c[dsa->getGBase64BigNums(c, sizeof c)] = 0;
            d[dsa->getYBase64BigNums(d, sizeof d)] = 0;
            sig->appendDSAKeyValue(Wide(a).c_str(), Wide(b).c_str(), Wide(c).c_str(), Wide(d).c_str());
        }
        sig->setSigningKey(key);
        sig->sign();
        provider.releaseSignature(sig);
        const std::string xml = doc.Xml();
        WriteFile(kOut + "/ours/" + kind + ".xml", xml);
        WriteFile(kOut + "/ours/tampered-" + kind + ".xml", Tampered(xml, "interop payload", "interop Payload"));
        return xml;
    }

    static std::wstring Wide(const char* s) { return std::wstring(s, s + std::strlen(s)); }
};

}  // namespace

TEST_F(Interop, XmlsecRsaSha256VerifiesWithItsKeyValue) {
    testing_support::XsecGuarded([&] {
        const std::string xml = ReadFile(kOut + "/peer-rsa-sha256.xml");
        ASSERT_FALSE(xml.empty());
        for (const auto& [text, expected] :
             {std::make_pair(xml, true), std::make_pair(Tampered(xml, "<DigestValue>", "<DigestValue>AAAA"), false)}) {
            testing_support::XsecDocument doc(text);
            DSIGSignature* sig = doc.Load();
            const DSIGKeyInfoValue* value = KeyValue(sig);
            ASSERT_NE(nullptr, value);
            auto key = std::make_unique<WinCAPICryptoKeyRSA>(rsa_.verify.get());
            Load(*key, &WinCAPICryptoKeyRSA::loadPublicModulusBase64BigNums, value->getRSAModulus());
            Load(*key, &WinCAPICryptoKeyRSA::loadPublicExponentBase64BigNums, value->getRSAExponent());
            key->importKey();
            sig->setSigningKey(key.release());
            EXPECT_EQ(expected, sig->verify());
        }
    });
}

TEST_F(Interop, XmlsecDsaSha1VerifiesWithItsKeyValue) {
    testing_support::XsecGuarded([&] {
        const std::string xml = ReadFile(kOut + "/peer-dsa-sha1.xml");
        ASSERT_FALSE(xml.empty());
        testing_support::XsecDocument doc(xml);
        DSIGSignature* sig = doc.Load();
        const DSIGKeyInfoValue* value = KeyValue(sig);
        ASSERT_NE(nullptr, value);
        auto key = std::make_unique<WinCAPICryptoKeyDSA>(dsa_.verify.get());
        Load(*key, &WinCAPICryptoKeyDSA::loadPBase64BigNums, value->getDSAP());
        Load(*key, &WinCAPICryptoKeyDSA::loadQBase64BigNums, value->getDSAQ());
        Load(*key, &WinCAPICryptoKeyDSA::loadGBase64BigNums, value->getDSAG());
        Load(*key, &WinCAPICryptoKeyDSA::loadYBase64BigNums, value->getDSAY());
        key->importKey();
        sig->setSigningKey(key.release());
        EXPECT_TRUE(sig->verify());
    });
}

TEST_F(Interop, XmlsecHmacSha256VerifiesWithTheSharedSecret) {
    testing_support::XsecGuarded([&] {
        const std::string xml = ReadFile(kOut + "/peer-hmac-sha256.xml");
        ASSERT_FALSE(xml.empty());
        for (const auto& [secret, expected] : {std::make_pair(Hmac(), true), std::make_pair(Hmac() + "x", false)}) {
            testing_support::XsecDocument doc(xml);
            DSIGSignature* sig = doc.Load();
            auto key = std::make_unique<WinCAPICryptoKeyHMAC>();
            key->setKey(reinterpret_cast<unsigned char*>(const_cast<char*>(secret.data())),
                        static_cast<unsigned int>(secret.size()));
            sig->setSigningKey(key.release());
            EXPECT_EQ(expected, sig->verify());
        }
    });
}

TEST_F(Interop, OursAreWrittenForXmlsec1) {
    testing_support::XsecGuarded([&] {
        SignOurs("rsa-sha256", L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256",
                 L"http://www.w3.org/2001/04/xmlenc#sha256",
                 new WinCAPICryptoKeyRSA(rsa_.prov.get(), AT_SIGNATURE, true), true, false);
        SignOurs("dsa-sha1", L"http://www.w3.org/2000/09/xmldsig#dsa-sha1", L"http://www.w3.org/2000/09/xmldsig#sha1",
                 new WinCAPICryptoKeyDSA(dsa_.prov.get(), AT_SIGNATURE, true), false, true);
        auto hmac = std::make_unique<WinCAPICryptoKeyHMAC>();
        std::string secret = Hmac();
        ASSERT_EQ(32u, secret.size());
        hmac->setKey(reinterpret_cast<unsigned char*>(&secret[0]), 32);
        SignOurs("hmac-sha256", L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256",
                 L"http://www.w3.org/2001/04/xmlenc#sha256", hmac.release(), false, false);
    });
}

namespace {

// An HMAC-SHA256 signature whose SignatureMethod carries HMACOutputLength: the template
// is written, loaded again (so that SignedInfo reads the length) and signed.
std::string SignedTruncated(const std::string& outputLength, const std::string& secret) {
    std::string xml;
    {
        testing_support::XsecDocument doc("<Envelope xmlns=\"urn:envelope\"><Body>interop payload</Body></Envelope>");
        XSECProvider provider;
        DSIGSignature* sig = provider.newSignature();
        sig->setDSIGNSPrefix(L"ds");
        doc.parser.getDocument()->getDocumentElement()->appendChild(sig->createBlankSignature(
            doc.parser.getDocument(), kC14n, L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256"));
        sig->createReference(L"", L"http://www.w3.org/2001/04/xmlenc#sha256")->appendEnvelopedSignatureTransform();
        provider.releaseSignature(sig);
        xml = doc.Xml();
    }
    const std::string method = "hmac-sha256\"/>";
    xml.replace(xml.find(method), method.size(),
                "hmac-sha256\"><ds:HMACOutputLength>" + outputLength + "</ds:HMACOutputLength></ds:SignatureMethod>");
    testing_support::XsecDocument doc(xml);
    DSIGSignature* sig = doc.Load();
    auto key = std::make_unique<WinCAPICryptoKeyHMAC>();
    key->setKey(reinterpret_cast<unsigned char*>(const_cast<char*>(secret.data())),
                static_cast<unsigned int>(secret.size()));
    sig->setSigningKey(key.release());
    sig->sign();
    return doc.Xml();
}

bool VerifiesWithSecret(const std::string& xml, const std::string& secret) {
    testing_support::XsecDocument doc(xml);
    DSIGSignature* sig = doc.Load();
    auto key = std::make_unique<WinCAPICryptoKeyHMAC>();
    key->setKey(reinterpret_cast<unsigned char*>(const_cast<char*>(secret.data())),
                static_cast<unsigned int>(secret.size()));
    sig->setSigningKey(key.release());
    return sig->verify();
}

}  // namespace

TEST_F(Interop, HmacOutputLengthTruncatesWithinTheSafeRange) {
    testing_support::XsecGuarded([&] {
        const std::string secret = Hmac();
        const std::string xml = SignedTruncated("128", secret);
        const size_t start = xml.find("<ds:SignatureValue>") + 19;
        const std::string value = xml.substr(start, xml.find("</ds:SignatureValue>") - start);
        EXPECT_EQ(24u, value.size()) << value;  // 16 bytes in Base64
        EXPECT_TRUE(VerifiesWithSecret(xml, secret));
        EXPECT_FALSE(VerifiesWithSecret(xml, secret + "x"));
        WriteFile(kOut + "/ours/hmac-sha256-128.xml", xml);
        WriteFile(kOut + "/ours/tampered-hmac-sha256-128.xml", Tampered(xml, "interop payload", "interop Payload"));
        EXPECT_FALSE(SignedTruncated("256", secret).empty());  // the whole digest is fine too
    });
}

TEST_F(Interop, UnsafeHmacOutputLengthsAreRefused) {
    const std::string secret = Hmac();
    // Below 80 bits, below half of SHA-256, beyond the digest.
    for (const char* length : {"40", "120", "264"}) {
        try {
            SignedTruncated(length, secret);
            ADD_FAILURE() << length << " bits accepted";
        } catch (const XSECException& e) {
            EXPECT_EQ(XSECException::AlgorithmMapperError, e.getType()) << length;
            EXPECT_EQ("HMACOutputLength set to unsafe value.", textConvert::ToAnsi(e.getMsg())) << length;
        }
    }
}
