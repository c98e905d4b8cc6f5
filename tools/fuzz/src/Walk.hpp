#pragma once
// Reads every byte the library publishes in its structures, so that a dangling pointer or
// a wrong length shows up as a crash in the fuzzer rather than in an application. What is
// wrong in their shape (a count without its array, a wrong cbSize) is collected as text.
#include <windows.h>

#include <cryptxml.h>

#include <cstdint>
#include <string>
#include <vector>

namespace fuzz {

class Walker {
public:
    void Document(const CRYPT_XML_DOC_CTXT& doc);
    void Signature(const CRYPT_XML_SIGNATURE& sig);
    void Reference(const CRYPT_XML_REFERENCE& ref);

    const std::vector<std::string>& problems() const { return problems_; }
    uint64_t sum() const { return sum_; }

private:
    void Text(const wchar_t* text);
    void Bytes(const void* data, size_t size, const char* what);
    void Algorithm(const CRYPT_XML_ALGORITHM& algorithm, const char* what);
    void KeyInfo(const CRYPT_XML_KEY_INFO& keyInfo);
    void KeyValue(const CRYPT_XML_KEY_VALUE& value);
    void X509Data(const CRYPT_XML_X509DATA& data);
    void Object(const CRYPT_XML_OBJECT& object);
    void Problem(const char* what);

    std::vector<std::string> problems_;
    uint64_t sum_ = 0;
};

}  // namespace fuzz
