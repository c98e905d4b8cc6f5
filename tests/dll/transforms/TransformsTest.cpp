// The transform table of CryptXmlGetTransforms and the providers its factory builds,
// through the DLL as an application uses them.
#include <gtest/gtest.h>

#include <cwchar>
#include <functional>
#include <stdexcept>

#include "support/TransformSupport.hpp"
#include "support/CapturedLines.hpp"
#include "support/TraceLines.hpp"

using namespace transformtest;
using testing_support::CodeMessage;
using testing_support::ExpectedLine;
using testing_support::InvalidArgMessage;
using testing_support::LinesOf;
using testing_support::Widen;

namespace {

constexpr HRESULT kTransformError = static_cast<HRESULT>(0x80092105L);  // CRYPT_XML_E_TRANSFORM
constexpr HRESULT kOperation = static_cast<HRESULT>(0x80092107L);       // CRYPT_XML_E_OPERATION
constexpr HRESULT kInvalidFormat = static_cast<HRESULT>(0x803D0000L);   // WS_E_INVALID_FORMAT

constexpr wchar_t kEnveloped[] = L"http://www.w3.org/2000/09/xmldsig#enveloped-signature";
constexpr wchar_t kC14n[] = L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
constexpr wchar_t kC14nComments[] = L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments";
constexpr wchar_t kExcC14n[] = L"http://www.w3.org/2001/10/xml-exc-c14n#";
constexpr wchar_t kExcC14nComments[] = L"http://www.w3.org/2001/10/xml-exc-c14n#WithComments";

// One document that tells the four canonicalisations apart: comments inside and outside
// the document element, attribute order, an empty element, a namespace nobody uses.
const std::string kDocument =
    "<?xml version=\"1.0\"?>\n<!-- before -->\n"
    "<doc xmlns=\"urn:d\" xmlns:n=\"urn:n\"><!-- inside --><a   b=\"1\"  a=\"2\"/>\r\n<n:x/></doc>\n<!-- after -->\n";

std::wstring Line(const std::string& function, const std::string& text) {
    return ExpectedLine(Widen(function + ". " + text));
}

// An output provider over `data`, made and not yet read.
CRYPT_XML_DATA_PROVIDER Opened(const std::string& data, const wchar_t* uri = kC14n) {
    MemorySource input;
    input.data = data;
    CRYPT_XML_ALGORITHM alg = {sizeof(alg), uri, {}};
    CRYPT_XML_DATA_PROVIDER in = input.Provider();
    CRYPT_XML_DATA_PROVIDER out{};
    if (Factory()(&alg, &in, &out) != S_OK) throw std::runtime_error("the factory failed");
    return out;
}

// A document long enough that its canonical form takes several reads.
std::string LongDocument(size_t elements) {
    std::string doc = "<list>";
    for (size_t i = 0; i < elements; ++i) doc += "<item n=\"" + std::to_string(i) + "\">value</item>";
    return doc + "</list>";
}

}  // namespace

TEST(TransformTable, HasTheTenEntriesInOrder) {
    const CRYPT_XML_TRANSFORM_CHAIN_CONFIG& config = Config();
    EXPECT_EQ(16u, config.cbSize);
    ASSERT_EQ(10u, config.cTransformInfo);
    const wchar_t* const uris[] = {
        kEnveloped,
        kC14n,
        kC14nComments,
        kExcC14n,
        kExcC14nComments,
        L"http://www.w3.org/TR/1999/REC-xpath-19991116",
        L"http://www.w3.org/2002/06/xmldsig-filter2",
        L"http://www.w3.org/2000/09/xmldsig#base64",
        L"http://www.w3.org/2006/12/xml-c14n11",
        L"http://www.w3.org/2006/12/xml-c14n11#WithComments",
    };
    for (ULONG i = 0; i < 10; ++i) {
        const CRYPT_XML_TRANSFORM_INFO* info = config.rgpTransformInfo[i];
        ASSERT_NE(nullptr, info) << i;
        EXPECT_EQ(32u, info->cbSize) << i;
        EXPECT_STREQ(uris[i], info->wszAlgorithm) << i;
        EXPECT_EQ(8192u, info->cbBufferSize) << i;
        EXPECT_EQ(i == 7 ? CRYPT_XML_TRANSFORM_ON_STREAM : CRYPT_XML_TRANSFORM_ON_NODESET, info->dwFlags) << i;
        if (i < 5) {
            EXPECT_EQ(Factory(), info->pfnCreateTransform) << i;
        } else {
            EXPECT_EQ(nullptr, info->pfnCreateTransform) << i;
        }
    }
    EXPECT_NE(nullptr, Factory());
}

TEST(TransformTable, IsTheSameConstantForEveryCall) {
    const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* first = nullptr;
    const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* second = nullptr;
    EXPECT_EQ(S_OK, dll().GetTransforms(&first));
    EXPECT_EQ(S_OK, dll().GetTransforms(&second));
    EXPECT_EQ(first, second);
}

TEST(TransformTable, ANullOutPointerIsRefusedAndTraced) {
    const std::vector<std::wstring> lines = LinesOf([] { EXPECT_EQ(E_INVALIDARG, dll().GetTransforms(nullptr)); });
    EXPECT_EQ(std::vector<std::wstring>{Line("CryptXmlGetTransforms", "NULL == ppConfig")}, lines);
}

TEST(Canonicalisation, EachMethodGivesItsExactBytes) {
    const struct {
        const wchar_t* uri;
        const char* bytes;
    } cases[] = {
        {kC14n, "<doc xmlns=\"urn:d\" xmlns:n=\"urn:n\"><a a=\"2\" b=\"1\"></a>\n<n:x></n:x></doc>"},
        {kC14nComments,
         "<!-- before -->\n<doc xmlns=\"urn:d\" xmlns:n=\"urn:n\"><!-- inside --><a a=\"2\" b=\"1\"></a>\n"
         "<n:x></n:x></doc>\n<!-- after -->"},
        {kExcC14n, "<doc xmlns=\"urn:d\"><a a=\"2\" b=\"1\"></a>\n<n:x xmlns:n=\"urn:n\"></n:x></doc>"},
        {kExcC14nComments,
         "<!-- before -->\n<doc xmlns=\"urn:d\"><!-- inside --><a a=\"2\" b=\"1\"></a>\n"
         "<n:x xmlns:n=\"urn:n\"></n:x></doc>\n<!-- after -->"},
    };
    for (const auto& c : cases) {
        const Outcome r = Transform(c.uri, kDocument);
        ASSERT_EQ(S_OK, r.hr);
        EXPECT_EQ(c.bytes, r.bytes) << std::string(c.uri, c.uri + std::wcslen(c.uri));
    }
}

TEST(Canonicalisation, Utf16InputIsDetected) {
    const std::string utf8 = "<doc><a b=\"\xD0\x96\"/></doc>";
    std::string utf16 = "\xFF\xFE";
    for (char c : std::string("<doc><a b=\"")) utf16 += std::string{c, '\0'};
    utf16 += std::string("\x16\x04", 2);  // U+0416
    for (char c : std::string("\"/></doc>")) utf16 += std::string{c, '\0'};
    const Outcome r = Transform(kC14n, utf16);
    ASSERT_EQ(S_OK, r.hr);
    EXPECT_EQ("<doc><a b=\"\xD0\x96\"></a></doc>", r.bytes);
}

TEST(EnvelopedSignature, CutsTheFirstSignatureOut) {
    const std::string doc =
        "<doc><p>x</p><!-- c --><Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"><SignedInfo/>"
        "</Signature><q/><Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"/></doc>";
    const Outcome r = Transform(kEnveloped, doc);
    ASSERT_EQ(S_OK, r.hr);
    EXPECT_EQ("<doc><p>x</p><q></q><Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"></Signature></doc>",
              r.bytes);
}

TEST(EnvelopedSignature, WithoutASignatureGivesTheInclusiveFormOfTheWholeDocument) {
    const Outcome enveloped = Transform(kEnveloped, kDocument);
    const Outcome c14n = Transform(kC14n, kDocument);
    ASSERT_EQ(S_OK, enveloped.hr);
    EXPECT_EQ(c14n.bytes, enveloped.bytes);
    EXPECT_EQ("<doc xmlns=\"urn:d\" xmlns:n=\"urn:n\"><a a=\"2\" b=\"1\"></a>\n<n:x></n:x></doc>", enveloped.bytes);
}

TEST(EnvelopedSignature, AnEmptySignatureElementIsKept) {
    // The cut is made from the Signature's first child; without one nothing is cut.
    const std::string doc = "<doc><Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"/></doc>";
    const Outcome r = Transform(kEnveloped, doc);
    ASSERT_EQ(S_OK, r.hr);
    EXPECT_EQ("<doc><Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"></Signature></doc>", r.bytes);
}

TEST(EnvelopedSignature, ASignatureAsDocumentElementLeavesNothing) {
    const std::string doc = "<Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"><SignedInfo/></Signature>";
    const Outcome r = Transform(kEnveloped, doc);
    ASSERT_EQ(S_OK, r.hr);
    EXPECT_EQ("", r.bytes);
}

TEST(UnsupportedTransforms, C14n11IsRefusedAlthoughItNamesC14n) {
    for (const wchar_t* uri :
         {L"http://www.w3.org/2006/12/xml-c14n11", L"http://www.w3.org/2006/12/xml-c14n11#WithComments"}) {
        MemorySource input;
        input.data = kDocument;
        std::vector<std::wstring> lines;
        Outcome r;
        lines = LinesOf([&] { r = Transform(uri, input); });
        EXPECT_EQ(kTransformError, r.hr);
        EXPECT_EQ(std::vector<std::wstring>{Line("CreateTransform", "Unsupported Transform.")}, lines);
        EXPECT_EQ(0, input.closes) << "the input provider stays the caller's";
    }
}

TEST(UnsupportedTransforms, ATrailingCharacterMakesAKnownUriUnknown) {
    for (const std::wstring& uri : {std::wstring(kC14n) + L"x", std::wstring(kC14nComments) + L" ",
                                    std::wstring(kExcC14n) + L"#", std::wstring(kEnveloped) + L"/"}) {
        EXPECT_EQ(kTransformError, Transform(uri.c_str(), kDocument).hr) << std::string(uri.begin(), uri.end());
    }
}

TEST(UnsupportedTransforms, TheOtherTableEntriesAndUnknownUris) {
    for (const wchar_t* uri :
         {L"http://www.w3.org/2000/09/xmldsig#base64", L"http://www.w3.org/TR/1999/REC-xpath-19991116",
          L"http://www.w3.org/2002/06/xmldsig-filter2", L"", L"urn:nothing"}) {
        EXPECT_EQ(kTransformError, Transform(uri, kDocument).hr);
    }
}

TEST(UnsupportedTransforms, TheOutputProviderIsLeftUntouched) {
    CRYPT_XML_ALGORITHM alg = {sizeof(alg), L"urn:nothing", {}};
    MemorySource input;
    input.data = kDocument;
    CRYPT_XML_DATA_PROVIDER in = input.Provider();
    CRYPT_XML_DATA_PROVIDER out = {reinterpret_cast<void*>(0x77), 0x1234, nullptr, nullptr};
    EXPECT_EQ(kTransformError, Factory()(&alg, &in, &out));
    EXPECT_EQ(reinterpret_cast<void*>(0x77), out.pvCallbackState);
    EXPECT_EQ(nullptr, out.pfnRead);
    EXPECT_EQ(nullptr, out.pfnClose);
}

TEST(InputProvider, AFirstReadOfNothingIsRefused) {
    MemorySource input;  // no data
    std::vector<std::wstring> lines;
    Outcome r;
    lines = LinesOf([&] { r = Transform(kC14n, input); });
    EXPECT_EQ(kOperation, r.hr);
    EXPECT_EQ(std::vector<std::wstring>{Line("CreateTransform", CodeMessage("CreateTransform", "Invalid operation.",
                                                                            "providerIn does not provide any data."))},
              lines);
    EXPECT_EQ(1u, input.asked.size());
}

TEST(InputProvider, AFirstReadThatFailsIsRefusedTheSameWay) {
    MemorySource input;
    input.data = kDocument;
    input.readsBeforeFailure = 0;
    EXPECT_EQ(kOperation, Transform(kC14n, input).hr);
    EXPECT_EQ(1u, input.asked.size());
    EXPECT_EQ(0, input.closes);
}

TEST(InputProvider, AFailureAfterDataEndsTheDataSilently) {
    MemorySource input;
    input.data = "<doc>text</doc>and never read";
    input.piece = 15;  // exactly the document
    input.readsBeforeFailure = 1;
    input.failure = E_OUTOFMEMORY;
    const Outcome r = Transform(kC14n, input);
    ASSERT_EQ(S_OK, r.hr);
    EXPECT_EQ("<doc>text</doc>", r.bytes);
    EXPECT_EQ(2u, input.asked.size());
}

TEST(InputProvider, ANullCloseProcedureIsRefusedBeforeAnyRead) {
    MemorySource input;
    input.data = kDocument;
    CRYPT_XML_ALGORITHM alg = {sizeof(alg), kC14n, {}};
    CRYPT_XML_DATA_PROVIDER in = input.Provider();
    in.pfnClose = nullptr;
    CRYPT_XML_DATA_PROVIDER out{};
    std::vector<std::wstring> lines = LinesOf([&] { EXPECT_EQ(E_INVALIDARG, Factory()(&alg, &in, &out)); });
    EXPECT_TRUE(input.asked.empty());
    EXPECT_EQ(std::vector<std::wstring>{Line("CreateTransform",
                                             "an error occurred. function: CreateTransform. desc: "
                                             "One or more arguments are invalid ")},
              lines);
}

TEST(InputProvider, EveryMissingArgumentIsRefused) {
    MemorySource input;
    input.data = kDocument;
    CRYPT_XML_ALGORITHM alg = {sizeof(alg), kC14n, {}};
    CRYPT_XML_ALGORITHM noUri = {sizeof(alg), nullptr, {}};
    CRYPT_XML_DATA_PROVIDER in = input.Provider();
    CRYPT_XML_DATA_PROVIDER noRead = input.Provider();
    noRead.pfnRead = nullptr;
    CRYPT_XML_DATA_PROVIDER out{};
    EXPECT_EQ(E_INVALIDARG, Factory()(nullptr, &in, &out));
    EXPECT_EQ(E_INVALIDARG, Factory()(&noUri, &in, &out));
    EXPECT_EQ(E_INVALIDARG, Factory()(&alg, nullptr, &out));
    EXPECT_EQ(E_INVALIDARG, Factory()(&alg, &noRead, &out));
    EXPECT_EQ(E_INVALIDARG, Factory()(&alg, &in, nullptr));
    EXPECT_TRUE(input.asked.empty());
}

TEST(InputProvider, IsReadInItsAnnouncedChunksOrIn8192ByteChunks) {
    MemorySource announced;
    announced.data = kDocument;
    ASSERT_EQ(S_OK, Transform(kC14n, announced, 100).hr);
    EXPECT_EQ(std::vector<ULONG>(announced.asked.size(), 100u), announced.asked);
    MemorySource unannounced;
    unannounced.data = kDocument;
    ASSERT_EQ(S_OK, Transform(kC14n, unannounced, 0).hr);
    EXPECT_EQ(std::vector<ULONG>(unannounced.asked.size(), 8192u), unannounced.asked);
}

TEST(InputProvider, ReadsThatFillTheWholeChunkAreTaken) {
    const std::string doc = LongDocument(3000);
    MemorySource input;
    input.data = doc;
    const Outcome r = Transform(kC14n, input, 64);
    ASSERT_EQ(S_OK, r.hr);
    EXPECT_EQ(doc.size(), r.bytes.size());
    EXPECT_EQ(doc.substr(0, 40), r.bytes.substr(0, 40));
    EXPECT_EQ(doc.size() / 64 + 2, input.asked.size());  // full chunks, the rest, the end
    EXPECT_EQ(0, input.closes) << "read to its end, not closed";
}

TEST(InputProvider, ANonXmlInputIsAFormatError) {
    std::vector<std::wstring> lines;
    Outcome r;
    lines = LinesOf([&] { r = Transform(kC14n, "this is <not xml"); });
    EXPECT_EQ(kInvalidFormat, r.hr);
    EXPECT_EQ(std::vector<std::wstring>{Line(
                  "CreateTransform",
                  CodeMessage("CreateDomStructure",
                              "The input data was not in the expected format or did not have the expected value.",
                              "error(s) occured during the parsing of the blob."))},
              lines);
}

TEST(InputProvider, AnExceptionFromTheCallbackClosesItAndIsReported) {
    struct Throwing {
        int closes = 0;
        static HRESULT CALLBACK Read(void*, BYTE*, ULONG, ULONG*) { throw std::runtime_error("reader broke"); }
        static HRESULT CALLBACK Close(void* state) {
            static_cast<Throwing*>(state)->closes += 1;
            return S_OK;
        }
    } throwing;
    CRYPT_XML_ALGORITHM alg = {sizeof(alg), kC14n, {}};
    CRYPT_XML_DATA_PROVIDER in = {&throwing, 0, &Throwing::Read, &Throwing::Close};
    CRYPT_XML_DATA_PROVIDER out{};
    std::vector<std::wstring> lines = LinesOf([&] { EXPECT_EQ(E_FAIL, Factory()(&alg, &in, &out)); });
    EXPECT_EQ(1, throwing.closes);
    EXPECT_EQ(std::vector<std::wstring>{Line("CreateTransform", "reader broke")}, lines);
}

TEST(OutputProvider, IsFilledWith8192ByteChunksAndTheLibrarysProcedures) {
    CRYPT_XML_DATA_PROVIDER out = Opened(kDocument);
    EXPECT_EQ(8192u, out.cbBufferSize);
    EXPECT_NE(nullptr, out.pvCallbackState);
    ASSERT_NE(nullptr, out.pfnRead);
    ASSERT_NE(nullptr, out.pfnClose);
    EXPECT_EQ(S_OK, out.pfnClose(out.pvCallbackState));
}

TEST(OutputProvider, AReadReturnsAtMost8192Bytes) {
    CRYPT_XML_DATA_PROVIDER out = Opened(LongDocument(3000));
    std::vector<BYTE> buffer(20000);
    ULONG read = 0;
    EXPECT_EQ(S_OK, out.pfnRead(out.pvCallbackState, buffer.data(), 20000, &read));
    EXPECT_EQ(8192u, read);
    EXPECT_EQ(S_OK, out.pfnRead(out.pvCallbackState, buffer.data(), 100, &read));
    EXPECT_EQ(100u, read);
    std::string rest = Drain(out, 20000);
    EXPECT_EQ(LongDocument(3000).size(), 8192u + 100u + rest.size());
}

TEST(OutputProvider, ReadsToTheEndAndThenAnswersZero) {
    CRYPT_XML_DATA_PROVIDER out = Opened("<a/>");
    BYTE buffer[64];
    ULONG read = 99;
    EXPECT_EQ(S_OK, out.pfnRead(out.pvCallbackState, buffer, sizeof(buffer), &read));
    EXPECT_EQ("<a></a>", std::string(reinterpret_cast<char*>(buffer), read));
    EXPECT_EQ(S_OK, out.pfnRead(out.pvCallbackState, buffer, sizeof(buffer), &read));
    EXPECT_EQ(0u, read);
    EXPECT_EQ(S_OK, out.pfnRead(out.pvCallbackState, buffer, sizeof(buffer), &read));
    EXPECT_EQ(0u, read);
    EXPECT_EQ(S_OK, out.pfnClose(out.pvCallbackState));
}

TEST(OutputProvider, NullStatesAreRefusedAndTraced) {
    CRYPT_XML_DATA_PROVIDER out = Opened("<a/>");
    BYTE buffer[8];
    ULONG read = 0;
    std::vector<std::wstring> lines = LinesOf([&] {
        EXPECT_EQ(E_INVALIDARG, out.pfnRead(nullptr, buffer, sizeof(buffer), &read));
        EXPECT_EQ(E_INVALIDARG, out.pfnClose(nullptr));
    });
    const std::vector<std::wstring> expected = {Line("CanonReadProc", "NULL == tc"),
                                                Line("CanonCloseProc", "NULL == tc")};
    EXPECT_EQ(expected, lines);
    EXPECT_EQ(S_OK, out.pfnClose(out.pvCallbackState));
}

TEST(OutputProvider, ANullCountOrBufferIsRefused) {
    CRYPT_XML_DATA_PROVIDER out = Opened("<a/>");
    BYTE buffer[8];
    ULONG read = 0;
    std::vector<std::wstring> lines = LinesOf([&] {
        EXPECT_EQ(E_POINTER, out.pfnRead(out.pvCallbackState, buffer, sizeof(buffer), nullptr));
        EXPECT_EQ(E_POINTER, out.pfnRead(out.pvCallbackState, nullptr, 8, &read));
    });
    EXPECT_EQ(2u, lines.size());
    EXPECT_EQ(Line("CanonReadProc", "NULL == pcbRead || NULL == pbData"), lines.at(0));
    // Nothing was consumed by the refused reads.
    EXPECT_EQ("<a></a>", Drain(out));
}

TEST(OutputProvider, ManyProvidersLiveSideBySide) {
    std::vector<CRYPT_XML_DATA_PROVIDER> outs(50);
    std::vector<MemorySource> inputs(50);
    CRYPT_XML_ALGORITHM alg = {sizeof(alg), kExcC14n, {}};
    for (size_t i = 0; i < outs.size(); ++i) {
        inputs[i].data = "<n" + std::to_string(i) + "/>";
        CRYPT_XML_DATA_PROVIDER in = inputs[i].Provider();
        ASSERT_EQ(S_OK, Factory()(&alg, &in, &outs[i]));
    }
    for (size_t i = outs.size(); i-- > 0;) {
        EXPECT_EQ("<n" + std::to_string(i) + "></n" + std::to_string(i) + ">", Drain(outs[i]));
    }
}

TEST(OutputProvider, AClosedStateIsRefusedAndTraced) {
    CRYPT_XML_DATA_PROVIDER out = Opened("<a/>");
    ASSERT_EQ(S_OK, out.pfnClose(out.pvCallbackState));
    BYTE buffer[8];
    ULONG read = 5;
    std::vector<std::wstring> lines = LinesOf([&] {
        EXPECT_EQ(E_INVALIDARG, out.pfnRead(out.pvCallbackState, buffer, sizeof(buffer), &read));
        EXPECT_EQ(E_INVALIDARG, out.pfnClose(out.pvCallbackState));
        int notAState = 0;
        EXPECT_EQ(E_INVALIDARG, out.pfnRead(&notAState, buffer, sizeof(buffer), &read));
    });
    EXPECT_EQ(0u, read);
    const std::vector<std::wstring> expected = {Line("CanonReadProc", "tc is not a live transform state."),
                                                Line("CanonCloseProc", "tc is not a live transform state."),
                                                Line("CanonReadProc", "tc is not a live transform state.")};
    EXPECT_EQ(expected, lines);
}

// Last: cleanup stops the XML stack under every other test of this program.
TEST(OutputProviderZ, CleanupReleasesTheStatesStillOpen) {
    CRYPT_XML_DATA_PROVIDER out = Opened(LongDocument(100));
    BYTE buffer[16];
    ULONG read = 0;
    ASSERT_EQ(S_OK, out.pfnRead(out.pvCallbackState, buffer, sizeof(buffer), &read));
    dll().Cleanup();
    EXPECT_EQ(E_INVALIDARG, out.pfnRead(out.pvCallbackState, buffer, sizeof(buffer), &read));
    EXPECT_EQ(E_INVALIDARG, out.pfnClose(out.pvCallbackState));
    // The factory starts the stack again by itself.
    EXPECT_EQ("<b></b>", Transform(kC14n, "<b/>").bytes);
}

TEST(Canonicalisation, ExclusiveRendersAnEmptyDefaultNamespaceOnlyToUndoOne) {
    // Nothing rendered above: the prefixed root does not use the default namespace.
    EXPECT_EQ("<a:root xmlns:a=\"urn:a\"><child></child></a:root>",
              Transform(kExcC14n, "<a:root xmlns:a=\"urn:a\" xmlns=\"urn:d\"><child xmlns=\"\"/></a:root>").bytes);
    // The root rendered urn:d: the child undoes it.
    EXPECT_EQ("<root xmlns=\"urn:d\"><child xmlns=\"\"></child></root>",
              Transform(kExcC14n, "<root xmlns=\"urn:d\"><child xmlns=\"\"/></root>").bytes);
    // The nearest output ancestor using the default namespace is the root, past a prefixed one.
    EXPECT_EQ(
        "<root xmlns=\"urn:d\"><a:x xmlns:a=\"urn:a\"><child xmlns=\"\"></child></a:x></root>",
        Transform(kExcC14n, "<root xmlns=\"urn:d\"><a:x xmlns:a=\"urn:a\"><child xmlns=\"\"/></a:x></root>").bytes);
    // Inclusive c14n keeps what the document declares.
    EXPECT_EQ("<a:root xmlns=\"urn:d\" xmlns:a=\"urn:a\"><child xmlns=\"\"></child></a:root>",
              Transform(kC14n, "<a:root xmlns:a=\"urn:a\" xmlns=\"urn:d\"><child xmlns=\"\"/></a:root>").bytes);
}
