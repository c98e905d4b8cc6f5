#pragma once
// Known answers: FIPS 180 example messages, RFC 4231 test cases 1-7 (HMAC-SHA-256/384/512;
// case 5 compared over the whole output, whose first 128 bits the RFC lists) and RFC 2202
// test cases 1-7 (HMAC-SHA-1), GOST R 34.11-2012 (Streebog). Hex strings.

namespace kat {

struct DigestCase {
    const char* name;
    const char* message;
    const char* sha1;
    const char* sha256;
    const char* sha384;
    const char* sha512;
};

inline const DigestCase kDigests[] = {
    {"abc", "abc", "a9993e364706816aba3e25717850c26c9cd0d89d",
     "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
     "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7",
     "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2"
     "a9ac94fa54ca49f"},
    {"empty", "", "da39a3ee5e6b4b0d3255bfef95601890afd80709",
     "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855",
     "38b060a751ac96384cd9327eb1b1e36a21fdb71114be07434c0cc7bf63f6e1da274edebfe76f65fbd51ad2f14898b95b",
     "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a"
     "538327af927da3e"},
    {"fips448", "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq", "84983e441c3bd26ebaae4aa1f95129e5e54670f1",
     "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1",
     "3391fdddfc8dc7393707a65b1b4709397cf8b1d162af05abfe8f450de5f36bc6b0455a8520bc4e6f5fe95b1fe3c8452b",
     "204a8fc6dda82f0a0ced7beb8e08a41657c16ef468b228a8279be331a703c33596fd15c13b1b07f9aa1d3bea57789ca031ad85c7a71dd7035"
     "4ec631238ca3445"},
};

struct Rfc4231Case {
    int number;
    const char* keyHex;
    const char* dataHex;
    const char* sha256;
    const char* sha384;
    const char* sha512;
};

inline const Rfc4231Case kRfc4231[] = {
    {1, "0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b", "4869205468657265",
     "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7",
     "afd03944d84895626b0825f4ab46907f15f9dadbe4101ec682aa034c7cebc59cfaea9ea9076ede7f"
     "4af152e8b2fa9cb6",
     "87aa7cdea5ef619d4ff0b4241a1d6cb02379f4e2ce4ec2787ad0b30545e17cdedaa833b7d6b8a702"
     "038b274eaea3f4e4be9d914eeb61f1702e696c203a126854"},
    {2, "4a656665", "7768617420646f2079612077616e7420666f72206e6f7468696e673f",
     "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843",
     "af45d2e376484031617f78d2b58a6b1b9c7ef464f5a01b47e42ec3736322445e8e2240ca5e69e2c7"
     "8b3239ecfab21649",
     "164b7a7bfcf819e2e395fbe73b56e0a387bd64222e831fd610270cd7ea2505549758bf75c05a994a"
     "6d034f65f8f0e6fdcaeab1a34d4a6b4b636e070a38bce737"},
    {3, "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa",
     "dddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddd"
     "dddddddddddddddddddd",
     "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe",
     "88062608d3e6ad8a0aa2ace014c8a86f0aa635d947ac9febe83ef4e55966144b2a5ab39dc13814b9"
     "4e3ab6e101a34f27",
     "fa73b0089d56a284efb0f0756c890be9b1b5dbdd8ee81a3655f83e33b2279d39bf3e848279a722c8"
     "06b485a47e67c807b946a337bee8942674278859e13292fb"},
    {4, "0102030405060708090a0b0c0d0e0f10111213141516171819",
     "cdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcd"
     "cdcdcdcdcdcdcdcdcdcd",
     "82558a389a443c0ea4cc819899f2083a85f0faa3e578f8077a2e3ff46729665b",
     "3e8a69b7783c25851933ab6290af6ca77a9981480850009cc5577c6e1f573b4e6801dd23c4a7d679"
     "ccf8a386c674cffb",
     "b0ba465637458c6990e5a8c5f61d4af7e576d97ff94b872de76f8050361ee3dba91ca5c11aa25eb4"
     "d679275cc5788063a5f19741120c4f2de2adebeb10a298dd"},
    {5, "0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c", "546573742057697468205472756e636174696f6e",
     "a3b6167473100ee06e0c796c2955552bfa6f7c0a6a8aef8b93f860aab0cd20c5",
     "3abf34c3503b2a23a46efc619baef897f4c8e42c934ce55ccbae9740fcbc1af4ca62269e2a37cd88"
     "ba926341efe4aeea",
     "415fad6271580a531d4179bc891d87a650188707922a4fbb36663a1eb16da008711c5b50ddd0fc23"
     "5084eb9d3364a1454fb2ef67cd1d29fe6773068ea266e96b"},
    {6,
     "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"
     "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"
     "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"
     "aaaaaaaaaaaaaaaaaaaaaa",
     "54657374205573696e67204c6172676572205468616e20426c6f636b2d53697a65204b6579202d20"
     "48617368204b6579204669727374",
     "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54",
     "4ece084485813e9088d2c63a041bc5b44f9ef1012a2b588f3cd11f05033ac4c60c2ef6ab4030fe82"
     "96248df163f44952",
     "80b24263c7c1a3ebb71493c1dd7be8b49b46d1f41b4aeec1121b013783f8f3526b56d037e05f2598"
     "bd0fd2215d6a1e5295e64f73f63f0aec8b915a985d786598"},
    {7,
     "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"
     "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"
     "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"
     "aaaaaaaaaaaaaaaaaaaaaa",
     "5468697320697320612074657374207573696e672061206c6172676572207468616e20626c6f636b"
     "2d73697a65206b657920616e642061206c6172676572207468616e20626c6f636b2d73697a652064"
     "6174612e20546865206b6579206e6565647320746f20626520686173686564206265666f72652062"
     "65696e6720757365642062792074686520484d414320616c676f726974686d2e",
     "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2",
     "6617178e941f020d351e2f254e8fd32c602420feb0b8fb9adccebb82461e99c5a678cc31e799176d"
     "3860e6110c46523e",
     "e37b6a775dc87dbaa4dfa9f96e5e3ffddebd71f8867289865df5a32d20cdc944b6022cac3c4982b1"
     "0d5eeb55c3e4de15134676fb6de0446065c97440fa8c6a58"},
};

struct Rfc2202Case {
    int number;
    const char* keyHex;
    const char* dataHex;
    const char* sha1;
};

inline const Rfc2202Case kRfc2202[] = {
    {1, "0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b", "4869205468657265", "b617318655057264e28bc0b6fb378c8ef146be00"},
    {2, "4a656665", "7768617420646f2079612077616e7420666f72206e6f7468696e673f",
     "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
    {3, "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa",
     "dddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddd"
     "dddddddddddddddddddd",
     "125d7342b9ac11cd91a39af48aa17b4f63f175d3"},
    {4, "0102030405060708090a0b0c0d0e0f10111213141516171819",
     "cdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcdcd"
     "cdcdcdcdcdcdcdcdcdcd",
     "4c9007f4026250c6bc8414f9bf50c86c2d7235da"},
    {5, "0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c", "546573742057697468205472756e636174696f6e",
     "4c1a03424b55e07fe7f27be1d58bb9324a9a5a04"},
    {6,
     "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"
     "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa",
     "54657374205573696e67204c6172676572205468616e20426c6f636b2d53697a65204b6579202d20"
     "48617368204b6579204669727374",
     "aa4ae5e15272d00e95705637ce8a3b55ed402112"},
    {7,
     "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"
     "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa",
     "54657374205573696e67204c6172676572205468616e20426c6f636b2d53697a65204b657920616e"
     "64204c6172676572205468616e204f6e6520426c6f636b2d53697a652044617461",
     "e8e99d0f45237d786d6bbaa7965c7808bbff1a91"},
};

// A 100-byte key: longer than the SHA-1/256 block, shorter than the SHA-384/512 one
// (computed with Python's hmac module).
inline const char kMidKeyHex[] =
    "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f2021222324252627"
    "28292a2b2c2d2e2f303132333435363738393a3b3c3d3e3f404142434445464748494a4b4c4d4e4f"
    "505152535455565758595a5b5c5d5e5f60616263";
inline const char kMidKeyData[] = "key between 64 and 128 bytes";
inline const char kMidKeySha384[] =
    "b48440c83434d2f6db6381e4a5c62b31de54e22e4d6387b401aba4ffeb4cb63d7217b558d5a41244"
    "0dc6565143534073";
inline const char kMidKeySha512[] =
    "eebbb4f066480a98799bf80642af416d0ac777726234dd886dd823a940ac35951f19cff41db03cb7"
    "e5dc1210cbc79f8f61555538ecc5194f5537d39b1212ec20";
// An empty key, message "abc".
inline const char kEmptyKeySha1[] = "9b4a918f398d74d3e367970aba3cbe54e4d2b5d9";
inline const char kEmptyKeySha256[] = "fd7adb152c05ef80dccf50a1fa4c05d5a3ec6da95575fc312ae7c5d091836351";

// GOST R 34.11-2012 (Streebog): RFC 6986's first message and the empty message, output bytes
// in the order CryptGetHashParam, OpenSSL's GOST engine and Botan return them (the order a
// DigestValue carries; RFC 6986 prints its examples reversed).
struct StreebogCase {
    const char* name;
    const char* message;
    const char* streebog256;
    const char* streebog512;
};

inline const StreebogCase kStreebog[] = {
    {"RFC 6986 M1 (63 bytes)", "012345678901234567890123456789012345678901234567890123456789012",
     "9d151eefd8590b89daa6ba6cb74af9275dd051026bb149a452fd84e5e57b5500",
     "1b54d01a4af5b9d5cc3d86d68d285462b19abc2475222f35c085122be4ba1ffa00ad30f8767b3a82384c6574f024c311e2a481332b08ef7f4"
     "1"
     "797891c1646f48"},
    {"empty", "", "3f539a213e97c802cc229d474c6aa32a825a360b2a933a949fd925208d9ce1bb",
     "8e945da209aa869f0455928529bcae4679e9873ab707b55315f56ceb98bef0a7362f715528356ee83cda5f2aac4c6ad2ba3a715c1bcd81cb8"
     "e"
     "9f90bf4c1c1a8a"},
};

}  // namespace kat
