#include "Runner.hpp"

#include <algorithm>
#include <cstring>

#include "Files.hpp"
#include "KeyMaterial.hpp"
#include "support/CryptXmlDll.hpp"

namespace verifyVectors {
namespace {

using testing_support::CryptXmlDll;

const CryptXmlDll& Api() { return CryptXmlDll::Get(); }

class OpenDocument {
public:
    explicit OpenDocument(const Bytes& bytes) : bytes_(bytes) {
        CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(bytes_.size()), bytes_.data()};
        hr_ = Api().OpenToDecode(nullptr, 0, nullptr, 0, &blob, &handle_);
    }
    ~OpenDocument() {
        if (handle_ != nullptr) Api().Close(handle_);
    }
    OpenDocument(const OpenDocument&) = delete;
    OpenDocument& operator=(const OpenDocument&) = delete;

    HRESULT hr() const { return hr_; }
    HCRYPTXML handle() const { return handle_; }

private:
    Bytes bytes_;
    HCRYPTXML handle_ = nullptr;
    HRESULT hr_ = E_FAIL;
};

StatusWords StatusOf(HCRYPTXML handle) {
    CRYPT_XML_STATUS st = {};
    st.cbSize = sizeof st;
    if (Api().GetStatus(handle, &st) != S_OK) return {0xFFFFFFFF, 0xFFFFFFFF};
    return {st.dwErrorStatus, st.dwInfoStatus};
}

bool IsExternal(const wchar_t* uri) { return uri != nullptr && uri[0] != L'\0' && uri[0] != L'#'; }

// Detached data handed to CryptXmlDigestReference from memory, in whatever chunks it asks for.
struct MemoryReader {
    const Bytes* data;
    size_t at = 0;

    static HRESULT CALLBACK Read(void* state, BYTE* out, ULONG cb, ULONG* read) {
        auto* self = static_cast<MemoryReader*>(state);
        const size_t n = std::min<size_t>(cb, self->data->size() - self->at);
        if (n > 0) std::memcpy(out, self->data->data() + self->at, n);
        self->at += n;
        *read = static_cast<ULONG>(n);
        return S_OK;
    }
    static HRESULT CALLBACK Close(void*) { return S_OK; }
};

HRESULT DigestExternal(HCRYPTXML reference, const Bytes& data) {
    MemoryReader reader{&data};
    CRYPT_XML_DATA_PROVIDER provider = {&reader, 4096, &MemoryReader::Read, &MemoryReader::Close};
    return Api().DigestReference(reference, 0, &provider);
}

// The certificate the decoded KeyInfo carries first.
bool FirstCertificate(const CRYPT_XML_SIGNATURE& sig, Bytes& der) {
    if (sig.pKeyInfo == nullptr) return false;
    for (UINT i = 0; i < sig.pKeyInfo->cKeyInfo; ++i) {
        const CRYPT_XML_KEY_INFO_ITEM& item = sig.pKeyInfo->rgKeyInfo[i];
        if (item.dwType != CRYPT_XML_KEYINFO_TYPE_X509DATA) continue;
        for (UINT j = 0; j < item.X509Data.cX509Data; ++j) {
            const CRYPT_XML_X509DATA_ITEM& x = item.X509Data.rgX509Data[j];
            if (x.dwType != CRYPT_XML_X509DATA_TYPE_CERTIFICATE) continue;
            der.assign(x.Certificate.pbData, x.Certificate.pbData + x.Certificate.cbData);
            return true;
        }
    }
    return false;
}

// Imports the row's key if it names one; S_OK when there is nothing to import.
HRESULT LoadKey(const VectorRow& row, const CRYPT_XML_SIGNATURE& sig, VerifyKey& key) {
    Bytes material;
    switch (row.key) {
        case KeySource::Certificate:
            return ReadAll(row.keyPath, material) ? key.FromCertificate(material)
                                                  : HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
        case KeySource::PublicKeyInfo:
            return ReadAll(row.keyPath, material) ? key.FromPublicKeyInfo(material)
                                                  : HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
        case KeySource::DocumentCertificate:
            return FirstCertificate(sig, material) ? key.FromCertificate(material)
                                                   : HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
        default: return S_OK;
    }
}

HRESULT Verify(const VectorRow& row, const CRYPT_XML_SIGNATURE& sig, const VerifyKey& key, const Bytes& secret) {
    switch (row.key) {
        case KeySource::Certificate:
        case KeySource::PublicKeyInfo:
        case KeySource::DocumentCertificate: return Api().VerifySignatureCAPI(sig.hSignature, key.prov(), key.key(), 0);
        case KeySource::HmacSecret: {
            const HRESULT hr = Api().SetHMACSecret(sig.hSignature, secret.data(), static_cast<ULONG>(secret.size()));
            return hr == S_OK ? Api().VerifySignature(sig.hSignature, nullptr, 0) : hr;
        }
        default: return Api().VerifySignature(sig.hSignature, nullptr, 0);
    }
}

const CRYPT_XML_SIGNATURE* FirstSignature(HCRYPTXML doc) {
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    if (Api().GetDocContext(doc, &ctxt) != S_OK || ctxt == nullptr || ctxt->cSignature == 0) return nullptr;
    const CRYPT_XML_SIGNATURE* sig = nullptr;
    if (Api().GetSignature(ctxt->rgpSignature[0]->hSignature, &sig) != S_OK) return nullptr;
    return sig;
}

// Every reference in order; the external ones get their data when the input has it.
void FeedExternal(const CRYPT_XML_SIGNATURE& sig, const RunInput& input, Outcome& out) {
    for (ULONG i = 0; i < sig.SignedInfo.cReference; ++i) {
        const CRYPT_XML_REFERENCE* ref = sig.SignedInfo.rgpReference[i];
        RefOutcome r;
        r.uri = ref->wszUri == nullptr ? L"" : ref->wszUri;
        r.external = IsExternal(ref->wszUri);
        const auto feed = r.external ? input.feeds.find(ref->wszUri) : input.feeds.end();
        if (feed != input.feeds.end()) r.digestHr = DigestExternal(ref->hReference, feed->second);
        out.refs.push_back(r);
    }
}

}  // namespace

Outcome Run(const RunInput& input) {
    const VectorRow& row = *input.row;
    Outcome out;
    const OpenDocument doc(input.document);
    out.openHr = doc.hr();
    if (out.openHr != S_OK) return out;
    const CRYPT_XML_SIGNATURE* sig = FirstSignature(doc.handle());
    if (sig == nullptr) {
        out.openHr = E_UNEXPECTED;  // opened, but no signature to verify
        return out;
    }
    VerifyKey key;
    const HRESULT keyHr = LoadKey(row, *sig, key);
    if (keyHr != S_OK) {
        out.keyHr = keyHr;
        return out;
    }
    Bytes secret;  // outlives the verification, as CryptXmlSetHMACSecret borrows it
    if (row.key == KeySource::HmacSecret && !ReadAll(row.keyPath, secret)) {
        out.keyHr = HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
        return out;
    }
    if (input.feedBeforeVerify) FeedExternal(*sig, input, out);
    const std::wstring before = Api().LastMessage();
    out.verifyHr = Verify(row, *sig, key, secret);
    const std::wstring after = Api().LastMessage();
    // A verification may write nothing: then the line is an earlier one's, and says so.
    out.trace = (after == before ? "(unchanged) " : "") + Narrow(after);
    if (!input.feedBeforeVerify) FeedExternal(*sig, input, out);
    // Statuses last: feeding an external reference may change its signature's.
    for (ULONG i = 0; i < sig->SignedInfo.cReference; ++i) {
        out.refs[i].status = StatusOf(sig->SignedInfo.rgpReference[i]->hReference);
    }
    out.sig = StatusOf(sig->hSignature);
    out.doc = StatusOf(doc.handle());
    return out;
}

}  // namespace verifyVectors
