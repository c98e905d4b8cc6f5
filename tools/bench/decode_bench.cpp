// cryptxml-decode-bench: decode throughput of talvoran-cryptxml64.dll.
//
//   cryptxml-decode-bench.exe [seconds-per-size]     (default 3)
//
// For documents of about 1 KB, 1 MB and 10 MB (one ds:Signature with two references and a
// KeyInfo holding an X509 certificate, plus bulk content), it opens, reads (GetDocContext,
// GetSignature, each GetReference, GetStatus) and closes in a loop for the given time, then
// prints documents/s, MB/s and the process's peak memory.
#include <windows.h>

#include <psapi.h>

#include <cryptxml.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// A 1 KB-sized self-signed certificate body; its bytes only need to be Base64.
std::string CertificateBase64() {
    static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string s = "MIIC";
    unsigned x = 12345;
    while (s.size() < 1000) {
        x = x * 1103515245u + 12345u;
        s += kAlphabet[(x >> 16) % 64];
    }
    return s;
}

std::string Document(size_t targetBytes) {
    std::string doc = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Envelope xmlns=\"urn:bench\"><Body Id=\"body\">";
    const std::string row = "<Item n=\"0123456789\">lorem ipsum dolor sit amet, consectetur adipiscing elit</Item>\n";
    const size_t overhead = 2600;
    while (doc.size() + overhead < targetBytes) doc += row;
    doc +=
        "</Body><Extra Id=\"extra\">x</Extra>"
        "<ds:Signature xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\" Id=\"sig\">"
        "<ds:SignedInfo>"
        "<ds:CanonicalizationMethod Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"/>"
        "<ds:SignatureMethod Algorithm=\"http://www.w3.org/2000/09/xmldsig#rsa-sha1\"/>"
        "<ds:Reference URI=\"#body\"><ds:Transforms>"
        "<ds:Transform Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"/></ds:Transforms>"
        "<ds:DigestMethod Algorithm=\"http://www.w3.org/2000/09/xmldsig#sha1\"/>"
        "<ds:DigestValue>AAECAwQFBgcICQoLDA0ODxAREhM=</ds:DigestValue></ds:Reference>"
        "<ds:Reference URI=\"\"><ds:Transforms>"
        "<ds:Transform Algorithm=\"http://www.w3.org/2000/09/xmldsig#enveloped-signature\"/></ds:Transforms>"
        "<ds:DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\"/>"
        "<ds:DigestValue>AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8=</ds:DigestValue></ds:Reference>"
        "</ds:SignedInfo>"
        "<ds:SignatureValue>";
    for (int i = 0; i < 32; ++i) doc += "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8g";
    doc += "</ds:SignatureValue><ds:KeyInfo><ds:X509Data><ds:X509Certificate>" + CertificateBase64() +
           "</ds:X509Certificate></ds:X509Data></ds:KeyInfo></ds:Signature></Envelope>";
    return doc;
}

// One open / read / close round; returns false (after printing why) on any failure.
bool RoundTrip(const std::string& doc) {
    CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(doc.size()),
                           reinterpret_cast<BYTE*>(const_cast<char*>(doc.data()))};
    HCRYPTXML h = nullptr;
    HRESULT hr = CryptXmlOpenToDecode(nullptr, 0, nullptr, 0, &blob, &h);
    if (hr != S_OK) {
        std::printf("CryptXmlOpenToDecode failed: 0x%08lX\n", static_cast<unsigned long>(hr));
        return false;
    }
    bool ok = true;
    const CRYPT_XML_DOC_CTXT* ctx = nullptr;
    hr = CryptXmlGetDocContext(h, &ctx);
    if (hr != S_OK || ctx == nullptr || ctx->cSignature != 1) {
        std::printf("CryptXmlGetDocContext: 0x%08lX\n", static_cast<unsigned long>(hr));
        ok = false;
    } else {
        const CRYPT_XML_SIGNATURE* sig = nullptr;
        hr = CryptXmlGetSignature(ctx->rgpSignature[0]->hSignature, &sig);
        if (hr != S_OK || sig == nullptr || sig->SignedInfo.cReference != 2) {
            std::printf("CryptXmlGetSignature: 0x%08lX\n", static_cast<unsigned long>(hr));
            ok = false;
        } else {
            for (ULONG i = 0; i < sig->SignedInfo.cReference && ok; ++i) {
                const CRYPT_XML_REFERENCE* ref = nullptr;
                hr = CryptXmlGetReference(sig->SignedInfo.rgpReference[i]->hReference, &ref);
                if (hr != S_OK || ref == nullptr) {
                    std::printf("CryptXmlGetReference: 0x%08lX\n", static_cast<unsigned long>(hr));
                    ok = false;
                }
            }
            CRYPT_XML_STATUS st = {};
            st.cbSize = sizeof st;
            hr = CryptXmlGetStatus(sig->hSignature, &st);
            if (hr != S_OK) {
                std::printf("CryptXmlGetStatus: 0x%08lX\n", static_cast<unsigned long>(hr));
                ok = false;
            }
        }
    }
    hr = CryptXmlClose(h);
    if (hr != S_OK) {
        std::printf("CryptXmlClose: 0x%08lX\n", static_cast<unsigned long>(hr));
        ok = false;
    }
    return ok;
}

}  // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 3.0;
    const struct {
        const char* label;
        size_t bytes;
    } sizes[] = {{"1 KB", 1024}, {"1 MB", 1024 * 1024}, {"10 MB", 10 * 1024 * 1024}};

    std::printf("%-6s %12s %10s %12s %10s\n", "size", "doc bytes", "docs", "docs/s", "MB/s");
    int rc = 0;
    for (const auto& s : sizes) {
        const std::string doc = Document(s.bytes);
        using Clock = std::chrono::steady_clock;
        const Clock::time_point start = Clock::now();
        double elapsed = 0;
        unsigned long count = 0;
        do {
            if (!RoundTrip(doc)) {
                rc = 1;
                break;
            }
            ++count;
            elapsed = std::chrono::duration<double>(Clock::now() - start).count();
        } while (elapsed < seconds);
        if (elapsed <= 0) elapsed = 1e-9;
        std::printf("%-6s %12zu %10lu %12.1f %10.2f\n", s.label, doc.size(), count, count / elapsed,
                    count * static_cast<double>(doc.size()) / (1024.0 * 1024.0) / elapsed);
    }
    PROCESS_MEMORY_COUNTERS pmc = {};
    pmc.cb = sizeof pmc;
    if (GetProcessMemoryInfo(GetCurrentProcess(), &pmc, sizeof pmc)) {
        std::printf("peak working set: %.1f MB, peak pagefile usage: %.1f MB\n",
                    pmc.PeakWorkingSetSize / (1024.0 * 1024.0), pmc.PeakPagefileUsage / (1024.0 * 1024.0));
    }
    CryptXmlCleanup();
    return rc;
}
