#pragma once
#include <memory>
#include <typeinfo>

#include "dsig/BaseContext.hpp"

// The process-wide set of live contexts. Handles given to callers are context addresses;
// every export finds and locks its context here before using it. Lock order everywhere:
// the registry lock, then a context's own lock. A thread that holds a context's lock may
// still take the registry lock (to look a child up, to unlock), so nobody waits for a
// context's lock with the registry locked: it is only tried there, and the wait for a busy
// context happens with the registry free.
namespace registry {

// A handle that is registered but of another context class.
class BadContextCast : public std::bad_cast {
public:
    const char* what() const noexcept override { return "LockContext"; }
};

void AddContext(BaseContext* ctx);
bool ContextExists(const BaseContext* ctx);
// How many contexts are registered (for leak checks and diagnostics).
size_t ContextCount();
bool ContextHaveOwner(BaseContext* ctx);
void CloseContext(BaseContext* ctx);
void CloseAllContexts();
// For owners disposing of their children: closes ctx if it is still registered and says
// whether it was; a child the registry has already closed (CloseAllContexts walks by
// address) is left alone.
bool CloseIfRegistered(BaseContext* ctx);
void UnlockContext(BaseContext* ctx);

// Looks a handle up (the caller holds the registry lock): null raises E_INVALIDARG, an
// unknown handle CRYPT_XML_E_HANDLE, both under the name "LockContext".
BaseContext* FindOrRaise(const void* handle);

// Finds a registered context of any class and locks it for the calling thread.
BaseContext* LockAny(const void* handle);

// Between two tries for a context another thread holds (the registry lock not held).
void WaitForBusyContext(unsigned attempt) noexcept;

template <class T>
T* LockContext(const void* handle);

// The only code that touches a context's own lock.
class Access {
public:
    static void Lock(BaseContext& ctx) { ctx.lock_.lock(); }
    static bool TryLock(BaseContext& ctx) { return ctx.lock_.try_lock(); }
    static void Unlock(BaseContext& ctx) { ctx.lock_.unlock(); }
};

// Holds the registry lock while it lives; LockContext needs it around the down-cast.
class RegistryGuard {
public:
    RegistryGuard();
    ~RegistryGuard();
    RegistryGuard(const RegistryGuard&) = delete;
    RegistryGuard& operator=(const RegistryGuard&) = delete;
};

// The handle is looked up again after each wait: the context may have been closed meanwhile.
template <class T>
T* LockContext(const void* handle) {
    for (unsigned attempt = 0;; ++attempt) {
        {
            RegistryGuard guard;
            BaseContext* base = FindOrRaise(handle);
            T* typed = dynamic_cast<T*>(base);
            if (typed == nullptr) throw BadContextCast();
            if (Access::TryLock(*typed)) return typed;
        }
        WaitForBusyContext(attempt);
    }
}

template <>
inline BaseContext* LockContext<BaseContext>(const void* handle) {
    return LockAny(handle);
}

// Locks a context for the scope of an export and unlocks it on every exit.
template <class T>
class LockedContext {
public:
    explicit LockedContext(const void* handle) : ctx_(LockContext<T>(handle)) {}
    ~LockedContext() {
        if (ctx_ != nullptr) UnlockContext(ctx_);
    }
    LockedContext(const LockedContext&) = delete;
    LockedContext& operator=(const LockedContext&) = delete;

    // Locks the handle when it is a T; empty when it is a context of another class.
    static LockedContext IfA(const void* handle) {
        try {
            return LockedContext(LockContext<T>(handle), Locked{});
        } catch (const BadContextCast&) {
            return LockedContext(nullptr, Locked{});
        }
    }

    explicit operator bool() const noexcept { return ctx_ != nullptr; }
    T* operator->() const noexcept { return ctx_; }
    T& operator*() const noexcept { return *ctx_; }
    T* get() const noexcept { return ctx_; }

private:
    struct Locked {};
    LockedContext(T* locked, Locked) noexcept : ctx_(locked) {}

    T* ctx_;
};

// The one owner of a context between its making and its handing out (to a caller as a
// handle, or to a parent as a child). Registering gives it to the registry as well; if it
// is dropped before Release(), a registered context is closed through the registry, an
// unregistered one destroyed. Once released, the registry owns every context and parents
// close their children through it.
template <class T>
class NewContext {
public:
    NewContext() noexcept = default;
    explicit NewContext(std::unique_ptr<T> ctx) noexcept : ctx_(std::move(ctx)) {}
    ~NewContext() { Discard(ctx_.release()); }
    NewContext(const NewContext&) = delete;
    NewContext& operator=(const NewContext&) = delete;

    // Takes a context made elsewhere; returns it for the caller's convenience.
    template <class U>
    U* Keep(std::unique_ptr<U> ctx) {
        U* kept = ctx.get();
        Discard(ctx_.release());
        ctx_ = std::move(ctx);
        return kept;
    }
    void Register() { AddContext(ctx_.get()); }
    T* get() const noexcept { return ctx_.get(); }
    T* operator->() const noexcept { return ctx_.get(); }
    T* Release() noexcept { return ctx_.release(); }

private:
    static void Discard(T* ctx) noexcept {
        if (ctx == nullptr) return;
        try {
            if (CloseIfRegistered(ctx)) return;
        } catch (...) {
            return;  // a registry that cannot close it still holds it; never free it twice
        }
        std::unique_ptr<T> owned(ctx);  // never registered: ours to destroy
    }

    std::unique_ptr<T> ctx_;
};

}  // namespace registry
