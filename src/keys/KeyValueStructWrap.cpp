#include "keys/KeyValueStructWrap.hpp"

#include "base/CryptXmlException.hpp"
#include "document/Base64.hpp"

namespace {

constexpr char kNoBytes[] = "decodes to no bytes";

bool IsEmpty(const wchar_t* text) noexcept { return text == nullptr || *text == L'\0'; }

// An empty buffer publishes a null pointer rather than whatever an empty vector holds.
CRYPT_XML_DATA_BLOB BlobOf(std::vector<BYTE>& bytes) noexcept {
    return {static_cast<ULONG>(bytes.size()), bytes.empty() ? nullptr : bytes.data()};
}

// Empty text stays an empty value; non-empty text must decode to something.
std::vector<BYTE> DecodeDsaPart(const wchar_t* text) {
    return *text == L'\0' ? std::vector<BYTE>()
                          : base64::DecodeRequired("KeyValueStructWrap::SetDsaKey", text, kNoBytes);
}

}  // namespace

KeyValueStructWrap::KeyValueStructWrap() : keyValue_{} {}

void KeyValueStructWrap::SetRsaKey(const wchar_t* modulus, const wchar_t* exponent) {
    constexpr char kFunction[] = "KeyValueStructWrap::SetRsaKey";
    if (IsEmpty(modulus) || IsEmpty(exponent)) errors::Raise<hr::kInvalidArg>(kFunction);
    // Both are decoded before anything is stored, so that a failure changes nothing.
    std::vector<BYTE> decodedModulus = base64::DecodeRequired(kFunction, modulus, kNoBytes);
    std::vector<BYTE> decodedExponent = base64::DecodeRequired(kFunction, exponent, kNoBytes);
    modulus_.swap(decodedModulus);
    exponent_.swap(decodedExponent);
    keyValue_ = {};
    keyValue_.dwType = CRYPT_XML_KEY_VALUE_TYPE_RSA;
    keyValue_.RSAKeyValue.Modulus = BlobOf(modulus_);
    keyValue_.RSAKeyValue.Exponent = BlobOf(exponent_);
}

void KeyValueStructWrap::SetDsaKey(const wchar_t* p, const wchar_t* q, const wchar_t* g, const wchar_t* y) {
    // Only null is refused here; empty texts give empty components.
    if (p == nullptr || q == nullptr || g == nullptr || y == nullptr) {
        errors::Raise<hr::kInvalidArg>("KeyValueStructWrap::SetDsaKey");
    }
    std::vector<BYTE> decodedP = DecodeDsaPart(p);
    std::vector<BYTE> decodedQ = DecodeDsaPart(q);
    std::vector<BYTE> decodedG = DecodeDsaPart(g);
    std::vector<BYTE> decodedY = DecodeDsaPart(y);
    p_.swap(decodedP);
    q_.swap(decodedQ);
    g_.swap(decodedG);
    y_.swap(decodedY);
    keyValue_ = {};
    keyValue_.dwType = CRYPT_XML_KEY_VALUE_TYPE_DSA;
    keyValue_.DSAKeyValue.P = BlobOf(p_);
    keyValue_.DSAKeyValue.Q = BlobOf(q_);
    keyValue_.DSAKeyValue.G = BlobOf(g_);
    keyValue_.DSAKeyValue.Y = BlobOf(y_);
}

void KeyValueStructWrap::SetGostKey(DWORD charset, const std::vector<BYTE>& serialisedElement) {
    if (serialisedElement.empty()) errors::Raise<hr::kInvalidArg>("KeyValueStructWrap::SetGostKey");
    gost_ = serialisedElement;
    keyValue_ = {};
    keyValue_.dwType = CRYPT_XML_KEY_VALUE_TYPE_GOST;
    keyValue_.GOSTKeyValue.dwCharset = static_cast<CRYPT_XML_CHARSET>(charset);
    keyValue_.GOSTKeyValue.cbData = static_cast<ULONG>(gost_.size());
    keyValue_.GOSTKeyValue.pbData = gost_.data();
}
