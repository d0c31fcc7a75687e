// Pages worked on side by side and finished one after the other.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace kx::convert {

// What one thread does for a page.
class page_worker {
public:
    virtual ~page_worker() = default;

    // While other workers prepare other pages.
    virtual void prepare(std::uint32_t page) = 0;

    // After the page was prepared, and all pages before it are finished.
    virtual void finish(std::uint32_t page) = 0;
};

// Has the workers prepare and finish the pages from 0 to count - 1, each worker but one on a thread of its own.
// Rethrows the exception of the first page that fails; none of the pages behind it is then finished.
void run_in_order(std::uint32_t count, const std::vector<std::unique_ptr<page_worker>>& workers);

} // namespace kx::convert
