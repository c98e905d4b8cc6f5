#pragma once
#include <vector>

#include "base/CryptXmlException.hpp"
#include "base/WinApi.hpp"

namespace statusMerge {

// A parent's status: its own words, then `infoBit` kept only if every child has it and
// the children's error bits within `errorMask` added. No children: the own words alone.
template <class Child>
void Merge(CRYPT_XML_STATUS* out, const std::vector<Child*>& children, DWORD infoBit, DWORD errorMask,
           const char* function) {
    if (children.empty()) return;
    out->dwInfoStatus |= infoBit;
    for (const Child* child : children) {
        if (child == nullptr) errors::Raise<hr::kObjectFaulted>(function);
        CRYPT_XML_STATUS childStatus;
        child->GetStatus(&childStatus);
        if ((childStatus.dwInfoStatus & infoBit) == 0) out->dwInfoStatus &= ~infoBit;
        out->dwErrorStatus |= childStatus.dwErrorStatus & errorMask;
    }
}

}  // namespace statusMerge
