// The trace switches and the read-back of the last line. They run without the export
// frame: none of them can fail in a way that needs one.
#include "base/Trace.hpp"

extern "C" {

void WINAPI CryptXmlStartDebugging(void) { trace::Start(); }

void WINAPI CryptXmlStopDebugging(void) { trace::Stop(); }

BOOL WINAPI CryptXmlDebuggingIsStarted(void) { return trace::IsOn() ? 1 : 0; }

HRESULT WINAPI CryptXmlGetLastDebugMessage(LPWSTR wszBuffer, DWORD cchBuffer) {
    return trace::CopyLastLine(wszBuffer, cchBuffer);
}

}  // extern "C"
