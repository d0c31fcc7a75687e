// White balance from the picture itself.
#pragma once

#include "settings.h"

namespace kx::convert {

// If the settings name an area for the white balance, gives their camera the gains found there in the first page.
// Throws images::image_error.
void balance_camera(settings& wanted, images::image_reader& reader, const std::filesystem::path& file);

} // namespace kx::convert
