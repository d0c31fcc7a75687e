// OpenCV: transform, then convertTo and LUT.
#include "peers.h"

#include <opencv2/core.hpp>

namespace {

using namespace kx::benchmarks;
using result = peer_task::result;

// Its LUT takes 8-bit indices only, so the table has 256 entries instead of 65,536.
cv::Mat make_table()
{
    cv::Mat table(1, 256, CV_8U);
    for (int i = 0; i < 256; ++i) {
        table.at<std::uint8_t>(i) = static_cast<std::uint8_t>(std::lround(255 * encoded(i / 255.0)));
    }
    return table;
}

call prepare(const peer_task& task)
{
    cv::setNumThreads(1);
    const int rows = static_cast<int>(task.input.height);
    const int columns = static_cast<int>(task.input.width);
    const cv::Mat matrix(3, 3, CV_32F, const_cast<float*>(correction.data()));
    const cv::Mat input(rows, columns, CV_16UC3, const_cast<std::uint16_t*>(task.input.samples.data()));
    const cv::Mat output(rows, columns, task.wanted == result::bits_16 ? CV_16UC3 : CV_8UC3, task.output);
    if (task.wanted == result::bits_16) {
        return [=] { cv::transform(input, output, matrix); };
    }
    const cv::Mat corrected(rows, columns, CV_16UC3);
    const auto narrow = [=](const cv::Mat& to) {
        cv::transform(input, corrected, matrix);
        corrected.convertTo(to, CV_8U, 1.0 / 256, -127.5 / 256); // which rounds; the high 8 bits are rounded down
    };
    if (task.wanted == result::bits_8) {
        return [=] { narrow(output); };
    }
    return [=, table = make_table(), narrowed = cv::Mat(rows, columns, CV_8UC3)] {
        narrow(narrowed);
        cv::LUT(narrowed, table, output);
    };
}

const bool added = add_peer({"OpenCV", CV_VERSION ": transform, convertTo, LUT (256 entries)", prepare});

} // namespace
