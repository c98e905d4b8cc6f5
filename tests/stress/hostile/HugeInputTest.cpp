// Size claims and sizes. A blob whose cbData claims more than CRYPT_XML_BLOB_MAX is refused
// by its length before a byte of it is read, at every entry point (the bytes lie in memory
// that cannot be read, so any read would end the process). A document that really carries a
// huge attribute value is parsed in memory proportional to its size, and its signature still
// verifies. Which size: HOSTILE_HUGE_MB (256 unless set; 1024 takes about 15 GB at the peak).
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "support/SignSupport.hpp"
#include "DeepDocs.hpp"
#include "HostileSupport.hpp"

using namespace hostile;

namespace {

const std::string kSecret = "hostile-huge-secret-of-32-bytes!";
constexpr char kTooLarge[] = "The value is too large.";

// Pages that cannot be read: a blob over them proves by not crashing that it was not read.
class Unreadable {
public:
    Unreadable() : memory_(::VirtualAlloc(nullptr, kSize, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS)) {}
    ~Unreadable() {
        if (memory_ != nullptr) ::VirtualFree(memory_, 0, MEM_RELEASE);
    }
    Unreadable(const Unreadable&) = delete;
    Unreadable& operator=(const Unreadable&) = delete;

    CRYPT_XML_BLOB Claiming(ULONG cbData) const {
        return {CRYPT_XML_CHARSET_AUTO, cbData, static_cast<BYTE*>(memory_)};
    }
    bool ok() const { return memory_ != nullptr; }

private:
    static constexpr SIZE_T kSize = 64 * 1024;
    void* memory_;
};

struct Claim {
    std::string entry;
    std::function<HRESULT(const CRYPT_XML_BLOB&)> call;
    HRESULT expected;
    std::wstring line;  // the trace line of the refusal
};

std::wstring Line(const std::wstring& prefix, const std::string& function, const std::string& table,
                  const std::string& detail) {
    return testing_support::ExpectedLine(prefix +
                                         testing_support::Widen(testing_support::CodeMessage(function, table, detail)));
}

std::vector<Claim> Claims() {
    return {
        {"open to decode",
         [](const CRYPT_XML_BLOB& blob) {
             HCRYPTXML h = nullptr;
             return dll().OpenToDecode(nullptr, 0, nullptr, 0, &blob, &h);
         },
         kLarge,
         Line(L"CryptXmlOpenToDecode. ", "DocContext::DocContext", kTooLarge, "pEncoded->cbData > CRYPT_XML_BLOB_MAX")},
        {"source document",
         [](const CRYPT_XML_BLOB& blob) {
             const LPCWSTR where = L"";
             const CRYPT_XML_PROPERTY location = signtest::Property(CRYPT_XML_PROPERTY_SIGNATURE_LOCATION, &where);
             HCRYPTXML h = nullptr;
             return dll().OpenToEncode(nullptr, 0, nullptr, &location, 1, &blob, &h);
         },
         kLarge,
         Line(L"CryptXmlOpenToEncode. ", "SigContext::InitSourceXml", kTooLarge,
              "the length of source xml is exceeded CRYPT_XML_BLOB_MAX.")},
        {"Object element",
         [](const CRYPT_XML_BLOB& blob) {
             signtest::NewSig sig("<Invoice/>");
             const CRYPT_XML_OBJECT* object = nullptr;
             return dll().AddObject(sig.h(), 0, nullptr, 0, &blob, &object);
         },
         kLarge,
         Line(L"CryptXmlAddObject. ", "CreateDomStructure", kTooLarge,
              "the length of keyInfo xml is exceeded CRYPT_XML_BLOB_MAX.")},
        {"custom content of an Object",
         [](const CRYPT_XML_BLOB& blob) {
             signtest::NewSig sig("<Invoice/>");
             sig.Ref(L"#o1", {}, signtest::kSha256, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT);
             return dll().AddObject(sig.Struct()->rgpObject[0]->hObject, CRYPT_XML_FLAG_ADD_OBJECT_CREATE_COPY, nullptr,
                                    0, &blob, nullptr);
         },
         kInvalidArg,
         testing_support::ExpectedLine(
             L"CryptXmlAddObject. " +
             testing_support::Widen(testing_support::InvalidArgMessage("ObjContext::SetCustomContent",
                                                                       "encodedBlob->cbData > CRYPT_XML_BLOB_MAX")))},
        {"KeyInfo element",
         [](const CRYPT_XML_BLOB& blob) {
             signtest::NewSig sig("<Invoice Id=\"i\"/>");
             sig.Ref(L"#i");
             dll().SetHMACSecret(sig.h(), reinterpret_cast<const BYTE*>(kSecret.data()),
                                 static_cast<ULONG>(kSecret.size()));
             const CRYPT_XML_ALGORITHM method = signtest::Alg(signtest::kHmacSha256);
             const CRYPT_XML_ALGORITHM c14n = signtest::Alg(signtest::kExcC14n);
             return dll().Sign(sig.h(), 0, 0, 0, CRYPT_XML_KEYINFO_SPEC_ENCODED, &blob, &method, &c14n);
         },
         kLarge,
         Line(L"CryptXmlSign. ", "SigContext::AddKeyInfoSpec", kTooLarge,
              "the length of keyInfo xml is exceeded CRYPT_XML_BLOB_MAX.")},
        {"GOST KeyValue", [](const CRYPT_XML_BLOB& blob) { return ImportGostKeyValue(blob); }, kLarge,
         Line(L"ImportGostKey. ", "ImportGostKey", kTooLarge,
              "the length of keyValue xml is exceeded CRYPT_XML_BLOB_MAX.")},
    };
}

class HugeInput : public ::testing::Test {
protected:
    void SetUp() override { dll().StartDebugging(); }
    void TearDown() override { dll().StopDebugging(); }
};

size_t HugeBytes() {
    const char* env = std::getenv("HOSTILE_HUGE_MB");
    return static_cast<size_t>(env != nullptr ? std::atoi(env) : 256) * 1024 * 1024;
}

}  // namespace

TEST_F(HugeInput, ClaimsBeyondTheMaximumAreRefusedUnread) {
    const Unreadable memory;
    ASSERT_TRUE(memory.ok());
    for (const Claim& claim : Claims()) {
        for (ULONG cbData : {static_cast<ULONG>(CRYPT_XML_BLOB_MAX) + 1, 0xFFFFFFFFul}) {
            const HRESULT hr = claim.call(memory.Claiming(cbData));
            const std::wstring line = dll().LastMessage();
            EXPECT_EQ(claim.expected, hr) << claim.entry << ", " << cbData;
            EXPECT_EQ(claim.line, line) << claim.entry << ", " << cbData;
        }
    }
}

// A signed document (SignedInfo canonicalised exclusively), then `size` characters as the
// value of an attribute of its document element or as the text of a new first child:
// outside what is signed, so the signature still verifies.
std::string WithHugeValue(bool attribute, size_t size) {
    signtest::NewSig sig("<Doc><Body Id=\"body\">100</Body></Doc>");
    sig.Ref(L"#body", {signtest::kExcC14n});
    if (dll().SetHMACSecret(sig.h(), reinterpret_cast<const BYTE*>(kSecret.data()),
                            static_cast<ULONG>(kSecret.size())) != S_OK ||
        sig.SignWith(0, 0, signtest::kHmacSha256, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, signtest::kExcC14n) !=
            S_OK) {
        return {};
    }
    const std::string encoded = sig.Encode();
    if (encoded.compare(0, 5, "<Doc>") != 0) return {};
    std::string xml;
    xml.reserve(size + encoded.size() + 32);
    xml = attribute ? "<Doc big=\"" : "<Doc><big>";
    xml.append(size, 'x');
    xml += attribute ? "\">" : "</big>";
    xml += encoded.substr(5);
    return xml;
}

void ExpectBounded(bool attribute, double factor) {
    const size_t size = HugeBytes();
    const std::string xml = WithHugeValue(attribute, size);
    ASSERT_FALSE(xml.empty());
    Measure m;
    {
        Doc doc(xml);
        ASSERT_EQ(S_OK, doc.hr()) << testing_support::NarrowUtf8(dll().LastMessage());
        const CRYPT_XML_SIGNATURE* s = doc.Signature();
        ASSERT_NE(nullptr, s);
        EXPECT_EQ(S_OK, VerifyHmac(s->hSignature, kSecret));
        EXPECT_NE(0u, StatusOf(s->SignedInfo.rgpReference[0]->hReference).dwInfoStatus & CRYPT_XML_STATUS_DIGEST_VALID);
    }
    m.Stop();
    const double mb = static_cast<double>(size >> 20);
    m.Print(("open, verify and close, " + std::string(attribute ? "an attribute" : "a text") + " of " +
             std::to_string(size >> 20) + " MB (" + std::to_string(m.PeakMb() / mb).substr(0, 4) + " times its size)")
                .c_str());
    EXPECT_LT(m.PeakMb(), factor * mb + 64);
}

// UTF-8 in, UTF-16 inside. Xerces builds an attribute value in a buffer that doubles as it
// grows, normalises it into a second one, copies it into its attribute list and the DOM
// into its string pool: about 14 bytes of memory at the peak for each byte of the value.
TEST_F(HugeInput, AHugeAttributeValueOpensAndVerifiesInBoundedMemory) { ExpectBounded(true, 16.0); }

// Text arrives in pieces and is kept once: about 5 bytes for each byte.
TEST_F(HugeInput, AHugeTextOpensAndVerifiesInBoundedMemory) { ExpectBounded(false, 6.0); }
