// Memory for the pages that are worked on, of all files together.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace kx::convert {

class page_memory {
public:
    explicit page_memory(std::uint64_t bytes) : free_(bytes), all_(bytes) {}

    // What some workers have of it, until this goes.
    class share {
    public:
        share(page_memory& memory, std::uint64_t bytes, unsigned workers)
            : memory_(memory), bytes_(bytes), workers_(workers)
        {
        }
        ~share() { memory_.give_back(bytes_); }
        share(const share&) = delete;
        share& operator=(const share&) = delete;

        [[nodiscard]] unsigned workers() const { return workers_; }

    private:
        page_memory& memory_;
        std::uint64_t bytes_;
        unsigned workers_;
    };

    // Waits until there is enough for a worker that needs so many bytes, and takes it for as many as there is enough
    // for, at most `most`. A worker that needs more than all gets it once nobody else has any.
    share take(std::uint64_t bytes_per_worker, unsigned most);

private:
    void give_back(std::uint64_t bytes);

    std::mutex guard_;
    std::condition_variable changed_;
    std::uint64_t free_;
    std::uint64_t all_;
};

} // namespace kx::convert
