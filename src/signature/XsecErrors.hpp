#pragma once

// xml-security-c and Xerces exceptions never leave a library function unconverted.
namespace xsecErrors {

// Rethrows the exception in flight as a library exception raised by `function`: an
// unknown transform, or one this build cannot execute, becomes CRYPT_XML_E_TRANSFORM, an
// unknown canonicalisation or
// signature algorithm CRYPT_XML_E_ALGORITHM, anything else from xml-security-c or Xerces
// E_FAIL with its message; library and standard exceptions pass unchanged.
// Call only from inside a catch clause.
[[noreturn]] void Rethrow(const wchar_t* function);

}  // namespace xsecErrors
