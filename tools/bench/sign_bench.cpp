// cryptxml-sign-bench: signing throughput of talvoran-cryptxml64.dll.
//
//   cryptxml-sign-bench.exe DIR [seconds-per-case [SIZE KIND]]     (default 3, every case)
//
// DIR is what tools/bench/sign-bench.sh makes: SIZE.xml for SIZE 1k, 1m and 10m (an unsigned
// <Document xmlns="urn:talvoran:bench"><Data>...</Data></Document> with that much text),
// keys/rsa-key.msblob (an RSA-2048 PRIVATEKEYBLOB of tools/peers/peer-keys.sh's key) and
// keys/hmac.key (the 32-byte secret). KIND is rsa-sha256 or hmac-sha256.
//
// What one iteration is, as on libxmlsec1's side: CryptXmlOpenToEncode over the document's
// bytes (read into memory once), CryptXmlCreateReference URI="" with the enveloped-signature
// and c14n transforms and SHA-256, CryptXmlSign (c14n 1.0; HMAC: the secret is set with
// CryptXmlSetHMACSecret first), CryptXmlEncode in UTF-8 into memory, CryptXmlClose. What is
// outside the loop: reading the files and importing the RSA key into a container of
// Microsoft's Enhanced RSA and AES provider. The first signed document of each case is
// written to DIR/ours-SIZE-KIND.xml so that the driver can check it with xmlsec1.
// Prints one line per case: size, algorithm, iterations, seconds, signatures/s.
#include <windows.h>
#include <wincrypt.h>

#include <cryptxml.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

namespace {

constexpr wchar_t kContainer[] = L"talvoran-sign-bench";
constexpr wchar_t kEnveloped[] = L"http://www.w3.org/2000/09/xmldsig#enveloped-signature";
constexpr wchar_t kC14n[] = L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
constexpr wchar_t kSha256[] = L"http://www.w3.org/2001/04/xmlenc#sha256";
constexpr wchar_t kRsaSha256[] = L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256";
constexpr wchar_t kHmacSha256[] = L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256";

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

CRYPT_XML_ALGORITHM Alg(const wchar_t* uri) {
    CRYPT_XML_ALGORITHM alg;
    std::memset(&alg, 0, sizeof(alg));
    alg.cbSize = sizeof(alg);
    alg.wszAlgorithm = uri;
    return alg;
}

HRESULT CALLBACK Collect(void* state, const BYTE* pb, ULONG cb) {
    static_cast<std::string*>(state)->append(reinterpret_cast<const char*>(pb), cb);
    return S_OK;
}

// The RSA key in a fresh container, deleted again at the end.
class RsaContainer {
public:
    explicit RsaContainer(const std::string& blob) {
        HCRYPTPROV gone = 0;
        CryptAcquireContextW(&gone, kContainer, MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES, CRYPT_DELETEKEYSET);
        HCRYPTKEY key = 0;
        if (!CryptAcquireContextW(&prov_, kContainer, MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES, CRYPT_NEWKEYSET) ||
            !CryptImportKey(prov_, reinterpret_cast<const BYTE*>(blob.data()), static_cast<DWORD>(blob.size()), 0, 0,
                            &key)) {
            std::printf("RSA key import failed: 0x%08lX\n", GetLastError());
            prov_ = 0;
            return;
        }
        CryptDestroyKey(key);
        // Wine's provider writes the key when the container's handle goes: reopen it.
        CryptReleaseContext(prov_, 0);
        if (!CryptAcquireContextW(&prov_, kContainer, MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES, 0)) prov_ = 0;
        ALG_ID alg = 0;
        if (blob.size() >= 8) std::memcpy(&alg, blob.data() + 4, sizeof(alg));
        keySpec_ = GET_ALG_CLASS(alg) == ALG_CLASS_KEY_EXCHANGE ? AT_KEYEXCHANGE : AT_SIGNATURE;
    }
    ~RsaContainer() {
        if (prov_ != 0) CryptReleaseContext(prov_, 0);
        HCRYPTPROV gone = 0;
        CryptAcquireContextW(&gone, kContainer, MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES, CRYPT_DELETEKEYSET);
    }
    HCRYPTPROV prov() const { return prov_; }
    DWORD keySpec() const { return keySpec_; }

private:
    HCRYPTPROV prov_ = 0;
    DWORD keySpec_ = AT_SIGNATURE;
};

struct Case {
    const char* size;
    const char* kind;
    std::string bytes;
};

struct Keys {
    const RsaContainer* rsa;
    std::string secret;
};

HRESULT Report(const char* what, HRESULT hr) {
    if (FAILED(hr)) std::printf("%s failed: 0x%08lX\n", what, static_cast<unsigned long>(hr));
    return hr;
}

// One open / reference / sign / encode / close round; the signed document in out.
bool SignOnce(const Case& c, const Keys& keys, std::string& out) {
    const bool hmac = std::strncmp(c.kind, "hmac", 4) == 0;
    const CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_UTF8, static_cast<ULONG>(c.bytes.size()),
                                 reinterpret_cast<BYTE*>(const_cast<char*>(c.bytes.data()))};
    const BOOL noDeclaration = FALSE;
    const CRYPT_XML_PROPERTY property = {CRYPT_XML_PROPERTY_DOC_DECLARATION, &noDeclaration, sizeof(noDeclaration)};
    HCRYPTXML sig = nullptr;
    if (FAILED(Report("CryptXmlOpenToEncode", CryptXmlOpenToEncode(nullptr, 0, nullptr, &property, 1, &blob, &sig)))) {
        return false;
    }
    const CRYPT_XML_ALGORITHM digest = Alg(kSha256);
    const CRYPT_XML_ALGORITHM transforms[] = {Alg(kEnveloped), Alg(kC14n)};
    const CRYPT_XML_ALGORITHM method = Alg(hmac ? kHmacSha256 : kRsaSha256);
    const CRYPT_XML_ALGORITHM c14n = Alg(kC14n);
    HCRYPTXML ref = nullptr;
    bool ok = SUCCEEDED(Report("CryptXmlCreateReference",
                               CryptXmlCreateReference(sig, 0, nullptr, L"", nullptr, &digest, 2, transforms, &ref)));
    if (ok && hmac) {
        ok = SUCCEEDED(Report("CryptXmlSetHMACSecret",
                              CryptXmlSetHMACSecret(sig, reinterpret_cast<const BYTE*>(keys.secret.data()),
                                                    static_cast<ULONG>(keys.secret.size()))));
    }
    if (ok) {
        const HCRYPTPROV prov = hmac ? 0 : keys.rsa->prov();
        const DWORD keySpec = hmac ? 0 : keys.rsa->keySpec();
        ok = SUCCEEDED(Report(
            "CryptXmlSign", CryptXmlSign(sig, prov, keySpec, 0, CRYPT_XML_KEYINFO_SPEC_NONE, nullptr, &method, &c14n)));
    }
    out.clear();
    if (ok)
        ok =
            SUCCEEDED(Report("CryptXmlEncode", CryptXmlEncode(sig, CRYPT_XML_CHARSET_UTF8, nullptr, 0, &out, Collect)));
    CryptXmlClose(sig);
    return ok && !out.empty();
}

bool Measure(const std::string& dir, const Case& c, const Keys& keys, double seconds) {
    std::string out;
    if (!SignOnce(c, keys, out)) return false;  // warm-up, and the document kept for checking
    std::ofstream(dir + "/ours-" + c.size + "-" + c.kind + ".xml", std::ios::binary)
        .write(out.data(), static_cast<std::streamsize>(out.size()));
    unsigned long count = 0;
    const auto start = std::chrono::steady_clock::now();
    double elapsed = 0;
    do {
        if (!SignOnce(c, keys, out)) return false;
        ++count;
        elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    } while (elapsed < seconds);
    std::printf("%-4s %-12s %10lu %8.2f %12.1f\n", c.size, c.kind, count, elapsed, count / elapsed);
    std::fflush(stdout);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::printf("usage: cryptxml-sign-bench.exe DIR [seconds-per-case [SIZE KIND]]\n");
        return 2;
    }
    const std::string dir = argv[1];
    const double seconds = argc > 2 ? std::atof(argv[2]) : 3.0;
    const RsaContainer rsa(ReadFile(dir + "/keys/rsa-key.msblob"));
    const Keys keys{&rsa, ReadFile(dir + "/keys/hmac.key")};
    if (rsa.prov() == 0 || keys.secret.empty()) {
        std::printf("key setup failed (DIR %s)\n", dir.c_str());
        return 1;
    }
    std::printf("size kind         iterations  seconds  signatures/s\n");
    int failures = 0;
    for (const char* size : {"1k", "1m", "10m"}) {
        for (const char* kind : {"rsa-sha256", "hmac-sha256"}) {
            if (argc > 4 && (std::string(argv[3]) != size || std::string(argv[4]) != kind)) continue;
            const Case c{size, kind, ReadFile(dir + "/" + size + ".xml")};
            if (c.bytes.empty() || !Measure(dir, c, keys, seconds)) {
                std::printf("%s %s: failed\n", size, kind);
                ++failures;
            }
        }
    }
    CryptXmlCleanup();
    return failures == 0 ? 0 : 1;
}
