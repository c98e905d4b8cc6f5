#include <gtest/gtest.h>

#include <cstring>

#include "ForcedDebugProbe.hpp"

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], testing_support::kProbeArgument) == 0) {
        return testing_support::ForcedDebugProbeMain();
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
