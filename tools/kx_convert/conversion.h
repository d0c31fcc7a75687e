// One run of the converter: an image file in, an image file out.
#pragma once

#include "settings.h"

namespace kx::convert {

// Converts the file as asked, with a progress bar for stacks on a terminal. Throws std::exception's children;
// the output file is then as it was before.
void convert(settings wanted);

} // namespace kx::convert
