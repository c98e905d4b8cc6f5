#include "keys/CapiKeyValueImport.hpp"

#include <string>
#include <vector>

#include "base/CryptXmlException.hpp"
#include "document/Base64.hpp"

namespace capiKeyValueImport {
namespace {

bool IsEmpty(const CRYPT_XML_DATA_BLOB& blob) { return blob.cbData == 0 || blob.pbData == nullptr; }

bool Acquire(crypto::ProvHandle& prov, DWORD type) {
    return CryptAcquireContextW(prov.put(), nullptr, nullptr, type, CRYPT_VERIFYCONTEXT) != FALSE;
}

}  // namespace

void CheckComponents(const Kind& kind, std::initializer_list<const CRYPT_XML_DATA_BLOB*> parts) {
    for (const CRYPT_XML_DATA_BLOB* part : parts) {
        if (IsEmpty(*part)) throw CryptXmlException::Verbatim(hr::kInvalidArg, kind.emptyComponent);
    }
    for (const CRYPT_XML_DATA_BLOB* part : parts) {
        if (part->cbData > CRYPT_XML_BLOB_MAX) throw CryptXmlException::Verbatim(hr::kLarge, kind.tooLarge);
    }
}

void LoadBase64(const CRYPT_XML_DATA_BLOB& blob, const std::function<void(const char*, unsigned int)>& load) {
    const std::vector<BYTE> bytes(blob.pbData, blob.pbData + blob.cbData);
    std::string text;
    base64::BinToBase64(bytes, text);
    load(text.c_str(), static_cast<unsigned int>(text.size()));
}

void Import(const Kind& kind, std::initializer_list<DWORD> provTypes, const ImportFn& import, HCRYPTPROV* phProv,
            HCRYPTKEY* phKey) {
    crypto::ProvHandle prov;
    bool acquired = false;
    for (DWORD type : provTypes) {
        if ((acquired = Acquire(prov, type))) break;
    }
    if (!acquired) throw CryptXmlException::Verbatim(HRESULT_FROM_WIN32(GetLastError()), kind.noProvider);
    // From here on a failure leaves both out values 0; the handles made here are released.
    *phProv = 0;
    crypto::KeyHandle duplicate;
    if (import(prov.get(), duplicate) == 0) {
        const HRESULT result = HRESULT_FROM_WIN32(GetLastError());
        *phKey = 0;
        throw CryptXmlException::Verbatim(FAILED(result) ? result : hr::kFail, "CryptDuplicateKey() failed.");
    }
    *phKey = duplicate.release();
    *phProv = prov.release();
}

}  // namespace capiKeyValueImport

namespace capiKeyValueImport {

keys::ImportedKey ImportPublicKeyInfo(const CERT_PUBLIC_KEY_INFO& info, std::initializer_list<DWORD> provTypes) {
    constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
    keys::ImportedKey out;
    HRESULT result = hr::kFail;
    for (DWORD type : provTypes) {
        // The structure is only read; the API takes it as non-const.
        auto* mutableInfo = const_cast<CERT_PUBLIC_KEY_INFO*>(&info);
        if (CryptAcquireContextW(out.prov.put(), nullptr, nullptr, type, CRYPT_VERIFYCONTEXT) &&
            CryptImportPublicKeyInfoEx(out.prov.get(), kEncoding, mutableInfo, 0, 0, nullptr, out.key.put())) {
            return out;
        }
        result = HRESULT_FROM_WIN32(GetLastError());
    }
    throw CryptXmlException::Verbatim(FAILED(result) ? result : hr::kFail,
                                      "the certificate's public key could not be imported.");
}

}  // namespace capiKeyValueImport
