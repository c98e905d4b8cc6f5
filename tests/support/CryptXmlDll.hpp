#pragma once
#include <windows.h>

#include <cryptxml.h>

#include <stdexcept>
#include <string>

namespace testing_support {

// The DLL as an application sees it: loaded by name, functions looked up by name.
class CryptXmlDll {
public:
    static const CryptXmlDll& Get() {
        static const CryptXmlDll dll;
        return dll;
    }

    HMODULE module() const { return module_; }
    FARPROC Raw(const char* name) const { return ::GetProcAddress(module_, name); }

    decltype(&::CryptXmlFindAlgorithmInfo) FindAlgorithmInfo;
    decltype(&::CryptXmlEnumAlgorithmInfo) EnumAlgorithmInfo;
    decltype(&::CryptXmlGetAlgorithmInfo) GetAlgorithmInfo;
    decltype(&::CryptXmlStartDebugging) StartDebugging;
    decltype(&::CryptXmlStopDebugging) StopDebugging;
    decltype(&::CryptXmlDebuggingIsStarted) DebuggingIsStarted;
    decltype(&::CryptXmlGetLastDebugMessage) GetLastDebugMessage;
    decltype(&::CryptXmlCleanup) Cleanup;
    decltype(&::CryptXmlOpenToDecode) OpenToDecode;
    decltype(&::CryptXmlClose) Close;
    decltype(&::CryptXmlGetDocContext) GetDocContext;
    decltype(&::CryptXmlGetSignature) GetSignature;
    decltype(&::CryptXmlGetReference) GetReference;
    decltype(&::CryptXmlGetStatus) GetStatus;
    decltype(&::CryptXmlVerifySignature) VerifySignature;
    decltype(&::CryptXmlVerifySignatureCAPI) VerifySignatureCAPI;
    decltype(&::CryptXmlSetHMACSecret) SetHMACSecret;
    decltype(&::CryptXmlImportPublicKey) ImportPublicKey;
    decltype(&::CryptXmlImportPublicKeyCAPI) ImportPublicKeyCAPI;
    decltype(&::CryptXmlDigestReference) DigestReference;
    decltype(&::CryptXmlOpenToEncode) OpenToEncode;
    decltype(&::CryptXmlCreateReference) CreateReference;
    decltype(&::CryptXmlAddObject) AddObject;
    decltype(&::CryptXmlSign) Sign;
    decltype(&::CryptXmlEncode) Encode;
    decltype(&::CryptXmlGetTransforms) GetTransforms;
    decltype(&::CryptXmlEnableRedirection) EnableRedirection;
    decltype(&::CryptXmlRedirectionIsAvailable) RedirectionIsAvailable;
    decltype(&::CryptXmlRedirectionIsEnabled) RedirectionIsEnabled;

    std::wstring LastMessage() const {
        wchar_t buffer[4098] = {};
        const HRESULT hr = GetLastDebugMessage(buffer, 4098);
        return hr == S_OK ? std::wstring(buffer) : L"<GetLastDebugMessage failed>";
    }

private:
    CryptXmlDll() : module_(::LoadLibraryW(L"talvoran-cryptxml64.dll")) {
        if (module_ == nullptr) throw std::runtime_error("talvoran-cryptxml64.dll could not be loaded");
        Bind(FindAlgorithmInfo, "CryptXmlFindAlgorithmInfo");
        Bind(EnumAlgorithmInfo, "CryptXmlEnumAlgorithmInfo");
        Bind(GetAlgorithmInfo, "CryptXmlGetAlgorithmInfo");
        Bind(StartDebugging, "CryptXmlStartDebugging");
        Bind(StopDebugging, "CryptXmlStopDebugging");
        Bind(DebuggingIsStarted, "CryptXmlDebuggingIsStarted");
        Bind(GetLastDebugMessage, "CryptXmlGetLastDebugMessage");
        Bind(Cleanup, "CryptXmlCleanup");
        Bind(OpenToDecode, "CryptXmlOpenToDecode");
        Bind(Close, "CryptXmlClose");
        Bind(GetDocContext, "CryptXmlGetDocContext");
        Bind(GetSignature, "CryptXmlGetSignature");
        Bind(GetReference, "CryptXmlGetReference");
        Bind(GetStatus, "CryptXmlGetStatus");
        Bind(VerifySignature, "CryptXmlVerifySignature");
        Bind(VerifySignatureCAPI, "CryptXmlVerifySignatureCAPI");
        Bind(SetHMACSecret, "CryptXmlSetHMACSecret");
        Bind(ImportPublicKey, "CryptXmlImportPublicKey");
        Bind(ImportPublicKeyCAPI, "CryptXmlImportPublicKeyCAPI");
        Bind(DigestReference, "CryptXmlDigestReference");
        Bind(OpenToEncode, "CryptXmlOpenToEncode");
        Bind(CreateReference, "CryptXmlCreateReference");
        Bind(AddObject, "CryptXmlAddObject");
        Bind(Sign, "CryptXmlSign");
        Bind(Encode, "CryptXmlEncode");
        Bind(GetTransforms, "CryptXmlGetTransforms");
        Bind(EnableRedirection, "CryptXmlEnableRedirection");
        Bind(RedirectionIsAvailable, "CryptXmlRedirectionIsAvailable");
        Bind(RedirectionIsEnabled, "CryptXmlRedirectionIsEnabled");
    }

    template <class F>
    void Bind(F& target, const char* name) {
        FARPROC proc = Raw(name);
        if (proc == nullptr) throw std::runtime_error(std::string("missing export ") + name);
        target = reinterpret_cast<F>(reinterpret_cast<void*>(proc));
    }

    HMODULE module_;
};

}  // namespace testing_support
