// In-process checks of the transform internals that no caller of the DLL can reach
// directly: the state's own argument checks, and the limits of draining a provider.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <vector>

#include "base/CryptXmlException.hpp"
#include "transforms/TransformContext.hpp"
#include "transforms/Transforms.hpp"

namespace {

// A provider that claims a full buffer on every read without writing it, until `limit`
// bytes; records the sizes it was asked for and whether it was closed.
struct ClaimingProvider {
    unsigned long long limit = 0;
    unsigned long long given = 0;
    std::vector<ULONG> asked;
    int closes = 0;
    bool throwOnRead = false;

    static HRESULT CALLBACK Read(void* state, BYTE*, ULONG cb, ULONG* pcbRead) {
        auto* self = static_cast<ClaimingProvider*>(state);
        if (self->throwOnRead) throw std::runtime_error("callback broke");
        if (self->asked.size() < 4) self->asked.push_back(cb);
        const unsigned long long left = self->limit - self->given;
        *pcbRead = static_cast<ULONG>(left < cb ? left : cb);
        self->given += *pcbRead;
        return S_OK;
    }
    static HRESULT CALLBACK Close(void* state) {
        static_cast<ClaimingProvider*>(state)->closes += 1;
        return S_OK;
    }
    CRYPT_XML_DATA_PROVIDER Provider(ULONG announced) { return {this, announced, &Read, &Close}; }
};

HRESULT CodeOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const CryptXmlException& e) {
        return e.hr();
    }
    return S_OK;
}

}  // namespace

TEST(TransformContextUnit, RefusesAMissingParserOrChain) {
    EXPECT_EQ(E_INVALIDARG, CodeOf([] { TransformContext(nullptr, nullptr); }));
}

TEST(ReadDataFromProviderUnit, RefusesMissingProcedures) {
    ClaimingProvider source;
    CRYPT_XML_DATA_PROVIDER noRead = source.Provider(0);
    noRead.pfnRead = nullptr;
    CRYPT_XML_DATA_PROVIDER noClose = source.Provider(0);
    noClose.pfnClose = nullptr;
    std::vector<BYTE> out;
    EXPECT_EQ(E_INVALIDARG, CodeOf([&] { transforms::ReadDataFromProvider(noRead, out); }));
    EXPECT_EQ(E_INVALIDARG, CodeOf([&] { transforms::ReadDataFromProvider(noClose, out); }));
    EXPECT_TRUE(source.asked.empty());
}

TEST(ReadDataFromProviderUnit, AnAbsurdAnnouncedBufferIsNotAllocated) {
    ClaimingProvider source;
    source.limit = 3u << 20;
    std::vector<BYTE> out;
    transforms::ReadDataFromProvider(source.Provider(0xFFFFFFFFu), out);
    EXPECT_EQ(source.limit, out.size());
    ASSERT_FALSE(source.asked.empty());
    EXPECT_EQ(1u << 20, source.asked.front());
    EXPECT_EQ(0, source.closes);
}

TEST(ReadDataFromProviderUnit, DataBeyondTheBlobLimitIsRefusedAndTheProviderClosed) {
    ClaimingProvider source;
    source.limit = static_cast<unsigned long long>(CRYPT_XML_BLOB_MAX) + 1;
    std::vector<BYTE> out;
    EXPECT_EQ(CRYPT_XML_E_LARGE, CodeOf([&] { transforms::ReadDataFromProvider(source.Provider(1u << 20), out); }));
    EXPECT_EQ(1, source.closes);
    EXPECT_LE(out.size(), static_cast<size_t>(CRYPT_XML_BLOB_MAX));
}

TEST(ReadDataFromProviderUnit, AnExceptionFromTheCallbackClosesTheProvider) {
    ClaimingProvider source;
    source.throwOnRead = true;
    std::vector<BYTE> out;
    EXPECT_THROW(transforms::ReadDataFromProvider(source.Provider(0), out), std::runtime_error);
    EXPECT_EQ(1, source.closes);
}
