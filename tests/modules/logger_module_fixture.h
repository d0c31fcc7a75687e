// The loaded logger module, the environment it reads, and what it writes.
#pragma once

#include "companion_interfaces/logger_module.h"
#include "support/shared_library.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

class logger_module_test : public testing::Test {
protected:
    logger_module_test()
    {
        unsetenv("KVI_LOG_LEVEL");
        unsetenv("KVI_LOG_FILE");
        std::filesystem::remove_all(directory);
        std::filesystem::create_directory(directory);
        module.find("kvi_get_log", get_log);
        module.find("kvi_log", log_line);
        module.find("kvi_free_log", free_log);
    }
    ~logger_module_test() override { std::filesystem::remove_all(directory); }
    logger_module_test(const logger_module_test&) = delete;
    logger_module_test& operator=(const logger_module_test&) = delete;

    // A line of a given text, with file "file.cpp", line 12 and function "function".
    std::int32_t write(void* log, std::int32_t level, const char* text) const
    {
        return log_line(log, level, "file.cpp", 12, "function", text);
    }

    // The lines that `action` makes appear on standard error; nothing may appear on standard output.
    template <typename function>
    static std::vector<std::string> standard_error_of(const function& action)
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        action();
        const std::string errors = testing::internal::GetCapturedStderr();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        return lines_of(errors);
    }

    // The lines of a file that should exist.
    static std::vector<std::string> contents(const std::filesystem::path& file)
    {
        std::ifstream stream(file, std::ios::binary);
        EXPECT_TRUE(stream.is_open()) << file;
        return lines_of({std::istreambuf_iterator<char>(stream), {}});
    }

    const std::filesystem::path directory =
        std::filesystem::path(testing::TempDir())
        / (std::string("kx_") + testing::UnitTest::GetInstance()->current_test_info()->name());
    const std::filesystem::path file = directory / "log.txt";

    kx_test::shared_library module{KX_MODULE_FILE};
    kx::logger_module::get_log_function* get_log = nullptr;
    kx::logger_module::log_function* log_line = nullptr;
    kx::logger_module::free_log_function* free_log = nullptr;

private:
    // Every line must be ended, the last one too.
    static std::vector<std::string> lines_of(const std::string& text)
    {
        std::vector<std::string> lines;
        std::size_t start = 0;
        for (std::size_t end = 0; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
            lines.push_back(text.substr(start, end - start));
        }
        EXPECT_EQ(start, text.size()) << "unfinished line: " << text.substr(start);
        return lines;
    }
};
