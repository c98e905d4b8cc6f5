#include "VerifyRounds.hpp"

#include <cctype>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "support/CryptXmlDll.hpp"

namespace leak {

using testing_support::CryptXmlDll;

namespace {

const CryptXmlDll& dll() { return CryptXmlDll::Get(); }

constexpr HRESULT kVerifyFailed = static_cast<HRESULT>(0x8009210DL);  // CRYPT_XML_E_VERIFY_FAILED

// An open document that closes itself; bytes must outlive it.
class Document {
public:
    explicit Document(const std::string& bytes) {
        CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(bytes.size()),
                               reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data()))};
        hr_ = dll().OpenToDecode(nullptr, 0, nullptr, 0, &blob, &handle_);
    }
    ~Document() {
        if (handle_ != nullptr) dll().Close(handle_);
    }
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    HRESULT hr() const { return hr_; }
    // The document's only signature, or null.
    const CRYPT_XML_SIGNATURE* Signature() const {
        const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
        if (dll().GetDocContext(handle_, &ctxt) != S_OK || ctxt->cSignature != 1) return nullptr;
        const CRYPT_XML_SIGNATURE* sig = nullptr;
        return dll().GetSignature(ctxt->rgpSignature[0]->hSignature, &sig) == S_OK ? sig : nullptr;
    }

private:
    HCRYPTXML handle_ = nullptr;
    HRESULT hr_ = E_FAIL;
};

// The provider and key CryptXmlImportPublicKeyCAPI hands over; the key goes first.
class ImportedKey {
public:
    explicit ImportedKey(const CRYPT_XML_KEY_VALUE* value) {
        hr_ = value == nullptr ? E_POINTER : dll().ImportPublicKeyCAPI(0, value, &prov_, &key_);
    }
    ~ImportedKey() {
        if (key_ != 0) CryptDestroyKey(key_);
        if (prov_ != 0) CryptReleaseContext(prov_, 0);
    }
    ImportedKey(const ImportedKey&) = delete;
    ImportedKey& operator=(const ImportedKey&) = delete;

    HRESULT hr() const { return hr_; }
    HCRYPTPROV prov() const { return prov_; }
    HCRYPTKEY key() const { return key_; }

private:
    HCRYPTPROV prov_ = 0;
    HCRYPTKEY key_ = 0;
    HRESULT hr_ = E_FAIL;
};

const CRYPT_XML_KEY_VALUE* KeyValueOf(const CRYPT_XML_SIGNATURE& sig) {
    if (sig.pKeyInfo == nullptr) return nullptr;
    for (UINT i = 0; i < sig.pKeyInfo->cKeyInfo; ++i) {
        if (sig.pKeyInfo->rgKeyInfo[i].dwType == CRYPT_XML_KEYINFO_TYPE_KEYVALUE) {
            return &sig.pKeyInfo->rgKeyInfo[i].KeyValue;
        }
    }
    return nullptr;
}

std::string Hex(unsigned long value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%lX", value);
    return text;
}

::testing::AssertionResult HasStatus(HCRYPTXML handle, const char* what, DWORD error, DWORD info) {
    CRYPT_XML_STATUS status = {};
    status.cbSize = sizeof status;
    const HRESULT hr = dll().GetStatus(handle, &status);
    if (hr != S_OK) return ::testing::AssertionFailure() << what << ": CryptXmlGetStatus " << Hex(hr);
    if (status.dwErrorStatus != error || status.dwInfoStatus != info) {
        return ::testing::AssertionFailure()
               << what << " status error " << Hex(status.dwErrorStatus) << " info " << Hex(status.dwInfoStatus)
               << ", expected error " << Hex(error) << " info " << Hex(info);
    }
    return ::testing::AssertionSuccess();
}

// What a good verification leaves: the signature valid with its one enveloped reference.
::testing::AssertionResult VerifiedStatus(const CRYPT_XML_SIGNATURE& sig) {
    constexpr DWORD kInternal = CRYPT_XML_STATUS_INTERNAL_REFERENCE;
    constexpr DWORD kDigestValid = CRYPT_XML_STATUS_DIGEST_VALID;
    constexpr DWORD kSignatureValid = CRYPT_XML_STATUS_SIGNATURE_VALID;
    ::testing::AssertionResult ref =
        HasStatus(sig.SignedInfo.rgpReference[0]->hReference, "reference", 0, kInternal | kDigestValid);
    if (!ref) return ref;
    return HasStatus(sig.hSignature, "signature", 0, kDigestValid | kSignatureValid);
}

::testing::AssertionResult Failure(const char* step, HRESULT hr) {
    return ::testing::AssertionFailure() << step << ": " << Hex(static_cast<unsigned long>(hr));
}

}  // namespace

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string WithTamperedSignatureValue(std::string xml) {
    const size_t open = xml.find("<SignatureValue>");
    const size_t close = xml.find("</SignatureValue>");
    if (open == std::string::npos || close == std::string::npos) return std::string();
    size_t at = (open + close) / 2;
    while (at < close && !std::isalnum(static_cast<unsigned char>(xml[at]))) ++at;
    xml[at] = xml[at] == 'A' ? 'B' : 'A';
    return xml;
}

::testing::AssertionResult VerifyWithImportedKey(const std::string& xml) {
    Document doc(xml);
    if (doc.hr() != S_OK) return Failure("open", doc.hr());
    const CRYPT_XML_SIGNATURE* sig = doc.Signature();
    if (sig == nullptr) return ::testing::AssertionFailure() << "no signature";
    ImportedKey key(KeyValueOf(*sig));
    if (key.hr() != S_OK) return Failure("import", key.hr());
    const HRESULT hr = dll().VerifySignatureCAPI(sig->hSignature, key.prov(), key.key(), 0);
    if (hr != S_OK) return Failure("verify with the imported key", hr);
    return VerifiedStatus(*sig);
}

::testing::AssertionResult VerifyWithDocumentKey(const std::string& xml) {
    Document doc(xml);
    if (doc.hr() != S_OK) return Failure("open", doc.hr());
    const CRYPT_XML_SIGNATURE* sig = doc.Signature();
    if (sig == nullptr) return ::testing::AssertionFailure() << "no signature";
    const HRESULT hr = dll().VerifySignature(sig->hSignature, nullptr, 0);
    if (hr != S_OK) return Failure("verify with the document's key", hr);
    return VerifiedStatus(*sig);
}

::testing::AssertionResult VerifyWithHmacSecret(const std::string& xml, const std::string& secret) {
    Document doc(xml);
    if (doc.hr() != S_OK) return Failure("open", doc.hr());
    const CRYPT_XML_SIGNATURE* sig = doc.Signature();
    if (sig == nullptr) return ::testing::AssertionFailure() << "no signature";
    HRESULT hr = dll().SetHMACSecret(sig->hSignature, reinterpret_cast<const BYTE*>(secret.data()),
                                     static_cast<ULONG>(secret.size()));
    if (hr != S_OK) return Failure("set the HMAC secret", hr);
    hr = dll().VerifySignature(sig->hSignature, nullptr, 0);
    if (hr != S_OK) return Failure("verify with the HMAC secret", hr);
    return VerifiedStatus(*sig);
}

::testing::AssertionResult TamperedFails(const std::string& xml) {
    Document doc(xml);
    if (doc.hr() != S_OK) return Failure("open", doc.hr());
    const CRYPT_XML_SIGNATURE* sig = doc.Signature();
    if (sig == nullptr) return ::testing::AssertionFailure() << "no signature";
    ImportedKey key(KeyValueOf(*sig));
    if (key.hr() != S_OK) return Failure("import", key.hr());
    const HRESULT hr = dll().VerifySignatureCAPI(sig->hSignature, key.prov(), key.key(), 0);
    if (hr != kVerifyFailed) return Failure("tampered document answered", hr);
    ::testing::AssertionResult ref = HasStatus(sig->SignedInfo.rgpReference[0]->hReference, "tampered reference", 0,
                                               CRYPT_XML_STATUS_INTERNAL_REFERENCE);
    if (!ref) return ref;
    return HasStatus(sig->hSignature, "tampered signature", CRYPT_XML_STATUS_ERROR_SIGNATURE_INVALID, 0);
}

void PrintLoopFigures(const LoopFigures& f) {
    std::printf("handles: %lu after round 1, %lu after round %d (allowed +%lu)\n",
                static_cast<unsigned long>(f.handles), static_cast<unsigned long>(f.handlesEnd), f.rounds,
                static_cast<unsigned long>(f.handleMargin));
    std::printf("private bytes: %llu after round 1, %llu after round %d (%+lld; allowed +%llu)\n",
                static_cast<unsigned long long>(f.bytes), static_cast<unsigned long long>(f.bytesEnd), f.rounds,
                static_cast<long long>(f.bytesEnd) - static_cast<long long>(f.bytes),
                static_cast<unsigned long long>(f.bytesMargin));
    std::printf("rounds 2..%d (%d verifications each) in %.1f s: %.0f rounds/s\n", f.rounds, f.verificationsPerRound,
                f.seconds, (f.rounds - 1) / f.seconds);
}

}  // namespace leak
