// What the statically linked runtime keeps for the life of the process, handed back when
// the DLL unloads; without it every FreeLibrary left two handles and some 72 KB behind:
// - winpthreads gives a thread it did not start (every caller's thread) a thread record
//   holding a duplicated thread handle and an event the first time the thread runs a
//   pthread_once (locale setup at load does); it releases them only on DLL_THREAD_DETACH,
//   which the thread that unloads the DLL never gets. The record itself stays in
//   winpthreads' free list, about 0.5 KB per unload. Nor does it ever free the TLS index
//   it keeps the records under: after about 1080 loads the process ran out of indexes and
//   winpthreads aborted it;
// - libstdc++ reserves a 72 KB emergency pool for exceptions thrown when the heap is
//   exhausted and never frees it;
// - the storage of emulated thread-local variables (see ThreadLocalStorage.hpp).
// Static destructors still run pthread_once and touch thread-locals, so the release runs
// after them: an atexit handler registered before any static constructor runs last.
#include "dll/UnloadRelease.hpp"

#include <array>
#include <cstdlib>

#include <pthread.h>

#include "dll/ThreadLocalStorage.hpp"
#include "base/WinApi.hpp"

// winpthreads' TLS callback, the one the loader calls for this DLL.
extern "C" PIMAGE_TLS_CALLBACK __xl_f;
// Frees libstdc++'s emergency exception pool; libstdc++ defines it for leak checkers.
namespace __gnu_cxx {
void __freeres() noexcept;
}
extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace {

bool processEnding = false;

// Every TLS index a process can have (TLS_MINIMUM_AVAILABLE plus the expansion slots).
constexpr DWORD kTlsIndexes = 1088;
using TlsValues = std::array<void*, kTlsIndexes>;

void ReadTlsValues(TlsValues& values) noexcept {
    for (DWORD i = 0; i < kTlsIndexes; ++i) values[i] = TlsGetValue(i);
}

// Releases this thread's winpthreads record as at the thread's end, then frees the TLS
// index winpthreads kept it under. winpthreads does not tell which index that is: it is
// the one slot the release empties. pthread_self first makes sure there is a record.
void ReleaseThreadRecord() noexcept {
    if (__xl_f == nullptr) return;
    (void)pthread_self();
    static TlsValues before;  // static: too large for the stack of whoever unloads
    static TlsValues after;
    ReadTlsValues(before);
    __xl_f(&__ImageBase, DLL_THREAD_DETACH, nullptr);
    ReadTlsValues(after);
    DWORD emptied = TLS_OUT_OF_INDEXES;
    for (DWORD i = 0; i < kTlsIndexes; ++i) {
        if (before[i] == after[i]) continue;
        if (after[i] != nullptr || emptied != TLS_OUT_OF_INDEXES) return;  // not the one change expected
        emptied = i;
    }
    if (emptied != TLS_OUT_OF_INDEXES) TlsFree(emptied);
}

void ReleaseRuntime() {
    if (processEnding) return;
    ReleaseThreadRecord();
    runtime::ReleaseThreadLocalStorage();
    __gnu_cxx::__freeres();
}

// Priority 101 runs before every default-priority static constructor, so that no
// destructor registered by one of them can run after ReleaseRuntime.
__attribute__((constructor(101))) void RegisterRuntimeRelease() { std::atexit(ReleaseRuntime); }

}  // namespace

namespace runtime {

void NoteDetach(bool ending) noexcept { processEnding = ending; }

}  // namespace runtime
