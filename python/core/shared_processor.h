// A color processor that Python's threads share.
#pragma once

#include "without_gil.h"

#include <korvex_kvi_color_processing.hpp>

#include <cstddef>
#include <mutex>
#include <shared_mutex>

namespace kx::python {

namespace kc = korvex::color;

// The library, initialized at the first call and then for good.
const kc::library& loaded_library();

// Any number of threads use a processor at the same time; changes wait for those that run, and those that come later
// wait for the change. All functions are called with the GIL, and wait without it.
//
// A child of fork has but the thread that forked, and locks of threads that it does not have: there the locks are made
// anew. Changes are not interrupted by fork.
class shared_processor {
public:
    // `options` are what its transforms take when nothing else is said.
    explicit shared_processor(kc::processor processor, const kc::transform_options& options = {});
    shared_processor(const shared_processor&) = delete;
    shared_processor& operator=(const shared_processor&) = delete;
    ~shared_processor();

    // The processor as it is, for as long as this lives: on the thread that made it.
    class unchanged {
    public:
        explicit unchanged(const shared_processor& shared);
        unchanged(const unchanged&) = delete;
        unchanged& operator=(const unchanged&) = delete;
        ~unchanged() { held_here = before_; }

        [[nodiscard]] const kc::processor& processor() const { return shared_.processor_; }
        [[nodiscard]] const kc::matrix& matrix() const { return shared_.matrix_; }

    private:
        const shared_processor& shared_;
        const shared_processor* before_;
        std::shared_lock<std::shared_mutex> lock_;
    };

    // First clears the matrix if `anew`, then multiplies the other into it.
    void change_matrix(bool anew, const kc::matrix* appended);

    void enable_LUTs(bool of_input, const kc::per_channel<bool>& enabled);

    [[nodiscard]] kc::LUT_range LUT(bool of_input, kc::channel which)
    {
        return of_input ? processor_.input_LUT(which) : processor_.output_LUT(which);
    }
    [[nodiscard]] const kc::processor_options& bit_depths() const { return processor_.options(); }
    [[nodiscard]] const kc::transform_options& options() const { return options_; }

    // How many there are, for tests.
    [[nodiscard]] static std::size_t alive();

    // Makes locks anew in children of fork; once.
    static void watch_forks();

private:
    template <typename Change>
    void change(const Change& change);

    static inline thread_local const shared_processor* held_here = nullptr;

    kc::processor processor_;
    kc::transform_options options_;
    kc::matrix matrix_;
    mutable std::mutex turn_; // without it, transforms that overlap would keep a change waiting for ever
    mutable std::shared_mutex mutex_;
};

} // namespace kx::python
