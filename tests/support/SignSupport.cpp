#include "support/SignSupport.hpp"

#include <cstring>
#include <fstream>
#include <iterator>

namespace signtest {

CRYPT_XML_ALGORITHM Alg(const wchar_t* uri) {
    CRYPT_XML_ALGORITHM alg;
    std::memset(&alg, 0, sizeof(alg));
    alg.cbSize = sizeof(alg);
    alg.wszAlgorithm = uri;
    return alg;
}

CRYPT_XML_BLOB Blob(const std::string& bytes, DWORD charset) {
    return {static_cast<CRYPT_XML_CHARSET>(charset), static_cast<ULONG>(bytes.size()),
            reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data()))};
}

CRYPT_XML_PROPERTY Property(CRYPT_XML_PROPERTY_ID id, const void* value) { return {id, value, 0}; }

HRESULT CALLBACK Write(void* state, const BYTE* pb, ULONG cb) {
    auto* sink = static_cast<Sink*>(state);
    sink->bytes.append(reinterpret_cast<const char*>(pb), cb);
    sink->pieces.push_back(cb);
    return sink->answer;
}

NewSig::NewSig() { hr_ = dll().OpenToEncode(nullptr, 0, nullptr, nullptr, 0, nullptr, &h_); }

NewSig::NewSig(const std::string& source, const std::wstring& location, const wchar_t* id, DWORD flags)
    : source_(source), location_(location) {
    const LPCWSTR where = location_.c_str();
    const CRYPT_XML_PROPERTY property = Property(CRYPT_XML_PROPERTY_SIGNATURE_LOCATION, &where);
    const CRYPT_XML_BLOB blob = Blob(source_);
    hr_ = dll().OpenToEncode(nullptr, flags, id, &property, 1, &blob, &h_);
}

NewSig::~NewSig() {
    if (h_ != nullptr) dll().Close(h_);
}

HCRYPTXML NewSig::Ref(const wchar_t* uri, const std::vector<const wchar_t*>& transforms, const wchar_t* digest,
                      DWORD flags, const wchar_t* id, const wchar_t* type) {
    std::vector<CRYPT_XML_ALGORITHM> tfms;
    for (const wchar_t* t : transforms) tfms.push_back(Alg(t));
    const CRYPT_XML_ALGORITHM digestAlg = Alg(digest);
    HCRYPTXML ref = nullptr;
    last_ = dll().CreateReference(h_, flags, id, uri, type, &digestAlg, static_cast<ULONG>(tfms.size()),
                                  tfms.empty() ? nullptr : tfms.data(), &ref);
    return last_ == S_OK ? ref : nullptr;
}

HRESULT NewSig::SignHmac(const std::string& secret, const wchar_t* method) {
    const HRESULT set =
        dll().SetHMACSecret(h_, reinterpret_cast<const BYTE*>(secret.data()), static_cast<ULONG>(secret.size()));
    if (set != S_OK) return set;
    return SignWith(0, 0, method);
}

HRESULT NewSig::SignWith(HCRYPTPROV prov, DWORD keySpec, const wchar_t* method, DWORD flags,
                         CRYPT_XML_KEYINFO_SPEC keyInfoSpec, const void* specValue, const wchar_t* canon) {
    const CRYPT_XML_ALGORITHM sigMethod = Alg(method);
    const CRYPT_XML_ALGORITHM c14n = Alg(canon);
    return dll().Sign(h_, prov, keySpec, flags, keyInfoSpec, specValue, &sigMethod, &c14n);
}

std::string NewSig::Encode(DWORD charset) const {
    Sink sink;
    const HRESULT hr = dll().Encode(h_, static_cast<CRYPT_XML_CHARSET>(charset), nullptr, 0, &sink, Write);
    return hr == S_OK ? sink.bytes : std::string();
}

const CRYPT_XML_SIGNATURE* NewSig::Struct() const {
    const CRYPT_XML_SIGNATURE* sig = nullptr;
    return dll().GetSignature(h_, &sig) == S_OK ? sig : nullptr;
}

CRYPT_XML_STATUS NewSig::Status(HCRYPTXML handle) const {
    CRYPT_XML_STATUS status{};
    status.cbSize = sizeof(status);
    dll().GetStatus(handle != nullptr ? handle : h_, &status);
    return status;
}

namespace {

void DeleteContainer(DWORD provType, const std::wstring& name) {
    HCRYPTPROV gone = 0;
    CryptAcquireContextW(&gone, name.c_str(), nullptr, provType, CRYPT_DELETEKEYSET);
}

bool OpenNew(DWORD provType, const std::wstring& name, HCRYPTPROV* prov) {
    DeleteContainer(provType, name);
    return CryptAcquireContextW(prov, name.c_str(), nullptr, provType, CRYPT_NEWKEYSET) != FALSE;
}

// Opens xml, runs `verify` on its first signature after feeding the external data, and
// reads the statuses.
template <class VerifyFn>
Verified Check(const std::string& xml, const std::vector<std::pair<std::wstring, std::string>>& external, DWORD charset,
               VerifyFn&& verify) {
    Verified out;
    HCRYPTXML doc = nullptr;
    const CRYPT_XML_BLOB blob = Blob(xml, charset);
    out.open = dll().OpenToDecode(nullptr, 0, nullptr, 0, &blob, &doc);
    if (out.open != S_OK) return out;
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    const CRYPT_XML_SIGNATURE* sig = nullptr;
    if (dll().GetDocContext(doc, &ctxt) == S_OK && ctxt->cSignature > 0 &&
        dll().GetSignature(ctxt->rgpSignature[0]->hSignature, &sig) == S_OK) {
        for (ULONG i = 0; i < sig->SignedInfo.cReference; ++i) {
            const CRYPT_XML_REFERENCE* ref = sig->SignedInfo.rgpReference[i];
            for (const auto& item : external) {
                if (ref->wszUri == nullptr || item.first != ref->wszUri) continue;
                DataFeed feed(item.second);
                CRYPT_XML_DATA_PROVIDER provider = feed.Provider();
                dll().DigestReference(ref->hReference, 0, &provider);
            }
        }
        out.verify = verify(sig->hSignature);
        out.sigStatus.cbSize = sizeof(CRYPT_XML_STATUS);
        dll().GetStatus(sig->hSignature, &out.sigStatus);
        for (ULONG i = 0; i < sig->SignedInfo.cReference; ++i) {
            CRYPT_XML_STATUS status{sizeof(CRYPT_XML_STATUS), 0, 0};
            dll().GetStatus(sig->SignedInfo.rgpReference[i]->hReference, &status);
            out.refStatus.push_back(status);
        }
    }
    dll().Close(doc);
    return out;
}

}  // namespace

HRESULT CALLBACK DataFeed::Read(void* state, BYTE* pb, ULONG cb, ULONG* read) {
    auto* feed = static_cast<DataFeed*>(state);
    const size_t left = feed->data_.size() - feed->offset_;
    const size_t n = left < cb ? left : cb;
    std::memcpy(pb, feed->data_.data() + feed->offset_, n);
    feed->offset_ += n;
    *read = static_cast<ULONG>(n);
    return S_OK;
}

HRESULT CALLBACK DataFeed::Close(void*) { return S_OK; }

Container::Container(DWORD provType, const wchar_t* name, DWORD keySpec, ALG_ID algId, DWORD keyFlags)
    : provType_(provType), name_(name) {
    Fill([&](HCRYPTKEY* key) { return CryptGenKey(prov_, algId != 0 ? algId : keySpec, keyFlags, key) != FALSE; });
}

Container::Container(DWORD provType, const wchar_t* name, const Bytes& privateBlob) : provType_(provType), name_(name) {
    Fill([&](HCRYPTKEY* key) {
        return CryptImportKey(prov_, privateBlob.data(), static_cast<DWORD>(privateBlob.size()), 0, 0, key) != FALSE;
    });
}

// A new container, given its key by makeKey; on failure the error is kept and no handle.
template <class MakeKey>
void Container::Fill(MakeKey&& makeKey) {
    HCRYPTKEY key = 0;
    if (!OpenNew(provType_, name_, &prov_) || !makeKey(&key)) {
        error_ = GetLastError();
        if (prov_ != 0) CryptReleaseContext(prov_, 0);
        prov_ = 0;
        return;
    }
    CryptDestroyKey(key);
    Reopen();
}

// Wine's providers write a container's keys only when its last handle goes: reopened, the
// container is what any other handle on it (the library's own included) sees.
// Wine's DSS provider keeps keys in the handle only: its container is used as it is.
void Container::Reopen() {
    if (provType_ == PROV_DSS) return;
    CryptReleaseContext(prov_, 0);
    prov_ = 0;
    if (!CryptAcquireContextW(&prov_, name_.c_str(), nullptr, provType_, 0)) {
        error_ = GetLastError();
        prov_ = 0;
    }
}

Container::~Container() {
    if (prov_ != 0) CryptReleaseContext(prov_, 0);
    DeleteContainer(provType_, name_);
}

Bytes Container::PublicBlob(DWORD keySpec) const {
    HCRYPTKEY key = 0;
    if (!CryptGetUserKey(prov_, keySpec, &key)) return {};
    DWORD size = 0;
    Bytes blob;
    if (CryptExportKey(key, 0, PUBLICKEYBLOB, 0, nullptr, &size)) {
        blob.resize(size);
        if (!CryptExportKey(key, 0, PUBLICKEYBLOB, 0, blob.data(), &size)) blob.clear();
    }
    CryptDestroyKey(key);
    return blob;
}

Verified VerifyOwn(const std::string& xml, const std::string& hmacSecret,
                   const std::vector<std::pair<std::wstring, std::string>>& external, DWORD charset) {
    return Check(xml, external, charset, [&](HCRYPTXML sig) {
        if (hmacSecret.empty()) return dll().VerifySignature(sig, nullptr, 0);
        const HRESULT set = dll().SetHMACSecret(sig, reinterpret_cast<const BYTE*>(hmacSecret.data()),
                                                static_cast<ULONG>(hmacSecret.size()));
        return set != S_OK ? set : dll().VerifySignatureCAPI(sig, 0, 0, 0);
    });
}

Verified VerifyWithKey(const std::string& xml, HCRYPTPROV prov, DWORD keySpec) {
    return Check(xml, {}, CRYPT_XML_CHARSET_AUTO, [&](HCRYPTXML sig) {
        HCRYPTKEY key = 0;
        if (!CryptGetUserKey(prov, keySpec, &key)) return HRESULT_FROM_WIN32(GetLastError());
        const HRESULT hr = dll().VerifySignatureCAPI(sig, prov, key, 0);
        CryptDestroyKey(key);
        return hr;
    });
}

std::string ReadFileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFileBytes(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace signtest
