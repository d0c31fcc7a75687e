// Which way a transform went: the vector modules' part in it, told by their spies.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace kx_test {

// Whether this machine's processor and operating system run the instructions of the level's module.
bool machine_supports(int level);

// Whether the level's module was found beside the library and accepted the machine. Needs an initialized
// library.
testing::AssertionResult vector_module_is_usable(int level);

// Watches one transform on the calling thread, from construction on.
class path_check {
public:
    path_check(int level, int output_bits);

    // Empty when the transform called the level's module for that width once, nothing else, and the module
    // converted all but at most one vector's worth of pixels.
    [[nodiscard]] std::string what_is_wrong(std::int32_t pixel_count) const;

private:
    int level_;
    int output_bits_;
};

// Lets the level's spy play a module that converts nothing and returns `converted`, until no_stand_ins.
// Processors must be created after the first call and destroyed before no_stand_ins.
void stand_in_converts(int level, std::uint32_t converted);
void no_stand_ins();

} // namespace kx_test
