// The read and close procedures of the output providers CreateTransform fills. They are
// called by the application through plain function pointers, so nothing may escape them.
#include <algorithm>

#include "base/Trace.hpp"
#include "base/XsecErrors.hpp"
#include "transforms/LiveProviders.hpp"
#include "transforms/Transforms.hpp"

namespace transforms {
namespace {

// Closed already, released by CryptXmlCleanup, or never made here.
constexpr char kNotLive[] = "tc is not a live transform state.";

}  // namespace

HRESULT CALLBACK CanonReadProc(void* pvCallbackState, BYTE* pbData, ULONG cbData, ULONG* pcbRead) {
    static const char* const kFunction = "CanonReadProc";
    if (pvCallbackState == nullptr) {
        trace::TraceA(kFunction, "NULL == tc");
        return E_INVALIDARG;
    }
    if (pcbRead == nullptr || (pbData == nullptr && cbData != 0)) {
        trace::TraceA(kFunction, "NULL == pcbRead || NULL == pbData");
        return E_POINTER;
    }
    *pcbRead = 0;
    HRESULT result = S_OK;
    const bool live = liveProviders::WithLive(pvCallbackState, [&](TransformContext& tc) {
        try {
            *pcbRead = tc.ReadBytes(pbData, std::min(cbData, kChunkSize));
        } catch (...) {
            *pcbRead = 0;
            result = xsecErrors::Report(kFunction);
        }
    });
    if (!live) {
        trace::TraceA(kFunction, kNotLive);
        return E_INVALIDARG;
    }
    return result;
}

HRESULT CALLBACK CanonCloseProc(void* pvCallbackState) {
    static const char* const kFunction = "CanonCloseProc";
    if (pvCallbackState == nullptr) {
        trace::TraceA(kFunction, "NULL == tc");
        return E_INVALIDARG;
    }
    // The chain goes before the parser that owns its document: the members' order.
    if (!liveProviders::Release(pvCallbackState)) {
        trace::TraceA(kFunction, kNotLive);
        return E_INVALIDARG;
    }
    return S_OK;
}

}  // namespace transforms
