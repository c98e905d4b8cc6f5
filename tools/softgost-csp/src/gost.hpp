// GOST R 34.10-2001 / 34.11-94 primitives of the software test provider, on Botan.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace softgost {

using Bytes = std::vector<uint8_t>;

// The curves the provider knows, by the index kept in stored keys.
enum Curve : int { CurveTest = 0, CurveA = 1, CurveB = 2, CurveC = 3, CurveCount = 4 };

// DER of a parameter-set OID (06 len ...) -> curve; -1 when unknown.
int curveFromOidDer(const uint8_t* der, size_t len);
// The DER of the canonical OID of a curve (1.2.643.2.2.35.x).
Bytes curveOidDer(int curve);

// GOST R 34.11-94 with the CryptoPro parameter set.
class Hash3411 {
public:
    Hash3411();
    ~Hash3411();
    Hash3411(const Hash3411& other);
    void update(const uint8_t* data, size_t len);
    Bytes final();  // 32 bytes, in the order CryptGetHashParam(HP_HASHVAL) returns them
private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// A key pair or a public key on one curve. Coordinates little-endian, 32 bytes each.
struct KeyMaterial {
    int curve = CurveA;
    bool hasPrivate = false;
    Bytes priv;      // 32 bytes big-endian (storage form)
    Bytes pubXYle;   // 64 bytes: X little-endian || Y little-endian
};

void randomBytes(uint8_t* out, size_t len);
KeyMaterial generateKey(int curve);
// Recomputes the public key from the private one; false if the private key is invalid.
bool completeFromPrivate(KeyMaterial& key);
// False if the point is not on the curve.
bool validatePublic(const KeyMaterial& key);
// Signature s || r, each half big-endian (64 bytes). hash in HP_HASHVAL order.
Bytes sign(const KeyMaterial& key, const uint8_t* hash, size_t hashLen);
bool verify(const KeyMaterial& key, const uint8_t* hash, size_t hashLen, const uint8_t* sr, size_t srLen);

}  // namespace softgost
