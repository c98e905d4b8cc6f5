// The product's main job, end to end through talvoran-cryptxml64.dll:
//
//   cryptxml-sign-invoice.exe [OUT.xml]        (default: signed-invoice.xml)
//
// signs a sample e-invoice with a GOST R 34.10-2001 key of a CryptoAPI GOST provider
// (type 75; the container "talvoran-sign-invoice" is created with a new key on first use),
// with the algorithm URIs GOST providers' own XML stacks write, an exclusive
// canonicalisation and the signer's KeyValue; writes the document; opens the written file
// again, verifies it with the signer's public key, and prints the signature's and the
// references' statuses in words.
#include <windows.h>
#include <wincrypt.h>

#include <cryptxml.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

constexpr DWORD kGostProvType = 75;
constexpr ALG_ID kGr3410El = 0x2E23;
constexpr wchar_t kContainer[] = L"talvoran-sign-invoice";
constexpr wchar_t kSignatureMethod[] = L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411";
constexpr wchar_t kDigestMethod[] = L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411";
constexpr wchar_t kExcC14n[] = L"http://www.w3.org/2001/10/xml-exc-c14n#";
constexpr wchar_t kEnveloped[] = L"http://www.w3.org/2000/09/xmldsig#enveloped-signature";

// A sample invoice of an electronic exchange: the signature goes into its Signatures element.
const char kInvoice[] =
    "<inv:Invoice xmlns:inv=\"urn:example:e-invoice:1.0\" Id=\"invoice-2026-0042\">"
    "<inv:Header><inv:Number>2026-0042</inv:Number><inv:Date>2026-11-24</inv:Date>"
    "<inv:Seller INN=\"7700000000\">ООО «Пример»</inv:Seller><inv:Buyer INN=\"7800000000\">АО «Покупатель»</inv:Buyer>"
    "</inv:Header><inv:Lines><inv:Line No=\"1\"><inv:Item>Поставка оборудования</inv:Item>"
    "<inv:Quantity>2</inv:Quantity><inv:Price>50000.00</inv:Price><inv:VAT>20000.00</inv:VAT></inv:Line></inv:Lines>"
    "<inv:Total>120000.00</inv:Total><inv:Signatures/></inv:Invoice>";

struct Named {
    DWORD bit;
    const char* name;
};

const Named kErrorBits[] = {
    {CRYPT_XML_STATUS_ERROR_NOT_RESOLVED, "reference not resolved"},
    {CRYPT_XML_STATUS_ERROR_DIGEST_INVALID, "digest INVALID"},
    {CRYPT_XML_STATUS_ERROR_NOT_SUPPORTED_ALGORITHM, "algorithm not supported"},
    {CRYPT_XML_STATUS_ERROR_NOT_SUPPORTED_TRANSFORM, "transform not supported"},
    {CRYPT_XML_STATUS_ERROR_SIGNATURE_INVALID, "signature INVALID"},
    {CRYPT_XML_STATUS_ERROR_KEYINFO_NOT_PARSED, "KeyInfo not parsed"},
};
const Named kInfoBits[] = {
    {CRYPT_XML_STATUS_INTERNAL_REFERENCE, "same-document reference"},
    {CRYPT_XML_STATUS_KEY_AVAILABLE, "key available"},
    {CRYPT_XML_STATUS_DIGEST_VALID, "digest valid"},
    {CRYPT_XML_STATUS_SIGNATURE_VALID, "signature valid"},
    {CRYPT_XML_STATUS_OPENED_TO_ENCODE, "opened to encode"},
};

std::string Words(const CRYPT_XML_STATUS& status) {
    std::string out;
    for (const Named& n : kErrorBits) {
        if (status.dwErrorStatus & n.bit) out += std::string(out.empty() ? "" : ", ") + n.name;
    }
    for (const Named& n : kInfoBits) {
        if (status.dwInfoStatus & n.bit) out += std::string(out.empty() ? "" : ", ") + n.name;
    }
    char codes[64];
    std::snprintf(codes, sizeof(codes), " (error 0x%08lX, info 0x%08lX)", status.dwErrorStatus, status.dwInfoStatus);
    return (out.empty() ? std::string("nothing set") : out) + codes;
}

std::string Utf8(const wchar_t* text) {
    if (text == nullptr) return "(none)";
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<size_t>(size > 0 ? size - 1 : 0), '\0');
    if (size > 1) WideCharToMultiByte(CP_UTF8, 0, text, -1, &out[0], size, nullptr, nullptr);
    return out;
}

bool Check(HRESULT hr, const char* what) {
    if (SUCCEEDED(hr)) return true;
    wchar_t message[4098] = {};
    CryptXmlGetLastDebugMessage(message, 4098);
    std::printf("%s failed: 0x%08lX\n%s", what, static_cast<unsigned long>(hr), Utf8(message).c_str());
    return false;
}

// The GOST container, with a signature key pair made on first use.
class GostContainer {
public:
    GostContainer() {
        if (CryptAcquireContextW(&prov_, kContainer, nullptr, kGostProvType, 0)) {
            HCRYPTKEY key = 0;
            if (CryptGetUserKey(prov_, AT_SIGNATURE, &key)) {
                CryptDestroyKey(key);
                return;
            }
        } else if (!CryptAcquireContextW(&prov_, kContainer, nullptr, kGostProvType, CRYPT_NEWKEYSET)) {
            error_ = GetLastError();
            prov_ = 0;
            return;
        }
        HCRYPTKEY key = 0;
        if (!CryptGenKey(prov_, AT_SIGNATURE | kGr3410El, 0, &key)) {
            error_ = GetLastError();
            CryptReleaseContext(prov_, 0);
            prov_ = 0;
            return;
        }
        CryptDestroyKey(key);
        created_ = true;
    }
    ~GostContainer() {
        if (prov_ != 0) CryptReleaseContext(prov_, 0);
    }
    HCRYPTPROV prov() const { return prov_; }
    DWORD error() const { return error_; }
    bool created() const { return created_; }

private:
    HCRYPTPROV prov_ = 0;
    DWORD error_ = 0;
    bool created_ = false;
};

HRESULT CALLBACK Collect(void* state, const BYTE* pb, ULONG cb) {
    static_cast<std::string*>(state)->append(reinterpret_cast<const char*>(pb), cb);
    return S_OK;
}

struct Closer {
    HCRYPTXML h = nullptr;
    ~Closer() {
        if (h != nullptr) CryptXmlClose(h);
    }
};

bool Sign(HCRYPTPROV prov, std::string& signedXml) {
    const std::string source = kInvoice;
    const CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_UTF8, static_cast<ULONG>(source.size()),
                                 reinterpret_cast<BYTE*>(const_cast<char*>(source.data()))};
    const LPCWSTR location = L"/inv:Invoice/inv:Signatures";
    const BOOL declaration = TRUE;
    const CRYPT_XML_PROPERTY properties[] = {{CRYPT_XML_PROPERTY_SIGNATURE_LOCATION, &location, sizeof(location)},
                                             {CRYPT_XML_PROPERTY_DOC_DECLARATION, &declaration, sizeof(declaration)}};
    Closer sig;
    if (!Check(CryptXmlOpenToEncode(nullptr, 0, L"invoice-signature", properties, 2, &blob, &sig.h),
               "CryptXmlOpenToEncode")) {
        return false;
    }
    CRYPT_XML_ALGORITHM digest = {sizeof(CRYPT_XML_ALGORITHM), kDigestMethod, {}};
    const CRYPT_XML_ALGORITHM transforms[] = {{sizeof(CRYPT_XML_ALGORITHM), kEnveloped, {}},
                                              {sizeof(CRYPT_XML_ALGORITHM), kExcC14n, {}}};
    HCRYPTXML ref = nullptr;
    if (!Check(CryptXmlCreateReference(sig.h, 0, nullptr, L"#invoice-2026-0042", nullptr, &digest, 2, transforms, &ref),
               "CryptXmlCreateReference")) {
        return false;
    }
    const CRYPT_XML_ALGORITHM method = {sizeof(CRYPT_XML_ALGORITHM), kSignatureMethod, {}};
    const CRYPT_XML_ALGORITHM c14n = {sizeof(CRYPT_XML_ALGORITHM), kExcC14n, {}};
    if (!Check(CryptXmlSign(sig.h, prov, AT_SIGNATURE, CRYPT_XML_SIGN_ADD_KEYVALUE, CRYPT_XML_KEYINFO_SPEC_NONE,
                            nullptr, &method, &c14n),
               "CryptXmlSign")) {
        return false;
    }
    return Check(CryptXmlEncode(sig.h, CRYPT_XML_CHARSET_UTF8, nullptr, 0, &signedXml, Collect), "CryptXmlEncode");
}

bool Verify(HCRYPTPROV prov, const std::string& xml) {
    const CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(xml.size()),
                                 reinterpret_cast<BYTE*>(const_cast<char*>(xml.data()))};
    Closer doc;
    if (!Check(CryptXmlOpenToDecode(nullptr, 0, nullptr, 0, &blob, &doc.h), "CryptXmlOpenToDecode")) return false;
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    if (!Check(CryptXmlGetDocContext(doc.h, &ctxt), "CryptXmlGetDocContext")) return false;
    if (ctxt->cSignature != 1) {
        std::printf("expected one signature, found %lu\n", ctxt->cSignature);
        return false;
    }
    const CRYPT_XML_SIGNATURE* sig = ctxt->rgpSignature[0];
    HCRYPTKEY key = 0;
    if (!CryptGetUserKey(prov, AT_SIGNATURE, &key)) return Check(HRESULT_FROM_WIN32(GetLastError()), "CryptGetUserKey");
    const HRESULT verified = CryptXmlVerifySignatureCAPI(sig->hSignature, prov, key, 0);
    CryptDestroyKey(key);
    std::printf("Verification: %s (0x%08lX)\n", verified == S_OK ? "the signature value is good" : "FAILED",
                static_cast<unsigned long>(verified));
    CRYPT_XML_STATUS status = {sizeof(CRYPT_XML_STATUS), 0, 0};
    CryptXmlGetStatus(sig->hSignature, &status);
    std::printf("Signature %s, %s:\n  %s\n", Utf8(sig->wszId).c_str(),
                Utf8(sig->SignedInfo.SignatureMethod.wszAlgorithm).c_str(), Words(status).c_str());
    bool allGood =
        verified == S_OK && status.dwErrorStatus == 0 && (status.dwInfoStatus & CRYPT_XML_STATUS_DIGEST_VALID);
    for (ULONG i = 0; i < sig->SignedInfo.cReference; ++i) {
        const CRYPT_XML_REFERENCE* ref = sig->SignedInfo.rgpReference[i];
        CRYPT_XML_STATUS refStatus = {sizeof(CRYPT_XML_STATUS), 0, 0};
        CryptXmlGetStatus(ref->hReference, &refStatus);
        std::printf("Reference %lu, URI \"%s\", %s:\n  %s\n", i + 1, Utf8(ref->wszUri).c_str(),
                    Utf8(ref->DigestMethod.wszAlgorithm).c_str(), Words(refStatus).c_str());
        allGood = allGood && refStatus.dwErrorStatus == 0;
    }
    std::printf("%s\n", allGood ? "The invoice is signed and verifies." : "The invoice does NOT verify.");
    return allGood;
}

}  // namespace

int main(int argc, char** argv) {
    const char* outPath = argc > 1 ? argv[1] : "signed-invoice.xml";
    GostContainer container;
    if (container.prov() == 0) {
        std::printf(
            "No GOST key: CryptoAPI provider type 75 answered 0x%08lX (register a GOST provider, e.g. "
            "tools/softgost-csp/register.sh)\n",
            static_cast<unsigned long>(container.error()));
        return 1;
    }
    std::printf("Signing key: container \"%s\" of provider type 75%s\n", Utf8(kContainer).c_str(),
                container.created() ? " (new key pair made)" : "");
    std::string signedXml;
    if (!Sign(container.prov(), signedXml)) return 1;
    std::ofstream(outPath, std::ios::binary).write(signedXml.data(), static_cast<std::streamsize>(signedXml.size()));
    std::printf("Signed invoice written to %s (%zu bytes)\n", outPath, signedXml.size());
    std::ifstream in(outPath, std::ios::binary);
    const std::string written((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const bool ok = Verify(container.prov(), written);
    CryptXmlCleanup();
    return ok ? 0 : 1;
}
