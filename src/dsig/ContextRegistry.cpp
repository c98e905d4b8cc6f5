#include "dsig/ContextRegistry.hpp"

#include <mutex>
#include <set>

#include "base/CryptXmlException.hpp"
#include "base/RecursiveLock.hpp"
#include "base/Trace.hpp"

namespace registry {
namespace {

RecursiveLock registryLock;
std::set<BaseContext*> contexts;  // ordered by address

using Guard = std::lock_guard<RecursiveLock>;

BaseContext* Find(const void* handle) {
    auto it = contexts.find(static_cast<BaseContext*>(const_cast<void*>(handle)));
    return it == contexts.end() ? nullptr : *it;
}

}  // namespace

RegistryGuard::RegistryGuard() { registryLock.lock(); }
RegistryGuard::~RegistryGuard() { registryLock.unlock(); }

void AddContext(BaseContext* ctx) {
    if (ctx == nullptr) errors::Raise<hr::kInvalidArg>("AddContext");
    Guard guard(registryLock);
    if (Find(ctx) != nullptr) return;
    Access::Lock(*ctx);
    try {
        contexts.insert(ctx);
    } catch (...) {
        Access::Unlock(*ctx);
        throw;
    }
    Access::Unlock(*ctx);
}

bool ContextExists(const BaseContext* ctx) {
    if (ctx == nullptr) errors::Raise<hr::kInvalidArg>("ContextExists");
    Guard guard(registryLock);
    return Find(ctx) != nullptr;
}

size_t ContextCount() {
    Guard guard(registryLock);
    return contexts.size();
}

bool ContextHaveOwner(BaseContext* ctx) {
    if (ctx == nullptr) errors::Raise<hr::kInvalidArg>("ContextHaveOwner");
    Guard guard(registryLock);
    if (Find(ctx) == nullptr) errors::Raise<hr::kInvalidArg>("ContextHaveOwner");
    Access::Lock(*ctx);
    const bool owned = ctx->HasOwner();
    Access::Unlock(*ctx);
    return owned;
}

void CloseContext(BaseContext* ctx) {
    if (ctx == nullptr) errors::Raise<hr::kInvalidArg>("CloseContext");
    for (unsigned attempt = 0;; ++attempt) {
        {
            Guard guard(registryLock);
            if (Find(ctx) == nullptr) errors::Raise<hr::kInvalidArg>("CloseContext");
            // Free means no thread uses it; none can start to while the registry is locked.
            if (Access::TryLock(*ctx)) {
                Access::Unlock(*ctx);
                // Out of the set first: a destructor that closes children walks the set again.
                contexts.erase(ctx);
                delete ctx;
                return;
            }
        }
        // Wait until a thread that still uses the context has finished with it.
        WaitForBusyContext(attempt);
    }
}

void CloseAllContexts() {
    Guard guard(registryLock);
    if (contexts.empty()) return;
    trace::TraceA("CloseAllContexts", "contexts is not empty");
    while (!contexts.empty()) CloseContext(*contexts.begin());
}

bool CloseIfRegistered(BaseContext* ctx) {
    Guard guard(registryLock);
    if (ctx == nullptr || Find(ctx) == nullptr) return false;
    CloseContext(ctx);
    return true;
}

void UnlockContext(BaseContext* ctx) {
    if (ctx == nullptr) errors::Raise<hr::kInvalidArg>("UnlockContext");
    Guard guard(registryLock);
    Access::Unlock(*ctx);
}

BaseContext* FindOrRaise(const void* handle) {
    if (handle == nullptr) errors::Raise<hr::kInvalidArg>("LockContext");
    BaseContext* ctx = Find(handle);
    if (ctx == nullptr) errors::Raise<hr::kHandle>("LockContext");
    return ctx;
}

BaseContext* LockAny(const void* handle) {
    for (unsigned attempt = 0;; ++attempt) {
        {
            Guard guard(registryLock);
            BaseContext* ctx = FindOrRaise(handle);
            if (Access::TryLock(*ctx)) return ctx;
        }
        WaitForBusyContext(attempt);
    }
}

// Exports hold a context for microseconds to seconds (a verification): first give the
// processor away, then sleep.
void WaitForBusyContext(unsigned attempt) noexcept {
    if (attempt < 64) {
        SwitchToThread();
    } else {
        Sleep(1);
    }
}

}  // namespace registry
