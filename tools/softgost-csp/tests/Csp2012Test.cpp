// The Talvoran Soft GOST CSP as GOST R 34.10-2012 / 34.11-2012 provider (types 80 and 81),
// through plain CryptoAPI (advapi32, crypt32 for certificates).
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

const wchar_t kName2001[] = L"Talvoran Soft GOST CSP";
const wchar_t kName256[] = L"Talvoran Soft GOST 2012-256 CSP";
const wchar_t kName512[] = L"Talvoran Soft GOST 2012-512 CSP";
const DWORD kType2001 = 75, kType256 = 80, kType512 = 81;

const ALG_ID kGr3411 = 0x801E;
const ALG_ID kStreebog256 = 0x8021, kStreebog512 = 0x8022;
const ALG_ID kHmac256 = 0x8034, kHmac512 = 0x8035;
const ALG_ID kGr3410El = 0x2E23, kDhElSf = 0xAA24;
const ALG_ID kSig256 = 0x2E49, kDh256 = 0xAA46, kSig512 = 0x2E3D, kDh512 = 0xAA42;
const ALG_ID kG28147 = 0x661E;

// One 2012 provider under test: its name, type, key ALG_IDs and sizes.
struct Face {
    const wchar_t* name;
    DWORD type;
    ALG_ID sigAlg, exchAlg, hashAlg;
    DWORD keyBits;           // KP_KEYLEN, blob bit length
    size_t sigLen;           // CryptSignHash output
    const char* sigParams;   // DER SEQUENCE of the parameter sets of a generated signature key
    const char* exchParams;  // ... of an exchange key
};
const Face k256 = {kName256,
                   kType256,
                   kSig256,
                   kDh256,
                   kStreebog256,
                   512,
                   64,
                   "301306072a85030202230106082a85030701010202",
                   "301306072a85030202240006082a85030701010202"};
const Face k512 = {kName512,
                   kType512,
                   kSig512,
                   kDh512,
                   kStreebog512,
                   1024,
                   128,
                   "301506092a850307010201020106082a85030701010203",
                   "301506092a850307010201020106082a85030701010203"};

Bytes cat(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

DWORD lastErrorOf(BOOL ok) { return ok ? 0 : GetLastError(); }

void acquireVerify(Prov& p, const Face& f) {
    ASSERT_TRUE(CryptAcquireContextW(&p.h, nullptr, f.name, f.type, CRYPT_VERIFYCONTEXT)) << std::hex << GetLastError();
}

std::wstring uniqueName(const wchar_t* base) {
    return std::wstring(base) + L"-" + std::to_wstring(GetCurrentProcessId());
}

void deleteContainer(const std::wstring& name) {
    HCRYPTPROV h = 0;
    CryptAcquireContextW(&h, name.c_str(), kName2001, kType2001, CRYPT_DELETEKEYSET);
}

Bytes hashOf(HCRYPTPROV prov, ALG_ID alg, const std::string& msg) {
    Hash hh;
    EXPECT_TRUE(CryptCreateHash(prov, alg, 0, 0, &hh.h)) << std::hex << GetLastError();
    EXPECT_TRUE(CryptHashData(hh.h, reinterpret_cast<const BYTE*>(msg.data()), static_cast<DWORD>(msg.size()), 0));
    DWORD len = 0;
    EXPECT_TRUE(CryptGetHashParam(hh.h, HP_HASHVAL, nullptr, &len, 0)) << std::hex << GetLastError();
    Bytes v(len);
    EXPECT_TRUE(CryptGetHashParam(hh.h, HP_HASHVAL, v.data(), &len, 0)) << std::hex << GetLastError();
    v.resize(len);
    return v;
}

// Verifies sig (CryptoAPI order) over a hash value given with HP_HASHVAL; returns GetLastError or 0.
DWORD verifyHashValue(HCRYPTPROV prov, ALG_ID alg, HCRYPTKEY key, const Bytes& hashValue, const Bytes& sig) {
    Hash hh;
    if (!CryptCreateHash(prov, alg, 0, 0, &hh.h)) return GetLastError();
    if (!CryptSetHashParam(hh.h, HP_HASHVAL, hashValue.data(), 0)) return GetLastError();
    if (!CryptVerifySignatureW(hh.h, sig.data(), static_cast<DWORD>(sig.size()), key, nullptr, 0))
        return GetLastError();
    return 0;
}

Bytes signHashValue(HCRYPTPROV prov, ALG_ID alg, DWORD keySpec, const Bytes& hashValue) {
    Hash hh;
    EXPECT_TRUE(CryptCreateHash(prov, alg, 0, 0, &hh.h));
    EXPECT_TRUE(CryptSetHashParam(hh.h, HP_HASHVAL, hashValue.data(), 0)) << std::hex << GetLastError();
    DWORD len = 0;
    EXPECT_TRUE(CryptSignHashW(hh.h, keySpec, nullptr, 0, nullptr, &len)) << std::hex << GetLastError();
    Bytes sig(len);
    EXPECT_TRUE(CryptSignHashW(hh.h, keySpec, nullptr, 0, sig.data(), &len)) << std::hex << GetLastError();
    sig.resize(len);
    return sig;
}

DWORD keyParam(HCRYPTKEY key, DWORD param) {
    DWORD v = 0, len = sizeof v;
    EXPECT_TRUE(CryptGetKeyParam(key, param, reinterpret_cast<BYTE*>(&v), &len, 0)) << std::hex << GetLastError();
    return v;
}

DWORD importBlob(HCRYPTPROV prov, const Bytes& blob, Key& out) {
    return lastErrorOf(CryptImportKey(prov, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &out.h));
}

// The 16-byte header of a GOST PUBLICKEYBLOB: 06 20 0000, ALG_ID, "MAG1", bit length.
Bytes blobHeader(ALG_ID alg, DWORD bits) {
    Bytes b(16);
    b[0] = 0x06;
    b[1] = 0x20;
    std::memcpy(&b[4], &alg, 4);
    std::memcpy(&b[8], "MAG1", 4);
    std::memcpy(&b[12], &bits, 4);
    return b;
}

const std::string kM1 = "012345678901234567890123456789012345678901234567890123456789012";  // 63 bytes

}  // namespace

TEST(SoftGost2012Provider, ProviderParameters) {
    for (const Face* f : {&k256, &k512}) {
        Prov p;
        acquireVerify(p, *f);
        DWORD type = 0, len = sizeof type;
        ASSERT_TRUE(CryptGetProvParam(p.h, PP_PROVTYPE, reinterpret_cast<BYTE*>(&type), &len, 0));
        EXPECT_EQ(type, f->type);
        char name[128];
        len = sizeof name;
        ASSERT_TRUE(CryptGetProvParam(p.h, PP_NAME, reinterpret_cast<BYTE*>(name), &len, 0));
        EXPECT_EQ(std::wstring(name, name + std::strlen(name)), std::wstring(f->name));
        std::vector<ALG_ID> algs;
        std::vector<DWORD> bits;
        PROV_ENUMALGS e;
        DWORD flags = CRYPT_FIRST;
        for (;;) {
            len = sizeof e;
            if (!CryptGetProvParam(p.h, PP_ENUMALGS, reinterpret_cast<BYTE*>(&e), &len, flags)) break;
            algs.push_back(e.aiAlgid);
            bits.push_back(e.dwBitLen);
            if (e.aiAlgid == kHmac256) {
                EXPECT_STREQ(e.szName, "HMAC 34.11-2012 256");
            }
            EXPECT_EQ(e.dwNameLen, std::strlen(e.szName) + 1);
            flags = 0;
        }
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_MORE_ITEMS));
        EXPECT_EQ(algs, (std::vector<ALG_ID>{kGr3411, kStreebog256, kStreebog512, kHmac256, kHmac512, f->sigAlg,
                                             f->exchAlg}));
        EXPECT_EQ(bits.back(), f->keyBits);
        std::vector<ALG_ID> algsEx;
        PROV_ENUMALGS_EX ex;
        flags = CRYPT_FIRST;
        for (;;) {
            len = sizeof ex;
            if (!CryptGetProvParam(p.h, PP_ENUMALGS_EX, reinterpret_cast<BYTE*>(&ex), &len, flags)) break;
            algsEx.push_back(ex.aiAlgid);
            if (ex.aiAlgid == kStreebog512) {
                EXPECT_EQ(ex.dwDefaultLen, 512u);
                EXPECT_STREQ(ex.szLongName, "GOST R 34.11-2012 512 bit");
            }
            flags = 0;
        }
        EXPECT_EQ(algsEx, algs);
    }
    // Type 75 is still the 2001 provider alone.
    Prov p;
    ASSERT_TRUE(CryptAcquireContextW(&p.h, nullptr, kName2001, kType2001, CRYPT_VERIFYCONTEXT));
    DWORD type = 0, len = sizeof type;
    ASSERT_TRUE(CryptGetProvParam(p.h, PP_PROVTYPE, reinterpret_cast<BYTE*>(&type), &len, 0));
    EXPECT_EQ(type, 75u);
    Hash hh;
    EXPECT_EQ(lastErrorOf(CryptCreateHash(p.h, kStreebog256, 0, 0, &hh.h)), static_cast<DWORD>(NTE_BAD_ALGID));
    // The default provider of each type is ours.
    for (DWORD t : {kType256, kType512}) {
        Prov d;
        EXPECT_TRUE(CryptAcquireContextW(&d.h, nullptr, nullptr, t, CRYPT_VERIFYCONTEXT))
            << t << " " << std::hex << GetLastError();
    }
}

// RFC 6986 M1 and the empty message; bytes exactly as Botan and OpenSSL's md_gost12_* give them.
TEST(SoftGost2012Provider, StreebogKnownAnswers) {
    for (const Face* f : {&k256, &k512}) {
        Prov p;
        acquireVerify(p, *f);
        EXPECT_EQ(hashOf(p.h, kStreebog256, kM1),
                  hex("9d151eefd8590b89daa6ba6cb74af9275dd051026bb149a452fd84e5e57b5500"));
        EXPECT_EQ(hashOf(p.h, kStreebog512, kM1),
                  hex("1b54d01a4af5b9d5cc3d86d68d285462b19abc2475222f35c085122be4ba1ffa00ad30f8767b3a82384c6574f024c311"
                      "e2a481332b08ef7f41797891c1646f48"));
        EXPECT_EQ(hashOf(p.h, kStreebog256, ""),
                  hex("3f539a213e97c802cc229d474c6aa32a825a360b2a933a949fd925208d9ce1bb"));
        EXPECT_EQ(hashOf(p.h, kStreebog512, ""),
                  hex("8e945da209aa869f0455928529bcae4679e9873ab707b55315f56ceb98bef0a7362f715528356ee83cda5f2aac4c6ad2"
                      "ba3a715c1bcd81cb8e9f90bf4c1c1a8a"));
        // GOST R 34.11-94 is there too (a reference may use it under a 2012 signature).
        EXPECT_EQ(hashOf(p.h, kGr3411, "abc"), hex("b285056dbf18d7392d7677369524dd14747459ed8143997e163b2986f92fd42c"));
    }
}

TEST(SoftGost2012Provider, StreebogHashParameters) {
    Prov p;
    acquireVerify(p, k512);
    for (ALG_ID alg : {kStreebog256, kStreebog512}) {
        const DWORD size = alg == kStreebog256 ? 32 : 64;
        Hash hh;
        ASSERT_TRUE(CryptCreateHash(p.h, alg, 0, 0, &hh.h));
        DWORD v = 0, len = sizeof v;
        ASSERT_TRUE(CryptGetHashParam(hh.h, HP_ALGID, reinterpret_cast<BYTE*>(&v), &len, 0));
        EXPECT_EQ(v, alg);
        len = sizeof v;
        ASSERT_TRUE(CryptGetHashParam(hh.h, HP_HASHSIZE, reinterpret_cast<BYTE*>(&v), &len, 0));
        EXPECT_EQ(v, size);
        // Fed in pieces, duplicated half way.
        ASSERT_TRUE(CryptHashData(hh.h, reinterpret_cast<const BYTE*>(kM1.data()), 30, 0));
        Hash dup;
        ASSERT_TRUE(CryptDuplicateHash(hh.h, nullptr, 0, &dup.h)) << std::hex << GetLastError();
        for (size_t i = 30; i < kM1.size(); ++i)
            ASSERT_TRUE(CryptHashData(dup.h, reinterpret_cast<const BYTE*>(&kM1[i]), 1, 0));
        Bytes out(size);
        len = 0;
        ASSERT_TRUE(CryptGetHashParam(dup.h, HP_HASHVAL, nullptr, &len, 0));
        EXPECT_EQ(len, size);
        len = size - 1;
        EXPECT_EQ(lastErrorOf(CryptGetHashParam(dup.h, HP_HASHVAL, out.data(), &len, 0)),
                  static_cast<DWORD>(ERROR_MORE_DATA));
        EXPECT_EQ(len, size);
        ASSERT_TRUE(CryptGetHashParam(dup.h, HP_HASHVAL, out.data(), &len, 0));
        EXPECT_EQ(out, hashOf(p.h, alg, kM1));
        EXPECT_EQ(lastErrorOf(CryptHashData(dup.h, reinterpret_cast<const BYTE*>("x"), 1, 0)),
                  static_cast<DWORD>(NTE_BAD_HASH_STATE));
        // HP_HASHVAL set (a digest computed elsewhere), then read back.
        Hash set;
        ASSERT_TRUE(CryptCreateHash(p.h, alg, 0, 0, &set.h));
        Bytes value(size);
        for (DWORD i = 0; i < size; ++i) value[i] = static_cast<uint8_t>(0xA0 + i);
        ASSERT_TRUE(CryptSetHashParam(set.h, HP_HASHVAL, value.data(), 0));
        len = size;
        ASSERT_TRUE(CryptGetHashParam(set.h, HP_HASHVAL, out.data(), &len, 0));
        EXPECT_EQ(out, value);
    }
}

// RFC 7091 section 7.1 (= RFC 5832 section 7): test curve 1.2.643.2.2.35.0, a GOST R 34.10-2012
// 256-bit key; e = 2DFBC1B3... is the hash value e53e042b... read little-endian.
TEST(SoftGost2012Provider, Rfc7091Example256Verifies) {
    Prov p;
    acquireVerify(p, k256);
    Bytes blob = blobHeader(kSig256, 512);
    blob = cat(blob, hex("301306072a85030202230006082a85030701010202"));
    blob = cat(blob, reversed(hex("7F2B49E270DB6D90D8595BEC458B50C58585BA1D4E9B788F6689DBD8E56FD80B")));
    blob = cat(blob, reversed(hex("26F1B489D6701DD185C8413A977B3CBBAF64D1C593D26627DFFB101A87FF77DA")));
    Key key;
    ASSERT_EQ(importBlob(p.h, blob, key), 0u);
    EXPECT_EQ(keyParam(key.h, KP_ALGID), kSig256);
    EXPECT_EQ(keyParam(key.h, KP_KEYLEN), 512u);
    EXPECT_EQ(exportPublic(key.h), blob);
    const Bytes hashValue = hex("e53e042b67e6ec678e2e02b12a0352ce1fc6eee0529cc088119ad872b3c1fb2d");
    const Bytes sr = cat(hex("01456C64BA4642A1653C235A98A60249BCD6D3F746B631DF928014F6C5BF9C40"),   // s
                         hex("41AA28D2F1AB148280CD9ED56FEDA41974053554A42767B83AD043FD39DC0493"));  // r
    const Bytes sig = reversed(sr);
    EXPECT_EQ(verifyHashValue(p.h, kStreebog256, key.h, hashValue, sig), 0u);
    Bytes bad = hashValue;
    bad[0] ^= 1;
    EXPECT_EQ(verifyHashValue(p.h, kStreebog256, key.h, bad, sig), static_cast<DWORD>(NTE_BAD_SIGNATURE));
    Bytes badSig = sig;
    badSig[5] ^= 0x10;
    EXPECT_EQ(verifyHashValue(p.h, kStreebog256, key.h, hashValue, badSig), static_cast<DWORD>(NTE_BAD_SIGNATURE));
    EXPECT_EQ(verifyHashValue(p.h, kStreebog256, key.h, hashValue, sr), static_cast<DWORD>(NTE_BAD_SIGNATURE));
    // The hash value reversed (a big-endian e) is not what the algorithm reads.
    EXPECT_EQ(verifyHashValue(p.h, kStreebog256, key.h, reversed(hashValue), sig),
              static_cast<DWORD>(NTE_BAD_SIGNATURE));
}

// RFC 7091 section 7.2: the 512-bit test curve 1.2.643.7.1.2.1.2.0; e = 3754F3CF... is the hash
// value 8c5b0772... read little-endian. A value of 128 bytes, the whole buffer reversed.
TEST(SoftGost2012Provider, Rfc7091Example512Verifies) {
    Prov p;
    acquireVerify(p, k512);
    Bytes blob = blobHeader(kSig512, 1024);
    blob = cat(blob, hex("301506092a850307010201020006082a85030701010203"));
    blob = cat(blob, reversed(hex("115DC5BC96760C7B48598D8AB9E740D4C4A85A65BE33C1815B5C320C854621DD"
                                  "5A515856D13314AF69BC5B924C8B4DDFF75C45415C1D9DD9DD33612CD530EFE1")));
    blob = cat(blob, reversed(hex("37C7C90CD40B0F5621DC3AC1B751CFA0E2634FA0503B3D52639F5D7FB72AFD61"
                                  "EA199441D943FFE7F0C70A2759A3CDB84C114E1F9339FDF27F35ECA93677BEEC")));
    Key key;
    ASSERT_EQ(importBlob(p.h, blob, key), 0u);
    EXPECT_EQ(keyParam(key.h, KP_ALGID), kSig512);
    EXPECT_EQ(keyParam(key.h, KP_KEYLEN), 1024u);
    EXPECT_EQ(exportPublic(key.h), blob);
    const Bytes hashValue =
        hex("8c5b0772297d77c64f0c561ddbde7a405a5d7c646c97394341f4936553ee8471"
            "91c5b03570141da733c570c1f9b6091b53ab8d4d7c4a4f5c61e0c9accff35437");
    const Bytes sr = cat(hex("1081B394696FFE8E6585E7A9362D26B6325F56778AADBC081C0BFBE933D52FF5"
                             "823CE288E8C4F362526080DF7F70CE406A6EEB1F56919CB92A9853BDE73E5B4A"),  // s
                         hex("2F86FA60A081091A23DD795E1E3C689EE512A3C82EE0DCC2643C78EEA8FCACD3"
                             "5492558486B20F1C9EC197C90699850260C93BCBCD9C5C3317E19344E173AE36"));  // r
    const Bytes sig = reversed(sr);
    EXPECT_EQ(verifyHashValue(p.h, kStreebog512, key.h, hashValue, sig), 0u);
    Bytes bad = hashValue;
    bad[63] ^= 0x80;
    EXPECT_EQ(verifyHashValue(p.h, kStreebog512, key.h, bad, sig), static_cast<DWORD>(NTE_BAD_SIGNATURE));
    Bytes badSig = sig;
    badSig[100] ^= 0x01;
    EXPECT_EQ(verifyHashValue(p.h, kStreebog512, key.h, hashValue, badSig), static_cast<DWORD>(NTE_BAD_SIGNATURE));
    EXPECT_EQ(verifyHashValue(p.h, kStreebog512, key.h, hashValue, sr), static_cast<DWORD>(NTE_BAD_SIGNATURE));
    Bytes shortSig(sig.begin(), sig.begin() + 64);
    EXPECT_EQ(verifyHashValue(p.h, kStreebog512, key.h, hashValue, shortSig), static_cast<DWORD>(NTE_BAD_SIGNATURE));
    // A 512-bit key takes a Streebog-512 hash only.
    EXPECT_EQ(verifyHashValue(p.h, kStreebog256, key.h, Bytes(hashValue.begin(), hashValue.begin() + 32), sig),
              static_cast<DWORD>(NTE_BAD_ALGID));
}

namespace {

// Generate, export, sign (over the provider's own hash and over HP_HASHVAL), verify in a
// verify context with the imported public key; tampered hash and value fail.
void signRoundTrip(const Face& f, DWORD keySpec) {
    SCOPED_TRACE(testing::Message() << "type " << f.type
                                    << (keySpec == AT_SIGNATURE ? " AT_SIGNATURE" : " AT_KEYEXCHANGE"));
    const std::wstring name = uniqueName(keySpec == AT_SIGNATURE ? L"softgost12-sig" : L"softgost12-exch");
    deleteContainer(name);
    Bytes blob, sig;
    const std::string msg = "Here is some data to sign.";
    {
        Prov p;
        ASSERT_TRUE(CryptAcquireContextW(&p.h, name.c_str(), f.name, f.type, CRYPT_NEWKEYSET))
            << std::hex << GetLastError();
        Key k;
        ASSERT_TRUE(CryptGenKey(p.h, keySpec, 0, &k.h)) << std::hex << GetLastError();
        const ALG_ID alg = keySpec == AT_SIGNATURE ? f.sigAlg : f.exchAlg;
        EXPECT_EQ(keyParam(k.h, KP_ALGID), alg);
        EXPECT_EQ(keyParam(k.h, KP_KEYLEN), f.keyBits);
        blob = exportPublic(k.h);
        const Bytes params = hex(keySpec == AT_SIGNATURE ? f.sigParams : f.exchParams);
        ASSERT_EQ(blob.size(), 16 + params.size() + f.keyBits / 8);
        EXPECT_EQ(Bytes(blob.begin(), blob.begin() + 16), blobHeader(alg, f.keyBits));
        EXPECT_EQ(Bytes(blob.begin() + 16, blob.begin() + 16 + params.size()), params);

        Hash hh;
        ASSERT_TRUE(CryptCreateHash(p.h, f.hashAlg, 0, 0, &hh.h));
        ASSERT_TRUE(CryptHashData(hh.h, reinterpret_cast<const BYTE*>(msg.data()), static_cast<DWORD>(msg.size()), 0));
        DWORD len = 0;
        ASSERT_TRUE(CryptSignHashW(hh.h, keySpec, nullptr, 0, nullptr, &len)) << std::hex << GetLastError();
        EXPECT_EQ(len, f.sigLen);
        sig.resize(len);
        len = static_cast<DWORD>(f.sigLen - 1);
        EXPECT_EQ(lastErrorOf(CryptSignHashW(hh.h, keySpec, nullptr, 0, sig.data(), &len)),
                  static_cast<DWORD>(ERROR_MORE_DATA));
        len = static_cast<DWORD>(sig.size());
        ASSERT_TRUE(CryptSignHashW(hh.h, keySpec, nullptr, 0, sig.data(), &len)) << std::hex << GetLastError();
        ASSERT_EQ(len, f.sigLen);

        // Hashes of another size or algorithm are refused.
        const ALG_ID other = f.hashAlg == kStreebog256 ? kStreebog512 : kStreebog256;
        for (ALG_ID wrong : {other, kGr3411}) {
            Hash wh;
            ASSERT_TRUE(CryptCreateHash(p.h, wrong, 0, 0, &wh.h));
            len = 128;
            Bytes buf(128);
            EXPECT_EQ(lastErrorOf(CryptSignHashW(wh.h, keySpec, nullptr, 0, buf.data(), &len)),
                      static_cast<DWORD>(NTE_BAD_ALGID))
                << std::hex << wrong;
        }
    }
    {
        // The stored key comes back in a new context.
        Prov p;
        ASSERT_TRUE(CryptAcquireContextW(&p.h, name.c_str(), f.name, f.type, 0)) << std::hex << GetLastError();
        Key k;
        ASSERT_TRUE(CryptGetUserKey(p.h, keySpec, &k.h)) << std::hex << GetLastError();
        EXPECT_EQ(exportPublic(k.h), blob);
        Key none;
        EXPECT_EQ(lastErrorOf(CryptGetUserKey(p.h, keySpec == AT_SIGNATURE ? AT_KEYEXCHANGE : AT_SIGNATURE, &none.h)),
                  static_cast<DWORD>(NTE_NO_KEY));
    }

    Prov v;
    acquireVerify(v, f);
    Key pub;
    ASSERT_EQ(importBlob(v.h, blob, pub), 0u);
    EXPECT_EQ(exportPublic(pub.h), blob);
    const Bytes digest = hashOf(v.h, f.hashAlg, msg);
    EXPECT_EQ(verifyHashValue(v.h, f.hashAlg, pub.h, digest, sig), 0u);
    {
        Hash vh;
        ASSERT_TRUE(CryptCreateHash(v.h, f.hashAlg, 0, 0, &vh.h));
        ASSERT_TRUE(CryptHashData(vh.h, reinterpret_cast<const BYTE*>(msg.data()), static_cast<DWORD>(msg.size()), 0));
        EXPECT_TRUE(CryptVerifySignatureW(vh.h, sig.data(), static_cast<DWORD>(sig.size()), pub.h, nullptr, 0))
            << std::hex << GetLastError();
    }
    Bytes tampered = digest;
    tampered[digest.size() / 2] ^= 0x01;
    EXPECT_EQ(verifyHashValue(v.h, f.hashAlg, pub.h, tampered, sig), static_cast<DWORD>(NTE_BAD_SIGNATURE));
    Bytes badSig = sig;
    badSig[0] ^= 0x01;
    EXPECT_EQ(verifyHashValue(v.h, f.hashAlg, pub.h, digest, badSig), static_cast<DWORD>(NTE_BAD_SIGNATURE));
    badSig = sig;
    badSig[sig.size() - 1] ^= 0x40;
    EXPECT_EQ(verifyHashValue(v.h, f.hashAlg, pub.h, digest, badSig), static_cast<DWORD>(NTE_BAD_SIGNATURE));
    EXPECT_EQ(verifyHashValue(v.h, f.hashAlg, pub.h, digest, reversed(sig)), static_cast<DWORD>(NTE_BAD_SIGNATURE));

    {
        // HP_HASHVAL set, then sign: a fresh random k each time.
        Prov p;
        ASSERT_TRUE(CryptAcquireContextW(&p.h, name.c_str(), f.name, f.type, 0));
        const Bytes sig2 = signHashValue(p.h, f.hashAlg, keySpec, digest);
        EXPECT_EQ(sig2.size(), f.sigLen);
        EXPECT_NE(sig2, sig);
        EXPECT_EQ(verifyHashValue(v.h, f.hashAlg, pub.h, digest, sig2), 0u);
    }
    // A key generated in a verify context signs for that context only.
    Key eph;
    ASSERT_TRUE(CryptGenKey(v.h, keySpec == AT_SIGNATURE ? f.sigAlg : f.exchAlg, 0, &eph.h))
        << std::hex << GetLastError();
    const Bytes sig3 = signHashValue(v.h, f.hashAlg, keySpec, digest);
    EXPECT_EQ(verifyHashValue(v.h, f.hashAlg, eph.h, digest, sig3), 0u);
    EXPECT_EQ(verifyHashValue(v.h, f.hashAlg, pub.h, digest, sig3), static_cast<DWORD>(NTE_BAD_SIGNATURE));
    deleteContainer(name);
}

}  // namespace

TEST(SoftGost2012Provider, SignVerify256Signature) { signRoundTrip(k256, AT_SIGNATURE); }
TEST(SoftGost2012Provider, SignVerify256Exchange) { signRoundTrip(k256, AT_KEYEXCHANGE); }
TEST(SoftGost2012Provider, SignVerify512Signature) { signRoundTrip(k512, AT_SIGNATURE); }
TEST(SoftGost2012Provider, SignVerify512Exchange) { signRoundTrip(k512, AT_KEYEXCHANGE); }

TEST(SoftGost2012Provider, BlobsOfTheWrongKindAreRefused) {
    Prov p256, p512, p2001;
    acquireVerify(p256, k256);
    acquireVerify(p512, k512);
    ASSERT_TRUE(CryptAcquireContextW(&p2001.h, nullptr, kName2001, kType2001, CRYPT_VERIFYCONTEXT));
    Key g256, g512;
    ASSERT_TRUE(CryptGenKey(p256.h, AT_SIGNATURE, 0, &g256.h));
    ASSERT_TRUE(CryptGenKey(p512.h, AT_SIGNATURE, 0, &g512.h));
    const Bytes b256 = exportPublic(g256.h), b512 = exportPublic(g512.h);
    Key imp;
    auto withAlg = [](Bytes b, ALG_ID alg) {
        std::memcpy(&b[4], &alg, 4);
        return b;
    };
    // aiKeyAlg must match the key size (and the provider).
    EXPECT_EQ(importBlob(p256.h, withAlg(b256, kSig512), imp), static_cast<DWORD>(NTE_BAD_ALGID));
    EXPECT_EQ(importBlob(p256.h, withAlg(b256, kDh512), imp), static_cast<DWORD>(NTE_BAD_ALGID));
    EXPECT_EQ(importBlob(p256.h, withAlg(b256, kGr3410El), imp), static_cast<DWORD>(NTE_BAD_ALGID));
    EXPECT_EQ(importBlob(p512.h, withAlg(b512, kSig256), imp), static_cast<DWORD>(NTE_BAD_ALGID));
    EXPECT_EQ(importBlob(p512.h, withAlg(b512, kDh256), imp), static_cast<DWORD>(NTE_BAD_ALGID));
    EXPECT_EQ(importBlob(p512.h, withAlg(b512, kDhElSf), imp), static_cast<DWORD>(NTE_BAD_ALGID));
    EXPECT_EQ(importBlob(p2001.h, b256, imp), static_cast<DWORD>(NTE_BAD_ALGID));
    EXPECT_EQ(importBlob(p2001.h, b512, imp), static_cast<DWORD>(NTE_BAD_ALGID));
    EXPECT_EQ(importBlob(p512.h, b256, imp), static_cast<DWORD>(NTE_BAD_ALGID));
    EXPECT_EQ(importBlob(p256.h, b512, imp), static_cast<DWORD>(NTE_BAD_ALGID));
    // The exchange ALG_ID of the right size is fine.
    {
        Key ok;
        EXPECT_EQ(importBlob(p256.h, withAlg(b256, kDh256), ok), 0u);
        EXPECT_EQ(keyParam(ok.h, KP_ALGID), kDh256);
        Key ok2;
        EXPECT_EQ(importBlob(p512.h, withAlg(b512, kDh512), ok2), 0u);
    }
    // Bit length, magic, parameter set of the other size, unknown parameter set, size, point.
    Bytes b = b256;
    b[13] = 0x04;  // 1024
    EXPECT_EQ(importBlob(p256.h, b, imp), static_cast<DWORD>(NTE_BAD_DATA));
    b = b512;
    b[13] = 0x02;  // 512
    EXPECT_EQ(importBlob(p512.h, b, imp), static_cast<DWORD>(NTE_BAD_DATA));
    b = b512;
    b[9] = 'X';
    EXPECT_EQ(importBlob(p512.h, b, imp), static_cast<DWORD>(NTE_BAD_DATA));
    // A 256-bit blob naming tc26 512-A.
    b = blobHeader(kSig256, 512);
    b = cat(b, hex("301506092a850307010201020106082a85030701010202"));
    b.insert(b.end(), b256.end() - 64, b256.end());
    EXPECT_EQ(importBlob(p256.h, b, imp), static_cast<DWORD>(NTE_BAD_DATA));
    b = b512;
    b[28] = 0x07;  // 1.2.643.7.1.2.1.2.7: no such set
    EXPECT_EQ(importBlob(p512.h, b, imp), static_cast<DWORD>(NTE_BAD_DATA));
    b = b512;
    b.pop_back();
    EXPECT_EQ(importBlob(p512.h, b, imp), static_cast<DWORD>(NTE_BAD_DATA));
    b = b512;
    b[b.size() - 70] ^= 0x01;  // point off the curve
    EXPECT_EQ(importBlob(p512.h, b, imp), static_cast<DWORD>(NTE_BAD_PUBLIC_KEY));
    b = b256;
    b[b.size() - 1] ^= 0x01;
    EXPECT_EQ(importBlob(p256.h, b, imp), static_cast<DWORD>(NTE_BAD_PUBLIC_KEY));
    // Key generation with the ALG_ID of another provider.
    Key k;
    EXPECT_EQ(lastErrorOf(CryptGenKey(p256.h, kSig512, 0, &k.h)), static_cast<DWORD>(NTE_BAD_ALGID));
    EXPECT_EQ(lastErrorOf(CryptGenKey(p512.h, kDh256, 0, &k.h)), static_cast<DWORD>(NTE_BAD_ALGID));
    EXPECT_EQ(lastErrorOf(CryptGenKey(p256.h, kGr3410El, 0, &k.h)), static_cast<DWORD>(NTE_BAD_ALGID));
    EXPECT_EQ(lastErrorOf(CryptGenKey(p2001.h, kSig256, 0, &k.h)), static_cast<DWORD>(NTE_BAD_ALGID));
    Key bySig;
    ASSERT_TRUE(CryptGenKey(p512.h, kSig512, 0, &bySig.h)) << std::hex << GetLastError();
    EXPECT_EQ(keyParam(bySig.h, KP_ALGID), kSig512);
}

// 2012 keys on the other parameter sets the provider knows, as blobs of the right size:
// the point must be on the named curve (the A-curve key is on none of the others).
TEST(SoftGost2012Provider, ParameterSetsOnImport) {
    Prov p;
    acquireVerify(p, k256);
    Key g;
    ASSERT_TRUE(CryptGenKey(p.h, AT_SIGNATURE, 0, &g.h));
    const Bytes b = exportPublic(g.h);
    const Bytes xy(b.end() - 64, b.end());
    struct Case {
        const char* oid;
        DWORD expected;
    } cases[] = {
        {"06072a850302022301", 0},                                           // CryptoPro A
        {"06072a850302022400", 0},                                           // XchA
        {"06092a8503070102010102", 0},                                       // tc26 256-B = A
        {"06072a850302022302", static_cast<DWORD>(NTE_BAD_PUBLIC_KEY)},      // B
        {"06072a850302022303", static_cast<DWORD>(NTE_BAD_PUBLIC_KEY)},      // C
        {"06072a850302022401", static_cast<DWORD>(NTE_BAD_PUBLIC_KEY)},      // XchB
        {"06092a8503070102010101", static_cast<DWORD>(NTE_BAD_PUBLIC_KEY)},  // tc26 256-A, another curve
        {"06092a8503070102010103", static_cast<DWORD>(NTE_BAD_PUBLIC_KEY)},  // tc26 256-C = B
        {"06092a8503070102010104", static_cast<DWORD>(NTE_BAD_PUBLIC_KEY)},  // tc26 256-D = C
        {"06072a850302022309", static_cast<DWORD>(NTE_BAD_DATA)},            // unknown
    };
    for (const Case& c : cases) {
        Bytes oid = hex(c.oid);
        Bytes seq = {0x30, static_cast<uint8_t>(oid.size())};
        seq = cat(seq, oid);
        Bytes blob = cat(cat(blobHeader(kSig256, 512), seq), xy);
        Key k;
        EXPECT_EQ(importBlob(p.h, blob, k), c.expected) << c.oid;
        if (c.expected == 0) {
            EXPECT_EQ(exportPublic(k.h), blob) << c.oid;  // a lone parameter set stays alone
        }
    }
}

// Signatures on the curves with a cofactor (tc26 256-A, tc26 512-C), made by OpenSSL's GOST
// engine (gost2012_256 paramset TCA, gost2012_512 paramset C): there q is about p / 4, so
// verification must compare x(C) mod q with r (Botan 2.19's own check does not reduce).
TEST(SoftGost2012Provider, CofactorCurveSignaturesVerify) {
    struct Vector {
        const Face* face;
        const char* params;  // DER SEQUENCE as in the SubjectPublicKeyInfo
        const char *xLe, *yLe, *hash, *s, *r;
        const char* torsionXY;  // Q + T, T of order 2 or 4, X || Y little-endian
    } vectors[] = {
        {&k256, "300b06092a8503070102010101", "2c73e232d56f519eee891cfbf80aa3fc3a31f57833d6a25c89b74b4e3d3c4cf9",
         "0134c316dc081327f872e2aaed56050afa258390c35b537824924e66847ab2e8",
         "6fa8592b1cd28ca72d87e7d413d8b3de31077098bed3818d98f6f79bac5cc645",
         "061d5dac14e9082b4e89c9852b694d38c37307b992529c52e88673dde88ed3b1",
         "0d6fcf69d467f2e5fdf0d770ab66ef4b5b4ca74ddf68c000179546c8b325b923",
         "38b8d4fff58d1579a719f6746e7891d747b95a480b5f600d5fb15c064069d761"
         "656b34f45d492a7a77716027f6a54fdcbf59f4978351be188b0d6bff24eada45"},
        {&k512, "300b06092a8503070102010203",
         "1fbf44452a61e142047e5be56ba89c63d76791881cb2cda0963eeeb37e84b8b6"
         "8b7477bfc9cbc4cad9571d9d8de49c0109826fb874747bb283e9790a16dc878b",
         "70e7a3f6cf96951a6de632f4d151e3f64144d4aeef8638cf6032bfc9929f47d2"
         "506003bc07364d5edc4f48a74f6fd0c8de59eb9907a16169dca051e075b0f723",
         "eeb2c35b760457d290022fc060e29500122ccdbd73b834ec04048d6de75e942f"
         "c52df86fa0ddddfce882b8dbda573ffba0232903c4c057b76624962809c184bf",
         "248244ab6910d8352f7a46b376dba44111c71e690d52c6cec74102a47a3b9ca2"
         "b96058c1a47aae91d37bc269db13d53fcb5e5d1fecdf41227a2ab929dee6c75f",
         "0bdf77518042d6d2454fc9977a14053936f35420502198ecd89ae49646ee7e24"
         "e28abfa858b3ffd648247b263c2b6cde2728ee49a4b91dc667e5c5766ffaca02",
         "50b4f9b7efc78ed4266c3f61066889e8ea2db54359a9ee6c7ad6913381bdbc91"
         "c79986f2d57e17f4d46ac39d23f364ff22ef69be038b8fe4ea2136e601bcebc7"
         "95950ad81185a3f0f8f1b72ea52d1e59d9989224d5310dd83e22ecec45292751"
         "212c7e455d17c0841c7269dcf90110e546d31cb5a509231fb581b364ae99d70f"},
    };
    for (const Vector& v : vectors) {
        const Face& f = *v.face;
        Prov p;
        acquireVerify(p, f);
        const Bytes blob = cat(cat(cat(blobHeader(f.sigAlg, f.keyBits), hex(v.params)), hex(v.xLe)), hex(v.yLe));
        Key key;
        ASSERT_EQ(importBlob(p.h, blob, key), 0u) << f.type;
        const Bytes hashValue = hex(v.hash);
        const Bytes sig = reversed(cat(hex(v.s), hex(v.r)));
        EXPECT_EQ(verifyHashValue(p.h, f.hashAlg, key.h, hashValue, sig), 0u) << f.type;
        Bytes bad = hashValue;
        bad[1] ^= 0x04;
        EXPECT_EQ(verifyHashValue(p.h, f.hashAlg, key.h, bad, sig), static_cast<DWORD>(NTE_BAD_SIGNATURE)) << f.type;
        Bytes badSig = sig;
        badSig[3] ^= 0x02;
        EXPECT_EQ(verifyHashValue(p.h, f.hashAlg, key.h, hashValue, badSig), static_cast<DWORD>(NTE_BAD_SIGNATURE))
            << f.type;
        // Q plus a point of order 2 (256) or 4 (512): on the curve, not in the subgroup of the
        // base point, refused.
        const Bytes mixed = cat(cat(blobHeader(f.sigAlg, f.keyBits), hex(v.params)), hex(v.torsionXY));
        Key mixedKey;
        EXPECT_EQ(importBlob(p.h, mixed, mixedKey), static_cast<DWORD>(NTE_BAD_PUBLIC_KEY)) << f.type;
    }
}

// Keys of one family are invisible to the others; a key stored by an earlier version of the
// provider (record version 1) still loads.
TEST(SoftGost2012Provider, ContainersKeepEachFamilysKeys) {
    const std::wstring name = uniqueName(L"softgost12-mixed");
    deleteContainer(name);
    {
        Prov p;
        ASSERT_TRUE(CryptAcquireContextW(&p.h, name.c_str(), kName2001, kType2001, CRYPT_NEWKEYSET))
            << std::hex << GetLastError();
    }
    // A version-1 record as the 2001-only provider wrote it: 01, curve 1 (CryptoPro A), private key.
    const std::string path = "Software\\Talvoran\\SoftGostCSP\\Containers\\" + std::string(name.begin(), name.end());
    HKEY hk;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, path.c_str(), 0, KEY_WRITE | KEY_READ, &hk), ERROR_SUCCESS);
    Bytes v1 = cat({0x01, 0x01}, hex("1d2b3c4d5e6f708192a3b4c5d6e7f8091a2b3c4d5e6f708192a3b4c5d6e7f809"));
    ASSERT_EQ(RegSetValueExA(hk, "Signature", 0, REG_BINARY, v1.data(), static_cast<DWORD>(v1.size())), ERROR_SUCCESS);
    {
        Prov p;
        ASSERT_TRUE(CryptAcquireContextW(&p.h, name.c_str(), kName2001, kType2001, 0));
        Key k;
        ASSERT_TRUE(CryptGetUserKey(p.h, AT_SIGNATURE, &k.h)) << std::hex << GetLastError();
        EXPECT_EQ(keyParam(k.h, KP_ALGID), kGr3410El);
        const Bytes blob = exportPublic(k.h);
        EXPECT_EQ(Bytes(blob.begin(), blob.begin() + 36),
                  hex("06200000232e00004d41473100020000301206072a85030202230106072a850302021e01"));
        const Bytes digest = hashOf(p.h, kGr3411, "abc");
        Hash hh;
        ASSERT_TRUE(CryptCreateHash(p.h, kGr3411, 0, 0, &hh.h));
        ASSERT_TRUE(CryptSetHashParam(hh.h, HP_HASHVAL, digest.data(), 0));
        Bytes sig(64);
        DWORD len = 64;
        ASSERT_TRUE(CryptSignHashW(hh.h, AT_SIGNATURE, nullptr, 0, sig.data(), &len)) << std::hex << GetLastError();
        Hash vh;
        ASSERT_TRUE(CryptCreateHash(p.h, kGr3411, 0, 0, &vh.h));
        ASSERT_TRUE(CryptSetHashParam(vh.h, HP_HASHVAL, digest.data(), 0));
        EXPECT_TRUE(CryptVerifySignatureW(vh.h, sig.data(), 64, k.h, nullptr, 0)) << std::hex << GetLastError();
    }
    {
        // The 2012 providers do not see it; their keys go beside it.
        Prov p;
        ASSERT_TRUE(CryptAcquireContextW(&p.h, name.c_str(), kName256, kType256, 0)) << std::hex << GetLastError();
        Key k;
        EXPECT_EQ(lastErrorOf(CryptGetUserKey(p.h, AT_SIGNATURE, &k.h)), static_cast<DWORD>(NTE_NO_KEY));
        Key ex;
        ASSERT_TRUE(CryptGenKey(p.h, AT_KEYEXCHANGE, 0, &ex.h)) << std::hex << GetLastError();
    }
    BYTE rec[256];
    DWORD type = 0, len = sizeof rec;
    ASSERT_EQ(RegQueryValueExA(hk, "Exchange", nullptr, &type, rec, &len), ERROR_SUCCESS);
    // Version 2, family 80, curve 1, 9-byte OID (XchA), 32-byte private key.
    ASSERT_EQ(len, 4u + 9u + 32u);
    EXPECT_EQ(Bytes(rec, rec + 13), hex("0250010906072a850302022400"));
    len = sizeof rec;
    ASSERT_EQ(RegQueryValueExA(hk, "Signature", nullptr, &type, rec, &len), ERROR_SUCCESS);
    EXPECT_EQ(Bytes(rec, rec + len), v1);
    RegCloseKey(hk);
    {
        Prov p;
        ASSERT_TRUE(CryptAcquireContextW(&p.h, name.c_str(), kName2001, kType2001, 0));
        Key k;
        EXPECT_EQ(lastErrorOf(CryptGetUserKey(p.h, AT_KEYEXCHANGE, &k.h)), static_cast<DWORD>(NTE_NO_KEY));
    }
    {
        Prov p;
        ASSERT_TRUE(CryptAcquireContextW(&p.h, name.c_str(), kName512, kType512, 0));
        Key k;
        EXPECT_EQ(lastErrorOf(CryptGetUserKey(p.h, AT_KEYEXCHANGE, &k.h)), static_cast<DWORD>(NTE_NO_KEY));
    }
    {
        Prov p;
        ASSERT_TRUE(CryptAcquireContextW(&p.h, name.c_str(), kName256, kType256, 0));
        Key k;
        ASSERT_TRUE(CryptGetUserKey(p.h, AT_KEYEXCHANGE, &k.h)) << std::hex << GetLastError();
        EXPECT_EQ(keyParam(k.h, KP_ALGID), kDh256);
    }
    deleteContainer(name);
}

namespace {

Bytes plaintextKeyBlob(ALG_ID alg, const Bytes& secret) {
    Bytes b(12);
    b[0] = PLAINTEXTKEYBLOB;
    b[1] = CUR_BLOB_VERSION;
    std::memcpy(&b[4], &alg, 4);
    DWORD len = static_cast<DWORD>(secret.size());
    std::memcpy(&b[8], &len, 4);
    return cat(b, secret);
}

Bytes hmacValue(HCRYPTHASH h) {
    DWORD len = 0;
    EXPECT_TRUE(CryptGetHashParam(h, HP_HASHVAL, nullptr, &len, 0)) << std::hex << GetLastError();
    Bytes v(len);
    EXPECT_TRUE(CryptGetHashParam(h, HP_HASHVAL, v.data(), &len, 0)) << std::hex << GetLastError();
    return v;
}

// RFC 7836 section 4.1: K = 00..1f, T = 0126bdb87800af214341456563780100.
const char kHmacKey[] = "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f";
const char kHmacText[] = "0126bdb87800af214341456563780100";
const char kHmac256Value[] = "a1aa5f7de402d7b3d323f2991c8d4534013137010a83754fd0af6d7cd4922ed9";
const char kHmac512Value[] =
    "a59bab22ecae19c65fbde6e5f4e9f5d8549d31f037f9df9b905500e171923a773d5f1530f2ed7e964cb2eedc29e9ad2f"
    "3afe93b2814f79f5000ffc0366c251e6";

}  // namespace

TEST(SoftGost2012Provider, HmacStreebogKnownAnswers) {
    for (const Face* f : {&k256, &k512}) {
        Prov p;
        acquireVerify(p, *f);
        Key sigKey;
        ASSERT_TRUE(CryptGenKey(p.h, AT_SIGNATURE, 0, &sigKey.h));
        const Bytes secret = hex(kHmacKey), text = hex(kHmacText);
        Key key;
        const Bytes blob = plaintextKeyBlob(kG28147, secret);
        ASSERT_EQ(importBlob(p.h, blob, key), 0u);
        EXPECT_EQ(keyParam(key.h, KP_ALGID), kG28147);
        EXPECT_EQ(keyParam(key.h, KP_KEYLEN), 256u);
        DWORD len = 0;
        EXPECT_EQ(lastErrorOf(CryptExportKey(key.h, 0, PLAINTEXTKEYBLOB, 0, nullptr, &len)),
                  static_cast<DWORD>(NTE_BAD_KEY_STATE));
        for (ALG_ID alg : {kHmac256, kHmac512}) {
            Hash hh;
            ASSERT_TRUE(CryptCreateHash(p.h, alg, key.h, 0, &hh.h)) << std::hex << GetLastError();
            ASSERT_TRUE(CryptHashData(hh.h, text.data(), 10, 0));
            Hash dup;
            ASSERT_TRUE(CryptDuplicateHash(hh.h, nullptr, 0, &dup.h));
            ASSERT_TRUE(CryptHashData(hh.h, text.data() + 10, static_cast<DWORD>(text.size() - 10), 0));
            EXPECT_EQ(hmacValue(hh.h), hex(alg == kHmac256 ? kHmac256Value : kHmac512Value));
            ASSERT_TRUE(CryptHashData(dup.h, text.data() + 10, static_cast<DWORD>(text.size() - 10), 0));
            EXPECT_EQ(hmacValue(dup.h), hex(alg == kHmac256 ? kHmac256Value : kHmac512Value));
            DWORD v = 0;
            len = sizeof v;
            ASSERT_TRUE(CryptGetHashParam(hh.h, HP_ALGID, reinterpret_cast<BYTE*>(&v), &len, 0));
            EXPECT_EQ(v, alg);
            // An HMAC is no signature's hash.
            Bytes sig(128);
            len = 128;
            EXPECT_EQ(lastErrorOf(CryptSignHashW(hh.h, AT_SIGNATURE, nullptr, 0, sig.data(), &len)),
                      static_cast<DWORD>(NTE_BAD_ALGID));
        }
        // CALG_HMAC with HP_HMAC_INFO, as Windows callers do it: here the key is one zero byte
        // and the secret is in the pads (block size 64).
        Key zero;
        ASSERT_TRUE(
            CryptImportKey(p.h, plaintextKeyBlob(CALG_RC2, Bytes(1, 0)).data(), 13, 0, CRYPT_IPSEC_HMAC_KEY, &zero.h))
            << std::hex << GetLastError();
        for (ALG_ID alg : {kStreebog256, kStreebog512}) {
            Bytes inner(64, 0x36), outer(64, 0x5c);
            for (size_t i = 0; i < secret.size(); ++i) {
                inner[i] ^= secret[i];
                outer[i] ^= secret[i];
            }
            HMAC_INFO info{};
            info.HashAlgid = alg;
            info.pbInnerString = inner.data();
            info.cbInnerString = static_cast<DWORD>(inner.size());
            info.pbOuterString = outer.data();
            info.cbOuterString = static_cast<DWORD>(outer.size());
            Hash hh;
            ASSERT_TRUE(CryptCreateHash(p.h, CALG_HMAC, zero.h, 0, &hh.h)) << std::hex << GetLastError();
            EXPECT_EQ(lastErrorOf(CryptHashData(hh.h, text.data(), 1, 0)), static_cast<DWORD>(NTE_BAD_HASH_STATE));
            ASSERT_TRUE(CryptSetHashParam(hh.h, HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info), 0))
                << std::hex << GetLastError();
            ASSERT_TRUE(CryptHashData(hh.h, text.data(), static_cast<DWORD>(text.size()), 0));
            EXPECT_EQ(hmacValue(hh.h), hex(alg == kStreebog256 ? kHmac256Value : kHmac512Value));
        }
        // The real key with the default pads gives the same.
        {
            HMAC_INFO info{};
            info.HashAlgid = kStreebog256;
            Hash hh;
            ASSERT_TRUE(CryptCreateHash(p.h, CALG_HMAC, key.h, 0, &hh.h));
            ASSERT_TRUE(CryptSetHashParam(hh.h, HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info), 0));
            ASSERT_TRUE(CryptHashData(hh.h, text.data(), static_cast<DWORD>(text.size()), 0));
            EXPECT_EQ(hmacValue(hh.h), hex(kHmac256Value));
        }
        // No key, a public key, an unknown hash in HMAC_INFO.
        Hash bad;
        EXPECT_EQ(lastErrorOf(CryptCreateHash(p.h, kHmac256, 0, 0, &bad.h)), static_cast<DWORD>(NTE_BAD_KEY));
        EXPECT_EQ(lastErrorOf(CryptCreateHash(p.h, kHmac256, sigKey.h, 0, &bad.h)), static_cast<DWORD>(NTE_BAD_KEY));
        Hash hh;
        ASSERT_TRUE(CryptCreateHash(p.h, CALG_HMAC, key.h, 0, &hh.h));
        HMAC_INFO info{};
        info.HashAlgid = CALG_SHA1;
        EXPECT_EQ(lastErrorOf(CryptSetHashParam(hh.h, HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info), 0)),
                  static_cast<DWORD>(NTE_BAD_ALGID));
        // A secret does not verify signatures.
        Hash sh;
        ASSERT_TRUE(CryptCreateHash(p.h, f->hashAlg, 0, 0, &sh.h));
        Bytes sig(f->sigLen);
        EXPECT_EQ(
            lastErrorOf(CryptVerifySignatureW(sh.h, sig.data(), static_cast<DWORD>(sig.size()), key.h, nullptr, 0)),
            static_cast<DWORD>(NTE_BAD_KEY));
    }
    // The 2001 provider has no HMAC and takes no PLAINTEXTKEYBLOB, as before.
    Prov p;
    ASSERT_TRUE(CryptAcquireContextW(&p.h, nullptr, kName2001, kType2001, CRYPT_VERIFYCONTEXT));
    Key key;
    EXPECT_EQ(importBlob(p.h, plaintextKeyBlob(kG28147, hex(kHmacKey)), key), static_cast<DWORD>(NTE_BAD_TYPE));
}

namespace {

Bytes base64(const char* text) {
    DWORD len = 0;
    EXPECT_TRUE(CryptStringToBinaryA(text, 0, CRYPT_STRING_BASE64, nullptr, &len, nullptr, nullptr));
    Bytes out(len);
    EXPECT_TRUE(CryptStringToBinaryA(text, 0, CRYPT_STRING_BASE64, out.data(), &len, nullptr, nullptr));
    out.resize(len);
    return out;
}

// The documents ../shared/vectors/gost-csp-made-Verify2012_256.xml and _512.xml (made by a
// commercial GOST CSP): the certificate, SignedInfo after inclusive C14N, SignatureValue (s || r).
const char kCert256[] =
    "MIIBhDCCATGgAwIBAgIQdRGdjFEFWqJFdK3uXftqvDAKBggqhQMHAQEDAjAdMRswGQYDVQQDDBJHb3N0XzIwMTJfMjU2X1Rlc3QwHhcNMTcx"
    "MTI4MDc1NjM1WhcNNDAwMzIwMDczMTAwWjAdMRswGQYDVQQDDBJHb3N0XzIwMTJfMjU2X1Rlc3QwZjAfBggqhQMHAQEBATATBgcqhQMCAiQA"
    "BggqhQMHAQECAgNDAARAA1ZjRyfGkhalAO5hgXvYUvs8S3Xkap98Fp9RfqA7L+BV0391rHPL6d0uGx4WsBmM9G802YJgDZCuiMyKAgi5R6NG"
    "MEQwDgYDVR0PAQH/BAQDAgXgMBMGA1UdJQQMMAoGCCsGAQUFBwMCMB0GA1UdDgQWBBR1pExePljgg5daru/pCaFbqIYHvTAKBggqhQMHAQED"
    "AgNBAIekQ/6QdH47xOGFMN3lEMmFi503SmGZ8o7sIjBAjBeWrHNUsoGXeVl46KZbCYtrw7mGxyVn6iUmFGLXYD22He8=";
const char kSignedInfo256[] =
    "<SignedInfo xmlns=\"http://www.w3.org/2000/09/xmldsig#\"><CanonicalizationMethod "
    "Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"></CanonicalizationMethod><SignatureMethod "
    "Algorithm=\"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102012-gostr34112012-256\"></SignatureMethod>"
    "<Reference URI=\"\"><Transforms><Transform Algorithm=\"http://www.w3.org/2000/09/xmldsig#enveloped-signature\">"
    "</Transform><Transform Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"></Transform></Transforms>"
    "<DigestMethod Algorithm=\"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-256\"></DigestMethod>"
    "<DigestValue>AJurr2ph8YjCraU6VFAeTKXKM3zZtz4gHgN0+gzE5y8=</DigestValue></Reference></SignedInfo>";
const char kSignatureValue256[] =
    "fbjm76Pe8oe++5udjiqVolYUBmwue11qdxdudGSjw+7TNevOQ4NsGkSYaK/zbsXntZyGGk8vNzJiIpqQH7NLdw==";

const char kCert512[] =
    "MIIChTCCAfGgAwIBAgIBATAKBggqhQMHAQEDAzA1MSAwHgYJKoZIhvcNAQkBFhF0ZXN0QGNyeXB0b3Byby5ydTERMA8GA1UEAwwIRzIwMTI1"
    "MTIwHhcNMTkwMTI0MTMyMzEwWhcNMzAwMTAxMTMyMzEwWjA1MSAwHgYJKoZIhvcNAQkBFhF0ZXN0QGNyeXB0b3Byby5ydTERMA8GA1UEAwwI"
    "RzIwMTI1MTIwgaowIQYIKoUDBwEBAQIwFQYJKoUDBwECAQIBBggqhQMHAQECAwOBhAAEgYAMFoJl3zaAWAX2Yal4Bmu5xzbSHjI2tzJigQhb"
    "daZkwk5+joJDz9AvWuW0DtNDwvk2zVneF8kX5wjLD1weSRa/VSJUbUbJgvCoDvPybgwVP1xnxnYpXEshIKEQlOy781RsnriXumMmaymCwZ2d"
    "dzq9hs5joEOWpPRwL7mfmcB5v6OBnzCBnDAdBgNVHQ4EFgQUas4KM9kNpuBiRVmPR1Q8nzvAitIwCwYDVR0PBAQDAgHGMA8GA1UdEwQIMAYB"
    "Af8CAQEwXQYDVR0BBFYwVIAUas4KM9kNpuBiRVmPR1Q8nzvAitKhOaQ3MDUxIDAeBgkqhkiG9w0BCQEWEXRlc3RAY3J5cHRvcHJvLnJ1MREw"
    "DwYDVQQDDAhHMjAxMjUxMoIBATAKBggqhQMHAQEDAwOBgQBkl84we9KxdbjEPlZpUvnjl48Ob+v0NCPjt/azci+y5lEU0FKvSrCu3Raz3Aov"
    "iMiiPH7oA1OsANgfQ43elS6J9g9B7xHGXJyM6B4JHC5W1w2H27V2WkbDsWLJpELvqjj+fLA2sFLJX/DuEcSjRTibzypKUuwJEDMIvMo83WVE"
    "Vw==";
// A 2012-512 signature method over a GOST R 34.11-94 reference digest.
const char kSignedInfo512[] =
    "<SignedInfo xmlns=\"http://www.w3.org/2000/09/xmldsig#\"><CanonicalizationMethod "
    "Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"></CanonicalizationMethod><SignatureMethod "
    "Algorithm=\"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102012-gostr34112012-512\"></SignatureMethod>"
    "<Reference URI=\"\"><Transforms><Transform Algorithm=\"http://www.w3.org/2000/09/xmldsig#enveloped-signature\">"
    "</Transform><Transform Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"></Transform></Transforms>"
    "<DigestMethod Algorithm=\"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411\"></DigestMethod>"
    "<DigestValue>zPlpay6cswDZcJP+UiPemVWUFj4/cUaekOMZ3J8Oxt0=</DigestValue></Reference></SignedInfo>";
const char kSignatureValue512[] =
    "UZ585ij9MdTC1uN96LQ6bq0IWGQ6Cei5MOEyaz/ywQJyBBxLWld7SNbd+ZOyd1jcJwfMDG/v1dctJjByZgsveQR7QnD7Lq6lp25sGPaReXEVs1xa"
    "HT0WIEK5TwBGH/4WuXyrGgp9qSdy4ZW8zDAGPSpfuIUMpJn21wdxUG/qUWQ=";

void verifyVectorDocument(const Face& f, const char* certB64, const char* signedInfo, const char* sigB64) {
    const Bytes der = base64(certB64);
    PCCERT_CONTEXT cert = CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()));
    ASSERT_NE(cert, nullptr) << std::hex << GetLastError();
    Prov p;
    acquireVerify(p, f);
    Key key;
    BOOL ok = CryptImportPublicKeyInfoEx(p.h, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                         &cert->pCertInfo->SubjectPublicKeyInfo, 0, 0, nullptr, &key.h);
    DWORD err = GetLastError();
    CertFreeCertificateContext(cert);
    ASSERT_TRUE(ok) << std::hex << err;
    EXPECT_EQ(keyParam(key.h, KP_ALGID), f.sigAlg);
    Hash hh;
    ASSERT_TRUE(CryptCreateHash(p.h, f.hashAlg, 0, 0, &hh.h));
    ASSERT_TRUE(
        CryptHashData(hh.h, reinterpret_cast<const BYTE*>(signedInfo), static_cast<DWORD>(std::strlen(signedInfo)), 0));
    const Bytes sig = reversed(base64(sigB64));
    ASSERT_EQ(sig.size(), f.sigLen);
    EXPECT_TRUE(CryptVerifySignatureW(hh.h, sig.data(), static_cast<DWORD>(sig.size()), key.h, nullptr, 0))
        << std::hex << GetLastError();
    const Bytes other = hashOf(p.h, f.hashAlg, "Here is some data to sign.");
    EXPECT_EQ(verifyHashValue(p.h, f.hashAlg, key.h, other, sig), static_cast<DWORD>(NTE_BAD_SIGNATURE));
}

}  // namespace

TEST(SoftGost2012Provider, VectorDocument256VerifiesThroughCertificate) {
    verifyVectorDocument(k256, kCert256, kSignedInfo256, kSignatureValue256);
}

TEST(SoftGost2012Provider, VectorDocument512VerifiesThroughCertificate) {
    verifyVectorDocument(k512, kCert512, kSignedInfo512, kSignatureValue512);
}

// CryptImportPublicKeyInfoEx of a generated key's SubjectPublicKeyInfo, into the given
// provider and into ours of the key's type (no provider given).
TEST(SoftGost2012Provider, ImportPublicKeyInfoOfGeneratedKeys) {
    for (const Face* f : {&k256, &k512}) {
        Prov p;
        acquireVerify(p, *f);
        Key k;
        ASSERT_TRUE(CryptGenKey(p.h, AT_KEYEXCHANGE, 0, &k.h));
        const Bytes blob = exportPublic(k.h);
        const size_t paramLen = 2 + blob[17];
        Bytes params(blob.begin() + 16, blob.begin() + 16 + paramLen);
        Bytes pubOctets = f->keyBits == 512 ? Bytes{0x04, 0x40} : Bytes{0x04, 0x81, 0x80};
        pubOctets.insert(pubOctets.end(), blob.begin() + 16 + paramLen, blob.end());
        char oid256[] = "1.2.643.7.1.1.1.1", oid512[] = "1.2.643.7.1.1.1.2";
        CERT_PUBLIC_KEY_INFO info{};
        info.Algorithm.pszObjId = f->keyBits == 512 ? oid256 : oid512;
        info.Algorithm.Parameters.cbData = static_cast<DWORD>(params.size());
        info.Algorithm.Parameters.pbData = params.data();
        info.PublicKey.cbData = static_cast<DWORD>(pubOctets.size());
        info.PublicKey.pbData = pubOctets.data();
        Key imported;
        ASSERT_TRUE(CryptImportPublicKeyInfoEx(p.h, X509_ASN_ENCODING, &info, f->exchAlg, 0, nullptr, &imported.h))
            << std::hex << GetLastError();
        EXPECT_EQ(exportPublic(imported.h), blob);
        Key own;
        ASSERT_TRUE(CryptImportPublicKeyInfoEx(0, X509_ASN_ENCODING, &info, 0, 0, nullptr, &own.h))
            << std::hex << GetLastError();
        EXPECT_EQ(keyParam(own.h, KP_ALGID), f->sigAlg);
        const Bytes digest = hashOf(p.h, f->hashAlg, "abc");
        const Bytes sig = signHashValue(p.h, f->hashAlg, AT_KEYEXCHANGE, digest);
        EXPECT_EQ(verifyHashValue(p.h, f->hashAlg, imported.h, digest, sig), 0u);
        // Into the 2001 provider: refused.
        Prov old;
        ASSERT_TRUE(CryptAcquireContextW(&old.h, nullptr, kName2001, kType2001, CRYPT_VERIFYCONTEXT));
        Key no;
        EXPECT_EQ(lastErrorOf(CryptImportPublicKeyInfoEx(old.h, X509_ASN_ENCODING, &info, 0, 0, nullptr, &no.h)),
                  static_cast<DWORD>(NTE_BAD_ALGID));
    }
}
