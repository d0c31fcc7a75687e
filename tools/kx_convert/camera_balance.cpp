#include "camera_balance.h"

namespace kx::convert {

void balance_camera(settings& wanted, images::image_reader& reader, const std::filesystem::path& file)
{
    if (!wanted.balance_area || !wanted.camera) {
        return;
    }
    profile::profile_values values = wanted.camera->values();
    const images::image_16 page = reader.read_page(0);
    try {
        values.white_balance = profile::balance_from_area(page, *wanted.balance_area, *wanted.camera);
        wanted.camera = profile::camera_profile(values);
    } catch (const profile::profile_error& error) {
        throw images::image_error(file, error.reason());
    }
}

} // namespace kx::convert
