// kx_convert: converts image files with the color processing library.

#include "batch.h"
#include "command_line.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <new>

namespace {

extern "C" void clean_up_and_end(int signal_number)
{
    kx::images::remove_temporary_files();
    std::signal(signal_number, SIG_DFL);
    std::raise(signal_number);
}

// Whatever ends the program by default, but for what cannot be caught.
void handle_signals()
{
    for (int number = 1; number <= SIGRTMAX; ++number) {
        constexpr std::array without_effect{SIGCHLD, SIGCONT, SIGURG, SIGWINCH, SIGTSTP, SIGTTIN, SIGTTOU};
        if (std::ranges::find(without_effect, number) == without_effect.end()
            && std::signal(number, clean_up_and_end) == SIG_IGN) { // nohup stays in force
            std::signal(number, SIG_IGN);
        }
    }
    std::signal(SIGXFSZ, SIG_IGN); // a write beyond the file size limit then fails like any other
}

int report(const char* reason, int exit_code)
{
    std::cerr << "kx_convert: " << reason << '\n';
    return exit_code;
}

} // namespace

int main(int count, char** arguments)
{
    handle_signals();
    try {
        const auto parsed = kx::convert::parse_command_line(count, arguments);
        if (const int* exit_code = std::get_if<int>(&parsed)) {
            return *exit_code;
        }
        return kx::convert::convert_all(std::get<kx::convert::settings>(parsed)) ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const kx::convert::option_error& error) {
        return report(error.what(), kx::convert::wrong_command_line);
    } catch (const std::bad_alloc&) {
        return report("not enough memory", EXIT_FAILURE);
    } catch (const std::exception& error) {
        return report(error.what(), EXIT_FAILURE);
    }
}
