// The transform table of CryptXmlGetTransforms. It lives in read-only storage: the
// published structure has non-const pointers, but the table is shared by every caller and
// must not be changed by one of them.
#include "transforms/Transforms.hpp"

#include <array>
#include <iterator>
#include <utility>

namespace transforms {
namespace {

constexpr CRYPT_XML_TRANSFORM_INFO Info(const wchar_t* uri, DWORD flags, PFN_CRYPT_XML_CREATE_TRANSFORM factory) {
    return CRYPT_XML_TRANSFORM_INFO{sizeof(CRYPT_XML_TRANSFORM_INFO), uri, kChunkSize, flags, factory};
}

// The last five are announced without a factory: they are named, but cannot be built
// through the table.
const CRYPT_XML_TRANSFORM_INFO kInfos[] = {
    Info(L"http://www.w3.org/2000/09/xmldsig#enveloped-signature", CRYPT_XML_TRANSFORM_ON_NODESET, CreateTransform),
    Info(L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315", CRYPT_XML_TRANSFORM_ON_NODESET, CreateTransform),
    Info(L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments", CRYPT_XML_TRANSFORM_ON_NODESET,
         CreateTransform),
    Info(L"http://www.w3.org/2001/10/xml-exc-c14n#", CRYPT_XML_TRANSFORM_ON_NODESET, CreateTransform),
    Info(L"http://www.w3.org/2001/10/xml-exc-c14n#WithComments", CRYPT_XML_TRANSFORM_ON_NODESET, CreateTransform),
    Info(L"http://www.w3.org/TR/1999/REC-xpath-19991116", CRYPT_XML_TRANSFORM_ON_NODESET, nullptr),
    Info(L"http://www.w3.org/2002/06/xmldsig-filter2", CRYPT_XML_TRANSFORM_ON_NODESET, nullptr),
    Info(L"http://www.w3.org/2000/09/xmldsig#base64", CRYPT_XML_TRANSFORM_ON_STREAM, nullptr),
    Info(L"http://www.w3.org/2006/12/xml-c14n11", CRYPT_XML_TRANSFORM_ON_NODESET, nullptr),
    Info(L"http://www.w3.org/2006/12/xml-c14n11#WithComments", CRYPT_XML_TRANSFORM_ON_NODESET, nullptr),
};

template <size_t... I>
constexpr auto PointersTo(const CRYPT_XML_TRANSFORM_INFO (&infos)[sizeof...(I)], std::index_sequence<I...>) {
    return std::array<PCRYPT_XML_TRANSFORM_INFO, sizeof...(I)>{const_cast<PCRYPT_XML_TRANSFORM_INFO>(&infos[I])...};
}

const std::array<PCRYPT_XML_TRANSFORM_INFO, std::size(kInfos)> kPointers =
    PointersTo(kInfos, std::make_index_sequence<std::size(kInfos)>());

const CRYPT_XML_TRANSFORM_CHAIN_CONFIG kConfig = {
    sizeof(CRYPT_XML_TRANSFORM_CHAIN_CONFIG),
    static_cast<ULONG>(std::size(kInfos)),
    const_cast<PCRYPT_XML_TRANSFORM_INFO*>(kPointers.data()),
};

}  // namespace

const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* GetConfig() noexcept { return &kConfig; }

}  // namespace transforms
