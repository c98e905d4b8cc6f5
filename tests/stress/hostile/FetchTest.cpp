// Documents that name outside resources the library must not read while they are not
// refused: schema locations, XInclude, external references, RetrievalMethod, and XML inside
// a base64 transform that declares an external entity. Each opens and verifies as far as it
// can without them; fetch-watch.py proves that none of them was read. FetchControl reads a
// bait file and calls the listener on purpose, so that the watch is seen to work.
// Winsock 2 before anything brings in windows.h.
#include <winsock2.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/SignSupport.hpp"
#include "Bait.hpp"
#include "DeepDocs.hpp"
#include "HostileSupport.hpp"

using namespace hostile;

namespace {

const std::string kSecret = "hostile-fetch-secret-of-32-bytes";
const std::string kXsi = "http://www.w3.org/2001/XMLSchema-instance";

class Fetch : public ::testing::Test {
protected:
    void SetUp() override { dll().StartDebugging(); }
    void TearDown() override { dll().StopDebugging(); }
};

std::string Base64(const std::string& bytes) {
    DWORD size = 0;
    const auto* data = reinterpret_cast<const BYTE*>(bytes.data());
    const DWORD flags = CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF;
    CryptBinaryToStringA(data, static_cast<DWORD>(bytes.size()), flags, nullptr, &size);
    std::string text(size, '\0');
    CryptBinaryToStringA(data, static_cast<DWORD>(bytes.size()), flags, &text[0], &size);
    text.resize(size);
    return text;
}

std::string Replace(std::string xml, const std::string& from, const std::string& to) {
    const size_t at = xml.find(from);
    if (at != std::string::npos) xml.replace(at, from.size(), to);
    return xml;
}

// Opens xml, verifies its first signature with the test secret; the statuses as read after.
signtest::Verified OpenAndVerify(const std::string& xml) { return signtest::VerifyOwn(xml, kSecret); }

// Exclusive canonicalisation of SignedInfo too: declarations added around the signature
// later change nothing that was signed.
HRESULT SignExclusive(signtest::NewSig& sig) {
    const HRESULT set =
        dll().SetHMACSecret(sig.h(), reinterpret_cast<const BYTE*>(kSecret.data()), static_cast<ULONG>(kSecret.size()));
    return set != S_OK
               ? set
               : sig.SignWith(0, 0, signtest::kHmacSha256, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, signtest::kExcC14n);
}

}  // namespace

TEST_F(Fetch, SchemaLocationsAreOnlyAttributes) {
    const Bait& bait = Bait::Get();
    signtest::NewSig sig("<Invoice><Body Id=\"b\">100</Body></Invoice>");
    sig.Ref(L"#b", {signtest::kExcC14n});
    ASSERT_EQ(S_OK, SignExclusive(sig));
    const std::string encoded = sig.Encode();
    const std::string located =
        Replace(encoded, "<Invoice>",
                "<Invoice xmlns:xsi=\"" + kXsi + "\" xsi:schemaLocation=\"urn:invoice " + bait.FileUrl("schema.xsd") +
                    "\" xsi:noNamespaceSchemaLocation=\"" + bait.HttpUrl("schema.xsd") + "\">");
    ASSERT_NE(encoded, located);
    const signtest::Verified v = OpenAndVerify(located);
    EXPECT_EQ(S_OK, v.open);
    EXPECT_EQ(S_OK, v.verify);
    ASSERT_EQ(1u, v.refStatus.size());
    EXPECT_NE(0u, v.refStatus[0].dwInfoStatus & CRYPT_XML_STATUS_DIGEST_VALID);
}

// An XInclude element is signed as the element it is; nothing is included.
TEST_F(Fetch, XIncludeIsNotProcessed) {
    const Bait& bait = Bait::Get();
    signtest::NewSig sig("<Invoice><Body Id=\"b\"><xi:include xmlns:xi=\"http://www.w3.org/2001/XInclude\" href=\"" +
                         bait.FileUrl("include.xml") + "\" parse=\"text\"/></Body></Invoice>");
    sig.Ref(L"#b", {signtest::kExcC14n});
    ASSERT_EQ(S_OK, sig.SignHmac(kSecret));
    const signtest::Verified v = OpenAndVerify(sig.Encode());
    EXPECT_EQ(S_OK, v.open);
    EXPECT_EQ(S_OK, v.verify);
    ASSERT_EQ(1u, v.refStatus.size());
    EXPECT_NE(0u, v.refStatus[0].dwInfoStatus & CRYPT_XML_STATUS_DIGEST_VALID);
}

// External references get their data from the caller only: not fed, they stay unresolved.
TEST_F(Fetch, ExternalReferencesAreNeverDereferenced) {
    const Bait& bait = Bait::Get();
    const std::wstring fileUri = testing_support::WidenUtf8(bait.FileUrl("reference.bin"));
    const std::wstring httpUri = testing_support::WidenUtf8(bait.HttpUrl("reference.bin"));
    signtest::NewSig sig;
    HCRYPTXML refs[] = {sig.Ref(fileUri.c_str()), sig.Ref(httpUri.c_str())};
    for (HCRYPTXML ref : refs) {
        ASSERT_NE(nullptr, ref);
        signtest::DataFeed feed("the caller's data");
        CRYPT_XML_DATA_PROVIDER provider = feed.Provider();
        ASSERT_EQ(S_OK, dll().DigestReference(ref, 0, &provider));
    }
    ASSERT_EQ(S_OK, sig.SignHmac(kSecret));
    const signtest::Verified v = OpenAndVerify(sig.Encode());
    EXPECT_EQ(S_OK, v.open);
    EXPECT_EQ(S_OK, v.verify);
    ASSERT_EQ(2u, v.refStatus.size());
    for (const CRYPT_XML_STATUS& status : v.refStatus) {
        EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_ERROR_NOT_RESOLVED), status.dwErrorStatus);
    }
}

// xml-security-c dereferences a RetrievalMethod of any type but a raw certificate while it
// loads the KeyInfo, through the signature's own resolver, which answers only with data the
// caller fed: none here, so the document cannot be loaded. A raw certificate's is kept as
// it is. Neither reads anything.
TEST_F(Fetch, RetrievalMethodIsNeverDereferenced) {
    const Bait& bait = Bait::Get();
    signtest::NewSig sig("<Invoice Id=\"i\">100</Invoice>");
    sig.Ref(L"#i", {signtest::kExcC14n});
    ASSERT_EQ(S_OK, SignExclusive(sig));
    const std::string encoded = sig.Encode();
    const auto withKeyInfo = [&](const std::string& type, const std::string& uri) {
        const std::string keyInfo = "<ds:KeyInfo><ds:RetrievalMethod URI=\"" + uri +
                                    "\" Type=\"http://www.w3.org/2000/09/xmldsig#" + type + "\"/></ds:KeyInfo>";
        return Replace(encoded, "</ds:SignatureValue>", "</ds:SignatureValue>" + keyInfo);
    };
    for (const std::string& uri : {bait.FileUrl("cert.der"), bait.HttpUrl("cert.der")}) {
        const signtest::Verified raw = OpenAndVerify(withKeyInfo("rawX509Certificate", uri));
        EXPECT_EQ(S_OK, raw.open) << uri;
        EXPECT_EQ(S_OK, raw.verify) << uri;
        Doc data(withKeyInfo("X509Data", uri));
        EXPECT_EQ(static_cast<HRESULT>(0x80004005L), data.hr()) << uri;
        EXPECT_EQ(testing_support::ExpectedFrameLine(L"CryptXmlOpenToDecode",
                                                     L"an error occurred. function: SigContext::SigContext. desc: An "
                                                     L"error occurred in TXFMURL when resolving URL"),
                  dll().LastMessage())
            << uri;
    }
}

// XML that a base64 transform hands to canonicalisation is parsed again. A DOCTYPE there is
// refused: the reference fails, the outside entity is not read.
TEST_F(Fetch, XmlInsideABase64TransformReadsNothing) {
    const Bait& bait = Bait::Get();
    const std::string benign = "<a>benign</a>";
    signtest::NewSig sig("<Invoice><Data Id=\"d\">" + Base64(benign) + "</Data></Invoice>");
    sig.Ref(L"#d", {signtest::kBase64, signtest::kC14n});
    ASSERT_EQ(S_OK, sig.last());
    ASSERT_EQ(S_OK, sig.SignHmac(kSecret));
    const std::string encoded = sig.Encode();
    // The signature value covers SignedInfo only: it stays good with other data.
    for (const std::string& url : {bait.FileUrl("base64.txt"), bait.HttpUrl("base64.txt")}) {
        const std::string hostileXml = "<!DOCTYPE a [<!ENTITY x SYSTEM \"" + url + "\">]><a>&x;</a>";
        const signtest::Verified v = OpenAndVerify(Replace(encoded, Base64(benign), Base64(hostileXml)));
        EXPECT_EQ(S_OK, v.open) << url;
        EXPECT_EQ(kVerifyFailed, v.verify) << url;
        EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_ERROR_SIGNATURE_INVALID), v.sigStatus.dwErrorStatus) << url;
    }
    const signtest::Verified good = OpenAndVerify(encoded);
    EXPECT_EQ(S_OK, good.verify);
}

// Run alone by fetch-watch.py after everything else: one read of a bait file and one
// connection to the listener, which the watch must see.
TEST(FetchControl, ReadsTheControlFileAndCallsTheListener) {
    const Bait& bait = Bait::Get();
    std::vector<unsigned char> bytes;
    ASSERT_TRUE(testing_support::ReadHostFile(bait.Dir() + "/control.txt", bytes));
    EXPECT_FALSE(bytes.empty());

    WSADATA data;
    ASSERT_EQ(0, WSAStartup(MAKEWORD(2, 2), &data));
    const std::string hostPort = bait.Http().substr(bait.Http().find("//") + 2);
    const std::string port = hostPort.substr(hostPort.find(':') + 1);
    SOCKET s = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    ASSERT_NE(INVALID_SOCKET, s);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<u_short>(std::stoi(port)));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(0, connect(s, reinterpret_cast<sockaddr*>(&address), sizeof(address)));
    const std::string request = "GET /control HTTP/1.0\r\n\r\n";
    EXPECT_EQ(static_cast<int>(request.size()), send(s, request.data(), static_cast<int>(request.size()), 0));
    char reply[256];
    EXPECT_GT(recv(s, reply, sizeof(reply), 0), 0);
    closesocket(s);
    WSACleanup();
}
