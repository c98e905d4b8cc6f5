#pragma once
#include <exception>

#include "base/CryptXmlException.hpp"
#include "base/Trace.hpp"

// The frame every export runs in: nothing escapes it, every failure becomes an HRESULT
// and one trace line "<export>. <message>".
namespace frame {

constexpr char kUnexpected[] = "Unexpected error!";

// One trace line "<export>. <text>", then the code the export answers with.
inline HRESULT Report(const char* exportName, const char* text, HRESULT code) noexcept {
    trace::TraceA(exportName, text);
    return code;
}

// Inside a catch clause of a frame: an exception of xml-security-c or Xerces goes through
// the library's one translation; whatever stays unknown is E_UNEXPECTED. Narrow frames
// keep only the argument and (if asked) the handle error of what the translation gives.
HRESULT ReportCaught(const char* exportName, bool narrow, bool keepHandleError) noexcept;

// The usual frame. body() returns the export's HRESULT.
template <class Body>
HRESULT Run(const char* exportName, Body&& body) noexcept {
    try {
        return body();
    } catch (const CryptXmlException& e) {
        return Report(exportName, e.what(), e.hr());
    } catch (const std::exception& e) {
        return Report(exportName, e.what(), hr::kFail);
    } catch (...) {
        return ReportCaught(exportName, false, false);
    }
}

// The narrower frame of a few exports: only the argument error (and, when asked for, the
// handle error) keeps its code; any other library exception is reported as E_FAIL.
template <bool KeepHandleError, class Body>
HRESULT RunNarrow(const char* exportName, Body&& body) noexcept {
    try {
        return body();
    } catch (const InvalidArgException& e) {
        return Report(exportName, e.what(), hr::kInvalidArg);
    } catch (const HandleException& e) {
        return Report(exportName, e.what(), KeepHandleError ? hr::kHandle : hr::kFail);
    } catch (const std::exception& e) {
        return Report(exportName, e.what(), hr::kFail);
    } catch (...) {
        return ReportCaught(exportName, true, KeepHandleError);
    }
}

// For an export that answers with a pointer: every failure is traced and gives null.
template <class T, class Body>
T* RunForPointer(const char* exportName, Body&& body) noexcept {
    try {
        return body();
    } catch (const std::exception& e) {
        Report(exportName, e.what(), hr::kFail);
    } catch (...) {
        ReportCaught(exportName, true, false);
    }
    return nullptr;
}

}  // namespace frame
