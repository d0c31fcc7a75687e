#include "harness.h"

#include "platform/architecture.h"
#include "processor.h"
#include "reference.h"
#include "vector_spy.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string_view>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace kx_test {

namespace {

// The largest vector of pixels that a module may work in.
constexpr std::int64_t most_left_over = 32;

std::string_view wanted_level()
{
    const char* const text = std::getenv("KX_TEST_VECTOR_LEVEL");
    return text != nullptr ? text : "";
}

bool machine_supports(int level)
{
    return wanted_level() == "512" ? kx::verify::processor_has_512_bits() : kx::verify::processor_has(level);
}

// From that of level 1 on.
std::vector<vector_spy*> spies()
{
    if constexpr (kx::platform::on_arm64) {
        return {&kx_vector_spy_neon()};
    } else {
        return {&kx_vector_spy_sse(), &kx_vector_spy_avx2()};
    }
}

// What the vector modules' part in this thread's last transform was, unless it was as it should be.
std::string wrong_path(const pixel_case& wanted)
{
    int level = KX_COLOR_VECTOR_LEVEL_SCALAR;
    for (const vector_spy* const of_level : spies()) {
        const vector_spy& spy = *of_level;
        const bool meant = ++level == vector_level();
        const std::int64_t left_over = std::max(wanted.pixel_count, 0) - std::int64_t{spy.converted};
        if (spy.calls != (meant ? std::vector{wanted.choices.output_bits} : std::vector<int>{})
            || (meant && (left_over < 0 || left_over > most_left_over))) {
            return "the vector module of level " + std::to_string(level) + " was called "
                   + std::to_string(spy.calls.size()) + " times and left over " + std::to_string(left_over) + " pixels";
        }
    }
    return {};
}

std::uint8_t* placed(const guarded_buffer& buffer, const placement& at, std::size_t bytes, int sample_bits)
{
    const std::size_t gap = at.distance * static_cast<std::size_t>(sample_bits / 8);
    if (bytes + gap > buffer.size()) {
        throw std::length_error("the harness was made for fewer pixels");
    }
    return at.at_end ? buffer.end() - bytes - gap : buffer.begin() + gap;
}

} // namespace

int vector_level()
{
    const std::string_view level = wanted_level();
    if (level == "512") {
        return KX_COLOR_VECTOR_LEVEL_AVX2;
    }
    if (level != "0" && level != "1" && level != "2") {
        throw std::runtime_error("KX_TEST_VECTOR_LEVEL must be 0, 1, 2 or 512");
    }
    return level.front() - '0';
}

void pixel_test::SetUp()
{
#if defined(__GLIBC__)
    mallopt(M_PERTURB, 90); // no freed memory keeps entries that would still pass for right
#endif
    ASSERT_EQ(kx_color_processing_module_initialize(), KX_COLOR_SUCCESS);
    if (!machine_supports(vector_level())) {
        GTEST_SKIP() << "This machine's processor lacks the instructions of vector level " << vector_level() << '.';
    }
}

void pixel_test::TearDown()
{
    EXPECT_EQ(kx_color_processing_module_terminate(), KX_COLOR_SUCCESS);
}

pixel_harness::pixel_harness(std::int32_t largest_pixel_count)
    : input_(static_cast<std::size_t>(largest_pixel_count) * 6 + 128),
      output_(static_cast<std::size_t>(largest_pixel_count) * 8 + 128), expected_(output_.size())
{
}

testing::AssertionResult pixel_harness::run(const test_processor& processor, const pixel_case& wanted)
{
    processor.configure(wanted);
    return transform(processor, wanted);
}

testing::AssertionResult pixel_harness::transform(const test_processor& processor, const pixel_case& wanted)
{
    const combination& choices = wanted.choices;
    const std::size_t bytes = wanted.samples.size() / 3 * static_cast<std::size_t>(choices.bytes_per_pixel());
    std::uint8_t* const output = placed(output_, wanted.output, bytes, choices.output_bits);
    auto* const input = reinterpret_cast<std::uint16_t*>(placed(input_, wanted.input, wanted.samples.size() * 2, 16));
    std::copy(wanted.samples.begin(), wanted.samples.end(), input);

    constexpr std::uint8_t untouched = 0xA5;
    std::fill(output_.begin(), output_.end(), untouched);
    std::fill(expected_.begin(), expected_.end(), untouched);
    reference_convert(wanted, processor.LUTs(), expected_.data() + (output - output_.begin()));

    for (vector_spy* const spy : spies()) {
        spy->calls.clear();
    }
    const std::int32_t status = processor.transform(wanted, input, output);
    if (status != KX_COLOR_SUCCESS) {
        return testing::AssertionFailure() << "status " << status << "\n  " << describe(wanted);
    }
    if (const std::string wrong = wrong_path(wanted); !wrong.empty()) {
        return testing::AssertionFailure() << wrong << "\n  " << describe(wanted);
    }
    if (!std::equal(wanted.samples.begin(), wanted.samples.end(), input)) {
        return testing::AssertionFailure() << "the input was changed\n  " << describe(wanted);
    }
    if (std::memcmp(output_.begin(), expected_.data(), expected_.size()) != 0) {
        const auto differing = std::mismatch(expected_.begin(), expected_.end(), output_.begin());
        return testing::AssertionFailure()
               << "byte " << differing.second - output << " of " << bytes << " is " << int{*differing.second}
               << ", should be " << int{*differing.first} << "\n  " << describe(wanted);
    }
    return testing::AssertionSuccess();
}

} // namespace kx_test
