// GOST R 34.10-2001 signatures at the xml-security-c level, through our key class, the
// GOST algorithm handler and the software GOST provider: signed here and verified here and
// by xmlsec1 (a native test reads what this one writes); real documents signed elsewhere
// verified here with the key of their own certificate.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xsec/dsig/DSIGKeyInfoList.hpp>
#include <xsec/dsig/DSIGKeyInfoX509.hpp>
#include <xsec/dsig/DSIGReference.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/framework/XSECProvider.hpp>

#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/framework/XSECException.hpp>

#include <xsec/utils/XSECPlatformUtils.hpp>

#include "algorithms/AlgorithmCatalog.hpp"
#include "crypto/XmlStack.hpp"
#include "exports/Lifecycle.hpp"
#include "support/XsecDocument.hpp"
#include "crypto/SignatureFamilySupport.hpp"
#include "crypto/CapiSupport.hpp"
#include "crypto/GostPublicKeyBlob.hpp"
#include "crypto/WinCAPICryptoKeyGOST.hpp"
#include "document/DsigDom.hpp"
#include "document/XmlBlob.hpp"

namespace xc = XERCES_CPP_NAMESPACE;

namespace {

constexpr wchar_t kProviderName[] = L"Talvoran Soft GOST CSP";
constexpr DWORD kProvGost2001 = 75;
constexpr wchar_t kContainer[] = L"talvoran-xml-gost-test";
constexpr wchar_t kSigMore[] = L"http://www.w3.org/2001/04/xmldsig-more#gostr34102001-gostr3411";
constexpr wchar_t kDigMore[] = L"http://www.w3.org/2001/04/xmldsig-more#gostr3411";
constexpr wchar_t kSigUrn[] = L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411";
constexpr wchar_t kDigUrn[] = L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411";
constexpr wchar_t kC14n[] = L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315";

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out << bytes;
}

// The public key of a certificate (Base64 DER) as our key class takes it.
std::unique_ptr<WinCAPICryptoKeyGOST> KeyOfCertificate(HCRYPTPROV prov, const wchar_t* base64Certificate) {
    const std::string text(base64Certificate, base64Certificate + std::wcslen(base64Certificate));
    const crypto::Bytes der = crypto::DecodeBase64(text.c_str(), static_cast<unsigned int>(text.size()));
    crypto::CertHandle cert(
        CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())));
    if (!cert) return nullptr;
    const CERT_PUBLIC_KEY_INFO& info = cert.get()->pCertInfo->SubjectPublicKeyInfo;
    const gostBlob::GostPublicKey sets =
        gostBlob::ParseParameterSets(info.Algorithm.Parameters.pbData, info.Algorithm.Parameters.cbData);
    const std::string key = crypto::EncodeBase64(info.PublicKey.pbData, info.PublicKey.cbData);
    auto gost = std::make_unique<WinCAPICryptoKeyGOST>(prov);
    gost->setPublicKeyBase64(std::wstring(key.begin(), key.end()).c_str());
    gost->setPublicKeyParamSetOID(std::wstring(sets.publicKeyParamSet.begin(), sets.publicKeyParamSet.end()).c_str());
    gost->setDigestParamSetOID(std::wstring(sets.digestParamSet.begin(), sets.digestParamSet.end()).c_str());
    gost->importKey();
    return gost;
}

// Verifies a document with the key of each of its certificates; how many verify. With
// signedInfoOnly the reference digests are not checked (for transforms that need an XPath
// engine, which this build has not).
int CertificatesThatVerify(HCRYPTPROV prov, const std::string& xml, bool signedInfoOnly = false) {
    testing_support::XsecDocument doc(xml);
    DSIGSignature* sig = doc.Load();
    int verified = 0;
    const DSIGKeyInfoList* list = sig->getKeyInfoList();
    for (DSIGKeyInfoList::size_type i = 0; i < list->getSize(); ++i) {
        const auto* x509 = dynamic_cast<const DSIGKeyInfoX509*>(list->item(i));
        if (x509 == nullptr) continue;
        for (int c = 0; c < x509->getCertificateListSize(); ++c) {
            std::unique_ptr<WinCAPICryptoKeyGOST> key = KeyOfCertificate(prov, x509->getCertificateItem(c));
            if (key == nullptr) continue;
            sig->setSigningKey(key.release());
            if (signedInfoOnly ? sig->verifySignatureOnly() : sig->verify()) ++verified;
        }
    }
    return verified;
}

std::string Tampered(std::string xml, const std::string& from, const std::string& to) {
    const size_t at = xml.find(from);
    if (at != std::string::npos) xml.replace(at, from.size(), to);
    return xml;
}

class GostSignatures : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        xmlStack::Ensure();
        HCRYPTPROV ignored = 0;
        CryptAcquireContextW(&ignored, kContainer, kProviderName, kProvGost2001, CRYPT_DELETEKEYSET);
        ASSERT_TRUE(CryptAcquireContextW(container_.put(), kContainer, kProviderName, kProvGost2001, CRYPT_NEWKEYSET))
            << std::hex << GetLastError();
        HCRYPTKEY key = 0;
        ASSERT_TRUE(CryptGenKey(container_.get(), AT_SIGNATURE, 0, &key)) << std::hex << GetLastError();
        CryptDestroyKey(key);
        ASSERT_TRUE(CryptAcquireContextW(verify_.put(), nullptr, kProviderName, kProvGost2001, CRYPT_VERIFYCONTEXT));
    }
    static void TearDownTestSuite() {
        container_.reset();
        verify_.reset();
        HCRYPTPROV ignored = 0;
        CryptAcquireContextW(&ignored, kContainer, kProviderName, kProvGost2001, CRYPT_DELETEKEYSET);
        lifecycle::Cleanup();
    }

    // An enveloped signature over a small document, signed with the container's key.
    static std::string SignedDocument(const wchar_t* signatureMethod, const wchar_t* digestMethod) {
        testing_support::XsecDocument doc(
            "<Document><Data Id=\"data\">payload for a GOST R 34.10-2001 signature</Data></Document>");
        XSECProvider provider;
        DSIGSignature* sig = provider.newSignature();
        sig->setDSIGNSPrefix(L"ds");
        doc.Dom()->getDocumentElement()->appendChild(sig->createBlankSignature(doc.Dom(), kC14n, signatureMethod));
        DSIGReference* ref = sig->createReference(L"", digestMethod);
        ref->appendEnvelopedSignatureTransform();
        ref->appendCanonicalizationTransform(kC14n);
        auto key = std::make_unique<WinCAPICryptoKeyGOST>(container_.get(), AT_SIGNATURE, true);
        sig->appendGOSTKeyValue(Wide(key->getPublicKeyBase64()).c_str(), Wide(key->getPublicKeyParamSetOID()).c_str(),
                                Wide(key->getDigestParamSetOID()).c_str(), nullptr);
        sig->setSigningKey(key.release());
        sig->sign();
        provider.releaseSignature(sig);
        return doc.Xml();
    }

    static std::wstring Wide(const std::string& s) { return std::wstring(s.begin(), s.end()); }

    // The container key's public half, as a verifier imports it from a KeyValue.
    static std::unique_ptr<WinCAPICryptoKeyGOST> ImportedPublicKey() {
        WinCAPICryptoKeyGOST signer(container_.get(), AT_SIGNATURE, true);
        auto key = std::make_unique<WinCAPICryptoKeyGOST>(verify_.get());
        key->setPublicKeyBase64(Wide(signer.getPublicKeyBase64()).c_str());
        key->setPublicKeyParamSetOID(Wide(signer.getPublicKeyParamSetOID()).c_str());
        key->setDigestParamSetOID(Wide(signer.getDigestParamSetOID()).c_str());
        key->importKey();
        return key;
    }

    static bool Verifies(const std::string& xml) {
        testing_support::XsecDocument doc(xml);
        DSIGSignature* sig = doc.Load();
        sig->setSigningKey(ImportedPublicKey().release());
        return sig->verify();
    }

    static inline crypto::ProvHandle container_;
    static inline crypto::ProvHandle verify_;
};

}  // namespace

TEST_F(GostSignatures, BothUriFamiliesSignAndVerify) {
    testing_support::XsecGuarded([&] {
        for (const auto& [method, digest] : {std::make_pair(kSigMore, kDigMore), std::make_pair(kSigUrn, kDigUrn)}) {
            const std::string xml = SignedDocument(method, digest);
            EXPECT_NE(std::string::npos, xml.find(std::string(method, method + std::wcslen(method))));
            EXPECT_TRUE(Verifies(xml)) << xml;
            EXPECT_FALSE(Verifies(Tampered(xml, "payload", "Payload")));
            const size_t value = xml.find("<ds:SignatureValue>") + 19;
            std::string badValue = xml;
            badValue[value + 3] = badValue[value + 3] == 'A' ? 'B' : 'A';
            EXPECT_FALSE(Verifies(badValue));
        }
    });
}

TEST_F(GostSignatures, KeyValueWrittenIsTheContainerKey) {
    testing_support::XsecGuarded([&] {
        const std::string xml = SignedDocument(kSigUrn, kDigUrn);
        WinCAPICryptoKeyGOST signer(container_.get(), AT_SIGNATURE, true);
        EXPECT_NE(std::string::npos, xml.find("<ds:PublicKey>" + signer.getPublicKeyBase64() + "</ds:PublicKey>"));
        EXPECT_NE(std::string::npos, xml.find("<ds:publicKeyParamSet>urn:oid:1.2.643.2.2.35.1</ds:publicKeyParamSet>"));
        EXPECT_NE(std::string::npos, xml.find("<ds:digestParamSet>urn:oid:1.2.643.2.2.30.1</ds:digestParamSet>"));
    });
}

// Written for the native check with xmlsec1 (its GOST build knows the xmldsig-more URIs).
TEST_F(GostSignatures, WritesASignatureForXmlsec1) {
    testing_support::XsecGuarded([&] {
        const std::string xml = SignedDocument(kSigMore, kDigMore);
        WriteFile(std::string(TALVORAN_GOST_OUT) + "/signed-gost2001.xml", xml);
        WriteFile(std::string(TALVORAN_GOST_OUT) + "/tampered-gost2001.xml", Tampered(xml, "payload", "Payload"));
        WinCAPICryptoKeyGOST signer(container_.get(), AT_SIGNATURE, true);
        gostBlob::GostPublicKey key;
        key.publicKeyParamSet = gostBlob::WithoutUrnPrefix(signer.getPublicKeyParamSetOID());
        key.digestParamSet = gostBlob::WithoutUrnPrefix(signer.getDigestParamSetOID());
        const std::string b64 = signer.getPublicKeyBase64();
        key.key = crypto::DecodeBase64(b64.c_str(), static_cast<unsigned int>(b64.size()));
        const crypto::Bytes spki = gostBlob::SubjectPublicKeyInfo(key);
        std::string pem = "-----BEGIN PUBLIC KEY-----\n";
        const std::string body = crypto::EncodeBase64(spki.data(), spki.size());
        for (size_t i = 0; i < body.size(); i += 64) pem += body.substr(i, 64) + "\n";
        pem += "-----END PUBLIC KEY-----\n";
        WriteFile(std::string(TALVORAN_GOST_OUT) + "/gost2001-pub.pem", pem);
        EXPECT_TRUE(Verifies(xml));
    });
}

TEST_F(GostSignatures, XmlsecGostVectorVerifiesWithItsSignerCertificate) {
    testing_support::XsecGuarded([&] {
        const std::string xml =
            ReadFile(std::string(TALVORAN_XMLSEC1_TESTS) + "/aleksey-xmldsig-01/enveloped-gost2001.xml");
        ASSERT_FALSE(xml.empty());
        // Its reference needs an XPath transform: the signature over SignedInfo is what is checked.
        EXPECT_EQ(1, CertificatesThatVerify(verify_.get(), xml, true));
        EXPECT_EQ(
            0, CertificatesThatVerify(verify_.get(), Tampered(xml, "<SignatureValue>", "<SignatureValue>AAAA"), true));
        EXPECT_EQ(0, CertificatesThatVerify(verify_.get(), Tampered(xml, "#gostr3411", "#gostr3411 "), true));
    });
}

TEST_F(GostSignatures, CommercialCspDocumentVerifiesWithItsCertificate) {
    testing_support::XsecGuarded([&] {
        const std::string xml = ReadFile(std::string(TALVORAN_SHARED_VECTORS) + "/gost-csp-made-Verify2001.xml");
        ASSERT_FALSE(xml.empty());
        EXPECT_EQ(1, CertificatesThatVerify(verify_.get(), xml));
        const size_t body = xml.find("</SignatureValue>");
        ASSERT_NE(std::string::npos, body);
        std::string tampered = xml;
        tampered[body - 5] = tampered[body - 5] == 'A' ? 'B' : 'A';
        EXPECT_EQ(0, CertificatesThatVerify(verify_.get(), tampered));
    });
}

namespace {

std::string HexOf(const unsigned char* data, unsigned int length) {
    static const char kDigits[] = "0123456789abcdef";
    std::string out;
    for (unsigned int i = 0; i < length; ++i) {
        out.push_back(kDigits[data[i] >> 4]);
        out.push_back(kDigits[data[i] & 15]);
    }
    return out;
}

}  // namespace

// GOST R 34.11-94 with the CryptoPro parameter set, digest bytes in XML order.
TEST_F(GostSignatures, HashKnownAnswersThroughTheProvidersHashClass) {
    testing_support::XsecGuarded([&] {
        const std::pair<std::string, std::string> kAnswers[] = {
            {"abc", "b285056dbf18d7392d7677369524dd14747459ed8143997e163b2986f92fd42c"},
            {"message digest", "bc6041dd2aa401ebfa6e9886734174febdb4729aa972d60f549ac39b29721ba0"},
            {"This is message, length=32 bytes", "2cefc2f7b7bdc514e18ea57fa74ff357e7fa17d652c75f69cb1be7893ede48eb"},
            {"Suppose the original message has length = 50 bytes",
             "c3730c5cbccacf915ac292676f21e8bd4ef75331d9405e5f1a61dc3130a65011"},
            {"", "981e5f3ca30c841487830f84fb433e13ac1101569b9c13584ac483234cd656c0"},
        };
        for (const auto& [message, digest] : kAnswers) {
            std::unique_ptr<XSECCryptoHash> hash(XSECPlatformUtils::g_cryptoProvider->hash(crypto::kHashGost3411));
            ASSERT_NE(nullptr, hash);
            hash->hash(reinterpret_cast<unsigned char*>(const_cast<char*>(message.data())),
                       static_cast<unsigned int>(message.size()));
            unsigned char out[64];
            const unsigned int length = hash->finish(out, sizeof out);
            EXPECT_EQ(digest, HexOf(out, length)) << '"' << message << '"';
        }
    });
}

TEST_F(GostSignatures, ProviderReportsGostOnceAGostProviderIsRegistered) {
    const auto* provider = XSECPlatformUtils::g_cryptoProvider;
    ASSERT_NE(nullptr, provider);
    EXPECT_TRUE(provider->algorithmSupported(crypto::kHashGost3411));
    const auto* families = dynamic_cast<const crypto::SignatureFamilySupport*>(provider);
    ASSERT_NE(nullptr, families);
    EXPECT_TRUE(families->signatureFamilySupported(5));
    for (const wchar_t* uri : {kSigMore, kSigUrn, kDigMore, kDigUrn}) {
        EXPECT_TRUE(algInfo::HashOrSigAlgIsAvailable(uri)) << std::wstring(uri);
    }
}
