#include "exports/ExportFrame.hpp"

#include <string>

#include "base/XsecErrors.hpp"

namespace frame {

HRESULT ReportCaught(const char* exportName, bool narrow, bool keepHandleError) noexcept {
    try {
        const std::string name(exportName);
        xsecErrors::Rethrow(std::wstring(name.begin(), name.end()).c_str());
    } catch (const CryptXmlException& e) {
        const HRESULT code = e.hr();
        const bool kept = !narrow || code == hr::kInvalidArg || (keepHandleError && code == hr::kHandle);
        return Report(exportName, e.what(), kept ? code : hr::kFail);
    } catch (const std::exception& e) {
        return Report(exportName, e.what(), hr::kFail);
    } catch (...) {
        // Unknown to the translation too.
    }
    return Report(exportName, kUnexpected, hr::kUnexpected);
}

}  // namespace frame
