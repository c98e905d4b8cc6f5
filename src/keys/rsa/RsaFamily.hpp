#pragma once
#include "keys/KeyFamily.hpp"

// RSA keys: PKCS #1 v1.5 signatures with SHA-1 and SHA-2, RSAKeyValue.
namespace rsa {

const keys::KeyFamily& Family() noexcept;

}  // namespace rsa
