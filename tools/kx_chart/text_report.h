// Differences as text.
#pragma once

#include "judgement.h"

#include <iosfwd>

namespace kx::chart {

// A table with a row for each patch, then the mean and the largest difference. With `before`, its differences too.
void print(std::ostream& out, const judgement& verdict, const judgement* before = nullptr);

} // namespace kx::chart
