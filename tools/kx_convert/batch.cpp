#include "batch.h"

#include "conversion.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace kx::convert {

namespace {

enum class outcome { not_begun, done, failed };

outcome convert_one(const conversion_run& run, const file_task& task, unsigned threads)
{
    try {
        convert_file(run, task, threads);
        return outcome::done;
    } catch (const std::bad_alloc&) {
        run.messages.error(task.input.string() + ": not enough memory");
    } catch (const std::exception& error) {
        run.messages.error(error.what());
    }
    return outcome::failed;
}

} // namespace

bool convert_all(const settings& wanted)
{
    const korvex::color::library library;
    color_conversions conversions(library, wanted, make_camera(wanted));
    const std::vector<file_task> tasks = list_tasks(wanted);
    console messages(wanted.quiet);
    const conversion_run run{wanted, library, conversions, messages, tasks.size() == 1};
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
    const auto count = [&outcomes](outcome which) { return std::ranges::count(outcomes, which); };
    const auto failed = count(outcome::failed);
    const auto left = count(outcome::not_begun);
    if (!wanted.quiet) {
        messages.inform(std::to_string(count(outcome::done)) + " of " + std::to_string(tasks.size())
                        + " files converted" + (failed > 0 ? ", " + std::to_string(failed) + " failed" : "")
                        + (left > 0 ? ", " + std::to_string(left) + " not begun" : "") + "\n");
    }
    return failed == 0;
}

} // namespace kx::convert
