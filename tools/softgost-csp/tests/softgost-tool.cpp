// Cross-check helper: signs with the Talvoran Soft GOST CSP, or verifies a signature made
// elsewhere, through plain CryptoAPI. Files are exchanged in DIR (Windows path):
//   softgost-tool sign DIR [TYPE]         reads msg.bin; writes hash.bin (HP_HASHVAL bytes),
//                                         sig.bin (s || r, each big-endian) and pub.der (SubjectPublicKeyInfo)
//   softgost-tool verify DIR [TYPE]       reads msg.bin, sig.bin (s || r) and pub.der (SubjectPublicKeyInfo)
//   softgost-tool verify-cert DIR [TYPE]  the same with cert.der (an X.509 certificate) for the key
// TYPE: 75 (default; GOST R 34.10-2001 over GOST R 34.11-94), 80 (GOST R 34.10-2012 256 over
// Streebog-256) or 81 (GOST R 34.10-2012 512 over Streebog-512).
// Exit code: 0 success / signature valid, 1 signature invalid, 2 any other failure.
#include <windows.h>
#include <wincrypt.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<BYTE>;

// The provider of one type: name, hash, signature size, SubjectPublicKeyInfo algorithm OID (DER).
struct Provider {
    DWORD type;
    const char* name;
    ALG_ID hashAlg;
    DWORD sigLen;
    Bytes keyOid;
};
const Provider kProviders[] = {
    {75, "Talvoran Soft GOST CSP", 0x801E, 64, {0x06, 0x06, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x13}},
    {80, "Talvoran Soft GOST 2012-256 CSP", 0x8021, 64, {0x06, 0x08, 0x2a, 0x85, 0x03, 0x07, 0x01, 0x01, 0x01, 0x01}},
    {81, "Talvoran Soft GOST 2012-512 CSP", 0x8022, 128, {0x06, 0x08, 0x2a, 0x85, 0x03, 0x07, 0x01, 0x01, 0x01, 0x02}},
};

bool readFile(const std::string& path, Bytes& out) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    out.clear();
    BYTE buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) out.insert(out.end(), buf, buf + n);
    std::fclose(f);
    return true;
}

bool writeFile(const std::string& path, const Bytes& data) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    bool ok = std::fwrite(data.data(), 1, data.size(), f) == data.size();
    return std::fclose(f) == 0 && ok;
}

int failure(const char* what) {
    std::fprintf(stderr, "softgost-tool: %s failed (0x%08lx)\n", what, GetLastError());
    return 2;
}

HCRYPTHASH hashFile(HCRYPTPROV prov, ALG_ID alg, const Bytes& msg) {
    HCRYPTHASH h = 0;
    if (!CryptCreateHash(prov, alg, 0, 0, &h)) return 0;
    if (!CryptHashData(h, msg.data(), static_cast<DWORD>(msg.size()), 0)) {
        CryptDestroyHash(h);
        return 0;
    }
    return h;
}

// DER length bytes (short and long form up to 0xFFFF).
void derLen(Bytes& out, size_t n) {
    if (n < 0x80) {
        out.push_back(static_cast<BYTE>(n));
    } else if (n < 0x100) {
        out.push_back(0x81);
        out.push_back(static_cast<BYTE>(n));
    } else {
        out.push_back(0x82);
        out.push_back(static_cast<BYTE>(n >> 8));
        out.push_back(static_cast<BYTE>(n));
    }
}

Bytes tlv(BYTE tag, const Bytes& content) {
    Bytes out{tag};
    derLen(out, content.size());
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

int sign(const std::string& dir, const Provider& pv) {
    Bytes msg;
    if (!readFile(dir + "\\msg.bin", msg)) return failure("reading msg.bin");
    const std::string container = "softgost-tool-" + std::to_string(GetCurrentProcessId());
    HCRYPTPROV prov = 0;
    CryptAcquireContextA(&prov, container.c_str(), pv.name, pv.type, CRYPT_DELETEKEYSET);
    if (!CryptAcquireContextA(&prov, container.c_str(), pv.name, pv.type, CRYPT_NEWKEYSET))
        return failure("CryptAcquireContext");
    int rc = 2;
    HCRYPTKEY key = 0;
    HCRYPTHASH hash = 0;
    do {
        if (!CryptGenKey(prov, AT_SIGNATURE, 0, &key)) {
            rc = failure("CryptGenKey");
            break;
        }
        if (!(hash = hashFile(prov, pv.hashAlg, msg))) {
            rc = failure("hashing");
            break;
        }
        Bytes value(64);
        DWORD len = 64;
        if (!CryptGetHashParam(hash, HP_HASHVAL, value.data(), &len, 0)) {
            rc = failure("CryptGetHashParam");
            break;
        }
        value.resize(len);
        Bytes sig(pv.sigLen);
        len = pv.sigLen;
        if (!CryptSignHashA(hash, AT_SIGNATURE, nullptr, 0, sig.data(), &len) || len != pv.sigLen) {
            rc = failure("CryptSignHash");
            break;
        }
        std::reverse(sig.begin(), sig.end());  // CryptoAPI order -> s || r
        len = 0;
        if (!CryptExportKey(key, 0, PUBLICKEYBLOB, 0, nullptr, &len)) {
            rc = failure("CryptExportKey");
            break;
        }
        Bytes blob(len);
        const size_t keyLen = pv.sigLen;  // X || Y is as long as a signature
        if (!CryptExportKey(key, 0, PUBLICKEYBLOB, 0, blob.data(), &len) || len < 18 + keyLen ||
            len != 18u + blob[17] + keyLen) {
            rc = failure("CryptExportKey");
            break;
        }
        // SubjectPublicKeyInfo: { { key OID, params }, BIT STRING { OCTET STRING { X || Y } } }
        const size_t paramsEnd = 18u + blob[17];
        Bytes algId = pv.keyOid;
        algId.insert(algId.end(), blob.begin() + 16, blob.begin() + paramsEnd);
        Bytes octets(blob.begin() + paramsEnd, blob.end());
        Bytes bits{0x00};
        Bytes os = tlv(0x04, octets);
        bits.insert(bits.end(), os.begin(), os.end());
        Bytes spkiContent = tlv(0x30, algId);
        Bytes bs = tlv(0x03, bits);
        spkiContent.insert(spkiContent.end(), bs.begin(), bs.end());
        if (!writeFile(dir + "\\hash.bin", value) || !writeFile(dir + "\\sig.bin", sig) ||
            !writeFile(dir + "\\pub.der", tlv(0x30, spkiContent))) {
            rc = failure("writing the outputs");
            break;
        }
        rc = 0;
    } while (false);
    if (hash) CryptDestroyHash(hash);
    if (key) CryptDestroyKey(key);
    CryptReleaseContext(prov, 0);
    CryptAcquireContextA(&prov, container.c_str(), pv.name, pv.type, CRYPT_DELETEKEYSET);
    return rc;
}

int verify(const std::string& dir, bool fromCert, const Provider& pv) {
    Bytes msg, sig, der;
    if (!readFile(dir + "\\msg.bin", msg) || !readFile(dir + "\\sig.bin", sig))
        return failure("reading msg.bin/sig.bin");
    if (!readFile(dir + (fromCert ? "\\cert.der" : "\\pub.der"), der)) return failure("reading the key file");
    HCRYPTPROV prov = 0;
    if (!CryptAcquireContextA(&prov, nullptr, pv.name, pv.type, CRYPT_VERIFYCONTEXT))
        return failure("CryptAcquireContext");
    int rc = 2;
    HCRYPTKEY key = 0;
    HCRYPTHASH hash = 0;
    PCCERT_CONTEXT cert = nullptr;
    CERT_PUBLIC_KEY_INFO* info = nullptr;
    do {
        PCERT_PUBLIC_KEY_INFO spki;
        if (fromCert) {
            cert = CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()));
            if (!cert) {
                rc = failure("CertCreateCertificateContext");
                break;
            }
            spki = &cert->pCertInfo->SubjectPublicKeyInfo;
        } else {
            DWORD len = 0;
            if (!CryptDecodeObjectEx(X509_ASN_ENCODING, X509_PUBLIC_KEY_INFO, der.data(),
                                     static_cast<DWORD>(der.size()), CRYPT_DECODE_ALLOC_FLAG, nullptr, &info, &len)) {
                rc = failure("CryptDecodeObjectEx");
                break;
            }
            spki = info;
        }
        if (!CryptImportPublicKeyInfoEx(prov, X509_ASN_ENCODING, spki, 0, 0, nullptr, &key)) {
            rc = failure("CryptImportPublicKeyInfoEx");
            break;
        }
        if (!(hash = hashFile(prov, pv.hashAlg, msg))) {
            rc = failure("hashing");
            break;
        }
        std::reverse(sig.begin(), sig.end());  // s || r -> CryptoAPI order
        if (CryptVerifySignatureA(hash, sig.data(), static_cast<DWORD>(sig.size()), key, nullptr, 0)) {
            std::printf("signature valid\n");
            rc = 0;
        } else if (GetLastError() == static_cast<DWORD>(NTE_BAD_SIGNATURE)) {
            std::printf("signature INVALID\n");
            rc = 1;
        } else {
            rc = failure("CryptVerifySignature");
        }
    } while (false);
    if (hash) CryptDestroyHash(hash);
    if (key) CryptDestroyKey(key);
    if (info) LocalFree(info);
    if (cert) CertFreeCertificateContext(cert);
    CryptReleaseContext(prov, 0);
    return rc;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3 && argc != 4) {
        std::fprintf(stderr, "usage: softgost-tool sign|verify|verify-cert DIR [75|80|81]\n");
        return 2;
    }
    const std::string cmd = argv[1], dir = argv[2];
    const std::string type = argc == 4 ? argv[3] : "75";
    const Provider* pv = nullptr;
    for (const Provider& p : kProviders)
        if (type == std::to_string(p.type)) pv = &p;
    if (!pv) {
        std::fprintf(stderr, "softgost-tool: unknown provider type %s (75, 80 or 81)\n", type.c_str());
        return 2;
    }
    if (cmd == "sign") return sign(dir, *pv);
    if (cmd == "verify") return verify(dir, false, *pv);
    if (cmd == "verify-cert") return verify(dir, true, *pv);
    std::fprintf(stderr, "softgost-tool: unknown command %s\n", cmd.c_str());
    return 2;
}
