// The CryptoAPI provider installed in xml-security-c, verifying real signed documents of
// xmlsec1's test suites end to end (digests, canonical SignedInfo, RSA/DSA/HMAC signature
// values, keys from KeyValue and X509Certificate through xml-security-c's own resolver).
#include "crypto/WinCAPICryptoKeyHMAC.hpp"
#include "crypto/WinCAPICryptoProvider.hpp"

#include <gtest/gtest.h>

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xsec/dsig/DSIGKeyInfoList.hpp>
#include <xsec/dsig/DSIGKeyInfoX509.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/enc/XSECKeyInfoResolverDefault.hpp>
#include <xsec/framework/XSECException.hpp>
#include <xsec/framework/XSECProvider.hpp>
#include <xsec/utils/XSECPlatformUtils.hpp>

#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>

namespace xc = XERCES_CPP_NAMESPACE;

namespace {

// Xerces and xml-security-c, with our provider, for the whole program.
class XmlStack : public ::testing::Environment {
public:
    void SetUp() override {
        xc::XMLPlatformUtils::Initialize();
        XSECPlatformUtils::Initialise(new WinCAPICryptoProvider());
    }
    void TearDown() override {
        XSECPlatformUtils::Terminate();
        xc::XMLPlatformUtils::Terminate();
    }
};
const auto* const kStack = ::testing::AddGlobalTestEnvironment(new XmlStack);

std::string ReadVector(const std::string& path) {
    std::ifstream in(std::string(TALVORAN_XMLSEC1_TESTS) + "/" + path, std::ios::binary);
    EXPECT_TRUE(in.good()) << path;
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

xc::DOMElement* FindSignature(xc::DOMNode* node) {
    for (xc::DOMNode* n = node; n != nullptr; n = n->getNextSibling()) {
        if (n->getNodeType() != xc::DOMNode::ELEMENT_NODE) continue;
        if (xc::XMLString::equals(n->getLocalName(), L"Signature") &&
            xc::XMLString::equals(n->getNamespaceURI(), L"http://www.w3.org/2000/09/xmldsig#"))
            return static_cast<xc::DOMElement*>(n);
        if (xc::DOMElement* found = FindSignature(n->getFirstChild())) return found;
    }
    return nullptr;
}

enum class KeySource { KeyInfoResolver, LastCertificate };

// The public key of the last X509Certificate of the signature's KeyInfo (the leaf, in
// xmlsec1's chains), as our provider parsed it while the signature loaded.
XSECCryptoKey* LastCertificateKey(DSIGSignature* sig) {
    DSIGKeyInfoList* list = sig->getKeyInfoList();
    for (DSIGKeyInfoList::size_type i = 0; i < list->getSize(); ++i) {
        auto* x509 = dynamic_cast<DSIGKeyInfoX509*>(list->item(i));
        if (x509 == nullptr || x509->getCertificateListSize() == 0) continue;
        return x509->getCertificateCryptoItem(x509->getCertificateListSize() - 1)->clonePublicKey();
    }
    return nullptr;
}

// Verifies the first signature of xml; the key comes from KeyInfo unless an HMAC secret is
// given. Exceptions are reported as failures (and give false).
bool Verify(const std::string& xml, const char* hmacSecret = nullptr,
            KeySource keySource = KeySource::KeyInfoResolver) {
    xc::XercesDOMParser parser;
    parser.setDoNamespaces(true);
    xc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), L"vector");
    parser.parse(source);
    xc::DOMDocument* doc = parser.getDocument();
    xc::DOMElement* element = doc != nullptr ? FindSignature(doc->getDocumentElement()) : nullptr;
    if (element == nullptr) {
        ADD_FAILURE() << "no Signature element";
        return false;
    }
    XSECProvider provider;
    DSIGSignature* sig = provider.newSignatureFromDOM(doc, element);
    bool ok = false;
    try {
        sig->setIdByAttributeName(true);
        sig->load();
        if (hmacSecret != nullptr) {
            auto* key = new WinCAPICryptoKeyHMAC(0);
            key->setKey(reinterpret_cast<unsigned char*>(const_cast<char*>(hmacSecret)),
                        static_cast<unsigned int>(std::strlen(hmacSecret)));
            sig->setSigningKey(key);
        } else if (keySource == KeySource::LastCertificate) {
            sig->setSigningKey(LastCertificateKey(sig));
        } else {
            XSECKeyInfoResolverDefault resolver;
            sig->setKeyInfoResolver(&resolver);
        }
        ok = sig->verify();
        if (!ok) {
            const XMLCh* why = sig->getErrMsgs();
            std::wstring text = why != nullptr ? why : L"";
            std::cout << "  (not verified: " << std::string(text.begin(), text.end()) << ")\n";
        }
    } catch (const XSECCryptoException& e) {
        ADD_FAILURE() << "XSECCryptoException: " << e.getMsg();
    } catch (const XSECException& e) {
        std::wstring text = e.getMsg() != nullptr ? e.getMsg() : L"";
        ADD_FAILURE() << "XSECException " << e.getType() << ": " << std::string(text.begin(), text.end());
    }
    provider.releaseSignature(sig);
    return ok;
}

TEST(CapiXsecVerifyTest, RsaKeyValue) {
    EXPECT_TRUE(Verify(ReadVector("merlin-xmldsig-twenty-three/signature-enveloping-rsa.xml")));
}

TEST(CapiXsecVerifyTest, DsaKeyValue) {
    EXPECT_TRUE(Verify(ReadVector("merlin-xmldsig-twenty-three/signature-enveloping-dsa.xml")));
    EXPECT_TRUE(Verify(ReadVector("merlin-xmldsig-twenty-three/signature-enveloped-dsa.xml")));
}

TEST(CapiXsecVerifyTest, HmacSha1) {
    EXPECT_TRUE(Verify(ReadVector("merlin-xmldsig-twenty-three/signature-enveloping-hmac-sha1.xml"), "secret"));
    EXPECT_FALSE(Verify(ReadVector("merlin-xmldsig-twenty-three/signature-enveloping-hmac-sha1.xml"), "secreT"));
}

TEST(CapiXsecVerifyTest, RsaSha2WithCertificates) {
    for (const char* name :
         {"enveloping-sha256-rsa-sha256.xml", "enveloping-sha384-rsa-sha384.xml", "enveloping-sha512-rsa-sha512.xml"}) {
        SCOPED_TRACE(name);
        EXPECT_TRUE(Verify(ReadVector(std::string("aleksey-xmldsig-01/") + name), nullptr, KeySource::LastCertificate));
    }
}

TEST(CapiXsecVerifyTest, ChangedContentFails) {
    std::string xml = ReadVector("merlin-xmldsig-twenty-three/signature-enveloping-rsa.xml");
    size_t at = xml.find("some text");
    ASSERT_NE(std::string::npos, at);
    xml[at] = 'S';
    EXPECT_FALSE(Verify(xml));
}

}  // namespace
