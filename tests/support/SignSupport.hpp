#pragma once
// What the signing tests share: a new signature that closes itself, the write callback that
// records what CryptXmlEncode hands out, CryptoAPI containers that delete themselves, and a
// round trip through the DLL's own decoder and verifier.
#include <windows.h>
#include <wincrypt.h>

#include <cryptxml.h>

#include <string>
#include <utility>
#include <vector>

#include "support/CryptXmlDll.hpp"
#include "support/TraceLines.hpp"

namespace signtest {

using Bytes = std::vector<BYTE>;

constexpr HRESULT kInvalidArg = static_cast<HRESULT>(0x80070057L);
constexpr HRESULT kFail = static_cast<HRESULT>(0x80004005L);
constexpr HRESULT kNotImpl = static_cast<HRESULT>(0x80004001L);
constexpr HRESULT kLarge = static_cast<HRESULT>(0x80092101L);
constexpr HRESULT kAlgorithm = static_cast<HRESULT>(0x80092104L);
constexpr HRESULT kTransform = static_cast<HRESULT>(0x80092105L);
constexpr HRESULT kOperation = static_cast<HRESULT>(0x80092107L);
constexpr HRESULT kUnresolved = static_cast<HRESULT>(0x80092108L);
constexpr HRESULT kSignFailed = static_cast<HRESULT>(0x8009210CL);
constexpr HRESULT kNonUniqueId = static_cast<HRESULT>(0x80092112L);
constexpr HRESULT kInvalidFormat = static_cast<HRESULT>(0x803D0000L);
constexpr HRESULT kObjectFaulted = static_cast<HRESULT>(0x803D0001L);
constexpr HRESULT kInvalidOperation = static_cast<HRESULT>(0x803D0003L);
constexpr DWORD kGostProvType = 75;
constexpr ALG_ID kGr3410El = 0x2E23;

constexpr wchar_t kC14n[] = L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
constexpr wchar_t kExcC14n[] = L"http://www.w3.org/2001/10/xml-exc-c14n#";
constexpr wchar_t kEnveloped[] = L"http://www.w3.org/2000/09/xmldsig#enveloped-signature";
constexpr wchar_t kBase64[] = L"http://www.w3.org/2000/09/xmldsig#base64";
constexpr wchar_t kSha1[] = L"http://www.w3.org/2000/09/xmldsig#sha1";
constexpr wchar_t kSha256[] = L"http://www.w3.org/2001/04/xmlenc#sha256";
constexpr wchar_t kGost3411More[] = L"http://www.w3.org/2001/04/xmldsig-more#gostr3411";
constexpr wchar_t kGost3411Urn[] = L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411";
constexpr wchar_t kHmacSha1[] = L"http://www.w3.org/2000/09/xmldsig#hmac-sha1";
constexpr wchar_t kHmacSha256[] = L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256";
constexpr wchar_t kRsaSha1[] = L"http://www.w3.org/2000/09/xmldsig#rsa-sha1";
constexpr wchar_t kRsaSha256[] = L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256";
constexpr wchar_t kDsaSha1[] = L"http://www.w3.org/2000/09/xmldsig#dsa-sha1";
constexpr wchar_t kGostMore[] = L"http://www.w3.org/2001/04/xmldsig-more#gostr34102001-gostr3411";
constexpr wchar_t kGostUrn[] = L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411";

inline const testing_support::CryptXmlDll& dll() { return testing_support::CryptXmlDll::Get(); }

CRYPT_XML_ALGORITHM Alg(const wchar_t* uri);
CRYPT_XML_BLOB Blob(const std::string& bytes, DWORD charset = CRYPT_XML_CHARSET_UTF8);
// A property array entry: the location takes the address of a LPCWSTR, the declaration
// flag the address of a BOOL.
CRYPT_XML_PROPERTY Property(CRYPT_XML_PROPERTY_ID id, const void* value);

// What CryptXmlEncode wrote, and in which pieces.
struct Sink {
    std::string bytes;
    std::vector<ULONG> pieces;
    HRESULT answer = S_OK;  // what the callback answers
};
HRESULT CALLBACK Write(void* state, const BYTE* pb, ULONG cb);

// A data provider over a string; Reset() serves it again from the start.
class DataFeed {
public:
    explicit DataFeed(std::string data) : data_(std::move(data)) {}
    CRYPT_XML_DATA_PROVIDER Provider() { return {this, 0, Read, Close}; }
    void Reset(std::string data) {
        data_ = std::move(data);
        offset_ = 0;
    }

private:
    static HRESULT CALLBACK Read(void* state, BYTE* pb, ULONG cb, ULONG* read);
    static HRESULT CALLBACK Close(void* state);

    std::string data_;
    size_t offset_ = 0;
};

// A signature opened to encode, closed at the end of the scope.
class NewSig {
public:
    // Without a source document.
    NewSig();
    // Over source (kept alive here), placed at location (empty: the document element).
    explicit NewSig(const std::string& source, const std::wstring& location = L"", const wchar_t* id = nullptr,
                    DWORD flags = 0);
    ~NewSig();
    NewSig(const NewSig&) = delete;
    NewSig& operator=(const NewSig&) = delete;

    HRESULT hr() const { return hr_; }
    HCRYPTXML h() const { return h_; }
    // CryptXmlCreateReference on the signature; the handle, or null (the result in last()).
    HCRYPTXML Ref(const wchar_t* uri, const std::vector<const wchar_t*>& transforms = {},
                  const wchar_t* digest = kSha256, DWORD flags = 0, const wchar_t* id = nullptr,
                  const wchar_t* type = nullptr);
    HRESULT last() const { return last_; }
    HRESULT SignHmac(const std::string& secret, const wchar_t* method = kHmacSha256);
    HRESULT SignWith(HCRYPTPROV prov, DWORD keySpec, const wchar_t* method, DWORD flags = 0,
                     CRYPT_XML_KEYINFO_SPEC keyInfoSpec = CRYPT_XML_KEYINFO_SPEC_NONE, const void* specValue = nullptr,
                     const wchar_t* canon = kC14n);
    // CryptXmlEncode in UTF-8 (or the given charset); empty with a failure.
    std::string Encode(DWORD charset = CRYPT_XML_CHARSET_UTF8) const;
    const CRYPT_XML_SIGNATURE* Struct() const;
    CRYPT_XML_STATUS Status(HCRYPTXML handle = nullptr) const;

private:
    std::string source_;
    std::wstring location_;
    HCRYPTXML h_ = nullptr;
    HRESULT hr_ = E_FAIL;
    HRESULT last_ = S_OK;
};

// A named key container of a provider type, emptied and deleted at both ends of its life.
class Container {
public:
    // A new key pair of algId (0: the provider's default) for keySpec.
    Container(DWORD provType, const wchar_t* name, DWORD keySpec, ALG_ID algId = 0, DWORD keyFlags = 0);
    // The container with a key imported from blob.
    Container(DWORD provType, const wchar_t* name, const Bytes& privateBlob);
    ~Container();
    Container(const Container&) = delete;
    Container& operator=(const Container&) = delete;

    HCRYPTPROV prov() const { return prov_; }
    bool ok() const { return prov_ != 0; }
    DWORD error() const { return error_; }
    // The public key as a PUBLICKEYBLOB.
    Bytes PublicBlob(DWORD keySpec) const;

private:
    template <class MakeKey>
    void Fill(MakeKey&& makeKey);
    void Reopen();

    DWORD provType_;
    std::wstring name_;
    HCRYPTPROV prov_ = 0;
    DWORD error_ = 0;
};

// The outcome of decoding and verifying a document with the DLL.
struct Verified {
    HRESULT open = E_FAIL;
    HRESULT verify = E_FAIL;
    CRYPT_XML_STATUS sigStatus{};
    std::vector<CRYPT_XML_STATUS> refStatus;
};
// Verification with the key the document carries in KeyInfo (hmacSecret empty), or with
// the HMAC secret. External references are fed from `external` by URI.
// The charset is the one the document is opened with (UTF-16 without a BOM or declaration
// needs it said).
Verified VerifyOwn(const std::string& xml, const std::string& hmacSecret = "",
                   const std::vector<std::pair<std::wstring, std::string>>& external = {},
                   DWORD charset = CRYPT_XML_CHARSET_AUTO);
// Verification with a container's public key (imported into a verification context).
Verified VerifyWithKey(const std::string& xml, HCRYPTPROV prov, DWORD keySpec);

std::string ReadFileBytes(const std::string& path);
void WriteFileBytes(const std::string& path, const std::string& bytes);

}  // namespace signtest
