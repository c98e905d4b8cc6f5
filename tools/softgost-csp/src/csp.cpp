// Talvoran Soft GOST CSP: a software CryptoAPI provider for GOST R 34.10-2001 (type 75) and
// GOST R 34.10-2012 (types 80 and 81) signatures and GOST R 34.11-94 / 34.11-2012 hashes, for
// tests and development only. One DLL serves the three provider names; a context takes its
// algorithms from the provider type advapi32 loaded it for. Container keys are stored
// UNPROTECTED in the registry (see README.md).
#include <windows.h>
#include <wincrypt.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "gost.hpp"

using softgost::Bytes;
using softgost::DigestKind;
using softgost::KeyMaterial;

#ifndef CALG_GR3411
#define CALG_GR3411 0x801E
#endif
#ifndef CALG_GR3410EL
#define CALG_GR3410EL 0x2E23
#endif
#ifndef CALG_DH_EL_SF
#define CALG_DH_EL_SF 0xAA24
#endif
#ifndef CALG_GR3411_2012_256
#define CALG_GR3411_2012_256 0x8021
#endif
#ifndef CALG_GR3411_2012_512
#define CALG_GR3411_2012_512 0x8022
#endif
#ifndef CALG_GR3411_2012_256_HMAC
#define CALG_GR3411_2012_256_HMAC 0x8034
#endif
#ifndef CALG_GR3411_2012_512_HMAC
#define CALG_GR3411_2012_512_HMAC 0x8035
#endif
#ifndef CALG_GR3410_12_256
#define CALG_GR3410_12_256 0x2E49
#endif
#ifndef CALG_GR3410_12_512
#define CALG_GR3410_12_512 0x2E3D
#endif
#ifndef CALG_DH_GR3410_12_256_SF
#define CALG_DH_GR3410_12_256_SF 0xAA46
#endif
#ifndef CALG_DH_GR3410_12_512_SF
#define CALG_DH_GR3410_12_512_SF 0xAA42
#endif

namespace {

// The three faces of the DLL. A context belongs to one of them for its whole life.
enum Family : int { Fam2001 = 0, Fam2012_256 = 1, Fam2012_512 = 2, FamilyCount = 3 };

struct FamilyDef {
    const char* name;  // provider name (registered by register.sh)
    DWORD type;        // provider type
    ALG_ID sigAlg;     // AT_SIGNATURE key
    ALG_ID exchAlg;    // AT_KEYEXCHANGE key (signs too)
    ALG_ID signHash;   // the hash a signature of this family is computed over
    DWORD keyBits;     // KP_KEYLEN, PUBLICKEYBLOB bit length
    unsigned oidUse;   // parameter sets accepted on import
    int genCurve;      // curve of generated keys
    uint8_t storeTag;  // family byte of a stored key (version 2 records)
};

const FamilyDef kFamilies[FamilyCount] = {
    {"Talvoran Soft GOST CSP", 75, CALG_GR3410EL, CALG_DH_EL_SF, CALG_GR3411, 512, softgost::Use2001, softgost::CurveA,
     75},
    {"Talvoran Soft GOST 2012-256 CSP", 80, CALG_GR3410_12_256, CALG_DH_GR3410_12_256_SF, CALG_GR3411_2012_256, 512,
     softgost::Use2012_256, softgost::CurveA, 80},
    {"Talvoran Soft GOST 2012-512 CSP", 81, CALG_GR3410_12_512, CALG_DH_GR3410_12_512_SF, CALG_GR3411_2012_512, 1024,
     softgost::Use2012_512, softgost::Curve512A, 81},
};

const char kStoreRoot[] = "Software\\Talvoran\\SoftGostCSP\\Containers";
const DWORD kGostMagic = 0x3147414D;  // "MAG1"

enum : uint32_t { kProvMagic = 0x50534754, kKeyMagic = 0x4B534754, kHashMagic = 0x48534754 };

// The layout advapi32 hands to CPAcquireContext (VTableProvStruc, version 3).
struct ProvVTable {
    DWORD Version;
    FARPROC FuncVerifyImage;
    FARPROC FuncReturnhWnd;
    DWORD dwProvType;
    BYTE* pbContextInfo;
    DWORD cbContextInfo;
    LPSTR pszProvName;
};

void wipe(Bytes& b) {
    if (!b.empty()) SecureZeroMemory(b.data(), b.size());
}

struct Key {
    uint32_t magic = kKeyMagic;
    ALG_ID alg = CALG_GR3410EL;
    int family = Fam2001;
    // A GOST R 34.10 key ...
    KeyMaterial mat;
    Bytes paramOid;   // DER of the public key parameter set as received or generated
    Bytes digestOid;  // DER of the digest parameter set written after it (may be empty for 2012 keys)
    // ... or a secret (PLAINTEXTKEYBLOB) for HMAC.
    bool secret = false;
    Bytes secretValue;

    Key() = default;
    Key(const Key&) = default;
    Key& operator=(const Key&) = delete;
    ~Key() {
        wipe(mat.priv);
        wipe(secretValue);
    }
};

struct Prov {
    uint32_t magic = kProvMagic;
    int family = Fam2001;
    std::string container;  // empty for CRYPT_VERIFYCONTEXT
    bool verifyOnly = false;
    bool machine = false;
    std::unique_ptr<Key> ephemeral[3];  // keys generated in a verify context, by dwKeySpec
    size_t enumAlg = 0;
    std::vector<std::string> containers;
    size_t enumContainer = 0;
};

// A hash object: a plain digest, or an HMAC (CALG_GR3411_2012_*_HMAC with a secret key, or
// CALG_HMAC with a secret key and HP_HMAC_INFO).
struct Hash {
    uint32_t magic = kHashMagic;
    ALG_ID alg = CALG_GR3411;                  // as created (HP_ALGID)
    ALG_ID digestAlg = CALG_GR3411;            // the underlying hash
    std::unique_ptr<softgost::Digest> digest;  // null for CALG_HMAC until HP_HMAC_INFO
    bool hmac = false;
    Bytes hmacKey;   // CALG_HMAC: the key, XORed into the pads of HP_HMAC_INFO
    Bytes outerPad;  // HMAC: what the outer hash starts with
    bool finished = false;
    Bytes value;

    Hash() = default;
    Hash(const Hash& o)
        : alg(o.alg),
          digestAlg(o.digestAlg),
          digest(o.digest ? std::make_unique<softgost::Digest>(*o.digest) : nullptr),
          hmac(o.hmac),
          hmacKey(o.hmacKey),
          outerPad(o.outerPad),
          finished(o.finished),
          value(o.value) {}
    Hash& operator=(const Hash&) = delete;
    ~Hash() {
        wipe(hmacKey);
        wipe(outerPad);
    }
};

std::mutex g_lock;
std::set<void*> g_live;  // every handle handed out and not yet released

template <class T>
T* lookup(ULONG_PTR handle, uint32_t magic) {
    void* p = reinterpret_cast<void*>(handle);
    if (!p || !g_live.count(p)) return nullptr;
    T* t = static_cast<T*>(p);
    return t->magic == magic ? t : nullptr;
}

template <class T>
ULONG_PTR publish(std::unique_ptr<T> obj) {
    T* raw = obj.release();
    g_live.insert(raw);
    return reinterpret_cast<ULONG_PTR>(raw);
}

BOOL fail(DWORD code) {
    SetLastError(code);
    return FALSE;
}

// Copies a result for a CryptGet*Param-style call: size query, ERROR_MORE_DATA or copy.
BOOL output(const void* data, DWORD len, BYTE* pb, DWORD* pcb) {
    if (!pcb) return fail(ERROR_INVALID_PARAMETER);
    if (!pb) {
        *pcb = len;
        return TRUE;
    }
    if (*pcb < len) {
        *pcb = len;
        return fail(ERROR_MORE_DATA);
    }
    std::memcpy(pb, data, len);
    *pcb = len;
    return TRUE;
}

BOOL outputDword(DWORD v, BYTE* pb, DWORD* pcb) { return output(&v, sizeof v, pb, pcb); }
BOOL outputString(const std::string& s, BYTE* pb, DWORD* pcb) {
    return output(s.c_str(), static_cast<DWORD>(s.size() + 1), pb, pcb);
}

// --- hashes
bool digestKindOf(ALG_ID alg, DigestKind& kind) {
    switch (alg) {
        case CALG_GR3411: kind = DigestKind::Gr3411_94; return true;
        case CALG_GR3411_2012_256: kind = DigestKind::Streebog256; return true;
        case CALG_GR3411_2012_512: kind = DigestKind::Streebog512; return true;
        default: return false;
    }
}

// True once the hash can take data and give a value (a CALG_HMAC hash needs HP_HMAC_INFO first).
bool hashReady(const Hash& h) { return h.digest != nullptr || h.finished; }

size_t hashSize(const Hash& h) { return h.digest ? h.digest->size() : h.value.size(); }

const Bytes& hashValue(Hash& h) {
    if (!h.finished) {
        Bytes inner = h.digest->final();
        if (h.hmac) {
            softgost::Digest outer(h.digest->kind());
            outer.update(h.outerPad);
            outer.update(inner);
            h.value = outer.final();
        } else {
            h.value = inner;
        }
        h.finished = true;
    }
    return h.value;
}

// HMAC with the key as RFC 2104 has it (CALG_GR3411_2012_*_HMAC).
void startHmac(Hash& h, const Bytes& key) {
    const size_t block = h.digest->blockSize();
    Bytes k = key;
    if (k.size() > block) {
        softgost::Digest kd(h.digest->kind());
        kd.update(k);
        wipe(k);
        k = kd.final();
    }
    k.resize(block, 0);
    Bytes inner(block);
    h.outerPad.assign(block, 0);
    for (size_t i = 0; i < block; ++i) {
        inner[i] = k[i] ^ 0x36;
        h.outerPad[i] = k[i] ^ 0x5c;
    }
    h.digest->update(inner);
    wipe(inner);
    wipe(k);
    h.hmac = true;
}

// HP_HMAC_INFO on a CALG_HMAC hash, as Windows providers do it: the given pads (0x36 / 0x5c
// times 64 when empty), each XORed with the key over their common length.
DWORD setHmacInfo(Hash& h, const HMAC_INFO& info, unsigned family) {
    DigestKind kind;
    if (!digestKindOf(info.HashAlgid, kind)) return NTE_BAD_ALGID;
    if (family == Fam2001) return NTE_BAD_ALGID;
    if ((info.cbInnerString && !info.pbInnerString) || (info.cbOuterString && !info.pbOuterString))
        return ERROR_INVALID_PARAMETER;
    Bytes inner =
        info.cbInnerString ? Bytes(info.pbInnerString, info.pbInnerString + info.cbInnerString) : Bytes(64, 0x36);
    Bytes outer =
        info.cbOuterString ? Bytes(info.pbOuterString, info.pbOuterString + info.cbOuterString) : Bytes(64, 0x5c);
    for (size_t i = 0; i < h.hmacKey.size() && i < inner.size(); ++i) inner[i] ^= h.hmacKey[i];
    for (size_t i = 0; i < h.hmacKey.size() && i < outer.size(); ++i) outer[i] ^= h.hmacKey[i];
    h.digestAlg = info.HashAlgid;
    h.digest = std::make_unique<softgost::Digest>(kind);
    h.digest->update(inner);
    wipe(inner);
    wipe(h.outerPad);
    h.outerPad = std::move(outer);
    h.hmac = true;
    h.finished = false;
    h.value.clear();
    return 0;
}

// --- container storage: HKCU (or HKLM for CRYPT_MACHINE_KEYSET)\Software\Talvoran\SoftGostCSP\Containers\<name>
HKEY storeHive(bool machine) { return machine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER; }
std::string storePath(const std::string& name) { return std::string(kStoreRoot) + "\\" + name; }
const char* keySpecValue(DWORD keySpec) { return keySpec == AT_KEYEXCHANGE ? "Exchange" : "Signature"; }

bool containerExists(bool machine, const std::string& name) {
    HKEY k;
    if (RegOpenKeyExA(storeHive(machine), storePath(name).c_str(), 0, KEY_READ, &k) != ERROR_SUCCESS) return false;
    RegCloseKey(k);
    return true;
}

bool containerCreate(bool machine, const std::string& name) {
    HKEY k;
    if (RegCreateKeyExA(storeHive(machine), storePath(name).c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &k, nullptr) !=
        ERROR_SUCCESS)
        return false;
    RegCloseKey(k);
    return true;
}

bool containerDelete(bool machine, const std::string& name) {
    return RegDeleteKeyA(storeHive(machine), storePath(name).c_str()) == ERROR_SUCCESS;
}

// Stored values (REG_BINARY, unprotected):
//   version 1 (GOST R 34.10-2001, type 75): 01, curve index (0..3), 32-byte private key (big-endian);
//   version 2 (GOST R 34.10-2012): 02, family (80 = 2012-256, 81 = 2012-512), curve index,
//     length of the parameter-set OID's DER, that DER, the 32- or 64-byte private key (big-endian).
bool storeKey(const Prov& p, DWORD keySpec, const Key& k) {
    HKEY key;
    if (RegOpenKeyExA(storeHive(p.machine), storePath(p.container).c_str(), 0, KEY_WRITE, &key) != ERROR_SUCCESS)
        return false;
    Bytes v;
    if (k.family == Fam2001) {
        v = {1, static_cast<uint8_t>(k.mat.curve)};
    } else {
        v = {2, kFamilies[k.family].storeTag, static_cast<uint8_t>(k.mat.curve),
             static_cast<uint8_t>(k.paramOid.size())};
        v.insert(v.end(), k.paramOid.begin(), k.paramOid.end());
    }
    v.insert(v.end(), k.mat.priv.begin(), k.mat.priv.end());
    LONG rc = RegSetValueExA(key, keySpecValue(keySpec), 0, REG_BINARY, v.data(), static_cast<DWORD>(v.size()));
    wipe(v);
    RegCloseKey(key);
    return rc == ERROR_SUCCESS;
}

// The stored key of one keySpec, if it belongs to `family` (a key of another family is not
// seen: NTE_NO_KEY).
bool loadKey(const Prov& p, DWORD keySpec, Key& out) {
    HKEY key;
    if (RegOpenKeyExA(storeHive(p.machine), storePath(p.container).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    BYTE buf[256];
    DWORD type = 0, len = sizeof buf;
    LONG rc = RegQueryValueExA(key, keySpecValue(keySpec), nullptr, &type, buf, &len);
    RegCloseKey(key);
    bool ok = false;
    if (rc == ERROR_SUCCESS && type == REG_BINARY) {
        if (p.family == Fam2001 && len == 34 && buf[0] == 1 && buf[1] <= softgost::CurveC) {
            out.mat.curve = buf[1];
            out.mat.priv.assign(buf + 2, buf + 34);
            out.paramOid = softgost::curveOidDer(out.mat.curve);
            out.digestOid = softgost::kOidDigest3411_94;
            ok = true;
        } else if (p.family != Fam2001 && len >= 4 && buf[0] == 2 && buf[1] == kFamilies[p.family].storeTag) {
            const int curve = buf[2];
            const size_t oidLen = buf[3];
            const size_t n = softgost::coordBytes(curve);
            if (n && len == 4 + oidLen + n &&
                softgost::curveFromOidDer(buf + 4, oidLen, kFamilies[p.family].oidUse) == curve) {
                out.mat.curve = curve;
                out.paramOid.assign(buf + 4, buf + 4 + oidLen);
                out.mat.priv.assign(buf + 4 + oidLen, buf + len);
                out.digestOid = p.family == Fam2012_256 ? softgost::kOidStreebog256 : softgost::kOidStreebog512;
                ok = true;
            }
        }
    }
    SecureZeroMemory(buf, sizeof buf);
    return ok && softgost::completeFromPrivate(out.mat);
}

std::vector<std::string> listContainers(bool machine) {
    std::vector<std::string> names;
    HKEY key;
    if (RegOpenKeyExA(storeHive(machine), kStoreRoot, 0, KEY_READ, &key) != ERROR_SUCCESS) return names;
    char name[MAX_PATH];
    for (DWORD i = 0;; ++i) {
        DWORD len = sizeof name;
        if (RegEnumKeyExA(key, i, name, &len, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
        names.emplace_back(name, len);
    }
    RegCloseKey(key);
    return names;
}

// The container key of one keySpec: the one generated in this context, else the stored one.
std::unique_ptr<Key> userKey(const Prov& p, DWORD keySpec) {
    if (keySpec != AT_SIGNATURE && keySpec != AT_KEYEXCHANGE) return nullptr;
    if (p.ephemeral[keySpec]) return std::make_unique<Key>(*p.ephemeral[keySpec]);
    if (p.verifyOnly) return nullptr;
    auto k = std::make_unique<Key>();
    k->family = p.family;
    if (!loadKey(p, keySpec, *k)) return nullptr;
    const FamilyDef& f = kFamilies[p.family];
    k->alg = keySpec == AT_KEYEXCHANGE ? f.exchAlg : f.sigAlg;
    return k;
}

// A new key pair of the context's family: 2001 and 2012-256 keys on the CryptoPro-A
// parameter set (2012-256 exchange keys named by XchA, as certificates do), 2012-512 keys
// on tc26 512-A.
std::unique_ptr<Key> newKey(int family, DWORD keySpec) {
    const FamilyDef& f = kFamilies[family];
    auto k = std::make_unique<Key>();
    k->family = family;
    k->alg = keySpec == AT_KEYEXCHANGE ? f.exchAlg : f.sigAlg;
    k->mat = softgost::generateKey(f.genCurve);
    switch (family) {
        case Fam2001:
            k->paramOid = softgost::curveOidDer(f.genCurve);
            k->digestOid = softgost::kOidDigest3411_94;
            break;
        case Fam2012_256:
            k->paramOid = keySpec == AT_KEYEXCHANGE ? softgost::kOidXchA : softgost::curveOidDer(f.genCurve);
            k->digestOid = softgost::kOidStreebog256;
            break;
        default:
            k->paramOid = softgost::kOidTc26_512A;
            k->digestOid = softgost::kOidStreebog512;
            break;
    }
    return k;
}

// --- GOST PUBLICKEYBLOB
Bytes exportPublicBlob(const Key& k) {
    Bytes params;
    params.insert(params.end(), k.paramOid.begin(), k.paramOid.end());
    params.insert(params.end(), k.digestOid.begin(), k.digestOid.end());
    Bytes b(16);
    b[0] = PUBLICKEYBLOB;
    b[1] = 0x20;
    DWORD alg = k.alg, magic = kGostMagic, bits = kFamilies[k.family].keyBits;
    std::memcpy(&b[4], &alg, 4);
    std::memcpy(&b[8], &magic, 4);
    std::memcpy(&b[12], &bits, 4);
    b.push_back(0x30);
    b.push_back(static_cast<uint8_t>(params.size()));
    b.insert(b.end(), params.begin(), params.end());
    b.insert(b.end(), k.mat.pubXYle.begin(), k.mat.pubXYle.end());
    return b;
}

// Returns 0 or the NTE_* code.
DWORD importPublicBlob(int family, const BYTE* pb, DWORD cb, Key& out) {
    const FamilyDef& f = kFamilies[family];
    if (!pb || cb < 16) return NTE_BAD_DATA;
    if (pb[0] != PUBLICKEYBLOB) return NTE_BAD_TYPE;
    if (pb[1] != 0x20) return NTE_BAD_VER;
    DWORD alg, magic, bits;
    std::memcpy(&alg, pb + 4, 4);
    std::memcpy(&magic, pb + 8, 4);
    std::memcpy(&bits, pb + 12, 4);
    if (alg != f.sigAlg && alg != f.exchAlg) return NTE_BAD_ALGID;
    if (magic != kGostMagic || bits != f.keyBits) return NTE_BAD_DATA;
    const BYTE* p = pb + 16;
    const BYTE* end = pb + cb;
    if (end - p < 2 || p[0] != 0x30 || p[1] >= 0x80) return NTE_BAD_DATA;
    const BYTE* seqEnd = p + 2 + p[1];
    if (seqEnd > end) return NTE_BAD_DATA;
    p += 2;
    if (seqEnd - p < 2 || p[0] != 0x06 || p[1] >= 0x80 || p + 2 + p[1] > seqEnd) return NTE_BAD_DATA;
    int curve = softgost::curveFromOidDer(p, 2 + p[1], f.oidUse);
    if (curve < 0) return NTE_BAD_DATA;  // unknown parameter set (or one of another key size)
    out.paramOid.assign(p, p + 2 + p[1]);
    p += 2 + p[1];
    if (family == Fam2001) {
        out.digestOid = softgost::kOidDigest3411_94;
    } else if (seqEnd - p >= 2 && p[0] == 0x06 && p[1] < 0x80 && p + 2 + p[1] <= seqEnd) {
        out.digestOid.assign(p, p + 2 + p[1]);  // kept as given, written back on export
    }
    const size_t n = softgost::coordBytes(curve);
    if (static_cast<size_t>(end - seqEnd) != 2 * n) return NTE_BAD_DATA;
    out.family = family;
    out.alg = alg;
    out.mat.curve = curve;
    out.mat.hasPrivate = false;
    out.mat.pubXYle.assign(seqEnd, end);
    if (!softgost::validatePublic(out.mat)) return NTE_BAD_PUBLIC_KEY;
    return 0;
}

// PLAINTEXTKEYBLOB (the secret of an HMAC key), 2012 contexts only. Returns 0 or the NTE_* code.
DWORD importSecretBlob(const BYTE* pb, DWORD cb, Key& out) {
    if (cb < sizeof(BLOBHEADER) + sizeof(DWORD)) return NTE_BAD_DATA;
    if (pb[1] != CUR_BLOB_VERSION) return NTE_BAD_VER;
    DWORD alg, len;
    std::memcpy(&alg, pb + 4, 4);
    std::memcpy(&len, pb + 8, 4);
    if (len == 0 || len > 4096 || cb - 12 != len) return NTE_BAD_DATA;
    out.secret = true;
    out.alg = alg;
    out.secretValue.assign(pb + 12, pb + 12 + len);
    return 0;
}

struct AlgInfo {
    ALG_ID alg;
    DWORD bits;
    const char* name;
    const char* longName;
};
const AlgInfo kAlgs2001[] = {
    {CALG_GR3411, 256, "GR 34.11", "GOST R 34.11-94"},
    {CALG_GR3410EL, 512, "GR 34.10-2001", "GOST R 34.10-2001 signature"},
    {CALG_DH_EL_SF, 512, "DH 34.10-2001", "GOST R 34.10-2001 key exchange"},
};
const AlgInfo kAlgs2012_256[] = {
    {CALG_GR3411, 256, "GR 34.11", "GOST R 34.11-94"},
    {CALG_GR3411_2012_256, 256, "GR 34.11-2012 256", "GOST R 34.11-2012 256 bit"},
    {CALG_GR3411_2012_512, 512, "GR 34.11-2012 512", "GOST R 34.11-2012 512 bit"},
    {CALG_GR3411_2012_256_HMAC, 256, "HMAC 34.11-2012 256", "HMAC GOST R 34.11-2012 256 bit"},
    {CALG_GR3411_2012_512_HMAC, 512, "HMAC 34.11-2012 512", "HMAC GOST R 34.11-2012 512 bit"},
    {CALG_GR3410_12_256, 512, "GR 34.10-2012 256", "GOST R 34.10-2012 256 bit signature"},
    {CALG_DH_GR3410_12_256_SF, 512, "DH 34.10-2012 256", "GOST R 34.10-2012 256 bit key exchange"},
};
const AlgInfo kAlgs2012_512[] = {
    {CALG_GR3411, 256, "GR 34.11", "GOST R 34.11-94"},
    {CALG_GR3411_2012_256, 256, "GR 34.11-2012 256", "GOST R 34.11-2012 256 bit"},
    {CALG_GR3411_2012_512, 512, "GR 34.11-2012 512", "GOST R 34.11-2012 512 bit"},
    {CALG_GR3411_2012_256_HMAC, 256, "HMAC 34.11-2012 256", "HMAC GOST R 34.11-2012 256 bit"},
    {CALG_GR3411_2012_512_HMAC, 512, "HMAC 34.11-2012 512", "HMAC GOST R 34.11-2012 512 bit"},
    {CALG_GR3410_12_512, 1024, "GR 34.10-2012 512", "GOST R 34.10-2012 512 bit signature"},
    {CALG_DH_GR3410_12_512_SF, 1024, "DH 34.10-2012 512", "GOST R 34.10-2012 512 bit key exchange"},
};

void algList(int family, const AlgInfo*& list, size_t& n) {
    switch (family) {
        case Fam2012_256:
            list = kAlgs2012_256;
            n = sizeof kAlgs2012_256 / sizeof kAlgs2012_256[0];
            break;
        case Fam2012_512:
            list = kAlgs2012_512;
            n = sizeof kAlgs2012_512 / sizeof kAlgs2012_512[0];
            break;
        default:
            list = kAlgs2001;
            n = sizeof kAlgs2001 / sizeof kAlgs2001[0];
            break;
    }
}

// The family a context is acquired for: the provider type advapi32 passes (VTableProvStruc
// version 2 and later), else the provider name (version 3), else 2001.
int familyOf(const void* vtable) {
    const ProvVTable* vt = static_cast<const ProvVTable*>(vtable);
    if (!vt) return Fam2001;
    if (vt->Version >= 2)
        for (int i = 0; i < FamilyCount; ++i)
            if (vt->dwProvType == kFamilies[i].type) return i;
    if (vt->Version >= 3 && vt->pszProvName)
        for (int i = 0; i < FamilyCount; ++i)
            if (lstrcmpiA(vt->pszProvName, kFamilies[i].name) == 0) return i;
    return Fam2001;
}

// advapi32 and crypt32 unload a provider DLL as soon as its last context is gone, Wine's
// advapi32 even before it returns a failed CryptAcquireContext, and the unload (Botan's and
// the runtime's teardown) would clobber the error code. Once loaded, the DLL stays.
void pinModule() {
    static std::once_flag once;
    std::call_once(once, [] {
        HMODULE self = nullptr;
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                           reinterpret_cast<LPCWSTR>(&pinModule), &self);
    });
}

#define GUARD_BEGIN \
    try {           \
        std::lock_guard<std::mutex> guard(g_lock);
#define GUARD_END                   \
    }                               \
    catch (const std::bad_alloc&) { \
        return fail(NTE_NO_MEMORY); \
    }                               \
    catch (...) {                   \
        return fail(NTE_FAIL);      \
    }

}  // namespace

extern "C" {

BOOL WINAPI CPAcquireContext(HCRYPTPROV* phProv, LPCSTR szContainer, DWORD dwFlags, void* pVTable) {
    GUARD_BEGIN
    pinModule();
    if (!phProv) return fail(ERROR_INVALID_PARAMETER);
    const DWORD known =
        CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET | CRYPT_MACHINE_KEYSET | CRYPT_SILENT;
    if (dwFlags & ~known) return fail(NTE_BAD_FLAGS);
    auto p = std::make_unique<Prov>();
    p->family = familyOf(pVTable);
    p->machine = (dwFlags & CRYPT_MACHINE_KEYSET) != 0;
    std::string name = szContainer ? szContainer : "";
    if (dwFlags & CRYPT_VERIFYCONTEXT) {
        if (dwFlags & (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET)) return fail(NTE_BAD_FLAGS);
        if (!name.empty()) return fail(NTE_BAD_FLAGS);
        p->verifyOnly = true;
        *phProv = publish(std::move(p));
        return TRUE;
    }
    if (name.empty()) name = "default";
    if (name.size() > 200 || name.find('\\') != std::string::npos) return fail(NTE_BAD_KEYSET_PARAM);
    if ((dwFlags & CRYPT_NEWKEYSET) && (dwFlags & CRYPT_DELETEKEYSET)) return fail(NTE_BAD_FLAGS);
    bool exists = containerExists(p->machine, name);
    if (dwFlags & CRYPT_DELETEKEYSET) {
        *phProv = 0;
        if (!exists) return fail(NTE_BAD_KEYSET);
        if (!containerDelete(p->machine, name)) return fail(NTE_FAIL);
        return TRUE;
    }
    if (dwFlags & CRYPT_NEWKEYSET) {
        if (exists) return fail(NTE_EXISTS);
        if (!containerCreate(p->machine, name)) return fail(NTE_FAIL);
    } else if (!exists) {
        return fail(NTE_BAD_KEYSET);
    }
    p->container = name;
    *phProv = publish(std::move(p));
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
    GUARD_BEGIN
    Prov* p = lookup<Prov>(hProv, kProvMagic);
    if (!p) return fail(NTE_BAD_UID);
    g_live.erase(p);
    p->magic = 0;
    delete p;
    if (dwFlags) return fail(NTE_BAD_FLAGS);
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD, HCRYPTKEY* phKey) {
    GUARD_BEGIN
    Prov* p = lookup<Prov>(hProv, kProvMagic);
    if (!p) return fail(NTE_BAD_UID);
    if (!phKey) return fail(ERROR_INVALID_PARAMETER);
    const FamilyDef& f = kFamilies[p->family];
    DWORD keySpec;
    if (Algid == AT_SIGNATURE || Algid == f.sigAlg) {
        keySpec = AT_SIGNATURE;
    } else if (Algid == AT_KEYEXCHANGE || Algid == f.exchAlg) {
        keySpec = AT_KEYEXCHANGE;
    } else {
        return fail(NTE_BAD_ALGID);
    }
    std::unique_ptr<Key> k = newKey(p->family, keySpec);
    if (p->verifyOnly) {
        p->ephemeral[keySpec] = std::make_unique<Key>(*k);
    } else if (!storeKey(*p, keySpec, *k)) {
        return fail(NTE_FAIL);
    }
    *phKey = publish(std::move(k));
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPDeriveKey(HCRYPTPROV hProv, ALG_ID, HCRYPTHASH, DWORD, HCRYPTKEY* phKey) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    if (phKey) *phKey = 0;
    return fail(NTE_BAD_ALGID);  // no session-key algorithms
    GUARD_END
}

BOOL WINAPI CPDestroyKey(HCRYPTPROV hProv, HCRYPTKEY hKey) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    Key* k = lookup<Key>(hKey, kKeyMagic);
    if (!k) return fail(NTE_BAD_KEY);
    g_live.erase(k);
    k->magic = 0;
    delete k;
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPSetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD, const BYTE*, DWORD) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    if (!lookup<Key>(hKey, kKeyMagic)) return fail(NTE_BAD_KEY);
    return fail(NTE_BAD_TYPE);
    GUARD_END
}

BOOL WINAPI CPGetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, LPBYTE pbData, LPDWORD pcbDataLen,
                          DWORD dwFlags) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    Key* k = lookup<Key>(hKey, kKeyMagic);
    if (!k) return fail(NTE_BAD_KEY);
    if (dwFlags) return fail(NTE_BAD_FLAGS);
    switch (dwParam) {
        case KP_ALGID: return outputDword(k->alg, pbData, pcbDataLen);
        case KP_KEYLEN:
            return outputDword(k->secret ? static_cast<DWORD>(8 * k->secretValue.size()) : kFamilies[k->family].keyBits,
                               pbData, pcbDataLen);
        case KP_PERMISSIONS: return outputDword(CRYPT_READ, pbData, pcbDataLen);  // never exportable
        default: return fail(NTE_BAD_TYPE);
    }
    GUARD_END
}

BOOL WINAPI CPSetProvParam(HCRYPTPROV hProv, DWORD, const BYTE*, DWORD) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    return fail(NTE_BAD_TYPE);
    GUARD_END
}

BOOL WINAPI CPGetProvParam(HCRYPTPROV hProv, DWORD dwParam, LPBYTE pbData, LPDWORD pcbDataLen, DWORD dwFlags) {
    GUARD_BEGIN
    Prov* p = lookup<Prov>(hProv, kProvMagic);
    if (!p) return fail(NTE_BAD_UID);
    if (!pcbDataLen) return fail(ERROR_INVALID_PARAMETER);
    const FamilyDef& f = kFamilies[p->family];
    switch (dwParam) {
        case PP_NAME: return outputString(f.name, pbData, pcbDataLen);
        case PP_PROVTYPE: return outputDword(f.type, pbData, pcbDataLen);
        case PP_IMPTYPE: return outputDword(CRYPT_IMPL_SOFTWARE, pbData, pcbDataLen);
        case PP_VERSION: return outputDword(0x0100, pbData, pcbDataLen);
        case PP_KEYSPEC: return outputDword(AT_SIGNATURE | AT_KEYEXCHANGE, pbData, pcbDataLen);
        case PP_CONTAINER:
        case PP_UNIQUE_CONTAINER:
            if (p->verifyOnly) return fail(NTE_BAD_KEYSET);
            return outputString(p->container, pbData, pcbDataLen);
        case PP_ENUMALGS:
        case PP_ENUMALGS_EX: {
            if (dwFlags & CRYPT_FIRST) p->enumAlg = 0;
            const AlgInfo* algs;
            size_t n;
            algList(p->family, algs, n);
            if (p->enumAlg >= n) return fail(ERROR_NO_MORE_ITEMS);
            const AlgInfo& a = algs[p->enumAlg];
            BOOL ok;
            if (dwParam == PP_ENUMALGS) {
                PROV_ENUMALGS e{};
                e.aiAlgid = a.alg;
                e.dwBitLen = a.bits;
                lstrcpynA(e.szName, a.name, sizeof e.szName);
                e.dwNameLen = lstrlenA(e.szName) + 1;
                ok = output(&e, sizeof e, pbData, pcbDataLen);
            } else {
                PROV_ENUMALGS_EX e{};
                e.aiAlgid = a.alg;
                e.dwDefaultLen = e.dwMinLen = e.dwMaxLen = a.bits;
                lstrcpynA(e.szName, a.name, sizeof e.szName);
                e.dwNameLen = lstrlenA(e.szName) + 1;
                lstrcpynA(e.szLongName, a.longName, sizeof e.szLongName);
                e.dwLongNameLen = lstrlenA(e.szLongName) + 1;
                ok = output(&e, sizeof e, pbData, pcbDataLen);
            }
            if (ok && pbData) p->enumAlg++;
            return ok;
        }
        case PP_ENUMCONTAINERS: {
            if ((dwFlags & CRYPT_FIRST) || (p->enumContainer == 0 && p->containers.empty())) {
                p->containers = listContainers(p->machine);
                p->enumContainer = 0;
            }
            if (p->enumContainer >= p->containers.size()) return fail(ERROR_NO_MORE_ITEMS);
            // The size query answers the longest name, as callers allocate once for the loop.
            if (!pbData) {
                size_t longest = 0;
                for (const auto& s : p->containers) longest = s.size() > longest ? s.size() : longest;
                *pcbDataLen = static_cast<DWORD>(longest + 1);
                return TRUE;
            }
            BOOL ok = outputString(p->containers[p->enumContainer], pbData, pcbDataLen);
            if (ok) p->enumContainer++;
            return ok;
        }
        default: return fail(NTE_BAD_TYPE);
    }
    GUARD_END
}

BOOL WINAPI CPGenRandom(HCRYPTPROV hProv, DWORD dwLen, BYTE* pbBuffer) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    if (dwLen && !pbBuffer) return fail(ERROR_INVALID_PARAMETER);
    if (dwLen) softgost::randomBytes(pbBuffer, dwLen);
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPGetUserKey(HCRYPTPROV hProv, DWORD dwKeySpec, HCRYPTKEY* phUserKey) {
    GUARD_BEGIN
    Prov* p = lookup<Prov>(hProv, kProvMagic);
    if (!p) return fail(NTE_BAD_UID);
    if (!phUserKey) return fail(ERROR_INVALID_PARAMETER);
    if (dwKeySpec != AT_SIGNATURE && dwKeySpec != AT_KEYEXCHANGE) return fail(NTE_BAD_KEY);
    auto k = userKey(*p, dwKeySpec);
    if (!k) return fail(NTE_NO_KEY);
    *phUserKey = publish(std::move(k));
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPExportKey(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTKEY, DWORD dwBlobType, DWORD dwFlags, LPBYTE pbData,
                        LPDWORD pcbDataLen) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    Key* k = lookup<Key>(hKey, kKeyMagic);
    if (!k) return fail(NTE_BAD_KEY);
    if (!pcbDataLen) return fail(ERROR_INVALID_PARAMETER);
    if (dwFlags) return fail(NTE_BAD_FLAGS);
    if (k->secret) return fail(NTE_BAD_KEY_STATE);                     // secrets never leave
    if (dwBlobType == PRIVATEKEYBLOB) return fail(NTE_BAD_KEY_STATE);  // private keys never leave
    if (dwBlobType != PUBLICKEYBLOB) return fail(NTE_BAD_TYPE);
    Bytes b = exportPublicBlob(*k);
    return output(b.data(), static_cast<DWORD>(b.size()), pbData, pcbDataLen);
    GUARD_END
}

BOOL WINAPI CPImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD cbDataLen, HCRYPTKEY hPubKey, DWORD,
                        HCRYPTKEY* phKey) {
    GUARD_BEGIN
    Prov* p = lookup<Prov>(hProv, kProvMagic);
    if (!p) return fail(NTE_BAD_UID);
    if (!phKey) return fail(ERROR_INVALID_PARAMETER);
    if (hPubKey) return fail(NTE_BAD_PUBLIC_KEY);  // no wrapped key import
    auto k = std::make_unique<Key>();
    DWORD rc;
    if (p->family != Fam2001 && pbData && cbDataLen >= 1 && pbData[0] == PLAINTEXTKEYBLOB)
        rc = importSecretBlob(pbData, cbDataLen, *k);
    else
        rc = importPublicBlob(p->family, pbData, cbDataLen, *k);
    if (rc) return fail(rc);
    *phKey = publish(std::move(k));
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPEncrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH, BOOL, DWORD, LPBYTE, LPDWORD, DWORD) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    if (!lookup<Key>(hKey, kKeyMagic)) return fail(NTE_BAD_KEY);
    return fail(NTE_BAD_KEY);  // GOST R 34.10 keys do not encrypt, HMAC secrets neither
    GUARD_END
}

BOOL WINAPI CPDecrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH, BOOL, DWORD, LPBYTE, LPDWORD) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    if (!lookup<Key>(hKey, kKeyMagic)) return fail(NTE_BAD_KEY);
    return fail(NTE_BAD_KEY);
    GUARD_END
}

BOOL WINAPI CPCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags, HCRYPTHASH* phHash) {
    GUARD_BEGIN
    Prov* p = lookup<Prov>(hProv, kProvMagic);
    if (!p) return fail(NTE_BAD_UID);
    if (!phHash) return fail(ERROR_INVALID_PARAMETER);
    auto h = std::make_unique<Hash>();
    h->alg = Algid;
    DigestKind kind;
    if (p->family == Fam2001) {
        if (Algid != CALG_GR3411) return fail(NTE_BAD_ALGID);
        if (hKey) return fail(NTE_BAD_KEY);
        if (dwFlags) return fail(NTE_BAD_FLAGS);
        h->digestAlg = Algid;
        h->digest = std::make_unique<softgost::Digest>(DigestKind::Gr3411_94);
    } else if (digestKindOf(Algid, kind)) {
        if (hKey) return fail(NTE_BAD_KEY);
        if (dwFlags) return fail(NTE_BAD_FLAGS);
        h->digestAlg = Algid;
        h->digest = std::make_unique<softgost::Digest>(kind);
    } else if (Algid == CALG_GR3411_2012_256_HMAC || Algid == CALG_GR3411_2012_512_HMAC || Algid == CALG_HMAC) {
        Key* k = lookup<Key>(hKey, kKeyMagic);
        if (!k || !k->secret) return fail(NTE_BAD_KEY);
        if (dwFlags) return fail(NTE_BAD_FLAGS);
        if (Algid == CALG_HMAC) {
            h->hmacKey = k->secretValue;  // the hash starts with HP_HMAC_INFO
        } else {
            h->digestAlg = Algid == CALG_GR3411_2012_256_HMAC ? CALG_GR3411_2012_256 : CALG_GR3411_2012_512;
            h->digest = std::make_unique<softgost::Digest>(
                Algid == CALG_GR3411_2012_256_HMAC ? DigestKind::Streebog256 : DigestKind::Streebog512);
            startHmac(*h, k->secretValue);
        }
    } else {
        return fail(NTE_BAD_ALGID);
    }
    *phHash = publish(std::move(h));
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPHashData(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbData, DWORD cbDataLen, DWORD dwFlags) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    Hash* h = lookup<Hash>(hHash, kHashMagic);
    if (!h) return fail(NTE_BAD_HASH);
    if (dwFlags) return fail(NTE_BAD_FLAGS);
    if (h->finished || !h->digest) return fail(NTE_BAD_HASH_STATE);
    if (cbDataLen && !pbData) return fail(ERROR_INVALID_PARAMETER);
    h->digest->update(pbData, cbDataLen);
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPHashSessionKey(HCRYPTPROV hProv, HCRYPTHASH hHash, HCRYPTKEY hKey, DWORD) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    if (!lookup<Hash>(hHash, kHashMagic)) return fail(NTE_BAD_HASH);
    if (!lookup<Key>(hKey, kKeyMagic)) return fail(NTE_BAD_KEY);
    return fail(NTE_BAD_KEY);  // no session keys
    GUARD_END
}

BOOL WINAPI CPGetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, LPBYTE pbData, LPDWORD pcbDataLen,
                           DWORD dwFlags) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    Hash* h = lookup<Hash>(hHash, kHashMagic);
    if (!h) return fail(NTE_BAD_HASH);
    if (dwFlags) return fail(NTE_BAD_FLAGS);
    switch (dwParam) {
        case HP_ALGID: return outputDword(h->alg, pbData, pcbDataLen);
        case HP_HASHSIZE:
            if (!hashReady(*h)) return fail(NTE_BAD_HASH_STATE);
            return outputDword(static_cast<DWORD>(hashSize(*h)), pbData, pcbDataLen);
        case HP_HASHVAL: {
            if (!hashReady(*h)) return fail(NTE_BAD_HASH_STATE);
            const DWORD n = static_cast<DWORD>(hashSize(*h));
            if (!pbData) return output(nullptr, n, nullptr, pcbDataLen);
            if (!pcbDataLen) return fail(ERROR_INVALID_PARAMETER);
            if (*pcbDataLen < n) {
                *pcbDataLen = n;
                return fail(ERROR_MORE_DATA);
            }
            const Bytes& v = hashValue(*h);
            return output(v.data(), static_cast<DWORD>(v.size()), pbData, pcbDataLen);
        }
        default: return fail(NTE_BAD_TYPE);
    }
    GUARD_END
}

BOOL WINAPI CPSetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
    GUARD_BEGIN
    Prov* p = lookup<Prov>(hProv, kProvMagic);
    if (!p) return fail(NTE_BAD_UID);
    Hash* h = lookup<Hash>(hHash, kHashMagic);
    if (!h) return fail(NTE_BAD_HASH);
    if (dwFlags) return fail(NTE_BAD_FLAGS);
    if (dwParam == HP_HMAC_INFO && h->alg == CALG_HMAC) {
        if (!pbData) return fail(ERROR_INVALID_PARAMETER);
        DWORD rc = setHmacInfo(*h, *reinterpret_cast<const HMAC_INFO*>(pbData), p->family);
        return rc ? fail(rc) : TRUE;
    }
    if (dwParam != HP_HASHVAL) return fail(NTE_BAD_TYPE);
    if (!pbData) return fail(ERROR_INVALID_PARAMETER);
    if (!hashReady(*h)) return fail(NTE_BAD_HASH_STATE);
    h->value.assign(pbData, pbData + hashSize(*h));
    h->finished = true;
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPSignHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwKeySpec, LPCWSTR, DWORD dwFlags, LPBYTE pbSignature,
                       LPDWORD pcbSigLen) {
    GUARD_BEGIN
    Prov* p = lookup<Prov>(hProv, kProvMagic);
    if (!p) return fail(NTE_BAD_UID);
    Hash* h = lookup<Hash>(hHash, kHashMagic);
    if (!h) return fail(NTE_BAD_HASH);
    if (!pcbSigLen) return fail(ERROR_INVALID_PARAMETER);
    if (dwFlags) return fail(NTE_BAD_FLAGS);
    if (dwKeySpec != AT_SIGNATURE && dwKeySpec != AT_KEYEXCHANGE) return fail(NTE_BAD_ALGID);
    auto k = userKey(*p, dwKeySpec);
    if (!k) return fail(NTE_NO_KEY);
    // A GOST R 34.10 signature is over the hash of its own family (2012-256 over Streebog-256,
    // 2012-512 over Streebog-512); an HMAC is no signature's hash.
    if (h->hmac || h->alg == CALG_HMAC || h->digestAlg != kFamilies[k->family].signHash) return fail(NTE_BAD_ALGID);
    const DWORD sigLen = static_cast<DWORD>(2 * softgost::coordBytes(k->mat.curve));
    if (!pbSignature) {
        *pcbSigLen = sigLen;
        return TRUE;
    }
    if (*pcbSigLen < sigLen) {
        *pcbSigLen = sigLen;
        return fail(ERROR_MORE_DATA);
    }
    const Bytes& value = hashValue(*h);
    Bytes sr = softgost::sign(k->mat, value.data(), value.size());
    if (sr.size() != sigLen) return fail(NTE_FAIL);
    for (size_t i = 0; i < sigLen; ++i) pbSignature[i] = sr[sigLen - 1 - i];  // CryptoAPI order: reverse of s || r
    *pcbSigLen = sigLen;
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPDestroyHash(HCRYPTPROV hProv, HCRYPTHASH hHash) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    Hash* h = lookup<Hash>(hHash, kHashMagic);
    if (!h) return fail(NTE_BAD_HASH);
    g_live.erase(h);
    h->magic = 0;
    delete h;
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPVerifySignature(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbSignature, DWORD cbSigLen,
                              HCRYPTKEY hPubKey, LPCWSTR, DWORD dwFlags) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    Hash* h = lookup<Hash>(hHash, kHashMagic);
    if (!h) return fail(NTE_BAD_HASH);
    Key* k = lookup<Key>(hPubKey, kKeyMagic);
    if (!k || k->secret) return fail(NTE_BAD_KEY);
    if (dwFlags) return fail(NTE_BAD_FLAGS);
    if (h->hmac || h->alg == CALG_HMAC || h->digestAlg != kFamilies[k->family].signHash) return fail(NTE_BAD_ALGID);
    const size_t sigLen = 2 * softgost::coordBytes(k->mat.curve);
    if (!pbSignature || cbSigLen != sigLen) return fail(NTE_BAD_SIGNATURE);
    const Bytes& value = hashValue(*h);
    Bytes sr(pbSignature, pbSignature + sigLen);
    std::reverse(sr.begin(), sr.end());
    if (!softgost::verify(k->mat, value.data(), value.size(), sr.data(), sr.size())) return fail(NTE_BAD_SIGNATURE);
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPDuplicateHash(HCRYPTPROV hProv, HCRYPTHASH hHash, LPDWORD pdwReserved, DWORD dwFlags,
                            HCRYPTHASH* phHash) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    Hash* h = lookup<Hash>(hHash, kHashMagic);
    if (!h) return fail(NTE_BAD_HASH);
    if (pdwReserved || !phHash) return fail(ERROR_INVALID_PARAMETER);
    if (dwFlags) return fail(NTE_BAD_FLAGS);
    auto copy = std::make_unique<Hash>(*h);
    *phHash = publish(std::move(copy));
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPDuplicateKey(HCRYPTPROV hProv, HCRYPTKEY hKey, LPDWORD pdwReserved, DWORD dwFlags, HCRYPTKEY* phKey) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    Key* k = lookup<Key>(hKey, kKeyMagic);
    if (!k) return fail(NTE_BAD_KEY);
    if (pdwReserved || !phKey) return fail(ERROR_INVALID_PARAMETER);
    if (dwFlags) return fail(NTE_BAD_FLAGS);
    *phKey = publish(std::make_unique<Key>(*k));
    return TRUE;
    GUARD_END
}

// crypt32 OID function (CRYPT_OID_IMPORT_PUBLIC_KEY_INFO_FUNC) for 1.2.643.2.2.19 (GOST R 34.10-2001),
// 1.2.643.7.1.1.1.1 and 1.2.643.7.1.1.1.2 (GOST R 34.10-2012 256 / 512): turns the SubjectPublicKeyInfo into
// our PUBLICKEYBLOB and imports it into the caller's provider (ours of the key's type when none is given).
BOOL WINAPI CryptDllImportPublicKeyInfoEx(HCRYPTPROV hCryptProv, DWORD, PCERT_PUBLIC_KEY_INFO pInfo, ALG_ID aiKeyAlg,
                                          DWORD, void*, HCRYPTKEY* phKey) {
    try {
        pinModule();
        if (!pInfo || !phKey) return fail(ERROR_INVALID_PARAMETER);
        const char* oid = pInfo->Algorithm.pszObjId ? pInfo->Algorithm.pszObjId : "";
        int family;
        if (std::strcmp(oid, "1.2.643.7.1.1.1.1") == 0)
            family = Fam2012_256;
        else if (std::strcmp(oid, "1.2.643.7.1.1.1.2") == 0)
            family = Fam2012_512;
        else
            family = Fam2001;  // 1.2.643.2.2.19, the only other OID registered
        const FamilyDef& f = kFamilies[family];
        const size_t keyBytes = f.keyBits / 8;
        const CRYPT_OBJID_BLOB& params = pInfo->Algorithm.Parameters;
        const CRYPT_BIT_BLOB& pub = pInfo->PublicKey;
        if (!params.pbData || params.cbData < 2 || params.pbData[0] != 0x30 || params.pbData[1] >= 0x80 ||
            params.cbData != 2u + params.pbData[1])
            return fail(CRYPT_E_ASN1_BADTAG);
        // OCTET STRING { X || Y }: 04 40 (64 bytes) or 04 81 80 (128 bytes).
        const size_t head = keyBytes < 0x80 ? 2 : 3;
        if (!pub.pbData || pub.cbData != head + keyBytes || pub.pbData[0] != 0x04 ||
            (head == 2 ? pub.pbData[1] != keyBytes : (pub.pbData[1] != 0x81 || pub.pbData[2] != keyBytes)))
            return fail(CRYPT_E_ASN1_BADTAG);
        ALG_ID alg = aiKeyAlg == f.exchAlg ? f.exchAlg : f.sigAlg;
        Bytes blob(16);
        blob[0] = PUBLICKEYBLOB;
        blob[1] = 0x20;
        DWORD magic = kGostMagic, bits = f.keyBits;
        std::memcpy(&blob[4], &alg, 4);
        std::memcpy(&blob[8], &magic, 4);
        std::memcpy(&blob[12], &bits, 4);
        blob.insert(blob.end(), params.pbData, params.pbData + params.cbData);
        blob.insert(blob.end(), pub.pbData + head, pub.pbData + pub.cbData);
        if (!hCryptProv) {
            // Kept for the life of the process: their keys need them.
            static HCRYPTPROV own[FamilyCount] = {};
            static std::once_flag once[FamilyCount];
            std::call_once(once[family], [&f, family] {
                CryptAcquireContextA(&own[family], nullptr, f.name, f.type, CRYPT_VERIFYCONTEXT);
            });
            if (!own[family]) return FALSE;
            hCryptProv = own[family];
        }
        return CryptImportKey(hCryptProv, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, phKey);
    } catch (...) {
        return fail(NTE_FAIL);
    }
}

}  // extern "C"
