#include "crypto/GostPublicKeyBlob.hpp"

#include <cstring>
#include <stdexcept>

namespace gostBlob {
namespace {

constexpr size_t kHeaderSize = 16;  // BLOBHEADER + magic + bit length
constexpr unsigned char kSequence = 0x30, kOid = 0x06, kOctetString = 0x04, kBitString = 0x03;

[[noreturn]] void Bad(const char* what) { throw std::invalid_argument(what); }

void PutDword(Bytes& out, DWORD v) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<unsigned char>(v >> (8 * i)));
}

DWORD GetDword(const unsigned char* p) { return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<DWORD>(p[3]) << 24); }

void PutLength(Bytes& out, size_t length) {
    if (length < 0x80) {
        out.push_back(static_cast<unsigned char>(length));
    } else if (length < 0x100) {
        out.push_back(0x81);
        out.push_back(static_cast<unsigned char>(length));
    } else {
        out.push_back(0x82);
        out.push_back(static_cast<unsigned char>(length >> 8));
        out.push_back(static_cast<unsigned char>(length));
    }
}

// One DER element at p (within end): its tag, and its content range.
struct Tlv {
    unsigned char tag = 0;
    const unsigned char* content = nullptr;
    size_t length = 0;
    const unsigned char* next = nullptr;
};

Tlv ReadTlv(const unsigned char* p, const unsigned char* end) {
    if (end - p < 2) Bad("truncated DER element");
    Tlv tlv;
    tlv.tag = p[0];
    size_t length = p[1];
    const unsigned char* q = p + 2;
    if (length & 0x80) {
        const size_t n = length & 0x7F;
        if (n == 0 || n > 2 || static_cast<size_t>(end - q) < n) Bad("bad DER length");
        length = 0;
        for (size_t i = 0; i < n; ++i) length = (length << 8) | *q++;
    }
    if (static_cast<size_t>(end - q) < length) Bad("DER element runs past its end");
    tlv.content = q;
    tlv.length = length;
    tlv.next = q + length;
    return tlv;
}

void ReadParameterSets(const unsigned char* p, const unsigned char* end, GostPublicKey& out) {
    const Tlv sequence = ReadTlv(p, end);
    if (sequence.tag != kSequence) Bad("parameter sets are not a SEQUENCE");
    const unsigned char* q = sequence.content;
    const unsigned char* qEnd = sequence.content + sequence.length;
    std::string* targets[] = {&out.publicKeyParamSet, &out.digestParamSet, &out.encryptionParamSet};
    for (std::string* target : targets) {
        if (q == qEnd) break;
        const Tlv oid = ReadTlv(q, qEnd);
        if (oid.tag != kOid) Bad("parameter set is not an OID");
        *target = DecodeOid(oid.content, oid.length);
        q = oid.next;
    }
    if (out.publicKeyParamSet.empty() || out.digestParamSet.empty()) Bad("missing parameter set");
}

}  // namespace

std::string WithoutUrnPrefix(const std::string& oid) {
    static const std::string kPrefix = "urn:oid:";
    return oid.compare(0, kPrefix.size(), kPrefix) == 0 ? oid.substr(kPrefix.size()) : oid;
}

Bytes EncodeOid(const std::string& text) {
    const std::string oid = WithoutUrnPrefix(text);
    std::vector<unsigned long> arcs;
    size_t pos = 0;
    while (pos <= oid.size()) {
        const size_t dot = oid.find('.', pos);
        const std::string arc = oid.substr(pos, dot == std::string::npos ? std::string::npos : dot - pos);
        if (arc.empty() || arc.size() > 9 || arc.find_first_not_of("0123456789") != std::string::npos) {
            Bad("malformed OID");
        }
        arcs.push_back(std::stoul(arc));
        if (dot == std::string::npos) break;
        pos = dot + 1;
    }
    if (arcs.size() < 2 || arcs[0] > 2 || (arcs[0] < 2 && arcs[1] > 39)) Bad("malformed OID");
    Bytes out;
    arcs[1] += arcs[0] * 40;
    for (size_t i = 1; i < arcs.size(); ++i) {
        unsigned char groups[5];
        int n = 0;
        unsigned long v = arcs[i];
        do {
            groups[n++] = static_cast<unsigned char>(v & 0x7F);
            v >>= 7;
        } while (v != 0);
        while (n > 0) {
            --n;
            out.push_back(static_cast<unsigned char>(groups[n] | (n > 0 ? 0x80 : 0)));
        }
    }
    return out;
}

std::string DecodeOid(const unsigned char* content, size_t length) {
    if (length == 0 || (content[length - 1] & 0x80) != 0) Bad("malformed OID");
    std::string out;
    unsigned long value = 0;
    bool first = true;
    for (size_t i = 0; i < length; ++i) {
        if (value > (1UL << 25)) Bad("OID arc too large");
        value = (value << 7) | (content[i] & 0x7F);
        if (content[i] & 0x80) continue;
        if (first) {
            const unsigned long top = value < 80 ? value / 40 : 2;
            out = std::to_string(top) + "." + std::to_string(value - top * 40);
            first = false;
        } else {
            out += "." + std::to_string(value);
        }
        value = 0;
    }
    return out;
}

Bytes Build(const GostPublicKey& key) {
    if (key.key.size() != 64 && key.key.size() != 128) Bad("a GOST public key has 64 or 128 bytes");
    Bytes oids;
    for (const std::string* oid : {&key.publicKeyParamSet, &key.digestParamSet, &key.encryptionParamSet}) {
        if (oid->empty()) continue;
        const Bytes content = EncodeOid(*oid);
        oids.push_back(kOid);
        PutLength(oids, content.size());
        oids.insert(oids.end(), content.begin(), content.end());
    }
    Bytes blob = {PUBLICKEYBLOB, 0x20, 0, 0};
    PutDword(blob, key.algId);
    PutDword(blob, kMagic);
    PutDword(blob, static_cast<DWORD>(key.key.size() * 8));
    blob.push_back(kSequence);
    PutLength(blob, oids.size());
    blob.insert(blob.end(), oids.begin(), oids.end());
    blob.insert(blob.end(), key.key.begin(), key.key.end());
    return blob;
}

GostPublicKey Parse(const unsigned char* blob, size_t length) {
    if (blob == nullptr || length < kHeaderSize + 2) Bad("too short for a GOST PUBLICKEYBLOB");
    if (blob[0] != PUBLICKEYBLOB || GetDword(blob + 8) != kMagic) Bad("not a GOST PUBLICKEYBLOB");
    GostPublicKey key;
    key.algId = GetDword(blob + 4);
    const DWORD bits = GetDword(blob + 12);
    if (bits != 512 && bits != 1024) Bad("unexpected key length");
    const unsigned char* end = blob + length;
    const Tlv sequence = ReadTlv(blob + kHeaderSize, end);
    ReadParameterSets(blob + kHeaderSize, end, key);
    if (static_cast<size_t>(end - sequence.next) != bits / 8) Bad("key bytes do not match the key length");
    key.key.assign(sequence.next, end);
    return key;
}

GostPublicKey ParseParameterSets(const unsigned char* der, size_t length) {
    if (der == nullptr) Bad("no parameter sets");
    GostPublicKey key;
    ReadParameterSets(der, der + length, key);
    return key;
}

namespace {
Bytes Element(unsigned char tag, const Bytes& content) {
    Bytes out = {tag};
    PutLength(out, content.size());
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

Bytes Concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
    return out;
}
}  // namespace

Bytes SubjectPublicKeyInfo(const GostPublicKey& key) {
    if (key.key.size() != 64) Bad("a GOST R 34.10-2001 public key has 64 bytes");
    Bytes sets =
        Concat({Element(kOid, EncodeOid(key.publicKeyParamSet)), Element(kOid, EncodeOid(key.digestParamSet))});
    if (!key.encryptionParamSet.empty()) sets = Concat({sets, Element(kOid, EncodeOid(key.encryptionParamSet))});
    const Bytes algorithm =
        Element(kSequence, Concat({Element(kOid, EncodeOid(ids::kOidGost2001PublicKey)), Element(kSequence, sets)}));
    Bytes bits = {0};
    const Bytes octets = Element(kOctetString, key.key);
    bits.insert(bits.end(), octets.begin(), octets.end());
    return Element(kSequence, Concat({algorithm, Element(kBitString, bits)}));
}

Bytes RawKey(const Bytes& fromXml, GostPublicKey* parametersOut) {
    if (fromXml.size() == 64 || fromXml.size() == 128) return fromXml;
    const unsigned char* p = fromXml.data();
    const unsigned char* end = p + fromXml.size();
    const Tlv outer = ReadTlv(p, end);
    if (outer.tag == kOctetString && outer.next == end) return RawKey(Bytes(outer.content, outer.next));
    if (outer.tag != kSequence || outer.next != end) Bad("not a GOST public key");
    // SubjectPublicKeyInfo: SEQUENCE { SEQUENCE { algorithm OID, parameters }, BIT STRING }
    const Tlv algorithm = ReadTlv(outer.content, outer.next);
    if (algorithm.tag != kSequence) Bad("not a SubjectPublicKeyInfo");
    const Tlv algorithmOid = ReadTlv(algorithm.content, algorithm.next);
    if (algorithmOid.tag != kOid) Bad("not a SubjectPublicKeyInfo");
    if (parametersOut != nullptr) ReadParameterSets(algorithmOid.next, algorithm.next, *parametersOut);
    const Tlv bits = ReadTlv(algorithm.next, outer.next);
    if (bits.tag != kBitString || bits.length < 1 || bits.content[0] != 0) Bad("not a SubjectPublicKeyInfo");
    return RawKey(Bytes(bits.content + 1, bits.next));
}

}  // namespace gostBlob
