#include "dsig/KeyInfoStructWrap.hpp"

#include <cwchar>

#include "base/CryptXmlException.hpp"

namespace {

// A null text is kept as an empty one; length + 1 characters keep it terminated.
std::vector<wchar_t> TextCopy(const wchar_t* text) {
    if (text == nullptr) return std::vector<wchar_t>(1, L'\0');
    return std::vector<wchar_t>(text, text + std::wcslen(text) + 1);
}

CRYPT_XML_BLOB BlobOf(DWORD charset, std::vector<BYTE>& bytes) noexcept {
    return {static_cast<CRYPT_XML_CHARSET>(charset), static_cast<ULONG>(bytes.size()), bytes.data()};
}

}  // namespace

KeyInfoStructWrap::KeyInfoStructWrap() : keyInfo_{} { keyInfo_.cbSize = sizeof(CRYPT_XML_KEY_INFO); }

void KeyInfoStructWrap::SetId(const wchar_t* id) {
    if (id == nullptr) {
        keyInfo_.wszId = nullptr;
        return;
    }
    id_ = TextCopy(id);
    keyInfo_.wszId = id_.data();
}

void KeyInfoStructWrap::AddKeyNameNode(const wchar_t* name) {
    keyNames_.push_back(TextCopy(name));
    AppendItem(CRYPT_XML_KEYINFO_TYPE_KEYNAME).wszKeyName = keyNames_.back().data();
}

// The item gets a snapshot of the key value; the adopted wrapper keeps its buffers alive.
void KeyInfoStructWrap::AddKeyValueNode(std::unique_ptr<KeyValueStructWrap> keyValue) {
    if (!keyValue) errors::Raise<hr::kInvalidArg>("KeyInfoStructWrap::AddKeyValueNode");
    keyValues_.push_back(std::shared_ptr<KeyValueStructWrap>(std::move(keyValue)));
    AppendItem(CRYPT_XML_KEYINFO_TYPE_KEYVALUE).KeyValue = keyValues_.back()->Get();
}

void KeyInfoStructWrap::AddX509DataNode(std::unique_ptr<X509DataStructWrap> x509Data) {
    if (!x509Data) errors::Raise<hr::kInvalidArg>("KeyInfoStructWrap::AddX509DataNode");
    x509Datas_.push_back(std::shared_ptr<X509DataStructWrap>(std::move(x509Data)));
    AppendItem(CRYPT_XML_KEYINFO_TYPE_X509DATA).X509Data = x509Datas_.back()->Get();
}

void KeyInfoStructWrap::AddRetrivalMethodNode(DWORD charset, const std::vector<BYTE>& data) {
    if (data.empty()) errors::Raise<hr::kInvalidArg>("KeyInfoStructWrap::AddRetrivalMethodNode");
    retrievalMethods_.push_back(data);
    AppendItem(CRYPT_XML_KEYINFO_TYPE_RETRIEVAL).RetrievalMethod = BlobOf(charset, retrievalMethods_.back());
}

void KeyInfoStructWrap::AddCustomDataNode(DWORD charset, const std::vector<BYTE>& data) {
    if (data.empty()) errors::Raise<hr::kInvalidArg>("KeyInfoStructWrap::AddCustomDataNode");
    customs_.push_back(data);
    AppendItem(CRYPT_XML_KEYINFO_TYPE_CUSTOM).Custom = BlobOf(charset, customs_.back());
}

// The item vector may move when it grows: count and array are published again each time.
CRYPT_XML_KEY_INFO_ITEM& KeyInfoStructWrap::AppendItem(DWORD type) {
    CRYPT_XML_KEY_INFO_ITEM item{};
    item.dwType = type;
    items_.push_back(item);
    keyInfo_.cKeyInfo = static_cast<ULONG>(items_.size());
    keyInfo_.rgKeyInfo = items_.data();
    return items_.back();
}
