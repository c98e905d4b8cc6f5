#include "base/ErrorText.hpp"

namespace errorText {
namespace {

struct Entry {
    HRESULT code;
    const char* narrow;
    const wchar_t* wide;
};

#define TEXT_PAIR(s) s, L##s

constexpr Entry kTable[] = {
    {static_cast<HRESULT>(0x80070057L), TEXT_PAIR("One or more arguments are invalid ")},
    {static_cast<HRESULT>(0x80004005L), TEXT_PAIR("Unspecified error")},
    {static_cast<HRESULT>(0x80004001L), TEXT_PAIR("Not implemented.")},
    {static_cast<HRESULT>(0x80092101L), TEXT_PAIR("The value is too large.")},
    {static_cast<HRESULT>(0x80092102L), TEXT_PAIR("Too many transforms.")},
    {static_cast<HRESULT>(0x80092104L), TEXT_PAIR("Unsupported algorithm.")},
    {static_cast<HRESULT>(0x80092105L), TEXT_PAIR("Unsupported Transform.")},
    {static_cast<HRESULT>(0x80092106L), TEXT_PAIR("Invalid handle.")},
    {static_cast<HRESULT>(0x80092107L), "Invalid operation.", nullptr},
    {static_cast<HRESULT>(0x80092108L), TEXT_PAIR("Unable to resolve Reference.")},
    {static_cast<HRESULT>(0x8009210CL), TEXT_PAIR("Cryptographic signature operation failed.")},
    {static_cast<HRESULT>(0x8009210EL), TEXT_PAIR("Too many signatures.")},
    {static_cast<HRESULT>(0x80092110L), TEXT_PAIR("Unexpected XML element found.")},
    {static_cast<HRESULT>(0x80092112L), TEXT_PAIR("Non-unique Id attribute found in the document.")},
    {static_cast<HRESULT>(0x803D0000L),
     TEXT_PAIR("The input data was not in the expected format or did not have the expected value.")},
    {static_cast<HRESULT>(0x803D0001L), TEXT_PAIR("Current state of the object is invalid.")},
    {static_cast<HRESULT>(0x803D0003L),
     TEXT_PAIR("The operation is not allowed due to the current state of the object.")},
};

#undef TEXT_PAIR

constexpr const char* kUnexpectedNarrow = "Unexpected error!";
constexpr const wchar_t* kUnexpectedWide = L"Unexpected error!";

const Entry* Find(HRESULT code) noexcept {
    for (const Entry& e : kTable) {
        if (e.code == code) return &e;
    }
    return nullptr;
}

}  // namespace

const char* Narrow(HRESULT code) noexcept {
    const Entry* e = Find(code);
    return e != nullptr && e->narrow != nullptr ? e->narrow : kUnexpectedNarrow;
}

const wchar_t* Wide(HRESULT code) noexcept {
    const Entry* e = Find(code);
    return e != nullptr && e->wide != nullptr ? e->wide : kUnexpectedWide;
}

}  // namespace errorText
