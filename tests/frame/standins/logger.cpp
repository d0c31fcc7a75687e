// Stand-in for the logger module.
#include "frame/standins/standin.h"

#include <thread>

using namespace standins;

namespace {

constexpr char name[] = "logger";
const presence<name> reports_presence;

int the_log;

std::string call_text(const char* function, const char* channel_name, const char* second_name)
{
    return std::string(function) + "(" + channel_name + ", '" + second_name + "')";
}

} // namespace

KX_STANDIN_API void* kvi_get_log(const char* channel_name, const char* second_name)
{
    record(call_text("kvi_get_log", channel_name, second_name));
    recorder& r = the_recorder();
    ++r.get_log_calls;
    for (int i = 0; i < 500 && r.get_log_calls < r.get_log_awaits; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return r.get_log_returns_null ? nullptr : &the_log;
}

KX_STANDIN_API std::int32_t kvi_log(void* log, std::int32_t level, const char* source_file_name,
                                    std::int32_t source_line, const char* function_name, const char* message)
{
    record((log == &the_log && source_line > 0 ? "log " : "log with a wrong handle or line ") + std::to_string(level)
           + " " + source_file_name + " " + function_name + ": " + message);
    throw_if(the_recorder().log_throws);
    return the_recorder().log_result;
}

KX_STANDIN_API std::int32_t kvi_free_log(const char* channel_name, const char* second_name)
{
    record(call_text("kvi_free_log", channel_name, second_name));
    throw_if(the_recorder().free_log_throws);
    return 1; // must not matter
}
