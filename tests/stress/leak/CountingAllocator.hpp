#pragma once

namespace testing_support {
// Blocks allocated with operator new and not yet released, and all ever allocated.
long long LiveBlocks();
long long TotalBlocks();
}  // namespace testing_support
