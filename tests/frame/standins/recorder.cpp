#include "frame/standins/recorder.h"

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

void record(const std::string& event)
{
    const std::lock_guard guard(lock);
    the_recorder().events.push_back(event);
}

} // namespace standins
