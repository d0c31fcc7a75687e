#include "camera_balance.h"

namespace kx::convert {

settings balance_camera(const settings& wanted, images::image_reader& reader, std::uint32_t page,
                        const std::filesystem::path& file)
{
    settings balanced = wanted;
    profile::profile_values values = wanted.camera.value().values();
    const images::image_16 picture = reader.read_page(page);
    try {
        values.white_balance = profile::balance_from_area(picture, wanted.balance_area.value(), *wanted.camera);
        balanced.camera = profile::camera_profile(values);
        balanced.balance_area.reset();
        return balanced;
    } catch (const profile::profile_error& error) {
        throw images::image_error(file, error.reason());
    }
}

} // namespace kx::convert
