#include "base/CryptXmlException.hpp"

#include "base/ErrorText.hpp"
#include "base/TextConvert.hpp"

namespace {

constexpr char kLead[] = "an error occurred. ";
constexpr wchar_t kLeadW[] = L"an error occurred. ";

}  // namespace

CryptXmlException::CryptXmlException(const char* functionName, HRESULT code) : hr_(code) {
    Compose(functionName, errorText::Narrow(code));
}

CryptXmlException::CryptXmlException(const char* functionName, const char* description) : hr_(hr::kFail) {
    Compose(functionName, description);
}

CryptXmlException::CryptXmlException(const wchar_t* functionName, const wchar_t* description) : hr_(hr::kFail) {
    Compose(functionName, description);
}

CryptXmlException::CryptXmlException(const wchar_t* functionName, HRESULT code) : hr_(code) {
    Compose(functionName, errorText::Wide(code));
}

CryptXmlException CryptXmlException::Verbatim(HRESULT code, const char* text) {
    CryptXmlException e;
    e.hr_ = code;
    e.message_ = text != nullptr ? text : "";
    return e;
}

void CryptXmlException::AppendDetail(const char* detail) {
    message_ += ' ';
    if (detail != nullptr) message_ += detail;
}

void CryptXmlException::Compose(const char* functionName, const char* description) {
    message_ = kLead;
    if (functionName != nullptr) {
        message_ += "function: ";
        message_ += functionName;
        message_ += ". ";
    }
    if (description != nullptr) {
        message_ += "desc: ";
        message_ += description;
    }
}

void CryptXmlException::Compose(const wchar_t* functionName, const wchar_t* description) {
    std::wstring text = kLeadW;
    if (functionName != nullptr) {
        text += L"function: ";
        text += functionName;
        text += L". ";
    }
    if (description != nullptr) {
        text += L"desc: ";
        text += description;
    }
    message_ = textConvert::ToAnsi(text);
}

namespace errors {

void RaiseFailure(const char* functionName, const char* description) {
    throw CryptXmlException(functionName, description);
}

}  // namespace errors
