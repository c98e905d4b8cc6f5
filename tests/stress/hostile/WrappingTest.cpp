// Signature wrapping: the signed element moved and a copy left in its place, duplicate Ids,
// references into a second signature. What a caller can rely on: an Id that a reference
// names is carried by exactly one element of an opened document (else the document does not
// open: CRYPT_XML_E_NON_UNIQUE_ID), and a reference's status speaks for that element,
// wherever it stands.
#include <gtest/gtest.h>

#include <string>

#include "support/SignSupport.hpp"
#include "DeepDocs.hpp"
#include "HostileSupport.hpp"

using namespace hostile;

namespace {

const std::string kSecret = "hostile-wrapping-secret-32-bytes";
const std::string kBody = "<Body Id=\"body\"><Amount>100</Amount></Body>";
const std::string kForged = "<Body Id=\"body\"><Amount>999999</Amount></Body>";

HRESULT SignExclusive(signtest::NewSig& sig) {
    const HRESULT set =
        dll().SetHMACSecret(sig.h(), reinterpret_cast<const BYTE*>(kSecret.data()), static_cast<ULONG>(kSecret.size()));
    return set != S_OK
               ? set
               : sig.SignWith(0, 0, signtest::kHmacSha256, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, signtest::kExcC14n);
}

// <Invoice><Header/><Body Id="body">...</Body><ds:Signature .../></Invoice>, the reference
// "#body", everything canonicalised exclusively so that moving elements around changes no
// signed byte but theirs.
std::string SignedInvoice() {
    signtest::NewSig sig("<Invoice><Header/>" + kBody + "</Invoice>");
    sig.Ref(L"#body", {signtest::kExcC14n});
    if (SignExclusive(sig) != S_OK) return {};
    return sig.Encode();
}

std::string Replace(std::string xml, const std::string& from, const std::string& to) {
    const size_t at = xml.find(from);
    if (at != std::string::npos) xml.replace(at, from.size(), to);
    return xml;
}

std::wstring NonUniqueLine(const std::string& id, unsigned count) {
    return testing_support::ExpectedFrameLine(
        L"CryptXmlOpenToDecode",
        testing_support::Widen(testing_support::CodeMessage(
            "DocContext::DecodeSigs", "Non-unique Id attribute found in the document.",
            "the Id \"" + id + "\" that a reference names is carried by " + std::to_string(count) + " elements.")));
}

class Wrapping : public ::testing::Test {
protected:
    void SetUp() override {
        dll().StartDebugging();
        signed_ = SignedInvoice();
        ASSERT_NE(std::string::npos, signed_.find(kBody));
    }
    void TearDown() override { dll().StopDebugging(); }

    void ExpectRefused(const std::string& xml, const std::string& id = "body", unsigned count = 2) {
        Doc doc(xml);
        EXPECT_EQ(kNonUniqueId, doc.hr());
        EXPECT_EQ(NonUniqueLine(id, count), dll().LastMessage());
        EXPECT_EQ(nullptr, doc.h());
    }

    std::string signed_;
};

}  // namespace

TEST_F(Wrapping, TheUntouchedDocumentVerifies) {
    const signtest::Verified v = signtest::VerifyOwn(signed_, kSecret);
    EXPECT_EQ(S_OK, v.open);
    EXPECT_EQ(S_OK, v.verify);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_SIGNATURE_VALID | CRYPT_XML_STATUS_DIGEST_VALID),
              v.sigStatus.dwInfoStatus);
    ASSERT_EQ(1u, v.refStatus.size());
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_INTERNAL_REFERENCE | CRYPT_XML_STATUS_DIGEST_VALID),
              v.refStatus[0].dwInfoStatus);
}

// Without wrapping, a change is a digest failure the statuses name.
TEST_F(Wrapping, ChangedInPlaceFailsTheDigest) {
    const signtest::Verified v = signtest::VerifyOwn(Replace(signed_, kBody, kForged), kSecret);
    EXPECT_EQ(S_OK, v.open);
    EXPECT_EQ(S_OK, v.verify);  // the signature value is good: SignedInfo was not touched
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_ERROR_DIGEST_INVALID), v.sigStatus.dwErrorStatus);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_SIGNATURE_VALID), v.sigStatus.dwInfoStatus);
    ASSERT_EQ(1u, v.refStatus.size());
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_ERROR_DIGEST_INVALID), v.refStatus[0].dwErrorStatus);
}

// The classic wrapping: the signed element moves into a wrapper ahead of the place a reader
// looks, a forged copy with the same Id takes its place. Before or after the copy, inside
// the Header or inside the signature's own Object: the document does not open.
TEST_F(Wrapping, MovedWithACopyLeftInItsPlaceDoesNotOpen) {
    const std::string wrapped =
        Replace(signed_, "<Header/>" + kBody, "<Header><Wrapper>" + kBody + "</Wrapper></Header>" + kForged);
    ASSERT_NE(signed_, wrapped);
    ExpectRefused(wrapped);
    const std::string intoObject = Replace(Replace(signed_, kBody, kForged), "</ds:Signature>",
                                           "<ds:Object>" + kBody + "</ds:Object></ds:Signature>");
    ASSERT_NE(signed_, intoObject);
    ExpectRefused(intoObject);
}

// An application may look an Id up by ID or xml:id: a copy under those names is as
// ambiguous as one under Id.
TEST_F(Wrapping, ACopyUnderAnotherIdNameDoesNotOpenEither) {
    for (const std::string& attribute : {std::string("ID"), std::string("id"), std::string("xml:id")}) {
        const std::string copy = "<Body " + attribute + "=\"body\"><Amount>999999</Amount></Body>";
        ExpectRefused(Replace(signed_, "<Header/>" + kBody, "<Header>" + kBody + "</Header>" + copy));
    }
    // An attribute the DTD declares an ID.
    ExpectRefused("<!DOCTYPE Invoice [<!ATTLIST Item key ID #IMPLIED>]>" +
                  Replace(signed_, "<Header/>", "<Header><Item key=\"body\">999999</Item></Header>"));
}

// Moved without a copy that carries the Id: the reference follows its element, and the
// statuses say that element is the one signed. A reader that takes the element the
// reference names (its wszUri) reads the signed one; a reader that takes the Body by its
// place reads what nobody signed.
TEST_F(Wrapping, MovedWithAnIdlessCopyVerifiesTheElementTheReferenceNames) {
    const std::string idless = "<Body><Amount>999999</Amount></Body>";
    const std::string moved =
        Replace(signed_, "<Header/>" + kBody, "<Header><Wrapper>" + kBody + "</Wrapper></Header>" + idless);
    ASSERT_NE(signed_, moved);
    Doc doc(moved);
    ASSERT_EQ(S_OK, doc.hr());
    const CRYPT_XML_SIGNATURE* sig = doc.Signature();
    ASSERT_NE(nullptr, sig);
    EXPECT_EQ(S_OK, VerifyHmac(sig->hSignature, kSecret));
    const CRYPT_XML_REFERENCE* ref = sig->SignedInfo.rgpReference[0];
    EXPECT_STREQ(L"#body", ref->wszUri);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_INTERNAL_REFERENCE | CRYPT_XML_STATUS_DIGEST_VALID),
              StatusOf(ref->hReference).dwInfoStatus);
    EXPECT_EQ(0u, StatusOf(ref->hReference).dwErrorStatus);
}

TEST_F(Wrapping, DuplicateIdsNoReferenceNamesAreHarmless) {
    const std::string twice = Replace(signed_, "<Header/>", "<Header><a Id=\"x\"/><b Id=\"x\"/></Header>");
    const signtest::Verified v = signtest::VerifyOwn(twice, kSecret);
    EXPECT_EQ(S_OK, v.open);
    EXPECT_EQ(S_OK, v.verify);
    ASSERT_EQ(1u, v.refStatus.size());
    EXPECT_NE(0u, v.refStatus[0].dwInfoStatus & CRYPT_XML_STATUS_DIGEST_VALID);
}

// One element may carry the same value under two names: it is still one element.
TEST_F(Wrapping, OneElementCarryingTheIdTwiceIsOneCarrier) {
    const std::string twice = Replace(signed_, "<Body Id=\"body\">", "<Body Id=\"body\" ID=\"body\">");
    ASSERT_NE(signed_, twice);
    Doc doc(twice);
    EXPECT_EQ(S_OK, doc.hr());
}

// The second signature's Id, or an Id inside its Object, is an element of the document like
// any other: a reference to it verifies while that element is unchanged, and a change there
// fails the first signature's reference too (a counter-signature works so).
TEST_F(Wrapping, AReferenceIntoASecondSignatureFollowsThatElement) {
    signtest::NewSig second("<Invoice><Header/>" + kBody + "</Invoice>", L"", L"second");
    second.Ref(L"#body", {signtest::kExcC14n});
    const std::string stamp = std::string("<Object xmlns=\"") + kDsigNs + "\" Id=\"stamp\">approved</Object>";
    const CRYPT_XML_BLOB stampBlob = BlobOf(stamp);
    const CRYPT_XML_OBJECT* object = nullptr;
    ASSERT_EQ(S_OK, dll().AddObject(second.h(), 0, nullptr, 0, &stampBlob, &object));
    ASSERT_EQ(S_OK, SignExclusive(second));
    signtest::NewSig first(second.Encode(), L"", L"first");
    first.Ref(L"#stamp", {signtest::kExcC14n});
    first.Ref(L"#second", {signtest::kExcC14n});
    ASSERT_EQ(S_OK, SignExclusive(first));
    const std::string both = first.Encode();

    const auto check = [](const std::string& xml, DWORD stampError, DWORD secondError) {
        Doc doc(xml);
        ASSERT_EQ(S_OK, doc.hr());
        ASSERT_EQ(2u, doc.Signatures());
        const CRYPT_XML_SIGNATURE* sig = doc.Signature(1);  // document order: "second" first
        ASSERT_STREQ(L"first", sig->wszId);
        EXPECT_EQ(S_OK, VerifyHmac(sig->hSignature, kSecret));
        EXPECT_EQ(stampError, StatusOf(sig->SignedInfo.rgpReference[0]->hReference).dwErrorStatus);
        EXPECT_EQ(secondError, StatusOf(sig->SignedInfo.rgpReference[1]->hReference).dwErrorStatus);
    };
    check(both, 0, 0);
    const DWORD invalid = CRYPT_XML_STATUS_ERROR_DIGEST_INVALID;
    // The stamp is inside the second signature: changing it fails both references.
    check(Replace(both, ">approved<", ">rejected<"), invalid, invalid);
    // The second signature's own value is signed by the first as well.
    const size_t value = both.find("<ds:SignatureValue>");
    ASSERT_NE(std::string::npos, value);
    std::string otherValue = both;
    otherValue[value + 20] = otherValue[value + 20] == 'A' ? 'B' : 'A';
    check(otherValue, 0, invalid);
}

// A second signature that brings its own element with the Id the first one signs: the
// document does not open, whether that signature is good or not.
TEST_F(Wrapping, ASecondSignatureCarryingTheSignedIdDoesNotOpen) {
    const std::string intruder =
        std::string("<ds:Signature xmlns:ds=\"") + kDsigNs +
        "\"><ds:SignedInfo><ds:CanonicalizationMethod "
        "Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"/><ds:SignatureMethod "
        "Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256\"/><ds:Reference "
        "URI=\"#body\"><ds:DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\"/>"
        "<ds:DigestValue>AAAA</ds:DigestValue></ds:Reference></ds:SignedInfo><ds:SignatureValue>"
        "AAAA</ds:SignatureValue><ds:Object>" +
        kForged + "</ds:Object></ds:Signature>";
    ExpectRefused(Replace(signed_, "</Invoice>", intruder + "</Invoice>"));
}
