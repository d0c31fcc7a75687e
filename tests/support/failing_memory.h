// Memory that runs out when a test says so. Linking the source replaces the allocation functions of the whole program
// and of the libraries that share its C++ runtime: on Linux.
#pragma once

namespace kx_test {

class failing_memory {
public:
    // From now on allocation `number` fails, counted from 1, or that one and all later ones. Sanitizers bring an
    // allocator of their own: with them only what the C++ runtime allocates counts, elsewhere malloc and its kin too.
    failing_memory(int number, bool all_later_ones);
    ~failing_memory() { stop(); }
    failing_memory(const failing_memory&) = delete;
    failing_memory& operator=(const failing_memory&) = delete;

    // There is memory again. Returns whether any allocation failed.
    bool stop();

    // How many objects the C++ runtime has allocated, and how many of them it has not freed.
    static long allocated_objects();
    static long living_objects();
};

} // namespace kx_test
