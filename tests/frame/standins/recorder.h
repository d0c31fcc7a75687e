// What the stand-ins for the companion modules share with the test program: a record of everything that
// happened to them, and the behaviour that the test asks of them. A small shared library of its own with a
// plain C interface, so that each side may be built with a C++ runtime of its own.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(_WIN32) && defined(KX_RECORDER_BUILD)
#define KX_RECORDER_API __declspec(dllexport)
#elif defined(_WIN32)
#define KX_RECORDER_API __declspec(dllimport)
#else
#define KX_RECORDER_API __attribute__((visibility("default")))
#endif

extern "C" {

enum standins_exception : std::int32_t { standins_no_exception, standins_bad_alloc, standins_runtime_error };

// The call_number'th call from now on throws; the others succeed.
struct standins_failure {
    std::int32_t call_number; // 0: none
    standins_exception exception;
};

enum standins_vector_module : std::int32_t { standins_sse, standins_avx2 };

struct standins_vector_script {
    std::int32_t initialize_result;
    standins_exception initialize_throws;
    standins_exception transform_throws;
    std::uint32_t first_unconverted; // what a transform returns
    std::int32_t fills_prefix;       // whether it writes standins_marker to all samples before that pixel
};

constexpr std::uint16_t standins_marker = 0xABAB;

struct standins_script {
    std::int32_t get_log_returns_null;
    std::int32_t log_result;
    standins_exception free_log_throws;
    std::int32_t LUT_initialize_result;
    standins_failure create_LUT;
    standins_failure get_LUT_data;
    standins_vector_script vector[2]; // by standins_vector_module
    std::int32_t counts_only;         // no texts, and nothing that would order the threads
    std::int32_t announces_free_log;  // on standard error, for a process that is about to end
};

// The last record that a vector module was called with, and the matrix that it led to.
struct standins_seen_record {
    unsigned char bytes[168];
    float matrix[9];
};

enum standins_kind : std::int32_t { standins_log_line, standins_LUT_call, standins_vector_call, standins_other };
constexpr std::size_t standins_kind_count = 4;

// Forgets what happened, starts to number LUTs at 1 again, and makes all stand-ins succeed.
KX_RECORDER_API void standins_reset();

KX_RECORDER_API standins_script* standins_the_script();

// `source_line` is that of a log line, else 0.
KX_RECORDER_API void standins_record(standins_kind kind, const char* event, std::int32_t source_line);
KX_RECORDER_API std::int32_t standins_count(standins_kind kind);
KX_RECORDER_API std::size_t standins_event_count();
KX_RECORDER_API const char* standins_event(std::size_t index);
KX_RECORDER_API std::int32_t standins_event_source_line(std::size_t index);
KX_RECORDER_API void standins_clear_events();

// The LUTs, by their numbers. Entries are not zero at first, and 16 words on each side of them are guards.
KX_RECORDER_API std::int32_t standins_create_LUT(std::int32_t entry_count);
KX_RECORDER_API std::uint32_t* standins_LUT_data(std::int32_t number);  // null unless it exists
KX_RECORDER_API std::int32_t standins_destroy_LUT(std::int32_t number); // returns whether it existed
KX_RECORDER_API std::int32_t standins_LUT_count();

constexpr std::size_t standins_LUT_limit = 16384; // numbers are below
constexpr std::uint32_t standins_LUT_fill = 0xA5A5A5A5;
constexpr std::ptrdiff_t standins_LUT_guard_words = 16;

// `record` is that of a vector call, and leads to a matrix by its pointer at offset 64.
KX_RECORDER_API void standins_see_record(const void* record);
KX_RECORDER_API standins_seen_record* standins_the_seen_record();
}
