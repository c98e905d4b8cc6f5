#pragma once
#include <string>
#include <vector>

#include "base/WinApi.hpp"

// Base64 both ways, through xml-security-c's coder (which skips white space when decoding
// and breaks lines when encoding).
namespace base64 {

// The length guard of Base64ToBin: more than 0xFFFFFFFF characters raises E_INVALIDARG
// ("Base64ToBin", "base64len > UINT_MAX"). Separate so that it can be tested without
// building a text of that size.
void CheckTextLength(size_t length);

// Decodes NUL-terminated text; null raises E_INVALIDARG ("Base64ToBin").
void Base64ToBin(const wchar_t* base64, std::vector<BYTE>& out);

// Decodes non-empty text for a structure wrapper: text that decodes to no bytes raises
// E_INVALIDARG for functionName, with the detail when one is given.
std::vector<BYTE> DecodeRequired(const char* functionName, const wchar_t* base64, const char* detail);

// Encodes bytes as narrow text (line feeds included); empty input gives empty text.
void BinToBase64(const std::vector<BYTE>& bytes, std::string& out);

// Encodes a blob as NUL-terminated wide text; an empty blob gives an empty vector.
void BlobToBase64(const CRYPT_DATA_BLOB& blob, std::vector<wchar_t>& out);

}  // namespace base64
