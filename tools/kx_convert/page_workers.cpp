#include "page_workers.h"

#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace kx::convert {

void run_in_order(std::uint32_t count, unsigned workers, const page_step& prepare, const page_step& finish)
{
    std::atomic<std::uint32_t> next = 0;
    std::mutex guard;
    std::condition_variable turn_has_passed;
    std::uint32_t turn = 0;
    std::exception_ptr failure;

    const auto run = [&](unsigned worker) {
        for (std::uint32_t page = next++; page < count; page = next++) {
            std::exception_ptr mine;
            try {
                prepare(page, worker);
            } catch (...) {
                mine = std::current_exception();
            }
            std::unique_lock lock(guard);
            turn_has_passed.wait(lock, [&] { return turn == page || failure != nullptr; });
            if (failure != nullptr) {
                return;
            }
            lock.unlock(); // nobody else has the turn
            try {
                if (mine == nullptr) {
                    finish(page, worker);
                }
            } catch (...) {
                mine = std::current_exception();
            }
            lock.lock();
            ++turn;
            failure = mine;
            turn_has_passed.notify_all();
            if (failure != nullptr) {
                return;
            }
        }
    };
    {
        std::vector<std::jthread> threads;
        for (unsigned worker = 1; worker < workers; ++worker) {
            threads.emplace_back(run, worker);
        }
        run(0);
    }
    if (failure != nullptr) {
        std::rethrow_exception(failure);
    }
}

} // namespace kx::convert
