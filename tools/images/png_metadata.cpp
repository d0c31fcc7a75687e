#include "png_metadata.h"

#include "description.h"
#include "tiff_tags.h"
#include "utf8.h"

#include <algorithm>
#include <cmath>

#include <tiff.h>

namespace kx::images {

namespace {

constexpr const char* xmp_keyword = "XML:com.adobe.xmp";

// Texts of chunks other than iTXt should be Latin-1; not all programs know.
std::string utf8_from_latin1(const std::string& text)
{
    std::string result;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        if (code < 0x80) {
            result += character;
        } else {
            result += static_cast<char>(0xC0 | code >> 6);
            result += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    return result;
}

bool is_ascii(const std::string& text)
{
    return std::ranges::all_of(text, [](unsigned char code) { return code < 0x80; });
}

// libpng has only a pointer to a string for a profile's name.
char profile_name[] = "profile";

} // namespace

metadata read_metadata(png_structp png, png_infop info, ledger& losses)
{
    metadata about;
    png_textp texts = nullptr;
    const int count = png_get_text(png, info, &texts, nullptr);
    for (int index = 0; index < count; ++index) {
        const png_text& text = texts[index];
        const bool is_international = text.compression >= PNG_ITXT_COMPRESSION_NONE;
        const std::string content(text.text, is_international ? text.itxt_length : text.text_length);
        if (is_international && text.lang != nullptr && *text.lang != '\0') {
            losses.enter(loss::dropped, std::string("the language of the text \"") + text.key + '"');
        }
        if (text.key == std::string_view(xmp_keyword)) {
            const auto* const bytes = reinterpret_cast<const std::byte*>(content.data());
            about.tags.push_back({TIFFTAG_XMLPACKET, TIFF_BYTE, content.size(), {bytes, bytes + content.size()}});
        } else {
            about.texts.emplace_back(text.key, is_utf8(content) ? content : utf8_from_latin1(content));
        }
    }
    png_uint_32 x = 0;
    png_uint_32 y = 0;
    int unit = PNG_RESOLUTION_UNKNOWN;
    if (png_get_pHYs(png, info, &x, &y, &unit) != 0) {
        const bool metric = unit == PNG_RESOLUTION_METER;
        const double per = metric ? 100.0 : 1.0;
        about.pixels_per_length =
            resolution{x / per, y / per, metric ? resolution::unit::centimeter : resolution::unit::none};
    }
    int intent = 0;
    about.is_srgb = png_get_sRGB(png, info, &intent) != 0;
    png_charp name = nullptr;
    png_bytep profile = nullptr;
    png_uint_32 length = 0;
    int compression = 0;
    if (png_get_iCCP(png, info, &name, &compression, &profile, &length) != 0) {
        const auto* const bytes = reinterpret_cast<const std::byte*>(profile);
        about.icc_profile.assign(bytes, bytes + length);
    }
    double gamma = 0;
    if (png_get_gAMA(png, info, &gamma) != 0) {
        about.gamma = gamma;
    }
    // sRGB and profiles say what cHRM says.
    const bool has_primaries = !about.is_srgb && about.icc_profile.empty();
    const std::initializer_list<std::pair<png_uint_32, const char*>> others{
        {has_primaries ? PNG_INFO_cHRM : 0U, "the primaries (cHRM)"},
        {PNG_INFO_tRNS, "the transparent colour (tRNS)"},
        {PNG_INFO_bKGD, "the background (bKGD)"},
        {PNG_INFO_sBIT, "the significant bits (sBIT)"},
        {PNG_INFO_tIME, "the time of the last change (tIME)"},
        {PNG_INFO_oFFs, "the offset (oFFs)"},
        {PNG_INFO_pCAL, "the calibration (pCAL)"},
        {PNG_INFO_sCAL, "the physical scale (sCAL)"},
        {PNG_INFO_eXIf, "EXIF"},
        {PNG_INFO_hIST, "the histogram (hIST)"},
    };
    for (const auto& [chunk, what] : others) {
        if (chunk != 0 && png_get_valid(png, info, chunk) != 0) {
            losses.enter(loss::dropped, what);
        }
    }
    png_unknown_chunkp unknown = nullptr;
    const int unknown_count = png_get_unknown_chunks(png, info, &unknown);
    for (int index = 0; index < unknown_count; ++index) {
        losses.enter(loss::dropped, std::string("the chunk ") + reinterpret_cast<const char*>(unknown[index].name));
    }
    return about;
}

png_metadata::png_metadata(const metadata& about, ledger& losses)
    : about_(about), losses_(losses), density_(to_density()), texts_(about.texts)
{
    for (const tiff_tag& tag : about.tags) {
        if (tag.tag == TIFFTAG_XMLPACKET) {
            texts_.emplace_back(xmp_keyword,
                                std::string(reinterpret_cast<const char*>(tag.bytes.data()), tag.bytes.size()));
        } else if ((tag.tag != TIFFTAG_XRESOLUTION && tag.tag != TIFFTAG_YRESOLUTION) || !about.pixels_per_length) {
            losses.enter(loss::dropped, tag_name(tag.tag));
        }
    }
    for (auto& [keyword, text] : texts_) {
        text = is_utf8(text) ? text : utf8_from_latin1(text);
        if (text.find('\0') != std::string::npos) {
            std::ranges::replace(text, '\0', '\n');
            losses.enter(loss::changed, "the text \"" + keyword + "\", whose parts are now lines");
        }
        png_text entry{};
        entry.compression =
            is_ascii(text) && keyword != xmp_keyword ? PNG_TEXT_COMPRESSION_NONE : PNG_ITXT_COMPRESSION_NONE;
        entry.key = keyword.data();
        entry.text = text.data();
        entry.text_length = text.size();
        entries_.push_back(entry);
    }
}

// PNG counts pixels for a metre, in whole numbers, or knows the shape of a pixel alone.
std::optional<png_metadata::density> png_metadata::to_density() const
{
    if (!about_.pixels_per_length) {
        return std::nullopt;
    }
    const auto& [x, y, unit] = *about_.pixels_per_length;
    const std::string* const description = about_.description();
    const auto length = unit == resolution::unit::inch         ? std::optional(0.0254)
                        : unit == resolution::unit::centimeter ? std::optional(0.01)
                        : description != nullptr               ? imagej_unit(*description)
                                                               : std::nullopt;
    const auto whole = [](double value) { return static_cast<png_uint_32>(std::lround(value)); };
    const auto fits = [](double value) { return value >= 0.5 && value < PNG_UINT_31_MAX; };
    if (length && fits(x / *length) && fits(y / *length)) {
        const density result{whole(x / *length), whole(y / *length), PNG_RESOLUTION_METER};
        const auto is_near = [&length](png_uint_32 rounded, double exact) {
            return std::abs(rounded * *length / exact - 1) < 1e-3;
        };
        if (!is_near(result.x, x) || !is_near(result.y, y)) {
            losses_.enter(loss::changed, "the resolution, rounded to whole pixels for a metre");
        }
        return result;
    }
    // Without a unit, equal numbers say nothing, and 1 is what many programs write then.
    if (length) {
        losses_.enter(loss::dropped, "the resolution, which is beyond PNG's");
    } else if (x != y || x != 1) {
        losses_.enter(loss::dropped, "the resolution, which has no unit");
    }
    const double scale = 1e6 / std::max(x, y);
    if (x == y || !fits(x * scale) || !fits(y * scale)) {
        return std::nullopt;
    }
    return density{whole(x * scale), whole(y * scale), PNG_RESOLUTION_UNKNOWN};
}

void png_metadata::set(png_structp png, png_infop info)
{
    if (!entries_.empty()) {
        png_set_text(png, info, entries_.data(), static_cast<int>(entries_.size()));
    }
    if (density_) {
        png_set_pHYs(png, info, density_->x, density_->y, density_->unit);
    }
    if (about_.is_srgb) {
        png_set_sRGB_gAMA_and_cHRM(png, info, PNG_sRGB_INTENT_RELATIVE);
    } else if (!about_.icc_profile.empty()) {
        png_set_iCCP(png, info, profile_name, PNG_COMPRESSION_TYPE_BASE,
                     reinterpret_cast<png_const_bytep>(about_.icc_profile.data()),
                     static_cast<png_uint_32>(about_.icc_profile.size()));
        if (png_get_valid(png, info, PNG_INFO_iCCP) == 0) {
            losses_.enter(loss::dropped, "the ICC profile, which is none for RGB");
        }
    } else if (about_.gamma) {
        png_set_gAMA(png, info, *about_.gamma);
    }
}

} // namespace kx::images
