#include "exports/Lifecycle.hpp"

#include "crypto/XmlStack.hpp"
#include "dsig/ContextRegistry.hpp"
#include "transforms/LiveProviders.hpp"

namespace lifecycle {

void Cleanup() {
    registry::CloseAllContexts();
    // Transform states hold documents of the stack that is about to stop.
    liveProviders::ReleaseAll();
    xmlStack::Stop();
}

}  // namespace lifecycle
