#pragma once
// One place that brings in the Win32 API the same way for every file of the library.
// WIN32_LEAN_AND_MEAN keeps windows.h from declaring its own DOMDocument, which clashes
// with Xerces-C.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <cryptxml.h>
