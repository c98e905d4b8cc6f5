#include "Backend.hpp"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

namespace faulty {
namespace {

struct Route {
    DWORD type;
    const wchar_t* dll;  // a system DLL name, or a file name looked up next to this DLL
    bool besideUs;
    const char* providerName;
    bool keyParamsAnsweredHere;
};

// rsaenh picks its personality (key sizes, algorithms) from the provider name, so each type
// is forwarded under the name the prefix registers for it by default.
const Route kRoutes[] = {
    {1, L"rsaenh.dll", false, "Microsoft Enhanced Cryptographic Provider v1.0", false},
    {3, L"dssenh.dll", false, "Microsoft Base DSS Cryptographic Provider", true},
    {24, L"rsaenh.dll", false, "Microsoft Enhanced RSA and AES Cryptographic Provider", false},
    {75, L"softgost-csp.dll", true, "Talvoran Soft GOST CSP", false},
};
constexpr size_t kRouteCount = sizeof kRoutes / sizeof kRoutes[0];

std::wstring BesideThisDll(const wchar_t* fileName) {
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&BesideThisDll), &self);
    wchar_t path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameW(self, path, MAX_PATH);
    std::wstring dir(path, length);
    const size_t slash = dir.find_last_of(L"\\/");
    dir.erase(slash == std::wstring::npos ? 0 : slash + 1);
    return dir + fileName;
}

template <class F>
bool Bind(HMODULE module, F& target, const char* name) {
    target = reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    return target != nullptr;
}

// CPDuplicateKey and CPDuplicateHash are optional; the other 23 entry points are not.
bool BindAll(HMODULE m, Backend& b) {
    Bind(m, b.CPDuplicateHash, "CPDuplicateHash");
    Bind(m, b.CPDuplicateKey, "CPDuplicateKey");
    return Bind(m, b.CPAcquireContext, "CPAcquireContext") && Bind(m, b.CPReleaseContext, "CPReleaseContext") &&
           Bind(m, b.CPGenKey, "CPGenKey") && Bind(m, b.CPDeriveKey, "CPDeriveKey") &&
           Bind(m, b.CPDestroyKey, "CPDestroyKey") && Bind(m, b.CPSetKeyParam, "CPSetKeyParam") &&
           Bind(m, b.CPGetKeyParam, "CPGetKeyParam") && Bind(m, b.CPSetProvParam, "CPSetProvParam") &&
           Bind(m, b.CPGetProvParam, "CPGetProvParam") && Bind(m, b.CPSetHashParam, "CPSetHashParam") &&
           Bind(m, b.CPGetHashParam, "CPGetHashParam") && Bind(m, b.CPExportKey, "CPExportKey") &&
           Bind(m, b.CPImportKey, "CPImportKey") && Bind(m, b.CPEncrypt, "CPEncrypt") &&
           Bind(m, b.CPDecrypt, "CPDecrypt") && Bind(m, b.CPCreateHash, "CPCreateHash") &&
           Bind(m, b.CPHashData, "CPHashData") && Bind(m, b.CPHashSessionKey, "CPHashSessionKey") &&
           Bind(m, b.CPSignHash, "CPSignHash") && Bind(m, b.CPDestroyHash, "CPDestroyHash") &&
           Bind(m, b.CPVerifySignature, "CPVerifySignature") && Bind(m, b.CPGenRandom, "CPGenRandom") &&
           Bind(m, b.CPGetUserKey, "CPGetUserKey");
}

bool Load(const Route& route, Backend& backend) {
    const std::wstring path = route.besideUs ? BesideThisDll(route.dll) : std::wstring(route.dll);
    HMODULE module = LoadLibraryW(path.c_str());
    if (module == nullptr) return false;
    backend.type = route.type;
    backend.providerName = route.providerName;
    backend.keyParamsAnsweredHere = route.keyParamsAnsweredHere;
    if (BindAll(module, backend)) return true;
    FreeLibrary(module);
    backend = Backend();
    SetLastError(ERROR_PROC_NOT_FOUND);
    return false;
}

std::mutex g_lock;
Backend g_backends[kRouteCount];

}  // namespace

const Backend* BackendFor(DWORD type) {
    for (size_t i = 0; i < kRouteCount; ++i) {
        if (kRoutes[i].type != type) continue;
        std::lock_guard<std::mutex> guard(g_lock);
        if (g_backends[i].CPAcquireContext == nullptr && !Load(kRoutes[i], g_backends[i])) return nullptr;
        return &g_backends[i];
    }
    SetLastError(static_cast<DWORD>(NTE_BAD_PROV_TYPE));
    return nullptr;
}

DWORD TypeFromProviderName(const char* name) {
    if (name == nullptr) return 0;
    const char* marker = std::strstr(name, "(type ");
    return marker == nullptr ? 0 : static_cast<DWORD>(std::strtoul(marker + 6, nullptr, 10));
}

}  // namespace faulty
