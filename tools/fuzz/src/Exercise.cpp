#include "Exercise.hpp"

#include <cstdio>
#include <cwchar>

#include "Capi.hpp"
#include "Feed.hpp"
#include "Results.hpp"
#include "Walk.hpp"
#include "support/CryptXmlDll.hpp"

namespace fuzz {
namespace {

using testing_support::CryptXmlDll;

const CryptXmlDll& dll() { return CryptXmlDll::Get(); }

// xmlsec1's HMAC key (keys/hmackey.bin), which its suites sign with; and two that are wrong.
const std::string kSecret = "secret";
const std::string kShortSecret = "s";
const std::string kLongSecret(1000, 'k');

const std::string kOtherData = "<Data>data no signature covers</Data>";

std::string Hex(HRESULT hr) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08lX", static_cast<unsigned long>(hr));
    return text;
}

bool IsHmacMethod(const wchar_t* uri) { return uri != nullptr && std::wcsstr(uri, L"hmac") != nullptr; }

const CRYPT_XML_KEY_VALUE* FirstKeyValue(const CRYPT_XML_SIGNATURE& sig) {
    if (sig.pKeyInfo == nullptr || sig.pKeyInfo->rgKeyInfo == nullptr) return nullptr;
    for (UINT i = 0; i < sig.pKeyInfo->cKeyInfo; ++i) {
        if (sig.pKeyInfo->rgKeyInfo[i].dwType == CRYPT_XML_KEYINFO_TYPE_KEYVALUE) {
            return &sig.pKeyInfo->rgKeyInfo[i].KeyValue;
        }
    }
    return nullptr;
}

// The calls whose answers depend on the document; the others must answer S_OK anyway.
const char* OutcomeStep(Call call) {
    switch (call) {
        case Call::OpenToDecode: return "open";
        case Call::ImportPublicKey: return "import";
        case Call::Verify: return "verify";
        case Call::VerifyAgain: return "again";
        case Call::DigestReference: return "digest";
        default: return nullptr;
    }
}

bool IsInternalUri(const wchar_t* uri) { return uri != nullptr && (*uri == L'\0' || *uri == L'#'); }

// How a signature gets its key.
enum class KeyChoice {
    Natural,     // HMAC method: the secret; a KeyValue: imported by the caller; else its own KeyInfo
    OwnKeyInfo,  // neither key nor secret, whatever the signature is
    Secret,      // an HMAC secret, whatever the method
    ForeignKey,  // the first KeyValue of any signature of the document
    None,        // not verified at all before closing
};

KeyChoice PickKeyChoice(Rng& rng) {
    const size_t ticket = rng.Below(100);
    if (ticket < 72) return KeyChoice::Natural;
    if (ticket < 80) return KeyChoice::OwnKeyInfo;
    if (ticket < 86) return KeyChoice::Secret;
    if (ticket < 94) return KeyChoice::ForeignKey;
    return KeyChoice::None;
}

// One document's run; the exports are called through the DLL as an application loads it.
class Session {
public:
    Session(const ExerciseSettings& settings, Tally& tally, Rng& rng) : settings_(settings), tally_(tally), rng_(rng) {}

    Exercise::Report Run(const std::string& doc);

private:
    HRESULT Note(Call call, HRESULT hr) {
        Count(tally_, call, hr);
        if (!IsDocumented(call, hr)) Finding(std::string(CallName(call)) + " answered " + Hex(hr));
        const char* step = OutcomeStep(call);
        if (step != nullptr) {
            if (!report_.outcome.empty()) report_.outcome += ' ';
            report_.outcome += std::string(step) + "=" + Hex(hr);
        }
        return hr;
    }
    void Finding(const std::string& text) { report_.findings.push_back(text); }

    void Document(HCRYPTXML doc);
    void Signature(const CRYPT_XML_SIGNATURE* entry, const CRYPT_XML_DOC_CTXT& doc);
    void Verify(const CRYPT_XML_SIGNATURE& sig, const CRYPT_XML_DOC_CTXT& doc, Call call);
    HRESULT VerifyWith(const CRYPT_XML_SIGNATURE& sig, HCRYPTPROV prov, HCRYPTKEY key, Call call);
    // False when there is no key to verify with.
    bool Import(const CRYPT_XML_KEY_VALUE* value, ImportedKey& key);
    void SetSecret(const CRYPT_XML_SIGNATURE& sig);
    void FeedExternalReferences(const CRYPT_XML_SIGNATURE& sig);
    void Feed(const CRYPT_XML_REFERENCE& ref);
    void CheckStatusAfter(const CRYPT_XML_SIGNATURE& sig, HRESULT verified);

    const ExerciseSettings& settings_;
    Tally& tally_;
    Rng& rng_;
    Exercise::Report report_;
};

Exercise::Report Session::Run(const std::string& doc) {
    const bool trace = settings_.trace && rng_.Percent(20);
    if (trace) dll().StartDebugging();
    static const DWORD kCharsets[] = {CRYPT_XML_CHARSET_AUTO, CRYPT_XML_CHARSET_UTF8, CRYPT_XML_CHARSET_UTF16LE,
                                      CRYPT_XML_CHARSET_UTF16BE};
    CRYPT_XML_BLOB blob = {static_cast<CRYPT_XML_CHARSET>(rng_.Percent(85) ? 0 : rng_.Pick(kCharsets)),
                           static_cast<ULONG>(doc.size()), reinterpret_cast<BYTE*>(const_cast<char*>(doc.data()))};
    // Now and then a property or a flag a caller may pass.
    DWORD value = static_cast<DWORD>(rng_.Below(5));
    CRYPT_XML_PROPERTY property = {
        rng_.Percent(50) ? CRYPT_XML_PROPERTY_MAX_SIGNATURES : CRYPT_XML_PROPERTY_XML_OUTPUT_CHARSET, &value,
        sizeof value};
    const ULONG properties = rng_.Percent(8) ? 1 : 0;
    static const DWORD kFlags[] = {CRYPT_XML_FLAG_ENFORCE_ID_NCNAME_FORMAT, CRYPT_XML_FLAG_ENFORCE_ID_NAME_FORMAT,
                                   CRYPT_XML_FLAG_ALWAYS_RETURN_ENCODED_OBJECT, CRYPT_XML_FLAG_DISABLE_EXTENSIONS,
                                   CRYPT_XML_FLAG_ECDSA_DSIG11};
    const DWORD flags = rng_.Percent(10) ? rng_.Pick(kFlags) : 0;

    HCRYPTXML handle = nullptr;
    const HRESULT opened = Note(Call::OpenToDecode, dll().OpenToDecode(nullptr, flags, properties ? &property : nullptr,
                                                                       properties, &blob, &handle));
    if (FAILED(opened) && handle != nullptr) Finding("CryptXmlOpenToDecode failed and still handed out a handle");
    if (SUCCEEDED(opened) && handle == nullptr) Finding("CryptXmlOpenToDecode succeeded without a handle");
    if (SUCCEEDED(opened) && handle != nullptr) {
        Document(handle);
        Note(Call::Close, dll().Close(handle));
    }
    if (trace) {
        wchar_t last[512];
        dll().GetLastDebugMessage(last, 512);
        dll().StopDebugging();
    }
    return std::move(report_);
}

void Session::Document(HCRYPTXML handle) {
    const CRYPT_XML_DOC_CTXT* doc = nullptr;
    if (FAILED(Note(Call::GetDocContext, dll().GetDocContext(handle, &doc))) || doc == nullptr) return;
    Walker walker;
    walker.Document(*doc);
    for (const std::string& problem : walker.problems()) Finding(problem);
    if (!walker.problems().empty()) return;
    CRYPT_XML_STATUS status = {sizeof status, 0, 0};
    Note(Call::GetStatus, dll().GetStatus(handle, &status));
    for (ULONG i = 0; i < doc->cSignature; ++i) Signature(doc->rgpSignature[i], *doc);
    Note(Call::GetStatus, dll().GetStatus(handle, &status));
}

void Session::Signature(const CRYPT_XML_SIGNATURE* entry, const CRYPT_XML_DOC_CTXT& doc) {
    const CRYPT_XML_SIGNATURE* sig = nullptr;
    if (FAILED(Note(Call::GetSignature, dll().GetSignature(entry->hSignature, &sig))) || sig == nullptr) return;
    if (sig != entry) Finding("CryptXmlGetSignature handed out another structure than the document's");
    for (ULONG i = 0; i < sig->SignedInfo.cReference; ++i) {
        const CRYPT_XML_REFERENCE* ref = nullptr;
        Note(Call::GetReference, dll().GetReference(sig->SignedInfo.rgpReference[i]->hReference, &ref));
    }
    for (ULONG i = 0; i < sig->cObject; ++i) {
        const CRYPT_XML_REFERENCES& manifest = sig->rgpObject[i]->Manifest;
        for (ULONG j = 0; j < manifest.cReference; ++j) {
            const CRYPT_XML_REFERENCE* ref = nullptr;
            Note(Call::GetReference, dll().GetReference(manifest.rgpReference[j]->hReference, &ref));
        }
    }
    if (rng_.Percent(5)) Note(Call::CloseChild, dll().Close(sig->hSignature));
    CRYPT_XML_STATUS status = {sizeof status, 0, 0};
    Note(Call::GetStatus, dll().GetStatus(sig->hSignature, &status));

    const bool feedFirst = rng_.Percent(50);
    if (feedFirst) FeedExternalReferences(*sig);
    Verify(*sig, doc, Call::Verify);
    if (rng_.Percent(10)) Verify(*sig, doc, Call::VerifyAgain);
    if (!feedFirst) FeedExternalReferences(*sig);
    Note(Call::GetStatus, dll().GetStatus(sig->hSignature, &status));
    for (ULONG i = 0; i < sig->SignedInfo.cReference; ++i) {
        Note(Call::GetStatus, dll().GetStatus(sig->SignedInfo.rgpReference[i]->hReference, &status));
    }
}

void Session::Verify(const CRYPT_XML_SIGNATURE& sig, const CRYPT_XML_DOC_CTXT& doc, Call call) {
    const CRYPT_XML_KEY_VALUE* value = FirstKeyValue(sig);
    ImportedKey key;
    switch (PickKeyChoice(rng_)) {
        case KeyChoice::None: return;
        case KeyChoice::OwnKeyInfo: break;
        case KeyChoice::Secret: SetSecret(sig); break;
        case KeyChoice::ForeignKey:
            value = FirstKeyValue(*doc.rgpSignature[rng_.Below(doc.cSignature)]);
            for (ULONG i = 0; i < doc.cSignature && value == nullptr; ++i) value = FirstKeyValue(*doc.rgpSignature[i]);
            if (!Import(value, key)) return;
            break;
        case KeyChoice::Natural:
            if (IsHmacMethod(sig.SignedInfo.SignatureMethod.wszAlgorithm))
                SetSecret(sig);
            else if (value != nullptr && !Import(value, key))
                return;
            break;
    }
    const HRESULT verified = VerifyWith(sig, key.prov(), key.key(), call);
    if (call == Call::Verify) CheckStatusAfter(sig, verified);
}

HRESULT Session::VerifyWith(const CRYPT_XML_SIGNATURE& sig, HCRYPTPROV prov, HCRYPTKEY key, Call call) {
    // Without a key both forms ask the signature's own KeyInfo.
    if (prov == 0 && key == 0 && rng_.Percent(50)) return Note(call, dll().VerifySignature(sig.hSignature, nullptr, 0));
    return Note(call, dll().VerifySignatureCAPI(sig.hSignature, prov, key, 0));
}

bool Session::Import(const CRYPT_XML_KEY_VALUE* value, ImportedKey& key) {
    if (value == nullptr) return false;
    const HRESULT hr = Note(Call::ImportPublicKey, dll().ImportPublicKeyCAPI(0, value, key.provOut(), key.keyOut()));
    if (SUCCEEDED(hr) && (key.prov() == 0 || key.key() == 0)) Finding("key import succeeded without both handles");
    if (FAILED(hr) && (key.prov() != 0 || key.key() != 0)) Finding("key import failed and still handed out a handle");
    return SUCCEEDED(hr) && key.key() != 0;
}

void Session::SetSecret(const CRYPT_XML_SIGNATURE& sig) {
    // The library borrows the secret until verification: static storage outlives it.
    const size_t ticket = rng_.Below(100);
    const std::string& secret = ticket < 90 ? kSecret : ticket < 95 ? kShortSecret : kLongSecret;
    Note(Call::SetHmacSecret, dll().SetHMACSecret(sig.hSignature, reinterpret_cast<const BYTE*>(secret.data()),
                                                  static_cast<ULONG>(secret.size())));
}

void Session::FeedExternalReferences(const CRYPT_XML_SIGNATURE& sig) {
    for (ULONG i = 0; i < sig.SignedInfo.cReference; ++i) {
        const CRYPT_XML_REFERENCE& ref = *sig.SignedInfo.rgpReference[i];
        if (!IsInternalUri(ref.wszUri) || rng_.Percent(3)) Feed(ref);
    }
    for (ULONG i = 0; i < sig.cObject; ++i) {
        const CRYPT_XML_REFERENCES& manifest = sig.rgpObject[i]->Manifest;
        for (ULONG j = 0; j < manifest.cReference; ++j) {
            if (rng_.Percent(30)) Feed(*manifest.rgpReference[j]);
        }
    }
}

void Session::Feed(const CRYPT_XML_REFERENCE& ref) {
    std::string data = kOtherData;
    if (ref.wszUri != nullptr) {
        const auto known = settings_.externalData.find(ref.wszUri);
        if (known != settings_.externalData.end()) data = known->second;
    }
    if (rng_.Percent(10) && !data.empty()) data[rng_.Below(data.size())] ^= 0x20;
    if (rng_.Percent(3)) data.clear();
    MemoryFeed feed(std::move(data), rng_.Percent(8));
    CRYPT_XML_DATA_PROVIDER provider = feed.Provider();
    const DWORD flags = rng_.Percent(10) ? CRYPT_XML_DIGEST_REFERENCE_DATA_TRANSFORMED : 0;
    Note(Call::DigestReference, dll().DigestReference(ref.hReference, flags, &provider));
}

// What the answer says must be what the signature's status says.
void Session::CheckStatusAfter(const CRYPT_XML_SIGNATURE& sig, HRESULT verified) {
    CRYPT_XML_STATUS status = {sizeof status, 0, 0};
    if (FAILED(Note(Call::GetStatus, dll().GetStatus(sig.hSignature, &status)))) return;
    if (verified == S_OK && (status.dwInfoStatus & CRYPT_XML_STATUS_SIGNATURE_VALID) == 0) {
        Finding("verification answered S_OK but the signature's status lacks SIGNATURE_VALID");
    }
    const bool invalid = (status.dwErrorStatus & CRYPT_XML_STATUS_ERROR_SIGNATURE_INVALID) != 0;
    if (verified == CRYPT_XML_E_VERIFY_FAILED && !invalid) {
        Finding("verification answered CRYPT_XML_E_VERIFY_FAILED but the status lacks ERROR_SIGNATURE_INVALID");
    }
}

}  // namespace

Exercise::Report Exercise::Run(const std::string& doc, Rng& rng, Tally& tally) const {
    return Session(settings_, tally, rng).Run(doc);
}

}  // namespace fuzz
