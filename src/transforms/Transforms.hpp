#pragma once
#include <vector>

#include "base/WinApi.hpp"

// The transforms a caller can look up with CryptXmlGetTransforms, and the data providers
// that connect them: the factory turns the bytes of one provider into a canonicalising
// (or enveloped-signature) output provider.
namespace transforms {

// Every chunk moved between providers, and every announced buffer size.
constexpr ULONG kChunkSize = 8192;

// The one constant table handed out; it never changes and is never freed.
const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* GetConfig() noexcept;

// Drains a caller's provider into out. A failing read ends the data silently; an
// exception while reading closes the provider and is thrown on.
void ReadDataFromProvider(const CRYPT_XML_DATA_PROVIDER& provider, std::vector<BYTE>& out);

// The factory of the table's first five entries.
HRESULT CALLBACK CreateTransform(const CRYPT_XML_ALGORITHM* pTransform, CRYPT_XML_DATA_PROVIDER* pProviderIn,
                                 CRYPT_XML_DATA_PROVIDER* pProviderOut);

// The read and close procedures of the providers CreateTransform fills.
HRESULT CALLBACK CanonReadProc(void* pvCallbackState, BYTE* pbData, ULONG cbData, ULONG* pcbRead);
HRESULT CALLBACK CanonCloseProc(void* pvCallbackState);

}  // namespace transforms
