// The tool's colour names: each reaches the library as the enumerator of the
// same name, and the LUT commands' numbers keep their meaning.
#include "ColourNames.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using Video = Data::Video;
using namespace Qf::Image;

TEST(ColourNames, TheTransfersReachTheVideoMetadataByName) {
    EXPECT_EQ(videoColourimetry("bt2020-hlg"), Video::eBT2100HLG);
    EXPECT_EQ(videoColourimetry("bt2020-pq"), Video::eBT2100PQ);
    EXPECT_EQ(videoColourimetry("bt601"), Video::eBT601);
    EXPECT_EQ(videoColourimetry("bt709"), Video::eBT709);
    EXPECT_EQ(videoColourimetry("bt2020"), Video::eBT2020);
    EXPECT_EQ(videoColourimetry("p3-dci"), Video::eDCIP3);
    EXPECT_EQ(videoColourimetry("p3-display"), Video::eP3D65);
}

TEST(ColourNames, NamesOutsideTheVideoTableAreRefused) {
    EXPECT_FALSE(videoColourimetry("aces")); // a LUT colorimetry only
    EXPECT_FALSE(videoColourimetry("BT709"));
    EXPECT_FALSE(videoColourimetry("4"));
    EXPECT_FALSE(videoColourimetry(""));
    EXPECT_EQ(videoColourimetryNames(), "bt601, bt709, bt2020, bt2020-hlg, bt2020-pq, p3-dci or p3-display");
}

TEST(ColourNames, EveryRowAgreesWithTheLibrarysOwnMatchOfTheTwoNumberings) {
    // colorimetryFromVideo is the library's map from video codes to LUT codes:
    // a row whose two codes disagree with it (HLG beside PQ) is a swapped row.
    std::set<std::string_view> names;
    for (const ColourName& c : colourNames()) {
        EXPECT_TRUE(names.insert(c.name).second) << c.name << " twice";
        if (c.video != Video::eColourimetryUnknown) {
            EXPECT_EQ(colorimetryFromVideo(c.video), c.lut) << c.name;
        }
    }
}

TEST(ColourNames, TheLUTNumbersKeepTheirMeaning) {
    EXPECT_EQ(lutColorimetry("4"), eRec2020HLG);
    EXPECT_EQ(lutColorimetry("5"), eRec2020ST2084);
    EXPECT_EQ(lutColorimetry("2"), eRec709);
    EXPECT_EQ(lutColorimetry("8"), eACES);
    // The names give the same codes as the numbers.
    EXPECT_EQ(lutColorimetry("bt2020-hlg"), lutColorimetry("4"));
    EXPECT_EQ(lutColorimetry("bt2020-pq"), lutColorimetry("5"));
    EXPECT_EQ(lutColorimetry("aces"), lutColorimetry("8"));
    // Any whole number is passed on as it is; anything else is refused.
    EXPECT_EQ(lutColorimetry("42"), Colorimetry(42));
    EXPECT_FALSE(lutColorimetry("4x"));
    EXPECT_FALSE(lutColorimetry(" 4"));
    EXPECT_FALSE(lutColorimetry("two"));
    EXPECT_FALSE(lutColorimetry(""));
}

TEST(ColourNames, Ranges) {
    EXPECT_EQ(videoRange("full"), Video::eFullRange);
    EXPECT_EQ(videoRange("legal"), Video::eLegalRange);
    EXPECT_FALSE(videoRange("video"));
}

} // namespace
