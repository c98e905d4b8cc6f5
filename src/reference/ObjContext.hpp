#pragma once
#include <memory>
#include <string>
#include <vector>

#include <xercesc/dom/DOM.hpp>

#include "api/BaseContext.hpp"

class DSIGObject;
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
    ~ObjContext() override;

    void GetStatus(CRYPT_XML_STATUS* out) const override;

    const CRYPT_XML_OBJECT* GetObjectStruct() const noexcept { return &objStruct_; }
    CRYPT_XML_OBJECT* GetObjectStruct() noexcept { return &objStruct_; }
    const wchar_t* Id() const noexcept { return objStruct_.wszId; }
    const std::vector<RefContext*>& GetManifestRefs() const noexcept { return manifestRefs_; }
    bool HoldsId(const wchar_t* id) const;

private:
    void LoadReferences(DWORD flags);
    void LoadManifestList(const xercesc::DOMElement* manifest);
    void DisposeManifestRefs() noexcept;

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
};
