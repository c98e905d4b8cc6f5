#pragma once
// What the redirection tests share: the DLL under test, the platform library stand-in it
// forwards to, and the trace lines a call writes.
#include <windows.h>

#include <cryptxml.h>

#include <cstring>
#include <cwctype>
#include <stdexcept>
#include <string>
#include <vector>

#include "StandInRecord.h"
#include "support/CryptXmlDll.hpp"
#include "support/CapturedLines.hpp"
#include "support/TraceLines.hpp"

namespace redirecttest {

constexpr HRESULT kOperation = static_cast<HRESULT>(0x80092107L);  // CRYPT_XML_E_OPERATION

inline const testing_support::CryptXmlDll& dll() { return testing_support::CryptXmlDll::Get(); }

inline HRESULT Marker(StandInEntry entry) { return static_cast<HRESULT>(STANDIN_MARKER_BASE + entry); }

// The CryptXml.dll the process has loaded (the library loads it on its first call).
class StandIn {
public:
    StandIn() : module_(::GetModuleHandleW(L"CryptXml.dll")) {
        if (module_ == nullptr) throw std::runtime_error("CryptXml.dll is not loaded");
        lastCall_ = reinterpret_cast<PFN_STANDIN_LAST_CALL>(
            reinterpret_cast<void*>(::GetProcAddress(module_, "StandInLastCall")));
        sentinel_ = reinterpret_cast<PFN_STANDIN_SENTINEL>(
            reinterpret_cast<void*>(::GetProcAddress(module_, "StandInSentinel")));
        if (lastCall_ == nullptr || sentinel_ == nullptr) throw std::runtime_error("CryptXml.dll is not the stand-in");
    }

    StandInCall Last() const {
        StandInCall call{};
        lastCall_(&call);
        return call;
    }
    LONG Calls() const { return Last().calls; }
    const void* Sentinel() const { return sentinel_(); }
    std::wstring Path() const { return ModulePath(module_); }

    static std::wstring ModulePath(HMODULE module) {
        wchar_t path[MAX_PATH] = {};
        ::GetModuleFileNameW(module, path, MAX_PATH);
        return Lower(path);
    }

    static std::wstring Lower(std::wstring text) {
        for (wchar_t& c : text) c = static_cast<wchar_t>(std::towlower(c));
        return text;
    }

private:
    HMODULE module_;
    PFN_STANDIN_LAST_CALL lastCall_;
    PFN_STANDIN_SENTINEL sentinel_;
};

using testing_support::LinesOf;

inline std::wstring Line(const std::string& function, const std::string& text) {
    return testing_support::ExpectedLine(testing_support::Widen(function + ". " + text));
}

// A small signed-looking document: enough for CryptXmlOpenToDecode to give a handle.
inline const char* kPlainDocument = "<root><a>text</a></root>";

inline HCRYPTXML OpenDocument() {
    CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(std::strlen(kPlainDocument)),
                           reinterpret_cast<BYTE*>(const_cast<char*>(kPlainDocument))};
    HCRYPTXML handle = nullptr;
    const HRESULT hr = dll().OpenToDecode(nullptr, 0, nullptr, 0, &blob, &handle);
    if (hr != S_OK) throw std::runtime_error("CryptXmlOpenToDecode failed");
    return handle;
}

}  // namespace redirecttest
