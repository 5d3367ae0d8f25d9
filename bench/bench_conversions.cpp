// The colour conversions at 1920x1080, each beside its baselines in the
// same run.
//
// GPU: ColourConversion's four RGB <-> Y'CrCb converters (8-bit RGBA and
// 8-bit 4:2:2 / 4:4:4 surfaces, BT.709 legal range, the low-pass filter for
// 4:2:2), beside two bare passes of the same size: the library's own
// pass-through (reorderComponents rgba -> rgba, which reads each texel by
// its computed position) and a copy that point-samples each pixel. The GPU
// is finished after every pass (llvmpipe skips draws nobody waits for).
//
// CPU (when built with them): libswscale with SWS_ACCURATE_RND (packed RGBA
// to and from packed YUYV 4:2:2 and planar 4:4:4) and zimg (planar RGB to
// and from planar 4:2:2 and 4:4:4; zimg takes no packed formats), one thread
// each, BT.709 legal range.
#include "host/misc/BackgroundTasks.h"
#include "image/ColourConversion.h"
#include "manager/Manager.h"
#include "platform/LinuxServices.h"

#include <benchmark/benchmark.h>

#ifdef QFFX_HAVE_SWSCALE
extern "C" {
#include <libswscale/swscale.h>
}
#endif
#ifdef QFFX_HAVE_ZIMG
#include <zimg.h>
#endif

#include <cstdlib>
#include <vector>

namespace {

using CC = Qf::Image::ColourConversion;
constexpr int kWidth = 1920, kHeight = 1080;

// The GPU service, with the manager started and its background compilation
// of every effect finished, so that no compile shares the CPU with a
// measured pass.
iGPUService* service() {
    static iGPUService* gpu = [] {
        installOS(&LinuxServices::instance());
        Qf::FxResources::Manager::startup(false);
        UIBackgroundTasksQueue::instance().waitUntilIdle();
        return OS()->gpu();
    }();
    return gpu;
}

Surface picture(iGPUService& gpu, Format format) {
    Surface s(kWidth, kHeight, format, 8);
    uint8_t* p = s.getPixels();
    for (size_t i = 0; i < s.getByteSize(); ++i) p[i] = uint8_t((i * 2654435761u) >> 24 | 16);
    Data::Video video;
    video.range = format == Format::eRGBA ? Data::Video::eFullRange : Data::Video::eLegalRange;
    s.setVideoData(video);
    s.createGPUSurface(gpu);
    return s;
}

void rate(benchmark::State& state) {
    state.counters["passes/s"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

template <typename Convert>
void gpuPasses(benchmark::State& state, Format from, Format to, Convert convert) {
    iGPUService* gpu = service();
    if (!gpu) return state.SkipWithError("no GPU service");
    const Surface source = picture(*gpu, from);
    Surface destination = picture(*gpu, to);
    if (!convert(source, destination)) return state.SkipWithError("the conversion failed");
    gpu->finish();
    for (auto _ : state) {
        convert(source, destination);
        gpu->finish();
    }
    rate(state);
}

void BM_GPU_PassThrough(benchmark::State& state) {
    gpuPasses(state, Format::eRGBA, Format::eRGBA,
              [](const Surface& s, Surface& d) { return CC::reorderComponents(s, d, "rgba", "rgba"); });
}
// The barest pass: one point-sampled read per pixel, written out as it is.
void BM_GPU_SampledCopy(benchmark::State& state) {
    if (!service()) return state.SkipWithError("no GPU service");
    static const Ptr<iShaderEffect> copy = Qf::FxResources::Manager::instance().createShaderFromCode(
        "BenchSampledCopy", {"DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );",
                             "DeclareInput( Input, Point );", "DeclareEntryPoint()", "{", "return tex2D( Input, uv1 );", "}"});
    gpuPasses(state, Format::eRGBA, Format::eRGBA, [](const Surface& s, Surface& d) {
        return copy && copy->draw(d.getGPUSurface(), {ShaderInputBinding::whole("Input", s.getGPUSurface())}, 0);
    });
}
void BM_GPU_RGBToYCrCb422(benchmark::State& state) {
    gpuPasses(state, Format::eRGBA, Format::eYUY2,
              [](const Surface& s, Surface& d) { return CC::convertRGBToYCrCb422(s, d, CC::eFilterLowPass); });
}
void BM_GPU_RGBToYCrCb444(benchmark::State& state) {
    gpuPasses(state, Format::eRGBA, Format::eRGBA,
              [](const Surface& s, Surface& d) { return CC::convertRGBToYCrCb444(s, d, CC::eFilterPoint); });
}
void BM_GPU_YCrCb422ToRGB(benchmark::State& state) {
    gpuPasses(state, Format::eYUY2, Format::eRGBA,
              [](const Surface& s, Surface& d) { return CC::convertYCrCb422ToRGB(s, d, CC::eGamutFull, CC::eFilterLowPass); });
}
void BM_GPU_YCrCb444ToRGB(benchmark::State& state) {
    gpuPasses(state, Format::eRGBA, Format::eRGBA, [](const Surface& s, Surface& d) {
        Surface legal = s;
        Data::Video video;
        legal.setVideoData(video);
        return CC::convertYCrCb444ToRGB(legal, d, CC::eGamutFull, CC::eFilterPoint);
    });
}

BENCHMARK(BM_GPU_PassThrough)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GPU_SampledCopy)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GPU_RGBToYCrCb422)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GPU_RGBToYCrCb444)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GPU_YCrCb422ToRGB)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GPU_YCrCb444ToRGB)->UseRealTime()->Unit(benchmark::kMillisecond);

// A frame's planes (or one packed plane) of 8-bit samples.
struct Frame {
    std::vector<std::vector<uint8_t>> planes;
    std::vector<int> strides;
    Frame(std::initializer_list<std::pair<int, int>> planeSizes) { // (bytes per row, rows)
        for (const auto& [row, rows] : planeSizes) {
            planes.emplace_back(size_t(row) * size_t(rows), uint8_t(128));
            strides.push_back(row);
        }
    }
};

#ifdef QFFX_HAVE_SWSCALE
void swscalePasses(benchmark::State& state, AVPixelFormat from, Frame in, AVPixelFormat to, Frame out) {
    SwsContext* sws =
        sws_getContext(kWidth, kHeight, from, kWidth, kHeight, to, SWS_BICUBIC | SWS_ACCURATE_RND, nullptr, nullptr, nullptr);
    if (!sws) return state.SkipWithError("swscale cannot convert this pair");
    const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
    const bool rgbIn = from == AV_PIX_FMT_RGBA;
    sws_setColorspaceDetails(sws, bt709, rgbIn ? 1 : 0, bt709, rgbIn ? 0 : 1, 0, 1 << 16, 1 << 16);
    const uint8_t* src[4] = {};
    uint8_t* dst[4] = {};
    for (size_t p = 0; p < in.planes.size(); ++p) src[p] = in.planes[p].data();
    for (size_t p = 0; p < out.planes.size(); ++p) dst[p] = out.planes[p].data();
    for (auto _ : state) sws_scale(sws, src, in.strides.data(), 0, kHeight, dst, out.strides.data());
    sws_freeContext(sws);
    rate(state);
}
const Frame kRGBA{{kWidth * 4, kHeight}}, kYUYV{{kWidth * 2, kHeight}},
    kPlanar444{{kWidth, kHeight}, {kWidth, kHeight}, {kWidth, kHeight}};
void BM_Swscale_RGBToYCrCb422(benchmark::State& s) { swscalePasses(s, AV_PIX_FMT_RGBA, kRGBA, AV_PIX_FMT_YUYV422, kYUYV); }
void BM_Swscale_RGBToYCrCb444(benchmark::State& s) { swscalePasses(s, AV_PIX_FMT_RGBA, kRGBA, AV_PIX_FMT_YUV444P, kPlanar444); }
void BM_Swscale_YCrCb422ToRGB(benchmark::State& s) { swscalePasses(s, AV_PIX_FMT_YUYV422, kYUYV, AV_PIX_FMT_RGBA, kRGBA); }
void BM_Swscale_YCrCb444ToRGB(benchmark::State& s) { swscalePasses(s, AV_PIX_FMT_YUV444P, kPlanar444, AV_PIX_FMT_RGBA, kRGBA); }
BENCHMARK(BM_Swscale_RGBToYCrCb422)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Swscale_RGBToYCrCb444)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Swscale_YCrCb422ToRGB)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Swscale_YCrCb444ToRGB)->UseRealTime()->Unit(benchmark::kMillisecond);
#endif

#ifdef QFFX_HAVE_ZIMG
zimg_image_format format(bool rgb, int chromaShift) {
    zimg_image_format f;
    zimg_image_format_default(&f, ZIMG_API_VERSION);
    f.width = kWidth;
    f.height = kHeight;
    f.pixel_type = ZIMG_PIXEL_BYTE;
    f.subsample_w = unsigned(chromaShift);
    f.color_family = rgb ? ZIMG_COLOR_RGB : ZIMG_COLOR_YUV;
    f.matrix_coefficients = rgb ? ZIMG_MATRIX_RGB : ZIMG_MATRIX_709;
    f.transfer_characteristics = ZIMG_TRANSFER_709;
    f.color_primaries = ZIMG_PRIMARIES_709;
    f.pixel_range = rgb ? ZIMG_RANGE_FULL : ZIMG_RANGE_LIMITED;
    return f;
}

void zimgPasses(benchmark::State& state, bool fromRGB, int chromaShift) {
    const zimg_image_format in = format(fromRGB, fromRGB ? 0 : chromaShift), out = format(!fromRGB, fromRGB ? chromaShift : 0);
    zimg_graph_builder_params params;
    zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
    params.resample_filter_uv = ZIMG_RESIZE_BICUBIC;
    zimg_filter_graph* graph = zimg_filter_graph_build(&in, &out, &params);
    if (!graph) return state.SkipWithError("zimg cannot build this graph");
    size_t tmpSize = 0;
    zimg_filter_graph_get_tmp_size(graph, &tmpSize);
    void* tmp = std::aligned_alloc(64, (tmpSize + 63) / 64 * 64);
    const int chromaWidth = kWidth >> chromaShift;
    Frame src{{kWidth, kHeight}, {fromRGB ? kWidth : chromaWidth, kHeight}, {fromRGB ? kWidth : chromaWidth, kHeight}};
    Frame dst{{kWidth, kHeight}, {fromRGB ? chromaWidth : kWidth, kHeight}, {fromRGB ? chromaWidth : kWidth, kHeight}};
    zimg_image_buffer_const srcBuffer = {ZIMG_API_VERSION, {}};
    zimg_image_buffer dstBuffer = {ZIMG_API_VERSION, {}};
    for (int p = 0; p < 3; ++p) {
        srcBuffer.plane[p] = {src.planes[size_t(p)].data(), src.strides[size_t(p)], ZIMG_BUFFER_MAX};
        dstBuffer.plane[p] = {dst.planes[size_t(p)].data(), dst.strides[size_t(p)], ZIMG_BUFFER_MAX};
    }
    for (auto _ : state) zimg_filter_graph_process(graph, &srcBuffer, &dstBuffer, tmp, nullptr, nullptr, nullptr, nullptr);
    std::free(tmp);
    zimg_filter_graph_free(graph);
    rate(state);
}
void BM_Zimg_RGBToYCrCb422(benchmark::State& s) { zimgPasses(s, true, 1); }
void BM_Zimg_RGBToYCrCb444(benchmark::State& s) { zimgPasses(s, true, 0); }
void BM_Zimg_YCrCb422ToRGB(benchmark::State& s) { zimgPasses(s, false, 1); }
void BM_Zimg_YCrCb444ToRGB(benchmark::State& s) { zimgPasses(s, false, 0); }
BENCHMARK(BM_Zimg_RGBToYCrCb422)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Zimg_RGBToYCrCb444)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Zimg_YCrCb422ToRGB)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Zimg_YCrCb444ToRGB)->UseRealTime()->Unit(benchmark::kMillisecond);
#endif

} // namespace

BENCHMARK_MAIN();
