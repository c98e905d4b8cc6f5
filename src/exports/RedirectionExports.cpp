// The switch that forwards the published functions to the platform's CryptXml.dll. These
// three never forward themselves.
#include "base/WinApi.hpp"
#include "redirect/Redirection.hpp"

extern "C" {

HRESULT WINAPI CryptXmlEnableRedirection(BOOL fEnable) { return redirect::Enable(fEnable); }

HRESULT WINAPI CryptXmlRedirectionIsAvailable(void) { return redirect::IsAvailable(); }

HRESULT WINAPI CryptXmlRedirectionIsEnabled(void) { return redirect::IsEnabled(); }

}  // extern "C"
