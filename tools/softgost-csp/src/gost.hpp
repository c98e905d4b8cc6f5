// GOST R 34.10-2001 / 34.10-2012 and GOST R 34.11-94 / 34.11-2012 primitives of the
// software test provider, on Botan.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace softgost {

using Bytes = std::vector<uint8_t>;

// The curves the provider knows, by the index kept in stored keys (0..3 are the indices
// of the first, 2001-only format: never renumber).
enum Curve : int {
    CurveTest = 0,     // 1.2.643.2.2.35.0 (RFC 5832 / RFC 7091 test curve)
    CurveA = 1,        // CryptoPro A = XchA = tc26 256-B
    CurveB = 2,        // CryptoPro B = tc26 256-C
    CurveC = 3,        // CryptoPro C = XchB = tc26 256-D
    Curve256TcA = 4,   // tc26 256-A (cofactor 4)
    Curve512Test = 5,  // 1.2.643.7.1.2.1.2.0 (RFC 7091 test curve)
    Curve512A = 6,     // tc26 512-A
    Curve512B = 7,     // tc26 512-B
    Curve512C = 8,     // tc26 512-C (cofactor 4)
    CurveCount = 9
};

// The algorithm families a parameter-set OID may be used with (a bit mask).
enum OidUse : unsigned { Use2001 = 1, Use2012_256 = 2, Use2012_512 = 4 };

// DER of a parameter-set OID (06 len ...) -> curve, if the OID is one of `use`; -1 otherwise.
int curveFromOidDer(const uint8_t* der, size_t len, unsigned use);
// The DER of the canonical GOST R 34.10-2001 OID of a 256-bit curve (1.2.643.2.2.35.x).
Bytes curveOidDer(int curve);
// Bytes of one coordinate (and of the private key) on a curve: 32 or 64.
size_t coordBytes(int curve);

// DER of the OIDs the provider writes itself.
extern const Bytes kOidXchA;           // 1.2.643.2.2.36.0
extern const Bytes kOidTc26_512A;      // 1.2.643.7.1.2.1.2.1
extern const Bytes kOidDigest3411_94;  // 1.2.643.2.2.30.1
extern const Bytes kOidStreebog256;    // 1.2.643.7.1.1.2.2
extern const Bytes kOidStreebog512;    // 1.2.643.7.1.1.2.3

enum class DigestKind { Gr3411_94, Streebog256, Streebog512 };

// A running hash: GOST R 34.11-94 (CryptoPro parameter set) or GOST R 34.11-2012.
class Digest {
public:
    explicit Digest(DigestKind kind);
    ~Digest();
    Digest(const Digest& other);
    Digest& operator=(const Digest& other);
    void update(const uint8_t* data, size_t len);
    void update(const Bytes& data) { update(data.data(), data.size()); }
    Bytes final();  // in the order CryptGetHashParam(HP_HASHVAL) returns it; the hash restarts
    size_t size() const;
    size_t blockSize() const;
    DigestKind kind() const { return kind_; }

private:
    struct Impl;
    DigestKind kind_;
    std::unique_ptr<Impl> impl_;
};

// A key pair or a public key on one curve. Coordinates little-endian, coordBytes(curve) each.
struct KeyMaterial {
    int curve = CurveA;
    bool hasPrivate = false;
    Bytes priv;     // coordBytes(curve) bytes big-endian (storage form)
    Bytes pubXYle;  // X little-endian || Y little-endian
};

void randomBytes(uint8_t* out, size_t len);
KeyMaterial generateKey(int curve);
// Recomputes the public key from the private one; false if the private key is invalid.
bool completeFromPrivate(KeyMaterial& key);
// False if the point is not on the curve (or, on a curve with a cofactor, not of the
// order of the base point).
bool validatePublic(const KeyMaterial& key);
// Signature s || r, each half big-endian (2 * coordBytes bytes). hash in HP_HASHVAL order
// (read as a little-endian integer by the algorithm).
Bytes sign(const KeyMaterial& key, const uint8_t* hash, size_t hashLen);
bool verify(const KeyMaterial& key, const uint8_t* hash, size_t hashLen, const uint8_t* sr, size_t srLen);

}  // namespace softgost
