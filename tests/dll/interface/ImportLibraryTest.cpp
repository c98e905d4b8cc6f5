// Linked against an import library rather than loading the DLL by hand: proves that the
// import library resolves every export to talvoran-cryptxml64.dll.
#include <windows.h>

#include <cryptxml.h>

#include <cstdio>

int main() {
    const CRYPT_XML_ALGORITHM_INFO* e = CryptXmlFindAlgorithmInfo(
        CRYPT_XML_ALGORITHM_INFO_FIND_BY_URI, L"http://www.w3.org/2000/09/xmldsig#sha1", CRYPT_XML_GROUP_ID_HASH, 0);
    CRYPT_XML_ALGORITHM alg = {sizeof(alg), L"http://www.w3.org/2000/09/xmldsig#sha1", {}};
    CRYPT_XML_ALGORITHM_INFO* copy = nullptr;
    const HRESULT got = CryptXmlGetAlgorithmInfo(&alg, 0, &copy);
    wchar_t line[64];
    CryptXmlStartDebugging();
    const BOOL on = CryptXmlDebuggingIsStarted();
    CryptXmlStopDebugging();
    const HRESULT read = CryptXmlGetLastDebugMessage(line, 64);
    CryptXmlCleanup();
    const bool ok = e != nullptr && wcscmp(e->wszName, L"SHA1") == 0 && got == S_OK && copy != nullptr && on &&
                    read == S_OK && CryptXmlEnumAlgorithmInfo(1, 0, nullptr, nullptr) == E_INVALIDARG;
    LocalFree(copy);
    std::printf("%s\n", ok ? "import library resolves every export" : "import library test FAILED");
    return ok ? 0 : 1;
}
