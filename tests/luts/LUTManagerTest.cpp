// The LUT catalogue: naming, listing, the cache and its eviction, installing,
// and the choice of ACES transforms.
#include "LUTTestSupport.h"

#include "host/base/Shutdown.h"
#include "host/base/Strings.h"
#include "host/misc/LUTPaths.h"
#include "host/misc/Log.h"
#include "host/own/ResourceShutdown.h"
#include "luts/FileLUT.h"
#include "luts/LUTManager.h"
#include "manager/Manager.h"
#include "support/RecordingGPUService.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

using namespace QfLUTTest;
using Wide = LightweightString<wchar_t>;
using namespace Qf::Image;

namespace {

Wide wide(const std::string& s) { return fromUTF8(s.c_str()); }
std::string narrow(const Wide& s) { return toUTF8(s).str(); }

// Points both LUT directories (and the root) at temporary ones for a test.
class LUTDirectories : public ::testing::Test {
protected:
    void SetUp() override { use(factory.path(), user.path()); }
    void TearDown() override {
        setLUTDirectory(iSettings::eFactory, L"");
        setLUTDirectory(iSettings::eUser, L"");
        setLUTRoot(L"");
    }
    static void use(const std::string& factoryDir, const std::string& userDir) {
        setLUTDirectory(iSettings::eFactory, wide(factoryDir));
        setLUTDirectory(iSettings::eUser, wide(userDir));
    }
    std::vector<std::string> names(const LUTManager& m) {
        std::vector<std::string> out;
        for (const Ptr<iLUT>& lut : m.getAvailableLUTs()) out.push_back(narrow(lut->getName()));
        return out;
    }

    TempDir factory, user;
    const std::string lut2 = identity3D(2);
};

TEST_F(LUTDirectories, FileLUTsDescribeThemselvesFromTheirFileNames) {
    struct Case {
        const char* file;
        bool factory;
        const char* name;
        const char* category;
        const char* manufacturer;
        const char* detail;
        bool selectable;
    };
    const Case cases[] = {
        {"Look - Maker_A - Film - Warm - Soft.cube", false, "Warm - Soft", "Maker A", "Maker A", "Film", true},
        {"Look - Maker_A - Film - Warm - Soft.cube", true, "Look - Maker A - Film - Warm - Soft", "Built-in", "", "", true},
        {"Film_Look.cube", true, "Film Look", "Built-in", "", "", true},
        {"Look - Maker - Film.cube", false, "Look - Maker - Film", "", "", "", true},
        {"A - B - C - D.cube", false, "D", "B", "B", "C", true},
        {"A-B - C - D - E.cube", false, "E", "C", "C", "D", true}, // "-" without blanks does not split
        {"Input - Rec.709 - ITU - ACES.AP1.cube", false, "ACES.AP1", "Rec.709", "Rec.709", "ITU", false},
        {"my_ACES.AP0_look.cube", false, "my ACES.AP0 look", "", "", "", false},
        {"Input - ACES.AP0 - ACES - ACES.AP1.cube", true, "Input - ACES.AP0 - ACES - ACES.AP1", "Built-in", "", "", true},
        {"A -  - C - D.cube", false, "D", "", "", "C", true},
        {"no_extension", false, "no extension", "", "", "", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.file) + (c.factory ? " (factory)" : " (user)"));
        const std::string path = (c.factory ? factory : user).path() + c.file;
        const FileLUT lut(wide(path));
        EXPECT_EQ(narrow(lut.getName()), c.name);
        EXPECT_EQ(narrow(lut.getCategory()), c.category);
        EXPECT_EQ(narrow(lut.getManufacturer()), c.manufacturer);
        EXPECT_EQ(narrow(lut.getDetail()), c.detail);
        EXPECT_EQ(lut.isSelectable(), c.selectable);
        EXPECT_EQ(narrow(lut.getID()), path);
        EXPECT_TRUE(lut.getDescription().empty());
    }
}

TEST_F(LUTDirectories, CatalogueListsFactoryThenUserFilesInNameOrder) {
    factory.write("b_look.cube", lut2);
    factory.write("A_look.CUBE", lut2); // extensions compare without case
    factory.write("notes.txt", "not a LUT");
    factory.write("sub/inner.cube", lut2); // sub-directories are not searched
    user.write("Look - Maker2 - Film - Two.cube", lut2);
    user.write("Look - Maker1 - Film - One.cube", lut2);
    user.write("Look - Maker2 - Video - Three.cube", lut2);
    user.write("readme.cube.bak", lut2);

    LUTManager m;
    EXPECT_EQ(names(m), (std::vector<std::string>{"A look", "b look", "One", "Two", "Three"}));
    std::vector<std::string> makers;
    for (const Wide& w : m.getManufacturers()) makers.push_back(narrow(w));
    EXPECT_EQ(makers, (std::vector<std::string>{"All", "Maker1", "Maker2"}));
    EXPECT_EQ(m.getSupportedFileTypes(), std::vector<Wide>{L"cube"});

    const Wide id = wide(user.path() + "Look - Maker1 - Film - One.cube");
    ASSERT_TRUE(m.getLUTByID(id));
    EXPECT_EQ(m.getLUTByID(id)->getName(), L"One");
    EXPECT_FALSE(m.getLUTByID(wide(user.path() + "look - maker1 - film - one.cube"))); // exact match only
    EXPECT_FALSE(m.getLUTByID(L""));

    m.addManufacturer(L"Maker1");
    m.addManufacturer(L"Other");
    EXPECT_EQ(m.getManufacturers().size(), 4u);

    // The same directory twice is listed once; a missing one adds nothing.
    use(factory.path(), factory.path());
    m.refresh();
    EXPECT_EQ(names(m), (std::vector<std::string>{"A look", "b look"}));
    use(factory.path(), "/nonexistent/qffx-luts/");
    m.refresh();
    EXPECT_EQ(names(m), (std::vector<std::string>{"A look", "b look"}));
}

TEST_F(LUTDirectories, CacheHoldsTenAndTheEleventhClearsIt) {
    QfTest::RecordingGPUService gpu;
    std::vector<Wide> ids;
    for (int i = 0; i < 11; ++i) ids.push_back(wide(factory.write("lut" + std::to_string(i) + ".cube", lut2)));
    LUTManager m;
    for (int i = 0; i < 10; ++i) ASSERT_TRUE(m.load(ids[size_t(i)])) << i;
    EXPECT_EQ(m.getCachedCount(), 10u);
    const Ptr<iGPUImage> first = m.load(ids[0]);
    EXPECT_EQ(m.load(ids[0]), first); // a cached LUT is the same image
    EXPECT_EQ(m.getCachedCount(), 10u);

    const Ptr<iGPUImage> eleventh = m.load(ids[10]);
    ASSERT_TRUE(eleventh);
    EXPECT_TRUE(eleventh->is3D());
    EXPECT_EQ(eleventh->getDepth(), 2);
    EXPECT_EQ(m.getCachedCount(), 1u);
    for (int i = 0; i < 10; ++i) EXPECT_FALSE(m.isCached(ids[size_t(i)])) << i;
    EXPECT_TRUE(m.isCached(ids[10]));
    EXPECT_NE(m.load(ids[0]), first); // read again
}

// Without a GPU service, load reads and keeps the host data but gives no
// image; once there is one, the kept data becomes the GPU image. An unknown
// or unreadable identifier is cached too, as an entry without images: it
// gives nothing and is not read again until the cache is emptied.
TEST_F(LUTDirectories, LoadKeepsHostDataUntilThereIsAGPUServiceAndCachesUnknownAndUnreadableLUTsEmpty) {
    const Wide id = wide(factory.write("ranged.cube", "LUT_IN_VIDEO_RANGE\n" + lut2));
    const Wide other = wide(factory.write("one.cube", lut2));
    const Wide broken = wide(factory.write("broken.cube", "LUT_3D_SIZE 2\n0 0 0\n"));
    const Wide missing = wide(factory.path() + "missing.cube");
    std::string logged;
    const LogSink previous = setLogSink([&](std::string_view text) { logged += text; });
    LUTManager m;
    m.preLoad(id);
    m.preLoad(id);
    EXPECT_EQ(m.getCachedCount(), 1u);
    EXPECT_FALSE(m.load(other));
    EXPECT_TRUE(m.isCached(other));

    QfTest::RecordingGPUService gpu;
    const LUTManager::LoadedLUT loaded = m.loadWithMapping(id);
    EXPECT_TRUE(loaded.image);
    EXPECT_NEAR(loaded.mapping.inOffset[0], 64.0f / 1023, 1e-7f);
    EXPECT_TRUE(m.load(other));
    EXPECT_FALSE(m.load(missing));
    EXPECT_FALSE(m.load(broken));
    EXPECT_FALSE(m.load(broken)); // from the cache: the file is not read again
    m.preLoad(L"not a LUT at all");
    EXPECT_TRUE(m.isCached(missing));
    EXPECT_TRUE(m.isCached(broken));
    EXPECT_TRUE(m.isCached(L"not a LUT at all"));
    EXPECT_FALSE(m.load(L"not a LUT at all"));
    EXPECT_EQ(m.getCachedCount(), 5u);
    m.reportUsage();
    m.limitUsage();
    m.reportUsage();
    setLogSink(previous);
    const std::string complaint = "broken.cube line 2: too few rows: 1 of 8";
    const size_t at = logged.find(complaint);
    EXPECT_NE(at, std::string::npos) << logged;
    EXPECT_EQ(logged.find(complaint, at + 1), std::string::npos) << logged;
    EXPECT_NE(logged.find("LUTManager : 5 luts cached\nLUTManager : 0 luts cached\n"), std::string::npos) << logged;
}

TEST_F(LUTDirectories, ConcurrentLoadsShareTheCache) {
    QfTest::RecordingGPUService gpu;
    std::vector<Wide> ids;
    for (int i = 0; i < 12; ++i) ids.push_back(wide(factory.write("lut" + std::to_string(i) + ".cube", lut2)));
    LUTManager m;
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int k = 0; k < 60; ++k) {
                const Wide& id = ids[size_t((k * (t + 1)) % 12)];
                if (k % 3 == 0)
                    m.preLoad(id);
                else if (!m.load(id))
                    ++failures;
            }
        });
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(failures, 0);
    EXPECT_LE(m.getCachedCount(), LUTManager::kMaxCachedLUTs);
}

TEST_F(LUTDirectories, InstallCopiesIntoTheUserDirectoryWithoutOverwriting) {
    TempDir elsewhere;
    const std::string look = elsewhere.write("Look - Maker - Film - Warm.cube", lut2);
    const std::string text = elsewhere.write("notes.txt", "x");
    const std::string broken = elsewhere.write("broken.cube", "LUT_3D_SIZE 2\n");
    std::filesystem::remove_all(user.path()); // made on first install

    LUTManager m;
    int heard = 0;
    const uint64_t listener = m.addListener([&](const LightweightString<char>& message) {
        EXPECT_EQ(message, LUTManager::kLUTsInstalled);
        ++heard;
    });
    std::string logged;
    const LogSink previous = setLogSink([&](std::string_view t) { logged += t; });
    const std::vector<Ptr<iLUT>> first = m.installLUTs({wide(look), wide(text), wide(broken), wide("/nonexistent/x.cube")});
    const std::vector<Ptr<iLUT>> second = m.installLUTs({wide(look), wide(look)});
    const std::vector<Ptr<iLUT>> none = m.installLUTs({wide(text)});
    setLogSink(previous);

    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(narrow(first[0]->getID()), user.path() + "Look - Maker - Film - Warm.cube");
    EXPECT_EQ(first[0]->getManufacturer(), L"Maker");
    ASSERT_EQ(second.size(), 2u);
    EXPECT_EQ(narrow(second[0]->getID()), user.path() + "Look - Maker - Film - Warm (2).cube");
    EXPECT_EQ(narrow(second[1]->getID()), user.path() + "Look - Maker - Film - Warm (3).cube");
    EXPECT_EQ(second[1]->getName(), L"Warm (3)");
    EXPECT_TRUE(none.empty());
    EXPECT_EQ(heard, 2);
    EXPECT_EQ(m.getAvailableLUTs().size(), 3u);
    EXPECT_NE(logged.find(text + " is not a supported LUT file, skipped"), std::string::npos) << logged;
    EXPECT_NE(logged.find(broken + " is not a readable LUT, skipped"), std::string::npos) << logged;
    EXPECT_NE(logged.find("cannot read /nonexistent/x.cube"), std::string::npos) << logged;
    EXPECT_TRUE(std::filesystem::exists(look)); // a copy, not a move

    m.removeListener(listener);
    m.installLUTs({wide(look)});
    EXPECT_EQ(heard, 2);
}

TEST_F(LUTDirectories, ShutdownReleasesTheCatalogue) {
    factory.write("one.cube", lut2);
    LUTManager::instance().refresh();
    EXPECT_EQ(LUTManager::instance().getAvailableLUTs().size(), 1u);
    LUTManager::shutdown();
    EXPECT_TRUE(LUTManager::instance().getAvailableLUTs().empty());

    // The effect manager's shut-down reaches it through its registration.
    LUTManager::instance().refresh();
    ASSERT_EQ(LUTManager::instance().getAvailableLUTs().size(), 1u);
    ResourceShutdown::runAll(false);
    EXPECT_TRUE(LUTManager::instance().getAvailableLUTs().empty());
}

TEST(LUTDirectoryDefaults, UserDirectoryFollowsXDGDataHome) {
    const char* saved = std::getenv("XDG_DATA_HOME");
    const std::string restore = saved ? saved : "";
    setenv("XDG_DATA_HOME", "/data/home", 1);
    EXPECT_EQ(getLUTDirectory(iSettings::eUser), L"/data/home/qffx/luts/");
    setenv("XDG_DATA_HOME", "relative/ignored", 1);
    EXPECT_TRUE(getLUTDirectory(iSettings::eUser).endsWith(L"/.local/share/qffx/luts/"));
    if (saved)
        setenv("XDG_DATA_HOME", restore.c_str(), 1);
    else
        unsetenv("XDG_DATA_HOME");
    EXPECT_TRUE(getLUTDirectory(iSettings::eFactory).endsWith(L"resources/luts/"));
    EXPECT_EQ(getLUTRoot(), getLUTDirectory(iSettings::eFactory));
}

// --- ACES ---

// CTest runs each test in a process of its own, where nothing has asked for
// a LUT yet: the effect manager's shut-down still ends with the LUT
// manager's, which it reaches through instance() (making it).
TEST_F(LUTDirectories, TheEffectManagersShutDownEndsWithTheLUTManagersEvenWhenNoLUTWasUsed) {
    factory.write("one.cube", lut2);
    Qf::FxResources::Manager::startup(false);
    Shutdown::runCallbacks(Shutdown::eNormalExit);
    Shutdown::reset();
    EXPECT_FALSE(Qf::FxResources::Manager::isStarted());
    EXPECT_TRUE(LUTManager::instance().getAvailableLUTs().empty());
}

class ACESChoice : public ::testing::Test {
protected:
    void SetUp() override { setLUTRoot(L"/luts/aces"); }
    void TearDown() override { setLUTRoot(L""); }
    static std::string in(int c) { return narrow(LUTManager::getACESInputLUT(Colorimetry(c))); }
    static std::string out(int c) { return narrow(LUTManager::getACESOutputLUT(Colorimetry(c))); }
    static std::string direct(Colorimetry from, Colorimetry to) { return narrow(LUTManager::getInputLUT(from, to)); }
};

TEST_F(ACESChoice, InputAndOutputTransformsByColorimetry) {
    const char* const transforms[][2] = {
        // {input, output} by colorimetry code
        {".AP1.cube", ".cube"},
        {"Input - Rec.601 - ITU - ACES.AP1.cube", "Output - ACES.AP1 - Rec.601 - ITU.cube"},
        {"Input - Rec.709 - ITU - ACES.AP1.cube", "Output - ACES.AP1 - Rec.709 - ITU.cube"},
        {"Input - Rec.2020 - Rec.709 ITU - ACES.AP1.cube", "Output - ACES.AP1 - Rec.2020 - Rec.709 ITU.cube"},
        {"Input - Rec.2020 - HLG (1000 nits) - ACES.AP1.cube", "Output - ACES.AP1 - Rec.2020 - HLG (1000 nits).cube"},
        {"Input - Rec.2020 - ST2084 (1000 nits) - ACES.AP1.cube", "Output - ACES.AP1 - Rec.2020 - ST2084 (1000 nits).cube"},
        {"Input - P3 - DCI DCDM - ACES.AP1.cube", "Output - ACES.AP1 - P3 - DCI DCDM.cube"},
        {"Input - P3 - Display - ACES.AP1.cube", "Output - ACES.AP1 - P3 - Display.cube"},
        {"Input - ACES.AP0 - ACES - ACES.AP1.cube", "Output - ACES.AP1 - ACES - ACES.AP0.cube"},
        {".AP1.cube", ".cube"},
    };
    for (int c = 0; c <= 9; ++c) {
        EXPECT_EQ(in(c), std::string("/luts/aces/") + transforms[c][0]) << c;
        EXPECT_EQ(out(c), std::string("/luts/aces/") + transforms[c][1]) << c;
    }
    EXPECT_EQ(in(-1), "/luts/aces/.AP1.cube");
}

TEST_F(ACESChoice, DirectLUTsExistOnlyBetweenSDRAndHDRAndBetweenHDRTransfers) {
    const std::string root = "/luts/aces/";
    const std::string hlgTo709 = root + "Input - Rec.2020 - HLG (1000 nits) - Rec.709 (ACES.AP0).cube";
    const std::string pqTo709 = root + "Input - Rec.2020 - ST2084 (1000 nits) - Rec.709 (ACES.AP0).cube";
    EXPECT_EQ(direct(eRec2020HLG, eRec709), hlgTo709);
    EXPECT_EQ(direct(eRec2020HLG, eRec601), hlgTo709); // a Rec.601 target uses the Rec.709 file
    EXPECT_EQ(direct(eRec2020ST2084, eRec709), pqTo709);
    EXPECT_EQ(direct(eRec601, eRec2020HLG), root + "Input - Rec.709 - ITU - Rec.2020 HLG (1000 nits) (ACES.AP0).cube");
    EXPECT_EQ(direct(eRec709, eRec2020ST2084), root + "Input - Rec.709 - ITU - Rec.2020 ST2084 (1000 nits) (ACES.AP0).cube");
    EXPECT_EQ(direct(eRec2020HLG, eRec2020ST2084),
              root + "Input - Rec.2020 HLG (1000 nits) - Rec.2020 - ST2084 (1000 nits) (ACES.AP0).cube");
    EXPECT_EQ(direct(eRec2020ST2084, eRec2020HLG),
              root + "Input - Rec.2020 - ST2084 (1000 nits) - Rec.2020 HLG (1000 nits) (ACES.AP0).cube");
    EXPECT_EQ(direct(eRec2020, eRec2020HLG), root);
    EXPECT_EQ(direct(eRec709, eRec709), root);

    // preferACES is true exactly where there is no direct file, over every pair.
    int directPairs = 0;
    for (int from = 0; from <= 9; ++from)
        for (int to = 0; to <= 9; ++to) {
            const bool hasDirect = direct(Colorimetry(from), Colorimetry(to)) != root;
            directPairs += hasDirect;
            EXPECT_EQ(LUTManager::preferACES(Colorimetry(from), Colorimetry(to)), !hasDirect) << from << " -> " << to;
        }
    EXPECT_EQ(directPairs, 10); // {1,2} x {4,5} both ways, and 4 <-> 5
}

TEST_F(ACESChoice, ASurfacesCodeFourIsHLGAndFiveIsPQ) {
    // One numbering for surfaces and LUTs: video code 4 chooses the HLG
    // transforms, 5 the ST 2084 (PQ) ones, and every other code means the same
    // colour space in both.
    EXPECT_EQ(uint32_t(Data::Video::eBT2100HLG), 4u);
    EXPECT_EQ(uint32_t(Data::Video::eBT2100PQ), 5u);
    EXPECT_EQ(in(colorimetryFromVideo(4)), "/luts/aces/Input - Rec.2020 - HLG (1000 nits) - ACES.AP1.cube");
    EXPECT_EQ(out(colorimetryFromVideo(5)), "/luts/aces/Output - ACES.AP1 - Rec.2020 - ST2084 (1000 nits).cube");
    for (uint32_t code = 0; code <= 9; ++code) {
        const bool named = code >= Data::Video::eBT601 && code <= Data::Video::eP3D65;
        EXPECT_EQ(colorimetryFromVideo(code), named ? Colorimetry(code) : eColorimetryUnknown) << code;
    }
}

} // namespace
