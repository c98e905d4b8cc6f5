#pragma once
#include <memory>
#include <vector>

#include <xercesc/dom/DOM.hpp>

#include "api/BaseContext.hpp"
#include "signature/SignatureStructWrap.hpp"

class DocContext;
class DSIGKeyInfo;
class DSIGSignature;
class ObjContext;
class RefContext;
class XSECProvider;

// The context behind a signature handle: one Signature element, its published
// CRYPT_XML_SIGNATURE, its references and objects (registered children) and the
// xml-security-c signature it was read with.
class SigContext : public BaseContext {
public:
    // Decodes a Signature element of a document opened by parentDocContext.
    SigContext(DocContext* parentDocContext, xercesc::DOMElement* domSigNode, DWORD flags);
    ~SigContext() override;

    void GetStatus(CRYPT_XML_STATUS* out) const override;

    const CRYPT_XML_SIGNATURE* GetSignatureStruct() const noexcept { return sigStruct_.Get(); }
    CRYPT_XML_SIGNATURE* GetSignatureStruct() noexcept { return sigStruct_.GetPtr(); }
    DocContext* ParentDocContext() const noexcept { return parentDocContext_; }
    DSIGSignature* XsecSignature() const noexcept { return xsecSig_; }
    const std::vector<RefContext*>& References() const noexcept { return refContexts_; }
    const std::vector<ObjContext*>& Objects() const noexcept { return objContexts_; }

    // The charset this signature's XML is serialised in: the document's, or UTF-8.
    DWORD OutputCharset() const noexcept;
    // The charset XML of this signature is actually serialised in (unknown values: UTF-8).
    DWORD SerialCharset() const noexcept;
    // True for a null or empty Id and for one no reference or object here carries.
    bool IdIsUnique(const wchar_t* id) const;
    // The object whose Id the URI names after its first character, or null.
    ObjContext* FindObjContextByRefURI(const wchar_t* refURI) const;

private:
    void Decode(xercesc::DOMElement* domSigNode);
    void LoadSignedInfo(const xercesc::DOMElement* domSigNode);
    void LoadSignatureValue();
    void LoadKeyInfo(const xercesc::DOMElement* domSigNode);
    void AddKeyInfoItem(const DSIGKeyInfo* item);
    void LoadX509Data(const DSIGKeyInfo* item);
    void CheckIssuerSerials(const xercesc::DOMElement* domSigNode) const;
    void LoadObjects(DWORD flags);
    void LoadReferences(const xercesc::DOMElement* domSigNode, DWORD flags);
    void DisposeChildren() noexcept;
    void ReleaseSignature() noexcept;

    DocContext* parentDocContext_;
    SignatureStructWrap sigStruct_;
    std::vector<PCRYPT_XML_REFERENCE> refPointers_;
    std::vector<PCRYPT_XML_OBJECT> objPointers_;
    std::vector<RefContext*> refContexts_;
    std::vector<ObjContext*> objContexts_;
    std::unique_ptr<XSECProvider> provider_;
    DSIGSignature* xsecSig_ = nullptr;
};
