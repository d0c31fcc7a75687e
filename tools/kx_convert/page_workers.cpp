#include "page_workers.h"

#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

namespace kx::convert {

void run_in_order(std::uint32_t count, const std::vector<std::unique_ptr<page_worker>>& workers)
{
    std::atomic<std::uint32_t> next = 0;
    std::mutex guard;
    std::condition_variable turn_has_passed;
    std::uint32_t turn = 0;
    std::exception_ptr failure;

    const auto run = [&](page_worker& worker) {
        for (std::uint32_t page = next++; page < count; page = next++) {
            std::exception_ptr mine;
            try {
                worker.prepare(page);
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
                    worker.finish(page);
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
        for (std::size_t number = 1; number < workers.size(); ++number) {
            threads.emplace_back([&run, &worker = *workers[number]] { run(worker); });
        }
        run(*workers.front());
    }
    if (failure != nullptr) {
        std::rethrow_exception(failure);
    }
}

} // namespace kx::convert
