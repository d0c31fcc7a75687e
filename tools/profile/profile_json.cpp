#include "camera_profile.h"

#include "files/output_file.h"
#include "files/text_file.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <set>

namespace kx::profile {

namespace {

using nlohmann::json;

constexpr int format_version = 1;

[[noreturn]] void refuse(const std::string& path, const std::string& reason)
{
    throw profile_error(path, reason);
}

double to_number(const json& value, const std::string& path)
{
    if (!value.is_number()) {
        refuse(path, "must be a number");
    }
    return value.get<double>();
}

int to_whole_number(const json& value, const std::string& path)
{
    const double number = value.is_number() ? value.get<double>() : std::nan("");
    if (!(std::abs(number) < 1e9) || number != std::trunc(number)) {
        refuse(path, "must be a whole number");
    }
    return static_cast<int>(number);
}

std::string to_text(const json& value, const std::string& path)
{
    if (!value.is_string()) {
        refuse(path, "must be text");
    }
    return value.get<std::string>();
}

channel_values to_three_numbers(const json& value, const std::string& path)
{
    if (!value.is_array() || value.size() != 3) {
        refuse(path, "must be three numbers: red, green, blue");
    }
    channel_values numbers{};
    for (std::size_t index = 0; index < numbers.size(); ++index) {
        numbers.at(index) = to_number(value[index], element_path(path, index));
    }
    return numbers;
}

color_matrix to_matrix(const json& value, const std::string& path)
{
    if (!value.is_array() || value.size() != 3) {
        refuse(path, "must be three rows of three numbers");
    }
    color_matrix matrix{};
    for (std::size_t row = 0; row < matrix.size(); ++row) {
        matrix.at(row) = to_three_numbers(value[row], element_path(path, row));
    }
    return matrix;
}

tone_curve to_tone_curve(const json& value, const std::string& path)
{
    if (!value.is_string() && !value.is_array()) {
        refuse(path, "must be the name of a curve or a table of numbers");
    }
    try {
        if (value.is_string()) {
            return tone_curve::named(value.get<std::string>());
        }
        std::vector<double> table;
        for (const json& entry : value) {
            table.push_back(to_number(entry, element_path("", table.size())));
        }
        return tone_curve::from_table(std::move(table));
    } catch (const profile_error& error) {
        refuse(path + error.path(), error.reason());
    }
}

void check_version(const json& members)
{
    if (!members.contains("version")) {
        refuse("/version", "is missing");
    }
    const int version = to_whole_number(members["version"], "/version");
    if (version != format_version) {
        refuse("/version",
               "is " + std::to_string(version) + ", but only version " + std::to_string(format_version) + " is known");
    }
}

json parse(std::string_view text)
{
    // The parser by itself would take the last of several members of one name.
    std::set<std::string> names;
    const auto refuse_repeated = [&names](int depth, json::parse_event_t event, const json& parsed) {
        if (event == json::parse_event_t::key && depth == 1 && !names.insert(parsed.get<std::string>()).second) {
            refuse((json::json_pointer() / parsed.get<std::string>()).to_string(), "is there twice");
        }
        return true;
    };
    try {
        return json::parse(text, refuse_repeated);
    } catch (const json::exception& error) {
        const std::string reason = error.what(); // "[json.exception.parse_error.101] parse error at line ..."
        refuse("", "is no JSON: " + reason.substr(std::min(reason.find("] ") + 2, reason.size())));
    }
}

} // namespace

camera_profile from_json(std::string_view text)
{
    const json members = parse(text);
    if (!members.is_object()) {
        refuse("", "a profile is a JSON object");
    }
    check_version(members); // first: another version may have other members
    if (!members.contains("bits")) {
        refuse("/bits", "is missing");
    }
    profile_values values;
    for (const auto& [name, value] : members.items()) {
        const std::string path = (json::json_pointer() / name).to_string();
        if (name == "description") {
            values.description = to_text(value, path);
        } else if (name == "bits") {
            values.bits = to_whole_number(value, path);
        } else if (name == "black_level") {
            values.black_level = to_three_numbers(value, path);
        } else if (name == "white_balance") {
            values.white_balance = to_three_numbers(value, path);
        } else if (name == "matrix") {
            values.matrix = to_matrix(value, path);
        } else if (name == "tone_curve") {
            values.tone_curve = to_tone_curve(value, path);
        } else if (name == "output_depth") {
            values.output_depth = to_whole_number(value, path);
        } else if (name != "version") {
            refuse(path, "is no member of a profile");
        }
    }
    return camera_profile(std::move(values));
}

std::string to_json(const camera_profile& profile)
{
    const profile_values& values = profile.values();
    const json curve =
        values.tone_curve.table().empty() ? json(values.tone_curve.name()) : json(values.tone_curve.table());
    // Line by line: the library's own indentation would give each number a line.
    std::string text = "{\n    \"version\": " + std::to_string(format_version);
    const auto add = [&text](const char* name, const json& value) {
        text += std::string(",\n    \"") + name + "\": " + value.dump();
    };
    add("description", values.description);
    add("bits", values.bits);
    add("black_level", values.black_level);
    add("white_balance", values.white_balance);
    text += ",\n    \"matrix\": [";
    for (std::size_t row = 0; row < values.matrix.size(); ++row) {
        text += (row == 0 ? "\n        " : ",\n        ") + json(values.matrix.at(row)).dump();
    }
    text += "\n    ]";
    add("tone_curve", curve);
    add("output_depth", values.output_depth);
    return text + "\n}\n";
}

camera_profile load_profile(const std::filesystem::path& file)
{
    try {
        return from_json(files::read_text(file));
    } catch (const files::file_error& error) {
        throw profile_error("", error.reason(), file.string());
    } catch (const profile_error& error) {
        throw profile_error(error.path(), error.reason(), file.string());
    }
}

void save_profile(const camera_profile& profile, const std::filesystem::path& file)
{
    try {
        const std::string text = to_json(profile);
        files::output_file output(file);
        output.write(0, text.data(), text.size());
        output.commit();
    } catch (const files::file_error& error) {
        throw profile_error("", error.reason(), file.string());
    }
}

} // namespace kx::profile
