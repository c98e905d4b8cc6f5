#include "crypto/DssSignatureOrder.hpp"

#include "crypto/CapiKeyOps.hpp"
#include "crypto/WinCAPICryptoKeyDSA.hpp"

#include <cstring>

namespace crypto {
namespace {

// A DSA key and signature made with OpenSSL 3.0 (1024-bit P, 160-bit Q), XML-DSig form.
const char kP[] =
    "gb2Lcb00JbQAMdTRHh3E/yy4PX27XVkwnlRxk0UUp8v8u6fwj7W3XWxpeOrVFopQUhipX37DHUVVe+aTcLnqOIjPw6drSU7j"
    "3glVPh5V3gNeQU+HkKWWSe/y7mKzsb+HR0o7AwD67ukS+y9TR3/OywN7cxjB5EEHoLU9mDNcOkc=";
const char kQ[] = "14a25iR+mvB1LSQbj7SN1t52K6U=";
const char kG[] =
    "BYwh8yfdlsjtWAEt1iZ3h3dWIpWaFFs3QuVtm1gHUWZlV3UJxvJCPKiKpIhhsLo8s8EjnMSEClo9UegN4WuQWbaJXyncEhPd"
    "YRGmSmwmJExkXXTPq61zJPC40a6xQlYRjGT5vHaLKnsR2VfTS4XiKTevPlzKtt4PEOcjGrbqFTU=";
const char kY[] =
    "Ar0pbq0Y4agCqMtUupQnK0yuZ2Wr6LCNWLDWbSvwpXjczUz7ujwx6KDQRL9IdsE4ymCNZEC9L0bsEm/lTz4jw5/eaMg4F5p7"
    "M1BW4RApEHP7kvRR6KHaHCj7+Y0V/HHRiyNnZo9wZO1+PZmlEvG6RIhO5LuKwljVikAgmMThxhc=";
const char kSig[] = "tVFAMv4cXbHdaK79+85WOxg2yh4RlP1ImYwkPOlEtoy+SPKHI9nFgg==";
const unsigned char kSha1Abc[20] = {0xa9, 0x99, 0x3e, 0x36, 0x47, 0x06, 0x81, 0x6a, 0xba, 0x3e,
                                    0x25, 0x71, 0x78, 0x50, 0xc2, 0x6c, 0x9c, 0xd0, 0xd8, 0x9d};

bool VerifiesAs(HCRYPTPROV prov, HCRYPTKEY key, const Bytes& sig) {
    try {
        return VerifyHashValue(prov, key, CALG_SHA1, kSha1Abc, sizeof kSha1Abc, sig, PROV_DSS,
                               XSECCryptoException::DSAError);
    } catch (...) {
        return false;
    }
}

bool Probe() {
    try {
        ProvHandle prov;
        if (!CryptAcquireContextW(prov.put(), nullptr, nullptr, PROV_DSS, CRYPT_VERIFYCONTEXT)) return false;
        bool bigEndian = false;
        {
            WinCAPICryptoKeyDSA key(prov.get());
            key.loadPBase64BigNums(kP, sizeof kP - 1);
            key.loadQBase64BigNums(kQ, sizeof kQ - 1);
            key.loadGBase64BigNums(kG, sizeof kG - 1);
            key.loadYBase64BigNums(kY, sizeof kY - 1);
            HCRYPTKEY handle = key.importKey();
            Bytes xml = DecodeBase64(kSig, sizeof kSig - 1);
            Bytes le = Reversed(xml.data(), 20);
            Bytes s = Reversed(xml.data() + 20, 20);
            le.insert(le.end(), s.begin(), s.end());
            bigEndian = !VerifiesAs(prov.get(), handle, le) && VerifiesAs(prov.get(), handle, xml);
        }
        return bigEndian;
    } catch (...) {
        return false;
    }
}

}  // namespace

bool DssSignatureHalvesAreBigEndian() noexcept {
    static const bool bigEndian = Probe();
    return bigEndian;
}

}  // namespace crypto
