// The KeyInfo a caller asks for when signing: a KeyInfo element of its own (encoded), or
// certificates, CRLs, SKI, subject name, key name and Id (parameters).
#include <string>
#include <vector>

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xsec/dsig/DSIGKeyInfoList.hpp>
#include <xsec/dsig/DSIGKeyInfoX509.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/framework/XSECException.hpp>

#include "base/CryptXmlException.hpp"
#include "base/XsecErrors.hpp"
#include "base/TextConvert.hpp"
#include "document/Base64.hpp"
#include "document/DsigDom.hpp"
#include "document/XmlBlob.hpp"
#include "dsig/SigContext.hpp"

namespace {

constexpr char kFunction[] = "SigContext::AddKeyInfoSpec";
constexpr wchar_t kDsigNs[] = L"http://www.w3.org/2000/09/xmldsig#";

// Base64 of a blob as a NUL-terminated wide text; empty for an empty blob.
std::vector<wchar_t> Base64Of(const CERT_BLOB& blob) {
    std::vector<wchar_t> text;
    if (blob.cbData != 0 && blob.pbData != nullptr) base64::BlobToBase64(blob, text);
    return text;
}

bool IsEmpty(const std::vector<wchar_t>& text) { return text.empty() || text[0] == L'\0'; }

}  // namespace

void SigContext::AddKeyInfoSpec(DWORD dwKeyInfoSpec, const void* pvKeyInfoSpec) {
    if (xsecSig_ == nullptr) errors::Raise<hr::kObjectFaulted>(kFunction, "NULL == xsecSig_");
    if (dwKeyInfoSpec == CRYPT_XML_KEYINFO_SPEC_NONE) return;
    if (pvKeyInfoSpec == nullptr) errors::Raise<hr::kInvalidArg>(kFunction, "NULL == pvKeyInfoSpec");
    if (dwKeyInfoSpec == CRYPT_XML_KEYINFO_SPEC_ENCODED) {
        AddEncodedKeyInfo(static_cast<const CRYPT_XML_BLOB*>(pvKeyInfoSpec));
    } else if (dwKeyInfoSpec == CRYPT_XML_KEYINFO_SPEC_PARAM) {
        AddKeyInfoParam(*static_cast<const CRYPT_XML_KEYINFO_PARAM*>(pvKeyInfoSpec));
    }
}

// The caller's KeyInfo element replaces any KeyInfo made so far. It needs a source
// document: a signature alone has none to place it in.
void SigContext::AddEncodedKeyInfo(const CRYPT_XML_BLOB* keyInfoBlob) {
    if (keyInfoBlob->pbData == nullptr || keyInfoBlob->cbData == 0) {
        errors::Raise<hr::kInvalidArg>(kFunction, "NULL == keyInfoBlob->pbData || 0 == keyInfoBlob->cbData");
    }
    if (keyInfoBlob->cbData > CRYPT_XML_BLOB_MAX) {
        errors::Raise<hr::kLarge>(kFunction, "the length of keyInfo xml is exceeded CRYPT_XML_BLOB_MAX.");
    }
    try {
        xercesc::XercesDOMParser parser;
        const xercesc::DOMElement* root = xmlBlob::CreateDomStructure(parser, *keyInfoBlob);
        xercesc::DOMDocument* doc = SourceDocument();
        if (doc == nullptr) errors::RaiseFailure(kFunction, "NULL == doc.");
        auto* imported = static_cast<xercesc::DOMElement*>(doc->importNode(root, true));
        if (imported == nullptr) errors::RaiseFailure(kFunction, "failed to import a keyInfoNode.");
        xsecSig_->clearKeyInfo();
        xercesc::DOMElement* value = dsigDom::FirstChild(sigElement_, L"SignatureValue");
        xercesc::DOMNode* next = value != nullptr ? value->getNextSibling() : nullptr;
        sigElement_->insertBefore(imported, next);
        xsecSig_->getKeyInfoList()->loadListFromXML(imported);
    } catch (...) {
        xsecErrors::RethrowAsFailure(kFunction);
    }
}

void SigContext::AddKeyInfoParam(const CRYPT_XML_KEYINFO_PARAM& param) {
    DSIGKeyInfoX509* x509 = nullptr;
    auto x509Data = [&]() {
        if (x509 == nullptr) x509 = xsecSig_->appendX509Data();
        return x509;
    };
    for (ULONG i = 0; param.rgCertificate != nullptr && i < param.cCertificate; ++i) {
        const std::vector<wchar_t> cert = Base64Of(param.rgCertificate[i]);
        if (!IsEmpty(cert)) x509Data()->appendX509Certificate(cert.data());
    }
    for (ULONG i = 0; param.rgCRL != nullptr && i < param.cCRL; ++i) {
        const std::vector<wchar_t> crl = Base64Of(param.rgCRL[i]);
        if (!IsEmpty(crl)) x509Data()->appendX509CRL(crl.data());
    }
    const std::vector<wchar_t> ski = Base64Of(param.SKI);
    if (!IsEmpty(ski)) x509Data()->setX509SKI(ski.data());
    if (param.wszSubjectName != nullptr && *param.wszSubjectName != L'\0') {
        x509Data()->setX509SubjectName(param.wszSubjectName);
    }
    if (param.wszKeyName != nullptr) xsecSig_->appendKeyName(param.wszKeyName);
    // The Id goes on last: xml-security-c makes the KeyInfo element itself with its first
    // item, and an Id alone needs one made here.
    if (param.wszId != nullptr && *param.wszId != L'\0') {
        EnsureKeyInfoElement();
        KeyInfoElement()->setAttribute(L"Id", param.wszId);
    }
}

xercesc::DOMElement* SigContext::KeyInfoElement() const { return dsigDom::FirstChild(sigElement_, L"KeyInfo"); }

void SigContext::EnsureKeyInfoElement() {
    if (KeyInfoElement() != nullptr) return;
    xercesc::DOMDocument* doc = sigElement_->getOwnerDocument();
    xercesc::DOMElement* keyInfo = doc->createElementNS(kDsigNs, L"ds:KeyInfo");
    if (keyInfo == nullptr) errors::Raise<hr::kObjectFaulted>(kFunction, "NULL == keyInfoNode");
    xercesc::DOMElement* value = dsigDom::FirstChild(sigElement_, L"SignatureValue");
    sigElement_->insertBefore(keyInfo, value != nullptr ? value->getNextSibling() : nullptr);
}
