// OpenColorIO: a matrix transform, and one followed by a table of 4,096 entries a channel.
#include "peers.h"

#include <OpenColorIO/OpenColorIO.h>

#include <memory>

namespace {

namespace ocio = OCIO_NAMESPACE;
using namespace kx::benchmarks;
using result = peer_task::result;

ocio::ConstCPUProcessorRcPtr make_processor(bool with_table, ocio::BitDepth output_depth)
{
    double elements[16] = {};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            elements[4 * row + column] = static_cast<double>(correction.at(3 * row + column));
        }
    }
    elements[15] = 1.0;
    const auto matrix = ocio::MatrixTransform::Create();
    matrix->setMatrix(elements);
    const auto group = ocio::GroupTransform::Create();
    group->appendTransform(matrix);
    if (with_table) {
        const auto table = ocio::Lut1DTransform::Create(4096, false);
        for (unsigned long i = 0; i < 4096; ++i) {
            const auto value = static_cast<float>(encoded(static_cast<double>(i) / 4095));
            table->setValue(i, value, value, value);
        }
        group->appendTransform(table);
    }
    return ocio::Config::CreateRaw()->getProcessor(group)->getOptimizedCPUProcessor(
        ocio::BIT_DEPTH_UINT16, output_depth, ocio::OPTIMIZATION_DEFAULT);
}

call prepare(const peer_task& task)
{
    const bool wide = task.wanted == result::bits_16;
    const ocio::BitDepth depth = wide ? ocio::BIT_DEPTH_UINT16 : ocio::BIT_DEPTH_UINT8;
    const long bytes = wide ? 2 : 1; // of an output sample
    const auto columns = static_cast<long>(task.input.width);
    const auto rows = static_cast<long>(task.input.height);
    const auto describe = [=](void* samples, ocio::BitDepth of_samples, long size) {
        return std::make_shared<ocio::PackedImageDesc>(samples, columns, rows, ocio::CHANNEL_ORDERING_RGB, of_samples,
                                                       size, 3 * size, 3 * size * columns);
    };
    const auto from = describe(const_cast<std::uint16_t*>(task.input.samples.data()), ocio::BIT_DEPTH_UINT16, 2);
    const auto to = describe(task.output, depth, bytes);
    return [=, with = make_processor(task.wanted == result::table, depth)] { with->apply(*from, *to); };
}

const bool added = add_peer(
    {"OpenColorIO", std::string(ocio::GetVersion()) + ": matrix, Lut1D (4,096 entries); scales to 8 bits", prepare});

} // namespace
