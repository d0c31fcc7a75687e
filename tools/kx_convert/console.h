// What the program says while it works: progress, warnings, errors, information.
#pragma once

#include <cstddef>
#include <iosfwd>
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
    ~console() { end_line(); } // what others print begins on a line of its own, too

    // Counts so many steps, if anybody watches and there is something to wait for.
    void begin_progress(std::size_t steps);
    void step();

    void warn(const std::string& text);
    void error(const std::string& text);
    void note(const std::string& text);   // a line on standard output
    void inform(const std::string& text); // that was asked for, on standard output

private:
    void say(std::ostream& stream, const std::string& text);
    void end_line(); // of the progress: a message begins on a line of its own

    bool quiet_;
    std::mutex guard_;
    std::size_t steps_ = 0; // 0: none are shown
    std::size_t done_ = 0;
    bool line_is_open_ = false;
};

} // namespace kx::convert
