#include "Feed.hpp"

#include <cstring>

namespace fuzz {

HRESULT CALLBACK MemoryFeed::Read(void* state, BYTE* buffer, ULONG size, ULONG* read) {
    auto* feed = static_cast<MemoryFeed*>(state);
    if (read == nullptr || buffer == nullptr) return E_INVALIDARG;
    *read = 0;
    // A failing feed gives its first half, then an error.
    if (feed->failing_ && feed->at_ >= feed->data_.size() / 2) return E_FAIL;
    const size_t left = feed->data_.size() - feed->at_;
    const size_t n = left < size ? left : size;
    std::memcpy(buffer, feed->data_.data() + feed->at_, n);
    feed->at_ += n;
    *read = static_cast<ULONG>(n);
    return S_OK;
}

HRESULT CALLBACK MemoryFeed::Close(void* /*state*/) { return S_OK; }

}  // namespace fuzz
