#include "gost.hpp"

#include <botan/bigint.h>
#include <botan/ec_group.h>
#include <botan/gost_3410.h>
#include <botan/hash.h>
#include <botan/pubkey.h>
#include <botan/system_rng.h>

#include <algorithm>
#include <cstring>
#include <mutex>

namespace softgost {
namespace {

struct CurveDef {
    const char *p, *a, *b, *q, *x, *y;
    unsigned cofactor;
    size_t bytes;
};

// GOST R 34.10 curves: RFC 5832 (2001 test), RFC 4357 (CryptoPro A, B, C), RFC 7836 and
// the tc26 parameter sets as the OpenSSL GOST engine publishes them (256-A, 512 A/B/C),
// RFC 7091 (512 test). Checked: base point on the curve, q * P = 0.
const CurveDef kCurves[CurveCount] = {
    // CurveTest
    {"0x8000000000000000000000000000000000000000000000000000000000000431", "0x7",
     "0x5FBFF498AA938CE739B8E022FBAFEF40563F6E6A3472FC2A514C0CE9DAE23B7E",
     "0x8000000000000000000000000000000150FE8A1892976154C59CFC193ACCF5B3", "0x2",
     "0x08E2A8A0E65147D4BD6316030E16D19C85C97F0A9CA267122B96ABBCEA7E8FC8", 1, 32},
    // CurveA
    {"0xFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFD97",
     "0xFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFD94", "0xA6",
     "0xFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF6C611070995AD10045841B09B761B893", "0x1",
     "0x8D91E471E0989CDA27DF505A453F2B7635294F2DDF23E3B122ACC99C9E9F1E14", 1, 32},
    // CurveB
    {"0x8000000000000000000000000000000000000000000000000000000000000C99",
     "0x8000000000000000000000000000000000000000000000000000000000000C96",
     "0x3E1AF419A269A5F866A7D3C25C3DF80AE979259373FF2B182F49D4CE7E1BBC8B",
     "0x800000000000000000000000000000015F700CFFF1A624E5E497161BCC8A198F", "0x1",
     "0x3FA8124359F96680B83D1C3EB2C070E5C545C9858D03ECFB744BF8D717717EFC", 1, 32},
    // CurveC
    {"0x9B9F605F5A858107AB1EC85E6B41C8AACF846E86789051D37998F7B9022D759B",
     "0x9B9F605F5A858107AB1EC85E6B41C8AACF846E86789051D37998F7B9022D7598", "0x805A",
     "0x9B9F605F5A858107AB1EC85E6B41C8AA582CA3511EDDFB74F02F3A6598980BB9", "0x0",
     "0x41ECE55743711A8C3CBF3783CD08C0EE4D4DC440D4641A8F366E550DFDB3BB67", 1, 32},
    // Curve256TcA
    {"0xFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFD97",
     "0xC2173F1513981673AF4892C23035A27CE25E2013BF95AA33B22C656F277E7335",
     "0x295F9BAE7428ED9CCC20E7C359A9D41A22FCCD9108E17BF7BA9337A6F8AE9513",
     "0x400000000000000000000000000000000FD8CDDFC87B6635C115AF556C360C67",
     "0x91E38443A5E82C0D880923425712B2BB658B9196932E02C78B2582FE742DAA28",
     "0x32879423AB1A0375895786C4BB46E9565FDE0B5344766740AF268ADB32322E5C", 4, 32},
    // Curve512Test
    {"0x4531ACD1FE0023C7550D267B6B2FEE80922B14B2FFB90F04D4EB7C09B5D2D15D"
     "F1D852741AF4704A0458047E80E4546D35B8336FAC224DD81664BBF528BE6373",
     "0x7",
     "0x1CFF0806A31116DA29D8CFA54E57EB748BC5F377E49400FDD788B649ECA1AC43"
     "61834013B2AD7322480A89CA58E0CF74BC9E540C2ADD6897FAD0A3084F302ADC",
     "0x4531ACD1FE0023C7550D267B6B2FEE80922B14B2FFB90F04D4EB7C09B5D2D15D"
     "A82F2D7ECB1DBAC719905C5EECC423F1D86E25EDBE23C595D644AAF187E6E6DF",
     "0x24D19CC64572EE30F396BF6EBBFD7A6C5213B3B3D7057CC825F91093A68CD762"
     "FD60611262CD838DC6B60AA7EEE804E28BC849977FAC33B4B530F1B120248A9A",
     "0x2BB312A43BD2CE6E0D020613C857ACDDCFBF061E91E5F2C3F32447C259F39B2C"
     "83AB156D77F1496BF7EB3351E1EE4E43DC1A18B91B24640B6DBB92CB1ADD371E",
     1, 64},
    // Curve512A
    {"0xFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"
     "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFDC7",
     "0xFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"
     "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFDC4",
     "0xE8C2505DEDFC86DDC1BD0B2B6667F1DA34B82574761CB0E879BD081CFD0B6265"
     "EE3CB090F30D27614CB4574010DA90DD862EF9D4EBEE4761503190785A71C760",
     "0xFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"
     "27E69532F48D89116FF22B8D4E0560609B4B38ABFAD2B85DCACDB1411F10B275",
     "0x3",
     "0x7503CFE87A836AE3A61B8816E25450E6CE5E1C93ACF1ABC1778064FDCBEFA921"
     "DF1626BE4FD036E93D75E6A50E3A41E98028FE5FC235F5B889A589CB5215F2A4",
     1, 64},
    // Curve512B
    {"0x8000000000000000000000000000000000000000000000000000000000000000"
     "000000000000000000000000000000000000000000000000000000000000006F",
     "0x8000000000000000000000000000000000000000000000000000000000000000"
     "000000000000000000000000000000000000000000000000000000000000006C",
     "0x687D1B459DC841457E3E06CF6F5E2517B97C7D614AF138BCBF85DC806C4B289F"
     "3E965D2DB1416D217F8B276FAD1AB69C50F78BEE1FA3106EFB8CCBC7C5140116",
     "0x8000000000000000000000000000000000000000000000000000000000000001"
     "49A1EC142565A545ACFDB77BD9D40CFA8B996712101BEA0EC6346C54374F25BD",
     "0x2",
     "0x1A8F7EDA389B094C2C071E3647A8940F3C123B697578C213BE6DD9E6C8EC7335"
     "DCB228FD1EDF4A39152CBCAAF8C0398828041055F94CEEEC7E21340780FE41BD",
     1, 64},
    // Curve512C
    {"0xFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"
     "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFDC7",
     "0xDC9203E514A721875485A529D2C722FB187BC8980EB866644DE41C68E1430645"
     "46E861C0E2C9EDD92ADE71F46FCF50FF2AD97F951FDA9F2A2EB6546F39689BD3",
     "0xB4C4EE28CEBC6C2C8AC12952CF37F16AC7EFB6A9F69F4B57FFDA2E4F0DE5ADE0"
     "38CBC2FFF719D2C18DE0284B8BFEF3B52B8CC7A5F5BF0A3C8D2319A5312557E1",
     "0x3FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"
     "C98CDBA46506AB004C33A9FF5147502CC8EDA9E7A769A12694623CEF47F023ED",
     "0xE2E31EDFC23DE7BDEBE241CE593EF5DE2295B7A9CBAEF021D385F7074CEA043A"
     "A27272A7AE602BF2A7B9033DB9ED3610C6FB85487EAE97AAC5BC7928C1950148",
     "0xF5CE40D95B5EB899ABBCCFF5911CB8577939804D6527378B8C108C3D2090FF9B"
     "E18E2D33E3021ED2EF32D85822423B6304F726AA854BAE07D0396E9A9ADDC40F",
     4, 64},
};

// Parameter-set OIDs: DER, curve, the algorithm families that may use them. RFC 9215 lets
// GOST R 34.10-2012 256-bit keys use the 2001 parameter sets; the tc26 256 sets are 2012 only.
struct OidDef {
    uint8_t der[11];
    uint8_t len;
    int curve;
    unsigned use;
};
const OidDef kOids[] = {
    {{0x06, 0x07, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x23, 0x00}, 9, CurveTest, Use2001 | Use2012_256},
    {{0x06, 0x07, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x23, 0x01}, 9, CurveA, Use2001 | Use2012_256},
    {{0x06, 0x07, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x23, 0x02}, 9, CurveB, Use2001 | Use2012_256},
    {{0x06, 0x07, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x23, 0x03}, 9, CurveC, Use2001 | Use2012_256},
    {{0x06, 0x07, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x24, 0x00}, 9, CurveA, Use2001 | Use2012_256},  // XchA
    {{0x06, 0x07, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x24, 0x01}, 9, CurveC, Use2001 | Use2012_256},  // XchB
    {{0x06, 0x09, 0x2a, 0x85, 0x03, 0x07, 0x01, 0x02, 0x01, 0x01, 0x01}, 11, Curve256TcA, Use2012_256},
    {{0x06, 0x09, 0x2a, 0x85, 0x03, 0x07, 0x01, 0x02, 0x01, 0x01, 0x02}, 11, CurveA, Use2012_256},
    {{0x06, 0x09, 0x2a, 0x85, 0x03, 0x07, 0x01, 0x02, 0x01, 0x01, 0x03}, 11, CurveB, Use2012_256},
    {{0x06, 0x09, 0x2a, 0x85, 0x03, 0x07, 0x01, 0x02, 0x01, 0x01, 0x04}, 11, CurveC, Use2012_256},
    {{0x06, 0x09, 0x2a, 0x85, 0x03, 0x07, 0x01, 0x02, 0x01, 0x02, 0x00}, 11, Curve512Test, Use2012_512},
    {{0x06, 0x09, 0x2a, 0x85, 0x03, 0x07, 0x01, 0x02, 0x01, 0x02, 0x01}, 11, Curve512A, Use2012_512},
    {{0x06, 0x09, 0x2a, 0x85, 0x03, 0x07, 0x01, 0x02, 0x01, 0x02, 0x02}, 11, Curve512B, Use2012_512},
    {{0x06, 0x09, 0x2a, 0x85, 0x03, 0x07, 0x01, 0x02, 0x01, 0x02, 0x03}, 11, Curve512C, Use2012_512},
};

bool validCurve(int curve) { return curve >= 0 && curve < CurveCount; }

// Explicit parameters and no OID: Botan's own OID table is not trusted for GOST curves.
const Botan::EC_Group& group(int curve) {
    static std::once_flag once;
    static std::unique_ptr<Botan::EC_Group> groups[CurveCount];
    std::call_once(once, [] {
        for (int i = 0; i < CurveCount; ++i) {
            const CurveDef& c = kCurves[i];
            groups[i] = std::make_unique<Botan::EC_Group>(Botan::BigInt(c.p), Botan::BigInt(c.a), Botan::BigInt(c.b),
                                                          Botan::BigInt(c.x), Botan::BigInt(c.y), Botan::BigInt(c.q),
                                                          Botan::BigInt(c.cofactor));
        }
    });
    return *groups[curve];
}

Botan::RandomNumberGenerator& rng() { return Botan::system_rng(); }

Bytes leFixed(const Botan::BigInt& v, size_t n) {
    Botan::secure_vector<uint8_t> be = Botan::BigInt::encode_1363(v, n);
    Bytes out(be.rbegin(), be.rend());
    return out;
}

Botan::BigInt fromLe(const uint8_t* p, size_t n) {
    Bytes be(p, p + n);
    std::reverse(be.begin(), be.end());
    return Botan::BigInt(be.data(), be.size());
}

Bytes pubFromPoint(const Botan::PointGFp& pt, size_t n) {
    Bytes out = leFixed(pt.get_affine_x(), n);
    Bytes y = leFixed(pt.get_affine_y(), n);
    out.insert(out.end(), y.begin(), y.end());
    return out;
}

const char* botanName(DigestKind k) {
    switch (k) {
        case DigestKind::Streebog256: return "Streebog-256";
        case DigestKind::Streebog512: return "Streebog-512";
        default: return "GOST-34.11";
    }
}

}  // namespace

const Bytes kOidXchA = {0x06, 0x07, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x24, 0x00};
const Bytes kOidTc26_512A = {0x06, 0x09, 0x2a, 0x85, 0x03, 0x07, 0x01, 0x02, 0x01, 0x02, 0x01};
const Bytes kOidDigest3411_94 = {0x06, 0x07, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x1e, 0x01};
const Bytes kOidStreebog256 = {0x06, 0x08, 0x2a, 0x85, 0x03, 0x07, 0x01, 0x01, 0x02, 0x02};
const Bytes kOidStreebog512 = {0x06, 0x08, 0x2a, 0x85, 0x03, 0x07, 0x01, 0x01, 0x02, 0x03};

int curveFromOidDer(const uint8_t* der, size_t len, unsigned use) {
    for (const OidDef& o : kOids)
        if ((o.use & use) && len == o.len && std::memcmp(der, o.der, len) == 0) return o.curve;
    return -1;
}

Bytes curveOidDer(int curve) {
    // Only the four 2001 curves have a 1.2.643.2.2.35.x name.
    return Bytes{0x06, 0x07, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x23, static_cast<uint8_t>(curve)};
}

size_t coordBytes(int curve) { return validCurve(curve) ? kCurves[curve].bytes : 0; }

struct Digest::Impl {
    std::unique_ptr<Botan::HashFunction> h;
};

Digest::Digest(DigestKind kind) : kind_(kind), impl_(new Impl) {
    impl_->h = Botan::HashFunction::create_or_throw(botanName(kind));
}
Digest::~Digest() = default;
Digest::Digest(const Digest& other) : kind_(other.kind_), impl_(new Impl) { impl_->h = other.impl_->h->copy_state(); }
Digest& Digest::operator=(const Digest& other) {
    if (this != &other) {
        kind_ = other.kind_;
        impl_->h = other.impl_->h->copy_state();
    }
    return *this;
}
void Digest::update(const uint8_t* data, size_t len) { impl_->h->update(data, len); }
Bytes Digest::final() {
    Botan::secure_vector<uint8_t> v = impl_->h->final();
    return Bytes(v.begin(), v.end());
}
size_t Digest::size() const { return impl_->h->output_length(); }
size_t Digest::blockSize() const { return impl_->h->hash_block_size(); }

void randomBytes(uint8_t* out, size_t len) { rng().randomize(out, len); }

KeyMaterial generateKey(int curve) {
    KeyMaterial k;
    k.curve = curve;
    const size_t n = coordBytes(curve);
    Botan::GOST_3410_PrivateKey priv(rng(), group(curve));
    Botan::secure_vector<uint8_t> x = Botan::BigInt::encode_1363(priv.private_value(), n);
    k.priv.assign(x.begin(), x.end());
    k.hasPrivate = true;
    k.pubXYle = pubFromPoint(priv.public_point(), n);
    return k;
}

bool completeFromPrivate(KeyMaterial& key) {
    if (!validCurve(key.curve) || key.priv.size() != coordBytes(key.curve)) return false;
    Botan::BigInt x(key.priv.data(), key.priv.size());
    const Botan::EC_Group& g = group(key.curve);
    if (x <= 0 || x >= g.get_order()) return false;
    Botan::GOST_3410_PrivateKey priv(rng(), g, x);
    key.pubXYle = pubFromPoint(priv.public_point(), coordBytes(key.curve));
    key.hasPrivate = true;
    return true;
}

bool validatePublic(const KeyMaterial& key) {
    if (!validCurve(key.curve)) return false;
    const size_t n = coordBytes(key.curve);
    if (key.pubXYle.size() != 2 * n) return false;
    try {
        const Botan::EC_Group& g = group(key.curve);
        Botan::BigInt x = fromLe(key.pubXYle.data(), n), y = fromLe(key.pubXYle.data() + n, n);
        if (x >= g.get_p() || y >= g.get_p()) return false;
        Botan::PointGFp pt = g.point(x, y);
        if (!pt.on_the_curve() || pt.is_zero()) return false;
        if (kCurves[key.curve].cofactor != 1 && !(g.get_order() * pt).is_zero()) return false;
        return true;
    } catch (...) {
        return false;
    }
}

Bytes sign(const KeyMaterial& key, const uint8_t* hash, size_t hashLen) {
    Botan::GOST_3410_PrivateKey priv(rng(), group(key.curve), Botan::BigInt(key.priv.data(), key.priv.size()));
    Botan::PK_Signer signer(priv, rng(), "Raw");
    std::vector<uint8_t> sig = signer.sign_message(hash, hashLen, rng());
    return Bytes(sig.begin(), sig.end());
}

// GOST R 34.10 verification, written out: Botan 2.19's own compares x(C) with r without
// reducing it mod q, which fails almost always on the curves with a cofactor (tc26 256-A,
// 512-C), where q is a quarter of p.
bool verify(const KeyMaterial& key, const uint8_t* hash, size_t hashLen, const uint8_t* sr, size_t srLen) {
    try {
        const size_t n = coordBytes(key.curve);
        if (!n || key.pubXYle.size() != 2 * n || srLen != 2 * n || !hashLen) return false;
        const Botan::EC_Group& g = group(key.curve);
        const Botan::BigInt& q = g.get_order();
        const Botan::PointGFp pub = g.point(fromLe(key.pubXYle.data(), n), fromLe(key.pubXYle.data() + n, n));
        const Botan::BigInt s(sr, n), r(sr + n, n);
        if (r <= 0 || r >= q || s <= 0 || s >= q) return false;
        Botan::BigInt e = g.mod_order(fromLe(hash, hashLen));  // the digest read little-endian
        if (e == 0) e = 1;
        const Botan::BigInt v = g.inverse_mod_order(e);
        const Botan::BigInt z1 = g.multiply_mod_order(s, v);
        const Botan::BigInt z2 = g.multiply_mod_order(q - r, v);
        const Botan::PointGFp c = g.point_multiply(z1, pub, z2);  // z1 * P + z2 * Q
        if (c.is_zero()) return false;
        return g.mod_order(c.get_affine_x()) == r;
    } catch (...) {
        return false;
    }
}

}  // namespace softgost
