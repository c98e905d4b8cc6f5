// What the decode contexts do that a caller cannot see through the exports alone: the
// output charset a document settles on, object lookup by reference URI, and reading an
// external reference's data from a provider.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/SignatureXml.hpp"
#include "dsig/ContextRegistry.hpp"
#include "base/CryptXmlException.hpp"
#include "crypto/XmlStack.hpp"
#include "exports/Lifecycle.hpp"
#include "dsig/DocContext.hpp"
#include "dsig/ObjContext.hpp"
#include "dsig/RefContext.hpp"
#include "dsig/SigContext.hpp"

using testing_support::Document;
using testing_support::SigParts;

namespace {

class Contexts : public ::testing::Test {
protected:
    static void SetUpTestSuite() { xmlStack::Ensure(); }
    static void TearDownTestSuite() { lifecycle::Cleanup(); }

    std::unique_ptr<DocContext> Open(const std::string& xml, DWORD charset = CRYPT_XML_CHARSET_AUTO,
                                     const std::vector<CRYPT_XML_PROPERTY>& properties = {}) {
        bytes_ = xml;
        blob_ = {static_cast<CRYPT_XML_CHARSET>(charset), static_cast<ULONG>(bytes_.size()),
                 reinterpret_cast<BYTE*>(&bytes_[0])};
        return std::make_unique<DocContext>(nullptr, 0, properties.empty() ? nullptr : properties.data(),
                                            static_cast<ULONG>(properties.size()), &blob_);
    }

    std::string bytes_;
    CRYPT_XML_BLOB blob_{};
};

std::string Utf16(const std::string& narrow) {
    std::string out;
    for (char c : narrow) {
        out.push_back(c);
        out.push_back('\0');
    }
    return out;
}

// A data provider serving a scripted sequence of reads.
struct ScriptedReads {
    std::vector<ULONG> sizes;
    size_t next = 0;
    HRESULT failWith = S_OK;
    BYTE fill = 'a';

    static HRESULT CALLBACK Read(void* state, BYTE* data, ULONG cbData, ULONG* read) {
        auto* self = static_cast<ScriptedReads*>(state);
        if (self->failWith != S_OK) return self->failWith;
        const ULONG n = self->next < self->sizes.size() ? self->sizes[self->next++] : 0;
        for (ULONG i = 0; i < n && i < cbData; ++i) data[i] = static_cast<BYTE>(self->fill + (self->next % 26));
        *read = n;
        return S_OK;
    }
    static HRESULT CALLBACK Close(void*) { return S_OK; }
    CRYPT_XML_DATA_PROVIDER Provider() { return {this, 0, &Read, &Close}; }
};

std::string ResolveFailure(RefContext& ref, const CRYPT_XML_DATA_PROVIDER* provider) {
    try {
        ref.Resolve(0, provider);
    } catch (const CryptXmlException& e) {
        return std::to_string(static_cast<unsigned long>(e.hr())) + " " + e.what();
    }
    return "<no exception>";
}

}  // namespace

TEST_F(Contexts, OutputCharsetFollowsTheBlobThenTheProperty) {
    EXPECT_EQ(1u, Open(Document(SigParts().Xml()))->OutputCharset());  // AUTO: UTF-8
    DWORD utf16be = CRYPT_XML_CHARSET_UTF16BE;
    EXPECT_EQ(3u, Open(Document(SigParts().Xml()), CRYPT_XML_CHARSET_AUTO,
                       {{CRYPT_XML_PROPERTY_XML_OUTPUT_CHARSET, &utf16be, sizeof(utf16be)}})
                      ->OutputCharset());
    DWORD utf8 = CRYPT_XML_CHARSET_UTF8;
    EXPECT_EQ(2u, Open(Utf16(Document(SigParts().Xml())), CRYPT_XML_CHARSET_UTF16LE,
                       {{CRYPT_XML_PROPERTY_XML_OUTPUT_CHARSET, &utf8, sizeof(utf8)}})
                      ->OutputCharset());
    auto seven = Open(Document(SigParts().Xml()), 7);
    EXPECT_EQ(7u, seven->OutputCharset());
    // An unknown charset is still serialised as UTF-8.
    EXPECT_EQ(1u, seven->Signatures()[0]->SerialCharset());
}

TEST_F(Contexts, ObjectsAreFoundByAnyFirstCharacterAndTheirId) {
    SigParts parts;
    parts.objects = "<Object Id=\"obj1\"/><Object/><Object Id=\"second\"/>";
    auto doc = Open(Document(parts.Xml()));
    const SigContext& sig = *doc->Signatures()[0];
    EXPECT_EQ(sig.Objects()[0], sig.FindObjContextByRefURI(L"#obj1"));
    EXPECT_EQ(sig.Objects()[0], sig.FindObjContextByRefURI(L"xobj1"));
    EXPECT_EQ(sig.Objects()[2], sig.FindObjContextByRefURI(L"#second"));
    EXPECT_EQ(nullptr, sig.FindObjContextByRefURI(L"#"));
    EXPECT_EQ(nullptr, sig.FindObjContextByRefURI(L""));
    EXPECT_EQ(nullptr, sig.FindObjContextByRefURI(L"#nothing"));
    EXPECT_EQ(nullptr, sig.FindObjContextByRefURI(L"obj1"));  // the first character is dropped
    try {
        sig.FindObjContextByRefURI(nullptr);
        FAIL() << "no exception";
    } catch (const CryptXmlTemplateException<hr::kInvalidArg>& e) {
        EXPECT_STREQ(
            "an error occurred. function: SigContext::FindObjContextByRefURI. desc: One or more arguments "
            "are invalid  NULL == refURI",
            e.what());
    }
}

TEST_F(Contexts, ManifestTypedReferencePointsAtItsObject) {
    SigParts parts;
    parts.objects = "<Object Id=\"obj1\"><Manifest>" + SigParts::Reference("urn:x") + "</Manifest></Object>";
    parts.references = SigParts::Reference("#obj1", "", " Type=\"http://www.w3.org/2000/09/xmldsig#Manifest\"") +
                       SigParts::Reference("#obj1");
    auto doc = Open(Document(parts.Xml()));
    const SigContext& sig = *doc->Signatures()[0];
    EXPECT_EQ(sig.Objects()[0], sig.References()[0]->PointeeObject());
    EXPECT_EQ(nullptr, sig.References()[1]->PointeeObject());  // not of the Manifest type
}

TEST_F(Contexts, IdsAreUniqueAcrossObjectsAndReferences) {
    SigParts parts;
    parts.objects =
        "<Object Id=\"obj1\"><Manifest>" + SigParts::Reference("urn:x", "", " Id=\"m\"") + "</Manifest></Object>";
    parts.references = SigParts::Reference("#obj1", "", " Id=\"r\"");
    auto doc = Open(Document(parts.Xml()));
    const SigContext& sig = *doc->Signatures()[0];
    for (const wchar_t* used : {L"obj1", L"m", L"r"}) EXPECT_FALSE(sig.IdIsUnique(used)) << used;
    EXPECT_TRUE(sig.IdIsUnique(L"fresh"));
    EXPECT_TRUE(sig.IdIsUnique(L""));
    EXPECT_TRUE(sig.IdIsUnique(nullptr));
}

TEST_F(Contexts, ResolveReadsWholeChunksUntilAnEmptyRead) {
    auto doc = Open(Document(SigParts().Xml()));
    RefContext& ref = *doc->Signatures()[0]->References()[0];
    ScriptedReads reads;
    reads.sizes = {4096, 4096, 4096, 0};
    CRYPT_XML_DATA_PROVIDER provider = reads.Provider();
    ref.Resolve(0, &provider);
    ASSERT_EQ(3u * 4096, ref.ResolvedData().size());
    EXPECT_EQ('a' + 1, ref.ResolvedData()[0]);
    EXPECT_EQ('a' + 3, ref.ResolvedData()[3 * 4096 - 1]);
    CRYPT_XML_STATUS status;
    ref.GetStatus(&status);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_DIGEST_VALID | CRYPT_XML_STATUS_INTERNAL_REFERENCE),
              status.dwInfoStatus);
    EXPECT_EQ(0u, status.dwErrorStatus);
}

TEST_F(Contexts, ResolvePartialChunksAndAnEmptyFirstRead) {
    auto doc = Open(Document(SigParts().Xml()));
    RefContext& ref = *doc->Signatures()[0]->References()[0];
    ScriptedReads partial;
    partial.sizes = {10, 4096, 1, 0};
    CRYPT_XML_DATA_PROVIDER provider = partial.Provider();
    ref.Resolve(0, &provider);
    EXPECT_EQ(4107u, ref.ResolvedData().size());

    ScriptedReads empty;
    empty.sizes = {0};
    provider = empty.Provider();
    ref.Resolve(0, &provider);
    EXPECT_TRUE(ref.ResolvedData().empty());
    CRYPT_XML_STATUS status;
    ref.GetStatus(&status);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_DIGEST_VALID), status.dwInfoStatus & CRYPT_XML_STATUS_DIGEST_VALID);
}

TEST_F(Contexts, ResolveFailures) {
    auto doc = Open(Document(SigParts().Xml()));
    RefContext& ref = *doc->Signatures()[0]->References()[0];
    const std::string argument =
        std::to_string(0x80070057UL) +
        " an error occurred. function: RefContext::Resolve. desc: One or more arguments are invalid ";
    EXPECT_EQ(argument, ResolveFailure(ref, nullptr));
    ScriptedReads reads;
    CRYPT_XML_DATA_PROVIDER noRead = {&reads, 0, nullptr, &ScriptedReads::Close};
    EXPECT_EQ(argument, ResolveFailure(ref, &noRead));
    CRYPT_XML_DATA_PROVIDER noState = {nullptr, 0, &ScriptedReads::Read, &ScriptedReads::Close};
    EXPECT_EQ(argument, ResolveFailure(ref, &noState));
    reads.failWith = E_ACCESSDENIED;
    CRYPT_XML_DATA_PROVIDER failing = reads.Provider();
    EXPECT_EQ(std::to_string(0x80092108UL) +
                  " an error occurred. function: RefContext::Resolve. desc: Unable to "
                  "resolve Reference.",
              ResolveFailure(ref, &failing));
    CRYPT_XML_STATUS status;
    ref.GetStatus(&status);
    // Nothing was resolved: only the mark of a same-document reference.
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_INTERNAL_REFERENCE), status.dwInfoStatus);
}

TEST_F(Contexts, ConstructionFailureLeavesNothingRegistered) {
    SigParts good;
    SigParts bad;
    bad.signatureMethod = "urn:unknown";
    const size_t before = registry::ContextCount();
    EXPECT_THROW(Open(Document(good.Xml() + good.Xml() + bad.Xml())), CryptXmlException);
    EXPECT_EQ(before, registry::ContextCount());
}
