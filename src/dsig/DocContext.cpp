#include "dsig/DocContext.hpp"

#include <cstring>

#include <xercesc/framework/MemBufInputSource.hpp>

#include "dsig/ContextRegistry.hpp"
#include "base/CryptXmlException.hpp"
#include "base/StatusMerge.hpp"
#include "base/Trace.hpp"
#include "document/ParseGuard.hpp"
#include "dsig/SameDocumentIds.hpp"
#include "document/SignatureElementList.hpp"
#include "dsig/SigContext.hpp"
#include "base/XsecErrors.hpp"

namespace {

constexpr char kConstructor[] = "DocContext::DocContext";
constexpr char kDecodeSigs[] = "DocContext::DecodeSigs";

const wchar_t* EncodingName(DWORD charset) {
    switch (charset) {
        case CRYPT_XML_CHARSET_UTF8: return L"UTF-8";
        case CRYPT_XML_CHARSET_UTF16LE: return L"UTF-16LE";
        case CRYPT_XML_CHARSET_UTF16BE: return L"UTF-16BE";
        default: return nullptr;  // the parser detects it
    }
}

}  // namespace

DocContext::DocContext(const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* pConfig, DWORD dwFlags,
                       const CRYPT_XML_PROPERTY* rgProperty, ULONG cProperty, const CRYPT_XML_BLOB* pEncoded)
    : BaseContext(dwFlags, false),
      parser_(
          std::make_unique<xercesc::XercesDOMParser>(nullptr, xercesc::XMLPlatformUtils::fgMemoryManager, nullptr)) {
    std::memset(&docCtxt_, 0, sizeof(docCtxt_));
    if (pEncoded == nullptr || pEncoded->cbData == 0 || pEncoded->pbData == nullptr) {
        errors::Raise<hr::kInvalidArg>(kConstructor,
                                       "NULL == pEncoded || 0 == pEncoded->cbData || NULL == pEncoded->pbData");
    }
    if (pEncoded->cbData > CRYPT_XML_BLOB_MAX)
        errors::Raise<hr::kLarge>(kConstructor, "pEncoded->cbData > CRYPT_XML_BLOB_MAX");
    parser_->setDoNamespaces(true);
    docCtxt_.cbSize = sizeof(CRYPT_XML_DOC_CTXT);
    docCtxt_.hDocCtxt = this;
    docCtxt_.pTransformsConfig = const_cast<CRYPT_XML_TRANSFORM_CHAIN_CONFIG*>(pConfig);
    InitProperties(rgProperty, cProperty);
    encoded_ = pEncoded;
    DecodeSigs();
}

DocContext::~DocContext() {
    DisposeSignatures();
    try {
        parser_->resetDocumentPool();
    } catch (...) {
        trace::TraceA("DocContext::~DocContext", "Unexpected error!");
    }
}

void DocContext::InitProperties(const CRYPT_XML_PROPERTY* rgProperty, ULONG cProperty) {
    if (rgProperty == nullptr || cProperty == 0) return;
    for (ULONG i = 0; i < cProperty; ++i) {
        const CRYPT_XML_PROPERTY& property = rgProperty[i];
        // A property without a value cannot be read; it is as invalid as an unknown id.
        if (property.pvValue == nullptr)
            errors::Raise<hr::kInvalidArg>("DocContext::InitProperties", "invalid property.");
        switch (property.dwPropId) {
            case CRYPT_XML_PROPERTY_MAX_SIGNATURES:
                maxSignatures_ = *static_cast<const DWORD*>(property.pvValue);
                break;
            case CRYPT_XML_PROPERTY_XML_OUTPUT_CHARSET:
                outputCharset_ = *static_cast<const DWORD*>(property.pvValue);
                outputCharsetFromProperty_ = true;
                break;
            default: errors::Raise<hr::kInvalidArg>("DocContext::InitProperties", "invalid property.");
        }
    }
}

void DocContext::DecodeSigs() {
    if (encoded_ == nullptr || encoded_->pbData == nullptr || encoded_->cbData == 0) {
        errors::Raise<hr::kInvalidOperation>(kDecodeSigs);
    }
    Parse();
    try {
        BuildSignatures();
    } catch (...) {
        DisposeSignatures();
        parser_->resetDocumentPool();
        throw;
    }
}

void DocContext::Parse() {
    const DWORD charset = encoded_->dwCharset;
    try {
        xercesc::MemBufInputSource source(encoded_->pbData, encoded_->cbData, L"", false,
                                          xercesc::XMLPlatformUtils::fgMemoryManager);
        if (charset != CRYPT_XML_CHARSET_AUTO) {
            if (EncodingName(charset) != nullptr) source.setEncoding(EncodingName(charset));
            outputCharset_ = charset;  // the blob's own charset wins over the property
        } else if (!outputCharsetFromProperty_) {
            outputCharset_ = CRYPT_XML_CHARSET_UTF8;
        }
        parseGuard::Parse(*parser_, source, kDecodeSigs);
    } catch (...) {
        parser_->resetDocumentPool();
        xsecErrors::Rethrow(L"DocContext::DecodeSigs");
    }
    if (parser_->getErrorCount() != 0) {
        parser_->resetDocumentPool();
        errors::Raise<hr::kInvalidFormat>(kDecodeSigs, "error(s) occured during xml parsing.");
    }
}

void DocContext::BuildSignatures() {
    const SignatureElementList elements(parser_->getDocument());
    if (elements.size() > maxSignatures_) errors::Raise<hr::kTooManySignatures>(kDecodeSigs);
    sigContexts_.reserve(elements.size());
    sigPointers_.reserve(elements.size());
    for (xercesc::DOMElement* element : elements) {
        try {
            auto sig = std::make_unique<SigContext>(this, element, GetFlags());
            registry::AddContext(sig.get());
            sigPointers_.push_back(sig->GetSignatureStruct());
            sigContexts_.push_back(sig.release());
        } catch (const CryptXmlException& e) {
            trace::TraceA(kDecodeSigs, e.what());
            const std::wstring node = std::wstring(L"failed to load signature. Node:") + element->getTagName();
            trace::TraceW(L"DocContext::DecodeSigs", node.c_str());
            throw;
        }
    }
    docCtxt_.cSignature = static_cast<ULONG>(sigPointers_.size());
    docCtxt_.rgpSignature = sigPointers_.empty() ? nullptr : sigPointers_.data();
    sameDocumentIds::IndexAndCheck(parser_->getDocument(), sigContexts_, kDecodeSigs);
}

void DocContext::DisposeSignatures() noexcept {
    for (SigContext* sig : sigContexts_) {
        try {
            registry::CloseIfRegistered(sig);
        } catch (const std::exception& e) {
            trace::TraceA("DocContext::~DocContext", e.what());
        } catch (...) {
            trace::TraceA("DocContext::~DocContext", "Unexpected error!");
        }
    }
    sigContexts_.clear();
    sigPointers_.clear();
    docCtxt_.cSignature = 0;
    docCtxt_.rgpSignature = nullptr;
}

void DocContext::GetStatus(CRYPT_XML_STATUS* out) const {
    BaseContext::GetStatus(out);
    // Only these two error bits reach the document; the rest stay with each signature.
    statusMerge::Merge(out, sigContexts_, CRYPT_XML_STATUS_SIGNATURE_VALID,
                       CRYPT_XML_STATUS_ERROR_NOT_RESOLVED | CRYPT_XML_STATUS_ERROR_SIGNATURE_INVALID,
                       "DocContext::GetStatus");
}
