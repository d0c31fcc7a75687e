#include "batch.h"

#include "conversion.h"
#include "system.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace kx::convert {

namespace {

namespace fs = std::filesystem;

// Enough to keep many cores busy with pages of usual size.
constexpr std::uint64_t most_page_memory = std::uint64_t{8} << 30;

enum class outcome { not_begun, converted, skipped, failed };

void make_folder(const fs::path& folder, console& messages)
{
    std::error_code failed;
    fs::create_directories(folder, failed);
    if (failed) {
        throw option_error("--output", folder.string() + " cannot be created: " + failed.message());
    }
    messages.note("created the folder " + folder.string());
}

outcome convert_one(const conversion_run& run, const file_task& task, unsigned threads)
{
    try {
        return convert_file(run, task, threads) ? outcome::converted : outcome::skipped;
    } catch (const std::bad_alloc&) {
        run.messages.error(task.input.string() + ": not enough memory");
    } catch (const std::exception& error) {
        run.messages.error(error.what());
    }
    return outcome::failed;
}

std::string summary(const std::vector<outcome>& outcomes, bool dry_run)
{
    const auto count = [&outcomes](outcome which) { return std::ranges::count(outcomes, which); };
    const auto part = [&count](outcome which, const char* what) {
        return count(which) > 0 ? ", " + std::to_string(count(which)) + what : "";
    };
    return std::to_string(count(outcome::converted)) + " of " + std::to_string(outcomes.size())
           + (dry_run ? " files can be converted" : " files converted")
           + part(outcome::skipped, " skipped, whose output exists") + part(outcome::failed, " failed")
           + part(outcome::not_begun, " not begun");
}

} // namespace

bool convert_all(const settings& wanted)
{
    const korvex::color::library library;
    color_conversions conversions(library, wanted, make_camera(wanted));
    const task_list list = list_tasks(wanted);
    const std::vector<file_task>& tasks = list.tasks;
    console messages(wanted.quiet);
    if (!list.new_folder.empty() && !wanted.dry_run) {
        make_folder(list.new_folder, messages);
    }
    page_memory memory(std::min(most_page_memory, physical_memory() / 2));
    const conversion_run run{wanted, library, conversions, memory, messages, tasks.size() == 1};
    if (tasks.size() == 1) {
        convert_file(run, tasks.front(), wanted.threads);
        return true;
    }

    const auto files_at_once = static_cast<unsigned>(std::min<std::size_t>(wanted.threads, tasks.size()));
    messages.begin_progress(tasks.size());
    std::vector<outcome> outcomes(tasks.size(), outcome::not_begun);
    std::atomic<std::size_t> next = 0;
    std::atomic<bool> stopped = false;
    const auto work = [&] {
        for (std::size_t number = next++; number < tasks.size() && !stopped; number = next++) {
            outcomes[number] = convert_one(run, tasks[number], wanted.threads / files_at_once);
            stopped = stopped || (wanted.stop_at_error && outcomes[number] == outcome::failed);
            messages.step();
        }
    };
    {
        std::vector<std::jthread> threads;
        for (unsigned number = 1; number < files_at_once; ++number) {
            threads.emplace_back(work);
        }
        work();
    }
    messages.note(summary(outcomes, wanted.dry_run));
    return std::ranges::count(outcomes, outcome::failed) == 0;
}

} // namespace kx::convert
