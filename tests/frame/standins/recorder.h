// What the stand-ins for the companion modules share with the test program: a record of everything that
// happened to them, and the behaviour that the test asks of them. In a small shared library of its own.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#if defined(_WIN32) && defined(KX_RECORDER_BUILD)
#define KX_RECORDER_API __declspec(dllexport)
#elif defined(_WIN32)
#define KX_RECORDER_API __declspec(dllimport)
#else
#define KX_RECORDER_API __attribute__((visibility("default")))
#endif

namespace standins {

enum exception { no_exception, bad_alloc, runtime_error };

// The call_number'th call from now on throws; the others succeed.
struct failure {
    std::int32_t call_number = 0; // 0: none
    exception thrown = no_exception;
};

enum vector_module { sse, avx2 };

struct vector_script {
    std::int32_t initialize_result = 0;
    exception initialize_throws = no_exception;
    exception transform_throws = no_exception;
    exception terminate_throws = no_exception;
    std::uint32_t first_unconverted = 0; // what a transform, which converts nothing, returns
    std::chrono::microseconds transform_takes{0};
};

constexpr std::uint32_t LUT_fill = 0xA5A5A5A5; // of guards, and of entries at first
constexpr std::ptrdiff_t LUT_guard_words = 16;

struct recorder {
    // What the test asks for.
    bool get_log_returns_null = false;
    std::int32_t get_log_awaits = 0; // how many calls before it returns, or a while if they do not come
    std::int32_t log_result = 0;
    exception log_throws = no_exception;
    exception free_log_throws = no_exception;
    std::int32_t LUT_initialize_result = 0;
    failure create_LUT, get_LUT_data, destroy_LUT;
    std::array<vector_script, 2> vector; // by vector_module

    // What happened.
    std::vector<std::string> events;
    std::atomic<std::int32_t> get_log_calls = 0;

    // LUTs by number, from 1 on, with guard words on either side. Empty unless the LUT exists.
    std::array<std::vector<std::uint32_t>, 1024> LUTs;
    std::int32_t LUTs_created = 0;

    [[nodiscard]] std::uint32_t* LUT_data(std::int32_t number)
    {
        auto& LUT = LUTs.at(static_cast<std::size_t>(number));
        return LUT.empty() ? nullptr : LUT.data() + LUT_guard_words;
    }
    [[nodiscard]] std::ptrdiff_t LUT_count() const
    {
        return std::count_if(LUTs.begin(), LUTs.end(), [](const auto& LUT) { return !LUT.empty(); });
    }
};

KX_RECORDER_API recorder& the_recorder();

// Forgets what happened and what was asked for, and starts to number LUTs at 1 again.
KX_RECORDER_API void reset();

KX_RECORDER_API void record(const std::string& event);

} // namespace standins
