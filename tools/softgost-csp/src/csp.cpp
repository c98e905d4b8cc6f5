// Talvoran Soft GOST CSP: a software CryptoAPI provider (type 75) for GOST R 34.10-2001
// signatures and GOST R 34.11-94 hashes, for tests and development only. Container keys
// are stored UNPROTECTED in the registry (see README.md).
#include <windows.h>
#include <wincrypt.h>

#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "gost.hpp"

using softgost::Bytes;
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

namespace {

const char kProviderName[] = "Talvoran Soft GOST CSP";
const DWORD kProviderType = 75;
const char kStoreRoot[] = "Software\\Talvoran\\SoftGostCSP\\Containers";
const DWORD kGostMagic = 0x3147414D;  // "MAG1"

enum : uint32_t { kProvMagic = 0x50534754, kKeyMagic = 0x4B534754, kHashMagic = 0x48534754 };

struct Key {
    uint32_t magic = kKeyMagic;
    ALG_ID alg = CALG_GR3410EL;
    KeyMaterial mat;
    Bytes paramOid;  // DER of the public key parameter set as received or generated
};

struct Prov {
    uint32_t magic = kProvMagic;
    std::string container;  // empty for CRYPT_VERIFYCONTEXT
    bool verifyOnly = false;
    bool machine = false;
    std::unique_ptr<Key> ephemeral[3];  // keys generated in a verify context, by dwKeySpec
    size_t enumAlg = 0;
    std::vector<std::string> containers;
    size_t enumContainer = 0;
};

struct Hash {
    uint32_t magic = kHashMagic;
    softgost::Hash3411 h;
    bool finished = false;
    Bytes value;
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
    if (RegCreateKeyExA(storeHive(machine), storePath(name).c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &k,
                        nullptr) != ERROR_SUCCESS)
        return false;
    RegCloseKey(k);
    return true;
}

bool containerDelete(bool machine, const std::string& name) {
    return RegDeleteKeyA(storeHive(machine), storePath(name).c_str()) == ERROR_SUCCESS;
}

// Stored value: version byte 1, curve index byte, 32-byte private key (big-endian), unprotected.
bool storeKey(const Prov& p, DWORD keySpec, const KeyMaterial& k) {
    HKEY key;
    if (RegOpenKeyExA(storeHive(p.machine), storePath(p.container).c_str(), 0, KEY_WRITE, &key) != ERROR_SUCCESS)
        return false;
    Bytes v{1, static_cast<uint8_t>(k.curve)};
    v.insert(v.end(), k.priv.begin(), k.priv.end());
    LONG rc = RegSetValueExA(key, keySpecValue(keySpec), 0, REG_BINARY, v.data(), static_cast<DWORD>(v.size()));
    RegCloseKey(key);
    return rc == ERROR_SUCCESS;
}

bool loadKey(const Prov& p, DWORD keySpec, KeyMaterial& out) {
    HKEY key;
    if (RegOpenKeyExA(storeHive(p.machine), storePath(p.container).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    BYTE buf[64];
    DWORD type = 0, len = sizeof buf;
    LONG rc = RegQueryValueExA(key, keySpecValue(keySpec), nullptr, &type, buf, &len);
    RegCloseKey(key);
    if (rc != ERROR_SUCCESS || type != REG_BINARY || len != 34 || buf[0] != 1 || buf[1] >= softgost::CurveCount)
        return false;
    out.curve = buf[1];
    out.priv.assign(buf + 2, buf + 34);
    return softgost::completeFromPrivate(out);
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
    if (!loadKey(p, keySpec, k->mat)) return nullptr;
    k->alg = keySpec == AT_KEYEXCHANGE ? CALG_DH_EL_SF : CALG_GR3410EL;
    k->paramOid = softgost::curveOidDer(k->mat.curve);
    return k;
}

// --- GOST PUBLICKEYBLOB
const uint8_t kDigestOid[] = {0x06, 0x07, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x1e, 0x01};  // 1.2.643.2.2.30.1

Bytes exportPublicBlob(const Key& k) {
    Bytes params;
    params.insert(params.end(), k.paramOid.begin(), k.paramOid.end());
    params.insert(params.end(), kDigestOid, kDigestOid + sizeof kDigestOid);
    Bytes b(16);
    b[0] = PUBLICKEYBLOB;
    b[1] = 0x20;
    DWORD alg = k.alg, magic = kGostMagic, bits = 512;
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
DWORD importPublicBlob(const BYTE* pb, DWORD cb, Key& out) {
    if (!pb || cb < 16) return NTE_BAD_DATA;
    if (pb[0] != PUBLICKEYBLOB) return NTE_BAD_TYPE;
    if (pb[1] != 0x20) return NTE_BAD_VER;
    DWORD alg, magic, bits;
    std::memcpy(&alg, pb + 4, 4);
    std::memcpy(&magic, pb + 8, 4);
    std::memcpy(&bits, pb + 12, 4);
    if (alg != CALG_GR3410EL && alg != CALG_DH_EL_SF) return NTE_BAD_ALGID;
    if (magic != kGostMagic || bits != 512) return NTE_BAD_DATA;
    const BYTE* p = pb + 16;
    const BYTE* end = pb + cb;
    if (end - p < 2 || p[0] != 0x30 || p[1] >= 0x80) return NTE_BAD_DATA;
    const BYTE* seqEnd = p + 2 + p[1];
    if (seqEnd > end) return NTE_BAD_DATA;
    p += 2;
    if (seqEnd - p < 2 || p[0] != 0x06 || p[1] >= 0x80 || p + 2 + p[1] > seqEnd) return NTE_BAD_DATA;
    int curve = softgost::curveFromOidDer(p, 2 + p[1]);
    if (curve < 0) return NTE_BAD_DATA;  // unknown parameter set
    out.paramOid.assign(p, p + 2 + p[1]);
    if (end - seqEnd != 64) return NTE_BAD_DATA;
    out.alg = alg;
    out.mat.curve = curve;
    out.mat.hasPrivate = false;
    out.mat.pubXYle.assign(seqEnd, end);
    if (!softgost::validatePublic(out.mat)) return NTE_BAD_PUBLIC_KEY;
    return 0;
}

struct AlgInfo {
    ALG_ID alg;
    DWORD bits;
    const char* name;
    const char* longName;
};
const AlgInfo kAlgs[] = {
    {CALG_GR3411, 256, "GR 34.11", "GOST R 34.11-94"},
    {CALG_GR3410EL, 512, "GR 34.10-2001", "GOST R 34.10-2001 signature"},
    {CALG_DH_EL_SF, 512, "DH 34.10-2001", "GOST R 34.10-2001 key exchange"},
};

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

#define GUARD_BEGIN                                  \
    try {                                            \
        std::lock_guard<std::mutex> guard(g_lock);
#define GUARD_END                                    \
    }                                                \
    catch (const std::bad_alloc&) {                  \
        return fail(NTE_NO_MEMORY);                  \
    }                                                \
    catch (...) {                                    \
        return fail(NTE_FAIL);                       \
    }

}  // namespace

extern "C" {

BOOL WINAPI CPAcquireContext(HCRYPTPROV* phProv, LPCSTR szContainer, DWORD dwFlags, void* /* VTableProvStruc */) {
    GUARD_BEGIN
    pinModule();
    if (!phProv) return fail(ERROR_INVALID_PARAMETER);
    const DWORD known = CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET | CRYPT_MACHINE_KEYSET | CRYPT_SILENT;
    if (dwFlags & ~known) return fail(NTE_BAD_FLAGS);
    auto p = std::make_unique<Prov>();
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
    DWORD keySpec;
    ALG_ID alg;
    switch (Algid) {
    case AT_SIGNATURE: case CALG_GR3410EL: keySpec = AT_SIGNATURE; alg = CALG_GR3410EL; break;
    case AT_KEYEXCHANGE: case CALG_DH_EL_SF: keySpec = AT_KEYEXCHANGE; alg = CALG_DH_EL_SF; break;
    default: return fail(NTE_BAD_ALGID);
    }
    auto k = std::make_unique<Key>();
    k->alg = alg;
    k->mat = softgost::generateKey(softgost::CurveA);
    k->paramOid = softgost::curveOidDer(softgost::CurveA);
    if (p->verifyOnly) {
        p->ephemeral[keySpec] = std::make_unique<Key>(*k);
    } else if (!storeKey(*p, keySpec, k->mat)) {
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
    case KP_KEYLEN: return outputDword(512, pbData, pcbDataLen);
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
    switch (dwParam) {
    case PP_NAME: return outputString(kProviderName, pbData, pcbDataLen);
    case PP_PROVTYPE: return outputDword(kProviderType, pbData, pcbDataLen);
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
        const size_t n = sizeof kAlgs / sizeof kAlgs[0];
        if (p->enumAlg >= n) return fail(ERROR_NO_MORE_ITEMS);
        const AlgInfo& a = kAlgs[p->enumAlg];
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
    if (dwBlobType == PRIVATEKEYBLOB) return fail(NTE_BAD_KEY_STATE);  // private keys never leave
    if (dwBlobType != PUBLICKEYBLOB) return fail(NTE_BAD_TYPE);
    Bytes b = exportPublicBlob(*k);
    return output(b.data(), static_cast<DWORD>(b.size()), pbData, pcbDataLen);
    GUARD_END
}

BOOL WINAPI CPImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD cbDataLen, HCRYPTKEY hPubKey, DWORD,
                        HCRYPTKEY* phKey) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    if (!phKey) return fail(ERROR_INVALID_PARAMETER);
    if (hPubKey) return fail(NTE_BAD_PUBLIC_KEY);  // no wrapped key import
    auto k = std::make_unique<Key>();
    DWORD rc = importPublicBlob(pbData, cbDataLen, *k);
    if (rc) return fail(rc);
    *phKey = publish(std::move(k));
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPEncrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH, BOOL, DWORD, LPBYTE, LPDWORD, DWORD) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    if (!lookup<Key>(hKey, kKeyMagic)) return fail(NTE_BAD_KEY);
    return fail(NTE_BAD_KEY);  // GOST R 34.10 keys do not encrypt
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
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    if (!phHash) return fail(ERROR_INVALID_PARAMETER);
    if (Algid != CALG_GR3411) return fail(NTE_BAD_ALGID);
    if (hKey) return fail(NTE_BAD_KEY);
    if (dwFlags) return fail(NTE_BAD_FLAGS);
    *phHash = publish(std::make_unique<Hash>());
    return TRUE;
    GUARD_END
}

BOOL WINAPI CPHashData(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbData, DWORD cbDataLen, DWORD dwFlags) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    Hash* h = lookup<Hash>(hHash, kHashMagic);
    if (!h) return fail(NTE_BAD_HASH);
    if (dwFlags) return fail(NTE_BAD_FLAGS);
    if (h->finished) return fail(NTE_BAD_HASH_STATE);
    if (cbDataLen && !pbData) return fail(ERROR_INVALID_PARAMETER);
    h->h.update(pbData, cbDataLen);
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
    case HP_ALGID: return outputDword(CALG_GR3411, pbData, pcbDataLen);
    case HP_HASHSIZE: return outputDword(32, pbData, pcbDataLen);
    case HP_HASHVAL:
        if (!pbData) return output(nullptr, 32, nullptr, pcbDataLen);
        if (!pcbDataLen) return fail(ERROR_INVALID_PARAMETER);
        if (*pcbDataLen < 32) {
            *pcbDataLen = 32;
            return fail(ERROR_MORE_DATA);
        }
        if (!h->finished) {
            h->value = h->h.final();
            h->finished = true;
        }
        return output(h->value.data(), 32, pbData, pcbDataLen);
    default: return fail(NTE_BAD_TYPE);
    }
    GUARD_END
}

BOOL WINAPI CPSetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
    GUARD_BEGIN
    if (!lookup<Prov>(hProv, kProvMagic)) return fail(NTE_BAD_UID);
    Hash* h = lookup<Hash>(hHash, kHashMagic);
    if (!h) return fail(NTE_BAD_HASH);
    if (dwFlags) return fail(NTE_BAD_FLAGS);
    if (dwParam != HP_HASHVAL) return fail(NTE_BAD_TYPE);
    if (!pbData) return fail(ERROR_INVALID_PARAMETER);
    h->value.assign(pbData, pbData + 32);
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
    if (!pbSignature) {
        *pcbSigLen = 64;
        return TRUE;
    }
    if (*pcbSigLen < 64) {
        *pcbSigLen = 64;
        return fail(ERROR_MORE_DATA);
    }
    if (!h->finished) {
        h->value = h->h.final();
        h->finished = true;
    }
    Bytes sr = softgost::sign(k->mat, h->value.data(), h->value.size());
    if (sr.size() != 64) return fail(NTE_FAIL);
    for (size_t i = 0; i < 64; ++i) pbSignature[i] = sr[63 - i];  // CryptoAPI order: reverse of s || r
    *pcbSigLen = 64;
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
    if (!k) return fail(NTE_BAD_KEY);
    if (dwFlags) return fail(NTE_BAD_FLAGS);
    if (!pbSignature || cbSigLen != 64) return fail(NTE_BAD_SIGNATURE);
    if (!h->finished) {
        h->value = h->h.final();
        h->finished = true;
    }
    uint8_t sr[64];
    for (size_t i = 0; i < 64; ++i) sr[i] = pbSignature[63 - i];
    if (!softgost::verify(k->mat, h->value.data(), h->value.size(), sr, 64)) return fail(NTE_BAD_SIGNATURE);
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

// crypt32 OID function (CRYPT_OID_IMPORT_PUBLIC_KEY_INFO_FUNC) for 1.2.643.2.2.19: turns a GOST R 34.10-2001
// SubjectPublicKeyInfo into our PUBLICKEYBLOB and imports it into the caller's provider (ours when none given).
BOOL WINAPI CryptDllImportPublicKeyInfoEx(HCRYPTPROV hCryptProv, DWORD, PCERT_PUBLIC_KEY_INFO pInfo, ALG_ID aiKeyAlg,
                                          DWORD, void*, HCRYPTKEY* phKey) {
    try {
        pinModule();
        if (!pInfo || !phKey) return fail(ERROR_INVALID_PARAMETER);
        const CRYPT_OBJID_BLOB& params = pInfo->Algorithm.Parameters;
        const CRYPT_BIT_BLOB& pub = pInfo->PublicKey;
        if (!params.pbData || params.cbData < 2 || params.pbData[0] != 0x30 || params.pbData[1] >= 0x80 ||
            params.cbData != 2u + params.pbData[1])
            return fail(CRYPT_E_ASN1_BADTAG);
        if (!pub.pbData || pub.cbData != 66 || pub.pbData[0] != 0x04 || pub.pbData[1] != 0x40)
            return fail(CRYPT_E_ASN1_BADTAG);
        ALG_ID alg = aiKeyAlg == CALG_DH_EL_SF ? CALG_DH_EL_SF : CALG_GR3410EL;
        Bytes blob(16);
        blob[0] = PUBLICKEYBLOB;
        blob[1] = 0x20;
        DWORD magic = kGostMagic, bits = 512;
        std::memcpy(&blob[4], &alg, 4);
        std::memcpy(&blob[8], &magic, 4);
        std::memcpy(&blob[12], &bits, 4);
        blob.insert(blob.end(), params.pbData, params.pbData + params.cbData);
        blob.insert(blob.end(), pub.pbData + 2, pub.pbData + 66);
        if (!hCryptProv) {
            static HCRYPTPROV own = 0;  // kept for the life of the process: its keys need it
            static std::once_flag once;
            std::call_once(once, [] {
                CryptAcquireContextA(&own, nullptr, kProviderName, kProviderType, CRYPT_VERIFYCONTEXT);
            });
            if (!own) return FALSE;
            hCryptProv = own;
        }
        return CryptImportKey(hCryptProv, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, phKey);
    } catch (...) {
        return fail(NTE_FAIL);
    }
}

}  // extern "C"
