#pragma once
// The CryptoAPI PUBLICKEYBLOB of a GOST R 34.10 key, both ways, and the forms in which a
// GOST public key reaches us from XML (raw X||Y, a DER OCTET STRING of it, or a whole
// SubjectPublicKeyInfo).
#include <string>
#include <vector>

#include "base/WinApi.hpp"
#include "crypto/Ids.hpp"

namespace gostBlob {

using Bytes = std::vector<unsigned char>;

constexpr ALG_ID kAlgGost2001 = ids::kAlgGr3410El;
constexpr DWORD kMagic = 0x3147414D;  // "MAG1", the GOST key blob magic

struct GostPublicKey {
    ALG_ID algId = kAlgGost2001;
    std::string publicKeyParamSet;  // dotted OIDs, no "urn:oid:"
    std::string digestParamSet;
    std::string encryptionParamSet;  // may be empty
    Bytes key;                       // X then Y, little-endian (64 or 128 bytes)
};

// Throws std::invalid_argument for a key of the wrong size or a malformed OID.
Bytes Build(const GostPublicKey& key);
// Throws std::invalid_argument for anything that is not such a blob.
GostPublicKey Parse(const unsigned char* blob, size_t length);

// "1.2.643.2.2.35.1" <-> DER content bytes; "urn:oid:" is accepted and dropped.
Bytes EncodeOid(const std::string& oid);
std::string DecodeOid(const unsigned char* content, size_t length);
std::string WithoutUrnPrefix(const std::string& oid);

// The DER SEQUENCE of parameter-set OIDs (a certificate's algorithm parameters).
GostPublicKey ParseParameterSets(const unsigned char* der, size_t length);

// The DER SubjectPublicKeyInfo of a GOST R 34.10-2001 key (algorithm 1.2.643.2.2.19).
Bytes SubjectPublicKeyInfo(const GostPublicKey& key);

// The raw key of what XML carries: raw bytes pass, "04 40 ..." loses its OCTET STRING
// header, a SubjectPublicKeyInfo yields its key and its parameter sets (when the caller
// passes where to put them). Throws std::invalid_argument when it is none of these.
Bytes RawKey(const Bytes& fromXml, GostPublicKey* parametersOut = nullptr);

}  // namespace gostBlob
