// Message digests through WinCAPICryptoHash and HMACs through WinCAPICryptoHashHMAC with
// WinCAPICryptoKeyHMAC, against published known answers; Streebog through the GOST
// R 34.10-2012 providers (types 80 and 81) of the software GOST provider.
#include "CryptoTestSupport.hpp"
#include "KnownAnswers.hpp"

#include "crypto/CapiSupport.hpp"
#include "crypto/Ids.hpp"
#include "crypto/WinCAPICryptoHash.hpp"
#include "crypto/WinCAPICryptoHashHMAC.hpp"
#include "crypto/WinCAPICryptoKeyHMAC.hpp"

#include <xsec/enc/XSECCryptoException.hpp>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

using namespace testing_crypto;

namespace {

class CapiHashTest : public VerifyContextTest {
protected:
    CapiHashTest() : VerifyContextTest(PROV_RSA_AES) {}

    std::string Digest(XSECCryptoHash::HashType type, const Bytes& data) {
        WinCAPICryptoHash h(prov_, type);
        EXPECT_EQ(type, h.getHashType());
        Bytes copy = data;
        h.hash(copy.data(), static_cast<unsigned int>(copy.size()));
        unsigned char out[128];
        unsigned int n = h.finish(out, sizeof out);
        return ToHex(out, n);
    }

    std::string Hmac(XSECCryptoHash::HashType type, const Bytes& key, const Bytes& data) {
        WinCAPICryptoKeyHMAC k(0);
        Bytes keyCopy = key;
        k.setKey(keyCopy.data(), static_cast<unsigned int>(keyCopy.size()));
        WinCAPICryptoHashHMAC h(prov_, type);
        h.setKey(&k);
        Bytes copy = data;
        h.hash(copy.data(), static_cast<unsigned int>(copy.size()));
        unsigned char out[128];
        unsigned int n = h.finish(out, sizeof out);
        return ToHex(out, n);
    }
};

TEST_F(CapiHashTest, DigestsMatchFips180Examples) {
    for (const auto& c : kat::kDigests) {
        SCOPED_TRACE(c.name);
        Bytes m = Text(c.message);
        EXPECT_EQ(c.sha1, Digest(XSECCryptoHash::HASH_SHA1, m));
        EXPECT_EQ(c.sha256, Digest(XSECCryptoHash::HASH_SHA256, m));
        EXPECT_EQ(c.sha384, Digest(XSECCryptoHash::HASH_SHA384, m));
        EXPECT_EQ(c.sha512, Digest(XSECCryptoHash::HASH_SHA512, m));
    }
}

TEST_F(CapiHashTest, DataInPiecesAndResetGiveTheSameDigest) {
    WinCAPICryptoHash h(prov_, XSECCryptoHash::HASH_SHA256);
    unsigned char junk[] = "junk";
    h.hash(junk, 4);
    h.reset();
    unsigned char a[] = "ab", c[] = "c";
    h.hash(a, 2);
    h.hash(c, 1);
    unsigned char out[64];
    ASSERT_EQ(32u, h.finish(out, sizeof out));
    EXPECT_EQ(kat::kDigests[0].sha256, ToHex(out, 32));
}

TEST_F(CapiHashTest, FinishCutsToTheCallersBuffer) {
    WinCAPICryptoHash h(prov_, XSECCryptoHash::HASH_SHA1);
    unsigned char abc[] = "abc";
    h.hash(abc, 3);
    unsigned char out[8];
    ASSERT_EQ(8u, h.finish(out, sizeof out));
    EXPECT_EQ("a9993e364706816a", ToHex(out, 8));
}

TEST_F(CapiHashTest, UnknownHashTypeThrows) {
    EXPECT_THROW(WinCAPICryptoHash(prov_, XSECCryptoHash::HASH_SHA224), XSECCryptoException);
    EXPECT_THROW(WinCAPICryptoHash(prov_, XSECCryptoHash::HASH_NONE), XSECCryptoException);
}

TEST_F(CapiHashTest, HmacSha2MatchesRfc4231) {
    for (const auto& c : kat::kRfc4231) {
        SCOPED_TRACE("RFC 4231 case " + std::to_string(c.number));
        Bytes key = FromHex(c.keyHex), data = FromHex(c.dataHex);
        EXPECT_EQ(c.sha256, Hmac(XSECCryptoHash::HASH_SHA256, key, data));
        EXPECT_EQ(c.sha384, Hmac(XSECCryptoHash::HASH_SHA384, key, data));
        EXPECT_EQ(c.sha512, Hmac(XSECCryptoHash::HASH_SHA512, key, data));
    }
}

TEST_F(CapiHashTest, HmacSha1MatchesRfc2202) {
    for (const auto& c : kat::kRfc2202) {
        SCOPED_TRACE("RFC 2202 case " + std::to_string(c.number));
        EXPECT_EQ(c.sha1, Hmac(XSECCryptoHash::HASH_SHA1, FromHex(c.keyHex), FromHex(c.dataHex)));
    }
}

TEST_F(CapiHashTest, HmacKeyBetweenTheSmallAndLargeBlockSizes) {
    Bytes key = FromHex(kat::kMidKeyHex);
    Bytes data = Text(kat::kMidKeyData);
    EXPECT_EQ(kat::kMidKeySha384, Hmac(XSECCryptoHash::HASH_SHA384, key, data));
    EXPECT_EQ(kat::kMidKeySha512, Hmac(XSECCryptoHash::HASH_SHA512, key, data));
}

TEST_F(CapiHashTest, HmacWithEmptyKey) {
    EXPECT_EQ(kat::kEmptyKeySha1, Hmac(XSECCryptoHash::HASH_SHA1, Bytes(), Text("abc")));
    EXPECT_EQ(kat::kEmptyKeySha256, Hmac(XSECCryptoHash::HASH_SHA256, Bytes(), Text("abc")));
}

TEST_F(CapiHashTest, HmacResetStartsOverWithTheSameKey) {
    const auto& c = kat::kRfc4231[1];
    Bytes key = FromHex(c.keyHex), data = FromHex(c.dataHex);
    WinCAPICryptoKeyHMAC k;
    k.setKey(key.data(), static_cast<unsigned int>(key.size()));
    WinCAPICryptoHashHMAC h(prov_, XSECCryptoHash::HASH_SHA256);
    h.setKey(&k);
    unsigned char junk[] = "junk";
    h.hash(junk, 4);
    h.reset();
    h.hash(data.data(), static_cast<unsigned int>(data.size()));
    unsigned char out[64];
    ASSERT_EQ(32u, h.finish(out, sizeof out));
    EXPECT_EQ(c.sha256, ToHex(out, 32));
    EXPECT_EQ(XSECCryptoHash::HASH_SHA256, h.getHashType());
}

TEST_F(CapiHashTest, HmacNeedsAnHmacKeyFirst) {
    WinCAPICryptoHashHMAC h(prov_, XSECCryptoHash::HASH_SHA1);
    unsigned char data[] = "abc";
    EXPECT_THROW(h.hash(data, 3), XSECCryptoException);
    EXPECT_THROW(h.setKey(nullptr), XSECCryptoException);
}

// One verification context of each GOST R 34.10-2012 provider type: 80 computes
// Streebog-256 for the library, 81 Streebog-512.
class CapiStreebogTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(CryptAcquireContextW(&prov256_, nullptr, nullptr, ids::kProvGost2012_256, CRYPT_VERIFYCONTEXT))
            << "provider type 80: " << GetLastError();
        ASSERT_TRUE(CryptAcquireContextW(&prov512_, nullptr, nullptr, ids::kProvGost2012_512, CRYPT_VERIFYCONTEXT))
            << "provider type 81: " << GetLastError();
    }
    void TearDown() override {
        if (prov256_ != 0) CryptReleaseContext(prov256_, 0);
        if (prov512_ != 0) CryptReleaseContext(prov512_, 0);
    }

    // The digest of data in the given pieces (sizes; what is left goes last), with some
    // other data hashed and thrown away by reset() first when `reset` says so.
    static std::string Digest(HCRYPTPROV prov, XSECCryptoHash::HashType type, const Bytes& data,
                              std::vector<size_t> pieces = {}, bool reset = false) {
        std::string hex;
        WithCryptoErrorsReported([&] {
            WinCAPICryptoHash h(prov, type);
            EXPECT_EQ(type, h.getHashType());
            if (reset) {
                unsigned char junk[] = "junk that reset() throws away";
                h.hash(junk, sizeof junk - 1);
                h.reset();
            }
            Bytes copy = data;
            size_t at = 0;
            pieces.push_back(copy.size());
            for (size_t piece : pieces) {
                const size_t n = std::min(piece, copy.size() - at);
                h.hash(copy.data() + at, static_cast<unsigned int>(n));
                at += n;
            }
            unsigned char out[128];
            const unsigned int n = h.finish(out, sizeof out);
            hex = ToHex(out, n);
        });
        return hex;
    }

    HCRYPTPROV prov256_ = 0;
    HCRYPTPROV prov512_ = 0;
};

TEST_F(CapiStreebogTest, DigestsMatchTheKnownAnswers) {
    for (const auto& c : kat::kStreebog) {
        SCOPED_TRACE(c.name);
        const Bytes m = Text(c.message);
        EXPECT_EQ(c.streebog256, Digest(prov256_, crypto::kHashStreebog256, m));
        EXPECT_EQ(c.streebog512, Digest(prov512_, crypto::kHashStreebog512, m));
        // The class adds nothing to what CryptoAPI computes itself.
        EXPECT_EQ(c.streebog256, ToHex(CapiDigest(prov256_, ids::kAlgGr3411_2012_256, m)));
        EXPECT_EQ(c.streebog512, ToHex(CapiDigest(prov512_, ids::kAlgGr3411_2012_512, m)));
    }
}

TEST_F(CapiStreebogTest, DataInPiecesAndResetGiveTheSameDigest) {
    const auto& m1 = kat::kStreebog[0];
    const Bytes m = Text(m1.message);
    EXPECT_EQ(m1.streebog256, Digest(prov256_, crypto::kHashStreebog256, m, {1, 31, 0, 30}, true));
    EXPECT_EQ(m1.streebog512, Digest(prov512_, crypto::kHashStreebog512, m, {62}, true));
    const auto& empty = kat::kStreebog[1];
    EXPECT_EQ(empty.streebog256, Digest(prov256_, crypto::kHashStreebog256, Bytes(), {}, true));
    EXPECT_EQ(empty.streebog512, Digest(prov512_, crypto::kHashStreebog512, Bytes(), {}, true));
}

TEST_F(CapiStreebogTest, FinishCutsToTheCallersBuffer) {
    WinCAPICryptoHash h(prov512_, crypto::kHashStreebog512);
    Bytes m = Text(kat::kStreebog[0].message);
    h.hash(m.data(), static_cast<unsigned int>(m.size()));
    unsigned char out[8];
    ASSERT_EQ(8u, h.finish(out, sizeof out));
    EXPECT_EQ(std::string(kat::kStreebog[0].streebog512).substr(0, 16), ToHex(out, 8));
}

// HMAC-Streebog through WinCAPICryptoHashHMAC on the type 80 / 81 contexts: RFC 7836's
// examples (A.1.1, A.1.2), and a 100-byte key (longer than the 64-byte block, so hashed
// first) with values from openssl's GOST engine. The bytes are CryptoAPI's, unreversed.
TEST_F(CapiStreebogTest, HmacMatchesRfc7836AndOpenssl) {
    const auto hmac = [](HCRYPTPROV prov, XSECCryptoHash::HashType type, const Bytes& key, const Bytes& data) {
        std::string hex;
        WithCryptoErrorsReported([&] {
            WinCAPICryptoKeyHMAC k(0);
            Bytes keyCopy = key;
            k.setKey(keyCopy.data(), static_cast<unsigned int>(keyCopy.size()));
            WinCAPICryptoHashHMAC h(prov, type);
            h.setKey(&k);
            Bytes copy = data;
            h.hash(copy.data(), static_cast<unsigned int>(copy.size()));
            unsigned char out[128];
            const unsigned int n = h.finish(out, sizeof out);
            hex = ToHex(out, n);
        });
        return hex;
    };
    const Bytes rfcKey = FromHex("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f");
    const Bytes rfcData = FromHex("0126bdb87800af214341456563780100");
    EXPECT_EQ("a1aa5f7de402d7b3d323f2991c8d4534013137010a83754fd0af6d7cd4922ed9",
              hmac(prov256_, crypto::kHashStreebog256, rfcKey, rfcData));
    EXPECT_EQ(
        "a59bab22ecae19c65fbde6e5f4e9f5d8549d31f037f9df9b905500e171923a773d5f1530f2ed7e964cb2eedc29e9ad2f3afe93b2814f"
        "79f5000ffc0366c251e6",
        hmac(prov512_, crypto::kHashStreebog512, rfcKey, rfcData));
    Bytes longKey;
    for (int i = 0; i < 100; ++i) longKey.push_back(static_cast<unsigned char>(i));
    EXPECT_EQ("5d92c53cab0231cc171325fb068f4b0f8aea2604df7fc970d9c38ce9dc70a9ac",
              hmac(prov256_, crypto::kHashStreebog256, longKey, Text("Hi There, streebog")));
    EXPECT_EQ(
        "6a03a4d22e6c9a77ddc80358f5a9d6f54a7087b93ae80a9f1921c6b9ecff0af45e4cba67a7d7d1e591b0e2f97fc26655066e2d283c99"
        "2d636e8d74c4e693a67a",
        hmac(prov512_, crypto::kHashStreebog512, longKey, Text("Hi There, streebog")));
}

TEST(CapiStreebogIds, AlgIdsAndBlockSizes) {
    EXPECT_EQ(8u, static_cast<unsigned>(crypto::kHashStreebog256));
    EXPECT_EQ(9u, static_cast<unsigned>(crypto::kHashStreebog512));
    EXPECT_EQ(static_cast<ALG_ID>(0x8021), crypto::HashAlgId(crypto::kHashStreebog256));
    EXPECT_EQ(static_cast<ALG_ID>(0x8022), crypto::HashAlgId(crypto::kHashStreebog512));
    EXPECT_EQ(static_cast<ALG_ID>(0x801E), crypto::HashAlgId(crypto::kHashGost3411));
    EXPECT_EQ(64u, crypto::HashBlockSize(crypto::kHashStreebog256));
    EXPECT_EQ(64u, crypto::HashBlockSize(crypto::kHashStreebog512));
    EXPECT_EQ(32u, crypto::HashBlockSize(crypto::kHashGost3411));
    EXPECT_TRUE(crypto::IsGostHash(crypto::kHashGost3411));
    EXPECT_TRUE(crypto::IsGostHash(crypto::kHashStreebog256));
    EXPECT_TRUE(crypto::IsGostHash(crypto::kHashStreebog512));
    EXPECT_FALSE(crypto::IsGostHash(XSECCryptoHash::HASH_SHA512));
    EXPECT_EQ(0u, crypto::HashAlgId(static_cast<XSECCryptoHash::HashType>(10)));
    EXPECT_EQ(0u, crypto::HashBlockSize(static_cast<XSECCryptoHash::HashType>(10)));
}

TEST(CapiKeyHmacTest, KeepsAndClonesTheSecret) {
    unsigned char secret[] = {1, 2, 3, 0, 5};
    WinCAPICryptoKeyHMAC k(0);
    EXPECT_EQ(XSECCryptoKey::KEY_HMAC, k.getKeyType());
    EXPECT_STREQ(L"WinCAPI", k.getProviderName());
    k.setKey(secret, sizeof secret);
    std::unique_ptr<XSECCryptoKey> copy(k.clone());
    secret[0] = 9;
    safeBuffer out;
    ASSERT_EQ(5u, static_cast<XSECCryptoKeyHMAC*>(copy.get())->getKey(out));
    EXPECT_EQ("0102030005", ToHex(out.rawBuffer(), 5));
    ASSERT_EQ(5u, k.getKey(out));
    EXPECT_EQ("0102030005", ToHex(out.rawBuffer(), 5));
}

}  // namespace
