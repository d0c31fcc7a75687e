// Concurrent calls of the logger module.
#include "logger_module_fixture.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <map>
#include <thread>

namespace {

constexpr int thread_count = 4;
constexpr int lines_each = 500;

void run_in_threads(const std::function<void(int)>& work)
{
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < thread_count; ++thread) {
        threads.emplace_back(work, thread);
    }
}

TEST_F(logger_module_test, lines_of_many_threads_stay_whole)
{
    setenv("KVI_LOG_FILE", file.c_str(), 1);
    void* shared = get_log("SHARED", "");
    std::atomic<int> lost = 0;
    run_in_threads([&](int thread) {
        // Every second line goes to a channel of the thread's own, into the same file, and is long enough
        // not to fit a stream's buffer.
        const std::string own_name = "OWN" + std::to_string(thread);
        void* own = get_log(own_name.c_str(), "");
        for (int i = 0; i < lines_each; ++i) {
            const std::string text = std::to_string(thread) + " " + std::to_string(i) + " "
                                     + std::string(i % 2 != 0 ? 9000 : 10, static_cast<char>('a' + thread));
            lost += write(i % 2 != 0 ? own : shared, 0, text.c_str()) != 0 ? 1 : 0;
        }
        free_log(own_name.c_str(), "");
    });
    free_log("SHARED", "");
    EXPECT_EQ(lost, 0);

    // Each thread's lines are all there, whole and in the order written.
    std::map<int, int> next;
    for (const std::string& line : contents(file)) {
        const std::size_t text = line.find("error ");
        ASSERT_NE(text, std::string::npos) << line;
        int thread = -1;
        int i = -1;
        ASSERT_EQ(std::sscanf(line.c_str() + text, "error %*[^:]: %d %d ", &thread, &i), 2) << line;
        const std::string channel = i % 2 != 0 ? "OWN" + std::to_string(thread) : "SHARED";
        ASSERT_EQ(line.substr(text), "error " + channel + ": " + std::to_string(thread) + " " + std::to_string(i) + " "
                                         + std::string(i % 2 != 0 ? 9000 : 10, static_cast<char>('a' + thread))
                                         + " (file.cpp:12 function)");
        ASSERT_EQ(i, next[thread]++);
    }
    for (int thread = 0; thread < thread_count; ++thread) {
        EXPECT_EQ(next[thread], lines_each) << thread;
    }
}

TEST_F(logger_module_test, channels_are_opened_and_closed_concurrently)
{
    setenv("KVI_LOG_FILE", file.c_str(), 1);
    std::atomic<int> trouble = 0;
    run_in_threads([&](int thread) {
        for (int i = 0; i < 200; ++i) {
            // Two threads each share a channel; now and then the last one is closed, and the file with it.
            const char* name = thread % 2 != 0 ? "ODD" : "EVEN";
            void* log = get_log(name, "");
            trouble += log == nullptr || write(log, 0, "text") != 0 || free_log(name, "") != 0 ? 1 : 0;
        }
    });
    EXPECT_EQ(trouble, 0);
    EXPECT_EQ(contents(file).size(), thread_count * 200U);
    EXPECT_EQ(free_log("ODD", ""), 1);
    EXPECT_EQ(free_log("EVEN", ""), 1);
}

} // namespace
