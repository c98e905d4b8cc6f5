// Verification of decoded signatures, in-process: the exports as an application calls
// them, and the signature and reference contexts where an outcome is not visible through
// the exports (trace lines written before a frame's own line, the URI resolver, states
// that no export can produce).
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <xercesc/util/BinInputStream.hpp>
#include <xsec/dsig/DSIGKeyInfoX509.hpp>

#include "dsig/ContextRegistry.hpp"
#include "base/CryptXmlException.hpp"
#include "crypto/XmlStack.hpp"
#include "exports/Lifecycle.hpp"
#include "support/UnitTrace.hpp"
#include "crypto/CapiHandles.hpp"
#include "crypto/WinCAPICryptoKeyRSA.hpp"
#include "dsig/DocContext.hpp"
#include "dsig/ObjContext.hpp"
#include "dsig/RefContext.hpp"
#include "dsig/SigContext.hpp"
#include "support/SignedXml.hpp"
#include "support/TraceLines.hpp"

namespace {

using testing_support::ExpectedFrameLine;
using testing_support::ExpectedLine;
using testing_support::LastLine;

constexpr char kSecret[] = "a secret of twenty-four!";
constexpr wchar_t kContainer[] = L"talvoran-verify-test-rsa";
constexpr DWORD kSigValid = CRYPT_XML_STATUS_SIGNATURE_VALID;
constexpr DWORD kSigInvalid = CRYPT_XML_STATUS_ERROR_SIGNATURE_INVALID;
constexpr DWORD kDigestValid = CRYPT_XML_STATUS_DIGEST_VALID;
constexpr DWORD kDigestInvalid = CRYPT_XML_STATUS_ERROR_DIGEST_INVALID;
constexpr DWORD kInternal = CRYPT_XML_STATUS_INTERNAL_REFERENCE;
constexpr DWORD kNotResolved = CRYPT_XML_STATUS_ERROR_NOT_RESOLVED;
constexpr HRESULT kInvalidOperation = static_cast<HRESULT>(0x803D0003L);  // WS_E_INVALID_OPERATION

std::wstring Message(const char* function, const char* text) {
    return testing_support::Widen(std::string("an error occurred. function: ") + function + ". desc: " + text);
}
std::wstring ArgMessage(const char* function, const char* detail) {
    return Message(function, (std::string("One or more arguments are invalid  ") + detail).c_str());
}
constexpr char kStateText[] = "The operation is not allowed due to the current state of the object.";

// An opened document and its first signature; closed at the end of the test.
class Opened {
public:
    explicit Opened(std::string xml) : xml_(std::move(xml)) {
        const CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(xml_.size()),
                                     reinterpret_cast<BYTE*>(&xml_[0])};
        hr_ = CryptXmlOpenToDecode(nullptr, 0, nullptr, 0, &blob, &doc_);
        if (hr_ == S_OK) {
            const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
            CryptXmlGetDocContext(doc_, &ctxt);
            sig_ = ctxt->rgpSignature[0];
        }
    }
    ~Opened() {
        if (doc_ != nullptr) CryptXmlClose(doc_);
    }
    HRESULT hr() const { return hr_; }
    HCRYPTXML doc() const { return doc_; }
    HCRYPTXML sig() const { return sig_->hSignature; }
    HCRYPTXML ref(size_t i) const { return sig_->SignedInfo.rgpReference[i]->hReference; }
    SigContext& sigContext() const { return *static_cast<SigContext*>(sig_->hSignature); }
    RefContext& refContext(size_t i) const { return *static_cast<RefContext*>(ref(i)); }

private:
    std::string xml_;
    HRESULT hr_ = E_FAIL;
    HCRYPTXML doc_ = nullptr;
    const CRYPT_XML_SIGNATURE* sig_ = nullptr;
};

std::pair<DWORD, DWORD> StatusOf(HCRYPTXML handle) {
    CRYPT_XML_STATUS status = {};
    EXPECT_EQ(S_OK, CryptXmlGetStatus(handle, &status));
    return {status.dwErrorStatus, status.dwInfoStatus};
}
std::pair<DWORD, DWORD> Words(DWORD error, DWORD info) { return {error, info}; }

// A data provider over a string, read in the caller's chunk size.
struct StringReader {
    std::string data;
    size_t at = 0;
    static HRESULT CALLBACK Read(void* state, BYTE* out, ULONG cb, ULONG* read) {
        auto* self = static_cast<StringReader*>(state);
        const size_t n = std::min<size_t>(cb, self->data.size() - self->at);
        std::memcpy(out, self->data.data() + self->at, n);
        self->at += n;
        *read = static_cast<ULONG>(n);
        return S_OK;
    }
    static HRESULT CALLBACK Close(void*) { return S_OK; }
    CRYPT_XML_DATA_PROVIDER Provider() { return {this, 0, &Read, &Close}; }
};

HRESULT Digest(HCRYPTXML ref, const std::string& data) {
    StringReader reader{data};
    CRYPT_XML_DATA_PROVIDER provider = reader.Provider();
    return CryptXmlDigestReference(ref, 0, &provider);
}

// A thrown library exception's HRESULT and text, or S_OK.
template <class F>
std::pair<HRESULT, std::string> Caught(F&& f) {
    try {
        f();
    } catch (const CryptXmlException& e) {
        return {e.hr(), e.what()};
    }
    return {S_OK, ""};
}

class Verify : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        xmlStack::Ensure();
        HCRYPTPROV gone = 0;
        CryptAcquireContextW(&gone, kContainer, nullptr, PROV_RSA_AES, CRYPT_DELETEKEYSET);
        ASSERT_TRUE(CryptAcquireContextW(rsaProv_.put(), kContainer, nullptr, PROV_RSA_AES, CRYPT_NEWKEYSET));
        ASSERT_TRUE(CryptGenKey(rsaProv_.get(), AT_SIGNATURE, (2048u << 16) | CRYPT_EXPORTABLE, rsaKey_.put()));
    }
    static void TearDownTestSuite() {
        rsaKey_.reset();
        rsaProv_.reset();
        HCRYPTPROV gone = 0;
        CryptAcquireContextW(&gone, kContainer, nullptr, PROV_RSA_AES, CRYPT_DELETEKEYSET);
        lifecycle::Cleanup();
    }

    static std::string HmacSigned(std::vector<const wchar_t*> uris = {L""},
                                  std::map<std::wstring, std::string> external = {}) {
        testing_support::SignRequest request;
        request.uris = std::move(uris);
        request.external = std::move(external);
        return testing_support::SignPayload(testing_support::HmacKey(kSecret), request);
    }

    enum class RsaKeyInfo { kNone, kKeyValue, kCertificate };
    static std::string RsaSigned(RsaKeyInfo keyInfo) {
        testing_support::SignRequest request;
        request.method = DSIGConstants::s_unicodeStrURIRSA_SHA256;
        auto* key = new WinCAPICryptoKeyRSA(rsaProv_.get(), AT_SIGNATURE, true);
        request.keyInfo = [&, key](DSIGSignature* sig) {
            if (keyInfo == RsaKeyInfo::kKeyValue) {
                char modulus[1024], exponent[64];
                modulus[key->getModulusBase64BigNums(modulus, sizeof modulus)] = 0;
                exponent[key->getExponentBase64BigNums(exponent, sizeof exponent)] = 0;
                sig->appendRSAKeyValue(Wide(modulus).c_str(), Wide(exponent).c_str());
            } else if (keyInfo == RsaKeyInfo::kCertificate) {
                sig->appendX509Data()->appendX509Certificate(Wide(SelfSignedCertificateBase64()).c_str());
            }
        };
        return testing_support::SignPayload(key, request);
    }

    static std::string SelfSignedCertificateBase64() {
        BYTE name[256];
        CERT_NAME_BLOB subject = {sizeof name, name};
        EXPECT_TRUE(CertStrToNameW(X509_ASN_ENCODING, L"CN=talvoran verify test", CERT_X500_NAME_STR, nullptr, name,
                                   &subject.cbData, nullptr));
        CRYPT_KEY_PROV_INFO keyProv = {
            const_cast<wchar_t*>(kContainer), nullptr, PROV_RSA_AES, 0, 0, nullptr, AT_SIGNATURE};
        crypto::CertHandle cert(
            CertCreateSelfSignCertificate(rsaProv_.get(), &subject, 0, &keyProv, nullptr, nullptr, nullptr, nullptr));
        EXPECT_TRUE(cert) << GetLastError();
        std::string text;
        base64::BinToBase64(
            std::vector<BYTE>(cert.get()->pbCertEncoded, cert.get()->pbCertEncoded + cert.get()->cbCertEncoded), text);
        return text;
    }

    static std::wstring Wide(const std::string& s) { return std::wstring(s.begin(), s.end()); }

    static HCRYPTKEY PublicRsaKey() {
        HCRYPTKEY key = 0;
        EXPECT_TRUE(CryptGetUserKey(rsaProv_.get(), AT_SIGNATURE, &key));
        return key;
    }

    testing_support::TraceOn trace_;
    static inline crypto::ProvHandle rsaProv_;
    static inline crypto::KeyHandle rsaKey_;
};

// --- the HMAC secret --------------------------------------------------------------------

TEST_F(Verify, HmacSecretOfLengthZeroIsRefused) {
    Opened doc(HmacSigned());
    ASSERT_EQ(S_OK, doc.hr());
    EXPECT_EQ(E_INVALIDARG, CryptXmlSetHMACSecret(doc.sig(), reinterpret_cast<const BYTE*>(kSecret), 0));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlSetHMACSecret", ArgMessage("SigContext::SetHmacSecret", "0 == cbSecret")),
              LastLine());
    EXPECT_EQ(E_INVALIDARG, CryptXmlSetHMACSecret(doc.sig(), nullptr, 4));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlSetHMACSecret",
                                ArgMessage("CryptXmlSetHMACSecret", "NULL == hSignature || NULL == pbSecret")),
              LastLine());
    EXPECT_EQ(CRYPT_XML_E_HANDLE,
              CryptXmlSetHMACSecret(reinterpret_cast<HCRYPTXML>(&doc), reinterpret_cast<const BYTE*>(kSecret), 4));
    // A document handle is not a signature: the narrow frame reports that as E_FAIL.
    EXPECT_EQ(E_FAIL, CryptXmlSetHMACSecret(doc.doc(), reinterpret_cast<const BYTE*>(kSecret), 4));
}

TEST_F(Verify, HmacSecretIsBorrowedWhateverThePointerAndReplacedByTheNextOne) {
    Opened doc(HmacSigned());
    ASSERT_EQ(S_OK, doc.hr());
    // Not read when it is set: only verification reads it.
    EXPECT_EQ(S_OK, CryptXmlSetHMACSecret(doc.sig(), reinterpret_cast<const BYTE*>(0x10), 4));
    std::string secret = kSecret;
    EXPECT_EQ(S_OK, CryptXmlSetHMACSecret(doc.sig(), reinterpret_cast<const BYTE*>(secret.data()),
                                          static_cast<ULONG>(secret.size())));
    EXPECT_EQ(S_OK, CryptXmlVerifySignatureCAPI(doc.sig(), 0, 0, 0));
    // Borrowed, not copied: a changed buffer is what the next verification uses.
    secret[0] = 'A';
    EXPECT_EQ(CRYPT_XML_E_VERIFY_FAILED, CryptXmlVerifySignatureCAPI(doc.sig(), 0, 0, 0));
}

TEST_F(Verify, HmacWithoutASecretIsAStateError) {
    Opened doc(HmacSigned());
    ASSERT_EQ(S_OK, doc.hr());
    EXPECT_EQ(kInvalidOperation, CryptXmlVerifySignatureCAPI(doc.sig(), 0, 0, 0));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlVerifySignatureCAPI", Message("SigContext::VerifyHMAC", kStateText)),
              LastLine());
    EXPECT_EQ(kInvalidOperation, CryptXmlVerifySignature(doc.sig(), nullptr, 0));
    const auto caught = Caught([&] { doc.sigContext().VerifyHMAC(); });
    EXPECT_EQ(kInvalidOperation, caught.first);
    EXPECT_EQ(Words(kNotResolved, 0), StatusOf(doc.sig()));  // still as decoded
}

TEST_F(Verify, HmacMayBeRepeatedAndEachRunOverwritesTheStatus) {
    Opened doc(HmacSigned());
    ASSERT_EQ(S_OK, doc.hr());
    const std::string good = kSecret;
    const std::string bad = "another secret, not it!!";
    const auto set = [&](const std::string& s) {
        return CryptXmlSetHMACSecret(doc.sig(), reinterpret_cast<const BYTE*>(s.data()), static_cast<ULONG>(s.size()));
    };
    ASSERT_EQ(S_OK, set(good));
    EXPECT_EQ(S_OK, CryptXmlVerifySignatureCAPI(doc.sig(), 0, 0, 0));
    EXPECT_EQ(S_OK, CryptXmlVerifySignatureCAPI(doc.sig(), 0, 0, 0));
    EXPECT_EQ(Words(0, kSigValid | kDigestValid), StatusOf(doc.sig()));
    ASSERT_EQ(S_OK, set(bad));
    EXPECT_EQ(CRYPT_XML_E_VERIFY_FAILED, CryptXmlVerifySignatureCAPI(doc.sig(), 0, 0, 0));
    // The reference keeps its digest result; the signature's own words are overwritten.
    EXPECT_EQ(Words(kSigInvalid, kDigestValid), StatusOf(doc.sig()));
    EXPECT_EQ(Words(kSigInvalid, 0), StatusOf(doc.doc()));
    ASSERT_EQ(S_OK, set(good));
    EXPECT_EQ(S_OK, CryptXmlVerifySignature(doc.sig(), nullptr, 0));
    EXPECT_EQ(Words(0, kSigValid | kDigestValid), StatusOf(doc.sig()));
    EXPECT_EQ(Words(0, kSigValid), StatusOf(doc.doc()));
}

TEST_F(Verify, KeysAreRefusedWhenASecretIsSet) {
    Opened doc(HmacSigned());
    ASSERT_EQ(S_OK, doc.hr());
    ASSERT_EQ(S_OK, CryptXmlSetHMACSecret(doc.sig(), reinterpret_cast<const BYTE*>(kSecret), sizeof kSecret - 1));
    const std::wstring line =
        ExpectedFrameLine(L"CryptXmlVerifySignatureCAPI",
                          ArgMessage("CryptXmlVerifySignatureCAPI", "NULL != provHandle || NULL != hKey"));
    EXPECT_EQ(E_INVALIDARG, CryptXmlVerifySignatureCAPI(doc.sig(), rsaProv_.get(), 0, 0));
    EXPECT_EQ(line, LastLine());
    EXPECT_EQ(E_INVALIDARG, CryptXmlVerifySignatureCAPI(doc.sig(), 0, rsaKey_.get(), 0));
    EXPECT_EQ(line, LastLine());
}

// --- references -------------------------------------------------------------------------

TEST_F(Verify, OnlySameDocumentReferencesAreDigestedWithTheSignature) {
    Opened doc(HmacSigned({L"", L"#data", L"ext.bin"}, {{L"ext.bin", "external bytes"}}));
    ASSERT_EQ(S_OK, doc.hr());
    EXPECT_EQ(Words(0, kInternal), StatusOf(doc.ref(0)));
    EXPECT_EQ(Words(0, kInternal), StatusOf(doc.ref(1)));
    EXPECT_EQ(Words(kNotResolved, 0), StatusOf(doc.ref(2)));
    ASSERT_EQ(S_OK, CryptXmlSetHMACSecret(doc.sig(), reinterpret_cast<const BYTE*>(kSecret), sizeof kSecret - 1));
    EXPECT_EQ(S_OK, CryptXmlVerifySignatureCAPI(doc.sig(), 0, 0, 0));
    EXPECT_EQ(Words(0, kInternal | kDigestValid), StatusOf(doc.ref(0)));
    EXPECT_EQ(Words(0, kInternal | kDigestValid), StatusOf(doc.ref(1)));
    EXPECT_EQ(Words(kNotResolved, 0), StatusOf(doc.ref(2)));
    EXPECT_EQ(Words(kNotResolved, kSigValid), StatusOf(doc.sig()));
    EXPECT_EQ(Words(kNotResolved, kSigValid), StatusOf(doc.doc()));

    EXPECT_EQ(S_OK, Digest(doc.ref(2), "external bytes"));
    EXPECT_EQ(Words(0, kDigestValid), StatusOf(doc.ref(2)));
    EXPECT_EQ(Words(0, kSigValid | kDigestValid), StatusOf(doc.sig()));
    EXPECT_EQ(Words(0, kSigValid), StatusOf(doc.doc()));
}

TEST_F(Verify, AReferenceWithoutUriIsNotDigestedWithTheSignature) {
    // xml-security-c's URI resolver reads the reference with no URI while signing.
    Opened doc(HmacSigned({L"#data", nullptr}, {{L"", "data of a reference without URI"}}));
    ASSERT_EQ(S_OK, doc.hr());
    ASSERT_EQ(nullptr, doc.refContext(1).GetReferenceStruct()->wszUri);
    ASSERT_EQ(S_OK, CryptXmlSetHMACSecret(doc.sig(), reinterpret_cast<const BYTE*>(kSecret), sizeof kSecret - 1));
    EXPECT_EQ(S_OK, CryptXmlVerifySignatureCAPI(doc.sig(), 0, 0, 0));
    EXPECT_EQ(Words(kNotResolved, 0), StatusOf(doc.ref(1)));
    EXPECT_EQ(Words(kNotResolved, kSigValid), StatusOf(doc.sig()));
}

TEST_F(Verify, ExternalDataIsDigestedBeforeOrAfterTheSignature) {
    Opened doc(HmacSigned({L"#data", L"ext.bin"}, {{L"ext.bin", std::string(10000, 'x')}}));
    ASSERT_EQ(S_OK, doc.hr());
    EXPECT_EQ(CRYPT_XML_E_INVALID_DIGEST, Digest(doc.ref(1), std::string(9999, 'x')));
    EXPECT_EQ(Words(kDigestInvalid, 0), StatusOf(doc.ref(1)));
    EXPECT_EQ(S_OK, Digest(doc.ref(1), std::string(10000, 'x')));
    EXPECT_EQ(Words(0, kDigestValid), StatusOf(doc.ref(1)));
    // A digest that matched before and no longer does loses its valid mark.
    EXPECT_EQ(CRYPT_XML_E_INVALID_DIGEST, Digest(doc.ref(1), std::string(10000, 'y')));
    EXPECT_EQ(Words(kDigestInvalid, 0), StatusOf(doc.ref(1)));
    ASSERT_EQ(S_OK, CryptXmlSetHMACSecret(doc.sig(), reinterpret_cast<const BYTE*>(kSecret), sizeof kSecret - 1));
    EXPECT_EQ(S_OK, CryptXmlVerifySignatureCAPI(doc.sig(), 0, 0, 0));
    EXPECT_EQ(Words(kDigestInvalid, kSigValid), StatusOf(doc.sig()));
    EXPECT_EQ(Words(0, kSigValid), StatusOf(doc.doc()));  // the document reports signature bits only
    EXPECT_EQ(S_OK, Digest(doc.ref(1), std::string(10000, 'x')));
    EXPECT_EQ(Words(0, kSigValid | kDigestValid), StatusOf(doc.sig()));
}

TEST_F(Verify, DigestReferenceRefusesSameDocumentReferencesAndNullArguments) {
    Opened doc(HmacSigned({L"#data"}));
    ASSERT_EQ(S_OK, doc.hr());
    EXPECT_EQ(CRYPT_XML_E_OPERATION, Digest(doc.ref(0), "anything"));
    EXPECT_EQ(Words(0, kInternal), StatusOf(doc.ref(0)));
    StringReader reader{"x"};
    CRYPT_XML_DATA_PROVIDER provider = reader.Provider();
    EXPECT_EQ(E_INVALIDARG, CryptXmlDigestReference(nullptr, 0, &provider));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlDigestReference", L"NULL == hReference || NULL == pDataProviderIn"),
              LastLine());
    EXPECT_EQ(E_INVALIDARG, CryptXmlDigestReference(doc.ref(0), 0, nullptr));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlDigestReference", L"NULL == hReference || NULL == pDataProviderIn"),
              LastLine());
    // A signature handle is not a reference.
    EXPECT_EQ(E_FAIL, Digest(doc.sig(), "x"));
}

TEST_F(Verify, ReferencesAreDigestCheckedOnlyAfterAGoodSignatureValue) {
    Opened doc(HmacSigned({L"", L"#data"}));
    ASSERT_EQ(S_OK, doc.hr());
    const std::string bad = "not the secret at all!!!";
    ASSERT_EQ(S_OK, CryptXmlSetHMACSecret(doc.sig(), reinterpret_cast<const BYTE*>(bad.data()), 24));
    EXPECT_EQ(CRYPT_XML_E_VERIFY_FAILED, CryptXmlVerifySignatureCAPI(doc.sig(), 0, 0, 0));
    EXPECT_EQ(Words(0, kInternal), StatusOf(doc.ref(0)));
    EXPECT_EQ(Words(0, kInternal), StatusOf(doc.ref(1)));
    EXPECT_EQ(Words(kSigInvalid, 0), StatusOf(doc.sig()));
}

TEST_F(Verify, TamperedSignedDataLeavesTheSignatureValidAndTheDigestInvalid) {
    Opened doc(testing_support::Replaced(HmacSigned({L"", L"#data"}), "<Data", "payload", "paYload"));
    ASSERT_EQ(S_OK, doc.hr());
    ASSERT_EQ(S_OK, CryptXmlSetHMACSecret(doc.sig(), reinterpret_cast<const BYTE*>(kSecret), sizeof kSecret - 1));
    EXPECT_EQ(S_OK, CryptXmlVerifySignatureCAPI(doc.sig(), 0, 0, 0));
    EXPECT_EQ(Words(kDigestInvalid, kInternal), StatusOf(doc.ref(0)));
    EXPECT_EQ(Words(kDigestInvalid, kInternal), StatusOf(doc.ref(1)));
    EXPECT_EQ(Words(kDigestInvalid, kSigValid), StatusOf(doc.sig()));
    EXPECT_EQ(Words(0, kSigValid), StatusOf(doc.doc()));
}

TEST_F(Verify, ATransformThisBuildCannotExecuteIsATransformFailure) {
    const std::string references =
        "<Reference URI=\"\"><Transforms><Transform Algorithm=\"http://www.w3.org/TR/1999/REC-xpath-19991116\">"
        "<XPath>self::text()</XPath></Transform></Transforms>"
        "<DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\"></DigestMethod>"
        "<DigestValue>AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=</DigestValue></Reference>";
    Opened doc(testing_support::HandSignedHmac(kSecret, references));
    ASSERT_EQ(S_OK, doc.hr());
    ASSERT_EQ(S_OK, CryptXmlSetHMACSecret(doc.sig(), reinterpret_cast<const BYTE*>(kSecret), sizeof kSecret - 1));
    EXPECT_EQ(CRYPT_XML_E_TRANSFORM, CryptXmlVerifySignatureCAPI(doc.sig(), 0, 0, 0));
    EXPECT_EQ(
        ExpectedLine(L"SigContext::Verify. XPath transforms are not supported in this compilation of the XSEC library"),
        LastLine());
    EXPECT_EQ(Words(kSigInvalid | CRYPT_XML_STATUS_ERROR_NOT_SUPPORTED_TRANSFORM, 0), StatusOf(doc.sig()));
    EXPECT_EQ(Words(kSigInvalid, 0), StatusOf(doc.doc()));
}

std::string Sha256Base64Of(const std::string& data) {
    std::unique_ptr<XSECCryptoHash> hash(XSECPlatformUtils::g_cryptoProvider->hash(XSECCryptoHash::HASH_SHA256));
    hash->hash(reinterpret_cast<unsigned char*>(const_cast<char*>(data.data())),
               static_cast<unsigned int>(data.size()));
    unsigned char digest[32];
    hash->finish(digest, sizeof digest);
    std::string text;
    base64::BinToBase64(std::vector<BYTE>(digest, digest + 32), text);
    return text;
}

// The base64 transform over an Object: the string value of the Object's text nodes
// (comments and element boundaries do not count) is decoded and digested.
TEST_F(Verify, Base64OverASameDocumentObjectDecodesItsText) {
    const std::string data = "octets carried as base64 in an Object";
    std::string text;
    base64::BinToBase64(std::vector<BYTE>(data.begin(), data.end()), text);
    const std::string references =
        "<Reference URI=\"#obj\"><Transforms><Transform Algorithm=\"http://www.w3.org/2000/09/xmldsig#base64\">"
        "</Transform></Transforms><DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\"></DigestMethod>"
        "<DigestValue>" +
        Sha256Base64Of(data) + "</DigestValue></Reference>";
    const std::string split = text.substr(0, 10) + "\n<!-- not text -->" + text.substr(10, 12) + "<b>" +
                              text.substr(22, 8) + "</b><![CDATA[" + text.substr(30) + "]]>\n";
    for (const std::string& content : {text, split}) {
        Opened doc(
            testing_support::HandSignedHmac(kSecret, references, {}, "<Object Id=\"obj\">" + content + "</Object>"));
        ASSERT_EQ(S_OK, doc.hr());
        ASSERT_EQ(S_OK, CryptXmlSetHMACSecret(doc.sig(), reinterpret_cast<const BYTE*>(kSecret), sizeof kSecret - 1));
        EXPECT_EQ(S_OK, CryptXmlVerifySignatureCAPI(doc.sig(), 0, 0, 0)) << content;
        EXPECT_EQ(Words(0, kSigValid | kDigestValid), StatusOf(doc.sig())) << content;
    }
    Opened other(
        testing_support::HandSignedHmac(kSecret, references, {}, "<Object Id=\"obj\">" + text.substr(4) + "</Object>"));
    ASSERT_EQ(S_OK, CryptXmlSetHMACSecret(other.sig(), reinterpret_cast<const BYTE*>(kSecret), sizeof kSecret - 1));
    EXPECT_EQ(S_OK, CryptXmlVerifySignatureCAPI(other.sig(), 0, 0, 0));
    EXPECT_EQ(Words(kDigestInvalid, kSigValid), StatusOf(other.sig()));
}

// HMACOutputLength counts bits: at least 80 and at least half the digest, and only the
// leftmost bits are compared.
class HmacOutputLength : public Verify {
protected:
    static HRESULT VerifyCut(const testing_support::HmacCut& cut, std::wstring* line = nullptr) {
        const std::string references =
            "<Reference URI=\"#data\"><DigestMethod "
            "Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\"></DigestMethod>"
            "<DigestValue>" +
            Sha256Base64Of("<Data xmlns=\"urn:talvoran:test\" Id=\"data\">payload</Data>") +
            "</DigestValue></Reference>";
        Opened doc(testing_support::HandSignedHmac(kSecret, references, cut));
        EXPECT_EQ(S_OK, doc.hr());
        EXPECT_EQ(S_OK, CryptXmlSetHMACSecret(doc.sig(), reinterpret_cast<const BYTE*>(kSecret), sizeof kSecret - 1));
        const HRESULT hr = CryptXmlVerifySignatureCAPI(doc.sig(), 0, 0, 0);
        if (line != nullptr) *line = LastLine();
        if (hr == S_OK) EXPECT_EQ(Words(0, kSigValid | kDigestValid), StatusOf(doc.sig()));
        if (hr != S_OK) EXPECT_EQ(Words(kSigInvalid, 0), StatusOf(doc.sig()));
        return hr;
    }
};

TEST_F(HmacOutputLength, WholeBytesFromHalfTheDigestUp) {
    EXPECT_EQ(S_OK, VerifyCut({}));
    EXPECT_EQ(S_OK, VerifyCut({256}));
    EXPECT_EQ(S_OK, VerifyCut({128}));
    EXPECT_EQ(S_OK, VerifyCut({136}));
}

TEST_F(HmacOutputLength, OnlyTheLeftmostBitsOfAPartialByteCount) {
    testing_support::HmacCut cut;
    cut.bits = 131;  // 16 bytes and the 3 high bits of the 17th
    cut.lastByte = [](BYTE b) { return static_cast<BYTE>(b & 0xE0); };
    EXPECT_EQ(S_OK, VerifyCut(cut));
    cut.lastByte = [](BYTE b) { return static_cast<BYTE>((b & 0xE0) | 0x1F); };  // the bits beyond do not count
    EXPECT_EQ(S_OK, VerifyCut(cut));
    cut.lastByte = [](BYTE b) { return static_cast<BYTE>(b ^ 0x20); };  // the last bit that counts
    EXPECT_EQ(CRYPT_XML_E_VERIFY_FAILED, VerifyCut(cut));
    cut.lastByte = [](BYTE b) { return static_cast<BYTE>(b ^ 0x80); };
    EXPECT_EQ(CRYPT_XML_E_VERIFY_FAILED, VerifyCut(cut));
}

TEST_F(HmacOutputLength, LessThanHalfTheDigestIsAnAlgorithmFailure) {
    std::wstring line;
    EXPECT_EQ(CRYPT_XML_E_ALGORITHM, VerifyCut({120}, &line));
    EXPECT_EQ(ExpectedLine(L"SigContext::Verify. HMACOutputLength set to unsafe value."), line);
}

TEST_F(HmacOutputLength, LessThan80BitsIsAFailedVerification) {
    std::wstring line;
    EXPECT_EQ(CRYPT_XML_E_VERIFY_FAILED, VerifyCut({40}, &line));
    EXPECT_EQ(ExpectedLine(L"SigContext::Verify. DSIGSignature::verify() - HMACOutputLength is unsafe"), line);
    EXPECT_EQ(CRYPT_XML_E_VERIFY_FAILED, VerifyCut({79}, &line));
}

// --- CryptoAPI keys ---------------------------------------------------------------------

TEST_F(Verify, TheCryptoApiFormVerifiesOnceWhateverTheOutcome) {
    Opened doc(RsaSigned(RsaKeyInfo::kNone));
    ASSERT_EQ(S_OK, doc.hr());
    crypto::KeyHandle key(PublicRsaKey());
    EXPECT_EQ(S_OK, CryptXmlVerifySignatureCAPI(doc.sig(), rsaProv_.get(), key.get(), 0));
    EXPECT_EQ(Words(0, kSigValid | kDigestValid), StatusOf(doc.sig()));
    EXPECT_EQ(CRYPT_XML_E_OPERATION, CryptXmlVerifySignatureCAPI(doc.sig(), rsaProv_.get(), key.get(), 0));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlVerifySignatureCAPI", Message("SigContext::Verify", "Invalid operation.")),
              LastLine());

    Opened bad(testing_support::Replaced(RsaSigned(RsaKeyInfo::kNone), "<SignatureValue>", ">", ">AAAA"));
    ASSERT_EQ(S_OK, bad.hr());
    EXPECT_EQ(CRYPT_XML_E_VERIFY_FAILED, CryptXmlVerifySignatureCAPI(bad.sig(), rsaProv_.get(), key.get(), 0));
    EXPECT_EQ(Words(kSigInvalid, 0), StatusOf(bad.sig()));
    EXPECT_EQ(Words(kSigInvalid, 0), StatusOf(bad.doc()));
    EXPECT_EQ(CRYPT_XML_E_OPERATION, CryptXmlVerifySignatureCAPI(bad.sig(), rsaProv_.get(), key.get(), 0));
}

TEST_F(Verify, ProviderAndKeyComeTogether) {
    Opened doc(RsaSigned(RsaKeyInfo::kKeyValue));
    ASSERT_EQ(S_OK, doc.hr());
    const std::wstring line =
        ExpectedFrameLine(L"CryptXmlVerifySignatureCAPI",
                          ArgMessage("CryptXmlVerifySignatureCAPI", "NULL == provHandle || NULL == hKey"));
    EXPECT_EQ(E_INVALIDARG, CryptXmlVerifySignatureCAPI(doc.sig(), rsaProv_.get(), 0, 0));
    EXPECT_EQ(line, LastLine());
    EXPECT_EQ(E_INVALIDARG, CryptXmlVerifySignatureCAPI(doc.sig(), 0, rsaKey_.get(), 0));
    EXPECT_EQ(line, LastLine());
    EXPECT_EQ(E_INVALIDARG, CryptXmlVerifySignatureCAPI(nullptr, rsaProv_.get(), rsaKey_.get(), 0));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlVerifySignatureCAPI",
                                ArgMessage("CryptXmlVerifySignatureCAPI", "NULL == hSignature")),
              LastLine());
    EXPECT_EQ(Words(kNotResolved, 0), StatusOf(doc.sig()));  // nothing was verified
}

TEST_F(Verify, AKeyOfAnotherClassIsRefusedWithTheTextThatNamesTwoClasses) {
    Opened doc(RsaSigned(RsaKeyInfo::kNone));
    ASSERT_EQ(S_OK, doc.hr());
    crypto::KeyHandle rc2;
    ASSERT_TRUE(CryptGenKey(rsaProv_.get(), CALG_RC2, 0, rc2.put()));
    EXPECT_EQ(kInvalidOperation, CryptXmlVerifySignatureCAPI(doc.sig(), rsaProv_.get(), rc2.get(), 0));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlVerifySignatureCAPI", Message("SigContext::Verify", kStateText)), LastLine());
    // The frame's line follows the one the signature writes first.
    const auto caught = Caught([&] { doc.sigContext().Verify(rc2.get(), rsaProv_.get()); });
    EXPECT_EQ(kInvalidOperation, caught.first);
    EXPECT_EQ(ExpectedLine(L"SigContext::Verify. unsupported type of the key. Supported types: ALG_TYPE_RSA(0x400), "
                           L"ALG_TYPE_GR3410(0xE00)"),
              LastLine());
    EXPECT_EQ(Words(kNotResolved, 0), StatusOf(doc.sig()));
}

TEST_F(Verify, AKeyOfAnotherSignatureFamilyIsAnAlgorithmFailure) {
    Opened doc(HmacSigned());
    ASSERT_EQ(S_OK, doc.hr());
    crypto::KeyHandle key(PublicRsaKey());
    EXPECT_EQ(CRYPT_XML_E_ALGORITHM, CryptXmlVerifySignatureCAPI(doc.sig(), rsaProv_.get(), key.get(), 0));
    EXPECT_EQ(ExpectedLine(L"SigContext::Verify. DSIGAlgorithmHandlerDefault - Unknown or key-incompatible URI : "
                           L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256"),
              LastLine());
    EXPECT_EQ(Words(kSigInvalid, 0), StatusOf(doc.sig()));
}

TEST_F(Verify, AKeyParameterFailureIsReturnedAsItsHresult) {
    Opened doc(RsaSigned(RsaKeyInfo::kNone));
    ASSERT_EQ(S_OK, doc.hr());
    // A hash handle is a live CryptoAPI object that is not a key: KP_ALGID is refused.
    crypto::HashHandle hash;
    ASSERT_TRUE(CryptCreateHash(rsaProv_.get(), CALG_SHA1, 0, 0, hash.put()));
    const std::wstring before = LastLine();
    EXPECT_EQ(E_INVALIDARG,
              CryptXmlVerifySignatureCAPI(doc.sig(), rsaProv_.get(), static_cast<HCRYPTKEY>(hash.get()), 0));
    EXPECT_EQ(before, LastLine());  // returned, not thrown: no trace line
    EXPECT_EQ(Words(kNotResolved, 0), StatusOf(doc.sig()));
}

TEST_F(Verify, TheProviderMustBeOneCryptoApiAnswersFor) {
    Opened doc(RsaSigned(RsaKeyInfo::kNone));
    ASSERT_EQ(S_OK, doc.hr());
    crypto::KeyHandle key(PublicRsaKey());
    SigContext& sig = doc.sigContext();
    const std::string noDescription =
        "an error occurred. function: SigContext::Verify. desc: One or more arguments are invalid ";
    EXPECT_EQ(std::make_pair(E_INVALIDARG, noDescription), Caught([&] { sig.Verify(key.get(), 0); }));
    EXPECT_EQ(std::make_pair(E_INVALIDARG, noDescription), Caught([&] { sig.Verify(HCRYPTKEY(0), rsaProv_.get()); }));
    // A key handle where the provider belongs.
    EXPECT_EQ(std::make_pair(E_INVALIDARG, noDescription),
              Caught([&] { sig.Verify(key.get(), static_cast<HCRYPTPROV>(key.get())); }));
}

TEST_F(Verify, ASignatureBeingCreatedCannotBeVerified) {
    Opened doc(RsaSigned(RsaKeyInfo::kNone));
    ASSERT_EQ(S_OK, doc.hr());
    crypto::KeyHandle key(PublicRsaKey());
    SigContext& sig = doc.sigContext();
    sig.SetStatus({sizeof(CRYPT_XML_STATUS), 0, CRYPT_XML_STATUS_OPENED_TO_ENCODE});
    EXPECT_EQ(CRYPT_XML_E_OPERATION, Caught([&] { sig.Verify(key.get(), rsaProv_.get()); }).first);
}

TEST_F(Verify, TheCommonCoreChecksItsParts) {
    Opened doc(RsaSigned(RsaKeyInfo::kNone));
    ASSERT_EQ(S_OK, doc.hr());
    EXPECT_EQ(
        std::make_pair(E_INVALIDARG, testing_support::InvalidArgMessage("SigContext::Verify", "NULL == cryptoKey")),
        Caught([&] { doc.sigContext().Verify(static_cast<XSECCryptoKey*>(nullptr)); }));
    // A signature context without a document cannot be verified.
    testing_support::XsecDocument xml(RsaSigned(RsaKeyInfo::kNone));
    SigContext orphan(nullptr, testing_support::XsecDocument::Find(xml.Dom()->getDocumentElement()), 0);
    EXPECT_EQ(std::make_pair(E_INVALIDARG,
                             testing_support::InvalidArgMessage("SigContext::Verify", "NULL == parentDocContext_")),
              Caught([&] { orphan.Verify(testing_support::HmacKey(kSecret)); }));
}

TEST_F(Verify, AReferenceClosedBehindTheSignaturesBackIsAnInvalidContext) {
    Opened doc(HmacSigned({L"#data"}));
    ASSERT_EQ(S_OK, doc.hr());
    registry::CloseContext(&doc.refContext(0));
    doc.sigContext().SetHmacSecret(reinterpret_cast<const BYTE*>(kSecret), sizeof kSecret - 1);
    EXPECT_EQ(std::make_pair(E_FAIL,
                             std::string("an error occurred. function: SigContext::Verify. desc: invalid refContext")),
              Caught([&] { doc.sigContext().VerifyHMAC(); }));
}

// --- the signature's own key ------------------------------------------------------------

TEST_F(Verify, WithoutAKeyTheSignaturesKeyInfoSuppliesIt) {
    Opened withValue(RsaSigned(RsaKeyInfo::kKeyValue));
    ASSERT_EQ(S_OK, withValue.hr());
    EXPECT_EQ(S_OK, CryptXmlVerifySignature(withValue.sig(), nullptr, 0));
    EXPECT_EQ(Words(0, kSigValid | kDigestValid), StatusOf(withValue.sig()));
    EXPECT_EQ(CRYPT_XML_E_OPERATION, CryptXmlVerifySignature(withValue.sig(), nullptr, 0));

    Opened withCertificate(RsaSigned(RsaKeyInfo::kCertificate));
    ASSERT_EQ(S_OK, withCertificate.hr());
    EXPECT_EQ(S_OK, CryptXmlVerifySignatureCAPI(withCertificate.sig(), 0, 0, 0));
    EXPECT_EQ(Words(0, kSigValid | kDigestValid), StatusOf(withCertificate.sig()));

    Opened without(RsaSigned(RsaKeyInfo::kNone));
    ASSERT_EQ(S_OK, without.hr());
    EXPECT_EQ(E_INVALIDARG, CryptXmlVerifySignature(without.sig(), nullptr, 0));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlVerifySignatureCAPI",
                                ArgMessage("CryptXmlVerifySignatureCAPI", "NULL == provHandle || NULL == hKey")),
              LastLine());
}

// A self-signed ECDSA P-256 certificate (openssl req -x509 -newkey ec): a key the
// library has no provider for.
constexpr char kEcdsaCertificate[] =
    "MIIBjDCCATGgAwIBAgIUX4XAy425nWwyoCeVYs/0azYmL1EwCgYIKoZIzj0EAwIwGzEZMBcGA1UEAwwQdGFsdm9yYW4gZWMg"
    "dGVzdDAeFw0yNjExMjExNDIxNDJaFw0zNjExMTgxNDIxNDJaMBsxGTAXBgNVBAMMEHRhbHZvcmFuIGVjIHRlc3QwWTATBgcq"
    "hkjOPQIBBggqhkjOPQMBBwNCAARwat/eqMGdZjS9iBv6DfhQVC09BvHWZDuH1lZnyjSn4QNsAIbQTDdAV3Q5c5rDrMEyItNv"
    "nCwSrTmP5RMKCKKeo1MwUTAdBgNVHQ4EFgQUyq7tXrVgUUbxKCliT7mXBldGxYkwHwYDVR0jBBgwFoAUyq7tXrVgUUbxKCli"
    "T7mXBldGxYkwDwYDVR0TAQH/BAUwAwEB/zAKBggqhkjOPQQDAgNJADBGAiEA4CTv/8JXFbapNsxQ9jaVxPwpXfX07Rc9wUdq"
    "aD3KQcECIQD3Tyt10kv+MU0A1EzfoyZSU83YjodTl7uHdSKjuSIGKg==";

TEST_F(Verify, ACertificateKeyOfAnUnsupportedAlgorithmIsAnAlgorithmFailure) {
    testing_support::SignRequest request;
    request.keyInfo = [](DSIGSignature* sig) {
        sig->appendX509Data()->appendX509Certificate(Wide(kEcdsaCertificate).c_str());
    };
    request.method = DSIGConstants::s_unicodeStrURIRSA_SHA256;
    Opened doc(testing_support::SignPayload(new WinCAPICryptoKeyRSA(rsaProv_.get(), AT_SIGNATURE, true), request));
    ASSERT_EQ(S_OK, doc.hr());
    EXPECT_EQ(CRYPT_XML_E_ALGORITHM, CryptXmlVerifySignature(doc.sig(), nullptr, 0));
    // Returned, not thrown: the line is the one the key lookup wrote.
    EXPECT_EQ(ExpectedLine(L"keyInfoKey::Import. the certificate's key algorithm is not supported."), LastLine());
    EXPECT_EQ(Words(kNotResolved, 0), StatusOf(doc.sig()));
}

TEST_F(Verify, ACngKeyIsNotImplemented) {
    Opened doc(RsaSigned(RsaKeyInfo::kKeyValue));
    ASSERT_EQ(S_OK, doc.hr());
    EXPECT_EQ(E_NOTIMPL, CryptXmlVerifySignature(doc.sig(), reinterpret_cast<BCRYPT_KEY_HANDLE>(1), 0));
    EXPECT_EQ(Words(kNotResolved, 0), StatusOf(doc.sig()));
}

// --- the URI resolver and the signature's document ---------------------------------------

std::string ManifestDocument(const std::string& manifestData) {
    const std::string sha256 = "<DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\"/>";
    return "<Document xmlns=\"urn:t\"><Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"><SignedInfo>"
           "<CanonicalizationMethod Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"/>"
           "<SignatureMethod Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256\"/>"
           "<Reference URI=\"#obj\" Type=\"http://www.w3.org/2000/09/xmldsig#Manifest\">" +
           sha256 +
           "<DigestValue>AAAA</DigestValue></Reference>"
           "<Reference URI=\"top.bin\">" +
           sha256 +
           "<DigestValue>AAAA</DigestValue></Reference>"
           "</SignedInfo><SignatureValue>AAAA</SignatureValue>"
           "<Object Id=\"obj\"><Manifest><Reference URI=\"manifest.bin\">" +
           sha256 + "<DigestValue>" + Sha256Base64Of(manifestData) +
           "</DigestValue></Reference>"
           "<Reference URI=\"top.bin\">" +
           sha256 +
           "<DigestValue>AAAA</DigestValue></Reference>"
           "</Manifest></Object></Signature></Document>";
}

std::string ReadAll(xercesc::BinInputStream* stream) {
    std::unique_ptr<xercesc::BinInputStream> owned(stream);
    std::string out;
    XMLByte chunk[1024];
    for (XMLSize_t n; (n = owned->readBytes(chunk, sizeof chunk)) != 0;) out.append(reinterpret_cast<char*>(chunk), n);
    return out;
}

TEST_F(Verify, TheResolverServesWhatTheReferencesHold) {
    Opened doc(ManifestDocument("manifest data"));
    ASSERT_EQ(S_OK, doc.hr());
    SigContext& sig = doc.sigContext();
    std::vector<RefContext*> manifestRefs;
    doc.refContext(0).GetManifestRefs(manifestRefs);
    ASSERT_EQ(2u, manifestRefs.size());
    // Manifest references are digested from the caller's data through the same resolver.
    EXPECT_EQ(S_OK, Digest(manifestRefs[0], "manifest data"));
    EXPECT_EQ(Words(0, kDigestValid), StatusOf(manifestRefs[0]));

    SigContext::UriResolver& resolver = *sig.GetUriResolver();
    EXPECT_EQ("manifest data", ReadAll(resolver.resolveURI(L"manifest.bin")));
    EXPECT_EQ(nullptr, resolver.resolveURI(L"nobody.bin"));
    // Nothing fed yet: an empty stream, not null.
    EXPECT_EQ("", ReadAll(resolver.resolveURI(L"top.bin")));
    // The object merges its manifest: digest-valid only when every reference is.
    const HCRYPTXML object = doc.refContext(0).PointeeObject()->GetObjectStruct()->hObject;
    EXPECT_EQ(Words(kNotResolved, 0), StatusOf(object));
    // A top-level reference answers before a manifest reference with the same URI.
    EXPECT_EQ(CRYPT_XML_E_INVALID_DIGEST, Digest(manifestRefs[1], "manifest top"));
    EXPECT_EQ(Words(kDigestInvalid, 0), StatusOf(object));
    EXPECT_EQ(CRYPT_XML_E_INVALID_DIGEST, Digest(doc.ref(1), "top-level top"));
    EXPECT_EQ("top-level top", ReadAll(resolver.resolveURI(L"top.bin")));
    EXPECT_EQ("manifest data",
              ReadAll(std::unique_ptr<XSECURIResolver>(resolver.clone())->resolveURI(L"manifest.bin")));
    EXPECT_EQ(nullptr, resolver.resolveURI(nullptr));
    EXPECT_EQ(ExpectedLine(L"SigContext::UriResolver::resolveURI. One or more arguments are invalid"), LastLine());
}

TEST_F(Verify, ManifestReferencesNeedTheirObject) {
    Opened doc(HmacSigned({L"#data"}));
    ASSERT_EQ(S_OK, doc.hr());
    std::vector<RefContext*> refs;
    EXPECT_EQ(kInvalidOperation, Caught([&] { doc.refContext(0).GetManifestRefs(refs); }).first);
}

TEST_F(Verify, ADecodedSignatureBuildsNewNodesInADocumentOfItsOwn) {
    Opened doc(HmacSigned());
    ASSERT_EQ(S_OK, doc.hr());
    xercesc::DOMDocument* own = doc.sigContext().GetCurrentDocument();
    ASSERT_NE(nullptr, own);
    EXPECT_EQ(nullptr, own->getDocumentElement());
    EXPECT_EQ(own, doc.sigContext().GetCurrentDocument());
}

TEST_F(Verify, DigestsUpTo128BytesSatisfyTheBound) {
    const auto withDigestOf = [](size_t bytes) {
        std::string value;
        base64::BinToBase64(std::vector<BYTE>(bytes, 0x5A), value);
        return testing_support::HandSignedHmac(
            kSecret,
            "<Reference URI=\"#data\"><DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\">"
            "</DigestMethod><DigestValue>" +
                value + "</DigestValue></Reference>");
    };
    Opened bound(withDigestOf(128));
    ASSERT_EQ(S_OK, bound.hr());
    EXPECT_TRUE(bound.refContext(0).HashSizeSatisfySizeLimit());
    Opened over(withDigestOf(129));
    ASSERT_EQ(S_OK, over.hr());
    EXPECT_FALSE(over.refContext(0).HashSizeSatisfySizeLimit());
}

}  // namespace
