// The library's C functions called in a loop, for python_overhead.py to measure korvex_color against.
#include <korvex_kvi_color_processing.hpp>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <chrono>
#include <cstdint>
#include <numeric>

namespace py = pybind11;
namespace kc = korvex::color;

namespace {

using input_array = py::array_t<std::uint16_t, py::array::c_style>;

// A processor like one of Python's: 12-bit LUTs, filled as a ramp.
kc::processor make(bool with_matrix, bool with_input_LUTs, bool with_output_LUTs)
{
    // Never terminated: that would take the LUT module from the package, too.
    static const auto* const library = new kc::library();
    kc::processor processor(*library, {12, 12, {}});
    if (with_matrix) {
        processor.append_matrix({1.6F, -0.4F, -0.2F, -0.3F, 1.5F, -0.2F, 0.0F, -0.5F, 1.5F});
    }
    for (const kc::channel which : {kc::channel::blue, kc::channel::green, kc::channel::red}) {
        for (const kc::LUT_range LUT : {processor.input_LUT(which), processor.output_LUT(which)}) {
            std::iota(LUT.begin(), LUT.end(), 0U);
        }
    }
    processor.enable_input_LUTs(with_input_LUTs);
    processor.enable_output_LUTs(with_output_LUTs);
    return processor;
}

// Seconds that each of `count` calls takes. The arrays are contiguous and red comes first.
template <typename Sample, typename Function>
double time_calls(Function* function, const kc::processor& processor, const input_array& frame, const py::array& out,
                  int count)
{
    const auto pixels = static_cast<std::int32_t>(frame.size() / 3);
    auto* const target = static_cast<Sample*>(const_cast<void*>(out.data()));
    const std::uint16_t* const source = frame.data();
    const auto start = std::chrono::steady_clock::now();
    for (int call = 0; call < count; ++call) {
        if (function(processor.handle(), source, KX_COLOR_INTERLEAVED_RGB, 0, 4095, 0, 4095, 0, 4095, 0, 0, 0, target,
                     KX_COLOR_INTERLEAVED_RGB, pixels)
            != KX_COLOR_SUCCESS) {
            throw std::runtime_error("the library refused the call");
        }
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / count;
}

double time_48_to_48_or_24(const kc::processor& processor, const input_array& frame, const py::array& out, int count)
{
    return out.itemsize() == 1 ? time_calls<std::uint8_t>(kx_color_transform_48_to_24, processor, frame, out, count)
                               : time_calls<std::uint16_t>(kx_color_transform_48_to_48, processor, frame, out, count);
}

} // namespace

PYBIND11_MODULE(kx_direct_calls, module)
{
    py::class_<kc::processor>(module, "Processor").def(py::init(&make)).def("time_calls", &time_48_to_48_or_24);
}
