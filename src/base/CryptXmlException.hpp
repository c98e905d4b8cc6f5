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
    explicit CryptXmlTemplateException(const char* functionName)
        : CryptXmlException(functionName, Code) {}
    explicit CryptXmlTemplateException(const wchar_t* functionName)
        : CryptXmlException(functionName, Code) {}
};

namespace hr {
// The codes the library raises, as constants usable in templates.
constexpr HRESULT kInvalidArg = static_cast<HRESULT>(0x80070057L);
constexpr HRESULT kFail = static_cast<HRESULT>(0x80004005L);
constexpr HRESULT kNotImpl = static_cast<HRESULT>(0x80004001L);
constexpr HRESULT kUnexpected = static_cast<HRESULT>(0x8000FFFFL);
constexpr HRESULT kPointer = static_cast<HRESULT>(0x80004003L);
constexpr HRESULT kInvalidFormat = static_cast<HRESULT>(0x803D0000L);
constexpr HRESULT kObjectFaulted = static_cast<HRESULT>(0x803D0001L);
constexpr HRESULT kInvalidOperation = static_cast<HRESULT>(0x803D0003L);
constexpr HRESULT kLarge = static_cast<HRESULT>(0x80092101L);
constexpr HRESULT kTooManyTransforms = static_cast<HRESULT>(0x80092102L);
constexpr HRESULT kAlgorithm = static_cast<HRESULT>(0x80092104L);
constexpr HRESULT kTransform = static_cast<HRESULT>(0x80092105L);
constexpr HRESULT kHandle = static_cast<HRESULT>(0x80092106L);
constexpr HRESULT kOperation = static_cast<HRESULT>(0x80092107L);
constexpr HRESULT kUnresolvedReference = static_cast<HRESULT>(0x80092108L);
constexpr HRESULT kSignFailed = static_cast<HRESULT>(0x8009210CL);
constexpr HRESULT kTooManySignatures = static_cast<HRESULT>(0x8009210EL);
constexpr HRESULT kUnexpectedXml = static_cast<HRESULT>(0x80092110L);
constexpr HRESULT kNonUniqueId = static_cast<HRESULT>(0x80092112L);
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
