#pragma once

// The DLL's own storage for GCC's emulated thread-local variables (libstdc++ keeps its
// per-thread exception state in one). libgcc's version files each thread's storage under
// a winpthreads key; the first key makes winpthreads build a lock with two semaphores that
// nothing can ever release, so a statically linked winpthreads lost them on every unload.
// Here a thread's storage lives in a fiber-local slot instead: freed when the thread ends,
// and for every thread when the slot is given back at unload.
namespace runtime {

// Frees every thread's storage and gives the slot back. Called once at unload, after the
// last code that may touch a thread-local variable; a later use starts over.
void ReleaseThreadLocalStorage() noexcept;

}  // namespace runtime
