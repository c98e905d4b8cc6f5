#pragma once
// The DSS PUBLICKEYBLOB that P, Q, G, Y are imported from: BLOBHEADER, DSSPUBKEY, then p, q
// (20 bytes), g and y little-endian, p, g and y as wide as P, then a DSSSEED (no seed:
// counter 0xFFFFFFFF).
// Wine 8's dssenh reads y as 128 bytes whatever the size of P, so for a key under 1024 bits
// the seed and the bytes after the blob become the high bytes of its y, and no signature
// verifies. For such a provider the blob of a shorter key ends in a zero seed and enough zero
// bytes that what is read beyond y is zero.
#include "crypto/CapiSupport.hpp"

namespace crypto {

enum class DssBlobEnd {
    kNoSeed,     // DSSSEED with counter 0xFFFFFFFF
    kZerosTo128  // zero DSSSEED, then zeros up to 128 bytes after the start of y
};

// Numbers big-endian without leading zeros; throws `type` when P is not of 512 to 1024 bits in
// steps of 64 (what CryptoAPI's DSS providers take), Q is wider than 20 bytes or G or Y wider
// than P.
Bytes DssPublicKeyBlob(const Bytes& p, const Bytes& q, const Bytes& g, const Bytes& y, DssBlobEnd end,
                       XSECCryptoException::XSECCryptoExceptionType type);

// The end a blob of P `pLength` bytes long needs with this process's PROV_DSS provider: kNoSeed
// unless P is shorter than 128 bytes and the provider reads y as 128 bytes. That is found once
// per process by verifying a fixed 512-bit signature (SHA-1 of "abc") with both ends; when the
// probe cannot run, kNoSeed. Never throws.
DssBlobEnd DssBlobEndFor(size_t pLength) noexcept;

}  // namespace crypto
