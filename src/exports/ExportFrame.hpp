#pragma once
#include <exception>

#include "dsig/BaseContext.hpp"
#include "base/CryptXmlException.hpp"
#include "base/Trace.hpp"

// The frame every export runs in: nothing escapes it, every failure becomes an HRESULT
// and one trace line "<export>. <message>".
namespace frame {

constexpr char kUnexpected[] = "Unexpected error!";

// One trace line "<export>. <text>", then the code the export answers with.
inline HRESULT Report(const char* exportName, const char* text, HRESULT code) noexcept {
    trace::traceA(exportName, text);
    return code;
}

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
        return Report(exportName, kUnexpected, hr::kUnexpected);
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
        return Report(exportName, kUnexpected, hr::kUnexpected);
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
        Report(exportName, kUnexpected, hr::kUnexpected);
    }
    return nullptr;
}

// Holds a context an export is creating. Until Release() it belongs to the frame, which
// discards it when the body fails: closed through the registry when it got registered,
// destroyed directly otherwise.
class CreatedContext {
public:
    explicit CreatedContext(const char* exportName) noexcept : exportName_(exportName) {}
    ~CreatedContext() { Discard(); }
    CreatedContext(const CreatedContext&) = delete;
    CreatedContext& operator=(const CreatedContext&) = delete;

    template <class T>
    T* Keep(T* ctx) noexcept {
        ctx_ = ctx;
        return ctx;
    }
    BaseContext* Release() noexcept {
        BaseContext* ctx = ctx_;
        ctx_ = nullptr;
        return ctx;
    }

private:
    void Discard() noexcept;

    const char* exportName_;
    BaseContext* ctx_ = nullptr;
};

// The usual frame for exports that create a context: body(created) keeps the new
// context in `created` from the moment it exists and releases it once it is handed out.
template <class Body>
HRESULT RunCreating(const char* exportName, Body&& body) noexcept {
    CreatedContext created(exportName);
    return Run(exportName, [&]() -> HRESULT { return body(created); });
}

}  // namespace frame
