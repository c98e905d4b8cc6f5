#include "crypto/WinCAPICryptoHashHMAC.hpp"

#include "crypto/CapiSupport.hpp"
#include "crypto/WinCAPICryptoHash.hpp"

#include <xsec/enc/XSECCryptoKeyHMAC.hpp>
#include <xsec/utils/XSECSafeBuffer.hpp>

#include <cstring>

using crypto::ThrowLastError;

WinCAPICryptoHashHMAC::WinCAPICryptoHashHMAC(HCRYPTPROV prov, HashType type)
    : prov_(prov),
      provRef_(crypto::ShareProv(prov)),
      type_(type),
      algId_(crypto::HashAlgId(type)),
      blockSize_(crypto::HashBlockSize(type)) {
    if (algId_ == 0 || blockSize_ == 0)
        throw XSECCryptoException(XSECCryptoException::MDError, "WinCAPI: HMAC hash algorithm not supported");
    if (prov_ == 0)
        throw XSECCryptoException(XSECCryptoException::MDError, "WinCAPI: no provider for the HMAC hash algorithm");
}

WinCAPICryptoHashHMAC::~WinCAPICryptoHashHMAC() {
    hash_.reset();  // the hash object refers to the key
    key_.reset();
    SecureZeroMemory(innerPad_.data(), innerPad_.size());
    SecureZeroMemory(outerPad_.data(), outerPad_.size());
}

void WinCAPICryptoHashHMAC::setKey(const XSECCryptoKey* key) {
    if (key == nullptr || key->getKeyType() != XSECCryptoKey::KEY_HMAC)
        throw XSECCryptoException(XSECCryptoException::MDError, "WinCAPI: non-HMAC key passed to the HMAC hash");
    safeBuffer keyBuf;
    unsigned int keyLen = static_cast<const XSECCryptoKeyHMAC*>(key)->getKey(keyBuf);
    std::vector<unsigned char> secret(keyBuf.rawBuffer(), keyBuf.rawBuffer() + keyLen);
    if (secret.size() > blockSize_) {
        WinCAPICryptoHash digest(prov_, type_);
        digest.hash(secret.data(), static_cast<unsigned int>(secret.size()));
        unsigned char value[128];
        unsigned int n = digest.finish(value, sizeof value);
        secret.assign(value, value + n);
        SecureZeroMemory(value, sizeof value);
    }
    // The secret goes into the pads (HMAC_INFO inner and outer strings: block-size key XOR
    // 0x36 / 0x5c), and the key handed to CryptoAPI is one zero byte, which leaves the pads
    // as they are: CSPs cut keys longer than 64 bytes (Wine's rsaenh does), whereas SHA-384
    // and SHA-512 take keys of up to 128 bytes unhashed.
    innerPad_.assign(blockSize_, 0x36);
    outerPad_.assign(blockSize_, 0x5c);
    for (size_t i = 0; i < secret.size(); ++i) {
        innerPad_[i] ^= secret[i];
        outerPad_[i] ^= secret[i];
    }
    SecureZeroMemory(secret.data(), secret.size());
    secret.assign(1, 0);

    std::vector<unsigned char> blob(sizeof(BLOBHEADER) + sizeof(DWORD) + secret.size());
    BLOBHEADER header{};
    header.bType = PLAINTEXTKEYBLOB;
    header.bVersion = CUR_BLOB_VERSION;
    header.reserved = 0;
    header.aiKeyAlg = CALG_RC2;
    DWORD len = static_cast<DWORD>(secret.size());
    std::memcpy(blob.data(), &header, sizeof header);
    std::memcpy(blob.data() + sizeof header, &len, sizeof len);
    std::memcpy(blob.data() + sizeof header + sizeof len, secret.data(), secret.size());
    SecureZeroMemory(secret.data(), secret.size());

    hash_.reset();
    BOOL ok = CryptImportKey(prov_, blob.data(), static_cast<DWORD>(blob.size()), 0, CRYPT_IPSEC_HMAC_KEY, key_.put());
    DWORD err = GetLastError();
    SecureZeroMemory(blob.data(), blob.size());
    if (!ok) crypto::ThrowError(XSECCryptoException::MDError, "CryptImportKey(HMAC key)", err);
    start();
}

void WinCAPICryptoHashHMAC::start() {
    if (!CryptCreateHash(prov_, CALG_HMAC, key_.get(), 0, hash_.put()))
        ThrowLastError(XSECCryptoException::MDError, "CryptCreateHash(CALG_HMAC)");
    HMAC_INFO info{};
    info.HashAlgid = algId_;
    info.pbInnerString = innerPad_.data();
    info.cbInnerString = static_cast<DWORD>(innerPad_.size());
    info.pbOuterString = outerPad_.data();
    info.cbOuterString = static_cast<DWORD>(outerPad_.size());
    if (!CryptSetHashParam(hash_.get(), HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info), 0))
        ThrowLastError(XSECCryptoException::MDError, "CryptSetHashParam(HP_HMAC_INFO)");
}

void WinCAPICryptoHashHMAC::reset() {
    if (key_) start();
}

void WinCAPICryptoHashHMAC::hash(unsigned char* data, unsigned int length) {
    if (!hash_) throw XSECCryptoException(XSECCryptoException::MDError, "WinCAPI: HMAC hash called before setKey");
    if (length == 0) return;
    if (!CryptHashData(hash_.get(), data, length, 0))
        ThrowLastError(XSECCryptoException::MDError, "CryptHashData(HMAC)");
}

unsigned int WinCAPICryptoHashHMAC::finish(unsigned char* hash, unsigned int maxLength) {
    if (!hash_) throw XSECCryptoException(XSECCryptoException::MDError, "WinCAPI: HMAC finish called before setKey");
    return crypto::ReadHashValue(hash_.get(), hash, maxLength);
}
