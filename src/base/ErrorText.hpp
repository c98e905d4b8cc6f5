#pragma once
#include "base/WinApi.hpp"

// Texts of the HRESULTs the library reports. The narrow and wide tables differ in one
// code on purpose: the wide one does not know CRYPT_XML_E_OPERATION.
namespace errorText {

const char* Narrow(HRESULT code) noexcept;
const wchar_t* Wide(HRESULT code) noexcept;

}  // namespace errorText
