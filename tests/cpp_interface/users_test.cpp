// Several users of the library in one process, each in a shared library of its own with the C++ header compiled in.
#include "support/shared_library.h"

#include <gtest/gtest.h>

namespace {

struct plug_in : kx_test::shared_library {
    using shared_library::shared_library;

    void (*start)() = find("plug_in_start");
    void (*create)() = find("plug_in_create");
    int (*convert)() = find("plug_in_convert");
    void (*end)() = find("plug_in_end");
};

TEST(users, end_without_each_other)
{
    plug_in first(KX_FIRST_PLUG_IN);
    plug_in second(KX_SECOND_PLUG_IN);
    plug_in third(KX_THIRD_PLUG_IN);
    for (const plug_in* each : {&first, &second, &third}) {
        each->start();
    }
    first.create();
    second.create();
    first.end();
    EXPECT_EQ(second.convert(), 14);
    third.create(); // where the first one's end has cleared what it needs
    EXPECT_EQ(third.convert(), 14);
    second.end();
    first.start();
    first.create();
    third.end();
    third.close();
    EXPECT_EQ(first.convert(), 14);
    first.end();
}

} // namespace
