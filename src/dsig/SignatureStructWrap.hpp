#pragma once
#include <string>
#include <vector>

#include "base/WinApi.hpp"
#include "dsig/KeyInfoStructWrap.hpp"

// Owns one CRYPT_XML_SIGNATURE and every buffer its pointers reach. SignedInfo.cbSize,
// SignedInfo.wszId and the Encoded blobs stay empty when decoding.
class SignatureStructWrap {
public:
    SignatureStructWrap();
    SignatureStructWrap(const SignatureStructWrap&) = delete;
    SignatureStructWrap& operator=(const SignatureStructWrap&) = delete;

    void SetHandle(HCRYPTXML handle) noexcept { sig_.hSignature = handle; }
    void SetId(const wchar_t* id);
    void SetCanonicalizationURI(const wchar_t* uri);
    void SetSignatureMethodURI(const wchar_t* uri);
    void SetSigValue(DWORD cbData, const BYTE* pbData);
    void SetReferences(std::vector<PCRYPT_XML_REFERENCE>& references) noexcept;
    void SetObjects(std::vector<PCRYPT_XML_OBJECT>& objects) noexcept;

    KeyInfoStructWrap& KeyInfo() noexcept { return keyInfo_; }
    void PublishKeyInfo() noexcept { sig_.pKeyInfo = keyInfo_.GetPtr(); }

    const CRYPT_XML_SIGNATURE* Get() const noexcept { return &sig_; }
    CRYPT_XML_SIGNATURE* GetPtr() noexcept { return &sig_; }

private:
    CRYPT_XML_SIGNATURE sig_;
    std::wstring id_;
    std::wstring canonicalization_;
    std::wstring signatureMethod_;
    std::vector<BYTE> value_;
    KeyInfoStructWrap keyInfo_;
};
