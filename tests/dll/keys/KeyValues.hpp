#pragma once
// Public keys taken from CryptoAPI PUBLICKEYBLOBs and written as CRYPT_XML_KEY_VALUEs.
#include <string>

#include "KeyTestSupport.hpp"

namespace keytest {

// Big-endian numbers, as a KeyValue carries them.
struct RsaNumbers {
    Bytes modulus, exponent;
};
struct DsaNumbers {
    Bytes p, q, g, y;
};

RsaNumbers RsaFromBlob(const Bytes& publicKeyBlob);
// Reads both layouts: the CryptoAPI one (BLOBHEADER, "DSS1", little-endian numbers) and the
// BCrypt one (magic "DSPB", big-endian numbers) that Wine's dssenh exports.
DsaNumbers DsaFromBlob(const Bytes& publicKeyBlob);
// X || Y, little-endian, from a GOST PUBLICKEYBLOB on the CryptoPro-A parameter set.
Bytes GostPointFromBlob(const Bytes& publicKeyBlob);

inline CRYPT_XML_DATA_BLOB DataBlob(const Bytes& bytes) {
    return {static_cast<ULONG>(bytes.size()), const_cast<BYTE*>(bytes.data())};
}

CRYPT_XML_KEY_VALUE RsaValue(const RsaNumbers& n);
CRYPT_XML_KEY_VALUE DsaValue(const DsaNumbers& n);

// The three ways a GOST public key is written as a KeyValue element.
std::string GostKeyValueDsig(const Bytes& point);              // (a) XML-DSig namespace, raw point
std::string GostKeyValueCpxmlsec(const Bytes& point);          // (b) cpxmlsec namespace, OCTET STRING
std::string GostKeyValueSpki(const Bytes& point);              // (c) a whole SubjectPublicKeyInfo
std::string KeyValueElement(const std::string& gostKeyValue);  // <KeyValue xmlns=dsig>...</KeyValue>

// A GOST key value: the serialised element in one charset, and the CRYPT_XML_KEY_VALUE
// pointing at it.
struct GostValue {
    Bytes text;
    CRYPT_XML_KEY_VALUE value{};
    GostValue(const std::string& xml, CRYPT_XML_CHARSET charset);
    GostValue(const GostValue&) = delete;
    GostValue& operator=(const GostValue&) = delete;
};

}  // namespace keytest
