// A host's view of the C++ interface: all of it compiles without warnings.
#include "korvex_kvi_color_processing.hpp"

#include "korvex_kvi_color_processing.hpp" // twice does no harm

namespace korvex::color {

template class image_view<std::uint8_t>;
template class image_view<const std::uint8_t>;
template class image_view<std::uint16_t>;
template class image_view<const std::uint16_t>;
template struct per_channel<clamp_range>;
template function_table function_table::found_by(void* (*const&)(const char*));

} // namespace korvex::color
