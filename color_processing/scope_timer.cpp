#include "scope_timer.h"

#include "logger_client.h"
#include "platform/performance_counter.h"

namespace kx {

scope_timer::scope_timer(const char* name, const logger_client* logger, const call_site& site)
    : name_(name), logger_(logger), site_(site)
{
    if (platform::query_performance_frequency(frequency_)) {
        platform::query_performance_counter(start_count_);
    }
}

void scope_timer::report()
{
    if (!platform::query_performance_counter(end_count_)) {
        return;
    }
    logger_->write(logger_module::information_level, site_, "%s takes %f microseconds.", name_,
                   elapsed_microseconds(start_count_, end_count_, frequency_));
}

} // namespace kx
