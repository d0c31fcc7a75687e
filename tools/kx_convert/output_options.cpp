#include "option_groups.h"

#include <korvex_kvi_color_processing.h>

namespace kx::convert {

namespace {

const std::map<std::string, images::compression> compressions{{"none", images::compression::none},
                                                              {"lzw", images::compression::lzw},
                                                              {"deflate", images::compression::deflate},
                                                              {"zstd", images::compression::zstd}};

const std::map<std::string, std::optional<std::int32_t>> vector_levels{{"scalar", KX_COLOR_VECTOR_LEVEL_SCALAR},
                                                                       {"sse", KX_COLOR_VECTOR_LEVEL_SSE},
                                                                       {"avx2", KX_COLOR_VECTOR_LEVEL_AVX2},
                                                                       {"auto", std::nullopt}};

template <typename Set>
CLI::Validator one_of(Set allowed)
{
    return CLI::IsMember(std::move(allowed)).description("");
}

} // namespace

output_options::output_options(CLI::App& app)
{
    constexpr const char* group = "Output and execution";
    app.add_option("--depth", depth_, "Bits of an output sample: 16 (default) or 8")
        ->type_name("BITS")
        ->check(one_of(std::set{8U, 16U}))
        ->group(group);
    app.add_option("--channels", channels_, "Samples of an output pixel: 3 (default), or 4, the fourth 0 (TIFF only)")
        ->type_name("N")
        ->check(one_of(std::set{3U, 4U}))
        ->group(group);
    app.add_flag("--planar", planar_, "Write separate planes (TIFF only)")->group(group);
    app.add_option("--compression", compression_, "none (default), lzw, deflate or zstd (TIFF only)")
        ->type_name("NAME")
        ->check(one_of(compressions))
        ->group(group);
    app.add_option("--level", level_, "Effort of compression: PNG 0..9 (default 1), deflate 1..9 (6), zstd 1..22 (3)")
        ->type_name("N")
        ->check(CLI::Range(0, 22).description(""))
        ->group(group);

    app.add_flag("--bigtiff", big_tiff_, "Write a BigTIFF, whatever the size; larger than 4 GB they always are")
        ->group(group);

    app.add_option("--threads", threads_, "Convert with N threads (default: one for each processor core)")
        ->type_name("N")
        ->check(CLI::Range(1U, 256U).description(""))
        ->group(group);
    app.add_option("--vector-level", vector_level_, "Use at most these kernels: scalar, sse, avx2 or auto (default)")
        ->type_name("LEVEL")
        ->check(one_of(vector_levels))
        ->group(group);
    app.add_flag("--info", info_, "Print the vector level, the times and the clipped samples")->group(group);
    app.add_flag("--quiet", quiet_, "No progress, warnings and summary")->group(group);
}

void output_options::put_into(settings& wanted) const
{
    wanted.depth = depth_;
    wanted.channels = channels_;
    wanted.planar = planar_;
    if (!compression_.empty()) {
        wanted.tiff_compression = compressions.at(compression_);
    }
    wanted.level = level_;
    wanted.threads = threads_;
    wanted.vector_level = vector_levels.at(vector_level_);
    wanted.big_tiff = big_tiff_;
    wanted.info = info_;
    wanted.quiet = quiet_;
}

} // namespace kx::convert
