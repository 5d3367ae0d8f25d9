// The video scopes on the compute device (PoCL without a GPU) against a CPU
// reference written here from the definitions: BT.709 luma and colour
// differences on 8-bit codes, rounded half up. All the arithmetic after the
// 8-bit codes is integer, so every count is compared exactly. The tests skip
// where no OpenCL platform is installed.
#include "image/Scopes.h"

#include "host/base/Shutdown.h"
#include "host/base/Strings.h"
#include "host/image/HostImage.h"
#include "host/misc/BackgroundTasks.h"
#include "host/misc/EditorPreferences.h"
#include "host/misc/Log.h"
#include "host/misc/Paths.h"
#include "host/os/OS.h"
#include "manager/Manager.h"
#include "platform/LinuxServices.h"
#include "platform/png/PngFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <mutex>
#include <optional>
#include <random>
#include <thread>

using Qf::Image::Scopes;
using Qf::Image::ScopesData;
using ::testing::HasSubstr;

namespace {

constexpr int kLevels = 256;

// A component as an 8-bit code: v * 255 rounded to nearest, ties to even
// (the default rounding mode), clamped; NaN counts as 0.
int codeOf(float v) { return std::isnan(v) ? 0 : int(std::clamp(std::nearbyint(v * 255.0f), 0.0f, 255.0f)); }

// Y' = 0.2126 R + 0.7152 G + 0.0722 B; Cb = (B - Y') / 1.8556 and
// Cr = (R - Y') / 1.5748, whose rows to four decimals are (-0.1146,
// -0.3854, 0.5) and (0.5, -0.4542, -0.0458); each rounded half up, Cb and
// Cr about 128 and at most 255. Sums are kept in ten-thousandths, exactly.
int lumaLevel(int r, int g, int b) { return int(std::floor((2126.0 * r + 7152.0 * g + 722.0 * b) / 10000.0 + 0.5)); }
int cbLevel(int r, int g, int b) {
    return std::min(255, 128 + int(std::floor((-1146.0 * r - 3854.0 * g + 5000.0 * b + 5000.0) / 10000.0)));
}
int crLevel(int r, int g, int b) {
    return std::min(255, 128 + int(std::floor((5000.0 * r - 4542.0 * g - 458.0 * b + 5000.0) / 10000.0)));
}

template <typename T>
T load(const uint8_t* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// The frame's codes, read from its bytes without the texel helpers.
std::array<int, 3> codesAt(const HostImage& image, int x, int y) {
    const uint8_t* texel = image.row(y) + size_t(x) * image.texelBytes();
    std::array<int, 3> codes{};
    for (size_t c = 0; c < 3; ++c) switch (image.getFormat()) {
        case iGPUImage::eRGBA8: codes[c] = texel[c]; break;
        // 257 is odd: no 16-bit value lies halfway between two codes.
        case iGPUImage::eRGBA16: codes[c] = (load<uint16_t>(texel + 2 * c) + 128) / 257; break;
        case iGPUImage::eRGBA16F: codes[c] = codeOf(floatFromHalf(load<uint16_t>(texel + 2 * c))); break;
        case iGPUImage::eRGBA32F: codes[c] = codeOf(load<float>(texel + 4 * c)); break;
        }
    return codes;
}

ScopesData reference(const HostImage& image) {
    ScopesData ref;
    ref.width = image.getWidth(), ref.height = image.getHeight();
    ref.waveform.assign(size_t(ref.width) * kLevels, 0);
    ref.vectorscope.assign(size_t(kLevels) * kLevels, 0);
    for (int y = 0; y < ref.height; ++y)
        for (int x = 0; x < ref.width; ++x) {
            const auto [r, g, b] = codesAt(image, x, y);
            const int luma = lumaLevel(r, g, b);
            ++ref.luma[size_t(luma)], ++ref.red[size_t(r)], ++ref.green[size_t(g)], ++ref.blue[size_t(b)];
            ++ref.waveform[size_t(x) * kLevels + size_t(luma)];
            ++ref.vectorscope[size_t(crLevel(r, g, b)) * kLevels + size_t(cbLevel(r, g, b))];
        }
    return ref;
}

// How many counts differ between two tables (a whole waveform is too large to print).
template <typename T>
size_t mismatches(const T& got, const T& want) {
    EXPECT_EQ(got.size(), want.size());
    size_t n = 0;
    for (size_t i = 0; i < std::min(got.size(), want.size()); ++i) n += got[i] != want[i];
    return n;
}

void expectMatches(const ScopesData& s, const HostImage& image) {
    const ScopesData ref = reference(image);
    ASSERT_EQ(s.width, ref.width);
    ASSERT_EQ(s.height, ref.height);
    EXPECT_EQ(mismatches(s.luma, ref.luma), 0u) << "luma";
    EXPECT_EQ(mismatches(s.red, ref.red), 0u) << "red";
    EXPECT_EQ(mismatches(s.green, ref.green), 0u) << "green";
    EXPECT_EQ(mismatches(s.blue, ref.blue), 0u) << "blue";
    EXPECT_EQ(mismatches(s.waveform, ref.waveform), 0u) << "waveform";
    EXPECT_EQ(mismatches(s.vectorscope, ref.vectorscope), 0u) << "vectorscope";
}

// A surface with host pixels holding the image, rows `padding` bytes apart beyond their length.
Surface surfaceOf(const HostImage& image, uint32_t padding = 0) {
    const iGPUImage::eFormat f = image.getFormat();
    const Format format = f == iGPUImage::eRGBA16F   ? Format::eRGBAHalf
                          : f == iGPUImage::eRGBA32F ? Format::eRGBAFloat
                                                     : Format::eRGBA;
    const uint16_t bits = uint16_t(image.texelBytes() * 2); // four components a texel
    Surface s;
    EXPECT_TRUE(s.init(uint32_t(image.getWidth()), uint32_t(image.getHeight()), format, bits, 0, Surface::ePacked,
                       Surface::eAllocHost, uint32_t(image.getStride()) + padding));
    for (int y = 0; y < image.getHeight(); ++y) std::memcpy(s.getRow(uint32_t(y)), image.row(y), image.getStride());
    return s;
}

// A picture with smooth colour, gradients, hard edges and noise, so that
// every level and many colour-difference pairs occur.
Ptr<HostImage> naturalFrame(int width, int height, iGPUImage::eFormat format, unsigned seed) {
    Ptr<HostImage> image = HostImage::create({width, height}, format);
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> noise(-0.04f, 0.04f);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const float u = float(x) / float(width), v = float(y) / float(height);
            RGBAf c{0.5f + 0.5f * std::sin(7 * u + 3 * v), u, v * (1 - u), 1};
            if ((x / 97 + y / 61) % 5 == 0) c = {u > 0.5f ? 0.75f : 0.0f, v > 0.5f ? 0.75f : 0.0f, 0.75f, 1}; // flat patches
            for (int i = 0; i < 3; ++i) c[size_t(i)] = std::clamp(c[size_t(i)] + noise(random), 0.0f, 1.0f);
            image->setTexel(x, y, c);
        }
    return image;
}

class ScopesTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_config = std::filesystem::temp_directory_path() / ("qffx-scopes-" + std::to_string(getpid()));
        if (const char* previous = std::getenv("XDG_CONFIG_HOME")) m_previousConfig = previous;
        setenv("XDG_CONFIG_HOME", m_config.c_str(), 1);
        prefs().reload();
        installOS(&LinuxServices::instance());
        setShadersDir(fromUTF8(QFFX_SHADERS_SOURCE_DIR));
        // Only the kernels are built: the background compilation of the effects waits.
        UIBackgroundTasksQueue::instance().setPaused(true);
        setLogSink([this](std::string_view text) {
            std::lock_guard<std::mutex> hold(m_logMutex);
            m_log += text;
        });
        if (!Qf::FxResources::Manager::instance().getGPUComputeContext())
            GTEST_SKIP() << "no OpenCL platform or device here (install pocl-opencl-icd)";
    }
    void TearDown() override {
        Shutdown::runCallbacks(Shutdown::eNormalExit);
        Shutdown::reset();
        UIBackgroundTasksQueue::instance().setPaused(false);
        UIBackgroundTasksQueue::instance().waitUntilIdle();
        setLogSink({});
        setShadersDir({});
        if (m_previousConfig)
            setenv("XDG_CONFIG_HOME", m_previousConfig->c_str(), 1);
        else
            unsetenv("XDG_CONFIG_HOME");
        prefs().reload();
        std::error_code ec;
        std::filesystem::remove_all(m_config, ec);
    }
    std::string log() {
        std::lock_guard<std::mutex> hold(m_logMutex);
        return m_log;
    }
    static ScopesData scopesOf(const Surface& frame) {
        ScopesData s;
        EXPECT_TRUE(Scopes::compute(frame, s));
        return s;
    }

    std::filesystem::path m_config;
    std::optional<std::string> m_previousConfig;
    std::mutex m_logMutex;
    std::string m_log;
};

TEST_F(ScopesTest, ThePngFixturesMatchTheReference) {
    for (const char* name : {"rgb8_adam7.png", "grey8.png", "grey1.png", "palette4_trns.png", "greyalpha16.png"}) {
        SCOPED_TRACE(name);
        std::string error;
        const Ptr<HostImage> image = PngFile::read(fromUTF8((std::string(QFFX_TEST_DATA_DIR) + "png/" + name).c_str()), error);
        ASSERT_TRUE(image) << error;
        const ScopesData s = scopesOf(surfaceOf(*image));
        expectMatches(s, *image);
        EXPECT_FALSE(s.device.empty());
    }
}

TEST_F(ScopesTest, FramesOfAnyShapeAndRowPaddingMatchTheReference) {
    for (const XY<int> size : {XY<int>{1920, 1080}, XY<int>{1, 1}, XY<int>{1, 1000}, XY<int>{1000, 1}, XY<int>{4099, 3}}) {
        SCOPED_TRACE(::testing::Message() << size.x << "x" << size.y);
        const Ptr<HostImage> image = naturalFrame(size.x, size.y, iGPUImage::eRGBA8, 3);
        expectMatches(scopesOf(surfaceOf(*image)), *image);
    }
    const Ptr<HostImage> image = naturalFrame(333, 77, iGPUImage::eRGBA16, 4);
    expectMatches(scopesOf(surfaceOf(*image, 24)), *image);
}

TEST_F(ScopesTest, SixteenBitComponentsRoundToTheNearest8BitCode) {
    // Every 16-bit value once in each channel, shifted between channels.
    const Ptr<HostImage> image = HostImage::create({256, 256}, iGPUImage::eRGBA16);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) {
            const int v = y * 256 + x;
            const uint16_t texel[4] = {uint16_t(v), uint16_t(65535 - v), uint16_t((v * 7919) & 0xffff), 65535};
            std::memcpy(image->row(y) + size_t(x) * 8, texel, 8);
        }
    const ScopesData s = scopesOf(surfaceOf(*image));
    expectMatches(s, *image);
    // Code 0 takes 0..128 (129 values), code 255 takes 65407..65535, the others 257 each.
    EXPECT_EQ((std::array{s.red[0], s.red[1], s.red[255]}), (std::array{129u, 257u, 129u}));
}

TEST_F(ScopesTest, HalfAndFloatFramesClampRoundTiesToEvenAndCountNaNAsZero) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    // 0.5 * 255 = 127.5 is a tie and goes to the even 128; infinities clamp
    // (converting them unclamped once made a device count out of bounds).
    const std::vector<RGBAf> specials = {{nan, 0.5f, -0.25f, 1},
                                         {inf, -inf, 1.75f, 1},
                                         {2.5f / 255, 0.5f / 255, 1.5f / 255, 1},
                                         {1.0f, 0.0f, 254.5f / 255, 1},
                                         {0.2f, 0.4f, 0.6f, 1}};
    for (const iGPUImage::eFormat format : {iGPUImage::eRGBA16F, iGPUImage::eRGBA32F}) {
        SCOPED_TRACE(int(format));
        const Ptr<HostImage> image = naturalFrame(320, 180, format, 2);
        for (size_t i = 0; i < specials.size(); ++i) image->setTexel(int(i), 0, specials[i]);
        if (format == iGPUImage::eRGBA32F) { // only float holds these exactly
            const float texel[3] = {127.5f / 255.0f * 1.0000001f, 1e30f, -1e-30f};
            std::memcpy(image->row(1), texel, sizeof texel);
        }
        expectMatches(scopesOf(surfaceOf(*image)), *image);
    }
}

TEST_F(ScopesTest, TheSeventyFivePercentBarsLandOnTheirBT709Levels) {
    // Levels worked out by hand (191 = 75% of 255): white, yellow, cyan, green, magenta, red, blue.
    const struct {
        int r, g, b, luma, cb, cr;
    } bars[] = {{191, 191, 191, 191, 128, 128}, {191, 191, 0, 177, 33, 137}, {0, 191, 191, 150, 150, 33},
                {0, 191, 0, 137, 54, 41},       {191, 0, 191, 54, 202, 215}, {191, 0, 0, 41, 106, 224},
                {0, 0, 191, 14, 224, 119}};
    const Ptr<HostImage> image = HostImage::create({7, 1}, iGPUImage::eRGBA8); // a bar a pixel
    for (int x = 0; x < 7; ++x) {
        const uint8_t texel[4] = {uint8_t(bars[x].r), uint8_t(bars[x].g), uint8_t(bars[x].b), 255};
        std::memcpy(image->row(0) + 4 * x, texel, 4);
    }
    const ScopesData s = scopesOf(surfaceOf(*image));
    expectMatches(s, *image);
    for (int x = 0; x < 7; ++x) {
        const auto& [r, g, b, luma, cb, cr] = bars[x];
        SCOPED_TRACE(::testing::Message() << r << "," << g << "," << b);
        const std::array want = {luma, cb, cr};
        EXPECT_EQ((std::array{lumaLevel(r, g, b), cbLevel(r, g, b), crLevel(r, g, b)}), want); // the reference
        EXPECT_EQ((std::array{Scopes::lumaOf(r, g, b), Scopes::cbOf(r, g, b), Scopes::crOf(r, g, b)}), want);
        EXPECT_EQ(s.vectorscopeAt(cb, cr), 1u);
        EXPECT_EQ(s.waveformAt(x, luma), 1u);
    }
}

TEST_F(ScopesTest, AFrameOnTheGPUIsReadBack) {
    iGPUService* gpu = OS()->gpu();
    if (!gpu) GTEST_SKIP() << "EGL cannot start an OpenGL 4.5 core context here";
    const Ptr<HostImage> image = naturalFrame(640, 360, iGPUImage::eRGBA8, 5);
    const Ptr<iGPUImage> texture = image->createGPUImage(*gpu);
    ASSERT_TRUE(texture);
    expectMatches(scopesOf(Surface::forGPUImage(texture)), *image);
}

TEST_F(ScopesTest, TwoCallersAtOnceEachGetTheirOwnFrame) {
    const Ptr<HostImage> images[] = {naturalFrame(400, 300, iGPUImage::eRGBA8, 6), naturalFrame(300, 400, iGPUImage::eRGBA8, 7)};
    const Surface frames[] = {surfaceOf(*images[0]), surfaceOf(*images[1])};
    ScopesData results[2][4];
    std::thread other([&] {
        for (ScopesData& r : results[1]) Scopes::compute(frames[1], r);
    });
    for (ScopesData& r : results[0]) Scopes::compute(frames[0], r);
    other.join();
    for (int t = 0; t < 2; ++t)
        for (const ScopesData& r : results[t]) expectMatches(r, *images[t]);
}

TEST_F(ScopesTest, UnsuitableFramesAreRefusedAndLeaveTheResultAlone) {
    ScopesData s;
    s.width = 42;
    EXPECT_FALSE(Scopes::compute(Surface(64, 32, Format::eUYVY), s));
    EXPECT_FALSE(Scopes::compute(Surface(), s));
    Surface described;
    ASSERT_TRUE(described.init(16, 16, Format::eRGBA, 8, 0, Surface::ePacked, Surface::eAllocNone));
    EXPECT_FALSE(Scopes::compute(described, s)); // neither pixels nor a GPU image
    EXPECT_EQ(s.width, 42);
    const std::string text = log();
    EXPECT_THAT(text, HasSubstr("Qf::Image::Scopes : the frame is a UYVY surface of 64x32; scopes take"));
    EXPECT_THAT(text, HasSubstr("Qf::Image::Scopes : the frame has neither a GPU image nor host pixels\n"));
}

TEST_F(ScopesTest, AMissingKernelFileFailsWithALogLine) {
    const std::filesystem::path empty = m_config / "no-kernels";
    std::filesystem::create_directories(empty);
    setShadersDir(fromUTF8((empty.string() + "/").c_str()));
    ScopesData s;
    const Ptr<HostImage> image = naturalFrame(8, 8, iGPUImage::eRGBA8, 8);
    EXPECT_FALSE(Scopes::compute(surfaceOf(*image), s));
    EXPECT_THAT(log(), HasSubstr("Qf::Image::Scopes : the kernels of Scopes.cl did not build\n"));
}

} // namespace
