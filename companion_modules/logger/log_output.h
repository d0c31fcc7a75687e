// Where the lines of all channels go, and which of them.
#pragma once

#include <spdlog/logger.h>

#include <string>

namespace kvi {

struct log_output {
    spdlog::sink_ptr sink;
    spdlog::level::level_enum level; // the least level that is written
};

// The output that the environment asks for; says in a warning line what it could not follow.
log_output log_output_from_environment();

// A logger of its own, unknown to spdlog's registry: nothing outlives it when this module is unloaded.
spdlog::logger make_logger(std::string name, const log_output& output);

// Returns whether the line was written.
bool write_line(spdlog::logger& logger, spdlog::level::level_enum level, spdlog::string_view_t text) noexcept;

} // namespace kvi
