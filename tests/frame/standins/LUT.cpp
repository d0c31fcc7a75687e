// Stand-in for the LUT module. Its handles lead to no table: nobody but the module may look behind them.
#include "frame/standins/standin.h"

using namespace standins;

namespace {

constexpr char name[] = "LUT";
const presence<name> reports_presence;

char handles[std::tuple_size_v<decltype(recorder::LUTs)>];

std::int32_t number_of(void* handle)
{
    return static_cast<std::int32_t>(static_cast<char*>(handle) - handles);
}

std::string call_text(const char* function, void* handle)
{
    return function + ("(LUT " + std::to_string(number_of(handle))) + ")";
}

} // namespace

KX_STANDIN_API std::int32_t kx_LUT_module_initialize()
{
    record("kx_LUT_module_initialize()");
    return the_recorder().LUT_initialize_result;
}

KX_STANDIN_API void* kx_create_LUT_test(std::int32_t entry_count, std::int32_t for_avx2)
{
    recorder& r = the_recorder();
    const std::string call =
        "kx_create_LUT_test(" + std::to_string(entry_count) + ", " + std::to_string(for_avx2) + ")";
    if (const exception thrown = due(r.create_LUT)) {
        record(call + " throws");
        throw_if(thrown);
    }
    const std::int32_t number = ++r.LUTs_created;
    r.LUTs.at(static_cast<std::size_t>(number))
        .assign(static_cast<std::size_t>(entry_count + 2 * LUT_guard_words), LUT_fill);
    record(call + " = LUT " + std::to_string(number));
    return handles + number;
}

KX_STANDIN_API std::int32_t kx_LUT_transform_16(void*, const std::uint16_t*, std::uint16_t*, std::int32_t)
{
    throw std::logic_error("the library does not call this");
}

KX_STANDIN_API std::uint32_t* kx_get_LUT_data(void* LUT)
{
    const exception thrown = due(the_recorder().get_LUT_data);
    record(call_text("kx_get_LUT_data", LUT) + (thrown != no_exception ? " throws" : ""));
    throw_if(thrown);
    return the_recorder().LUT_data(number_of(LUT));
}

KX_STANDIN_API std::int32_t kx_destroy_LUT(void* LUT)
{
    const bool existed = the_recorder().LUT_data(number_of(LUT)) != nullptr;
    record(call_text("kx_destroy_LUT", LUT) + (existed ? "" : " in vain"));
    the_recorder().LUTs.at(static_cast<std::size_t>(number_of(LUT))) = {};
    throw_if(due(the_recorder().destroy_LUT));
    return 1; // must not matter
}

KX_STANDIN_API std::int32_t kx_LUT_module_terminate()
{
    record("kx_LUT_module_terminate()");
    return 1; // must not matter
}
