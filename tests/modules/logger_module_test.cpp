// The logger module through its exported functions: what is written, where, and what is refused.
#include "logger_module_fixture.h"

#include <gmock/gmock.h>

#include <unistd.h>

#include <array>
#include <cstdio>

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

// A whole line, with the given level, channel and rest.
auto is_line(const std::string& level, const std::string& channel_and_text)
{
    return AllOf(MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}[+-][0-9]{2}:[0-9]{2} "
                              + level + " .*"),
                 EndsWith(" " + level + " " + channel_and_text));
}

TEST_F(logger_module_test, the_level_of_the_environment_decides_what_is_written)
{
    struct setting {
        const char* value;           // null: unset
        std::array<bool, 5> written; // levels -1 to 3
        bool warned;
    };
    const setting settings[] = {
        {nullptr, {true, true, true, false, false}, false},      {"", {true, true, true, false, false}, false},
        {"error", {true, true, false, false, false}, false},     {"warning", {true, true, true, false, false}, false},
        {"info", {true, true, true, true, false}, false},        {"INFO", {true, true, true, false, false}, true},
        {"information", {true, true, true, false, false}, true}, {"2", {true, true, true, false, false}, true},
        {"off {}", {true, true, true, false, false}, true},
    };
    const std::array<const char*, 5> level_names{"error", "error", "warning", "info", "debug"};
    for (const setting& set : settings) {
        SCOPED_TRACE(set.value != nullptr ? set.value : "(unset)");
        set.value != nullptr ? setenv("KVI_LOG_LEVEL", set.value, 1) : unsetenv("KVI_LOG_LEVEL");
        std::array<std::int32_t, 5> results{};
        const std::vector<std::string> lines = standard_error_of([&] {
            void* log = get_log("CHANNEL", "");
            for (std::int32_t level = -1; level <= 3; ++level) {
                results[static_cast<std::size_t>(level + 1)] = write(log, level, "text");
            }
            free_log("CHANNEL", "");
        });
        std::vector<testing::Matcher<std::string>> expected;
        if (set.warned) {
            expected.emplace_back(
                AllOf(HasSubstr(" warning korvex_kvi_logger: KVI_LOG_LEVEL is \""), HasSubstr(set.value)));
        }
        for (std::size_t i = 0; i < results.size(); ++i) {
            EXPECT_EQ(results[i] == 0, set.written[i]) << i;
            if (set.written[i]) {
                expected.emplace_back(is_line(level_names[i], "CHANNEL: text (file.cpp:12 function)"));
            }
        }
        EXPECT_THAT(lines, testing::ElementsAreArray(expected));
    }
}

TEST_F(logger_module_test, texts_are_data)
{
    const std::vector<std::string> lines = standard_error_of([&] {
        void* log = get_log("{0} %n", "%v {");
        EXPECT_EQ(log_line(log, 0, "{:d}%s", -7, "f<{}>%", "{} {0} {9} %s %n %v {:>99999999} }{ \xFF\xC3"), 0);
        EXPECT_EQ(log_line(log, 0, nullptr, 0, nullptr, nullptr), 0);
        EXPECT_EQ(log_line(log, 0, "", 2147483647, "", ""), 0);
        EXPECT_EQ(log_line(log, 0, "f", 1, "g", std::string(100000, 'x').c_str()), 0);
        free_log("{0} %n", "%v {");
    });
    EXPECT_THAT(lines, ElementsAre(is_line("error", "{0} %n/%v {: {} {0} {9} %s %n %v {:>99999999} }{ \xFF\xC3"
                                                    " ({:d}%s:-7 f<{}>%)"),
                                   is_line("error", "{0} %n/%v {: ? (?:0 ?)"),
                                   is_line("error", "{0} %n/%v {:  (:2147483647 )"),
                                   is_line("error", "{0} %n/%v {: " + std::string(100000, 'x') + " (f:1 g)")));
}

TEST_F(logger_module_test, a_channel_closes_when_closed_as_often_as_opened)
{
    EXPECT_EQ(free_log("A", ""), 1) << "nothing is open";
    void* a = get_log("A", "");
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(get_log("A", nullptr), a) << "a null second name is an empty one";
    void* ab = get_log("A", "B");
    ASSERT_NE(ab, nullptr);
    EXPECT_NE(ab, a);
    EXPECT_EQ(free_log("B", ""), 1) << "not open";
    EXPECT_EQ(free_log("A", ""), 0);
    const std::vector<std::string> lines = standard_error_of([&] {
        EXPECT_EQ(write(a, 0, "one"), 0) << "still open once";
        EXPECT_EQ(write(ab, 0, "two"), 0);
    });
    EXPECT_THAT(lines, ElementsAre(is_line("error", "A: one (file.cpp:12 function)"),
                                   is_line("error", "A/B: two (file.cpp:12 function)")));
    EXPECT_EQ(free_log("A", nullptr), 0);
    EXPECT_EQ(free_log("A", ""), 1);
    EXPECT_EQ(free_log("A", "B"), 0);
    EXPECT_EQ(free_log("A", "B"), 1);
}

TEST_F(logger_module_test, null_names_and_handles_are_refused)
{
    EXPECT_THAT(standard_error_of([&] {
                    EXPECT_EQ(get_log(nullptr, ""), nullptr);
                    EXPECT_EQ(get_log(nullptr, nullptr), nullptr);
                    EXPECT_EQ(free_log(nullptr, nullptr), 1);
                    EXPECT_EQ(write(nullptr, 0, "text"), 1);
                    EXPECT_EQ(log_line(nullptr, 0, nullptr, 0, nullptr, nullptr), 1);
                }),
                IsEmpty());
}

TEST_F(logger_module_test, appends_to_the_file_and_leaves_standard_error_alone)
{
    const std::filesystem::path nested = directory / "made" / "for" / "it.txt";
    setenv("KVI_LOG_FILE", nested.c_str(), 1);
    const std::vector<std::string> errors = standard_error_of([&] {
        for (const char* text : {"first", "second"}) {
            void* one = get_log("ONE", "");
            void* two = get_log("TWO", "");
            EXPECT_EQ(write(one, 0, text), 0);
            EXPECT_EQ(write(one, 2, "dropped"), 1);
            EXPECT_EQ(write(two, 1, text), 0);
            // Lines are there at once: the process may not live to close its channels.
            EXPECT_THAT(contents(nested), Contains(HasSubstr(std::string("TWO: ") + text)));
            free_log("ONE", "");
            EXPECT_EQ(write(two, 1, "still"), 0);
            free_log("TWO", "");
        }
    });
    EXPECT_THAT(errors, IsEmpty());
    const std::string place = " (file.cpp:12 function)";
    EXPECT_THAT(contents(nested),
                ElementsAre(is_line("error", "ONE: first" + place), is_line("warning", "TWO: first" + place),
                            is_line("warning", "TWO: still" + place), is_line("error", "ONE: second" + place),
                            is_line("warning", "TWO: second" + place), is_line("warning", "TWO: still" + place)));
}

TEST_F(logger_module_test, a_file_that_cannot_be_opened_loses_no_errors)
{
    setenv("KVI_LOG_FILE", directory.c_str(), 1); // a directory
    setenv("KVI_LOG_LEVEL", "error", 1);          // the warning comes all the same
    const std::vector<std::string> lines = standard_error_of([&] {
        void* log = get_log("CHANNEL", "");
        EXPECT_EQ(write(log, 0, "error"), 0);
        EXPECT_EQ(write(log, 1, "warning"), 1);
        free_log("CHANNEL", "");
    });
    EXPECT_THAT(lines, ElementsAre(AllOf(HasSubstr(" warning korvex_kvi_logger: KVI_LOG_FILE: "),
                                         HasSubstr(directory.string()), EndsWith(": using standard error")),
                                   is_line("error", "CHANNEL: error (file.cpp:12 function)")));
}

TEST_F(logger_module_test, a_line_that_cannot_be_written_is_reported)
{
    const char* full = "/dev/full";
    if (!std::filesystem::exists(full)) {
        GTEST_SKIP() << "no " << full;
    }
    setenv("KVI_LOG_FILE", full, 1);
    EXPECT_THAT(standard_error_of([&] {
                    void* log = get_log("CHANNEL", "");
                    EXPECT_EQ(write(log, 0, "text"), 1);
                    EXPECT_EQ(write(log, 0, std::string(100000, 'x').c_str()), 1);
                    free_log("CHANNEL", "");
                }),
                IsEmpty());

    // The same for a standard error that is closed, even with a warning of the logger's own to come first.
    unsetenv("KVI_LOG_FILE");
    setenv("KVI_LOG_LEVEL", "nonsense", 1);
    const int standard_error = dup(STDERR_FILENO);
    close(STDERR_FILENO);
    void* log = get_log("CHANNEL", "");
    const std::int32_t result = write(log, 0, "text");
    free_log("CHANNEL", "");
    dup2(standard_error, STDERR_FILENO);
    close(standard_error);
    EXPECT_NE(log, nullptr);
    EXPECT_EQ(result, 1);
}

TEST_F(logger_module_test, unloading_releases_the_module_and_its_file)
{
    setenv("KVI_LOG_FILE", file.c_str(), 1);
    module.close();
    ASSERT_FALSE(kx_test::shared_library::is_loaded(KX_MODULE_FILE));
    const auto open_descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto descriptors_before = open_descriptors();
    for (int cycle = 0; cycle < 10; ++cycle) {
        kx_test::shared_library again(KX_MODULE_FILE);
        again.find("kvi_get_log", get_log);
        again.find("kvi_log", log_line);
        again.find("kvi_free_log", free_log);
        EXPECT_EQ(write(get_log("CHANNEL", ""), 0, "text"), 0);
        EXPECT_EQ(free_log("CHANNEL", ""), 0);
        EXPECT_TRUE(kx_test::shared_library::is_loaded(KX_MODULE_FILE));
        again.close();
        ASSERT_FALSE(kx_test::shared_library::is_loaded(KX_MODULE_FILE)) << cycle;
        EXPECT_EQ(open_descriptors(), descriptors_before) << cycle;
    }
}

// A host that never terminates the library has its channel closed at the exit of the process. What is
// registered for the exit before the module is loaded, like the library's own destructor, runs after the
// module's destructors.
TEST(logger_module_exit, channels_work_after_the_static_destructors)
{
    const auto host = [] {
        static void* log = nullptr;
        static kx::logger_module::log_function* log_line = nullptr;
        static kx::logger_module::free_log_function* free_log = nullptr;
        std::atexit([] {
            const bool worked = log_line(log, 0, "f", 1, "g", "at the exit") == 0 && free_log("CHANNEL", "") == 0
                                && free_log("CHANNEL", "") == 1;
            std::fputs(worked ? "closed\n" : "failed\n", stderr);
        });
        auto* module = new kx_test::shared_library(KX_MODULE_FILE); // never unloaded
        kx::logger_module::get_log_function* get_log = nullptr;
        module->find("kvi_get_log", get_log);
        module->find("kvi_log", log_line);
        module->find("kvi_free_log", free_log);
        log = get_log("CHANNEL", "");
        log_line(log, 1, "f", 1, "g", "before the exit");
        std::exit(EXIT_SUCCESS);
    };
    unsetenv("KVI_LOG_LEVEL");
    unsetenv("KVI_LOG_FILE");
    EXPECT_EXIT(host(), testing::ExitedWithCode(EXIT_SUCCESS),
                "warning CHANNEL: before the exit .*\n.*error CHANNEL: at the exit .*\nclosed\n");
}

} // namespace
