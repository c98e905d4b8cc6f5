#pragma once
#include "base/WinApi.hpp"

// The one translation of xml-security-c and Xerces exceptions into the library's: nothing
// thrown by those libraries leaves a library function unconverted. Every function here is
// called from inside a catch clause and looks at the exception in flight; library and
// standard exceptions pass unchanged. The variants differ only where a caller's answer
// differs on purpose.
namespace xsecErrors {

// The usual translation, raised by `function`: an unknown transform, or one this build
// cannot execute, becomes CRYPT_XML_E_TRANSFORM, an unknown canonicalisation or signature
// algorithm CRYPT_XML_E_ALGORITHM, Xerces' out-of-memory std::bad_alloc, anything else
// from xml-security-c or Xerces E_FAIL with its message.
[[noreturn]] void Rethrow(const wchar_t* function);

// Everything from xml-security-c or Xerces is E_FAIL with its message.
[[noreturn]] void RethrowAsFailure(const char* function);

// Signing: as RethrowAsFailure, but a URI that cannot be opened is
// CRYPT_XML_E_UNRESOLVED_REFERENCE.
[[noreturn]] void RethrowAtSigning(const char* function);

// Markup or Base64 the caller handed in: what Xerces or the Base64 decoder throws is
// WS_E_INVALID_FORMAT; the rest passes as it came.
[[noreturn]] void RethrowAsInvalidFormat(const char* function);

// For a routine that answers instead of throwing: one trace line under `function` (the
// library's message, or the foreign library's own text) and the HRESULT: the library
// exception's code, E_FAIL for any other exception, E_UNEXPECTED for an unknown one.
HRESULT Report(const char* function) noexcept;

// A check of a signature value that threw: one trace line under `function` and the
// answer. A crypto failure means the value does not verify (CRYPT_XML_E_VERIFY_FAILED);
// an unknown or unexecutable transform is CRYPT_XML_E_TRANSFORM and sets
// CRYPT_XML_STATUS_ERROR_NOT_SUPPORTED_TRANSFORM in `extraError`; an algorithm the mapper
// lacks CRYPT_XML_E_ALGORITHM. Library and standard exceptions are rethrown.
HRESULT ReportVerification(const char* function, DWORD& extraError);

}  // namespace xsecErrors
