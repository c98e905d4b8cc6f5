// WinCAPICryptoKeyRSA: container keys sign, exported public keys verify after a load and
// import, and signatures agree byte for byte with OpenSSL's.
#include "CryptoTestSupport.hpp"
#include "FixedVectors.hpp"
#include "KnownAnswers.hpp"

#include "crypto/WinCAPICryptoKeyRSA.hpp"

#include <xsec/enc/XSECCryptoException.hpp>

#include <cstring>
#include <memory>

using namespace testing_crypto;

namespace {

struct HashCase {
    XSECCryptoHash::HashType type;
    Bytes hash;  // of "abc"
};

std::vector<HashCase> AbcHashes() {
    const auto& abc = kat::kDigests[0];
    return {{XSECCryptoHash::HASH_SHA1, FromHex(abc.sha1)},
            {XSECCryptoHash::HASH_SHA256, FromHex(abc.sha256)},
            {XSECCryptoHash::HASH_SHA384, FromHex(abc.sha384)},
            {XSECCryptoHash::HASH_SHA512, FromHex(abc.sha512)}};
}

std::string Sign(const WinCAPICryptoKeyRSA& key, const HashCase& c) {
    Bytes hash = c.hash;
    char buf[1024];
    unsigned int n =
        key.signSHA1PKCS1Base64Signature(hash.data(), static_cast<unsigned int>(hash.size()), buf, sizeof buf, c.type);
    EXPECT_EQ(std::strlen(buf), n);
    return std::string(buf, n);
}

bool Verify(const WinCAPICryptoKeyRSA& key, const Bytes& hash, const std::string& sig, XSECCryptoHash::HashType type) {
    return key.verifySHA1PKCS1Base64Signature(hash.data(), static_cast<unsigned int>(hash.size()), sig.c_str(),
                                              static_cast<unsigned int>(sig.size()), type);
}

class CapiRsaTest : public VerifyContextTest {
protected:
    CapiRsaTest() : VerifyContextTest(PROV_RSA_AES) {}
    // A public key made from the XML-form numbers.
    std::unique_ptr<WinCAPICryptoKeyRSA> Loaded(const std::string& modulus, const std::string& exponent) {
        auto key = std::make_unique<WinCAPICryptoKeyRSA>(prov_);
        EXPECT_EQ(XSECCryptoKey::KEY_NONE, key->getKeyType());
        key->loadPublicExponentBase64BigNums(exponent.c_str(), static_cast<unsigned int>(exponent.size()));
        key->loadPublicModulusBase64BigNums(modulus.c_str(), static_cast<unsigned int>(modulus.size()));
        EXPECT_NE(0u, key->importKey());
        return key;
    }
};

TEST_F(CapiRsaTest, ContainerKeySignsAndExportedKeyVerifies) {
    TempContainer container(L"talvoran-crypto-test-rsa", PROV_RSA_AES);
    ASSERT_TRUE(container.ok()) << container.error();
    ASSERT_EQ(0u, container.GenerateSignatureKey());

    WinCAPICryptoKeyRSA signer(container.prov(), AT_SIGNATURE, true);
    EXPECT_EQ(XSECCryptoKey::KEY_RSA_PAIR, signer.getKeyType());
    EXPECT_EQ(128u, signer.getLength());
    EXPECT_STREQ(L"WinCAPI", signer.getProviderName());

    char modulus[1000], exponent[1000];
    unsigned int modLen = signer.getModulusBase64BigNums(modulus, sizeof modulus);
    unsigned int expLen = signer.getExponentBase64BigNums(exponent, sizeof exponent);
    EXPECT_EQ(172u, modLen);  // 128 bytes, top bit set by key generation
    EXPECT_STREQ("AQAB", exponent);
    EXPECT_EQ(4u, expLen);

    auto verifier = Loaded(modulus, exponent);
    EXPECT_EQ(XSECCryptoKey::KEY_RSA_PUBLIC, verifier->getKeyType());
    for (const HashCase& c : AbcHashes()) {
        SCOPED_TRACE(static_cast<int>(c.type));
        std::string sig = Sign(signer, c);
        EXPECT_EQ(172u, sig.size());
        EXPECT_TRUE(Verify(*verifier, c.hash, sig, c.type));
        EXPECT_TRUE(Verify(signer, c.hash, sig, c.type));
        Bytes tampered = c.hash;
        tampered[0] ^= 1;
        EXPECT_FALSE(Verify(*verifier, tampered, sig, c.type));
    }
    // The numbers read back from the imported key are those loaded.
    char again[1000];
    verifier->getModulusBase64BigNums(again, sizeof again);
    EXPECT_STREQ(modulus, again);
}

TEST_F(CapiRsaTest, DuplicatedHandleVerifiesAndOutlivesTheOriginal) {
    auto loaded = Loaded(vectors::kRsaModulusB64, vectors::kRsaExponentB64);
    HCRYPTKEY original = 0;
    ASSERT_TRUE(CryptDuplicateKey(loaded->getKeyHandle(), nullptr, 0, &original));
    WinCAPICryptoKeyRSA byHandle(prov_, original);
    CryptDestroyKey(original);
    loaded.reset();
    EXPECT_EQ(XSECCryptoKey::KEY_RSA_PUBLIC, byHandle.getKeyType());
    EXPECT_TRUE(
        Verify(byHandle, FromHex(kat::kDigests[0].sha256), vectors::kRsaSigSHA256B64, XSECCryptoHash::HASH_SHA256));
    std::unique_ptr<XSECCryptoKey> copy(byHandle.clone());
    EXPECT_TRUE(Verify(*static_cast<WinCAPICryptoKeyRSA*>(copy.get()), FromHex(kat::kDigests[0].sha1),
                       vectors::kRsaSigSHA1B64, XSECCryptoHash::HASH_SHA1));
}

TEST_F(CapiRsaTest, VerifiesOpenSslSignatures) {
    auto key = Loaded(vectors::kRsaModulusB64, vectors::kRsaExponentB64);
    EXPECT_EQ(128u, key->getLength());
    const auto& abc = kat::kDigests[0];
    EXPECT_TRUE(Verify(*key, FromHex(abc.sha1), vectors::kRsaSigSHA1B64, XSECCryptoHash::HASH_SHA1));
    EXPECT_TRUE(Verify(*key, FromHex(abc.sha256), vectors::kRsaSigSHA256B64, XSECCryptoHash::HASH_SHA256));
    EXPECT_TRUE(Verify(*key, FromHex(abc.sha512), vectors::kRsaSigSHA512B64, XSECCryptoHash::HASH_SHA512));
    // Another message, another signature, a changed signature: all refused.
    const auto& empty = kat::kDigests[1];
    EXPECT_FALSE(Verify(*key, FromHex(empty.sha256), vectors::kRsaSigSHA256B64, XSECCryptoHash::HASH_SHA256));
    EXPECT_FALSE(Verify(*key, FromHex(abc.sha256), vectors::kRsaSigSHA512B64, XSECCryptoHash::HASH_SHA256));
    std::string changed = vectors::kRsaSigSHA1B64;
    changed[10] = changed[10] == 'A' ? 'B' : 'A';
    EXPECT_FALSE(Verify(*key, FromHex(abc.sha1), changed, XSECCryptoHash::HASH_SHA1));
}

TEST_F(CapiRsaTest, VerifiesSha2WithAKeyOfAFullRsaProvider) {
    // PROV_RSA_FULL may lack SHA-2 (Microsoft's does); the check then moves to PROV_RSA_AES.
    HCRYPTPROV full = 0;
    ASSERT_TRUE(CryptAcquireContextW(&full, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT)) << GetLastError();
    {
        WinCAPICryptoKeyRSA key(full);
        key.loadPublicModulusBase64BigNums(vectors::kRsaModulusB64, sizeof vectors::kRsaModulusB64 - 1);
        key.loadPublicExponentBase64BigNums(vectors::kRsaExponentB64, sizeof vectors::kRsaExponentB64 - 1);
        const auto& abc = kat::kDigests[0];
        EXPECT_TRUE(Verify(key, FromHex(abc.sha512), vectors::kRsaSigSHA512B64, XSECCryptoHash::HASH_SHA512));
        EXPECT_FALSE(
            Verify(key, FromHex(kat::kDigests[2].sha512), vectors::kRsaSigSHA512B64, XSECCryptoHash::HASH_SHA512));
    }
    CryptReleaseContext(full, 0);
}

TEST_F(CapiRsaTest, SignsExactlyAsOpenSsl) {
    TempContainer container(L"talvoran-crypto-test-rsa-fixed", PROV_RSA_AES);
    ASSERT_TRUE(container.ok()) << container.error();
    Bytes blob = FromHex(vectors::kRsaPrivateKeyBlobHex);
    HCRYPTKEY imported = 0;
    ASSERT_TRUE(CryptImportKey(container.prov(), blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &imported))
        << GetLastError();
    CryptDestroyKey(imported);

    WinCAPICryptoKeyRSA signer(container.prov(), AT_SIGNATURE, true);
    const auto& abc = kat::kDigests[0];
    EXPECT_EQ(vectors::kRsaSigSHA1B64, Sign(signer, {XSECCryptoHash::HASH_SHA1, FromHex(abc.sha1)}));
    EXPECT_EQ(vectors::kRsaSigSHA256B64, Sign(signer, {XSECCryptoHash::HASH_SHA256, FromHex(abc.sha256)}));
    EXPECT_EQ(vectors::kRsaSigSHA512B64, Sign(signer, {XSECCryptoHash::HASH_SHA512, FromHex(abc.sha512)}));

    char modulus[1000], exponent[1000];
    signer.getModulusBase64BigNums(modulus, sizeof modulus);
    signer.getExponentBase64BigNums(exponent, sizeof exponent);
    EXPECT_STREQ(vectors::kRsaModulusB64, modulus);
    EXPECT_STREQ(vectors::kRsaExponentB64, exponent);
}

TEST_F(CapiRsaTest, MisuseThrowsCryptoExceptions) {
    WinCAPICryptoKeyRSA empty(prov_);
    Bytes hash = FromHex(kat::kDigests[0].sha1);
    EXPECT_THROW(Verify(empty, hash, vectors::kRsaSigSHA1B64, XSECCryptoHash::HASH_SHA1), XSECCryptoException);
    EXPECT_THROW(empty.importKey(), XSECCryptoException);

    auto key = Loaded(vectors::kRsaModulusB64, vectors::kRsaExponentB64);
    char buf[1000];
    EXPECT_THROW(key->signSHA1PKCS1Base64Signature(hash.data(), 20, buf, sizeof buf, XSECCryptoHash::HASH_SHA1),
                 XSECCryptoException);
    // A signature shorter than the modulus, and a hash of the wrong length.
    EXPECT_THROW(Verify(*key, hash, "AAEC", XSECCryptoHash::HASH_SHA1), XSECCryptoException);
    EXPECT_THROW(Verify(*key, hash, vectors::kRsaSigSHA256B64, XSECCryptoHash::HASH_SHA256), XSECCryptoException);
    // An output buffer too small for the Base64 modulus.
    EXPECT_THROW(key->getModulusBase64BigNums(buf, 100), XSECCryptoException);
}

TEST_F(CapiRsaTest, MissingContainerKeyReportsTheCapiError) {
    TempContainer container(L"talvoran-crypto-test-rsa-nokey", PROV_RSA_AES);
    ASSERT_TRUE(container.ok()) << container.error();
    WinCAPICryptoKeyRSA signer(container.prov(), AT_KEYEXCHANGE, true);
    try {
        signer.getLength();
        ADD_FAILURE() << "a container without keys gave a length";
    } catch (const XSECCryptoException& e) {
        EXPECT_NE(nullptr, std::strstr(e.getMsg(), "error 0x8009000d")) << e.getMsg();  // NTE_NO_KEY
        EXPECT_EQ(XSECCryptoException::RSAError, e.getType());
    }
}

}  // namespace
