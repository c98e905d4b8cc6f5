#pragma once
// The byte order of DSA signatures at the CryptoAPI boundary. Microsoft's DSS provider
// takes and returns r and s as 20-byte little-endian halves; some DSS providers (Wine 8's
// dssenh) use big-endian halves. Found once per process by verifying a fixed OpenSSL-made
// signature (SHA-1 of "abc") both ways in a PROV_DSS verification context.
namespace crypto {

// True when the DSS provider wants r || s big-endian; false (Microsoft's order) otherwise,
// also when the probe cannot run. Never throws.
bool DssSignatureHalvesAreBigEndian() noexcept;

}  // namespace crypto
