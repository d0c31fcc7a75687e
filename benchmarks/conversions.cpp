#include "modules.h"
#include "peers.h"
#include "sections.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

namespace kx::benchmarks {

namespace {

constexpr auto planar = kc::pixel_layout::planar_bgr;
constexpr auto bgr = kc::pixel_layout::interleaved_bgr;
constexpr auto rgb = kc::pixel_layout::interleaved_rgb;

constexpr transform_case of_noise[] = {
    {"48 to 48, matrix", 48, rgb, rgb, correction, 0, false, false},
    {"48 to 24, matrix, shift -8", 24, rgb, rgb, correction, -8, false, false},
    {"48 to 64, matrix", 64, rgb, rgb, correction, 0, false, false},
    {"48 to 32, matrix, shift -8", 32, rgb, rgb, correction, -8, false, false},
    {"48 to 48, planar, matrix", 48, planar, planar, correction, 0, false, false},
    {"48 to 48, planar to interleaved, matrix", 48, planar, bgr, correction, 0, false, false},
    {"48 to 24, matrix, output LUTs", 24, rgb, rgb, correction, 0, false, true},
    {"48 to 48, input LUTs, matrix, output LUTs", 48, bgr, bgr, correction, 0, true, true},
    {"48 to 48, bgr to rgb", 48, bgr, rgb, identity, 0, false, false},
    {"48 to 24, bgr to rgb, shift -8", 24, bgr, rgb, identity, -8, false, false},
    {"48 to 48, planar to interleaved", 48, planar, bgr, identity, 0, false, false},
    {"48 to 24, output LUTs", 24, bgr, bgr, identity, 0, false, true},
};

// As a 12-bit camera's frames come to a screen or a file. The last is what a camera profile makes of them.
constexpr transform_case of_photographs[] = {
    {"48 to 24, matrix, shift -4", 24, rgb, rgb, correction, -4, false, false, 12},
    {"48 to 48, input LUTs, matrix", 48, rgb, rgb, correction, 0, true, false, 12},
    {"48 to 24, input LUTs, matrix, output LUTs", 24, rgb, rgb, correction, 0, true, true, 12},
};

// The output begins where its address, modulo the page size, differs from the input's: two streams at the same place of
// their pages slow many machines down, memcpy most of all.
constexpr std::size_t output_offset = 800; // samples; keeps the alignment

contestant by_path(const path& way, const transform_case& what, const image& input, std::uint16_t* output)
{
    return {way.name, [&way, &what, &input, output]() -> call {
                std::unique_ptr<module_in_front> in_front;
                if (!way.module.empty()) {
                    in_front = std::make_unique<module_in_front>(way.module);
                }
                const auto with = std::make_shared<kc::processor>(make_processor(kc::library(), way.level, what));
                return [=, &what, &input] {
                    transform(*with, what, input.samples.data(), output, input.width, input.height);
                };
            }};
}

// As many bytes read and written together as the transform does, half of them each way.
contestant by_memcpy(const transform_case& what, const image& input, std::uint16_t* output)
{
    const std::size_t half = input.pixels() * (48 + static_cast<std::size_t>(what.output_bits)) / 16;
    const std::size_t bytes = std::min(half, input.samples.size() * 2);
    const std::size_t rest = half - bytes; // four samples a pixel are more than the input has
    return {"memcpy", [=, &input] {
                return [=, &input] {
                    std::memcpy(output, input.samples.data(), bytes);
                    std::memcpy(output + bytes / 2, input.samples.data(), rest);
                };
            }};
}

// The same for other libraries, if they have it.
std::optional<peer_task::result> common_task(const transform_case& what)
{
    using result = peer_task::result;
    if (what.matrix != correction || what.input_layout != rgb || what.input_LUTs || what.depth != 16
        || what.output_bits % 32 == 0) {
        return {};
    }
    return what.output_bits == 48 ? result::bits_16 : what.output_LUTs ? result::table : result::bits_8;
}

// How many samples differ between two outputs, as a share, and by how much at most.
template <typename sample>
json differences(const std::vector<std::uint16_t>& ours, const std::vector<std::uint16_t>& theirs, std::size_t count)
{
    const auto* const a = reinterpret_cast<const sample*>(ours.data() + output_offset);
    const auto* const b = reinterpret_cast<const sample*>(theirs.data() + output_offset);
    std::size_t differing = 0;
    int largest = 0;
    for (std::size_t i = 0; i < count; ++i) {
        differing += a[i] != b[i] ? 1 : 0;
        largest = std::max(largest, std::abs(a[i] - b[i]));
    }
    return {{"share", static_cast<double>(differing) / static_cast<double>(count)}, {"largest", largest}};
}

json measure_one(const transform_case& what, const image& input, const std::vector<path>& paths, const effort& how)
{
    std::fprintf(stderr, "  %s; %s\n", what.name, input.name.c_str());
    std::vector<std::uint16_t> output(output_offset + input.pixels() * 4);
    std::vector<contestant> contestants;
    contestants.reserve(paths.size() + 1 + all_peers().size());
    for (const path& way : paths) {
        contestants.push_back(by_path(way, what, input, output.data() + output_offset));
    }
    contestants.push_back(by_memcpy(what, input, output.data() + output_offset));
    const auto task = common_task(what);
    const bool with_peers = task.has_value() && input.pixels() > 100'000;
    json differing = json::object();
    if (with_peers) {
        std::vector<std::uint16_t> theirs(output.size());
        contestants.front().prepare()();
        for (const peer& other : all_peers()) {
            const call theirs_call = other.prepare({*task, input, theirs.data() + output_offset});
            theirs_call();
            const std::size_t samples = input.samples.size();
            differing[other.name] = what.output_bits == 48 ? differences<std::uint16_t>(output, theirs, samples)
                                                           : differences<std::uint8_t>(output, theirs, samples);
            contestants.push_back({other.name, [&, task, prepare = other.prepare] {
                                       return prepare({*task, input, output.data() + output_offset});
                                   }});
        }
    }
    return {{"conversion", what.name},
            {"bits", what.depth},
            {"image", input.name},
            {"pixels", input.pixels()},
            {"seconds", measured(contestants, how)},
            {"differences", differing}};
}

} // namespace

json measured(const std::vector<contestant>& contestants, const effort& how)
{
    const auto seconds = measure(contestants, how);
    json by_name;
    for (std::size_t i = 0; i < contestants.size(); ++i) {
        by_name[contestants[i].name] = seconds[i];
    }
    return by_name;
}

json measure_conversions(const images& all, const effort& how)
{
    const std::vector<path> paths = all_paths();
    json rows = json::array();
    for (const image* const input : {&all.noise, &all.small_noise}) {
        for (const transform_case& what : of_noise) {
            rows.push_back(measure_one(what, *input, paths, how));
        }
    }
    const transform_case& with_tables = of_noise[6];
    for (const image* const input : {&all.photograph_16, &all.frame_16}) {
        rows.push_back(measure_one(with_tables, *input, paths, how));
    }
    for (const image* const input : {&all.photograph, &all.frame}) {
        for (const transform_case& what : of_photographs) {
            rows.push_back(measure_one(what, *input, paths, how));
        }
    }
    json peers = json::object();
    for (const peer& other : all_peers()) {
        peers[other.name] = other.how;
    }
    return {{"rows", rows}, {"peers", peers}};
}

} // namespace kx::benchmarks
