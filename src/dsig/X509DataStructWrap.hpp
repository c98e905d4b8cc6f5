#pragma once
#include <list>
#include <vector>

#include "base/WinApi.hpp"

// Owns one CRYPT_XML_X509DATA, its item array and every buffer the items point to.
// Set* keep at most one item of their type (rewritten in place); Add* always append.
class X509DataStructWrap {
public:
    X509DataStructWrap();
    X509DataStructWrap(const X509DataStructWrap&) = delete;
    X509DataStructWrap& operator=(const X509DataStructWrap&) = delete;

    void SetSKI(const wchar_t* ski);
    void SetSubjectName(const wchar_t* name);
    void SetIssuerNameAndSerial(const wchar_t* issuer, const wchar_t* serial);
    void AddCert(const wchar_t* certificate);
    void AddCRL(const wchar_t* crl);
    void AddCustom(int charset, const std::vector<BYTE>& unparsedXml);

    const CRYPT_XML_X509DATA& Get() const noexcept { return x509Data_; }

private:
    CRYPT_XML_X509DATA_ITEM& ItemOfType(DWORD type);
    CRYPT_XML_X509DATA_ITEM& AppendItem(DWORD type);
    void Publish() noexcept;

    CRYPT_XML_X509DATA x509Data_;
    std::vector<CRYPT_XML_X509DATA_ITEM> items_;
    std::list<std::vector<BYTE>> certificates_;
    std::list<std::vector<BYTE>> crls_;
    std::vector<BYTE> ski_;
    std::vector<wchar_t> subjectName_;
    std::vector<wchar_t> issuerName_;
    std::vector<wchar_t> serialNumber_;
    std::list<std::vector<BYTE>> customs_;
};
