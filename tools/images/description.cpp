#include "description.h"

#include <nlohmann/json.hpp>
#include <pugixml.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <numeric>
#include <set>
#include <span>
#include <sstream>
#include <string_view>
#include <vector>

namespace kx::images {

namespace {

using json = nlohmann::ordered_json;

constexpr std::string_view imagej_start = "ImageJ=";

// tifffile's notes are a JSON object with the array's shape.
json parse_shaped(const std::string& text)
{
    json note = text.starts_with('{') ? json::parse(text, nullptr, false) : json();
    const bool is_shaped = note.is_object() && note.contains("shape") && note["shape"].is_array()
                           && !note["shape"].empty()
                           && std::ranges::all_of(note["shape"], [](const json& n) { return n.is_number_unsigned(); });
    return is_shaped ? note : json();
}

std::optional<std::string> corrected_shaped(json note, const described_output& output)
{
    // The last three sizes are a page's; those before count the pages, whatever they are: time, position, focus.
    const auto sizes = note["shape"].get<std::vector<std::uint64_t>>();
    if (sizes.size() < 3) {
        return std::nullopt;
    }
    const auto page = std::span(sizes).last(3);
    std::vector<std::uint64_t> shape(sizes.begin(), sizes.end() - 3);
    const bool contiguous = page[0] == output.height && page[1] == output.width;
    const bool planar = page[1] == output.height && page[2] == output.width;
    const std::uint64_t pages = std::accumulate(shape.begin(), shape.end(), std::uint64_t{1}, std::multiplies());
    if ((!contiguous && !planar) || (pages != 1 && !output.same_pages && pages != output.input_pages)) {
        return std::nullopt;
    }
    if (pages != 1 && !output.same_pages) {
        shape = {output.pages};
        note.erase("axes");
    }
    const std::uint64_t channels = output.channels;
    const auto written = output.planar ? std::array<std::uint64_t, 3>{channels, output.height, output.width}
                                       : std::array<std::uint64_t, 3>{output.height, output.width, channels};
    shape.insert(shape.end(), written.begin(), written.end());
    if (!std::ranges::equal(written, page)) {
        note.erase("axes");
    }
    note["shape"] = shape;
    note.erase("truncated");
    return note.dump(-1, ' ', true);
}

// ImageJ's notes are lines of names and values.
std::string corrected_imagej(const std::string& text, const described_output& output)
{
    const std::set<std::string_view> of_pages{"images", "channels", "slices", "frames", "hyperstack"};
    const std::set<std::string_view> of_samples{"min", "max", "mode"};
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        const auto name = std::string_view(line).substr(0, line.find('='));
        if ((output.same_pages || !of_pages.contains(name)) && (output.same_samples || !of_samples.contains(name))) {
            result += line + '\n';
        }
        if (name == "images" && !output.same_pages) {
            result += "images=" + std::to_string(output.pages) + '\n';
        }
    }
    return result;
}

std::optional<std::string> corrected_ome(const std::string& text, const described_output& output)
{
    pugi::xml_document document;
    constexpr unsigned keep_all = pugi::parse_full | pugi::parse_ws_pcdata;
    if (!document.load_buffer(text.data(), text.size(), keep_all) || !output.same_pages || output.channels != 3) {
        return std::nullopt;
    }
    // Identities belong to the input file, whose name they give. Those of other files tell of pages that are not here.
    std::set<std::string> files;
    const auto uuids = document.select_nodes("//*[local-name()='TiffData']/*[local-name()='UUID']");
    for (const pugi::xpath_node& uuid : uuids) {
        files.insert(uuid.node().attribute("FileName").value());
        uuid.parent().remove_child(uuid.node());
    }
    if (files.size() > 1) {
        return std::nullopt;
    }
    document.document_element().remove_attribute("UUID");
    for (const pugi::xpath_node& found : document.select_nodes("//*[local-name()='Pixels']")) {
        pugi::xml_node pixels = found.node();
        const std::string type = "uint" + std::to_string(output.bits);
        pixels.attribute("Type").set_value(type.c_str());
        pixels.attribute("BigEndian").set_value(false);
        pixels.attribute("Interleaved").set_value(!output.planar);
        if (!output.same_samples) {
            pixels.remove_attribute("SignificantBits");
        }
    }
    std::ostringstream result;
    document.save(result, "", pugi::format_raw);
    return result.str();
}

bool is_ome(const std::string& text)
{
    return text.starts_with('<') && text.find("<OME") != std::string::npos;
}

} // namespace

described_stack describe_stack(const std::string& description, std::uint64_t page_samples)
{
    if (const json note = parse_shaped(description); !note.is_null()) {
        if (note.value("truncated", json()) != true) {
            return {};
        }
        std::uint64_t samples = 1;
        for (const json& size : note["shape"]) {
            const auto factor = size.get<std::uint64_t>();
            samples = factor != 0 && samples > UINT64_MAX / factor ? UINT64_MAX : samples * factor;
        }
        return {samples / page_samples, true};
    }
    const std::size_t place = description.find("\nimages=");
    if (description.starts_with(imagej_start) && place != std::string::npos) {
        described_stack stack;
        const char* const number = description.data() + place + 8;
        std::from_chars(number, description.data() + description.size(), stack.pages);
        return stack;
    }
    return {};
}

std::optional<std::string> corrected_description(const std::string& text, const described_output& output)
{
    if (is_ome(text)) {
        return corrected_ome(text, output);
    }
    if (text.starts_with(imagej_start)) {
        return corrected_imagej(text, output);
    }
    const json note = parse_shaped(text);
    return note.is_null() ? std::optional(text) : corrected_shaped(note, output);
}

} // namespace kx::images
