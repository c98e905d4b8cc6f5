// WinCAPICryptoKeyDSA: a DSS container key signs, the exported P, Q, G, Y verify after a
// load and import, and an OpenSSL signature verifies.
#include "CryptoTestSupport.hpp"
#include "FixedVectors.hpp"
#include "KnownAnswers.hpp"

#include "crypto/CapiSupport.hpp"
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

TEST_F(CapiDsaTest, MisuseThrowsCryptoExceptions) {
    WinCAPICryptoKeyDSA key(prov_);
    Bytes hash = FromHex(vectors::kDsaMessageSha1Hex);
    EXPECT_THROW(Verify(key, hash, vectors::kDsaSigSHA1B64), XSECCryptoException);
    Load(key, vectors::kDsaPB64, vectors::kDsaQB64, vectors::kDsaGB64, vectors::kDsaYB64);
    char buf[200];
    EXPECT_THROW(key.signBase64Signature(hash.data(), 20, buf, sizeof buf), XSECCryptoException);
    EXPECT_THROW(Verify(key, hash, "AAECAwQF"), XSECCryptoException);              // not 40 bytes
    EXPECT_THROW(Verify(key, Bytes(32, 1), vectors::kDsaSigSHA1B64), XSECCryptoException);  // not SHA-1
}

}  // namespace
