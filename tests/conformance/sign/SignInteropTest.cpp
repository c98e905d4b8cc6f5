// Documents signed by the DLL for the independent peers: the keys come from the peers' own
// key files (prepare-sign-keys.sh), the GOST key from the software GOST provider, whose
// public key travels in the KeyValue. peers-verify-ours.sh then checks every document with
// xmlsec1, Santuario and openssl's GOST engine. Each is also checked here first.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "support/SignSupport.hpp"

using namespace signtest;

namespace {

const std::string kOut = TALVORAN_SIGN_INTEROP_OUT;
const std::string kDoc =
    "<Document xmlns=\"urn:talvoran:peers\" xmlns:p=\"urn:talvoran:peers\" Id=\"doc\">"
    "<Data Id=\"data\">Счёт-фактура 42: widgets x 2, 1 000,00 руб.</Data><Place/></Document>";

struct Kind {
    const char* name;  // as the peer scripts know it
    const wchar_t* signature;
    const wchar_t* digest;
};

const Kind kRsa[] = {
    {"rsa-sha1", kRsaSha1, kSha1},
    {"rsa-sha256", kRsaSha256, kSha256},
    {"rsa-sha384", L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha384",
     L"http://www.w3.org/2001/04/xmldsig-more#sha384"},
    {"rsa-sha512", L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha512", L"http://www.w3.org/2001/04/xmlenc#sha512"},
};
const Kind kHmac[] = {
    {"hmac-sha1", kHmacSha1, kSha1},
    {"hmac-sha256", kHmacSha256, kSha256},
    {"hmac-sha384", L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha384",
     L"http://www.w3.org/2001/04/xmldsig-more#sha384"},
    {"hmac-sha512", L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha512", L"http://www.w3.org/2001/04/xmlenc#sha512"},
};
const Kind kDsa = {"dsa-sha1", kDsaSha1, kSha1};
const Kind kGost = {"gost2001", kGostMore, kGost3411More};
const Kind kGostUrnKind = {"gost2001-cpxmlsec", kGostUrn, kGost3411Urn};

Bytes ReadKeyFile(const std::string& name) {
    const std::string bytes = ReadFileBytes(kOut + "/keys/" + name);
    return Bytes(bytes.begin(), bytes.end());
}

// The key pair a private key blob lands in: its algorithm decides.
DWORD KeySpecOf(const Bytes& blob) {
    ALG_ID alg = 0;
    if (blob.size() >= 8) std::memcpy(&alg, blob.data() + 4, sizeof(alg));
    return GET_ALG_CLASS(alg) == ALG_CLASS_KEY_EXCHANGE ? AT_KEYEXCHANGE : AT_SIGNATURE;
}

class Manifest {
public:
    Manifest() : out_(kOut + "/ours/manifest.tsv", std::ios::binary) {
        out_ << "# NAME\tKIND\tKEYMODE, written by sign_interop_test\n";
    }
    void Add(const std::string& name, const std::string& kind, const std::string& keyMode, const std::string& xml) {
        WriteFileBytes(kOut + "/ours/" + name + ".xml", xml);
        out_ << name << '\t' << kind << '\t' << keyMode << '\n';
        out_.flush();
    }

private:
    std::ofstream out_;
};

Manifest& manifest() {
    static Manifest m;
    return m;
}

void ExpectValid(const Verified& v) {
    EXPECT_EQ(S_OK, v.open);
    EXPECT_EQ(S_OK, v.verify) << testing_support::Widen("") << dll().LastMessage();
    EXPECT_EQ(0u, v.sigStatus.dwErrorStatus);
    EXPECT_EQ(0x10008u, v.sigStatus.dwInfoStatus);
}

class SignInterop : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        CreateDirectoryA((kOut + "/ours").c_str(), nullptr);
        manifest();
    }
    void SetUp() override { dll().StartDebugging(); }
};

// Enveloped over the whole document, c14n 1.0.
std::string Enveloped(HCRYPTPROV prov, DWORD keySpec, const Kind& k, DWORD flags = 0, const std::string& secret = "") {
    NewSig sig(kDoc);
    EXPECT_NE(nullptr, sig.Ref(L"", {kEnveloped, kC14n}, k.digest));
    const HRESULT hr =
        secret.empty() ? sig.SignWith(prov, keySpec, k.signature, flags) : sig.SignHmac(secret, k.signature);
    EXPECT_EQ(S_OK, hr) << testing_support::Widen("") << dll().LastMessage();
    return sig.Encode();
}

// Enveloping: a reference to a new Object holding an invoice; signed by sign(sig).
template <class SignFn>
std::string Enveloping(const wchar_t* digest, SignFn&& sign) {
    NewSig sig;
    EXPECT_NE(nullptr, sig.Ref(L"#invoice", {kC14n}, digest, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT));
    const std::string content = "<Invoice xmlns=\"urn:example:invoice\"><Total>1000.00</Total></Invoice>";
    const CRYPT_XML_BLOB blob = Blob(content);
    EXPECT_EQ(S_OK, dll().AddObject(sig.Struct()->rgpObject[0]->hObject, CRYPT_XML_FLAG_ADD_OBJECT_CREATE_COPY, nullptr,
                                    0, &blob, nullptr));
    const HRESULT hr = sign(sig);
    EXPECT_EQ(S_OK, hr) << testing_support::Widen("") << dll().LastMessage();
    return hr == S_OK ? sig.Encode() : std::string();
}

}  // namespace

TEST_F(SignInterop, Rsa) {
    const Bytes blob = ReadKeyFile("rsa-key.msblob");
    ASSERT_FALSE(blob.empty()) << "run prepare-sign-keys.sh first";
    Container c(PROV_RSA_AES, L"talvoran-interop-rsa", blob);
    ASSERT_TRUE(c.ok()) << c.error();
    const DWORD keySpec = KeySpecOf(blob);
    for (const Kind& k : kRsa) {
        const std::string xml = Enveloped(c.prov(), keySpec, k);
        ExpectValid(VerifyWithKey(xml, c.prov(), keySpec));
        manifest().Add(std::string(k.name) + "-enveloped", k.name, "keydir", xml);
    }
    // The document's own KeyValue, an exclusive c14n, a signature placed by XPath.
    NewSig sig(kDoc, L"/p:Document/p:Place", L"signature");
    ASSERT_NE(nullptr, sig.Ref(L"#data", {kExcC14n}, kSha256));
    ASSERT_EQ(S_OK, sig.SignWith(c.prov(), keySpec, kRsaSha256, CRYPT_XML_SIGN_ADD_KEYVALUE,
                                 CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, kExcC14n));
    const std::string keyValue = sig.Encode();
    ExpectValid(VerifyOwn(keyValue));
    manifest().Add("rsa-sha256-keyvalue-xpath", "rsa-sha256", "doc", keyValue);
    // UTF-16LE with a declaration.
    const BOOL yes = TRUE;
    const CRYPT_XML_PROPERTY declare = Property(CRYPT_XML_PROPERTY_DOC_DECLARATION, &yes);
    Sink utf16;
    ASSERT_EQ(S_OK, dll().Encode(sig.h(), CRYPT_XML_CHARSET_UTF16LE, &declare, 1, &utf16, Write));
    ExpectValid(VerifyOwn(utf16.bytes, "", {}, CRYPT_XML_CHARSET_UTF16LE));
    manifest().Add("rsa-sha256-keyvalue-utf16le", "rsa-sha256", "doc", utf16.bytes);
}

// Exclusive c14n for both the reference and SignedInfo over a SOAP-like envelope whose
// default namespace no element above the payload uses, and a payload that undeclares it:
// the canonical form must not carry xmlns="" there, or no other implementation agrees.
TEST_F(SignInterop, RsaExclusiveEmptyDefaultNamespace) {
    const Bytes blob = ReadKeyFile("rsa-key.msblob");
    Container c(PROV_RSA_AES, L"talvoran-interop-rsa-exc", blob);
    ASSERT_TRUE(c.ok()) << c.error();
    const std::string doc =
        "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\" xmlns=\"urn:example:unused\">"
        "<soap:Body><Request xmlns=\"\"><Total>1000.00</Total></Request></soap:Body></soap:Envelope>";
    NewSig sig(doc);
    ASSERT_NE(nullptr, sig.Ref(L"", {kEnveloped, kExcC14n}, kSha256));
    ASSERT_EQ(S_OK,
              sig.SignWith(c.prov(), KeySpecOf(blob), kRsaSha256, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, kExcC14n));
    const std::string xml = sig.Encode();
    ExpectValid(VerifyWithKey(xml, c.prov(), KeySpecOf(blob)));
    manifest().Add("rsa-sha256-exc-empty-default-ns", "rsa-sha256", "keydir", xml);
}

TEST_F(SignInterop, RsaEnvelopingObject) {
    const Bytes blob = ReadKeyFile("rsa-key.msblob");
    Container c(PROV_RSA_AES, L"talvoran-interop-rsa-obj", blob);
    ASSERT_TRUE(c.ok()) << c.error();
    const std::string xml =
        Enveloping(kSha256, [&](NewSig& sig) { return sig.SignWith(c.prov(), KeySpecOf(blob), kRsaSha256); });
    ExpectValid(VerifyWithKey(xml, c.prov(), KeySpecOf(blob)));
    manifest().Add("rsa-sha256-enveloping", "rsa-sha256", "keydir", xml);
}

TEST_F(SignInterop, Dsa) {
    const Bytes blob = ReadKeyFile("dsa-key.msblob");
    ASSERT_FALSE(blob.empty());
    Container c(PROV_DSS, L"talvoran-interop-dsa", blob);
    ASSERT_TRUE(c.ok()) << c.error();
    manifest().Add("dsa-sha1-enveloped", kDsa.name, "keydir", Enveloped(c.prov(), AT_SIGNATURE, kDsa));
    manifest().Add("dsa-sha1-keyvalue", kDsa.name, "doc",
                   Enveloped(c.prov(), AT_SIGNATURE, kDsa, CRYPT_XML_SIGN_ADD_KEYVALUE));
}

TEST_F(SignInterop, Hmac) {
    const std::string secret = ReadFileBytes(kOut + "/keys/hmac.key");
    ASSERT_EQ(32u, secret.size());
    for (const Kind& k : kHmac) {
        const std::string xml = Enveloped(0, 0, k, 0, secret);
        ExpectValid(VerifyOwn(xml, secret));
        manifest().Add(std::string(k.name) + "-enveloped", k.name, "keydir", xml);
    }
}

// A detached signature over a file beside the document, fed through a data provider.
TEST_F(SignInterop, HmacDetached) {
    const std::string secret = ReadFileBytes(kOut + "/keys/hmac.key");
    const std::string data = "detached payload: a file next to the signature\n";
    WriteFileBytes(kOut + "/ours/hmac-sha256-detached.data", data);
    NewSig sig;
    HCRYPTXML ref = sig.Ref(L"hmac-sha256-detached.data");
    ASSERT_NE(nullptr, ref);
    DataFeed feed(data);
    CRYPT_XML_DATA_PROVIDER provider = feed.Provider();
    ASSERT_EQ(S_OK, dll().DigestReference(ref, 0, &provider));
    ASSERT_EQ(S_OK, sig.SignHmac(secret));
    const std::string xml = sig.Encode();
    ExpectValid(VerifyOwn(xml, secret, {{L"hmac-sha256-detached.data", data}}));
    manifest().Add("hmac-sha256-detached", "hmac-sha256", "keydir", xml);
}

TEST_F(SignInterop, Gost) {
    Container c(kGostProvType, L"talvoran-interop-gost", AT_SIGNATURE, kGr3410El);
    ASSERT_TRUE(c.ok()) << std::hex << c.error();
    for (const Kind& k : {kGost, kGostUrnKind}) {
        const std::string xml = Enveloped(c.prov(), AT_SIGNATURE, k, CRYPT_XML_SIGN_ADD_KEYVALUE);
        ExpectValid(VerifyWithKey(xml, c.prov(), AT_SIGNATURE));
        manifest().Add(std::string(k.name) + "-enveloped", k.name, "doc", xml);
    }
    // Enveloping, over an Object's content, with the KeyValue.
    const std::string xml = Enveloping(kGost3411More, [&](NewSig& sig) {
        return sig.SignWith(c.prov(), AT_SIGNATURE, kGostMore, CRYPT_XML_SIGN_ADD_KEYVALUE);
    });
    ExpectValid(VerifyWithKey(xml, c.prov(), AT_SIGNATURE));
    manifest().Add("gost2001-enveloping", kGost.name, "doc", xml);
}
