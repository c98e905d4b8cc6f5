// Prints the algorithms talvoran-cryptxml64.dll knows, the way an application sees them:
// CryptXmlEnumAlgorithmInfo for each group, then CryptXmlGetAlgorithmInfo for each URI.
#include <windows.h>

#include <cryptxml.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::string Utf8(const wchar_t* text) {
    if (text == nullptr) return "-";
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<size_t>(size > 0 ? size - 1 : 0), '\0');
    if (size > 1) WideCharToMultiByte(CP_UTF8, 0, text, -1, &out[0], size, nullptr, nullptr);
    return out;
}

BOOL WINAPI Collect(const CRYPT_XML_ALGORITHM_INFO* info, void* arg) {
    static_cast<std::vector<const CRYPT_XML_ALGORITHM_INFO*>*>(arg)->push_back(info);
    return TRUE;
}

bool PrintGroup(DWORD group, const char* title) {
    std::vector<const CRYPT_XML_ALGORITHM_INFO*> entries;
    const HRESULT hr = CryptXmlEnumAlgorithmInfo(group, 0, &entries, Collect);
    if (FAILED(hr)) {
        std::printf("CryptXmlEnumAlgorithmInfo(%lu) failed: 0x%08lX\n", group, static_cast<unsigned long>(hr));
        return false;
    }
    std::printf("%s (%zu)\n", title, entries.size());
    bool ok = true;
    for (const CRYPT_XML_ALGORITHM_INFO* e : entries) {
        CRYPT_XML_ALGORITHM alg = {};
        alg.cbSize = sizeof(alg);
        alg.wszAlgorithm = e->wszAlgorithmURI;
        CRYPT_XML_ALGORITHM_INFO* copy = nullptr;
        const HRESULT got = CryptXmlGetAlgorithmInfo(&alg, 0, &copy);
        std::printf("  %-24s %-68s CNG %s%s%s%s\n", Utf8(e->wszName).c_str(), Utf8(e->wszAlgorithmURI).c_str(),
                    Utf8(e->wszCNGAlgid).c_str(), e->wszCNGExtraAlgid ? " / " : "",
                    e->wszCNGExtraAlgid ? Utf8(e->wszCNGExtraAlgid).c_str() : "",
                    SUCCEEDED(got) && copy != nullptr && copy->dwGroupId == group ? "" : "  [lookup failed]");
        ok = ok && SUCCEEDED(got);
        if (copy != nullptr) LocalFree(copy);
    }
    return ok;
}

}  // namespace

int main() {
    const bool digests = PrintGroup(CRYPT_XML_GROUP_ID_HASH, "Digest algorithms");
    const bool signatures = PrintGroup(CRYPT_XML_GROUP_ID_SIGN, "Signature algorithms");
    return digests && signatures ? 0 : 1;
}
