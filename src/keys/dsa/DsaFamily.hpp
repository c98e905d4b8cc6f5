#pragma once
#include "keys/KeyFamily.hpp"

// DSA keys: DSA-SHA1 signatures, DSAKeyValue, DSS certificates.
namespace dsa {

const keys::KeyFamily& Family() noexcept;

}  // namespace dsa
