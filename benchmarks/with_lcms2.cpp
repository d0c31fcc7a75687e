// Little CMS: a device-link pipeline of a matrix, and one of a matrix and curves.
#include "workload.h"

#include <benchmark/benchmark.h>
#include <lcms2.h>

namespace {

using namespace kx::benchmarks;

constexpr cmsUInt32Number pixels = 2'000'000; // the same for each pixel, only sooner done

cmsHTRANSFORM make_transform(bool with_curves, cmsUInt32Number output_type)
{
    cmsFloat64Number elements[9];
    for (std::size_t i = 0; i < 9; ++i) {
        elements[i] = static_cast<cmsFloat64Number>(correction[i]);
    }
    cmsPipeline* const pipeline = cmsPipelineAlloc(nullptr, 3, 3);
    cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocMatrix(nullptr, 3, 3, elements, nullptr));
    if (with_curves) {
        cmsToneCurve* const curve = cmsBuildGamma(nullptr, 1.0 / 2.2);
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
    return transform;
}

void run(benchmark::State& state, bool with_curves, cmsUInt32Number output_type)
{
    cmsHTRANSFORM transform = make_transform(with_curves, output_type);
    if (transform == nullptr) {
        state.SkipWithError("no transform could be made");
        return;
    }
    const std::vector<std::uint16_t> input = noise_image(static_cast<std::int32_t>(pixels));
    std::vector<std::uint16_t> output(input.size());
    while (state.KeepRunning()) {
        cmsDoTransform(transform, input.data(), output.data(), pixels);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * pixels);
    cmsDeleteTransform(transform);
}

void matrix_to_16_bits(benchmark::State& state)
{
    run(state, false, TYPE_RGB_16);
}

void matrix_to_8_bits(benchmark::State& state)
{
    run(state, false, TYPE_RGB_8);
}

void matrix_and_curves_to_8_bits(benchmark::State& state)
{
    run(state, true, TYPE_RGB_8);
}

BENCHMARK(matrix_to_16_bits)->Name("matrix to 16 bits/Little CMS")->Unit(benchmark::kMillisecond);
BENCHMARK(matrix_to_8_bits)->Name("matrix to 8 bits/Little CMS")->Unit(benchmark::kMillisecond);
BENCHMARK(matrix_and_curves_to_8_bits)
    ->Name("matrix and table to 8 bits/Little CMS (curves)")
    ->Unit(benchmark::kMillisecond);

} // namespace
