#include "console.h"

#include <iostream>

#include <unistd.h>

namespace kx::convert {

// A bar in a log file helps nobody.
void console::begin_progress(unsigned long steps)
{
    if (steps > 1 && !quiet_ && isatty(STDERR_FILENO) != 0) {
        bar_ = std::make_unique<boost::timer::progress_display>(steps, std::cerr);
    }
}

void console::step()
{
    const std::lock_guard lock(guard_);
    if (bar_ != nullptr && ++*bar_ == bar_->expected_count()) {
        bar_.reset(); // it has ended its line itself
    }
}

void console::end_progress()
{
    if (bar_ != nullptr) {
        std::cerr << '\n';
        bar_.reset();
    }
}

void console::warn(const std::string& text)
{
    if (!quiet_) {
        const std::lock_guard lock(guard_);
        end_progress();
        std::cerr << "kx_convert: warning: " << text << '\n';
    }
}

void console::error(const std::string& text)
{
    const std::lock_guard lock(guard_);
    end_progress();
    std::cerr << "kx_convert: " << text << '\n';
}

void console::inform(const std::string& text)
{
    const std::lock_guard lock(guard_);
    end_progress();
    std::cout << text << std::flush;
}

} // namespace kx::convert
