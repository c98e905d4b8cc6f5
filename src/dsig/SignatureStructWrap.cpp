#include "dsig/SignatureStructWrap.hpp"

#include <cstring>

#include "base/CryptXmlException.hpp"
#include "base/StructText.hpp"

namespace {
constexpr DWORD kSignatureValueMax = CRYPT_XML_SIGNATURE_VALUE_MAX;
}

SignatureStructWrap::SignatureStructWrap() {
    std::memset(&sig_, 0, sizeof(sig_));
    sig_.cbSize = sizeof(CRYPT_XML_SIGNATURE);
    sig_.SignedInfo.Canonicalization.cbSize = sizeof(CRYPT_XML_ALGORITHM);
    sig_.SignedInfo.SignatureMethod.cbSize = sizeof(CRYPT_XML_ALGORITHM);
}

void SignatureStructWrap::SetId(const wchar_t* id) { structText::Set(id_, sig_.wszId, id); }

void SignatureStructWrap::SetCanonicalizationURI(const wchar_t* uri) {
    structText::Set(canonicalization_, sig_.SignedInfo.Canonicalization.wszAlgorithm, uri);
}

void SignatureStructWrap::SetSignatureMethodURI(const wchar_t* uri) {
    structText::Set(signatureMethod_, sig_.SignedInfo.SignatureMethod.wszAlgorithm, uri);
}

void SignatureStructWrap::SetSigValue(DWORD cbData, const BYTE* pbData) {
    static const char* const kFunction = "SignatureStructWrap::SetSigValue";
    value_.clear();
    sig_.SignatureValue.cbData = 0;
    sig_.SignatureValue.pbData = nullptr;
    if (cbData == 0 && pbData == nullptr) return;
    if (cbData == 0 || pbData == nullptr) errors::Raise<hr::kInvalidArg>(kFunction);
    if (cbData > kSignatureValueMax)
        errors::Raise<hr::kInvalidArg>(kFunction, "cbData > CRYPT_XML_SIGNATURE_VALUE_MAX");
    value_.assign(pbData, pbData + cbData);
    sig_.SignatureValue.cbData = cbData;
    sig_.SignatureValue.pbData = value_.data();
}

void SignatureStructWrap::SetReferences(std::vector<PCRYPT_XML_REFERENCE>& references) noexcept {
    sig_.SignedInfo.cReference = static_cast<ULONG>(references.size());
    sig_.SignedInfo.rgpReference = references.empty() ? nullptr : references.data();
}

void SignatureStructWrap::SetObjects(std::vector<PCRYPT_XML_OBJECT>& objects) noexcept {
    sig_.cObject = static_cast<ULONG>(objects.size());
    sig_.rgpObject = objects.empty() ? nullptr : objects.data();
}
