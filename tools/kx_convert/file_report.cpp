#include "file_report.h"

#include <algorithm>
#include <locale>
#include <sstream>

namespace kx::convert {

namespace {

// A larger share of clipped samples is worth a warning.
constexpr double many = 0.05;

std::string percent(double share)
{
    std::ostringstream text;
    text.precision(3);
    text << 100 * share << " %";
    return text.str();
}

} // namespace

void carry_metadata(images::metadata& about, const transform_plan& plan, images::ledger& losses, std::uint32_t page)
{
    const auto software =
        std::ranges::find(about.texts, images::software_keyword, &std::pair<std::string, std::string>::first);
    if (software == about.texts.end()) {
        about.texts.emplace_back(images::software_keyword, plan.record);
    } else {
        software->second += "; " + plan.record;
    }
    if (!plan.changes_colors) {
        return;
    }
    if (!about.icc_profile.empty()) {
        losses.enter(images::loss::dropped, "the ICC profile, which is not applied", page);
    } else if (about.is_srgb || about.gamma) {
        losses.enter(images::loss::dropped,
                     about.is_srgb ? "the mark as sRGB, which is not applied" : "the gamma, which is not applied",
                     page);
    }
    about.icc_profile.clear();
    about.gamma.reset();
    about.is_srgb = plan.output_is_srgb;
}

void file_report::add_page(const page_facts& facts)
{
    ++pages_;
    sum_.clipped.add(facts.clipped);
    sum_.uses_range = sum_.uses_range || facts.uses_range;
    sum_.library_seconds += facts.library_seconds;
}

void file_report::warn(console& messages, const images::ledger& losses) const
{
    const std::string input = task_.input.string() + ": ";
    for (const std::string& line : losses.lines()) {
        messages.warn(input + line);
    }
    if (!sum_.uses_range) {
        const unsigned full_scale = (1U << depth_) - 1;
        messages.warn(input + "no output sample is above " + std::to_string(full_scale / 16) + " of "
                      + std::to_string(full_scale) + ": --input-bits scales what a camera with fewer bits delivers");
    }
    const auto pixels = static_cast<double>(sum_.clipped.pixels);
    for (std::size_t channel = 0; channel < channel_names.size(); ++channel) {
        const auto check = [&](std::uint64_t count, const char* where) {
            if (const double share = static_cast<double>(count) / pixels; share > many) {
                messages.warn(input + percent(share) + " of the " + channel_names.at(channel)
                              + " samples are clipped: " + where);
            }
        };
        check(sum_.clipped.below.at(channel), "the matrix takes them below the clamp's minimum");
        check(sum_.clipped.above.at(channel), "the matrix takes them above the clamp's maximum");
    }
}

std::string file_report::info(std::uint64_t pixels, double whole_seconds) const
{
    const double megapixels = static_cast<double>(pixels) / 1e6;
    std::ostringstream text; // with the classic locale, so that scripts can read it
    text.imbue(std::locale::classic());
    text << std::fixed;
    text.precision(3);
    const auto times = [&](const char* what, double taken) {
        text << what << taken * 1e3 << " ms, " << megapixels / taken << " Mpixel/s\n";
    };
    text << "file: " << task_.output.string() << "\ntransformed: " << pages_ << (pages_ == 1 ? " page, " : " pages, ")
         << megapixels << " megapixels";
    times(" in ", sum_.library_seconds);
    times("with reading and writing: ", whole_seconds);
    const auto counts = [&text](const char* end, const per_channel<std::uint64_t>& of) {
        text << end << " red " << of[0] << ", green " << of[1] << ", blue " << of[2];
    };
    counts("clipped samples: below", sum_.clipped.below);
    counts("; above", sum_.clipped.above);
    text << '\n';
    return text.str();
}

} // namespace kx::convert
