#include <algorithm>
#include <vector>

#include "base/CryptXmlException.hpp"
#include "transforms/Transforms.hpp"

namespace transforms {
namespace {

// A provider's announced buffer size is a preference; a read with less room is still
// valid, so an absurd announcement does not decide how much memory one chunk takes.
constexpr ULONG kLargestChunk = 1u << 20;

ULONG ChunkSizeOf(const CRYPT_XML_DATA_PROVIDER& provider) {
    if (provider.cbBufferSize == 0) return kChunkSize;
    return std::min(provider.cbBufferSize, kLargestChunk);
}

// Appends what one read delivered. A provider may fill the whole chunk; one that claims
// more than it was given room for is believed only up to the room.
void AppendRead(std::vector<BYTE>& out, const std::vector<BYTE>& chunk, ULONG cbRead) {
    const size_t count = std::min<size_t>(cbRead, chunk.size());
    if (out.size() + count > CRYPT_XML_BLOB_MAX) {
        errors::Raise<hr::kLarge>("ReadDataFromProvider", "the data exceeds CRYPT_XML_BLOB_MAX.");
    }
    out.insert(out.end(), chunk.begin(), chunk.begin() + count);
}

}  // namespace

void ReadDataFromProvider(const CRYPT_XML_DATA_PROVIDER& provider, std::vector<BYTE>& out) {
    if (provider.pfnClose == nullptr || provider.pfnRead == nullptr)
        errors::Raise<hr::kInvalidArg>("ReadDataFromProvider");
    out.clear();
    try {
        std::vector<BYTE> chunk(ChunkSizeOf(provider), 0);
        for (;;) {
            ULONG cbRead = 0;
            // A failing read ends the data: what came before it is used.
            if (FAILED(provider.pfnRead(provider.pvCallbackState, chunk.data(), static_cast<ULONG>(chunk.size()),
                                        &cbRead)) ||
                cbRead == 0) {
                break;
            }
            AppendRead(out, chunk, cbRead);
        }
    } catch (...) {
        provider.pfnClose(provider.pvCallbackState);
        throw;
    }
}

}  // namespace transforms
