// WinCAPICryptoProvider: what it says it supports, the objects it hands out, and X.509
// certificates parsed through WinCAPICryptoX509.
#include "CryptoTestSupport.hpp"
#include "FixedVectors.hpp"
#include "KnownAnswers.hpp"

#include "crypto/CapiSupport.hpp"
#include "crypto/WinCAPICryptoKeyDSA.hpp"
#include "crypto/WinCAPICryptoKeyRSA.hpp"
#include "crypto/WinCAPICryptoProvider.hpp"
#include "crypto/WinCAPICryptoX509.hpp"

#include <xsec/enc/XSECCryptoException.hpp>

#include <fstream>
#include <iterator>
#include <cstdlib>
#include <memory>

using namespace testing_crypto;

namespace {

// The certificate of the GOST R 34.10-2001 document shared/vectors/gost-csp-made-Verify2001.xml.
const char kGostCertB64[] =
    "MIIBdTCCASSgAwIBAgIQEqJolTJ9uptHeW8F5+KVNDAIBgYqhQMCAgMwGDEWMBQGA1UEAwwNR29zdDIwMDFfMjAxOTAgFw0x"
    "OTA3MDExMjMwNTdaGA8yMTAwMDMyMDA3MzEwMFowGDEWMBQGA1UEAwwNR29zdDIwMDFfMjAxOTBjMBwGBiqFAwICEzASBgcq"
    "hQMCAiQABgcqhQMCAh4BA0MABEAoaFZtEY1XDGRRdPBuGZkufp6ZNDrG49Tav1eCRZg/2QW7tkBdBXFSAdx+ZipboqgeJtaM"
    "hVujj51KkwpR6MnBo0YwRDAOBgNVHQ8BAf8EBAMCBeAwEwYDVR0lBAwwCgYIKwYBBQUHAwIwHQYDVR0OBBYEFJa6+pSxmsk9"
    "V6rDs6GsYbj/lFKgMAgGBiqFAwICAwNBAAwv9awAZzVilC7m29cP3ivFy8j4x31CsWfsyc3J/ZdJEEYZyVMHUvR+ym9/B1OD"
    "s/AF8tQ0nQgVQU5dOCHq4EQ=";

// Whether this run's prefix has a GOST provider registered: ctest says so (the entry in
// the main prefix registers the software provider first; another runs in a prefix without
// one), so that each case is checked for certain rather than skipped.
bool ExpectGost() {
    const char* expect = std::getenv("TALVORAN_EXPECT_GOST");
    if (expect == nullptr) ADD_FAILURE() << "TALVORAN_EXPECT_GOST is not set by the test run";
    return expect != nullptr && expect[0] == '1';
}

// A certificate of xmlsec1's test tree (path below it), as Base64.
std::string CertBase64(const char* file) {
    std::ifstream in(std::string(TALVORAN_XMLSEC1_TESTS) + "/" + file, std::ios::binary);
    EXPECT_TRUE(in.good()) << file;
    Bytes der((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    return crypto::EncodeBase64(der.data(), der.size());
}

std::unique_ptr<XSECCryptoX509> LoadCert(const WinCAPICryptoProvider& p, const std::string& b64) {
    std::unique_ptr<XSECCryptoX509> cert(p.X509());
    cert->loadX509Base64Bin(b64.c_str(), static_cast<unsigned int>(b64.size()));
    return cert;
}

TEST(CapiProviderTest, HashSupportFollowsTheProviders) {
    WinCAPICryptoProvider p;
    EXPECT_TRUE(p.algorithmSupported(XSECCryptoHash::HASH_SHA1));
    EXPECT_TRUE(p.algorithmSupported(XSECCryptoHash::HASH_SHA256));
    EXPECT_TRUE(p.algorithmSupported(XSECCryptoHash::HASH_SHA384));
    EXPECT_TRUE(p.algorithmSupported(XSECCryptoHash::HASH_SHA512));
    EXPECT_TRUE(p.algorithmSupported(XSECCryptoHash::HASH_MD5));
    EXPECT_FALSE(p.algorithmSupported(XSECCryptoHash::HASH_SHA224));
    EXPECT_FALSE(p.algorithmSupported(XSECCryptoHash::HASH_NONE));
    EXPECT_EQ(ExpectGost(), p.algorithmSupported(crypto::kHashGost3411));
    EXPECT_EQ(ExpectGost(), p.algorithmSupported(crypto::kHashStreebog256));
    EXPECT_EQ(ExpectGost(), p.algorithmSupported(crypto::kHashStreebog512));
    EXPECT_FALSE(p.algorithmSupported(static_cast<XSECCryptoHash::HashType>(10)));
    EXPECT_FALSE(p.algorithmSupported(XSECCryptoSymmetricKey::KEY_AES_128));
}

TEST(CapiProviderTest, SignatureFamiliesFollowTheProviders) {
    WinCAPICryptoProvider p;
    const crypto::SignatureFamilySupport& families = p;
    EXPECT_TRUE(families.signatureFamilySupported(1));
    EXPECT_TRUE(families.signatureFamilySupported(2));
    EXPECT_TRUE(families.signatureFamilySupported(3));
    EXPECT_EQ(ExpectGost(), families.signatureFamilySupported(5));
    EXPECT_FALSE(families.signatureFamilySupported(0));
    EXPECT_FALSE(families.signatureFamilySupported(4));
    EXPECT_FALSE(families.signatureFamilySupported(6));
}

TEST(CapiProviderTest, GostSupportFollowsTheRegisteredProviders) {
    WinCAPICryptoProvider p;
    if (!ExpectGost()) {
        EXPECT_FALSE(p.algorithmSupported(crypto::kHashGost3411));
        EXPECT_FALSE(p.signatureFamilySupported(5));
        EXPECT_EQ(0u, p.getProviderGOST());
        EXPECT_THROW(std::unique_ptr<XSECCryptoHash>(p.hash(crypto::kHashGost3411)), XSECCryptoException);
        return;
    }
    EXPECT_TRUE(p.algorithmSupported(crypto::kHashGost3411));
    EXPECT_TRUE(p.signatureFamilySupported(5));
    EXPECT_NE(0u, p.getProviderGOST());
    std::unique_ptr<XSECCryptoHash> h(p.hash(crypto::kHashGost3411));
    unsigned char abc[] = "abc";
    h->hash(abc, 3);
    unsigned char out[64];
    ASSERT_EQ(32u, h->finish(out, sizeof out));
    // GOST R 34.11-94 with the CryptoPro parameter set, in the byte order XML uses.
    EXPECT_EQ("b285056dbf18d7392d7677369524dd14747459ed8143997e163b2986f92fd42c", ToHex(out, 32));
}

// Streebog through the verification contexts of types 80 (256) and 81 (512), which the
// software GOST provider serves in the test prefix; none in a prefix without it.
TEST(CapiProviderTest, StreebogSupportFollowsTheRegisteredProviders) {
    WinCAPICryptoProvider p;
    if (!ExpectGost()) {
        EXPECT_EQ(0u, p.getProviderGOST2012_256());
        EXPECT_EQ(0u, p.getProviderGOST2012_512());
        for (XSECCryptoHash::HashType type : {crypto::kHashStreebog256, crypto::kHashStreebog512}) {
            EXPECT_FALSE(p.algorithmSupported(type));
            EXPECT_THROW(std::unique_ptr<XSECCryptoHash>(p.hash(type)), XSECCryptoException);
        }
        return;
    }
    ASSERT_NE(0u, p.getProviderGOST2012_256());
    ASSERT_NE(0u, p.getProviderGOST2012_512());
    DWORD type = 0, size = sizeof type;
    ASSERT_TRUE(CryptGetProvParam(p.getProviderGOST2012_256(), PP_PROVTYPE, reinterpret_cast<BYTE*>(&type), &size, 0));
    EXPECT_EQ(80u, type);
    size = sizeof type;
    ASSERT_TRUE(CryptGetProvParam(p.getProviderGOST2012_512(), PP_PROVTYPE, reinterpret_cast<BYTE*>(&type), &size, 0));
    EXPECT_EQ(81u, type);
    const auto& m1 = kat::kStreebog[0];
    Bytes m = Text(m1.message);
    unsigned char out[64];
    WithCryptoErrorsReported([&] {
        std::unique_ptr<XSECCryptoHash> h256(p.hash(crypto::kHashStreebog256));
        EXPECT_EQ(crypto::kHashStreebog256, h256->getHashType());
        h256->hash(m.data(), static_cast<unsigned int>(m.size()));
        ASSERT_EQ(32u, h256->finish(out, p.getMaxHashSize()));
        EXPECT_EQ(m1.streebog256, ToHex(out, 32));
        std::unique_ptr<XSECCryptoHash> h512(p.hash(crypto::kHashStreebog512));
        EXPECT_EQ(crypto::kHashStreebog512, h512->getHashType());
        h512->hash(m.data(), static_cast<unsigned int>(m.size()));
        ASSERT_EQ(64u, h512->finish(out, p.getMaxHashSize()));
        EXPECT_EQ(m1.streebog512, ToHex(out, 64));
    });
}

TEST(CapiProviderTest, NamesAndSizes) {
    WinCAPICryptoProvider p;
    EXPECT_STREQ(L"WinCAPI", p.getProviderName());
    EXPECT_EQ(64u, p.getMaxHashSize());
    EXPECT_NE(0u, p.getProviderRSA());
    EXPECT_NE(0u, p.getProviderDSS());
}

TEST(CapiProviderTest, HashesAndHmacsItHandsOut) {
    WinCAPICryptoProvider p;
    std::unique_ptr<XSECCryptoHash> h(p.hash(XSECCryptoHash::HASH_SHA384));
    unsigned char abc[] = "abc";
    h->hash(abc, 3);
    unsigned char out[64];
    ASSERT_EQ(48u, h->finish(out, p.getMaxHashSize()));
    EXPECT_EQ(kat::kDigests[0].sha384, ToHex(out, 48));

    const auto& c = kat::kRfc4231[1];
    Bytes key = FromHex(c.keyHex), data = FromHex(c.dataHex);
    std::unique_ptr<XSECCryptoKeyHMAC> k(p.keyHMAC());
    k->setKey(key.data(), static_cast<unsigned int>(key.size()));
    std::unique_ptr<XSECCryptoHash> mac(p.HMAC(XSECCryptoHash::HASH_SHA512));
    mac->setKey(k.get());
    mac->hash(data.data(), static_cast<unsigned int>(data.size()));
    ASSERT_EQ(64u, mac->finish(out, sizeof out));
    EXPECT_EQ(c.sha512, ToHex(out, 64));

    EXPECT_THROW(std::unique_ptr<XSECCryptoHash>(p.hash(XSECCryptoHash::HASH_SHA224)), XSECCryptoException);
}

TEST(CapiProviderTest, KeysItHandsOut) {
    WinCAPICryptoProvider p;
    std::unique_ptr<XSECCryptoKeyRSA> rsa(p.keyRSA());
    ASSERT_NE(nullptr, dynamic_cast<WinCAPICryptoKeyRSA*>(rsa.get()));
    EXPECT_EQ(XSECCryptoKey::KEY_NONE, rsa->getKeyType());
    rsa->loadPublicModulusBase64BigNums(vectors::kRsaModulusB64, sizeof vectors::kRsaModulusB64 - 1);
    rsa->loadPublicExponentBase64BigNums(vectors::kRsaExponentB64, sizeof vectors::kRsaExponentB64 - 1);
    Bytes hash = FromHex(kat::kDigests[0].sha256);
    EXPECT_TRUE(rsa->verifySHA1PKCS1Base64Signature(hash.data(), 32, vectors::kRsaSigSHA256B64,
                                                    sizeof vectors::kRsaSigSHA256B64 - 1, XSECCryptoHash::HASH_SHA256));

    std::unique_ptr<XSECCryptoKeyDSA> dsa(p.keyDSA());
    ASSERT_NE(nullptr, dynamic_cast<WinCAPICryptoKeyDSA*>(dsa.get()));
    EXPECT_EQ(XSECCryptoKey::KEY_NONE, dsa->getKeyType());

    EXPECT_THROW(p.keyEC(), XSECCryptoException);
    EXPECT_THROW(p.keyDER("MAA=", 4, true), XSECCryptoException);
    EXPECT_THROW(p.keySymmetric(XSECCryptoSymmetricKey::KEY_AES_128), XSECCryptoException);
}

TEST(CapiProviderTest, RandomBytes) {
    WinCAPICryptoProvider p;
    unsigned char a[32] = {}, b[32] = {};
    EXPECT_EQ(32u, p.getRandom(a, sizeof a));
    EXPECT_EQ(32u, p.getRandom(b, sizeof b));
    EXPECT_NE(ToHex(a, 32), ToHex(b, 32));
}

TEST(CapiProviderTest, Base64IsXsCrypt) {
    WinCAPICryptoProvider p;
    std::unique_ptr<XSECCryptoBase64> b64(p.base64());
    b64->decodeInit();
    unsigned char out[16];
    unsigned int n = b64->decode(reinterpret_cast<const unsigned char*>("YW\nJj"), 5, out, sizeof out);
    n += b64->decodeFinish(out + n, sizeof out - n);
    EXPECT_EQ("616263", ToHex(out, n));
}

TEST(CapiX509Test, RsaCertificateGivesItsKey) {
    WithCryptoErrorsReported([&] {
        WinCAPICryptoProvider p;
        std::string b64 = CertBase64("phaos-xmldsig-three/certs/rsa-cert.der");
        auto cert = LoadCert(p, b64);
        EXPECT_STREQ(L"WinCAPI", cert->getProviderName());
        EXPECT_EQ(XSECCryptoKey::KEY_RSA_PUBLIC, cert->getPublicKeyType());
        EXPECT_EQ(b64, std::string(reinterpret_cast<const char*>(cert->getDEREncodingSB().rawBuffer())));
        std::unique_ptr<XSECCryptoKey> key(cert->clonePublicKey());
        auto* rsa = dynamic_cast<WinCAPICryptoKeyRSA*>(key.get());
        ASSERT_NE(nullptr, rsa);
        EXPECT_EQ(XSECCryptoKey::KEY_RSA_PUBLIC, rsa->getKeyType());
        char buf[1000];
        rsa->getModulusBase64BigNums(buf, sizeof buf);
        EXPECT_STREQ(vectors::kPhaosRsaCertModulusB64, buf);
        rsa->getExponentBase64BigNums(buf, sizeof buf);
        EXPECT_STREQ(vectors::kPhaosRsaCertExponentB64, buf);
    });
}

// The DSA key of a certificate (Base64) with its Y and Q read back through CryptoAPI;
// a check on the key when the certificate parsed.
void CheckDsaCertificateKey(const std::string& certB64, const char* y, const char* q,
                            void (*check)(WinCAPICryptoKeyDSA&)) {
    WithCryptoErrorsReported([&] {
        WinCAPICryptoProvider p;
        auto cert = LoadCert(p, certB64);
        EXPECT_EQ(XSECCryptoKey::KEY_DSA_PUBLIC, cert->getPublicKeyType());
        std::unique_ptr<XSECCryptoKey> key(cert->clonePublicKey());
        auto* dsa = dynamic_cast<WinCAPICryptoKeyDSA*>(key.get());
        ASSERT_NE(nullptr, dsa);
        EXPECT_EQ(XSECCryptoKey::KEY_DSA_PUBLIC, dsa->getKeyType());
        char buf[1000];
        dsa->getYBase64BigNums(buf, sizeof buf);
        EXPECT_STREQ(y, buf);
        dsa->getQBase64BigNums(buf, sizeof buf);
        EXPECT_STREQ(q, buf);
        if (check != nullptr) check(*dsa);
    });
}

TEST(CapiX509Test, DsaCertificateGivesItsKey) {
    CheckDsaCertificateKey(vectors::kDsaCertB64, vectors::kDsaYB64, vectors::kDsaQB64, [](WinCAPICryptoKeyDSA& dsa) {
        std::string sig = vectors::kDsaSigSHA1B64;
        Bytes hash = FromHex(vectors::kDsaMessageSha1Hex);
        EXPECT_TRUE(dsa.verifyBase64Signature(hash.data(), 20, &sig[0], static_cast<unsigned int>(sig.size())));
    });
}

TEST(CapiX509Test, XmlsecDsaCertificateGivesItsKey) {
    CheckDsaCertificateKey(CertBase64("phaos-xmldsig-three/certs/dsa-cert.der"), vectors::kPhaosDsaCertYB64,
                           vectors::kPhaosDsaCertQB64, nullptr);
}

TEST(CapiX509Test, GostCertificateLoadsWithoutAKeyObject) {
    WinCAPICryptoProvider p;
    auto cert = LoadCert(p, kGostCertB64);
    EXPECT_EQ(XSECCryptoKey::KEY_NONE, cert->getPublicKeyType());
    EXPECT_EQ(nullptr, std::unique_ptr<XSECCryptoKey>(cert->clonePublicKey()));
    auto* capi = dynamic_cast<WinCAPICryptoX509*>(cert.get());
    ASSERT_NE(nullptr, capi);
    EXPECT_STREQ("1.2.643.2.2.19", capi->getCertContext()->pCertInfo->SubjectPublicKeyInfo.Algorithm.pszObjId);
}

TEST(CapiX509Test, GarbageCertificateThrows) {
    WinCAPICryptoProvider p;
    for (const char* text : {"bm90IGEgY2VydGlmaWNhdGU=", "", "MIIBdTCCASSgAwIBAgIQ"}) {
        SCOPED_TRACE(text);
        std::unique_ptr<XSECCryptoX509> cert(p.X509());
        try {
            cert->loadX509Base64Bin(text, static_cast<unsigned int>(std::strlen(text)));
            ADD_FAILURE() << "accepted";
        } catch (const XSECCryptoException& e) {
            EXPECT_EQ(XSECCryptoException::X509Error, e.getType()) << e.getMsg();
        }
        EXPECT_THROW(cert->getPublicKeyType(), XSECCryptoException);
    }
}

}  // namespace
