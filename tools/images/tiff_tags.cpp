#include "tiff_tags.h"

#include "srgb_profile.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>

namespace kx::images {

namespace {

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
};

// What no longer holds or points to other parts of the file, by better names than libtiff's.
const std::map<std::uint16_t, const char*> untrue_tags{
    {TIFFTAG_EXIFIFD, "EXIF"},
    {TIFFTAG_GPSIFD, "GPS position"},
    {TIFFTAG_INTEROPERABILITYIFD, "EXIF interoperability"},
    {TIFFTAG_SUBIFD, "further images of a page (SubIFDs)"},
    {TIFFTAG_PHOTOSHOP, "Photoshop's resources"},
    {37724, "Photoshop's layers"},
    {33628, "MetaMorph's planes (UIC1)"},
    {33629, "MetaMorph's planes (UIC2)"},
    {33630, "MetaMorph's planes (UIC3)"},
    {33631, "MetaMorph's planes (UIC4)"},
    {34412, "Zeiss' LSM information"},
};

constexpr std::uint16_t ndpi_mark = 65420;

// What points to other parts of Hamamatsu's NDPI files, or says that a file is one. In other files these numbers mean
// something else.
constexpr std::array<std::uint16_t, 5> ndpi_tags{65324, 65325, ndpi_mark, 65426, 65432};

// Values that libtiff cannot write as they are: it rounds fractions and ends texts at a NUL.
bool is_fraction(std::uint16_t type)
{
    return type == TIFF_RATIONAL || type == TIFF_SRATIONAL;
}

// libtiff's own tags that stay true whatever becomes of the samples.
bool is_carried(std::uint16_t tag)
{
    return tag == TIFFTAG_XRESOLUTION || tag == TIFFTAG_YRESOLUTION || tag == TIFFTAG_XMLPACKET
           || tag == TIFFTAG_RICHTIFFIPTC || tag == TIFFTAG_XPOSITION || tag == TIFFTAG_YPOSITION
           || tag == TIFFTAG_TARGETPRINTER;
}

// Tags of digital negatives describe how raw samples become colours. ImageJ's two and Micro-Manager's stand among them.
bool is_private(std::uint16_t tag)
{
    return (tag >= 32768 && (tag < 50706 || tag > 51200)) || tag == imagej_counts_tag || tag == imagej_values_tag
           || tag == 51123;
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

// Sets a text, with blanks in place of NULs; the text itself is to be put there if it has some.
bool write_text(TIFF* tiff, std::uint16_t tag, std::string text, std::vector<tiff_tag>& exact)
{
    if (text.find('\0') != std::string::npos) {
        const auto* const bytes = reinterpret_cast<const std::byte*>(text.c_str());
        exact.push_back({tag, TIFF_ASCII, text.size() + 1, {bytes, bytes + text.size() + 1}});
        std::ranges::replace(text, '\0', ' ');
    }
    return TIFFSetField(tiff, tag, text.c_str()) == 1;
}

// Declares a tag that libtiff does not know.
bool declare(TIFF* tiff, const tiff_tag& tag)
{
    static char name[] = "private";
    const TIFFFieldInfo declaration{
        tag.tag, TIFF_VARIABLE2, TIFF_VARIABLE2, static_cast<TIFFDataType>(tag.type), FIELD_CUSTOM, 1, 1, name};
    return TIFFFindField(tiff, tag.tag, TIFF_ANY) == nullptr && TIFFMergeFieldInfo(tiff, &declaration, 1) == 0;
}

// Fractions are set as ones, and are to be put there afterwards.
bool write_tag(TIFF* tiff, const tiff_tag& tag, std::vector<tiff_tag>& exact)
{
    const auto count = static_cast<std::uint32_t>(tag.count);
    const auto size = static_cast<std::uint32_t>(tag.bytes.size());
    if (is_fraction(tag.type)) {
        exact.push_back(tag);
        if (tag.tag == TIFFTAG_XRESOLUTION || tag.tag == TIFFTAG_YRESOLUTION || tag.tag == TIFFTAG_XPOSITION
            || tag.tag == TIFFTAG_YPOSITION) {
            return count == 1 && tag.type == TIFF_RATIONAL && TIFFSetField(tiff, tag.tag, 1.0) == 1;
        }
        const std::vector<float> ones(count, 1.0F);
        return declare(tiff, tag) && TIFFSetField(tiff, tag.tag, count, ones.data()) == 1;
    }
    switch (tag.tag) {
    case TIFFTAG_TARGETPRINTER:
        return write_text(tiff, tag.tag, text_of(tag.bytes), exact);
    case TIFFTAG_XMLPACKET:
    case TIFFTAG_RICHTIFFIPTC:
        return TIFFSetField(tiff, tag.tag, size, tag.bytes.data()) == 1;
    default:
        return declare(tiff, tag) && TIFFSetField(tiff, tag.tag, count, tag.bytes.data()) == 1;
    }
}

} // namespace

std::string tag_name(std::uint16_t tag, TIFF* tiff)
{
    if (const auto named = untrue_tags.find(tag); named != untrue_tags.end()) {
        return named->second;
    }
    const TIFFField* const field = tiff != nullptr ? TIFFFindField(tiff, tag, TIFF_ANY) : nullptr;
    const std::string name = field != nullptr ? TIFFFieldName(field) : "";
    return name.empty() || name.starts_with("Tag ") || name == "private" ? "tag " + std::to_string(tag)
                                                                         : name + " (" + std::to_string(tag) + ")";
}

metadata read_metadata(tiff_file& file, std::uint32_t page, ledger& losses)
{
    metadata about;
    TIFF* const tiff = file.get();
    about.pixels_per_length = read_resolution(tiff);
    const tiff_directory directory(file);
    const bool is_ndpi =
        std::ranges::find(directory.entries(), ndpi_mark, &tiff_entry::tag) != directory.entries().end();
    for (tiff_entry entry : directory.entries()) {
        if (entry.tag == TIFFTAG_RICHTIFFIPTC) { // bytes, which many programs count as numbers of 32 bits
            entry.count = entry.size();
            entry.type = TIFF_UNDEFINED;
        }
        const bool is_resolution = entry.tag == TIFFTAG_XRESOLUTION || entry.tag == TIFFTAG_YRESOLUTION;
        if (std::ranges::find(layout_tags, entry.tag) != layout_tags.end()
            || (about.pixels_per_length
                && (entry.tag == TIFFTAG_RESOLUTIONUNIT || (is_resolution && entry.type != TIFF_RATIONAL)))) {
            continue;
        }
        const bool points_elsewhere = untrue_tags.contains(entry.tag) || entry.type == TIFF_IFD
                                      || entry.type == TIFF_IFD8
                                      || (is_ndpi && std::ranges::find(ndpi_tags, entry.tag) != ndpi_tags.end());
        const auto keyword = text_keywords.find(entry.tag);
        const bool kept = !points_elsewhere
                          && (keyword != text_keywords.end() || entry.tag == TIFFTAG_ICCPROFILE || is_carried(entry.tag)
                              || is_private(entry.tag));
        auto values = kept ? directory.values(entry) : std::nullopt;
        if (!values) {
            losses.enter(loss::dropped,
                         tag_name(entry.tag, tiff)
                             + (entry.value_size() == 0 ? " of the unknown type " + std::to_string(entry.type) : ""),
                         page);
        } else if (keyword != text_keywords.end()) {
            about.texts.emplace_back(keyword->second, text_of(*values));
        } else if (entry.tag == TIFFTAG_ICCPROFILE) {
            about.icc_profile = std::move(*values);
        } else {
            about.tags.push_back({entry.tag, entry.type, entry.count, std::move(*values)});
        }
    }
    return about;
}

bool needs_big_tiff(tiff_file& file)
{
    if (TIFFIsBigTIFF(file.get()) == 0) {
        return false; // nor has any of its tags such a number
    }
    const tiff_directory directory(file);
    return std::ranges::any_of(directory.entries(), [&directory](const tiff_entry& entry) {
        if (!is_private(entry.tag) || (entry.type != TIFF_LONG8 && entry.type != TIFF_SLONG8)) {
            return false;
        }
        const auto bytes = directory.values(entry).value_or(std::vector<std::byte>());
        for (std::size_t at = 0; at < bytes.size(); at += sizeof(std::int64_t)) {
            std::int64_t value = 0;
            std::memcpy(&value, &bytes[at], sizeof value);
            const bool fits = entry.type == TIFF_LONG8 ? (value >> 32) == 0 : value == static_cast<std::int32_t>(value);
            if (!fits) {
                return true;
            }
        }
        return false;
    });
}

std::vector<tiff_tag> write_metadata(tiff_file& file, const metadata& about, ledger& losses)
{
    TIFF* const tiff = file.get();
    std::vector<tiff_tag> exact;
    for (const auto& [keyword, text] : about.texts) {
        const auto tag = std::ranges::find(text_keywords, keyword, [](const auto& entry) { return entry.second; });
        if (tag == text_keywords.end() || !write_text(tiff, tag->first, text, exact)) {
            losses.enter(loss::dropped, "the text \"" + keyword + '"');
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
        losses.enter(loss::dropped, "the gamma (gAMA)");
    }
    for (const tiff_tag& tag : about.tags) {
        if (!write_tag(tiff, tag, exact)) {
            file.take_messages();
            std::erase_if(exact, [&tag](const tiff_tag& other) { return other.tag == tag.tag; });
            losses.enter(loss::dropped, tag_name(tag.tag, tiff));
        }
    }
    return exact;
}

} // namespace kx::images
