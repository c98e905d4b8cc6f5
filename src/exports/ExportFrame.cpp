#include "exports/ExportFrame.hpp"

#include <memory>

#include "dsig/ContextRegistry.hpp"

namespace frame {

void CreatedContext::Discard() noexcept {
    if (ctx_ == nullptr) return;
    BaseContext* ctx = Release();
    try {
        if (registry::ContextExists(ctx)) {
            registry::CloseContext(ctx);
        } else {
            std::unique_ptr<BaseContext> owned(ctx);  // never registered: ours to destroy
        }
    } catch (const std::exception& e) {
        Report(exportName_, e.what(), hr::kFail);
    } catch (...) {
        Report(exportName_, kUnexpected, hr::kUnexpected);
    }
}

}  // namespace frame
