// White balance from the picture itself.
#pragma once

#include "settings.h"

namespace kx::convert {

// The settings with the gains that their area for the white balance has in a page of the file, and no such area any
// more. Throws images::image_error.
settings balance_camera(const settings& wanted, images::image_reader& reader, std::uint32_t page,
                        const std::filesystem::path& file);

} // namespace kx::convert
