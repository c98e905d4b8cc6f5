// Signing with every signature method of the catalog: keys from CryptoAPI containers (RSA,
// DSA, the software GOST provider) and HMAC secrets; the KeyValue on request; the KeyInfo
// parameters; signatures placed by Id, path and XPath. Each signature is checked by the
// DLL's own decoder and verifier here (the independent peers check them in sign_interop).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "support/SignSupport.hpp"

using namespace signtest;
using testing_support::ExpectedFrameLine;
using testing_support::Widen;

namespace {

const std::string kSecret = "an HMAC secret of thirty-two b.";
const std::string kInvoice =
    "<inv:Invoice xmlns:inv=\"urn:example:invoice\" Id=\"invoice\"><inv:Header Id=\"head\">"
    "<inv:Number>2026-0042</inv:Number></inv:Header><inv:Lines><inv:Line>Widget x 2</inv:Line></inv:Lines>"
    "<inv:Signatures/></inv:Invoice>";

class SignKeys : public ::testing::Test {
protected:
    void SetUp() override { dll().StartDebugging(); }
    void TearDown() override { dll().StopDebugging(); }
    std::wstring Last() const { return dll().LastMessage(); }
};

struct Method {
    const wchar_t* signature;
    const wchar_t* digest;
};

// Enveloped signature over kInvoice with the container key; returns the document.
std::string SignEnveloped(HCRYPTPROV prov, DWORD keySpec, const Method& m, DWORD flags = 0) {
    NewSig sig(kInvoice);
    EXPECT_EQ(S_OK, sig.hr());
    EXPECT_NE(nullptr, sig.Ref(L"", {kEnveloped, kC14n}, m.digest));
    const HRESULT hr = sig.SignWith(prov, keySpec, m.signature, flags);
    EXPECT_EQ(S_OK, hr) << Widen("") << dll().LastMessage();
    return hr == S_OK ? sig.Encode() : std::string();
}

void ExpectValid(const Verified& v) {
    EXPECT_EQ(S_OK, v.open);
    EXPECT_EQ(S_OK, v.verify);
    EXPECT_EQ(0u, v.sigStatus.dwErrorStatus);
    EXPECT_EQ(0x10008u, v.sigStatus.dwInfoStatus);
    for (const CRYPT_XML_STATUS& ref : v.refStatus) EXPECT_EQ(0u, ref.dwErrorStatus);
}

const std::vector<Method> kRsaMethods = {
    {kRsaSha1, kSha1},
    {kRsaSha256, kSha256},
    {L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha384", L"http://www.w3.org/2001/04/xmldsig-more#sha384"},
    {L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha512", L"http://www.w3.org/2001/04/xmlenc#sha512"},
};

}  // namespace

TEST_F(SignKeys, RsaEveryHashVerifiesWithTheKeyAndWithItsKeyValue) {
    Container c(PROV_RSA_AES, L"talvoran-sign-rsa", AT_SIGNATURE, 0, (2048u << 16));
    ASSERT_TRUE(c.ok()) << c.error();
    for (const Method& m : kRsaMethods) {
        SCOPED_TRACE(Widen("") + L"" + m.signature);
        const std::string plain = SignEnveloped(c.prov(), AT_SIGNATURE, m);
        EXPECT_EQ(std::string::npos, plain.find("KeyInfo"));
        ExpectValid(VerifyWithKey(plain, c.prov(), AT_SIGNATURE));
        const std::string withKey = SignEnveloped(c.prov(), AT_SIGNATURE, m, CRYPT_XML_SIGN_ADD_KEYVALUE);
        EXPECT_NE(std::string::npos, withKey.find("<ds:KeyInfo><ds:KeyValue><ds:RSAKeyValue><ds:Modulus>"));
        ExpectValid(VerifyOwn(withKey));
    }
}

// PROV_RSA_FULL has no SHA-2; the library opens the same container as PROV_RSA_AES.
TEST_F(SignKeys, RsaSha2OnAProviderWithoutSha2ReopensTheContainer) {
    Container c(PROV_RSA_FULL, L"talvoran-sign-rsa-full", AT_SIGNATURE, 0, (1024u << 16));
    ASSERT_TRUE(c.ok()) << c.error();
    HCRYPTHASH hash = 0;
    ASSERT_FALSE(CryptCreateHash(c.prov(), CALG_SHA_256, 0, 0, &hash)) << "this provider was expected to lack SHA-256";
    for (size_t i = 1; i < kRsaMethods.size(); ++i) {
        const std::string xml = SignEnveloped(c.prov(), AT_SIGNATURE, kRsaMethods[i], CRYPT_XML_SIGN_ADD_KEYVALUE);
        ExpectValid(VerifyOwn(xml));
    }
    // The caller's handle is untouched and still its own.
    DWORD type = 0, size = sizeof(type);
    ASSERT_TRUE(CryptGetProvParam(c.prov(), PP_PROVTYPE, reinterpret_cast<BYTE*>(&type), &size, 0));
    EXPECT_EQ(static_cast<DWORD>(PROV_RSA_FULL), type);
}

TEST_F(SignKeys, RsaKeyExchangePairSignsToo) {
    Container c(PROV_RSA_AES, L"talvoran-sign-rsa-kx", AT_KEYEXCHANGE, 0, (1024u << 16));
    ASSERT_TRUE(c.ok()) << c.error();
    ExpectValid(VerifyWithKey(SignEnveloped(c.prov(), AT_KEYEXCHANGE, kRsaMethods[1]), c.prov(), AT_KEYEXCHANGE));
}

TEST_F(SignKeys, MissingKeyPairIsCryptGetUserKeyFailure) {
    Container c(PROV_RSA_AES, L"talvoran-sign-rsa-sig-only", AT_SIGNATURE, 0, (1024u << 16));
    ASSERT_TRUE(c.ok()) << c.error();
    NewSig sig(kInvoice);
    ASSERT_NE(nullptr, sig.Ref(L"", {kEnveloped}));
    EXPECT_EQ(static_cast<HRESULT>(NTE_NO_KEY), sig.SignWith(c.prov(), AT_KEYEXCHANGE, kRsaSha256));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlSign", L"CryptGetUserKey() failed."), Last());
    EXPECT_EQ(0x80000000u, sig.Status().dwInfoStatus);
}

// Wine's DSS provider answers no provider parameter at all: to the RSA set-up its handle is
// one CryptoAPI does not answer for, while the DSA set-up asks nothing of it.
TEST_F(SignKeys, ProviderHandleThatAnswersNoTypeIsRefusedForRsaOnly) {
    Container dss(PROV_DSS, L"talvoran-sign-dss-as-rsa", AT_SIGNATURE, 0, (1024u << 16));
    ASSERT_TRUE(dss.ok()) << dss.error();
    DWORD size = 0;
    ASSERT_FALSE(CryptGetProvParam(dss.prov(), PP_PROVTYPE, nullptr, &size, 0)) << "dssenh was expected to refuse";
    NewSig sig(kInvoice);
    ASSERT_NE(nullptr, sig.Ref(L"", {kEnveloped}));
    EXPECT_EQ(kInvalidArg, sig.SignWith(dss.prov(), AT_SIGNATURE, kRsaSha256));
    EXPECT_EQ(
        ExpectedFrameLine(L"CryptXmlSign", Widen("an error occurred. function: SigContext::SetupRsaSigningKey. "
                                                 "desc: One or more arguments are invalid  invalid cryptProvHandle")),
        Last());
    // GOST asks nothing of the handle either: it fails only when the key signs.
    NewSig gost(kInvoice);
    ASSERT_NE(nullptr, gost.Ref(L"", {kEnveloped}, kGost3411More));
    EXPECT_EQ(kFail, gost.SignWith(dss.prov(), AT_SIGNATURE, kGostMore));
    EXPECT_NE(std::wstring::npos, Last().find(L"function: SigContext::Sign. desc: ")) << Last();
}

TEST_F(SignKeys, ReleasedProviderHandleFailsInCryptGetUserKey) {
    HCRYPTPROV stale = 0;
    ASSERT_TRUE(CryptAcquireContextW(&stale, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT));
    ASSERT_TRUE(CryptReleaseContext(stale, 0));
    NewSig sig(kInvoice);
    ASSERT_NE(nullptr, sig.Ref(L"", {kEnveloped}));
    const HRESULT hr = sig.SignWith(stale, AT_SIGNATURE, kRsaSha256);
    EXPECT_TRUE(FAILED(hr)) << std::hex << hr;
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlSign", L"CryptGetUserKey() failed."), Last());
    EXPECT_EQ(0x80000000u, sig.Status().dwInfoStatus);
}

// Wine's DSS provider answers neither PP_PROVTYPE nor KP_ALGID, which verification needs:
// this runs in the prefix where the forwarding test provider answers them.
class SignDsa : public SignKeys {};

TEST_F(SignDsa, Sha1WithKeyValue) {
    Container c(PROV_DSS, L"talvoran-sign-dsa", AT_SIGNATURE, 0, (1024u << 16));
    ASSERT_TRUE(c.ok()) << c.error();
    const std::string xml = SignEnveloped(c.prov(), AT_SIGNATURE, {kDsaSha1, kSha1}, CRYPT_XML_SIGN_ADD_KEYVALUE);
    EXPECT_NE(std::string::npos, xml.find("<ds:KeyValue><ds:DSAKeyValue><ds:P>")) << xml;
    ExpectValid(VerifyOwn(xml));
}

TEST_F(SignKeys, HmacEveryHash) {
    const std::vector<Method> methods = {
        {kHmacSha1, kSha1},
        {kHmacSha256, kSha256},
        {L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha384", L"http://www.w3.org/2001/04/xmldsig-more#sha384"},
        {L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha512", L"http://www.w3.org/2001/04/xmlenc#sha512"},
    };
    for (const Method& m : methods) {
        NewSig sig(kInvoice);
        ASSERT_NE(nullptr, sig.Ref(L"", {kEnveloped, kC14n}, m.digest));
        // ADD_KEYVALUE means nothing for a secret: no KeyValue is written.
        ASSERT_EQ(S_OK, dll().SetHMACSecret(sig.h(), reinterpret_cast<const BYTE*>(kSecret.data()),
                                            static_cast<ULONG>(kSecret.size())));
        ASSERT_EQ(S_OK, sig.SignWith(0, 0, m.signature, CRYPT_XML_SIGN_ADD_KEYVALUE)) << Last();
        const std::string xml = sig.Encode();
        EXPECT_EQ(std::string::npos, xml.find("KeyInfo"));
        ExpectValid(VerifyOwn(xml, kSecret));
        EXPECT_EQ(static_cast<HRESULT>(CRYPT_XML_E_VERIFY_FAILED), VerifyOwn(xml, kSecret + "x").verify);
    }
}

TEST_F(SignKeys, HmacMethodWithAProviderButNoSecret) {
    Container c(PROV_RSA_AES, L"talvoran-sign-hmac-prov", AT_SIGNATURE, 0, (1024u << 16));
    ASSERT_TRUE(c.ok());
    NewSig sig(kInvoice);
    ASSERT_NE(nullptr, sig.Ref(L"", {kEnveloped}));
    EXPECT_EQ(kObjectFaulted, sig.SignWith(c.prov(), AT_SIGNATURE, kHmacSha256));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlSign", Widen("an error occurred. function: SigContext::SetupSigningKey. "
                                                       "desc: Current state of the object is invalid. "
                                                       "HMAC secret is not specified.")),
              Last());
    // With a secret, the provider handle is ignored.
    NewSig other(kInvoice);
    ASSERT_NE(nullptr, other.Ref(L"", {kEnveloped}));
    ASSERT_EQ(S_OK, dll().SetHMACSecret(other.h(), reinterpret_cast<const BYTE*>(kSecret.data()), 8));
    ASSERT_EQ(S_OK, other.SignWith(c.prov(), AT_SIGNATURE, kHmacSha256, CRYPT_XML_SIGN_ADD_KEYVALUE)) << Last();
    ExpectValid(VerifyOwn(other.Encode(), kSecret.substr(0, 8)));
}

// A real certificate: the signer's of a document signed by a commercial GOST provider.
Bytes VectorCertificate() {
    const std::string xml = ReadFileBytes(TALVORAN_SHARED_VECTORS "/gost-csp-made-Verify2001.xml");
    const size_t open = xml.find("X509Certificate>");
    const size_t start = open == std::string::npos ? open : open + 16;
    const size_t end = xml.find('<', start);
    if (start == std::string::npos || end == std::string::npos) return {};
    const std::string text = xml.substr(start, end - start);
    DWORD size = 0;
    if (!CryptStringToBinaryA(text.c_str(), static_cast<DWORD>(text.size()), CRYPT_STRING_BASE64, nullptr, &size,
                              nullptr, nullptr)) {
        return {};
    }
    Bytes der(size);
    CryptStringToBinaryA(text.c_str(), static_cast<DWORD>(text.size()), CRYPT_STRING_BASE64, der.data(), &size, nullptr,
                         nullptr);
    return der;
}

Bytes BytesOf(const CRYPT_XML_DATA_BLOB& blob) { return Bytes(blob.pbData, blob.pbData + blob.cbData); }

TEST_F(SignKeys, KeyInfoParametersAreWrittenInOrder) {
    Container c(PROV_RSA_AES, L"talvoran-sign-keyinfo", AT_SIGNATURE, 0, (1024u << 16));
    ASSERT_TRUE(c.ok());
    Bytes cert = VectorCertificate();
    ASSERT_GT(cert.size(), 100u);
    NewSig sig(kInvoice);
    ASSERT_NE(nullptr, sig.Ref(L"", {kEnveloped, kC14n}));
    BYTE crl[] = {0x30, 0x00};
    BYTE ski[] = {0x01, 0x02, 0x03, 0x04};
    // An empty entry in the list is skipped.
    CERT_BLOB certs[] = {{static_cast<DWORD>(cert.size()), cert.data()}, {0, nullptr}};
    CERT_BLOB crls[] = {{sizeof(crl), crl}};
    CRYPT_XML_KEYINFO_PARAM param{};
    param.wszId = L"keyinfo-1";
    param.wszKeyName = L"signer key";
    param.SKI = {sizeof(ski), ski};
    param.wszSubjectName = L"CN=Signer, O=Example";
    param.cCertificate = 2;
    param.rgCertificate = certs;
    param.cCRL = 1;
    param.rgCRL = crls;
    ASSERT_EQ(S_OK, sig.SignWith(c.prov(), AT_SIGNATURE, kRsaSha256, CRYPT_XML_SIGN_ADD_KEYVALUE,
                                 CRYPT_XML_KEYINFO_SPEC_PARAM, &param))
        << Last();
    const std::string xml = sig.Encode();
    EXPECT_NE(std::string::npos, xml.find("<ds:KeyInfo Id=\"keyinfo-1\"><ds:KeyValue><ds:RSAKeyValue>")) << xml;
    EXPECT_NE(std::string::npos,
              xml.find("</ds:X509Certificate><ds:X509CRL>MAA=</ds:X509CRL><ds:X509SKI>AQIDBA==</ds:X509SKI>"
                       "<ds:X509SubjectName>CN=Signer, O=Example</ds:X509SubjectName></ds:X509Data>"
                       "<ds:KeyName>signer key</ds:KeyName></ds:KeyInfo>"))
        << xml;
    const CRYPT_XML_KEY_INFO* ki = sig.Struct()->pKeyInfo;
    ASSERT_NE(nullptr, ki);
    EXPECT_STREQ(L"keyinfo-1", ki->wszId);
    ASSERT_EQ(3u, ki->cKeyInfo);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEYINFO_TYPE_KEYVALUE), ki->rgKeyInfo[0].dwType);
    ASSERT_EQ(static_cast<DWORD>(CRYPT_XML_KEYINFO_TYPE_X509DATA), ki->rgKeyInfo[1].dwType);
    const CRYPT_XML_X509DATA& data = ki->rgKeyInfo[1].X509Data;
    ASSERT_EQ(4u, data.cX509Data);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_CERTIFICATE), data.rgX509Data[0].dwType);
    EXPECT_EQ(cert, BytesOf(data.rgX509Data[0].Certificate));
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_CRL), data.rgX509Data[1].dwType);
    EXPECT_EQ(Bytes(crl, crl + 2), BytesOf(data.rgX509Data[1].CRL));
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_SUBJECT_NAME), data.rgX509Data[2].dwType);
    EXPECT_STREQ(L"CN=Signer, O=Example", data.rgX509Data[2].wszSubjectName);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_SKI), data.rgX509Data[3].dwType);
    EXPECT_EQ(Bytes(ski, ski + 4), BytesOf(data.rgX509Data[3].SKI));
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEYINFO_TYPE_KEYNAME), ki->rgKeyInfo[2].dwType);
    EXPECT_STREQ(L"signer key", ki->rgKeyInfo[2].wszKeyName);
    ExpectValid(VerifyWithKey(xml, c.prov(), AT_SIGNATURE));
}

TEST_F(SignKeys, KeyInfoIdAloneMakesAnEmptyKeyInfo) {
    NewSig sig(kInvoice);
    ASSERT_NE(nullptr, sig.Ref(L"", {kEnveloped}));
    CRYPT_XML_KEYINFO_PARAM param{};
    param.wszId = L"only-id";
    ASSERT_EQ(S_OK, dll().SetHMACSecret(sig.h(), reinterpret_cast<const BYTE*>(kSecret.data()), 16));
    ASSERT_EQ(S_OK, sig.SignWith(0, 0, kHmacSha256, 0, CRYPT_XML_KEYINFO_SPEC_PARAM, &param)) << Last();
    const std::string xml = sig.Encode();
    EXPECT_NE(std::string::npos, xml.find("</ds:SignatureValue><ds:KeyInfo Id=\"only-id\"/></ds:Signature>")) << xml;
    EXPECT_EQ(nullptr, sig.Struct()->pKeyInfo);  // nothing recognised in it
}

TEST_F(SignKeys, SignatureLocations) {
    struct Case {
        std::wstring location;
        const char* expected;  // what precedes the Signature element
    };
    const std::vector<Case> cases = {
        {L"", "<inv:Signatures/><ds:Signature "},
        {L"#head", "<inv:Number>2026-0042</inv:Number><ds:Signature "},
        {L"/Invoice/Lines", "<inv:Line>Widget x 2</inv:Line><ds:Signature "},
        {L"/inv:Invoice/inv:Signatures", "<inv:Signatures><ds:Signature "},
    };
    for (const Case& c : cases) {
        NewSig sig(kInvoice, c.location, L"sig-7");
        ASSERT_EQ(S_OK, sig.hr());
        ASSERT_NE(nullptr, sig.Ref(L"#invoice", {kEnveloped, kExcC14n}));
        ASSERT_EQ(S_OK, sig.SignHmac(kSecret)) << Last();
        const std::string xml = sig.Encode();
        EXPECT_NE(std::string::npos,
                  xml.find(std::string(c.expected) + "xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\" Id=\"sig-7\">"))
            << xml;
        ExpectValid(VerifyOwn(xml, kSecret));
    }
}

TEST_F(SignKeys, XPathLocationThatMatchesNothing) {
    NewSig sig(kInvoice, L"/inv:Invoice/inv:Missing");
    ASSERT_NE(nullptr, sig.Ref(L"#invoice", {kEnveloped}));
    EXPECT_EQ(kObjectFaulted, sig.SignHmac(kSecret));
}

TEST_F(SignKeys, EnvelopingDetachedAndManifest) {
    const std::string data = "external data, fed through a data provider";
    NewSig sig;
    // Enveloping: an object named by the reference, with content of its own.
    HCRYPTXML objRef = sig.Ref(L"#payload", {kC14n}, kSha256, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT);
    ASSERT_NE(nullptr, objRef) << Last();
    const CRYPT_XML_OBJECT* obj = sig.Struct()->rgpObject[0];
    const std::string content = "<Payload xmlns=\"urn:example\">enveloped</Payload>";
    const CRYPT_XML_BLOB contentBlob = Blob(content);
    ASSERT_EQ(S_OK,
              dll().AddObject(obj->hObject, CRYPT_XML_FLAG_ADD_OBJECT_CREATE_COPY, nullptr, 0, &contentBlob, nullptr));
    // Detached: external data from the caller.
    HCRYPTXML external = sig.Ref(L"urn:example:data");
    ASSERT_NE(nullptr, external);
    DataFeed feed(data);
    CRYPT_XML_DATA_PROVIDER provider = feed.Provider();
    ASSERT_EQ(S_OK, dll().DigestReference(external, 0, &provider)) << Last();
    EXPECT_EQ(0x80000008u, sig.Status(external).dwInfoStatus);
    EXPECT_EQ(0u, sig.Status(external).dwErrorStatus);
    // A Manifest in a second object, over the same external data.
    ASSERT_NE(nullptr, sig.Ref(L"#manifest", {}, kSha256, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT, nullptr,
                               L"http://www.w3.org/2000/09/xmldsig#Manifest"));
    const CRYPT_XML_OBJECT* manifestObj = sig.Struct()->rgpObject[1];
    const CRYPT_XML_ALGORITHM digest = Alg(kSha1);
    HCRYPTXML manifestRef = nullptr;
    ASSERT_EQ(S_OK, dll().CreateReference(manifestObj->hObject, 0, nullptr, L"urn:example:manifest-data", nullptr,
                                          &digest, 0, nullptr, &manifestRef));
    feed.Reset(data);
    ASSERT_EQ(S_OK, dll().DigestReference(manifestRef, 0, &provider));
    ASSERT_EQ(S_OK, sig.SignHmac(kSecret)) << Last();
    const std::string xml = sig.Encode();
    EXPECT_NE(std::string::npos,
              xml.find("<ds:Object Id=\"payload\"><Payload xmlns=\"urn:example\">enveloped</Payload></ds:Object>"
                       "<ds:Object Id=\"manifest\"><ds:Manifest><ds:Reference URI=\"urn:example:manifest-data\">"))
        << xml;
    EXPECT_EQ(0x80010008u, sig.Status().dwInfoStatus);
    // The manifest's reference carries its digest too, and its object says so.
    EXPECT_EQ(0x80000008u, sig.Status(manifestRef).dwInfoStatus);
    EXPECT_EQ(0u, sig.Status(manifestRef).dwErrorStatus);
    EXPECT_EQ(20u, manifestObj->Manifest.rgpReference[0]->DigestValue.cbData);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_DIGEST_VALID), sig.Status(manifestObj->hObject).dwInfoStatus);
    const Verified v = VerifyOwn(xml, kSecret, {{L"urn:example:data", data}});
    ExpectValid(v);
    ASSERT_EQ(3u, v.refStatus.size());
    // The Manifest's own reference: digested from the same data through its object.
    HCRYPTXML doc = nullptr;
    const CRYPT_XML_BLOB blob = Blob(xml);
    ASSERT_EQ(S_OK, dll().OpenToDecode(nullptr, 0, nullptr, 0, &blob, &doc));
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    ASSERT_EQ(S_OK, dll().GetDocContext(doc, &ctxt));
    const CRYPT_XML_SIGNATURE* decoded = ctxt->rgpSignature[0];
    ASSERT_EQ(2u, decoded->cObject);
    ASSERT_EQ(1u, decoded->rgpObject[1]->Manifest.cReference);
    feed.Reset(data);
    EXPECT_EQ(S_OK, dll().DigestReference(decoded->rgpObject[1]->Manifest.rgpReference[0]->hReference, 0, &provider));
    feed.Reset("tampered");
    EXPECT_EQ(static_cast<HRESULT>(CRYPT_XML_E_INVALID_DIGEST),
              dll().DigestReference(decoded->rgpObject[1]->Manifest.rgpReference[0]->hReference, 0, &provider));
    dll().Close(doc);
}

TEST_F(SignKeys, AddedObjectIsSignedAsGiven) {
    NewSig sig;
    const std::string object =
        "<ds:Object xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\" Id=\"given\"><Data>as given</Data></ds:Object>";
    const CRYPT_XML_BLOB blob = Blob(object);
    ASSERT_EQ(S_OK, dll().AddObject(sig.h(), 0, nullptr, 0, &blob, nullptr));
    ASSERT_NE(nullptr, sig.Ref(L"#given", {kExcC14n}));
    ASSERT_EQ(S_OK, sig.SignHmac(kSecret)) << Last();
    const std::string xml = sig.Encode();
    // The imported element keeps the namespace declaration it was parsed with.
    EXPECT_NE(std::string::npos,
              xml.find("</ds:SignatureValue><ds:Object Id=\"given\" "
                       "xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"><Data>as given</Data></ds:Object>"))
        << xml;
    ExpectValid(VerifyOwn(xml, kSecret));
}

// The SHA-2 reopening is silent when it fails: the caller's own handle then signs, and a
// provider without SHA-2 cannot. Runs where the forwarding test provider can refuse the
// acquisition of type 24.
TEST_F(SignDsa, RsaReopeningFailureFallsBackToTheCallersHandle) {
    Container c(PROV_RSA_FULL, L"talvoran-sign-reopen", AT_SIGNATURE, 0, (1024u << 16));
    ASSERT_TRUE(c.ok()) << c.error();
    ASSERT_TRUE(SetEnvironmentVariableA("TALVORAN_FAULTY_CSP", "acquire:24"));
    NewSig refused(kInvoice);
    ASSERT_NE(nullptr, refused.Ref(L"", {kEnveloped}));
    const HRESULT hr = refused.SignWith(c.prov(), AT_SIGNATURE, kRsaSha256);
    SetEnvironmentVariableA("TALVORAN_FAULTY_CSP", nullptr);
    EXPECT_EQ(kFail, hr);
    EXPECT_NE(std::wstring::npos, Last().find(L"function: SigContext::Sign. desc: WinCAPI: CryptCreateHash")) << Last();
    // Allowed, the same request signs.
    ExpectValid(VerifyWithKey(SignEnveloped(c.prov(), AT_SIGNATURE, kRsaMethods[1]), c.prov(), AT_SIGNATURE));
}

// The provider the SHA-2 reopening acquires is released when CryptXmlSign returns, not when
// the signature is closed: the forwarding test provider counts its live contexts.
TEST_F(SignDsa, RsaReopenedProviderIsReleasedWhenSignReturns) {
    Container c(PROV_RSA_FULL, L"talvoran-sign-release", AT_SIGNATURE, 0, (1024u << 16));
    ASSERT_TRUE(c.ok()) << c.error();
    auto live = [&] {
        DWORD count = 0, size = sizeof(count);
        return CryptGetProvParam(c.prov(), 0x54410001, reinterpret_cast<BYTE*>(&count), &size, 0) ? count : ~0u;
    };
    const DWORD before = live();
    ASSERT_NE(~0u, before) << "not the forwarding test provider";
    for (const Method& m : kRsaMethods) {
        NewSig sig(kInvoice);
        ASSERT_NE(nullptr, sig.Ref(L"", {kEnveloped}, m.digest));
        ASSERT_EQ(S_OK, sig.SignWith(c.prov(), AT_SIGNATURE, m.signature, CRYPT_XML_SIGN_ADD_KEYVALUE)) << Last();
        EXPECT_EQ(before, live()) << Widen("") << m.signature;
    }
}

// --- GOST R 34.10-2001 through the software provider (type 75) ----------------------------

class SignGost : public SignKeys {};

// A GOST KeyValue is imported through provider type 2 (type 75 when type 2 is defined
// without a provider): the document's own key is checked in the prefix set up that way.
class SignGostKeyValue : public SignKeys {};

void SignGostWithKeyValue(bool ownKey) {
    Container c(kGostProvType, L"talvoran-sign-gost", AT_SIGNATURE, kGr3410El);
    ASSERT_TRUE(c.ok()) << std::hex << c.error();
    for (const Method& m : {Method{kGostMore, kGost3411More}, Method{kGostUrn, kGost3411Urn}}) {
        const std::string xml = SignEnveloped(c.prov(), AT_SIGNATURE, m, CRYPT_XML_SIGN_ADD_KEYVALUE);
        EXPECT_NE(std::string::npos,
                  xml.find("<ds:KeyInfo><ds:KeyValue><ds:GOSTKeyValue><ds:PublicKeyParameters>"
                           "<ds:publicKeyParamSet>urn:oid:1.2.643.2.2.35.1</ds:publicKeyParamSet>"
                           "<ds:digestParamSet>urn:oid:1.2.643.2.2.30.1</ds:digestParamSet></ds:PublicKeyParameters>"
                           "<ds:PublicKey>"))
            << xml;
        if (ownKey) ExpectValid(VerifyOwn(xml));
        ExpectValid(VerifyWithKey(xml, c.prov(), AT_SIGNATURE));
    }
}

TEST_F(SignGost, BothUriFamiliesWithKeyValue) { SignGostWithKeyValue(false); }

TEST_F(SignGostKeyValue, VerifiesWithTheKeyItCarries) { SignGostWithKeyValue(true); }

TEST_F(SignGost, WithoutTheFlagNoKeyValue) {
    Container c(kGostProvType, L"talvoran-sign-gost-plain", AT_SIGNATURE, kGr3410El);
    ASSERT_TRUE(c.ok()) << std::hex << c.error();
    const std::string xml = SignEnveloped(c.prov(), AT_SIGNATURE, {kGostUrn, kGost3411Urn});
    EXPECT_EQ(std::string::npos, xml.find("KeyInfo"));
    ExpectValid(VerifyWithKey(xml, c.prov(), AT_SIGNATURE));
    // A tampered document fails its reference digest.
    std::string tampered = xml;
    tampered.replace(tampered.find("Widget x 2"), 10, "Widget x 9");
    const Verified v = VerifyWithKey(tampered, c.prov(), AT_SIGNATURE);
    EXPECT_EQ(S_OK, v.verify);
    ASSERT_EQ(1u, v.refStatus.size());
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_ERROR_DIGEST_INVALID), v.refStatus[0].dwErrorStatus);
}
