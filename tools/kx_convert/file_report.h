// What there is to say about a file's conversion: what its metadata lost, how its samples clip, how long it took.
#pragma once

#include "console.h"
#include "file_tasks.h"
#include "images/description.h"
#include "sample_statistics.h"

#include <set>

namespace kx::convert {

// Turns the input's metadata into what holds for the output; what does not is added to the names of what is left out.
void carry_metadata(images::metadata& about, const transform_plan& plan, const images::described_output& output);

class file_report {
public:
    // `depth`: the output's bits.
    file_report(file_task task, const transform_plan& plan, unsigned depth);

    void add_page(const clipping& clipped, unsigned used_bits, const images::metadata& about);
    void add_left_out(const std::set<std::string>& names);

    void warn(console& messages) const;
    [[nodiscard]] std::string info(const std::string& vector_level, std::uint64_t pixels, double library_seconds,
                                   double whole_seconds) const;

private:
    file_task task_;
    const transform_plan& plan_;
    unsigned depth_;
    std::uint32_t pages_ = 0;
    clipping clipped_;
    unsigned used_bits_ = 0;
    std::set<std::string> left_out_;
    std::vector<std::string> oddities_;
};

} // namespace kx::convert
