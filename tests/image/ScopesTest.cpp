// The video scopes on the compute device (PoCL on a machine without a GPU)
// against a CPU reference written here from the definitions: BT.709 luma and
// colour differences on 8-bit codes, rounded half up. The frames are the PNG
// fixtures, a 1920x1080 picture, 16-bit, half and float frames with values
// out of range, odd shapes, padded rows and a GPU image. Every count is
// compared exactly: all the arithmetic after the 8-bit codes is integer, so
// no bin edge can fall differently. The tests skip where no OpenCL platform
// is installed.
#include "image/Scopes.h"

#include "host/BackgroundTasks.h"
#include "host/EditorPreferences.h"
#include "host/HostImage.h"
#include "host/Log.h"
#include "host/OS.h"
#include "host/Paths.h"
#include "host/Shutdown.h"
#include "host/Strings.h"
#include "manager/Manager.h"
#include "platform/LinuxServices.h"
#include "platform/png/PngFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <mutex>
#include <random>
#include <thread>

using Qf::Image::Scopes;
using Qf::Image::ScopesData;
using ::testing::HasSubstr;

namespace {

constexpr int kLevels = 256;

// --- the reference ---

struct Reference {
    std::array<std::array<uint32_t, kLevels>, 4> histograms{}; // luma, R, G, B
    std::vector<uint32_t> waveform;                            // [x][level]
    std::vector<uint32_t> vectorscope;                         // [cr][cb]
};

// A component as an 8-bit code: v * 255 rounded to nearest, ties to even
// (the default rounding mode), clamped; NaN counts as 0.
int codeOf(float v) {
    if (std::isnan(v)) return 0;
    return int(std::clamp(std::nearbyint(v * 255.0f), 0.0f, 255.0f));
}

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

// The frame's codes, read from its bytes without the texel helpers.
std::array<int, 3> codesAt(const HostImage& image, int x, int y) {
    const uint8_t* texel = image.row(y) + size_t(x) * image.texelBytes();
    std::array<int, 3> codes{};
    for (int c = 0; c < 3; ++c) switch (image.getFormat()) {
        case iGPUImage::eRGBA8: codes[size_t(c)] = texel[c]; break;
        case iGPUImage::eRGBA16: {
            uint16_t v;
            std::memcpy(&v, texel + 2 * c, 2);
            codes[size_t(c)] = (v + 128) / 257; // 257 is odd: no 16-bit value lies halfway
            break;
        }
        case iGPUImage::eRGBA16F: {
            uint16_t h;
            std::memcpy(&h, texel + 2 * c, 2);
            codes[size_t(c)] = codeOf(floatFromHalf(h));
            break;
        }
        case iGPUImage::eRGBA32F: {
            float f;
            std::memcpy(&f, texel + 4 * c, 4);
            codes[size_t(c)] = codeOf(f);
            break;
        }
        }
    return codes;
}

Reference reference(const HostImage& image) {
    Reference ref;
    ref.waveform.assign(size_t(image.getWidth()) * kLevels, 0);
    ref.vectorscope.assign(size_t(kLevels) * kLevels, 0);
    for (int y = 0; y < image.getHeight(); ++y)
        for (int x = 0; x < image.getWidth(); ++x) {
            const auto [r, g, b] = codesAt(image, x, y);
            const int luma = lumaLevel(r, g, b);
            ++ref.histograms[0][size_t(luma)];
            ++ref.histograms[1][size_t(r)];
            ++ref.histograms[2][size_t(g)];
            ++ref.histograms[3][size_t(b)];
            ++ref.waveform[size_t(x) * kLevels + size_t(luma)];
            ++ref.vectorscope[size_t(crLevel(r, g, b)) * kLevels + size_t(cbLevel(r, g, b))];
        }
    return ref;
}

// The largest difference of a count between two tables.
template <typename A, typename B>
uint32_t largestDifference(const A& a, const B& b) {
    EXPECT_EQ(a.size(), b.size());
    uint32_t worst = 0;
    for (size_t i = 0; i < std::min<size_t>(a.size(), b.size()); ++i)
        worst = std::max(worst, a[i] > b[i] ? a[i] - b[i] : b[i] - a[i]);
    return worst;
}

void expectMatches(const ScopesData& s, const HostImage& image) {
    const Reference ref = reference(image);
    ASSERT_EQ(s.width, image.getWidth());
    ASSERT_EQ(s.height, image.getHeight());
    EXPECT_EQ(largestDifference(s.luma, ref.histograms[0]), 0u) << "luma";
    EXPECT_EQ(largestDifference(s.red, ref.histograms[1]), 0u) << "red";
    EXPECT_EQ(largestDifference(s.green, ref.histograms[2]), 0u) << "green";
    EXPECT_EQ(largestDifference(s.blue, ref.histograms[3]), 0u) << "blue";
    EXPECT_EQ(largestDifference(s.waveform, ref.waveform), 0u) << "waveform";
    EXPECT_EQ(largestDifference(s.vectorscope, ref.vectorscope), 0u) << "vectorscope";
    // Nothing counted twice or lost.
    uint64_t total = 0;
    for (uint32_t n : s.vectorscope) total += n;
    EXPECT_EQ(total, uint64_t(image.getWidth()) * uint64_t(image.getHeight()));
}

// --- frames ---

Format surfaceFormatOf(iGPUImage::eFormat f) {
    switch (f) {
    case iGPUImage::eRGBA16F: return Format::eRGBAHalf;
    case iGPUImage::eRGBA32F: return Format::eRGBAFloat;
    default: return Format::eRGBA;
    }
}

// A surface with host pixels holding the image, rows `padding` bytes apart beyond their length.
Surface surfaceOf(const HostImage& image, uint32_t padding = 0) {
    Surface s;
    const uint16_t bits = image.getFormat() == iGPUImage::eRGBA8 ? 8 : image.getFormat() == iGPUImage::eRGBA32F ? 32 : 16;
    EXPECT_TRUE(s.init(uint32_t(image.getWidth()), uint32_t(image.getHeight()), surfaceFormatOf(image.getFormat()), bits, 0,
                       Surface::ePacked, Surface::eAllocHost, uint32_t(image.getStride()) + padding));
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
        const char* previous = std::getenv("XDG_CONFIG_HOME");
        m_hadConfig = previous != nullptr;
        if (previous) m_previousConfig = previous;
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
        if (m_hadConfig)
            setenv("XDG_CONFIG_HOME", m_previousConfig.c_str(), 1);
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
    bool m_hadConfig = false;
    std::string m_previousConfig;
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

TEST_F(ScopesTest, AFullHDFrameMatchesTheReference) {
    const Ptr<HostImage> image = naturalFrame(1920, 1080, iGPUImage::eRGBA8, 1);
    const ScopesData s = scopesOf(surfaceOf(*image));
    expectMatches(s, *image);
    // Every column of the waveform holds the column's pixels.
    for (int x : {0, 1, 959, 1919}) {
        uint32_t column = 0;
        for (int level = 0; level < kLevels; ++level) column += s.waveformAt(x, level);
        EXPECT_EQ(column, 1080u) << x;
    }
}

TEST_F(ScopesTest, SixteenBitComponentsRoundToTheNearest8BitCode) {
    // Every 16-bit value once in each channel, shifted between channels.
    const Ptr<HostImage> image = HostImage::create({256, 256}, iGPUImage::eRGBA16);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) {
            uint16_t* texel = reinterpret_cast<uint16_t*>(image->row(y)) + size_t(x) * 4;
            const int v = y * 256 + x;
            texel[0] = uint16_t(v);
            texel[1] = uint16_t(65535 - v);
            texel[2] = uint16_t((v * 7919) & 0xffff);
            texel[3] = 65535;
        }
    const ScopesData s = scopesOf(surfaceOf(*image));
    expectMatches(s, *image);
    // Code 0 takes 0..128 (129 values), code 255 takes 65407..65535, the others 257 each.
    EXPECT_EQ(s.red[0], 129u);
    EXPECT_EQ(s.red[1], 257u);
    EXPECT_EQ(s.red[255], 129u);
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
            float* texel = reinterpret_cast<float*>(image->row(1));
            texel[0] = 127.5f / 255.0f * 1.0000001f;
            texel[1] = 1e30f;
            texel[2] = -1e-30f;
        }
        const ScopesData s = scopesOf(surfaceOf(*image));
        expectMatches(s, *image);
    }
}

TEST_F(ScopesTest, TheSeventyFivePercentBarsLandOnTheirBT709Levels) {
    // Levels worked out by hand from Y' = 0.2126 R + 0.7152 G + 0.0722 B,
    // Cb = 128 + (B - Y') / 1.8556, Cr = 128 + (R - Y') / 1.5748, rounded
    // half up (191 = 75% of 255): white, yellow, cyan, green, magenta, red, blue.
    const struct {
        int r, g, b, luma, cb, cr;
    } bars[] = {{191, 191, 191, 191, 128, 128}, {191, 191, 0, 177, 33, 137}, {0, 191, 191, 150, 150, 33},
                {0, 191, 0, 137, 54, 41},       {191, 0, 191, 54, 202, 215}, {191, 0, 0, 41, 106, 224},
                {0, 0, 191, 14, 224, 119}};
    const int barWidth = 40, height = 30;
    const Ptr<HostImage> image = HostImage::create({7 * barWidth, height}, iGPUImage::eRGBA8);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < 7 * barWidth; ++x) {
            uint8_t* texel = image->row(y) + size_t(x) * 4;
            const auto& bar = bars[x / barWidth];
            texel[0] = uint8_t(bar.r), texel[1] = uint8_t(bar.g), texel[2] = uint8_t(bar.b), texel[3] = 255;
        }
    const ScopesData s = scopesOf(surfaceOf(*image));
    const uint32_t perBar = uint32_t(barWidth * height);
    for (const auto& bar : bars) {
        SCOPED_TRACE(::testing::Message() << bar.r << "," << bar.g << "," << bar.b);
        EXPECT_EQ(s.luma[size_t(bar.luma)], perBar);
        EXPECT_EQ(s.vectorscopeAt(bar.cb, bar.cr), perBar);
        EXPECT_EQ(Scopes::lumaOf(bar.r, bar.g, bar.b), bar.luma);
        EXPECT_EQ(Scopes::cbOf(bar.r, bar.g, bar.b), bar.cb);
        EXPECT_EQ(Scopes::crOf(bar.r, bar.g, bar.b), bar.cr);
        const int x = int(&bar - bars) * barWidth;
        EXPECT_EQ(s.waveformAt(x, bar.luma), uint32_t(height));
    }
    EXPECT_EQ(s.red[191], 4 * perBar);
    EXPECT_EQ(s.red[0], 3 * perBar);
}

TEST_F(ScopesTest, OddShapesAndPaddedRows) {
    for (const XY<int> size : {XY<int>{1, 1}, XY<int>{1, 1000}, XY<int>{1000, 1}, XY<int>{4099, 3}}) {
        SCOPED_TRACE(::testing::Message() << size.x << "x" << size.y);
        const Ptr<HostImage> image = naturalFrame(size.x, size.y, iGPUImage::eRGBA8, 3);
        expectMatches(scopesOf(surfaceOf(*image)), *image);
    }
    const Ptr<HostImage> image = naturalFrame(333, 77, iGPUImage::eRGBA16, 4);
    expectMatches(scopesOf(surfaceOf(*image, 24)), *image);
}

TEST_F(ScopesTest, AFrameOnTheGPUIsReadBack) {
    iGPUService* gpu = OS()->gpu();
    if (!gpu) GTEST_SKIP() << "EGL cannot start an OpenGL 4.5 core context here";
    const Ptr<HostImage> image = naturalFrame(640, 360, iGPUImage::eRGBA8, 5);
    const Ptr<iGPUImage> texture = image->createGPUImage(*gpu);
    ASSERT_TRUE(texture);
    const ScopesData s = scopesOf(Surface::forGPUImage(texture));
    expectMatches(s, *image);
}

TEST_F(ScopesTest, TwoCallersAtOnceEachGetTheirOwnFrame) {
    const Ptr<HostImage> a = naturalFrame(400, 300, iGPUImage::eRGBA8, 6), b = naturalFrame(300, 400, iGPUImage::eRGBA8, 7);
    const Surface sa = surfaceOf(*a), sb = surfaceOf(*b);
    std::vector<ScopesData> results(8);
    std::vector<std::thread> callers;
    for (int t = 0; t < 2; ++t)
        callers.emplace_back([&, t] {
            for (int i = 0; i < 4; ++i) Scopes::compute(t == 0 ? sa : sb, results[size_t(t * 4 + i)]);
        });
    for (std::thread& t : callers) t.join();
    for (int i = 0; i < 8; ++i) {
        SCOPED_TRACE(i);
        expectMatches(results[size_t(i)], i < 4 ? *a : *b);
    }
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
