#include "api/CryptXmlException.hpp"

#include <vector>

#include "api/ErrorText.hpp"

namespace {

constexpr char kLead[] = "an error occurred. ";
constexpr wchar_t kLeadW[] = L"an error occurred. ";

std::string ToAnsi(const std::wstring& wide) {
    const int length = static_cast<int>(wide.size());
    std::vector<char> buffer(static_cast<size_t>(length) * 2 + 1, '\0');
    int written = ::WideCharToMultiByte(CP_ACP, 0, wide.c_str(), length, buffer.data(),
                                        static_cast<int>(buffer.size()) - 1, nullptr, nullptr);
    if (written <= 0 && length > 0) {
        // DBCS code pages may need more than two bytes per character in rare cases.
        const int needed =
            ::WideCharToMultiByte(CP_ACP, 0, wide.c_str(), length, nullptr, 0, nullptr, nullptr);
        buffer.assign(static_cast<size_t>(needed) + 1, '\0');
        written = ::WideCharToMultiByte(CP_ACP, 0, wide.c_str(), length, buffer.data(), needed,
                                        nullptr, nullptr);
    }
    return std::string(buffer.data(), written > 0 ? static_cast<size_t>(written) : 0);
}

}  // namespace

CryptXmlException::CryptXmlException(const char* functionName, HRESULT code) : hr_(code) {
    Compose(functionName, errorText::Narrow(code));
}

CryptXmlException::CryptXmlException(const char* functionName, const char* description)
    : hr_(hr::kFail) {
    Compose(functionName, description);
}

CryptXmlException::CryptXmlException(const wchar_t* functionName, const wchar_t* description)
    : hr_(hr::kFail) {
    Compose(functionName, description);
}

CryptXmlException::CryptXmlException(const wchar_t* functionName, HRESULT code) : hr_(code) {
    Compose(functionName, errorText::Wide(code));
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
    message_ = ToAnsi(text);
}

namespace errors {

void RaiseFailure(const char* functionName, const char* description) {
    throw CryptXmlException(functionName, description);
}

}  // namespace errors
