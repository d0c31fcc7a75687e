#include "conversion.h"

#include "file_report.h"
#include "images/description.h"
#include "images/orientation.h"
#include "page_workers.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <numeric>
#include <sstream>

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

// A worker's memory for its largest page: before and after the conversion, and compressed.
std::uint64_t page_bytes(const images::image_reader& reader, const std::vector<std::uint32_t>& pages,
                         std::uint64_t output_pixel_bytes)
{
    std::uint64_t pixels = 0;
    for (const std::uint32_t page : pages) {
        pixels = std::max(pixels, reader.pixel_count(page));
    }
    return pixels * (3 * sizeof(std::uint16_t) + 2 * output_pixel_bytes);
}

// What the workers of one file share.
struct file_job {
    const conversion_run& run;
    const file_task& task;
    color_conversions& conversions;
    images::image_reader& reader;
    images::image_writer& writer;
    images::ledger& losses;
    std::vector<std::uint32_t> pages;
    unsigned threads_per_page;
    bool to_png;
    file_report& report;

    [[nodiscard]] images::described_output described(const images::image_16& page, const transform_plan& plan) const
    {
        return {.same_pages = std::ranges::is_sorted(pages) && pages.size() == reader.page_count()
                              && pages.back() + 1 == pages.size(),
                .same_samples = plan.keeps_samples,
                .input_pages = reader.page_count(),
                .pages = pages.size(),
                .width = page.width,
                .height = page.height,
                .channels = run.wanted.channels,
                .planar = run.wanted.planar,
                .bits = static_cast<unsigned>(plan.library.output_depth)};
    }
};

// A page on its way. Its memory serves page after page.
template <typename Sample>
struct page_state {
    images::image_16 input;
    images::image<Sample> output;
    page_facts facts;
    std::unique_ptr<images::encoded_page> encoded;
};

template <typename Sample>
void prepare(const file_job& job, std::uint32_t number, page_state<Sample>& state)
{
    const std::uint32_t page = job.pages[number];
    const settings& wanted = job.run.wanted;
    auto& [input, output, facts, encoded] = state;
    job.reader.read_page(page, input);
    const color_conversion& conversion = job.conversions.of(input);
    const transform_plan& plan = conversion.plan();
    output.width = input.width;
    output.height = input.height;
    output.channels = wanted.channels;
    output.layout = wanted.planar ? images::arrangement::planar_bgr : images::arrangement::interleaved_rgb;
    output.orientation = input.orientation;
    output.samples.resize(output.pixel_count() * output.channels);
    try {
        facts.library_seconds = conversion.transform(input, output);
    } catch (const std::runtime_error& error) {
        throw images::image_error(job.task.input, "page " + std::to_string(page + 1) + ": " + error.what());
    }
    facts.clipped = count_clipping(plan.library, input, wanted.info ? 1 : rows_between_samples);
    facts.uses_range = uses_range(output);
    output.about = std::move(input.about);
    const images::described_output described = job.described(input, plan);
    images::correct_description(output.about, described, job.losses, page + 1);
    if (number == 0) {
        images::add_file_notes(output.about, job.reader.notes(), described, job.losses);
    }
    carry_metadata(output.about, plan, job.losses, page + 1);
    if (output.orientation != 1 && job.to_png) {
        output = images::upright(output);
    }
    encoded = job.writer.encode(output, job.threads_per_page);
}

template <typename Sample>
void convert_pages(const file_job& job, unsigned workers)
{
    std::vector<page_state<Sample>> states(workers);
    const auto finish = [&](std::uint32_t, unsigned worker) {
        page_state<Sample>& state = states[worker];
        job.writer.append(*state.encoded);
        state.encoded.reset(); // before there is another
        job.report.add_page(state.facts);
        if (job.run.steps_are_pages) {
            job.run.messages.step();
        }
    };
    run_in_order(
        static_cast<std::uint32_t>(job.pages.size()), workers,
        [&](std::uint32_t number, unsigned worker) { prepare(job, number, states[worker]); }, finish);
}

std::uint64_t total_pixels(const images::image_reader& reader, const std::vector<std::uint32_t>& pages)
{
    return std::transform_reduce(pages.begin(), pages.end(), std::uint64_t{0}, std::plus(),
                                 [&](std::uint32_t page) { return reader.pixel_count(page); });
}

// Throws for outputs that cannot be.
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
}

// As asked for, or else as the input's.
images::compression choose_compression(const settings& wanted, const images::image_reader& reader, bool to_png)
{
    const images::compression chosen =
        to_png ? images::compression::none : wanted.tiff_compression.value_or(reader.stored_compression());
    if (!to_png && wanted.level && chosen == images::compression::none) {
        throw option_error("--level", "there is nothing to compress: give --compression, or write a PNG");
    }
    const bool to_zstd = chosen == images::compression::zstd;
    if (wanted.level && (to_zstd ? *wanted.level < 1 : *wanted.level > 9)) {
        throw option_error("--level", "there is no level " + std::to_string(*wanted.level) + " of this compression");
    }
    return chosen;
}

// In a dry run the output's folder need not be there: the output, which vanishes, begins in one above.
std::filesystem::path name_in_existing_folder(const std::filesystem::path& output)
{
    namespace fs = std::filesystem;
    std::error_code not_there;
    const fs::path wanted = fs::absolute(output).parent_path();
    fs::path folder = wanted;
    while (folder.has_relative_path() && !fs::is_directory(folder, not_there)) {
        folder = folder.parent_path();
    }
    return folder == wanted ? output : folder / (".kx-dry-run" + output.extension().string());
}

// The run's camera, balanced by a page of this file.
camera balance_camera(const conversion_run& run, images::image_reader& reader, std::uint32_t page,
                      const std::filesystem::path& file)
{
    camera balanced = balance_camera(run.conversions.source(), *run.wanted.balance_area, reader, page, file);
    std::ostringstream text; // with the classic locale
    text << file.string() << ": white balance";
    for (const double gain : balanced.values.white_balance) {
        text << ' ' << gain;
    }
    run.messages.note(text.str());
    return balanced;
}

} // namespace

bool convert_file(const conversion_run& run, const file_task& task, unsigned threads)
{
    const auto start = std::chrono::steady_clock::now();
    const settings& wanted = run.wanted;
    if (!task.trouble.empty()) {
        throw images::image_error(task.input, task.trouble);
    }
    check_output(wanted, task);
    std::error_code not_there;
    if (!wanted.overwrite && std::filesystem::exists(task.output, not_there)) {
        if (wanted.skip_existing) {
            return false;
        }
        throw images::image_error(task.output, "exists already: --overwrite replaces it, --skip-existing leaves it");
    }
    images::ledger losses;
    const std::unique_ptr<images::image_reader> reader = images::open_image(task.input, losses, wanted.channel_pages);
    const std::vector<std::uint32_t> pages = select_pages(wanted, reader->page_count());
    std::optional<color_conversions> balanced;
    if (wanted.balance_area) {
        balanced.emplace(run.library, wanted, balance_camera(run, *reader, pages.front(), task.input));
    }
    color_conversions& conversions = balanced ? *balanced : run.conversions;
    const auto depth = static_cast<unsigned>(conversions.source().values.output_depth);
    const std::uint64_t output_pixel_bytes = std::uint64_t{wanted.channels} * (depth / 8);
    const std::uint64_t pixels = total_pixels(*reader, pages);
    const bool to_png = images::type_from_suffix(task.output) == images::file_type::png;
    const std::unique_ptr<images::image_writer> writer =
        images::create_image(wanted.dry_run ? name_in_existing_folder(task.output) : task.output,
                             {.tiff_compression = choose_compression(wanted, *reader, to_png),
                              .level = wanted.level,
                              .big_tiff = wanted.big_tiff || reader->needs_big_tiff(),
                              .page_count = static_cast<std::uint32_t>(pages.size()),
                              .expected_bytes = pixels * output_pixel_bytes,
                              .overwrite = wanted.overwrite,
                              .sync = wanted.sync},
                             losses);

    if (run.steps_are_pages) {
        run.messages.begin_progress(pages.size());
    }
    file_report report(task, depth);
    const auto most_workers = static_cast<unsigned>(std::min<std::size_t>(threads, pages.size()));
    const page_memory::share memory = run.memory.take(page_bytes(*reader, pages, output_pixel_bytes), most_workers);
    const file_job job{.run = run,
                       .task = task,
                       .conversions = conversions,
                       .reader = *reader,
                       .writer = *writer,
                       .losses = losses,
                       .pages = pages,
                       .threads_per_page = std::max(1U, threads / memory.workers()),
                       .to_png = to_png,
                       .report = report};
    if (depth == 8) {
        convert_pages<std::uint8_t>(job, memory.workers());
    } else {
        convert_pages<std::uint16_t>(job, memory.workers());
    }
    if (wanted.strict && !losses.empty()) {
        std::string all;
        for (const std::string& line : losses.lines()) {
            all += (all.empty() ? "" : "; ") + line;
        }
        throw images::image_error(task.input, "--strict: " + all);
    }
    if (wanted.dry_run) {
        run.messages.note(task.input.string() + ": " + std::to_string(pages.size())
                          + (pages.size() == 1 ? " page" : " pages") + " to " + task.output.string());
    } else {
        writer->commit();
    }
    report.warn(run.messages, losses);
    if (wanted.info) {
        const std::chrono::duration<double> whole = std::chrono::steady_clock::now() - start;
        run.messages.inform(report.info(pixels, whole.count()));
    }
    return true;
}

} // namespace kx::convert
