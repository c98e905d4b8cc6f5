#pragma once
// What the hostile-input tests share: the DLL, documents opened and closed by scope, the
// trace line a refusal leaves, and the time and memory a call takes.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <cryptxml.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>

#include "support/CryptXmlDll.hpp"
#include "support/HostFiles.hpp"
#include "support/ProcessFigures.hpp"
#include "support/TraceLines.hpp"

namespace hostile {

constexpr HRESULT kInvalidArg = static_cast<HRESULT>(0x80070057L);
constexpr HRESULT kInvalidFormat = static_cast<HRESULT>(0x803D0000L);
constexpr HRESULT kLarge = static_cast<HRESULT>(0x80092101L);
constexpr HRESULT kHandle = static_cast<HRESULT>(0x80092106L);
constexpr HRESULT kNonUniqueId = static_cast<HRESULT>(0x80092112L);
constexpr HRESULT kVerifyFailed = static_cast<HRESULT>(0x8009210DL);

constexpr char kFormatText[] = "The input data was not in the expected format or did not have the expected value.";

// The limits the library keeps (document/ParseGuard.hpp), as a caller meets them.
constexpr unsigned kMaxDepth = 1000;
constexpr unsigned kMaxEntityExpansions = 10000;
constexpr unsigned kMaxEntityLength = 1000;

inline const testing_support::CryptXmlDll& dll() { return testing_support::CryptXmlDll::Get(); }

inline CRYPT_XML_BLOB BlobOf(const std::string& bytes, DWORD charset = CRYPT_XML_CHARSET_AUTO) {
    return {static_cast<CRYPT_XML_CHARSET>(charset), static_cast<ULONG>(bytes.size()),
            reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data()))};
}

// The trace line an export leaves for a refusal of `function` with the format error text.
inline std::wstring FormatLine(const std::wstring& exportName, const std::string& function, const std::string& detail) {
    return testing_support::ExpectedFrameLine(
        exportName, testing_support::Widen(testing_support::CodeMessage(function, kFormatText, detail)));
}

// A document opened to decode, closed when the scope ends.
class Doc {
public:
    explicit Doc(const std::string& xml, DWORD charset = CRYPT_XML_CHARSET_AUTO) {
        const CRYPT_XML_BLOB blob = BlobOf(xml, charset);
        hr_ = dll().OpenToDecode(nullptr, 0, nullptr, 0, &blob, &h_);
    }
    ~Doc() {
        if (h_ != nullptr) dll().Close(h_);
    }
    Doc(const Doc&) = delete;
    Doc& operator=(const Doc&) = delete;

    HRESULT hr() const { return hr_; }
    HCRYPTXML h() const { return h_; }
    ULONG Signatures() const {
        const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
        return h_ != nullptr && dll().GetDocContext(h_, &ctxt) == S_OK ? ctxt->cSignature : 0;
    }
    const CRYPT_XML_SIGNATURE* Signature(ULONG i = 0) const {
        const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
        if (h_ == nullptr || dll().GetDocContext(h_, &ctxt) != S_OK || i >= ctxt->cSignature) return nullptr;
        const CRYPT_XML_SIGNATURE* sig = nullptr;
        return dll().GetSignature(ctxt->rgpSignature[i]->hSignature, &sig) == S_OK ? sig : nullptr;
    }

private:
    HCRYPTXML h_ = nullptr;
    HRESULT hr_ = E_FAIL;
};

inline CRYPT_XML_STATUS StatusOf(HCRYPTXML handle) {
    CRYPT_XML_STATUS status{sizeof(CRYPT_XML_STATUS), 0, 0};
    dll().GetStatus(handle, &status);
    return status;
}

// HMAC verification of a signature the test made with `secret`.
inline HRESULT VerifyHmac(HCRYPTXML sig, const std::string& secret) {
    const HRESULT set =
        dll().SetHMACSecret(sig, reinterpret_cast<const BYTE*>(secret.data()), static_cast<ULONG>(secret.size()));
    return set != S_OK ? set : dll().VerifySignatureCAPI(sig, 0, 0, 0);
}

// Wall time and the most private memory the process held above where it started, sampled
// every millisecond while the measure lives.
class Measure {
public:
    Measure() : start_(testing_support::PrivateBytes()), peak_(start_) {
        ::QueryPerformanceCounter(&t0_);
        sampler_ = std::thread([this] {
            while (!stop_.load()) {
                Sample();
                ::Sleep(1);
            }
        });
    }
    ~Measure() { Stop(); }
    Measure(const Measure&) = delete;
    Measure& operator=(const Measure&) = delete;

    void Stop() {
        if (!sampler_.joinable()) return;
        stop_ = true;
        sampler_.join();
        Sample();
        LARGE_INTEGER t1, f;
        ::QueryPerformanceCounter(&t1);
        ::QueryPerformanceFrequency(&f);
        ms_ = static_cast<double>(t1.QuadPart - t0_.QuadPart) * 1000.0 / static_cast<double>(f.QuadPart);
    }
    double Ms() const { return ms_; }
    double PeakMb() const { return static_cast<double>(peak_ - start_) / (1024.0 * 1024.0); }
    void Print(const char* what) const {
        std::printf("[ figures  ] %s: %.1f ms, peak +%.1f MB\n", what, Ms(), PeakMb());
    }

private:
    void Sample() {
        const SIZE_T now = testing_support::PrivateBytes();
        if (now > peak_) peak_ = now;
    }

    SIZE_T start_;
    SIZE_T peak_;
    LARGE_INTEGER t0_{};
    double ms_ = 0;
    std::atomic<bool> stop_{false};
    std::thread sampler_;
};

// CryptXmlImportPublicKeyCAPI with a GOST KeyValue blob; whatever it hands out is released.
inline HRESULT ImportGostKeyValue(const CRYPT_XML_BLOB& blob) {
    CRYPT_XML_KEY_VALUE value = {};
    value.dwType = CRYPT_XML_KEY_VALUE_TYPE_GOST;
    value.GOSTKeyValue = blob;
    HCRYPTPROV prov = 0;
    HCRYPTKEY key = 0;
    const HRESULT hr = testing_support::CryptXmlDll::Get().ImportPublicKeyCAPI(0, &value, &prov, &key);
    if (key != 0) CryptDestroyKey(key);
    if (prov != 0) CryptReleaseContext(prov, 0);
    return hr;
}

}  // namespace hostile
