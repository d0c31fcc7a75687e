// A whole file of text, as editors of all systems write it.
#pragma once

#include "file_error.h"

namespace kx::files {

// In UTF-8 without a byte-order mark; UTF-16, which its byte-order mark tells, is converted. Line ends are as they are.
// Throws file_error.
std::string read_text(const std::filesystem::path& file);

} // namespace kx::files
