// The encoding side of SigContext in-process, where no export can reach: attaching
// references and objects directly (null, unregistered, twice, beyond the limits).
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "dsig/ContextRegistry.hpp"
#include "base/CryptXmlException.hpp"
#include "crypto/XmlStack.hpp"
#include "dsig/ObjContext.hpp"
#include "dsig/RefContext.hpp"
#include "dsig/SigContext.hpp"

namespace {

constexpr wchar_t kSha256[] = L"http://www.w3.org/2001/04/xmlenc#sha256";

// What a library exception says, and its code.
struct Raised {
    HRESULT hr = S_OK;
    std::string what;
};

template <class Fn>
Raised Catch(Fn&& fn) {
    try {
        fn();
    } catch (const CryptXmlException& e) {
        return {e.hr(), e.what()};
    }
    return {};
}

std::string Msg(const std::string& function, const std::string& text) {
    return "an error occurred. function: " + function + ". desc: " + text;
}

class SigEncodeUnit : public ::testing::Test {
protected:
    void SetUp() override {
        xmlStack::Ensure();
        sig_ = new SigContext(nullptr, 0, nullptr, nullptr, 0, nullptr);
        registry::AddContext(sig_);
    }
    void TearDown() override { registry::CloseIfRegistered(sig_); }

    // A new registered reference of the signature, not yet attached.
    RefContext* NewRef() {
        CRYPT_XML_ALGORITHM digest{};
        digest.cbSize = sizeof(digest);
        digest.wszAlgorithm = kSha256;
        const RefContext::NewReference args{nullptr, L"http://example.com/r", nullptr, &digest, 0, nullptr};
        auto* ref = new RefContext(sig_, 0, args, nullptr);
        registry::AddContext(ref);
        return ref;
    }
    ObjContext* NewObj(const std::wstring& id) {
        auto* obj = new ObjContext(sig_, id.c_str(), 0);
        registry::AddContext(obj);
        return obj;
    }

    SigContext* sig_ = nullptr;
};

}  // namespace

TEST_F(SigEncodeUnit, AddReferenceRefusesNullUnregisteredAndTwice) {
    Raised r = Catch([&] { sig_->AddReference(nullptr); });
    EXPECT_EQ(static_cast<HRESULT>(0x80070057L), r.hr);
    EXPECT_EQ(Msg("SigContext::AddReference", "One or more arguments are invalid "), r.what);
    RefContext* ref = NewRef();
    sig_->AddReference(ref);
    r = Catch([&] { sig_->AddReference(ref); });
    EXPECT_EQ(static_cast<HRESULT>(0x80070057L), r.hr);
    EXPECT_EQ(Msg("SigContext::AddReference", "One or more arguments are invalid  already exists."), r.what);
    CRYPT_XML_ALGORITHM digest{};
    digest.cbSize = sizeof(digest);
    digest.wszAlgorithm = kSha256;
    RefContext loose(sig_, 0, {nullptr, L"", nullptr, &digest, 0, nullptr}, nullptr);
    r = Catch([&] { sig_->AddReference(&loose); });  // not a registered handle
    EXPECT_EQ(static_cast<HRESULT>(0x80070057L), r.hr);
    EXPECT_EQ(1u, sig_->GetSignatureStruct()->SignedInfo.cReference);
}

TEST_F(SigEncodeUnit, AddReferenceStopsAt32759) {
    for (int i = 0; i < 32759; ++i) sig_->AddReference(NewRef());
    RefContext* extra = NewRef();
    const Raised r = Catch([&] { sig_->AddReference(extra); });
    EXPECT_EQ(static_cast<HRESULT>(0x80092101L), r.hr);
    EXPECT_EQ(Msg("SigContext::AddReference", "The value is too large. CRYPT_XML_REFERENCES_MAX limit exceeded."),
              r.what);
    EXPECT_EQ(32759u, sig_->GetSignatureStruct()->SignedInfo.cReference);
    registry::CloseIfRegistered(extra);
}

TEST_F(SigEncodeUnit, AddObjectStopsAt255AndRefusesTwice) {
    std::vector<ObjContext*> objects;
    for (int i = 0; i < 255; ++i) sig_->AddObject(NewObj(L"o" + std::to_wstring(i)));
    ObjContext* extra = NewObj(L"extra");
    Raised r = Catch([&] { sig_->AddObject(extra); });
    EXPECT_EQ(static_cast<HRESULT>(0x80092101L), r.hr);
    EXPECT_EQ(Msg("SigContext::AddObject", "The value is too large. CRYPT_XML_OBJECTS_MAX limit exceeded."), r.what);
    r = Catch([&] { sig_->AddObject(sig_->Objects()[0]); });
    EXPECT_EQ(Msg("SigContext::AddObject", "One or more arguments are invalid  already exists."), r.what);
    r = Catch([&] { sig_->AddObject(static_cast<ObjContext*>(nullptr)); });
    EXPECT_EQ(Msg("SigContext::AddObject", "One or more arguments are invalid "), r.what);
    EXPECT_EQ(255u, sig_->GetSignatureStruct()->cObject);
    registry::CloseIfRegistered(extra);
}

TEST_F(SigEncodeUnit, ObjectAddReferenceRefusesTwice) {
    ObjContext* obj = NewObj(L"m");
    sig_->AddObject(obj);
    CRYPT_XML_ALGORITHM digest{};
    digest.cbSize = sizeof(digest);
    digest.wszAlgorithm = kSha256;
    auto* ref = new RefContext(obj, 0, {nullptr, L"urn:x", nullptr, &digest, 0, nullptr});
    registry::AddContext(ref);
    obj->AddReference(ref);
    const Raised r = Catch([&] { obj->AddReference(ref); });
    EXPECT_EQ(Msg("ObjContext::AddReference", "One or more arguments are invalid  already exists."), r.what);
    const Raised none = Catch([&] { obj->AddReference(nullptr); });
    EXPECT_EQ(Msg("ObjContext::AddReference", "One or more arguments are invalid "), none.what);
}

TEST_F(SigEncodeUnit, NewReferenceCreatorsCheckTheObjectFlag) {
    CRYPT_XML_ALGORITHM digest{};
    digest.cbSize = sizeof(digest);
    digest.wszAlgorithm = kSha256;
    const RefContext::NewReference args{nullptr, L"#o", nullptr, &digest, 0, nullptr};
    Raised r = Catch([&] { RefContext ref(sig_, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT, args, nullptr); });
    EXPECT_EQ(static_cast<HRESULT>(0x803D0003L), r.hr);
    r = Catch([&] { RefContext ref(static_cast<SigContext*>(nullptr), 0, args, nullptr); });
    EXPECT_EQ(Msg("RefContext::RefContext", "One or more arguments are invalid  NULL == parentSigContext"), r.what);
    r = Catch([&] { RefContext ref(static_cast<ObjContext*>(nullptr), 0, args); });
    EXPECT_EQ(Msg("RefContext::RefContext", "One or more arguments are invalid  NULL == parentObjContext"), r.what);
    r = Catch([&] { ObjContext obj(nullptr, L"x", 0); });
    EXPECT_EQ(Msg("ObjContext::ObjContext", "One or more arguments are invalid  NULL == parentSigContext"), r.what);
}

// The export answers a signature without references itself; signing in-process reaches the
// context's own refusal, after the Signature element has been made.
TEST_F(SigEncodeUnit, SigningWithoutReferencesIsRefusedByTheContext) {
    static const BYTE secret[] = "secret";
    sig_->SetHmacSecret(secret, 6);
    CRYPT_XML_ALGORITHM method{};
    method.cbSize = sizeof(method);
    method.wszAlgorithm = L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256";
    CRYPT_XML_ALGORITHM c14n = method;
    c14n.wszAlgorithm = L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
    const Raised r = Catch([&] { sig_->Sign(0, 0, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, &method, &c14n); });
    EXPECT_EQ(static_cast<HRESULT>(0x803D0003L), r.hr);
    EXPECT_EQ(Msg("SigContext::CreateReferences",
                  "The operation is not allowed due to the current state of the object. no references is specified."),
              r.what);
}
