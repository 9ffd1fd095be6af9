#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char ** argv)
{
    // No test may touch the registry of the person who runs it.
    qvlib_test::TempFolder registry;
    ::setenv("QVLIB_REGISTRY", registry.Path().c_str(), 1);
    // The tests know what the user's default locale is.
    ::setenv("QVLIB_LOCALE", "en-US", 1);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
