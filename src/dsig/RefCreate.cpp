// New references: checked and published at CryptXmlCreateReference, turned into
// xml-security-c references when their signature is signed.
#include <cwchar>

#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xsec/dsig/DSIGReference.hpp>
#include <xsec/dsig/DSIGSignature.hpp>

#include "algorithms/AlgorithmCatalog.hpp"
#include "base/CryptXmlException.hpp"
#include "base/TextConvert.hpp"
#include "document/DsigDom.hpp"
#include "document/XmlBlob.hpp"
#include "dsig/ObjContext.hpp"
#include "dsig/RefContext.hpp"
#include "dsig/SigContext.hpp"

namespace {

constexpr char kConstructor[] = "RefContext::RefContext";
constexpr char kInit[] = "RefContext::InitNewReference";
constexpr char kCreate[] = "RefContext::CreateXsecRef";
constexpr size_t kUriMax = 8192;
constexpr unsigned int kDigestMax = 128;  // CRYPT_XML_DIGEST_VALUE_MAX, checked before
constexpr wchar_t kBase64Uri[] = L"http://www.w3.org/2000/09/xmldsig#base64";
constexpr wchar_t kEnvelopedUri[] = L"http://www.w3.org/2000/09/xmldsig#enveloped-signature";
constexpr const wchar_t* kCanonUris[] = {
    L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315",
    L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments",
    L"http://www.w3.org/2001/10/xml-exc-c14n#",
    L"http://www.w3.org/2001/10/xml-exc-c14n#WithComments",
    L"http://www.w3.org/2006/12/xml-c14n11",
    L"http://www.w3.org/2006/12/xml-c14n11#WithComments",
};

bool IsAsObject(DWORD flags) { return (flags & CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT) != 0; }

bool IsCanonUri(const wchar_t* uri) {
    for (const wchar_t* known : kCanonUris) {
        if (std::wcscmp(known, uri) == 0) return true;
    }
    return false;
}

bool IsAvailableDigest(const wchar_t* uri) {
    if (uri == nullptr || !algInfo::HashOrSigAlgIsAvailable(uri)) return false;
    // A signature method is available too, but names no digest.
    return algInfo::FindAlgInfoByURI(uri)->dwGroupId == CRYPT_XML_GROUP_ID_HASH;
}

// The Algorithm of a transform handed in as its element.
std::wstring EncodedTransformUri(const CRYPT_XML_BLOB& encoded) {
    xercesc::XercesDOMParser parser;
    const xercesc::DOMElement* root = xmlBlob::CreateDomStructure(parser, encoded);
    const wchar_t* uri = dsigDom::Attribute(root, L"Algorithm");
    return uri != nullptr ? uri : L"";
}

}  // namespace

RefContext::RefContext(SigContext* parentSigContext, DWORD flags, const NewReference& args, ObjContext* pointee)
    : BaseContext(flags, true), parentSigContext_(parentSigContext), pointeeObjContext_(pointee) {
    if (parentSigContext == nullptr) errors::Raise<hr::kInvalidArg>(kConstructor, "NULL == parentSigContext");
    // The export has chosen this path by the same flag; a mismatch is a caller state error.
    if (IsAsObject(flags) != (pointee != nullptr)) errors::Raise<hr::kInvalidOperation>(kConstructor);
    InitNewReference(args, flags);
}

RefContext::RefContext(ObjContext* parentObjContext, DWORD flags, const NewReference& args)
    : BaseContext(flags, true), parentObjContext_(parentObjContext) {
    if (parentObjContext == nullptr) errors::Raise<hr::kInvalidArg>(kConstructor, "NULL == parentObjContext");
    if (IsAsObject(flags)) errors::Raise<hr::kInvalidOperation>(kConstructor);
    InitNewReference(args, flags);
}

SigContext* RefContext::OwningSignature() const noexcept {
    return parentSigContext_ != nullptr ? parentSigContext_ : parentObjContext_->ParentSignature();
}

void RefContext::InitNewReference(const NewReference& args, DWORD flags) {
    if (args.digestMethod == nullptr) errors::Raise<hr::kInvalidArg>(kInit, "NULL == digestMethod");
    CheckIdLimits(args.id, flags);
    if (args.uri != nullptr && std::wcslen(args.uri) > kUriMax) errors::Raise<hr::kLarge>(kInit, "URI");
    if (!OwningSignature()->IdIsUnique(args.id)) errors::Raise<hr::kNonUniqueId>(kInit);
    if (!IsAvailableDigest(args.digestMethod->wszAlgorithm)) {
        errors::Raise<hr::kAlgorithm>(kInit, "Digest method is either unavailable or is specified incorrectly.");
    }
    refStructWrap_.SetHandle(this);
    refStructWrap_.SetId(args.id);
    refStructWrap_.SetUri(args.uri);
    refStructWrap_.SetType(args.type);
    refStructWrap_.SetDigestMethod(args.digestMethod->wszAlgorithm);
    for (ULONG i = 0; args.rgTransform != nullptr && i < args.cTransform; ++i) {
        const CRYPT_XML_ALGORITHM& tfm = args.rgTransform[i];
        std::vector<BYTE> encoded;
        if (tfm.Encoded.pbData != nullptr && tfm.Encoded.cbData != 0) {
            encoded.assign(tfm.Encoded.pbData, tfm.Encoded.pbData + tfm.Encoded.cbData);
        }
        refStructWrap_.AddTransform(tfm.wszAlgorithm, tfm.Encoded.dwCharset, std::move(encoded));
        // The published entry keeps the caller's size field, which signing checks.
        refStructWrap_.GetPtr()->rgTransform[i].cbSize = tfm.cbSize;
    }
    const wchar_t* uri = args.uri;
    const bool internal = uri != nullptr && (*uri == L'\0' || *uri == L'#');
    DWORD info = CRYPT_XML_STATUS_OPENED_TO_ENCODE;
    if (internal) info |= CRYPT_XML_STATUS_INTERNAL_REFERENCE;
    SetStatus({sizeof(CRYPT_XML_STATUS), CRYPT_XML_STATUS_ERROR_NOT_RESOLVED, info});
}

void RefContext::CreateXsecRef() {
    if (xsecRef_ != nullptr) errors::Raise<hr::kObjectFaulted>(kCreate, "NULL != xsecRef_");
    const CRYPT_XML_REFERENCE* ref = refStructWrap_.Get();
    if (parentSigContext_ != nullptr) {
        DSIGSignature* sig = parentSigContext_->XsecSignature();
        if (sig == nullptr) errors::Raise<hr::kObjectFaulted>(kCreate, "NULL == xsecSig");
        xsecRef_ = sig->createReference(ref->wszUri, ref->DigestMethod.wszAlgorithm, ref->wszType);
    } else if (parentObjContext_ != nullptr) {
        xsecRef_ =
            parentObjContext_->CreateManifestReference(ref->wszUri, ref->DigestMethod.wszAlgorithm, ref->wszType);
    } else {
        errors::Raise<hr::kObjectFaulted>(kCreate, "all parent context are NULL.");
    }
    if (xsecRef_ == nullptr) errors::Raise<hr::kObjectFaulted>(kCreate, "NULL == xsecRef_");
    if (ref->wszId != nullptr && *ref->wszId != L'\0') xsecRef_->setId(ref->wszId);
    AppendXsecTransforms();
}

void RefContext::AppendXsecTransforms() {
    const CRYPT_XML_REFERENCE* ref = refStructWrap_.Get();
    for (ULONG i = 0; i < ref->cTransform; ++i) {
        const CRYPT_XML_ALGORITHM& tfm = ref->rgTransform[i];
        if (tfm.wszAlgorithm != nullptr) {
            if (std::wcscmp(tfm.wszAlgorithm, kBase64Uri) == 0) {
                xsecRef_->appendBase64Transform();
            } else if (std::wcscmp(tfm.wszAlgorithm, kEnvelopedUri) == 0) {
                xsecRef_->appendEnvelopedSignatureTransform();
            } else if (IsCanonUri(tfm.wszAlgorithm)) {
                xsecRef_->appendCanonicalizationTransform(tfm.wszAlgorithm);
            } else {
                errors::Raise<hr::kTransform>(kCreate, "Could't determine what transform is specified.");
            }
            continue;
        }
        if (tfm.Encoded.pbData == nullptr || tfm.Encoded.cbData == 0)
            errors::Raise<hr::kTransform>(kCreate, "the cxTfm is empty.");
        // XPath and XPath Filter 2.0 need an XPath engine this build does not carry: a
        // signature over them could not be checked here either.
        const std::wstring uri = EncodedTransformUri(tfm.Encoded);
        errors::Raise<hr::kTransform>(kCreate, textConvert::ToAnsi(uri).c_str());
    }
}

void RefContext::MarkSigned() {
    // The digest just written is published, as a decoded reference publishes its own.
    if (xsecRef_ != nullptr) {
        XMLByte digest[kDigestMax] = {};
        const unsigned int length = xsecRef_->readHash(digest, kDigestMax);
        refStructWrap_.SetDigestValue(std::vector<BYTE>(digest, digest + length));
    }
    CRYPT_XML_STATUS status = Status();
    if ((status.dwErrorStatus & CRYPT_XML_STATUS_ERROR_NOT_RESOLVED) == 0) return;
    status.dwErrorStatus = 0;
    status.dwInfoStatus |= CRYPT_XML_STATUS_DIGEST_VALID;
    SetStatus(status);
}

bool RefContext::AwaitsData() const noexcept {
    const CRYPT_XML_STATUS& status = Status();
    return (status.dwInfoStatus & CRYPT_XML_STATUS_OPENED_TO_ENCODE) != 0 &&
           (status.dwInfoStatus & CRYPT_XML_STATUS_INTERNAL_REFERENCE) == 0 &&
           (status.dwErrorStatus & CRYPT_XML_STATUS_ERROR_NOT_RESOLVED) != 0;
}

bool RefContext::IsOpenedToEncode() const noexcept {
    return (Status().dwInfoStatus & CRYPT_XML_STATUS_OPENED_TO_ENCODE) != 0;
}
