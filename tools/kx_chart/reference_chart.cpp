#include "reference_chart.h"

namespace kx::chart {

namespace {

constexpr int patch_size = 520;
constexpr int gap = 60;
constexpr int card_margin = 90;
constexpr int pitch = patch_size + gap;
constexpr int patches_width = static_cast<int>(patch_columns) * pitch - gap;
constexpr int patches_height = static_cast<int>(patch_rows) * pitch - gap;
constexpr int first_left = (frame_width - patches_width) / 2;
constexpr int first_top = (frame_height - patches_height) / 2;
static_assert(first_left > card_margin && first_top > card_margin);

} // namespace

const std::array<patch, patch_count> reference_patches{{
    {"dark skin", {37.986, 13.555, 14.059}},     {"light skin", {65.711, 18.130, 17.810}},
    {"blue sky", {49.927, -4.880, -21.925}},     {"foliage", {43.139, -13.095, 21.905}},
    {"blue flower", {55.112, 8.844, -25.399}},   {"bluish green", {70.719, -33.397, -0.199}},
    {"orange", {62.661, 36.067, 57.096}},        {"purplish blue", {40.020, 10.410, -45.964}},
    {"moderate red", {51.124, 48.239, 16.248}},  {"purple", {30.325, 22.976, -21.587}},
    {"yellow green", {72.532, -23.709, 57.255}}, {"orange yellow", {71.941, 19.363, 67.857}},
    {"blue", {28.778, 14.179, -50.297}},         {"green", {55.261, -38.342, 31.370}},
    {"red", {42.101, 53.378, 28.190}},           {"yellow", {81.733, 4.039, 79.819}},
    {"magenta", {51.935, 49.986, -14.574}},      {"cyan", {51.038, -28.631, -28.638}},
    {"white", {96.539, -0.425, 1.186}},          {"neutral 8", {81.257, -0.638, -0.335}},
    {"neutral 6.5", {66.766, -0.734, -0.504}},   {"neutral 5", {50.867, -0.153, -0.270}},
    {"neutral 3.5", {35.656, -0.421, -1.231}},   {"black", {20.461, -0.079, -0.973}},
}};

rectangle card_area()
{
    return {first_left - card_margin, first_top - card_margin, patches_width + 2 * card_margin,
            patches_height + 2 * card_margin};
}

rectangle patch_area(std::size_t index)
{
    const int column = static_cast<int>(index % patch_columns);
    const int row = static_cast<int>(index / patch_columns);
    return {first_left + column * pitch, first_top + row * pitch, patch_size, patch_size};
}

rectangle measured_area(std::size_t index)
{
    const rectangle area = patch_area(index);
    return {area.left + area.width / 4, area.top + area.height / 4, area.width / 2, area.height / 2};
}

} // namespace kx::chart
