#include "conversion.h"

#include "camera_balance.h"
#include "color_library.h"
#include "images/image_file.h"
#include "page_workers.h"
#include "transform_plan.h"

#include <boost/timer/progress_display.hpp>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <locale>
#include <numeric>
#include <sstream>

#include <unistd.h>

namespace kx::convert {

namespace {

using progress_bar = boost::timer::progress_display;

// A stack is long enough to wait for; a bar in a log file helps nobody.
std::unique_ptr<progress_bar> make_progress_bar(std::uint32_t pages)
{
    if (pages < 2 || isatty(STDERR_FILENO) == 0) {
        return nullptr;
    }
    return std::make_unique<progress_bar>(pages, std::cerr);
}

// What the workers of one file share.
struct conversion_job {
    const settings& wanted;
    images::image_reader& reader;
    images::image_writer& writer;
    unsigned threads_per_page;
    progress_bar* progress;
};

// Reads, converts and compresses a page, then writes it when its turn has come. Its memory serves page after page.
template <typename Sample>
class converting_worker final : public page_worker {
public:
    converting_worker(const conversion_job& job, color_processor& processor) : job_(job), processor_(processor) {}

    void prepare(std::uint32_t number) override
    {
        job_.reader.read_page(number, input_);
        output_.width = input_.width;
        output_.height = input_.height;
        output_.channels = job_.wanted.channels;
        output_.layout = job_.wanted.planar ? images::arrangement::planar_bgr : images::arrangement::interleaved_rgb;
        output_.orientation = input_.orientation;
        output_.samples.resize(output_.pixel_count() * output_.channels);
        try {
            processor_.transform(input_, output_);
        } catch (const std::runtime_error& error) {
            throw images::image_error(job_.wanted.input, "page " + std::to_string(number + 1) + ": " + error.what());
        }
        encoded_ = job_.writer.encode(output_, job_.threads_per_page);
    }

    void finish(std::uint32_t) override
    {
        job_.writer.append(*encoded_);
        if (job_.progress != nullptr) {
            ++*job_.progress;
        }
    }

private:
    const conversion_job& job_;
    color_processor& processor_;
    images::image_16 input_;
    images::image<Sample> output_;
    std::unique_ptr<images::encoded_page> encoded_;
};

void refuse_same_file(const settings& wanted)
{
    std::error_code not_there;
    if (std::filesystem::equivalent(wanted.input, wanted.output, not_there)) {
        throw images::image_error(wanted.output, "is the input file too; give another name for the output");
    }
}

std::uint64_t total_pixels(const images::image_reader& reader)
{
    std::uint64_t pixels = 0;
    for (std::uint32_t page = 0; page < reader.page_count(); ++page) {
        pixels += reader.pixel_count(page);
    }
    return pixels;
}

void print_info(const std::vector<std::unique_ptr<color_processor>>& processors, std::uint32_t pages,
                std::uint64_t pixels, double whole_seconds)
{
    const double megapixels = static_cast<double>(pixels) / 1e6;
    const double seconds = std::transform_reduce(processors.begin(), processors.end(), 0.0, std::plus(),
                                                 [](const auto& processor) { return processor->seconds(); });
    std::ostringstream text; // with the classic locale, so that scripts can read it
    text.imbue(std::locale::classic());
    text << std::fixed;
    text.precision(3);
    const auto times = [&](const char* what, double taken) {
        text << what << taken * 1e3 << " ms, " << megapixels / taken << " Mpixel/s\n";
    };
    text << "vector level: " << processors.front()->vector_level_text() << "\ntransformed: " << pages
         << (pages == 1 ? " page, " : " pages, ") << megapixels << " megapixels";
    times(" in ", seconds);
    times("with reading and writing: ", whole_seconds);
    std::cout << text.str() << std::flush;
}

} // namespace

void convert(settings wanted)
{
    const auto start = std::chrono::steady_clock::now();
    transform_plan plan = make_plan(wanted); // before the file is opened: what is wrong is said at once
    const std::unique_ptr<images::image_reader> reader = images::open_image(wanted.input);
    if (wanted.balance_area) {
        balance_camera(wanted, *reader, wanted.input);
        plan = make_plan(wanted);
    }
    refuse_same_file(wanted);
    const std::uint32_t pages = reader->page_count();
    const std::uint64_t pixels = total_pixels(*reader);
    const std::unique_ptr<images::image_writer> writer = images::create_image(
        wanted.output, {.tiff_compression = wanted.tiff_compression.value_or(images::compression::none),
                        .level = wanted.level,
                        .page_count = pages,
                        .expected_bytes = pixels * wanted.channels * (wanted.depth / 8)});

    const color_module module;
    const unsigned worker_count = std::min(wanted.threads, pages);
    const auto progress = make_progress_bar(pages);
    const conversion_job job{wanted, *reader, *writer, std::max(1U, wanted.threads / worker_count), progress.get()};
    std::vector<std::unique_ptr<color_processor>> processors;
    std::vector<std::unique_ptr<page_worker>> workers;
    for (unsigned number = 0; number < worker_count; ++number) {
        color_processor& processor = *processors.emplace_back(std::make_unique<color_processor>(module, plan));
        if (wanted.depth == 8) {
            workers.push_back(std::make_unique<converting_worker<std::uint8_t>>(job, processor));
        } else {
            workers.push_back(std::make_unique<converting_worker<std::uint16_t>>(job, processor));
        }
    }
    run_in_order(pages, workers);
    writer->commit();
    if (wanted.info) {
        print_info(processors, pages, pixels,
                   std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
}

} // namespace kx::convert
