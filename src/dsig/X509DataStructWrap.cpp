#include "dsig/X509DataStructWrap.hpp"

#include <cwchar>

#include "base/CryptXmlException.hpp"
#include "document/Base64.hpp"

namespace {

constexpr char kNoBytes[] = "decodes to no bytes";

bool IsEmpty(const wchar_t* text) noexcept { return text == nullptr || *text == L'\0'; }

// length + 1 characters, so the stored text is always terminated.
std::vector<wchar_t> TextCopy(const wchar_t* text) { return std::vector<wchar_t>(text, text + std::wcslen(text) + 1); }

// Certificates and CRLs: non-empty text decoded into a new buffer at the end of its
// list, where later additions never move it.
CRYPT_XML_DATA_BLOB DecodeInto(std::list<std::vector<BYTE>>& buffers, const char* functionName, const wchar_t* text) {
    if (IsEmpty(text)) errors::Raise<hr::kInvalidArg>(functionName);
    buffers.push_back(base64::DecodeRequired(functionName, text, kNoBytes));
    return {static_cast<ULONG>(buffers.back().size()), buffers.back().data()};
}

}  // namespace

X509DataStructWrap::X509DataStructWrap() : x509Data_{} {}

void X509DataStructWrap::SetSKI(const wchar_t* ski) {
    constexpr char kFunction[] = "X509DataStructWrap::SetSKI";
    if (IsEmpty(ski)) errors::Raise<hr::kInvalidArg>(kFunction);
    // Decoded aside first: an existing SKI item keeps its bytes when the text is refused.
    std::vector<BYTE> decoded = base64::DecodeRequired(kFunction, ski, nullptr);
    ski_.swap(decoded);
    ItemOfType(CRYPT_XML_X509DATA_TYPE_SKI).SKI = {static_cast<ULONG>(ski_.size()), ski_.data()};
    Publish();
}

void X509DataStructWrap::SetSubjectName(const wchar_t* name) {
    if (IsEmpty(name)) errors::Raise<hr::kInvalidArg>("X509DataStructWrap::SetSubjectName");
    subjectName_ = TextCopy(name);
    ItemOfType(CRYPT_XML_X509DATA_TYPE_SUBJECT_NAME).wszSubjectName = subjectName_.data();
    Publish();
}

void X509DataStructWrap::SetIssuerNameAndSerial(const wchar_t* issuer, const wchar_t* serial) {
    constexpr char kFunction[] = "X509DataStructWrap::SetIssuerNameAndSerial";
    if (IsEmpty(issuer)) errors::Raise<hr::kInvalidArg>(kFunction, "issuerCertSubjectDn is empty");
    if (IsEmpty(serial)) errors::Raise<hr::kInvalidArg>(kFunction, "issuerCertSerialNum is empty");
    issuerName_ = TextCopy(issuer);
    serialNumber_ = TextCopy(serial);
    ItemOfType(CRYPT_XML_X509DATA_TYPE_ISSUER_SERIAL).IssuerSerial = {issuerName_.data(), serialNumber_.data()};
    Publish();
}

void X509DataStructWrap::AddCert(const wchar_t* certificate) {
    const CRYPT_XML_DATA_BLOB blob = DecodeInto(certificates_, "X509DataStructWrap::AddCert", certificate);
    AppendItem(CRYPT_XML_X509DATA_TYPE_CERTIFICATE).Certificate = blob;
    Publish();
}

void X509DataStructWrap::AddCRL(const wchar_t* crl) {
    const CRYPT_XML_DATA_BLOB blob = DecodeInto(crls_, "X509DataStructWrap::AddCRL", crl);
    AppendItem(CRYPT_XML_X509DATA_TYPE_CRL).CRL = blob;
    Publish();
}

void X509DataStructWrap::AddCustom(int charset, const std::vector<BYTE>& unparsedXml) {
    constexpr char kFunction[] = "X509DataStructWrap::AddCustom";
    if (charset < CRYPT_XML_CHARSET_UTF8 || charset > CRYPT_XML_CHARSET_UTF16BE) {
        errors::Raise<hr::kInvalidArg>(kFunction, "invalid charset");
    }
    if (unparsedXml.empty()) errors::Raise<hr::kInvalidArg>(kFunction, "unparsedXml is empty.");
    customs_.push_back(unparsedXml);
    std::vector<BYTE>& bytes = customs_.back();
    AppendItem(CRYPT_XML_X509DATA_TYPE_CUSTOM).Custom = {static_cast<CRYPT_XML_CHARSET>(charset),
                                                         static_cast<ULONG>(bytes.size()), bytes.data()};
    Publish();
}

CRYPT_XML_X509DATA_ITEM& X509DataStructWrap::ItemOfType(DWORD type) {
    for (CRYPT_XML_X509DATA_ITEM& item : items_) {
        if (item.dwType == type) return item;
    }
    return AppendItem(type);
}

CRYPT_XML_X509DATA_ITEM& X509DataStructWrap::AppendItem(DWORD type) {
    CRYPT_XML_X509DATA_ITEM item{};
    item.dwType = type;
    items_.push_back(item);
    return items_.back();
}

// The item vector may have moved: count and array are published again.
void X509DataStructWrap::Publish() noexcept {
    x509Data_.cX509Data = static_cast<UINT>(items_.size());
    x509Data_.rgX509Data = items_.data();
}
