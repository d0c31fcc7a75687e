// Options that exist four times: for all channels and for each alone.
#pragma once

#include "settings.h"

#include <CLI/CLI.hpp>

namespace kx::convert {

// What an option of all channels and the three channels' own options gave. The help shows the first alone.
template <typename Value>
class channel_options {
public:
    channel_options(CLI::App& app, std::string name, const std::string& what, const std::string& type,
                    const CLI::Validator& check)
        : name_(std::move(name))
    {
        add(app, "--" + name_, for_all_, what, type, check, processing_group);
        for (std::size_t channel = 0; channel < own_.size(); ++channel) {
            add(app, own_name(channel), own_[channel], "", type, check, hidden_group);
        }
    }

    // A channel's own value comes before the value for all.
    template <typename Result, typename Convert>
    void collect(per_channel<std::optional<given<Result>>>& result, Convert convert) const
    {
        for (std::size_t channel = 0; channel < own_.size(); ++channel) {
            if (own_[channel]) {
                result[channel] = given<Result>{own_name(channel), convert(own_name(channel), *own_[channel])};
            } else if (for_all_) {
                result[channel] = given<Result>{"--" + name_, convert("--" + name_, *for_all_)};
            }
        }
    }

private:
    static constexpr const char* processing_group = "Processing";
    static constexpr const char* hidden_group = "";

    [[nodiscard]] std::string own_name(std::size_t channel) const
    {
        return std::string("--") + channel_names[channel] + "-" + name_;
    }

    static void add(CLI::App& app, const std::string& option, std::optional<Value>& value, const std::string& what,
                    const std::string& type, const CLI::Validator& check, const char* group)
    {
        app.add_option(option, value, what)->type_name(type)->check(check)->group(group);
    }

    std::string name_; // without dashes
    std::optional<Value> for_all_;
    per_channel<std::optional<Value>> own_;
};

} // namespace kx::convert
