// kx_verify: verifies the installed library on the machine that it runs on, and reports what it found.

#include "conversion.h"
#include "fixed_conversions.h"
#include "loaded_file.h"
#include "processor.h"
#include "shipped_files.h"
#include "vector_levels.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <optional>

namespace {

namespace kc = korvex::color;
using namespace kx::verify;

constexpr int verified = 0;
constexpr int differs = 1;
constexpr int wrong_usage = 2;
constexpr int not_on_this_machine = 77;

constexpr auto level_count = static_cast<std::int32_t>(kx::vector_level_names.size());

std::string name_of(std::int32_t level)
{
    return kx::vector_level_names.at(static_cast<std::size_t>(level));
}

class verification {
public:
    // Checks the file that the process has loaded by this name. Returns whether there is one.
    bool check_file(const std::string& name)
    {
        const shipped_file& shipped = *std::find_if(std::begin(shipped_files), std::end(shipped_files),
                                                    [&](const shipped_file& file) { return file.name == name; });
        const auto loaded = loaded_file::find(name);
        if (!loaded) {
            differ(name + " was not loaded: it is missing beside the library or lacks entry points");
            return false;
        }
        std::string exports;
        for (const std::string& exported : loaded->exports) {
            exports += (exports.empty() ? "" : " ") + exported;
        }
        const std::string version = loaded->version(name);
        std::cout << "  " << loaded->path.string() << ", version " << (version.empty() ? "unknown" : version) << ", "
                  << loaded->exports.size() << " exports\n";
        if (version != KX_COLOR_PROCESSING_VERSION) {
            differ(name + " has another version than " KX_COLOR_PROCESSING_VERSION);
        }
        if (exports != shipped.exports) {
            differ(name + " exports " + exports);
        }
        return true;
    }

    void check_level(const kc::library& library, std::int32_t level)
    {
        const std::string name = name_of(level);
        std::cout << name << '\n';
        kc::processor_options options;
        options.vector_level = level;
        kc::processor processor(library, options);
        if (level != KX_COLOR_VECTOR_LEVEL_SCALAR && !check_file("korvex_kvi_color_processing_vector_" + name)) {
            return;
        }
        const outcome all = run_fixed_conversions(processor);
        std::cout << "  " << combination_count << " conversions in " << std::fixed << std::setprecision(3)
                  << all.seconds << " s, hash " << all.hash << std::endl;
        if (all.differing > 0) {
            differ(name + ": " + std::to_string(all.differing)
                   + " conversions differ from the reference, the first: " + all.first_difference);
        }
        if (all.hash != published_hash) {
            differ(name + ": the hash is not " + std::to_string(published_hash));
        }
    }

    void differ(const std::string& what) { differences_.push_back(what); }

    // The last lines of the report, and the exit code.
    [[nodiscard]] int verdict() const
    {
        for (const std::string& difference : differences_) {
            std::cout << "differs: " << difference << '\n';
        }
        if (differences_.empty()) {
            std::cout << "verified: all outputs are those of the reference at every level above\n";
        }
        return differences_.empty() ? verified : differs;
    }

private:
    std::vector<std::string> differences_;
};

int verify(std::optional<std::int32_t> only)
{
    const std::time_t now = std::time(nullptr);
    std::cout << "kx_verify " KX_COLOR_PROCESSING_VERSION ", "
              << std::put_time(std::gmtime(&now), "%Y-%m-%d %H:%M:%S UTC") << "\nprocessor: " << processor_name()
              << "\nlibrary\n";
    verification all;
    try {
        const kc::library library;
        for (const char* const name : {"korvex_kvi_color_processing", "korvex_kvi_LUT", "korvex_kvi_logger"}) {
            all.check_file(name);
        }
        for (std::int32_t level = only.value_or(0); level < (only ? *only + 1 : level_count); ++level) {
            if (processor_has(level)) {
                all.check_level(library, level);
            } else {
                std::cout << name_of(level) << "\n  this processor lacks the instructions\n";
                if (only) {
                    return not_on_this_machine;
                }
            }
        }
    } catch (const std::exception& error) {
        all.differ(error.what());
    }
    return all.verdict();
}

} // namespace

int main(int count, char** arguments)
{
    if (count == 1) {
        return verify({});
    }
    std::string levels;
    for (std::int32_t level = 0; level < level_count; ++level) {
        if (count == 3 && std::strcmp(arguments[1], "--level") == 0 && arguments[2] == name_of(level)) {
            return verify(level);
        }
        levels += level == 0 ? "" : "|";
        levels += name_of(level);
    }
    const bool asked = count == 2 && std::strcmp(arguments[1], "--help") == 0;
    (asked ? std::cout : std::cerr)
        << "Usage: kx_verify [--level " << levels
        << "]\n"
           "Verifies korvex_kvi_color_processing as it is installed on this machine: versions and exports of its "
           "files,\n"
           "and the output of all combinations of choices at every vector level that the processor has (or at one).\n"
           "Exit code: 0 verified, 1 something differs, 77 the processor lacks the level's instructions.\n";
    return asked ? verified : wrong_usage;
}
