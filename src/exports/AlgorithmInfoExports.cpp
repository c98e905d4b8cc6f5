// CryptXmlFindAlgorithmInfo, CryptXmlEnumAlgorithmInfo, CryptXmlGetAlgorithmInfo.
// None of them starts the XML stack.
#include "algorithms/AlgorithmCatalog.hpp"
#include "exports/ExportFrame.hpp"
#include "redirect/Redirection.hpp"

namespace {

const CRYPT_XML_ALGORITHM_INFO* FindBy(DWORD dwFindByType, const void* pvFindBy, DWORD dwGroupId) {
    static const char* const kExport = "CryptXmlFindAlgorithmInfo";
    if (pvFindBy == nullptr) errors::Raise<hr::kInvalidArg>(kExport, "NULL == pvFindBy");
    if (dwGroupId != CRYPT_XML_GROUP_ID_HASH && dwGroupId != CRYPT_XML_GROUP_ID_SIGN) {
        errors::Raise<hr::kInvalidArg>(kExport, "invalid dwGroupId");
    }
    const auto* text = static_cast<const wchar_t*>(pvFindBy);
    switch (dwFindByType) {
        case CRYPT_XML_ALGORITHM_INFO_FIND_BY_URI: return algInfo::FindAlgInfoByURI(text);
        case CRYPT_XML_ALGORITHM_INFO_FIND_BY_NAME: return algInfo::FindAlgInfoByName(text);
        case CRYPT_XML_ALGORITHM_INFO_FIND_BY_CNG_ALGID: return algInfo::FindAlgInfoByHashAlgID(text, dwGroupId);
        case CRYPT_XML_ALGORITHM_INFO_FIND_BY_CNG_SIGN_ALGID: {
            const auto* pair = static_cast<const wchar_t* const*>(pvFindBy);
            return algInfo::FindSigAlgInfo(pair[0], pair[1]);
        }
        default: errors::Raise<hr::kInvalidArg>(kExport, "invalid dwFindByType");
    }
}

void CopyAlgorithmInfo(const CRYPT_XML_ALGORITHM* pXmlAlgorithm, CRYPT_XML_ALGORITHM_INFO** ppAlgInfo) {
    static const char* const kExport = "CryptXmlGetAlgorithmInfo";
    if (ppAlgInfo == nullptr) errors::Raise<hr::kInvalidArg>(kExport, "ppAlgInfo");
    if (pXmlAlgorithm == nullptr) errors::Raise<hr::kInvalidArg>(kExport, "pXmlAlgorithm");
    if (!algInfo::AlgorithmStructIsValid(pXmlAlgorithm) || pXmlAlgorithm->wszAlgorithm == nullptr) {
        errors::Raise<hr::kInvalidArg>(kExport, "pXmlAlgorithm->wszAlgorithm");
    }
    if (pXmlAlgorithm->Encoded.pbData != nullptr) {
        errors::Raise<hr::kNotImpl>(kExport, "pXmlAlgorithm->Encoded");
    }
    const CRYPT_XML_ALGORITHM_INFO* entry = algInfo::FindAlgInfoByURI(pXmlAlgorithm->wszAlgorithm);
    if (entry == nullptr) errors::Raise<hr::kAlgorithm>(kExport, "specified algorithm could not be found.");

    auto* copy = static_cast<CRYPT_XML_ALGORITHM_INFO*>(::LocalAlloc(LMEM_ZEROINIT, sizeof(CRYPT_XML_ALGORITHM_INFO)));
    *ppAlgInfo = copy;
    if (copy == nullptr) {
        errors::RaiseFailure(
            kExport, "Could not allocate CRYPT_XML_ALGORITHM_INFO structure because of LocalAlloc() is failed.");
    }
    // Shallow: the strings and pvExtraInfo stay in the library's constant catalog.
    *copy = *entry;
}

}  // namespace

extern "C" {

PCCRYPT_XML_ALGORITHM_INFO WINAPI CryptXmlFindAlgorithmInfo(DWORD dwFindByType, const void* pvFindBy, DWORD dwGroupId,
                                                            DWORD dwFlags) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlFindAlgorithmInfo)>(redirect::kFindAlgorithmInfo, dwFindByType,
                                                                       pvFindBy, dwGroupId, dwFlags);
    }
    return frame::RunForPointer<const CRYPT_XML_ALGORITHM_INFO>(
        "CryptXmlFindAlgorithmInfo", [&] { return FindBy(dwFindByType, pvFindBy, dwGroupId); });
}

HRESULT WINAPI CryptXmlEnumAlgorithmInfo(DWORD dwGroupId, DWORD dwFlags, void* pvArg,
                                         PFN_CRYPT_XML_ENUM_ALG_INFO pfnEnumAlgInfo) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlEnumAlgorithmInfo)>(redirect::kEnumAlgorithmInfo, dwGroupId, dwFlags,
                                                                       pvArg, pfnEnumAlgInfo);
    }
    return frame::RunNarrow<false>("CryptXmlEnumAlgorithmInfo", [&]() -> HRESULT {
        if (pfnEnumAlgInfo == nullptr) errors::Raise<hr::kInvalidArg>("CryptXmlEnumAlgorithmInfo", "pfnEnumAlgInfo");
        if (dwGroupId == CRYPT_XML_GROUP_ID_HASH) algInfo::EnumHashAlgs(pvArg, pfnEnumAlgInfo);
        if (dwGroupId == CRYPT_XML_GROUP_ID_SIGN) algInfo::EnumSigAlgs(pvArg, pfnEnumAlgInfo);
        return S_OK;
    });
}

HRESULT WINAPI CryptXmlGetAlgorithmInfo(const CRYPT_XML_ALGORITHM* pXmlAlgorithm, DWORD dwFlags,
                                        CRYPT_XML_ALGORITHM_INFO** ppAlgInfo) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlGetAlgorithmInfo)>(redirect::kGetAlgorithmInfo, pXmlAlgorithm,
                                                                      dwFlags, ppAlgInfo);
    }
    return frame::Run("CryptXmlGetAlgorithmInfo", [&]() -> HRESULT {
        CopyAlgorithmInfo(pXmlAlgorithm, ppAlgInfo);
        return S_OK;
    });
}

}  // extern "C"
