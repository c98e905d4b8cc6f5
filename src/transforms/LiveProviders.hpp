#pragma once
#include <memory>
#include <mutex>

#include "base/RecursiveLock.hpp"
#include "transforms/TransformContext.hpp"

// The states of the output providers the application holds. Their address is all the
// application gives back, so a read or close is only carried out on a state that is in
// this set; CryptXmlCleanup releases those left before it stops the XML stack they use.
namespace liveProviders {

// Takes the state and returns its address as the provider's callback state.
void* Adopt(std::unique_ptr<TransformContext> state);

// Runs use(state) under the set's lock if `callbackState` is live; false otherwise.
template <class Use>
bool WithLive(void* callbackState, Use&& use);

// Releases the state if it is live; false otherwise.
bool Release(void* callbackState) noexcept;

// Releases every live state.
void ReleaseAll() noexcept;

// The lock and lookup behind WithLive.
RecursiveLock& Lock() noexcept;
TransformContext* Find(void* callbackState) noexcept;

template <class Use>
bool WithLive(void* callbackState, Use&& use) {
    std::lock_guard<RecursiveLock> guard(Lock());
    TransformContext* state = Find(callbackState);
    if (state == nullptr) return false;
    use(*state);
    return true;
}

}  // namespace liveProviders
