#include "transforms/LiveProviders.hpp"

#include <mutex>
#include <set>

namespace liveProviders {
namespace {

RecursiveLock lock;
std::set<TransformContext*>& States() {
    static std::set<TransformContext*> states;
    return states;
}

}  // namespace

RecursiveLock& Lock() noexcept { return lock; }

TransformContext* Find(void* callbackState) noexcept {
    auto* state = static_cast<TransformContext*>(callbackState);
    return States().count(state) != 0 ? state : nullptr;
}

void* Adopt(std::unique_ptr<TransformContext> state) {
    std::lock_guard<RecursiveLock> guard(lock);
    States().insert(state.get());
    return state.release();
}

bool Release(void* callbackState) noexcept {
    std::lock_guard<RecursiveLock> guard(lock);
    TransformContext* state = Find(callbackState);
    if (state == nullptr) return false;
    States().erase(state);
    std::unique_ptr<TransformContext> owned(state);
    return true;
}

void ReleaseAll() noexcept {
    std::lock_guard<RecursiveLock> guard(lock);
    for (TransformContext* state : States()) std::unique_ptr<TransformContext> owned(state);
    States().clear();
}

}  // namespace liveProviders
