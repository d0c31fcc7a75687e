#include "srgb_profile.h"

#include <lcms2.h>

#include <array>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace kx::images {

namespace {

std::vector<std::byte> make_profile()
{
    const std::unique_ptr<void, decltype(&cmsCloseProfile)> profile(cmsCreate_sRGBProfile(), cmsCloseProfile);
    cmsUInt32Number size = 0;
    if (profile == nullptr || cmsSaveProfileToMem(profile.get(), nullptr, &size) == 0) {
        throw std::runtime_error("Little CMS could not make the sRGB profile");
    }
    std::vector<std::byte> bytes(size);
    if (cmsSaveProfileToMem(profile.get(), bytes.data(), &size) == 0) {
        throw std::runtime_error("Little CMS could not make the sRGB profile");
    }
    // The header's date would be today's: the same conversion gives the same file any day.
    constexpr std::array<unsigned char, 12> first_of_2000{0x07, 0xD0, 0, 1, 0, 1};
    constexpr std::size_t date = 24;
    std::memcpy(&bytes.at(date), first_of_2000.data(), first_of_2000.size());
    // And its platform the one that made it: the same on every system, it is none.
    constexpr std::size_t platform = 40;
    std::memset(&bytes.at(platform), 0, 4);
    return bytes;
}

} // namespace

const std::vector<std::byte>& srgb_profile()
{
    static const std::vector<std::byte> profile = make_profile();
    return profile;
}

} // namespace kx::images
