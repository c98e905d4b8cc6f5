// The encode path through the DLL with HMAC keys (no provider needed): every refusal with
// its exact HRESULT and trace line, the limits, the states, and what signing publishes.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/SignSupport.hpp"

using namespace signtest;
using testing_support::ExpectedFrameLine;
using testing_support::Widen;

namespace {

const std::string kSecret = "0123456789abcdef0123456789abcdef";
const std::string kDoc = "<Doc><Data Id=\"data\">text to sign</Data><Body/></Doc>";

// "an error occurred. function: F. desc: TABLE[ DETAIL]" as the trace shows it.
std::wstring Msg(const std::string& function, const std::string& table, const char* detail = nullptr) {
    std::string text = "an error occurred. function: " + function + ". desc: " + table;
    if (detail != nullptr) text += std::string(" ") + detail;
    return Widen(text);
}
const std::string kArgs = "One or more arguments are invalid ";
const std::string kLargeText = "The value is too large.";
const std::string kStateInvalid = "Current state of the object is invalid.";
const std::string kNotAllowed = "The operation is not allowed due to the current state of the object.";

class Sign : public ::testing::Test {
protected:
    void SetUp() override { dll().StartDebugging(); }
    void TearDown() override { dll().StopDebugging(); }
    std::wstring Last() const { return dll().LastMessage(); }
    void ExpectLine(const wchar_t* exportName, const std::wstring& message) const {
        EXPECT_EQ(ExpectedFrameLine(exportName, message), Last());
    }
};

// A signed enveloped HMAC signature over kDoc, for tests about what comes after signing.
// An object with content is signed too, so that a decoded copy has one.
struct SignedHmac {
    NewSig sig{kDoc};
    HCRYPTXML ref = nullptr;
    HRESULT hr = E_FAIL;
    SignedHmac() {
        ref = sig.Ref(L"", {kEnveloped, kC14n});
        const std::string object =
            "<ds:Object xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\" Id=\"obj\">o</ds:Object>";
        const CRYPT_XML_BLOB blob = Blob(object);
        dll().AddObject(sig.h(), 0, nullptr, 0, &blob, nullptr);
        hr = sig.SignHmac(kSecret);
    }
};

}  // namespace

// --- opening -------------------------------------------------------------------------

TEST_F(Sign, OpenedSignatureIsPublished) {
    NewSig sig(kDoc, L"", L"sig-1");
    ASSERT_EQ(S_OK, sig.hr()) << Last();
    const CRYPT_XML_SIGNATURE* s = sig.Struct();
    ASSERT_NE(nullptr, s);
    EXPECT_EQ(sig.h(), s->hSignature);
    EXPECT_STREQ(L"sig-1", s->wszId);
    EXPECT_EQ(0u, s->SignedInfo.cReference);
    EXPECT_EQ(0u, s->cObject);
    EXPECT_EQ(nullptr, s->pKeyInfo);
    const CRYPT_XML_STATUS status = sig.Status();
    EXPECT_EQ(0u, status.dwErrorStatus);
    EXPECT_EQ(0x80000000u, status.dwInfoStatus);
}

TEST_F(Sign, OpenWithTransformChainConfigIsNotImplemented) {
    CRYPT_XML_TRANSFORM_CHAIN_CONFIG config{};
    config.cbSize = sizeof(config);
    HCRYPTXML h = nullptr;
    EXPECT_EQ(kNotImpl, dll().OpenToEncode(&config, 0, nullptr, nullptr, 0, nullptr, &h));
    EXPECT_EQ(nullptr, h);
    ExpectLine(L"CryptXmlOpenToEncode", Msg("SigContext::InitTransforms", "Not implemented."));
}

TEST_F(Sign, SourceDocumentWithoutPropertiesIsRefused) {
    const CRYPT_XML_BLOB blob = Blob(kDoc);
    HCRYPTXML h = nullptr;
    EXPECT_EQ(kInvalidArg, dll().OpenToEncode(nullptr, 0, nullptr, nullptr, 0, &blob, &h));
    ExpectLine(L"CryptXmlOpenToEncode", Msg("SigContext::SigContext", kArgs));
}

TEST_F(Sign, NullOutPointerIsRefusedWithoutTraceLine) {
    HCRYPTXML h = nullptr;
    CRYPT_XML_TRANSFORM_CHAIN_CONFIG config{};
    ASSERT_EQ(kNotImpl, dll().OpenToEncode(&config, 0, nullptr, nullptr, 0, nullptr, &h));
    const std::wstring before = Last();
    EXPECT_EQ(kInvalidArg, dll().OpenToEncode(nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(before, Last());
}

TEST_F(Sign, SourceBeyondBlobMaxIsTooLarge) {
    const LPCWSTR location = L"";
    const CRYPT_XML_PROPERTY property = Property(CRYPT_XML_PROPERTY_SIGNATURE_LOCATION, &location);
    CRYPT_XML_BLOB blob = Blob(kDoc);
    blob.cbData = 0x7FFFFFF9;  // never read: refused by its length
    HCRYPTXML h = nullptr;
    EXPECT_EQ(kLarge, dll().OpenToEncode(nullptr, 0, nullptr, &property, 1, &blob, &h));
    ExpectLine(L"CryptXmlOpenToEncode", Msg("SigContext::InitSourceXml", kLargeText,
                                            "the length of source xml is exceeded CRYPT_XML_BLOB_MAX."));
}

TEST_F(Sign, Utf16SourceDocumentIsSigned) {
    std::string utf16;
    for (char c : kDoc) {
        utf16 += c;
        utf16 += '\0';
    }
    const LPCWSTR location = L"#data";
    const CRYPT_XML_PROPERTY property = Property(CRYPT_XML_PROPERTY_SIGNATURE_LOCATION, &location);
    const CRYPT_XML_BLOB blob = Blob(utf16, CRYPT_XML_CHARSET_UTF16LE);
    HCRYPTXML h = nullptr;
    ASSERT_EQ(S_OK, dll().OpenToEncode(nullptr, 0, nullptr, &property, 1, &blob, &h)) << Last();
    const CRYPT_XML_ALGORITHM digest = Alg(kSha256);
    const CRYPT_XML_ALGORITHM enveloped = Alg(kEnveloped);
    HCRYPTXML ref = nullptr;
    ASSERT_EQ(S_OK, dll().CreateReference(h, 0, nullptr, L"#data", nullptr, &digest, 1, &enveloped, &ref));
    ASSERT_EQ(S_OK, dll().SetHMACSecret(h, reinterpret_cast<const BYTE*>(kSecret.data()), 32));
    const CRYPT_XML_ALGORITHM method = Alg(kHmacSha256);
    const CRYPT_XML_ALGORITHM c14n = Alg(kC14n);
    ASSERT_EQ(S_OK, dll().Sign(h, 0, 0, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, &method, &c14n)) << Last();
    Sink sink;
    ASSERT_EQ(S_OK, dll().Encode(h, CRYPT_XML_CHARSET_UTF8, nullptr, 0, &sink, Write));
    EXPECT_EQ(0u, sink.bytes.find("<Doc><Data Id=\"data\">text to sign<ds:Signature "));
    EXPECT_EQ(S_OK, VerifyOwn(sink.bytes, kSecret).verify);
    dll().Close(h);
}

TEST_F(Sign, IdsFollowTheFormatFlagsAndTheLengthLimit) {
    HCRYPTXML h = nullptr;
    EXPECT_EQ(static_cast<HRESULT>(0x80092110L), dll().OpenToEncode(nullptr, CRYPT_XML_FLAG_ENFORCE_ID_NCNAME_FORMAT,
                                                                    L"1-starts-with-a-digit", nullptr, 0, nullptr, &h));
    ExpectLine(L"CryptXmlOpenToEncode", Msg("BaseContext::CheckIdLimits", "Unexpected XML element found.",
                                            "invalid id attribute. CRYPT_XML_FLAG_ENFORCE_ID_NCNAME_FORMAT"));
    const std::wstring longId(257, L'i');
    EXPECT_EQ(kLarge, dll().OpenToEncode(nullptr, 0, longId.c_str(), nullptr, 0, nullptr, &h));
    EXPECT_EQ(nullptr, h);
    ASSERT_EQ(S_OK, dll().OpenToEncode(nullptr, CRYPT_XML_FLAG_ENFORCE_ID_NCNAME_FORMAT, L"good-id", nullptr, 0,
                                       nullptr, &h));
    // References and objects are checked by the flags they are created with.
    const CRYPT_XML_ALGORITHM digest = Alg(kSha256);
    HCRYPTXML ref = nullptr;
    EXPECT_EQ(static_cast<HRESULT>(0x80092110L),
              dll().CreateReference(h, CRYPT_XML_FLAG_ENFORCE_ID_NCNAME_FORMAT, L"a:b", L"#x", nullptr, &digest, 0,
                                    nullptr, &ref));
    EXPECT_EQ(S_OK, dll().CreateReference(h, 0, L"a:b", L"#x", nullptr, &digest, 0, nullptr, &ref));
    dll().Close(h);
}

// A decoded signature has no document of its own to write: nothing is written.
TEST_F(Sign, EncodingADecodedSignatureWritesNothing) {
    SignedHmac made;
    ASSERT_EQ(S_OK, made.hr);
    const std::string xml = made.sig.Encode();
    HCRYPTXML doc = nullptr;
    const CRYPT_XML_BLOB blob = Blob(xml);
    ASSERT_EQ(S_OK, dll().OpenToDecode(nullptr, 0, nullptr, 0, &blob, &doc));
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    ASSERT_EQ(S_OK, dll().GetDocContext(doc, &ctxt));
    Sink sink;
    EXPECT_EQ(S_OK, dll().Encode(ctxt->rgpSignature[0]->hSignature, CRYPT_XML_CHARSET_UTF8, nullptr, 0, &sink, Write));
    EXPECT_TRUE(sink.pieces.empty());
    dll().Close(doc);
}

TEST_F(Sign, MalformedSourceIsAFormatError) {
    NewSig sig("<Doc><Unclosed></Doc>");
    EXPECT_EQ(kInvalidFormat, sig.hr());
}

TEST_F(Sign, ClosingTheSignatureAnswersOkAndItsReferenceWithOwner) {
    HCRYPTXML h = nullptr;
    ASSERT_EQ(S_OK, dll().OpenToEncode(nullptr, 0, nullptr, nullptr, 0, nullptr, &h));
    const CRYPT_XML_ALGORITHM digest = Alg(kSha256);
    HCRYPTXML ref = nullptr;
    ASSERT_EQ(S_OK, dll().CreateReference(h, 0, nullptr, L"#x", nullptr, &digest, 0, nullptr, &ref));
    EXPECT_EQ(S_FALSE, dll().Close(ref));
    EXPECT_EQ(S_OK, dll().Close(h));
    const CRYPT_XML_REFERENCE* gone = nullptr;
    EXPECT_EQ(static_cast<HRESULT>(0x80092106L), dll().GetReference(ref, &gone));
}

// --- references ------------------------------------------------------------------------

TEST_F(Sign, ReferenceArgumentsAreChecked) {
    NewSig sig;
    const CRYPT_XML_ALGORITHM digest = Alg(kSha256);
    HCRYPTXML ref = nullptr;
    EXPECT_EQ(kInvalidArg, dll().CreateReference(nullptr, 0, nullptr, L"", nullptr, &digest, 0, nullptr, &ref));
    ExpectLine(L"CryptXmlCreateReference",
               Msg("CryptXmlCreateReference", kArgs, "NULL == hSignatureOrObject || NULL == phReferenceOrObject"));
    EXPECT_EQ(kInvalidArg, dll().CreateReference(sig.h(), 0, nullptr, L"", nullptr, nullptr, 0, nullptr, &ref));
    ExpectLine(L"CryptXmlCreateReference", Msg("RefContext::InitNewReference", kArgs, "NULL == digestMethod"));
    EXPECT_EQ(nullptr, sig.Ref(L"", {}, L"http://example.com/no-such-digest"));
    EXPECT_EQ(kAlgorithm, sig.last());
    ExpectLine(L"CryptXmlCreateReference", Msg("RefContext::InitNewReference", "Unsupported algorithm.",
                                               "Digest method is either unavailable or is specified incorrectly."));
    // A signature method is available, but is no digest.
    EXPECT_EQ(nullptr, sig.Ref(L"", {}, kHmacSha256));
    EXPECT_EQ(kAlgorithm, sig.last());
    EXPECT_EQ(0u, sig.Struct()->SignedInfo.cReference);
}

TEST_F(Sign, NewReferenceIsPublishedAndUnresolved) {
    NewSig sig(kDoc);
    HCRYPTXML internal = sig.Ref(L"", {kEnveloped, kExcC14n}, kSha1, 0, L"ref-1", L"urn:type");
    ASSERT_NE(nullptr, internal) << Last();
    HCRYPTXML external = sig.Ref(L"http://example.com/data");
    HCRYPTXML anonymous = sig.Ref(nullptr);
    ASSERT_NE(nullptr, anonymous);
    const CRYPT_XML_SIGNATURE* s = sig.Struct();
    ASSERT_EQ(3u, s->SignedInfo.cReference);
    const CRYPT_XML_REFERENCE* r = s->SignedInfo.rgpReference[0];
    EXPECT_EQ(internal, r->hReference);
    EXPECT_STREQ(L"ref-1", r->wszId);
    EXPECT_STREQ(L"", r->wszUri);
    EXPECT_STREQ(L"urn:type", r->wszType);
    EXPECT_STREQ(kSha1, r->DigestMethod.wszAlgorithm);
    ASSERT_EQ(2u, r->cTransform);
    EXPECT_STREQ(kEnveloped, r->rgTransform[0].wszAlgorithm);
    EXPECT_STREQ(kExcC14n, r->rgTransform[1].wszAlgorithm);
    EXPECT_EQ(0u, r->DigestValue.cbData);
    // An empty URI is internal, a missing one is not.
    EXPECT_EQ(0x80000001u, sig.Status(internal).dwInfoStatus);
    EXPECT_EQ(0x1u, sig.Status(internal).dwErrorStatus);
    EXPECT_EQ(0x80000000u, sig.Status(external).dwInfoStatus);
    EXPECT_EQ(0x80000000u, sig.Status(anonymous).dwInfoStatus);
    EXPECT_EQ(0x1u, sig.Status(anonymous).dwErrorStatus);
    // The signature merges its references' words.
    EXPECT_EQ(0x1u, sig.Status().dwErrorStatus);
    EXPECT_EQ(0x80000000u, sig.Status().dwInfoStatus);
}

TEST_F(Sign, UriOf8192CharactersIsAcceptedAnd8193AreTooLarge) {
    NewSig sig;
    const std::wstring uri8192 = L"http://x/" + std::wstring(8192 - 9, L'a');
    EXPECT_NE(nullptr, sig.Ref(uri8192.c_str()));
    const std::wstring uri8193 = uri8192 + L"a";
    EXPECT_EQ(nullptr, sig.Ref(uri8193.c_str()));
    EXPECT_EQ(kLarge, sig.last());
    ExpectLine(L"CryptXmlCreateReference", Msg("RefContext::InitNewReference", kLargeText, "URI"));
}

TEST_F(Sign, DuplicateIdsAreRefused) {
    NewSig sig(kDoc);
    ASSERT_NE(nullptr, sig.Ref(L"#data", {}, kSha256, 0, L"r1"));
    EXPECT_EQ(nullptr, sig.Ref(L"#data", {}, kSha256, 0, L"r1"));
    EXPECT_EQ(kNonUniqueId, sig.last());
    ExpectLine(L"CryptXmlCreateReference",
               Msg("RefContext::InitNewReference", "Non-unique Id attribute found in the document."));
    // An Id the source document already carries.
    EXPECT_EQ(nullptr, sig.Ref(L"#data", {}, kSha256, 0, L"data"));
    EXPECT_EQ(kNonUniqueId, sig.last());
    // An object's Id.
    ASSERT_NE(nullptr, sig.Ref(L"#obj", {}, kSha256, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT));
    EXPECT_EQ(nullptr, sig.Ref(L"#data", {}, kSha256, 0, L"obj"));
    EXPECT_EQ(kNonUniqueId, sig.last());
}

TEST_F(Sign, ObjectReferenceNeedsAnIdUri) {
    NewSig sig;
    for (const wchar_t* uri : {L"#", L"x1", L""}) {
        EXPECT_EQ(nullptr, sig.Ref(uri, {}, kSha256, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT));
        EXPECT_EQ(kInvalidArg, sig.last());
        ExpectLine(L"CryptXmlCreateReference", Msg("CryptXmlCreateReference", kArgs, "wszURI"));
    }
    HCRYPTXML ref = sig.Ref(L"#o1", {kC14n}, kSha256, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT);
    ASSERT_NE(nullptr, ref);
    const CRYPT_XML_SIGNATURE* s = sig.Struct();
    ASSERT_EQ(1u, s->cObject);
    EXPECT_STREQ(L"o1", s->rgpObject[0]->wszId);
    EXPECT_EQ(0u, s->rgpObject[0]->Encoded.cbData);
    EXPECT_EQ(S_FALSE, dll().Close(s->rgpObject[0]->hObject));
}

TEST_F(Sign, ManifestReferencesGoOnTheObjectHandle) {
    NewSig sig;
    ASSERT_NE(nullptr, sig.Ref(L"#m", {}, kSha256, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT, nullptr,
                               L"http://www.w3.org/2000/09/xmldsig#Manifest"));
    const CRYPT_XML_OBJECT* obj = sig.Struct()->rgpObject[0];
    const CRYPT_XML_ALGORITHM digest = Alg(kSha256);
    HCRYPTXML ref = nullptr;
    ASSERT_EQ(S_OK, dll().CreateReference(obj->hObject, 0, L"mref", L"http://example.com/a", nullptr, &digest, 0,
                                          nullptr, &ref))
        << Last();
    ASSERT_EQ(1u, obj->Manifest.cReference);
    EXPECT_EQ(ref, obj->Manifest.rgpReference[0]->hReference);
    // The object flag belongs to signatures only.
    EXPECT_EQ(kInvalidOperation, dll().CreateReference(obj->hObject, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT, nullptr,
                                                       L"#z", nullptr, &digest, 0, nullptr, &ref));
    ExpectLine(L"CryptXmlCreateReference", Msg("RefContext::RefContext", kNotAllowed));
    // The Id is unique across the manifest and the signature.
    EXPECT_EQ(nullptr, sig.Ref(L"#m", {}, kSha256, 0, L"mref"));
    EXPECT_EQ(kNonUniqueId, sig.last());
}

TEST_F(Sign, ReferenceLimitIs32759) {
    NewSig sig;
    for (int i = 0; i < 32759; ++i) {
        if (sig.Ref(L"http://example.com/r") == nullptr) FAIL() << "reference " << i << ": " << std::hex << sig.last();
    }
    EXPECT_EQ(32759u, sig.Struct()->SignedInfo.cReference);
    EXPECT_EQ(nullptr, sig.Ref(L"http://example.com/r"));
    EXPECT_EQ(kLarge, sig.last());
    ExpectLine(L"CryptXmlCreateReference",
               Msg("CryptXmlCreateReference", kLargeText, "CRYPT_XML_REFERENCES_MAX limit exceeded."));
}

TEST_F(Sign, ObjectLimitIs255ForReferencesButNotForAddObject) {
    NewSig sig;
    for (int i = 0; i < 255; ++i) {
        const std::wstring uri = L"#o" + std::to_wstring(i);
        ASSERT_NE(nullptr, sig.Ref(uri.c_str(), {}, kSha256, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT)) << i;
    }
    EXPECT_EQ(nullptr, sig.Ref(L"#o255", {}, kSha256, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT));
    EXPECT_EQ(kLarge, sig.last());
    ExpectLine(L"CryptXmlCreateReference",
               Msg("CryptXmlCreateReference", kLargeText, "CRYPT_XML_OBJECTS_MAX limit exceeded."));
    const std::string object = "<Object xmlns=\"http://www.w3.org/2000/09/xmldsig#\" Id=\"extra\">x</Object>";
    const CRYPT_XML_BLOB blob = Blob(object);
    const CRYPT_XML_OBJECT* added = nullptr;
    EXPECT_EQ(S_OK, dll().AddObject(sig.h(), 0, nullptr, 0, &blob, &added)) << Last();
    EXPECT_EQ(256u, sig.Struct()->cObject);
    ASSERT_NE(nullptr, added);
    EXPECT_STREQ(L"extra", added->wszId);
}

TEST_F(Sign, DecodedSignatureTakesNoNewReference) {
    SignedHmac made;
    ASSERT_EQ(S_OK, made.hr);
    const std::string xml = made.sig.Encode();
    HCRYPTXML doc = nullptr;
    const CRYPT_XML_BLOB blob = Blob(xml);
    ASSERT_EQ(S_OK, dll().OpenToDecode(nullptr, 0, nullptr, 0, &blob, &doc));
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    ASSERT_EQ(S_OK, dll().GetDocContext(doc, &ctxt));
    const HCRYPTXML decoded = ctxt->rgpSignature[0]->hSignature;
    const CRYPT_XML_ALGORITHM digest = Alg(kSha256);
    HCRYPTXML ref = nullptr;
    EXPECT_EQ(kOperation, dll().CreateReference(decoded, 0, nullptr, L"", nullptr, &digest, 0, nullptr, &ref));
    const CRYPT_XML_ALGORITHM method = Alg(kHmacSha256);
    const CRYPT_XML_ALGORITHM c14n = Alg(kC14n);
    ASSERT_EQ(S_OK, dll().SetHMACSecret(decoded, reinterpret_cast<const BYTE*>(kSecret.data()), 32));
    EXPECT_EQ(kOperation, dll().Sign(decoded, 0, 0, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, &method, &c14n));
    ExpectLine(L"CryptXmlSign", Msg("SigContext::Sign", "Invalid operation."));
    const CRYPT_XML_BLOB object = Blob("<Object xmlns=\"http://www.w3.org/2000/09/xmldsig#\"/>");
    // Nor do its objects.
    const CRYPT_XML_SIGNATURE* decodedStruct = ctxt->rgpSignature[0];
    ASSERT_EQ(1u, decodedStruct->cObject);
    const HCRYPTXML decodedObject = decodedStruct->rgpObject[0]->hObject;
    EXPECT_EQ(kOperation,
              dll().CreateReference(decodedObject, 0, nullptr, L"urn:x", nullptr, &digest, 0, nullptr, &ref));
    EXPECT_EQ(0u, decodedStruct->rgpObject[0]->Manifest.cReference);
    EXPECT_EQ(kOperation, dll().AddObject(decodedObject, 0, nullptr, 0, &object, nullptr));
    EXPECT_EQ(kFail, dll().AddObject(decoded, 0, nullptr, 0, &object, nullptr));
    ExpectLine(L"CryptXmlAddObject",
               Widen("an error occurred. function: CryptXmlAddObject. desc: a signature is not opened for encoding"));
    dll().Close(doc);
}

// --- objects ---------------------------------------------------------------------------

TEST_F(Sign, AddObjectChecksItsBlob) {
    NewSig sig;
    const CRYPT_XML_OBJECT* obj = nullptr;
    EXPECT_EQ(kInvalidArg, dll().AddObject(sig.h(), 0, nullptr, 0, nullptr, &obj));
    ExpectLine(L"CryptXmlAddObject", Msg("CryptXmlAddObject", kArgs, "NULL == hSignatureOrObject || NULL == pEncoded"));
    CRYPT_XML_BLOB empty = Blob("");
    EXPECT_EQ(kInvalidArg, dll().AddObject(sig.h(), 0, nullptr, 0, &empty, &obj));
    ExpectLine(L"CryptXmlAddObject",
               Msg("SigContext::AddObject", kArgs, "!encodedBlob->cbData || !encodedBlob->pbData"));
    CRYPT_XML_BLOB badCharset = Blob("<Object/>", 4);
    EXPECT_EQ(kInvalidArg, dll().AddObject(sig.h(), 0, nullptr, 0, &badCharset, &obj));
    ExpectLine(L"CryptXmlAddObject",
               Msg("SigContext::AddObject", kArgs, "encodedBlob->dwCharset has an invalid value."));
    CRYPT_XML_BLOB malformed = Blob("<Object>");
    EXPECT_EQ(kInvalidFormat, dll().AddObject(sig.h(), 0, nullptr, 0, &malformed, &obj));
    EXPECT_EQ(0u, sig.Struct()->cObject);
}

TEST_F(Sign, AddedObjectIsPublishedWithItsManifest) {
    NewSig sig;
    const std::string object =
        "<ds:Object xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\" Id=\"o\" MimeType=\"text/xml\" "
        "Encoding=\"urn:enc\"><payload>p</payload></ds:Object>";
    const CRYPT_XML_BLOB blob = Blob(object);
    const CRYPT_XML_OBJECT* obj = nullptr;
    ASSERT_EQ(S_OK, dll().AddObject(sig.h(), 0, nullptr, 0, &blob, &obj)) << Last();
    ASSERT_NE(nullptr, obj);
    EXPECT_STREQ(L"o", obj->wszId);
    EXPECT_STREQ(L"text/xml", obj->wszMimeType);
    EXPECT_STREQ(L"urn:enc", obj->wszEncoding);
    // The element as it now stands in the signature's document (attributes in Xerces' order).
    EXPECT_EQ(
        "<ds:Object xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\" Encoding=\"urn:enc\" Id=\"o\" "
        "MimeType=\"text/xml\"><payload>p</payload></ds:Object>",
        std::string(reinterpret_cast<const char*>(obj->Encoded.pbData), obj->Encoded.cbData));
    ASSERT_EQ(1u, sig.Struct()->cObject);
    EXPECT_EQ(obj, sig.Struct()->rgpObject[0]);
}

TEST_F(Sign, CustomContentOnAnObjectHandle) {
    NewSig sig;
    ASSERT_NE(nullptr, sig.Ref(L"#o", {kC14n}, kSha256, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT));
    const CRYPT_XML_OBJECT* obj = sig.Struct()->rgpObject[0];
    std::string content = "<content>first</content>";
    CRYPT_XML_BLOB blob = Blob(content);
    const CRYPT_XML_OBJECT* out = nullptr;
    EXPECT_EQ(kInvalidArg, dll().AddObject(obj->hObject, 0, nullptr, 0, &blob, &out));
    ExpectLine(
        L"CryptXmlAddObject",
        Msg("CryptXmlAddObject", kArgs,
            "In case of hSignatureOrObject contains a handle of the Object the ppObject parameter must be NULL."));
    // Without the copy flag the caller's bytes are the object's.
    ASSERT_EQ(S_OK, dll().AddObject(obj->hObject, 0, nullptr, 0, &blob, nullptr));
    EXPECT_EQ(reinterpret_cast<const BYTE*>(content.data()), obj->Encoded.pbData);
    content.replace(9, 5, "other");
    EXPECT_EQ("<content>other</content>",
              std::string(reinterpret_cast<const char*>(obj->Encoded.pbData), obj->Encoded.cbData));
    // With it, a copy.
    ASSERT_EQ(S_OK, dll().AddObject(obj->hObject, CRYPT_XML_FLAG_ADD_OBJECT_CREATE_COPY, nullptr, 0, &blob, nullptr));
    EXPECT_NE(reinterpret_cast<const BYTE*>(content.data()), obj->Encoded.pbData);
    content.replace(9, 5, "third");
    EXPECT_EQ("<content>other</content>",
              std::string(reinterpret_cast<const char*>(obj->Encoded.pbData), obj->Encoded.cbData));
    EXPECT_EQ(CRYPT_XML_CHARSET_UTF8, obj->Encoded.dwCharset);
    // The signed document carries the content inside the object.
    ASSERT_EQ(S_OK, sig.SignHmac(kSecret)) << Last();
    const std::string xml = sig.Encode();
    EXPECT_NE(std::string::npos, xml.find("<ds:Object Id=\"o\"><content>other</content></ds:Object>")) << xml;
    const Verified v = VerifyOwn(xml, kSecret);
    EXPECT_EQ(S_OK, v.verify);
    EXPECT_EQ(0x10008u, v.sigStatus.dwInfoStatus);
}

TEST_F(Sign, CustomContentBlobBoundsAndCharsets) {
    NewSig sig;
    ASSERT_NE(nullptr, sig.Ref(L"#o", {}, kSha256, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT));
    const HCRYPTXML obj = sig.Struct()->rgpObject[0]->hObject;
    std::string bytes = "<c/>";
    CRYPT_XML_BLOB blob = Blob(bytes);
    blob.cbData = 0x7FFFFFF8;  // passes the size check; never read without the copy flag
    EXPECT_EQ(S_OK, dll().AddObject(obj, 0, nullptr, 0, &blob, nullptr));
    blob.cbData = 0x7FFFFFF9;
    EXPECT_EQ(kInvalidArg, dll().AddObject(obj, 0, nullptr, 0, &blob, nullptr));
    ExpectLine(L"CryptXmlAddObject",
               Msg("ObjContext::SetCustomContent", kArgs, "encodedBlob->cbData > CRYPT_XML_BLOB_MAX"));
    blob = Blob(bytes, CRYPT_XML_CHARSET_UTF16BE);
    EXPECT_EQ(S_OK, dll().AddObject(obj, 0, nullptr, 0, &blob, nullptr));
    blob = Blob(bytes, 4);
    EXPECT_EQ(kInvalidFormat, dll().AddObject(obj, 0, nullptr, 0, &blob, nullptr));
    ExpectLine(L"CryptXmlAddObject",
               Msg("ObjContext::SetCustomContent",
                   "The input data was not in the expected format or did not have the expected value.",
                   "encodedBlob->dwCharset has an invalid value."));
    blob = Blob("");
    EXPECT_EQ(kInvalidArg, dll().AddObject(obj, 0, nullptr, 0, &blob, nullptr));
    ExpectLine(L"CryptXmlAddObject",
               Msg("ObjContext::SetCustomContent", kArgs, "!encodedBlob->cbData || !encodedBlob->pbData"));
}

TEST_F(Sign, ObjectStatusFollowsItsManifest) {
    NewSig sig;
    ASSERT_NE(nullptr, sig.Ref(L"#o", {}, kSha256, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT));
    const HCRYPTXML obj = sig.Struct()->rgpObject[0]->hObject;
    CRYPT_XML_STATUS status = sig.Status(obj);
    EXPECT_EQ(0u, status.dwErrorStatus);  // an empty manifest: the object's own words
    EXPECT_EQ(0u, status.dwInfoStatus);
    const CRYPT_XML_ALGORITHM digest = Alg(kSha256);
    HCRYPTXML ref = nullptr;
    ASSERT_EQ(S_OK,
              dll().CreateReference(obj, 0, nullptr, L"http://example.com/a", nullptr, &digest, 0, nullptr, &ref));
    status = sig.Status(obj);
    EXPECT_EQ(0x1u, status.dwErrorStatus);
    EXPECT_EQ(0u, status.dwInfoStatus & CRYPT_XML_STATUS_DIGEST_VALID);
}

// --- signing ---------------------------------------------------------------------------

TEST_F(Sign, SigningWithoutReferencesIsAStateError) {
    NewSig sig(kDoc);
    const CRYPT_XML_ALGORITHM method = Alg(kHmacSha256);
    const CRYPT_XML_ALGORITHM c14n = Alg(kC14n);
    EXPECT_EQ(kInvalidOperation, dll().Sign(sig.h(), 0, 0, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, &method, &c14n));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlSign", L"there is no references associated with this signature."), Last());
}

TEST_F(Sign, SigningTwiceIsAnInvalidOperation) {
    SignedHmac made;
    ASSERT_EQ(S_OK, made.hr) << Last();
    EXPECT_EQ(kOperation, made.sig.SignHmac(kSecret));
    ExpectLine(L"CryptXmlSign", Msg("SigContext::Sign", "Invalid operation."));
}

TEST_F(Sign, NoObjectIsAddedAfterSigning) {
    SignedHmac made;
    ASSERT_EQ(S_OK, made.hr);
    const CRYPT_XML_BLOB object = Blob("<Object xmlns=\"http://www.w3.org/2000/09/xmldsig#\"/>");
    EXPECT_EQ(kOperation, dll().AddObject(made.sig.h(), 0, nullptr, 0, &object, nullptr));
    ExpectLine(L"CryptXmlAddObject", Msg("SigContext::AddObject", "Invalid operation."));
    const CRYPT_XML_ALGORITHM digest = Alg(kSha256);
    HCRYPTXML ref = nullptr;
    EXPECT_EQ(kOperation, dll().CreateReference(made.sig.h(), 0, nullptr, L"", nullptr, &digest, 0, nullptr, &ref));
}

TEST_F(Sign, MalformedEncodedKeyInfoIsAFormatError) {
    NewSig sig(kDoc);
    ASSERT_NE(nullptr, sig.Ref(L"", {kEnveloped}));
    const CRYPT_XML_BLOB blob = Blob("<KeyInfo><KeyName>k</KeyInfo>");
    ASSERT_EQ(S_OK, dll().SetHMACSecret(sig.h(), reinterpret_cast<const BYTE*>(kSecret.data()), 32));
    EXPECT_EQ(kInvalidFormat, sig.SignWith(0, 0, kHmacSha256, 0, CRYPT_XML_KEYINFO_SPEC_ENCODED, &blob));
    EXPECT_EQ(0x80000000u, sig.Status().dwInfoStatus);
}

TEST_F(Sign, SignedSignaturePublishesStatusButNoValue) {
    NewSig sig(kDoc);
    const HCRYPTXML ref = sig.Ref(L"", {kEnveloped, kC14n});
    CRYPT_XML_KEYINFO_PARAM param{};
    param.wszKeyName = L"shared secret 7";
    param.wszId = L"ki";
    ASSERT_EQ(S_OK, dll().SetHMACSecret(sig.h(), reinterpret_cast<const BYTE*>(kSecret.data()), 32));
    ASSERT_EQ(S_OK, sig.SignWith(0, 0, kHmacSha256, 0, CRYPT_XML_KEYINFO_SPEC_PARAM, &param)) << Last();
    const CRYPT_XML_SIGNATURE* s = sig.Struct();
    EXPECT_EQ(0u, s->SignatureValue.cbData);
    EXPECT_EQ(nullptr, s->SignatureValue.pbData);
    ASSERT_NE(nullptr, s->pKeyInfo);
    EXPECT_STREQ(L"ki", s->pKeyInfo->wszId);
    ASSERT_EQ(1u, s->pKeyInfo->cKeyInfo);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEYINFO_TYPE_KEYNAME), s->pKeyInfo->rgKeyInfo[0].dwType);
    EXPECT_STREQ(L"shared secret 7", s->pKeyInfo->rgKeyInfo[0].wszKeyName);
    EXPECT_EQ(0x80010008u, sig.Status().dwInfoStatus);
    EXPECT_EQ(0u, sig.Status().dwErrorStatus);
    EXPECT_EQ(0x80000009u, sig.Status(ref).dwInfoStatus);
    EXPECT_EQ(0u, sig.Status(ref).dwErrorStatus);
    // The digest written is published (SHA-256).
    EXPECT_EQ(32u, s->SignedInfo.rgpReference[0]->DigestValue.cbData);
}

TEST_F(Sign, KeyRefusals) {
    NewSig sig(kDoc);
    ASSERT_NE(nullptr, sig.Ref(L"", {kEnveloped}));
    const CRYPT_XML_ALGORITHM method = Alg(kHmacSha256);
    const CRYPT_XML_ALGORITHM c14n = Alg(kC14n);
    EXPECT_EQ(kSignFailed, dll().Sign(sig.h(), 0, 0, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, &method, &c14n));
    ExpectLine(L"CryptXmlSign", Msg("SigContext::Sign", "Cryptographic signature operation failed.",
                                    "NULL == hProv and HMAC secret is not specified."));
    ASSERT_EQ(S_OK, dll().SetHMACSecret(sig.h(), reinterpret_cast<const BYTE*>(kSecret.data()), 32));
    // A CNG key specifier: no CryptoAPI key is looked for, and CNG is not offered.
    EXPECT_EQ(kInvalidArg, dll().Sign(sig.h(), 1, 0xFFFFFFFF, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, &method, &c14n));
    ExpectLine(L"CryptXmlSign", Msg("SigContext::Sign", kArgs, "CNG keys support is not implemented."));
    const CRYPT_XML_ALGORITHM unknown = Alg(L"http://example.com/no-such-method");
    EXPECT_EQ(kAlgorithm, dll().Sign(sig.h(), 0, 0, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, &unknown, &c14n));
    ExpectLine(L"CryptXmlSign", Msg("SigContext::Sign", "Unsupported algorithm.", "pSignatureMethod"));
    EXPECT_EQ(kTransform, dll().Sign(sig.h(), 0, 0, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, &method, &unknown));
    ExpectLine(L"CryptXmlSign", Msg("SigContext::Sign", "Unsupported Transform.", "pCanonicalization"));
    EXPECT_EQ(kInvalidArg, dll().Sign(sig.h(), 0, 0, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, nullptr, &c14n));
    ExpectLine(L"CryptXmlSign",
               Msg("SigContext::CreateSigNode", kArgs, "NULL == pSignatureMethod || NULL == pCanonicalization"));
    CRYPT_XML_ALGORITHM encoded = Alg(nullptr);
    const std::string element = "<CanonicalizationMethod Algorithm=\"x\"/>";
    encoded.Encoded = Blob(element);
    EXPECT_EQ(kNotImpl, dll().Sign(sig.h(), 0, 0, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, &method, &encoded));
    ExpectLine(L"CryptXmlSign", Msg("SigContext::CreateSigNode", "Not implemented.",
                                    "pCanonicalization->Encoded processing is not implemented."));
    EXPECT_EQ(kNotImpl, dll().Sign(sig.h(), 0, 0, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, &encoded, &c14n));
    ExpectLine(L"CryptXmlSign", Msg("SigContext::CreateSigNode", "Not implemented.",
                                    "pSignatureMethod->Encoded processing is not implemented."));
    // None of these touched the signature: it still signs.
    EXPECT_EQ(S_OK, dll().Sign(sig.h(), 0, 0, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, &method, &c14n)) << Last();
}

TEST_F(Sign, LocationThatNamesNoElement) {
    NewSig sig(kDoc, L"#nowhere");
    ASSERT_NE(nullptr, sig.Ref(L"#data"));
    EXPECT_EQ(kObjectFaulted, sig.SignHmac(kSecret));
    ExpectLine(L"CryptXmlSign", Msg("SigContext::CreateSigNode", kStateInvalid,
                                    "signature location not found. Check the CRYPT_XML_PROPERTY_SIGNATURE_LOCATION"));
    // The failed attempt keeps its signature object: a second one is a state error.
    EXPECT_EQ(kInvalidOperation, sig.SignHmac(kSecret));
    ExpectLine(L"CryptXmlSign", Msg("SigContext::CreateSigNode", kNotAllowed, "NULL != xsecSig_"));
    EXPECT_EQ(0x80000000u, sig.Status().dwInfoStatus);
}

TEST_F(Sign, LocationOfOneHashIsInvalid) {
    NewSig sig(kDoc, L"#");
    ASSERT_NE(nullptr, sig.Ref(L"#data"));
    EXPECT_EQ(kInvalidArg, sig.SignHmac(kSecret));
    ExpectLine(L"CryptXmlSign",
               Msg("`anonymous-namespace'::FindSignatureLocationNode", kArgs, "signature location is invalid."));
}

TEST_F(Sign, LocationOfAnotherFormNamesNothing) {
    NewSig sig(kDoc, L"Doc");
    ASSERT_NE(nullptr, sig.Ref(L"#data"));
    EXPECT_EQ(kObjectFaulted, sig.SignHmac(kSecret));
}

TEST_F(Sign, EncodedKeyInfoNeedsASourceDocument) {
    NewSig sig;
    ASSERT_NE(nullptr, sig.Ref(L"#o", {}, kSha256, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT));
    const std::string keyInfo = "<KeyInfo xmlns=\"http://www.w3.org/2000/09/xmldsig#\"><KeyName>k</KeyName></KeyInfo>";
    const CRYPT_XML_BLOB blob = Blob(keyInfo);
    ASSERT_EQ(S_OK, dll().SetHMACSecret(sig.h(), reinterpret_cast<const BYTE*>(kSecret.data()), 32));
    EXPECT_EQ(kFail, sig.SignWith(0, 0, kHmacSha256, 0, CRYPT_XML_KEYINFO_SPEC_ENCODED, &blob));
    ExpectLine(L"CryptXmlSign", Widen("an error occurred. function: SigContext::AddKeyInfoSpec. desc: NULL == doc."));
}

TEST_F(Sign, KeyInfoSpecRefusals) {
    for (int round = 0; round < 3; ++round) {
        NewSig sig(kDoc);
        ASSERT_NE(nullptr, sig.Ref(L"", {kEnveloped}));
        ASSERT_EQ(S_OK, dll().SetHMACSecret(sig.h(), reinterpret_cast<const BYTE*>(kSecret.data()), 32));
        CRYPT_XML_BLOB blob = Blob("");
        if (round == 0) {
            EXPECT_EQ(kInvalidArg, sig.SignWith(0, 0, kHmacSha256, 0, CRYPT_XML_KEYINFO_SPEC_PARAM, nullptr));
            ExpectLine(L"CryptXmlSign", Msg("SigContext::AddKeyInfoSpec", kArgs, "NULL == pvKeyInfoSpec"));
        } else if (round == 1) {
            EXPECT_EQ(kInvalidArg, sig.SignWith(0, 0, kHmacSha256, 0, CRYPT_XML_KEYINFO_SPEC_ENCODED, &blob));
            ExpectLine(L"CryptXmlSign", Msg("SigContext::AddKeyInfoSpec", kArgs,
                                            "NULL == keyInfoBlob->pbData || 0 == keyInfoBlob->cbData"));
        } else {
            blob = Blob("<KeyInfo/>");
            blob.cbData = 0x7FFFFFF9;
            EXPECT_EQ(kLarge, sig.SignWith(0, 0, kHmacSha256, 0, CRYPT_XML_KEYINFO_SPEC_ENCODED, &blob));
            ExpectLine(L"CryptXmlSign", Msg("SigContext::AddKeyInfoSpec", kLargeText,
                                            "the length of keyInfo xml is exceeded CRYPT_XML_BLOB_MAX."));
        }
    }
}

TEST_F(Sign, EncodedKeyInfoIsWrittenAndPublished) {
    NewSig sig(kDoc);
    ASSERT_NE(nullptr, sig.Ref(L"", {kEnveloped, kC14n}));
    const std::string keyInfo =
        "<KeyInfo xmlns=\"http://www.w3.org/2000/09/xmldsig#\" Id=\"k1\"><KeyName>from caller</KeyName></KeyInfo>";
    const CRYPT_XML_BLOB blob = Blob(keyInfo);
    ASSERT_EQ(S_OK, dll().SetHMACSecret(sig.h(), reinterpret_cast<const BYTE*>(kSecret.data()), 32));
    ASSERT_EQ(S_OK, sig.SignWith(0, 0, kHmacSha256, 0, CRYPT_XML_KEYINFO_SPEC_ENCODED, &blob)) << Last();
    const std::string xml = sig.Encode();
    EXPECT_NE(std::string::npos, xml.find("</ds:SignatureValue><KeyInfo xmlns=\"http://www.w3.org/2000/09/xmldsig#\" "
                                          "Id=\"k1\"><KeyName>from caller</KeyName></KeyInfo></ds:Signature>"))
        << xml;
    const CRYPT_XML_SIGNATURE* s = sig.Struct();
    ASSERT_NE(nullptr, s->pKeyInfo);
    EXPECT_STREQ(L"k1", s->pKeyInfo->wszId);
    ASSERT_EQ(1u, s->pKeyInfo->cKeyInfo);
    EXPECT_STREQ(L"from caller", s->pKeyInfo->rgKeyInfo[0].wszKeyName);
    EXPECT_EQ(S_OK, VerifyOwn(xml, kSecret).verify);
}

TEST_F(Sign, ExternalReferenceMustBeFedBeforeSigning) {
    NewSig sig;
    ASSERT_NE(nullptr, sig.Ref(L"http://example.com/data.txt"));
    EXPECT_EQ(kUnresolved, sig.SignHmac(kSecret));
    EXPECT_NE(std::wstring::npos, Last().find(L"function: SigContext::Sign. desc: Unable to resolve Reference."));
}

TEST_F(Sign, MalformedTransformsAreRefusedBeforeAnythingIsBuilt) {
    NewSig sig(kDoc);
    CRYPT_XML_ALGORITHM tfm = Alg(kC14n);
    tfm.cbSize = sizeof(tfm) - 1;
    const CRYPT_XML_ALGORITHM digest = Alg(kSha256);
    HCRYPTXML ref = nullptr;
    ASSERT_EQ(S_OK, dll().CreateReference(sig.h(), 0, nullptr, L"", nullptr, &digest, 1, &tfm, &ref));
    EXPECT_EQ(kTransform, sig.SignHmac(kSecret));
    ExpectLine(L"CryptXmlSign", Msg("SigContext::CreateReferences", "Unsupported Transform.",
                                    "http://www.w3.org/TR/2001/REC-xml-c14n-20010315"));
}

TEST_F(Sign, TransformsWithoutAnEngineAreRefused) {
    struct Case {
        const wchar_t* uri;
        std::string element;
        const char* detail;
    };
    const std::vector<Case> cases = {
        {L"http://www.w3.org/TR/1999/REC-xslt-19991116", "", "Could't determine what transform is specified."},
        {nullptr,
         "<Transform xmlns=\"http://www.w3.org/2000/09/xmldsig#\" "
         "Algorithm=\"http://www.w3.org/TR/1999/REC-xpath-19991116\"><XPath>1</XPath></Transform>",
         "http://www.w3.org/TR/1999/REC-xpath-19991116"},
    };
    for (const Case& c : cases) {
        NewSig sig(kDoc);
        CRYPT_XML_ALGORITHM tfm = Alg(c.uri);
        if (!c.element.empty()) tfm.Encoded = Blob(c.element);
        const CRYPT_XML_ALGORITHM digest = Alg(kSha256);
        HCRYPTXML ref = nullptr;
        ASSERT_EQ(S_OK, dll().CreateReference(sig.h(), 0, nullptr, L"", nullptr, &digest, 1, &tfm, &ref));
        EXPECT_EQ(kTransform, sig.SignHmac(kSecret));
        ExpectLine(L"CryptXmlSign", Msg("RefContext::CreateXsecRef", "Unsupported Transform.", c.detail));
    }
}

// --- writing ---------------------------------------------------------------------------

TEST_F(Sign, AnEmptySignatureWritesNothing) {
    NewSig sig;
    Sink sink;
    EXPECT_EQ(S_OK, dll().Encode(sig.h(), CRYPT_XML_CHARSET_UTF8, nullptr, 0, &sink, Write));
    EXPECT_TRUE(sink.pieces.empty());
}

TEST_F(Sign, EncodeArgumentsAreChecked) {
    SignedHmac made;
    ASSERT_EQ(S_OK, made.hr);
    Sink sink;
    EXPECT_EQ(kInvalidArg, dll().Encode(made.sig.h(), CRYPT_XML_CHARSET_AUTO, nullptr, 0, &sink, Write));
    ExpectLine(L"CryptXmlEncode", Msg("SigContext::Encode", kArgs, "dwCharset"));
    EXPECT_EQ(kInvalidArg, dll().Encode(made.sig.h(), static_cast<CRYPT_XML_CHARSET>(4), nullptr, 0, &sink, Write));
    EXPECT_EQ(kInvalidArg, dll().Encode(made.sig.h(), CRYPT_XML_CHARSET_UTF8, nullptr, 0, nullptr, Write));
    ExpectLine(L"CryptXmlEncode",
               Msg("CryptXmlEncode", kArgs, "NULL == pvCallbackState || NULL == hCryptXml || NULL == pfnWrite"));
    EXPECT_TRUE(sink.pieces.empty());
    sink.answer = E_ABORT;
    EXPECT_EQ(kFail, dll().Encode(made.sig.h(), CRYPT_XML_CHARSET_UTF8, nullptr, 0, &sink, Write));
    ExpectLine(L"CryptXmlEncode", Widen("an error occurred. function: SigContext::Encode. desc: pfnWrite() failed"));
    EXPECT_EQ(1u, sink.pieces.size());  // the first refusal stops the writing
}

TEST_F(Sign, DocumentIsWrittenIn1024BytePieces) {
    const std::string doc = "<a>" + std::string(2500 - 7, 'x') + "</a>";
    ASSERT_EQ(2500u, doc.size());
    NewSig sig(doc);
    ASSERT_EQ(S_OK, sig.hr());
    Sink sink;
    ASSERT_EQ(S_OK, dll().Encode(sig.h(), CRYPT_XML_CHARSET_UTF8, nullptr, 0, &sink, Write)) << Last();
    EXPECT_EQ(doc, sink.bytes);
    EXPECT_EQ((std::vector<ULONG>{1024, 1024, 452}), sink.pieces);
}

TEST_F(Sign, CharsetsAndDeclaration) {
    SignedHmac made;
    ASSERT_EQ(S_OK, made.hr);
    const std::string utf8 = made.sig.Encode(CRYPT_XML_CHARSET_UTF8);
    ASSERT_EQ(0u, utf8.find("<Doc><Data Id=\"data\">text to sign</Data><Body/><ds:Signature "));
    std::string le, be;
    for (char c : utf8) {
        le += c;
        le += '\0';
        be += '\0';
        be += c;
    }
    EXPECT_EQ(le, made.sig.Encode(CRYPT_XML_CHARSET_UTF16LE));
    EXPECT_EQ(be, made.sig.Encode(CRYPT_XML_CHARSET_UTF16BE));
    const std::pair<std::string, DWORD> outputs[] = {
        {utf8, CRYPT_XML_CHARSET_UTF8}, {le, CRYPT_XML_CHARSET_UTF16LE}, {be, CRYPT_XML_CHARSET_UTF16BE}};
    for (const auto& [xml, charset] : outputs) {
        const Verified v = VerifyOwn(xml, kSecret, {}, charset);
        EXPECT_EQ(S_OK, v.verify);
        EXPECT_EQ(0x10008u, v.sigStatus.dwInfoStatus);
    }
    // The declaration, asked for when writing.
    const BOOL yes = TRUE;
    const CRYPT_XML_PROPERTY declare = Property(CRYPT_XML_PROPERTY_DOC_DECLARATION, &yes);
    Sink sink;
    ASSERT_EQ(S_OK, dll().Encode(made.sig.h(), CRYPT_XML_CHARSET_UTF8, &declare, 1, &sink, Write));
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>" + utf8, sink.bytes);
    Sink sink16;
    ASSERT_EQ(S_OK, dll().Encode(made.sig.h(), CRYPT_XML_CHARSET_UTF16LE, nullptr, 0, &sink16, Write));
    EXPECT_EQ(0u, sink16.bytes.find(std::string("<\0?\0x\0m\0l\0", 10)));  // the flag stays set
    EXPECT_EQ(S_OK, VerifyOwn(sink16.bytes, kSecret).verify);
}

TEST_F(Sign, DeclarationFromTheOpen) {
    const LPCWSTR location = L"";
    const BOOL yes = TRUE;
    const CRYPT_XML_PROPERTY properties[] = {Property(CRYPT_XML_PROPERTY_SIGNATURE_LOCATION, &location),
                                             Property(CRYPT_XML_PROPERTY_DOC_DECLARATION, &yes)};
    const CRYPT_XML_BLOB blob = Blob(kDoc);
    HCRYPTXML h = nullptr;
    ASSERT_EQ(S_OK, dll().OpenToEncode(nullptr, 0, nullptr, properties, 2, &blob, &h));
    Sink sink;
    ASSERT_EQ(S_OK, dll().Encode(h, CRYPT_XML_CHARSET_UTF16BE, nullptr, 0, &sink, Write));
    EXPECT_EQ(0u, sink.bytes.find(std::string("\0<\0?\0x\0m\0l", 10)));
    const BOOL no = FALSE;
    const CRYPT_XML_PROPERTY off = Property(CRYPT_XML_PROPERTY_DOC_DECLARATION, &no);
    Sink plain;
    ASSERT_EQ(S_OK, dll().Encode(h, CRYPT_XML_CHARSET_UTF8, &off, 1, &plain, Write));
    EXPECT_EQ(kDoc, plain.bytes);
    dll().Close(h);
}

// Signatures are independent handles: threads sign and write at the same time.
TEST_F(Sign, ThreadsSignSideBySide) {
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&good, t] {
            for (int i = 0; i < 40; ++i) {
                const std::string doc =
                    "<Doc><Data>thread " + std::to_string(t) + " round " + std::to_string(i) + "</Data></Doc>";
                NewSig sig(doc);
                if (sig.Ref(L"", {kEnveloped, kC14n}) == nullptr || sig.SignHmac(kSecret) != S_OK) continue;
                const std::string xml = sig.Encode();
                if (xml.find(doc.substr(0, doc.size() - 6)) == 0 && VerifyOwn(xml, kSecret).verify == S_OK) ++good;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(160, good.load());
}
