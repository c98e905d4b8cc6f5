#include "base/ErrorText.hpp"

#include "base/CryptXmlException.hpp"

namespace errorText {
namespace {

struct Entry {
    HRESULT code;
    const char* narrow;
    const wchar_t* wide;
};

#define TEXT_PAIR(s) s, L##s

constexpr Entry kTable[] = {
    {hr::kInvalidArg, TEXT_PAIR("One or more arguments are invalid ")},
    {hr::kFail, TEXT_PAIR("Unspecified error")},
    {hr::kNotImpl, TEXT_PAIR("Not implemented.")},
    {hr::kLarge, TEXT_PAIR("The value is too large.")},
    {hr::kTooManyTransforms, TEXT_PAIR("Too many transforms.")},
    {hr::kAlgorithm, TEXT_PAIR("Unsupported algorithm.")},
    {hr::kTransform, TEXT_PAIR("Unsupported Transform.")},
    {hr::kHandle, TEXT_PAIR("Invalid handle.")},
    {hr::kOperation, "Invalid operation.", nullptr},
    {hr::kUnresolvedReference, TEXT_PAIR("Unable to resolve Reference.")},
    {hr::kSignFailed, TEXT_PAIR("Cryptographic signature operation failed.")},
    {hr::kTooManySignatures, TEXT_PAIR("Too many signatures.")},
    {hr::kUnexpectedXml, TEXT_PAIR("Unexpected XML element found.")},
    {hr::kNonUniqueId, TEXT_PAIR("Non-unique Id attribute found in the document.")},
    {hr::kInvalidFormat,
     TEXT_PAIR("The input data was not in the expected format or did not have the expected value.")},
    {hr::kObjectFaulted, TEXT_PAIR("Current state of the object is invalid.")},
    {hr::kInvalidOperation, TEXT_PAIR("The operation is not allowed due to the current state of the object.")},
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
