// kx_convert: converts image files with the color processing library.

#include "batch.h"
#include "command_line.h"
#include "start/start.h"

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <new>
#include <vector>

namespace {

int report(const char* reason, int exit_code)
{
    std::cerr << "kx_convert: " << reason << '\n';
    return exit_code;
}

} // namespace

int main(int count, char** arguments)
{
#ifdef SIGXFSZ
    std::signal(SIGXFSZ, SIG_IGN); // a write beyond the file size limit then fails like any other
#endif
    std::vector<char*> words = kx::start_program(count, arguments);
    try {
        const auto parsed = kx::convert::parse_command_line(static_cast<int>(words.size()), words.data());
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
