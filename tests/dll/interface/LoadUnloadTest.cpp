// An application that loads the DLL, uses it, cleans up and unloads it, many times over in
// one process: every round works, and the process keeps no handles or memory from it.
#include <gtest/gtest.h>

#include <windows.h>

#include <cryptxml.h>

#include "support/ProcessFigures.hpp"

namespace {

template <class F>
F Proc(HMODULE module, const char* name) {
    return reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

// One round of what a short-lived user of the DLL does.
bool UseOnce() {
    HMODULE dll = LoadLibraryW(L"talvoran-cryptxml64.dll");
    if (dll == nullptr) return false;
    auto find = Proc<decltype(&CryptXmlFindAlgorithmInfo)>(dll, "CryptXmlFindAlgorithmInfo");
    auto get = Proc<decltype(&CryptXmlGetAlgorithmInfo)>(dll, "CryptXmlGetAlgorithmInfo");
    auto start = Proc<decltype(&CryptXmlStartDebugging)>(dll, "CryptXmlStartDebugging");
    auto cleanup = Proc<decltype(&CryptXmlCleanup)>(dll, "CryptXmlCleanup");
    auto open = Proc<decltype(&CryptXmlOpenToDecode)>(dll, "CryptXmlOpenToDecode");
    auto getSignature = Proc<decltype(&CryptXmlGetSignature)>(dll, "CryptXmlGetSignature");
    auto getDoc = Proc<decltype(&CryptXmlGetDocContext)>(dll, "CryptXmlGetDocContext");
    bool ok = find && get && start && cleanup && open && getSignature && getDoc;
    if (ok) {
        start();
        ok = find(1, nullptr, 1, 0) == nullptr;  // a traced failure
        CRYPT_XML_ALGORITHM alg = {sizeof(alg), L"http://www.w3.org/2001/04/xmldsig-more#gostr3411", {}};
        CRYPT_XML_ALGORITHM_INFO* info = nullptr;
        ok = ok && get(&alg, 0, &info) == S_OK && info != nullptr;
        LocalFree(info);
        // A document is decoded and left open: CryptXmlCleanup closes it and stops the XML
        // stack, so nothing of it may outlive the unload.
        static const char kXml[] =
            "<r><Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"><SignedInfo>"
            "<CanonicalizationMethod Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"/>"
            "<SignatureMethod Algorithm=\"http://www.w3.org/2000/09/xmldsig#rsa-sha1\"/>"
            "<Reference URI=\"\"><DigestMethod Algorithm=\"http://www.w3.org/2000/09/xmldsig#sha1\"/>"
            "<DigestValue>AAECAwQFBgcICQoLDA0ODxAREhM=</DigestValue></Reference></SignedInfo>"
            "<SignatureValue>AQID</SignatureValue></Signature></r>";
        CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, sizeof(kXml) - 1,
                               reinterpret_cast<BYTE*>(const_cast<char*>(kXml))};
        HCRYPTXML doc = nullptr;
        const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
        const CRYPT_XML_SIGNATURE* sig = nullptr;
        ok = ok && open(nullptr, 0, nullptr, 0, &blob, &doc) == S_OK && getDoc(doc, &ctxt) == S_OK &&
             ctxt->cSignature == 1 && getSignature(ctxt->rgpSignature[0]->hSignature, &sig) == S_OK &&
             sig->SignatureValue.cbData == 3;
        cleanup();
    }
    return FreeLibrary(dll) != FALSE && ok;
}

using testing_support::Handles;
using testing_support::PrivateBytes;

}  // namespace

TEST(LoadUnload, RepeatedRoundsWorkAndLeaveNothingBehind) {
    ASSERT_TRUE(UseOnce());  // the first round settles the loader's own caches
    const SIZE_T bytes = PrivateBytes();
    const DWORD handles = Handles();
    ASSERT_GT(bytes, 0u);  // both figures must be readable for the check to mean anything
    ASSERT_GT(handles, 0u);
    for (int round = 0; round < 60; ++round) ASSERT_TRUE(UseOnce()) << "round " << round;
    EXPECT_LE(Handles(), handles + 2) << "handles grew from " << handles;
    EXPECT_LT(PrivateBytes(), bytes + 1024 * 1024) << "private bytes grew from " << bytes;
    EXPECT_EQ(nullptr, GetModuleHandleW(L"talvoran-cryptxml64.dll"));
}
