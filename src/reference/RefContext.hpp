#pragma once
#include <vector>

#include <xercesc/dom/DOM.hpp>

#include "api/BaseContext.hpp"
#include "reference/RefStructWrap.hpp"

class DSIGReference;
class ObjContext;
class SigContext;

// The context behind a reference handle: one Reference of a signature's SignedInfo or of
// an Object's Manifest. It does not own the xml-security-c reference (the signature or
// the manifest list does).
class RefContext : public BaseContext {
public:
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

    const CRYPT_XML_REFERENCE* GetReferenceStruct() const noexcept { return refStructWrap_.Get(); }
    CRYPT_XML_REFERENCE* GetReferenceStruct() noexcept { return refStructWrap_.GetPtr(); }
    const std::vector<BYTE>& ResolvedData() const noexcept { return resolvedData_; }
    ObjContext* PointeeObject() const noexcept { return pointeeObjContext_; }
    const wchar_t* Id() const noexcept { return refStructWrap_.Get()->wszId; }

private:
    void InitNewReference(DSIGReference* xsecRef, const xercesc::DOMElement* refElement);
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
