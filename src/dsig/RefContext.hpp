#pragma once
#include <vector>

#include <xercesc/dom/DOM.hpp>

#include "dsig/BaseContext.hpp"
#include "dsig/RefStructWrap.hpp"

class DSIGReference;
class ObjContext;
class SigContext;

// The context behind a reference handle: one Reference of a signature's SignedInfo or of
// an Object's Manifest. It does not own the xml-security-c reference (the signature or
// the manifest list does).
class RefContext : public BaseContext {
public:
    // What CryptXmlCreateReference asks for.
    struct NewReference {
        const wchar_t* id;
        const wchar_t* uri;
        const wchar_t* type;
        const CRYPT_XML_ALGORITHM* digestMethod;
        ULONG cTransform;
        const CRYPT_XML_ALGORITHM* rgTransform;
    };

    // A new reference of a signature; with pointee, the reference to a new object
    // (flags must then carry CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT, else must not).
    RefContext(SigContext* parentSigContext, DWORD flags, const NewReference& args, ObjContext* pointee);
    // A new reference in the Manifest of an object.
    RefContext(ObjContext* parentObjContext, DWORD flags, const NewReference& args);
    // A reference loaded from a decoded signature; refElement is its Reference element.
    RefContext(SigContext* parentSigContext, DSIGReference* xsecRef, const xercesc::DOMElement* refElement,
               DWORD flags);
    // A reference loaded from an Object's Manifest.
    RefContext(ObjContext* parentObjContext, DSIGReference* xsecRef, const xercesc::DOMElement* refElement,
               DWORD flags);
    ~RefContext() override;

    // Reads the caller's data for an external reference, in 4096-byte chunks.
    void Resolve(DWORD dwFlags, const CRYPT_XML_DATA_PROVIDER* pDataProvider);
    // Checks the digest (external data through the signature's URI resolver) and records
    // the outcome in the status. xml-security-c exceptions pass unconverted.
    bool VerifyHash();
    // True when the digest fits the published digest bound of 128 bytes.
    bool HashSizeSatisfySizeLimit() const;
    // Appends the references of the Manifest this reference points to.
    void GetManifestRefs(std::vector<RefContext*>& list) const;
    // Builds the xml-security-c reference of a new reference (signing).
    void CreateXsecRef();
    // After signing: a digest computed from the caller's data counts as valid.
    void MarkSigned();
    // A new reference whose external data the caller has not fed yet.
    bool AwaitsData() const noexcept;
    bool IsOpenedToEncode() const noexcept;
    DSIGReference* XsecReference() const noexcept { return xsecRef_; }

    const CRYPT_XML_REFERENCE* GetReferenceStruct() const noexcept { return refStructWrap_.Get(); }
    CRYPT_XML_REFERENCE* GetReferenceStruct() noexcept { return refStructWrap_.GetPtr(); }
    const std::vector<BYTE>& ResolvedData() const noexcept { return resolvedData_; }
    ObjContext* PointeeObject() const noexcept { return pointeeObjContext_; }
    const wchar_t* Id() const noexcept { return refStructWrap_.Get()->wszId; }

private:
    void InitNewReference(DSIGReference* xsecRef, const xercesc::DOMElement* refElement);
    void InitNewReference(const NewReference& args, DWORD flags);
    SigContext* OwningSignature() const noexcept;
    void AppendXsecTransforms();
    void LoadDigestValue(const xercesc::DOMElement* refElement);
    void LoadTransforms(const xercesc::DOMElement* refElement);
    void LinkPointee();
    void MarkResolution();

    DSIGReference* xsecRef_ = nullptr;
    RefStructWrap refStructWrap_;
    std::vector<BYTE> resolvedData_;
    SigContext* parentSigContext_ = nullptr;
    ObjContext* parentObjContext_ = nullptr;
    ObjContext* pointeeObjContext_ = nullptr;
};
