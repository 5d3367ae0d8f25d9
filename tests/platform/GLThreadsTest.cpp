// The OpenGL service used from several threads at once: compiles, image
// creation and release, uploads, draws of shared and own effects, and
// read-backs, each checked for exact results.
#include "GLTestSupport.h"

#include <atomic>
#include <thread>

using namespace QfGLTest;

namespace {
class GLThreadsTest : public GLTest {};
}

TEST_F(GLThreadsTest, ConcurrentUseGivesExactResults) {
    const Ptr<iShaderEffect> shared = compileEffect(dataPath("Invert.fx"));
    ASSERT_TRUE(shared);
    constexpr int kThreads = 4, kRounds = 6;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            // Each thread compiles an effect of its own, adding its own number.
            const std::string text =
                "DeclareQuillframeEffect( \"Add\", \"Test\", \"Test\", kNoNotes, kNoFlags )\n"
                "DeclareInput( Input, Point )\n"
                "DeclareEntryPoint( Add )\n"
                "{\n"
                "   return tex2D( Input, uv1 ) + " + std::to_string(t + 1) + ".0 / 255.0;\n"
                "}\n";
            const Ptr<iShaderEffect> own = compileEffectText(text);
            if (!own) {
                ++failures;
                return;
            }
            for (int round = 0; round < kRounds; ++round) {
                const int w = 8 + t, h = 4 + round;
                std::vector<uint8_t> source(size_t(w * h * 4));
                for (size_t i = 0; i < source.size(); ++i) source[i] = uint8_t((i * 7 + size_t(t) * 31 + size_t(round)) % 200);
                const Ptr<iGPUImage> input = rgba8Image(w, h, source);
                const Ptr<iGPUImage> inverted = gpu()->createImage({w, h}, iGPUImage::eRGBA8);
                const Ptr<iGPUImage> added = gpu()->createImage({w, h}, iGPUImage::eRGBA8);
                if (!input || !inverted || !added || !shared->draw(inverted, {ShaderInputBinding::whole("Input", input)}) ||
                    !own->draw(added, {ShaderInputBinding::whole("Input", input)})) {
                    ++failures;
                    continue;
                }
                std::vector<uint8_t> a(source.size()), b(source.size());
                if (!inverted->readBack(a.data()) || !added->readBack(b.data())) {
                    ++failures;
                    continue;
                }
                for (size_t i = 0; i < source.size(); ++i) {
                    const int expectInverted = i % 4 == 3 ? source[i] : 255 - source[i];
                    if (a[i] != expectInverted || b[i] != source[i] + t + 1) {
                        ++failures;
                        break;
                    }
                }
            }
        });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(failures.load(), 0);
}
