// Message digests through WinCAPICryptoHash and HMACs through WinCAPICryptoHashHMAC with
// WinCAPICryptoKeyHMAC, against published known answers.
#include "CryptoTestSupport.hpp"
#include "KnownAnswers.hpp"

#include "crypto/WinCAPICryptoHash.hpp"
#include "crypto/WinCAPICryptoHashHMAC.hpp"
#include "crypto/WinCAPICryptoKeyHMAC.hpp"

#include <xsec/enc/XSECCryptoException.hpp>

#include <memory>

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
