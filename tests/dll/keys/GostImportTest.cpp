// GOST key values (dwType 8). The outcome depends on the prefix's providers:
//   GostMainPrefix:  build/wineprefix, type 2 undefined (0x80090017), type 75 = softgost;
//   GostType2Prefix: build/wineprefix-type2, type 2 without provider (0x80090019), 75 = softgost;
//   GostFirstCall:   the same type-2 prefix, as the first call into a freshly loaded library.
#include <gtest/gtest.h>

#include "support/SignatureXml.hpp"
#include "KeyValues.hpp"

namespace keytest {
namespace {

const std::string kMessage = "a message signed by the soft GOST provider";

// The two lines of the fallback from type 2 to type 75.
std::vector<std::wstring> FallbackLines() {
    return {
        RoutineLine("ImportGostKey",
                    "CryptAcquireContext() returns NTE_KEYSET_NOT_DEF on (KRM_PROV_TYPE, CRYPT_VERIFYCONTEXT)"),
        RoutineLine("ImportGostKey", "Try to call CryptAcquireContext() with (CPRO_PROV_TYPE, CRYPT_VERIFYCONTEXT)")};
}

struct GostSigner : SigningKey {
    GostSigner() : SigningKey(kCproProvType, kGr3410El, 0, kGr3411) {}
    Bytes Point() const { return GostPointFromBlob(PublicBlob()); }
};

// How far a failed GOST import got: the provider out value is zeroed when the provider
// is looked for; the key out value is written only on success.
enum class Reached { kBeforeProvider, kProvider };

// A failed import: the code, exactly `lines`, and the out values as far as it got.
void ExpectFailure(const ImportResult& r, HRESULT expected, const std::vector<std::wstring>& lines,
                   Reached reached = Reached::kBeforeProvider) {
    EXPECT_EQ(expected, r.hr);
    EXPECT_EQ(lines, r.lines);
    if (!lines.empty()) {
        EXPECT_EQ(lines.back(), dll().LastMessage());
    }
    EXPECT_EQ(reached == Reached::kProvider ? 0u : kUntouched, r.prov);
    EXPECT_EQ(kUntouched, r.key);
}

void ExpectImportVerifies(const CRYPT_XML_KEY_VALUE& value, const GostSigner& signer) {
    ImportResult r = Import(value);
    ASSERT_EQ(S_OK, r.hr);
    EXPECT_EQ(FallbackLines(), r.lines);
    EXPECT_EQ(FallbackLines().back(), dll().LastMessage());
    ASSERT_NE(0u, r.prov);
    ASSERT_NE(0u, r.key);
    ASSERT_NE(kUntouched, r.prov);
    ASSERT_NE(kUntouched, r.key);
    DWORD type = 0, length = sizeof type;
    EXPECT_TRUE(CryptGetProvParam(r.prov, PP_PROVTYPE, reinterpret_cast<BYTE*>(&type), &length, 0));
    EXPECT_EQ(kCproProvType, type);
    Bytes signature = signer.Sign(kMessage);
    EXPECT_EQ(0u, VerifyError(r.prov, r.key, kGr3411, kMessage, signature));
    signature[5] ^= 0x40;
    EXPECT_EQ(static_cast<DWORD>(NTE_BAD_SIGNATURE), VerifyError(r.prov, r.key, kGr3411, kMessage, signature));
    EXPECT_TRUE(CryptDestroyKey(r.key));
    EXPECT_TRUE(CryptReleaseContext(r.prov, 0));
    r.key = r.prov = 0;
}

TEST(GostMainPrefix, Type2UndefinedFailsWithTheFirstProviderError) {
    const GostSigner signer;
    GostValue gost(KeyValueElement(GostKeyValueDsig(signer.Point())), CRYPT_XML_CHARSET_UTF8);
    ExpectFailure(Import(gost.value), kFail,
                  {GostExceptionLine("ImportGostKey",
                                     "CryptAcquireContext(KRM_PROV_TYPE,CRYPT_VERIFYCONTEXT) returns 0x80090017")},
                  Reached::kProvider);
}

TEST(GostFirstCall, ImportBeforeAnyDocumentWasOpened) {
    const GostSigner signer;
    GostValue gost(KeyValueElement(GostKeyValueDsig(signer.Point())), CRYPT_XML_CHARSET_UTF8);
    ExpectImportVerifies(gost.value, signer);
}

class GostType2Prefix : public testing::TestWithParam<CRYPT_XML_CHARSET> {};

TEST_P(GostType2Prefix, DsigNamespaceForm) {
    const GostSigner signer;
    GostValue gost(KeyValueElement(GostKeyValueDsig(signer.Point())), GetParam());
    ExpectImportVerifies(gost.value, signer);
}

TEST_P(GostType2Prefix, CpxmlsecForm) {
    const GostSigner signer;
    GostValue gost(KeyValueElement(GostKeyValueCpxmlsec(signer.Point())), GetParam());
    ExpectImportVerifies(gost.value, signer);
}

TEST_P(GostType2Prefix, SubjectPublicKeyInfoForm) {
    const GostSigner signer;
    GostValue gost(KeyValueElement(GostKeyValueSpki(signer.Point())), GetParam());
    ExpectImportVerifies(gost.value, signer);
}

INSTANTIATE_TEST_SUITE_P(Charsets, GostType2Prefix, testing::Values(CRYPT_XML_CHARSET_UTF8, CRYPT_XML_CHARSET_UTF16LE),
                         [](const testing::TestParamInfo<CRYPT_XML_CHARSET>& info) {
                             return info.param == CRYPT_XML_CHARSET_UTF8 ? "Utf8" : "Utf16Le";
                         });

TEST(GostType2Prefix, EmptyBlobIsAnInvalidArgument) {
    const std::wstring line = GostExceptionLine(
        "ImportGostKey", "One or more arguments are invalid  NULL == keyValue.pbData || 0 == keyValue.cbData");
    GostValue nullData(KeyValueElement(GostKeyValueDsig(Bytes(64, 1))), CRYPT_XML_CHARSET_UTF8);
    nullData.value.GOSTKeyValue.pbData = nullptr;
    ExpectFailure(Import(nullData.value), kInvalidArg, {line});
    GostValue zeroLength(KeyValueElement(GostKeyValueDsig(Bytes(64, 1))), CRYPT_XML_CHARSET_UTF8);
    zeroLength.value.GOSTKeyValue.cbData = 0;
    ExpectFailure(Import(zeroLength.value), kInvalidArg, {line});
}

TEST(GostType2Prefix, BlobBeyondTheMaximumIsTooLarge) {
    GostValue gost(KeyValueElement(GostKeyValueDsig(Bytes(64, 1))), CRYPT_XML_CHARSET_UTF8);
    gost.value.GOSTKeyValue.cbData = kBeyondBlobMax;
    ExpectFailure(
        Import(gost.value), kLarge,
        {GostExceptionLine("ImportGostKey",
                           "The value is too large. the length of keyValue xml is exceeded CRYPT_XML_BLOB_MAX.")});
}

TEST(GostType2Prefix, KeyValueWithoutPublicKey) {
    GostValue gost(KeyValueElement("<GOSTKeyValue><PublicKeyParameters>"
                                   "<publicKeyParamSet>urn:oid:1.2.643.2.2.35.1</publicKeyParamSet>"
                                   "<digestParamSet>urn:oid:1.2.643.2.2.30.1</digestParamSet>"
                                   "</PublicKeyParameters></GOSTKeyValue>"),
                   CRYPT_XML_CHARSET_UTF8);
    ExpectFailure(Import(gost.value), kFail, {GostExceptionLine("ImportGostKey", "pubkey is empty.")});
}

TEST(GostType2Prefix, DsigFormWithoutPublicKeyParamSet) {
    const GostSigner signer;
    GostValue gost(KeyValueElement("<GOSTKeyValue><PublicKeyParameters>"
                                   "<digestParamSet>urn:oid:1.2.643.2.2.30.1</digestParamSet>"
                                   "</PublicKeyParameters><PublicKey>" +
                                   Base64(signer.Point()) + "</PublicKey></GOSTKeyValue>"),
                   CRYPT_XML_CHARSET_UTF8);
    ExpectFailure(Import(gost.value), kFail, {GostExceptionLine("ImportGostKey", "pubKeyParamSet is empty.")});
}

TEST(GostType2Prefix, MalformedXmlIsAParseError) {
    GostValue gost("<KeyValue xmlns=\"http://www.w3.org/2000/09/xmldsig#\"><GOSTKeyValue>", CRYPT_XML_CHARSET_UTF8);
    ExpectFailure(Import(gost.value), kInvalidFormat,
                  {GostExceptionLine("CreateDomStructure",
                                     "The input data was not in the expected format or did not have the expected "
                                     "value. error(s) occured during the parsing of the blob.")});
}

// What the decoder hands out as a signature's GOST KeyValue is accepted as it is.
TEST(GostType2Prefix, KeyValueOfADecodedSignature) {
    const GostSigner signer;
    testing_support::SigParts parts;
    parts.signatureMethod = "urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411";
    parts.references =
        testing_support::SigParts::Reference("#obj1", "", "", "urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411",
                                             "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8=");
    parts.keyInfo =
        "<KeyInfo><KeyName>soft gost</KeyName><KeyValue>" + GostKeyValueDsig(signer.Point()) + "</KeyValue></KeyInfo>";
    std::string xml = testing_support::Document(parts.Xml());
    CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(xml.size()), reinterpret_cast<BYTE*>(&xml[0])};
    HCRYPTXML doc = nullptr;
    ASSERT_EQ(S_OK, dll().OpenToDecode(nullptr, 0, nullptr, 0, &blob, &doc));
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    ASSERT_EQ(S_OK, dll().GetDocContext(doc, &ctxt));
    ASSERT_EQ(1u, ctxt->cSignature);
    const CRYPT_XML_KEY_INFO* keyInfo = ctxt->rgpSignature[0]->pKeyInfo;
    ASSERT_NE(nullptr, keyInfo);
    ASSERT_EQ(2u, keyInfo->cKeyInfo);
    const CRYPT_XML_KEY_INFO_ITEM& item = keyInfo->rgKeyInfo[1];
    ASSERT_EQ(static_cast<DWORD>(CRYPT_XML_KEYINFO_TYPE_KEYVALUE), item.dwType);
    ASSERT_EQ(static_cast<DWORD>(CRYPT_XML_KEY_VALUE_TYPE_GOST), item.KeyValue.dwType);
    ExpectImportVerifies(item.KeyValue, signer);
    EXPECT_EQ(S_OK, dll().Close(doc));
}

}  // namespace
}  // namespace keytest
