#pragma once

// The end of the library's life in a process, short of unloading it.
namespace lifecycle {

// What CryptXmlCleanup does: close every context, release the transform states still
// open, then stop the XML stack.
void Cleanup();

}  // namespace lifecycle
