#include "keys/KeyFamilies.hpp"

#include "keys/dsa/DsaFamily.hpp"
#include "keys/gost2001/Gost2001Family.hpp"
#include "keys/hmac/HmacFamily.hpp"
#include "keys/rsa/RsaFamily.hpp"

namespace keyFamilies {
namespace {

// In the order lookups try them.
const keys::KeyFamily* const kFamilies[] = {&rsa::Family(), &dsa::Family(), &hmac::Family(), &gost2001::Family()};

template <class Holds>
const keys::KeyFamily* Find(Holds&& holds) noexcept {
    for (const keys::KeyFamily* family : kFamilies) {
        if (holds(*family)) return family;
    }
    return nullptr;
}

}  // namespace

const keys::KeyFamily* ForSignatureFamily(unsigned number) noexcept {
    return Find([number](const keys::KeyFamily& f) { return f.SignatureFamily() == number; });
}

const keys::KeyFamily* ForAlgId(ALG_ID algId) noexcept {
    return Find([algId](const keys::KeyFamily& f) { return f.HoldsAlgId(algId); });
}

const keys::KeyFamily* ForKeyValueType(DWORD type) noexcept {
    return Find([type](const keys::KeyFamily& f) { return f.HoldsKeyValueType(type); });
}

const keys::KeyFamily* ForKeyInfoType(int type) noexcept {
    return Find([type](const keys::KeyFamily& f) { return f.HoldsKeyInfoType(type); });
}

const keys::KeyFamily* ForCertificateOid(const char* oid) noexcept {
    if (oid == nullptr) return nullptr;
    return Find([oid](const keys::KeyFamily& f) { return f.HoldsCertificateOid(oid); });
}

bool IsUnimplementedKeyValueType(DWORD type) noexcept { return type == CRYPT_XML_KEY_VALUE_TYPE_ECDSA; }

}  // namespace keyFamilies
