// cryptxml-transform-bench: throughput of the transform providers of
// talvoran-cryptxml64.dll and the cost the redirection check adds to every export.
//
//   cryptxml-transform-bench.exe [seconds-per-case]     (default 2)
//
// Transforms: a document of about 1 KB, 1 MB and 10 MB goes through the table's factory
// (exclusive c14n, and enveloped-signature) and is read to its end in 8192-byte reads;
// prints documents/s and MB/s. Calls: CryptXmlGetStatus with null arguments (the cheapest
// export: the redirection check, the argument check and its E_INVALIDARG) and
// CryptXmlRedirectionIsEnabled (the check alone), in calls/s and ns per call.
#include <windows.h>

#include <cryptxml.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

std::string Document(size_t targetBytes) {
    std::string doc = "<?xml version=\"1.0\"?>\n<Envelope xmlns=\"urn:bench\" xmlns:x=\"urn:unused\"><Body>";
    const std::string row = "<Item n=\"0123456789\" a=\"b\">lorem ipsum &amp; dolor sit amet</Item>\n";
    while (doc.size() + 400 < targetBytes) doc += row;
    return doc +
           "</Body><ds:Signature xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"><ds:SignedInfo/>"
           "<ds:SignatureValue>AAAA</ds:SignatureValue></ds:Signature></Envelope>";
}

struct Source {
    const std::string* data;
    size_t pos;
    static HRESULT CALLBACK Read(void* state, BYTE* pb, ULONG cb, ULONG* pcbRead) {
        auto* s = static_cast<Source*>(state);
        const size_t n = std::min<size_t>(cb, s->data->size() - s->pos);
        std::memcpy(pb, s->data->data() + s->pos, n);
        s->pos += n;
        *pcbRead = static_cast<ULONG>(n);
        return S_OK;
    }
    static HRESULT CALLBACK Close(void*) { return S_OK; }
};

// One document through one transform; the number of output bytes, or 0 on failure.
size_t TransformOnce(PFN_CRYPT_XML_CREATE_TRANSFORM factory, const wchar_t* uri, const std::string& doc) {
    Source source{&doc, 0};
    CRYPT_XML_DATA_PROVIDER in = {&source, 0, &Source::Read, &Source::Close};
    CRYPT_XML_DATA_PROVIDER out{};
    CRYPT_XML_ALGORITHM alg = {sizeof(alg), uri, {}};
    if (factory(&alg, &in, &out) != S_OK) return 0;
    std::vector<BYTE> buffer(8192);
    size_t total = 0;
    ULONG read = 0;
    while (out.pfnRead(out.pvCallbackState, buffer.data(), 8192, &read) == S_OK && read != 0) total += read;
    out.pfnClose(out.pvCallbackState);
    return total;
}

template <class Body>
void Measure(const char* what, double seconds, double megabytes, Body&& body) {
    long long n = 0;
    const auto start = Clock::now();
    double elapsed = 0;
    do {
        if (!body()) {
            std::printf("%s: failed\n", what);
            return;
        }
        ++n;
        elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    } while (elapsed < seconds);
    if (megabytes > 0) {
        std::printf("%-34s %8lld in %5.2f s  %10.1f docs/s  %8.1f MB/s\n", what, n, elapsed, n / elapsed,
                    n * megabytes / elapsed);
    } else {
        std::printf("%-34s %8lld in %5.2f s  %10.0f calls/s  %8.0f ns/call\n", what, n, elapsed, n / elapsed,
                    elapsed * 1e9 / n);
    }
}

}  // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 2.0;
    const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* config = nullptr;
    if (CryptXmlGetTransforms(&config) != S_OK) return 1;
    const PFN_CRYPT_XML_CREATE_TRANSFORM factory = config->rgpTransformInfo[0]->pfnCreateTransform;
    const struct {
        const char* name;
        const wchar_t* uri;
    } methods[] = {{"exc-c14n", L"http://www.w3.org/2001/10/xml-exc-c14n#"},
                   {"enveloped", L"http://www.w3.org/2000/09/xmldsig#enveloped-signature"}};
    for (size_t size : {size_t(1) << 10, size_t(1) << 20, size_t(10) << 20}) {
        const std::string doc = Document(size);
        for (const auto& m : methods) {
            char what[64];
            std::snprintf(what, sizeof(what), "%s %zu KB", m.name, size >> 10);
            Measure(what, seconds, doc.size() / 1048576.0, [&] { return TransformOnce(factory, m.uri, doc) != 0; });
        }
    }
    Measure("CryptXmlGetStatus(NULL, NULL)", seconds, 0,
            [] { return CryptXmlGetStatus(nullptr, nullptr) == E_INVALIDARG; });
    Measure("CryptXmlRedirectionIsEnabled()", seconds, 0, [] { return CryptXmlRedirectionIsEnabled() == S_FALSE; });
    return 0;
}
