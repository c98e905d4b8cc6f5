// GOST key values in KeyInfo, as our xml-security-c build reads them (patch 0003: whole
// Signature documents parsed with Xerces and loaded with DSIGSignature::load()) and writes
// them (patch 0003: appendGOSTKeyValue on a new signature).
#include <gtest/gtest.h>

#include <cwchar>
#include <memory>
#include <string>
#include <vector>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xsec/dsig/DSIGKeyInfo.hpp>
#include <xsec/dsig/DSIGKeyInfoList.hpp>
#include <xsec/dsig/DSIGKeyInfoValue.hpp>
#include <xsec/dsig/DSIGReference.hpp>
#include <xsec/dsig/DSIGReferenceList.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/framework/XSECException.hpp>
#include <xsec/framework/XSECProvider.hpp>

#include "crypto/XmlStack.hpp"
#include "document/XmlBlob.hpp"

namespace xc = XERCES_CPP_NAMESPACE;

namespace {

const wchar_t kSigUrn[] = L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411";
const wchar_t kSigMore[] = L"http://www.w3.org/2001/04/xmldsig-more#gostr34102001-gostr3411";
const wchar_t kDigUrn[] = L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411";
const wchar_t kDigMore[] = L"http://www.w3.org/2001/04/xmldsig-more#gostr3411";

// A parsed document and the signature loaded from its Signature element.
struct LoadedSignature {
    xc::XercesDOMParser parser;
    XSECProvider provider;
    DSIGSignature* sig = nullptr;

    ~LoadedSignature() {
        if (sig != nullptr) provider.releaseSignature(sig);
    }
};

xc::DOMElement* FindSignature(xc::DOMNode* node) {
    for (xc::DOMNode* n = node; n != nullptr; n = n->getNextSibling()) {
        if (n->getNodeType() != xc::DOMNode::ELEMENT_NODE) continue;
        if (xc::XMLString::equals(n->getLocalName(), L"Signature") &&
            xc::XMLString::equals(n->getNamespaceURI(), L"http://www.w3.org/2000/09/xmldsig#")) {
            return static_cast<xc::DOMElement*>(n);
        }
        if (xc::DOMElement* found = FindSignature(n->getFirstChild())) return found;
    }
    return nullptr;
}

// Parses xml and loads its Signature. XSECExceptions of load() pass through.
std::unique_ptr<LoadedSignature> Load(const std::string& xml) {
    auto loaded = std::make_unique<LoadedSignature>();
    loaded->parser.setDoNamespaces(true);
    xc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), L"gost-test");
    loaded->parser.parse(source);
    EXPECT_EQ(0u, loaded->parser.getErrorCount());
    xc::DOMDocument* doc = loaded->parser.getDocument();
    xc::DOMElement* sigElement = doc != nullptr ? FindSignature(doc->getDocumentElement()) : nullptr;
    EXPECT_NE(nullptr, sigElement);
    if (sigElement == nullptr) return loaded;
    loaded->sig = loaded->provider.newSignatureFromDOM(doc, sigElement);
    loaded->sig->load();
    return loaded;
}

// The XSECException type load() throws for xml, or -1 when it throws none.
int LoadFailure(const std::string& xml) {
    try {
        Load(xml);
    } catch (const XSECException& e) {
        return static_cast<int>(e.getType());
    }
    return -1;
}

// A Signature with two references (one per digest URI given) and KeyInfo keyInfo.
std::string SignatureDoc(const wchar_t* sigUri, const wchar_t* digest1, const wchar_t* digest2,
                         const std::string& keyInfo) {
    auto narrow = [](const wchar_t* w) { return std::string(w, w + std::wcslen(w)); };
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<Envelope xmlns=\"urn:envelope\"><Data Id=\"data\">Hello, World!</Data>\n"
           "<Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\">\n"
           "<SignedInfo>\n"
           "<CanonicalizationMethod Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"/>\n"
           "<SignatureMethod Algorithm=\"" +
           narrow(sigUri) +
           "\"/>\n"
           "<Reference URI=\"\"><Transforms>"
           "<Transform Algorithm=\"http://www.w3.org/2000/09/xmldsig#enveloped-signature\"/></Transforms>\n"
           "<DigestMethod Algorithm=\"" +
           narrow(digest1) +
           "\"/>\n"
           "<DigestValue>e1x3rydsnTQukoiTtQ0vHaWYqKka7yRiP1sB8AVobaA=</DigestValue></Reference>\n"
           "<Reference URI=\"#data\">\n"
           "<DigestMethod Algorithm=\"" +
           narrow(digest2) +
           "\"/>\n"
           "<DigestValue>sk9XHU2xOW1I2QdYqv3UcsL4ETjhzA/bU8J+VQ+SHAc=</DigestValue></Reference>\n"
           "</SignedInfo>\n"
           "<SignatureValue>DLVX5EypJpYtdD+iAx9/BCKDZlWNnG70jqps5qFGNmoRem5czMSIhc6yVR48ywN2\n"
           "+HHUYG+9UouTr/d7BfDl8g==</SignatureValue>\n" +
           keyInfo + "\n</Signature></Envelope>";
}

std::string KeyValueDoc(const std::string& keyValueChild) {
    return SignatureDoc(kSigUrn, kDigUrn, kDigMore, "<KeyInfo><KeyValue>" + keyValueChild + "</KeyValue></KeyInfo>");
}

// The only KeyInfo item, which must be a KeyValue.
const DSIGKeyInfoValue* OnlyKeyValue(LoadedSignature& loaded) {
    DSIGKeyInfoList* list = loaded.sig->getKeyInfoList();
    EXPECT_EQ(1u, list->getSize());
    if (list->getSize() != 1) return nullptr;
    return dynamic_cast<const DSIGKeyInfoValue*>(list->item(0));
}

std::wstring Text(const XMLCh* s) { return s != nullptr ? std::wstring(s) : std::wstring(L"<NULL>"); }

void ExpectReferences(LoadedSignature& loaded, const wchar_t* digest1, const wchar_t* digest2) {
    DSIGReferenceList* refs = loaded.sig->getReferenceList();
    ASSERT_EQ(2u, refs->getSize());
    EXPECT_EQ(std::wstring(digest1), Text(refs->item(0)->getAlgorithmURI()));
    EXPECT_EQ(std::wstring(digest2), Text(refs->item(1)->getAlgorithmURI()));
}

// Public key of the RFC 5832 example (X little-endian, then Y little-endian), split over two lines.
const char kRawKeyText[] =
    "\n      C9hv5djbiWaPeJtOHbqFhcVQi0XsW1nYkG3bcOJJK3/a\n      d/+HGhD73ydm0pPF0WSvuzx7lzpByIXRHXDWibTxJg==\n    ";
const wchar_t kRawKeyTextW[] =
    L"\n      C9hv5djbiWaPeJtOHbqFhcVQi0XsW1nYkG3bcOJJK3/a\n      d/+HGhD73ydm0pPF0WSvuzx7lzpByIXRHXDWibTxJg==\n    ";

class GostKeyValue : public testing::Test {
protected:
    static void SetUpTestSuite() { xmlStack::Ensure(); }
};

TEST_F(GostKeyValue, XmlDsigNamespaceFormWithAllParameters) {
    const std::string xml = SignatureDoc(kSigUrn, kDigUrn, kDigMore,
                                         "<KeyInfo><KeyValue><GOSTKeyValue>\n"
                                         "  <PublicKeyParameters>\n"
                                         "    <publicKeyParamSet>urn:oid:1.2.643.2.2.35.1</publicKeyParamSet>\n"
                                         "    <digestParamSet>urn:oid:1.2.643.2.2.30.1</digestParamSet>\n"
                                         "    <encryptionParamSet>urn:oid:1.2.643.2.2.31.1</encryptionParamSet>\n"
                                         "  </PublicKeyParameters>\n"
                                         "  <PublicKey>" +
                                             std::string(kRawKeyText) +
                                             "</PublicKey>\n"
                                             "</GOSTKeyValue></KeyValue></KeyInfo>");
    auto loaded = Load(xml);
    EXPECT_EQ(std::wstring(kSigUrn), Text(loaded->sig->getAlgorithmURI()));
    ExpectReferences(*loaded, kDigUrn, kDigMore);
    const DSIGKeyInfoValue* v = OnlyKeyValue(*loaded);
    ASSERT_NE(nullptr, v);
    EXPECT_EQ(12, static_cast<int>(v->getKeyInfoType()));
    EXPECT_EQ(DSIGKeyInfo::KEYINFO_VALUE_GOST, v->getKeyInfoType());
    EXPECT_EQ(DSIGKeyInfoValue::GOSTKEYVALUE_DSIG, v->getGostKeyValueForm());
    EXPECT_EQ('a', static_cast<int>(v->getGostKeyValueForm()));
    EXPECT_EQ(std::wstring(kRawKeyTextW), Text(v->getGostPubKey()));
    EXPECT_EQ(L"urn:oid:1.2.643.2.2.35.1", Text(v->getGostPubKeyParamSet()));
    EXPECT_EQ(L"urn:oid:1.2.643.2.2.30.1", Text(v->getGostDigestParamSet()));
    EXPECT_EQ(L"urn:oid:1.2.643.2.2.31.1", Text(v->getGostEncryptionParamSet()));
}

TEST_F(GostKeyValue, XmlDsigNamespaceFormPrefixedWithoutEncryptionParamSet) {
    const std::string xml =
        "<ds:Signature xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"><ds:SignedInfo>"
        "<ds:CanonicalizationMethod Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"/>"
        "<ds:SignatureMethod Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#gostr34102001-gostr3411\"/>"
        "<ds:Reference URI=\"#o1\"><ds:DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#gostr3411\"/>"
        "<ds:DigestValue>sk9XHU2xOW1I2QdYqv3UcsL4ETjhzA/bU8J+VQ+SHAc=</ds:DigestValue></ds:Reference>"
        "<ds:Reference URI=\"#o2\"><ds:DigestMethod "
        "Algorithm=\"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411\"/>"
        "<ds:DigestValue>sk9XHU2xOW1I2QdYqv3UcsL4ETjhzA/bU8J+VQ+SHAc=</ds:DigestValue></ds:Reference>"
        "</ds:SignedInfo><ds:SignatureValue>DLVX5EypJpYtdD+iAx9/BCKDZlWNnG70jqps5qFGNmoRem5czMSIhc6yVR48ywN2"
        "+HHUYG+9UouTr/d7BfDl8g==</ds:SignatureValue>"
        "<ds:KeyInfo><ds:KeyName>gost key</ds:KeyName><ds:KeyValue><ds:GOSTKeyValue><ds:PublicKeyParameters>"
        "<ds:publicKeyParamSet>urn:oid:1.2.643.2.2.36.0</ds:publicKeyParamSet>"
        "<ds:digestParamSet>urn:oid:1.2.643.2.2.30.1</ds:digestParamSet>"
        "</ds:PublicKeyParameters>"
        "<ds:PublicKey>SEKiNMuNPqSOVf9PSG2IuWKQy9jvKX2w2pAQnJJsslTis9llJAJn10nXMW2TqvkI9C/DtrDiRmGuuS0PARgzVg==</"
        "ds:PublicKey>"
        "</ds:GOSTKeyValue></ds:KeyValue></ds:KeyInfo>"
        "<ds:Object Id=\"o1\">one</ds:Object><ds:Object Id=\"o2\">two</ds:Object></ds:Signature>";
    auto loaded = Load(xml);
    EXPECT_EQ(std::wstring(kSigMore), Text(loaded->sig->getAlgorithmURI()));
    ExpectReferences(*loaded, kDigMore, kDigUrn);
    DSIGKeyInfoList* list = loaded->sig->getKeyInfoList();
    ASSERT_EQ(2u, list->getSize());
    EXPECT_EQ(DSIGKeyInfo::KEYINFO_NAME, list->item(0)->getKeyInfoType());
    ASSERT_EQ(12, static_cast<int>(list->item(1)->getKeyInfoType()));
    auto* v = static_cast<const DSIGKeyInfoValue*>(list->item(1));
    EXPECT_EQ(DSIGKeyInfoValue::GOSTKEYVALUE_DSIG, v->getGostKeyValueForm());
    EXPECT_EQ(L"SEKiNMuNPqSOVf9PSG2IuWKQy9jvKX2w2pAQnJJsslTis9llJAJn10nXMW2TqvkI9C/DtrDiRmGuuS0PARgzVg==",
              Text(v->getGostPubKey()));
    EXPECT_EQ(L"urn:oid:1.2.643.2.2.36.0", Text(v->getGostPubKeyParamSet()));
    EXPECT_EQ(L"urn:oid:1.2.643.2.2.30.1", Text(v->getGostDigestParamSet()));
    EXPECT_EQ(nullptr, v->getGostEncryptionParamSet());
}

TEST_F(GostKeyValue, CpxmlsecNamespaceFormWithEncryptionParamSet) {
    // The xmlsec1 2001 test key (tests/keys of the xmlsec1 1.2.37 source package), PublicKey as
    // the DER OCTET STRING, parameter sets as plain OIDs, children in the order of form (a).
    const std::string xml = SignatureDoc(
        kSigMore, kDigMore, kDigUrn,
        "<KeyInfo>\n<KeyValue>\n"
        "<cpxmlsec:GOSTKeyValue xmlns:cpxmlsec=\"urn:ietf:params:xml:ns:cpxmlsec\">\n"
        "<cpxmlsec:PublicKeyParameters>"
        "<cpxmlsec:publicKeyParamSet>1.2.643.2.2.35.1</cpxmlsec:publicKeyParamSet>"
        "<cpxmlsec:digestParamSet>1.2.643.2.2.30.1</cpxmlsec:digestParamSet>"
        "<cpxmlsec:encryptionParamSet>1.2.643.2.2.31.1</cpxmlsec:encryptionParamSet>"
        "</cpxmlsec:PublicKeyParameters>\n"
        "<cpxmlsec:PublicKey>BEBIQqI0y40+pI5V/09IbYi5YpDL2O8pfbDakBCckmyyVOKz2WUkAmfXSdcxbZOq+Qj0L8O2sOJGYa65LQ8BGDNW"
        "</cpxmlsec:PublicKey>\n"
        "</cpxmlsec:GOSTKeyValue>\n</KeyValue>\n</KeyInfo>");
    auto loaded = Load(xml);
    EXPECT_EQ(std::wstring(kSigMore), Text(loaded->sig->getAlgorithmURI()));
    ExpectReferences(*loaded, kDigMore, kDigUrn);
    const DSIGKeyInfoValue* v = OnlyKeyValue(*loaded);
    ASSERT_NE(nullptr, v);
    EXPECT_EQ(12, static_cast<int>(v->getKeyInfoType()));
    EXPECT_EQ(DSIGKeyInfoValue::GOSTKEYVALUE_CPXMLSEC, v->getGostKeyValueForm());
    EXPECT_EQ('b', static_cast<int>(v->getGostKeyValueForm()));
    EXPECT_EQ(L"BEBIQqI0y40+pI5V/09IbYi5YpDL2O8pfbDakBCckmyyVOKz2WUkAmfXSdcxbZOq+Qj0L8O2sOJGYa65LQ8BGDNW",
              Text(v->getGostPubKey()));
    EXPECT_EQ(L"1.2.643.2.2.35.1", Text(v->getGostPubKeyParamSet()));
    EXPECT_EQ(L"1.2.643.2.2.30.1", Text(v->getGostDigestParamSet()));
    EXPECT_EQ(L"1.2.643.2.2.31.1", Text(v->getGostEncryptionParamSet()));
}

TEST_F(GostKeyValue, XmlsecVectorKeyInfo) {
    // KeyInfo of tests/aleksey-xmldsig-01/enveloped-gost2012-256.xml in the xmlsec1 1.2.37-2
    // Debian source package, verbatim (the 2001 vector of that set carries only X509Data):
    // PublicKey comes before PublicKeyParameters, and there is no encryptionParamSet.
    const std::string keyInfo =
        "<KeyInfo><X509Data><X509Certificate>"
        "MIIBRzCB86ADAgECAhDYvceOSjlEUQPqYpNAPDZlMAwGCCqFAwcBAQMCBQAwITEfMB0GA1UEAxMWZ29zdC0yMDEyLTI1Ni10ZXN0LTAwMTAeFw"
        "0xMzEyMDkxNDIzMTlaFw0zOTEyMzEyMzU5NTlaMCExHzAdBgNVBAMTFmdvc3QtMjAxMi0yNTYtdGVzdC0wMDEwZjAfBggqhQMHAQEBATATBgcq"
        "hQMCAiMBBggqhQMHAQECAgNDAARAd6J9ff29w6XQsUDdggB1LCYM2oDRrlrg3mPZB+NXNsyZmO1WHCDHw01UIW+Jq9ReLxWCkHYA+"
        "TTMfmciE1F0rjAMBggqhQMHAQEDAgUAA0EAPoJj9VFY7DeVWDWuoH7Jrv9xUNMFCxSYPVn0Tpf40jVBu4+46sHuS8ShK+"
        "sqJu5rGEQse2UhAIzMBvw8AfHysA==</X509Certificate></X509Data>"
        "<KeyValue><cpxmlsec:GOSTKeyValue "
        "xmlns:cpxmlsec=\"urn:ietf:params:xml:ns:cpxmlsec\"><cpxmlsec:PublicKey>BEB3on19/"
        "b3DpdCxQN2CAHUsJgzagNGuWuDeY9kH41c2zJmY7VYcIMfDTVQhb4mr1F4vFYKQdgD5NMx+ZyITUXSu</"
        "cpxmlsec:PublicKey><cpxmlsec:PublicKeyParameters><cpxmlsec:publicKeyParamSet>1.2.643.2.2.35.1</"
        "cpxmlsec:publicKeyParamSet><cpxmlsec:digestParamSet>1.2.643.7.1.1.2.2</cpxmlsec:digestParamSet></"
        "cpxmlsec:PublicKeyParameters></cpxmlsec:GOSTKeyValue></KeyValue></KeyInfo>";
    auto loaded = Load(SignatureDoc(kSigUrn, kDigUrn, kDigUrn, keyInfo));
    EXPECT_EQ(std::wstring(kSigUrn), Text(loaded->sig->getAlgorithmURI()));
    ExpectReferences(*loaded, kDigUrn, kDigUrn);
    DSIGKeyInfoList* list = loaded->sig->getKeyInfoList();
    ASSERT_EQ(2u, list->getSize());
    EXPECT_EQ(DSIGKeyInfo::KEYINFO_X509, list->item(0)->getKeyInfoType());
    ASSERT_EQ(12, static_cast<int>(list->item(1)->getKeyInfoType()));
    auto* v = static_cast<const DSIGKeyInfoValue*>(list->item(1));
    EXPECT_EQ(DSIGKeyInfoValue::GOSTKEYVALUE_CPXMLSEC, v->getGostKeyValueForm());
    EXPECT_EQ(L"BEB3on19/b3DpdCxQN2CAHUsJgzagNGuWuDeY9kH41c2zJmY7VYcIMfDTVQhb4mr1F4vFYKQdgD5NMx+ZyITUXSu",
              Text(v->getGostPubKey()));
    EXPECT_EQ(L"1.2.643.2.2.35.1", Text(v->getGostPubKeyParamSet()));
    EXPECT_EQ(L"1.2.643.7.1.1.2.2", Text(v->getGostDigestParamSet()));
    EXPECT_EQ(nullptr, v->getGostEncryptionParamSet());
}

TEST_F(GostKeyValue, SubjectPublicKeyInfoForm) {
    // SubjectPublicKeyInfo of the certificate in the xmlsec1 2001 vector, split over lines.
    const char kSpki[] =
        "\nMGMwHAYGKoUDAgITMBIGByqFAwICIwEGByqFAwICHgEDQwAEQEhCojTLjT6kjlX/T0htiLli\n"
        "kMvY7yl9sNqQEJySbLJU4rPZZSQCZ9dJ1zFtk6r5CPQvw7aw4kZhrrktDwEYM1Y=\n";
    const wchar_t kSpkiW[] =
        L"\nMGMwHAYGKoUDAgITMBIGByqFAwICIwEGByqFAwICHgEDQwAEQEhCojTLjT6kjlX/T0htiLli\n"
        L"kMvY7yl9sNqQEJySbLJU4rPZZSQCZ9dJ1zFtk6r5CPQvw7aw4kZhrrktDwEYM1Y=\n";
    auto loaded = Load(SignatureDoc(
        kSigMore, kDigMore, kDigMore,
        "<KeyInfo><KeyValue><GOSTKeyValue>" + std::string(kSpki) + "</GOSTKeyValue></KeyValue></KeyInfo>"));
    EXPECT_EQ(std::wstring(kSigMore), Text(loaded->sig->getAlgorithmURI()));
    ExpectReferences(*loaded, kDigMore, kDigMore);
    const DSIGKeyInfoValue* v = OnlyKeyValue(*loaded);
    ASSERT_NE(nullptr, v);
    EXPECT_EQ(12, static_cast<int>(v->getKeyInfoType()));
    EXPECT_EQ(DSIGKeyInfoValue::GOSTKEYVALUE_SPKI, v->getGostKeyValueForm());
    EXPECT_EQ('c', static_cast<int>(v->getGostKeyValueForm()));
    EXPECT_EQ(std::wstring(kSpkiW), Text(v->getGostPubKey()));
    EXPECT_EQ(nullptr, v->getGostPubKeyParamSet());
    EXPECT_EQ(nullptr, v->getGostDigestParamSet());
    EXPECT_EQ(nullptr, v->getGostEncryptionParamSet());
}

TEST_F(GostKeyValue, XmlsecGost2001VectorStillLoads) {
    // SignedInfo and KeyInfo of tests/aleksey-xmldsig-01/enveloped-gost2001.xml (xmlsec1 1.2.37-2),
    // verbatim: its key is given by certificate only, so the list holds no GOST key value.
    const std::string xml =
        "<Envelope xmlns=\"urn:envelope\"><Data>Hello, World!</Data>\n"
        "<Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\">\n"
        "<SignedInfo>\n"
        "<CanonicalizationMethod Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"/>\n"
        "<SignatureMethod Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#gostr34102001-gostr3411\"/>\n"
        "<Reference URI=\"\">\n<Transforms>\n"
        "<Transform Algorithm=\"http://www.w3.org/2000/09/xmldsig#enveloped-signature\"/>\n"
        "<Transform Algorithm=\"http://www.w3.org/TR/1999/REC-xpath-19991116\">\n"
        "<XPath xmlns:dsig=\"http://www.w3.org/2000/09/xmldsig#\">not(ancestor-or-self::dsig:Signature)</XPath>\n"
        "</Transform>\n</Transforms>\n"
        "<DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#gostr3411\"/>\n"
        "<DigestValue>e1x3rydsnTQukoiTtQ0vHaWYqKka7yRiP1sB8AVobaA=</DigestValue>\n"
        "</Reference>\n</SignedInfo>\n"
        "<SignatureValue>DLVX5EypJpYtdD+iAx9/BCKDZlWNnG70jqps5qFGNmoRem5czMSIhc6yVR48ywN2\n"
        "+HHUYG+9UouTr/d7BfDl8g==</SignatureValue>\n"
        "<KeyInfo>\n<X509Data>\n<X509Certificate>MIICBzCCAbSgAwIBAgIBPDAKBgYqhQMCAgMFADCBjzELMAkGA1UEBhMCUlUxDzAN\n"
        "BgNVBAcTBk1vc2NvdzEjMCEGA1UEAxMaR09TVDIwMDEgQ3J5cHRvUHJvIFRlc3Qg\n"
        "Q0ExEjAQBgNVBAoTCUNyeXB0b2NvbTETMBEGA1UECxMKT3BlblNTTCBDQTEhMB8G\n"
        "CSqGSIb3DQEJARYSdml0dXNAY3J5cHRvY29tLnJ1MB4XDTA2MDExNjExMjQzN1oX\n"
        "DTA3MDExNjEyMjQzN1owXjELMAkGA1UEBhMCUlUxEjAQBgNVBAoTCUNyeXB0b2Nv\n"
        "bTEMMAoGA1UECxMDMTMwMQwwCgYDVQQDEwNSYW4xHzAdBgkqhkiG9w0BCQEWEHJh\n"
        "bkBjcnlwdG9jb20ucnUwYzAcBgYqhQMCAhMwEgYHKoUDAgIjAQYHKoUDAgIeAQND\n"
        "AARASEKiNMuNPqSOVf9PSG2IuWKQy9jvKX2w2pAQnJJsslTis9llJAJn10nXMW2T\n"
        "qvkI9C/DtrDiRmGuuS0PARgzVqMnMCUwDgYDVR0PAQH/BAQDAgbAMBMGA1UdJQQM\n"
        "MAoGCCqFAwIZAQIBMAoGBiqFAwICAwUAA0EAruCZrlhscel2tb/FPtdA0fBv3WOh\n"
        "mrmUMgrjVr/xVr0ZPeIzFGXAcKWYiEi5Gu+mJp17VLlhIq0Qny80bc6AdQ==</X509Certificate>\n"
        "</X509Data>\n</KeyInfo>\n</Signature></Envelope>";
    auto loaded = Load(xml);
    EXPECT_EQ(std::wstring(kSigMore), Text(loaded->sig->getAlgorithmURI()));
    DSIGReferenceList* refs = loaded->sig->getReferenceList();
    ASSERT_EQ(1u, refs->getSize());
    EXPECT_EQ(std::wstring(kDigMore), Text(refs->item(0)->getAlgorithmURI()));
    DSIGKeyInfoList* list = loaded->sig->getKeyInfoList();
    ASSERT_EQ(1u, list->getSize());
    EXPECT_EQ(DSIGKeyInfo::KEYINFO_X509, list->item(0)->getKeyInfoType());
}

TEST_F(GostKeyValue, RsaKeyValueHasNoGostParts) {
    auto loaded =
        Load(KeyValueDoc("<RSAKeyValue><Modulus>xA7SEU+e0yQH5rm9kbCDN9o3aPIo7HbP7tX6WOocLZAtNfyxSZDU16ksL6W"
                         "jubafOqNEpcwR3RdFsT7bCqnXPBe5ELh5u4VEy19MzxkXRgrMvavzyBpVRgBUwUlV5foK5hhmbktQhyN"
                         "dy/6LpQRhDUDsTvK+g9Ucj47es9AQJ3U=</Modulus><Exponent>AQAB</Exponent></RSAKeyValue>"));
    const DSIGKeyInfoValue* v = OnlyKeyValue(*loaded);
    ASSERT_NE(nullptr, v);
    EXPECT_EQ(DSIGKeyInfo::KEYINFO_VALUE_RSA, v->getKeyInfoType());
    EXPECT_EQ(L"AQAB", Text(v->getRSAExponent()));
    EXPECT_EQ(DSIGKeyInfoValue::GOSTKEYVALUE_NOTSET, v->getGostKeyValueForm());
    EXPECT_EQ(nullptr, v->getGostPubKey());
    EXPECT_EQ(nullptr, v->getGostPubKeyParamSet());
}

TEST_F(GostKeyValue, UnknownKeyValueChildStillFailsAsUnknownKeyValue) {
    EXPECT_EQ(29, XSECException::UnknownKeyValue);
    EXPECT_EQ(29, LoadFailure(KeyValueDoc("<FooKeyValue xmlns=\"urn:example:foo\"><Key>AAAA</Key></FooKeyValue>")));
    // The GOST names in a namespace other than XML-DSig or cpxmlsec are not a GOST key value.
    EXPECT_EQ(29, LoadFailure(KeyValueDoc("<GOSTKeyValue xmlns=\"urn:example:other\"><PublicKey>" +
                                          std::string(kRawKeyText) + "</PublicKey></GOSTKeyValue>")));
    // Case matters.
    EXPECT_EQ(29, LoadFailure(KeyValueDoc("<GostKeyValue><PublicKey>AAAA</PublicKey></GostKeyValue>")));
}

// A key value without its key loads; the key is NULL and refusing it is the importer's
// business. The parameter sets that are there are still read.
TEST_F(GostKeyValue, MissingPublicKeyLoadsWithoutAKey) {
    const auto keyOf = [](const std::string& gostKeyValue) -> std::wstring {
        auto loaded = Load(KeyValueDoc(gostKeyValue));
        const DSIGKeyInfoValue* v = OnlyKeyValue(*loaded);
        if (v == nullptr) return L"<no key value>";
        if (v->getKeyInfoType() != DSIGKeyInfo::KEYINFO_VALUE_GOST) return L"<not GOST>";
        return v->getGostPubKey() == nullptr ? L"<null>" : Text(v->getGostPubKey());
    };
    EXPECT_EQ(L"<null>", keyOf("<GOSTKeyValue><PublicKeyParameters><publicKeyParamSet>urn:oid:1.2.643.2.2.35.1"
                               "</publicKeyParamSet></PublicKeyParameters></GOSTKeyValue>"));
    // Empty, or white space only: no key text in any form.
    EXPECT_EQ(L"<null>", keyOf("<GOSTKeyValue/>"));
    EXPECT_EQ(L"<null>", keyOf("<GOSTKeyValue>\n  \n</GOSTKeyValue>"));
    EXPECT_EQ(L"<null>", keyOf("<GOSTKeyValue><PublicKeyParameters/><PublicKey>  </PublicKey></GOSTKeyValue>"));
    // A PublicKey in another namespace than its GOSTKeyValue does not count.
    EXPECT_EQ(L"<null>", keyOf("<c:GOSTKeyValue xmlns:c=\"urn:ietf:params:xml:ns:cpxmlsec\"><c:PublicKeyParameters>"
                               "<c:publicKeyParamSet>1.2.643.2.2.35.1</c:publicKeyParamSet></c:PublicKeyParameters>"
                               "<PublicKey>BEBIQqI0y40+pI5V/"
                               "09IbYi5YpDL2O8pfbDakBCckmyyVOKz2WUkAmfXSdcxbZOq+Qj0L8O2sOJGYa65LQ8BGDNW</PublicKey>"
                               "</c:GOSTKeyValue>"));
    auto loaded =
        Load(KeyValueDoc("<GOSTKeyValue><PublicKeyParameters><publicKeyParamSet>urn:oid:1.2.643.2.2.35.1"
                         "</publicKeyParamSet></PublicKeyParameters></GOSTKeyValue>"));
    ASSERT_NE(nullptr, OnlyKeyValue(*loaded));
    EXPECT_EQ(L"urn:oid:1.2.643.2.2.35.1", Text(OnlyKeyValue(*loaded)->getGostPubKeyParamSet()));
}

}  // namespace

namespace {

// A new signature in a fresh document, as a signing path makes one.
struct NewSignature {
    xc::XercesDOMParser parser;
    XSECProvider provider;
    DSIGSignature* sig = nullptr;
    xc::DOMDocument* doc = nullptr;

    NewSignature() {
        static const char kRoot[] = "<root/>";
        parser.setDoNamespaces(true);
        xc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(kRoot), sizeof(kRoot) - 1, L"root");
        parser.parse(source);
        doc = parser.getDocument();
        sig = provider.newSignature();
        sig->setDSIGNSPrefix(L"ds");
        sig->setPrettyPrint(false);
        doc->getDocumentElement()->appendChild(
            sig->createBlankSignature(doc, L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315", kSigUrn));
    }
    ~NewSignature() { provider.releaseSignature(sig); }

    std::string Serialised(const xc::DOMNode* node) const {
        std::vector<BYTE> bytes;
        xmlBlob::EncodeNode(node, false, CRYPT_XML_CHARSET_UTF8, bytes);
        return std::string(bytes.begin(), bytes.end());
    }
};

const wchar_t kKey[] = L"T0KSyp9hgwfN0OXmOrjqD4QtNQuY9VjsIGj7a9wb2zAbA6ysA5WNOqQkcpUGd8ljbRyPqhEAZ2rDb2BRjaJ0Dw==";

}  // namespace

TEST_F(GostKeyValue, WrittenInTheXmlDsigNamespaceForm) {
    NewSignature fresh;
    DSIGKeyInfoValue* value = fresh.sig->appendGOSTKeyValue(kKey, L"urn:oid:1.2.643.2.2.35.1",
                                                            L"urn:oid:1.2.643.2.2.30.1", L"urn:oid:1.2.643.2.2.31.1");
    ASSERT_NE(nullptr, value);
    EXPECT_EQ(DSIGKeyInfo::KEYINFO_VALUE_GOST, value->getKeyInfoType());
    EXPECT_EQ(DSIGKeyInfoValue::GOSTKEYVALUE_DSIG, value->getGostKeyValueForm());
    EXPECT_EQ(std::wstring(kKey), Text(value->getGostPubKey()));
    EXPECT_EQ(L"urn:oid:1.2.643.2.2.35.1", Text(value->getGostPubKeyParamSet()));
    EXPECT_EQ(L"urn:oid:1.2.643.2.2.30.1", Text(value->getGostDigestParamSet()));
    EXPECT_EQ(L"urn:oid:1.2.643.2.2.31.1", Text(value->getGostEncryptionParamSet()));
    EXPECT_EQ(
        "<ds:KeyValue xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"><ds:GOSTKeyValue><ds:PublicKeyParameters>"
        "<ds:publicKeyParamSet>urn:oid:1.2.643.2.2.35.1</ds:publicKeyParamSet><ds:digestParamSet>"
        "urn:oid:1.2.643.2.2.30.1</ds:digestParamSet><ds:encryptionParamSet>urn:oid:1.2.643.2.2.31.1"
        "</ds:encryptionParamSet></ds:PublicKeyParameters><ds:PublicKey>" +
            std::string(kKey, kKey + std::wcslen(kKey)) + "</ds:PublicKey></ds:GOSTKeyValue></ds:KeyValue>",
        fresh.Serialised(value->getKeyInfoDOMNode()));
}

TEST_F(GostKeyValue, WrittenWithoutEncryptionParamSetAndReadBack) {
    NewSignature fresh;
    fresh.sig->appendKeyName(L"signer");
    DSIGKeyInfoValue* value =
        fresh.sig->appendGOSTKeyValue(kKey, L"urn:oid:1.2.643.2.2.35.1", L"urn:oid:1.2.643.2.2.30.1", nullptr);
    EXPECT_EQ(nullptr, value->getGostEncryptionParamSet());
    const std::string xml = fresh.Serialised(fresh.doc);
    EXPECT_EQ(std::string::npos, xml.find("encryptionParamSet"));

    // What was written is what a reader finds: the signature's KeyInfo, loaded again.
    const std::string withValue = xml.substr(0, xml.find("</ds:SignedInfo>")) +
                                  "</ds:SignedInfo><ds:SignatureValue>AAAA</ds:SignatureValue>" +
                                  xml.substr(xml.find("<ds:KeyInfo>"));
    auto loaded = Load(withValue.substr(withValue.find("<root")));
    const DSIGKeyInfoList* list = loaded->sig->getKeyInfoList();
    ASSERT_EQ(2u, list->getSize());
    const auto* reread = static_cast<const DSIGKeyInfoValue*>(list->item(1));
    EXPECT_EQ(DSIGKeyInfo::KEYINFO_VALUE_GOST, reread->getKeyInfoType());
    EXPECT_EQ(std::wstring(kKey), Text(reread->getGostPubKey()));
    EXPECT_EQ(L"urn:oid:1.2.643.2.2.35.1", Text(reread->getGostPubKeyParamSet()));
    EXPECT_EQ(L"urn:oid:1.2.643.2.2.30.1", Text(reread->getGostDigestParamSet()));
    EXPECT_EQ(nullptr, reread->getGostEncryptionParamSet());
}
