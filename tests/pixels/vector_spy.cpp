// Compiled once for each vector module, with KX_SPY_ON as sse, avx2 or neon and the module's path in KX_MODULE_FILE,
// and in KX_WIDE_MODULE_FILE that of the one to take where KX_TEST_VECTOR_LEVEL is 512.
#include "vector_spy.h"

#include "support/shared_library.h"

#include <cstdlib>
#include <string_view>

#define KX_JOIN_EXPANDED(a, b, c) a##b##c
#define KX_JOIN(a, b, c) KX_JOIN_EXPANDED(a, b, c)
#define KX_TEXT_EXPANDED(a) #a
#define KX_TEXT(a) KX_TEXT_EXPANDED(a)
#if defined(_WIN32)
#define KX_EXPORT __declspec(dllexport)
#else
#define KX_EXPORT __attribute__((visibility("default")))
#endif

#define KX_INITIALIZE KX_JOIN(kx_color_processing_vector_, KX_SPY_ON, _module_initialize)
#define KX_TRANSFORM_8_BIT KX_JOIN(kx_color_processing_transform_8_bit_output_vector_, KX_SPY_ON, )
#define KX_TRANSFORM_16_BIT KX_JOIN(kx_color_processing_transform_16_bit_output_vector_, KX_SPY_ON, )
#define KX_TERMINATE KX_JOIN(kx_color_processing_vector_, KX_SPY_ON, _module_terminate)

namespace {

thread_local kx_test::vector_spy account;

// The module's own function of this name. Throws when there is none.
template <typename function>
function* find(const char* name)
{
    static const char* const file =
        std::string_view(std::getenv("KX_TEST_VECTOR_LEVEL")) == "512" ? KX_WIDE_MODULE_FILE : KX_MODULE_FILE;
    static const auto& module = *new kx_test::shared_library(file); // never unloaded
    return reinterpret_cast<function*>(module.address_of(name));
}

std::uint32_t pass_on(int output_bits, const char* name, const void* parameters)
{
    account.calls.push_back(output_bits);
    account.converted = find<std::uint32_t(const void*)>(name)(parameters);
    return account.converted;
}

} // namespace

KX_EXPORT kx_test::vector_spy& KX_JOIN(kx_vector_spy_, KX_SPY_ON, )()
{
    return account;
}

extern "C" {

KX_EXPORT std::int32_t KX_INITIALIZE()
{
    return find<std::int32_t()>(KX_TEXT(KX_INITIALIZE))();
}

KX_EXPORT std::uint32_t KX_TRANSFORM_8_BIT(const void* parameters)
{
    return pass_on(8, KX_TEXT(KX_TRANSFORM_8_BIT), parameters);
}

KX_EXPORT std::uint32_t KX_TRANSFORM_16_BIT(const void* parameters)
{
    return pass_on(16, KX_TEXT(KX_TRANSFORM_16_BIT), parameters);
}

KX_EXPORT std::int32_t KX_TERMINATE()
{
    return find<std::int32_t()>(KX_TEXT(KX_TERMINATE))();
}
}
