#pragma once
// Keys and signatures made outside CryptoAPI, with OpenSSL 3.0 on Linux:
//   openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:1024 -out rsa.pem
//   openssl genpkey -genparam -algorithm DSA -pkeyopt dsa_paramgen_bits:1024
//       -pkeyopt dsa_paramgen_q_bits:160 -out dsap.pem   (one command)
//   openssl genpkey -paramfile dsap.pem -out dsa.pem
//   printf abc > abc.txt
//   openssl dgst -sha1|-sha256|-sha512 -sign rsa.pem -out rsa-<hash>.sig abc.txt
//   (a second DSA key the same way: dsa2.pem)
//   printf 'message digest' > md.txt
//   openssl dgst -sha1 -sign dsa2.pem -out dsa2-sha1.der md.txt
// Numbers are big-endian Base64 as XML-DSig writes them; the DSA signature is the DER
// (r, s) re-packed as r || s, 20 bytes each. kRsaPrivateKeyBlobHex is rsa.pem as a
// CryptoAPI PRIVATEKEYBLOB (CALG_RSA_SIGN), so that signing through CryptoAPI can be
// compared byte for byte with OpenSSL (PKCS#1 v1.5 signatures are deterministic).
// The DSA values here are those of dsa2.pem (the provider calibrates its DSA byte order
// on another key, see src/crypto/DssSignatureOrder.cpp). kPhaosRsaCert* is the public key
// of xmlsec1's phaos-xmldsig-three/certs/rsa-cert.der as OpenSSL reads it.

namespace vectors {

inline const char kRsaModulusB64[] =
    "w89iO/NzPS0srZmK9BzyQp3/hJbtkA8gnPiQn6/zXZ9AYWJgqokJ8dcd4jEm9wWdsP/"
    "mpVKYMl9tUer1TbmMjDq0RphxfPrUVvNvJwMjsA7XIy9VKfK7t9QLjsseOWe178EogmLHkhEPvYGnqOXKcpR91zYW2NRr2eTMt8JD9xM=";
inline const char kRsaExponentB64[] = "AQAB";
inline const char kRsaSigSHA1B64[] =
    "j8PjdAWhAT5vEBrCQO4QfopX9j6S7Ov31qfeuMrGQ4/"
    "19kldZWhgWblfk9J8ryKkYjY9pPdHwkCPQCca73sX3gDt2P5kFYGwkGhCBAcAN5HPWoHhsOlgCMg6q3gz8jDh2MI2vbeAhI2Jks7M+MpsFJhWF3/"
    "V89saUQ/B4neRhxE=";
inline const char kRsaSigSHA256B64[] =
    "UKcIJeIFP/y4LwZdVS9j0bH5zoENjY4kyZKKH72jEIbFrZtOZL1jDUHmkC/"
    "A3q4mAtJhba09V5LwR6IvCzhyrKDzf7JH9kbTeViTL3DuB7z1q3GsTnYmNt81LzJKK6inM8SfwaCLWsJgAEe+SHwuhbuhXazsXCMHVIH4iK/5VCk=";
inline const char kRsaSigSHA512B64[] =
    "SE2QWGlywnYh1Zpeuy6oM/AP3hcw3+XGGJMOVtAfyBuQHwKtqRiyVEkr/EPDCxKwuz3Pvv/"
    "Ri1IrIm5RrUnMyLQDOspDAJB0o9azSmdSYeE1eD4ANyjLvm0sGvAX0fJC8ENWOSzDsyrouzu+Im3jMUAQYXh5+7ztA47//NqFQo4=";
inline const char kRsaPrivateKeyBlobHex[] =
    "070200000024000052534132000400000100010013f743c2b7cce4d96bd4d81636d77d9472cae5a8a781bd0f1192c762"
    "8228c1efb567391ecb8e0bd4b7bbf229552f23d70eb02303276ff356d4fa7c719846b43a8c8cb94df5ea516d5f329852"
    "a5e6ffb09d05f72631e21dd7f10989aa606261409f5df3af9f90f89c200f90ed9684ff9d42f21cf48a99ad2c2d3d73f3"
    "3b62cfc31d026b6ddb748ec01ce6e2ac44b891c7b520bd0e8f87a7a8f0e697d3ae86146eda77ba384c90c8d10dcf3941"
    "473d10cdd0b4a29ca89ca1f973c62d394d4516eaef96a00ef52b5d3655bcb8eeb18905029b9320c524a110cabe960b35"
    "5edc1c0a792a462873f1c10e16e447f6755b90270ac5e1bcff910a38ca155f2189d523d6a555f86b3248f009d8f49505"
    "a9452844e66ec727019196640a7fd33823abfdffe1fa070126f86020ed09dd6ded308fd3c75e26f471bc3f19fff6a436"
    "4644c75d5d111d3bc09654cb2fc14473cb631664f8ed586b5fd9770631c8dc6fe9cadb2ad2744237516e0077605fd97d"
    "1b9e655913ed5d5a6b4626ab9c6deca1fed8400aac96fef9d7bc9798465a727ab34438a2965ababe5709682a2cb9a254"
    "8dca37184919fd5ef1296c7fa0212107d60428ad3240c0123d6428d6df74a2058b995d0c61688a34be375a72f68ba2c6"
    "2cc43981e519d9f5fb8f197adee3a7e7b708cc5e6f0af0802e6148f4b7e7155d2ca6b73be9b4fa8d604c65cb4204c229"
    "69b79aec0dd59d2ae47c8950978b9e7f66f8683ddb00a3f7c2a48e96017d1e6aa1c70373c8488be8e5984c4194fd6832"
    "881476e7e8bd6c07b0c0cc3d692785174ff85dab";
inline const char kDsaPB64[] =
    "kVx9zxVcNyGIwL6LI7Av8ZBD/LQEBhjquzsk6a7F/iOFrZZn8IVUVcBZiMEwa+/2lErGzAIkQ2/"
    "J4R41WNZ2v1kfm0spaMTRtgjIQfHSAnUqKlq3YGZS24/OhJBV4EsNSZZtOH7jz7pCEWUU2rumxQtiefHAQ6v+OT2b1jSXJts=";
inline const char kDsaQB64[] = "yV41RC9hkw3k3KL4jTzqL33VKQc=";
inline const char kDsaGB64[] =
    "Pr0qj2pcdGCzxo8I+Y0VQXlPBK3EfTxleFaOtYGgt1z+"
    "wCjRzmlPF0RnLoagvVjcN0YbKdfEvPs9f8fG5XSoo5CzwbxA6ww94UOaIPo9aisX8rfD4C/"
    "Qo1D73oiOna6gCiY9thW44nLxYaRkNtbLZ+Py2qBDPjzumOZA2+Nz1c8=";
inline const char kDsaYB64[] =
    "PZNXrPt7v3lIVIKiOV60Tc/dHNHVCqCnmj90RNaTMzyWIYNP+qep8/JLLdQN4wKkCz23JvqIFNuXpSVLfURT0cm2hO+/"
    "mT7GeWQQcCc+aH2TZZqWEpk/MsrE4fMmoVTK9uQ0XrcviweTeqjo6BJXXbpeUCaa3M17jKC/hU9OMQo=";
inline const char kDsaSigSHA1B64[] = "A9hDFCpmQ3q1hNlO3offl/ytetuxyQXWTdDEj30m5ogGy5T83wZWyg==";
inline const char kDsaMessage[] = "message digest";
inline const char kDsaMessageSha1Hex[] = "c12252ceda8be8994d5fa0290a47231c1d16aae3";
inline const char kPhaosRsaCertModulusB64[] =
    "gIb6nAB9oS/AI5jIj6WymvQhRxiMlE07G4abmMliYi5zWzvaFE2tnU+RZIBgtoXcgDEIU/"
    "vsLQut7nzCn9mHxC8JEaV4D4U91j64AyZakShqJw7qjJfqUxxPL0yJv2oFiouPDjGuJ9JPi0NrsZq+yfWfM54s4b9SNkcOIVMybZU=";
inline const char kPhaosRsaCertExponentB64[] = "AQAB";
// A self-signed certificate of the dsa2.pem key:
//   openssl req -x509 -new -key dsa2.pem -subj "/CN=talvoran DSA test" -days 36500 -outform der
inline const char kDsaCertB64[] =
    "MIIC2DCCApWgAwIBAgIUa2Aa7Ji/Pd8glp3wAAkWdhrWx8owCwYJYIZIAWUDBAMCMBwxGjAYBgNVBAMMEXRhbHZvcmFuIERT"
    "QSB0ZXN0MCAXDTI2MTEyMTExNTYyNVoYDzIxMjYxMDI4MTE1NjI1WjAcMRowGAYDVQQDDBF0YWx2b3JhbiBEU0EgdGVzdDCC"
    "AbYwggErBgcqhkjOOAQBMIIBHgKBgQCRXH3PFVw3IYjAvosjsC/xkEP8tAQGGOq7OyTprsX+I4WtlmfwhVRVwFmIwTBr7/aU"
    "SsbMAiRDb8nhHjVY1na/WR+bSyloxNG2CMhB8dICdSoqWrdgZlLbj86EkFXgSw1Jlm04fuPPukIRZRTau6bFC2J58cBDq/45"
    "PZvWNJcm2wIVAMleNUQvYZMN5Nyi+I086i991SkHAoGAPr0qj2pcdGCzxo8I+Y0VQXlPBK3EfTxleFaOtYGgt1z+wCjRzmlP"
    "F0RnLoagvVjcN0YbKdfEvPs9f8fG5XSoo5CzwbxA6ww94UOaIPo9aisX8rfD4C/Qo1D73oiOna6gCiY9thW44nLxYaRkNtbL"
    "Z+Py2qBDPjzumOZA2+Nz1c8DgYQAAoGAPZNXrPt7v3lIVIKiOV60Tc/dHNHVCqCnmj90RNaTMzyWIYNP+qep8/JLLdQN4wKk"
    "Cz23JvqIFNuXpSVLfURT0cm2hO+/mT7GeWQQcCc+aH2TZZqWEpk/MsrE4fMmoVTK9uQ0XrcviweTeqjo6BJXXbpeUCaa3M17"
    "jKC/hU9OMQqjUzBRMB0GA1UdDgQWBBScu5xJEvWoTgTuW/CXIM0B+S0pmTAfBgNVHSMEGDAWgBScu5xJEvWoTgTuW/CXIM0B"
    "+S0pmTAPBgNVHRMBAf8EBTADAQH/MAsGCWCGSAFlAwQDAgMwADAtAhQSQoFPMmnFfAh/a7EdwbiV/UotOwIVALKEuWhRFHJ1"
    "hLNiHL0gLR2c2Awm";
// The public key of xmlsec1's phaos-xmldsig-three/certs/dsa-cert.der as OpenSSL reads it.
inline const char kPhaosDsaCertYB64[] =
    "JLZHChtL9OjhYpD2tVpN4+Urp9P0R/"
    "1jmkQA3vYycSf6GDtGDyESjCuWl2sH4EwIt3yJkhN4CPwGgrrkq8H1S+"
    "U7X76nTEaobAmElnBrBeF6uatRwwmCvVm4DCKs1XJNeN1QlsbLikf9aJguzjj8unzyYZRdjMcgjhLtVjeYAC0=";
inline const char kPhaosDsaCertQB64[] = "vSPQz7ak24nBo5gwSMfEXkvEblc=";

}  // namespace vectors
