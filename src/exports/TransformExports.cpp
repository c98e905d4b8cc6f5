// The transform table an application can build canonicalising data providers from.
#include "base/Trace.hpp"
#include "redirect/Redirection.hpp"
#include "transforms/Transforms.hpp"

extern "C" HRESULT WINAPI CryptXmlGetTransforms(const CRYPT_XML_TRANSFORM_CHAIN_CONFIG** ppConfig) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlGetTransforms)>(redirect::kGetTransforms, ppConfig);
    }
    if (ppConfig == nullptr) {
        trace::TraceA("CryptXmlGetTransforms", "NULL == ppConfig");
        return E_INVALIDARG;
    }
    *ppConfig = transforms::GetConfig();
    return S_OK;
}
