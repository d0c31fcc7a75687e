#include "shared_processor.h"

#include <memory>
#include <set>
#include <stdexcept>

#include <pthread.h>

namespace kx::python {

namespace {

constexpr kc::matrix identity{1, 0, 0, 0, 1, 0, 0, 0, 1};

// All processors. Who holds the mutex forks at no time, so that a child finds them whole.
struct all_processors {
    std::mutex mutex;
    std::set<shared_processor*> alive;
};

all_processors& all()
{
    static auto* const kept = new all_processors; // for good
    return *kept;
}

// As the library does it.
kc::matrix product(const kc::matrix& left, const kc::matrix& right)
{
    kc::matrix result{};
    for (std::size_t row = 0; row < 9; row += 3) {
        for (std::size_t column = 0; column < 3; ++column) {
            result.at(row + column) = left[row] * right.at(column) + left.at(row + 1) * right.at(3 + column)
                                      + left.at(row + 2) * right.at(6 + column);
        }
    }
    return result;
}

} // namespace

const kc::library& loaded_library()
{
    const std::lock_guard<std::mutex> no_fork(all().mutex);
    // Never terminated: what the process's end unloads may still be in use then (see running_work).
    static const auto* const library = new kc::library();
    return *library;
}

shared_processor::shared_processor(kc::processor processor, const kc::transform_options& options)
    : processor_(std::move(processor)), options_(options), matrix_(identity)
{
    const std::lock_guard<std::mutex> lock(all().mutex);
    all().alive.insert(this);
}

shared_processor::~shared_processor()
{
    const std::lock_guard<std::mutex> lock(all().mutex);
    all().alive.erase(this);
}

shared_processor::unchanged::unchanged(const shared_processor& shared)
    : shared_(shared), before_(held_here), lock_(shared.mutex_, std::defer_lock)
{
    if (before_ == &shared) { // in a signal's handler: a change may be waiting for this thread
        return;
    }
    std::unique_lock<std::mutex> in_turn(shared.turn_, std::try_to_lock);
    if (!in_turn || !lock_.try_lock()) {
        without_gil([&] {
            if (!in_turn) {
                in_turn.lock();
            }
            lock_.lock();
        });
    }
    held_here = &shared;
}

template <typename Change>
void shared_processor::change(const Change& change)
{
    if (held_here == this) { // in a signal's handler
        throw std::runtime_error("the processor cannot be changed by the thread that it converts for");
    }
    without_gil([&] {
        const std::lock_guard<std::mutex> in_turn(turn_);
        const std::unique_lock<std::shared_mutex> lock(mutex_);
        const std::lock_guard<std::mutex> no_fork(all().mutex);
        change();
    });
}

void shared_processor::change_matrix(bool anew, const kc::matrix* appended)
{
    change([&] {
        if (anew) {
            processor_.clear_matrix();
            matrix_ = identity;
        }
        if (appended != nullptr) {
            processor_.append_matrix(*appended);
            matrix_ = product(matrix_, *appended);
        }
    });
}

void shared_processor::enable_LUTs(bool of_input, const kc::per_channel<bool>& enabled)
{
    change([&] { of_input ? processor_.enable_input_LUTs(enabled) : processor_.enable_output_LUTs(enabled); });
}

std::size_t shared_processor::alive()
{
    const std::lock_guard<std::mutex> lock(all().mutex);
    return all().alive.size();
}

void shared_processor::watch_forks()
{
    const auto in_child = [] {
        for (shared_processor* const each : all().alive) {
            std::construct_at(&each->turn_);
            std::construct_at(&each->mutex_);
        }
        all().mutex.unlock();
    };
    pthread_atfork([] { all().mutex.lock(); }, [] { all().mutex.unlock(); }, in_child);
}

} // namespace kx::python
