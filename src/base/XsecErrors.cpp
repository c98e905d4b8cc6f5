#include "base/XsecErrors.hpp"

#include <array>
#include <new>
#include <string>

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/framework/XSECException.hpp>

#include "base/CryptXmlException.hpp"
#include "base/TextConvert.hpp"
#include "base/Trace.hpp"

namespace xsecErrors {
namespace {

constexpr char kUnexpected[] = "Unexpected error!";

// The traced function names are short ASCII literals; no allocation while reporting.
std::array<wchar_t, 64> WideName(const char* function) noexcept {
    std::array<wchar_t, 64> wide{};
    for (size_t i = 0; i + 1 < wide.size() && function[i] != '\0'; ++i)
        wide[i] = static_cast<unsigned char>(function[i]);
    return wide;
}

const char* CryptoMessage(const XSECCryptoException& e) { return e.getMsg() != nullptr ? e.getMsg() : ""; }

// E_FAIL with the foreign message, for the variants that do not look at the type.
// `decide` may raise another code for an XSECException first.
template <class Decide>
[[noreturn]] void RethrowFailure(const char* function, Decide&& decide) {
    try {
        throw;
    } catch (const XSECException& e) {
        const std::string message = textConvert::ToAnsiOrNull(e.getMsg());
        decide(e, message);
        errors::RaiseFailure(function, message.c_str());
    } catch (const XSECCryptoException& e) {
        errors::RaiseFailure(function, CryptoMessage(e));
    } catch (const xercesc::XMLException& e) {
        errors::RaiseFailure(function, textConvert::ToAnsiOrNull(e.getMessage()).c_str());
    } catch (const xercesc::DOMException& e) {
        errors::RaiseFailure(function, textConvert::ToAnsiOrNull(e.getMessage()).c_str());
    }
}

}  // namespace

void Rethrow(const wchar_t* function) {
    try {
        throw;
    } catch (const XSECException& e) {
        const std::string message = textConvert::ToAnsi(e.getMsg() != nullptr ? e.getMsg() : L"");
        const std::string name = textConvert::ToAnsi(function);
        switch (e.getType()) {
            case XSECException::UnknownTransform:
            case XSECException::UnsupportedFunction:  // XPath, XSLT, node-set c14n: no Xalan here
                errors::Raise<hr::kTransform>(name.c_str(), message.c_str());
            case XSECException::UnknownCanonicalization:
            case XSECException::UnknownSignatureAlgorithm: errors::Raise<hr::kAlgorithm>(name.c_str(), message.c_str());
            default: throw CryptXmlException(function, e.getMsg());
        }
    } catch (const XSECCryptoException& e) {
        throw CryptXmlException(textConvert::ToAnsi(function).c_str(), CryptoMessage(e));
    } catch (const xercesc::XMLException& e) {
        throw CryptXmlException(function, e.getMessage());
    } catch (const xercesc::DOMException& e) {
        throw CryptXmlException(function, e.getMessage());
    } catch (const xercesc::OutOfMemoryException&) {
        throw std::bad_alloc();
    }
}

void RethrowAsFailure(const char* function) {
    RethrowFailure(function, [](const XSECException&, const std::string&) {});
}

void RethrowAtSigning(const char* function) {
    RethrowFailure(function, [function](const XSECException& e, const std::string& message) {
        if (e.getType() == XSECException::ErrorOpeningURI) {
            errors::Raise<hr::kUnresolvedReference>(function, message.c_str());
        }
    });
}

void RethrowAsInvalidFormat(const char* function) {
    try {
        throw;
    } catch (const XSECCryptoException& e) {
        errors::Raise<hr::kInvalidFormat>(function, CryptoMessage(e));
    } catch (const xercesc::XMLException& e) {
        errors::Raise<hr::kInvalidFormat>(function, textConvert::ToAnsiOrNull(e.getMessage()).c_str());
    } catch (const xercesc::DOMException& e) {
        errors::Raise<hr::kInvalidFormat>(function, textConvert::ToAnsiOrNull(e.getMessage()).c_str());
    }
}

HRESULT Report(const char* function) noexcept {
    try {
        throw;
    } catch (const XSECCryptoException& e) {
        trace::TraceA(function, CryptoMessage(e));
        return hr::kFail;
    } catch (const XSECException& e) {
        trace::TraceW(WideName(function).data(), e.getMsg() != nullptr ? e.getMsg() : L"");
        return hr::kFail;
    } catch (const CryptXmlException& e) {
        trace::TraceA(function, e.what());
        return e.hr();
    } catch (const std::exception& e) {
        trace::TraceA(function, e.what());
        return hr::kFail;
    } catch (...) {
        trace::TraceA(function, kUnexpected);
        return hr::kUnexpected;
    }
}

HRESULT ReportVerification(const char* function, DWORD& extraError) {
    extraError = 0;
    try {
        throw;
    } catch (const XSECCryptoException& e) {
        trace::TraceA(function, CryptoMessage(e));
        return CRYPT_XML_E_VERIFY_FAILED;
    } catch (const XSECException& e) {
        trace::TraceW(WideName(function).data(), e.getMsg() != nullptr ? e.getMsg() : L"");
        switch (e.getType()) {
            case XSECException::UnknownTransform:
            case XSECException::UnsupportedFunction:  // a transform this build cannot execute
                extraError = CRYPT_XML_STATUS_ERROR_NOT_SUPPORTED_TRANSFORM;
                return CRYPT_XML_E_TRANSFORM;
            case XSECException::AlgorithmMapperError: return CRYPT_XML_E_ALGORITHM;
            default: return CRYPT_XML_E_VERIFY_FAILED;
        }
    }
}

}  // namespace xsecErrors
