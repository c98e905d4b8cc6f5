// Failure injection: which calls of the faulty CSP fail, read from the environment of the
// calling process at the moment of each call (see README.md for the grammar).
#pragma once
#include <windows.h>

namespace faulty {

enum class Operation { Acquire, DuplicateKey, GetKeyParam };

// The Win32 error `op` on a context of provider `type` is to fail with, or 0 when it is to
// be forwarded. A malformed TALVORAN_FAULTY_CSP makes every call fail with
// ERROR_BAD_ENVIRONMENT, so that a typing mistake in a test cannot pass silently.
DWORD InjectedError(Operation op, DWORD type);

}  // namespace faulty
