// GPUFontCache and the Cache template on the recording GPU service: the
// eviction rules, use counts, handles that outlive clear(), the size and
// style handed to createFont, the shut-down registration, and many threads.
#include "fonts/GPUFontCache.h"
#include "host/own/ResourceShutdown.h"
#include "support/RecordingGPUService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

using ::testing::ElementsAre;

namespace {

class GPUFontCacheTest : public ::testing::Test {
protected:
    void SetUp() override { cache().clear(); }
    void TearDown() override { cache().clear(); }
    static GPUFontCache& cache() { return GPUFontCache::instance(); }
    static FontDefinition face(int n, double size = 12) { return {L"Face" + Qf::WStringFromInteger(n), size, 0}; }
    std::vector<std::string> fontCalls() const {
        std::vector<std::string> out;
        for (const std::string& c : m_gpu.calls())
            if (c.starts_with("createFont")) out.push_back(c);
        return out;
    }
    QfTest::RecordingGPUService m_gpu;
};

TEST_F(GPUFontCacheTest, OneFontPerDefinitionWithAUseCountPerLiveHandle) {
    Ptr<GPUFontCache::Result> a = cache().getFont(face(1));
    Ptr<GPUFontCache::Result> b = cache().getFont(face(1));
    ASSERT_TRUE(a && b);
    EXPECT_EQ(a->getValue(), b->getValue());
    EXPECT_EQ(cache().useCount(face(1)), 2);
    b = nullptr;
    EXPECT_EQ(cache().useCount(face(1)), 1);
    a = nullptr;
    EXPECT_EQ(cache().useCount(face(1)), 0);
    EXPECT_TRUE(cache().contains(face(1))); // unused fonts stay cached
    EXPECT_EQ(fontCalls().size(), 1u);
}

TEST_F(GPUFontCacheTest, TheEleventhEvictsTheFirstUnusedInKeyOrderOrGrowsTheTable) {
    // Made in reverse so that key order differs from the order of making.
    for (int n = 9; n >= 0; --n) cache().getFont(face(n));
    ASSERT_EQ(cache().size(), 10u);
    Ptr<GPUFontCache::Result> held = cache().getFont(face(0)); // the first in key order is in use
    cache().getFont(face(10));
    EXPECT_EQ(cache().size(), 10u);
    EXPECT_TRUE(cache().contains(face(0)));
    EXPECT_FALSE(cache().contains(face(1))); // the first unused one went
    EXPECT_TRUE(cache().contains(face(10)));

    std::vector<Ptr<GPUFontCache::Result>> all;
    for (int n = 0; n < 11; ++n) all.push_back(cache().getFont(face(n)));
    cache().getFont(face(11)); // every entry is in use: nothing is evicted
    EXPECT_EQ(cache().size(), 12u);
}

TEST_F(GPUFontCacheTest, SizesAreTruncatedAndOnlyTheBoldAndItalicBitsReachCreateFont) {
    const Ptr<GPUFontCache::Result> a = cache().getFont({L"Sans", 11.9, 0xFF});
    const Ptr<GPUFontCache::Result> b = cache().getFont({L"Sans", 11.0, FontDefinition::eItalic | FontDefinition::eUnderline});
    EXPECT_THAT(fontCalls(), ElementsAre("createFont Sans 11 3", "createFont Sans 11 2"));
    EXPECT_EQ(a->getValue()->getSize(), 11);
    EXPECT_EQ(cache().size(), 2u);                                         // distinct definitions stay distinct entries
    EXPECT_FALSE(cache().getFont({L"Sans", std::nan(""), 0})->getValue()); // no font for a size no int holds
}

// A font that could not be made is cached like any other, as a null font
// with its use count: the next request gets it without asking the GPU again.
TEST_F(GPUFontCacheTest, HandlesOutliveClearAndAFailedFontIsCachedWithItsUseCount) {
    Ptr<GPUFontCache::Result> a = cache().getFont(face(1));
    cache().clear();
    EXPECT_EQ(cache().size(), 0u);
    ASSERT_TRUE(a->getValue());
    EXPECT_EQ(a->getValue()->getFaceName(), L"Face1");
    a = nullptr; // finds no entry; nothing happens
    EXPECT_EQ(cache().useCount(face(1)), -1);

    m_gpu.setFailFontCreation(true);
    Ptr<GPUFontCache::Result> failed = cache().getFont(face(2));
    ASSERT_TRUE(failed);
    EXPECT_FALSE(failed->getValue());
    EXPECT_EQ(cache().useCount(face(2)), 1);
    m_gpu.setFailFontCreation(false);
    const Ptr<GPUFontCache::Result> again = cache().getFont(face(2));
    EXPECT_FALSE(again->getValue());
    EXPECT_EQ(cache().useCount(face(2)), 2);
    failed = nullptr;
    EXPECT_EQ(cache().useCount(face(2)), 1);
    EXPECT_THAT(fontCalls(), ElementsAre("createFont Face1 12 0", "createFont Face2 12 0"));
}

TEST_F(GPUFontCacheTest, TheManagersShutDownClearsTheCacheOnlyWhenAManagerExisted) {
    cache().getFont(face(1));
    ResourceShutdown::runAll(false);
    EXPECT_EQ(cache().size(), 1u);
    ResourceShutdown::runAll(true);
    EXPECT_EQ(cache().size(), 0u);
}

TEST_F(GPUFontCacheTest, ThreadsAskingForTheSameFontsShareThem) {
    constexpr int kThreads = 8, kRounds = 200;
    std::vector<std::thread> threads;
    std::vector<std::vector<Ptr<GPUFontCache::Result>>> held(kThreads);
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int r = 0; r < kRounds; ++r) {
                Ptr<GPUFontCache::Result> h = cache().getFont(face(r % 14));
                if (r % 14 == 0) held[t].push_back(h);
            }
        });
    for (std::thread& t : threads) t.join();
    // Every handle kept for face 0 points at the one cached font, counted once each.
    size_t live = 0;
    for (const auto& list : held)
        for (const auto& h : list) {
            EXPECT_EQ(h->getValue(), held[0][0]->getValue());
            ++live;
        }
    EXPECT_EQ(cache().useCount(face(0)), int32_t(live));
    EXPECT_GE(cache().size(), 10u);
}

} // namespace
