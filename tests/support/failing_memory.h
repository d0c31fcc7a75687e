// Memory that runs out when a test says so. Linking the source replaces the C library's allocation, and with it the C++
// runtime's and that of the system's loader, in the whole process: on Linux, without sanitizers.
#pragma once

namespace kx_test {

class failing_memory {
public:
    // From now on allocation `number` fails, counted from 1, or that one and all later ones.
    failing_memory(int number, bool all_later_ones);
    ~failing_memory() { stop(); }
    failing_memory(const failing_memory&) = delete;
    failing_memory& operator=(const failing_memory&) = delete;

    // There is memory again. Returns whether any allocation failed.
    bool stop();

    // How many pieces of memory have been allocated and not freed.
    static long living_pieces();
};

} // namespace kx_test
