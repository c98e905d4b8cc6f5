#pragma once
#include <vector>

#include "base/WinApi.hpp"

// Owns one CRYPT_XML_KEY_VALUE and the bytes its blobs point to. Never copied: the
// structure points into the object's own members.
class KeyValueStructWrap {
public:
    KeyValueStructWrap();
    KeyValueStructWrap(const KeyValueStructWrap&) = delete;
    KeyValueStructWrap& operator=(const KeyValueStructWrap&) = delete;

    // Base64 texts as they stand in the document.
    void SetRsaKey(const wchar_t* modulus, const wchar_t* exponent);
    void SetDsaKey(const wchar_t* p, const wchar_t* q, const wchar_t* g, const wchar_t* y);
    // The GOST key value element serialised in `charset`.
    void SetGostKey(DWORD charset, const std::vector<BYTE>& serialisedElement);

    const CRYPT_XML_KEY_VALUE& Get() const noexcept { return keyValue_; }

private:
    CRYPT_XML_KEY_VALUE keyValue_;
    std::vector<BYTE> gost_;
    std::vector<BYTE> modulus_;
    std::vector<BYTE> exponent_;
    std::vector<BYTE> p_;
    std::vector<BYTE> q_;
    std::vector<BYTE> g_;
    std::vector<BYTE> y_;
};
