#include "frame/standins/recorder.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace {

struct event {
    std::string text;
    std::int32_t source_line;
};

struct recorder {
    standins_script script{};
    standins_seen_record seen{};
    std::mutex lock; // guards the events and the seen record
    std::vector<event> events;
    // Relaxed counters order nothing, so that the thread sanitizer sees the library's own ordering alone.
    std::array<std::atomic<std::int32_t>, standins_kind_count> counts{};
    std::atomic<std::int32_t> LUTs_created{0};
    std::array<std::unique_ptr<std::uint32_t[]>, standins_LUT_limit>
        LUTs; // by number; a slot belongs to its LUT's owner
};

// Never destroyed: modules report even while the process ends.
recorder& the_recorder()
{
    static recorder& instance = *new recorder;
    return instance;
}

} // namespace

void standins_reset()
{
    recorder& r = the_recorder();
    r.script = {};
    r.seen = {};
    r.events.clear();
    for (auto& count : r.counts) {
        count = 0;
    }
    r.LUTs_created = 0;
    for (auto& LUT : r.LUTs) {
        LUT.reset();
    }
}

standins_script* standins_the_script()
{
    return &the_recorder().script;
}

void standins_record(standins_kind kind, const char* text, std::int32_t source_line)
{
    recorder& r = the_recorder();
    r.counts[static_cast<std::size_t>(kind)].fetch_add(1, std::memory_order_relaxed);
    if (r.script.counts_only == 0) {
        const std::lock_guard guard(r.lock);
        r.events.push_back({text, source_line});
    }
}

std::int32_t standins_count(standins_kind kind)
{
    return the_recorder().counts[static_cast<std::size_t>(kind)];
}

std::size_t standins_event_count()
{
    return the_recorder().events.size();
}

const char* standins_event(std::size_t index)
{
    return the_recorder().events[index].text.c_str();
}

std::int32_t standins_event_source_line(std::size_t index)
{
    return the_recorder().events[index].source_line;
}

void standins_clear_events()
{
    the_recorder().events.clear();
}

std::int32_t standins_create_LUT(std::int32_t entry_count)
{
    recorder& r = the_recorder();
    const std::int32_t number = r.LUTs_created.fetch_add(1, std::memory_order_relaxed) + 1;
    const auto words = static_cast<std::size_t>(entry_count + 2 * standins_LUT_guard_words);
    auto& slot = r.LUTs.at(static_cast<std::size_t>(number));
    slot = std::make_unique<std::uint32_t[]>(words);
    std::fill_n(slot.get(), words, standins_LUT_fill);
    return number;
}

std::uint32_t* standins_LUT_data(std::int32_t number)
{
    const auto& slot = the_recorder().LUTs.at(static_cast<std::size_t>(number));
    return slot != nullptr ? slot.get() + standins_LUT_guard_words : nullptr;
}

std::int32_t standins_destroy_LUT(std::int32_t number)
{
    auto& slot = the_recorder().LUTs.at(static_cast<std::size_t>(number));
    const bool existed = slot != nullptr;
    slot.reset();
    return existed ? 1 : 0;
}

std::int32_t standins_LUT_count()
{
    const auto& LUTs = the_recorder().LUTs;
    return static_cast<std::int32_t>(
        std::count_if(LUTs.begin(), LUTs.end(), [](const auto& LUT) { return LUT != nullptr; }));
}

void standins_see_record(const void* record)
{
    recorder& r = the_recorder();
    if (r.script.counts_only == 0) {
        const std::lock_guard guard(r.lock);
        std::memcpy(r.seen.bytes, record, sizeof r.seen.bytes);
        const float* matrix = nullptr;
        std::memcpy(&matrix, r.seen.bytes + 64, sizeof matrix);
        std::copy_n(matrix, 9, r.seen.matrix);
    }
}

standins_seen_record* standins_the_seen_record()
{
    return &the_recorder().seen;
}
