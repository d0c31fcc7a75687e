#include "camera_options.h"

#include "text_numbers.h"

namespace kx::convert {

namespace {

constexpr const char* camera_group = "Camera";
constexpr std::string_view area_mark = "auto:";

profile::pixel_area to_area(const std::string& text)
{
    std::vector<std::uint32_t> numbers;
    for (std::size_t start = area_mark.size(); start <= text.size();) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        const auto number = parse_number<std::uint32_t>(std::string_view(text).substr(start, end - start));
        if (!number) {
            numbers.clear();
            break;
        }
        numbers.push_back(*number);
        start = end + 1;
    }
    if (numbers.size() != 4) {
        throw option_error("--white-balance", "'" + text + "' needs four whole numbers: auto:X,Y,WIDTH,HEIGHT");
    }
    return {numbers[0], numbers[1], numbers[2], numbers[3]};
}

profile::channel_values to_gains(const std::vector<std::string>& words)
{
    profile::channel_values gains{};
    for (std::size_t channel = 0; channel < gains.size(); ++channel) {
        const auto number = words.size() == gains.size() ? parse_number<double>(words[channel]) : std::nullopt;
        if (!number) {
            throw option_error("--white-balance", "needs three numbers, for red, green and blue, or auto:X,Y,W,H");
        }
        gains.at(channel) = *number;
    }
    return gains;
}

// The product, in the order in which the processor would form it.
profile::color_matrix product_of(const std::vector<matrix>& matrices)
{
    profile::color_matrix product = profile::identity_matrix;
    for (const matrix& factor : matrices) {
        profile::color_matrix next{};
        for (std::size_t place = 0; place < 27; ++place) {
            const std::size_t row = place / 9;
            const std::size_t column = place / 3 % 3;
            const std::size_t inner = place % 3;
            next.at(row).at(column) += product.at(row).at(inner) * static_cast<double>(factor.at(3 * inner + column));
        }
        product = next;
    }
    return product;
}

// Which option is to blame for a member of the profile.
std::string option_for(const std::string& path)
{
    for (const auto& [member, option] : {std::pair{"/black_level", "--black-level"},
                                         {"/white_balance", "--white-balance"},
                                         {"/matrix", "--matrix"},
                                         {"/bits", "--input-bits"}}) {
        if (path.starts_with(member)) {
            return option;
        }
    }
    return "--profile";
}

} // namespace

camera_options::camera_options(CLI::App& app) : app_(app)
{
    app.add_option("--profile", profile_,
                   "The camera's profile (JSON, docs/profiles.md); other options override its members")
        ->type_name("FILE")
        ->group(camera_group);
    app.add_option("--black-level", black_level_, "Samples without light: red, green, blue")
        ->type_name("R G B")
        ->expected(3)
        ->group(camera_group);
    app.add_option("--white-balance", white_balance_,
                   "Gains, or auto:X,Y,W,H: from a neutral area of each file's first page")
        ->type_name("R G B")
        ->expected(1, 3)
        ->group(camera_group);
}

void camera_options::put_into(settings& wanted) const
{
    if (profile_.empty() && black_level_.empty() && white_balance_.empty()) {
        return;
    }
    profile::profile_values values;
    try {
        if (!profile_.empty()) {
            values = profile::load_profile(profile_).values();
        }
    } catch (const profile::profile_error& error) {
        throw option_error("--profile", error.what());
    }
    values.bits = wanted.input_bits.value_or(values.bits);
    std::ranges::copy(black_level_, values.black_level.begin());
    if (white_balance_.size() == 1 && white_balance_.front().starts_with(area_mark)) {
        wanted.balance_area = to_area(white_balance_.front());
    } else if (!white_balance_.empty()) {
        values.white_balance = to_gains(white_balance_);
    }
    if (!wanted.matrices.empty()) {
        values.matrix = product_of(wanted.matrices);
    }
    if (profile_.empty() || app_.count("--depth") > 0) {
        values.output_depth = static_cast<int>(wanted.depth);
    }
    wanted.depth = static_cast<unsigned>(values.output_depth);
    wanted.input_bits = values.bits;
    try {
        wanted.camera = profile::camera_profile(values);
    } catch (const profile::profile_error& error) {
        throw option_error(option_for(error.path()), error.what());
    }
}

} // namespace kx::convert
