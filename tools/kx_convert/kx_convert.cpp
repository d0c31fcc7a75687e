// kx_convert: converts image files with the color processing library.

#include "command_line.h"
#include "conversion.h"

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

void handle_signals()
{
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
        if (std::signal(signal_number, clean_up_and_end) == SIG_IGN) { // nohup stays in force
            std::signal(signal_number, SIG_IGN);
        }
    }
    std::signal(SIGXFSZ, SIG_IGN); // a write beyond the file size limit then fails like any other
}

int report(const char* reason)
{
    std::cerr << "kx_convert: " << reason << '\n';
    return EXIT_FAILURE;
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
        kx::convert::convert(std::get<kx::convert::settings>(parsed));
        return EXIT_SUCCESS;
    } catch (const std::bad_alloc&) {
        return report("not enough memory");
    } catch (const std::exception& error) {
        return report(error.what());
    }
}
