#include "frame/standins/recorder.h"

#include <algorithm>
#include <memory>
#include <mutex>

namespace standins {

namespace {

std::mutex lock; // guards the events

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

void record(const std::string& text, std::int32_t source_line)
{
    const std::lock_guard guard(lock);
    the_recorder().events.push_back({text, source_line});
}

void see_record(const kx::transform_parameters& record)
{
    recorder& r = the_recorder();
    r.seen_record = record;
    std::copy_n(kx::matrix_of(record), r.seen_matrix.size(), r.seen_matrix.begin());
}

} // namespace standins
