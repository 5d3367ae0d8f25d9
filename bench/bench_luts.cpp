// LUT loading and LUT passes, each beside a baseline in the same run.
//
// Loading: a 65-point .cube file (274,625 rows, six decimals, as colour
// tools write it) read by CubeLUT::load into a HostImage3D; beside it, only
// reading the file's bytes, and (when built with OpenColorIO) OpenColorIO
// reading the same file into a processor, its caches cleared every time.
//
// Passes: a 33-point LUT applied to a 1920x1080 RGBA8 frame through
// Qf::Image::GPU::applyLUT, trilinear (/0) and tetrahedral (/1); beside it a
// bare pass-through pass of the same size, and the shipped ApplyLUT effect,
// which lets the texture unit interpolate (hardware trilinear, less exact).
// The GPU is finished after every pass (llvmpipe skips unwaited draws).
#include "effects/ShaderEffectInfo.h"
#include "host/base/Strings.h"
#include "host/image/CubeLUT.h"
#include "image/GPU.h"
#include "platform/LinuxServices.h"

#include <benchmark/benchmark.h>

#ifdef QFFX_HAVE_OCIO
#include <OpenColorIO/OpenColorIO.h>
namespace OCIO = OCIO_NAMESPACE;
#endif

#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace {

constexpr int kWidth = 1920, kHeight = 1080;

// A smooth, non-trivial 65-point table written once into the temporary directory.
const std::string& cube65Path() {
    static const std::string path = [] {
        const std::string p = (std::filesystem::temp_directory_path() / "qffx_bench_65.cube").string();
        std::string text = "TITLE \"bench\"\nLUT_3D_SIZE 65\n";
        char line[96];
        for (int b = 0; b < 65; ++b)
            for (int g = 0; g < 65; ++g)
                for (int r = 0; r < 65; ++r) {
                    const double x = r / 64.0, y = g / 64.0, z = b / 64.0;
                    std::snprintf(line, sizeof line, "%.6f %.6f %.6f\n", std::pow(x, 1.1) * 0.9 + 0.05 * y,
                                  std::sqrt(y) * 0.5 + 0.5 * y, 0.8 * z + 0.1 * x * y);
                    text += line;
                }
        std::ofstream(p, std::ios::binary) << text;
        return p;
    }();
    return path;
}

void BM_LoadCube65_ReadBytes(benchmark::State& state) {
    const std::string& path = cube65Path();
    for (auto _ : state) {
        std::ifstream in(path, std::ios::binary);
        std::string bytes;
        char block[65536];
        while (in.read(block, sizeof block) || in.gcount() > 0) bytes.append(block, size_t(in.gcount()));
        benchmark::DoNotOptimize(bytes.data());
    }
}

void BM_LoadCube65_Ours(benchmark::State& state) {
    const LightweightString<wchar_t> path = fromUTF8(cube65Path().c_str());
    for (auto _ : state) {
        Ptr<HostImage3D> lut = CubeLUT::load(path);
        if (!lut) state.SkipWithError("the file did not load");
        benchmark::DoNotOptimize(lut.get());
    }
}

#ifdef QFFX_HAVE_OCIO
void BM_LoadCube65_OpenColorIO(benchmark::State& state) {
    for (auto _ : state) {
        // A new config each time: a config keeps the processors it made.
        OCIO::ClearAllCaches();
        const OCIO::ConstConfigRcPtr config = OCIO::Config::CreateRaw();
        OCIO::FileTransformRcPtr file = OCIO::FileTransform::Create();
        file->setSrc(cube65Path().c_str());
        file->setInterpolation(OCIO::INTERP_LINEAR);
        OCIO::ConstProcessorRcPtr processor = config->getProcessor(file);
        benchmark::DoNotOptimize(processor.get());
    }
}
BENCHMARK(BM_LoadCube65_OpenColorIO)->Unit(benchmark::kMillisecond);
#endif

// --- passes ---

iGPUService* service() {
    static iGPUService* gpu = [] {
        installOS(&LinuxServices::instance());
        return OS()->gpu();
    }();
    return gpu;
}

Surface frame(iGPUService& gpu) {
    const Ptr<HostImage> picture = HostImage::create({kWidth, kHeight}, iGPUImage::eRGBA8);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            picture->setTexel(x, y, {x / float(kWidth), y / float(kHeight), float((x ^ y) & 255) / 255.0f, 1});
    return Surface::forGPUImage(picture->createGPUImage(gpu));
}

Ptr<HostImage3D> lut33() {
    std::mt19937 rng(33);
    std::uniform_real_distribution<float> jitter(-0.05f, 0.05f);
    Ptr<HostImage3D> lut = HostImage3D::create(33, 33, 33, 3);
    for (int b = 0; b < 33; ++b)
        for (int g = 0; g < 33; ++g)
            for (int r = 0; r < 33; ++r) {
                float* t = lut->texel(r, g, b);
                t[0] = r / 32.0f + jitter(rng);
                t[1] = g / 32.0f + jitter(rng);
                t[2] = b / 32.0f + jitter(rng);
            }
    return lut;
}

void BM_Pass_ApplyLUT(benchmark::State& state) {
    iGPUService* gpu = service();
    if (!gpu) return state.SkipWithError("no GPU service");
    const Surface source = frame(*gpu);
    const Ptr<HostImage3D> host = lut33();
    const Ptr<iGPUImage> lut = host->createGPUImage(*gpu);
    Surface destination = Surface::forGPUImage(gpu->createImage({kWidth, kHeight}, iGPUImage::eRGBA8));
    const auto method = Qf::Image::GPU::eLUTInterpolation(state.range(0));
    if (!Qf::Image::GPU::applyLUT(source, destination, lut, {}, method)) return state.SkipWithError("applyLUT failed");
    gpu->finish();
    for (auto _ : state) {
        Qf::Image::GPU::applyLUT(source, destination, lut, {}, method);
        gpu->finish();
    }
    state.counters["passes/s"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

// Draws `effect` over the frame, the LUT bound when it has a 3D input.
void drawPasses(benchmark::State& state, const std::string& effectPath, const char* text) {
    iGPUService* gpu = service();
    if (!gpu) return state.SkipWithError("no GPU service");
    const Ptr<ShaderEffectInfo> info =
        text ? makePtr<ShaderEffectInfo>(TextFile::fromText(text)) : makePtr<ShaderEffectInfo>(fromUTF8(effectPath.c_str()), 0);
    const Ptr<iShaderEffect> effect = info->compile().shader;
    if (!effect) return state.SkipWithError("the effect did not compile");
    const Surface source = frame(*gpu);
    const Ptr<iGPUImage> target = gpu->createImage({kWidth, kHeight}, iGPUImage::eRGBA8);
    std::vector<ShaderInputBinding> inputs{ShaderInputBinding::whole("Input", source.getGPUSurface())};
    if (!text) {
        inputs.push_back(ShaderInputBinding::whole("Lut", lut33()->createGPUImage(*gpu)));
        effect->getParam(LightweightString<char>("LutSize"))->setFloat(33);
        effect->getParam(LightweightString<char>("Amount"))->setFloat(1);
    }
    effect->draw(target, inputs);
    gpu->finish();
    for (auto _ : state) {
        effect->draw(target, inputs);
        gpu->finish();
    }
    state.counters["passes/s"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_Pass_PassThrough(benchmark::State& state) {
    drawPasses(state, {},
               "DeclareQuillframeEffect( \"Copy\", \"Bench\", \"Bench\", kNoNotes, kNoFlags )\n"
               "DeclareInput( Input )\nDeclareEntryPoint( Copy )\n{\n   return tex2D( Input, uv1 );\n}\n");
}

void BM_Pass_HardwareTrilinearLUT(benchmark::State& state) { drawPasses(state, QFFX_SHADERS_SOURCE_DIR "ApplyLUT.fx", nullptr); }

} // namespace

BENCHMARK(BM_LoadCube65_ReadBytes)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadCube65_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Pass_PassThrough)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Pass_HardwareTrilinearLUT)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Pass_ApplyLUT)->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
