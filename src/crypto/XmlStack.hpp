#pragma once

// Start and stop of the XML stack: Xerces-C, then xml-security-c with our CryptoAPI crypto
// provider and the GOST algorithms. The stack starts lazily on the first call that works
// on a document, a key value or a transform, and stops only when the library is cleaned up.
namespace xmlStack {

// Starts whatever part of the stack is not running. Throws what the libraries throw.
void Ensure();

// Stops what is running, in reverse order.
void Stop();

}  // namespace xmlStack
