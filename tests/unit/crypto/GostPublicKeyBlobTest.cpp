// The GOST PUBLICKEYBLOB and the forms of a GOST public key in XML, byte for byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "crypto/GostPublicKeyBlob.hpp"

using gostBlob::Bytes;

namespace {

Bytes Hex(const std::string& hex) {
    Bytes out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        out.push_back(static_cast<unsigned char>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    return out;
}

Bytes KeyBytes() {
    Bytes key(64);
    for (size_t i = 0; i < key.size(); ++i) key[i] = static_cast<unsigned char>(i + 1);
    return key;
}

// The example header of a 2001 key on the CryptoPro-A set with the CryptoPro digest set.
const char kExampleHeader[] = "06200000232e00004d41473100020000301206072a85030202230106072a850302021e01";

}  // namespace

TEST(GostPublicKeyBlob, BuildsTheDocumentedLayout) {
    gostBlob::GostPublicKey key;
    key.publicKeyParamSet = "urn:oid:1.2.643.2.2.35.1";
    key.digestParamSet = "1.2.643.2.2.30.1";
    key.key = KeyBytes();
    Bytes expected = Hex(kExampleHeader);
    expected.insert(expected.end(), key.key.begin(), key.key.end());
    EXPECT_EQ(expected, gostBlob::Build(key));
}

TEST(GostPublicKeyBlob, EncryptionParameterSetIsTheThirdOid) {
    gostBlob::GostPublicKey key;
    key.publicKeyParamSet = "1.2.643.2.2.36.0";
    key.digestParamSet = "1.2.643.2.2.30.1";
    key.encryptionParamSet = "1.2.643.2.2.31.1";
    key.key = KeyBytes();
    const Bytes blob = gostBlob::Build(key);
    EXPECT_EQ(Hex("301b06072a85030202240006072a850302021e0106072a850302021f01"),
              Bytes(blob.begin() + 16, blob.begin() + 16 + 29));
    const gostBlob::GostPublicKey parsed = gostBlob::Parse(blob.data(), blob.size());
    EXPECT_EQ(0x2E23u, parsed.algId);
    EXPECT_EQ("1.2.643.2.2.36.0", parsed.publicKeyParamSet);
    EXPECT_EQ("1.2.643.2.2.30.1", parsed.digestParamSet);
    EXPECT_EQ("1.2.643.2.2.31.1", parsed.encryptionParamSet);
    EXPECT_EQ(KeyBytes(), parsed.key);
}

TEST(GostPublicKeyBlob, OidsBothWays) {
    EXPECT_EQ(Hex("2a85030202230100"), gostBlob::EncodeOid("1.2.643.2.2.35.1.0"));
    EXPECT_EQ(Hex("2a8503070101010201"), gostBlob::EncodeOid("urn:oid:1.2.643.7.1.1.1.2.1"));
    const Bytes streebog = Hex("2a85030701010202");
    EXPECT_EQ("1.2.643.7.1.1.2.2", gostBlob::DecodeOid(streebog.data(), streebog.size()));
    EXPECT_EQ("1.2.643.2.2.19", gostBlob::DecodeOid(Hex("2a8503020213").data(), 6));
    for (const char* bad : {"", "1", "1.", "1..2", "3.1", "1.40", "a.b", "1.2.12345678901"}) {
        EXPECT_THROW(gostBlob::EncodeOid(bad), std::invalid_argument) << bad;
    }
    const Bytes unterminated = Hex("2a85");
    EXPECT_THROW(gostBlob::DecodeOid(unterminated.data(), unterminated.size()), std::invalid_argument);
}

TEST(GostPublicKeyBlob, RejectsWhatIsNotSuchABlob) {
    gostBlob::GostPublicKey key;
    key.publicKeyParamSet = "1.2.643.2.2.35.1";
    key.digestParamSet = "1.2.643.2.2.30.1";
    key.key = Bytes(63);
    EXPECT_THROW(gostBlob::Build(key), std::invalid_argument);
    key.key = KeyBytes();
    Bytes blob = gostBlob::Build(key);
    EXPECT_THROW(gostBlob::Parse(blob.data(), blob.size() - 1), std::invalid_argument);
    for (size_t cut : {0u, 5u, 16u, 20u}) EXPECT_THROW(gostBlob::Parse(blob.data(), cut), std::invalid_argument);
    blob[8] = 'X';  // magic
    EXPECT_THROW(gostBlob::Parse(blob.data(), blob.size()), std::invalid_argument);
    EXPECT_THROW(gostBlob::Parse(nullptr, 100), std::invalid_argument);
}

TEST(GostPublicKeyBlob, RawKeyOfEveryXmlForm) {
    const Bytes raw = KeyBytes();
    EXPECT_EQ(raw, gostBlob::RawKey(raw));
    Bytes octets(2 + raw.size());
    octets[0] = 0x04;  // OCTET STRING of 64 bytes
    octets[1] = 0x40;
    std::copy(raw.begin(), raw.end(), octets.begin() + 2);
    EXPECT_EQ(raw, gostBlob::RawKey(octets));
    // SubjectPublicKeyInfo { { 1.2.643.2.2.19, { A set, CryptoPro digest } }, BIT STRING { OCTET STRING key } }
    Bytes spki =
        Hex("306330"
            "1c"
            "06062a8503020213"
            "3012"
            "06072a85030202230106072a850302021e01"
            "034300");
    spki.insert(spki.end(), octets.begin(), octets.end());
    gostBlob::GostPublicKey parameters;
    EXPECT_EQ(raw, gostBlob::RawKey(spki, &parameters));
    EXPECT_EQ("1.2.643.2.2.35.1", parameters.publicKeyParamSet);
    EXPECT_EQ("1.2.643.2.2.30.1", parameters.digestParamSet);
    EXPECT_THROW(gostBlob::RawKey(Bytes(65, 1)), std::invalid_argument);
    EXPECT_THROW(gostBlob::RawKey(Bytes(spki.begin(), spki.end() - 1)), std::invalid_argument);
}

TEST(GostPublicKeyBlob, SubjectPublicKeyInfoRoundTrip) {
    gostBlob::GostPublicKey key;
    key.publicKeyParamSet = "1.2.643.2.2.35.1";
    key.digestParamSet = "1.2.643.2.2.30.1";
    key.key = KeyBytes();
    const Bytes spki = gostBlob::SubjectPublicKeyInfo(key);
    Bytes expected =
        Hex("3063301c06062a85030202133012"
            "06072a85030202230106072a850302021e01"
            "0343000440");
    expected.insert(expected.end(), key.key.begin(), key.key.end());
    EXPECT_EQ(expected, spki);
    gostBlob::GostPublicKey back;
    EXPECT_EQ(key.key, gostBlob::RawKey(spki, &back));
    EXPECT_EQ(key.publicKeyParamSet, back.publicKeyParamSet);
    const Bytes sets = Hex("301206072a85030202240006072a850302021e01");
    const gostBlob::GostPublicKey parsed = gostBlob::ParseParameterSets(sets.data(), sets.size());
    EXPECT_EQ("1.2.643.2.2.36.0", parsed.publicKeyParamSet);
    EXPECT_EQ("1.2.643.2.2.30.1", parsed.digestParamSet);
    EXPECT_THROW(gostBlob::ParseParameterSets(sets.data(), 5), std::invalid_argument);
}
