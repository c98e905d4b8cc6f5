// Verification of a decoded signature: the SignatureValue with a CryptoAPI key or an HMAC
// secret, then the digests of the same-document references. The outcome is recorded in
// the status words and answered as an HRESULT; misuse throws.
#include <memory>

#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/framework/XSECException.hpp>

#include "api/ContextRegistry.hpp"
#include "api/CryptXmlException.hpp"
#include "api/Trace.hpp"
#include "crypto/WinCAPICryptoKeyDSA.hpp"
#include "crypto/WinCAPICryptoKeyGOST.hpp"
#include "crypto/WinCAPICryptoKeyHMAC.hpp"
#include "crypto/WinCAPICryptoKeyRSA.hpp"
#include "keys/PublicKeyImport.hpp"
#include "reference/RefContext.hpp"
#include "signature/SigContext.hpp"

namespace {

constexpr char kVerify[] = "SigContext::Verify";
constexpr ALG_ID kAlgClassMask = 0x1E00;
constexpr ALG_ID kAlgTypeGr3410 = 0x0E00;  // ALG_TYPE_GR3410
constexpr DWORD kOpenedToEncode = 0x80000000;

// A provider handle that CryptoAPI answers for.
bool IsProvider(HCRYPTPROV prov) {
    if (prov == 0) return false;
    DWORD size = sizeof(DWORD);
    return CryptGetProvParam(prov, PP_PROVTYPE, nullptr, &size, 0) != FALSE;
}

// The key object for a caller's key, chosen by the key's algorithm class.
std::unique_ptr<XSECCryptoKey> KeyObjectFor(ALG_ID algId, HCRYPTPROV prov, HCRYPTKEY key) {
    switch (algId & kAlgClassMask) {
        case ALG_TYPE_RSA: return std::make_unique<WinCAPICryptoKeyRSA>(prov, key);
        case ALG_TYPE_DSS: return std::make_unique<WinCAPICryptoKeyDSA>(prov, key);
        case kAlgTypeGr3410: return std::make_unique<WinCAPICryptoKeyGOST>(prov, key);
        default: break;
    }
    // Keep the text as published: it names only two of the three classes accepted.
    trace::traceA(kVerify, "unsupported type of the key. Supported types: ALG_TYPE_RSA(0x400), ALG_TYPE_GR3410(0xE00)");
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
        return keyImport::LastErrorResult();
    }
    std::unique_ptr<XSECCryptoKey> key = KeyObjectFor(algId, hProv, hKey);
    return Verify(key.release());
}

HRESULT SigContext::VerifyHMAC() {
    if (hmacSecret_ == nullptr) errors::Raise<hr::kInvalidOperation>("SigContext::VerifyHMAC");
    auto key = std::make_unique<WinCAPICryptoKeyHMAC>(0);
    // xml-security-c takes the key as non-const bytes; it copies them and writes nothing.
    key->setKey(const_cast<BYTE*>(hmacSecret_), hmacSecretLength_);
    return Verify(key.release());
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
    } catch (const XSECCryptoException& e) {
        trace::traceA(kVerify, e.getMsg() != nullptr ? e.getMsg() : "");
        RecordFailure(0);
        return CRYPT_XML_E_VERIFY_FAILED;
    } catch (const XSECException& e) {
        trace::traceW(L"SigContext::Verify", e.getMsg() != nullptr ? e.getMsg() : L"");
        switch (e.getType()) {
            case XSECException::UnknownTransform:
            case XSECException::UnsupportedFunction:  // a transform this build cannot execute
                RecordFailure(CRYPT_XML_STATUS_ERROR_NOT_SUPPORTED_TRANSFORM);
                return CRYPT_XML_E_TRANSFORM;
            case XSECException::AlgorithmMapperError:
                RecordFailure(0);
                return CRYPT_XML_E_ALGORITHM;
            default:
                RecordFailure(0);
                return CRYPT_XML_E_VERIFY_FAILED;
        }
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
    if (ownedDocument_ == nullptr) errors::RaiseFailure("SigContext::GetCurrentDocument", "impl->createDocument() failed.");
    return ownedDocument_;
}
