#include "description.h"

#include <nlohmann/json.hpp>
#include <pugixml.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <map>
#include <numeric>
#include <set>
#include <span>
#include <sstream>
#include <string_view>
#include <vector>

namespace kx::images {

namespace {

using json = nlohmann::ordered_json;

using namespace std::string_literals;

constexpr std::string_view imagej_start = "ImageJ=";

std::string_view local_name(const pugi::xml_node& node)
{
    const std::string_view name = node.name();
    const std::size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

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

// The value behind a name in ImageJ's notes, which are lines of names and values.
std::optional<std::string> imagej_value(const std::string& text, const std::string& name)
{
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(name + '=')) {
            return line.substr(name.size() + 1, line.find_last_not_of('\r') - name.size());
        }
    }
    return std::nullopt;
}

std::optional<std::uint64_t> imagej_pages(const std::string& text)
{
    const std::string number = imagej_value(text, "images").value_or("");
    std::uint64_t pages = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), pages);
    return error == std::errc() ? std::optional(pages) : std::nullopt;
}

std::string corrected_imagej(const std::string& text, const described_output& output)
{
    const std::set<std::string_view> of_pages{"images", "channels", "slices", "frames", "hyperstack"};
    const std::set<std::string_view> of_samples{"min", "max", "mode"};
    // The text may also be older than the file.
    const auto said = imagej_pages(text);
    const bool same_pages = output.same_pages && said.value_or(output.input_pages) == output.input_pages;
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        const auto name = std::string_view(line).substr(0, line.find('='));
        if ((same_pages || !of_pages.contains(name)) && (output.same_samples || !of_samples.contains(name))) {
            result += line + '\n';
        }
        if (name == "images" && !same_pages) {
            result += "images=" + std::to_string(output.pages) + '\n';
        }
    }
    return result;
}

// A prefix may stand for the namespace.
bool is_ome(const std::string& text)
{
    pugi::xml_document document;
    return text.find("OME") != std::string::npos && document.load_buffer(text.data(), text.size())
           && local_name(document.document_element()) == "OME";
}

// Pages that were picked are no longer what the axes said: they count as moments.
void describe_picked(pugi::xml_node pixels, const described_output& output)
{
    for (const char* const name : {"TiffData", "Plane"}) {
        for (const pugi::xpath_node& found : pixels.select_nodes(("*[local-name()='"s + name + "']").c_str())) {
            pixels.remove_child(found.node());
        }
    }
    const std::string name = pixels.name();
    const std::string prefix = name.substr(0, name.find(':') == std::string::npos ? 0 : name.find(':') + 1);
    pugi::xml_node data = pixels.append_child((prefix + "TiffData").c_str());
    data.append_attribute("IFD") = 0;
    data.append_attribute("PlaneCount") = output.pages;
    pixels.attribute("SizeZ") = 1;
    pixels.attribute("SizeC") = 3;
    pixels.attribute("SizeT") = output.pages;
}

std::optional<std::string> corrected_ome(const std::string& text, const described_output& output)
{
    pugi::xml_document document;
    constexpr unsigned keep_all = pugi::parse_full | pugi::parse_ws_pcdata;
    if (!document.load_buffer(text.data(), text.size(), keep_all) || output.channels != 3) {
        return std::nullopt;
    }
    // Identities belong to the input file, whose name they give. Those of other files tell of pages that are not here.
    std::set<std::string> files;
    const auto uuids = document.select_nodes("//*[local-name()='TiffData']/*[local-name()='UUID']");
    for (const pugi::xpath_node& uuid : uuids) {
        files.insert(uuid.node().attribute("FileName").value());
        uuid.parent().remove_child(uuid.node());
    }
    const auto images = document.select_nodes("//*[local-name()='Pixels']");
    const bool is_elsewhere = !document.select_nodes("//*[local-name()='BinaryOnly']").empty();
    if (files.size() > 1 || is_elsewhere || (!output.same_pages && images.size() != 1)) {
        return std::nullopt;
    }
    document.document_element().remove_attribute("UUID");
    for (const pugi::xpath_node& found : images) {
        pugi::xml_node pixels = found.node();
        const std::string type = "uint" + std::to_string(output.bits);
        pixels.attribute("Type").set_value(type.c_str());
        pixels.attribute("BigEndian").set_value(false);
        pixels.attribute("Interleaved").set_value(!output.planar);
        if (!output.same_samples) {
            pixels.remove_attribute("SignificantBits");
        }
        if (!output.same_pages) {
            describe_picked(pixels, output);
        }
    }
    // It is written as UTF-8, whatever it was.
    for (pugi::xml_node node : document.children()) {
        if (pugi::xml_attribute encoding = node.attribute("encoding");
            node.type() == pugi::node_declaration && encoding) {
            encoding.set_value("UTF-8");
        }
    }
    std::ostringstream result;
    document.save(result, "", pugi::format_raw);
    return result.str();
}

std::optional<std::string> corrected(const std::string& text, const described_output& output)
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
    if (description.starts_with(imagej_start)) {
        return {.pages = imagej_pages(description).value_or(1)};
    }
    return {};
}

metadata take_file_notes(metadata& first_page)
{
    metadata notes;
    const std::string* const text = first_page.description();
    if (text == nullptr || (!is_ome(*text) && !text->starts_with(imagej_start) && parse_shaped(*text).is_null())) {
        return notes;
    }
    notes.texts.emplace_back(description_keyword, *text);
    notes.pixels_per_length = first_page.pixels_per_length;
    std::erase_if(first_page.texts, [](const auto& entry) { return entry.first == description_keyword; });
    const auto is_of_stack = [](const tiff_tag& tag) {
        return tag.tag == imagej_counts_tag || tag.tag == imagej_values_tag;
    };
    std::ranges::copy_if(first_page.tags, std::back_inserter(notes.tags), is_of_stack);
    std::erase_if(first_page.tags, is_of_stack);
    return notes;
}

void correct_description(metadata& about, const described_output& output, ledger& losses, std::uint32_t page)
{
    std::erase_if(about.texts, [&](auto& entry) {
        if (entry.first != description_keyword) {
            return false;
        }
        const auto text = corrected(entry.second, output);
        if (!text) {
            losses.enter(loss::dropped, "the description, which would no longer hold", page);
            return true;
        }
        if (!output.same_pages && *text != entry.second) {
            losses.enter(loss::changed, "the description, whose axes do not hold for the picked pages", page);
        }
        entry.second = *text;
        return false;
    });
}

void add_file_notes(metadata& first_page, const metadata& notes, const described_output& output, ledger& losses)
{
    metadata corrected_notes = notes;
    correct_description(corrected_notes, output, losses, 1);
    if (const std::string* const text = corrected_notes.description(); text != nullptr) {
        std::erase_if(first_page.texts, [](const auto& entry) { return entry.first == description_keyword; });
        first_page.texts.emplace_back(description_keyword, *text);
    }
    if (!first_page.pixels_per_length) {
        first_page.pixels_per_length = notes.pixels_per_length;
    }
    if (output.same_pages) {
        std::ranges::copy(notes.tags, std::back_inserter(first_page.tags));
    } else if (!notes.tags.empty()) {
        losses.enter(loss::dropped, "ImageJ's labels and overlays, which count the stack's pages", 1);
    }
}

std::optional<double> imagej_unit(const std::string& description)
{
    if (!description.starts_with(imagej_start)) {
        return std::nullopt;
    }
    // The micro sign comes in ISO 8859-1, in UTF-8, as a Greek letter and escaped.
    static const std::map<std::string_view, double> units{
        {"nm", 1e-9},        {"nanometer", 1e-9}, {"um", 1e-6},     {"\xB5m", 1e-6},   {"\xC2\xB5m", 1e-6},
        {"\xCE\xBCm", 1e-6}, {"\\u00B5m", 1e-6},  {"micron", 1e-6}, {"microns", 1e-6}, {"micrometer", 1e-6},
        {"mm", 1e-3},        {"cm", 1e-2},        {"m", 1.0},       {"inch", 0.0254},  {"in", 0.0254}};
    const auto found = units.find(imagej_value(description, "unit").value_or(""));
    return found != units.end() ? std::optional(found->second) : std::nullopt;
}

} // namespace kx::images
