// The URI resolver of a signature: xml-security-c asks it for the bytes of references that
// are not same-document ones while it digests them.
#include <cwchar>
#include <memory>
#include <vector>

#include <xercesc/util/BinMemInputStream.hpp>

#include "base/Trace.hpp"
#include "dsig/ObjContext.hpp"
#include "dsig/RefContext.hpp"
#include "dsig/SigContext.hpp"

namespace {

constexpr wchar_t kManifestType[] = L"http://www.w3.org/2000/09/xmldsig#Manifest";

bool Carries(const RefContext* ref, const XMLCh* uri) {
    const wchar_t* refUri = ref->GetReferenceStruct()->wszUri;
    return refUri != nullptr && std::wcscmp(refUri, uri) == 0;
}

bool IsManifestReference(const RefContext* ref) {
    const wchar_t* type = ref->GetReferenceStruct()->wszType;
    return type != nullptr && std::wcscmp(type, kManifestType) == 0;
}

// A stream over a copy of what the reference holds (possibly nothing). A new reference the
// caller has fed nothing yet gets none: signing it fails as an unresolved reference.
std::unique_ptr<xercesc::BinInputStream> StreamOver(const RefContext* ref) {
    if (ref->AwaitsData()) return nullptr;
    static const XMLByte kNothing = 0;
    const std::vector<BYTE>& data = ref->ResolvedData();
    const XMLByte* bytes = data.empty() ? &kNothing : data.data();
    return std::make_unique<xercesc::BinMemInputStream>(bytes, static_cast<XMLSize_t>(data.size()),
                                                        xercesc::BinMemInputStream::BufOpt_Copy);
}

}  // namespace

// A top-level reference that carries the URI answers at once; a manifest reference that
// carries it is remembered (the last such one wins) while the walk goes on.
xercesc::BinInputStream* SigContext::UriResolver::resolveURI(const XMLCh* uri) {
    if (uri == nullptr) {
        trace::TraceA("SigContext::UriResolver::resolveURI", "One or more arguments are invalid");
        return nullptr;
    }
    std::unique_ptr<xercesc::BinInputStream> remembered;
    for (const RefContext* ref : owner_->References()) {
        if (Carries(ref, uri)) return StreamOver(ref).release();
        // A Manifest reference whose object is missing has nothing to search.
        if (!IsManifestReference(ref) || ref->PointeeObject() == nullptr) continue;
        std::vector<RefContext*> manifestRefs;
        ref->GetManifestRefs(manifestRefs);
        for (const RefContext* manifestRef : manifestRefs) {
            if (Carries(manifestRef, uri)) remembered = StreamOver(manifestRef);
        }
    }
    if (remembered != nullptr) return remembered.release();
    // Manifests of new objects, which no reference of the signature needs to point to.
    for (const ObjContext* obj : owner_->Objects()) {
        for (const RefContext* manifestRef : obj->GetManifestRefs()) {
            if (Carries(manifestRef, uri)) return StreamOver(manifestRef).release();
        }
    }
    return nullptr;
}

XSECURIResolver* SigContext::UriResolver::clone() { return new UriResolver(owner_); }
