// Stand-in for the LUT module. LEAVE_OUT_name builds it without that entry point. Its handles lead to no
// table: nobody but the module may look behind them.
#include "frame/standins/standin.h"

namespace {

constexpr char name[] = "LUT";
const standin::presence<name> reports_presence;

[[maybe_unused]] char handles[standins_LUT_limit];

[[maybe_unused]] void* handle_of(std::int32_t number)
{
    return handles + number;
}

[[maybe_unused]] std::int32_t number_of(void* handle)
{
    return static_cast<std::int32_t>(static_cast<char*>(handle) - handles);
}

} // namespace

#ifndef LEAVE_OUT_kx_LUT_module_initialize
KX_STANDIN_API std::int32_t kx_LUT_module_initialize()
{
    standin::record(standins_other, "kx_LUT_module_initialize()");
    return standin::script().LUT_initialize_result;
}
#endif

#ifndef LEAVE_OUT_kx_create_LUT_test
KX_STANDIN_API void* kx_create_LUT_test(std::int32_t entry_count, std::int32_t for_avx2)
{
    if (const standins_exception exception = standin::due(standin::script().create_LUT)) {
        standin::record(standins_LUT_call, "kx_create_LUT_test(%d, %d) throws", entry_count, for_avx2);
        standin::throw_if(exception);
    }
    const std::int32_t number = standins_create_LUT(entry_count);
    standin::record(standins_LUT_call, "kx_create_LUT_test(%d, %d) = LUT %d", entry_count, for_avx2, number);
    return handle_of(number);
}
#endif

#ifndef LEAVE_OUT_kx_LUT_transform_16
KX_STANDIN_API std::int32_t kx_LUT_transform_16(void* LUT, const std::uint16_t*, std::uint16_t*, std::int32_t)
{
    standin::record(standins_LUT_call, "kx_LUT_transform_16(LUT %d)", number_of(LUT));
    return 1;
}
#endif

#ifndef LEAVE_OUT_kx_get_LUT_data
KX_STANDIN_API std::uint32_t* kx_get_LUT_data(void* LUT)
{
    const standins_exception exception = standin::due(standin::script().get_LUT_data);
    standin::record(standins_LUT_call, "kx_get_LUT_data(LUT %d)%s", number_of(LUT),
                    exception != standins_no_exception ? " throws" : "");
    standin::throw_if(exception);
    return standins_LUT_data(number_of(LUT));
}
#endif

#ifndef LEAVE_OUT_kx_destroy_LUT
KX_STANDIN_API std::int32_t kx_destroy_LUT(void* LUT)
{
    const bool existed = standins_destroy_LUT(number_of(LUT)) != 0;
    standin::record(standins_LUT_call, "kx_destroy_LUT(%s %d)", existed ? "LUT" : "no LUT", number_of(LUT));
    return 1; // must not matter
}
#endif

#ifndef LEAVE_OUT_kx_LUT_module_terminate
KX_STANDIN_API std::int32_t kx_LUT_module_terminate()
{
    standin::record(standins_other, "kx_LUT_module_terminate()");
    return 1; // must not matter
}
#endif
