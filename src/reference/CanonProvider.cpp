// The read and close procedures of the output providers CreateTransform fills. They are
// called by the application through plain function pointers, so nothing may escape them.
#include <algorithm>
#include <memory>

#include "api/Trace.hpp"
#include "reference/TransformContext.hpp"
#include "reference/Transforms.hpp"

namespace transforms {

HRESULT CALLBACK CanonReadProc(void* pvCallbackState, BYTE* pbData, ULONG cbData, ULONG* pcbRead) {
    static const char* const kFunction = "CanonReadProc";
    auto* tc = static_cast<TransformContext*>(pvCallbackState);
    if (tc == nullptr) {
        trace::traceA(kFunction, "NULL == tc");
        return E_INVALIDARG;
    }
    if (pcbRead == nullptr || (pbData == nullptr && cbData != 0)) {
        trace::traceA(kFunction, "NULL == pcbRead || NULL == pbData");
        return E_POINTER;
    }
    try {
        *pcbRead = tc->ReadBytes(pbData, std::min(cbData, kChunkSize));
        return S_OK;
    } catch (...) {
        *pcbRead = 0;
        return ReportCaught(kFunction);
    }
}

HRESULT CALLBACK CanonCloseProc(void* pvCallbackState) {
    auto* tc = static_cast<TransformContext*>(pvCallbackState);
    if (tc == nullptr) {
        trace::traceA("CanonCloseProc", "NULL == tc");
        return E_INVALIDARG;
    }
    // The chain goes before the parser that owns its document: the members' order.
    std::unique_ptr<TransformContext> owned(tc);
    owned.reset();
    return S_OK;
}

}  // namespace transforms
