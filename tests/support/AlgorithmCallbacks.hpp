#pragma once
#include <windows.h>

#include <cryptxml.h>

#include <vector>

namespace testing_support {

using AlgorithmList = std::vector<const CRYPT_XML_ALGORITHM_INFO*>;

// Enumeration callbacks: one collects every entry into an AlgorithmList, one counts its
// calls in an int and stops the enumeration at once, one counts and goes on.
inline BOOL WINAPI CollectAlgorithm(const CRYPT_XML_ALGORITHM_INFO* info, void* list) {
    static_cast<AlgorithmList*>(list)->push_back(info);
    return TRUE;
}

inline BOOL WINAPI CountAndStop(const CRYPT_XML_ALGORITHM_INFO*, void* count) {
    ++*static_cast<int*>(count);
    return FALSE;
}

inline BOOL WINAPI CountAll(const CRYPT_XML_ALGORITHM_INFO*, void* count) {
    ++*static_cast<int*>(count);
    return TRUE;
}

}  // namespace testing_support
