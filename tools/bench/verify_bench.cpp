// cryptxml-verify-bench: verification throughput of talvoran-cryptxml64.dll.
//
//   cryptxml-verify-bench.exe DIR [seconds-per-case [SIZE KIND]]     (default 3, every case)
//
// DIR is what tools/bench/verify-bench.sh makes: SIZE-KIND.xml for SIZE 1k and 1m and KIND
// rsa-sha256, gost2001 and hmac-sha256 (one enveloped signature, Reference URI="", over a
// document whose Data element holds that much text, signed by xmlsec1), and keys/ from
// tools/peers/peer-keys.sh.
//
// What one iteration is: CryptXmlOpenToDecode of the file's bytes (read into memory once),
// one verification of the signature (the SignatureValue over the canonical SignedInfo,
// then the enveloped reference's digest over the canonical document without the
// signature), a CryptXmlGetStatus check that both came out valid, and CryptXmlClose.
// What is outside the loop: reading the files and the keys. RSA: the document's KeyValue,
// imported once through CryptXmlImportPublicKeyCAPI (a verification context of the RSA
// provider). GOST: the signer's certificate, imported once through CryptImportPublicKeyInfoEx
// into a verification context of the software GOST provider (type 75, which must be
// registered in the prefix). HMAC: the 32-byte secret is read once and handed to each
// iteration's new signature handle through CryptXmlSetHMACSecret, which only borrows it.
// Prints one line per case: size, algorithm, iterations, seconds, verifications/s. With
// SIZE and KIND only that case runs (the driver script pairs each case with xmlsec1's run of
// it, so that both see the same load on the machine).
#include <windows.h>

#include <cryptxml.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace {

constexpr DWORD kGostProviderType = 75;

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void PrintHr(const char* what, HRESULT hr) {
    std::printf("%s failed: 0x%08lX\n", what, static_cast<unsigned long>(hr));
}

// An open document that closes itself.
class Document {
public:
    explicit Document(const std::string& bytes) {
        CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(bytes.size()),
                               reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data()))};
        hr_ = CryptXmlOpenToDecode(nullptr, 0, nullptr, 0, &blob, &handle_);
    }
    ~Document() {
        if (handle_ != nullptr) CryptXmlClose(handle_);
    }
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    HRESULT hr() const { return hr_; }
    const CRYPT_XML_SIGNATURE* Signature() const {
        const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
        if (CryptXmlGetDocContext(handle_, &ctxt) != S_OK || ctxt->cSignature != 1) return nullptr;
        const CRYPT_XML_SIGNATURE* sig = nullptr;
        return CryptXmlGetSignature(ctxt->rgpSignature[0]->hSignature, &sig) == S_OK ? sig : nullptr;
    }

private:
    HCRYPTXML handle_ = nullptr;
    HRESULT hr_ = E_FAIL;
};

// A verification key and its provider, released key first.
class VerifyKey {
public:
    VerifyKey() = default;
    ~VerifyKey() {
        if (key_ != 0) CryptDestroyKey(key_);
        if (prov_ != 0) CryptReleaseContext(prov_, 0);
    }
    VerifyKey(const VerifyKey&) = delete;
    VerifyKey& operator=(const VerifyKey&) = delete;

    HCRYPTPROV* provSlot() { return &prov_; }
    HCRYPTKEY* keySlot() { return &key_; }
    HCRYPTPROV prov() const { return prov_; }
    HCRYPTKEY key() const { return key_; }

private:
    HCRYPTPROV prov_ = 0;
    HCRYPTKEY key_ = 0;
};

// RSA: the KeyValue of the document itself, through the DLL.
bool ImportFromKeyValue(const std::string& xml, VerifyKey& out) {
    Document doc(xml);
    const CRYPT_XML_SIGNATURE* sig = doc.Signature();
    if (doc.hr() != S_OK || sig == nullptr || sig->pKeyInfo == nullptr) {
        PrintHr("open (RSA key)", doc.hr());
        return false;
    }
    for (UINT i = 0; i < sig->pKeyInfo->cKeyInfo; ++i) {
        const CRYPT_XML_KEY_INFO_ITEM& item = sig->pKeyInfo->rgKeyInfo[i];
        if (item.dwType != CRYPT_XML_KEYINFO_TYPE_KEYVALUE) continue;
        const HRESULT hr = CryptXmlImportPublicKeyCAPI(0, &item.KeyValue, out.provSlot(), out.keySlot());
        if (hr != S_OK) PrintHr("CryptXmlImportPublicKeyCAPI", hr);
        return hr == S_OK;
    }
    std::printf("the RSA document has no KeyValue\n");
    return false;
}

// GOST: the certificate's public key, into the software GOST provider.
bool ImportFromCertificate(const std::string& der, VerifyKey& out) {
    PCCERT_CONTEXT cert = CertCreateCertificateContext(X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(der.data()),
                                                       static_cast<DWORD>(der.size()));
    if (cert == nullptr) {
        PrintHr("CertCreateCertificateContext", HRESULT_FROM_WIN32(GetLastError()));
        return false;
    }
    bool ok = CryptAcquireContextW(out.provSlot(), nullptr, nullptr, kGostProviderType, CRYPT_VERIFYCONTEXT) &&
              CryptImportPublicKeyInfoEx(out.prov(), X509_ASN_ENCODING, &cert->pCertInfo->SubjectPublicKeyInfo, 0, 0,
                                         nullptr, out.keySlot());
    if (!ok) PrintHr("GOST key import (type 75)", HRESULT_FROM_WIN32(GetLastError()));
    CertFreeCertificateContext(cert);
    return ok;
}

// One document and what verifies it: a key, or (HMAC) a secret.
struct Case {
    const char* size;
    const char* kind;
    std::string xml;
    const VerifyKey* key;
    const std::string* secret;
};

bool StatusIsValid(HCRYPTXML handle) {
    CRYPT_XML_STATUS st = {};
    st.cbSize = sizeof st;
    const DWORD want = CRYPT_XML_STATUS_SIGNATURE_VALID | CRYPT_XML_STATUS_DIGEST_VALID;
    return CryptXmlGetStatus(handle, &st) == S_OK && st.dwErrorStatus == 0 && (st.dwInfoStatus & want) == want;
}

// One open / verify / close round; false (after printing why) on any failure.
bool VerifyOnce(const Case& c) {
    Document doc(c.xml);
    const CRYPT_XML_SIGNATURE* sig = doc.Signature();
    if (doc.hr() != S_OK || sig == nullptr) {
        PrintHr("CryptXmlOpenToDecode", doc.hr());
        return false;
    }
    HRESULT hr = S_OK;
    if (c.secret != nullptr) {
        hr = CryptXmlSetHMACSecret(sig->hSignature, reinterpret_cast<const BYTE*>(c.secret->data()),
                                   static_cast<ULONG>(c.secret->size()));
        if (hr == S_OK) hr = CryptXmlVerifySignatureCAPI(sig->hSignature, 0, 0, 0);
    } else {
        hr = CryptXmlVerifySignatureCAPI(sig->hSignature, c.key->prov(), c.key->key(), 0);
    }
    if (hr != S_OK) {
        PrintHr("verification", hr);
        return false;
    }
    if (!StatusIsValid(sig->hSignature)) {
        std::printf("verification: the status is not signature-valid and digest-valid\n");
        return false;
    }
    return true;
}

// Runs one case for about the given time; false if an iteration failed.
bool Measure(const Case& c, double seconds) {
    using Clock = std::chrono::steady_clock;
    if (c.xml.empty()) {
        std::printf("%s %s: document missing\n", c.size, c.kind);
        return false;
    }
    if (!VerifyOnce(c)) return false;  // warm-up: the first round loads providers and tables
    const Clock::time_point start = Clock::now();
    double elapsed = 0;
    unsigned long count = 0;
    do {
        if (!VerifyOnce(c)) return false;
        ++count;
        elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    } while (elapsed < seconds);
    std::printf("%-4s %-12s %10lu %8.2f %12.1f\n", c.size, c.kind, count, elapsed, count / elapsed);
    std::fflush(stdout);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 3 && argc != 5) {
        std::printf("usage: cryptxml-verify-bench.exe DIR [seconds-per-case [SIZE KIND]]\n");
        return 2;
    }
    const std::string dir = argv[1];
    const double seconds = argc > 2 ? std::atof(argv[2]) : 3.0;
    const std::string onlySize = argc == 5 ? argv[3] : "";
    const std::string onlyKind = argc == 5 ? argv[4] : "";
    const std::string secret = ReadFile(dir + "/keys/hmac.key");
    VerifyKey rsa;
    VerifyKey gost;
    if (secret.empty() || !ImportFromKeyValue(ReadFile(dir + "/1k-rsa-sha256.xml"), rsa) ||
        !ImportFromCertificate(ReadFile(dir + "/keys/gost2001-cert.der"), gost)) {
        std::printf("key setup failed (DIR %s)\n", dir.c_str());
        return 1;
    }

    std::printf("%-4s %-12s %10s %8s %12s\n", "size", "algorithm", "verified", "seconds", "verif/s");
    int rc = 0;
    for (const char* size : {"1k", "1m"}) {
        const Case cases[] = {
            {size, "rsa-sha256", ReadFile(dir + "/" + size + "-rsa-sha256.xml"), &rsa, nullptr},
            {size, "gost2001", ReadFile(dir + "/" + size + "-gost2001.xml"), &gost, nullptr},
            {size, "hmac-sha256", ReadFile(dir + "/" + size + "-hmac-sha256.xml"), nullptr, &secret},
        };
        for (const Case& c : cases) {
            if (!onlySize.empty() && (onlySize != c.size || onlyKind != c.kind)) continue;
            if (!Measure(c, seconds)) rc = 1;
        }
    }
    CryptXmlCleanup();
    return rc;
}
