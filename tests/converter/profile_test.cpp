// Camera profiles: what is refused and where, and that nothing is lost on the way through a file. arithmetic_test.py
// has what becomes of pixels.
#include "profile/camera_profile.h"
#include "profile/white_balance.h"
#include "tool_test.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>

namespace {

using namespace kx::profile;
using kx_test::work_directory;
using testing::HasSubstr;
using testing::Property;

template <typename Action>
void expect_refused(Action action, const std::string& path, const std::string& reason, const std::string& what)
{
    EXPECT_THAT(action, testing::Throws<profile_error>(testing::AllOf(
                            Property(&profile_error::path, path), Property(&profile_error::reason, HasSubstr(reason)))))
        << what;
}

TEST(profile, wrong_members_are_refused_with_their_paths)
{
    struct refusal {
        const char* members;
        const char* path;
        const char* reason;
    };
    for (const auto& [members, path, reason] : std::vector<refusal>{
             {R"("a/b~": 1)", "/a~1b~0", "is no member"},
             {R"("output_depth": 8, "output_depth": 16)", "/output_depth", "twice"},
             {R"("black_level": [64, 64])", "/black_level", "three numbers"},
             {R"("black_level": [4095, 64, 64])", "/black_level/0", "0 to below"},
             {R"("white_balance": [1, 0, 1])", "/white_balance/1", "above 0"},
             {R"("white_balance": [1, 1, 1001])", "/white_balance/2", "at most 1000"},
             {R"("matrix": [1, 0, 0, 0, 1, 0, 0, 0, 1])", "/matrix", "three rows"},
             {R"("matrix": [[1, 0, 0], [0, 1, 0], [0, 0, 1e4]])", "/matrix/2/2", "-1000 to 1000"},
             {R"("tone_curve": "inverse:")", "/tone_curve", "is no curve"},
             {R"("tone_curve": "inverse:gamma:2.2x")", "/tone_curve", "0.01 to 100"},
             {R"("tone_curve": [0])", "/tone_curve", "2 to 65536"},
             {R"("tone_curve": [0, true, 1])", "/tone_curve/1", "must be a number"},
             {R"("tone_curve": [0, 0.5, 1.01])", "/tone_curve/2", "from 0 to 1"},
             {R"("output_depth": 12)", "/output_depth", "8 or 16"},
         }) {
        const std::string text = std::string(R"({"version": 1, "bits": 12, )") + members + "}";
        expect_refused([&] { from_json(text); }, path, reason, text);
    }
    for (const auto& [text, path, reason] : std::vector<refusal>{
             {"{\"version\": 1,\n \"bits\": 12,}", "", "line 2"},
             {R"({"version": 1, "bits": 12} {})", "", "is no JSON"},
             {"[1, 12]", "", "JSON object"},
             {R"({"version": 2, "exposure": 3})", "/version", "only version 1"},
             {R"({"version": 1})", "/bits", "is missing"},
             {R"({"version": 1, "bits": 7})", "/bits", "8 to 16"},
             {R"({"version": 1, "bits": 1e30})", "/bits", "whole number"},
         }) {
        expect_refused([text = text] { from_json(text); }, path, reason, text);
    }
    // What no JSON can hold but a program can ask for.
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    for (const char* const text : {"\xC3(", "\xE2\x82", "\x80", "\xC0\x80", "\xE0\x9F\xBF", "\xED\xA0\x80",
                                   "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80"}) {
        expect_refused([text] { camera_profile({.description = text}); }, "/description", "UTF-8", text);
    }
    expect_refused([] { camera_profile({.black_level = {0, nan, 0}}); }, "/black_level/1", "a number", "NaN");
    expect_refused([] { camera_profile({.matrix = {{{1, 0, nan}, {}, {}}}}); }, "/matrix/0/2", "a number", "NaN");
    expect_refused([] { tone_curve::from_table({0.0, nan}); }, "/1", "a number", "NaN");
}

TEST(profile, files_lose_nothing)
{
    const work_directory directory;
    const std::string file = directory / "camera.json";
    const camera_profile minimal = from_json("\xEF\xBB\xBF{\"bits\": 16.0, \"version\": 1}");
    EXPECT_EQ(minimal, camera_profile());
    const camera_profile full({.description = "Tab\t, \"quotes\", \xC2\xB5m \xE2\x82\xAC \xF0\x9F\x94\xAC",
                               .bits = 12,
                               .black_level = {64.1, 1.0 / 3.0, 0},
                               .white_balance = {1.9, 1, 1e-9},
                               .matrix = {{{0.1, -0.2, 1e-300}, {4, 5, 6}, {-1000, 1000, 0}}},
                               .tone_curve = tone_curve::from_table({0, 0.1, 1}),
                               .output_depth = 8});
    for (const camera_profile& profile :
         {minimal, full, camera_profile({.tone_curve = tone_curve::named("inverse:gamma:3")})}) {
        EXPECT_EQ(from_json(to_json(profile)), profile);
        save_profile(profile, file); // from the second on replaces a file
        EXPECT_EQ(load_profile(file), profile);
    }
    EXPECT_NE(full, minimal);
    EXPECT_NE(camera_profile({.tone_curve = tone_curve::named("srgb")}), minimal);

    std::ofstream(directory / "wrong.json") << R"({"version": 1, "bits": 12, "white_balance": [1, 1, 0]})";
    const auto before = directory.content();
    const auto expect_message = [](auto action, const std::string& message) {
        EXPECT_THAT(action, testing::ThrowsMessage<profile_error>(HasSubstr(message)));
    };
    expect_message([&] { load_profile(directory / "wrong.json"); }, "wrong.json: /white_balance/2: must be a number");
    expect_message([&] { load_profile(directory / "none.json"); }, "none.json: cannot be opened: No such file");
    expect_message([&] { load_profile(directory / "."); }, ".: cannot be ");
    expect_message([&] { save_profile(full, directory / "none/camera.json"); }, "none/camera.json: cannot be written");
    expect_message([&] { save_profile(full, directory / "."); }, "cannot be written");
    EXPECT_EQ(directory.content(), before);
}

TEST(profile, white_balance_from_an_area)
{
    kx::images::image_16 picture{.width = 4, .height = 3, .samples = std::vector<std::uint16_t>(36, 4000), .about = {}};
    for (std::size_t pixel = 5; pixel < 7; ++pixel) { // a grey stripe of two pixels
        const std::uint16_t brightness = pixel == 5 ? 100 : 300;
        const std::array<std::uint16_t, 3> light{brightness, static_cast<std::uint16_t>(2 * brightness), brightness};
        for (std::size_t channel = 0; channel < 3; ++channel) {
            picture.samples[3 * pixel + channel] = static_cast<std::uint16_t>(64 + light[channel]);
        }
    }
    const camera_profile camera({.bits = 12, .black_level = {64, 64, 64}});
    const auto close_to = [](const channel_values& gains) {
        return testing::Pointwise(testing::DoubleNear(1e-12), gains);
    };
    EXPECT_THAT(balance_from_area(picture, {1, 1, 2, 1}, camera), close_to({2, 1, 2}));
    kx::images::image_16 planar = picture;
    planar.layout = kx::images::arrangement::planar_bgr;
    for (std::size_t place = 0; place < 36; ++place) {
        planar.samples[(2 - place % 3) * 12 + place / 3] = picture.samples[place];
    }
    planar.samples[2 * 12 + 5] = 64; // red
    EXPECT_THAT(balance_from_area(planar, {1, 1, 2, 1}, camera), close_to({800.0 / 300.0, 1, 2}));

    const auto expect_area_refused = [&](const pixel_area& area, const char* reason) {
        expect_refused([&] { balance_from_area(picture, area, camera); }, "/white_balance", reason, reason);
    };
    for (const pixel_area& area :
         {pixel_area{0, 0, 0, 1}, {0, 0, 5, 1}, {4, 0, 1, 1}, {0, 3, 1, 1}, {0, 2, 1, 2}, {1, 0, 0xFFFFFFFF, 1}}) {
        expect_area_refused(area, "lies beyond");
    }
    picture.samples[0] = 4095;
    expect_area_refused({0, 0, 2, 1}, "over-exposed");
    picture.samples[0] = 64;
    expect_area_refused({0, 0, 1, 1}, "no brighter");
}

} // namespace
