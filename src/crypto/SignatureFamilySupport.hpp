#pragma once

namespace crypto {

// xml-security-c's provider interface answers only for hash types; a provider that also
// implements this tells which signature families (the ids::kFamily* numbers)
// it can compute. A provider without it is taken to support none.
class SignatureFamilySupport {
public:
    virtual bool signatureFamilySupported(unsigned family) const = 0;

protected:
    ~SignatureFamilySupport() = default;
};

}  // namespace crypto
