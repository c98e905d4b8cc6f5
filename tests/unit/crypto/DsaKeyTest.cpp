// WinCAPICryptoKeyDSA: a DSS container key signs, the exported P, Q, G, Y verify after a
// load and import, and an OpenSSL signature verifies.
#include "CryptoTestSupport.hpp"
#include "FixedVectors.hpp"
#include "KnownAnswers.hpp"

#include "crypto/CapiSupport.hpp"
#include "crypto/DssPublicKeyBlob.hpp"
#include "crypto/WinCAPICryptoKeyDSA.hpp"

#include <xsec/enc/XSECCryptoException.hpp>

#include <algorithm>
#include <cstring>
#include <memory>

using namespace testing_crypto;

namespace {

bool Verify(const WinCAPICryptoKeyDSA& key, Bytes hash, std::string sig) {
    return key.verifyBase64Signature(hash.data(), static_cast<unsigned int>(hash.size()), &sig[0],
                                     static_cast<unsigned int>(sig.size()));
}

void Load(WinCAPICryptoKeyDSA& key, const char* p, const char* q, const char* g, const char* y) {
    key.loadGBase64BigNums(g, static_cast<unsigned int>(std::strlen(g)));
    key.loadPBase64BigNums(p, static_cast<unsigned int>(std::strlen(p)));
    key.loadQBase64BigNums(q, static_cast<unsigned int>(std::strlen(q)));
    key.loadYBase64BigNums(y, static_cast<unsigned int>(std::strlen(y)));
}

// A 512-bit key and its signature of "512-bit DSA", made with OpenSSL 3.0.
const char k512P[] = "uh5rUG1hU0mOAc3HGjblSVztI7kiWecMw/PwbJLHpW5Ws8Le2jXWR7mnu7EYRp8dfDJuqx/dbYPsHfCLhY9Jiw==";
const char k512Q[] = "0Pwj1AKN2DvIcSCh2VpKHB5iHp8=";
const char k512G[] = "g8X6PNcsm9OKAxYjrVO8RMS/E/LfScLd4Ggfek2fCUduDIFLDi46qqo2B21zdmP7q46HaEzh7XC3nJfTOjJOMQ==";
const char k512Y[] = "ZX5QR6t9ReEtVRppEbelRMidhvVp/ApJj8L3qb6+NnVe2p+mVgNkWMGuWuGv21geITd56aoLlOIfegKFXjoGJw==";
const char k512Sig[] = "SSAOu2ETtpf/Q++8iw3lbj9eV4Izhah4lDoqJx4lhRefuu+qa96yfQ==";
const char k512Message[] = "512-bit DSA";
const char k512MessageSha1Hex[] = "3a4dce880199b22612c8858ab48959744d24d0fc";

crypto::Bytes Number(const char* b64) {
    return crypto::StripLeadingZeros(crypto::DecodeBase64(b64, static_cast<unsigned int>(std::strlen(b64))));
}

class CapiDsaTest : public VerifyContextTest {
protected:
    CapiDsaTest() : VerifyContextTest(PROV_DSS) {}
};

TEST_F(CapiDsaTest, ContainerKeySignsAndExportedKeyVerifies) {
    WithCryptoErrorsReported([&] {
        TempContainer container(L"talvoran-crypto-test-dsa", PROV_DSS);
        ASSERT_TRUE(container.ok()) << container.error();
        ASSERT_EQ(0u, container.GenerateSignatureKey());

        WinCAPICryptoKeyDSA signer(container.prov(), AT_SIGNATURE, true);
        EXPECT_EQ(XSECCryptoKey::KEY_DSA_PAIR, signer.getKeyType());
        char p[1000], q[1000], g[1000], y[1000];
        EXPECT_EQ(172u, signer.getPBase64BigNums(p, sizeof p));
        EXPECT_EQ(28u, signer.getQBase64BigNums(q, sizeof q));  // 20 bytes
        signer.getGBase64BigNums(g, sizeof g);
        signer.getYBase64BigNums(y, sizeof y);

        WinCAPICryptoKeyDSA verifier(prov_);
        EXPECT_EQ(XSECCryptoKey::KEY_NONE, verifier.getKeyType());
        Load(verifier, p, q, g, y);
        EXPECT_NE(0u, verifier.importKey());
        EXPECT_EQ(XSECCryptoKey::KEY_DSA_PUBLIC, verifier.getKeyType());

        Bytes hash = FromHex(kat::kDigests[0].sha1);
        char sig[200];
        unsigned int n = signer.signBase64Signature(hash.data(), 20, sig, sizeof sig);
        ASSERT_EQ(56u, n);  // 40 bytes
        EXPECT_TRUE(Verify(signer, hash, sig));
        EXPECT_TRUE(Verify(verifier, hash, sig));
        Bytes tampered = hash;
        tampered[19] ^= 0x80;
        EXPECT_FALSE(Verify(verifier, tampered, sig));

        // The numbers read back from the imported key are those loaded.
        char again[1000];
        verifier.getYBase64BigNums(again, sizeof again);
        EXPECT_STREQ(y, again);
        verifier.getGBase64BigNums(again, sizeof again);
        EXPECT_STREQ(g, again);
    });
}

TEST_F(CapiDsaTest, VerifiesAnOpenSslSignature) {
    WithCryptoErrorsReported([&] {
        WinCAPICryptoKeyDSA key(prov_);
        Load(key, vectors::kDsaPB64, vectors::kDsaQB64, vectors::kDsaGB64, vectors::kDsaYB64);
        Bytes hash = FromHex(vectors::kDsaMessageSha1Hex);
        EXPECT_EQ(vectors::kDsaMessageSha1Hex, ToHex(CapiDigest(prov_, CALG_SHA1, Text(vectors::kDsaMessage))));
        EXPECT_TRUE(Verify(key, hash, vectors::kDsaSigSHA1B64));  // imported on first use
        EXPECT_FALSE(Verify(key, FromHex(kat::kDigests[0].sha1), vectors::kDsaSigSHA1B64));

        // r and s swapped: refused.
        std::string text = vectors::kDsaSigSHA1B64;
        crypto::Bytes raw = crypto::DecodeBase64(text.c_str(), static_cast<unsigned int>(text.size()));
        ASSERT_EQ(40u, raw.size());
        std::rotate(raw.begin(), raw.begin() + 20, raw.end());
        EXPECT_FALSE(Verify(key, hash, crypto::EncodeBase64(raw.data(), raw.size())));

        std::unique_ptr<XSECCryptoKey> copy(key.clone());
        EXPECT_TRUE(Verify(*static_cast<WinCAPICryptoKeyDSA*>(copy.get()), hash, vectors::kDsaSigSHA1B64));

        char q[100];
        key.getQBase64BigNums(q, sizeof q);
        EXPECT_STREQ(vectors::kDsaQB64, q);
    });
}

// Wine's dssenh reads y as 128 bytes for any key size; a 512-bit key verifies only because
// its blob ends in zeros there.
TEST_F(CapiDsaTest, VerifiesAnOpenSslSignatureOfA512BitKey) {
    WithCryptoErrorsReported([&] {
        WinCAPICryptoKeyDSA key(prov_);
        Load(key, k512P, k512Q, k512G, k512Y);
        Bytes hash = FromHex(k512MessageSha1Hex);
        EXPECT_EQ(k512MessageSha1Hex, ToHex(CapiDigest(prov_, CALG_SHA1, Text(k512Message))));
        ASSERT_TRUE(Verify(key, hash, k512Sig));
        EXPECT_FALSE(Verify(key, FromHex(kat::kDigests[0].sha1), k512Sig));

        // The provider holds exactly the Y loaded.
        char y[200];
        key.getYBase64BigNums(y, sizeof y);
        EXPECT_STREQ(k512Y, y);
    });
}

TEST(DssPublicKeyBlobTest, EndsWithoutSeedOrWithZerosUpTo128BytesOfY) {
    const crypto::Bytes p = Number(k512P), q = Number(k512Q), g = Number(k512G), y = Number(k512Y);
    const auto kErr = XSECCryptoException::DSAError;
    const crypto::Bytes plain = crypto::DssPublicKeyBlob(p, q, g, y, crypto::DssBlobEnd::kNoSeed, kErr);
    const crypto::Bytes padded = crypto::DssPublicKeyBlob(p, q, g, y, crypto::DssBlobEnd::kZerosTo128, kErr);
    // BLOBHEADER, DSSPUBKEY "DSS1" of 512 bits, p, q, g, y little-endian.
    ASSERT_EQ(252u, plain.size());
    EXPECT_EQ(
        "060200000022000044535331"
        "00020000",
        ToHex(Bytes(plain.begin(), plain.begin() + 16)));
    const crypto::Bytes yLittle = crypto::Reversed(y.data(), y.size());
    EXPECT_EQ(ToHex(yLittle), ToHex(Bytes(plain.begin() + 164, plain.begin() + 228)));
    EXPECT_EQ("ffffffff" + std::string(40, '0'), ToHex(Bytes(plain.begin() + 228, plain.end())));
    // The same up to y, then 64 zero bytes: a zero DSSSEED and 40 more.
    ASSERT_EQ(292u, padded.size());
    EXPECT_EQ(ToHex(Bytes(plain.begin(), plain.begin() + 228)), ToHex(Bytes(padded.begin(), padded.begin() + 228)));
    EXPECT_EQ(std::string(128, '0'), ToHex(Bytes(padded.begin() + 228, padded.end())));

    // A 1024-bit key reads as wide as it is: only the seed changes.
    const crypto::Bytes p1024 = Number(vectors::kDsaPB64);
    EXPECT_EQ(crypto::DssBlobEnd::kNoSeed, crypto::DssBlobEndFor(p1024.size()));
    const crypto::Bytes wide =
        crypto::DssPublicKeyBlob(p1024, Number(vectors::kDsaQB64), Number(vectors::kDsaGB64), Number(vectors::kDsaYB64),
                                 crypto::DssBlobEnd::kZerosTo128, kErr);
    EXPECT_EQ(444u, wide.size());
    EXPECT_EQ(std::string(48, '0'), ToHex(Bytes(wide.end() - 24, wide.end())));
}

TEST_F(CapiDsaTest, MisuseThrowsCryptoExceptions) {
    WinCAPICryptoKeyDSA key(prov_);
    Bytes hash = FromHex(vectors::kDsaMessageSha1Hex);
    EXPECT_THROW(Verify(key, hash, vectors::kDsaSigSHA1B64), XSECCryptoException);
    Load(key, vectors::kDsaPB64, vectors::kDsaQB64, vectors::kDsaGB64, vectors::kDsaYB64);
    char buf[200];
    EXPECT_THROW(key.signBase64Signature(hash.data(), 20, buf, sizeof buf), XSECCryptoException);
    EXPECT_THROW(Verify(key, hash, "AAECAwQF"), XSECCryptoException);                       // not 40 bytes
    EXPECT_THROW(Verify(key, Bytes(32, 1), vectors::kDsaSigSHA1B64), XSECCryptoException);  // not SHA-1
}

}  // namespace
