#pragma once
// The DSA public key of a certificate as the components of a DSAKeyValue. crypt32 cannot
// be relied on for it: Wine's imports no DSA key from a certificate and decodes no DSS
// parameters, so the DER is read here.
#include <vector>

#include "base/WinApi.hpp"

namespace dssCertificateKey {

struct Components {
    std::vector<BYTE> p, q, g, y;  // big-endian, as in XML
};

// False when the certificate's key is not a well-formed DSA key with parameters.
bool Read(const CERT_PUBLIC_KEY_INFO& info, Components& out);

}  // namespace dssCertificateKey
