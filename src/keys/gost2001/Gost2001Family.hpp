#pragma once
#include "keys/KeyFamily.hpp"

// GOST R 34.10-2001 keys with GOST R 34.11-94, held by a GOST CryptoAPI provider.
namespace gost2001 {

const keys::KeyFamily& Family() noexcept;

}  // namespace gost2001
