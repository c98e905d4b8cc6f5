#pragma once

// Start and stop of the XML stack (Xerces-C, then xml-security-c with our CryptoAPI crypto
// provider and the GOST algorithms) and the process-wide
// state read at load. The stack starts lazily on the first call that works on a document
// or handle and stops only in CryptXmlCleanup.
namespace lifecycle {

// The text of "talvoran-cryptxml-force-debug-mode" as read at load, or null.
const char* ForcedDebugMode() noexcept;

// Starts whatever part of the stack is not running. Throws what the libraries throw.
void ensureXmlStack();

// Stops what is running, in reverse order.
void stopXmlStack();

// What CryptXmlCleanup does: close every context, then stop the stack.
void Cleanup();

}  // namespace lifecycle
