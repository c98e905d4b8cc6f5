// The exports of the decode path: open a document, read its structures and status,
// close it.
#include <memory>

#include "dsig/ContextRegistry.hpp"
#include "exports/ExportFrame.hpp"
#include "crypto/XmlStack.hpp"
#include "dsig/DocContext.hpp"
#include "dsig/RefContext.hpp"
#include "dsig/SigContext.hpp"
#include "redirect/Redirection.hpp"

namespace {

constexpr char kStructCheck[] = "NULL == hCryptXml || NULL == ppStruct";

// The shape of the three structure getters: check, start the stack, lock as T, hand out.
template <class T, class Struct, class Get>
HRESULT GetStruct(const char* exportName, HCRYPTXML handle, const Struct** ppStruct, Get&& get) {
    return frame::Run(exportName, [&]() -> HRESULT {
        if (handle == nullptr || ppStruct == nullptr) errors::Raise<hr::kInvalidArg>(exportName, kStructCheck);
        xmlStack::Ensure();
        registry::LockedContext<T> ctx(handle);
        *ppStruct = get(*ctx);
        return S_OK;
    });
}

}  // namespace

extern "C" {

HRESULT WINAPI CryptXmlOpenToDecode(const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* pConfig, DWORD dwFlags,
                                    const CRYPT_XML_PROPERTY* rgProperty, ULONG cProperty,
                                    const CRYPT_XML_BLOB* pEncoded, HCRYPTXML* phCryptXml) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlOpenToDecode)>(redirect::kOpenToDecode, pConfig, dwFlags, rgProperty,
                                                                  cProperty, pEncoded, phCryptXml);
    }
    static const char* const kExport = "CryptXmlOpenToDecode";
    return frame::Run(kExport, [&]() -> HRESULT {
        if (phCryptXml == nullptr) errors::Raise<hr::kInvalidArg>(kExport, "NULL == phCryptXml");
        xmlStack::Ensure();
        registry::NewContext<DocContext> doc(
            std::make_unique<DocContext>(pConfig, dwFlags, rgProperty, cProperty, pEncoded));
        doc.Register();
        *phCryptXml = doc.Release();
        return S_OK;
    });
}

HRESULT WINAPI CryptXmlClose(HCRYPTXML hCryptXml) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlClose)>(redirect::kClose, hCryptXml);
    }
    return frame::RunNarrow<false>("CryptXmlClose", [&]() -> HRESULT {
        auto* ctx = static_cast<BaseContext*>(hCryptXml);
        // A child belongs to its document: only closing the document ends it.
        if (registry::ContextHaveOwner(ctx)) return S_FALSE;
        registry::CloseContext(ctx);
        return S_OK;
    });
}

HRESULT WINAPI CryptXmlGetDocContext(HCRYPTXML hCryptXml, const CRYPT_XML_DOC_CTXT** ppStruct) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlGetDocContext)>(redirect::kGetDocContext, hCryptXml, ppStruct);
    }
    return GetStruct<DocContext>("CryptXmlGetDocContext", hCryptXml, ppStruct,
                                 [](DocContext& doc) { return doc.GetDocStruct(); });
}

HRESULT WINAPI CryptXmlGetSignature(HCRYPTXML hCryptXml, const CRYPT_XML_SIGNATURE** ppStruct) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlGetSignature)>(redirect::kGetSignature, hCryptXml, ppStruct);
    }
    return GetStruct<SigContext>("CryptXmlGetSignature", hCryptXml, ppStruct,
                                 [](SigContext& sig) { return sig.GetSignatureStruct(); });
}

HRESULT WINAPI CryptXmlGetReference(HCRYPTXML hCryptXml, const CRYPT_XML_REFERENCE** ppStruct) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlGetReference)>(redirect::kGetReference, hCryptXml, ppStruct);
    }
    return GetStruct<RefContext>("CryptXmlGetReference", hCryptXml, ppStruct,
                                 [](RefContext& ref) { return ref.GetReferenceStruct(); });
}

HRESULT WINAPI CryptXmlGetStatus(HCRYPTXML hCryptXml, CRYPT_XML_STATUS* pStatus) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlGetStatus)>(redirect::kGetStatus, hCryptXml, pStatus);
    }
    static const char* const kExport = "CryptXmlGetStatus";
    return frame::Run(kExport, [&]() -> HRESULT {
        if (pStatus == nullptr || hCryptXml == nullptr) {
            errors::Raise<hr::kInvalidArg>(kExport, "NULL == pStatus || NULL == hCryptXml");
        }
        xmlStack::Ensure();
        registry::LockedContext<BaseContext> ctx(hCryptXml);
        ctx->GetStatus(pStatus);
        return S_OK;
    });
}

}  // extern "C"
