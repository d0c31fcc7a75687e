// Other libraries, for the same work. Each has a file of its own, which is built where the library is installed and
// puts what it has into the list. None of them promises the same bytes.
#pragma once

#include "measure.h"
#include "workload.h"

#include <string>
#include <vector>

namespace kx::benchmarks {

// Interleaved pixels of 16-bit samples through the matrix `correction`, then into 16 bits, the high 8 bits, or a table
// of 8-bit values (`encoded`), on one thread.
struct peer_task {
    enum class result { bits_16, bits_8, table } wanted;
    const image& input;
    std::uint16_t* output; // as large as the input
};

struct peer {
    std::string name;
    std::string how; // version, functions, and where its work differs
    call (*prepare)(const peer_task& task);
};

inline std::vector<peer>& all_peers()
{
    static std::vector<peer> all;
    return all;
}

inline bool add_peer(const peer& another)
{
    all_peers().push_back(another);
    return true;
}

} // namespace kx::benchmarks
