// Tone curves: from linear light, 0..1, to what is stored, 0..1.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kx::profile {

// A curve by name or by table; an immutable value.
class tone_curve {
public:
    tone_curve() = default; // linear

    // "linear", "srgb", "rec709", "gamma:G" (the exponent 1/G, G from 0.01 to 100), or "inverse:" and one of these,
    // in any case of letters. Throws profile_error.
    static tone_curve named(const std::string& name);

    // Values at equal steps from 0 to 1, 2 to 65536 of them, from 0 to 1 each; straight lines between them. Throws
    // profile_error, whose path is that of the wrong value.
    static tone_curve from_table(std::vector<double> table);

    // The curve at x, from 0 to 1; values beyond count as the nearer end.
    [[nodiscard]] double operator()(double x) const;

    // The name, empty for a table; the table, empty for a name.
    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] const std::vector<double>& table() const { return table_; }

    [[nodiscard]] bool is_linear() const { return shape_ == nullptr && table_.empty(); }

    bool operator==(const tone_curve& other) const { return name_ == other.name_ && table_ == other.table_; }

private:
    std::string name_ = "linear";
    std::vector<double> table_;
    std::function<double(double)> shape_; // none for linear and tables
};

} // namespace kx::profile
