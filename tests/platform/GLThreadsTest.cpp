// The OpenGL service used from several threads at once: compiles, image
// creation and release, uploads, draws of a shared and an own effect, and
// read-backs, each checked for exact results.
#include "GLTestSupport.h"

#include <atomic>
#include <thread>

using namespace QfGLTest;

namespace {
class GLThreadsTest : public GLTest {};
} // namespace

TEST_F(GLThreadsTest, ConcurrentUseGivesExactResults) {
    const Ptr<iShaderEffect> shared = compileEffect(dataPath("Invert.fx"));
    ASSERT_TRUE(shared);
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            // Each thread's own effect adds the thread's number.
            const Ptr<iShaderEffect> own =
                compileEffectText("DeclareQuillframeEffect( \"Add\", \"Test\", \"Test\", kNoNotes, kNoFlags )\n"
                                  "DeclareInput( Input, Point )\nDeclareEntryPoint( Add )\n{\n"
                                  "   return tex2D( Input, uv1 ) + " +
                                  std::to_string(t + 1) + ".0 / 255.0;\n}\n");
            if (!own) return void(++failures);
            for (int round = 0; round < 6; ++round) {
                const int w = 8 + t, h = 4 + round;
                std::vector<uint8_t> source(size_t(w * h * 4)), a(source.size()), b(source.size());
                for (size_t i = 0; i < source.size(); ++i) source[i] = uint8_t((i * 7 + size_t(t) * 31 + size_t(round)) % 200);
                const Ptr<iGPUImage> input = rgba8Image(w, h, source);
                const Ptr<iGPUImage> inverted = gpu()->createImage({w, h}, iGPUImage::eRGBA8);
                const Ptr<iGPUImage> added = gpu()->createImage({w, h}, iGPUImage::eRGBA8);
                if (!input || !inverted || !added || !shared->draw(inverted, {ShaderInputBinding::whole("Input", input)}) ||
                    !own->draw(added, {ShaderInputBinding::whole("Input", input)}) || !inverted->readBack(a.data()) ||
                    !added->readBack(b.data())) {
                    ++failures;
                    continue;
                }
                for (size_t i = 0; i < source.size(); ++i) {
                    if (a[i] != (i % 4 == 3 ? source[i] : 255 - source[i]) || b[i] != source[i] + t + 1) {
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
