/*
 * The C++ interface of korvex_kvi_color_processing: C++17, header only, on top of the C header, which says what the
 * library does with a pixel.
 *
 *     namespace kc = korvex::color;
 *     const kc::library library;
 *     kc::processor processor(library);
 *     processor.append_matrix({1.6F, -0.4F, -0.2F, -0.3F, 1.5F, -0.2F, 0.0F, -0.5F, 1.5F});
 *     kc::transform_options options;
 *     options.shift = -8; // the high 8 of 16 bits
 *     const kc::image_view from(camera, kc::pixel_layout::interleaved_bgr, width, height);
 *     const kc::image_view to(screen, kc::pixel_layout::interleaved_rgb, width, height);
 *     processor.transform(from, to, options);
 *
 * Errors. What the library refuses is thrown as korvex::color::error, with the status code. What cannot be a view, or
 * cannot be converted into the other view, is thrown as std::invalid_argument (std::out_of_range for parts of a view
 * that lie outside of it). Nothing has been written by then.
 *
 * Threads. Any number of threads may call the const functions of one processor (transform among them), as long as
 * nobody changes it meanwhile; for_each_band gives each a part of an image. Libraries and processors may be
 * made and destroyed at any time, in any order and thread.
 *
 * Only pointers and numbers travel between this header and the library, so that both may come from different compilers.
 */
#ifndef KORVEX_KVI_COLOR_PROCESSING_HPP
#define KORVEX_KVI_COLOR_PROCESSING_HPP

#include "korvex_kvi_color_processing.h"
#include "korvex_kvi_color_processing_functions.hpp"
#include "korvex_kvi_color_processing_images.hpp"
#include "korvex_kvi_color_processing_parts.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace korvex::color {
inline namespace KX_COLOR_VERSION_NAMESPACE {

// A failure that the library reported.
class error : public std::runtime_error {
public:
    static constexpr std::int32_t null_result = -1; // the code where the library returned NULL instead of a code

    error(std::int32_t code, const std::string& what) : std::runtime_error(what), code_(code) {}
    explicit error(std::int32_t code) : error(code, meaning(code)) {}

    // A KX_COLOR_... status code, or null_result.
    [[nodiscard]] std::int32_t code() const noexcept { return code_; }

    // What a status code means, in words.
    static std::string meaning(std::int32_t code)
    {
        constexpr std::pair<std::int32_t, const char*> meanings[] = {
            {KX_COLOR_NOT_INITIALIZED, "the color processing library is not initialized"},
            {KX_COLOR_NULL_PROCESSOR, "there is no color processor (was it moved from?)"},
            {KX_COLOR_NULL_INPUT_BUFFER, "the input buffer is NULL"},
            {KX_COLOR_NULL_OUTPUT_BUFFER, "the output buffer is NULL"},
            {KX_COLOR_IDENTICAL_BUFFERS, "input and output buffer are the same"},
            {KX_COLOR_INVALID_INPUT_FORMAT, "invalid input format"},
            {KX_COLOR_INVALID_OUTPUT_FORMAT, "invalid output format"},
            {KX_COLOR_INVALID_SHIFT_DISTANCE, "a shift distance lies outside -15..15"},
            {KX_COLOR_INVALID_CLAMP_RANGE, "a clamp range has its minimum above its maximum, or its maximum beyond the "
                                           "channel's enabled output LUT"},
        };
        for (const auto& [known, meaning] : meanings) {
            if (known == code) {
                return meaning;
            }
        }
        return "the color processing library failed with status " + std::to_string(code);
    }

private:
    std::int32_t code_;
};

namespace detail {

// For destructors: the library passes on what a companion module throws.
template <typename Call>
void call_at_the_end(const Call& call) noexcept
{
    try {
        call();
    } catch (...) {
        return; // nobody is left to whom it matters
    }
}

// One use of the library's module. The first initializes the module, the last terminates it.
class module_use {
public:
    module_use(const function_table& functions, std::shared_ptr<void> file)
        : file_(std::move(file)), functions_(functions)
    {
        const std::lock_guard<std::mutex> lock(all_->mutex);
        int& users = all_->users[functions_.kx_color_processing_module_initialize];
        if (users == 0 && functions_.kx_color_processing_module_initialize() != KX_COLOR_SUCCESS) {
            functions_.kx_color_processing_module_terminate();
            throw error(KX_COLOR_NOT_INITIALIZED,
                        "the color processing library cannot start: its LUT module, "
                        "korvex_kvi_LUT.so (on Windows .dll), is missing or lacks entry points");
        }
        ++users;
    }
    ~module_use()
    {
        const std::lock_guard<std::mutex> lock(all_->mutex);
        if (--all_->users[functions_.kx_color_processing_module_initialize] == 0) {
            call_at_the_end([this] { functions_.kx_color_processing_module_terminate(); });
        }
    }
    module_use(const module_use&) = delete;
    module_use& operator=(const module_use&) = delete;

    [[nodiscard]] const function_table& functions() const { return functions_; }

private:
    struct all_uses {
        std::mutex mutex;
        std::map<decltype(function_table::kx_color_processing_module_initialize), int> users; // of each loaded library
    };
    static const std::shared_ptr<all_uses>& all_uses_so_far()
    {
        static const auto all = std::make_shared<all_uses>();
        return all;
    }

    std::shared_ptr<all_uses> all_ = all_uses_so_far(); // shared, because static objects may use the library
    std::shared_ptr<void> file_;                        // let go of after the last call
    function_table functions_;
};

} // namespace detail

// The library, initialized for as long as this object, a copy of it or a processor made with it lives. Several may
// exist at once. (Every program and shared library that includes this header counts its own; they do not disturb
// each other.)
class library {
public:
    // The library that the program is linked with. Throws error when its LUT module is missing.
    library() : library(function_table::linked()) {}

    // A library that was loaded at run time. The host's shared pointer to it (whatever unloads it when it goes) is kept
    // until the last call was made.
    explicit library(const function_table& functions, std::shared_ptr<void> file = nullptr)
        : use_(std::make_shared<const detail::module_use>(functions, std::move(file)))
    {
    }

private:
    friend class processor;
    std::shared_ptr<const detail::module_use> use_;
};

enum class channel { blue, green, red };

// One value for each channel. A single value stands for all three.
template <typename T>
struct per_channel {
    T blue{};
    T green{};
    T red{};

    constexpr per_channel() = default;
    // NOLINTNEXTLINE(google-explicit-constructor)
    constexpr per_channel(T all) : blue(all), green(all), red(all) {}
    constexpr per_channel(T for_blue, T for_green, T for_red) : blue(for_blue), green(for_green), red(for_red) {}
    // One range for all three: {0, 4095}.
    template <typename Range = T>
    constexpr per_channel(decltype(Range::minimum) minimum, decltype(Range::maximum) maximum)
        : per_channel(Range{minimum, maximum})
    {
    }

    constexpr T& operator[](channel which) { return of(*this, which); }
    constexpr const T& operator[](channel which) const { return of(*this, which); }

private:
    template <typename Self>
    static constexpr auto& of(Self& self, channel which)
    {
        return which == channel::blue ? self.blue : which == channel::green ? self.green : self.red;
    }
};

// Where a channel's enabled output LUT has fewer entries, this maximum means the last of them.
inline constexpr std::uint16_t no_limit = 65535;

struct clamp_range {
    std::uint16_t minimum = 0;
    std::uint16_t maximum = no_limit;
};

// What a transform does besides matrix and LUTs. The defaults change nothing.
struct transform_options {
    per_channel<clamp_range> clamp;
    per_channel<std::int32_t> shift; // -15..15, positive to the left
    bool check_samples = false;      // refuse images with samples beyond an enabled input LUT; takes a pass of its own
    bool check_overlap = true;       // refuse images that may overlap, for hosts that do not know that theirs are apart
};

// A sample of an image: where it is, and its value.
struct image_sample {
    std::size_t x;
    std::size_t y;
    color::channel channel;
    std::uint16_t value;
};

// One LUT of a processor, in the library's memory: it lives as long as the processor.
class LUT_range {
public:
    LUT_range(std::uint32_t* data, std::size_t size) : data_(data), size_(size) {}

    [[nodiscard]] std::uint32_t* begin() const { return data_; }
    [[nodiscard]] std::uint32_t* end() const { return data_ + size_; }
    [[nodiscard]] std::uint32_t* data() const { return data_; }
    [[nodiscard]] std::size_t size() const { return size_; }
    std::uint32_t& operator[](std::size_t index) const { return data_[index]; }

private:
    std::uint32_t* data_;
    std::size_t size_;
};

struct processor_options {
    std::int32_t input_LUT_bit_depth = 16;    // 0..16; an input LUT has 2^depth entries, one for each possible sample
    std::int32_t output_LUT_bit_depth = 16;   // 0..16; an output LUT has 2^depth entries
    std::optional<std::int32_t> vector_level; // a KX_COLOR_VECTOR_LEVEL_..., for tests; else what the machine can do
};

// Nine values, row by row: rows are output red, green, blue; columns input red, green, blue.
using matrix = std::array<float, 9>;

// A color processor: matrix, LUTs and their switches. Calls on one that was moved from throw error.
class processor {
public:
    // Throws error when the library creates none: its options are out of range, or memory or the LUT module failed.
    explicit processor(const library& lib, const processor_options& options = {})
        : handle_(nullptr, destroyer{lib.use_}), options_(options)
    {
        if (lib.use_ == nullptr) {
            throw error(KX_COLOR_NOT_INITIALIZED);
        }
        const std::int32_t input = options.input_LUT_bit_depth;
        const std::int32_t output = options.output_LUT_bit_depth;
        const function_table& functions = lib.use_->functions();
        handle_.reset(options.vector_level
                          ? functions.kx_color_create_color_processor_test(input, output, *options.vector_level)
                          : functions.kx_color_create_color_processor(input, output));
        if (handle_ == nullptr) {
            const auto in_range = [](std::int32_t depth) {
                return depth >= KX_COLOR_MIN_LUT_BIT_DEPTH && depth <= KX_COLOR_MAX_LUT_BIT_DEPTH;
            };
            throw error(error::null_result,
                        in_range(input) && in_range(output)
                            ? "no color processor could be created (the library's log has the reason)"
                            : "a LUT's bit depth lies outside 0..16");
        }
    }

    // Multiplies a matrix into the processor's on the right: the one appended last acts on a pixel first.
    void append_matrix(const matrix& values)
    {
        check(functions().kx_color_append_matrix(handle_.get(), values.data()));
    }

    // Back to the identity.
    void clear_matrix() { check(functions().kx_color_clear_matrix(handle_.get())); }

    // The entries of a LUT, to be filled in place, zero at first.
    [[nodiscard]] LUT_range input_LUT(channel which)
    {
        const function_table& kx = functions();
        return LUT(per_channel<LUT_getter>(kx.kx_color_get_blue_input_LUT, kx.kx_color_get_green_input_LUT,
                                           kx.kx_color_get_red_input_LUT)[which],
                   options_.input_LUT_bit_depth);
    }
    [[nodiscard]] LUT_range output_LUT(channel which)
    {
        const function_table& kx = functions();
        return LUT(per_channel<LUT_getter>(kx.kx_color_get_blue_output_LUT, kx.kx_color_get_green_output_LUT,
                                           kx.kx_color_get_red_output_LUT)[which],
                   options_.output_LUT_bit_depth);
    }

    // Switches LUTs on or off, all three at once.
    void enable_input_LUTs(const per_channel<bool>& enabled)
    {
        check(functions().kx_color_enable_input_LUTs(handle_.get(), enabled.blue, enabled.green, enabled.red));
        input_LUTs_enabled_ = enabled;
    }
    void enable_output_LUTs(const per_channel<bool>& enabled)
    {
        check(functions().kx_color_enable_output_LUTs(handle_.get(), enabled.blue, enabled.green, enabled.red));
        output_LUTs_enabled_ = enabled;
    }
    [[nodiscard]] const per_channel<bool>& input_LUTs_enabled() const { return input_LUTs_enabled_; }
    [[nodiscard]] const per_channel<bool>& output_LUTs_enabled() const { return output_LUTs_enabled_; }

    // What it was made with.
    [[nodiscard]] const processor_options& options() const { return options_; }

    // Converts input, of 3 channels, into output, which has as many rows and columns but does not overlap it.
    //
    // Contiguous images take one call of the library, images with pitched or mirrored rows one call a row. What the
    // library's formats cannot express, such as parts of planar images, planes that begin with red, or every second
    // column, goes through a small buffer piece by piece, and so do narrow rows, for the sake of speed.
    //
    // Throws std::invalid_argument for images that do not fit together, error for options out of range. Images that
    // interleave in memory (rows with rows, columns with columns) count as overlapping where that cannot be told apart.
    void transform(const image_view<const std::uint16_t>& input, const image_view<std::uint16_t>& output,
                   const transform_options& options = {}) const
    {
        const function_table& kx = functions();
        convert(output.channels() == 4 ? kx.kx_color_transform_48_to_64 : kx.kx_color_transform_48_to_48, input, output,
                options);
    }
    void transform(const image_view<const std::uint16_t>& input, const image_view<std::uint8_t>& output,
                   const transform_options& options = {}) const
    {
        const function_table& kx = functions();
        convert(output.channels() == 4 ? kx.kx_color_transform_48_to_32 : kx.kx_color_transform_48_to_24, input, output,
                options);
    }

    // Throws std::invalid_argument if a sample of the image lies beyond its channel's enabled input LUT.
    void check_samples(const image_view<const std::uint16_t>& input) const
    {
        if (const auto beyond = first_sample_beyond(input)) {
            throw std::invalid_argument(
                std::string("a ") + per_channel<const char*>("blue", "green", "red")[beyond->channel] + " sample of "
                + std::to_string(beyond->value) + " in row " + std::to_string(beyond->y)
                + " lies beyond the input LUT, whose last entry is " + std::to_string(input_LUT_entries() - 1));
        }
    }

    // The first row's first sample beyond its channel's enabled input LUT: blue before green and red.
    [[nodiscard]] std::optional<image_sample> first_sample_beyond(const image_view<const std::uint16_t>& input) const
    {
        static_cast<void>(functions()); // throws for a processor that was moved from
        const std::size_t entries = input_LUT_entries();
        const auto& [blue, green, red] = input_LUTs_enabled_;
        if (entries > 65535 || !(blue || green || red) || input.empty()) {
            return {};
        }
        // Most images, and most rows, need no closer look.
        const auto is_within = [entries](const image_view<const std::uint16_t>& part) {
            const auto samples = part.contiguous();
            return samples && detail::bits_of(samples->data, part.width() * part.height() * 3) < entries;
        };
        for (std::size_t y = 0; y < input.height() && !(y == 0 && is_within(input)); ++y) {
            for (std::size_t c = 0; c < 3 && !(c == 0 && is_within(input.rows(y, 1))); ++c) {
                const auto which = static_cast<channel>(c);
                if (!input_LUTs_enabled_[which]) {
                    continue;
                }
                for (std::size_t x = 0; x < input.width(); ++x) {
                    std::uint16_t sample;
                    std::memcpy(&sample, input.at(x, y, c), sizeof(sample)); // aligned or not
                    if (sample >= entries) {
                        return image_sample{x, y, which, sample};
                    }
                }
            }
        }
        return {};
    }

    // The processor's handle for calls of the C functions; the LUTs' switches are set through this object alone.
    [[nodiscard]] kx_color_processor* handle() const { return handle_.get(); }

private:
    using LUT_getter = decltype(function_table::kx_color_get_blue_input_LUT);

    struct destroyer {
        std::shared_ptr<const detail::module_use> use;
        void operator()(kx_color_processor* handle) const
        {
            detail::call_at_the_end([&] { use->functions().kx_color_destroy_color_processor(handle); });
        }
    };

    static void check(std::int32_t status)
    {
        if (status != KX_COLOR_SUCCESS) {
            throw error(status);
        }
    }

    [[nodiscard]] std::size_t input_LUT_entries() const { return std::size_t{1} << options_.input_LUT_bit_depth; }

    [[nodiscard]] const function_table& functions() const
    {
        if (handle_ == nullptr) {
            throw error(KX_COLOR_NULL_PROCESSOR);
        }
        return handle_.get_deleter().use->functions();
    }

    [[nodiscard]] LUT_range LUT(LUT_getter get, std::int32_t bit_depth) const
    {
        std::uint32_t* const entries = get(handle_.get());
        if (entries == nullptr) {
            throw error(KX_COLOR_NOT_INITIALIZED);
        }
        return {entries, std::size_t{1} << bit_depth};
    }

    template <typename Function, typename Sample>
    void convert(Function* function, const image_view<const std::uint16_t>& input, const image_view<Sample>& output,
                 const transform_options& options) const
    {
        detail::require(input.channels() == 3, "the input image has a fourth channel");
        detail::require(input.width() == output.width() && input.height() == output.height(),
                        "input and output image differ in size");
        if (options.check_overlap) {
            detail::require_apart(input, output);
        }
        if (options.check_samples) {
            check_samples(input);
        }
        per_channel<clamp_range> clamp = options.clamp;
        for (const channel each : {channel::blue, channel::green, channel::red}) {
            if (output_LUTs_enabled_[each] && clamp[each].maximum == no_limit) {
                clamp[each].maximum = static_cast<std::uint16_t>((1U << options_.output_LUT_bit_depth) - 1);
            }
        }
        const auto call = [&](const auto& from, const auto& to, std::int32_t pixel_count) {
            check(function(handle_.get(), from.data, static_cast<std::int32_t>(from.layout), clamp.blue.minimum,
                           clamp.blue.maximum, clamp.green.minimum, clamp.green.maximum, clamp.red.minimum,
                           clamp.red.maximum, options.shift.blue, options.shift.green, options.shift.red, to.data,
                           static_cast<std::int32_t>(to.layout), pixel_count));
        };
        detail::convert_in_pieces(input, output, call);
    }

    std::unique_ptr<kx_color_processor, destroyer> handle_;
    processor_options options_;
    per_channel<bool> input_LUTs_enabled_;
    per_channel<bool> output_LUTs_enabled_;
};

} // namespace KX_COLOR_VERSION_NAMESPACE
} // namespace korvex::color

#endif // KORVEX_KVI_COLOR_PROCESSING_HPP
