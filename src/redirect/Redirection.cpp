#include "redirect/Redirection.hpp"

#include <array>
#include <atomic>
#include <mutex>

#include "dsig/ContextRegistry.hpp"
#include "base/RecursiveLock.hpp"
#include "base/Trace.hpp"

namespace redirect {
namespace {

constexpr char kEnsureLoaded[] = "EnsureMsCryptXmlLoaded";

constexpr std::array<const char*, kEntryCount> kNames = {
    "CryptXmlOpenToEncode",
    "CryptXmlCreateReference",
    "CryptXmlSign",
    "CryptXmlClose",
    "CryptXmlGetStatus",
    "CryptXmlEncode",
    "CryptXmlOpenToDecode",
    "CryptXmlGetSignature",
    "CryptXmlGetReference",
    "CryptXmlGetDocContext",
    "CryptXmlVerifySignature",
    "CryptXmlFindAlgorithmInfo",
    "CryptXmlImportPublicKey",
    "CryptXmlDigestReference",
    "CryptXmlEnumAlgorithmInfo",
    "CryptXmlGetAlgorithmInfo",
    "CryptXmlSetHMACSecret",
    "CryptXmlAddObject",
    "CryptXmlGetTransforms",
};

// 0 off, 1 on. Written under the registry lock, read without a lock.
std::atomic<unsigned> redirectionFlag{0};

// Written only under the loader lock; the module, once loaded, stays for the process.
RecursiveLock loaderLock;
HMODULE systemModule = nullptr;
std::array<std::atomic<FARPROC>, kEntryCount> entryPoints{};

bool LookUpEntryPoints(HMODULE module) noexcept {
    bool complete = true;
    for (int i = 0; i < kEntryCount; ++i) {
        const FARPROC proc = ::GetProcAddress(module, kNames[i]);
        entryPoints[i].store(proc);
        complete = complete && proc != nullptr;
    }
    return complete;
}

}  // namespace

const char* NameOf(Entry entry) noexcept { return entry >= 0 && entry < kEntryCount ? kNames[entry] : ""; }

HRESULT EnsureMsCryptXmlLoaded() noexcept {
    std::lock_guard<RecursiveLock> guard(loaderLock);
    if (systemModule != nullptr) return S_OK;
    systemModule = ::LoadLibraryA("CryptXml.dll");
    if (systemModule == nullptr) {
        trace::TraceA(kEnsureLoaded, "failed to load CryptXml.dll");
        return E_FAIL;
    }
    if (!LookUpEntryPoints(systemModule)) {
        // Reported once: the module stays set, so later calls answer S_OK at once.
        trace::TraceA(kEnsureLoaded, "At least one CryptXml-function could not be found in the loaded CryptXml.dll.");
        return E_FAIL;
    }
    return S_OK;
}

HRESULT IsAvailable() noexcept {
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    if (!::GetVersionExW(&version)) return E_FAIL;
    // The platform library came with version 6.1.
    if (version.dwMajorVersion < 6 || (version.dwMajorVersion == 6 && version.dwMinorVersion == 0)) return S_FALSE;
    return S_OK;
}

HRESULT Enable(BOOL fEnable) noexcept {
    if (fEnable && IsAvailable() != S_OK) return CRYPT_XML_E_OPERATION;
    // Handles of ours would be useless to the platform library and the other way round.
    registry::RegistryGuard guard;
    if (registry::ContextCount() != 0) return CRYPT_XML_E_OPERATION;
    redirectionFlag.exchange(fEnable ? 1u : 0u);
    return S_OK;
}

HRESULT IsEnabled() noexcept {
    if (EnsureMsCryptXmlLoaded() != S_OK) return S_FALSE;
    return redirectionFlag.load() == 1u ? S_OK : S_FALSE;
}

FARPROC EntryPoint(Entry entry) noexcept {
    return entry >= 0 && entry < kEntryCount ? entryPoints[entry].load() : nullptr;
}

void ReportMissing(Entry entry) noexcept {
    trace::TraceA(NameOf(entry), "the loaded CryptXml.dll has no such function.");
}

}  // namespace redirect
