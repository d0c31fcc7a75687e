#include "conversion.h"

#include "camera_balance.h"
#include "file_report.h"
#include "images/description.h"
#include "images/orientation.h"
#include "page_workers.h"
#include "sample_statistics.h"

#include <algorithm>
#include <chrono>
#include <numeric>

namespace kx::convert {

namespace {

// Without --info clipping is looked for in some rows only: it is there to be noticed, not to be measured.
constexpr std::uint32_t rows_between_samples = 16;

// The pages to convert, counted from 0.
std::vector<std::uint32_t> select_pages(const settings& wanted, std::uint32_t count)
{
    std::vector<std::uint32_t> pages;
    for (const auto& [first, last] : wanted.pages) {
        const std::uint32_t end = last == open_end ? count : last;
        if (first > count || end > count) {
            throw option_error("--pages", "there is no page " + std::to_string(std::max(first, end)) + ": the file has "
                                              + std::to_string(count));
        }
        for (std::uint32_t page = first; page <= end; ++page) {
            pages.push_back(page - 1);
        }
    }
    if (wanted.pages.empty()) {
        pages.resize(count);
        std::iota(pages.begin(), pages.end(), 0U);
    }
    return pages;
}

// What the workers of one file share.
struct file_job {
    const conversion_run& run;
    const file_task& task;
    images::image_reader& reader;
    images::image_writer& writer;
    std::vector<std::uint32_t> pages;
    unsigned threads_per_page;
    bool to_png;
    clipping_counter counter;
    file_report& report;

    [[nodiscard]] images::described_output described(const images::image_16& page) const
    {
        const settings& wanted = run.wanted;
        return {.same_pages = std::ranges::is_sorted(pages) && pages.size() == reader.page_count()
                              && pages.back() + 1 == pages.size(),
                .same_samples = run.plan.keeps_samples && !page.was_8_bit,
                .input_pages = reader.page_count(),
                .pages = pages.size(),
                .width = page.width,
                .height = page.height,
                .channels = wanted.channels,
                .planar = wanted.planar,
                .bits = wanted.depth};
    }
};

// Reads, converts and compresses a page, then writes it when its turn has come. Its memory serves page after page.
template <typename Sample>
class converting_worker final : public page_worker {
public:
    converting_worker(file_job& job, color_processor& processor) : job_(job), processor_(processor) {}

    void prepare(std::uint32_t number) override
    {
        const settings& wanted = job_.run.wanted;
        const std::uint32_t page = job_.pages[number];
        job_.reader.read_page(page, input_);
        if (input_.was_8_bit && wanted.input_bits.value_or(16) != 16) {
            throw images::image_error(job_.task.input, "has 8-bit samples, which are read as 16 bits: --input-bits "
                                                       "and profiles of other cameras do not apply");
        }
        output_.width = input_.width;
        output_.height = input_.height;
        output_.channels = wanted.channels;
        output_.layout = wanted.planar ? images::arrangement::planar_bgr : images::arrangement::interleaved_rgb;
        output_.orientation = input_.orientation;
        output_.samples.resize(output_.pixel_count() * output_.channels);
        try {
            processor_.transform(input_, output_);
        } catch (const std::runtime_error& error) {
            throw images::image_error(job_.task.input, "page " + std::to_string(page + 1) + ": " + error.what());
        }
        clipping_ = job_.counter.count(input_, wanted.info ? 1 : rows_between_samples);
        bits_ = used_bits(output_);
        output_.about = std::move(input_.about);
        carry_metadata(output_.about, job_.run.plan, job_.described(input_));
        if (output_.orientation != 1 && job_.to_png) {
            output_ = images::upright(output_);
        }
        encoded_ = job_.writer.encode(output_, job_.threads_per_page);
    }

    void finish(std::uint32_t) override
    {
        job_.writer.append(*encoded_);
        job_.report.add_page(clipping_, bits_, output_.about);
        if (job_.run.steps_are_pages) {
            job_.run.messages.step();
        }
    }

private:
    file_job& job_;
    color_processor& processor_;
    images::image_16 input_;
    images::image<Sample> output_;
    clipping clipping_;
    Sample bits_ = 0;
    std::unique_ptr<images::encoded_page> encoded_;
};

std::uint64_t total_pixels(const images::image_reader& reader, const std::vector<std::uint32_t>& pages)
{
    return std::transform_reduce(pages.begin(), pages.end(), std::uint64_t{0}, std::plus(),
                                 [&](std::uint32_t page) { return reader.pixel_count(page); });
}

void check_output(const settings& wanted, const file_task& task)
{
    std::error_code not_there;
    if (std::filesystem::equivalent(task.input, task.output, not_there)) {
        throw images::image_error(task.output, "is the input file too; give another name for the output");
    }
    const bool to_png = images::type_from_suffix(task.output) == images::file_type::png;
    if (to_png && wanted.channels == 4) {
        throw option_error("--channels", "PNG would take the fourth sample, 0, for its alpha and show nothing: write "
                                         "a TIFF, or three channels");
    }
    if (to_png && wanted.planar) {
        throw option_error("--planar", "PNG has no separate planes: write a TIFF");
    }
    if (to_png && wanted.tiff_compression) {
        throw option_error("--compression", "is for TIFF; PNG has its own");
    }
    if (!to_png && wanted.level
        && wanted.tiff_compression.value_or(images::compression::none) == images::compression::none) {
        throw option_error("--level", "there is nothing to compress: give --compression, or write a PNG");
    }
    const bool to_zstd = wanted.tiff_compression == images::compression::zstd;
    if (wanted.level && (to_zstd ? *wanted.level < 1 : *wanted.level > 9)) {
        throw option_error("--level", "there is no level " + std::to_string(*wanted.level) + " of this compression");
    }
}

} // namespace

void convert_file(const conversion_run& run, const file_task& task, unsigned threads)
{
    const auto start = std::chrono::steady_clock::now();
    const settings& wanted = run.wanted;
    check_output(wanted, task);
    const std::unique_ptr<images::image_reader> reader = images::open_image(task.input);
    const std::vector<std::uint32_t> pages = select_pages(wanted, reader->page_count());
    if (wanted.balance_area) {
        const settings balanced = balance_camera(wanted, *reader, pages.front(), task.input);
        const transform_plan plan = make_plan(balanced);
        return convert_file({balanced, plan, run.module, run.messages, run.steps_are_pages}, task, threads);
    }
    const std::uint64_t pixels = total_pixels(*reader, pages);
    const std::unique_ptr<images::image_writer> writer = images::create_image(
        task.output, {.tiff_compression = wanted.tiff_compression.value_or(images::compression::none),
                      .level = wanted.level,
                      .big_tiff = wanted.big_tiff,
                      .page_count = static_cast<std::uint32_t>(pages.size()),
                      .expected_bytes = pixels * wanted.channels * (wanted.depth / 8),
                      .overwrite = wanted.overwrite});

    if (run.steps_are_pages) {
        run.messages.begin_progress(pages.size());
    }
    file_report report(task, run.plan, wanted.depth);
    const auto worker_count = static_cast<unsigned>(std::min<std::size_t>(threads, pages.size()));
    file_job job{.run = run,
                 .task = task,
                 .reader = *reader,
                 .writer = *writer,
                 .pages = pages,
                 .threads_per_page = std::max(1U, threads / worker_count),
                 .to_png = images::type_from_suffix(task.output) == images::file_type::png,
                 .counter = clipping_counter(run.plan),
                 .report = report};
    std::vector<std::unique_ptr<color_processor>> processors;
    std::vector<std::unique_ptr<page_worker>> workers;
    for (unsigned number = 0; number < worker_count; ++number) {
        color_processor& processor = *processors.emplace_back(std::make_unique<color_processor>(run.module, run.plan));
        if (wanted.depth == 8) {
            workers.push_back(std::make_unique<converting_worker<std::uint8_t>>(job, processor));
        } else {
            workers.push_back(std::make_unique<converting_worker<std::uint16_t>>(job, processor));
        }
    }
    if (processors.front()->misses_requested_module()) {
        throw option_error("--vector-level",
                           "the module asked for is missing (" + processors.front()->vector_level_text() + ")");
    }
    run_in_order(static_cast<std::uint32_t>(pages.size()), workers);
    writer->commit();

    report.add_left_out(writer->left_out());
    report.warn(run.messages);
    if (wanted.info) {
        const double library_seconds =
            std::transform_reduce(processors.begin(), processors.end(), 0.0, std::plus(),
                                  [](const auto& processor) { return processor->seconds(); });
        const std::chrono::duration<double> whole = std::chrono::steady_clock::now() - start;
        run.messages.inform(
            report.info(processors.front()->vector_level_text(), pixels, library_seconds, whole.count()));
    }
}

} // namespace kx::convert
