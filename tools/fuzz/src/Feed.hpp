#pragma once
// A data provider over bytes in memory, for CryptXmlDigestReference. It can be told to fail
// part-way, as a network source might.
#include <windows.h>

#include <cryptxml.h>

#include <string>

namespace fuzz {

class MemoryFeed {
public:
    MemoryFeed(std::string data, bool failing) : data_(std::move(data)), failing_(failing) {}
    MemoryFeed(const MemoryFeed&) = delete;
    MemoryFeed& operator=(const MemoryFeed&) = delete;

    CRYPT_XML_DATA_PROVIDER Provider() { return {this, 0, &Read, &Close}; }

private:
    static HRESULT CALLBACK Read(void* state, BYTE* buffer, ULONG size, ULONG* read);
    static HRESULT CALLBACK Close(void* state);

    std::string data_;
    size_t at_ = 0;
    bool failing_;
};

}  // namespace fuzz
