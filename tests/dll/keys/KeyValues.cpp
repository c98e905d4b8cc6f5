#include "KeyValues.hpp"

#include <gtest/gtest.h>

#include <cstring>

namespace keytest {
namespace {

constexpr DWORD kRsa1 = 0x31415352;  // "RSA1"
constexpr DWORD kDss1 = 0x31535344;  // "DSS1"
constexpr DWORD kDspb = 0x42505344;  // "DSPB", BCRYPT_DSA_PUBLIC_MAGIC
constexpr size_t kDsaQLength = 20;
constexpr size_t kGostPointLength = 64;

// DER of SEQUENCE { 1.2.643.2.2.35.1, 1.2.643.2.2.30.1 }: the parameter sets softgost
// generates keys on.
const Bytes kGostParamSets = {0x30, 0x12, 0x06, 0x07, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x23,
                              0x01, 0x06, 0x07, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x1e, 0x01};

DWORD DwordAt(const Bytes& b, size_t at) {
    DWORD v = 0;
    if (at + 4 <= b.size()) std::memcpy(&v, b.data() + at, 4);
    return v;
}

Bytes Slice(const Bytes& b, size_t at, size_t length) {
    if (at + length > b.size()) {
        ADD_FAILURE() << "blob too short: " << b.size() << " < " << at + length;
        return Bytes();
    }
    return Bytes(b.begin() + static_cast<std::ptrdiff_t>(at), b.begin() + static_cast<std::ptrdiff_t>(at + length));
}

Bytes BigEndianOf(const Bytes& b, size_t at, size_t length) {
    return StripLeadingZeros(Reversed(Slice(b, at, length)));
}

DsaNumbers DsaFromCapiBlob(const Bytes& blob) {
    const size_t pLength = DwordAt(blob, 12) / 8;  // after BLOBHEADER: magic, bitlen
    size_t at = 16;
    DsaNumbers n;
    n.p = BigEndianOf(blob, at, pLength);
    n.q = BigEndianOf(blob, at += pLength, kDsaQLength);
    n.g = BigEndianOf(blob, at += kDsaQLength, pLength);
    n.y = BigEndianOf(blob, at += pLength, pLength);
    return n;
}

// magic, cbKey, Count[4], Seed[20], q[20], then p, g, y of cbKey bytes each, big-endian.
DsaNumbers DsaFromBcryptBlob(const Bytes& blob) {
    const size_t keyLength = DwordAt(blob, 4);
    size_t at = 32;
    DsaNumbers n;
    n.q = StripLeadingZeros(Slice(blob, at, kDsaQLength));
    n.p = StripLeadingZeros(Slice(blob, at += kDsaQLength, keyLength));
    n.g = StripLeadingZeros(Slice(blob, at += keyLength, keyLength));
    n.y = StripLeadingZeros(Slice(blob, at += keyLength, keyLength));
    return n;
}

void Utf8ToUtf16LeBytes(const std::string& text, Bytes& out) {
    const int count = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring wide(static_cast<size_t>(count), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &wide[0], count);
    out.resize(wide.size() * 2);
    for (size_t i = 0; i < wide.size(); ++i) {
        out[2 * i] = static_cast<BYTE>(wide[i] & 0xFF);
        out[2 * i + 1] = static_cast<BYTE>(wide[i] >> 8);
    }
}

}  // namespace

RsaNumbers RsaFromBlob(const Bytes& blob) {
    EXPECT_EQ(kRsa1, DwordAt(blob, 8));
    const size_t modulusLength = DwordAt(blob, 12) / 8;
    const DWORD exponent = DwordAt(blob, 16);
    RsaNumbers n;
    n.modulus = BigEndianOf(blob, 20, modulusLength);
    n.exponent = StripLeadingZeros({static_cast<BYTE>(exponent >> 24), static_cast<BYTE>(exponent >> 16),
                                    static_cast<BYTE>(exponent >> 8), static_cast<BYTE>(exponent)});
    return n;
}

DsaNumbers DsaFromBlob(const Bytes& blob) {
    if (DwordAt(blob, 0) == kDspb) return DsaFromBcryptBlob(blob);
    EXPECT_EQ(kDss1, DwordAt(blob, 8));
    return DsaFromCapiBlob(blob);
}

Bytes GostPointFromBlob(const Bytes& blob) {
    EXPECT_EQ(Bytes({0x06, 0x20, 0x00, 0x00, 0x23, 0x2e, 0x00, 0x00, 0x4d, 0x41, 0x47, 0x31, 0x00, 0x02, 0x00, 0x00}),
              Slice(blob, 0, 16));
    EXPECT_EQ(kGostParamSets, Slice(blob, 16, kGostParamSets.size()));
    return Slice(blob, 16 + kGostParamSets.size(), kGostPointLength);
}

CRYPT_XML_KEY_VALUE RsaValue(const RsaNumbers& n) {
    CRYPT_XML_KEY_VALUE value{};
    value.dwType = CRYPT_XML_KEY_VALUE_TYPE_RSA;
    value.RSAKeyValue.Modulus = DataBlob(n.modulus);
    value.RSAKeyValue.Exponent = DataBlob(n.exponent);
    return value;
}

// J, Seed and Counter stay empty: the import needs none of them.
CRYPT_XML_KEY_VALUE DsaValue(const DsaNumbers& n) {
    CRYPT_XML_KEY_VALUE value{};
    value.dwType = CRYPT_XML_KEY_VALUE_TYPE_DSA;
    value.DSAKeyValue.P = DataBlob(n.p);
    value.DSAKeyValue.Q = DataBlob(n.q);
    value.DSAKeyValue.G = DataBlob(n.g);
    value.DSAKeyValue.Y = DataBlob(n.y);
    return value;
}

std::string GostKeyValueDsig(const Bytes& point) {
    return "<GOSTKeyValue><PublicKeyParameters>"
           "<publicKeyParamSet>urn:oid:1.2.643.2.2.35.1</publicKeyParamSet>"
           "<digestParamSet>urn:oid:1.2.643.2.2.30.1</digestParamSet>"
           "<encryptionParamSet>urn:oid:1.2.643.2.2.31.1</encryptionParamSet>"
           "</PublicKeyParameters><PublicKey>" +
           Base64(point) + "</PublicKey></GOSTKeyValue>";
}

std::string GostKeyValueCpxmlsec(const Bytes& point) {
    Bytes octetString = {0x04, 0x40};
    octetString.insert(octetString.end(), point.begin(), point.end());
    return "<cpxmlsec:GOSTKeyValue xmlns:cpxmlsec=\"urn:ietf:params:xml:ns:cpxmlsec\">"
           "<cpxmlsec:PublicKeyParameters>"
           "<cpxmlsec:publicKeyParamSet>1.2.643.2.2.35.1</cpxmlsec:publicKeyParamSet>"
           "<cpxmlsec:digestParamSet>1.2.643.2.2.30.1</cpxmlsec:digestParamSet>"
           "</cpxmlsec:PublicKeyParameters><cpxmlsec:PublicKey>" +
           Base64(octetString) + "</cpxmlsec:PublicKey></cpxmlsec:GOSTKeyValue>";
}

// SEQUENCE { SEQUENCE { 1.2.643.2.2.19, parameter sets }, BIT STRING { OCTET STRING point } }
std::string GostKeyValueSpki(const Bytes& point) {
    Bytes spki = {0x30, 0x63, 0x30, 0x1c, 0x06, 0x06, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x13};
    spki.insert(spki.end(), kGostParamSets.begin(), kGostParamSets.end());
    spki.insert(spki.end(), {0x03, 0x43, 0x00, 0x04, 0x40});
    spki.insert(spki.end(), point.begin(), point.end());
    EXPECT_EQ(0x65u, spki.size());
    return "<GOSTKeyValue>" + Base64(spki) + "</GOSTKeyValue>";
}

std::string KeyValueElement(const std::string& gostKeyValue) {
    return "<KeyValue xmlns=\"http://www.w3.org/2000/09/xmldsig#\">" + gostKeyValue + "</KeyValue>";
}

GostValue::GostValue(const std::string& xml, CRYPT_XML_CHARSET charset) {
    if (charset == CRYPT_XML_CHARSET_UTF16LE) {
        Utf8ToUtf16LeBytes(xml, text);
    } else {
        text.assign(xml.begin(), xml.end());
    }
    value.dwType = CRYPT_XML_KEY_VALUE_TYPE_GOST;
    value.GOSTKeyValue.dwCharset = charset;
    value.GOSTKeyValue.cbData = static_cast<ULONG>(text.size());
    value.GOSTKeyValue.pbData = text.data();
}

}  // namespace keytest
