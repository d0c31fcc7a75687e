#include "channel_pages.h"

#include "description.h"

#include <pugixml.hpp>

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cstdlib>
#include <iterator>
#include <map>
#include <span>
#include <sstream>
#include <string_view>

namespace kx::images {

namespace {

// The numbers of the pages that are red, green and blue.
using color_page = std::array<std::uint32_t, 3>;

struct color_stack {
    std::vector<color_page> pages;
    std::string description; // of these, in place of the grey pages'
};

// Which colour each channel is, 0 red, 1 green, 2 blue, turned round: which channel each colour is. Nothing unless they
// are these three.
std::optional<color_page> channels_of_colors(const std::vector<std::optional<std::uint32_t>>& colors)
{
    color_page channels{3, 3, 3};
    for (std::uint32_t channel = 0; channel < colors.size(); ++channel) {
        if (colors[channel] && colors.size() == channels.size()) {
            channels.at(*colors[channel]) = channel;
        }
    }
    return std::ranges::count(channels, 3U) == 0 ? std::optional(channels) : std::nullopt;
}

// Places of planes in a stack whose axes follow each other in an order such as CZT, the first one fastest.
class stack_axes {
public:
    stack_axes(std::string order, std::map<char, std::uint64_t> sizes)
        : order_(std::move(order)), sizes_(std::move(sizes))
    {
        for (const char axis : order_) {
            steps_[axis] = count_;
            count_ *= std::min(sizes_[axis], most);
        }
    }

    [[nodiscard]] std::uint64_t count() const { return count_; }

    [[nodiscard]] std::uint64_t place(std::uint64_t c, std::uint64_t z, std::uint64_t t) const
    {
        return c * steps_.at('C') + z * steps_.at('Z') + t * steps_.at('T');
    }

    [[nodiscard]] std::vector<color_page> color_pages(const color_page& channels) const
    {
        std::vector<color_page> pages;
        for (std::uint64_t t = 0; t < sizes_.at('T'); ++t) {
            for (std::uint64_t z = 0; z < sizes_.at('Z'); ++z) {
                color_page& page = pages.emplace_back();
                std::ranges::transform(channels, page.begin(),
                                       [&](auto channel) { return static_cast<std::uint32_t>(place(channel, z, t)); });
            }
        }
        std::ranges::sort(pages); // in the order of the file, whichever of Z and T is faster
        return pages;
    }

private:
    static constexpr std::uint64_t most = 1 << 20; // so that three of them multiply

    std::string order_;
    std::map<char, std::uint64_t> sizes_;
    std::map<char, std::uint64_t> steps_;
    std::uint64_t count_ = 1;
};

// By its name, or by the colour that it is shown in if it has none.
std::optional<std::uint32_t> color_of(const pugi::xml_node& channel)
{
    std::string name = channel.attribute("Name").value();
    std::ranges::transform(name, name.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    constexpr std::array<std::string_view, 3> names{"red", "green", "blue"};
    constexpr std::array<std::uint32_t, 3> shown{0xFF0000, 0x00FF00, 0x0000FF}; // before eight bits of opacity
    const auto rgba = static_cast<std::uint32_t>(channel.attribute("Color").as_llong(0));
    for (std::uint32_t color = 0; color < names.size(); ++color) {
        const bool named = name == names.at(color) || name == names.at(color).substr(0, 1);
        if (named || (name.empty() && rgba >> 8U == shown.at(color))) {
            return color;
        }
    }
    return std::nullopt;
}

pugi::xpath_node_set children(const pugi::xml_node& node, const char* name)
{
    return node.select_nodes(("*[local-name()='" + std::string(name) + "']").c_str());
}

std::optional<color_stack> by_ome(const std::string& text, std::uint64_t page_count)
{
    pugi::xml_document document;
    if (!document.load_buffer(text.data(), text.size(), pugi::parse_full | pugi::parse_ws_pcdata)) {
        return std::nullopt;
    }
    const auto images =
        document.select_nodes("/*[local-name()='OME']/*[local-name()='Image']/*[local-name()='Pixels']");
    if (images.size() != 1) {
        return std::nullopt;
    }
    pugi::xml_node pixels = images.first().node();
    std::vector<std::optional<std::uint32_t>> colors;
    const auto channels = children(pixels, "Channel");
    for (const pugi::xpath_node& channel : channels) {
        colors.push_back(color_of(channel.node()));
    }
    const auto channel_of = channels_of_colors(colors);
    const std::string order = pixels.attribute("DimensionOrder").as_string("XYZCT");
    if (!channel_of || order.size() != 5 || !order.starts_with("XY")) {
        return std::nullopt;
    }
    std::map<char, std::uint64_t> sizes;
    for (const char axis : {'C', 'Z', 'T'}) {
        sizes[axis] = pixels.attribute((std::string("Size") + axis).c_str()).as_ullong();
    }
    const stack_axes axes(order.substr(2), sizes);
    if (sizes['C'] != 3 || axes.count() != page_count) {
        return std::nullopt;
    }
    for (const pugi::xpath_node& found : children(pixels, "TiffData")) { // the planes must follow each other
        const auto number = [&](const char* name) { return found.node().attribute(name).as_ullong(); };
        if (number("IFD") != axes.place(number("FirstC"), number("FirstZ"), number("FirstT"))) {
            return std::nullopt;
        }
    }

    // One channel of three samples is left, and as many planes as there are colour pages.
    pugi::xml_node channel = channels.first().node();
    for (const pugi::xpath_node& other : channels) {
        if (other.node() != channel) {
            pixels.remove_child(other.node());
        }
    }
    channel.remove_attribute("Name");
    channel.remove_attribute("Color");
    channel.remove_attribute("SamplesPerPixel");
    channel.append_attribute("SamplesPerPixel") = 3;
    for (const char* const name : {"TiffData", "Plane"}) {
        for (const pugi::xpath_node& found : children(pixels, name)) {
            if (found.node() != children(pixels, "TiffData").first().node()) {
                pixels.remove_child(found.node());
            }
        }
    }
    if (pugi::xml_node data = children(pixels, "TiffData").first().node()) {
        data.remove_attributes();
        data.remove_children();
        data.append_attribute("IFD") = 0;
        data.append_attribute("PlaneCount") = page_count / 3;
    }
    std::ostringstream changed;
    document.save(changed, "", pugi::format_raw);
    return color_stack{axes.color_pages(*channel_of), changed.str()};
}

constexpr std::size_t table_entries = 256;

// The colour of a table of red, green and blue entries: one rises, the others stay 0.
std::optional<std::uint32_t> table_color(std::span<const std::byte> table)
{
    for (std::uint32_t color = 0; color < 3; ++color) {
        bool fits = true;
        for (std::size_t place = 0; place < table.size(); ++place) {
            const std::size_t wanted = place / table_entries == color ? place % table_entries : 0;
            fits = fits && std::to_integer<std::size_t>(table[place]) == wanted;
        }
        if (fits) {
            return color;
        }
    }
    return std::nullopt;
}

// The colours of the tables that ImageJ keeps for its channels.
std::vector<std::optional<std::uint32_t>> table_colors(const std::vector<tiff_tag>& tags)
{
    const auto bytes_of = [&tags](std::uint16_t code) {
        const auto found = std::ranges::find(tags, code, &tiff_tag::tag);
        return found == tags.end() ? std::vector<std::byte>() : found->bytes;
    };
    const std::vector<std::byte> counts = bytes_of(imagej_counts_tag);
    const std::vector<std::byte> values = bytes_of(imagej_values_tag);
    const auto number = [](const std::vector<std::byte>& bytes, std::size_t place, bool big) {
        std::uint32_t value = 0;
        for (std::size_t at = 0; at < 4 && place + 4 <= bytes.size(); ++at) {
            value = value << 8U | std::to_integer<std::uint32_t>(bytes[place + (big ? at : 3 - at)]);
        }
        return value;
    };
    constexpr std::uint32_t magic = 0x494A494A;  // IJIJ, and what follows in the file's byte order
    constexpr std::uint32_t tables = 0x6C757473; // luts
    const bool big = number(values, 0, true) == magic;
    const auto size_of = [&](std::size_t item) {
        return number(counts, 4 * item, std::endian::native == std::endian::big);
    };
    std::vector<std::optional<std::uint32_t>> colors;
    std::size_t start = size_of(0); // behind the list of kinds and how many there are of each
    std::size_t item = 1;
    for (std::size_t kind = 4; kind + 8 <= std::min<std::size_t>(size_of(0), values.size()); kind += 8) {
        for (std::uint32_t left = number(values, kind + 4, big); left > 0 && 4 * item < counts.size(); --left, ++item) {
            const std::size_t size = size_of(item);
            if (number(values, kind, big) == tables && size == 3 * table_entries && start + size <= values.size()) {
                colors.push_back(table_color(std::span(values).subspan(start, size)));
            }
            start += size;
        }
    }
    return colors;
}

std::optional<color_stack> by_imagej(const metadata& notes, const std::string& text, std::uint64_t page_count)
{
    std::map<std::string, std::string> values;
    std::string kept;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const std::string name = line.substr(0, line.find('='));
        values[name] = line.substr(std::min(name.size() + 1, line.size()));
        if (name != "channels" && name != "mode") {
            kept += (name == "images" ? "images=" + std::to_string(page_count / 3) : line) + '\n';
        }
    }
    const auto size = [&values](const char* name) {
        const std::string digits = values.contains(name) ? values[name] : "1";
        return static_cast<std::uint64_t>(std::strtoull(digits.c_str(), nullptr, 10));
    };
    std::vector<std::optional<std::uint32_t>> colors = table_colors(notes.tags);
    if (colors.empty()) {
        colors = {0, 1, 2}; // as ImageJ shows channels without tables
    }
    const auto channel_of = channels_of_colors(colors);
    const stack_axes axes("CZT", {{'C', size("channels")}, {'Z', size("slices")}, {'T', size("frames")}});
    if (values["mode"] != "composite" || size("channels") != 3 || !channel_of || axes.count() != page_count) {
        return std::nullopt;
    }
    return color_stack{axes.color_pages(*channel_of), kept};
}

class channel_reader final : public image_reader {
public:
    channel_reader(const std::filesystem::path& file, std::unique_ptr<image_reader> grey, bool in_threes,
                   ledger& losses);

    [[nodiscard]] std::uint32_t page_count() const override { return static_cast<std::uint32_t>(pages_.size()); }
    [[nodiscard]] std::uint64_t pixel_count(std::uint32_t page) const override
    {
        return grey_->pixel_count(pages_.at(page).front());
    }
    void read_page(std::uint32_t number, image_16& page) override;
    [[nodiscard]] const metadata& notes() const override { return notes_; }
    [[nodiscard]] compression stored_compression() const override { return grey_->stored_compression(); }
    [[nodiscard]] bool needs_big_tiff() const override { return grey_->needs_big_tiff(); }

private:
    std::filesystem::path file_;
    std::unique_ptr<image_reader> grey_;
    ledger& losses_;
    std::vector<color_page> pages_;
    metadata notes_;
};

channel_reader::channel_reader(const std::filesystem::path& file, std::unique_ptr<image_reader> grey, bool in_threes,
                               ledger& losses)
    : file_(file), grey_(std::move(grey)), losses_(losses), notes_(grey_->notes())
{
    const std::uint32_t count = grey_->page_count();
    const std::string text = notes_.description() != nullptr ? *notes_.description() : std::string();
    auto said = text.starts_with("ImageJ=") ? by_imagej(notes_, text, count) : by_ome(text, count);
    if (!said && !in_threes) {
        throw image_error(file, "has grey pages, and no description says that they are red, green and blue: "
                                "kx_convert --channel-pages takes three for one");
    }
    if (!said && count % 3 != 0) {
        throw image_error(file, "has " + std::to_string(count) + " grey pages, which cannot be taken by threes");
    }
    std::erase_if(notes_.texts, [](const auto& entry) { return entry.first == description_keyword; });
    notes_.tags.clear();
    if (said) {
        notes_.texts.emplace_back(description_keyword, said->description);
        losses.enter(loss::changed, "the description, in which three channels become one of three samples");
        pages_ = std::move(said->pages);
        return;
    }
    if (!text.empty()) {
        losses.enter(loss::dropped, "the description, which speaks of grey pages");
    }
    for (std::uint32_t page = 0; page < count; page += 3) {
        pages_.push_back({page, page + 1, page + 2});
    }
}

void channel_reader::read_page(std::uint32_t number, image_16& page)
{
    const auto [red, green, blue] = pages_.at(number);
    std::vector<std::uint16_t> samples = std::move(page.samples);
    samples.clear();
    std::vector<std::pair<std::string, std::string>> other_texts;
    image_16 plane;
    for (const std::uint32_t source : {blue, green, red}) { // as memory has them; the red one's metadata stay
        const image_16 before = std::move(plane);
        grey_->read_page(source, plane);
        const bool alike = plane.width == before.width && plane.height == before.height
                           && plane.was_8_bit == before.was_8_bit && plane.orientation == before.orientation;
        if (source != blue && !alike) {
            throw image_error(file_, "page " + std::to_string(source + 1)
                                         + " has another size, depth or orientation than its other channels");
        }
        samples.reserve(3 * plane.samples.size());
        samples.insert(samples.end(), plane.samples.begin(), plane.samples.end());
        std::ranges::copy(before.about.texts, std::back_inserter(other_texts));
    }
    for (const auto& text : other_texts) {
        if (std::ranges::count(plane.about.texts, text) == 0) {
            losses_.enter(loss::dropped, "texts of the green and blue pages", number + 1);
        }
    }
    page = std::move(plane);
    page.channels = 3;
    page.layout = arrangement::planar_bgr;
    page.samples = std::move(samples);
}

} // namespace

std::unique_ptr<image_reader> combine_channel_pages(const std::filesystem::path& file,
                                                    std::unique_ptr<image_reader> grey, bool in_threes, ledger& losses)
{
    return std::make_unique<channel_reader>(file, std::move(grey), in_threes, losses);
}

} // namespace kx::images
