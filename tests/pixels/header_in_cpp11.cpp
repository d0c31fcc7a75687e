// A C++ host's view of the header: it compiles without warnings, and its functions have C linkage.
#include "korvex_kvi_color_processing.h"

#include "korvex_kvi_color_processing.h" // twice does no harm

extern "C" KX_COLOR_PROCESSING_API int32_t kx_color_clear_matrix(kx_color_processor* processor);
