#include "dsig/RefStructWrap.hpp"

#include <cstring>

#include "base/StructText.hpp"

RefStructWrap::RefStructWrap() {
    std::memset(&ref_, 0, sizeof(ref_));
    ref_.cbSize = sizeof(CRYPT_XML_REFERENCE);
    ref_.DigestMethod.cbSize = sizeof(CRYPT_XML_ALGORITHM);
}

void RefStructWrap::SetId(const wchar_t* id) { structText::Set(id_, ref_.wszId, id); }
void RefStructWrap::SetUri(const wchar_t* uri) { structText::Set(uri_, ref_.wszUri, uri); }
void RefStructWrap::SetType(const wchar_t* type) { structText::Set(type_, ref_.wszType, type); }

void RefStructWrap::SetDigestMethod(const wchar_t* uri) {
    structText::Set(digestMethod_, ref_.DigestMethod.wszAlgorithm, uri);
}

void RefStructWrap::SetDigestValue(std::vector<BYTE> digest) {
    digestValue_ = std::move(digest);
    ref_.DigestValue.cbData = static_cast<DWORD>(digestValue_.size());
    ref_.DigestValue.pbData = digestValue_.empty() ? nullptr : digestValue_.data();
}

void RefStructWrap::AddTransform(const wchar_t* uri, DWORD charset, std::vector<BYTE> encoded) {
    CRYPT_XML_ALGORITHM transform;
    std::memset(&transform, 0, sizeof(transform));
    transform.cbSize = sizeof(CRYPT_XML_ALGORITHM);
    if (uri != nullptr) {
        transformUris_.emplace_back(uri);
        transform.wszAlgorithm = transformUris_.back().c_str();
    }
    if (!encoded.empty()) {
        transformEncoded_.push_back(std::move(encoded));
        transform.Encoded.dwCharset = static_cast<CRYPT_XML_CHARSET>(charset);
        transform.Encoded.cbData = static_cast<ULONG>(transformEncoded_.back().size());
        transform.Encoded.pbData = transformEncoded_.back().data();
    }
    transforms_.push_back(transform);
    ref_.cTransform = static_cast<ULONG>(transforms_.size());
    ref_.rgTransform = transforms_.data();
}
