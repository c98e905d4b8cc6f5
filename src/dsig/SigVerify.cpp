// Verification of a decoded signature: the SignatureValue with a CryptoAPI key or an HMAC
// secret, then the digests of the same-document references. The outcome is recorded in
// the status words and answered as an HRESULT; misuse throws.
#include <memory>

#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/enc/XSECCryptoKey.hpp>

#include "dsig/ContextRegistry.hpp"
#include "base/CryptXmlException.hpp"
#include "base/Trace.hpp"
#include "base/XsecErrors.hpp"
#include "keys/KeyFamilies.hpp"
#include "keys/hmac/HmacFamily.hpp"
#include "dsig/RefContext.hpp"
#include "dsig/SigContext.hpp"

namespace {

constexpr char kVerify[] = "SigContext::Verify";
constexpr DWORD kOpenedToEncode = CRYPT_XML_STATUS_OPENED_TO_ENCODE;

// A provider handle that CryptoAPI answers for.
bool IsProvider(HCRYPTPROV prov) {
    if (prov == 0) return false;
    DWORD size = sizeof(DWORD);
    return CryptGetProvParam(prov, PP_PROVTYPE, nullptr, &size, 0) != FALSE;
}

// The key object for a caller's key, chosen by the key's algorithm.
std::unique_ptr<XSECCryptoKey> KeyObjectFor(ALG_ID algId, HCRYPTPROV prov, HCRYPTKEY key) {
    if (const keys::KeyFamily* family = keyFamilies::ForAlgId(algId)) return family->WrapKey(prov, key);
    // Keep the text as published: it names only two of the three classes accepted.
    trace::TraceA(kVerify, "unsupported type of the key. Supported types: ALG_TYPE_RSA(0x400), ALG_TYPE_GR3410(0xE00)");
    errors::Raise<hr::kInvalidOperation>(kVerify);
}

bool IsInternalUri(const wchar_t* uri) { return uri != nullptr && (*uri == L'\0' || *uri == L'#'); }

}  // namespace

void SigContext::SetHmacSecret(const BYTE* pbSecret, ULONG cbSecret) {
    if (cbSecret == 0) errors::Raise<hr::kInvalidArg>("SigContext::SetHmacSecret", "0 == cbSecret");
    hmacSecretLength_ = cbSecret;
    hmacSecret_ = pbSecret;
}

HRESULT SigContext::Verify(HCRYPTKEY hKey, HCRYPTPROV hProv) {
    const CRYPT_XML_STATUS& status = Status();
    if ((status.dwInfoStatus & CRYPT_XML_STATUS_SIGNATURE_VALID) != 0 ||
        (status.dwErrorStatus & CRYPT_XML_STATUS_ERROR_SIGNATURE_INVALID) != 0) {
        errors::Raise<hr::kOperation>(kVerify);  // once only through this form
    }
    if ((status.dwInfoStatus & kOpenedToEncode) != 0) errors::Raise<hr::kOperation>(kVerify);
    if (hKey == 0 || !IsProvider(hProv)) errors::Raise<hr::kInvalidArg>(kVerify);

    ALG_ID algId = 0;
    DWORD size = sizeof(algId);
    if (!CryptGetKeyParam(hKey, KP_ALGID, reinterpret_cast<BYTE*>(&algId), &size, 0)) {
        return HRESULT_FROM_WIN32(GetLastError());
    }
    std::unique_ptr<XSECCryptoKey> key = KeyObjectFor(algId, hProv, hKey);
    return Verify(key.release());
}

HRESULT SigContext::VerifyHMAC() {
    if (hmacSecret_ == nullptr) errors::Raise<hr::kInvalidOperation>("SigContext::VerifyHMAC");
    return Verify(hmac::SecretKey(hmacSecret_, hmacSecretLength_).release());
}

HRESULT SigContext::Verify(XSECCryptoKey* cryptoKey) {
    std::unique_ptr<XSECCryptoKey> key(cryptoKey);
    if (parentDocContext_ == nullptr) errors::Raise<hr::kInvalidArg>(kVerify, "NULL == parentDocContext_");
    if (cryptoKey == nullptr) errors::Raise<hr::kInvalidArg>(kVerify, "NULL == cryptoKey");
    if (xsecSig_ == nullptr) errors::Raise<hr::kInvalidOperation>(kVerify, "NULL == xsecSig_");
    xsecSig_->setSigningKey(key.release());  // the signature owns it from here on
    xsecSig_->setURIResolver(&uriResolver_);
    try {
        if (!xsecSig_->verifySignatureOnly()) {
            RecordFailure(0);
            return CRYPT_XML_E_VERIFY_FAILED;
        }
        SetStatus({sizeof(CRYPT_XML_STATUS), 0, CRYPT_XML_STATUS_SIGNATURE_VALID});
        CheckInternalDigests();
        return S_OK;
    } catch (...) {
        DWORD extraError = 0;
        const HRESULT result = xsecErrors::ReportVerification(kVerify, extraError);
        RecordFailure(extraError);
        return result;
    }
}

void SigContext::RecordFailure(DWORD extraError) {
    SetStatus({sizeof(CRYPT_XML_STATUS), CRYPT_XML_STATUS_ERROR_SIGNATURE_INVALID | extraError, 0});
}

// Same-document references only: the data of the others comes from the caller through
// CryptXmlDigestReference.
void SigContext::CheckInternalDigests() {
    for (RefContext* ref : refContexts_) {
        if (!registry::ContextExists(ref)) errors::RaiseFailure(kVerify, "invalid refContext");
        if (IsInternalUri(ref->GetReferenceStruct()->wszUri)) ref->VerifyHash();
    }
}

xercesc::DOMDocument* SigContext::GetCurrentDocument() {
    if (xercesc::DOMDocument* source = SourceDocument()) return source;
    if (ownedDocument_ != nullptr) return ownedDocument_;
    static const XMLCh kCore[] = {'c', 'o', 'r', 'e', 0};
    xercesc::DOMImplementation* impl = xercesc::DOMImplementationRegistry::getDOMImplementation(kCore);
    ownedDocument_ = impl != nullptr ? impl->createDocument(xercesc::XMLPlatformUtils::fgMemoryManager) : nullptr;
    if (ownedDocument_ == nullptr)
        errors::RaiseFailure("SigContext::GetCurrentDocument", "impl->createDocument() failed.");
    return ownedDocument_;
}
