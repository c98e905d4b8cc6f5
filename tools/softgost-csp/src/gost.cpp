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
    uint8_t oidLast;
};

// GOST R 34.10-2001 curves, RFC 5832 (test) and RFC 4357 (CryptoPro A, B, C), cofactor 1.
const CurveDef kCurves[CurveCount] = {
    {"0x8000000000000000000000000000000000000000000000000000000000000431", "0x7",
     "0x5FBFF498AA938CE739B8E022FBAFEF40563F6E6A3472FC2A514C0CE9DAE23B7E",
     "0x8000000000000000000000000000000150FE8A1892976154C59CFC193ACCF5B3", "0x2",
     "0x08E2A8A0E65147D4BD6316030E16D19C85C97F0A9CA267122B96ABBCEA7E8FC8", 0},
    {"0xFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFD97",
     "0xFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFD94", "0xA6",
     "0xFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF6C611070995AD10045841B09B761B893", "0x1",
     "0x8D91E471E0989CDA27DF505A453F2B7635294F2DDF23E3B122ACC99C9E9F1E14", 1},
    {"0x8000000000000000000000000000000000000000000000000000000000000C99",
     "0x8000000000000000000000000000000000000000000000000000000000000C96",
     "0x3E1AF419A269A5F866A7D3C25C3DF80AE979259373FF2B182F49D4CE7E1BBC8B",
     "0x800000000000000000000000000000015F700CFFF1A624E5E497161BCC8A198F", "0x1",
     "0x3FA8124359F96680B83D1C3EB2C070E5C545C9858D03ECFB744BF8D717717EFC", 2},
    {"0x9B9F605F5A858107AB1EC85E6B41C8AACF846E86789051D37998F7B9022D759B",
     "0x9B9F605F5A858107AB1EC85E6B41C8AACF846E86789051D37998F7B9022D7598", "0x805A",
     "0x9B9F605F5A858107AB1EC85E6B41C8AA582CA3511EDDFB74F02F3A6598980BB9", "0x0",
     "0x41ECE55743711A8C3CBF3783CD08C0EE4D4DC440D4641A8F366E550DFDB3BB67", 3},
};

// Explicit parameters and no OID: Botan's own OID table is not trusted for GOST curves.
const Botan::EC_Group& group(int curve) {
    static std::once_flag once;
    static std::unique_ptr<Botan::EC_Group> groups[CurveCount];
    std::call_once(once, [] {
        for (int i = 0; i < CurveCount; ++i) {
            const CurveDef& c = kCurves[i];
            groups[i] = std::make_unique<Botan::EC_Group>(
                Botan::BigInt(c.p), Botan::BigInt(c.a), Botan::BigInt(c.b), Botan::BigInt(c.x),
                Botan::BigInt(c.y), Botan::BigInt(c.q), Botan::BigInt(1));
        }
    });
    return *groups[curve];
}

Botan::RandomNumberGenerator& rng() { return Botan::system_rng(); }

Bytes leFixed(const Botan::BigInt& v) {
    Botan::secure_vector<uint8_t> be = Botan::BigInt::encode_1363(v, 32);
    Bytes out(be.rbegin(), be.rend());
    return out;
}

Botan::BigInt fromLe(const uint8_t* p, size_t n) {
    Bytes be(p, p + n);
    std::reverse(be.begin(), be.end());
    return Botan::BigInt(be.data(), be.size());
}

Bytes pubFromPoint(const Botan::PointGFp& pt) {
    Bytes out = leFixed(pt.get_affine_x());
    Bytes y = leFixed(pt.get_affine_y());
    out.insert(out.end(), y.begin(), y.end());
    return out;
}

}  // namespace

int curveFromOidDer(const uint8_t* der, size_t len) {
    static const uint8_t prefix35[] = {0x06, 0x07, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x23};
    static const uint8_t prefix36[] = {0x06, 0x07, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x24};
    if (len != 9) return -1;
    if (std::memcmp(der, prefix35, 8) == 0 && der[8] <= 3) return der[8];  // test, A, B, C
    if (std::memcmp(der, prefix36, 8) == 0) {
        if (der[8] == 0) return CurveA;  // XchA
        if (der[8] == 1) return CurveC;  // XchB
    }
    return -1;
}

Bytes curveOidDer(int curve) {
    return Bytes{0x06, 0x07, 0x2a, 0x85, 0x03, 0x02, 0x02, 0x23, kCurves[curve].oidLast};
}

struct Hash3411::Impl {
    std::unique_ptr<Botan::HashFunction> h;
};

Hash3411::Hash3411() : impl_(new Impl) { impl_->h = Botan::HashFunction::create_or_throw("GOST-34.11"); }
Hash3411::~Hash3411() = default;
Hash3411::Hash3411(const Hash3411& other) : impl_(new Impl) { impl_->h = other.impl_->h->copy_state(); }
void Hash3411::update(const uint8_t* data, size_t len) { impl_->h->update(data, len); }
Bytes Hash3411::final() {
    Botan::secure_vector<uint8_t> v = impl_->h->final();
    return Bytes(v.begin(), v.end());
}

void randomBytes(uint8_t* out, size_t len) { rng().randomize(out, len); }

KeyMaterial generateKey(int curve) {
    KeyMaterial k;
    k.curve = curve;
    Botan::GOST_3410_PrivateKey priv(rng(), group(curve));
    Botan::secure_vector<uint8_t> x = Botan::BigInt::encode_1363(priv.private_value(), 32);
    k.priv.assign(x.begin(), x.end());
    k.hasPrivate = true;
    k.pubXYle = pubFromPoint(priv.public_point());
    return k;
}

bool completeFromPrivate(KeyMaterial& key) {
    if (key.priv.size() != 32 || key.curve < 0 || key.curve >= CurveCount) return false;
    Botan::BigInt x(key.priv.data(), key.priv.size());
    const Botan::EC_Group& g = group(key.curve);
    if (x <= 0 || x >= g.get_order()) return false;
    Botan::GOST_3410_PrivateKey priv(rng(), g, x);
    key.pubXYle = pubFromPoint(priv.public_point());
    key.hasPrivate = true;
    return true;
}

bool validatePublic(const KeyMaterial& key) {
    if (key.pubXYle.size() != 64 || key.curve < 0 || key.curve >= CurveCount) return false;
    try {
        const Botan::EC_Group& g = group(key.curve);
        Botan::BigInt x = fromLe(key.pubXYle.data(), 32), y = fromLe(key.pubXYle.data() + 32, 32);
        if (x >= g.get_p() || y >= g.get_p()) return false;
        Botan::PointGFp pt = g.point(x, y);
        return pt.on_the_curve() && !pt.is_zero();
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

bool verify(const KeyMaterial& key, const uint8_t* hash, size_t hashLen, const uint8_t* sr, size_t srLen) {
    try {
        const Botan::EC_Group& g = group(key.curve);
        Botan::PointGFp pt = g.point(fromLe(key.pubXYle.data(), 32), fromLe(key.pubXYle.data() + 32, 32));
        Botan::GOST_3410_PublicKey pub(g, pt);
        Botan::PK_Verifier verifier(pub, "Raw");
        return verifier.verify_message(hash, hashLen, sr, srLen);
    } catch (...) {
        return false;
    }
}

}  // namespace softgost
