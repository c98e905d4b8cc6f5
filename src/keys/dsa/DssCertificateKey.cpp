#include "keys/dsa/DssCertificateKey.hpp"

#include <cstring>

namespace dssCertificateKey {
namespace {

constexpr BYTE kInteger = 0x02;
constexpr BYTE kSequence = 0x30;

// A DER reader over one buffer: each call takes the next element of the expected tag.
class DerReader {
public:
    DerReader(const BYTE* data, size_t length) : at_(data), end_(data + length) {}

    bool Next(BYTE tag, const BYTE*& content, size_t& length) {
        if (end_ - at_ < 2 || at_[0] != tag) return false;
        size_t size = at_[1];
        const BYTE* body = at_ + 2;
        if (size & 0x80) {
            const size_t octets = size & 0x7F;
            if (octets == 0 || octets > sizeof(size_t) || static_cast<size_t>(end_ - body) < octets) return false;
            size = 0;
            for (size_t i = 0; i < octets; ++i) size = (size << 8) | *body++;
        }
        if (static_cast<size_t>(end_ - body) < size) return false;
        content = body;
        length = size;
        at_ = body + size;
        return true;
    }
    bool AtEnd() const { return at_ == end_; }

private:
    const BYTE* at_;
    const BYTE* end_;
};

bool ReadInteger(DerReader& reader, std::vector<BYTE>& out) {
    const BYTE* content = nullptr;
    size_t length = 0;
    if (!reader.Next(kInteger, content, length) || length == 0) return false;
    out.assign(content, content + length);
    return true;
}

}  // namespace

bool Read(const CERT_PUBLIC_KEY_INFO& info, Components& out) {
    if (info.Algorithm.pszObjId == nullptr || std::strcmp(info.Algorithm.pszObjId, szOID_X957_DSA) != 0) return false;
    DerReader parameters(info.Algorithm.Parameters.pbData, info.Algorithm.Parameters.cbData);
    const BYTE* sequence = nullptr;
    size_t sequenceLength = 0;
    if (!parameters.Next(kSequence, sequence, sequenceLength) || !parameters.AtEnd()) return false;
    DerReader components(sequence, sequenceLength);
    if (!ReadInteger(components, out.p) || !ReadInteger(components, out.q) || !ReadInteger(components, out.g) ||
        !components.AtEnd()) {
        return false;
    }
    // The BIT STRING of the key holds the DER INTEGER y; no unused bits.
    DerReader key(info.PublicKey.pbData, info.PublicKey.cbData);
    return info.PublicKey.cUnusedBits == 0 && ReadInteger(key, out.y) && key.AtEnd();
}

}  // namespace dssCertificateKey
