#pragma once
#include <memory>
#include <vector>

#include <xercesc/dom/DOM.hpp>
#include <xsec/framework/XSECURIResolver.hpp>

#include "api/BaseContext.hpp"
#include "signature/SignatureStructWrap.hpp"

class DocContext;
class DSIGKeyInfo;
class DSIGSignature;
class ObjContext;
class RefContext;
class XSECCryptoKey;
class XSECProvider;

// The context behind a signature handle: one Signature element, its published
// CRYPT_XML_SIGNATURE, its references and objects (registered children) and the
// xml-security-c signature it was read with.
class SigContext : public BaseContext {
public:
    // Serves xml-security-c the bytes of references from what the references hold; nothing
    // is fetched from outside.
    class UriResolver : public XSECURIResolver {
    public:
        explicit UriResolver(SigContext* owner) noexcept : owner_(owner) {}
        xercesc::BinInputStream* resolveURI(const XMLCh* uri) override;
        void setBaseURI(const XMLCh* /*uri*/) override {}
        XSECURIResolver* clone() override;

    private:
        SigContext* owner_;
    };

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

    // Borrows the caller's secret (not copied); a later call replaces it.
    void SetHmacSecret(const BYTE* pbSecret, ULONG cbSecret);
    bool HasHmacSecret() const noexcept { return hmacSecret_ != nullptr; }
    // Verification with a caller's CryptoAPI key: at most once per signature.
    HRESULT Verify(HCRYPTKEY hKey, HCRYPTPROV hProv);
    // Verification with the borrowed HMAC secret; may be repeated.
    HRESULT VerifyHMAC();
    // The common core: checks SignatureValue with cryptoKey (adopted by the signature),
    // then the digests of same-document references. Returns the outcome as an HRESULT.
    HRESULT Verify(XSECCryptoKey* cryptoKey);
    // The document new nodes of this signature are made in: one of its own for a decoded
    // signature (a signature being created will use its source document).
    xercesc::DOMDocument* GetCurrentDocument();
    UriResolver* GetUriResolver() noexcept { return &uriResolver_; }

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
    void ReleaseDocuments() noexcept;
    void RecordFailure(DWORD extraError);
    void CheckInternalDigests();

    UriResolver uriResolver_;
    DocContext* parentDocContext_;
    ULONG hmacSecretLength_ = 0;
    const BYTE* hmacSecret_ = nullptr;
    SignatureStructWrap sigStruct_;
    std::vector<PCRYPT_XML_REFERENCE> refPointers_;
    std::vector<PCRYPT_XML_OBJECT> objPointers_;
    std::vector<RefContext*> refContexts_;
    std::vector<ObjContext*> objContexts_;
    xercesc::DOMDocument* ownedDocument_ = nullptr;
    std::unique_ptr<XSECProvider> provider_;
    DSIGSignature* xsecSig_ = nullptr;
};
