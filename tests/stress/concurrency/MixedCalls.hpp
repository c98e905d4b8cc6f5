#pragma once
// Many threads making every kind of call at once: opening documents (to decode and to
// encode), reading their structures, verifying, closing, the algorithm catalog, the trace
// switched on and off. Each thread keeps the handles it opens and closes each exactly once;
// a document opened before the threads start is read and verified by all of them.
// Works on any table of the exports (the DLL's, or the static library's for unit tests):
// Api needs the members of testing_support::CryptXmlDll that are used below.
#include <windows.h>

#include <cryptxml.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace mixedCalls {

constexpr HRESULT kHandle = static_cast<HRESULT>(0x80092106L);
constexpr HRESULT kInvalidArg = static_cast<HRESULT>(0x80070057L);
const std::string kSecret = "mixed-calls-hmac-secret-32-bytes";

// Ends the process when the work does not finish in time: a deadlock fails the test with
// what each thread was doing instead of hanging the run.
class Watchdog {
public:
    Watchdog(std::chrono::seconds limit, std::vector<std::atomic<const char*>>& doing,
             std::vector<std::atomic<long>>& done)
        : thread_([this, limit, &doing, &done] {
              std::unique_lock<std::mutex> lock(mutex_);
              if (cv_.wait_for(lock, limit, [this] { return finished_; })) return;
              std::fprintf(stderr, "watchdog: no end after %lld s, threads still working:\n",
                           static_cast<long long>(limit.count()));
              for (size_t i = 0; i < doing.size(); ++i) {
                  std::fprintf(stderr, "  thread %zu: %ld calls made, now in %s\n", i, done[i].load(),
                               doing[i].load() != nullptr ? doing[i].load() : "nothing");
              }
              std::fflush(stderr);
              ::TerminateProcess(::GetCurrentProcess(), 3);
          }) {}
    ~Watchdog() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            finished_ = true;
        }
        cv_.notify_all();
        thread_.join();
    }
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

private:
    std::mutex mutex_;
    std::condition_variable cv_;
    bool finished_ = false;
    std::thread thread_;
};

// What one thread saw.
struct ThreadResult {
    long calls = 0;
    long opened = 0;              // documents and new signatures with a handle
    long closedOk = 0;            // closes answered S_OK
    long wrong = 0;               // answers other than the expected ones
    std::string firstWrong;       // the first of them, for the report
    std::vector<HCRYPTXML> seen;  // every handle this thread was given (documents, signatures, references)
};

struct Figures {
    std::vector<ThreadResult> threads;
    double seconds = 0;
};

inline CRYPT_XML_BLOB BlobOf(const std::string& bytes) {
    return {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(bytes.size()),
            reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data()))};
}

inline HRESULT CALLBACK Append(void* state, const BYTE* pb, ULONG cb) {
    static_cast<std::string*>(state)->append(reinterpret_cast<const char*>(pb), cb);
    return S_OK;
}

inline HRESULT CALLBACK ReadNothing(void*, BYTE*, ULONG, ULONG* read) {
    *read = 0;
    return S_OK;
}

inline HRESULT CALLBACK CloseNothing(void*) { return S_OK; }

inline BOOL WINAPI Count(const CRYPT_XML_ALGORITHM_INFO*, void* count) {
    ++*static_cast<int*>(count);
    return TRUE;
}

template <class Api>
class Worker {
public:
    Worker(const Api& api, const std::vector<std::string>& docs, HCRYPTXML sharedSig, unsigned seed,
           std::atomic<const char*>& doing, std::atomic<long>& done)
        : api_(api), docs_(docs), sharedSig_(sharedSig), state_(seed), doing_(doing), done_(done) {}

    ThreadResult Run(long calls) {
        while (result_.calls < calls) Step();
        while (!open_.empty()) CloseOne();
        doing_ = nullptr;
        return result_;
    }

private:
    unsigned Next(unsigned n) {
        state_ = state_ * 1103515245u + 12345u;
        return (state_ >> 8) % n;
    }

    void Check(bool ok, const char* what, HRESULT hr) {
        if (ok) return;
        if (result_.wrong++ == 0) {
            char text[160];
            std::snprintf(text, sizeof(text), "%s answered 0x%08lX", what, static_cast<unsigned long>(hr));
            result_.firstWrong = text;
        }
    }

    // One export call: counted, and named while it runs for the watchdog.
    template <class Call>
    HRESULT Made(const char* name, Call&& call) {
        doing_ = name;
        const HRESULT hr = call();
        ++result_.calls;
        done_ = result_.calls;
        return hr;
    }

    void Step() {
        switch (Next(12)) {
            case 0:
            case 1:
                if (open_.size() < 4)
                    OpenDecode();
                else
                    CloseOne();
                break;
            case 2:
                if (!open_.empty()) CloseOne();
                break;
            case 3:
            case 4: Read(); break;
            case 5: Verify(); break;
            case 6: VerifyShared(); break;
            case 7:
            case 8: Algorithms(); break;
            case 9: Trace(); break;
            case 10: ReadShared(); break;
            case 11:
                if (Next(4) == 0)
                    Encode();
                else
                    Read();
                break;
        }
    }

    void OpenDecode() {
        const CRYPT_XML_BLOB blob = BlobOf(docs_[Next(static_cast<unsigned>(docs_.size()))]);
        HCRYPTXML h = nullptr;
        const HRESULT hr =
            Made("CryptXmlOpenToDecode", [&] { return api_.OpenToDecode(nullptr, 0, nullptr, 0, &blob, &h); });
        Check(hr == S_OK && h != nullptr, "CryptXmlOpenToDecode", hr);
        if (hr != S_OK) return;
        open_.push_back(h);
        result_.seen.push_back(h);
        ++result_.opened;
    }

    void CloseOne() {
        const size_t i = Next(static_cast<unsigned>(open_.size()));
        HCRYPTXML h = open_[i];
        open_.erase(open_.begin() + static_cast<long>(i));
        const HRESULT hr = Made("CryptXmlClose", [&] { return api_.Close(h); });
        Check(hr == S_OK, "CryptXmlClose", hr);
        if (hr == S_OK) ++result_.closedOk;
    }

    // The first signature of one of this thread's documents, or null.
    const CRYPT_XML_SIGNATURE* AnySignature() {
        if (open_.empty()) return nullptr;
        HCRYPTXML doc = open_[Next(static_cast<unsigned>(open_.size()))];
        const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
        const HRESULT hr = Made("CryptXmlGetDocContext", [&] { return api_.GetDocContext(doc, &ctxt); });
        Check(hr == S_OK && ctxt->cSignature > 0, "CryptXmlGetDocContext", hr);
        if (hr != S_OK || ctxt->cSignature == 0) return nullptr;
        const CRYPT_XML_SIGNATURE* sig = nullptr;
        HCRYPTXML sigHandle = ctxt->rgpSignature[Next(ctxt->cSignature)]->hSignature;
        const HRESULT got = Made("CryptXmlGetSignature", [&] { return api_.GetSignature(sigHandle, &sig); });
        Check(got == S_OK, "CryptXmlGetSignature", got);
        if (got != S_OK) return nullptr;
        result_.seen.push_back(sigHandle);
        return sig;
    }

    void ReadSignature(const CRYPT_XML_SIGNATURE* sig) {
        for (ULONG i = 0; i < sig->SignedInfo.cReference; ++i) {
            HCRYPTXML ref = sig->SignedInfo.rgpReference[i]->hReference;
            const CRYPT_XML_REFERENCE* data = nullptr;
            const HRESULT hr = Made("CryptXmlGetReference", [&] { return api_.GetReference(ref, &data); });
            Check(hr == S_OK && data->DigestValue.cbData == 32, "CryptXmlGetReference", hr);
            result_.seen.push_back(ref);
        }
        CRYPT_XML_STATUS status{sizeof(status), 0, 0};
        const HRESULT hr = Made("CryptXmlGetStatus", [&] { return api_.GetStatus(sig->hSignature, &status); });
        Check(hr == S_OK, "CryptXmlGetStatus", hr);
    }

    void Read() {
        if (const CRYPT_XML_SIGNATURE* sig = AnySignature()) ReadSignature(sig);
    }

    void ReadShared() {
        const CRYPT_XML_SIGNATURE* sig = nullptr;
        const HRESULT hr = Made("CryptXmlGetSignature", [&] { return api_.GetSignature(sharedSig_, &sig); });
        Check(hr == S_OK, "CryptXmlGetSignature (shared)", hr);
        if (hr == S_OK) ReadSignature(sig);
    }

    // HMAC: a signature may be verified again and again.
    void VerifyHmac(HCRYPTXML sig, const char* what) {
        const HRESULT set = Made("CryptXmlSetHMACSecret", [&] {
            return api_.SetHMACSecret(sig, reinterpret_cast<const BYTE*>(kSecret.data()),
                                      static_cast<ULONG>(kSecret.size()));
        });
        Check(set == S_OK, what, set);
        const HRESULT hr = Made("CryptXmlVerifySignatureCAPI", [&] { return api_.VerifySignatureCAPI(sig, 0, 0, 0); });
        Check(hr == S_OK, what, hr);
        CRYPT_XML_STATUS status{sizeof(status), 0, 0};
        const HRESULT got = Made("CryptXmlGetStatus", [&] { return api_.GetStatus(sig, &status); });
        Check(got == S_OK && status.dwErrorStatus == 0 && (status.dwInfoStatus & CRYPT_XML_STATUS_DIGEST_VALID) != 0,
              what, got);
    }

    void Verify() {
        if (const CRYPT_XML_SIGNATURE* sig = AnySignature()) VerifyHmac(sig->hSignature, "verification");
    }

    void VerifyShared() { VerifyHmac(sharedSig_, "verification (shared)"); }

    void Algorithms() {
        const CRYPT_XML_ALGORITHM_INFO* found = nullptr;
        Made("CryptXmlFindAlgorithmInfo", [&] {
            found = api_.FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_URI,
                                           L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256",
                                           CRYPT_XML_GROUP_ID_SIGN, 0);
            return S_OK;
        });
        Check(found != nullptr && std::wcscmp(found->wszName, L"HMAC-SHA256") == 0, "CryptXmlFindAlgorithmInfo",
              E_FAIL);
        int count = 0;
        const HRESULT hr = Made("CryptXmlEnumAlgorithmInfo",
                                [&] { return api_.EnumAlgorithmInfo(CRYPT_XML_GROUP_ID_HASH, 0, &count, Count); });
        Check(hr == S_OK && count == 10, "CryptXmlEnumAlgorithmInfo", hr);
        CRYPT_XML_ALGORITHM alg = {sizeof(alg), L"http://www.w3.org/2001/04/xmlenc#sha256", {}};
        CRYPT_XML_ALGORITHM_INFO* info = nullptr;
        const HRESULT got = Made("CryptXmlGetAlgorithmInfo", [&] { return api_.GetAlgorithmInfo(&alg, 0, &info); });
        Check(got == S_OK && info != nullptr && info->dwGroupId == CRYPT_XML_GROUP_ID_HASH, "CryptXmlGetAlgorithmInfo",
              got);
        if (info != nullptr) ::LocalFree(info);
    }

    void Trace() {
        switch (Next(4)) {
            case 0:
                Made("CryptXmlStartDebugging", [&] {
                    api_.StartDebugging();
                    return S_OK;
                });
                break;
            case 1:
                Made("CryptXmlStopDebugging", [&] {
                    api_.StopDebugging();
                    return S_OK;
                });
                break;
            case 2: {
                // A failure to trace, when tracing is on.
                CRYPT_XML_STATUS status{sizeof(status), 0, 0};
                const HRESULT hr = Made("CryptXmlGetStatus", [&] { return api_.GetStatus(nullptr, &status); });
                Check(hr == kInvalidArg, "CryptXmlGetStatus(NULL)", hr);
                break;
            }
            default: {
                wchar_t line[4098];
                const HRESULT hr =
                    Made("CryptXmlGetLastDebugMessage", [&] { return api_.GetLastDebugMessage(line, 4098); });
                Check(hr == S_OK, "CryptXmlGetLastDebugMessage", hr);
            }
        }
    }

    // A new signature over external data: open to encode, reference, feed, sign, encode, close.
    void Encode() {
        HCRYPTXML sig = nullptr;
        const HRESULT opened = Made("CryptXmlOpenToEncode",
                                    [&] { return api_.OpenToEncode(nullptr, 0, nullptr, nullptr, 0, nullptr, &sig); });
        Check(opened == S_OK, "CryptXmlOpenToEncode", opened);
        if (opened != S_OK) return;
        ++result_.opened;
        result_.seen.push_back(sig);
        CRYPT_XML_ALGORITHM digest = {sizeof(digest), L"http://www.w3.org/2001/04/xmlenc#sha256", {}};
        HCRYPTXML ref = nullptr;
        const HRESULT created = Made("CryptXmlCreateReference", [&] {
            return api_.CreateReference(sig, 0, nullptr, L"http://example.com/data", nullptr, &digest, 0, nullptr,
                                        &ref);
        });
        Check(created == S_OK, "CryptXmlCreateReference", created);
        if (created == S_OK) {
            result_.seen.push_back(ref);
            int state = 0;
            CRYPT_XML_DATA_PROVIDER provider = {&state, 0, ReadNothing, CloseNothing};
            const HRESULT fed =
                Made("CryptXmlDigestReference", [&] { return api_.DigestReference(ref, 0, &provider); });
            Check(fed == S_OK, "CryptXmlDigestReference", fed);
            const HRESULT set = Made("CryptXmlSetHMACSecret", [&] {
                return api_.SetHMACSecret(sig, reinterpret_cast<const BYTE*>(kSecret.data()),
                                          static_cast<ULONG>(kSecret.size()));
            });
            Check(set == S_OK, "CryptXmlSetHMACSecret", set);
            CRYPT_XML_ALGORITHM method = {sizeof(method), L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256", {}};
            CRYPT_XML_ALGORITHM c14n = {sizeof(c14n), L"http://www.w3.org/2001/10/xml-exc-c14n#", {}};
            const HRESULT signedHr = Made("CryptXmlSign", [&] {
                return api_.Sign(sig, 0, 0, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, &method, &c14n);
            });
            Check(signedHr == S_OK, "CryptXmlSign", signedHr);
            std::string out;
            const HRESULT encoded = Made(
                "CryptXmlEncode", [&] { return api_.Encode(sig, CRYPT_XML_CHARSET_UTF8, nullptr, 0, &out, Append); });
            Check(encoded == S_OK && !out.empty(), "CryptXmlEncode", encoded);
        }
        const HRESULT closed = Made("CryptXmlClose", [&] { return api_.Close(sig); });
        Check(closed == S_OK, "CryptXmlClose", closed);
        if (closed == S_OK) ++result_.closedOk;
    }

    const Api& api_;
    const std::vector<std::string>& docs_;
    HCRYPTXML sharedSig_;
    unsigned state_;
    std::atomic<const char*>& doing_;
    std::atomic<long>& done_;
    std::vector<HCRYPTXML> open_;
    ThreadResult result_;
};

// A document with one HMAC signature over two elements, made through api.
template <class Api>
std::string SignedDocument(const Api& api, int signatures) {
    std::string xml = "<Doc><a Id=\"a\">first</a><b Id=\"b\">second</b></Doc>";
    for (int s = 0; s < signatures; ++s) {
        const LPCWSTR where = L"";
        const CRYPT_XML_PROPERTY location = {CRYPT_XML_PROPERTY_SIGNATURE_LOCATION, &where, sizeof(where)};
        const CRYPT_XML_BLOB blob = BlobOf(xml);
        HCRYPTXML sig = nullptr;
        if (api.OpenToEncode(nullptr, 0, nullptr, &location, 1, &blob, &sig) != S_OK) return {};
        CRYPT_XML_ALGORITHM digest = {sizeof(digest), L"http://www.w3.org/2001/04/xmlenc#sha256", {}};
        CRYPT_XML_ALGORITHM c14n = {sizeof(c14n), L"http://www.w3.org/2001/10/xml-exc-c14n#", {}};
        CRYPT_XML_ALGORITHM method = {sizeof(method), L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256", {}};
        HCRYPTXML ref = nullptr;
        std::string out;
        const bool ok = api.CreateReference(sig, 0, nullptr, L"#a", nullptr, &digest, 1, &c14n, &ref) == S_OK &&
                        api.CreateReference(sig, 0, nullptr, L"#b", nullptr, &digest, 1, &c14n, &ref) == S_OK &&
                        api.SetHMACSecret(sig, reinterpret_cast<const BYTE*>(kSecret.data()),
                                          static_cast<ULONG>(kSecret.size())) == S_OK &&
                        api.Sign(sig, 0, 0, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, &method, &c14n) == S_OK &&
                        api.Encode(sig, CRYPT_XML_CHARSET_UTF8, nullptr, 0, &out, Append) == S_OK;
        api.Close(sig);
        if (!ok) return {};
        xml = out;
    }
    return xml;
}

// Runs `threads` workers of `calls` export calls each, under a watchdog.
template <class Api>
Figures Run(const Api& api, int threads, long calls, std::chrono::seconds limit) {
    Figures figures;
    const std::vector<std::string> docs = {SignedDocument(api, 1), SignedDocument(api, 2)};
    for (const std::string& doc : docs) {
        if (doc.empty()) return figures;
    }
    const CRYPT_XML_BLOB sharedBlob = BlobOf(docs[0]);
    HCRYPTXML shared = nullptr;
    if (api.OpenToDecode(nullptr, 0, nullptr, 0, &sharedBlob, &shared) != S_OK) return figures;
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    api.GetDocContext(shared, &ctxt);
    HCRYPTXML sharedSig = ctxt->rgpSignature[0]->hSignature;

    std::vector<std::atomic<const char*>> doing(static_cast<size_t>(threads));
    std::vector<std::atomic<long>> done(static_cast<size_t>(threads));
    for (auto& d : doing) d = nullptr;
    for (auto& d : done) d = 0;
    figures.threads.resize(static_cast<size_t>(threads));
    const auto start = std::chrono::steady_clock::now();
    {
        Watchdog watchdog(limit, doing, done);
        std::vector<std::thread> workers;
        for (int t = 0; t < threads; ++t) {
            workers.emplace_back([&, t] {
                Worker<Api> worker(api, docs, sharedSig, 7919u * static_cast<unsigned>(t + 1), doing[t], done[t]);
                figures.threads[static_cast<size_t>(t)] = worker.Run(calls);
            });
        }
        for (std::thread& w : workers) w.join();
    }
    figures.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    api.Close(shared);
    api.StopDebugging();
    return figures;
}

}  // namespace mixedCalls
