// The OpenGL GPU service beside the same work done with bare OpenGL calls in
// the same process: a full-target pass at 1920x1080 (RGBA8 and RGBA16F),
// uploads and read-backs of a frame, and the compile of a small effect up to
// the end of its first draw.
//
// Each measured step ends with the GPU finished (glFinish, or the service's
// finish()): llvmpipe skips part of several unflushed full-target draws, so
// anything less measures less than the work. Times are wall-clock, since the
// driver renders on threads of its own.
//
// Compiles: by default Mesa's on-disk shader cache is switched off for the
// process and every compiled text differs (/0), so no cache answers. Run with
// --mesa-cache to leave the cache on; then /1 compiles the same text every
// time, which the cache answers after the first.
#include "effects/ShaderEffectInfo.h"
#include "platform/LinuxServices.h"
#include "platform/gl/EglContext.h"
#include "platform/gl/GLApi.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kWidth = 1920, kHeight = 1080;

const GLenum kInternal[] = {GL_RGBA8, GL_RGBA16, GL_RGBA16F, GL_RGBA32F};
const GLenum kType[] = {GL_UNSIGNED_BYTE, GL_UNSIGNED_SHORT, GL_HALF_FLOAT, GL_FLOAT};

iGPUService* service() {
    static iGPUService* gpu = [] {
        installOS(&LinuxServices::instance());
        return OS()->gpu();
    }();
    return gpu;
}

// The bare side: a context of its own, current on the benchmark thread,
// with the empty vertex array that core profile draws need. The service's
// calls on this thread save and restore it.
bool bareContext() {
    static std::unique_ptr<EglContext> context = [] {
        std::string error;
        std::unique_ptr<EglContext> c = EglContext::create(error);
        if (c) {
            c->makeCurrent(); // and kept current; the service puts it back after each call
            GLuint vertexArray = 0;
            glCreateVertexArrays(1, &vertexArray);
            glBindVertexArray(vertexArray);
        }
        return c;
    }();
    return bool(context);
}

size_t frameBytes(iGPUImage::eFormat format) { return size_t(kWidth) * kHeight * bitsPerTexel(format) / 8; }

// A copy of the input, the cheapest full-target pass.
const char* const kCopyEffect = "DeclareQuillframeEffect( \"Copy\", \"Bench\", \"Bench\", kNoNotes, kNoFlags )\n"
                                "DeclareInput( Input )\n"
                                "DeclareEntryPoint( Copy )\n"
                                "{\n"
                                "   return tex2D( Input, uv1 );\n"
                                "}\n";

Ptr<iShaderEffect> compileOurs(const std::string& text) {
    return makePtr<ShaderEffectInfo>(TextFile::fromText(text))->compile().shader;
}

// --- bare OpenGL ---

const char* const kBareVertex = R"(#version 450 core
out vec2 uv;
void main()
{
   vec2 corner = vec2(float(gl_VertexID & 1), float(gl_VertexID >> 1));
   gl_Position = vec4(corner * 2.0 - 1.0, 0.0, 1.0);
   uv = corner;
}
)";

std::string bareFragment(const std::string& body) {
    return "#version 450 core\nin vec2 uv;\nuniform sampler2D Input;\nout vec4 FragColor;\nvoid main()\n{\n   FragColor = " +
           body + ";\n}\n";
}

GLuint bareProgram(const std::string& fragment) {
    auto stage = [](GLenum kind, const char* text) {
        const GLuint s = glCreateShader(kind);
        glShaderSource(s, 1, &text, nullptr);
        glCompileShader(s);
        return s;
    };
    const GLuint vs = stage(GL_VERTEX_SHADER, kBareVertex), fs = stage(GL_FRAGMENT_SHADER, fragment.c_str());
    const GLuint program = glCreateProgram();
    glAttachShader(program, vs);
    glAttachShader(program, fs);
    glLinkProgram(program);
    glDeleteShader(vs);
    glDeleteShader(fs);
    GLint ok = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &ok);
    return ok ? program : 0;
}

struct BareTarget {
    GLuint texture = 0, framebuffer = 0;
    BareTarget(int w, int h, int format) {
        glCreateTextures(GL_TEXTURE_2D, 1, &texture);
        glTextureStorage2D(texture, 1, kInternal[format], w, h);
        glTextureParameteri(texture, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glCreateFramebuffers(1, &framebuffer);
        glNamedFramebufferTexture(framebuffer, GL_COLOR_ATTACHMENT0, texture, 0);
    }
    ~BareTarget() {
        glDeleteFramebuffers(1, &framebuffer);
        glDeleteTextures(1, &texture);
    }
};

void bareDraw(GLuint program, const BareTarget& input, const BareTarget& target, int w, int h) {
    glUseProgram(program);
    glBindTextureUnit(0, input.texture);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, target.framebuffer);
    glViewport(0, 0, w, h);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
}

// --- passes ---

void BM_Pass_Service(benchmark::State& state) {
    const auto format = iGPUImage::eFormat(state.range(0));
    iGPUService* gpu = service();
    if (!gpu) return state.SkipWithError("no GPU service");
    const Ptr<iShaderEffect> effect = compileOurs(kCopyEffect);
    const Ptr<iGPUImage> input = gpu->createImage({kWidth, kHeight}, format);
    const Ptr<iGPUImage> target = gpu->createImage({kWidth, kHeight}, format);
    if (!effect || !input || !target) return state.SkipWithError("setup failed");
    const std::vector<ShaderInputBinding> inputs{ShaderInputBinding::whole("Input", input)};
    for (auto _ : state) {
        effect->draw(target, inputs);
        gpu->finish();
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_Pass_Bare(benchmark::State& state) {
    const int format = int(state.range(0));
    if (!bareContext()) return state.SkipWithError("no EGL context");
    const GLuint program = bareProgram(bareFragment("texture(Input, uv)"));
    const BareTarget input(kWidth, kHeight, format), target(kWidth, kHeight, format);
    for (auto _ : state) {
        bareDraw(program, input, target, kWidth, kHeight);
        glFinish();
    }
    glDeleteProgram(program);
    state.SetItemsProcessed(state.iterations());
}

// --- transfers ---

void BM_Upload_Service(benchmark::State& state) {
    const auto format = iGPUImage::eFormat(state.range(0));
    iGPUService* gpu = service();
    if (!gpu) return state.SkipWithError("no GPU service");
    const Ptr<iGPUImage> image = gpu->createImage({kWidth, kHeight}, format);
    std::vector<uint8_t> host(frameBytes(format), 0x55);
    for (auto _ : state) {
        image->upload(host.data());
        gpu->finish();
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(int64_t(state.iterations() * host.size()));
}

void BM_Upload_Bare(benchmark::State& state) {
    const int format = int(state.range(0));
    if (!bareContext()) return state.SkipWithError("no EGL context");
    const BareTarget image(kWidth, kHeight, format);
    std::vector<uint8_t> host(frameBytes(iGPUImage::eFormat(format)), 0x55);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    for (auto _ : state) {
        glTextureSubImage2D(image.texture, 0, 0, 0, kWidth, kHeight, GL_RGBA, kType[format], host.data());
        glFinish();
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(int64_t(state.iterations() * host.size()));
}

void BM_ReadBack_Service(benchmark::State& state) {
    const auto format = iGPUImage::eFormat(state.range(0));
    iGPUService* gpu = service();
    if (!gpu) return state.SkipWithError("no GPU service");
    const Ptr<iGPUImage> image = gpu->createImage({kWidth, kHeight}, format);
    std::vector<uint8_t> host(frameBytes(format), 0x55);
    image->upload(host.data());
    for (auto _ : state) image->readBack(host.data());
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(int64_t(state.iterations() * host.size()));
}

void BM_ReadBack_Bare(benchmark::State& state) {
    const int format = int(state.range(0));
    if (!bareContext()) return state.SkipWithError("no EGL context");
    const BareTarget image(kWidth, kHeight, format);
    std::vector<uint8_t> host(frameBytes(iGPUImage::eFormat(format)), 0x55);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glTextureSubImage2D(image.texture, 0, 0, 0, kWidth, kHeight, GL_RGBA, kType[format], host.data());
    for (auto _ : state) glGetTextureImage(image.texture, 0, GL_RGBA, kType[format], GLsizei(host.size()), host.data());
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(int64_t(state.iterations() * host.size()));
}

// --- compile up to the end of the first draw (64x64 RGBA8) ---

int g_unique = 0; // makes every compiled text differ

void BM_CompileToFirstDraw_Service(benchmark::State& state) {
    iGPUService* gpu = service();
    if (!gpu) return state.SkipWithError("no GPU service");
    const Ptr<iGPUImage> input = gpu->createImage({64, 64}, iGPUImage::eRGBA8);
    const Ptr<iGPUImage> target = gpu->createImage({64, 64}, iGPUImage::eRGBA8);
    const bool sameText = state.range(0) != 0;
    for (auto _ : state) {
        const std::string text = "DeclareQuillframeEffect( \"Scale\", \"Bench\", \"Bench\", kNoNotes, kNoFlags )\n"
                                 "DeclareInput( Input )\nDeclareEntryPoint( Scale )\n{\n   return tex2D( Input, uv1 ) * " +
                                 std::to_string(sameText ? 1 : ++g_unique) + ".0;\n}\n";
        const Ptr<iShaderEffect> effect = compileOurs(text);
        if (!effect || !effect->draw(target, {ShaderInputBinding::whole("Input", input)}))
            return state.SkipWithError("compile failed");
        gpu->finish();
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_CompileToFirstDraw_Bare(benchmark::State& state) {
    if (!bareContext()) return state.SkipWithError("no EGL context");
    const BareTarget input(64, 64, 0), target(64, 64, 0);
    const bool sameText = state.range(0) != 0;
    for (auto _ : state) {
        const GLuint program =
            bareProgram(bareFragment("texture(Input, uv) * " + std::to_string(sameText ? 1 : ++g_unique) + ".0"));
        if (!program) return state.SkipWithError("compile failed");
        bareDraw(program, input, target, 64, 64);
        glFinish();
        glDeleteProgram(program);
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(BM_Pass_Service)->Arg(iGPUImage::eRGBA8)->Arg(iGPUImage::eRGBA16F)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Pass_Bare)->Arg(iGPUImage::eRGBA8)->Arg(iGPUImage::eRGBA16F)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Upload_Service)->Arg(iGPUImage::eRGBA8)->Arg(iGPUImage::eRGBA16F)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Upload_Bare)->Arg(iGPUImage::eRGBA8)->Arg(iGPUImage::eRGBA16F)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadBack_Service)->Arg(iGPUImage::eRGBA8)->Arg(iGPUImage::eRGBA16F)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadBack_Bare)->Arg(iGPUImage::eRGBA8)->Arg(iGPUImage::eRGBA16F)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CompileToFirstDraw_Service)->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CompileToFirstDraw_Bare)->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    // Mesa reads the cache setting when the context is created.
    bool mesaCache = false;
    for (int i = 1; i < argc; ++i) {
        if (std::string(argv[i]) != "--mesa-cache") continue;
        mesaCache = true;
        for (int j = i; j + 1 < argc; ++j) argv[j] = argv[j + 1];
        --argc;
        break;
    }
    if (!mesaCache) setenv("MESA_SHADER_CACHE_DISABLE", "true", 1);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
