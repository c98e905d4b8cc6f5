#pragma once
// The verifications the leak tests repeat, through the DLL as an application uses it: each
// opens its document, verifies it one way, checks the answer and the statuses, and closes
// it again, releasing whatever CryptoAPI handles it was given.
#include <gtest/gtest.h>

#include <windows.h>

#include <cryptxml.h>

#include <string>

namespace leak {

std::string ReadFile(const std::string& path);

// A copy of xml whose SignatureValue differs in one Base64 digit, halfway through it.
std::string WithTamperedSignatureValue(std::string xml);

// The caller imports the KeyValue's key, verifies with it and releases it.
::testing::AssertionResult VerifyWithImportedKey(const std::string& xml);
// The library finds the key in KeyInfo (a KeyValue or the signer's certificate) and
// acquires and releases its own handles.
::testing::AssertionResult VerifyWithDocumentKey(const std::string& xml);
::testing::AssertionResult VerifyWithHmacSecret(const std::string& xml, const std::string& secret);
// The signature value does not verify: the answer and the statuses say so, and the
// reference is never digested.
::testing::AssertionResult TamperedFails(const std::string& xml);

// What a leak loop measured, printed the same way by every loop.
struct LoopFigures {
    DWORD handles;  // after round 1
    DWORD handlesEnd;
    DWORD handleMargin;
    SIZE_T bytes;  // private bytes after round 1
    SIZE_T bytesEnd;
    SIZE_T bytesMargin;
    int rounds;
    int verificationsPerRound;
    double seconds;  // rounds 2 to the last
};
void PrintLoopFigures(const LoopFigures& f);

}  // namespace leak
