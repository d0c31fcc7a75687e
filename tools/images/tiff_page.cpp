#include "tiff_page.h"

#include "image_formats.h"

namespace kx::images {

namespace {

const char* photometric_name(std::uint16_t photometric)
{
    switch (photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
        return "grey";
    case PHOTOMETRIC_RGB:
        return "RGB";
    case PHOTOMETRIC_PALETTE:
        return "palette";
    case PHOTOMETRIC_SEPARATED:
        return "CMYK";
    case PHOTOMETRIC_YCBCR:
        return "YCbCr";
    default:
        return "other than RGB";
    }
}

const char* sample_format_name(std::uint16_t format)
{
    switch (format) {
    case SAMPLEFORMAT_UINT:
        return "unsigned";
    case SAMPLEFORMAT_INT:
        return "signed";
    case SAMPLEFORMAT_IEEEFP:
        return "floating point";
    default:
        return "untyped";
    }
}

std::uint16_t short_tag(TIFF* tiff, std::uint32_t tag)
{
    std::uint16_t value = 0;
    TIFFGetFieldDefaulted(tiff, tag, &value);
    return value;
}

bool has_alpha(TIFF* tiff)
{
    std::uint16_t count = 0;
    std::uint16_t* meanings = nullptr;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &count, &meanings);
    return count > 0 && (meanings[0] == EXTRASAMPLE_ASSOCALPHA || meanings[0] == EXTRASAMPLE_UNASSALPHA);
}

} // namespace

std::optional<std::string> other_than_page(TIFF* tiff)
{
    std::uint32_t kind = 0;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SUBFILETYPE, &kind);
    constexpr std::uint32_t macro = 8; // of slide scanners: the whole slide
    if ((kind & macro) != 0) {
        return "the macro image";
    }
    if ((kind & FILETYPE_MASK) != 0) {
        return "a transparency mask";
    }
    return (kind & FILETYPE_REDUCEDIMAGE) != 0 ? std::optional("a reduced copy of a page") : std::nullopt;
}

tiff_page describe_page(tiff_file& file, std::uint32_t number, const tiff_page* first)
{
    TIFF* const tiff = file.get();
    tiff_page page;
    page.number = number;
    page.directory = TIFFCurrentDirOffset(tiff);
    image_16& image = page.image;
    std::uint16_t photometric = 0;
    if (TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &image.width) == 0
        || TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &image.height) == 0
        || TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric) == 0) {
        file.fail(page.name() + " is incomplete: its size or its colour type is missing");
    }
    page.bits = short_tag(tiff, TIFFTAG_BITSPERSAMPLE);
    page.samples = short_tag(tiff, TIFFTAG_SAMPLESPERPIXEL);
    const std::uint16_t format = short_tag(tiff, TIFFTAG_SAMPLEFORMAT);
    const bool is_color = photometric == PHOTOMETRIC_RGB && (page.samples == 3 || page.samples == 4);
    const bool is_grey = photometric == PHOTOMETRIC_MINISBLACK && page.samples == 1;
    if ((page.bits != 16 && page.bits != 8) || format != SAMPLEFORMAT_UINT || (!is_color && !is_grey)
        || (first != nullptr && first->is_grey() != is_grey)) {
        file.fail(page.name() + " has " + std::to_string(page.samples) + " " + sample_format_name(format) + " "
                  + std::to_string(page.bits) + "-bit samples a pixel, colour type " + photometric_name(photometric)
                  + "; " + needed_samples);
    }
    image.was_8_bit = page.bits == 8;
    check_dimensions(file.name(), image.width, image.height);
    const bool separate = is_color && short_tag(tiff, TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE;
    image.layout = separate ? arrangement::planar_bgr : arrangement::interleaved_rgb;
    image.channels = is_grey ? 1 : 3;
    image.orientation = short_tag(tiff, TIFFTAG_ORIENTATION);
    page.is_alpha = page.samples == 4 && has_alpha(tiff);
    page.oddities = file.take_warnings();
    if (std::string wrong = file.take_messages(); !wrong.empty()) {
        page.oddities.push_back(std::move(wrong));
    }
    return page;
}

} // namespace kx::images
