#include "KeyAlgorithms.hpp"

#include <cstring>

namespace faulty {

void KeyAlgorithms::Remember(HCRYPTKEY key, ALG_ID algId) {
    std::lock_guard<std::mutex> guard(lock_);
    algorithms_[key] = algId;
}

void KeyAlgorithms::Forget(HCRYPTKEY key) {
    std::lock_guard<std::mutex> guard(lock_);
    algorithms_.erase(key);
}

ALG_ID KeyAlgorithms::Find(HCRYPTKEY key) const {
    std::lock_guard<std::mutex> guard(lock_);
    const auto found = algorithms_.find(key);
    return found == algorithms_.end() ? 0 : found->second;
}

ALG_ID DssAlgorithm(ALG_ID algIdOrKeyPair) {
    switch (algIdOrKeyPair) {
        case AT_SIGNATURE: return CALG_DSS_SIGN;
        case AT_KEYEXCHANGE: return CALG_DH_SF;
        default: return algIdOrKeyPair;
    }
}

ALG_ID BlobAlgorithm(const BYTE* blob, DWORD size) {
    BLOBHEADER header{};
    if (blob == nullptr || size < sizeof header) return 0;
    std::memcpy(&header, blob, sizeof header);
    return header.aiKeyAlg;
}

BOOL AnswerDword(DWORD value, BYTE* data, DWORD* size) {
    if (size == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (data != nullptr && *size < sizeof value) {
        *size = sizeof value;
        SetLastError(ERROR_MORE_DATA);
        return FALSE;
    }
    if (data != nullptr) std::memcpy(data, &value, sizeof value);
    *size = sizeof value;
    return TRUE;
}

}  // namespace faulty
