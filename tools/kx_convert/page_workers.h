// Pages worked on side by side and finished one after the other.
#pragma once

#include <cstdint>
#include <functional>

namespace kx::convert {

// What a worker, counted from 0, does for a page. A worker does one thing at a time.
using page_step = std::function<void(std::uint32_t page, unsigned worker)>;

// Has `workers` threads, this one among them, prepare the pages from 0 to count - 1 side by side. Whoever prepared a
// page finishes it when all pages before it are finished. Rethrows the exception of the first page that fails; none
// of the pages behind it is then finished.
void run_in_order(std::uint32_t count, unsigned workers, const page_step& prepare, const page_step& finish);

} // namespace kx::convert
