// The faulty CSP in build/wineprefix-faulty through plain CryptoAPI: without injection every
// type answers like the provider behind it; with TALVORAN_FAULTY_CSP set, the chosen calls fail.
#include <windows.h>
#include <wincrypt.h>

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<BYTE>;

const ALG_ID kGr3411 = 0x801E;
const ALG_ID kGr3410El = 0x2E23;

struct Prov {
    HCRYPTPROV h = 0;
    ~Prov() {
        if (h) CryptReleaseContext(h, 0);
    }
};
struct Key {
    HCRYPTKEY h = 0;
    ~Key() {
        if (h) CryptDestroyKey(h);
    }
};
struct Hash {
    HCRYPTHASH h = 0;
    ~Hash() {
        if (h) CryptDestroyHash(h);
    }
};

// Sets the injection for one test and clears it again.
class Injection {
public:
    explicit Injection(const char* rules) { SetEnvironmentVariableA("TALVORAN_FAULTY_CSP", rules); }
    ~Injection() { SetEnvironmentVariableA("TALVORAN_FAULTY_CSP", nullptr); }
};

// The Win32 error of a verify-context acquire of `type`, 0 on success.
DWORD AcquireError(DWORD type) {
    Prov p;
    return CryptAcquireContextW(&p.h, nullptr, nullptr, type, CRYPT_VERIFYCONTEXT) ? 0 : GetLastError();
}

std::string ProviderName(HCRYPTPROV prov) {
    char name[256] = {};
    DWORD length = sizeof name;
    EXPECT_TRUE(CryptGetProvParam(prov, PP_NAME, reinterpret_cast<BYTE*>(name), &length, 0)) << GetLastError();
    return name;
}

Bytes PublicBlob(HCRYPTKEY key) {
    DWORD length = 0;
    EXPECT_TRUE(CryptExportKey(key, 0, PUBLICKEYBLOB, 0, nullptr, &length)) << std::hex << GetLastError();
    Bytes blob(length);
    EXPECT_TRUE(CryptExportKey(key, 0, PUBLICKEYBLOB, 0, blob.data(), &length)) << std::hex << GetLastError();
    blob.resize(length);
    return blob;
}

Bytes Sign(HCRYPTPROV prov, ALG_ID hashAlg, DWORD keySpec, const std::string& message) {
    Hash hash;
    EXPECT_TRUE(CryptCreateHash(prov, hashAlg, 0, 0, &hash.h)) << std::hex << GetLastError();
    EXPECT_TRUE(
        CryptHashData(hash.h, reinterpret_cast<const BYTE*>(message.data()), static_cast<DWORD>(message.size()), 0));
    DWORD length = 0;
    EXPECT_TRUE(CryptSignHashW(hash.h, keySpec, nullptr, 0, nullptr, &length)) << std::hex << GetLastError();
    Bytes signature(length);
    EXPECT_TRUE(CryptSignHashW(hash.h, keySpec, nullptr, 0, signature.data(), &length)) << std::hex << GetLastError();
    signature.resize(length);
    return signature;
}

// The Win32 error of verifying `signature` with `key`, 0 when it is good.
DWORD VerifyError(HCRYPTPROV prov, HCRYPTKEY key, ALG_ID hashAlg, const std::string& message, const Bytes& signature) {
    Hash hash;
    EXPECT_TRUE(CryptCreateHash(prov, hashAlg, 0, 0, &hash.h)) << std::hex << GetLastError();
    EXPECT_TRUE(
        CryptHashData(hash.h, reinterpret_cast<const BYTE*>(message.data()), static_cast<DWORD>(message.size()), 0));
    return CryptVerifySignatureW(hash.h, signature.data(), static_cast<DWORD>(signature.size()), key, nullptr, 0)
               ? 0
               : GetLastError();
}

// Generates a signing key in a verify context of `signType`, signs, imports the public key in
// a verify context of `verifyType` and checks the signature there, also a tampered one.
void SignExportImportVerify(DWORD signType, DWORD verifyType, ALG_ID keyAlg, DWORD keyFlags, ALG_ID hashAlg) {
    Prov signer, verifier;
    ASSERT_TRUE(CryptAcquireContextW(&signer.h, nullptr, nullptr, signType, CRYPT_VERIFYCONTEXT)) << GetLastError();
    ASSERT_TRUE(CryptAcquireContextW(&verifier.h, nullptr, nullptr, verifyType, CRYPT_VERIFYCONTEXT)) << GetLastError();
    Key privateKey, publicKey;
    ASSERT_TRUE(CryptGenKey(signer.h, keyAlg, keyFlags, &privateKey.h)) << std::hex << GetLastError();
    const std::string message = "forwarded through the faulty CSP";
    Bytes signature = Sign(signer.h, hashAlg, AT_SIGNATURE, message);
    const Bytes blob = PublicBlob(privateKey.h);
    ASSERT_TRUE(CryptImportKey(verifier.h, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &publicKey.h))
        << std::hex << GetLastError();
    EXPECT_EQ(0u, VerifyError(verifier.h, publicKey.h, hashAlg, message, signature));
    signature[0] ^= 1;
    EXPECT_EQ(static_cast<DWORD>(NTE_BAD_SIGNATURE), VerifyError(verifier.h, publicKey.h, hashAlg, message, signature));
}

TEST(FaultyCspForward, EachTypeAnswersWithTheNameOfTheProviderBehindIt) {
    const struct {
        DWORD type;
        const char* name;
        DWORD reportedType;  // Wine's rsaenh reports PROV_RSA_FULL for each of its personalities
    } expected[] = {{1, "Microsoft Enhanced Cryptographic Provider v1.0", 1},
                    // Wine's dssenh answers no provider parameters at all, so type 3 is left to
                    // DssProviderTypeAnsweredByTheForwarder.
                    {24, "Microsoft Enhanced RSA and AES Cryptographic Provider", 1},
                    {75, "Talvoran Soft GOST CSP", 75}};
    for (const auto& e : expected) {
        Prov p;
        ASSERT_TRUE(CryptAcquireContextW(&p.h, nullptr, nullptr, e.type, CRYPT_VERIFYCONTEXT))
            << e.type << " " << std::hex << GetLastError();
        EXPECT_EQ(e.name, ProviderName(p.h)) << e.type;
        DWORD type = 0, length = sizeof type;
        ASSERT_TRUE(CryptGetProvParam(p.h, PP_PROVTYPE, reinterpret_cast<BYTE*>(&type), &length, 0));
        EXPECT_EQ(e.reportedType, type);
    }
}

// Wine's dssenh fails PP_PROVTYPE; the forwarder answers with the type the context was
// acquired for, with the usual buffer protocol. Other parameters still fail as dssenh fails them.
TEST(FaultyCspForward, DssProviderTypeAnsweredByTheForwarder) {
    Prov p;
    ASSERT_TRUE(CryptAcquireContextW(&p.h, nullptr, nullptr, PROV_DSS, CRYPT_VERIFYCONTEXT)) << GetLastError();
    DWORD length = 0;
    ASSERT_TRUE(CryptGetProvParam(p.h, PP_PROVTYPE, nullptr, &length, 0)) << std::hex << GetLastError();
    EXPECT_EQ(4u, length);
    DWORD type = 0;
    length = sizeof type;
    ASSERT_TRUE(CryptGetProvParam(p.h, PP_PROVTYPE, reinterpret_cast<BYTE*>(&type), &length, 0));
    EXPECT_EQ(static_cast<DWORD>(PROV_DSS), type);
    EXPECT_EQ(4u, length);
    BYTE small[2] = {};
    length = sizeof small;
    EXPECT_FALSE(CryptGetProvParam(p.h, PP_PROVTYPE, small, &length, 0));
    EXPECT_EQ(static_cast<DWORD>(ERROR_MORE_DATA), GetLastError());
    EXPECT_EQ(4u, length);
    char name[256] = {};
    length = sizeof name;
    EXPECT_FALSE(CryptGetProvParam(p.h, PP_NAME, reinterpret_cast<BYTE*>(name), &length, 0));
}

ALG_ID KeyAlgorithm(HCRYPTKEY key) {
    ALG_ID algId = 0;
    DWORD length = sizeof algId;
    EXPECT_TRUE(CryptGetKeyParam(key, KP_ALGID, reinterpret_cast<BYTE*>(&algId), &length, 0))
        << std::hex << GetLastError();
    EXPECT_EQ(sizeof algId, length);
    return algId;
}

// Wine's dssenh exports the BCrypt layout (magic "DSPB": cbKey, Count, Seed, q, then p, g, y,
// big-endian); CryptImportKey wants the CryptoAPI one ("DSS1": p, q, g, y little-endian, then
// the seed structure).
Bytes Dss1Blob(const Bytes& dspb) {
    DWORD cbKey = 0;
    std::memcpy(&cbKey, dspb.data() + 4, sizeof cbKey);
    const BYTE* q = dspb.data() + 32;
    const BYTE* p = q + 20;
    const BYTE* numbers[] = {p, q, p + cbKey, p + 2 * cbKey};
    const DWORD lengths[] = {cbKey, 20, cbKey, cbKey};
    BLOBHEADER header{PUBLICKEYBLOB, CUR_BLOB_VERSION, 0, CALG_DSS_SIGN};
    DSSPUBKEY dss{0x31535344, cbKey * 8};
    Bytes blob(reinterpret_cast<const BYTE*>(&header), reinterpret_cast<const BYTE*>(&header + 1));
    blob.insert(blob.end(), reinterpret_cast<const BYTE*>(&dss), reinterpret_cast<const BYTE*>(&dss + 1));
    for (int i = 0; i < 4; ++i)
        blob.insert(blob.end(), std::reverse_iterator<const BYTE*>(numbers[i] + lengths[i]),
                    std::reverse_iterator<const BYTE*>(numbers[i]));
    DSSSEED seed{};
    seed.counter = 0xFFFFFFFF;
    blob.insert(blob.end(), reinterpret_cast<const BYTE*>(&seed), reinterpret_cast<const BYTE*>(&seed + 1));
    return blob;
}

// Wine's dssenh has no CPGetKeyParam (its stub aborts the process): the forwarder answers
// KP_ALGID for every key a DSS context made, and refuses the other parameters.
TEST(FaultyCspForward, DssKeyAlgorithmRecordedForEveryKeyMade) {
    Prov p;
    ASSERT_TRUE(CryptAcquireContextW(&p.h, nullptr, nullptr, PROV_DSS, CRYPT_VERIFYCONTEXT)) << GetLastError();
    Key generated, bySpec, user, copy, imported;
    ASSERT_TRUE(CryptGenKey(p.h, CALG_DSS_SIGN, 1024u << 16, &generated.h)) << std::hex << GetLastError();
    EXPECT_EQ(static_cast<ALG_ID>(CALG_DSS_SIGN), KeyAlgorithm(generated.h));
    const std::string message = "forwarded through the faulty CSP";
    const Bytes signature = Sign(p.h, CALG_SHA1, AT_SIGNATURE, message);  // by `generated`
    ASSERT_TRUE(CryptGenKey(p.h, AT_SIGNATURE, 512u << 16, &bySpec.h)) << std::hex << GetLastError();
    EXPECT_EQ(static_cast<ALG_ID>(CALG_DSS_SIGN), KeyAlgorithm(bySpec.h));
    ASSERT_TRUE(CryptGetUserKey(p.h, AT_SIGNATURE, &user.h)) << std::hex << GetLastError();
    EXPECT_EQ(static_cast<ALG_ID>(CALG_DSS_SIGN), KeyAlgorithm(user.h));
    ASSERT_TRUE(CryptDuplicateKey(generated.h, nullptr, 0, &copy.h)) << std::hex << GetLastError();
    EXPECT_EQ(static_cast<ALG_ID>(CALG_DSS_SIGN), KeyAlgorithm(copy.h));
    const Bytes blob = Dss1Blob(PublicBlob(generated.h));
    ASSERT_TRUE(CryptImportKey(p.h, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &imported.h))
        << std::hex << GetLastError();
    EXPECT_EQ(static_cast<ALG_ID>(CALG_DSS_SIGN), KeyAlgorithm(imported.h));
    // The imported key is the generated one: it checks the generated key's signature.
    Hash hash;
    ASSERT_TRUE(CryptCreateHash(p.h, CALG_SHA1, 0, 0, &hash.h));
    ASSERT_TRUE(
        CryptHashData(hash.h, reinterpret_cast<const BYTE*>(message.data()), static_cast<DWORD>(message.size()), 0));
    EXPECT_TRUE(
        CryptVerifySignatureW(hash.h, signature.data(), static_cast<DWORD>(signature.size()), imported.h, nullptr, 0))
        << std::hex << GetLastError();
}

TEST(FaultyCspForward, DssKeyAlgorithmBufferProtocol) {
    Prov p;
    ASSERT_TRUE(CryptAcquireContextW(&p.h, nullptr, nullptr, PROV_DSS, CRYPT_VERIFYCONTEXT)) << GetLastError();
    Key key;
    ASSERT_TRUE(CryptGenKey(p.h, CALG_DSS_SIGN, 512u << 16, &key.h)) << std::hex << GetLastError();
    DWORD length = 0;
    ASSERT_TRUE(CryptGetKeyParam(key.h, KP_ALGID, nullptr, &length, 0)) << std::hex << GetLastError();
    EXPECT_EQ(4u, length);
    BYTE small[3] = {};
    length = sizeof small;
    EXPECT_FALSE(CryptGetKeyParam(key.h, KP_ALGID, small, &length, 0));
    EXPECT_EQ(static_cast<DWORD>(ERROR_MORE_DATA), GetLastError());
    EXPECT_EQ(4u, length);
}

TEST(FaultyCspForward, DssOtherKeyParametersAreRefused) {
    Prov p;
    ASSERT_TRUE(CryptAcquireContextW(&p.h, nullptr, nullptr, PROV_DSS, CRYPT_VERIFYCONTEXT)) << GetLastError();
    Key key;
    ASSERT_TRUE(CryptGenKey(p.h, CALG_DSS_SIGN, 512u << 16, &key.h)) << std::hex << GetLastError();
    for (DWORD param : {static_cast<DWORD>(KP_KEYLEN), static_cast<DWORD>(KP_BLOCKLEN), static_cast<DWORD>(KP_P)}) {
        DWORD value = 0, length = sizeof value;
        EXPECT_FALSE(CryptGetKeyParam(key.h, param, reinterpret_cast<BYTE*>(&value), &length, 0)) << param;
        EXPECT_EQ(static_cast<DWORD>(NTE_BAD_TYPE), GetLastError()) << param;
    }
}

// The other backends answer key parameters themselves.
TEST(FaultyCspForward, RsaAndGostKeyParametersAreForwarded) {
    Prov rsa, gost;
    ASSERT_TRUE(CryptAcquireContextW(&rsa.h, nullptr, nullptr, 24, CRYPT_VERIFYCONTEXT));
    ASSERT_TRUE(CryptAcquireContextW(&gost.h, nullptr, nullptr, 75, CRYPT_VERIFYCONTEXT));
    Key rsaKey, gostKey;
    ASSERT_TRUE(CryptGenKey(rsa.h, AT_SIGNATURE, 1024u << 16, &rsaKey.h)) << std::hex << GetLastError();
    ASSERT_TRUE(CryptGenKey(gost.h, kGr3410El, 0, &gostKey.h)) << std::hex << GetLastError();
    EXPECT_EQ(static_cast<ALG_ID>(CALG_RSA_SIGN), KeyAlgorithm(rsaKey.h));
    EXPECT_EQ(kGr3410El, KeyAlgorithm(gostKey.h));
    DWORD bits = 0, length = sizeof bits;
    ASSERT_TRUE(CryptGetKeyParam(rsaKey.h, KP_KEYLEN, reinterpret_cast<BYTE*>(&bits), &length, 0));
    EXPECT_EQ(1024u, bits);
}

TEST(FaultyCspForward, Type2HasNoProvider) { EXPECT_EQ(static_cast<DWORD>(NTE_KEYSET_NOT_DEF), AcquireError(2)); }

TEST(FaultyCspForward, RsaTypes24And1) {
    SignExportImportVerify(24, 24, AT_SIGNATURE, 2048u << 16, CALG_SHA_256);
    // Type 1 is rsaenh's "Enhanced" personality, which has no SHA-2.
    SignExportImportVerify(24, 1, AT_SIGNATURE, 2048u << 16, CALG_SHA1);
    SignExportImportVerify(1, 24, AT_SIGNATURE, 1024u << 16, CALG_SHA1);
}

// Wine's dssenh exports a PUBLICKEYBLOB in the BCrypt layout it cannot import again, so the
// signature is checked with the generated key itself. Through CryptHashData Wine's dssenh
// signs the zero digest (see SetFinishedValue), so this shows forwarding, not the binding of
// signature and message; DssSignatureFitsItsOwnDigestOnly checks that.
TEST(FaultyCspForward, DssType3) {
    Prov p;
    ASSERT_TRUE(CryptAcquireContextW(&p.h, nullptr, nullptr, 3, CRYPT_VERIFYCONTEXT)) << GetLastError();
    Key key;
    ASSERT_TRUE(CryptGenKey(p.h, CALG_DSS_SIGN, 1024u << 16, &key.h)) << std::hex << GetLastError();
    const std::string message = "forwarded through the faulty CSP";
    Bytes signature = Sign(p.h, CALG_SHA1, AT_SIGNATURE, message);
    ASSERT_EQ(40u, signature.size());
    EXPECT_EQ(0u, VerifyError(p.h, key.h, CALG_SHA1, message, signature));
    signature[0] ^= 1;
    // Wine's dssenh rejects it without setting an error code.
    Hash hash;
    ASSERT_TRUE(CryptCreateHash(p.h, CALG_SHA1, 0, 0, &hash.h));
    ASSERT_TRUE(
        CryptHashData(hash.h, reinterpret_cast<const BYTE*>(message.data()), static_cast<DWORD>(message.size()), 0));
    EXPECT_FALSE(CryptVerifySignatureW(hash.h, signature.data(), 40, key.h, nullptr, 0));
}

// Sets `digest` as the value of a new SHA-1 hash. Wine 8's dssenh signs and verifies the
// value a hash object holds without finishing the hash first, so the data given by
// CryptHashData never reaches the signature (it signs and checks an all-zero value, and
// accepts a signature of its own for any message). Reading HP_HASHVAL finishes the hash; a
// value set afterwards is the one signed and checked.
void SetFinishedValue(HCRYPTPROV prov, const BYTE (&digest)[20], Hash& hash) {
    ASSERT_TRUE(CryptCreateHash(prov, CALG_SHA1, 0, 0, &hash.h));
    BYTE finished[20];
    DWORD length = sizeof finished;
    ASSERT_TRUE(CryptGetHashParam(hash.h, HP_HASHVAL, finished, &length, 0)) << std::hex << GetLastError();
    ASSERT_TRUE(CryptSetHashParam(hash.h, HP_HASHVAL, digest, 0)) << std::hex << GetLastError();
}

bool VerifiesDigest(HCRYPTPROV prov, HCRYPTKEY key, const BYTE (&digest)[20], const Bytes& signature) {
    Hash hash;
    SetFinishedValue(prov, digest, hash);
    return CryptVerifySignatureW(hash.h, signature.data(), static_cast<DWORD>(signature.size()), key, nullptr, 0) !=
           FALSE;
}

// Through finished hashes a DSS signature fits its own digest only.
TEST(FaultyCspForward, DssSignatureFitsItsOwnDigestOnly) {
    Prov p;
    ASSERT_TRUE(CryptAcquireContextW(&p.h, nullptr, nullptr, PROV_DSS, CRYPT_VERIFYCONTEXT)) << GetLastError();
    Key key;
    ASSERT_TRUE(CryptGenKey(p.h, CALG_DSS_SIGN, 1024u << 16, &key.h)) << std::hex << GetLastError();
    const BYTE sha1Abc[20] = {0xa9, 0x99, 0x3e, 0x36, 0x47, 0x06, 0x81, 0x6a, 0xba, 0x3e,
                              0x25, 0x71, 0x78, 0x50, 0xc2, 0x6c, 0x9c, 0xd0, 0xd8, 0x9d};
    Bytes signature(40);
    {
        Hash hash;
        SetFinishedValue(p.h, sha1Abc, hash);
        DWORD length = 40;
        ASSERT_TRUE(CryptSignHashW(hash.h, AT_SIGNATURE, nullptr, 0, signature.data(), &length))
            << std::hex << GetLastError();
        ASSERT_EQ(40u, length);
    }
    BYTE other[20];
    std::memcpy(other, sha1Abc, sizeof other);
    other[7] ^= 0x01;
    const BYTE zeros[20] = {};
    EXPECT_TRUE(VerifiesDigest(p.h, key.h, sha1Abc, signature));
    EXPECT_FALSE(VerifiesDigest(p.h, key.h, other, signature));
    EXPECT_FALSE(VerifiesDigest(p.h, key.h, zeros, signature));
}

TEST(FaultyCspForward, GostType75) { SignExportImportVerify(75, 75, kGr3410El, 0, kGr3411); }

TEST(FaultyCspForward, DuplicateKeyWithoutInjection) {
    Prov p;
    ASSERT_TRUE(CryptAcquireContextW(&p.h, nullptr, nullptr, 24, CRYPT_VERIFYCONTEXT));
    Key key, copy;
    ASSERT_TRUE(CryptGenKey(p.h, AT_SIGNATURE, 1024u << 16, &key.h)) << std::hex << GetLastError();
    ASSERT_TRUE(CryptDuplicateKey(key.h, nullptr, 0, &copy.h)) << std::hex << GetLastError();
    EXPECT_EQ(PublicBlob(key.h), PublicBlob(copy.h));
}

TEST(FaultyCspInjection, AcquireFailsForTheNamedTypesOnly) {
    Injection injection("acquire:24,acquire:3=0x10DF");
    EXPECT_EQ(static_cast<DWORD>(ERROR_NOT_READY), AcquireError(24));
    EXPECT_EQ(4319u, AcquireError(3));
    EXPECT_EQ(0u, AcquireError(1));
    EXPECT_EQ(0u, AcquireError(75));
}

TEST(FaultyCspInjection, AcquireOfAnyType) {
    Injection injection("acquire:*=1117");
    for (DWORD type : {1u, 3u, 24u, 75u}) EXPECT_EQ(1117u, AcquireError(type)) << type;
    // Type 2 never reaches the provider: advapi32 answers for it.
    EXPECT_EQ(static_cast<DWORD>(NTE_KEYSET_NOT_DEF), AcquireError(2));
}

TEST(FaultyCspInjection, InjectionIsReadAtEachCall) {
    {
        Injection injection("acquire");
        EXPECT_EQ(static_cast<DWORD>(ERROR_NOT_READY), AcquireError(1));
    }
    EXPECT_EQ(0u, AcquireError(1));
}

TEST(FaultyCspInjection, DuplicateKeyFailsOnTheNamedType) {
    for (DWORD type : {1u, 24u}) {
        Prov p;
        ASSERT_TRUE(CryptAcquireContextW(&p.h, nullptr, nullptr, type, CRYPT_VERIFYCONTEXT));
        Key key;
        ASSERT_TRUE(CryptGenKey(p.h, AT_SIGNATURE, 1024u << 16, &key.h)) << std::hex << GetLastError();
        Injection injection("duplicate-key:24=0x8009000F");
        Key copy;
        const BOOL ok = CryptDuplicateKey(key.h, nullptr, 0, &copy.h);
        if (type == 24) {
            EXPECT_FALSE(ok);
            EXPECT_EQ(0x8009000Fu, GetLastError());
        } else {
            EXPECT_TRUE(ok) << std::hex << GetLastError();
        }
    }
}

TEST(FaultyCspInjection, DuplicateKeyOfAnyTypeWithTheDefaultError) {
    Prov p;
    ASSERT_TRUE(CryptAcquireContextW(&p.h, nullptr, nullptr, 75, CRYPT_VERIFYCONTEXT));
    Key key, copy;
    ASSERT_TRUE(CryptGenKey(p.h, kGr3410El, 0, &key.h)) << std::hex << GetLastError();
    Injection injection("duplicate-key");
    EXPECT_FALSE(CryptDuplicateKey(key.h, nullptr, 0, &copy.h));
    EXPECT_EQ(static_cast<DWORD>(ERROR_NOT_READY), GetLastError());
}

// The error of CryptGetKeyParam(KP_ALGID) on `key`, 0 on success.
DWORD KeyParamError(HCRYPTKEY key) {
    ALG_ID algId = 0;
    DWORD length = sizeof algId;
    return CryptGetKeyParam(key, KP_ALGID, reinterpret_cast<BYTE*>(&algId), &length, 0) ? 0 : GetLastError();
}

TEST(FaultyCspInjection, GetKeyParamFailsOnTheNamedType) {
    Prov rsa, dss;
    ASSERT_TRUE(CryptAcquireContextW(&rsa.h, nullptr, nullptr, 24, CRYPT_VERIFYCONTEXT));
    ASSERT_TRUE(CryptAcquireContextW(&dss.h, nullptr, nullptr, PROV_DSS, CRYPT_VERIFYCONTEXT));
    Key rsaKey, dssKey;
    ASSERT_TRUE(CryptGenKey(rsa.h, AT_SIGNATURE, 1024u << 16, &rsaKey.h)) << std::hex << GetLastError();
    ASSERT_TRUE(CryptGenKey(dss.h, CALG_DSS_SIGN, 512u << 16, &dssKey.h)) << std::hex << GetLastError();
    {
        Injection injection("get-key-param:3");
        EXPECT_EQ(static_cast<DWORD>(ERROR_NOT_READY), KeyParamError(dssKey.h));
        EXPECT_EQ(0u, KeyParamError(rsaKey.h));
    }
    {
        Injection injection("get-key-param:24=0x8009000F");
        EXPECT_EQ(0x8009000Fu, KeyParamError(rsaKey.h));
        EXPECT_EQ(0u, KeyParamError(dssKey.h));
    }
    {
        Injection injection("get-key-param=1117");
        EXPECT_EQ(1117u, KeyParamError(rsaKey.h));
        EXPECT_EQ(1117u, KeyParamError(dssKey.h));
    }
    EXPECT_EQ(0u, KeyParamError(rsaKey.h));
    EXPECT_EQ(0u, KeyParamError(dssKey.h));
}

TEST(FaultyCspInjection, MalformedRulesFailEveryAcquire) {
    for (const char* rules : {"acquire:", "acquire=0", "acquire:x", "acquire:1=-5", "aquire:1", "acquire:1,,",
                              "duplicate-key:75,acquire:1=21z", "get-key-param:3=", "get-key-params"}) {
        Injection injection(rules);
        EXPECT_EQ(static_cast<DWORD>(ERROR_BAD_ENVIRONMENT), AcquireError(24)) << rules;
    }
}

}  // namespace

// Contexts are counted from acquisition to release, over all types; advapi32's own
// reference count (CryptContextAddRef) delays the release to the last reference.
TEST(FaultyCspForward, LiveContextsAreCounted) {
    constexpr DWORD kPpLiveContexts = 0x54410001;
    Prov first;
    ASSERT_TRUE(CryptAcquireContextW(&first.h, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT));
    auto live = [&] {
        DWORD count = 0, size = sizeof(count);
        return CryptGetProvParam(first.h, kPpLiveContexts, reinterpret_cast<BYTE*>(&count), &size, 0) ? count : ~0u;
    };
    const DWORD base = live();
    ASSERT_NE(~0u, base);
    HCRYPTPROV second = 0;
    ASSERT_TRUE(CryptAcquireContextW(&second, nullptr, nullptr, PROV_DSS, CRYPT_VERIFYCONTEXT));
    EXPECT_EQ(base + 1, live());
    ASSERT_TRUE(CryptContextAddRef(second, nullptr, 0));
    ASSERT_TRUE(CryptReleaseContext(second, 0));
    EXPECT_EQ(base + 1, live());
    ASSERT_TRUE(CryptReleaseContext(second, 0));
    EXPECT_EQ(base, live());
}

// Keys and hashes are counted from the call that makes them (generated, user, imported,
// duplicated, derived keys; created and duplicated hashes) to their destruction, over all
// types; a failed call makes nothing.
TEST(FaultyCspForward, LiveKeysAndHashesAreCounted) {
    constexpr DWORD kPpLiveKeys = 0x54410002;
    constexpr DWORD kPpLiveHashes = 0x54410003;
    Prov rsa, dss;
    ASSERT_TRUE(CryptAcquireContextW(&rsa.h, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT));
    ASSERT_TRUE(CryptAcquireContextW(&dss.h, nullptr, nullptr, PROV_DSS, CRYPT_VERIFYCONTEXT));
    auto live = [&](DWORD param) {
        DWORD count = 0, size = sizeof(count);
        return CryptGetProvParam(dss.h, param, reinterpret_cast<BYTE*>(&count), &size, 0) ? count : ~0u;
    };
    const DWORD keys = live(kPpLiveKeys), hashes = live(kPpLiveHashes);
    ASSERT_NE(~0u, keys);
    ASSERT_NE(~0u, hashes);
    {
        Key generated, imported, duplicate, derived, dssKey;
        ASSERT_TRUE(CryptGenKey(rsa.h, AT_SIGNATURE, 1024u << 16, &generated.h)) << std::hex << GetLastError();
        ASSERT_TRUE(CryptGenKey(dss.h, CALG_DSS_SIGN, 512u << 16, &dssKey.h)) << std::hex << GetLastError();
        EXPECT_EQ(keys + 2, live(kPpLiveKeys));
        const Bytes blob = PublicBlob(generated.h);
        ASSERT_TRUE(CryptImportKey(rsa.h, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &imported.h));
        ASSERT_TRUE(CryptDuplicateKey(imported.h, nullptr, 0, &duplicate.h)) << std::hex << GetLastError();
        EXPECT_EQ(keys + 4, live(kPpLiveKeys));
        Hash hash, copy;
        ASSERT_TRUE(CryptCreateHash(rsa.h, CALG_SHA_256, 0, 0, &hash.h));
        ASSERT_TRUE(CryptDuplicateHash(hash.h, nullptr, 0, &copy.h)) << std::hex << GetLastError();
        EXPECT_EQ(hashes + 2, live(kPpLiveHashes));
        ASSERT_TRUE(CryptDeriveKey(rsa.h, CALG_AES_128, hash.h, 0, &derived.h)) << std::hex << GetLastError();
        EXPECT_EQ(keys + 5, live(kPpLiveKeys));
        HCRYPTKEY refused = 0;
        EXPECT_FALSE(CryptImportKey(rsa.h, blob.data(), 4, 0, 0, &refused));
        EXPECT_EQ(keys + 5, live(kPpLiveKeys));
        HCRYPTHASH bad = 0;
        EXPECT_FALSE(CryptCreateHash(rsa.h, 0xFFFF, 0, 0, &bad));
        EXPECT_EQ(hashes + 2, live(kPpLiveHashes));
        Key user, none;
        ASSERT_TRUE(CryptGetUserKey(rsa.h, AT_SIGNATURE, &user.h)) << std::hex << GetLastError();
        EXPECT_EQ(keys + 6, live(kPpLiveKeys));
        ASSERT_FALSE(CryptGetUserKey(rsa.h, AT_KEYEXCHANGE, &none.h));  // no such key pair was made
        EXPECT_EQ(keys + 6, live(kPpLiveKeys));
    }
    EXPECT_EQ(keys, live(kPpLiveKeys));
    EXPECT_EQ(hashes, live(kPpLiveHashes));
}
