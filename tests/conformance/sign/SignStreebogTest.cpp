// Reference digests with GOST R 34.11-2012 (Streebog-256/-512, both URI families) through the
// DLL: a document is signed (HMAC-SHA256) with same-document references whose DigestMethods
// are Streebog, decoded and verified again, and tampered with. The signed document and the
// secret go to TALVORAN_SIGN_STREEBOG_OUT, where streebog-digests-peers.sh checks every
// DigestValue against openssl's GOST engine over the reference's canonical bytes.
// SignStreebogWithoutGost.* runs in a prefix without any GOST provider.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/SignSupport.hpp"

using namespace signtest;

namespace {

const std::string kOut = TALVORAN_SIGN_STREEBOG_OUT;
const std::string kSecret = "talvoran streebog digests, hmac!";  // 32 bytes

constexpr wchar_t kStreebog256Urn[] = L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-256";
constexpr wchar_t kStreebog512Urn[] = L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-512";
constexpr wchar_t kStreebog256More[] = L"http://www.w3.org/2001/04/xmldsig-more#gostr34112012-256";
constexpr wchar_t kStreebog512More[] = L"http://www.w3.org/2001/04/xmldsig-more#gostr34112012-512";

// Two signed elements under a default namespace (which their exclusive canonical form
// carries), with text outside ASCII.
const std::string kDoc =
    "<Invoice xmlns=\"urn:talvoran:streebog\" Id=\"invoice\">"
    "<Data Id=\"data\">Счёт-фактура 42: widgets x 2, 1 000,00 руб.</Data>"
    "<Terms Id=\"terms\" days=\"30\">Оплата в течение 30 дней</Terms></Invoice>";

struct WantedRef {
    const wchar_t* uri;
    const wchar_t* digest;
    ULONG size;  // bytes of the digest
};

// Every Streebog URI; the same element under the same hash in both families gives the same
// bytes (references 0 and 2, 3 and 4).
const WantedRef kRefs[] = {
    {L"#data", kStreebog256Urn, 32},   {L"#data", kStreebog512Urn, 64},  {L"#data", kStreebog256More, 32},
    {L"#terms", kStreebog512More, 64}, {L"#terms", kStreebog512Urn, 64},
};
constexpr size_t kRefCount = sizeof(kRefs) / sizeof(kRefs[0]);

std::string BlobBytes(const CRYPT_DATA_BLOB& blob) {
    return std::string(reinterpret_cast<const char*>(blob.pbData), blob.cbData);
}

std::string Base64(const std::string& bytes) {
    static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    size_t i = 0;
    for (; i + 2 < bytes.size(); i += 3) {
        const unsigned v = (static_cast<unsigned char>(bytes[i]) << 16) |
                           (static_cast<unsigned char>(bytes[i + 1]) << 8) | static_cast<unsigned char>(bytes[i + 2]);
        for (int shift : {18, 12, 6, 0}) out += kAlphabet[(v >> shift) & 63];
    }
    if (i < bytes.size()) {
        unsigned v = static_cast<unsigned char>(bytes[i]) << 16;
        if (i + 1 < bytes.size()) v |= static_cast<unsigned char>(bytes[i + 1]) << 8;
        out += kAlphabet[(v >> 18) & 63];
        out += kAlphabet[(v >> 12) & 63];
        out += i + 1 < bytes.size() ? kAlphabet[(v >> 6) & 63] : '=';
        out += '=';
    }
    return out;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    const size_t at = text.find(from);
    EXPECT_NE(std::string::npos, at) << from;
    if (at != std::string::npos) text.replace(at, from.size(), to);
    return text;
}

// What a signature signed (the published digests by reference), and its document.
struct Signed {
    std::vector<std::string> digests;
    std::string xml;
};

Signed SignAll() {
    Signed out;
    NewSig sig(kDoc);
    EXPECT_EQ(S_OK, sig.hr());
    std::vector<HCRYPTXML> refs;
    for (const WantedRef& r : kRefs) {
        refs.push_back(sig.Ref(r.uri, {kExcC14n}, r.digest));
        EXPECT_NE(nullptr, refs.back()) << testing_support::Widen("") << r.digest << L": " << dll().LastMessage();
    }
    EXPECT_EQ(S_OK, sig.SignHmac(kSecret)) << testing_support::Widen("") << dll().LastMessage();
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_OPENED_TO_ENCODE | CRYPT_XML_STATUS_SIGNATURE_VALID |
                                 CRYPT_XML_STATUS_DIGEST_VALID),
              sig.Status().dwInfoStatus);
    const CRYPT_XML_SIGNATURE* s = sig.Struct();
    EXPECT_NE(nullptr, s);
    if (s == nullptr || s->SignedInfo.cReference != kRefCount) {
        ADD_FAILURE() << "references published: " << (s == nullptr ? 0 : s->SignedInfo.cReference);
        return out;
    }
    for (size_t i = 0; i < kRefCount; ++i) {
        const CRYPT_XML_REFERENCE* ref = s->SignedInfo.rgpReference[i];
        EXPECT_STREQ(kRefs[i].digest, ref->DigestMethod.wszAlgorithm);
        EXPECT_EQ(kRefs[i].size, ref->DigestValue.cbData) << i;
        EXPECT_EQ(0u, sig.Status(refs[i]).dwErrorStatus) << i;
        EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_OPENED_TO_ENCODE | CRYPT_XML_STATUS_INTERNAL_REFERENCE |
                                     CRYPT_XML_STATUS_DIGEST_VALID),
                  sig.Status(refs[i]).dwInfoStatus)
            << i;
        out.digests.push_back(BlobBytes(ref->DigestValue));
    }
    out.xml = sig.Encode();
    return out;
}

// Opens xml, checks what the decoder publishes of each reference against `digests`, verifies
// with the secret and answers the statuses.
Verified DecodeAndVerify(const std::string& xml, const std::vector<std::string>& digests) {
    HCRYPTXML doc = nullptr;
    const CRYPT_XML_BLOB blob = Blob(xml);
    EXPECT_EQ(S_OK, dll().OpenToDecode(nullptr, 0, nullptr, 0, &blob, &doc));
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    const CRYPT_XML_SIGNATURE* sig = nullptr;
    if (doc != nullptr && dll().GetDocContext(doc, &ctxt) == S_OK && ctxt->cSignature == 1 &&
        dll().GetSignature(ctxt->rgpSignature[0]->hSignature, &sig) == S_OK) {
        EXPECT_EQ(kRefCount, sig->SignedInfo.cReference);
        for (ULONG i = 0; i < sig->SignedInfo.cReference && i < kRefCount && i < digests.size(); ++i) {
            const CRYPT_XML_REFERENCE* ref = sig->SignedInfo.rgpReference[i];
            EXPECT_STREQ(kRefs[i].uri, ref->wszUri);
            EXPECT_STREQ(kRefs[i].digest, ref->DigestMethod.wszAlgorithm);
            EXPECT_EQ(digests[i], BlobBytes(ref->DigestValue)) << i;
        }
    } else {
        ADD_FAILURE() << "no signature decoded";
    }
    if (doc != nullptr) dll().Close(doc);
    return VerifyOwn(xml, kSecret);
}

class SignStreebog : public ::testing::Test {
protected:
    void SetUp() override { dll().StartDebugging(); }
    void TearDown() override { dll().StopDebugging(); }
};
using SignStreebogWithoutGost = SignStreebog;

}  // namespace

TEST_F(SignStreebog, ReferencesOfBothFamiliesSignVerifyAndGoToThePeers) {
    // Nothing of an earlier run may reach the peers' check.
    CreateDirectoryA(kOut.c_str(), nullptr);
    DeleteFileA((kOut + "/streebog-hmac.xml").c_str());
    DeleteFileA((kOut + "/hmac.key").c_str());
    const Signed s = SignAll();
    ASSERT_EQ(kRefCount, s.digests.size());
    ASSERT_FALSE(s.xml.empty());
    WriteFileBytes(kOut + "/streebog-hmac.xml", s.xml);
    WriteFileBytes(kOut + "/hmac.key", kSecret);
    // The same element under the same hash: the same bytes, whatever the URI family.
    EXPECT_EQ(s.digests[0], s.digests[2]);
    EXPECT_EQ(s.digests[3], s.digests[4]);
    EXPECT_NE(s.digests[1], s.digests[4]);
    // Each DigestValue in the document is the Base64 of the digest bytes published, as they
    // stand (no reversal), under its DigestMethod.
    size_t at = 0;
    for (size_t i = 0; i < kRefCount; ++i) {
        const std::wstring wide(kRefs[i].digest);
        const std::string method = "Algorithm=\"" + std::string(wide.begin(), wide.end()) + "\"";
        const size_t m = s.xml.find(method, at);
        ASSERT_NE(std::string::npos, m) << method;
        const std::string open = "<ds:DigestValue>", close = "</ds:DigestValue>";
        const size_t v = s.xml.find(open, m);
        ASSERT_NE(std::string::npos, v);
        const size_t end = s.xml.find(close, v);
        ASSERT_NE(std::string::npos, end);
        // xml-security-c breaks Base64 lines after 76 characters, as for SHA-512.
        std::string text = s.xml.substr(v + open.size(), end - v - open.size());
        text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
        EXPECT_EQ(Base64(s.digests[i]), text) << i;
        at = end;
    }

    const Verified v = DecodeAndVerify(s.xml, s.digests);
    EXPECT_EQ(S_OK, v.open);
    EXPECT_EQ(S_OK, v.verify) << testing_support::Widen("") << dll().LastMessage();
    EXPECT_EQ(0u, v.sigStatus.dwErrorStatus);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_SIGNATURE_VALID | CRYPT_XML_STATUS_DIGEST_VALID),
              v.sigStatus.dwInfoStatus);
    ASSERT_EQ(kRefCount, v.refStatus.size());
    for (size_t i = 0; i < kRefCount; ++i) {
        EXPECT_EQ(0u, v.refStatus[i].dwErrorStatus) << i;
        EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_INTERNAL_REFERENCE | CRYPT_XML_STATUS_DIGEST_VALID),
                  v.refStatus[i].dwInfoStatus)
            << i;
    }
}

// A signed element changed in place: its references report an invalid digest, the others
// stay valid, and the signature value (over SignedInfo) is still good.
TEST_F(SignStreebog, TamperedElementInvalidatesItsOwnReferences) {
    const Signed s = SignAll();
    ASSERT_EQ(kRefCount, s.digests.size());
    const struct {
        const char* from;
        const char* to;
        const char* element;
    } kTampered[] = {
        {"widgets x 2", "widgets x 3", "#data"},
        {"days=\"30\"", "days=\"31\"", "#terms"},
    };
    for (const auto& t : kTampered) {
        SCOPED_TRACE(t.element);
        const Verified v = DecodeAndVerify(Replaced(s.xml, t.from, t.to), s.digests);
        EXPECT_EQ(S_OK, v.open);
        EXPECT_EQ(S_OK, v.verify) << testing_support::Widen("") << dll().LastMessage();
        EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_ERROR_DIGEST_INVALID), v.sigStatus.dwErrorStatus);
        EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_SIGNATURE_VALID), v.sigStatus.dwInfoStatus);
        ASSERT_EQ(kRefCount, v.refStatus.size());
        for (size_t i = 0; i < kRefCount; ++i) {
            const std::wstring uri(kRefs[i].uri);
            const bool hit = uri == std::wstring(t.element, t.element + std::char_traits<char>::length(t.element));
            EXPECT_EQ(hit ? static_cast<DWORD>(CRYPT_XML_STATUS_ERROR_DIGEST_INVALID) : 0u,
                      v.refStatus[i].dwErrorStatus)
                << i;
            EXPECT_EQ(hit ? static_cast<DWORD>(CRYPT_XML_STATUS_INTERNAL_REFERENCE)
                          : static_cast<DWORD>(CRYPT_XML_STATUS_INTERNAL_REFERENCE | CRYPT_XML_STATUS_DIGEST_VALID),
                      v.refStatus[i].dwInfoStatus)
                << i;
        }
    }
}

// Without a provider of type 80 or 81 no Streebog DigestMethod can be used for signing.
TEST_F(SignStreebogWithoutGost, DigestMethodsAreUnavailable) {
    NewSig sig(kDoc);
    ASSERT_EQ(S_OK, sig.hr());
    for (const wchar_t* digest : {kStreebog256Urn, kStreebog256More, kStreebog512Urn, kStreebog512More}) {
        EXPECT_EQ(nullptr, sig.Ref(L"#data", {kExcC14n}, digest));
        EXPECT_EQ(kAlgorithm, sig.last());
        EXPECT_EQ(testing_support::ExpectedFrameLine(
                      L"CryptXmlCreateReference",
                      L"an error occurred. function: RefContext::InitNewReference. desc: Unsupported algorithm. "
                      L"Digest method is either unavailable or is specified incorrectly."),
                  dll().LastMessage());
    }
    // SHA-256 is there all the same.
    EXPECT_NE(nullptr, sig.Ref(L"#data", {kExcC14n}, kSha256));
}
