// The exports of verification: the HMAC secret, the signature check, and the digest of a
// reference whose data the caller supplies.
#include "algorithms/AlgorithmCatalog.hpp"
#include "dsig/ContextRegistry.hpp"
#include "exports/ExportFrame.hpp"
#include "crypto/XmlStack.hpp"
#include "keys/KeyInfoKey.hpp"
#include "dsig/RefContext.hpp"
#include "dsig/SigContext.hpp"
#include "base/XsecErrors.hpp"
#include "redirect/Redirection.hpp"

namespace {

constexpr char kVerifyCapi[] = "CryptXmlVerifySignatureCAPI";
constexpr char kBothNeeded[] = "NULL == provHandle || NULL == hKey";

bool IsHmacSignature(const SigContext& sig) {
    const CRYPT_XML_ALGORITHM_INFO* method =
        algInfo::FindAlgInfoByURI(sig.GetSignatureStruct()->SignedInfo.SignatureMethod.wszAlgorithm);
    const keys::KeyFamily* family = method != nullptr ? algInfo::FamilyOf(*method) : nullptr;
    return family != nullptr && family->UsesSecret();
}

// Neither key nor provider from the caller: the key comes from the signature itself.
HRESULT VerifyWithOwnKey(SigContext& sig) {
    if (IsHmacSignature(sig)) return sig.VerifyHMAC();  // no secret: refused there
    keys::ImportedKey key;
    const HRESULT imported = keyInfoKey::Import(sig.GetSignatureStruct()->pKeyInfo, key);
    if (imported == S_FALSE) errors::Raise<hr::kInvalidArg>(kVerifyCapi, kBothNeeded);
    if (FAILED(imported)) return imported;
    // The key objects keep duplicates: these handles can go when the check is done.
    return sig.Verify(key.key.get(), key.prov.get());
}

HRESULT VerifyWith(SigContext& sig, HCRYPTPROV hProv, HCRYPTKEY hKey) {
    if (sig.HasHmacSecret()) {
        if (hProv != 0 || hKey != 0) errors::Raise<hr::kInvalidArg>(kVerifyCapi, "NULL != provHandle || NULL != hKey");
        return sig.VerifyHMAC();
    }
    if (hProv != 0 && hKey != 0) return sig.Verify(hKey, hProv);
    if (hProv == 0 && hKey == 0) return VerifyWithOwnKey(sig);
    errors::Raise<hr::kInvalidArg>(kVerifyCapi, kBothNeeded);
}

bool IsInternal(const CRYPT_XML_STATUS& status) {
    return (status.dwInfoStatus & CRYPT_XML_STATUS_INTERNAL_REFERENCE) != 0;
}

bool IsOpenedToEncode(const CRYPT_XML_STATUS& status) {
    return (status.dwInfoStatus & CRYPT_XML_STATUS_OPENED_TO_ENCODE) != 0;
}

}  // namespace

extern "C" {

HRESULT WINAPI CryptXmlVerifySignatureCAPI(HCRYPTXML hSignature, HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD /*dwFlags*/) {
    // The platform library has no CryptoAPI verification to forward to.
    if (redirect::IsEnabled() == S_OK) return E_FAIL;
    return frame::Run(kVerifyCapi, [&]() -> HRESULT {
        if (hSignature == nullptr) errors::Raise<hr::kInvalidArg>(kVerifyCapi, "NULL == hSignature");
        xmlStack::Ensure();
        registry::LockedContext<SigContext> sig(hSignature);
        try {
            return VerifyWith(*sig, hProv, hKey);
        } catch (...) {
            xsecErrors::Rethrow(L"CryptXmlVerifySignatureCAPI");
        }
    });
}

HRESULT WINAPI CryptXmlVerifySignature(HCRYPTXML hSignature, BCRYPT_KEY_HANDLE hKey, DWORD dwFlags) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlVerifySignature)>(redirect::kVerifySignature, hSignature, hKey,
                                                                     dwFlags);
    }
    // CNG keys are not offered; without a key the signature's own is used.
    if (hKey != nullptr) return E_NOTIMPL;
    return CryptXmlVerifySignatureCAPI(hSignature, 0, 0, dwFlags);
}

HRESULT WINAPI CryptXmlSetHMACSecret(HCRYPTXML hSignature, const BYTE* pbSecret, ULONG cbSecret) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlSetHMACSecret)>(redirect::kSetHMACSecret, hSignature, pbSecret,
                                                                   cbSecret);
    }
    static const char* const kExport = "CryptXmlSetHMACSecret";
    return frame::RunNarrow<true>(kExport, [&]() -> HRESULT {
        if (hSignature == nullptr || pbSecret == nullptr) {
            errors::Raise<hr::kInvalidArg>(kExport, "NULL == hSignature || NULL == pbSecret");
        }
        xmlStack::Ensure();
        registry::LockedContext<SigContext> sig(hSignature);
        sig->SetHmacSecret(pbSecret, cbSecret);
        return S_OK;
    });
}

HRESULT WINAPI CryptXmlDigestReference(HCRYPTXML hReference, DWORD dwFlags, CRYPT_XML_DATA_PROVIDER* pDataProviderIn) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlDigestReference)>(redirect::kDigestReference, hReference, dwFlags,
                                                                     pDataProviderIn);
    }
    static const char* const kExport = "CryptXmlDigestReference";
    if (hReference == nullptr || pDataProviderIn == nullptr) {
        return frame::Report(kExport, "NULL == hReference || NULL == pDataProviderIn", E_INVALIDARG);
    }
    return frame::Run(kExport, [&]() -> HRESULT {
        xmlStack::Ensure();
        registry::LockedContext<RefContext> ref(hReference);
        CRYPT_XML_STATUS status;
        ref->GetStatus(&status);
        // Same-document data is digested with the signature, never from the caller.
        if (IsInternal(status)) return CRYPT_XML_E_OPERATION;
        ref->Resolve(dwFlags, pDataProviderIn);
        if (IsOpenedToEncode(status)) return S_OK;
        try {
            return ref->VerifyHash() ? S_OK : CRYPT_XML_E_INVALID_DIGEST;
        } catch (...) {
            xsecErrors::Rethrow(L"CryptXmlDigestReference");
        }
    });
}

}  // extern "C"
