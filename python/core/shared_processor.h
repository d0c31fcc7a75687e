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
    explicit shared_processor(const kc::processor_options& options)
        : shared_processor(kc::processor(loaded_library(), options), options, {}, {})
    {
    }
    shared_processor(kc::processor processor, const kc::processor_options& options,
                     const kc::per_channel<bool>& input_enabled, const kc::per_channel<bool>& output_enabled)
        : processor_(std::move(processor)), options_(options), input_enabled_(input_enabled),
          output_enabled_(output_enabled)
    {
        ++alive_;
    }
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
            (of_input ? input_enabled_ : output_enabled_) = enabled;
        });
    }

    // While it is held unchanged.
    [[nodiscard]] const kc::processor& native() const { return processor_; }
    [[nodiscard]] const kc::per_channel<bool>& enabled(bool of_input) const
    {
        return of_input ? input_enabled_ : output_enabled_;
    }

    [[nodiscard]] std::size_t LUT_entries(bool of_input) const
    {
        return std::size_t{1} << (of_input ? options_.input_LUT_bit_depth : options_.output_LUT_bit_depth);
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
    kc::processor_options options_;
    kc::per_channel<bool> input_enabled_;
    kc::per_channel<bool> output_enabled_;
    mutable std::mutex turn_; // without it, transforms that overlap would keep a change waiting for ever
    mutable std::shared_mutex mutex_;
};

} // namespace kx::python
