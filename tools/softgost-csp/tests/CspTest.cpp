// The Talvoran Soft GOST CSP through plain CryptoAPI (advapi32, crypt32 for certificates).
#include <windows.h>
#include <wincrypt.h>

#include <gtest/gtest.h>

#include "CspTestSupport.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace cspTest;

const wchar_t kProvName[] = L"Talvoran Soft GOST CSP";
const DWORD kProvType = 75;
const ALG_ID kGr3411 = 0x801E;
const ALG_ID kGr3410El = 0x2E23;
const ALG_ID kDhElSf = 0xAA24;

void acquireVerify(Prov& p) {
    ASSERT_TRUE(CryptAcquireContextW(&p.h, nullptr, kProvName, kProvType, CRYPT_VERIFYCONTEXT))
        << std::hex << GetLastError();
}

std::wstring uniqueName(const wchar_t* base) {
    return std::wstring(base) + L"-" + std::to_wstring(GetCurrentProcessId());
}

void deleteContainer(const std::wstring& name) {
    HCRYPTPROV h = 0;
    CryptAcquireContextW(&h, name.c_str(), kProvName, kProvType, CRYPT_DELETEKEYSET);
}

Bytes hashOf(HCRYPTPROV prov, const std::string& msg) {
    Hash hh;
    EXPECT_TRUE(CryptCreateHash(prov, kGr3411, 0, 0, &hh.h)) << std::hex << GetLastError();
    EXPECT_TRUE(CryptHashData(hh.h, reinterpret_cast<const BYTE*>(msg.data()), static_cast<DWORD>(msg.size()), 0));
    Bytes v(32);
    DWORD len = 32;
    EXPECT_TRUE(CryptGetHashParam(hh.h, HP_HASHVAL, v.data(), &len, 0)) << std::hex << GetLastError();
    EXPECT_EQ(len, 32u);
    return v;
}

// Verifies sig (CryptoAPI order) over a hash value given with HP_HASHVAL; returns GetLastError or 0.
DWORD verifyHashValue(HCRYPTPROV prov, HCRYPTKEY key, const Bytes& hashValue, const Bytes& sig) {
    Hash hh;
    if (!CryptCreateHash(prov, kGr3411, 0, 0, &hh.h)) return GetLastError();
    if (!CryptSetHashParam(hh.h, HP_HASHVAL, hashValue.data(), 0)) return GetLastError();
    if (!CryptVerifySignatureW(hh.h, sig.data(), static_cast<DWORD>(sig.size()), key, nullptr, 0))
        return GetLastError();
    return 0;
}

Bytes signHashValue(HCRYPTPROV prov, DWORD keySpec, const Bytes& hashValue) {
    Hash hh;
    EXPECT_TRUE(CryptCreateHash(prov, kGr3411, 0, 0, &hh.h));
    EXPECT_TRUE(CryptSetHashParam(hh.h, HP_HASHVAL, hashValue.data(), 0)) << std::hex << GetLastError();
    DWORD len = 0;
    EXPECT_TRUE(CryptSignHashW(hh.h, keySpec, nullptr, 0, nullptr, &len)) << std::hex << GetLastError();
    EXPECT_EQ(len, 64u);
    Bytes sig(len);
    EXPECT_TRUE(CryptSignHashW(hh.h, keySpec, nullptr, 0, sig.data(), &len)) << std::hex << GetLastError();
    sig.resize(len);
    return sig;
}

DWORD lastErrorOf(BOOL ok) { return ok ? 0 : GetLastError(); }

}  // namespace

TEST(SoftGostProvider, ProviderParameters) {
    Prov p;
    acquireVerify(p);
    DWORD type = 0, len = sizeof type;
    ASSERT_TRUE(CryptGetProvParam(p.h, PP_PROVTYPE, reinterpret_cast<BYTE*>(&type), &len, 0));
    EXPECT_EQ(type, 75u);
    char name[128];
    len = sizeof name;
    ASSERT_TRUE(CryptGetProvParam(p.h, PP_NAME, reinterpret_cast<BYTE*>(name), &len, 0));
    EXPECT_STREQ(name, "Talvoran Soft GOST CSP");
    std::vector<ALG_ID> algs;
    PROV_ENUMALGS e;
    DWORD flags = CRYPT_FIRST;
    for (;;) {
        len = sizeof e;
        if (!CryptGetProvParam(p.h, PP_ENUMALGS, reinterpret_cast<BYTE*>(&e), &len, flags)) break;
        algs.push_back(e.aiAlgid);
        flags = 0;
    }
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_MORE_ITEMS));
    EXPECT_EQ(algs, (std::vector<ALG_ID>{kGr3411, kGr3410El, kDhElSf}));
    PROV_ENUMALGS_EX ex;
    len = sizeof ex;
    ASSERT_TRUE(CryptGetProvParam(p.h, PP_ENUMALGS_EX, reinterpret_cast<BYTE*>(&ex), &len, CRYPT_FIRST));
    EXPECT_EQ(ex.aiAlgid, kGr3411);
    EXPECT_EQ(ex.dwDefaultLen, 256u);
    EXPECT_STREQ(ex.szLongName, "GOST R 34.11-94");
    BYTE rnd[40] = {};
    EXPECT_TRUE(CryptGenRandom(p.h, sizeof rnd, rnd));
    EXPECT_NE(std::count(rnd, rnd + sizeof rnd, 0), 40);
}

TEST(SoftGostProvider, Gr3411KnownAnswersCryptoProParameters) {
    Prov p;
    acquireVerify(p);
    const std::pair<std::string, std::string> vectors[] = {
        {"", "981e5f3ca30c841487830f84fb433e13ac1101569b9c13584ac483234cd656c0"},
        {"abc", "b285056dbf18d7392d7677369524dd14747459ed8143997e163b2986f92fd42c"},
        {"message digest", "bc6041dd2aa401ebfa6e9886734174febdb4729aa972d60f549ac39b29721ba0"},
        {"This is message, length=32 bytes", "2cefc2f7b7bdc514e18ea57fa74ff357e7fa17d652c75f69cb1be7893ede48eb"},
        {"Suppose the original message has length = 50 bytes",
         "c3730c5cbccacf915ac292676f21e8bd4ef75331d9405e5f1a61dc3130a65011"},
    };
    for (const auto& v : vectors) EXPECT_EQ(hashOf(p.h, v.first), hex(v.second)) << "message \"" << v.first << "\"";
    // Fed in pieces.
    Hash hh;
    ASSERT_TRUE(CryptCreateHash(p.h, kGr3411, 0, 0, &hh.h));
    const std::string m = "Suppose the original message has length = 50 bytes";
    for (char c : m) ASSERT_TRUE(CryptHashData(hh.h, reinterpret_cast<const BYTE*>(&c), 1, 0));
    Bytes v(32);
    DWORD len = 32;
    ASSERT_TRUE(CryptGetHashParam(hh.h, HP_HASHVAL, v.data(), &len, 0));
    EXPECT_EQ(v, hex("c3730c5cbccacf915ac292676f21e8bd4ef75331d9405e5f1a61dc3130a65011"));
}

TEST(SoftGostProvider, HashParameters) {
    Prov p;
    acquireVerify(p);
    Hash hh;
    ASSERT_TRUE(CryptCreateHash(p.h, kGr3411, 0, 0, &hh.h));
    DWORD v = 0, len = sizeof v;
    ASSERT_TRUE(CryptGetHashParam(hh.h, HP_ALGID, reinterpret_cast<BYTE*>(&v), &len, 0));
    EXPECT_EQ(v, kGr3411);
    len = sizeof v;
    ASSERT_TRUE(CryptGetHashParam(hh.h, HP_HASHSIZE, reinterpret_cast<BYTE*>(&v), &len, 0));
    EXPECT_EQ(v, 32u);
    ASSERT_TRUE(CryptHashData(hh.h, reinterpret_cast<const BYTE*>("ab"), 2, 0));
    Hash dup;
    ASSERT_TRUE(CryptDuplicateHash(hh.h, nullptr, 0, &dup.h)) << std::hex << GetLastError();
    ASSERT_TRUE(CryptHashData(dup.h, reinterpret_cast<const BYTE*>("c"), 1, 0));
    Bytes out(32);
    len = 32;
    ASSERT_TRUE(CryptGetHashParam(dup.h, HP_HASHVAL, out.data(), &len, 0));
    EXPECT_EQ(out, hex("b285056dbf18d7392d7677369524dd14747459ed8143997e163b2986f92fd42c"));
    // Size query, short buffer, then finished state.
    len = 0;
    ASSERT_TRUE(CryptGetHashParam(hh.h, HP_HASHVAL, nullptr, &len, 0));
    EXPECT_EQ(len, 32u);
    len = 16;
    EXPECT_FALSE(CryptGetHashParam(hh.h, HP_HASHVAL, out.data(), &len, 0));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
    EXPECT_EQ(len, 32u);
    len = 32;
    ASSERT_TRUE(CryptGetHashParam(hh.h, HP_HASHVAL, out.data(), &len, 0));
    EXPECT_FALSE(CryptHashData(hh.h, reinterpret_cast<const BYTE*>("c"), 1, 0));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_HASH_STATE));
    // HP_HASHVAL set, then read back.
    Hash set;
    ASSERT_TRUE(CryptCreateHash(p.h, kGr3411, 0, 0, &set.h));
    const Bytes value = hex("e53e042b67e6ec678e2e02b12a0352ce1fc6eee0529cc088119ad872b3c1fb2d");
    ASSERT_TRUE(CryptSetHashParam(set.h, HP_HASHVAL, value.data(), 0));
    len = 32;
    ASSERT_TRUE(CryptGetHashParam(set.h, HP_HASHVAL, out.data(), &len, 0));
    EXPECT_EQ(out, value);
}

// RFC 5832 section 7: the example key on the test curve 1.2.643.2.2.35.0 and its signature (r, s)
// over e, given as hash bytes e53e042b... with HP_HASHVAL.
TEST(SoftGostProvider, Rfc5832ExampleVerifies) {
    Prov p;
    acquireVerify(p);
    const Bytes qx = hex("7F2B49E270DB6D90D8595BEC458B50C58585BA1D4E9B788F6689DBD8E56FD80B");
    const Bytes qy = hex("26F1B489D6701DD185C8413A977B3CBBAF64D1C593D26627DFFB101A87FF77DA");
    Bytes blob = hex("06200000232e00004d41473100020000301206072a85030202230006072a850302021e01");
    Bytes x = reversed(qx), y = reversed(qy);
    blob.insert(blob.end(), x.begin(), x.end());
    blob.insert(blob.end(), y.begin(), y.end());
    Key key;
    ASSERT_TRUE(CryptImportKey(p.h, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key.h))
        << std::hex << GetLastError();
    DWORD alg = 0, len = sizeof alg;
    ASSERT_TRUE(CryptGetKeyParam(key.h, KP_ALGID, reinterpret_cast<BYTE*>(&alg), &len, 0));
    EXPECT_EQ(alg, kGr3410El);
    // The re-exported blob is the imported one.
    EXPECT_EQ(exportPublic(key.h), blob);
    Key dup;
    ASSERT_TRUE(CryptDuplicateKey(key.h, nullptr, 0, &dup.h)) << std::hex << GetLastError();
    EXPECT_EQ(exportPublic(dup.h), blob);

    const Bytes hashValue = hex("e53e042b67e6ec678e2e02b12a0352ce1fc6eee0529cc088119ad872b3c1fb2d");
    const Bytes r = hex("41AA28D2F1AB148280CD9ED56FEDA41974053554A42767B83AD043FD39DC0493");
    const Bytes s = hex("01456C64BA4642A1653C235A98A60249BCD6D3F746B631DF928014F6C5BF9C40");
    Bytes sr = s;
    sr.insert(sr.end(), r.begin(), r.end());
    const Bytes sig = reversed(sr);  // CryptoAPI order
    EXPECT_EQ(verifyHashValue(p.h, key.h, hashValue, sig), 0u);
    EXPECT_EQ(verifyHashValue(p.h, dup.h, hashValue, sig), 0u);
    Bytes badHash = hashValue;
    badHash[0] ^= 1;
    EXPECT_EQ(verifyHashValue(p.h, key.h, badHash, sig), static_cast<DWORD>(NTE_BAD_SIGNATURE));
    Bytes badSig = sig;
    badSig[10] ^= 0x80;
    EXPECT_EQ(verifyHashValue(p.h, key.h, hashValue, badSig), static_cast<DWORD>(NTE_BAD_SIGNATURE));
    // The XML order (s || r unreversed) is not what CryptVerifySignature takes.
    EXPECT_EQ(verifyHashValue(p.h, key.h, hashValue, sr), static_cast<DWORD>(NTE_BAD_SIGNATURE));
}

TEST(SoftGostProvider, ContainerLifecycle) {
    const std::wstring name = uniqueName(L"softgost-lifecycle");
    deleteContainer(name);
    HCRYPTPROV h = 0;
    EXPECT_FALSE(CryptAcquireContextW(&h, name.c_str(), kProvName, kProvType, 0));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_KEYSET));
    {
        Prov p;
        ASSERT_TRUE(CryptAcquireContextW(&p.h, name.c_str(), kProvName, kProvType, CRYPT_NEWKEYSET))
            << std::hex << GetLastError();
        Key none;
        EXPECT_FALSE(CryptGetUserKey(p.h, AT_SIGNATURE, &none.h));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_NO_KEY));
        Key k;
        ASSERT_TRUE(CryptGenKey(p.h, AT_SIGNATURE, 0, &k.h)) << std::hex << GetLastError();
        char cname[256];
        DWORD len = sizeof cname;
        ASSERT_TRUE(CryptGetProvParam(p.h, PP_CONTAINER, reinterpret_cast<BYTE*>(cname), &len, 0));
        EXPECT_EQ(std::string(cname), std::string(name.begin(), name.end()));
    }
    HCRYPTPROV dup = 0;
    EXPECT_FALSE(CryptAcquireContextW(&dup, name.c_str(), kProvName, kProvType, CRYPT_NEWKEYSET));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_EXISTS));
    Bytes firstBlob;
    {
        Prov p;
        ASSERT_TRUE(CryptAcquireContextW(&p.h, name.c_str(), kProvName, kProvType, 0)) << std::hex << GetLastError();
        Key k;
        ASSERT_TRUE(CryptGetUserKey(p.h, AT_SIGNATURE, &k.h)) << std::hex << GetLastError();
        DWORD v = 0, len = sizeof v;
        ASSERT_TRUE(CryptGetKeyParam(k.h, KP_ALGID, reinterpret_cast<BYTE*>(&v), &len, 0));
        EXPECT_EQ(v, kGr3410El);
        len = sizeof v;
        ASSERT_TRUE(CryptGetKeyParam(k.h, KP_KEYLEN, reinterpret_cast<BYTE*>(&v), &len, 0));
        EXPECT_EQ(v, 512u);
        firstBlob = exportPublic(k.h);
        Key ex;
        EXPECT_FALSE(CryptGetUserKey(p.h, AT_KEYEXCHANGE, &ex.h));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_NO_KEY));
        // The container is listed.
        bool found = false;
        char cname[512];
        DWORD flags = CRYPT_FIRST;
        for (;;) {
            len = sizeof cname;
            if (!CryptGetProvParam(p.h, PP_ENUMCONTAINERS, reinterpret_cast<BYTE*>(cname), &len, flags)) break;
            flags = 0;
            if (std::string(cname) == std::string(name.begin(), name.end())) found = true;
        }
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_MORE_ITEMS));
        EXPECT_TRUE(found);
    }
    {
        // The same key once more.
        Prov p;
        ASSERT_TRUE(CryptAcquireContextW(&p.h, name.c_str(), kProvName, kProvType, 0));
        Key k;
        ASSERT_TRUE(CryptGetUserKey(p.h, AT_SIGNATURE, &k.h));
        EXPECT_EQ(exportPublic(k.h), firstBlob);
    }
    HCRYPTPROV del = 1;
    ASSERT_TRUE(CryptAcquireContextW(&del, name.c_str(), kProvName, kProvType, CRYPT_DELETEKEYSET))
        << std::hex << GetLastError();
    EXPECT_FALSE(CryptAcquireContextW(&h, name.c_str(), kProvName, kProvType, 0));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_KEYSET));
    EXPECT_FALSE(CryptAcquireContextW(&del, name.c_str(), kProvName, kProvType, CRYPT_DELETEKEYSET));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_KEYSET));
}

TEST(SoftGostProvider, GenerateSignExportImportVerify) {
    const std::wstring name = uniqueName(L"softgost-sign");
    deleteContainer(name);
    Prov p;
    ASSERT_TRUE(CryptAcquireContextW(&p.h, name.c_str(), kProvName, kProvType, CRYPT_NEWKEYSET))
        << std::hex << GetLastError();
    Key k;
    ASSERT_TRUE(CryptGenKey(p.h, AT_SIGNATURE, 0, &k.h)) << std::hex << GetLastError();
    const Bytes blob = exportPublic(k.h);
    ASSERT_EQ(blob.size(), 16u + 20u + 64u);
    EXPECT_EQ(Bytes(blob.begin(), blob.begin() + 36),
              hex("06200000232e00004d41473100020000301206072a85030202230106072a850302021e01"));

    // Sign a message hashed by the provider.
    Hash hh;
    ASSERT_TRUE(CryptCreateHash(p.h, kGr3411, 0, 0, &hh.h));
    const std::string msg = "message digest";
    ASSERT_TRUE(CryptHashData(hh.h, reinterpret_cast<const BYTE*>(msg.data()), static_cast<DWORD>(msg.size()), 0));
    DWORD len = 64;
    Bytes sig(64);
    ASSERT_TRUE(CryptSignHashW(hh.h, AT_SIGNATURE, nullptr, 0, sig.data(), &len)) << std::hex << GetLastError();
    ASSERT_EQ(len, 64u);

    // Verify in a verify context with the imported public key.
    Prov v;
    acquireVerify(v);
    Key pub;
    ASSERT_TRUE(CryptImportKey(v.h, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &pub.h))
        << std::hex << GetLastError();
    const Bytes digest = hex("bc6041dd2aa401ebfa6e9886734174febdb4729aa972d60f549ac39b29721ba0");
    EXPECT_EQ(verifyHashValue(v.h, pub.h, digest, sig), 0u);
    {
        Hash vh;
        ASSERT_TRUE(CryptCreateHash(v.h, kGr3411, 0, 0, &vh.h));
        ASSERT_TRUE(CryptHashData(vh.h, reinterpret_cast<const BYTE*>(msg.data()), static_cast<DWORD>(msg.size()), 0));
        EXPECT_TRUE(CryptVerifySignatureW(vh.h, sig.data(), 64, pub.h, nullptr, 0)) << std::hex << GetLastError();
    }
    Bytes tampered = digest;
    tampered[31] ^= 0x01;
    EXPECT_EQ(verifyHashValue(v.h, pub.h, tampered, sig), static_cast<DWORD>(NTE_BAD_SIGNATURE));
    Bytes badSig = sig;
    badSig[0] ^= 0x01;
    EXPECT_EQ(verifyHashValue(v.h, pub.h, digest, badSig), static_cast<DWORD>(NTE_BAD_SIGNATURE));

    // HP_HASHVAL set, then sign: verifies against the hash computed from the message.
    const Bytes sig2 = signHashValue(p.h, AT_SIGNATURE, digest);
    EXPECT_EQ(verifyHashValue(v.h, pub.h, digest, sig2), 0u);
    EXPECT_NE(sig2, sig);  // a fresh random k each time

    // An AT_KEYEXCHANGE key (CALG_DH_EL_SF) signs too.
    Key ex;
    ASSERT_TRUE(CryptGenKey(p.h, AT_KEYEXCHANGE, 0, &ex.h)) << std::hex << GetLastError();
    DWORD alg = 0;
    len = sizeof alg;
    ASSERT_TRUE(CryptGetKeyParam(ex.h, KP_ALGID, reinterpret_cast<BYTE*>(&alg), &len, 0));
    EXPECT_EQ(alg, kDhElSf);
    const Bytes exBlob = exportPublic(ex.h);
    EXPECT_EQ(Bytes(exBlob.begin(), exBlob.begin() + 8), hex("0620000024aa0000"));
    Key exPub;
    ASSERT_TRUE(CryptImportKey(v.h, exBlob.data(), static_cast<DWORD>(exBlob.size()), 0, 0, &exPub.h));
    const Bytes sig3 = signHashValue(p.h, AT_KEYEXCHANGE, digest);
    EXPECT_EQ(verifyHashValue(v.h, exPub.h, digest, sig3), 0u);
    EXPECT_EQ(verifyHashValue(v.h, pub.h, digest, sig3), static_cast<DWORD>(NTE_BAD_SIGNATURE));

    // A key generated in a verify context signs for that context only.
    Key eph;
    ASSERT_TRUE(CryptGenKey(v.h, AT_SIGNATURE, 0, &eph.h));
    const Bytes sig4 = signHashValue(v.h, AT_SIGNATURE, digest);
    EXPECT_EQ(verifyHashValue(v.h, eph.h, digest, sig4), 0u);

    CryptReleaseContext(p.h, 0);
    p.h = 0;
    deleteContainer(name);
}

TEST(SoftGostProvider, BadArgumentsAnswerNteCodes) {
    Prov p;
    acquireVerify(p);
    Hash hh;
    EXPECT_EQ(lastErrorOf(CryptCreateHash(p.h, CALG_SHA1, 0, 0, &hh.h)), static_cast<DWORD>(NTE_BAD_ALGID));
    EXPECT_EQ(lastErrorOf(CryptCreateHash(p.h, kGr3411, 0, 0x12345, &hh.h)), static_cast<DWORD>(NTE_BAD_FLAGS));
    Key k;
    EXPECT_EQ(lastErrorOf(CryptGenKey(p.h, CALG_RC4, 0, &k.h)), static_cast<DWORD>(NTE_BAD_ALGID));
    EXPECT_EQ(lastErrorOf(CryptGetUserKey(p.h, AT_SIGNATURE, &k.h)), static_cast<DWORD>(NTE_NO_KEY));

    Hash good;
    ASSERT_TRUE(CryptCreateHash(p.h, kGr3411, 0, 0, &good.h));
    DWORD len = 64;
    BYTE sig[64] = {};
    EXPECT_EQ(lastErrorOf(CryptSignHashW(good.h, AT_SIGNATURE, nullptr, 0, sig, &len)), static_cast<DWORD>(NTE_NO_KEY));
    EXPECT_EQ(lastErrorOf(CryptSetHashParam(good.h, HP_ALGID, sig, 0)), static_cast<DWORD>(NTE_BAD_TYPE));
    BYTE buf[64];
    len = sizeof buf;
    EXPECT_EQ(lastErrorOf(CryptGetHashParam(good.h, 0x77, buf, &len, 0)), static_cast<DWORD>(NTE_BAD_TYPE));
    len = sizeof buf;
    EXPECT_EQ(lastErrorOf(CryptGetProvParam(p.h, 0x777, buf, &len, 0)), static_cast<DWORD>(NTE_BAD_TYPE));
    len = sizeof buf;
    EXPECT_EQ(lastErrorOf(CryptGetProvParam(p.h, PP_CONTAINER, buf, &len, 0)), static_cast<DWORD>(NTE_BAD_KEYSET));
    Key dk;
    EXPECT_EQ(lastErrorOf(CryptDeriveKey(p.h, CALG_RC4, good.h, 0, &dk.h)), static_cast<DWORD>(NTE_BAD_ALGID));

    // Blobs.
    Bytes blob = hex("06200000232e00004d41473100020000301206072a85030202230106072a850302021e01");
    Key ok;
    ASSERT_TRUE(CryptGenKey(p.h, AT_SIGNATURE, 0, &ok.h));
    Bytes real = exportPublic(ok.h);
    Key imp;
    Bytes b = real;
    b[0] = PRIVATEKEYBLOB;
    EXPECT_EQ(lastErrorOf(CryptImportKey(p.h, b.data(), static_cast<DWORD>(b.size()), 0, 0, &imp.h)),
              static_cast<DWORD>(NTE_BAD_TYPE));
    b = real;
    b[4] = 0x49;  // 2012-256 ALG_ID: not this provider's
    EXPECT_EQ(lastErrorOf(CryptImportKey(p.h, b.data(), static_cast<DWORD>(b.size()), 0, 0, &imp.h)),
              static_cast<DWORD>(NTE_BAD_ALGID));
    b = real;
    b[8] = 'X';  // magic
    EXPECT_EQ(lastErrorOf(CryptImportKey(p.h, b.data(), static_cast<DWORD>(b.size()), 0, 0, &imp.h)),
              static_cast<DWORD>(NTE_BAD_DATA));
    b = real;
    b[26] = 0x09;  // unknown parameter set 1.2.643.2.2.35.9
    EXPECT_EQ(lastErrorOf(CryptImportKey(p.h, b.data(), static_cast<DWORD>(b.size()), 0, 0, &imp.h)),
              static_cast<DWORD>(NTE_BAD_DATA));
    b = real;
    b.pop_back();  // truncated key
    EXPECT_EQ(lastErrorOf(CryptImportKey(p.h, b.data(), static_cast<DWORD>(b.size()), 0, 0, &imp.h)),
              static_cast<DWORD>(NTE_BAD_DATA));
    b = real;
    b[40] ^= 0x01;  // point off the curve
    EXPECT_EQ(lastErrorOf(CryptImportKey(p.h, b.data(), static_cast<DWORD>(b.size()), 0, 0, &imp.h)),
              static_cast<DWORD>(NTE_BAD_PUBLIC_KEY));
    EXPECT_EQ(lastErrorOf(CryptImportKey(p.h, blob.data(), 8, 0, 0, &imp.h)), static_cast<DWORD>(NTE_BAD_DATA));

    len = sizeof buf;
    EXPECT_EQ(lastErrorOf(CryptExportKey(ok.h, 0, PRIVATEKEYBLOB, 0, buf, &len)),
              static_cast<DWORD>(NTE_BAD_KEY_STATE));
    len = sizeof buf;
    EXPECT_EQ(lastErrorOf(CryptExportKey(ok.h, 0, SIMPLEBLOB, 0, buf, &len)), static_cast<DWORD>(NTE_BAD_TYPE));
    len = 10;
    Bytes small(10);
    EXPECT_EQ(lastErrorOf(CryptExportKey(ok.h, 0, PUBLICKEYBLOB, 0, small.data(), &len)),
              static_cast<DWORD>(ERROR_MORE_DATA));
    EXPECT_EQ(len, 100u);
    len = sizeof buf;
    EXPECT_EQ(lastErrorOf(CryptGetKeyParam(ok.h, KP_CERTIFICATE, buf, &len, 0)), static_cast<DWORD>(NTE_BAD_TYPE));
    EXPECT_EQ(lastErrorOf(CryptSetKeyParam(ok.h, KP_IV, buf, 0)), static_cast<DWORD>(NTE_BAD_TYPE));
    DWORD dlen = 8;
    EXPECT_EQ(lastErrorOf(CryptEncrypt(ok.h, 0, TRUE, 0, buf, &dlen, sizeof buf)), static_cast<DWORD>(NTE_BAD_KEY));
    dlen = 8;
    EXPECT_EQ(lastErrorOf(CryptDecrypt(ok.h, 0, TRUE, 0, buf, &dlen)), static_cast<DWORD>(NTE_BAD_KEY));

    // Signature of the wrong size.
    Hash vh;
    ASSERT_TRUE(CryptCreateHash(p.h, kGr3411, 0, 0, &vh.h));
    EXPECT_EQ(lastErrorOf(CryptVerifySignatureW(vh.h, sig, 63, ok.h, nullptr, 0)),
              static_cast<DWORD>(NTE_BAD_SIGNATURE));

    // Acquire flags.
    HCRYPTPROV h = 0;
    EXPECT_EQ(lastErrorOf(CryptAcquireContextW(&h, L"x", kProvName, kProvType, CRYPT_VERIFYCONTEXT)),
              static_cast<DWORD>(NTE_BAD_FLAGS));
    EXPECT_EQ(lastErrorOf(CryptAcquireContextW(&h, L"softgost-never-created", kProvName, kProvType, 0)),
              static_cast<DWORD>(NTE_BAD_KEYSET));
}

namespace {

// The certificate of the GOST R 34.10-2001 document in the shared vectors (key on 1.2.643.2.2.36.0).
const char kVectorCert[] =
    "MIIBdTCCASSgAwIBAgIQEqJolTJ9uptHeW8F5+"
    "KVNDAIBgYqhQMCAgMwGDEWMBQGA1UEAwwNR29zdDIwMDFfMjAxOTAgFw0xOTA3MDExMjMwNTdaGA8y"
    "MTAwMDMyMDA3MzEwMFowGDEWMBQGA1UEAwwNR29zdDIwMDFfMjAxOTBjMBwGBiqFAwICEzASBgcqhQMCAiQABgcqhQMCAh4BA0MABEAoaFZtEY1XDG"
    "RR"
    "dPBuGZkufp6ZNDrG49Tav1eCRZg/"
    "2QW7tkBdBXFSAdx+ZipboqgeJtaMhVujj51KkwpR6MnBo0YwRDAOBgNVHQ8BAf8EBAMCBeAwEwYDVR0lBAwwCgYI"
    "KwYBBQUHAwIwHQYDVR0OBBYEFJa6+pSxmsk9V6rDs6GsYbj/lFKgMAgGBiqFAwICAwNBAAwv9awAZzVilC7m29cP3ivFy8j4x31CsWfsyc3J/"
    "ZdJEEYZ"
    "yVMHUvR+ym9/B1ODs/AF8tQ0nQgVQU5dOCHq4EQ=";
// Its SignedInfo after inclusive C14N, and its SignatureValue (s || r).
const char kVectorSignedInfo[] =
    "<SignedInfo xmlns=\"http://www.w3.org/2000/09/xmldsig#\"><CanonicalizationMethod "
    "Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"></CanonicalizationMethod><SignatureMethod "
    "Algorithm=\"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411\"></SignatureMethod><Reference "
    "URI=\"\"><Transforms><Transform Algorithm=\"http://www.w3.org/2000/09/xmldsig#enveloped-signature\"></Transform>"
    "<Transform Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"></Transform></Transforms><DigestMethod "
    "Algorithm=\"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411\"></DigestMethod><DigestValue>"
    "zPlpay6cswDZcJP+UiPemVWUFj4/cUaekOMZ3J8Oxt0=</DigestValue></Reference></SignedInfo>";
const char kVectorSignatureValue[] =
    "df3591ff658fde23e00c9183b04732c6c9410e2bcc229478c495bee459675958c895eebdf1e047715997379ebe00d6e4290344a69647fde61b"
    "844b8faa8c33dc";

Bytes base64(const char* text) {
    DWORD len = 0;
    EXPECT_TRUE(CryptStringToBinaryA(text, 0, CRYPT_STRING_BASE64, nullptr, &len, nullptr, nullptr));
    Bytes out(len);
    EXPECT_TRUE(CryptStringToBinaryA(text, 0, CRYPT_STRING_BASE64, out.data(), &len, nullptr, nullptr));
    out.resize(len);
    return out;
}

}  // namespace

TEST(SoftGostProvider, ImportPublicKeyInfoOfVectorCertificate) {
    const Bytes der = base64(kVectorCert);
    PCCERT_CONTEXT cert = CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()));
    ASSERT_NE(cert, nullptr) << std::hex << GetLastError();
    Prov p;
    acquireVerify(p);
    Key key;
    ASSERT_TRUE(CryptImportPublicKeyInfoEx(p.h, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                           &cert->pCertInfo->SubjectPublicKeyInfo, 0, 0, nullptr, &key.h))
        << std::hex << GetLastError();
    CertFreeCertificateContext(cert);
    DWORD alg = 0, len = sizeof alg;
    ASSERT_TRUE(CryptGetKeyParam(key.h, KP_ALGID, reinterpret_cast<BYTE*>(&alg), &len, 0));
    EXPECT_EQ(alg, kGr3410El);
    // The document's signature over its canonical SignedInfo.
    Hash hh;
    ASSERT_TRUE(CryptCreateHash(p.h, kGr3411, 0, 0, &hh.h));
    ASSERT_TRUE(CryptHashData(hh.h, reinterpret_cast<const BYTE*>(kVectorSignedInfo),
                              static_cast<DWORD>(std::strlen(kVectorSignedInfo)), 0));
    const Bytes sig = reversed(hex(kVectorSignatureValue));
    EXPECT_TRUE(CryptVerifySignatureW(hh.h, sig.data(), static_cast<DWORD>(sig.size()), key.h, nullptr, 0))
        << std::hex << GetLastError();
    // And not over anything else.
    Bytes other = hashOf(p.h, "Here is some data to sign.");
    EXPECT_EQ(verifyHashValue(p.h, key.h, other, sig), static_cast<DWORD>(NTE_BAD_SIGNATURE));
}

TEST(SoftGostProvider, ImportPublicKeyInfoOfGeneratedKey) {
    Prov p;
    acquireVerify(p);
    Key k;
    ASSERT_TRUE(CryptGenKey(p.h, AT_SIGNATURE, 0, &k.h));
    const Bytes blob = exportPublic(k.h);
    // SubjectPublicKeyInfo pieces as a certificate holds them.
    Bytes params(blob.begin() + 16, blob.begin() + 36);
    Bytes pubOctets = {0x04, 0x40};
    pubOctets.insert(pubOctets.end(), blob.begin() + 36, blob.end());
    char oid[] = "1.2.643.2.2.19";
    CERT_PUBLIC_KEY_INFO info{};
    info.Algorithm.pszObjId = oid;
    info.Algorithm.Parameters.cbData = static_cast<DWORD>(params.size());
    info.Algorithm.Parameters.pbData = params.data();
    info.PublicKey.cbData = static_cast<DWORD>(pubOctets.size());
    info.PublicKey.pbData = pubOctets.data();
    Key imported;
    ASSERT_TRUE(CryptImportPublicKeyInfoEx(p.h, X509_ASN_ENCODING, &info, 0, 0, nullptr, &imported.h))
        << std::hex << GetLastError();
    EXPECT_EQ(exportPublic(imported.h), blob);
    const Bytes digest = hashOf(p.h, "abc");
    const Bytes sig = signHashValue(p.h, AT_SIGNATURE, digest);
    EXPECT_EQ(verifyHashValue(p.h, imported.h, digest, sig), 0u);
}
