#include "crypto/WinCAPICryptoKeyGOST.hpp"

#include <stdexcept>

#include "base/TextConvert.hpp"
#include "crypto/CapiSupport.hpp"

namespace {

constexpr unsigned int kGostHashSize = 32;

std::string UrnOid(const std::string& dotted) { return dotted.empty() ? dotted : "urn:oid:" + dotted; }

}  // namespace

WinCAPICryptoKeyGOST::WinCAPICryptoKeyGOST(HCRYPTPROV prov, DWORD keySpec, bool isPrivate)
    : prov_(crypto::ShareProv(prov)), keySpec_(keySpec), isPrivate_(isPrivate) {
    if (!CryptGetUserKey(prov, keySpec, key_.put())) {
        crypto::ThrowLastError(XSECCryptoException::GeneralError, "WinCAPICryptoKeyGOST: CryptGetUserKey");
    }
}

WinCAPICryptoKeyGOST::WinCAPICryptoKeyGOST(HCRYPTPROV prov, HCRYPTKEY key) : prov_(crypto::ShareProv(prov)) {
    if (!CryptDuplicateKey(key, nullptr, 0, key_.put())) {
        crypto::ThrowLastError(XSECCryptoException::GeneralError, "WinCAPICryptoKeyGOST: CryptDuplicateKey");
    }
}

WinCAPICryptoKeyGOST::WinCAPICryptoKeyGOST(HCRYPTPROV prov) : prov_(crypto::ShareProv(prov)) {}

void WinCAPICryptoKeyGOST::setPublicKeyBase64(const wchar_t* base64) { pendingKey_ = base64 ? base64 : L""; }

void WinCAPICryptoKeyGOST::setPublicKeyParamSetOID(const wchar_t* oid) {
    pending_.publicKeyParamSet = gostBlob::WithoutUrnPrefix(textConvert::ToAnsi(oid ? oid : L""));
}

void WinCAPICryptoKeyGOST::setDigestParamSetOID(const wchar_t* oid) {
    pending_.digestParamSet = gostBlob::WithoutUrnPrefix(textConvert::ToAnsi(oid ? oid : L""));
}

void WinCAPICryptoKeyGOST::setEncryptionParamSetOID(const wchar_t* oid) {
    pending_.encryptionParamSet = gostBlob::WithoutUrnPrefix(textConvert::ToAnsi(oid ? oid : L""));
}

HCRYPTKEY WinCAPICryptoKeyGOST::importKey() {
    static const char* const kWhat = "WinCAPICryptoKeyGOST::importKey";
    gostBlob::GostPublicKey key = pending_;
    try {
        const std::string text = textConvert::ToAnsi(pendingKey_);
        gostBlob::GostPublicKey fromInfo;
        key.key =
            gostBlob::RawKey(crypto::DecodeBase64(text.c_str(), static_cast<unsigned int>(text.size())), &fromInfo);
        if (key.publicKeyParamSet.empty()) key.publicKeyParamSet = fromInfo.publicKeyParamSet;
        if (key.digestParamSet.empty()) key.digestParamSet = fromInfo.digestParamSet;
        if (key.digestParamSet.empty()) key.digestParamSet = "1.2.643.2.2.30.1";  // the CryptoPro set
        const gostBlob::Bytes blob = gostBlob::Build(key);
        if (!CryptImportKey(prov_.get(), blob.data(), static_cast<DWORD>(blob.size()), 0, 0, key_.put())) {
            crypto::ThrowLastError(XSECCryptoException::GeneralError, "WinCAPICryptoKeyGOST: CryptImportKey");
        }
    } catch (const std::invalid_argument& e) {
        throw XSECCryptoException(XSECCryptoException::GeneralError, (std::string(kWhat) + ": " + e.what()).c_str());
    }
    isPrivate_ = false;
    return key_.get();
}

gostBlob::GostPublicKey WinCAPICryptoKeyGOST::Exported() const {
    DWORD size = 0;
    if (!CryptExportKey(key_.get(), 0, PUBLICKEYBLOB, 0, nullptr, &size)) {
        crypto::ThrowLastError(XSECCryptoException::GeneralError, "WinCAPICryptoKeyGOST: CryptExportKey");
    }
    gostBlob::Bytes blob(size);
    if (!CryptExportKey(key_.get(), 0, PUBLICKEYBLOB, 0, blob.data(), &size)) {
        crypto::ThrowLastError(XSECCryptoException::GeneralError, "WinCAPICryptoKeyGOST: CryptExportKey");
    }
    try {
        return gostBlob::Parse(blob.data(), size);
    } catch (const std::invalid_argument& e) {
        throw XSECCryptoException(XSECCryptoException::GeneralError,
                                  (std::string("WinCAPICryptoKeyGOST: exported key: ") + e.what()).c_str());
    }
}

std::string WinCAPICryptoKeyGOST::getPublicKeyBase64() const {
    const gostBlob::GostPublicKey key = Exported();
    return crypto::EncodeBase64(key.key.data(), key.key.size());
}

std::string WinCAPICryptoKeyGOST::getPublicKeyParamSetOID() const { return UrnOid(Exported().publicKeyParamSet); }
std::string WinCAPICryptoKeyGOST::getDigestParamSetOID() const { return UrnOid(Exported().digestParamSet); }
std::string WinCAPICryptoKeyGOST::getEncryptionParamSetOID() const { return UrnOid(Exported().encryptionParamSet); }

crypto::HashHandle WinCAPICryptoKeyGOST::HashWithValue(const unsigned char* hash, unsigned int hashLen) const {
    if (hash == nullptr || hashLen != kGostHashSize) {
        throw XSECCryptoException(XSECCryptoException::GeneralError,
                                  "WinCAPICryptoKeyGOST: a GOST R 34.11-94 digest has 32 bytes");
    }
    crypto::HashHandle h;
    if (!CryptCreateHash(prov_.get(), ids::kAlgGr3411, 0, 0, h.put())) {
        crypto::ThrowLastError(XSECCryptoException::MDError, "WinCAPICryptoKeyGOST: CryptCreateHash(CALG_GR3411)");
    }
    if (!CryptSetHashParam(h.get(), HP_HASHVAL, hash, 0)) {
        crypto::ThrowLastError(XSECCryptoException::MDError, "WinCAPICryptoKeyGOST: CryptSetHashParam(HP_HASHVAL)");
    }
    return h;
}

unsigned int WinCAPICryptoKeyGOST::signBase64Signature(const unsigned char* hash, unsigned int hashLen, char* out,
                                                       unsigned int outLen) const {
    if (!isPrivate_) {
        throw XSECCryptoException(XSECCryptoException::GeneralError, "WinCAPICryptoKeyGOST: not a signing key");
    }
    crypto::HashHandle h = HashWithValue(hash, hashLen);
    DWORD size = 0;
    if (!CryptSignHashW(h.get(), keySpec_, nullptr, 0, nullptr, &size)) {
        crypto::ThrowLastError(XSECCryptoException::GeneralError, "WinCAPICryptoKeyGOST: CryptSignHash");
    }
    gostBlob::Bytes signature(size);
    if (!CryptSignHashW(h.get(), keySpec_, nullptr, 0, signature.data(), &size)) {
        crypto::ThrowLastError(XSECCryptoException::GeneralError, "WinCAPICryptoKeyGOST: CryptSignHash");
    }
    const crypto::Bytes xmlOrder = crypto::Reversed(signature.data(), size);
    return crypto::CopyOut(crypto::EncodeBase64(xmlOrder.data(), xmlOrder.size()), out, outLen,
                           XSECCryptoException::GeneralError);
}

bool WinCAPICryptoKeyGOST::verifyBase64Signature(const unsigned char* hash, unsigned int hashLen, const char* base64,
                                                 unsigned int base64Len) const {
    const crypto::Bytes xmlOrder = crypto::DecodeBase64(base64, base64Len);
    if (xmlOrder.size() != 64 && xmlOrder.size() != 128) return false;
    const crypto::Bytes capiOrder = crypto::Reversed(xmlOrder.data(), xmlOrder.size());
    crypto::HashHandle h = HashWithValue(hash, hashLen);
    if (CryptVerifySignatureW(h.get(), capiOrder.data(), static_cast<DWORD>(capiOrder.size()), key_.get(), nullptr,
                              0)) {
        return true;
    }
    const DWORD error = GetLastError();
    if (error == static_cast<DWORD>(NTE_BAD_SIGNATURE)) return false;
    crypto::ThrowError(XSECCryptoException::GeneralError, "WinCAPICryptoKeyGOST: CryptVerifySignature", error);
}

const XMLCh* WinCAPICryptoKeyGOST::getProviderName() const { return crypto::WinCapiProviderName(); }

XSECCryptoKey* WinCAPICryptoKeyGOST::clone() const {
    if (isPrivate_) return new WinCAPICryptoKeyGOST(prov_.get(), keySpec_, true);
    if (key_) return new WinCAPICryptoKeyGOST(prov_.get(), key_.get());
    auto* copy = new WinCAPICryptoKeyGOST(prov_.get());
    copy->pendingKey_ = pendingKey_;
    copy->pending_ = pending_;
    return copy;
}
