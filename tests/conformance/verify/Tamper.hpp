#pragma once
#include <optional>
#include <string>

#include "Outcome.hpp"

namespace verifyVectors {

// One-byte changes of a signed document, each keeping the document well-formed and every
// Base64 text valid Base64. Each returns false when the document has no such place.

// A character of the text the reference with this URI ("" or "#id") covers.
bool TamperReferencedText(Bytes& doc, const std::wstring& uri);
// The first character of the first SignatureValue.
bool TamperSignatureValue(Bytes& doc);
// The first character of the first DigestValue (the first Reference of SignedInfo).
bool TamperDigestValue(Bytes& doc);
// A character of detached data fed to CryptXmlDigestReference.
bool TamperData(Bytes& data);

}  // namespace verifyVectors
