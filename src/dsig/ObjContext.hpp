#pragma once
#include <memory>
#include <string>
#include <vector>

#include <xercesc/dom/DOM.hpp>

#include "dsig/BaseContext.hpp"

class DSIGObject;
class DSIGReference;
class DSIGReferenceList;
class RefContext;
class SigContext;
class XSECEnv;

// The context behind an object handle: one Object element of a signature, with the
// references of its Manifest (registered children of this object).
class ObjContext : public BaseContext {
public:
    // An object loaded from a decoded signature.
    ObjContext(SigContext* parentSigContext, DSIGObject* xsecObject, DWORD flags);
    // A new, empty object of a signature being created (a reference names it by its Id).
    ObjContext(SigContext* parentSigContext, const wchar_t* wszId, DWORD flags);
    // An object over a caller's Object element, already imported into the signature's
    // document.
    ObjContext(SigContext* parentSigContext, xercesc::DOMElement* objectElement, DWORD flags);
    ~ObjContext() override;

    void GetStatus(CRYPT_XML_STATUS* out) const override;

    const CRYPT_XML_OBJECT* GetObjectStruct() const noexcept { return &objStruct_; }
    CRYPT_XML_OBJECT* GetObjectStruct() noexcept { return &objStruct_; }
    const wchar_t* Id() const noexcept { return objStruct_.wszId; }
    const std::vector<RefContext*>& GetManifestRefs() const noexcept { return manifestRefs_; }
    bool HoldsId(const wchar_t* id) const;
    SigContext* ParentSignature() const noexcept { return parentSigContext_; }

    // Encoding.
    void AddReference(RefContext* refContext);
    void SetCustomContent(DWORD dwFlags, const CRYPT_XML_BLOB* encodedBlob);
    void CreateXsecObject();
    // A new Reference element in this object's Manifest (made on first need).
    DSIGReference* CreateManifestReference(const wchar_t* uri, const wchar_t* digestUri, const wchar_t* type);
    // Digests the references made by CreateManifestReference; before the signature's own.
    void HashManifest();

private:
    void LoadReferences(DWORD flags);
    void LoadManifestList(const xercesc::DOMElement* manifest);
    void DisposeManifestRefs() noexcept;
    void InitStruct();
    void PublishEncoded(const std::vector<BYTE>& bytes, DWORD charset);
    void CreateCustomXmlContent();
    void CreateManifestXsecRefs();
    XSECEnv& ManifestEnv();

    CRYPT_XML_OBJECT objStruct_;
    std::wstring id_;
    std::wstring mimeType_;
    std::wstring encoding_;
    std::vector<BYTE> encoded_;
    SigContext* parentSigContext_;
    DSIGObject* xsecObj_ = nullptr;
    std::vector<RefContext*> manifestRefs_;
    std::vector<PCRYPT_XML_REFERENCE> manifestPointers_;
    // A Manifest is not part of xml-security-c's object model: its references are loaded
    // here, in an environment of our own over the same document.
    std::unique_ptr<XSECEnv> manifestEnv_;
    std::unique_ptr<DSIGReferenceList> manifestList_;

    // Encoding: an object over a caller's element is ours (the signature does not list it);
    // the references made for signing live in a list of their own.
    std::unique_ptr<XSECEnv> objectEnv_;
    std::unique_ptr<DSIGObject> ownedObject_;
    std::unique_ptr<DSIGReferenceList> createdManifest_;
    xercesc::DOMElement* manifestElement_ = nullptr;
    bool imported_ = false;
};
