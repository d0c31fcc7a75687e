#include "reference_chart.h"

#include "images/utf8.h"
#include "profile/text_numbers.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace kx::chart {

namespace {

double to_number(const std::string& word)
{
    const auto number = profile::parse_number<double>(word);
    if (!number || !(*number >= -200.0 && *number <= 200.0)) {
        throw std::runtime_error("'" + word + "' is no number from -200 to 200");
    }
    return *number;
}

patch to_patch(const std::vector<std::string>& words)
{
    if (words.size() < 4) {
        throw std::runtime_error("a patch needs a name, L*, a* and b*");
    }
    const std::size_t name_words = words.size() - 3;
    patch result{words.front(), {}};
    for (std::size_t place = 1; place < name_words; ++place) {
        result.name += ' ' + words[place];
    }
    result.published = {to_number(words[name_words]), to_number(words[name_words + 1]),
                        to_number(words[name_words + 2])};
    if (!images::is_utf8(result.name) || std::ranges::any_of(result.name, [](unsigned char c) { return c < ' '; })) {
        throw std::runtime_error("the name is no text in UTF-8");
    }
    return result;
}

} // namespace

const reference_chart& published_reference()
{
    static const reference_chart values{{
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
    return values;
}

reference_chart read_reference(const std::filesystem::path& file)
{
    reference_chart values;
    std::size_t count = 0;
    for (const auto& [number, words] : profile::read_words(file)) {
        try {
            if (count == patch_count) {
                throw std::runtime_error("there are more than 24 patches");
            }
            values.at(count++) = to_patch(words);
        } catch (const std::runtime_error& error) {
            throw std::runtime_error(file.string() + ", line " + std::to_string(number) + ": " + error.what());
        }
    }
    if (count != patch_count) {
        throw std::runtime_error(file.string() + ": has " + std::to_string(count) + " patches; the chart has 24");
    }
    return values;
}

} // namespace kx::chart
