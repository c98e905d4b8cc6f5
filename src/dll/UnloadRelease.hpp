#pragma once

// Hands back what the statically linked runtime keeps for the life of the process when
// the DLL is unloaded (see UnloadRelease.cpp).
namespace runtime {

// DllMain tells on DLL_PROCESS_DETACH whether the process is ending. Then nothing is
// released: other threads were stopped wherever they were and may hold the heap or loader
// locks the release would need, and the system reclaims everything anyway.
void NoteDetach(bool processEnding) noexcept;

}  // namespace runtime
