#pragma once
#include <utility>

#include "base/WinApi.hpp"

// Forwarding of the published functions to the platform's own CryptXml.dll. Off by
// default; while it is on, each published export hands its arguments unchanged to the
// function of the same name there and returns its answer, touching nothing of ours.
namespace redirect {

// The forwarded functions, in the order their entry points are looked up.
enum Entry : int {
    kOpenToEncode,
    kCreateReference,
    kSign,
    kClose,
    kGetStatus,
    kEncode,
    kOpenToDecode,
    kGetSignature,
    kGetReference,
    kGetDocContext,
    kVerifySignature,
    kFindAlgorithmInfo,
    kImportPublicKey,
    kDigestReference,
    kEnumAlgorithmInfo,
    kGetAlgorithmInfo,
    kSetHMACSecret,
    kAddObject,
    kGetTransforms,
    kEntryCount
};

// The published name of an entry ("CryptXmlOpenToEncode", ...).
const char* NameOf(Entry entry) noexcept;

// Loads the platform library once and looks up every entry: S_OK, or E_FAIL with a trace
// line. A failed load is tried again on the next call; an incomplete table is reported
// once and kept.
HRESULT EnsureMsCryptXmlLoaded() noexcept;

// The three control exports' answers (S_OK yes, S_FALSE no).
HRESULT IsAvailable() noexcept;
HRESULT Enable(BOOL fEnable) noexcept;
HRESULT IsEnabled() noexcept;

// The entry point found for `entry`, or null.
FARPROC EntryPoint(Entry entry) noexcept;

// What a forwarded call answers when the platform library lacks its entry point.
void ReportMissing(Entry entry) noexcept;
template <class R>
R MissingResult() noexcept {
    return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
}
template <>
inline const CRYPT_XML_ALGORITHM_INFO* MissingResult<const CRYPT_XML_ALGORITHM_INFO*>() noexcept {
    return nullptr;
}

// Calls the platform's function for `entry` with the caller's arguments unchanged. Fn is
// the type of our own export of the same name, so the signatures cannot drift apart.
template <class Fn, class... Args>
auto Forward(Entry entry, Args... args) noexcept {
    using Result = decltype(std::declval<Fn>()(args...));
    const auto fn = reinterpret_cast<Fn>(reinterpret_cast<void*>(EntryPoint(entry)));
    if (fn == nullptr) {
        ReportMissing(entry);
        return MissingResult<Result>();
    }
    return fn(args...);
}

}  // namespace redirect
