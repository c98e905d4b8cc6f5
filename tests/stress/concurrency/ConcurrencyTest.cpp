// Several threads looking up algorithms, tracing failures, switching the trace and reading
// the last line back, all at once through the DLL.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/AlgorithmCallbacks.hpp"
#include "support/CryptXmlDll.hpp"

using testing_support::CountAll;
using testing_support::CryptXmlDll;

namespace {

const CryptXmlDll& dll() { return CryptXmlDll::Get(); }

constexpr int kRounds = 2000;

const std::wstring kFailureText =
    L". CryptXmlFindAlgorithmInfo. an error occurred. function: CryptXmlFindAlgorithmInfo. desc: One or more "
    L"arguments are invalid  NULL == pvFindBy\n";

// A line read back must be whole: the prefix, a thread number, and one known text.
bool WholeLine(const std::wstring& line) {
    if (line.empty()) return true;
    const std::wstring prefix = L"Talvoran-CryptXml.dll: ";
    if (line.compare(0, prefix.size(), prefix) != 0) return false;
    size_t pos = prefix.size();
    const size_t digits = pos;
    while (pos < line.size() && iswdigit(line[pos])) ++pos;
    return pos > digits && line.compare(pos, std::wstring::npos, kFailureText) == 0;
}

}  // namespace

TEST(Concurrency, LookupsTracingAndSwitchesAtOnce) {
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                const auto* e = dll().FindAlgorithmInfo(1, L"http://www.w3.org/2000/09/xmldsig#rsa-sha1", 2, 0);
                if (e == nullptr || wcscmp(e->wszName, L"RSA-SHA1") != 0) ++wrong;
                int hashes = 0, sigs = 0;
                if (dll().EnumAlgorithmInfo(1, 0, &hashes, CountAll) != S_OK || hashes != 10) ++wrong;
                if (dll().EnumAlgorithmInfo(2, 0, &sigs, CountAll) != S_OK || sigs != 13) ++wrong;
                CRYPT_XML_ALGORITHM alg = {sizeof(alg), L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411", {}};
                CRYPT_XML_ALGORITHM_INFO* info = nullptr;
                if (dll().GetAlgorithmInfo(&alg, 0, &info) != S_OK || info->dwGroupId != 1) ++wrong;
                LocalFree(info);
            }
        });
    }
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                if (dll().FindAlgorithmInfo(1, nullptr, 1, 0) != nullptr) ++wrong;  // traced when on
                if (!WholeLine(dll().LastMessage())) ++wrong;
            }
        });
    }
    threads.emplace_back([&] {
        for (int i = 0; i < kRounds; ++i) {
            if (i % 2 == 0)
                dll().StartDebugging();
            else
                dll().StopDebugging();
            dll().DebuggingIsStarted();
        }
    });
    for (std::thread& t : threads) t.join();
    dll().StopDebugging();
    EXPECT_EQ(0, wrong.load());
    EXPECT_EQ(FALSE, dll().DebuggingIsStarted());
}
