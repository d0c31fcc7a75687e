#include "frame/standins/recorder.h"

#include <cstring>
#include <memory>
#include <mutex>

namespace standins {

namespace {

std::mutex lock; // guards the events and the seen record

} // namespace

// Never destroyed: modules report even while the process ends.
recorder& the_recorder()
{
    static recorder& instance = *new recorder;
    return instance;
}

void reset()
{
    std::destroy_at(&the_recorder());
    std::construct_at(&the_recorder());
}

void record(event_kind kind, const std::string& text, std::int32_t source_line)
{
    recorder& r = the_recorder();
    // Relaxed counters order nothing, so that the thread sanitizer sees the library's own ordering alone.
    r.counts[kind].fetch_add(1, std::memory_order_relaxed);
    if (!r.counts_only) {
        const std::lock_guard guard(lock);
        r.events.push_back({text, source_line});
    }
}

void see_record(const void* record)
{
    recorder& r = the_recorder();
    if (!r.counts_only) {
        const std::lock_guard guard(lock);
        std::memcpy(r.seen_record.data(), record, r.seen_record.size());
        const void* matrix = nullptr;
        std::memcpy(&matrix, r.seen_record.data() + 64, sizeof matrix);
        std::memcpy(r.seen_matrix.data(), matrix, sizeof r.seen_matrix);
    }
}

} // namespace standins
