// The manager's compute context and program table: against a counting double
// of the compute service for the exact rules (built once, rebuilt, case,
// cached failures, the preference bracket, the 16-bit line counter, one
// context under a race), and on the Linux host's OpenCL service (PoCL without
// a GPU) for real builds, build logs, buffers and kernel launches. The OpenCL
// tests skip when no OpenCL platform is installed.
#include "FakeCompute.h"
#include "ManagerTestSupport.h"

#include "host/base/Strings.h"
#include "host/misc/EditorPreferences.h"
#include "host/misc/Paths.h"
#include "platform/LinuxServices.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <numeric>
#include <thread>

using namespace QfManagerTest;
using Qf::FxResources::Manager;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Lines = std::vector<LightweightString<char>>;

namespace {

class ManagerComputeTest : public ManagerTest {
protected:
    void SetUp() override {
        ManagerTest::SetUp();
        m_os->setCompute(&m_compute);
    }
    int builds() const { return m_compute.context->builds.load(); }
    const Lines& lastLines() const { return m_compute.context->lastLines; }

    FakeComputeService m_compute; // outlives the manager, which TearDown shuts down
};

TEST_F(ManagerComputeTest, TheContextIsCreatedWithFlagZeroAskedForUntilThereIsOneAndKeptUntilShutDown) {
    m_compute.hasDevice = false;
    Manager& m = start();
    EXPECT_FALSE(m.getGPUComputeContext());
    EXPECT_FALSE(m.getGPUComputeContext());
    EXPECT_EQ(m_compute.creations.load(), 2);
    m_compute.hasDevice = true; // a device that appears later is taken
    const Ptr<iGPUComputeContext> first = m.getGPUComputeContext();
    EXPECT_EQ(first.get(), m_compute.context.get());
    EXPECT_EQ(m.getGPUComputeContext(), first);
    EXPECT_EQ(m_compute.creations.load(), 3);
    EXPECT_EQ(m_compute.flagsSeen.load(), 0);

    EXPECT_EQ(m_compute.context->refCount(), 3); // the service's, the manager's and ours
    shutdownNow();
    EXPECT_EQ(m_compute.context->refCount(), 2);
    start().getGPUComputeContext(); // a new manager makes another
    EXPECT_EQ(m_compute.creations.load(), 4);
}

TEST_F(ManagerComputeTest, ConcurrentFirstRequestsCreateOneContextAndBuildOneProgram) {
    writeShader("K.cl", "kernel");
    m_compute.delay = std::chrono::milliseconds(30);
    Manager& m = start();
    constexpr int kCallers = 8;
    std::vector<Ptr<iGPUComputeContext>> contexts(kCallers);
    std::vector<Ptr<iGPUProgram>> programs(kCallers);
    std::vector<std::thread> callers;
    for (int i = 0; i < kCallers; ++i)
        callers.emplace_back([&, i] {
            contexts[size_t(i)] = m.getGPUComputeContext();
            programs[size_t(i)] = m.getGPUProgram(L"K.cl", false);
        });
    for (std::thread& t : callers) t.join();
    EXPECT_EQ(m_compute.creations.load(), 1);
    EXPECT_EQ(builds(), 1);
    for (int i = 0; i < kCallers; ++i) {
        EXPECT_EQ(contexts[size_t(i)].get(), m_compute.context.get()) << i;
        EXPECT_TRUE(programs[size_t(i)]) << i;
        EXPECT_EQ(programs[size_t(i)], programs[0]) << i;
    }
}

// The file name, case and sub-directory included, is appended to the
// shaders directory and keys the table; a missing file still reaches the
// service (with no lines) and is logged.
TEST_F(ManagerComputeTest, EachExactFileNameIsReadLineByLineAndBuiltOnce) {
    writeShader("Scopes.cl", "kernel void a() {}\n// second line");
    writeShader("scopes.cl", "lower");
    std::filesystem::create_directories(m_shaders / "kernels");
    writeShader("kernels/Sub.cl", "in a sub-directory");
    Manager& m = start();
    const Ptr<iGPUProgram> upper = m.getGPUProgram(L"Scopes.cl", false);
    ASSERT_TRUE(upper);
    EXPECT_THAT(lastLines(), ElementsAre("kernel void a() {}", "// second line"));
    const Ptr<iGPUProgram> lower = m.getGPUProgram(L"scopes.cl", false);
    EXPECT_THAT(lastLines(), ElementsAre("lower"));
    EXPECT_NE(upper, lower);
    EXPECT_TRUE(m.getGPUProgram(L"kernels/Sub.cl", false));
    EXPECT_THAT(lastLines(), ElementsAre("in a sub-directory"));
    EXPECT_EQ(m.getGPUProgram(L"Scopes.cl", false), upper);
    EXPECT_EQ(builds(), 3);

    EXPECT_FALSE(m.getGPUProgram(L"Missing.cl", false));
    EXPECT_EQ(builds(), 4);
    EXPECT_TRUE(lastLines().empty());
    EXPECT_THAT(logLines(), Contains(AllOf(StartsWith("Manager : "), HasSubstr("Missing.cl"))));
}

TEST_F(ManagerComputeTest, AFailedBuildIsCachedAndRebuildBuildsAnewEveryTimeReplacingTheEntry) {
    writeShader("K.cl", "fail");
    Manager& m = start();
    EXPECT_FALSE(m.getGPUProgram(L"K.cl", false));
    EXPECT_FALSE(m.getGPUProgram(L"K.cl", false));
    EXPECT_EQ(builds(), 1);
    writeShader("K.cl", "fixed");
    const Ptr<iGPUProgram> second = m.getGPUProgram(L"K.cl", true);
    const Ptr<iGPUProgram> third = m.getGPUProgram(L"K.cl", true);
    EXPECT_EQ(builds(), 3);
    EXPECT_THAT(lastLines(), ElementsAre("fixed"));
    EXPECT_TRUE(second);
    EXPECT_NE(third, second);
    EXPECT_EQ(m.getGPUProgram(L"K.cl", false), third);
    EXPECT_EQ(builds(), 3);
}

// Without a compute service the program is null, and that null is cached
// like any result; the preference ends true either way.
TEST_F(ManagerComputeTest, ThePreferenceIsFalseWhileBuildingAndTrueAfterEvenWithoutAComputeService) {
    m_os->setCompute(nullptr);
    writeShader("K.cl", "kernel");
    prefs().setPreference(kScopesPreference, false);
    Manager& m = start();
    EXPECT_FALSE(m.getGPUComputeContext());
    EXPECT_FALSE(m.getGPUProgram(L"K.cl", false));
    EXPECT_TRUE(prefs().getPreference(kScopesPreference, false));

    m_os->setCompute(&m_compute);
    EXPECT_FALSE(m.getGPUProgram(L"K.cl", false));
    EXPECT_EQ(builds(), 0);
    EXPECT_TRUE(m.getGPUProgram(L"K.cl", true));
    EXPECT_TRUE(m.getGPUProgram(L"K.cl", true));
    EXPECT_THAT(m_compute.context->preferenceAtBuild, ElementsAre(false, false));
    prefs().reload(); // and it was written to the preferences file
    EXPECT_TRUE(prefs().getPreference(kScopesPreference, false));
}

// The line index is 16 bits wide: 65,535 lines are read whole, and 65,536
// are refused rather than looping forever.
TEST_F(ManagerComputeTest, KernelFilesMustStayBelow65536Lines) {
    std::string text;
    for (int i = 0; i < 65535; ++i) text += "// " + std::to_string(i) + "\n";
    writeShader("Long.cl", text);
    writeShader("TooLong.cl", text + "x\n");
    Manager& m = start();
    EXPECT_TRUE(m.getGPUProgram(L"Long.cl", false));
    ASSERT_EQ(lastLines().size(), 65535u);
    EXPECT_EQ(lastLines().back(), "// 65534");

    prefs().setPreference(kScopesPreference, false);
    clearLog();
    EXPECT_FALSE(m.getGPUProgram(L"TooLong.cl", false));
    EXPECT_EQ(builds(), 1);
    EXPECT_TRUE(prefs().getPreference(kScopesPreference, false));
    EXPECT_THAT(logLines(), ElementsAre("Manager : kernel file " + (m_shaders / "TooLong.cl").string() +
                                        " has 65536 lines; kernel files must stay below 65,536 lines\n"));
}

// --- on the real OpenCL service ---

class ManagerOpenCLTest : public ManagerTest {
protected:
    void SetUp() override {
        ManagerTest::SetUp();
        m_os->setCompute(LinuxServices::instance().compute());
        m_context = start().getGPUComputeContext();
        if (!m_context) GTEST_SKIP() << "no OpenCL platform or device here (install pocl-opencl-icd)";
    }
    void TearDown() override {
        m_context = nullptr;
        ManagerTest::TearDown();
    }
    Ptr<iGPUBuffer> buffer(size_t bytes) {
        std::string error;
        Ptr<iGPUBuffer> b = m_context->createBuffer(bytes, error);
        EXPECT_TRUE(b) << error;
        return b;
    }

    Ptr<iGPUComputeContext> m_context;
};

const char* const kAddKernel = "kernel void add(global int* values, int amount, int count) {\n"
                               "    const int i = get_global_id(0);\n"
                               "    if (i < count) values[i] += amount;\n"
                               "}\n";

TEST_F(ManagerOpenCLTest, AKernelFileBuildsAndItsKernelRunsOnABuffer) {
    writeShader("Add.cl", kAddKernel);
    const Ptr<iGPUProgram> program = Manager::instance().getGPUProgram(L"Add.cl", false);
    ASSERT_TRUE(program);
    EXPECT_THAT(program->getKernelNames(), ElementsAre("add"));
    EXPECT_FALSE(m_context->getDeviceDescription().empty());

    std::vector<int32_t> values(1000);
    std::iota(values.begin(), values.end(), 0);
    const size_t bytes = values.size() * sizeof(int32_t);
    const Ptr<iGPUBuffer> b = buffer(bytes);
    ASSERT_TRUE(b->write(values.data(), bytes));
    std::string error;
    // A local size that does not divide the count: the global size is rounded up.
    GPUWorkSize size = GPUWorkSize::of(values.size());
    size.local[0] = 64;
    ASSERT_TRUE(program->run("add", {GPUKernelArg::of(b), GPUKernelArg::of(7), GPUKernelArg::of(1000)}, size, error)) << error;
    std::vector<int32_t> out(values.size());
    ASSERT_TRUE(b->read(out.data(), bytes));
    for (size_t i = 0; i < out.size(); ++i) ASSERT_EQ(out[i], int32_t(i) + 7) << i;

    // Ranges are checked; clear zeroes the whole buffer.
    EXPECT_FALSE(b->read(out.data(), 8, b->getSize() - 4));
    EXPECT_FALSE(b->write(values.data(), b->getSize() + 1));
    ASSERT_TRUE(b->clear());
    int32_t tail[2] = {1, 1};
    ASSERT_TRUE(b->read(tail, sizeof tail, b->getSize() - sizeof tail));
    EXPECT_EQ(tail[0] | tail[1], 0);
}

// Kernels read images made from host texels and from the GPU service's
// images; this host copies the latter through host memory.
TEST_F(ManagerOpenCLTest, KernelsReadImagesFromHostTexelsAndFromTheGPUService) {
    writeShader("Sum.cl", "constant sampler_t s = CLK_NORMALIZED_COORDS_FALSE | CLK_ADDRESS_NONE | CLK_FILTER_NEAREST;\n"
                          "kernel void sum(read_only image2d_t image, global float* out) {\n"
                          "    const int x = get_global_id(0), y = get_global_id(1);\n"
                          "    const float4 v = read_imagef(image, s, (int2)(x, y));\n"
                          "    out[y * get_global_size(0) + x] = v.x + v.y + v.z + v.w;\n"
                          "}\n");
    const Ptr<iGPUProgram> program = Manager::instance().getGPUProgram(L"Sum.cl", false);
    ASSERT_TRUE(program);
    // 3x2 RGBA8 texels, rows padded to 16 bytes.
    std::vector<uint8_t> texels(2 * 16, 0);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
            for (int c = 0; c < 4; ++c) texels[size_t(y * 16 + x * 4 + c)] = uint8_t(10 * (y * 3 + x) + c);
    const auto expected = [](int x, int y) { return float(40 * (y * 3 + x) + 6) / 255.0f; };
    const auto check = [&](const Ptr<iGPUComputeImage>& image) {
        ASSERT_TRUE(image);
        EXPECT_EQ(image->getSize(), (XY<int>{3, 2}));
        EXPECT_EQ(image->isShared(), m_context->sharesGPUImages());
        const Ptr<iGPUBuffer> out = buffer(6 * sizeof(float));
        std::string error;
        ASSERT_TRUE(program->run("sum", {GPUKernelArg::of(image), GPUKernelArg::of(out)}, GPUWorkSize::of(3, 2), error)) << error;
        float sums[6];
        ASSERT_TRUE(out->read(sums, sizeof sums));
        for (int i = 0; i < 6; ++i) EXPECT_NEAR(sums[i], expected(i % 3, i / 3), 1e-6f) << i;
    };
    std::string error;
    check(m_context->createImage({3, 2}, iGPUImage::eRGBA8, texels.data(), 16, error));
    EXPECT_FALSE(m_context->createImage({3, 2}, iGPUImage::eRGBA8, texels.data(), 8, error));
    EXPECT_THAT(error, HasSubstr("shorter than a row"));

    iGPUService* gpu = LinuxServices::instance().gpu();
    if (!gpu) GTEST_SKIP() << "no OpenGL service to import an image from";
    const Ptr<iGPUImage> texture = gpu->createImage({3, 2}, iGPUImage::eRGBA8);
    ASSERT_TRUE(texture && texture->upload(texels.data(), 16));
    check(m_context->importImage(*texture, error));
    EXPECT_FALSE(m_context->sharesGPUImages()); // neither PoCL nor EGL offers sharing here
}

TEST_F(ManagerOpenCLTest, LaunchErrorsNameTheKernelAndTheReason) {
    writeShader("Add.cl", kAddKernel);
    const Ptr<iGPUProgram> program = Manager::instance().getGPUProgram(L"Add.cl", false);
    ASSERT_TRUE(program);
    const auto failure = [&](const char* kernel, const std::vector<GPUKernelArg>& args, size_t items = 1) {
        std::string error;
        EXPECT_FALSE(program->run(kernel, args, GPUWorkSize::of(items), error)) << kernel;
        return error;
    };
    const Ptr<iGPUBuffer> b = buffer(64);
    const auto one = GPUKernelArg::of(1);
    EXPECT_THAT(failure("nope", {}), AllOf(HasSubstr("kernel 'nope'"), HasSubstr("the program has: add")));
    EXPECT_EQ(failure("add", {GPUKernelArg::of(b)}), "kernel 'add' takes 3 arguments, not 1");
    EXPECT_THAT(failure("add", {GPUKernelArg::of(3), one, one}), HasSubstr("kernel 'add' argument 0"));
    // Memory of another context, or not OpenCL memory at all.
    const Ptr<iGPUComputeContext> other = LinuxServices::instance().compute()->createComputeContext(0);
    ASSERT_TRUE(other);
    std::string error;
    EXPECT_EQ(failure("add", {GPUKernelArg::of(other->createBuffer(64, error)), one, one}),
              "kernel 'add' argument 0: not a buffer of this compute context");
    EXPECT_EQ(failure("add", {GPUKernelArg::of(Ptr<iGPUComputeImage>()), one, one}),
              "kernel 'add' argument 0: not an image of this compute context");
    EXPECT_THAT(failure("add", {GPUKernelArg::of(b), one, one}, 0), HasSubstr("an empty work size"));
    EXPECT_FALSE(m_context->createBuffer(0, error));
}

// Neither a syntax error nor an empty file builds; the failure is reported
// once, with the compiler's log for the file's own line numbers.
TEST_F(ManagerOpenCLTest, KernelFilesThatDoNotBuildSayWhyOnce) {
    writeShader("Broken.cl", "kernel void broken(global int* a) {\n    a[0] = 1\n    a[1] = undeclared;\n}\n");
    writeShader("Empty.cl", "");
    clearLog();
    Manager& m = Manager::instance();
    EXPECT_FALSE(m.getGPUProgram(L"Broken.cl", false));
    const std::string log = m_context->getLastBuildLog().str();
    EXPECT_THAT(log, AllOf(HasSubstr("error"), HasSubstr(":2:"), HasSubstr("undeclared")));
    const auto lines = logLines();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_THAT(lines[0],
                AllOf(StartsWith("OpenCL : the program does not build on "), HasSubstr("CL_BUILD_PROGRAM_FAILURE (-11)")));
    for (size_t i = 1; i < lines.size(); ++i) EXPECT_THAT(lines[i], StartsWith("   ")) << i;
    EXPECT_THAT(lines, Contains(HasSubstr("undeclared")));
    clearLog();
    EXPECT_FALSE(m.getGPUProgram(L"Broken.cl", false)); // cached: no second build, no second report
    EXPECT_FALSE(m.getGPUProgram(L"Empty.cl", false));
    EXPECT_THAT(logLines(), ElementsAre("OpenCL : the program has no source text\n"));
}

TEST_F(ManagerOpenCLTest, TheShippedScopesKernelsBuild) {
    setShadersDir(fromUTF8(QFFX_SHADERS_SOURCE_DIR));
    const Ptr<iGPUProgram> program = Manager::instance().getGPUProgram(L"Scopes.cl", false);
    ASSERT_TRUE(program) << m_context->getLastBuildLog().str();
    EXPECT_THAT(program->getKernelNames(),
                ::testing::UnorderedElementsAre("scopes_columns_rgba8", "scopes_columns_rgba16", "scopes_columns_rgba16f",
                                                "scopes_columns_rgba32f", "scopes_histograms"));
}

} // namespace
