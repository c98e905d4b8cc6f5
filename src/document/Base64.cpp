#include "document/Base64.hpp"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <memory>

#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xsec/enc/XSCrypt/XSCryptCryptoBase64.hpp>
#include <xsec/enc/XSECCryptoException.hpp>

#include "base/CryptXmlException.hpp"
#include "base/XsecErrors.hpp"

namespace base64 {
namespace {

namespace xc = XERCES_CPP_NAMESPACE;

constexpr char kBase64ToBin[] = "Base64ToBin";

// Text transcoded by Xerces, given back to the allocator that made it.
struct TranscodedRelease {
    void operator()(char* text) const noexcept { xc::XMLString::release(&text, xc::XMLPlatformUtils::fgMemoryManager); }
};
using TranscodedText = std::unique_ptr<char, TranscodedRelease>;

// Twice the input is the encoder's scratch bound. It is short only for a single byte
// (four characters), so the bound never drops below one Base64 quantum.
unsigned int ScratchBound(size_t inputLength) {
    return static_cast<unsigned int>(std::max<size_t>(inputLength * 2, 4));
}

// Runs the encoder over bytes into scratch. The finish step is handed finishLength bytes
// starting after what encode wrote; returns the total written.
unsigned int EncodeInto(const BYTE* bytes, unsigned int length, std::vector<unsigned char>& scratch,
                        unsigned int scratchLength, bool finishGetsWholeLength) {
    XSCryptCryptoBase64 coder;
    coder.encodeInit();
    const unsigned int encoded = coder.encode(bytes, length, scratch.data(), scratchLength);
    const unsigned int finishLength = finishGetsWholeLength ? scratchLength : scratchLength - encoded;
    return encoded + coder.encodeFinish(scratch.data() + encoded, finishLength);
}

}  // namespace

void CheckTextLength(size_t length) {
    if (length > 0xFFFFFFFFull) errors::Raise<hr::kInvalidArg>(kBase64ToBin, "base64len > UINT_MAX");
}

void Base64ToBin(const wchar_t* base64, std::vector<BYTE>& out) {
    if (base64 == nullptr) errors::Raise<hr::kInvalidArg>(kBase64ToBin, "NULL == base64");
    out.clear();
    CheckTextLength(std::wcslen(base64));
    TranscodedText narrow(xc::XMLString::transcode(base64, xc::XMLPlatformUtils::fgMemoryManager));
    // The transcoded length, not the wide one, bounds the output: a character outside
    // the code page may take several bytes, and every decoded byte needs more than one
    // input character.
    const unsigned int narrowLength = static_cast<unsigned int>(std::strlen(narrow.get()));
    out.resize(narrowLength);
    // The coder drops every character that is not of the Base64 alphabet and ignores an
    // incomplete last quantum, so most garbage simply decodes to fewer (or no) bytes. It
    // throws only for a misplaced '=' ("====", "A==="): that text is not in the expected
    // format, and it is reported so rather than as an empty value.
    try {
        XSCryptCryptoBase64 coder;
        coder.decodeInit();
        const unsigned int decoded =
            coder.decode(reinterpret_cast<const unsigned char*>(narrow.get()), narrowLength, out.data(), narrowLength);
        const unsigned int finished = coder.decodeFinish(out.data() + decoded, narrowLength - decoded);
        out.resize(decoded + finished);
    } catch (...) {
        out.clear();
        xsecErrors::RethrowAsInvalidFormat(kBase64ToBin);
    }
}

std::vector<BYTE> DecodeRequired(const char* functionName, const wchar_t* base64, const char* detail) {
    std::vector<BYTE> bytes;
    Base64ToBin(base64, bytes);
    if (bytes.empty()) errors::Raise<hr::kInvalidArg>(functionName, detail);
    return bytes;
}

void BinToBase64(const std::vector<BYTE>& bytes, std::string& out) {
    out.clear();
    if (bytes.empty()) return;
    const unsigned int bound = ScratchBound(bytes.size());
    std::vector<unsigned char> scratch(bound);
    const unsigned int written =
        EncodeInto(bytes.data(), static_cast<unsigned int>(bytes.size()), scratch, bound, false);
    out.assign(reinterpret_cast<const char*>(scratch.data()), written);
}

void BlobToBase64(const CRYPT_DATA_BLOB& blob, std::vector<wchar_t>& out) {
    out.clear();
    if (blob.cbData == 0 || blob.pbData == nullptr) return;
    const unsigned int bound = ScratchBound(blob.cbData);
    // The finish step is deliberately told the whole bound, not what is left of it. The
    // buffer is twice the bound (and NUL-filled) so that this can never write past it,
    // and the text stays terminated for the transcoder.
    std::vector<unsigned char> scratch(static_cast<size_t>(bound) * 2 + 1, 0);
    const unsigned int written = EncodeInto(blob.pbData, blob.cbData, scratch, bound, true);
    scratch[written] = 0;
    out.resize(static_cast<size_t>(written) + 1);
    xc::XMLString::transcode(reinterpret_cast<const char*>(scratch.data()), out.data(), written,
                             xc::XMLPlatformUtils::fgMemoryManager);
}

}  // namespace base64
