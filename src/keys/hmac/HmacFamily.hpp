#pragma once
#include "keys/KeyFamily.hpp"

// HMAC: a secret the caller shares with the signer instead of a key pair.
namespace hmac {

const keys::KeyFamily& Family() noexcept;

}  // namespace hmac

namespace hmac {

// The key object over a borrowed secret, for signing and verifying.
std::unique_ptr<XSECCryptoKey> SecretKey(const BYTE* secret, ULONG length);

}  // namespace hmac
