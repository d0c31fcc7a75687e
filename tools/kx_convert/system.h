// What only the operating system can tell.
#pragma once

namespace kx::convert {

// Whether somebody watches standard error.
bool standard_error_is_terminal();

} // namespace kx::convert
