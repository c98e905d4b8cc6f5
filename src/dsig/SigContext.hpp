#pragma once
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xsec/framework/XSECURIResolver.hpp>

#include "dsig/BaseContext.hpp"
#include "crypto/CapiHandles.hpp"
#include "dsig/SignatureStructWrap.hpp"

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
    // A new signature, to be placed in the source document (or alone when there is none).
    SigContext(const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* pConfig, DWORD flags, const wchar_t* wszId,
               const CRYPT_XML_PROPERTY* rgProperty, ULONG cProperty, const CRYPT_XML_BLOB* pEncoded);
    ~SigContext() override;

    void GetStatus(CRYPT_XML_STATUS* out) const override;

    const CRYPT_XML_SIGNATURE* GetSignatureStruct() const noexcept { return sigStruct_.Get(); }
    CRYPT_XML_SIGNATURE* GetSignatureStruct() noexcept { return sigStruct_.GetPtr(); }
    DocContext* ParentDocContext() const noexcept { return parentDocContext_; }
    DSIGSignature* XsecSignature() const noexcept { return xsecSig_; }
    // The Signature element a new signature was given when signing began, else null.
    xercesc::DOMElement* SignatureElement() const noexcept { return sigElement_; }
    const std::vector<RefContext*>& References() const noexcept { return refContexts_; }
    const std::vector<ObjContext*>& Objects() const noexcept { return objContexts_; }

    // The charset this signature's XML is serialised in: the document's, or UTF-8.
    DWORD OutputCharset() const noexcept;
    // The charset XML of this signature is actually serialised in (unknown values: UTF-8).
    DWORD SerialCharset() const noexcept;
    // True for a null or empty Id and for one that no reference or object here and no
    // element of the source document carries.
    bool IdIsUnique(const wchar_t* id) const;
    bool IsOpenedToEncode() const noexcept;

    // Encoding: children of a new signature, signing, writing.
    void AddReference(RefContext* refContext);
    void AddObject(ObjContext* objContext);
    const CRYPT_XML_OBJECT* AddObject(const CRYPT_XML_BLOB* encodedBlob);
    void Sign(HCRYPTPROV hProv, DWORD dwKeySpec, DWORD dwFlags, DWORD dwKeyInfoSpec, const void* pvKeyInfoSpec,
              const CRYPT_XML_ALGORITHM* pSignatureMethod, const CRYPT_XML_ALGORITHM* pCanonicalization);
    void Encode(DWORD dwCharset, const CRYPT_XML_PROPERTY* rgProperty, ULONG cProperty, void* pvCallbackState,
                PFN_CRYPT_XML_WRITE_CALLBACK pfnWrite);
    // Every object builds its xml-security-c object (signing).
    void CreateObjects();
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
    // The document new nodes of this signature are made in: the source document of a new
    // signature, else one of its own.
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

    void ApplyProperties(const CRYPT_XML_PROPERTY* rgProperty, ULONG cProperty);
    void InitSourceXml(const CRYPT_XML_BLOB* blob);
    void CollectSourceIds(const xercesc::DOMElement* element);
    void SignSteps(HCRYPTPROV hProv, DWORD dwKeySpec, DWORD dwFlags, DWORD dwKeyInfoSpec, const void* pvKeyInfoSpec,
                   const CRYPT_XML_ALGORITHM* pSignatureMethod, const CRYPT_XML_ALGORITHM* pCanonicalization);
    void CreateSigNode(const CRYPT_XML_ALGORITHM* pSignatureMethod, const CRYPT_XML_ALGORITHM* pCanonicalization);
    void CreateReferences();
    void CheckSignedSizes();
    void SetupSigningKey(HCRYPTPROV hProv, DWORD dwKeySpec, bool addKeyValue);
    void AddKeyInfoSpec(DWORD dwKeyInfoSpec, const void* pvKeyInfoSpec);
    void AddEncodedKeyInfo(const CRYPT_XML_BLOB* keyInfoBlob);
    void AddKeyInfoParam(const CRYPT_XML_KEYINFO_PARAM& param);
    void EnsureKeyInfoElement();
    xercesc::DOMElement* KeyInfoElement() const;
    xercesc::DOMDocument* SourceDocument() const;
    void AppendObjectPointer(ObjContext* obj);

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

    // Encoding only.
    std::unique_ptr<xercesc::XercesDOMParser> parser_;  // holds the source document
    xercesc::DOMElement* sigElement_ = nullptr;         // the Signature element created
    std::wstring location_;
    bool docDeclaration_ = false;
    std::set<std::wstring> sourceIds_;
    crypto::ProvHandle hProv_;  // a provider reopened for SHA-2 while signing
};
