#include "log_output.h"

#include "environment.h"

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/basic_file_sink.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

namespace kvi {

namespace {

// spdlog's own sink for standard error does not notice when a line could not be written.
class standard_error_sink final : public spdlog::sinks::base_sink<std::mutex> {
    void sink_it_(const spdlog::details::log_msg& message) override
    {
        spdlog::memory_buf_t line;
        formatter_->format(message, line);
        if (std::fwrite(line.data(), 1, line.size(), stderr) != line.size()) {
            spdlog::throw_spdlog_ex("cannot write to standard error", errno);
        }
    }

    void flush_() override
    {
        if (std::fflush(stderr) != 0) {
            spdlog::throw_spdlog_ex("cannot write to standard error", errno);
        }
    }
};

} // namespace

log_output log_output_from_environment()
{
    const std::string level = environment_variable("KVI_LOG_LEVEL");
    const std::string file = environment_variable("KVI_LOG_FILE");
    std::string level_trouble;
    std::string file_trouble;

    log_output output{nullptr, spdlog::level::warn};
    if (level == "error") {
        output.level = spdlog::level::err;
    } else if (level == "info") {
        output.level = spdlog::level::info;
    } else if (!level.empty() && level != "warning") {
        level_trouble = "KVI_LOG_LEVEL is \"" + level + "\", which is none of error, warning, info: using warning";
    }
    if (!file.empty()) {
        try {
            output.sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(file);
        } catch (const spdlog::spdlog_ex& failure) {
            file_trouble = std::string("KVI_LOG_FILE: ") + failure.what() + ": using standard error";
        }
    }
    if (output.sink == nullptr) {
        output.sink = std::make_shared<standard_error_sink>();
    }
    output.sink->set_formatter(std::make_unique<spdlog::pattern_formatter>("%Y-%m-%dT%H:%M:%S.%e%z %l %n: %v",
                                                                           spdlog::pattern_time_type::local, "\n"));

    // Shown at any level: whoever looks for the lines in the wrong place must learn it.
    spdlog::logger own_channel = make_logger("korvex_kvi_logger", {output.sink, spdlog::level::warn});
    for (const std::string& trouble : {level_trouble, file_trouble}) {
        if (!trouble.empty()) {
            write_line(own_channel, spdlog::level::warn, trouble);
        }
    }
    return output;
}

spdlog::logger make_logger(std::string name, const log_output& output)
{
    spdlog::logger logger(std::move(name), output.sink);
    logger.set_level(output.level);
    logger.flush_on(spdlog::level::trace); // every line: a host that crashes must not take its last errors along
    // By default spdlog reports a line that it could not write on standard error and goes on.
    logger.set_error_handler([](const std::string& trouble) { spdlog::throw_spdlog_ex(trouble); });
    return logger;
}

bool write_line(spdlog::logger& logger, spdlog::level::level_enum level, spdlog::string_view_t text) noexcept
{
    try {
        logger.log(level, text);
        return true;
    } catch (...) {
        return false;
    }
}

} // namespace kvi
