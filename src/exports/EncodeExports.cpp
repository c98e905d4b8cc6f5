// The exports of the encode path: open a new signature, give it references and objects,
// sign it and write the document.
#include <cwchar>
#include <memory>
#include <utility>

#include "dsig/ContextRegistry.hpp"
#include "exports/ExportFrame.hpp"
#include "crypto/XmlStack.hpp"
#include "dsig/ObjContext.hpp"
#include "dsig/RefContext.hpp"
#include "dsig/SigContext.hpp"
#include "redirect/Redirection.hpp"

namespace {

// A signature takes one reference and one object fewer than the published maxima.
constexpr DWORD kReferencesMax = CRYPT_XML_REFERENCES_MAX - 1;
constexpr DWORD kObjectsMax = CRYPT_XML_OBJECTS_MAX - 1;
constexpr DWORD kCngKeySpec = CERT_NCRYPT_KEY_SPEC;

void RequireOpenToEncode(const char* exportName, const SigContext& sig) {
    CRYPT_XML_STATUS status;
    sig.GetStatus(&status);
    const DWORD signedOrFailed = (status.dwInfoStatus | status.dwErrorStatus) & CRYPT_XML_STATUS_SIGNATURE_VALID;
    // A decoded or an already signed signature takes no new references.
    if (!sig.IsOpenedToEncode() || signedOrFailed != 0) errors::Raise<hr::kOperation>(exportName);
}

HCRYPTXML CreateOnSignature(const char* exportName, SigContext& sig, DWORD dwFlags,
                            const RefContext::NewReference& args) {
    RequireOpenToEncode(exportName, sig);
    registry::NewContext<ObjContext> obj;
    if ((dwFlags & CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT) != 0) {
        if (sig.Objects().size() >= kObjectsMax) {
            errors::Raise<hr::kLarge>(exportName, "CRYPT_XML_OBJECTS_MAX limit exceeded.");
        }
        if (args.uri == nullptr || std::wcslen(args.uri) < 2 || args.uri[0] != L'#') {
            errors::Raise<hr::kInvalidArg>(exportName, "wszURI");
        }
        obj.Keep(std::make_unique<ObjContext>(&sig, args.uri + 1, dwFlags));
    }
    if (sig.References().size() >= kReferencesMax) {
        errors::Raise<hr::kLarge>(exportName, "CRYPT_XML_REFERENCES_MAX limit exceeded.");
    }
    registry::NewContext<RefContext> ref(std::make_unique<RefContext>(&sig, dwFlags, args, obj.get()));
    if (obj.get() != nullptr) obj.Register();
    ref.Register();
    if (obj.get() != nullptr) {
        sig.AddObject(obj.get());
        obj.Release();  // the signature's child now
    }
    sig.AddReference(ref.get());
    return ref.Release();
}

HCRYPTXML CreateOnObject(const char* exportName, ObjContext& obj, DWORD dwFlags, const RefContext::NewReference& args) {
    RequireOpenToEncode(exportName, *obj.ParentSignature());
    registry::NewContext<RefContext> ref(std::make_unique<RefContext>(&obj, dwFlags, args));
    ref.Register();
    obj.AddReference(ref.get());
    return ref.Release();
}

}  // namespace

extern "C" {

HRESULT WINAPI CryptXmlOpenToEncode(const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* pConfig, DWORD dwFlags, LPCWSTR wszId,
                                    const CRYPT_XML_PROPERTY* rgProperty, ULONG cProperty,
                                    const CRYPT_XML_BLOB* pEncoded, HCRYPTXML* phSignature) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlOpenToEncode)>(redirect::kOpenToEncode, pConfig, dwFlags, wszId,
                                                                  rgProperty, cProperty, pEncoded, phSignature);
    }
    static const char* const kExport = "CryptXmlOpenToEncode";
    if (phSignature == nullptr) return E_INVALIDARG;  // answered without a trace line
    return frame::Run(kExport, [&]() -> HRESULT {
        xmlStack::Ensure();
        registry::NewContext<SigContext> sig(
            std::make_unique<SigContext>(pConfig, dwFlags, wszId, rgProperty, cProperty, pEncoded));
        sig.Register();
        *phSignature = sig.Release();
        return S_OK;
    });
}

HRESULT WINAPI CryptXmlCreateReference(HCRYPTXML hCryptXml, DWORD dwFlags, LPCWSTR wszId, LPCWSTR wszURI,
                                       LPCWSTR wszType, const CRYPT_XML_ALGORITHM* pDigestMethod, ULONG cTransform,
                                       const CRYPT_XML_ALGORITHM* rgTransform, HCRYPTXML* phReference) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlCreateReference)>(redirect::kCreateReference, hCryptXml, dwFlags,
                                                                     wszId, wszURI, wszType, pDigestMethod, cTransform,
                                                                     rgTransform, phReference);
    }
    static const char* const kExport = "CryptXmlCreateReference";
    return frame::Run(kExport, [&]() -> HRESULT {
        if (hCryptXml == nullptr || phReference == nullptr) {
            errors::Raise<hr::kInvalidArg>(kExport, "NULL == hSignatureOrObject || NULL == phReferenceOrObject");
        }
        xmlStack::Ensure();
        const RefContext::NewReference args{wszId, wszURI, wszType, pDigestMethod, cTransform, rgTransform};
        if (auto sig = registry::LockedContext<SigContext>::IfA(hCryptXml)) {
            *phReference = CreateOnSignature(kExport, *sig, dwFlags, args);
            return S_OK;
        }
        registry::LockedContext<ObjContext> obj(hCryptXml);
        *phReference = CreateOnObject(kExport, *obj, dwFlags, args);
        return S_OK;
    });
}

HRESULT WINAPI CryptXmlAddObject(HCRYPTXML hSignatureOrObject, DWORD dwFlags, const CRYPT_XML_PROPERTY* rgProperty,
                                 ULONG cProperty, const CRYPT_XML_BLOB* pEncoded, const CRYPT_XML_OBJECT** ppObject) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlAddObject)>(redirect::kAddObject, hSignatureOrObject, dwFlags,
                                                               rgProperty, cProperty, pEncoded, ppObject);
    }
    static const char* const kExport = "CryptXmlAddObject";
    (void)rgProperty;  // no object property is defined
    (void)cProperty;
    return frame::Run(kExport, [&]() -> HRESULT {
        if (hSignatureOrObject == nullptr || pEncoded == nullptr) {
            errors::Raise<hr::kInvalidArg>(kExport, "NULL == hSignatureOrObject || NULL == pEncoded");
        }
        xmlStack::Ensure();
        if (auto sig = registry::LockedContext<SigContext>::IfA(hSignatureOrObject)) {
            if (!sig->IsOpenedToEncode()) errors::RaiseFailure(kExport, "a signature is not opened for encoding");
            const CRYPT_XML_OBJECT* added = sig->AddObject(pEncoded);
            if (ppObject != nullptr) *ppObject = added;
            return S_OK;
        }
        registry::LockedContext<ObjContext> obj(hSignatureOrObject);
        if (ppObject != nullptr) {
            errors::Raise<hr::kInvalidArg>(
                kExport,
                "In case of hSignatureOrObject contains a handle of the Object the ppObject parameter must be NULL.");
        }
        // Objects of a decoded or signed signature keep what they have.
        RequireOpenToEncode(kExport, *obj->ParentSignature());
        obj->SetCustomContent(dwFlags, pEncoded);
        return S_OK;
    });
}

HRESULT WINAPI CryptXmlSign(HCRYPTXML hSignature, HCRYPTPROV_OR_NCRYPT_KEY_HANDLE hKey, DWORD dwKeySpec, DWORD dwFlags,
                            CRYPT_XML_KEYINFO_SPEC dwKeyInfoSpec, const void* pvKeyInfoSpec,
                            const CRYPT_XML_ALGORITHM* pSignatureMethod, const CRYPT_XML_ALGORITHM* pCanonicalization) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlSign)>(redirect::kSign, hSignature, hKey, dwKeySpec, dwFlags,
                                                          dwKeyInfoSpec, pvKeyInfoSpec, pSignatureMethod,
                                                          pCanonicalization);
    }
    static const char* const kExport = "CryptXmlSign";
    const HCRYPTPROV hProv = static_cast<HCRYPTPROV>(hKey);
    if (hProv != 0 && dwKeySpec != kCngKeySpec) {
        // The container must hold the key before anything is built.
        HCRYPTKEY userKey = 0;
        if (!CryptGetUserKey(hProv, dwKeySpec, &userKey)) {
            const DWORD error = GetLastError();
            return frame::Report(kExport, "CryptGetUserKey() failed.", HRESULT_FROM_WIN32(error));
        }
        CryptDestroyKey(userKey);
    }
    return frame::Run(kExport, [&]() -> HRESULT {
        xmlStack::Ensure();
        registry::LockedContext<SigContext> sig(hSignature);
        if (sig->References().empty()) {
            return frame::Report(kExport, "there is no references associated with this signature.",
                                 hr::kInvalidOperation);
        }
        sig->Sign(hProv, dwKeySpec, dwFlags, dwKeyInfoSpec, pvKeyInfoSpec, pSignatureMethod, pCanonicalization);
        return S_OK;
    });
}

HRESULT WINAPI CryptXmlEncode(HCRYPTXML hCryptXml, CRYPT_XML_CHARSET dwCharset, const CRYPT_XML_PROPERTY* rgProperty,
                              ULONG cProperty, void* pvCallbackState, PFN_CRYPT_XML_WRITE_CALLBACK pfnWrite) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlEncode)>(redirect::kEncode, hCryptXml, dwCharset, rgProperty,
                                                            cProperty, pvCallbackState, pfnWrite);
    }
    static const char* const kExport = "CryptXmlEncode";
    return frame::Run(kExport, [&]() -> HRESULT {
        if (pvCallbackState == nullptr || hCryptXml == nullptr || pfnWrite == nullptr) {
            errors::Raise<hr::kInvalidArg>(kExport, "NULL == pvCallbackState || NULL == hCryptXml || NULL == pfnWrite");
        }
        xmlStack::Ensure();
        registry::LockedContext<SigContext> sig(hCryptXml);
        sig->Encode(dwCharset, rgProperty, cProperty, pvCallbackState, pfnWrite);
        return S_OK;
    });
}

}  // extern "C"
