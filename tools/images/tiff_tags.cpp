#include "tiff_tags.h"

#include "srgb_profile.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>

namespace kx::images {

namespace {

constexpr std::uint64_t max_tag_bytes = std::uint64_t{1} << 28;

const std::map<std::uint16_t, const char*> text_keywords{
    {TIFFTAG_DOCUMENTNAME, "Title"},
    {TIFFTAG_IMAGEDESCRIPTION, description_keyword},
    {TIFFTAG_MAKE, "Make"},
    {TIFFTAG_MODEL, "Model"},
    {TIFFTAG_PAGENAME, "PageName"},
    {TIFFTAG_SOFTWARE, "Software"},
    {TIFFTAG_DATETIME, "Creation Time"},
    {TIFFTAG_ARTIST, "Author"},
    {TIFFTAG_HOSTCOMPUTER, "Host"},
    {TIFFTAG_COPYRIGHT, "Copyright"},
};

// What describes the layout of the samples in the file, which is the output's own.
constexpr std::array layout_tags{
    TIFFTAG_IMAGEWIDTH,      TIFFTAG_IMAGELENGTH,  TIFFTAG_BITSPERSAMPLE,   TIFFTAG_COMPRESSION,
    TIFFTAG_PHOTOMETRIC,     TIFFTAG_FILLORDER,    TIFFTAG_STRIPOFFSETS,    TIFFTAG_ORIENTATION,
    TIFFTAG_SAMPLESPERPIXEL, TIFFTAG_ROWSPERSTRIP, TIFFTAG_STRIPBYTECOUNTS, TIFFTAG_PLANARCONFIG,
    TIFFTAG_FREEOFFSETS,     TIFFTAG_PAGENUMBER,   TIFFTAG_PREDICTOR,       TIFFTAG_TILEWIDTH,
    TIFFTAG_FREEBYTECOUNTS,  TIFFTAG_TILELENGTH,   TIFFTAG_TILEOFFSETS,     TIFFTAG_TILEBYTECOUNTS,
    TIFFTAG_EXTRASAMPLES,    TIFFTAG_SAMPLEFORMAT, TIFFTAG_JPEGTABLES,      TIFFTAG_IMAGEDEPTH,
    TIFFTAG_TILEDEPTH,       TIFFTAG_SUBFILETYPE,  TIFFTAG_OSUBFILETYPE,    TIFFTAG_THRESHHOLDING,
    TIFFTAG_RESOLUTIONUNIT, // read with the resolutions
};

// What no longer holds, or points to other parts of the file, but for libtiff's own names.
const std::map<std::uint16_t, const char*> untrue_tags{
    {TIFFTAG_EXIFIFD, "EXIF"},
    {TIFFTAG_GPSIFD, "GPS position"},
    {TIFFTAG_INTEROPERABILITYIFD, "EXIF interoperability"},
    {TIFFTAG_SUBIFD, "further images of a page (SubIFDs)"},
    {TIFFTAG_PHOTOSHOP, "Photoshop's resources"},
    {37724, "Photoshop's layers"},
};

std::size_t type_size(std::uint16_t type)
{
    constexpr std::array<std::uint8_t, 19> sizes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};
    return type < sizes.size() ? sizes.at(type) : 0;
}

// The entries of a directory as they stand in the file: libtiff tells neither all of them nor their types.
class directory {
public:
    explicit directory(tiff_file& file)
        : file_(file), big_(TIFFIsBigTIFF(file.get()) != 0), swapped_(TIFFIsByteSwapped(file.get()) != 0)
    {
    }

    // Calls `take(tag, type, count, place of the values)` for each entry.
    template <typename Take>
    void for_each(Take take)
    {
        std::uint64_t place = TIFFCurrentDirOffset(file_.get());
        const std::uint64_t entries = number(place, big_ ? 8 : 2);
        place += big_ ? 8 : 2;
        for (std::uint64_t entry = 0; entry < std::min<std::uint64_t>(entries, 0xFFFF); ++entry) {
            const auto tag = static_cast<std::uint16_t>(number(place, 2));
            const auto type = static_cast<std::uint16_t>(number(place + 2, 2));
            const std::uint64_t count = number(place + 4, big_ ? 8 : 4);
            const std::uint64_t value = place + (big_ ? 12 : 8);
            const std::size_t inside = big_ ? 8 : 4;
            const std::size_t size = type_size(type);
            const bool is_inside = size == 0 || count <= inside / size;
            take(tag, type, count, is_inside ? value : number(value, inside));
            place = value + inside;
        }
    }

    // The values of a tag in this machine's byte order; nothing if they are not there.
    std::optional<std::vector<std::byte>> values(std::uint16_t type, std::uint64_t count, std::uint64_t place)
    {
        const std::size_t size = type_size(type);
        if (size == 0 || count > max_tag_bytes / size || place + count * size > file_.stream().size()) {
            return std::nullopt;
        }
        std::vector<std::byte> bytes(count * size);
        if (file_.stream().read(place, bytes.data(), bytes.size()) != bytes.size()) {
            return std::nullopt;
        }
        const std::size_t unit = type == TIFF_RATIONAL || type == TIFF_SRATIONAL ? 4 : size;
        for (std::size_t start = 0; swapped_ && start < bytes.size(); start += unit) {
            std::reverse(&bytes[start], &bytes[start] + unit);
        }
        return bytes;
    }

private:
    std::uint64_t number(std::uint64_t place, std::size_t size)
    {
        std::array<std::uint8_t, 8> bytes{};
        file_.stream().read(place, bytes.data(), size);
        const bool low_first = (TIFFIsBigEndian(file_.get()) == 0);
        std::uint64_t value = 0;
        for (std::size_t index = 0; index < size; ++index) {
            value = value << 8 | bytes.at(low_first ? size - 1 - index : index);
        }
        return value;
    }

    tiff_file& file_;
    bool big_;
    bool swapped_;
};

std::string name_of(TIFF* tiff, std::uint16_t tag)
{
    if (const auto named = untrue_tags.find(tag); named != untrue_tags.end()) {
        return named->second;
    }
    const TIFFField* const field = TIFFFindField(tiff, tag, TIFF_ANY);
    const std::string name = field != nullptr ? TIFFFieldName(field) : "";
    return name.empty() || name.starts_with("Tag ") ? "tag " + std::to_string(tag)
                                                    : name + " (" + std::to_string(tag) + ")";
}

// libtiff's own tags that stay true whatever becomes of the samples.
bool is_carried(std::uint16_t tag)
{
    return tag == TIFFTAG_XMLPACKET || tag == TIFFTAG_RICHTIFFIPTC || tag == TIFFTAG_XPOSITION
           || tag == TIFFTAG_YPOSITION || tag == TIFFTAG_TARGETPRINTER;
}

// Tags of digital negatives describe how raw samples become colours. ImageJ's two stand among them.
bool is_private(std::uint16_t tag)
{
    return (tag >= 32768 && (tag < 50706 || tag > 51200)) || tag == 50838 || tag == 50839;
}

std::optional<resolution> read_resolution(TIFF* tiff)
{
    float x = 0;
    float y = 0;
    std::uint16_t unit = RESUNIT_NONE;
    if (TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &x) == 0 || TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &y) == 0) {
        return std::nullopt;
    }
    TIFFGetFieldDefaulted(tiff, TIFFTAG_RESOLUTIONUNIT, &unit);
    return resolution{x, y,
                      unit == RESUNIT_INCH         ? resolution::unit::inch
                      : unit == RESUNIT_CENTIMETER ? resolution::unit::centimeter
                                                   : resolution::unit::none};
}

std::string text_of(const std::vector<std::byte>& bytes)
{
    const std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return text.substr(0, text.find_last_not_of('\0') + 1);
}

// As TIFF writes it: 2026:01:31 23:59:59.
bool is_date(const std::string& text)
{
    return text.size() == 19 && text[4] == ':' && text[7] == ':' && text[10] == ' ' && text[13] == ':';
}

// Private tags are unknown to libtiff until they are declared. Rationals go through single precision.
bool write_tag(TIFF* tiff, const tiff_tag& tag)
{
    const auto count = static_cast<std::uint32_t>(tag.count);
    std::vector<float> quotients;
    const void* values = tag.bytes.data();
    if (tag.type == TIFF_RATIONAL || tag.type == TIFF_SRATIONAL) {
        for (std::size_t at = 0; at < tag.bytes.size(); at += 8) {
            std::array<std::int32_t, 2> parts{};
            std::memcpy(parts.data(), &tag.bytes[at], sizeof parts);
            const auto value = [&tag](std::int32_t part) {
                return static_cast<double>(tag.type == TIFF_SRATIONAL ? std::int64_t{part}
                                                                      : std::int64_t{static_cast<std::uint32_t>(part)});
            };
            quotients.push_back(static_cast<float>(parts[1] == 0 ? 0.0 : value(parts[0]) / value(parts[1])));
        }
        values = quotients.data();
    }
    switch (tag.tag) {
    case TIFFTAG_XPOSITION:
    case TIFFTAG_YPOSITION:
        return quotients.size() == 1 && TIFFSetField(tiff, tag.tag, double{quotients.front()}) == 1;
    case TIFFTAG_TARGETPRINTER:
        return TIFFSetField(tiff, tag.tag, text_of(tag.bytes).c_str()) == 1;
    case TIFFTAG_XMLPACKET:
        return TIFFSetField(tiff, tag.tag, static_cast<std::uint32_t>(tag.bytes.size()), values) == 1;
    case TIFFTAG_RICHTIFFIPTC: // counted in 32-bit words by convention, whatever the type was
        return tag.bytes.size() % 4 == 0
               && TIFFSetField(tiff, tag.tag, static_cast<std::uint32_t>(tag.bytes.size() / 4), values) == 1;
    default:
        break;
    }
    if (TIFFFindField(tiff, tag.tag, TIFF_ANY) == nullptr) {
        static char name[] = "private";
        const TIFFFieldInfo declaration{
            tag.tag, TIFF_VARIABLE2, TIFF_VARIABLE2, static_cast<TIFFDataType>(tag.type), FIELD_CUSTOM, 1, 1, name};
        if (TIFFMergeFieldInfo(tiff, &declaration, 1) != 0) {
            return false;
        }
        return TIFFSetField(tiff, tag.tag, count, values) == 1;
    }
    return false;
}

} // namespace

metadata read_metadata(tiff_file& file)
{
    metadata about;
    TIFF* const tiff = file.get();
    about.pixels_per_length = read_resolution(tiff);
    directory entries(file);
    entries.for_each([&](std::uint16_t tag, std::uint16_t type, std::uint64_t count, std::uint64_t place) {
        if (std::ranges::find(layout_tags, tag) != layout_tags.end()
            || ((tag == TIFFTAG_XRESOLUTION || tag == TIFFTAG_YRESOLUTION) && about.pixels_per_length)) {
            return;
        }
        const auto keyword = text_keywords.find(tag);
        const bool kept = keyword != text_keywords.end() || tag == TIFFTAG_ICCPROFILE || is_carried(tag)
                          || (is_private(tag) && !untrue_tags.contains(tag));
        auto values = kept ? entries.values(type, count, place) : std::nullopt;
        if (!values) {
            const bool unknown_type = type_size(type) == 0;
            about.left_out.push_back(name_of(tiff, tag)
                                     + (unknown_type ? " of the unknown type " + std::to_string(type) : ""));
        } else if (keyword != text_keywords.end()) {
            about.texts.emplace_back(keyword->second, text_of(*values));
        } else if (tag == TIFFTAG_ICCPROFILE) {
            about.icc_profile = std::move(*values);
        } else {
            about.tags.push_back({tag, type, count, std::move(*values)});
        }
    });
    return about;
}

void write_metadata(tiff_file& file, const metadata& about, std::set<std::string>& left_out)
{
    TIFF* const tiff = file.get();
    for (const auto& [keyword, text] : about.texts) {
        const auto tag = std::ranges::find(text_keywords, keyword, [](const auto& entry) { return entry.second; });
        if (tag != text_keywords.end() && (tag->first != TIFFTAG_DATETIME || is_date(text))) {
            file.set(tag->first, text.c_str());
        } else {
            left_out.insert("the text \"" + keyword + '"');
        }
    }
    if (about.pixels_per_length) {
        const auto& [x, y, unit] = *about.pixels_per_length;
        file.set(TIFFTAG_XRESOLUTION, x);
        file.set(TIFFTAG_YRESOLUTION, y);
        file.set(TIFFTAG_RESOLUTIONUNIT, unit == resolution::unit::inch         ? RESUNIT_INCH
                                         : unit == resolution::unit::centimeter ? RESUNIT_CENTIMETER
                                                                                : RESUNIT_NONE);
    }
    const std::vector<std::byte>& profile = about.is_srgb ? srgb_profile() : about.icc_profile;
    if (!profile.empty()) {
        file.set(TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(profile.size()), profile.data());
    } else if (about.gamma) {
        left_out.insert("the gamma (gAMA)");
    }
    for (const tiff_tag& tag : about.tags) {
        if (!write_tag(tiff, tag)) {
            left_out.insert(name_of(tiff, tag.tag));
        }
    }
}

} // namespace kx::images
