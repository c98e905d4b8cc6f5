#include "exports/Lifecycle.hpp"
#include "exports/ExportFrame.hpp"
#include "redirect/Redirection.hpp"

extern "C" void WINAPI CryptXmlCleanup(void) {
    // While calls are forwarded this library holds nothing to clean up.
    if (redirect::IsEnabled() == S_OK) return;
    // No result to report: a failure while closing or stopping is only traced.
    frame::Run("CryptXmlCleanup", []() -> HRESULT {
        lifecycle::Cleanup();
        return S_OK;
    });
}
