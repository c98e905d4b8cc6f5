#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "base/CryptXmlException.hpp"
#include "crypto/XmlStack.hpp"
#include "dsig/KeyInfoStructWrap.hpp"
#include "support/CaughtException.hpp"
#include "support/TraceLines.hpp"

using testing_support::Caught;
using testing_support::InvalidArgMessage;

namespace {

// "Xerces" in Base64, and the bytes it stands for.
constexpr wchar_t kXercesB64[] = L"WGVyY2Vz";
const std::vector<BYTE> kXerces{'X', 'e', 'r', 'c', 'e', 's'};
constexpr wchar_t kNoBytesB64[] = L"!!!!";  // not empty, decodes to nothing

std::string NoDetailMessage(const std::string& function) {
    return "an error occurred. function: " + function + ". desc: One or more arguments are invalid ";
}

#define EXPECT_INVALID_ARG(call, message)             \
    do {                                              \
        CryptXmlException e_ = Caught([&] { call; }); \
        EXPECT_EQ(hr::kInvalidArg, e_.hr());          \
        EXPECT_EQ(std::string(message), e_.what());   \
    } while (false)

std::vector<BYTE> Bytes(const CRYPT_XML_DATA_BLOB& blob) {
    return std::vector<BYTE>(blob.pbData, blob.pbData + blob.cbData);
}
std::vector<BYTE> Bytes(const CRYPT_XML_BLOB& blob) {
    return std::vector<BYTE>(blob.pbData, blob.pbData + blob.cbData);
}

class StructWrapTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { xmlStack::Ensure(); }
};

}  // namespace

// ---- KeyValueStructWrap

TEST_F(StructWrapTest, NewKeyValueIsZero) {
    KeyValueStructWrap wrap;
    const CRYPT_XML_KEY_VALUE zero{};
    EXPECT_EQ(0, std::memcmp(&zero, &wrap.Get(), sizeof zero));
}

TEST_F(StructWrapTest, RsaKeyIsDecoded) {
    KeyValueStructWrap wrap;
    wrap.SetRsaKey(kXercesB64, L"AQAB");
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEY_VALUE_TYPE_RSA), wrap.Get().dwType);
    EXPECT_EQ(kXerces, Bytes(wrap.Get().RSAKeyValue.Modulus));
    EXPECT_EQ((std::vector<BYTE>{1, 0, 1}), Bytes(wrap.Get().RSAKeyValue.Exponent));
}

TEST_F(StructWrapTest, RsaKeyRejectsNullAndEmptyTexts) {
    KeyValueStructWrap wrap;
    const std::string message = NoDetailMessage("KeyValueStructWrap::SetRsaKey");
    EXPECT_INVALID_ARG(wrap.SetRsaKey(nullptr, L"AQAB"), message);
    EXPECT_INVALID_ARG(wrap.SetRsaKey(kXercesB64, nullptr), message);
    EXPECT_INVALID_ARG(wrap.SetRsaKey(L"", L"AQAB"), message);
    EXPECT_INVALID_ARG(wrap.SetRsaKey(kXercesB64, L""), message);
    EXPECT_EQ(0u, wrap.Get().dwType);
}

TEST_F(StructWrapTest, RsaKeyRejectsTextWithoutBytesAndKeepsThePreviousKey) {
    KeyValueStructWrap wrap;
    wrap.SetRsaKey(kXercesB64, L"AQAB");
    const CRYPT_XML_KEY_VALUE before = wrap.Get();
    EXPECT_INVALID_ARG(wrap.SetRsaKey(kXercesB64, kNoBytesB64),
                       InvalidArgMessage("KeyValueStructWrap::SetRsaKey", "decodes to no bytes"));
    EXPECT_INVALID_ARG(wrap.SetRsaKey(kNoBytesB64, L"AQAB"),
                       InvalidArgMessage("KeyValueStructWrap::SetRsaKey", "decodes to no bytes"));
    EXPECT_EQ(0, std::memcmp(&before, &wrap.Get(), sizeof before));
    EXPECT_EQ(kXerces, Bytes(wrap.Get().RSAKeyValue.Modulus));
}

TEST_F(StructWrapTest, DsaKeyIsDecodedAndLeavesTheRestEmpty) {
    KeyValueStructWrap wrap;
    wrap.SetDsaKey(L"AQ==", L"AgI=", L"AwMD", kXercesB64);
    const CRYPT_XML_KEY_DSA_KEY_VALUE& dsa = wrap.Get().DSAKeyValue;
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEY_VALUE_TYPE_DSA), wrap.Get().dwType);
    EXPECT_EQ((std::vector<BYTE>{1}), Bytes(dsa.P));
    EXPECT_EQ((std::vector<BYTE>{2, 2}), Bytes(dsa.Q));
    EXPECT_EQ((std::vector<BYTE>{3, 3, 3}), Bytes(dsa.G));
    EXPECT_EQ(kXerces, Bytes(dsa.Y));
    for (const CRYPT_XML_DATA_BLOB* blob : {&dsa.J, &dsa.Seed, &dsa.Counter}) {
        EXPECT_EQ(0u, blob->cbData);
        EXPECT_EQ(nullptr, blob->pbData);
    }
}

TEST_F(StructWrapTest, DsaKeyRejectsAnyNull) {
    KeyValueStructWrap wrap;
    const std::string message = NoDetailMessage("KeyValueStructWrap::SetDsaKey");
    EXPECT_INVALID_ARG(wrap.SetDsaKey(nullptr, L"AQ==", L"AQ==", L"AQ=="), message);
    EXPECT_INVALID_ARG(wrap.SetDsaKey(L"AQ==", nullptr, L"AQ==", L"AQ=="), message);
    EXPECT_INVALID_ARG(wrap.SetDsaKey(L"AQ==", L"AQ==", nullptr, L"AQ=="), message);
    EXPECT_INVALID_ARG(wrap.SetDsaKey(L"AQ==", L"AQ==", L"AQ==", nullptr), message);
    EXPECT_EQ(0u, wrap.Get().dwType);
}

TEST_F(StructWrapTest, DsaKeyAcceptsFourEmptyTexts) {
    KeyValueStructWrap wrap;
    wrap.SetDsaKey(L"", L"", L"", L"");
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEY_VALUE_TYPE_DSA), wrap.Get().dwType);
    EXPECT_EQ(0u, wrap.Get().DSAKeyValue.P.cbData);
    EXPECT_EQ(0u, wrap.Get().DSAKeyValue.Y.cbData);
}

TEST_F(StructWrapTest, DsaKeyRejectsNonEmptyTextWithoutBytes) {
    KeyValueStructWrap wrap;
    EXPECT_INVALID_ARG(wrap.SetDsaKey(L"AQ==", L"AQ==", kNoBytesB64, L"AQ=="),
                       InvalidArgMessage("KeyValueStructWrap::SetDsaKey", "decodes to no bytes"));
    EXPECT_EQ(0u, wrap.Get().dwType);
    EXPECT_EQ(0u, wrap.Get().DSAKeyValue.P.cbData);
}

TEST_F(StructWrapTest, GostKeyKeepsTheSerialisedElement) {
    KeyValueStructWrap wrap;
    const std::vector<BYTE> xml{'<', 0, 'k', 0, '/', 0, '>', 0};
    wrap.SetGostKey(CRYPT_XML_CHARSET_UTF16LE, xml);
    EXPECT_EQ(8u, wrap.Get().dwType);
    EXPECT_EQ(CRYPT_XML_CHARSET_UTF16LE, wrap.Get().GOSTKeyValue.dwCharset);
    EXPECT_EQ(xml, Bytes(wrap.Get().GOSTKeyValue));
    EXPECT_NE(xml.data(), wrap.Get().GOSTKeyValue.pbData);  // a copy
    EXPECT_INVALID_ARG(wrap.SetGostKey(CRYPT_XML_CHARSET_UTF8, {}), NoDetailMessage("KeyValueStructWrap::SetGostKey"));
    EXPECT_EQ(xml, Bytes(wrap.Get().GOSTKeyValue));
}

// ---- X509DataStructWrap

TEST_F(StructWrapTest, NewX509DataIsEmpty) {
    X509DataStructWrap wrap;
    EXPECT_EQ(0u, wrap.Get().cX509Data);
    EXPECT_EQ(nullptr, wrap.Get().rgX509Data);
}

TEST_F(StructWrapTest, SubjectNameTwiceRewritesTheFirstItem) {
    X509DataStructWrap wrap;
    wrap.SetSubjectName(L"CN=first");
    wrap.AddCert(kXercesB64);
    wrap.SetSubjectName(L"CN=second");
    ASSERT_EQ(2u, wrap.Get().cX509Data);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_SUBJECT_NAME), wrap.Get().rgX509Data[0].dwType);
    EXPECT_STREQ(L"CN=second", wrap.Get().rgX509Data[0].wszSubjectName);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_CERTIFICATE), wrap.Get().rgX509Data[1].dwType);
    EXPECT_INVALID_ARG(wrap.SetSubjectName(L""), NoDetailMessage("X509DataStructWrap::SetSubjectName"));
}

TEST_F(StructWrapTest, SkiIsDecodedAndKeptOnce) {
    X509DataStructWrap wrap;
    wrap.SetSKI(L"AQID");
    wrap.SetSKI(kXercesB64);
    ASSERT_EQ(1u, wrap.Get().cX509Data);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_SKI), wrap.Get().rgX509Data[0].dwType);
    EXPECT_EQ(kXerces, Bytes(wrap.Get().rgX509Data[0].SKI));
}

TEST_F(StructWrapTest, SkiWithoutBytesFailsLikeEmptyText) {
    X509DataStructWrap wrap;
    const std::string message = NoDetailMessage("X509DataStructWrap::SetSKI");
    EXPECT_INVALID_ARG(wrap.SetSKI(L""), message);
    EXPECT_INVALID_ARG(wrap.SetSKI(kNoBytesB64), message);
    EXPECT_EQ(0u, wrap.Get().cX509Data);
    wrap.SetSKI(kXercesB64);
    EXPECT_INVALID_ARG(wrap.SetSKI(kNoBytesB64), message);
    EXPECT_EQ(kXerces, Bytes(wrap.Get().rgX509Data[0].SKI));
}

TEST_F(StructWrapTest, IssuerAndSerial) {
    X509DataStructWrap wrap;
    const std::string function = "X509DataStructWrap::SetIssuerNameAndSerial";
    EXPECT_INVALID_ARG(wrap.SetIssuerNameAndSerial(L"", L""),
                       InvalidArgMessage(function, "issuerCertSubjectDn is empty"));
    EXPECT_INVALID_ARG(wrap.SetIssuerNameAndSerial(L"CN=ca", L""),
                       InvalidArgMessage(function, "issuerCertSerialNum is empty"));
    EXPECT_EQ(0u, wrap.Get().cX509Data);
    wrap.SetIssuerNameAndSerial(L"CN=ca", L"42");
    wrap.SetIssuerNameAndSerial(L"CN=other", L"7");
    ASSERT_EQ(1u, wrap.Get().cX509Data);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_ISSUER_SERIAL), wrap.Get().rgX509Data[0].dwType);
    EXPECT_STREQ(L"CN=other", wrap.Get().rgX509Data[0].IssuerSerial.wszIssuer);
    EXPECT_STREQ(L"7", wrap.Get().rgX509Data[0].IssuerSerial.wszSerial);
}

TEST_F(StructWrapTest, ThreeCertificatesInCallOrder) {
    X509DataStructWrap wrap;
    wrap.AddCert(L"AQ==");
    wrap.AddCert(L"AgI=");
    wrap.AddCert(L"AwMD");
    ASSERT_EQ(3u, wrap.Get().cX509Data);
    for (BYTE i = 0; i < 3; ++i) {
        EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_CERTIFICATE), wrap.Get().rgX509Data[i].dwType);
        EXPECT_EQ(std::vector<BYTE>(i + 1u, static_cast<BYTE>(i + 1)), Bytes(wrap.Get().rgX509Data[i].Certificate));
    }
}

TEST_F(StructWrapTest, CertificatesAndCrlsRefuseEmptyOrByteless) {
    X509DataStructWrap wrap;
    EXPECT_INVALID_ARG(wrap.AddCert(L""), NoDetailMessage("X509DataStructWrap::AddCert"));
    EXPECT_INVALID_ARG(wrap.AddCert(kNoBytesB64),
                       InvalidArgMessage("X509DataStructWrap::AddCert", "decodes to no bytes"));
    EXPECT_INVALID_ARG(wrap.AddCRL(L""), NoDetailMessage("X509DataStructWrap::AddCRL"));
    EXPECT_INVALID_ARG(wrap.AddCRL(kNoBytesB64),
                       InvalidArgMessage("X509DataStructWrap::AddCRL", "decodes to no bytes"));
    EXPECT_EQ(0u, wrap.Get().cX509Data);
    wrap.AddCRL(kXercesB64);
    ASSERT_EQ(1u, wrap.Get().cX509Data);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_CRL), wrap.Get().rgX509Data[0].dwType);
    EXPECT_EQ(kXerces, Bytes(wrap.Get().rgX509Data[0].CRL));
}

TEST_F(StructWrapTest, CustomChecksTheCharsetFirst) {
    X509DataStructWrap wrap;
    const std::string function = "X509DataStructWrap::AddCustom";
    const std::vector<BYTE> xml{'<', 'c', '/', '>'};
    EXPECT_INVALID_ARG(wrap.AddCustom(0, xml), InvalidArgMessage(function, "invalid charset"));
    EXPECT_INVALID_ARG(wrap.AddCustom(4, xml), InvalidArgMessage(function, "invalid charset"));
    EXPECT_INVALID_ARG(wrap.AddCustom(-1, {}), InvalidArgMessage(function, "invalid charset"));
    EXPECT_INVALID_ARG(wrap.AddCustom(1, {}), InvalidArgMessage(function, "unparsedXml is empty."));
    EXPECT_EQ(0u, wrap.Get().cX509Data);
    wrap.AddCustom(3, xml);
    ASSERT_EQ(1u, wrap.Get().cX509Data);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_X509DATA_TYPE_CUSTOM), wrap.Get().rgX509Data[0].dwType);
    EXPECT_EQ(CRYPT_XML_CHARSET_UTF16BE, wrap.Get().rgX509Data[0].Custom.dwCharset);
    EXPECT_EQ(xml, Bytes(wrap.Get().rgX509Data[0].Custom));
}

TEST_F(StructWrapTest, X509ItemsKeepTheirBytesWhileTheArrayGrows) {
    X509DataStructWrap wrap;
    wrap.AddCert(kXercesB64);
    const CRYPT_XML_DATA_BLOB first = wrap.Get().rgX509Data[0].Certificate;
    for (int i = 0; i < 100; ++i) wrap.AddCRL(L"AQID");
    ASSERT_EQ(101u, wrap.Get().cX509Data);
    EXPECT_EQ(first.pbData, wrap.Get().rgX509Data[0].Certificate.pbData);
    EXPECT_EQ(kXerces, Bytes(wrap.Get().rgX509Data[0].Certificate));
    EXPECT_EQ((std::vector<BYTE>{1, 2, 3}), Bytes(wrap.Get().rgX509Data[100].CRL));
}

// ---- KeyInfoStructWrap

TEST_F(StructWrapTest, NewKeyInfoPublishesItsSize) {
    KeyInfoStructWrap wrap;
    EXPECT_EQ(40u, wrap.Get().cbSize);
    EXPECT_EQ(nullptr, wrap.Get().wszId);
    EXPECT_EQ(0u, wrap.Get().cKeyInfo);
    EXPECT_EQ(nullptr, wrap.Get().rgKeyInfo);
    EXPECT_EQ(nullptr, wrap.Get().hVerifyKey);
    EXPECT_EQ(&wrap.Get(), wrap.GetPtr());
}

TEST_F(StructWrapTest, SetIdNullAndEmpty) {
    KeyInfoStructWrap wrap;
    std::wstring id = L"ki-1";
    wrap.SetId(id.c_str());
    id = L"changed";
    EXPECT_STREQ(L"ki-1", wrap.Get().wszId);
    wrap.SetId(L"");
    ASSERT_NE(nullptr, wrap.Get().wszId);
    EXPECT_STREQ(L"", wrap.Get().wszId);
    wrap.SetId(nullptr);
    EXPECT_EQ(nullptr, wrap.Get().wszId);
}

TEST_F(StructWrapTest, GostKeyValueItem) {
    KeyInfoStructWrap wrap;
    auto keyValue = std::make_unique<KeyValueStructWrap>();
    const std::vector<BYTE> xml{'<', 0, 'g', 0, '/', 0, '>', 0};
    keyValue->SetGostKey(2, xml);
    wrap.AddKeyValueNode(std::move(keyValue));
    ASSERT_EQ(1u, wrap.Get().cKeyInfo);
    const CRYPT_XML_KEY_INFO_ITEM& item = wrap.Get().rgKeyInfo[0];
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEYINFO_TYPE_KEYVALUE), item.dwType);
    EXPECT_EQ(8u, item.KeyValue.dwType);
    EXPECT_EQ(CRYPT_XML_CHARSET_UTF16LE, item.KeyValue.GOSTKeyValue.dwCharset);
    EXPECT_EQ(xml, Bytes(item.KeyValue.GOSTKeyValue));
}

TEST_F(StructWrapTest, NullWrappersAndEmptyDataAreRejected) {
    KeyInfoStructWrap wrap;
    EXPECT_INVALID_ARG(wrap.AddKeyValueNode(nullptr), NoDetailMessage("KeyInfoStructWrap::AddKeyValueNode"));
    EXPECT_INVALID_ARG(wrap.AddX509DataNode(nullptr), NoDetailMessage("KeyInfoStructWrap::AddX509DataNode"));
    EXPECT_INVALID_ARG(wrap.AddRetrivalMethodNode(1, {}), NoDetailMessage("KeyInfoStructWrap::AddRetrivalMethodNode"));
    EXPECT_INVALID_ARG(wrap.AddCustomDataNode(1, {}), NoDetailMessage("KeyInfoStructWrap::AddCustomDataNode"));
    EXPECT_EQ(0u, wrap.Get().cKeyInfo);
    EXPECT_EQ(nullptr, wrap.Get().rgKeyInfo);
}

TEST_F(StructWrapTest, FiveKindsInCallOrderAndStablePointers) {
    KeyInfoStructWrap wrap;
    auto x509 = std::make_unique<X509DataStructWrap>();
    x509->AddCert(kXercesB64);
    x509->SetSubjectName(L"CN=subject");
    const CRYPT_XML_X509DATA_ITEM* x509Items = x509->Get().rgX509Data;
    wrap.AddX509DataNode(std::move(x509));
    const CRYPT_XML_X509DATA firstX509 = wrap.Get().rgKeyInfo[0].X509Data;

    auto rsa = std::make_unique<KeyValueStructWrap>();
    rsa->SetRsaKey(kXercesB64, L"AQAB");
    wrap.AddKeyValueNode(std::move(rsa));
    wrap.AddKeyNameNode(L"my key");
    wrap.AddRetrivalMethodNode(3, {'<', 'r', '/', '>'});
    wrap.AddCustomDataNode(1, {'<', 'c', '/', '>'});

    ASSERT_EQ(5u, wrap.Get().cKeyInfo);
    const CRYPT_XML_KEY_INFO_ITEM* items = wrap.Get().rgKeyInfo;
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEYINFO_TYPE_X509DATA), items[0].dwType);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEYINFO_TYPE_KEYVALUE), items[1].dwType);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEYINFO_TYPE_KEYNAME), items[2].dwType);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEYINFO_TYPE_RETRIEVAL), items[3].dwType);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEYINFO_TYPE_CUSTOM), items[4].dwType);

    EXPECT_EQ(2u, items[0].X509Data.cX509Data);
    EXPECT_EQ(x509Items, items[0].X509Data.rgX509Data);
    EXPECT_EQ(kXerces, Bytes(items[0].X509Data.rgX509Data[0].Certificate));
    EXPECT_STREQ(L"CN=subject", items[0].X509Data.rgX509Data[1].wszSubjectName);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_KEY_VALUE_TYPE_RSA), items[1].KeyValue.dwType);
    EXPECT_EQ(kXerces, Bytes(items[1].KeyValue.RSAKeyValue.Modulus));
    EXPECT_STREQ(L"my key", items[2].wszKeyName);
    EXPECT_EQ(CRYPT_XML_CHARSET_UTF16BE, items[3].RetrievalMethod.dwCharset);
    EXPECT_EQ((std::vector<BYTE>{'<', 'r', '/', '>'}), Bytes(items[3].RetrievalMethod));
    EXPECT_EQ(CRYPT_XML_CHARSET_UTF8, items[4].Custom.dwCharset);
    EXPECT_EQ((std::vector<BYTE>{'<', 'c', '/', '>'}), Bytes(items[4].Custom));

    // The first item still holds exactly what it held before the later additions.
    EXPECT_EQ(firstX509.cX509Data, items[0].X509Data.cX509Data);
    EXPECT_EQ(firstX509.rgX509Data, items[0].X509Data.rgX509Data);
}

TEST_F(StructWrapTest, FirstItemPointersSurviveAHundredAdditions) {
    KeyInfoStructWrap wrap;
    wrap.AddKeyNameNode(L"first");
    const CRYPT_XML_KEY_INFO_ITEM firstName = wrap.Get().rgKeyInfo[0];
    auto key = std::make_unique<KeyValueStructWrap>();
    key->SetDsaKey(L"AQ==", L"AgI=", L"AwMD", kXercesB64);
    wrap.AddKeyValueNode(std::move(key));
    const CRYPT_XML_KEY_VALUE firstKey = wrap.Get().rgKeyInfo[1].KeyValue;
    wrap.AddCustomDataNode(2, {'x'});
    const CRYPT_XML_BLOB firstCustom = wrap.Get().rgKeyInfo[2].Custom;

    for (int i = 0; i < 100; ++i) {
        wrap.AddKeyNameNode(std::to_wstring(i).c_str());
        wrap.AddCustomDataNode(1, std::vector<BYTE>(50, static_cast<BYTE>(i)));
        auto more = std::make_unique<KeyValueStructWrap>();
        more->SetRsaKey(L"AQID", L"AQAB");
        wrap.AddKeyValueNode(std::move(more));
    }
    ASSERT_EQ(303u, wrap.Get().cKeyInfo);
    const CRYPT_XML_KEY_INFO_ITEM* items = wrap.Get().rgKeyInfo;
    EXPECT_EQ(firstName.wszKeyName, items[0].wszKeyName);
    EXPECT_STREQ(L"first", items[0].wszKeyName);
    EXPECT_EQ(0, std::memcmp(&firstKey, &items[1].KeyValue, sizeof firstKey));
    EXPECT_EQ(kXerces, Bytes(items[1].KeyValue.DSAKeyValue.Y));
    EXPECT_EQ(firstCustom.pbData, items[2].Custom.pbData);
    EXPECT_EQ((std::vector<BYTE>{'x'}), Bytes(items[2].Custom));
    EXPECT_STREQ(L"99", items[300].wszKeyName);
    EXPECT_EQ(std::vector<BYTE>(50, 99), Bytes(items[301].Custom));
}

TEST_F(StructWrapTest, AdoptedWrapperChangesDoNotReachTheItem) {
    KeyInfoStructWrap wrap;
    auto x509 = std::make_unique<X509DataStructWrap>();
    x509->AddCert(kXercesB64);
    X509DataStructWrap* adopted = x509.get();
    wrap.AddX509DataNode(std::move(x509));
    adopted->AddCert(L"AQID");
    EXPECT_EQ(2u, adopted->Get().cX509Data);
    EXPECT_EQ(1u, wrap.Get().rgKeyInfo[0].X509Data.cX509Data);
}
