// GPUPass against the recording GPU service: the shader-usage lock over the
// whole pass, typed parameter writes, bindings, the target and metadata
// policies, and the failure reasons (first one kept, logged by report()).
#include "image/GPUPass.h"
#include "support/RecordingGPUService.h"

#include "host/base/Strings.h"
#include "host/misc/Log.h"
#include "host/misc/Paths.h"
#include "manager/Manager.h"

#include <gtest/gtest.h>

#include <future>

using namespace Qf::Image;
using namespace QfTest;
using Manager = Qf::FxResources::Manager;

namespace {

const char* const kCode = "DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );\nDeclareEntryPoint()\n{\n}";

// Each test files its run-time effects under names of its own: the manager outlives the services.
std::string uniqueName() {
    static int n = 0;
    return "_GPUPassTest" + std::to_string(++n);
}

std::vector<ParamInfo> params(std::initializer_list<std::pair<const char*, iShaderParam::eType>> list) {
    std::vector<ParamInfo> out;
    for (const auto& [name, type] : list) out.push_back({name, type, {}, {}});
    return out;
}

bool lockIsFreeForAnotherThread() {
    return std::async(std::launch::async,
                      [] {
                          CriticalSection& lock = Manager::instance().getShaderUsageLock();
                          const bool free = lock.tryEnter();
                          if (free) lock.leave();
                          return free;
                      })
        .get();
}

Surface withImage(RecordingGPUService& gpu, uint32_t w, uint32_t h, Format format = Format::eRGBA, uint16_t bits = 8) {
    Surface s;
    s.init(w, h, format, bits, 0, Surface::ePacked, Surface::eAllocNone);
    s.createGPUSurface(gpu);
    return s;
}

class GPUPassTest : public ::testing::Test {
protected:
    void SetUp() override { Manager::instance(); }
    GPUPass runtimePass(const std::vector<ParamInfo>& params = {}) {
        gpu.succeedNextCompile(params);
        return GPUPass(uniqueName().c_str(), kCode);
    }
    RecordingGPUService gpu;
};

TEST_F(GPUPassTest, HoldsTheShaderUsageLockFromConstructionToDestruction) {
    ASSERT_TRUE(lockIsFreeForAnotherThread());
    {
        GPUPass pass = runtimePass(params({{"Amount", iShaderParam::eFloat}}));
        EXPECT_FALSE(lockIsFreeForAnotherThread());
        Surface source = withImage(gpu, 4, 2), destination;
        pass.set("Amount", 0.5f).target(destination, Target::eMatchingOrNew, {4, 2});
        pass.draw({ShaderInputBinding::whole("Input", source.getGPUSurface())});
        EXPECT_FALSE(lockIsFreeForAnotherThread());
        EXPECT_FALSE(pass.finish(source, destination, Metadata::eFromSource));
        EXPECT_FALSE(lockIsFreeForAnotherThread());
    }
    EXPECT_TRUE(lockIsFreeForAnotherThread());
}

TEST_F(GPUPassTest, WritesEachTypeAsTheServiceTakesItAndFindsTheRuntimeEffectAgain) {
    const std::string name = uniqueName();
    gpu.succeedNextCompile(params({{"F", iShaderParam::eFloat},
                                   {"I", iShaderParam::eInt},
                                   {"B", iShaderParam::eBool},
                                   {"V3", iShaderParam::eFloat3},
                                   {"V4", iShaderParam::eFloat4},
                                   {"M", iShaderParam::eFloat3x3}}));
    {
        GPUPass pass(name.c_str(), kCode);
        pass.set("F", 0.5f).set("I", 3).set("B", true).set("V3", Float3{1, 2, 3}).set("V4", Float4{1, 0.5f, 0.25f, 0});
        pass.set("M", Matrix3x3{1, 0, 0, 0, 1, 0, 0, 0, 2}).setIfDeclared("Missing", 1.0f).technique(2);
        EXPECT_FALSE(pass.failure());
    }
    EXPECT_EQ(gpu.calls(),
              (std::vector<std::string>{"set F float 0.5", "set I int 3", "set B bool true", "set V3 float3 1,2,3",
                                        "set V4 float4 1,0.5,0.25,0", "set M float3x3 1,0,0,0,1,0,0,0,2", "setTechnique #2"}));
    const GPUPass again(name.c_str(), "not compiled: the manager has it");
    EXPECT_FALSE(again.failure());
    EXPECT_EQ(gpu.compiles().size(), 1u);
}

TEST_F(GPUPassTest, TheFirstFailureSticksAndLaterStepsDoNothing) {
    GPUPass pass = runtimePass(params({{"F", iShaderParam::eFloat}, {"V4", iShaderParam::eFloat4}}));
    pass.set("V4", 1.0f).set("Missing", 1.0f); // a float into a float4: no fit
    Surface destination = withImage(gpu, 4, 4);
    EXPECT_EQ(pass.target(destination, Target::eDestination), nullptr);
    pass.set("F", 2.0f).draw({}).require(false, "later");
    EXPECT_TRUE(pass.failure()->ends_with(" takes no such V4")) << *pass.failure();
    EXPECT_EQ(pass.effect(), nullptr);
    EXPECT_EQ(gpu.calls(), std::vector<std::string>{"set V4 float 1"}); // nothing after the failure
    EXPECT_EQ(pass.finish(Surface(), destination, Metadata::eFromSource), pass.failure());
}

TEST_F(GPUPassTest, NamesWhatIsMissingAndReportLogsIt) {
    const std::string dir = toUTF8(getShadersDir()).str();
    EXPECT_EQ(GPUPass(LightweightString<char>("NoSuchEffect")).failure(), "the effect \"NoSuchEffect\" is not in " + dir);
    gpu.failNextCompile({{"bad", 0}});
    const std::string name = uniqueName();
    EXPECT_EQ(GPUPass(name.c_str(), kCode).failure(), "the run-time effect \"" + name + "\" does not compile");
    EXPECT_EQ(GPUPass(Ptr<iShaderEffect>(), "reordering \"x\"").failure(), "there is no effect reordering \"x\"");
    Surface destination;
    EXPECT_EQ(runtimePass().finish(Surface(), destination, Metadata::eFromSource), "nothing was drawn");
    EXPECT_EQ(runtimePass().input(destination), nullptr);

    std::string logged;
    setLogSink([&](std::string_view text) { logged += text; });
    EXPECT_TRUE(report("Owner", std::nullopt));
    EXPECT_FALSE(report("Owner", "the reason"));
    setLogSink({});
    EXPECT_EQ(logged, "Owner : the reason\n");
}

TEST(GPUPassBindings, SpanAndPlacedCorners) {
    RecordingGPUService gpu;
    const Ptr<iGPUImage> image = gpu.createImage({10, 4}, iGPUImage::eRGBA8);
    const auto corners = [](const ShaderInputBinding& b) {
        std::vector<float> out;
        for (const auto& c : b.corners) out.insert(out.end(), {c.u, c.v});
        return out;
    };
    const ShaderInputBinding span = spanBinding("In", image, -0.5f, 7.5f);
    EXPECT_EQ(span.name, "In");
    EXPECT_EQ(span.image, image);
    EXPECT_EQ(corners(span), (std::vector<float>{-0.5f, 0, 7.5f, 0, -0.5f, 1, 7.5f, 1}));
    // Texel (0, 0) on pixel (3, 2) of a 20x8 target: u in texels, v in image heights.
    EXPECT_EQ(corners(placedBinding("Atlas", image, {20, 8}, {3, 2})),
              (std::vector<float>{-3, -0.5f, 17, -0.5f, -3, 1.5f, 17, 1.5f}));
}

// Each policy: whether the destination's own image is drawn into, and what the destination is afterwards.
TEST_F(GPUPassTest, TargetPolicies) {
    const Surface source = withImage(gpu, 8, 4, Format::eBGRA);
    const Ptr<iGPUImage> input = source.getGPUSurface();
    struct Case {
        const char* what;
        Surface destination;
        Target policy;
        XY<int> size;
        iGPUImage::eFormat format;
        bool reused;
        Format after; // the destination's format after the pass
        XY<int> imageSize;
    };
    const Surface rgba8 = withImage(gpu, 8, 4), rgba16 = withImage(gpu, 8, 4, Format::eRGBA, 16);
    const Surface yuy2 = withImage(gpu, 16, 4, Format::eYUY2, 8), wide = withImage(gpu, 12, 4);
    Surface described; // a layout but no image
    described.init(8, 4, Format::eRGBA, 16, 0, Surface::ePacked, Surface::eAllocNone);
    const Case cases[] = {
        {"own as it is", wide, Target::eDestination, {}, {}, true, Format::eRGBA, {12, 4}},
        {"own", rgba16, Target::eDestinationOrDescribed, {}, {}, true, Format::eRGBA, {8, 4}},
        {"described", described, Target::eDestinationOrDescribed, {}, {}, false, Format::eRGBA, {8, 4}},
        {"matching", rgba8, Target::eMatchingOrNew, {8, 4}, iGPUImage::eRGBA8, true, Format::eRGBA, {8, 4}},
        {"other format", rgba16, Target::eMatchingOrNew, {8, 4}, iGPUImage::eRGBA8, false, Format::eRGBA, {8, 4}},
        {"not RGBA", yuy2, Target::eMatchingOrNew, {8, 4}, iGPUImage::eRGBA8, false, Format::eRGBA, {8, 4}},
        {"the source", source, Target::eMatchingOrNew, {8, 4}, iGPUImage::eRGBA8, false, Format::eRGBA, {8, 4}},
        {"same size", yuy2, Target::eSameSizeOrNew, {8, 4}, iGPUImage::eRGBA16, true, Format::eYUY2, {8, 4}},
        {"other size", wide, Target::eSameSizeOrNew, {8, 4}, iGPUImage::eRGBA16, false, Format::eRGBA, {8, 4}},
        {"own any size", wide, Target::eOwnOrNewLikeSource, {}, {}, true, Format::eRGBA, {12, 4}},
        {"like the source", Surface(), Target::eOwnOrNewLikeSource, {}, {}, false, Format::eBGRA, {8, 4}},
        {"always new", yuy2, Target::eNew, {8, 4}, iGPUImage::eRGBA8, false, Format::eYUY2, {8, 4}},
    };
    for (const Case& c : cases) {
        Surface destination = c.destination;
        const Ptr<iGPUImage> own = destination.getGPUSurface();
        GPUPass pass = runtimePass();
        const Ptr<iGPUImage> target = pass.target(destination, c.policy, c.size, c.format, input);
        ASSERT_TRUE(target) << c.what;
        EXPECT_EQ(target == own, c.reused) << c.what;
        pass.draw({ShaderInputBinding::whole("Input", input)});
        ASSERT_EQ(pass.finish(source, destination, Metadata::eUnchanged), std::nullopt) << c.what;
        EXPECT_EQ(destination.getGPUSurface(), target) << c.what;
        EXPECT_EQ(destination.getDataFormat(), c.after) << c.what;
        EXPECT_EQ(target->getSize(), c.imageSize) << c.what;
    }
    Surface none;
    EXPECT_EQ(runtimePass().target(none, Target::eDestination), nullptr);
    GPUPass tooLarge = runtimePass();
    tooLarge.target(none, Target::eNew, {gpu.maxImageSide() + 1, 1});
    EXPECT_EQ(tooLarge.failure(), "the size " + std::to_string(gpu.maxImageSide() + 1) + "x1 is outside the GPU's limits");
    gpu.setFailImageCreation(true);
    GPUPass noImage = runtimePass();
    noImage.target(none, Target::eNew, {4, 4});
    EXPECT_EQ(noImage.failure(), "no GPU image could be made for the result");
}

TEST_F(GPUPassTest, MetadataPolicies) {
    Surface source = withImage(gpu, 4, 4);
    source.setVideoData(
        {.colourimetry = Data::Video::eBT601, .range = Data::Video::eFullRange, .alpha = Data::Video::eAlphaStraight});
    source.setVideoSampleData({.time = 2, .frameNumber = 50});
    const Data::Video before{.colourimetry = Data::Video::eP3D65, .range = Data::Video::eLegalRange};
    const auto after = [&](Metadata metadata) {
        Surface destination = withImage(gpu, 4, 4);
        destination.setVideoData(before);
        GPUPass pass = runtimePass();
        pass.target(destination, Target::eDestination);
        EXPECT_FALSE(pass.draw({}).finish(source, destination, metadata));
        return std::pair{destination.getVideoData(), destination.getVideoSampleData()};
    };
    EXPECT_EQ(after(Metadata::eUnchanged), std::pair(before, Data::VideoSample{}));
    EXPECT_EQ(after(Metadata::eFromSource), std::pair(source.getVideoData(), source.getVideoSampleData()));
    Data::Video keeping = source.getVideoData();
    keeping.colourimetry = before.colourimetry, keeping.range = before.range;
    EXPECT_EQ(after(Metadata::eFromSourceKeepingColour), std::pair(keeping, source.getVideoSampleData()));
    EXPECT_EQ(after(Metadata::eFullRangeDefaults), std::pair(Data::Video{.range = Data::Video::eFullRange}, Data::VideoSample{}));
}

} // namespace
