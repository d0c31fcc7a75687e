// What there is to say about a file's conversion: what its metadata lost, how its samples clip, how long it took.
#pragma once

#include "console.h"
#include "file_tasks.h"
#include "images/description.h"
#include "images/ledger.h"
#include "sample_statistics.h"
#include "transform_plan.h"

#include <set>

namespace kx::convert {

// Turns the input's metadata into what holds for the output; what does not is added to the names of what is left out.
void carry_metadata(images::metadata& about, const transform_plan& plan, const images::described_output& output);

// What is known of a page's samples once it is converted.
struct page_facts {
    clipping clipped{};
    unsigned used_bits = 0; // of the output
    double library_seconds = 0;
};

class file_report {
public:
    // `depth`: the output's bits.
    file_report(file_task task, unsigned depth) : task_(std::move(task)), depth_(depth) {}

    void add_page(const page_facts& facts, const images::metadata& about);
    void add_left_out(const std::set<std::string>& names);

    // Throws image_error if anything was lost.
    void refuse_losses() const;

    void warn(console& messages) const;
    [[nodiscard]] std::string info(std::uint64_t pixels, double whole_seconds) const;

private:
    file_task task_;
    unsigned depth_;
    std::uint32_t pages_ = 0;
    page_facts sum_;
    images::ledger losses_;
};

} // namespace kx::convert
