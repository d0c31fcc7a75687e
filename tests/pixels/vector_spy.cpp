// Compiled once for each vector module, with KX_SPY_ON as sse or avx2.
#include "vector_spy.h"

#include <dlfcn.h>

#include <string>
#include <type_traits>

#define KX_JOIN(a, b) a##b
#define KX_NAME_IN(a, b) KX_JOIN(a, b)
#define KX_TEXT_OF(a) #a
#define KX_TEXT(a) KX_TEXT_OF(a)
#define KX_EXPORT __attribute__((visibility("default")))

namespace {

thread_local kx_test::vector_spy account;

struct vector_module {
    std::int32_t (*initialize)() = nullptr;
    std::uint32_t (*transform_8_bit)(const void*) = nullptr;
    std::uint32_t (*transform_16_bit)(const void*) = nullptr;
    std::int32_t (*terminate)() = nullptr;

    [[nodiscard]] bool complete() const
    {
        return initialize != nullptr && transform_8_bit != nullptr && transform_16_bit != nullptr
               && terminate != nullptr;
    }
};

// The module in the directory of the library under test, not in this spy's.
vector_module load_module()
{
    vector_module found;
    char directory[4096] = {};
    void* const library = dlopen("korvex_kvi_color_processing.so", RTLD_NOW | RTLD_NOLOAD);
    if (library == nullptr || dlinfo(library, RTLD_DI_ORIGIN, directory) != 0) {
        return found;
    }
    const std::string path = std::string(directory) + "/korvex_kvi_color_processing_vector_" KX_TEXT(KX_SPY_ON) ".so";
    void* const module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        return found;
    }
    const auto find = [module](auto& entry_point, const std::string& name) {
        entry_point = reinterpret_cast<std::remove_reference_t<decltype(entry_point)>>(dlsym(module, name.c_str()));
    };
    const std::string suffix = "_vector_" KX_TEXT(KX_SPY_ON);
    find(found.initialize, "kx_color_processing" + suffix + "_module_initialize");
    find(found.transform_8_bit, "kx_color_processing_transform_8_bit_output" + suffix);
    find(found.transform_16_bit, "kx_color_processing_transform_16_bit_output" + suffix);
    find(found.terminate, "kx_color_processing" + suffix + "_module_terminate");
    return found;
}

const vector_module& the_module()
{
    static const vector_module loaded = load_module();
    return loaded;
}

std::uint32_t pass_on(unsigned& calls, std::uint32_t (*transform)(const void*), const void* parameters)
{
    ++calls;
    account.converted = account.stand_in ? *account.stand_in : transform(parameters);
    return account.converted;
}

} // namespace

extern "C" {

KX_EXPORT kx_test::vector_spy& KX_NAME_IN(kx_vector_spy_, KX_SPY_ON)()
{
    return account;
}

KX_EXPORT std::int32_t KX_NAME_IN(KX_NAME_IN(kx_color_processing_vector_, KX_SPY_ON), _module_initialize)()
{
    if (account.stand_in) {
        return 0;
    }
    const vector_module& module = the_module();
    account.module_found = module.complete();
    account.initialize_result = account.module_found ? module.initialize() : -1;
    return account.initialize_result;
}

KX_EXPORT std::uint32_t KX_NAME_IN(kx_color_processing_transform_8_bit_output_vector_, KX_SPY_ON)(const void* record)
{
    return pass_on(account.transforms_8_bit, the_module().transform_8_bit, record);
}

KX_EXPORT std::uint32_t KX_NAME_IN(kx_color_processing_transform_16_bit_output_vector_, KX_SPY_ON)(const void* record)
{
    return pass_on(account.transforms_16_bit, the_module().transform_16_bit, record);
}

KX_EXPORT std::int32_t KX_NAME_IN(KX_NAME_IN(kx_color_processing_vector_, KX_SPY_ON), _module_terminate)()
{
    return account.stand_in || !the_module().complete() ? 0 : the_module().terminate();
}
}
