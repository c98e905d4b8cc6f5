#pragma once
#include <exception>
#include <string>

#include "base/WinApi.hpp"

// The one exception family of the library. It carries the HRESULT that the export
// finally returns and a message composed as
//   "an error occurred. function: <name>. desc: <description>[ <detail>]".
class CryptXmlException : public std::exception {
public:
    CryptXmlException(const char* functionName, HRESULT code);
    CryptXmlException(const char* functionName, const char* description);
    CryptXmlException(const wchar_t* functionName, const wchar_t* description);
    CryptXmlException(const wchar_t* functionName, HRESULT code);

    // An exception whose message is `text` as it stands, for routines that trace their own
    // plain texts instead of the composed form.
    static CryptXmlException Verbatim(HRESULT code, const char* text);

    const char* what() const noexcept override { return message_.c_str(); }
    HRESULT hr() const noexcept { return hr_; }

    // The throw idiom: a single blank, then a short detail text.
    void AppendDetail(const char* detail);

private:
    CryptXmlException() = default;
    void Compose(const char* functionName, const char* description);
    void Compose(const wchar_t* functionName, const wchar_t* description);

    std::string message_;
    HRESULT hr_;
};

// Lets a catch clause select one code; its description is the table text of Code.
template <HRESULT Code>
class CryptXmlTemplateException : public CryptXmlException {
public:
    explicit CryptXmlTemplateException(const char* functionName) : CryptXmlException(functionName, Code) {}
    explicit CryptXmlTemplateException(const wchar_t* functionName) : CryptXmlException(functionName, Code) {}
};

namespace hr {
// The codes the library raises, as constants usable in templates: the SDK's names, and the
// Web Services codes the SDK headers here lack (winerror.h of the platform SDK has them).
constexpr HRESULT kInvalidArg = E_INVALIDARG;
constexpr HRESULT kFail = E_FAIL;
constexpr HRESULT kNotImpl = E_NOTIMPL;
constexpr HRESULT kUnexpected = E_UNEXPECTED;
constexpr HRESULT kPointer = E_POINTER;
constexpr HRESULT kInvalidFormat = static_cast<HRESULT>(0x803D0000L);     // WS_E_INVALID_FORMAT
constexpr HRESULT kObjectFaulted = static_cast<HRESULT>(0x803D0001L);     // WS_E_OBJECT_FAULTED
constexpr HRESULT kInvalidOperation = static_cast<HRESULT>(0x803D0003L);  // WS_E_INVALID_OPERATION
constexpr HRESULT kLarge = CRYPT_XML_E_LARGE;
constexpr HRESULT kTooManyTransforms = CRYPT_XML_E_TOO_MANY_TRANSFORMS;
constexpr HRESULT kAlgorithm = CRYPT_XML_E_ALGORITHM;
constexpr HRESULT kTransform = CRYPT_XML_E_TRANSFORM;
constexpr HRESULT kHandle = CRYPT_XML_E_HANDLE;
constexpr HRESULT kOperation = CRYPT_XML_E_OPERATION;
constexpr HRESULT kUnresolvedReference = CRYPT_XML_E_UNRESOLVED_REFERENCE;
constexpr HRESULT kSignFailed = CRYPT_XML_E_SIGN_FAILED;
constexpr HRESULT kTooManySignatures = CRYPT_XML_E_TOO_MANY_SIGNATURES;
constexpr HRESULT kUnexpectedXml = CRYPT_XML_E_UNEXPECTED_XML;
constexpr HRESULT kNonUniqueId = CRYPT_XML_E_NON_UNIQUE_ID;
}  // namespace hr

using InvalidArgException = CryptXmlTemplateException<hr::kInvalidArg>;
using HandleException = CryptXmlTemplateException<hr::kHandle>;

namespace errors {

// Builds the exception for (functionName, Code), appends the detail (if any) and throws.
template <HRESULT Code>
[[noreturn]] void Raise(const char* functionName, const char* detail = nullptr) {
    CryptXmlTemplateException<Code> e(functionName);
    if (detail != nullptr) e.AppendDetail(detail);
    throw e;
}

// A failure without a specific code: E_FAIL with the given description.
[[noreturn]] void RaiseFailure(const char* functionName, const char* description);

}  // namespace errors
