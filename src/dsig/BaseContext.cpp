#include "dsig/BaseContext.hpp"

#include <cwchar>

#include <xercesc/util/XMLChar.hpp>

#include "base/CryptXmlException.hpp"

namespace {
constexpr size_t kIdMax = 256;  // CRYPT_XML_ID_MAX
}

BaseContext::BaseContext(DWORD flags, bool hasOwner)
    : flags_(flags), hasOwner_(hasOwner), status_{sizeof(CRYPT_XML_STATUS), 0, 0} {}

BaseContext::~BaseContext() = default;

void BaseContext::GetStatus(CRYPT_XML_STATUS* out) const {
    if (out == nullptr) errors::Raise<hr::kInvalidArg>("BaseContext::GetStatus", "NULL == pStatus");
    *out = status_;
}

bool BaseContext::IdAttrMeetXmlNcNameSyntax(const wchar_t* id) {
    if (id == nullptr) errors::Raise<hr::kInvalidArg>("BaseContext::IdAttrMeetXmlNcNameSyntax");
    return XERCES_CPP_NAMESPACE::XMLChar1_0::isValidNCName(id, std::wcslen(id));
}

bool BaseContext::IdAttrMeetXmlNameSyntax(const wchar_t* id) {
    if (id == nullptr) errors::Raise<hr::kInvalidArg>("BaseContext::IdAttrMeetXmlNameSyntax");
    return XERCES_CPP_NAMESPACE::XMLChar1_0::isValidName(id);
}

void BaseContext::CheckIdLimits(const wchar_t* id, DWORD flags) {
    static const char* const kFunction = "BaseContext::CheckIdLimits";
    if (id == nullptr) return;
    if ((flags & CRYPT_XML_FLAG_ENFORCE_ID_NCNAME_FORMAT) != 0 && !IdAttrMeetXmlNcNameSyntax(id)) {
        errors::Raise<hr::kUnexpectedXml>(kFunction, "invalid id attribute. CRYPT_XML_FLAG_ENFORCE_ID_NCNAME_FORMAT");
    }
    if ((flags & CRYPT_XML_FLAG_ENFORCE_ID_NAME_FORMAT) != 0 && !IdAttrMeetXmlNameSyntax(id)) {
        errors::Raise<hr::kUnexpectedXml>(kFunction, "invalid id attribute. CRYPT_XML_FLAG_ENFORCE_ID_NAME_FORMAT");
    }
    if (std::wcslen(id) > kIdMax) {
        errors::Raise<hr::kLarge>(kFunction, "the length of id attr greater then CRYPT_XML_ID_MAX");
    }
}
