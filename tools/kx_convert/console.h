// What the program says while it works: progress, warnings, errors, information.
#pragma once

#include <boost/timer/progress_display.hpp>

#include <memory>
#include <mutex>
#include <string>

namespace kx::convert {

// Several threads may use it.
class console {
public:
    // A quiet one shows errors and information alone.
    explicit console(bool quiet) : quiet_(quiet) {}
    console(const console&) = delete;
    console& operator=(const console&) = delete;
    ~console() { end_progress(); } // what others print begins on a line of its own, too

    // Shows a bar that so many steps complete, if anybody watches and there is something to wait for.
    void begin_progress(unsigned long steps);
    void step();

    void warn(const std::string& text);
    void error(const std::string& text);
    void inform(const std::string& text); // on standard output

private:
    // A message begins on a line of its own; the bar ends there.
    void end_progress();

    bool quiet_;
    std::mutex guard_;
    std::unique_ptr<boost::timer::progress_display> bar_;
};

} // namespace kx::convert
