// CryptXmlVerifySignatureCAPI through the DLL: the caller's key is verified as the class its
// KP_ALGID names, the CryptoAPI form verifies a signature once, and a key the provider cannot
// describe is answered with the provider's error. The documents are signed by xmlsec1 with
// fresh keys (make-verify-dispatch-docs.sh). Two prefixes: build/wineprefix for RSA, GOST and
// a key of another class; build/wineprefix-faulty for DSA, because Wine's dssenh answers
// neither PP_PROVTYPE nor KP_ALGID and the faulty CSP completes both.
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <memory>
#include <sstream>

#include "support/DebugCapture.hpp"
#include "KeyTestSupport.hpp"

namespace keytest {
namespace {

const std::string kDocs = TALVORAN_VERIFY_DISPATCH_DOCS;
constexpr HRESULT kInvalidOperation = static_cast<HRESULT>(0x803D0003L);  // WS_E_INVALID_OPERATION
constexpr HRESULT kOperation = static_cast<HRESULT>(0x80092107L);         // CRYPT_XML_E_OPERATION
constexpr HRESULT kVerifyFailed = static_cast<HRESULT>(0x8009210DL);      // CRYPT_XML_E_VERIFY_FAILED
constexpr HRESULT kNotReady = static_cast<HRESULT>(0x80070015L);          // HRESULT_FROM_WIN32(21)

std::string ReadDoc(const char* name) {
    std::ifstream in(kDocs + "/" + name, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Replaces the first letter or digit at or after `offset` in the text of the first `element`
// by another one, so that the Base64 stays valid and decodes to other bytes.
std::string Tampered(std::string xml, const std::string& element, size_t offset) {
    const size_t open = xml.find("<" + element + ">");
    if (open == std::string::npos) return std::string();
    size_t at = open + element.size() + 2 + offset;
    while (at < xml.size() && !std::isalnum(static_cast<unsigned char>(xml[at]))) ++at;
    if (at >= xml.size() || xml[at] == '<') return std::string();
    xml[at] = xml[at] == 'A' ? 'B' : 'A';
    return xml;
}

// An opened document and its one signature; closed at the end of the test.
class Document {
public:
    explicit Document(std::string xml) : xml_(std::move(xml)) {
        const CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(xml_.size()),
                                     reinterpret_cast<BYTE*>(&xml_[0])};
        hr_ = dll().OpenToDecode(nullptr, 0, nullptr, 0, &blob, &doc_);
        const CRYPT_XML_DOC_CTXT* context = nullptr;
        if (hr_ == S_OK) hr_ = dll().GetDocContext(doc_, &context);
        if (hr_ == S_OK && context->cSignature == 1) signature_ = context->rgpSignature[0];
    }
    ~Document() {
        if (doc_ != nullptr) dll().Close(doc_);
    }
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    bool Opened() const { return signature_ != nullptr; }
    HRESULT hr() const { return hr_; }
    HCRYPTXML doc() const { return doc_; }
    HCRYPTXML sig() const { return signature_->hSignature; }

    // The first KeyInfo item of `type`, nullptr when there is none.
    const CRYPT_XML_KEY_INFO_ITEM* KeyInfoItem(DWORD type) const {
        const CRYPT_XML_KEY_INFO* info = signature_->pKeyInfo;
        for (UINT i = 0; info != nullptr && i < info->cKeyInfo; ++i) {
            if (info->rgKeyInfo[i].dwType == type) return &info->rgKeyInfo[i];
        }
        return nullptr;
    }

private:
    std::string xml_;
    HRESULT hr_ = E_UNEXPECTED;
    HCRYPTXML doc_ = nullptr;
    const CRYPT_XML_SIGNATURE* signature_ = nullptr;
};

struct Status {
    DWORD error;
    DWORD info;
    bool operator==(const Status& other) const { return error == other.error && info == other.info; }
};
std::ostream& operator<<(std::ostream& out, const Status& s) {
    return out << std::hex << "{error 0x" << s.error << ", info 0x" << s.info << "}";
}

Status StatusOf(HCRYPTXML handle) {
    CRYPT_XML_STATUS status = {sizeof status, 0xFFFFFFFF, 0xFFFFFFFF};
    EXPECT_EQ(S_OK, dll().GetStatus(handle, &status));
    return {status.dwErrorStatus, status.dwInfoStatus};
}

// What the status words say before any verification and after a good or a bad one, for a
// document whose one Reference is the enveloping document (URI "").
const Status kUnverified = {CRYPT_XML_STATUS_ERROR_NOT_RESOLVED, 0};
const Status kSignatureGood = {0, CRYPT_XML_STATUS_SIGNATURE_VALID | CRYPT_XML_STATUS_DIGEST_VALID};
const Status kDocumentGood = {0, CRYPT_XML_STATUS_SIGNATURE_VALID};
const Status kSignatureBad = {CRYPT_XML_STATUS_ERROR_SIGNATURE_INVALID, 0};

// One verification with tracing on: its HRESULT and every trace line it wrote.
struct Call {
    HRESULT hr = E_UNEXPECTED;
    std::vector<std::wstring> lines;
};

Call VerifyCapi(HCRYPTXML sig, HCRYPTPROV prov, HCRYPTKEY key) {
    dll().StartDebugging();
    DebugCapture capture;
    Call call;
    call.hr = dll().VerifySignatureCAPI(sig, prov, key, 0);
    call.lines = capture.Lines();
    return call;
}

Call VerifyWithOwnKey(HCRYPTXML sig) {
    dll().StartDebugging();
    DebugCapture capture;
    Call call;
    call.hr = dll().VerifySignature(sig, nullptr, 0);
    call.lines = capture.Lines();
    return call;
}

std::vector<std::wstring> FrameLine(const char* description) {
    return {testing_support::ExpectedFrameLine(
        L"CryptXmlVerifySignatureCAPI",
        testing_support::Widen(std::string("an error occurred. function: SigContext::Verify. desc: ") + description))};
}

const std::vector<std::wstring> kNoLines;

// A provider and key the test hands to the library and releases afterwards.
struct CallerKey {
    Prov prov;
    Key key;
};

// The key of the document's KeyValue, imported by CryptXmlImportPublicKeyCAPI.
std::unique_ptr<CallerKey> KeyFromKeyValue(const Document& document) {
    auto owned = std::make_unique<CallerKey>();
    const CRYPT_XML_KEY_INFO_ITEM* item = document.KeyInfoItem(CRYPT_XML_KEYINFO_TYPE_KEYVALUE);
    EXPECT_NE(nullptr, item);
    if (item == nullptr) return owned;
    ImportResult imported = Import(item->KeyValue);
    EXPECT_EQ(S_OK, imported.hr);
    if (imported.hr != S_OK) return owned;
    owned->prov.h = imported.prov;
    owned->key.h = imported.key;
    imported.prov = 0;
    imported.key = 0;
    return owned;
}

struct Certificate {
    PCCERT_CONTEXT context = nullptr;
    ~Certificate() {
        if (context != nullptr) CertFreeCertificateContext(context);
    }
};

// The GOST key of the signer's certificate (the document's X509Data), imported by crypt32
// into a verify context of the softgost provider.
std::unique_ptr<CallerKey> KeyFromSignerCertificate(const Document& document) {
    auto owned = std::make_unique<CallerKey>();
    const CRYPT_XML_KEY_INFO_ITEM* item = document.KeyInfoItem(CRYPT_XML_KEYINFO_TYPE_X509DATA);
    EXPECT_NE(nullptr, item);
    if (item == nullptr || item->X509Data.cX509Data != 1) return owned;
    const CRYPT_XML_X509DATA_ITEM& data = item->X509Data.rgX509Data[0];
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_CERTIFICATE), data.dwType);
    Certificate cert;
    cert.context = CertCreateCertificateContext(X509_ASN_ENCODING, data.Certificate.pbData, data.Certificate.cbData);
    EXPECT_NE(nullptr, cert.context) << std::hex << GetLastError();
    if (cert.context == nullptr) return owned;
    EXPECT_TRUE(CryptAcquireContextW(&owned->prov.h, nullptr, nullptr, kCproProvType, CRYPT_VERIFYCONTEXT))
        << std::hex << GetLastError();
    EXPECT_TRUE(CryptImportPublicKeyInfoEx(
        owned->prov.h, X509_ASN_ENCODING, &cert.context->pCertInfo->SubjectPublicKeyInfo, 0, 0, nullptr, &owned->key.h))
        << std::hex << GetLastError();
    return owned;
}

ALG_ID KeyAlgorithm(HCRYPTKEY key) {
    ALG_ID algId = 0;
    DWORD length = sizeof algId;
    EXPECT_TRUE(CryptGetKeyParam(key, KP_ALGID, reinterpret_cast<BYTE*>(&algId), &length, 0))
        << std::hex << GetLastError();
    return algId;
}

using KeyMaker = std::unique_ptr<CallerKey> (*)(const Document&);

// A good signature verifies with the key of `makeKey`, and the key's class is the one expected.
void ExpectGood(const char* name, KeyMaker makeKey, ALG_ID keyClass) {
    const Document document(ReadDoc(name));
    ASSERT_TRUE(document.Opened()) << std::hex << document.hr();
    const std::unique_ptr<CallerKey> key = makeKey(document);
    ASSERT_NE(0u, key->key.h);
    EXPECT_EQ(keyClass, KeyAlgorithm(key->key.h) & 0x1E00);
    EXPECT_EQ(kUnverified, StatusOf(document.sig()));
    const Call call = VerifyCapi(document.sig(), key->prov.h, key->key.h);
    EXPECT_EQ(S_OK, call.hr);
    EXPECT_EQ(kNoLines, call.lines);
    EXPECT_EQ(kSignatureGood, StatusOf(document.sig()));
    EXPECT_EQ(kDocumentGood, StatusOf(document.doc()));
}

// A second verification through the CryptoAPI form is refused; the status keeps the first outcome.
void ExpectRefusedAgain(const Document& document, const CallerKey& key, const Status& kept) {
    const Call again = VerifyCapi(document.sig(), key.prov.h, key.key.h);
    EXPECT_EQ(kOperation, again.hr);
    EXPECT_EQ(FrameLine("Invalid operation."), again.lines);
    EXPECT_EQ(kept, StatusOf(document.sig()));
}

void ExpectOnceAfterGood(const char* name, KeyMaker makeKey) {
    const Document document(ReadDoc(name));
    ASSERT_TRUE(document.Opened()) << std::hex << document.hr();
    const std::unique_ptr<CallerKey> key = makeKey(document);
    ASSERT_NE(0u, key->key.h);
    ASSERT_EQ(S_OK, VerifyCapi(document.sig(), key->prov.h, key->key.h).hr);
    ExpectRefusedAgain(document, *key, kSignatureGood);
    EXPECT_EQ(kDocumentGood, StatusOf(document.doc()));
}

// The SignatureValue is changed in one Base64 character.
void ExpectOnceAfterBad(const char* name, KeyMaker makeKey) {
    const std::string tampered = Tampered(ReadDoc(name), "SignatureValue", 10);
    ASSERT_FALSE(tampered.empty());
    const Document document(tampered);
    ASSERT_TRUE(document.Opened()) << std::hex << document.hr();
    const std::unique_ptr<CallerKey> key = makeKey(document);
    ASSERT_NE(0u, key->key.h);
    const Call bad = VerifyCapi(document.sig(), key->prov.h, key->key.h);
    EXPECT_EQ(kVerifyFailed, bad.hr);
    EXPECT_EQ(kNoLines, bad.lines);
    EXPECT_EQ(kSignatureBad, StatusOf(document.sig()));
    ExpectRefusedAgain(document, *key, kSignatureBad);
    EXPECT_EQ(kSignatureBad, StatusOf(document.doc()));
}

void ExpectOnceOnly(const char* name, KeyMaker makeKey) {
    ExpectOnceAfterGood(name, makeKey);
    ExpectOnceAfterBad(name, makeKey);
}

// ---- build/wineprefix: RSA through rsaenh, GOST through softgost ----

TEST(VerifyDispatch, RsaKeyFromKeyValue) { ExpectGood("rsa-sha256.xml", KeyFromKeyValue, ALG_TYPE_RSA); }

TEST(VerifyDispatch, GostKeyFromSignerCertificate) {
    ExpectGood("gost2001.xml", KeyFromSignerCertificate, 0x0E00);  // ALG_TYPE_GR3410
}

// A session key is no signature key: refused before anything is verified, with the key-class
// line and the frame's line, and the signature can still be verified afterwards.
TEST(VerifyDispatch, KeyOfAnotherClassIsRefused) {
    const Document document(ReadDoc("rsa-sha256.xml"));
    ASSERT_TRUE(document.Opened()) << std::hex << document.hr();
    Prov prov;
    ASSERT_TRUE(CryptAcquireContextW(&prov.h, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT));
    Key rc2;
    ASSERT_TRUE(CryptGenKey(prov.h, CALG_RC2, 0, &rc2.h)) << std::hex << GetLastError();
    ASSERT_EQ(static_cast<ALG_ID>(CALG_RC2), KeyAlgorithm(rc2.h));
    const Call call = VerifyCapi(document.sig(), prov.h, rc2.h);
    EXPECT_EQ(kInvalidOperation, call.hr);
    std::vector<std::wstring> expected = {
        RoutineLine("SigContext::Verify",
                    "unsupported type of the key. Supported types: ALG_TYPE_RSA(0x400), ALG_TYPE_GR3410(0xE00)")};
    expected.push_back(FrameLine("The operation is not allowed due to the current state of the object.")[0]);
    EXPECT_EQ(expected, call.lines);
    EXPECT_EQ(kUnverified, StatusOf(document.sig()));
    const std::unique_ptr<CallerKey> key = KeyFromKeyValue(document);
    ASSERT_NE(0u, key->key.h);
    EXPECT_EQ(S_OK, VerifyCapi(document.sig(), key->prov.h, key->key.h).hr);
    EXPECT_EQ(kSignatureGood, StatusOf(document.sig()));
}

TEST(VerifyDispatchOnce, Rsa) { ExpectOnceOnly("rsa-sha256.xml", KeyFromKeyValue); }
TEST(VerifyDispatchOnce, Gost) { ExpectOnceOnly("gost2001.xml", KeyFromSignerCertificate); }

// A changed DigestValue changes SignedInfo: the SignatureValue no longer fits it.
TEST(VerifyDispatch, RsaTamperedSignedInfo) {
    const std::string tampered = Tampered(ReadDoc("rsa-sha256.xml"), "DigestValue", 3);
    ASSERT_FALSE(tampered.empty());
    const Document document(tampered);
    ASSERT_TRUE(document.Opened()) << std::hex << document.hr();
    const std::unique_ptr<CallerKey> key = KeyFromKeyValue(document);
    ASSERT_NE(0u, key->key.h);
    EXPECT_EQ(kVerifyFailed, VerifyCapi(document.sig(), key->prov.h, key->key.h).hr);
    EXPECT_EQ(kSignatureBad, StatusOf(document.sig()));
}

// ---- build/wineprefix-faulty: DSA through the faulty CSP in front of dssenh ----

TEST(VerifyDispatchFaulty, DssKeyFromKeyValue) { ExpectGood("dsa-sha1.xml", KeyFromKeyValue, ALG_TYPE_DSS); }

TEST(VerifyDispatchFaulty, DssOnceOnly) { ExpectOnceOnly("dsa-sha1.xml", KeyFromKeyValue); }

// A failing CryptGetKeyParam is the provider's error, with no line of the library's own, and
// it verified nothing: the status is untouched and the signature can be verified afterwards.
TEST(VerifyDispatchFaulty, KeyParameterFailureIsReturned) {
    const Document document(ReadDoc("dsa-sha1.xml"));
    ASSERT_TRUE(document.Opened()) << std::hex << document.hr();
    const std::unique_ptr<CallerKey> key = KeyFromKeyValue(document);
    ASSERT_NE(0u, key->key.h);
    Call call;
    {
        Injection injection("get-key-param:3=21");
        call = VerifyCapi(document.sig(), key->prov.h, key->key.h);
    }
    EXPECT_EQ(kNotReady, call.hr);
    EXPECT_EQ(kNoLines, call.lines);
    EXPECT_EQ(kUnverified, StatusOf(document.sig()));
    EXPECT_EQ(S_OK, VerifyCapi(document.sig(), key->prov.h, key->key.h).hr);
    EXPECT_EQ(kSignatureGood, StatusOf(document.sig()));
}

TEST(VerifyDispatchFaulty, DsaKeyFromKeyInfo) {
    const Document document(ReadDoc("dsa-sha1.xml"));
    ASSERT_TRUE(document.Opened()) << std::hex << document.hr();
    const Call call = VerifyWithOwnKey(document.sig());
    EXPECT_EQ(S_OK, call.hr);
    EXPECT_EQ(kNoLines, call.lines);
    EXPECT_EQ(kSignatureGood, StatusOf(document.sig()));
    EXPECT_EQ(kDocumentGood, StatusOf(document.doc()));
}

// A changed DigestValue changes SignedInfo: the SignatureValue no longer fits it, whichever
// way the key comes in.
TEST(VerifyDispatchFaulty, DsaTamperedSignedInfo) {
    const std::string tampered = Tampered(ReadDoc("dsa-sha1.xml"), "DigestValue", 3);
    ASSERT_FALSE(tampered.empty());
    {
        const Document document(tampered);
        ASSERT_TRUE(document.Opened()) << std::hex << document.hr();
        const std::unique_ptr<CallerKey> key = KeyFromKeyValue(document);
        ASSERT_NE(0u, key->key.h);
        const Call call = VerifyCapi(document.sig(), key->prov.h, key->key.h);
        EXPECT_EQ(kVerifyFailed, call.hr);
        EXPECT_EQ(kNoLines, call.lines);
        EXPECT_EQ(kSignatureBad, StatusOf(document.sig()));
        EXPECT_EQ(kSignatureBad, StatusOf(document.doc()));
    }
    const Document document(tampered);
    ASSERT_TRUE(document.Opened()) << std::hex << document.hr();
    const Call call = VerifyWithOwnKey(document.sig());
    EXPECT_EQ(kVerifyFailed, call.hr);
    EXPECT_EQ(kNoLines, call.lines);
    EXPECT_EQ(kSignatureBad, StatusOf(document.sig()));
    EXPECT_EQ(kSignatureBad, StatusOf(document.doc()));
}

}  // namespace
}  // namespace keytest
