// Stand-in for the logger module. LEAVE_OUT_name builds it without that entry point.
#include "frame/standins/standin.h"

namespace {

constexpr char name[] = "logger";
const standin::presence<name> reports_presence;

[[maybe_unused]] int the_log;

} // namespace

#ifndef LEAVE_OUT_kvi_get_log
KX_STANDIN_API void* kvi_get_log(const char* channel_name, const char* second_name)
{
    standin::record(standins_other, "kvi_get_log(%s, '%s')", channel_name, second_name);
    return standin::script().get_log_returns_null != 0 ? nullptr : &the_log;
}
#endif

#ifndef LEAVE_OUT_kvi_log
KX_STANDIN_API std::int32_t kvi_log(void* log, std::int32_t level, const char* source_file_name,
                                    std::int32_t source_line, const char* function_name, const char* message)
{
    char text[1024];
    std::snprintf(text, sizeof text, "log%s %d %s %s: %s", log == &the_log ? "" : " with a wrong handle", level,
                  source_file_name, function_name, message);
    standins_record(standins_log_line, text, source_line);
    return standin::script().log_result;
}
#endif

#ifndef LEAVE_OUT_kvi_free_log
KX_STANDIN_API std::int32_t kvi_free_log(const char* channel_name, const char* second_name)
{
    standin::record(standins_other, "kvi_free_log(%s, '%s')", channel_name, second_name);
    if (standin::script().announces_free_log != 0) {
        std::fprintf(stderr, "log closed");
    }
    standin::throw_if(standin::script().free_log_throws);
    return 1; // must not matter
}
#endif
