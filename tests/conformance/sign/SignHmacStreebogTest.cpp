// HMAC with GOST R 34.11-2012 (Streebog-256/-512) as the signature method through the DLL:
// a document is signed with the secret of CryptXmlSetHMACSecret under
// urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-256 and -512, decoded and
// verified again, with the wrong secret and with a GOST key. The signed documents and the
// secret go to TALVORAN_SIGN_HMAC_STREEBOG_OUT, where hmac-streebog-peers.sh recomputes each
// SignatureValue with openssl's GOST engine over the canonical SignedInfo.
// SignHmacStreebogWithoutGost.* runs in a prefix without any GOST provider.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/SignSupport.hpp"

using namespace signtest;

namespace {

const std::string kOut = TALVORAN_SIGN_HMAC_STREEBOG_OUT;
constexpr HRESULT kVerifyFailed = static_cast<HRESULT>(CRYPT_XML_E_VERIFY_FAILED);
const std::string kSecret = "talvoran hmac-streebog secret 32";  // 32 bytes

constexpr wchar_t kHmac256[] = L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-256";
constexpr wchar_t kHmac512[] = L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-512";
constexpr wchar_t kStreebog256[] = L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-256";

const std::string kDoc =
    "<Invoice xmlns=\"urn:talvoran:hmac-streebog\" Id=\"invoice\">"
    "<Data Id=\"data\">Счёт-фактура 43: widgets x 5, 2 500,00 руб.</Data></Invoice>";

struct Method {
    const wchar_t* uri;
    const char* file;
    ULONG size;  // bytes of the HMAC
};
const Method kMethods[] = {{kHmac256, "hmac-streebog-256.xml", 32}, {kHmac512, "hmac-streebog-512.xml", 64}};

std::string Narrow(const wchar_t* s) { return std::string(s, s + std::char_traits<wchar_t>::length(s)); }

// A signature over #data (Streebog-256 digest) with the method and the secret; the document.
std::string SignOne(const wchar_t* method, const std::string& secret) {
    NewSig sig(kDoc);
    EXPECT_EQ(S_OK, sig.hr());
    const HCRYPTXML ref = sig.Ref(L"#data", {kExcC14n}, kStreebog256);
    EXPECT_NE(nullptr, ref) << testing_support::Widen("") << dll().LastMessage();
    EXPECT_EQ(S_OK, sig.SignHmac(secret, method)) << testing_support::Widen("") << dll().LastMessage();
    EXPECT_EQ(0u, sig.Status().dwErrorStatus);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_OPENED_TO_ENCODE | CRYPT_XML_STATUS_SIGNATURE_VALID |
                                 CRYPT_XML_STATUS_DIGEST_VALID),
              sig.Status().dwInfoStatus);
    return sig.Encode();
}

// The SignatureMethod and SignatureValue the decoder publishes.
struct Decoded {
    std::wstring method;
    std::string value;
};
Decoded Decode(const std::string& xml) {
    Decoded out;
    HCRYPTXML doc = nullptr;
    const CRYPT_XML_BLOB blob = Blob(xml);
    EXPECT_EQ(S_OK, dll().OpenToDecode(nullptr, 0, nullptr, 0, &blob, &doc));
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    const CRYPT_XML_SIGNATURE* sig = nullptr;
    if (doc != nullptr && dll().GetDocContext(doc, &ctxt) == S_OK && ctxt->cSignature == 1 &&
        dll().GetSignature(ctxt->rgpSignature[0]->hSignature, &sig) == S_OK) {
        out.method = sig->SignedInfo.SignatureMethod.wszAlgorithm;
        out.value.assign(reinterpret_cast<const char*>(sig->SignatureValue.pbData), sig->SignatureValue.cbData);
    } else {
        ADD_FAILURE() << "no signature decoded";
    }
    if (doc != nullptr) dll().Close(doc);
    return out;
}

class SignHmacStreebog : public ::testing::Test {
protected:
    void SetUp() override { dll().StartDebugging(); }
    void TearDown() override { dll().StopDebugging(); }
};
using SignHmacStreebogWithoutGost = SignHmacStreebog;

}  // namespace

TEST_F(SignHmacStreebog, BothSizesSignDecodeVerifyAndGoToThePeers) {
    // Nothing of an earlier run may reach the peers' check.
    CreateDirectoryA(kOut.c_str(), nullptr);
    DeleteFileA((kOut + "/hmac.key").c_str());
    for (const Method& m : kMethods) DeleteFileA((kOut + "/" + m.file).c_str());
    std::vector<std::string> values;
    for (const Method& m : kMethods) {
        SCOPED_TRACE(m.file);
        const std::string xml = SignOne(m.uri, kSecret);
        ASSERT_FALSE(xml.empty());
        EXPECT_NE(std::string::npos, xml.find("<ds:SignatureMethod Algorithm=\"" + Narrow(m.uri) + "\"/>"));
        EXPECT_EQ(std::string::npos, xml.find("HMACOutputLength"));
        EXPECT_EQ(std::string::npos, xml.find("KeyInfo"));
        WriteFileBytes(kOut + "/" + m.file, xml);

        const Decoded d = Decode(xml);
        EXPECT_EQ(std::wstring(m.uri), d.method);
        EXPECT_EQ(m.size, d.value.size());
        values.push_back(d.value);

        const Verified good = VerifyOwn(xml, kSecret);
        EXPECT_EQ(S_OK, good.open);
        EXPECT_EQ(S_OK, good.verify) << testing_support::Widen("") << dll().LastMessage();
        EXPECT_EQ(0u, good.sigStatus.dwErrorStatus);
        EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_SIGNATURE_VALID | CRYPT_XML_STATUS_DIGEST_VALID),
                  good.sigStatus.dwInfoStatus);
        ASSERT_EQ(1u, good.refStatus.size());
        EXPECT_EQ(0u, good.refStatus[0].dwErrorStatus);
        EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_INTERNAL_REFERENCE | CRYPT_XML_STATUS_DIGEST_VALID),
                  good.refStatus[0].dwInfoStatus);
        // An HMAC secret may verify again.
        EXPECT_EQ(S_OK, VerifyOwn(xml, kSecret).verify);

        for (const std::string& wrong : {kSecret + "x", kSecret.substr(0, 31), std::string("another secret")}) {
            const Verified bad = VerifyOwn(xml, wrong);
            EXPECT_EQ(S_OK, bad.open);
            EXPECT_EQ(static_cast<HRESULT>(CRYPT_XML_E_VERIFY_FAILED), bad.verify);
            EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_ERROR_SIGNATURE_INVALID), bad.sigStatus.dwErrorStatus);
            EXPECT_EQ(0u, bad.sigStatus.dwInfoStatus);
        }
        // Signing is deterministic: the same secret, the same bytes.
        EXPECT_EQ(xml, SignOne(m.uri, kSecret));
    }
    ASSERT_EQ(2u, values.size());
    EXPECT_NE(values[0], values[1].substr(0, 32));
    WriteFileBytes(kOut + "/hmac.key", kSecret);
}

// A SignatureValue changed by one bit, or a SignedInfo changed, fails with the right secret.
TEST_F(SignHmacStreebog, TamperedSignatureFails) {
    for (const Method& m : kMethods) {
        SCOPED_TRACE(m.file);
        const std::string xml = SignOne(m.uri, kSecret);
        const size_t v = xml.find("<ds:SignatureValue>");
        ASSERT_NE(std::string::npos, v);
        std::string value = xml;
        char& c = value[v + 19];
        c = c == 'A' ? 'B' : 'A';
        std::string info = xml;
        const size_t d = info.find("<ds:DigestValue>");
        ASSERT_NE(std::string::npos, d);
        char& e = info[d + 16];
        e = e == 'A' ? 'B' : 'A';
        for (const std::string& tampered : {value, info}) {
            const Verified bad = VerifyOwn(tampered, kSecret);
            EXPECT_EQ(S_OK, bad.open);
            EXPECT_EQ(static_cast<HRESULT>(CRYPT_XML_E_VERIFY_FAILED), bad.verify);
            EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_ERROR_SIGNATURE_INVALID), bad.sigStatus.dwErrorStatus);
        }
    }
}

// HMACOutputLength is answered as for HMAC-SHA256 and -SHA512 (xml-security-c with patch
// 0006): under 80 bits DSIGSignature refuses it, above the HMAC's length or under half of
// it the handler refuses it (CRYPT_XML_E_ALGORITHM), and a safe length compares the
// leftmost bits (here the value no longer matches: the length is inside SignedInfo).
TEST_F(SignHmacStreebog, OutputLengthIsAnsweredAsForTheOtherHmacs) {
    const Method sha256 = {kHmacSha256, "hmac-sha256", 32};
    const Method sha512 = {L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha512", "hmac-sha512", 64};
    const std::wstring kTooShort = L"SigContext::Verify. DSIGSignature::verify() - HMACOutputLength is unsafe";
    const std::wstring kUnsafe = L"SigContext::Verify. HMACOutputLength set to unsafe value.";
    const struct {
        Method ours;
        Method other;
    } kPairs[] = {{kMethods[0], sha256}, {kMethods[1], sha512}};
    for (const auto& pair : kPairs) {
        const unsigned bits = pair.ours.size * 8;
        const struct {
            unsigned bits;
            HRESULT hr;
            const std::wstring* line;  // null: a failed comparison, not traced
        } kCases[] = {
            {64, kVerifyFailed, &kTooShort},
            {bits + 8, kAlgorithm, &kUnsafe},
            {bits / 2 - 8, bits / 2 - 8 < 80 ? kVerifyFailed : kAlgorithm, bits / 2 - 8 < 80 ? &kTooShort : &kUnsafe},
            {bits / 2, kVerifyFailed, nullptr},
            {bits - 3, kVerifyFailed, nullptr}};
        for (const Method& m : {pair.ours, pair.other}) {
            SCOPED_TRACE(m.file);
            const std::string signedXml = SignOne(m.uri, kSecret);
            for (const auto& c : kCases) {
                SCOPED_TRACE(c.bits);
                std::string xml = signedXml;
                const std::string method = "<ds:SignatureMethod Algorithm=\"" + Narrow(m.uri) + "\"/>";
                const size_t at = xml.find(method);
                ASSERT_NE(std::string::npos, at);
                xml.replace(at, method.size(),
                            "<ds:SignatureMethod Algorithm=\"" + Narrow(m.uri) + "\"><ds:HMACOutputLength>" +
                                std::to_string(c.bits) + "</ds:HMACOutputLength></ds:SignatureMethod>");
                const Verified v = VerifyOwn(xml, kSecret);
                EXPECT_EQ(S_OK, v.open);
                EXPECT_EQ(c.hr, v.verify);
                if (c.line != nullptr) EXPECT_EQ(testing_support::ExpectedLine(*c.line), dll().LastMessage());
                EXPECT_EQ(0u, v.sigStatus.dwInfoStatus);
            }
        }
    }
}

// A GOST key (not a secret) on an HMAC-Streebog signature is refused.
TEST_F(SignHmacStreebog, GostKeyIsRefused) {
    Container c(kGostProvType, L"talvoran-hmac-streebog-gost", AT_SIGNATURE);
    ASSERT_TRUE(c.ok()) << c.error();
    for (const Method& m : kMethods) {
        SCOPED_TRACE(m.file);
        const std::string xml = SignOne(m.uri, kSecret);
        const Verified v = VerifyWithKey(xml, c.prov(), AT_SIGNATURE);
        EXPECT_EQ(S_OK, v.open);
        EXPECT_EQ(kAlgorithm, v.verify);
        EXPECT_EQ(testing_support::ExpectedLine(
                      L"SigContext::Verify. HMAC-GOSTR3411-2012 signature method with a key that is not an HMAC key"),
                  dll().LastMessage());
        EXPECT_EQ(0u, v.sigStatus.dwInfoStatus);
    }
}

// Without a provider of type 80 or 81 the HMAC-Streebog methods cannot sign.
TEST_F(SignHmacStreebogWithoutGost, MethodsAreUnavailable) {
    for (const Method& m : kMethods) {
        NewSig sig(kDoc);
        ASSERT_EQ(S_OK, sig.hr());
        ASSERT_NE(nullptr, sig.Ref(L"#data", {kExcC14n}, kSha256));
        EXPECT_EQ(kAlgorithm, sig.SignHmac(kSecret, m.uri));
        EXPECT_EQ(testing_support::ExpectedFrameLine(L"CryptXmlSign",
                                                     L"an error occurred. function: SigContext::Sign. desc: "
                                                     L"Unsupported algorithm. pSignatureMethod"),
                  dll().LastMessage());
    }
    // HMAC-SHA256 is there all the same.
    NewSig sig(kDoc);
    ASSERT_NE(nullptr, sig.Ref(L"#data", {kExcC14n}, kSha256));
    EXPECT_EQ(S_OK, sig.SignHmac(kSecret, kHmacSha256));
}
