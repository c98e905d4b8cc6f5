// The same hostile documents at every other export that parses caller XML: a source
// document to sign in, an Object element, the custom content of an Object, a KeyInfo
// element, an encoded transform and a GOST KeyValue. Each refuses them before reading
// anything, with WS_E_INVALID_FORMAT and the reason in the trace.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "support/SignSupport.hpp"
#include "HostileSupport.hpp"
#include "Payloads.hpp"

using namespace hostile;

namespace {

const std::string kSecret = "hostile-entry-secret-of-32-bytes";
const std::string kDsigXmlns = std::string(" xmlns=\"") + kDsigNs + "\"";

// What the export answered and the trace line it left, read before anything else runs.
struct Outcome {
    HRESULT hr = E_FAIL;
    std::wstring line;
};

Outcome Answered(HRESULT hr) { return {hr, dll().LastMessage()}; }

// One export that takes caller XML: the document element it wants, how to call it, and the
// trace line a refusal leaves.
struct EntryPoint {
    std::string name;
    std::string root;
    std::string rootAttributes;
    std::function<Outcome(const CRYPT_XML_BLOB&)> call;
    std::function<std::wstring(const std::string& detail)> line;
};

std::function<std::wstring(const std::string&)> FrameLine(const std::wstring& exportName) {
    return [exportName](const std::string& detail) { return FormatLine(exportName, "CreateDomStructure", detail); };
}

HRESULT SignWithHmac(HCRYPTXML sig, CRYPT_XML_KEYINFO_SPEC keyInfoSpec = CRYPT_XML_KEYINFO_SPEC_NONE,
                     const void* specValue = nullptr) {
    const HRESULT set =
        dll().SetHMACSecret(sig, reinterpret_cast<const BYTE*>(kSecret.data()), static_cast<ULONG>(kSecret.size()));
    if (set != S_OK) return set;
    const CRYPT_XML_ALGORITHM method = signtest::Alg(signtest::kHmacSha256);
    const CRYPT_XML_ALGORITHM c14n = signtest::Alg(signtest::kExcC14n);
    return dll().Sign(sig, 0, 0, 0, keyInfoSpec, specValue, &method, &c14n);
}

std::vector<EntryPoint> AllEntryPoints() {
    return {
        {"source document", "Invoice", "",
         [](const CRYPT_XML_BLOB& blob) {
             const LPCWSTR where = L"";
             const CRYPT_XML_PROPERTY location = signtest::Property(CRYPT_XML_PROPERTY_SIGNATURE_LOCATION, &where);
             HCRYPTXML h = nullptr;
             const Outcome out = Answered(dll().OpenToEncode(nullptr, 0, nullptr, &location, 1, &blob, &h));
             if (h != nullptr) dll().Close(h);
             return out;
         },
         FrameLine(L"CryptXmlOpenToEncode")},
        {"Object element", "Object", kDsigXmlns,
         [](const CRYPT_XML_BLOB& blob) {
             signtest::NewSig sig("<Invoice/>");
             const CRYPT_XML_OBJECT* object = nullptr;
             return Answered(dll().AddObject(sig.h(), 0, nullptr, 0, &blob, &object));
         },
         FrameLine(L"CryptXmlAddObject")},
        {"custom content of an Object", "Data", "",
         [](const CRYPT_XML_BLOB& blob) {
             signtest::NewSig sig("<Invoice/>");
             if (sig.Ref(L"#o1", {}, signtest::kSha256, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT) == nullptr) {
                 return Answered(sig.last());
             }
             // Kept as given; it is parsed when the signature is made.
             const HRESULT set = dll().AddObject(sig.Struct()->rgpObject[0]->hObject, 0, nullptr, 0, &blob, nullptr);
             return Answered(set != S_OK ? set : SignWithHmac(sig.h()));
         },
         FrameLine(L"CryptXmlSign")},
        {"KeyInfo element", "KeyInfo", kDsigXmlns,
         [](const CRYPT_XML_BLOB& blob) {
             signtest::NewSig sig("<Invoice Id=\"i\"/>");
             if (sig.Ref(L"#i") == nullptr) return Answered(sig.last());
             return Answered(SignWithHmac(sig.h(), CRYPT_XML_KEYINFO_SPEC_ENCODED, &blob));
         },
         FrameLine(L"CryptXmlSign")},
        {"encoded transform", "Transform", kDsigXmlns + " Algorithm=\"http://www.w3.org/TR/1999/REC-xpath-19991116\"",
         [](const CRYPT_XML_BLOB& blob) {
             signtest::NewSig sig("<Invoice Id=\"i\"/>");
             CRYPT_XML_ALGORITHM transform = signtest::Alg(nullptr);
             transform.Encoded = blob;
             const CRYPT_XML_ALGORITHM digest = signtest::Alg(signtest::kSha256);
             HCRYPTXML ref = nullptr;
             // Kept as given; it is parsed when the signature is made.
             const HRESULT created =
                 dll().CreateReference(sig.h(), 0, nullptr, L"#i", nullptr, &digest, 1, &transform, &ref);
             return Answered(created != S_OK ? created : SignWithHmac(sig.h()));
         },
         FrameLine(L"CryptXmlSign")},
        {"GOST KeyValue", "KeyValue", kDsigXmlns,
         [](const CRYPT_XML_BLOB& blob) { return Answered(ImportGostKeyValue(blob)); },
         [](const std::string& detail) {
             return testing_support::ExpectedLine(
                 L"ImportGostKey. " +
                 testing_support::Widen(testing_support::CodeMessage("CreateDomStructure", kFormatText, detail)));
         }},
    };
}

class EntryPoints : public ::testing::Test {
protected:
    void SetUp() override { dll().StartDebugging(); }
    void TearDown() override { dll().StopDebugging(); }
};

}  // namespace

TEST_F(EntryPoints, EveryCommonPayloadIsRefusedEverywhere) {
    for (const EntryPoint& entry : AllEntryPoints()) {
        for (const Payload& p : CommonPayloads()) {
            const std::string xml = p.Around(entry.root, entry.rootAttributes);
            const CRYPT_XML_BLOB blob = BlobOf(xml);
            Measure m;
            const Outcome out = entry.call(blob);
            m.Stop();
            m.Print((entry.name + ", " + p.name).c_str());
            EXPECT_EQ(kInvalidFormat, out.hr) << entry.name << ": " << p.name;
            EXPECT_EQ(entry.line(p.detail), out.line) << entry.name << ": " << p.name;
        }
    }
}

// Without the hostile DOCTYPE each entry point gets past its parse: the refusals above are
// the parser's, not a wrapping the export would refuse anyway.
TEST_F(EntryPoints, TheSameDocumentsWithoutTheirDoctypeGetPastTheParse) {
    const Payload plain{"plain", "", "<Child>text</Child>", ""};
    const std::vector<EntryPoint> entries = AllEntryPoints();
    const HRESULT expected[] = {
        S_OK,                               // source document
        S_OK,                               // Object element
        S_OK,                               // custom content of an Object
        S_OK,                               // KeyInfo element
        static_cast<HRESULT>(0x80092105L),  // encoded transform: XPath has no engine here
        static_cast<HRESULT>(0x80004005L),  // GOST KeyValue: no key in it
    };
    ASSERT_EQ(sizeof(expected) / sizeof(expected[0]), entries.size());
    for (size_t i = 0; i < entries.size(); ++i) {
        const std::string xml = plain.Around(entries[i].root, entries[i].rootAttributes);
        const Outcome out = entries[i].call(BlobOf(xml));
        EXPECT_EQ(expected[i], out.hr) << entries[i].name << ": " << testing_support::NarrowUtf8(out.line);
    }
}
