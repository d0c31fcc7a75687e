// The logger module through its exported functions: what is written, where, and what is refused.
#include "companion_interfaces/logger_module.h"
#include "support/environment.h"
#include "support/shared_library.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#if defined(_WIN32)
#include <io.h>
#define KX_IO(name) _##name
#else
#include <sys/auxv.h>
#include <unistd.h>
#define KX_IO(name) name
#endif

namespace {

using kx_test::set_environment;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

// The loaded module and its functions.
struct logger_module : kx_test::shared_library {
    explicit logger_module(const char* path = KX_MODULE_FILE) : shared_library(path) {}

    std::int32_t write(void* log, std::int32_t level, const char* text) const
    {
        return log_line(log, level, "file.cpp", 12, "function", text);
    }

    kx::logger_module::get_log_function* get_log = find("kvi_get_log");
    kx::logger_module::log_function* log_line = find("kvi_log");
    kx::logger_module::free_log_function* free_log = find("kvi_free_log");
};

// A whole line, with the given level, channel and rest.
auto is_line(const std::string& level, const std::string& channel_and_text)
{
    // GoogleTest's own regular expressions are not the same everywhere.
    const auto begins_with_time = [](const std::string& line) {
        static const std::regex time(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d )");
        return std::regex_search(line.substr(0, 30), time, std::regex_constants::match_continuous);
    };
    return AllOf(testing::Truly(begins_with_time), EndsWith(" " + level + " " + channel_and_text));
}

// The same for a line of `write`.
auto is_written(const std::string& level, const std::string& channel_and_text)
{
    return is_line(level, channel_and_text + " (file.cpp:12 function)");
}

// Every line must be ended, the last one too.
std::vector<std::string> lines_of(const std::string& text)
{
    EXPECT_TRUE(text.empty() || text.ends_with('\n')) << text;
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The lines that `action` makes appear on standard error; nothing may appear on standard output.
std::vector<std::string> standard_error_of(const std::function<void()>& action)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    action();
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    return lines_of(errors);
}

class logger_module_test : public testing::Test {
protected:
    logger_module_test()
    {
        set_environment("KVI_LOG_LEVEL", nullptr);
        set_environment("KVI_LOG_FILE", nullptr);
        std::filesystem::remove_all(directory);
        std::filesystem::create_directory(directory);
    }
    void TearDown() override { std::filesystem::remove_all(directory); }

    std::vector<std::string> contents() const
    {
        std::ifstream stream(file, std::ios::binary);
        EXPECT_TRUE(stream.is_open()) << file;
        return lines_of({std::istreambuf_iterator<char>(stream), {}});
    }

    const std::filesystem::path directory =
        std::filesystem::path(testing::TempDir())
        / (std::string("kx_") + testing::UnitTest::GetInstance()->current_test_info()->name());
    const std::filesystem::path file = directory / "made" / "for" / "it.txt";
    logger_module module;
};

TEST_F(logger_module_test, the_level_of_the_environment_decides_what_is_written)
{
    struct setting {
        const char* value;
        std::int32_t highest; // level that is written
        bool warned;
    };
    constexpr setting settings[] = {{nullptr, 1, false}, {"", 1, false},    {"error", 0, false}, {"warning", 1, false},
                                    {"info", 2, false},  {"INFO", 1, true}, {"off {}", 1, true}};
    const char* const level_names[] = {"error", "error", "warning", "info"};
    for (const auto& [value, highest, warned] : settings) {
        SCOPED_TRACE(value != nullptr ? value : "(unset)");
        set_environment("KVI_LOG_LEVEL", value);
        std::vector<testing::Matcher<std::string>> expected;
        if (warned) {
            expected.emplace_back(
                AllOf(HasSubstr(" warning korvex_kvi_logger: KVI_LOG_LEVEL is \""), HasSubstr(value)));
        }
        for (std::int32_t level = -1; level <= highest; ++level) {
            expected.emplace_back(is_written(level_names[level + 1], "CHANNEL: text"));
        }
        const std::vector<std::string> lines = standard_error_of([&, highest = highest] {
            void* const log = module.get_log("CHANNEL", "");
            for (std::int32_t level = -1; level <= 3; ++level) {
                EXPECT_EQ(module.write(log, level, "text"), level <= highest ? 0 : 1) << level;
            }
            module.free_log("CHANNEL", "");
        });
        EXPECT_THAT(lines, testing::ElementsAreArray(expected));
    }
}

TEST_F(logger_module_test, texts_are_data)
{
    const std::vector<std::string> lines = standard_error_of([&] {
        void* const log = module.get_log("{0} %n", "%v {");
        EXPECT_EQ(module.log_line(log, 0, "{:d}%s", -7, "f<{}>%", "{} {0} {9} %s %n %v {:>99999999} }{ \xFF\xC3"), 0);
        EXPECT_EQ(module.log_line(log, 0, nullptr, 0, nullptr, nullptr), 0);
        module.free_log("{0} %n", "%v {");
    });
    EXPECT_THAT(lines, ElementsAre(is_line("error", "{0} %n/%v {: {} {0} {9} %s %n %v {:>99999999} }{ \xFF\xC3"
                                                    " ({:d}%s:-7 f<{}>%)"),
                                   is_line("error", "{0} %n/%v {: ? (?:0 ?)")));
}

TEST_F(logger_module_test, a_channel_closes_when_closed_as_often_as_opened)
{
    EXPECT_EQ(module.free_log("A", ""), 1) << "nothing is open";
    void* const a = module.get_log("A", "");
    EXPECT_EQ(module.get_log("A", nullptr), a) << "a null second name is an empty one";
    void* const ab = module.get_log("A", "B");
    EXPECT_EQ(module.free_log("B", ""), 1) << "not open";
    EXPECT_EQ(module.free_log("A", ""), 0);
    EXPECT_THAT(standard_error_of([&] {
                    EXPECT_EQ(module.write(a, 0, "still open once"), 0);
                    EXPECT_EQ(module.write(ab, 0, "two"), 0);
                    EXPECT_EQ(module.log_line(nullptr, 0, nullptr, 0, nullptr, nullptr), 1);
                }),
                ElementsAre(is_written("error", "A: still open once"), is_written("error", "A/B: two")));
    EXPECT_EQ(module.get_log(nullptr, ""), nullptr);
    EXPECT_EQ(module.free_log(nullptr, nullptr), 1);
    EXPECT_EQ(module.free_log("A", nullptr), 0);
    EXPECT_EQ(module.free_log("A", ""), 1);
    EXPECT_EQ(module.free_log("A", "B"), 0);
}

TEST_F(logger_module_test, an_output_that_fails_is_reported)
{
    const auto write_and_close = [this](const std::string& text) {
        const std::int32_t result = module.write(module.get_log("CHANNEL", ""), 0, text.c_str());
        module.free_log("CHANNEL", "");
        return result;
    };
    set_environment("KVI_LOG_FILE", directory.string().c_str()); // cannot be opened
    set_environment("KVI_LOG_LEVEL", "error");                   // the warning comes all the same
    EXPECT_THAT(standard_error_of([&] { EXPECT_EQ(write_and_close("text"), 0); }),
                ElementsAre(AllOf(HasSubstr(" warning korvex_kvi_logger: KVI_LOG_FILE: "),
                                  HasSubstr(directory.string()), EndsWith(": using standard error")),
                            is_written("error", "CHANNEL: text")));

#if !defined(_WIN32)
    set_environment("KVI_LOG_FILE", "/dev/full");
    EXPECT_EQ(write_and_close("text"), 1);
    EXPECT_EQ(write_and_close(std::string(100'000, 'x')), 1);
#endif

    // Standard error is closed, and a warning of the logger's own comes first.
    set_environment("KVI_LOG_FILE", nullptr);
    set_environment("KVI_LOG_LEVEL", "nonsense");
    const int standard_error = KX_IO(dup)(2);
    KX_IO(close)(2);
    const std::int32_t result = write_and_close("text");
    KX_IO(dup2)(standard_error, 2);
    KX_IO(close)(standard_error);
    EXPECT_EQ(result, 1);
}

TEST_F(logger_module_test, the_file_is_open_in_this_process_alone_until_the_module_is_unloaded)
{
    // Windows removes no file that is open; elsewhere the process has a descriptor for it.
    const auto file_is_open = [this] {
#if defined(_WIN32)
        std::error_code in_use;
        return !std::filesystem::remove(file, in_use);
#else
        const std::filesystem::directory_iterator descriptors("/proc/self/fd");
        return std::any_of(begin(descriptors), end(descriptors), [this](const auto& descriptor) {
            std::error_code closed;
            return equivalent(descriptor.path(), file, closed);
        });
#endif
    };
    set_environment("KVI_LOG_FILE", file.string().c_str());
    const auto write = [&] { EXPECT_EQ(module.write(module.get_log("CHANNEL", ""), 0, "text"), 0); };
    EXPECT_THAT(standard_error_of(write), IsEmpty());
    EXPECT_THAT(contents(), ElementsAre(is_written("error", "CHANNEL: text"))) << "at once";
    EXPECT_TRUE(file_is_open());
#if !defined(_WIN32)
    EXPECT_NE(std::system(("ls -l /proc/self/fd | grep -qF " + file.string()).c_str()), 0) << "a program inherits it";
#endif
    EXPECT_EQ(module.free_log("CHANNEL", ""), 0);
    EXPECT_TRUE(kx_test::shared_library::is_loaded(KX_MODULE_FILE));
    module.close();
    EXPECT_FALSE(kx_test::shared_library::is_loaded(KX_MODULE_FILE));
    EXPECT_FALSE(file_is_open());
}

// A host that never terminates the library has its channel closed at the exit of the process. What is
// registered for the exit before the module is loaded, like the library's own destructor, runs after the
// module's destructors.
TEST(logger_module_exit, channels_work_after_the_static_destructors)
{
    const auto host = [] {
        static logger_module* module = nullptr; // never unloaded
        static void* log = nullptr;
        std::atexit([] {
            const bool worked = module->write(log, 0, "at the exit") == 0 && module->free_log("CHANNEL", "") == 0
                                && module->free_log("CHANNEL", "") == 1;
            std::fputs(worked ? "closed\n" : "failed\n", stderr);
        });
        module = new logger_module;
        log = module->get_log("CHANNEL", "");
        std::exit(EXIT_SUCCESS);
    };
    set_environment("KVI_LOG_LEVEL", nullptr);
    set_environment("KVI_LOG_FILE", nullptr);
    EXPECT_EXIT(host(), testing::ExitedWithCode(EXIT_SUCCESS), "error CHANNEL: at the exit .*\nclosed\n");
}

#if !defined(_WIN32)

// In a process whose real user is not the effective one, as that of a set-user-ID program, the environment is the
// real user's, who must not say where the effective one writes.
TEST(logger_module_process, environment_does_not_count_with_rights_that_the_user_does_not_have)
{
    if (getauxval(AT_SECURE) != 0) { // the process that is started below
        const logger_module module(KX_MODULE_PATH);
        void* const log = module.get_log("CHANNEL", "");
        EXPECT_EQ(module.write(log, 2, "information"), 1);
        EXPECT_EQ(module.write(log, 0, "one line"), 0);
        EXPECT_EQ(module.free_log("CHANNEL", ""), 0);
        return;
    }
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can start such a process";
    }
    const std::string file = testing::TempDir() + "kx_log_of_another_user";
    std::filesystem::remove(file);
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    if (std::system((self + " --gtest_list_tests >/dev/null 2>&1").c_str()) != 0) {
        GTEST_SKIP() << "under an emulator, this program cannot start another of its kind";
    }
    EXPECT_EXIT(
        {
            constexpr uid_t somebody = 65534;
            set_environment("KVI_LOG_FILE", file.c_str());
            set_environment("KVI_LOG_LEVEL", "info");
            if (setresuid(somebody, 0, 0) == 0) {
                execl(self.c_str(), self.c_str(), "--gtest_filter=logger_module_process.*", nullptr);
            }
            std::_Exit(1);
        },
        testing::ExitedWithCode(0), "error CHANNEL: one line");
    EXPECT_FALSE(std::filesystem::exists(file));
}

#endif

// Threads write long and short lines into one file, through channels that come and go, the last of them with the file.
TEST_F(logger_module_test, lines_of_many_threads_stay_whole_and_in_order)
{
    set_environment("KVI_LOG_FILE", file.string().c_str());
    constexpr int lines_each = 500;
    const char* const channels[] = {"A", "B", "A", "B"};
    const auto text_of = [](std::size_t thread, int i) { // every second line does not fit a stream's buffer
        return std::to_string(thread) + " " + std::to_string(i) + std::string(i % 2 != 0 ? 9000 : 10, 'x');
    };
    std::atomic<int> trouble = 0;
    {
        std::vector<std::jthread> threads;
        for (std::size_t thread = 0; thread < std::size(channels); ++thread) {
            threads.emplace_back([&, thread, name = channels[thread]] {
                for (int i = 0; i < lines_each; ++i) {
                    void* const log = module.get_log(name, "");
                    trouble += log == nullptr || module.write(log, 0, text_of(thread, i).c_str()) != 0
                               || module.free_log(name, "") != 0;
                }
            });
        }
    }
    EXPECT_EQ(trouble, 0);
    EXPECT_EQ(module.free_log("A", "") + module.free_log("B", ""), 2) << "neither is open";
    std::array<int, 4> next{};
    for (const std::string& line : contents()) {
        const auto thread = static_cast<std::size_t>(line.at(line.find(": ") + 2) - '0');
        ASSERT_THAT(line, is_written("error", channels[thread] + (": " + text_of(thread, next.at(thread)++))));
    }
    EXPECT_THAT(next, testing::Each(lines_each));
}

} // namespace
