// RSA and DSA key values with the providers a default prefix has (types 24, 1 and 3).
#include <gtest/gtest.h>

#include "KeyValues.hpp"

namespace keytest {
namespace {

const std::string kMessage = "a message signed with the private key";

// The caller owns what a successful import hands out and gives it back itself.
void ReleaseOwned(ImportResult& r) {
    EXPECT_TRUE(CryptDestroyKey(r.key)) << std::hex << GetLastError();
    EXPECT_TRUE(CryptReleaseContext(r.prov, 0)) << std::hex << GetLastError();
    r.key = 0;
    r.prov = 0;
}

// Wine's dssenh (8.0) accepts a good DSS signature whatever the hashed message is, so for
// DSA the other-message check is left out; a tampered signature and another key's signature
// are refused by both providers.
enum class MessageBound { Yes, NotUnderWineDss };

void ExpectImportedKeyVerifies(ImportResult& r, const SigningKey& signer, const SigningKey& otherSigner,
                               MessageBound messageBound) {
    ASSERT_EQ(S_OK, r.hr);
    EXPECT_TRUE(r.lines.empty()) << r.lines.front();
    ASSERT_NE(0u, r.prov);
    ASSERT_NE(0u, r.key);
    ASSERT_NE(kUntouched, r.prov);
    ASSERT_NE(kUntouched, r.key);
    Bytes signature = signer.Sign(kMessage);
    EXPECT_EQ(0u, VerifyError(r.prov, r.key, signer.hashAlg, kMessage, signature));
    signature[signature.size() / 2] ^= 0x01;
    EXPECT_NE(0u, VerifyError(r.prov, r.key, signer.hashAlg, kMessage, signature));
    EXPECT_NE(0u, VerifyError(r.prov, r.key, signer.hashAlg, kMessage, otherSigner.Sign(kMessage)));
    if (messageBound == MessageBound::Yes) {
        EXPECT_NE(0u, VerifyError(r.prov, r.key, signer.hashAlg, kMessage + ".", signer.Sign(kMessage)));
    }
    ReleaseOwned(r);
}

// A refused key value: the code, one trace line, and no handle handed out.
void ExpectRefused(const CRYPT_XML_KEY_VALUE& value, HRESULT expected, const char* routine, const char* text) {
    const ImportResult r = Import(value);
    EXPECT_EQ(expected, r.hr);
    ASSERT_EQ(1u, r.lines.size());
    EXPECT_EQ(RoutineLine(routine, text), r.lines[0]);
    EXPECT_EQ(RoutineLine(routine, text), dll().LastMessage());
    EXPECT_EQ(kUntouched, r.prov);
    EXPECT_EQ(kUntouched, r.key);
}

TEST(RsaImport, GeneratedKeyImportsAndVerifiesItsSignatures) {
    const SigningKey signer(PROV_RSA_AES, AT_SIGNATURE, 2048u << 16, CALG_SHA_256);
    const RsaNumbers numbers = RsaFromBlob(signer.PublicBlob());
    ASSERT_EQ(256u, numbers.modulus.size());
    ASSERT_EQ(Bytes({0x01, 0x00, 0x01}), numbers.exponent);
    ImportResult r = Import(RsaValue(numbers));
    ExpectImportedKeyVerifies(r, signer, SigningKey(PROV_RSA_AES, AT_SIGNATURE, 2048u << 16, CALG_SHA_256),
                              MessageBound::Yes);
}

// A modulus with a leading zero octet, as some writers emit it, is the same number.
TEST(RsaImport, LeadingZeroOctetInTheModulus) {
    const SigningKey signer(PROV_RSA_AES, AT_SIGNATURE, 1024u << 16, CALG_SHA1);
    RsaNumbers numbers = RsaFromBlob(signer.PublicBlob());
    numbers.modulus.insert(numbers.modulus.begin(), 0x00);
    ImportResult r = Import(RsaValue(numbers));
    ExpectImportedKeyVerifies(r, signer, SigningKey(PROV_RSA_AES, AT_SIGNATURE, 1024u << 16, CALG_SHA1),
                              MessageBound::Yes);
}

TEST(RsaImport, EmptyComponentsAreInvalidArguments) {
    const RsaNumbers numbers = RsaFromBlob(SigningKey(PROV_RSA_AES, AT_SIGNATURE, 1024u << 16, CALG_SHA1).PublicBlob());
    for (CRYPT_XML_DATA_BLOB CRYPT_XML_KEY_RSA_KEY_VALUE::*part :
         {&CRYPT_XML_KEY_RSA_KEY_VALUE::Exponent, &CRYPT_XML_KEY_RSA_KEY_VALUE::Modulus}) {
        CRYPT_XML_KEY_VALUE zeroLength = RsaValue(numbers);
        (zeroLength.RSAKeyValue.*part).cbData = 0;
        ExpectRefused(zeroLength, kInvalidArg, "ImportRsaKey", "keyValue.RSAKeyValue.");
        CRYPT_XML_KEY_VALUE nullData = RsaValue(numbers);
        (nullData.RSAKeyValue.*part).pbData = nullptr;
        ExpectRefused(nullData, kInvalidArg, "ImportRsaKey", "keyValue.RSAKeyValue.");
    }
}

// The length alone decides; the bytes behind the pointer are never read.
TEST(RsaImport, ComponentsBeyondTheBlobMaximumAreTooLarge) {
    const RsaNumbers numbers = RsaFromBlob(SigningKey(PROV_RSA_AES, AT_SIGNATURE, 1024u << 16, CALG_SHA1).PublicBlob());
    for (CRYPT_XML_DATA_BLOB CRYPT_XML_KEY_RSA_KEY_VALUE::*part :
         {&CRYPT_XML_KEY_RSA_KEY_VALUE::Exponent, &CRYPT_XML_KEY_RSA_KEY_VALUE::Modulus}) {
        CRYPT_XML_KEY_VALUE value = RsaValue(numbers);
        (value.RSAKeyValue.*part).cbData = kBeyondBlobMax;
        ExpectRefused(value, kLarge, "ImportRsaKey", "keyValue.RSAKeyValue. CRYPT_XML_BLOB_MAX exceeded.");
    }
}

TEST(DsaImport, GeneratedKeyWithoutJSeedCounterImportsAndVerifies) {
    const SigningKey signer(PROV_DSS, CALG_DSS_SIGN, 1024u << 16, CALG_SHA1);
    const DsaNumbers numbers = DsaFromBlob(signer.PublicBlob());
    ASSERT_EQ(128u, numbers.p.size());
    ASSERT_EQ(20u, numbers.q.size());
    ImportResult r = Import(DsaValue(numbers));
    ExpectImportedKeyVerifies(r, signer, SigningKey(PROV_DSS, CALG_DSS_SIGN, 1024u << 16, CALG_SHA1),
                              MessageBound::NotUnderWineDss);
}

using DsaPart = CRYPT_XML_DATA_BLOB CRYPT_XML_KEY_DSA_KEY_VALUE::*;
const DsaPart kDsaParts[] = {&CRYPT_XML_KEY_DSA_KEY_VALUE::G, &CRYPT_XML_KEY_DSA_KEY_VALUE::P,
                             &CRYPT_XML_KEY_DSA_KEY_VALUE::Q, &CRYPT_XML_KEY_DSA_KEY_VALUE::Y};

TEST(DsaImport, EmptyComponentsAreInvalidArguments) {
    const DsaNumbers numbers = DsaFromBlob(SigningKey(PROV_DSS, CALG_DSS_SIGN, 1024u << 16, CALG_SHA1).PublicBlob());
    for (DsaPart part : kDsaParts) {
        CRYPT_XML_KEY_VALUE zeroLength = DsaValue(numbers);
        (zeroLength.DSAKeyValue.*part).cbData = 0;
        ExpectRefused(zeroLength, kInvalidArg, "ImportDsaKey", "keyValue.DSAKeyValue.");
        CRYPT_XML_KEY_VALUE nullData = DsaValue(numbers);
        (nullData.DSAKeyValue.*part).pbData = nullptr;
        ExpectRefused(nullData, kInvalidArg, "ImportDsaKey", "keyValue.DSAKeyValue.");
    }
}

TEST(DsaImport, ComponentsBeyondTheBlobMaximumAreTooLarge) {
    const DsaNumbers numbers = DsaFromBlob(SigningKey(PROV_DSS, CALG_DSS_SIGN, 1024u << 16, CALG_SHA1).PublicBlob());
    for (DsaPart part : kDsaParts) {
        CRYPT_XML_KEY_VALUE value = DsaValue(numbers);
        (value.DSAKeyValue.*part).cbData = kBeyondBlobMax;
        ExpectRefused(value, kLarge, "ImportDsaKey", "keyValue.DSAKeyValue. CRYPT_XML_BLOB_MAX exceeded.");
    }
}

}  // namespace
}  // namespace keytest
