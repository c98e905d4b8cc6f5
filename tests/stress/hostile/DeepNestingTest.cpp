// Nesting: 100,000 levels are refused where the document opens, the limit passes and one
// level more does not, at every entry point that parses caller XML; a document at the limit
// goes through signing, encoding, decoding and verification on a thread of 1 MB of stack.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>

#include "support/SignSupport.hpp"
#include "DeepDocs.hpp"
#include "HostileSupport.hpp"
#include "StackProbe.hpp"

using namespace hostile;

namespace {

const std::string kSecret = "hostile-nesting-secret-32-bytes!";
const std::string kDepthDetail = "the document nests deeper than " + std::to_string(kMaxDepth) + " levels.";

class DeepNesting : public ::testing::Test {
protected:
    void SetUp() override { dll().StartDebugging(); }
    void TearDown() override { dll().StopDebugging(); }
};

// What the whole round trip answers at one depth.
struct RoundTrip {
    HRESULT open = E_FAIL, object = E_FAIL, refT = E_FAIL, refDeep = E_FAIL, sign = E_FAIL;
    std::string encoded;
    HRESULT decode = E_FAIL, verify = E_FAIL;
    DWORD sigInfo = 0;
    DWORD refInfo[2] = {0, 0};
};

// Signs DeepSource(depth) with an Object and a KeyInfo just as deep, encodes it, opens it
// again and verifies it: every step that walks the nesting.
RoundTrip SignAndVerify(unsigned depth) {
    RoundTrip out;
    signtest::NewSig sig(DeepSource(depth));
    out.open = sig.hr();
    if (out.open != S_OK) return out;
    const std::string object = DeepObject(depth - 2);  // under Signature, itself under r
    const CRYPT_XML_BLOB objectBlob = BlobOf(object);
    const CRYPT_XML_OBJECT* added = nullptr;
    out.object = dll().AddObject(sig.h(), 0, nullptr, 0, &objectBlob, &added);
    sig.Ref(L"#t", {signtest::kExcC14n}, signtest::kSha256);
    out.refT = sig.last();
    sig.Ref(L"#deep", {signtest::kExcC14n}, signtest::kSha256);
    out.refDeep = sig.last();
    const std::string keyInfo = DeepKeyInfo(depth - 2);
    const CRYPT_XML_BLOB keyInfoBlob = BlobOf(keyInfo);
    const CRYPT_XML_ALGORITHM method = signtest::Alg(signtest::kHmacSha256);
    const CRYPT_XML_ALGORITHM c14n = signtest::Alg(signtest::kExcC14n);
    if (dll().SetHMACSecret(sig.h(), reinterpret_cast<const BYTE*>(kSecret.data()),
                            static_cast<ULONG>(kSecret.size())) == S_OK) {
        out.sign = dll().Sign(sig.h(), 0, 0, 0, CRYPT_XML_KEYINFO_SPEC_ENCODED, &keyInfoBlob, &method, &c14n);
    }
    out.encoded = sig.Encode();
    Doc doc(out.encoded);
    out.decode = doc.hr();
    const CRYPT_XML_SIGNATURE* decoded = doc.Signature();
    if (decoded == nullptr) return out;
    out.verify = VerifyHmac(decoded->hSignature, kSecret);
    out.sigInfo = StatusOf(decoded->hSignature).dwInfoStatus;
    for (ULONG i = 0; i < decoded->SignedInfo.cReference && i < 2; ++i) {
        out.refInfo[i] = StatusOf(decoded->SignedInfo.rgpReference[i]->hReference).dwInfoStatus;
    }
    return out;
}

void ExpectVerified(const RoundTrip& r) {
    EXPECT_EQ(S_OK, r.open);
    EXPECT_EQ(S_OK, r.object);
    EXPECT_EQ(S_OK, r.refT);
    EXPECT_EQ(S_OK, r.refDeep);
    EXPECT_EQ(S_OK, r.sign) << testing_support::NarrowUtf8(dll().LastMessage());
    EXPECT_FALSE(r.encoded.empty());
    EXPECT_EQ(S_OK, r.decode) << testing_support::NarrowUtf8(dll().LastMessage());
    EXPECT_EQ(S_OK, r.verify);
    EXPECT_NE(0u, r.sigInfo & CRYPT_XML_STATUS_SIGNATURE_VALID);
    EXPECT_NE(0u, r.sigInfo & CRYPT_XML_STATUS_DIGEST_VALID);
    EXPECT_NE(0u, r.refInfo[0] & CRYPT_XML_STATUS_DIGEST_VALID);
    EXPECT_NE(0u, r.refInfo[1] & CRYPT_XML_STATUS_DIGEST_VALID);
}

}  // namespace

TEST_F(DeepNesting, HundredThousandLevelsAreRefusedOnOpening) {
    const std::string xml = "<r>" + Nest(100000) + "</r>";
    Measure m;
    Doc doc(xml);
    m.Stop();
    m.Print("open, 100,000 levels");
    EXPECT_EQ(kInvalidFormat, doc.hr());
    EXPECT_EQ(FormatLine(L"CryptXmlOpenToDecode", "DocContext::DecodeSigs", kDepthDetail), dll().LastMessage());
    EXPECT_EQ(nullptr, doc.h());
}

TEST_F(DeepNesting, TheLimitOpensAndOneLevelMoreIsRefused) {
    // The deepest element empty or not: both count as a level.
    for (const std::string& leaf : {std::string(), std::string("<e/>")}) {
        const unsigned chain = leaf.empty() ? kMaxDepth : kMaxDepth - 1;
        Doc atLimit(Nest(chain, leaf));
        EXPECT_EQ(S_OK, atLimit.hr()) << leaf;
        Doc over(Nest(chain + 1, leaf));
        EXPECT_EQ(kInvalidFormat, over.hr()) << leaf;
        EXPECT_EQ(FormatLine(L"CryptXmlOpenToDecode", "DocContext::DecodeSigs", kDepthDetail), dll().LastMessage());
    }
}

// An entity referenced in content is a node of its own that holds its expansion: a chain of
// entities nests without a single element.
TEST_F(DeepNesting, EntityReferencesCountAsLevels) {
    std::string dtd = "<!DOCTYPE x [<!ENTITY e1 \"text\">";
    for (unsigned i = 2; i <= kMaxDepth; ++i) {
        dtd += "<!ENTITY e" + std::to_string(i) + " \"&e" + std::to_string(i - 1) + ";\">";
    }
    dtd += "]>";
    // x, then one level for each entity of the chain.
    Doc atLimit(dtd + "<x>&e" + std::to_string(kMaxDepth - 1) + ";</x>");
    EXPECT_EQ(S_OK, atLimit.hr()) << testing_support::NarrowUtf8(dll().LastMessage());
    Doc over(dtd + "<x>&e" + std::to_string(kMaxDepth) + ";</x>");
    EXPECT_EQ(kInvalidFormat, over.hr());
    EXPECT_EQ(FormatLine(L"CryptXmlOpenToDecode", "DocContext::DecodeSigs", kDepthDetail), dll().LastMessage());
}

TEST_F(DeepNesting, EveryStepAtTheLimitFitsAOneMegabyteStack) {
    RoundTrip r;
    const size_t used = StackProbe::Run(1024 * 1024, [&] { r = SignAndVerify(kMaxDepth); });
    ExpectVerified(r);
    std::printf("[ figures  ] sign, encode, open and verify at %u levels: %zu KB of stack\n", kMaxDepth, used / 1024);
    EXPECT_LT(used, 256u * 1024);
}

// The same round trip one level over the limit stops where the nesting first arrives: the
// source document.
TEST_F(DeepNesting, OneLevelOverTheLimitStopsTheSourceDocument) {
    signtest::NewSig sig(DeepSource(kMaxDepth + 1));
    EXPECT_EQ(kInvalidFormat, sig.hr());
    EXPECT_EQ(FormatLine(L"CryptXmlOpenToEncode", "CreateDomStructure", kDepthDetail), dll().LastMessage());
}

TEST_F(DeepNesting, OneLevelOverTheLimitStopsAnObject) {
    signtest::NewSig sig(DeepSource(10));
    ASSERT_EQ(S_OK, sig.hr());
    const std::string atLimit = DeepObject(kMaxDepth);
    const std::string over = DeepObject(kMaxDepth + 1);
    const CRYPT_XML_BLOB atLimitBlob = BlobOf(atLimit);
    const CRYPT_XML_BLOB overBlob = BlobOf(over);
    const CRYPT_XML_OBJECT* added = nullptr;
    EXPECT_EQ(kInvalidFormat, dll().AddObject(sig.h(), 0, nullptr, 0, &overBlob, &added));
    EXPECT_EQ(FormatLine(L"CryptXmlAddObject", "CreateDomStructure", kDepthDetail), dll().LastMessage());
    EXPECT_EQ(S_OK, dll().AddObject(sig.h(), 0, nullptr, 0, &atLimitBlob, &added));
}

TEST_F(DeepNesting, OneLevelOverTheLimitStopsAKeyInfo) {
    signtest::NewSig sig(DeepSource(10));
    ASSERT_EQ(S_OK, sig.hr());
    sig.Ref(L"#t", {signtest::kExcC14n});
    ASSERT_EQ(S_OK, sig.last());
    ASSERT_EQ(S_OK, dll().SetHMACSecret(sig.h(), reinterpret_cast<const BYTE*>(kSecret.data()),
                                        static_cast<ULONG>(kSecret.size())));
    const std::string over = DeepKeyInfo(kMaxDepth + 1);
    const CRYPT_XML_BLOB overBlob = BlobOf(over);
    const CRYPT_XML_ALGORITHM method = signtest::Alg(signtest::kHmacSha256);
    const CRYPT_XML_ALGORITHM c14n = signtest::Alg(signtest::kExcC14n);
    EXPECT_EQ(kInvalidFormat, dll().Sign(sig.h(), 0, 0, 0, CRYPT_XML_KEYINFO_SPEC_ENCODED, &overBlob, &method, &c14n));
    EXPECT_EQ(FormatLine(L"CryptXmlSign", "CreateDomStructure", kDepthDetail), dll().LastMessage());
}

TEST_F(DeepNesting, OneLevelOverTheLimitStopsAGostKeyValue) {
    const std::string over = std::string("<KeyValue xmlns=\"") + kDsigNs + "\">" + Nest(kMaxDepth) + "</KeyValue>";
    CRYPT_XML_KEY_VALUE value = {};
    value.dwType = CRYPT_XML_KEY_VALUE_TYPE_GOST;
    value.GOSTKeyValue = BlobOf(over);
    HCRYPTPROV prov = 0;
    HCRYPTKEY key = 0;
    EXPECT_EQ(kInvalidFormat, dll().ImportPublicKeyCAPI(0, &value, &prov, &key));
    EXPECT_EQ(testing_support::ExpectedLine(L"ImportGostKey. " + testing_support::Widen(testing_support::CodeMessage(
                                                                     "CreateDomStructure", kFormatText, kDepthDetail))),
              dll().LastMessage());
    EXPECT_EQ(0u, prov);
    EXPECT_EQ(0u, key);
}

// The figures behind the limit's comment: the stack one level takes on each path.
TEST_F(DeepNesting, StackPerLevel) {
    const char* env = std::getenv("HOSTILE_STACK_DEPTHS");
    const unsigned low = env != nullptr ? static_cast<unsigned>(std::atoi(env)) : kMaxDepth / 2;
    const unsigned high = low * 2;
    const auto perLevel = [&](const char* what, const std::function<void(unsigned)>& work) {
        const size_t a = StackProbe::Run(256u * 1024 * 1024, [&] { work(low); });
        const size_t b = StackProbe::Run(256u * 1024 * 1024, [&] { work(high); });
        std::printf("[ figures  ] %s: %zu KB at %u levels, %zu KB at %u levels: %zu bytes a level\n", what, a / 1024,
                    low, b / 1024, high, (b - a) / (high - low));
    };
    RoundTrip a, b;
    perLevel("round trip", [&](unsigned depth) { (depth == low ? a : b) = SignAndVerify(depth); });
    ExpectVerified(a);
    ExpectVerified(b);
    perLevel("open plain", [&](unsigned depth) { Doc doc(Nest(depth)); });
    perLevel("open to decode", [&](unsigned depth) { Doc doc(depth == low ? a.encoded : b.encoded); });
    perLevel("open and verify", [&](unsigned depth) {
        Doc doc(depth == low ? a.encoded : b.encoded);
        VerifyHmac(doc.Signature()->hSignature, kSecret);
    });
    perLevel("source, encode", [&](unsigned depth) {
        signtest::NewSig sig(DeepSource(depth));
        sig.Encode();
    });
    perLevel("source, object", [&](unsigned depth) {
        signtest::NewSig sig(DeepSource(10));
        const std::string object = DeepObject(depth - 2);
        const CRYPT_XML_BLOB objectBlob = BlobOf(object);
        const CRYPT_XML_OBJECT* added = nullptr;
        dll().AddObject(sig.h(), 0, nullptr, 0, &objectBlob, &added);
    });
    perLevel("source, ref #t, sign", [&](unsigned depth) {
        signtest::NewSig sig(DeepSource(depth));
        sig.Ref(L"#t", {signtest::kExcC14n}, signtest::kSha256);
        sig.SignHmac(kSecret);
    });
}
