#include "api/Lifecycle.hpp"
#include "api/ExportFrame.hpp"

extern "C" void WINAPI CryptXmlCleanup(void) {
    // No result to report: a failure while closing or stopping is only traced.
    frame::Run("CryptXmlCleanup", []() -> HRESULT {
        lifecycle::Cleanup();
        return S_OK;
    });
}
