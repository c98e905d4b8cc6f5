#pragma once
// The Base64 texts of a key value as the xml-security-c writers take them.
#include <string>

namespace keyValueText {

constexpr unsigned int kBigNumBuffer = 1000;

// Base64 key material is ASCII: widening it byte by byte is exact.
inline std::wstring Widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

// One component of a key through the key class's getter of Base64 big numbers.
template <class Key, class Getter>
std::wstring BigNum(Key& key, Getter getter) {
    char buffer[kBigNumBuffer] = {};
    const unsigned int length = (key.*getter)(buffer, kBigNumBuffer);
    return Widen(std::string(buffer, length < kBigNumBuffer ? length : 0));
}

// The KeyInfo element a writer returned; null means it could not make one.
void RequireWritten(const char* function, const void* written);

}  // namespace keyValueText
