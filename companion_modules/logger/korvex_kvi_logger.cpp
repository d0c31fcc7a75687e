#include "korvex_kvi_logger.h"

#include "log_output.h"

#include <cstddef>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace {

constexpr std::int32_t written = 0;
constexpr std::int32_t not_written = 1;
constexpr std::int32_t closed = 0;
constexpr std::int32_t not_open = 1;

using channel_names = std::pair<std::string_view, std::string_view>;

// Channels are looked for without memory of their own: closing one must not fail.
struct by_names {
    using is_transparent = void;
    bool operator()(const channel_names& first, const channel_names& second) const { return first < second; }
};

// What a log handle points to.
struct log_channel {
    spdlog::logger logger;
    std::size_t openings = 0;
};

// The open channels and the output they share.
class log_book {
public:
    log_channel& open(const channel_names& names)
    {
        auto found = channels_.find(names);
        if (found == channels_.end()) {
            const auto& [first, second] = names;
            std::string shown(first);
            if (!second.empty()) {
                shown.append("/").append(second);
            }
            found = channels_.emplace(names, log_channel{kvi::make_logger(shown, output_)}).first;
        }
        ++found->second.openings;
        return found->second;
    }

    bool close(const channel_names& names)
    {
        const auto found = channels_.find(names);
        if (found == channels_.end()) {
            return false;
        }
        if (--found->second.openings == 0) {
            channels_.erase(found);
        }
        return true;
    }

    [[nodiscard]] bool empty() const { return channels_.empty(); }

private:
    kvi::log_output output_ = kvi::log_output_from_environment();
    // Handles point into it: its elements never move.
    std::map<std::pair<std::string, std::string>, log_channel, by_names> channels_;
};

// A host that forgets to terminate the library has its channel closed at the exit of the process, after
// the static destructors of this module: so there are none. The book exists while a channel is open.
std::mutex the_lock; // guards the_book and the channels' counts; needs no destruction
constinit log_book* the_book = nullptr;

const char* shown(const char* text)
{
    return text != nullptr ? text : "?";
}

channel_names names_of(const char* first, const char* second)
{
    return {first, second != nullptr ? second : ""};
}

} // namespace

void* kvi_get_log(const char* channel_name, const char* second_name)
try {
    if (channel_name == nullptr) {
        return nullptr;
    }
    const std::lock_guard guard(the_lock);
    if (the_book != nullptr) {
        return &the_book->open(names_of(channel_name, second_name));
    }
    auto new_book = std::make_unique<log_book>();
    log_channel& channel = new_book->open(names_of(channel_name, second_name));
    the_book = new_book.release();
    return &channel;
} catch (...) {
    return nullptr;
}

std::int32_t kvi_log(void* log, std::int32_t level, const char* source_file_name, std::int32_t source_line,
                     const char* function_name, const char* message)
try {
    if (log == nullptr || level > kx::logger_module::information_level) {
        return not_written;
    }
    const spdlog::level::level_enum severity = level <= kx::logger_module::error_level        ? spdlog::level::err
                                               : level < kx::logger_module::information_level ? spdlog::level::warn
                                                                                              : spdlog::level::info;
    spdlog::logger& logger = static_cast<log_channel*>(log)->logger;
    if (!logger.should_log(severity)) {
        return not_written;
    }
    // Not by spdlog's own source location, which it leaves out altogether when the line is 0.
    spdlog::memory_buf_t text;
    fmt::format_to(std::back_inserter(text), "{} ({}:{} {})", shown(message), shown(source_file_name), source_line,
                   shown(function_name));
    return kvi::write_line(logger, severity, {text.data(), text.size()}) ? written : not_written;
} catch (...) {
    return not_written;
}

std::int32_t kvi_free_log(const char* channel_name, const char* second_name)
try {
    if (channel_name == nullptr) {
        return not_open;
    }
    const std::lock_guard guard(the_lock);
    if (the_book == nullptr || !the_book->close(names_of(channel_name, second_name))) {
        return not_open;
    }
    if (the_book->empty()) {
        delete std::exchange(the_book, nullptr);
    }
    return closed;
} catch (...) {
    return not_open;
}
