// One file's conversion.
#pragma once

#include "color_conversion.h"
#include "console.h"
#include "file_tasks.h"
#include "page_memory.h"

namespace kx::convert {

// What all files' conversions share.
struct conversion_run {
    const settings& wanted;
    const korvex::color::library& library;
    color_conversions& conversions;
    page_memory& memory;
    console& messages;
    bool steps_are_pages; // of the progress; otherwise files
};

// Converts a file with that many threads; warns of what is lost or looks wrong, and prints what --info asks for.
// Returns false if the file was skipped. Throws std::exception's children; the output file is then as it was before.
bool convert_file(const conversion_run& run, const file_task& task, unsigned threads);

} // namespace kx::convert
