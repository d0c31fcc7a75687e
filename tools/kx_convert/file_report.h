// What there is to say about a file's conversion: what its metadata lost, how its samples clip, how long it took.
#pragma once

#include "console.h"
#include "file_tasks.h"
#include "images/image_file.h"
#include "sample_statistics.h"
#include "transform_plan.h"

namespace kx::convert {

// Adds to an input page's metadata how the output is made, and leaves out what does not hold once colours have changed.
void carry_metadata(images::metadata& about, const transform_plan& plan, images::ledger& losses, std::uint32_t page);

// What is known of a page's samples once it is converted.
struct page_facts {
    clipping clipped{};
    bool uses_range = false; // of the output
    double library_seconds = 0;
};

class file_report {
public:
    // `depth`: the output's bits.
    file_report(file_task task, unsigned depth) : task_(std::move(task)), depth_(depth) {}

    void add_page(const page_facts& facts);

    void warn(console& messages, const images::ledger& losses) const;
    [[nodiscard]] std::string info(std::uint64_t pixels, double whole_seconds) const;

private:
    file_task task_;
    unsigned depth_;
    std::uint32_t pages_ = 0;
    page_facts sum_;
};

} // namespace kx::convert
