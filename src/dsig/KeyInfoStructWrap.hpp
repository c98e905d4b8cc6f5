#pragma once
#include <list>
#include <memory>
#include <vector>

#include "base/WinApi.hpp"
#include "keys/KeyValueStructWrap.hpp"
#include "dsig/X509DataStructWrap.hpp"

// Owns one CRYPT_XML_KEY_INFO and everything its items point to; pointers stay valid for
// the wrapper's life. Items are added in document order and never removed.
class KeyInfoStructWrap {
public:
    KeyInfoStructWrap();
    KeyInfoStructWrap(const KeyInfoStructWrap&) = delete;
    KeyInfoStructWrap& operator=(const KeyInfoStructWrap&) = delete;

    void SetId(const wchar_t* id);
    void AddKeyNameNode(const wchar_t* name);
    // Ownership of the wrappers passes to this object.
    void AddKeyValueNode(std::unique_ptr<KeyValueStructWrap> keyValue);
    void AddX509DataNode(std::unique_ptr<X509DataStructWrap> x509Data);
    void AddRetrivalMethodNode(DWORD charset, const std::vector<BYTE>& data);
    void AddCustomDataNode(DWORD charset, const std::vector<BYTE>& data);

    const CRYPT_XML_KEY_INFO& Get() const noexcept { return keyInfo_; }
    CRYPT_XML_KEY_INFO* GetPtr() noexcept { return &keyInfo_; }

private:
    CRYPT_XML_KEY_INFO_ITEM& AppendItem(DWORD type);

    CRYPT_XML_KEY_INFO keyInfo_;
    std::vector<wchar_t> id_;
    std::list<std::vector<wchar_t>> keyNames_;
    std::list<std::shared_ptr<X509DataStructWrap>> x509Datas_;
    std::list<std::shared_ptr<KeyValueStructWrap>> keyValues_;
    std::list<std::vector<BYTE>> customs_;
    std::list<std::vector<BYTE>> retrievalMethods_;
    std::vector<CRYPT_XML_KEY_INFO_ITEM> items_;
};
