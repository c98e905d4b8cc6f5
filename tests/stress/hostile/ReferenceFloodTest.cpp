// A signature with 10,000 references: opening it stays bounded in time and memory, every
// reference can be read, and verification checks every digest (and finds the one that was
// changed) in time proportional to the document: each reference finds its element through
// the Id index the document builds when it opens, not by a walk of its own.
#include <gtest/gtest.h>

#include <string>

#include "support/SignSupport.hpp"
#include "HostileSupport.hpp"

using namespace hostile;

namespace {

const std::string kSecret = "hostile-flood-secret-of-32-bytes";
constexpr int kReferences = 10000;

std::string Id(int i) { return "e" + std::to_string(i); }

// One element per reference, each with its own Id; signed once for the whole suite.
class ReferenceFlood : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        std::string source = "<Doc>";
        for (int i = 0; i < kReferences; ++i) source += "<e Id=\"" + Id(i) + "\">value " + std::to_string(i) + "</e>";
        source += "</Doc>";
        Measure m;
        signtest::NewSig sig(source);
        for (int i = 0; i < kReferences; ++i) {
            const std::wstring uri = L"#" + testing_support::WidenUtf8(Id(i));
            if (sig.Ref(uri.c_str(), {signtest::kExcC14n}) == nullptr) return;
        }
        if (sig.SignHmac(kSecret) != S_OK) return;
        Signed() = sig.Encode();
        m.Stop();
        m.Print("sign and encode 10,000 references");
    }

    static std::string& Signed() {
        static std::string xml;
        return xml;
    }
};

}  // namespace

TEST_F(ReferenceFlood, OpeningIsBoundedAndEveryReferenceReads) {
    ASSERT_FALSE(Signed().empty());
    Measure m;
    Doc doc(Signed());
    m.Stop();
    m.Print(("open, 10,000 references, " + std::to_string(Signed().size() / 1024) + " KB").c_str());
    ASSERT_EQ(S_OK, doc.hr());
    EXPECT_LT(m.Ms(), 10000.0);
    EXPECT_LT(m.PeakMb(), 512.0);
    const CRYPT_XML_SIGNATURE* sig = doc.Signature();
    ASSERT_NE(nullptr, sig);
    ASSERT_EQ(static_cast<ULONG>(kReferences), sig->SignedInfo.cReference);
    for (int i : {0, kReferences / 2, kReferences - 1}) {
        const CRYPT_XML_REFERENCE* ref = nullptr;
        ASSERT_EQ(S_OK, dll().GetReference(sig->SignedInfo.rgpReference[i]->hReference, &ref));
        EXPECT_EQ(L"#" + testing_support::WidenUtf8(Id(i)), ref->wszUri);
        EXPECT_EQ(32u, ref->DigestValue.cbData);
    }
}

TEST_F(ReferenceFlood, VerificationChecksEveryDigest) {
    ASSERT_FALSE(Signed().empty());
    Doc doc(Signed());
    const CRYPT_XML_SIGNATURE* sig = doc.Signature();
    ASSERT_NE(nullptr, sig);
    Measure m;
    EXPECT_EQ(S_OK, VerifyHmac(sig->hSignature, kSecret));
    m.Stop();
    m.Print("verify, 10,000 references");
    EXPECT_LT(m.Ms(), 30000.0);
    EXPECT_NE(0u, StatusOf(sig->hSignature).dwInfoStatus & CRYPT_XML_STATUS_DIGEST_VALID);
    int valid = 0;
    for (ULONG i = 0; i < sig->SignedInfo.cReference; ++i) {
        if (StatusOf(sig->SignedInfo.rgpReference[i]->hReference).dwInfoStatus & CRYPT_XML_STATUS_DIGEST_VALID) ++valid;
    }
    EXPECT_EQ(kReferences, valid);
}

TEST_F(ReferenceFlood, OneChangedElementAmongTenThousandIsTheOneReported) {
    ASSERT_FALSE(Signed().empty());
    std::string changed = Signed();
    const std::string from = ">value 7777<";
    const size_t at = changed.find(from);
    ASSERT_NE(std::string::npos, at);
    changed.replace(at, from.size(), ">value 7778<");
    Doc doc(changed);
    const CRYPT_XML_SIGNATURE* sig = doc.Signature();
    ASSERT_NE(nullptr, sig);
    EXPECT_EQ(S_OK, VerifyHmac(sig->hSignature, kSecret));
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_ERROR_DIGEST_INVALID), StatusOf(sig->hSignature).dwErrorStatus);
    EXPECT_EQ(0u, StatusOf(sig->hSignature).dwInfoStatus & CRYPT_XML_STATUS_DIGEST_VALID);
    for (ULONG i = 0; i < sig->SignedInfo.cReference; ++i) {
        const DWORD error = StatusOf(sig->SignedInfo.rgpReference[i]->hReference).dwErrorStatus;
        EXPECT_EQ(i == 7777 ? static_cast<DWORD>(CRYPT_XML_STATUS_ERROR_DIGEST_INVALID) : 0u, error) << i;
        if (HasFailure()) break;
    }
}
