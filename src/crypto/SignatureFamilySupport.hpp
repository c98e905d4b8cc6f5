#pragma once

namespace crypto {

// xml-security-c's provider interface answers only for hash types; a provider that also
// implements this tells which signature families (RSA 1, DSA 2, HMAC 3, GOST R 34.10-2001 5)
// it can compute. A provider without it is taken to support none.
class SignatureFamilySupport {
public:
    virtual bool signatureFamilySupported(unsigned family) const = 0;

protected:
    ~SignatureFamilySupport() = default;
};

}  // namespace crypto
