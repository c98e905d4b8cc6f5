// What the forwarder remembers of the keys a backend hands out, so that it can answer key
// parameters the backend itself cannot be asked for (Wine's dssenh: CPGetKeyParam is a stub
// that aborts the process).
#pragma once
#include <windows.h>
#include <wincrypt.h>

#include <map>
#include <mutex>

namespace faulty {

// Key handle -> ALG_ID for the keys of one context. Safe to use from several threads.
class KeyAlgorithms {
public:
    void Remember(HCRYPTKEY key, ALG_ID algId);
    void Forget(HCRYPTKEY key);
    // 0 when the key was not made through this context.
    ALG_ID Find(HCRYPTKEY key) const;

private:
    mutable std::mutex lock_;
    std::map<HCRYPTKEY, ALG_ID> algorithms_;
};

// The ALG_ID a DSS provider reports for a key made for `algIdOrKeyPair`: a key pair name stands
// for the algorithm a DSS provider uses for it (AT_SIGNATURE: CALG_DSS_SIGN, AT_KEYEXCHANGE:
// CALG_DH_SF), any other value is the algorithm itself.
ALG_ID DssAlgorithm(ALG_ID algIdOrKeyPair);

// aiKeyAlg of the BLOBHEADER a key blob starts with, 0 when the blob is shorter than that.
ALG_ID BlobAlgorithm(const BYTE* blob, DWORD size);

// Answers a DWORD parameter the way providers do: the size alone when `data` is null,
// ERROR_MORE_DATA (with the size needed) when the buffer is too small.
BOOL AnswerDword(DWORD value, BYTE* data, DWORD* size);

// Provider parameters of this provider's own, each a DWORD over all contexts and types: the
// contexts acquired and not released, the keys handed out and not destroyed, the hashes
// created and not destroyed.
constexpr DWORD kPpLiveContexts = 0x54410001;
constexpr DWORD kPpLiveKeys = 0x54410002;
constexpr DWORD kPpLiveHashes = 0x54410003;

}  // namespace faulty
