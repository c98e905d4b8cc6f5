// Hostile DTDs where a document is opened: everything that would read from outside is
// refused with WS_E_INVALID_FORMAT before it is read, expansion is bounded, and what stays
// within the bounds opens, reads and verifies like any document.
#include <gtest/gtest.h>

#include <string>

#include "support/SignSupport.hpp"
#include "HostileSupport.hpp"
#include "Payloads.hpp"

using namespace hostile;

namespace {

const std::string kSecret = "hostile-dtd-secret-of-32-bytes!!";

class Dtd : public ::testing::Test {
protected:
    void SetUp() override { dll().StartDebugging(); }
    void TearDown() override { dll().StopDebugging(); }

    // Opens xml, expects the refusal with `detail`, prints the figures.
    static void ExpectRefused(const std::string& what, const std::string& xml, const std::string& detail) {
        Measure m;
        Doc doc(xml);
        m.Stop();
        m.Print(("open, " + what).c_str());
        EXPECT_EQ(kInvalidFormat, doc.hr()) << what;
        EXPECT_EQ(FormatLine(L"CryptXmlOpenToDecode", "DocContext::DecodeSigs", detail), dll().LastMessage()) << what;
        EXPECT_EQ(nullptr, doc.h()) << what;
    }
};

std::string Repeat(const std::string& piece, size_t times) {
    std::string out;
    out.reserve(piece.size() * times);
    for (size_t i = 0; i < times; ++i) out += piece;
    return out;
}

// A signed document whose signed text is `text`; the caller then writes that text another
// way (through entities) without touching what was signed.
std::string SignedEnvelope(const std::string& text) {
    signtest::NewSig sig("<Envelope><Body Id=\"body\">" + text + "</Body></Envelope>");
    sig.Ref(L"#body", {signtest::kExcC14n});
    sig.SignHmac(kSecret);
    return sig.Encode();
}

std::string Replace(std::string xml, const std::string& from, const std::string& to) {
    const size_t at = xml.find(from);
    if (at != std::string::npos) xml.replace(at, from.size(), to);
    return xml;
}

}  // namespace

TEST_F(Dtd, EveryCommonPayloadIsRefused) {
    for (const Payload& p : CommonPayloads()) ExpectRefused(p.name, p.Around("Envelope"), p.detail);
}

TEST_F(Dtd, AnExternalEntityIsRefusedEvenUnused) {
    const Bait& bait = Bait::Get();
    ExpectRefused("unused external entity",
                  "<!DOCTYPE E [<!ENTITY ext SYSTEM \"" + bait.FileUrl("unused.txt") + "\">]><E/>", kExternalEntity);
    ExpectRefused("external entity by path",
                  "<!DOCTYPE E [<!ENTITY ext SYSTEM \"" + bait.WindowsPath("path.txt") + "\">]><E>&ext;</E>",
                  kExternalEntity);
    ExpectRefused(
        "external entity with a public id",
        "<!DOCTYPE E [<!ENTITY ext PUBLIC \"-//X//Y//EN\" \"" + bait.FileUrl("public.txt") + "\">]><E>&ext;</E>",
        kExternalEntity);
    ExpectRefused("unparsed entity",
                  "<!DOCTYPE E [<!NOTATION n SYSTEM \"n\"><!ENTITY u SYSTEM \"" + bait.FileUrl("unparsed.bin") +
                      "\" NDATA n><!ATTLIST E a ENTITY #IMPLIED>]><E a=\"u\"/>",
                  kExternalEntity);
}

TEST_F(Dtd, AnExternalSubsetIsRefusedInEveryForm) {
    const Bait& bait = Bait::Get();
    ExpectRefused("external DTD with a public id",
                  "<!DOCTYPE E PUBLIC \"-//X//Y//EN\" \"" + bait.FileUrl("public.dtd") + "\"><E/>", kExternalDtd);
    ExpectRefused("external DTD by path", "<!DOCTYPE E SYSTEM \"" + bait.WindowsPath("path.dtd") + "\"><E/>",
                  kExternalDtd);
    ExpectRefused("external DTD beside an internal subset",
                  "<!DOCTYPE E SYSTEM \"" + bait.FileUrl("both.dtd") + "\" [<!ENTITY a \"a\">]><E>&a;</E>",
                  kExternalDtd);
}

TEST_F(Dtd, AnyParameterEntityIsRefused) {
    ExpectRefused("internal parameter entity", "<!DOCTYPE E [<!ENTITY % p \"<!ENTITY a 'x'>\"> %p;]><E>&a;</E>",
                  kParameterEntity);
    ExpectRefused("parameter entity by http",
                  "<!DOCTYPE E [<!ENTITY % p SYSTEM \"" + Bait::Get().HttpUrl("param.dtd") + "\">]><E/>",
                  kParameterEntity);
}

TEST_F(Dtd, ExpansionStopsAtTheLimitInContentAndInAttributes) {
    const std::string laughs = "<!DOCTYPE E [" + LaughsDtd() + "]>";
    ExpectRefused("billion laughs in an attribute", laughs + "<E a=\"&lol9;\"/>", kExpansions);
    // Ten thousand expansions pass, one more does not.
    const std::string one = "<!DOCTYPE E [<!ENTITY a \"a\">]>";
    Doc atLimit(one + "<E>" + Repeat("&a;", kMaxEntityExpansions) + "</E>");
    EXPECT_EQ(S_OK, atLimit.hr()) << testing_support::NarrowUtf8(dll().LastMessage());
    ExpectRefused("10,001 expansions", one + "<E>" + Repeat("&a;", kMaxEntityExpansions + 1) + "</E>", kExpansions);
    ExpectRefused("10,001 expansions in attributes",
                  one + "<E>" + Repeat("<x a=\"&a;&a;\"/>", kMaxEntityExpansions / 2) + "<x a=\"&a;\"/></E>",
                  kExpansions);
}

TEST_F(Dtd, EntityLengthIsBoundedSoThatExpansionIs) {
    const std::string longest(kMaxEntityLength, 'q');
    ExpectRefused("entity of 1,001 characters", "<!DOCTYPE E [<!ENTITY q \"" + longest + "q\">]><E>&q;</E>",
                  kLongEntity);
    // The most entities can add: 10,000 expansions of 1,000 characters, from 30 KB.
    const std::string xml =
        "<!DOCTYPE E [<!ENTITY q \"" + longest + "\">]><E>" + Repeat("&q;", kMaxEntityExpansions) + "</E>";
    Measure m;
    Doc doc(xml);
    m.Stop();
    m.Print(("open, 10,000 x 1,000 characters from " + std::to_string(xml.size() / 1024) + " KB").c_str());
    EXPECT_EQ(S_OK, doc.hr()) << testing_support::NarrowUtf8(dll().LastMessage());
    EXPECT_LT(m.PeakMb(), 256.0);
}

TEST_F(Dtd, AttributeDefaultsAreBounded) {
    const std::string dtd = "<!DOCTYPE E [<!ATTLIST x d CDATA \"" + std::string(100000, 'd') + "\">]>";
    Doc atLimit(dtd + "<E>" + Repeat("<x/>", 100) + "</E>");
    EXPECT_EQ(S_OK, atLimit.hr()) << testing_support::NarrowUtf8(dll().LastMessage());
    ExpectRefused("101 defaults of 100,000 characters", dtd + "<E>" + Repeat("<x/>", 101) + "</E>", kDefaults);
}

// Internal entities within the bounds are ordinary text: a signature over text written with
// them verifies, since canonical text has them expanded.
TEST_F(Dtd, SignedTextWrittenWithInternalEntitiesVerifies) {
    const std::string piece(kMaxEntityLength, 'p');
    const size_t copies = 2000;
    const std::string signedXml = SignedEnvelope(Repeat(piece, copies));
    ASSERT_FALSE(signedXml.empty());
    const std::string withEntities = "<!DOCTYPE Envelope [<!ENTITY p \"" + piece + "\">]>" +
                                     Replace(signedXml, Repeat(piece, copies), Repeat("&p;", copies));
    ASSERT_LT(withEntities.size(), 64u * 1024);
    Measure m;
    Doc doc(withEntities);
    ASSERT_EQ(S_OK, doc.hr()) << testing_support::NarrowUtf8(dll().LastMessage());
    const CRYPT_XML_SIGNATURE* sig = doc.Signature();
    ASSERT_NE(nullptr, sig);
    EXPECT_EQ(S_OK, VerifyHmac(sig->hSignature, kSecret));
    m.Stop();
    m.Print("open and verify, 2 MB of signed text from 2,000 entity references");
    EXPECT_NE(0u, StatusOf(sig->hSignature).dwInfoStatus & CRYPT_XML_STATUS_DIGEST_VALID);
    EXPECT_NE(0u, StatusOf(sig->SignedInfo.rgpReference[0]->hReference).dwInfoStatus & CRYPT_XML_STATUS_DIGEST_VALID);
}
