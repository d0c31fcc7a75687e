#include "conversion.h"

#include "color_library.h"
#include "images/image_file.h"
#include "transform_plan.h"

#include <boost/timer/progress_display.hpp>

#include <iostream>
#include <locale>
#include <sstream>

#include <unistd.h>

namespace kx::convert {

namespace {

// A stack is long enough to wait for; a bar in a log file helps nobody.
std::unique_ptr<boost::timer::progress_display> make_progress_bar(std::uint32_t pages)
{
    if (pages < 2 || isatty(STDERR_FILENO) == 0) {
        return nullptr;
    }
    return std::make_unique<boost::timer::progress_display>(pages, std::cerr);
}

template <typename Sample>
void convert_pages(const settings& wanted, color_processor& processor, images::image_reader& reader,
                   images::image_writer& writer)
{
    const auto progress = make_progress_bar(reader.page_count());
    for (std::uint32_t number = 1; number <= reader.page_count(); ++number) {
        const images::image_16 page = reader.read_page();
        images::image<Sample> result{.width = page.width,
                                     .height = page.height,
                                     .channels = wanted.channels,
                                     .layout = wanted.planar ? images::arrangement::planar_bgr
                                                             : images::arrangement::interleaved_rgb,
                                     .orientation = page.orientation,
                                     .samples = {}};
        result.samples.resize(result.pixel_count() * result.channels);
        try {
            processor.transform(page, result);
        } catch (const std::runtime_error& error) {
            throw images::image_error(wanted.input, "page " + std::to_string(number) + ": " + error.what());
        }
        writer.write_page(result);
        if (progress != nullptr) {
            ++*progress;
        }
    }
}

void refuse_same_file(const settings& wanted)
{
    std::error_code not_there;
    if (std::filesystem::equivalent(wanted.input, wanted.output, not_there)) {
        throw images::image_error(wanted.output, "is the input file too; give another name for the output");
    }
}

void print_info(const color_processor& processor, const images::image_reader& reader)
{
    const double megapixels = static_cast<double>(reader.total_pixels()) / 1e6;
    std::ostringstream text; // with the classic locale, so that scripts can read it
    text.imbue(std::locale::classic());
    text << std::fixed;
    text.precision(3);
    text << "vector level: " << processor.vector_level_text() << "\ntransformed: " << reader.page_count()
         << (reader.page_count() == 1 ? " page, " : " pages, ") << megapixels << " megapixels in "
         << processor.seconds() * 1e3 << " ms, " << megapixels / processor.seconds() << " Mpixel/s\n";
    std::cout << text.str() << std::flush;
}

} // namespace

void convert(const settings& wanted)
{
    const transform_plan plan = make_plan(wanted);
    const std::unique_ptr<images::image_reader> reader = images::open_image(wanted.input);
    refuse_same_file(wanted);
    const color_module module;
    color_processor processor(module, plan);

    const unsigned sample_bytes = wanted.depth / 8;
    const std::unique_ptr<images::image_writer> writer = images::create_image(
        wanted.output, {.tiff_compression = wanted.tiff_compression.value_or(images::compression::none),
                        .page_count = reader->page_count(),
                        .expected_bytes = reader->total_pixels() * wanted.channels * sample_bytes});
    if (wanted.depth == 8) {
        convert_pages<std::uint8_t>(wanted, processor, *reader, *writer);
    } else {
        convert_pages<std::uint16_t>(wanted, processor, *reader, *writer);
    }
    writer->commit();
    if (wanted.info) {
        print_info(processor, *reader);
    }
}

} // namespace kx::convert
