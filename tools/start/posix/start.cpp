#include "start/start.h"

namespace kx {

std::vector<char*> start_program(int count, char** words)
{
    return {words, words + count};
}

} // namespace kx
