#include "console.h"

#include "system.h"

#include <iostream>

namespace kx::convert {

// A count that changes in a log file helps nobody.
void console::begin_progress(std::size_t steps)
{
    steps_ = steps > 1 && !quiet_ && standard_error_is_terminal() ? steps : 0;
    done_ = 0;
}

void console::step()
{
    const std::lock_guard lock(guard_);
    if (steps_ == 0) {
        return;
    }
    std::cerr << '\r' << ++done_ << " of " << steps_ << std::flush;
    line_is_open_ = true;
    if (done_ == steps_) {
        end_line();
    }
}

void console::end_line()
{
    if (line_is_open_) {
        std::cerr << '\n';
    }
    line_is_open_ = false;
}

void console::say(std::ostream& stream, const std::string& text)
{
    const std::lock_guard lock(guard_);
    end_line();
    stream << text << std::flush;
}

void console::warn(const std::string& text)
{
    if (!quiet_) {
        say(std::cerr, "kx_convert: warning: " + text + '\n');
    }
}

void console::error(const std::string& text)
{
    say(std::cerr, "kx_convert: " + text + '\n');
}

void console::note(const std::string& text)
{
    if (!quiet_) {
        say(std::cout, text + '\n');
    }
}

void console::inform(const std::string& text)
{
    say(std::cout, text);
}

} // namespace kx::convert
