// Little CMS: a device-link pipeline of a matrix, and one of a matrix and curves.
#include "peers.h"

#include <lcms2.h>

#include <memory>
#include <stdexcept>

namespace {

using namespace kx::benchmarks;
using result = peer_task::result;

cmsHTRANSFORM make_transform(bool with_curves, cmsUInt32Number output_type)
{
    cmsFloat64Number elements[9];
    for (std::size_t i = 0; i < 9; ++i) {
        elements[i] = static_cast<cmsFloat64Number>(correction[i]);
    }
    cmsPipeline* const pipeline = cmsPipelineAlloc(nullptr, 3, 3);
    cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocMatrix(nullptr, 3, 3, elements, nullptr));
    if (with_curves) {
        cmsToneCurve* const curve = cmsBuildGamma(nullptr, 0.5); // as `encoded`
        cmsToneCurve* const curves[3] = {curve, curve, curve};
        cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, curves));
        cmsFreeToneCurve(curve);
    }
    cmsHPROFILE link = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(link, 4.3);
    cmsSetDeviceClass(link, cmsSigLinkClass);
    cmsSetColorSpace(link, cmsSigRgbData);
    cmsSetPCS(link, cmsSigRgbData);
    cmsWriteTag(link, cmsSigAToB0Tag, pipeline);
    cmsPipelineFree(pipeline);
    cmsHPROFILE profiles[1] = {link};
    cmsHTRANSFORM transform = cmsCreateMultiprofileTransform(profiles, 1, TYPE_RGB_16, output_type,
                                                             INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE);
    cmsCloseProfile(link);
    if (transform == nullptr) {
        throw std::runtime_error("Little CMS makes no transform");
    }
    return transform;
}

call prepare(const peer_task& task)
{
    const std::shared_ptr<void> transform(
        make_transform(task.wanted == result::table, task.wanted == result::bits_16 ? TYPE_RGB_16 : TYPE_RGB_8),
        cmsDeleteTransform);
    return [=, &input = task.input, output = task.output] {
        cmsDoTransform(transform.get(), input.samples.data(), output, static_cast<cmsUInt32Number>(input.pixels()));
    };
}

std::string version()
{
    const int number = cmsGetEncodedCMMversion(); // 2140 for 2.14
    return std::to_string(number / 1000) + "." + std::to_string(number / 10 % 100);
}

const bool added =
    add_peer({"Little CMS", version() + ": pipeline of matrix and curves, unoptimized; scales to 8 bits", prepare});

} // namespace
