#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/CryptXmlException.hpp"
#include "crypto/XmlStack.hpp"
#include "document/Base64.hpp"
#include "support/CaughtException.hpp"
#include "support/TraceLines.hpp"

using testing_support::Caught;
using testing_support::CodeMessage;
using testing_support::InvalidArgMessage;

namespace {

class Base64Test : public ::testing::Test {
protected:
    static void SetUpTestSuite() { xmlStack::Ensure(); }

    static std::string Decode(const wchar_t* text) {
        std::vector<BYTE> out{'x'};
        base64::Base64ToBin(text, out);
        return std::string(out.begin(), out.end());
    }
    static std::string Encode(const std::string& bytes) {
        std::string out = "stale";
        base64::BinToBase64(std::vector<BYTE>(bytes.begin(), bytes.end()), out);
        return out;
    }
    static std::wstring EncodeBlob(const std::string& bytes) {
        std::vector<BYTE> copy(bytes.begin(), bytes.end());
        CRYPT_DATA_BLOB blob{static_cast<DWORD>(copy.size()), copy.empty() ? nullptr : copy.data()};
        std::vector<wchar_t> out{L'x'};
        base64::BlobToBase64(blob, out);
        if (out.empty()) return L"<empty>";
        EXPECT_EQ(L'\0', out.back());
        return std::wstring(out.data(), out.size() - 1);
    }
};

// 100 bytes 0..99 and their Base64 text as the coder writes it: a line feed after every
// 76 characters, none at the end.
std::string Hundred() {
    std::string bytes;
    for (int i = 0; i < 100; ++i) bytes += static_cast<char>(i);
    return bytes;
}
constexpr char kHundredBase64[] =
    "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4\n"
    "OTo7PD0+P0BBQkNERUZHSElKS0xNTk9QUVJTVFVWV1hZWltcXV5fYGFiYw==";

}  // namespace

TEST_F(Base64Test, DecodesText) {
    EXPECT_EQ("hello", Decode(L"aGVsbG8="));
    EXPECT_EQ("hell", Decode(L"aGVsbA=="));
    EXPECT_EQ("hel", Decode(L"aGVs"));
}

TEST_F(Base64Test, EmptyTextGivesNoBytes) { EXPECT_EQ("", Decode(L"")); }

TEST_F(Base64Test, LineBreaksAndBlanksAreSkipped) {
    EXPECT_EQ("hello world", Decode(L"aGVs\r\nbG8g\n  d29y\tbGQ="));
    std::wstring wide(kHundredBase64, kHundredBase64 + sizeof(kHundredBase64) - 1);
    EXPECT_EQ(Hundred(), Decode(wide.c_str()));
}

TEST_F(Base64Test, CharactersOutsideTheAlphabetAreDropped) {
    // The coder skips them like white space, so this garbage decodes to nothing and this
    // one to what its Base64 characters spell.
    EXPECT_EQ("", Decode(L"!!!!@@@@####"));
    EXPECT_EQ("", Decode(L"\x00e9\x00e9\x00e9\x00e9"));
    EXPECT_EQ("hello", Decode(L"a*G*V*s*b*G*8*="));
}

TEST_F(Base64Test, IncompleteQuantumIsIgnored) { EXPECT_EQ("hel", Decode(L"aGVsbG")); }

TEST_F(Base64Test, MisplacedPaddingIsInvalidFormat) {
    for (const wchar_t* text : {L"====", L"A===", L"aGVs=AAA"}) {
        std::vector<BYTE> out{'x'};
        CryptXmlException e = Caught([&] { base64::Base64ToBin(text, out); });
        EXPECT_EQ(hr::kInvalidFormat, e.hr());
        EXPECT_EQ(CodeMessage("Base64ToBin",
                              "The input data was not in the expected format or did not have the expected value.",
                              "XSCrypt:Base64 - Invalid character at start of base 64 block"),
                  e.what());
        EXPECT_TRUE(out.empty());
    }
}

TEST_F(Base64Test, LongGarbageStaysInsideTheBuffer) {
    // Many characters, few of them Base64: the output never exceeds the text's length.
    std::wstring text(100000, L'~');
    for (size_t i = 0; i < text.size(); i += 7) text[i] = L'Q';
    std::vector<BYTE> out;
    base64::Base64ToBin(text.c_str(), out);
    EXPECT_LE(out.size(), text.size());
    EXPECT_EQ((text.size() / 7 + 1) / 4 * 3, out.size());
}

TEST_F(Base64Test, NullTextIsRejected) {
    std::vector<BYTE> out;
    CryptXmlException e = Caught([&] { base64::Base64ToBin(nullptr, out); });
    EXPECT_EQ(hr::kInvalidArg, e.hr());
    EXPECT_EQ(InvalidArgMessage("Base64ToBin", "NULL == base64"), e.what());
}

TEST_F(Base64Test, TextLongerThanUintMaxIsRejected) {
    base64::CheckTextLength(0xFFFFFFFFull);
    CryptXmlException e = Caught([] { base64::CheckTextLength(0x100000000ull); });
    EXPECT_EQ(hr::kInvalidArg, e.hr());
    EXPECT_EQ(InvalidArgMessage("Base64ToBin", "base64len > UINT_MAX"), e.what());
}

TEST_F(Base64Test, EncodesWithLineFeeds) {
    EXPECT_EQ("aGVsbG8=", Encode("hello"));
    EXPECT_EQ("aGVsbA==", Encode("hell"));
    EXPECT_EQ(kHundredBase64, Encode(Hundred()));
}

TEST_F(Base64Test, EncodesShortInputsWhole) {
    EXPECT_EQ("AQ==", Encode("\x01"));
    EXPECT_EQ("AQI=", Encode("\x01\x02"));
    EXPECT_EQ("AQID", Encode("\x01\x02\x03"));
}

TEST_F(Base64Test, EncodingNothingGivesEmptyText) { EXPECT_EQ("", Encode("")); }

TEST_F(Base64Test, BlobEncodesToTerminatedWideText) {
    EXPECT_EQ(L"aGVsbG8=", EncodeBlob("hello"));
    EXPECT_EQ(L"AQ==", EncodeBlob("\x01"));
    const std::string hundred = Hundred();
    EXPECT_EQ(std::wstring(kHundredBase64, kHundredBase64 + sizeof(kHundredBase64) - 1), EncodeBlob(hundred));
}

TEST_F(Base64Test, EmptyBlobGivesEmptyVector) {
    EXPECT_EQ(L"<empty>", EncodeBlob(""));
    BYTE byte = 1;
    CRYPT_DATA_BLOB nullData{1, nullptr};
    CRYPT_DATA_BLOB noBytes{0, &byte};
    for (const CRYPT_DATA_BLOB& blob : {nullData, noBytes}) {
        std::vector<wchar_t> out{L'x'};
        base64::BlobToBase64(blob, out);
        EXPECT_TRUE(out.empty());
    }
}

TEST_F(Base64Test, RoundTrip) {
    std::string bytes;
    for (int i = 0; i < 1000; ++i) bytes += static_cast<char>(i * 37);
    const std::wstring text = EncodeBlob(bytes);
    EXPECT_EQ(bytes, Decode(text.c_str()));
}

TEST_F(Base64Test, DecodeRequiredRefusesTextWithoutBytes) {
    EXPECT_EQ((std::vector<BYTE>{'h', 'e', 'l'}), base64::DecodeRequired("F::G", L"aGVs", "why"));
    CryptXmlException e = Caught([] { base64::DecodeRequired("F::G", L"!!", "why"); });
    EXPECT_EQ(hr::kInvalidArg, e.hr());
    EXPECT_EQ(InvalidArgMessage("F::G", "why"), e.what());
}
