// pixel_tests --vector-level=0|1|2 [GoogleTest options]: all pixel tests at one vector level.
#include "harness.h"

#include <cstdio>
#include <string_view>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    constexpr std::string_view option = "--vector-level=";
    const std::string_view argument = argc == 2 ? argv[1] : "";
    const std::string_view level = argument.substr(0, option.size()) == option ? argument.substr(option.size()) : "";
    if (level != "0" && level != "1" && level != "2") {
        if (argc == 1 && testing::GTEST_FLAG(list_tests)) {
            return RUN_ALL_TESTS(); // the list is the same at every level
        }
        std::fprintf(stderr, "usage: %s --vector-level=0|1|2 [GoogleTest options]\n", argv[0]);
        return 2;
    }
    kx_test::set_vector_level(level[0] - '0');
    return RUN_ALL_TESTS();
}
