// The decode path through the DLL: documents written here, each aimed at one rule.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/TraceLines.hpp"
#include "support/CryptXmlDll.hpp"
#include "support/SignatureXml.hpp"

using testing_support::CryptXmlDll;
using testing_support::Document;
using testing_support::ExpectedFrameLine;
using testing_support::SigParts;
using testing_support::Transform;

namespace {

const CryptXmlDll& dll() { return CryptXmlDll::Get(); }

constexpr HRESULT kInvalidArg = static_cast<HRESULT>(0x80070057L);
constexpr HRESULT kFail = static_cast<HRESULT>(0x80004005L);

std::wstring Wide(const std::string& s) { return std::wstring(s.begin(), s.end()); }

// An open document that closes itself.
class Doc {
public:
    explicit Doc(const std::string& xml, DWORD charset = CRYPT_XML_CHARSET_AUTO,
                 const std::vector<CRYPT_XML_PROPERTY>& properties = {})
        : bytes_(xml) {
        CRYPT_XML_BLOB blob = {static_cast<CRYPT_XML_CHARSET>(charset), static_cast<ULONG>(bytes_.size()),
                               reinterpret_cast<BYTE*>(&bytes_[0])};
        hr_ = dll().OpenToDecode(nullptr, 0, properties.empty() ? nullptr : properties.data(),
                                 static_cast<ULONG>(properties.size()), &blob, &handle_);
    }
    ~Doc() {
        if (handle_ != nullptr) dll().Close(handle_);
    }
    HRESULT hr() const { return hr_; }
    HCRYPTXML handle() const { return handle_; }
    const CRYPT_XML_DOC_CTXT* Ctxt() const {
        const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
        EXPECT_EQ(S_OK, dll().GetDocContext(handle_, &ctxt));
        return ctxt;
    }
    const CRYPT_XML_SIGNATURE* Sig(ULONG i = 0) const {
        const CRYPT_XML_DOC_CTXT* ctxt = Ctxt();
        if (ctxt == nullptr || i >= ctxt->cSignature) return nullptr;
        const CRYPT_XML_SIGNATURE* sig = nullptr;
        EXPECT_EQ(S_OK, dll().GetSignature(ctxt->rgpSignature[i]->hSignature, &sig));
        return sig;
    }

private:
    std::string bytes_;
    HCRYPTXML handle_ = nullptr;
    HRESULT hr_ = E_FAIL;
};

std::string Signatures(int count) {
    std::string out;
    for (int i = 0; i < count; ++i) {
        SigParts parts;
        parts.objects = "<Object Id=\"obj" + std::to_string(i) + "\"/>";
        parts.references = SigParts::Reference("#obj" + std::to_string(i));
        out += parts.Xml();
    }
    return Document(out);
}

CRYPT_XML_STATUS StatusOf(HCRYPTXML handle) {
    CRYPT_XML_STATUS status = {};
    EXPECT_EQ(S_OK, dll().GetStatus(handle, &status));
    return status;
}

class Decode : public ::testing::Test {
protected:
    void SetUp() override { dll().StartDebugging(); }
    void TearDown() override { dll().StopDebugging(); }
    std::wstring Last() const { return dll().LastMessage(); }
};

}  // namespace

TEST_F(Decode, MinimalSignatureIsPublishedField_by_field) {
    SigParts parts;
    parts.id = "sig-1";
    Doc doc(Document(parts.Xml()));
    ASSERT_EQ(S_OK, doc.hr()) << Last();
    const CRYPT_XML_DOC_CTXT* ctxt = doc.Ctxt();
    ASSERT_NE(nullptr, ctxt);
    EXPECT_EQ(40u, ctxt->cbSize);
    EXPECT_EQ(doc.handle(), ctxt->hDocCtxt);
    EXPECT_EQ(nullptr, ctxt->pTransformsConfig);
    ASSERT_EQ(1u, ctxt->cSignature);
    const CRYPT_XML_SIGNATURE* sig = doc.Sig();
    ASSERT_NE(nullptr, sig);
    EXPECT_EQ(ctxt->rgpSignature[0], sig);
    EXPECT_EQ(176u, sig->cbSize);
    EXPECT_STREQ(L"sig-1", sig->wszId);
    EXPECT_EQ(0u, sig->SignedInfo.cbSize);
    EXPECT_EQ(nullptr, sig->SignedInfo.wszId);
    EXPECT_EQ(32u, sig->SignedInfo.Canonicalization.cbSize);
    EXPECT_STREQ(L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315", sig->SignedInfo.Canonicalization.wszAlgorithm);
    EXPECT_STREQ(L"http://www.w3.org/2000/09/xmldsig#rsa-sha1", sig->SignedInfo.SignatureMethod.wszAlgorithm);
    ASSERT_EQ(15u, sig->SignatureValue.cbData);
    EXPECT_EQ("signature bytes", std::string(reinterpret_cast<char*>(sig->SignatureValue.pbData), 15));
    EXPECT_EQ(nullptr, sig->pKeyInfo);
    ASSERT_EQ(1u, sig->SignedInfo.cReference);
    const CRYPT_XML_REFERENCE* ref = sig->SignedInfo.rgpReference[0];
    const CRYPT_XML_REFERENCE* got = nullptr;
    ASSERT_EQ(S_OK, dll().GetReference(ref->hReference, &got));
    EXPECT_EQ(ref, got);
    EXPECT_EQ(sizeof(CRYPT_XML_REFERENCE), ref->cbSize);
    EXPECT_STREQ(L"#obj1", ref->wszUri);
    EXPECT_EQ(nullptr, ref->wszId);
    EXPECT_EQ(nullptr, ref->wszType);
    EXPECT_STREQ(L"http://www.w3.org/2000/09/xmldsig#sha1", ref->DigestMethod.wszAlgorithm);
    ASSERT_EQ(20u, ref->DigestValue.cbData);
    for (BYTE i = 0; i < 20; ++i) EXPECT_EQ(i, ref->DigestValue.pbData[i]);
    EXPECT_EQ(0u, ref->cTransform);
    ASSERT_EQ(1u, sig->cObject);
    EXPECT_STREQ(L"obj1", sig->rgpObject[0]->wszId);
    EXPECT_EQ(sizeof(CRYPT_XML_OBJECT), sig->rgpObject[0]->cbSize);
}

TEST_F(Decode, StatusOfAFreshlyDecodedSignature) {
    Doc doc(Document(SigParts().Xml()));
    ASSERT_EQ(S_OK, doc.hr());
    const CRYPT_XML_SIGNATURE* sig = doc.Sig();
    const CRYPT_XML_STATUS sigStatus = StatusOf(sig->hSignature);
    EXPECT_EQ(12u, sigStatus.cbSize);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_ERROR_NOT_RESOLVED), sigStatus.dwErrorStatus);
    EXPECT_EQ(0u, sigStatus.dwInfoStatus);  // no reference digest-checked yet
    const CRYPT_XML_STATUS docStatus = StatusOf(doc.handle());
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_ERROR_NOT_RESOLVED), docStatus.dwErrorStatus);
    EXPECT_EQ(0u, docStatus.dwInfoStatus);
    const CRYPT_XML_STATUS refStatus = StatusOf(sig->SignedInfo.rgpReference[0]->hReference);
    EXPECT_EQ(0u, refStatus.dwErrorStatus);
    // "#obj1": a same-document reference, digested with the signature.
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_INTERNAL_REFERENCE), refStatus.dwInfoStatus);
    const CRYPT_XML_STATUS objStatus = StatusOf(sig->rgpObject[0]->hObject);
    EXPECT_EQ(0u, objStatus.dwErrorStatus);
    EXPECT_EQ(0u, objStatus.dwInfoStatus);
}

TEST_F(Decode, SixteenSignaturesOpenSeventeenDoNot) {
    Doc sixteen(Signatures(16));
    ASSERT_EQ(S_OK, sixteen.hr()) << Last();
    EXPECT_EQ(16u, sixteen.Ctxt()->cSignature);

    Doc seventeen(Signatures(17));
    EXPECT_EQ(static_cast<HRESULT>(0x8009210EL), seventeen.hr());
    EXPECT_EQ(nullptr, seventeen.handle());
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                L"an error occurred. function: DocContext::DecodeSigs. desc: Too many signatures."),
              Last());

    DWORD twenty = 20;
    Doc allowed(Signatures(17), CRYPT_XML_CHARSET_AUTO, {{CRYPT_XML_PROPERTY_MAX_SIGNATURES, &twenty, sizeof(twenty)}});
    ASSERT_EQ(S_OK, allowed.hr()) << Last();
    EXPECT_EQ(17u, allowed.Ctxt()->cSignature);
}

TEST_F(Decode, UnknownAndUnsupportedPropertiesAreRefused) {
    BOOL yes = TRUE;
    for (CRYPT_XML_PROPERTY_ID id : {CRYPT_XML_PROPERTY_DOC_DECLARATION, CRYPT_XML_PROPERTY_MAX_HEAP_SIZE,
                                     CRYPT_XML_PROPERTY_SIGNATURE_LOCATION, static_cast<CRYPT_XML_PROPERTY_ID>(99)}) {
        Doc doc(Document(SigParts().Xml()), CRYPT_XML_CHARSET_AUTO, {{id, &yes, sizeof(yes)}});
        EXPECT_EQ(kInvalidArg, doc.hr());
        EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                    L"an error occurred. function: DocContext::InitProperties. "
                                    L"desc: One or more arguments are invalid  invalid property."),
                  Last());
    }
}

TEST_F(Decode, DocumentWithoutSignatureOpensEmpty) {
    Doc doc("<root><ds:Other xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"/><Signature/></root>");
    ASSERT_EQ(S_OK, doc.hr()) << Last();
    EXPECT_EQ(0u, doc.Ctxt()->cSignature);
    EXPECT_EQ(nullptr, doc.Ctxt()->rgpSignature);
    const CRYPT_XML_STATUS status = StatusOf(doc.handle());
    EXPECT_EQ(0u, status.dwErrorStatus);
    EXPECT_EQ(0u, status.dwInfoStatus);
}

TEST_F(Decode, SignatureInsideAnObjectIsNotADocumentSignature) {
    // Ids of their own: an Id a reference names must be carried by one element only.
    SigParts inner;
    inner.objects = "<Object Id=\"inner1\"/>";
    SigParts outer;
    outer.objects = "<Object Id=\"obj1\">" + inner.Xml() + "</Object>";
    SigParts sibling;
    sibling.id = "third";
    sibling.references = SigParts::Reference("#obj3");
    sibling.objects = "<Object Id=\"obj3\">payload</Object>";
    Doc doc(Document(outer.Xml() + sibling.Xml()));
    ASSERT_EQ(S_OK, doc.hr()) << Last();
    ASSERT_EQ(2u, doc.Ctxt()->cSignature);
    EXPECT_STREQ(L"third", doc.Sig(1)->wszId);
}

TEST_F(Decode, ClosingASignatureHandleAnswersSFalseAndKeepsIt) {
    Doc doc(Document(SigParts().Xml()));
    ASSERT_EQ(S_OK, doc.hr());
    const CRYPT_XML_SIGNATURE* sig = doc.Sig();
    HCRYPTXML sigHandle = sig->hSignature;
    HCRYPTXML refHandle = sig->SignedInfo.rgpReference[0]->hReference;
    EXPECT_EQ(S_FALSE, dll().Close(sigHandle));
    EXPECT_EQ(S_FALSE, dll().Close(refHandle));
    const CRYPT_XML_SIGNATURE* again = nullptr;
    EXPECT_EQ(S_OK, dll().GetSignature(sigHandle, &again));
    EXPECT_EQ(sig, again);
}

TEST_F(Decode, ChildHandlesDieWithTheirDocument) {
    HCRYPTXML sigHandle = nullptr;
    HCRYPTXML refHandle = nullptr;
    {
        Doc doc(Document(SigParts().Xml()));
        ASSERT_EQ(S_OK, doc.hr());
        sigHandle = doc.Sig()->hSignature;
        refHandle = doc.Sig()->SignedInfo.rgpReference[0]->hReference;
    }  // closed here
    const CRYPT_XML_SIGNATURE* sig = nullptr;
    EXPECT_EQ(static_cast<HRESULT>(0x80092106L), dll().GetSignature(sigHandle, &sig));
    EXPECT_EQ(
        ExpectedFrameLine(L"CryptXmlGetSignature", L"an error occurred. function: LockContext. desc: Invalid handle."),
        Last());
    const CRYPT_XML_REFERENCE* ref = nullptr;
    EXPECT_EQ(static_cast<HRESULT>(0x80092106L), dll().GetReference(refHandle, &ref));
    CRYPT_XML_STATUS status;
    EXPECT_EQ(static_cast<HRESULT>(0x80092106L), dll().GetStatus(sigHandle, &status));
    // Closing a handle that is gone is an argument error, not a handle error.
    EXPECT_EQ(kInvalidArg, dll().Close(sigHandle));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlClose",
                                L"an error occurred. function: ContextHaveOwner. desc: One or more "
                                L"arguments are invalid "),
              Last());
}

TEST_F(Decode, WrongKindOfHandleFailsInTheLookup) {
    Doc doc(Document(SigParts().Xml()));
    ASSERT_EQ(S_OK, doc.hr());
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    EXPECT_EQ(kFail, dll().GetDocContext(doc.Sig()->hSignature, &ctxt));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlGetDocContext", L"LockContext"), Last());
    const CRYPT_XML_SIGNATURE* sig = nullptr;
    EXPECT_EQ(kFail, dll().GetSignature(doc.handle(), &sig));
    const CRYPT_XML_REFERENCE* ref = nullptr;
    EXPECT_EQ(kFail, dll().GetReference(doc.Sig()->rgpObject[0]->hObject, &ref));
    EXPECT_EQ(nullptr, ctxt);
    EXPECT_EQ(nullptr, sig);
    EXPECT_EQ(nullptr, ref);
}

TEST_F(Decode, ArgumentChecksOfTheExports) {
    HCRYPTXML handle = reinterpret_cast<HCRYPTXML>(static_cast<uintptr_t>(0x1234));
    std::string xml = Document(SigParts().Xml());
    CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(xml.size()), reinterpret_cast<BYTE*>(&xml[0])};
    EXPECT_EQ(kInvalidArg, dll().OpenToDecode(nullptr, 0, nullptr, 0, &blob, nullptr));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                L"an error occurred. function: CryptXmlOpenToDecode. desc: "
                                L"One or more arguments are invalid  NULL == phCryptXml"),
              Last());
    const std::wstring structCheck = L"One or more arguments are invalid  NULL == hCryptXml || NULL == ppStruct";
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    EXPECT_EQ(kInvalidArg, dll().GetDocContext(nullptr, &ctxt));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlGetDocContext",
                                L"an error occurred. function: CryptXmlGetDocContext. desc: " + structCheck),
              Last());
    EXPECT_EQ(kInvalidArg, dll().GetSignature(handle, nullptr));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlGetSignature",
                                L"an error occurred. function: CryptXmlGetSignature. desc: " + structCheck),
              Last());
    EXPECT_EQ(kInvalidArg, dll().GetReference(nullptr, nullptr));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlGetReference",
                                L"an error occurred. function: CryptXmlGetReference. desc: " + structCheck),
              Last());
    CRYPT_XML_STATUS status;
    EXPECT_EQ(kInvalidArg, dll().GetStatus(nullptr, &status));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlGetStatus",
                                L"an error occurred. function: CryptXmlGetStatus. desc: One or "
                                L"more arguments are invalid  NULL == pStatus || NULL == hCryptXml"),
              Last());
    EXPECT_EQ(kInvalidArg, dll().GetStatus(handle, nullptr));
    EXPECT_EQ(static_cast<HRESULT>(0x80092106L), dll().GetStatus(handle, &status));
    EXPECT_EQ(kInvalidArg, dll().Close(nullptr));
    EXPECT_EQ(kInvalidArg, dll().Close(handle));
}

TEST_F(Decode, EmptyOrMissingBlobIsAnArgumentError) {
    HCRYPTXML handle = nullptr;
    BYTE byte = '<';
    const std::wstring text =
        L"an error occurred. function: DocContext::DocContext. desc: One or more arguments are "
        L"invalid  NULL == pEncoded || 0 == pEncoded->cbData || NULL == pEncoded->pbData";
    CRYPT_XML_BLOB noData = {CRYPT_XML_CHARSET_AUTO, 1, nullptr};
    CRYPT_XML_BLOB noLength = {CRYPT_XML_CHARSET_AUTO, 0, &byte};
    for (const CRYPT_XML_BLOB* blob : std::vector<const CRYPT_XML_BLOB*>{nullptr, &noData, &noLength}) {
        EXPECT_EQ(kInvalidArg, dll().OpenToDecode(nullptr, 0, nullptr, 0, blob, &handle));
        EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode", text), Last());
        EXPECT_EQ(nullptr, handle);
    }
}

TEST_F(Decode, OversizedBlobIsRefusedBeforeItIsRead) {
    BYTE byte = '<';
    CRYPT_XML_BLOB huge = {CRYPT_XML_CHARSET_AUTO, 0x7FFFFFF9, &byte};  // only its size is looked at
    HCRYPTXML handle = nullptr;
    EXPECT_EQ(static_cast<HRESULT>(0x80092101L), dll().OpenToDecode(nullptr, 0, nullptr, 0, &huge, &handle));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                L"an error occurred. function: DocContext::DocContext. desc: "
                                L"The value is too large. pEncoded->cbData > CRYPT_XML_BLOB_MAX"),
              Last());
    EXPECT_EQ(nullptr, handle);
}

TEST_F(Decode, MalformedXmlIsAFormatError) {
    for (const std::string& xml : {std::string("<root><a></root>"), std::string("<root"), std::string("plain text"),
                                   Document(SigParts().Xml()).substr(0, 100)}) {
        Doc doc(xml);
        EXPECT_EQ(static_cast<HRESULT>(0x803D0000L), doc.hr()) << xml;
        EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                    L"an error occurred. function: DocContext::DecodeSigs. desc: "
                                    L"The input data was not in the expected format or did not "
                                    L"have the expected value. error(s) occured during xml parsing."),
                  Last());
    }
}

TEST_F(Decode, Utf16LittleEndianDeclaredAsUtf8IsAFormatError) {
    const std::string narrow = Document(SigParts().Xml());
    std::string utf16;
    for (char c : narrow) {
        utf16.push_back(c);
        utf16.push_back('\0');
    }
    Doc wrong(utf16, CRYPT_XML_CHARSET_UTF8);
    EXPECT_EQ(static_cast<HRESULT>(0x803D0000L), wrong.hr());
    Doc right(utf16, CRYPT_XML_CHARSET_UTF16LE);
    EXPECT_EQ(S_OK, right.hr()) << Last();
    Doc detected("\xFF\xFE" + utf16, 7);  // no such charset: the parser finds the encoding itself
    EXPECT_EQ(S_OK, detected.hr()) << Last();
}

TEST_F(Decode, UnknownSignatureMethodIsAnAlgorithmError) {
    SigParts parts;
    parts.signatureMethod = "http://www.w3.org/2001/04/xmldsig-more#rsa-md5";
    Doc doc(Document(parts.Xml()));
    EXPECT_EQ(static_cast<HRESULT>(0x80092104L), doc.hr());
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                L"an error occurred. function: SigContext::SigContext. desc: "
                                L"Unsupported algorithm. "
                                L"http://www.w3.org/2001/04/xmldsig-more#rsa-md5"),
              Last());
}

TEST_F(Decode, GostSignaturesOfBothUriFamiliesDecode) {
    for (const auto& [method, digest] :
         {std::make_pair("urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411",
                         "urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411"),
          std::make_pair("http://www.w3.org/2001/04/xmldsig-more#gostr34102001-gostr3411",
                         "http://www.w3.org/2001/04/xmldsig-more#gostr3411")}) {
        SigParts parts;
        parts.signatureMethod = method;
        parts.references = SigParts::Reference("#obj1", "", "", digest);
        Doc doc(Document(parts.Xml()));
        ASSERT_EQ(S_OK, doc.hr()) << Last();
        EXPECT_EQ(Wide(method), doc.Sig()->SignedInfo.SignatureMethod.wszAlgorithm);
        EXPECT_EQ(Wide(digest), doc.Sig()->SignedInfo.rgpReference[0]->DigestMethod.wszAlgorithm);
    }
}

TEST_F(Decode, UnknownDigestMethodIsAnAlgorithmError) {
    SigParts parts;
    parts.references = SigParts::Reference("#obj1", "", "", "http://www.w3.org/2001/04/xmldsig-more#md5");
    Doc doc(Document(parts.Xml()));
    EXPECT_EQ(static_cast<HRESULT>(0x80092104L), doc.hr());
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                L"an error occurred. function: RefContext::InitNewReference. "
                                L"desc: Unsupported algorithm. "
                                L"http://www.w3.org/2001/04/xmldsig-more#md5"),
              Last());
}

TEST_F(Decode, SignatureValueLimits) {
    SigParts exact;
    exact.signatureValue = std::string(2048 / 3 * 4, 'A') + "AAA=";  // 2046 + 2 bytes
    Doc ok(Document(exact.Xml()));
    ASSERT_EQ(S_OK, ok.hr()) << Last();
    EXPECT_EQ(2048u, ok.Sig()->SignatureValue.cbData);

    SigParts over;
    over.signatureValue = std::string(2048 / 3 * 4, 'A') + "AAAA";  // 2049 bytes
    Doc tooLong(Document(over.Xml()));
    EXPECT_EQ(kInvalidArg, tooLong.hr());
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                L"an error occurred. function: SignatureStructWrap::SetSigValue. "
                                L"desc: One or more arguments are invalid  cbData > "
                                L"CRYPT_XML_SIGNATURE_VALUE_MAX"),
              Last());
}

TEST_F(Decode, SignatureValueWithoutBytesFails) {
    for (const char* text : {" ", "\n\t", "!!!!", "A"}) {
        SigParts parts;
        parts.signatureValue = text;
        Doc doc(Document(parts.Xml()));
        EXPECT_EQ(kFail, doc.hr()) << text;
        EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                    L"an error occurred. function: SigContext::SigContext. desc: "
                                    L"failed to convert the signature from b64Coder to bin."),
                  Last());
    }
}

TEST_F(Decode, EmptyOrMissingSignatureValueFailsWhileLoading) {
    SigParts empty;
    empty.signatureValue = "";
    Doc emptyDoc(Document(empty.Xml()));
    EXPECT_EQ(kFail, emptyDoc.hr());
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                L"an error occurred. function: SigContext::SigContext. desc: "
                                L"Expected TEXT child of <SignatureValue>"),
              Last());
    SigParts missing;
    missing.withSignatureValue = false;
    Doc missingDoc(Document(missing.Xml()));
    EXPECT_EQ(kFail, missingDoc.hr());
    EXPECT_EQ(nullptr, missingDoc.handle());
}

TEST_F(Decode, TransformsOfAReference) {
    const std::string transforms =
        Transform("http://www.w3.org/2000/09/xmldsig#enveloped-signature") +
        Transform("http://www.w3.org/2001/10/xml-exc-c14n#WithComments") +
        Transform("http://www.w3.org/2000/09/xmldsig#base64") + Transform("http://www.w3.org/2006/12/xml-c14n11") +
        Transform("http://www.w3.org/TR/1999/REC-xpath-19991116", "<XPath>self::text()</XPath>");
    SigParts parts;
    parts.references = SigParts::Reference("", transforms, " Id=\"r1\" Type=\"urn:type\"");
    Doc doc(Document(parts.Xml()));
    ASSERT_EQ(S_OK, doc.hr()) << Last();
    const CRYPT_XML_REFERENCE* ref = doc.Sig()->SignedInfo.rgpReference[0];
    EXPECT_STREQ(L"", ref->wszUri);
    EXPECT_STREQ(L"r1", ref->wszId);
    EXPECT_STREQ(L"urn:type", ref->wszType);
    ASSERT_EQ(5u, ref->cTransform);
    EXPECT_STREQ(L"http://www.w3.org/2000/09/xmldsig#enveloped-signature", ref->rgTransform[0].wszAlgorithm);
    EXPECT_STREQ(L"http://www.w3.org/2001/10/xml-exc-c14n#WithComments", ref->rgTransform[1].wszAlgorithm);
    EXPECT_STREQ(L"http://www.w3.org/2000/09/xmldsig#base64", ref->rgTransform[2].wszAlgorithm);
    EXPECT_STREQ(L"http://www.w3.org/2006/12/xml-c14n11", ref->rgTransform[3].wszAlgorithm);
    for (ULONG i = 0; i < 4; ++i) {
        EXPECT_EQ(32u, ref->rgTransform[i].cbSize);
        EXPECT_EQ(0u, ref->rgTransform[i].Encoded.cbData);
    }
    // XPath is handed out as its element.
    EXPECT_EQ(nullptr, ref->rgTransform[4].wszAlgorithm);
    EXPECT_EQ(CRYPT_XML_CHARSET_UTF8, ref->rgTransform[4].Encoded.dwCharset);
    const std::string encoded(reinterpret_cast<char*>(ref->rgTransform[4].Encoded.pbData),
                              ref->rgTransform[4].Encoded.cbData);
    EXPECT_EQ(
        "<Transform xmlns=\"http://www.w3.org/2000/09/xmldsig#\" "
        "Algorithm=\"http://www.w3.org/TR/1999/REC-xpath-19991116\"><XPath>self::text()</XPath></Transform>",
        encoded);
}

TEST_F(Decode, SixteenTransformsLoadSeventeenDoNot) {
    std::string sixteen;
    for (int i = 0; i < 16; ++i) sixteen += Transform("http://www.w3.org/2000/09/xmldsig#base64");
    SigParts ok;
    ok.references = SigParts::Reference("#obj1", sixteen);
    Doc loaded(Document(ok.Xml()));
    ASSERT_EQ(S_OK, loaded.hr()) << Last();
    EXPECT_EQ(16u, loaded.Sig()->SignedInfo.rgpReference[0]->cTransform);

    SigParts over;
    over.references = SigParts::Reference("#obj1", sixteen + Transform("http://www.w3.org/2000/09/xmldsig#base64"));
    Doc refused(Document(over.Xml()));
    EXPECT_EQ(static_cast<HRESULT>(0x80092102L), refused.hr());
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                L"an error occurred. function: RefContext::InitNewReference. "
                                L"desc: Too many transforms."),
              Last());
}

TEST_F(Decode, XsltTransformIsUnsupported) {
    SigParts parts;
    parts.references = SigParts::Reference(
        "#obj1", Transform("http://www.w3.org/TR/1999/REC-xslt-19991116",
                           "<xsl:stylesheet xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\" version=\"1.0\"/>"));
    Doc doc(Document(parts.Xml()));
    EXPECT_EQ(static_cast<HRESULT>(0x80092105L), doc.hr());
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                L"an error occurred. function: RefContext::InitNewReference. "
                                L"desc: Unsupported Transform. unknown cxTfm"),
              Last());
}

TEST_F(Decode, UnknownTransformUriIsUnsupported) {
    SigParts parts;
    parts.references = SigParts::Reference("#obj1", Transform("urn:example:not-a-transform"));
    Doc doc(Document(parts.Xml()));
    EXPECT_EQ(static_cast<HRESULT>(0x80092105L), doc.hr());
}

TEST_F(Decode, KeyInfoWithoutRecognisedChildrenIsNotPublished) {
    SigParts parts;
    parts.keyInfo = "<KeyInfo Id=\"ki\"></KeyInfo>";
    Doc doc(Document(parts.Xml()));
    ASSERT_EQ(S_OK, doc.hr()) << Last();
    EXPECT_EQ(nullptr, doc.Sig()->pKeyInfo);
}

TEST_F(Decode, KeyInfoItemsInDocumentOrder) {
    SigParts parts;
    parts.keyInfo =
        "<KeyInfo Id=\"ki\"><KeyName>first key</KeyName>"
        "<KeyValue><RSAKeyValue><Modulus>AQID</Modulus><Exponent>AQAB</Exponent></RSAKeyValue></KeyValue>"
        "<KeyValue><DSAKeyValue><P>AQ==</P><Q>Ag==</Q><G>Aw==</G><Y>BA==</Y></DSAKeyValue></KeyValue>"
        "<X509Data><X509SubjectName>CN=Subject</X509SubjectName>"
        "<X509IssuerSerial><X509IssuerName>CN=Issuer</X509IssuerName><X509SerialNumber>42</X509SerialNumber>"
        "</X509IssuerSerial><X509SKI>q83v</X509SKI><X509Certificate>MIIB</X509Certificate>"
        "<X509Certificate>MIIC</X509Certificate><x:Extra>ext</x:Extra></X509Data>"
        "<KeyName>second key</KeyName></KeyInfo>";
    Doc doc(Document(parts.Xml()));
    ASSERT_EQ(S_OK, doc.hr()) << Last();
    const CRYPT_XML_KEY_INFO* keyInfo = doc.Sig()->pKeyInfo;
    ASSERT_NE(nullptr, keyInfo);
    EXPECT_EQ(40u, keyInfo->cbSize);
    EXPECT_STREQ(L"ki", keyInfo->wszId);
    EXPECT_EQ(nullptr, keyInfo->hVerifyKey);
    ASSERT_EQ(5u, keyInfo->cKeyInfo);
    const CRYPT_XML_KEY_INFO_ITEM* items = keyInfo->rgKeyInfo;
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEYINFO_TYPE_KEYNAME), items[0].dwType);
    EXPECT_STREQ(L"first key", items[0].wszKeyName);
    ASSERT_EQ(static_cast<DWORD>(CRYPT_XML_KEYINFO_TYPE_KEYVALUE), items[1].dwType);
    ASSERT_EQ(static_cast<DWORD>(CRYPT_XML_KEY_VALUE_TYPE_RSA), items[1].KeyValue.dwType);
    ASSERT_EQ(3u, items[1].KeyValue.RSAKeyValue.Modulus.cbData);
    EXPECT_EQ(3, items[1].KeyValue.RSAKeyValue.Modulus.pbData[2]);
    ASSERT_EQ(3u, items[1].KeyValue.RSAKeyValue.Exponent.cbData);
    ASSERT_EQ(static_cast<DWORD>(CRYPT_XML_KEY_VALUE_TYPE_DSA), items[2].KeyValue.dwType);
    EXPECT_EQ(4, items[2].KeyValue.DSAKeyValue.Y.pbData[0]);
    ASSERT_EQ(static_cast<DWORD>(CRYPT_XML_KEYINFO_TYPE_X509DATA), items[3].dwType);
    const CRYPT_XML_X509DATA& x509 = items[3].X509Data;
    ASSERT_EQ(6u, x509.cX509Data);
    // Certificates first, then subject, issuer-serial, SKI, unknown children.
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_CERTIFICATE), x509.rgX509Data[0].dwType);
    EXPECT_EQ(3u, x509.rgX509Data[0].Certificate.cbData);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_CERTIFICATE), x509.rgX509Data[1].dwType);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_SUBJECT_NAME), x509.rgX509Data[2].dwType);
    EXPECT_STREQ(L"CN=Subject", x509.rgX509Data[2].wszSubjectName);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_ISSUER_SERIAL), x509.rgX509Data[3].dwType);
    EXPECT_STREQ(L"CN=Issuer", x509.rgX509Data[3].IssuerSerial.wszIssuer);
    EXPECT_STREQ(L"42", x509.rgX509Data[3].IssuerSerial.wszSerial);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_SKI), x509.rgX509Data[4].dwType);
    ASSERT_EQ(3u, x509.rgX509Data[4].SKI.cbData);
    EXPECT_EQ(0xAB, x509.rgX509Data[4].SKI.pbData[0]);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_CUSTOM), x509.rgX509Data[5].dwType);
    EXPECT_EQ("<x:Extra xmlns:x=\"urn:x\">ext</x:Extra>",
              std::string(reinterpret_cast<char*>(x509.rgX509Data[5].Custom.pbData), x509.rgX509Data[5].Custom.cbData));
    EXPECT_STREQ(L"second key", items[4].wszKeyName);
}

TEST_F(Decode, IssuerNameWithoutSerialFailsTheDecode) {
    SigParts parts;
    parts.keyInfo =
        "<KeyInfo><X509Data><X509IssuerSerial><X509IssuerName>CN=I</X509IssuerName>"
        "</X509IssuerSerial></X509Data></KeyInfo>";
    Doc doc(Document(parts.Xml()));
    EXPECT_EQ(static_cast<HRESULT>(0x80092110L), doc.hr()) << Last();
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                L"an error occurred. function: SigContext::LoadX509Data. desc: "
                                L"Unexpected XML element found. issuerName && !issuerSerial"),
              Last());
    SigParts serialOnly;
    serialOnly.keyInfo =
        "<KeyInfo><X509Data><X509IssuerSerial><X509SerialNumber>7</X509SerialNumber>"
        "</X509IssuerSerial></X509Data></KeyInfo>";
    Doc other(Document(serialOnly.Xml()));
    EXPECT_EQ(static_cast<HRESULT>(0x80092110L), other.hr());
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                L"an error occurred. function: SigContext::LoadX509Data. desc: "
                                L"Unexpected XML element found. !issuerName && issuerSerial"),
              Last());
}

TEST_F(Decode, ObjectsWithManifests) {
    SigParts parts;
    parts.objects = "<Object Id=\"obj1\" MimeType=\"text/plain\" Encoding=\"urn:enc\"><Manifest>" +
                    SigParts::Reference("#a", "", " Id=\"m1\"") + SigParts::Reference("urn:b") +
                    "</Manifest></Object><Object/>";
    parts.references = SigParts::Reference("#obj1", "", " Type=\"http://www.w3.org/2000/09/xmldsig#Manifest\"");
    Doc doc(Document(std::string("<a Id=\"a\">target</a>") + parts.Xml()));
    ASSERT_EQ(S_OK, doc.hr()) << Last();
    const CRYPT_XML_SIGNATURE* sig = doc.Sig();
    ASSERT_EQ(2u, sig->cObject);
    const CRYPT_XML_OBJECT* obj = sig->rgpObject[0];
    EXPECT_STREQ(L"obj1", obj->wszId);
    EXPECT_STREQ(L"text/plain", obj->wszMimeType);
    EXPECT_STREQ(L"urn:enc", obj->wszEncoding);
    ASSERT_EQ(2u, obj->Manifest.cReference);
    EXPECT_STREQ(L"#a", obj->Manifest.rgpReference[0]->wszUri);
    EXPECT_STREQ(L"m1", obj->Manifest.rgpReference[0]->wszId);
    EXPECT_STREQ(L"urn:b", obj->Manifest.rgpReference[1]->wszUri);
    const CRYPT_XML_REFERENCE* manifestRef = nullptr;
    EXPECT_EQ(S_OK, dll().GetReference(obj->Manifest.rgpReference[1]->hReference, &manifestRef));
    EXPECT_EQ(S_FALSE, dll().Close(obj->hObject));
    // An object with manifest references none of which is digest-checked lacks DIGEST_VALID.
    EXPECT_EQ(0u, StatusOf(obj->hObject).dwInfoStatus & CRYPT_XML_STATUS_DIGEST_VALID);
    EXPECT_EQ(nullptr, sig->rgpObject[1]->wszId);
    EXPECT_EQ(0u, sig->rgpObject[1]->Manifest.cReference);
    const std::string encoded(reinterpret_cast<char*>(sig->rgpObject[1]->Encoded.pbData),
                              sig->rgpObject[1]->Encoded.cbData);
    EXPECT_EQ("<Object xmlns=\"http://www.w3.org/2000/09/xmldsig#\"/>", encoded);
}

TEST_F(Decode, DuplicateObjectIdsAreRefused) {
    SigParts parts;
    parts.objects = "<Object Id=\"same\"/><Object Id=\"same\"/>";
    parts.references = SigParts::Reference("#same");
    Doc doc(Document(parts.Xml()));
    EXPECT_EQ(static_cast<HRESULT>(0x80092112L), doc.hr());
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                L"an error occurred. function: ObjContext::ObjContext. desc: "
                                L"Non-unique Id attribute found in the document."),
              Last());
}

TEST_F(Decode, IdRulesApplyToTheSignatureId) {
    SigParts parts;
    parts.id = std::string(257, 'i');
    Doc tooLong(Document(parts.Xml()));
    EXPECT_EQ(static_cast<HRESULT>(0x80092101L), tooLong.hr());
    parts.id = std::string(256, 'i');
    Doc longest(Document(parts.Xml()));
    EXPECT_EQ(S_OK, longest.hr()) << Last();
}

TEST_F(Decode, OneBadSignatureFailsTheWholeOpen) {
    SigParts good;
    SigParts bad;
    bad.signatureMethod = "urn:unknown";
    Doc doc(Document(good.Xml() + bad.Xml()));
    EXPECT_EQ(static_cast<HRESULT>(0x80092104L), doc.hr());
    EXPECT_EQ(nullptr, doc.handle());
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                L"an error occurred. function: SigContext::SigContext. desc: "
                                L"Unsupported algorithm. urn:unknown"),
              Last());
}

namespace {

// The GOST key value as a caller gets it: a KeyValue item of type 8 whose blob is the
// KeyValue element, serialised.
std::string GostKeyValueBlob(const std::string& keyValue, DWORD* charset) {
    SigParts parts;
    parts.signatureMethod = "urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411";
    parts.references = SigParts::Reference("#obj1", "", "", "urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411");
    parts.keyInfo = "<KeyInfo>" + keyValue + "</KeyInfo>";
    Doc doc(Document(parts.Xml()));
    EXPECT_EQ(S_OK, doc.hr()) << dll().LastMessage();
    if (doc.hr() != S_OK) return "<not opened>";
    const CRYPT_XML_KEY_INFO* keyInfo = doc.Sig()->pKeyInfo;
    if (keyInfo == nullptr || keyInfo->cKeyInfo != 1) return "<no single KeyInfo item>";
    const CRYPT_XML_KEY_INFO_ITEM& item = keyInfo->rgKeyInfo[0];
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEYINFO_TYPE_KEYVALUE), item.dwType);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEY_VALUE_TYPE_GOST), item.KeyValue.dwType);
    *charset = item.KeyValue.GOSTKeyValue.dwCharset;
    return std::string(reinterpret_cast<char*>(item.KeyValue.GOSTKeyValue.pbData), item.KeyValue.GOSTKeyValue.cbData);
}

}  // namespace

TEST_F(Decode, GostKeyValueInTheXmlDsigNamespace) {
    const std::string keyValue =
        "<KeyValue><GOSTKeyValue><PublicKeyParameters><publicKeyParamSet>urn:oid:1.2.643.2.2.35.1</publicKeyParamSet>"
        "<digestParamSet>urn:oid:1.2.643.2.2.30.1</digestParamSet><encryptionParamSet>urn:oid:1.2.643.2.2.31.1"
        "</encryptionParamSet></PublicKeyParameters><PublicKey>" +
        std::string(86, 'A') + "==</PublicKey></GOSTKeyValue></KeyValue>";
    DWORD charset = 0;
    const std::string blob = GostKeyValueBlob(keyValue, &charset);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_CHARSET_UTF8), charset);
    EXPECT_EQ("<KeyValue xmlns=\"http://www.w3.org/2000/09/xmldsig#\">" + keyValue.substr(10), blob);
}

TEST_F(Decode, GostKeyValueInTheCryptoProNamespace) {
    const std::string gost =
        "<gost:GOSTKeyValue xmlns:gost=\"urn:ietf:params:xml:ns:cpxmlsec\"><gost:PublicKeyParameters>"
        "<gost:publicKeyParamSet>1.2.643.2.2.35.1</gost:publicKeyParamSet><gost:digestParamSet>1.2.643.2.2.30.1"
        "</gost:digestParamSet></gost:PublicKeyParameters><gost:PublicKey>BEA" +
        std::string(84, 'B') + "=</gost:PublicKey></gost:GOSTKeyValue>";
    DWORD charset = 0;
    const std::string blob = GostKeyValueBlob("<KeyValue>" + gost + "</KeyValue>", &charset);
    EXPECT_EQ("<KeyValue xmlns=\"http://www.w3.org/2000/09/xmldsig#\">" + gost + "</KeyValue>", blob);
}

TEST_F(Decode, GostKeyValueHoldingASubjectPublicKeyInfo) {
    const std::string keyValue =
        "<KeyValue><GOSTKeyValue>MGMwHAYGKoUDAgITMBIGByqFAwICIwEGByqFAwICHgEDQwAEQA==</GOSTKeyValue></KeyValue>";
    DWORD charset = 0;
    EXPECT_EQ("<KeyValue xmlns=\"http://www.w3.org/2000/09/xmldsig#\">" + keyValue.substr(10),
              GostKeyValueBlob(keyValue, &charset));
}

TEST_F(Decode, GostKeyValueFollowsTheDocumentCharset) {
    SigParts parts;
    parts.keyInfo = "<KeyInfo><KeyValue><GOSTKeyValue><PublicKey>AAAA</PublicKey></GOSTKeyValue></KeyValue></KeyInfo>";
    std::string utf16;
    for (char c : Document(parts.Xml())) {
        utf16.push_back(c);
        utf16.push_back('\0');
    }
    DWORD utf8 = CRYPT_XML_CHARSET_UTF8;  // the blob's own charset wins over this
    Doc doc(utf16, CRYPT_XML_CHARSET_UTF16LE, {{CRYPT_XML_PROPERTY_XML_OUTPUT_CHARSET, &utf8, sizeof(utf8)}});
    ASSERT_EQ(S_OK, doc.hr()) << Last();
    const CRYPT_XML_BLOB& blob = doc.Sig()->pKeyInfo->rgKeyInfo[0].KeyValue.GOSTKeyValue;
    EXPECT_EQ(CRYPT_XML_CHARSET_UTF16LE, blob.dwCharset);
    const std::wstring text(reinterpret_cast<wchar_t*>(blob.pbData), blob.cbData / 2);
    EXPECT_EQ(
        L"<KeyValue xmlns=\"http://www.w3.org/2000/09/xmldsig#\"><GOSTKeyValue><PublicKey>AAAA</PublicKey>"
        L"</GOSTKeyValue></KeyValue>",
        text);
}

TEST_F(Decode, UnknownKeyValueContentFailsTheDecode) {
    SigParts parts;
    parts.keyInfo = "<KeyInfo><KeyValue><x:Unknown>1</x:Unknown></KeyValue></KeyInfo>";
    Doc doc(Document(parts.Xml()));
    EXPECT_EQ(kFail, doc.hr());
}

TEST_F(Decode, SignatureWithoutReferencesIsNotUnresolved) {
    SigParts parts;
    parts.references = "";
    Doc doc(Document(parts.Xml()));
    ASSERT_EQ(S_OK, doc.hr()) << Last();
    const CRYPT_XML_SIGNATURE* sig = doc.Sig();
    EXPECT_EQ(0u, sig->SignedInfo.cReference);
    EXPECT_EQ(nullptr, sig->SignedInfo.rgpReference);
    const CRYPT_XML_STATUS status = StatusOf(sig->hSignature);
    EXPECT_EQ(0u, status.dwErrorStatus);
    EXPECT_EQ(0u, status.dwInfoStatus);
}

TEST_F(Decode, CleanupClosesOpenDocumentsAndTheLibraryStartsAgain) {
    std::vector<HCRYPTXML> handles;
    std::vector<std::string> keep;  // the blobs must outlive their documents
    for (int i = 0; i < 3; ++i) {
        keep.push_back(Signatures(4));
        CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(keep.back().size()),
                               reinterpret_cast<BYTE*>(&keep.back()[0])};
        HCRYPTXML h = nullptr;
        ASSERT_EQ(S_OK, dll().OpenToDecode(nullptr, 0, nullptr, 0, &blob, &h)) << Last();
        handles.push_back(h);
    }
    HCRYPTXML child = nullptr;
    {
        const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
        ASSERT_EQ(S_OK, dll().GetDocContext(handles[0], &ctxt));
        child = ctxt->rgpSignature[3]->hSignature;
    }
    dll().Cleanup();
    EXPECT_EQ(ExpectedFrameLine(L"CloseAllContexts", L"contexts is not empty").substr(0, 23),
              Last().substr(0, 23));  // the clean-up said so
    CRYPT_XML_STATUS status;
    for (HCRYPTXML h : handles) EXPECT_EQ(static_cast<HRESULT>(0x80092106L), dll().GetStatus(h, &status));
    EXPECT_EQ(static_cast<HRESULT>(0x80092106L), dll().GetStatus(child, &status));
    Doc again(Signatures(2));
    EXPECT_EQ(S_OK, again.hr()) << Last();
    EXPECT_EQ(2u, again.Ctxt()->cSignature);
}

TEST_F(Decode, ManifestReferenceWithoutItsObjectIsTracedAndStillOpens) {
    // The reference names the Manifest element itself, which xml-security-c accepts; no
    // Object carries that Id, so no pointee object is linked.
    SigParts parts;
    parts.references = SigParts::Reference("#m", "", " Type=\"http://www.w3.org/2000/09/xmldsig#Manifest\"");
    parts.objects = "<Object Id=\"obj\"><Manifest Id=\"m\">" + SigParts::Reference("urn:x") + "</Manifest></Object>";
    Doc doc(Document(parts.Xml()));
    ASSERT_EQ(S_OK, doc.hr()) << Last();
    EXPECT_EQ(testing_support::ExpectedLine(L"RefContext::RefContext. pointee object could not be found."), Last());
    EXPECT_EQ(1u, doc.Sig()->SignedInfo.cReference);

    // Named through its Object, the same reference finds it and traces nothing.
    parts.references = SigParts::Reference("#obj", "", " Type=\"http://www.w3.org/2000/09/xmldsig#Manifest\"");
    dll().FindAlgorithmInfo(1, nullptr, 1, 0);  // a known last line
    const std::wstring before = Last();
    Doc found(Document(parts.Xml()));
    ASSERT_EQ(S_OK, found.hr()) << Last();
    EXPECT_EQ(before, Last());
}
