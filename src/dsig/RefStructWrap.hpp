#pragma once
#include <list>
#include <string>
#include <vector>

#include "base/WinApi.hpp"

// Owns one CRYPT_XML_REFERENCE and every string and buffer its pointers reach, the
// transform array and each transform's URI and Encoded bytes included.
class RefStructWrap {
public:
    RefStructWrap();
    RefStructWrap(const RefStructWrap&) = delete;
    RefStructWrap& operator=(const RefStructWrap&) = delete;

    void SetHandle(HCRYPTXML handle) noexcept { ref_.hReference = handle; }
    void SetId(const wchar_t* id);
    void SetUri(const wchar_t* uri);
    void SetType(const wchar_t* type);
    void SetDigestMethod(const wchar_t* uri);
    void SetDigestValue(std::vector<BYTE> digest);
    // A transform named by its URI, or (null URI) carried as its serialised element.
    void AddTransform(const wchar_t* uri, DWORD charset, std::vector<BYTE> encoded);

    const CRYPT_XML_REFERENCE* Get() const noexcept { return &ref_; }
    CRYPT_XML_REFERENCE* GetPtr() noexcept { return &ref_; }

private:
    CRYPT_XML_REFERENCE ref_;
    std::wstring id_;
    std::wstring uri_;
    std::wstring type_;
    std::wstring digestMethod_;
    std::vector<BYTE> digestValue_;
    std::vector<CRYPT_XML_ALGORITHM> transforms_;
    std::list<std::wstring> transformUris_;
    std::list<std::vector<BYTE>> transformEncoded_;
};
