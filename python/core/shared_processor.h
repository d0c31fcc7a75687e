// A color processor that Python's threads share, and calls of the library beside Python.
#pragma once

#include <korvex_kvi_color_processing.hpp>

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <shared_mutex>

namespace kx::python {

namespace kc = korvex::color;

// The library, initialized at the first call and then for good.
const kc::library& loaded_library();

// Any number of threads use a processor at the same time; changes wait for those that run, and those that come later
// wait for the change. Lock without the GIL: whoever holds a lock may be waiting for nothing but the processor.
// Whatever needs the library's memory (Python's object, views of LUTs, running transforms) has a share of it.
class shared_processor {
public:
    explicit shared_processor(kc::processor processor) : processor_(std::move(processor)) { ++alive_; }
    shared_processor(const shared_processor&) = delete;
    shared_processor& operator=(const shared_processor&) = delete;
    ~shared_processor() { --alive_; }

    // Holds the processor as it is.
    [[nodiscard]] std::shared_lock<std::shared_mutex> unchanged() const
    {
        const std::lock_guard<std::mutex> in_turn(turn_);
        return std::shared_lock(mutex_);
    }

    template <typename Change>
    void change(const Change& change)
    {
        const std::lock_guard<std::mutex> in_turn(turn_);
        const std::unique_lock<std::shared_mutex> lock(mutex_);
        change(processor_);
    }

    void enable_LUTs(bool of_input, const kc::per_channel<bool>& enabled)
    {
        change([&](kc::processor& processor) {
            of_input ? processor.enable_input_LUTs(enabled) : processor.enable_output_LUTs(enabled);
        });
    }

    // While it is held unchanged.
    [[nodiscard]] const kc::processor& native() const { return processor_; }
    [[nodiscard]] const kc::per_channel<bool>& enabled(bool of_input) const
    {
        return of_input ? processor_.input_LUTs_enabled() : processor_.output_LUTs_enabled();
    }

    [[nodiscard]] std::size_t LUT_entries(bool of_input) const
    {
        const kc::processor_options& options = processor_.options();
        return std::size_t{1} << (of_input ? options.input_LUT_bit_depth : options.output_LUT_bit_depth);
    }
    [[nodiscard]] kc::LUT_range LUT(bool of_input, kc::channel which)
    {
        return of_input ? processor_.input_LUT(which) : processor_.output_LUT(which);
    }

    // Whether Python's object was closed: the memory lives on as long as something needs it.
    std::atomic<bool> closed{false};

    // How many there are, for tests.
    [[nodiscard]] static int alive() { return alive_; }

private:
    static inline std::atomic<int> alive_{0};

    kc::processor processor_;
    mutable std::mutex turn_; // without it, transforms that overlap would keep a change waiting for ever
    mutable std::shared_mutex mutex_;
};

} // namespace kx::python
