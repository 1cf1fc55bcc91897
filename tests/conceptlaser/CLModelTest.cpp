#include <TalSDK/conceptlaser/CLParameters.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using Mode = TalSDK::MSaxPersistExtensibleObject::OperatingMode;

// Each class compares only what it must: these changes leave the sets equal.
TEST(CLModelTest, EqualityLeavesOutWhatItMust) {
  MCLHatchingParameters hatching;
  hatching.SetRetract(7);
  EXPECT_EQ(hatching, MCLHatchingParameters());
  hatching.SetMeandering(false, 3.0f);
  EXPECT_NE(hatching, MCLHatchingParameters());

  MCLIslandParameters island;
  island.ClearSliceRotationAngles();
  EXPECT_TRUE(island.GetSliceRotationAngles().empty());
  island.AddSliceRotationAngle(67.0);
  island.SetOverlapGapHorizontal(5);
  island.SetOverlapGapVertical(6);
  island.SetFilterSmallAreas(true);
  EXPECT_EQ(island, MCLIslandParameters());
  island.SetOrientationIncrement(1.0);  // not in the file, but compared
  EXPECT_NE(island, MCLIslandParameters());

  MCLPostProcessParameters post;
  post.SetIncrementalInsideOffset(0, 0);
  post.m_individualOutsideOffsets = {1, 2};
  EXPECT_EQ(post, MCLPostProcessParameters());
  post.GetHatchingParameters().SetRetract(3);
  EXPECT_EQ(post, MCLPostProcessParameters());
  post.GetIslandParameters().SetEnabled(false);
  EXPECT_NE(post, MCLPostProcessParameters());

  // The minimum is not in the file, but compared, each axis.
  for (const auto& [x, y] : {std::pair{1, 0}, std::pair{0, 2}}) {
    MCLPlatformParameters platform;
    platform.SetPosition(x, y);
    EXPECT_NE(platform, MCLPlatformParameters());
  }

  // Kept elements take no part in the comparison of this family.
  MCLParameters kept;
  kept.AddUnhandledElement(TalSDK::MSaxUnhandledElement("Future", "1"));
  kept.GetSliceParameters().AddUnhandledElement(TalSDK::MSaxUnhandledElement("Future"));
  EXPECT_EQ(kept, MCLParameters());
}

TEST(CLModelTest, IslandGeometryFollowsTheType) {
  MCLIslandParameters hexagon;
  hexagon.Set(MCLIslandParameters::eHexagonal, 1000, 0);
  EXPECT_EQ(std::vector<int>({hexagon.m_sizeEdge, hexagon.m_sizeX, hexagon.m_sizeY}),
            std::vector<int>({1000, 1732, 1500}));
  hexagon.SetShift(7, 7);  // ignored: half the width, two thirds of the height
  EXPECT_EQ(std::vector<int>({hexagon.m_shiftX, hexagon.m_shiftY}), std::vector<int>({866, 1000}));

  for (const auto type :
       {MCLIslandParameters::eRectangular, MCLIslandParameters::eRectangularAlternate}) {
    MCLIslandParameters rectangle;
    rectangle.Set(type, 4000, 2000);
    rectangle.SetShift(7, -7);
    EXPECT_EQ(std::vector<int>({rectangle.m_sizeEdge, rectangle.m_sizeX, rectangle.m_sizeY,
                                rectangle.m_shiftX, rectangle.m_shiftY}),
              std::vector<int>({4000, 4000, 2000, 7, -7}));
  }

  MCLIslandParameters other;
  other.Set(static_cast<MCLIslandParameters::MType>(5), 1, 2);
  other.SetShift(7, 7);
  EXPECT_EQ(other.GetType(), 5);
  EXPECT_EQ(std::vector<int>(
                {other.m_sizeEdge, other.m_sizeX, other.m_sizeY, other.m_shiftX, other.m_shiftY}),
            std::vector<int>({3000, 5000, 5000, 0, 0}));
}

// A filled cache is never rebuilt, even when count and interval change.
TEST(CLModelTest, OffsetCacheIsFilledOnce) {
  MCLPostProcessParameters post;
  post.SetIncrementalInsideOffset(3, 100);
  EXPECT_EQ(post.m_individualInsideOffsets, std::vector<std::int32_t>({100, 200, 300}));
  EXPECT_TRUE(post.m_individualOutsideOffsets.empty());
  post.SetIncrementalInsideOffset(2, 50);
  EXPECT_EQ(post.m_insideOffsetCount, 2u);
  EXPECT_EQ(post.m_insideOffsetInterval, 50);
  EXPECT_EQ(post.m_individualInsideOffsets, std::vector<std::int32_t>({100, 200, 300}));
  post.SetIncrementalOutsideOffset(2, -40);
  EXPECT_EQ(post.m_individualOutsideOffsets, std::vector<std::int32_t>({-40, -80}));
}

TEST(CLModelTest, NamedLookupsDifferOnUnknownNames) {
  MCLParameters set;
  set.SetOperatingMode(Mode::eIgnoreUnhandledElements);
  set.GetDefaultComponentScanningParameters().GetBorderBuildParameters().m_laserPower = 1;
  EXPECT_EQ(set.GetComponentScanningParameters(L"Part", false), nullptr);
  MCLScanningParameters* created = set.GetComponentScanningParameters(L"Part", true);
  ASSERT_NE(created, nullptr);
  EXPECT_EQ(*created, MCLScanningParameters());  // factory defaults, not the default set
  EXPECT_EQ(created->GetOperatingMode(), Mode::eIgnoreUnhandledElements);
  EXPECT_EQ(set.GetComponentScanningParameters(L"Part", false), created);
  EXPECT_EQ(std::as_const(set).GetComponentScanningParameters(L"part"), nullptr);

  MCLPostProcessParameters* platformSet = &set.GetPlatformParameters().GetPostProcessParameters();
  EXPECT_EQ(set.GetComponentPostProcessParameters(L"Part", false), platformSet);
  EXPECT_EQ(std::as_const(set).GetComponentPostProcessParameters(L"Part"), platformSet);
  MCLPostProcessParameters* post = set.GetComponentPostProcessParameters(L"Part", true);
  EXPECT_NE(post, platformSet);
  EXPECT_EQ(post->GetOperatingMode(), Mode::eIgnoreUnhandledElements);
  EXPECT_EQ(std::as_const(set).GetComponentPostProcessParameters(L"Part"), post);

  set.GetComponentScanningParameters(L"A", true);
  std::vector<std::wstring> names{L"kept"};
  set.GetAvailableScanningParameters(names);
  EXPECT_EQ(names, std::vector<std::wstring>({L"kept", L"A", L"Part"}));
  set.RemoveComponentScanningParameters(L"A");
  set.RemoveComponentScanningParameters(L"absent");
  set.RemoveComponentPostProcessParameters(L"Part");
  names.clear();
  set.GetAvailableScanningParameters(names);
  set.GetAvailablePostProcessParameters(names);
  EXPECT_EQ(names, std::vector<std::wstring>({L"Part"}));
}

// Copies take every value but not the set's own kept elements; its blocks keep theirs.
TEST(CLModelTest, CopyLeavesOutTheSetsOwnKeptElements) {
  MCLParameters source;
  source.SetName(L"Source");
  source.GetComponentScanningParameters(L"Part", true)->GetHatchingBuildParameters().m_laserSpeed =
      9;
  source.AddUnhandledElement(TalSDK::MSaxUnhandledElement("Own"));
  source.GetTracingParameters().AddUnhandledElement(TalSDK::MSaxUnhandledElement("Inner"));

  const MCLParameters copy(source);
  EXPECT_EQ(copy, source);
  EXPECT_TRUE(copy.GetUnhandledElements().empty());
  EXPECT_EQ(copy.GetTracingParameters().GetUnhandledElements().size(), 1u);

  MCLParameters target;
  target.AddUnhandledElement(TalSDK::MSaxUnhandledElement("Target"));
  target = source;
  EXPECT_EQ(target, source);
  ASSERT_EQ(target.GetUnhandledElements().size(), 1u);
  EXPECT_EQ(target.GetUnhandledElements()[0].GetTagName(), "Target");
}

}  // namespace
