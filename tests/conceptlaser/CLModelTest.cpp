#include <TalSDK/conceptlaser/CLParameters.h>

#include <gtest/gtest.h>

#include <string>
#include <tuple>
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
    EXPECT_EQ(platform, MCLPlatformParameters(platform));
  }

  // A laser value, a quadrant, the fine slice thickness and the trace file each make a
  // difference, to each class's own inequality too.
  MCLScanningParameters scanning;
  scanning.GetHatchingBuildParameters().m_laserSaturationTime = 6;
  EXPECT_NE(scanning, MCLScanningParameters());
  EXPECT_NE(scanning.GetHatchingBuildParameters(), MCLBuildParameters());
  MCLQuadrantParameters quadrant;
  quadrant.Set(50000, 50000, 1000, 2000);
  EXPECT_NE(quadrant, MCLQuadrantParameters());
  MCLParameters set;
  set.GetSliceParameters().m_thicknessFine = 2000;
  EXPECT_NE(set.GetSliceParameters(), MCLSliceParameters());
  EXPECT_NE(set, MCLParameters());
  set = MCLParameters();
  set.GetTracingParameters().SetTraceFileName(L"trace");
  EXPECT_NE(set.GetTracingParameters(), MCLTracingParameters());
  EXPECT_NE(set, MCLParameters());

  // Kept elements take no part in the comparison of this family.
  MCLParameters kept;
  kept.AddUnhandledElement(TalSDK::MSaxUnhandledElement("Future", "1"));
  kept.GetSliceParameters().AddUnhandledElement(TalSDK::MSaxUnhandledElement("Future"));
  EXPECT_EQ(kept, MCLParameters());
}

TEST(CLModelTest, IslandGeometryFollowsTheType) {
  // Set's type and arguments; then edge, x, y and the shift after SetShift(7, -7).
  const std::tuple<int, long, long, std::vector<int>> cases[] = {
      // A hexagon's shift is half its width and two thirds of its height, whatever is given.
      {MCLIslandParameters::eHexagonal, 1000, 0, {1000, 1732, 1500, 866, 1000}},
      {MCLIslandParameters::eRectangular, 4000, 2000, {4000, 4000, 2000, 7, -7}},
      {MCLIslandParameters::eRectangularAlternate, 4000, 2000, {4000, 4000, 2000, 7, -7}},
      {5, 1, 2, {3000, 5000, 5000, 0, 0}}};  // another type changes nothing but the type
  for (const auto& [type, a, b, geometry] : cases) {
    MCLIslandParameters island;
    island.Set(static_cast<MCLIslandParameters::MType>(type), a, b);
    island.SetShift(7, -7);
    EXPECT_EQ(island.GetType(), type);
    EXPECT_EQ(std::vector<int>({island.m_sizeEdge, island.m_sizeX, island.m_sizeY, island.m_shiftX,
                                island.m_shiftY}),
              geometry)
        << type;
  }
}

// A filled cache is never rebuilt, even when count and interval change.
TEST(CLModelTest, OffsetCacheIsFilledOnce) {
  MCLPostProcessParameters post;
  post.SetIncrementalInsideOffset(3, 100);
  EXPECT_EQ(post.m_individualInsideOffsets, std::vector<std::int32_t>({100, 200, 300}));
  post.SetIncrementalInsideOffset(2, 50);
  EXPECT_EQ(std::pair(post.m_insideOffsetCount, post.m_insideOffsetInterval), std::pair(2u, 50));
  EXPECT_EQ(post.m_individualInsideOffsets, std::vector<std::int32_t>({100, 200, 300}));
  post.SetIncrementalOutsideOffset(1, -40);
  EXPECT_EQ(post.m_individualOutsideOffsets, std::vector<std::int32_t>({-40}));
}

TEST(CLModelTest, NamedLookupsDifferOnUnknownNamesAndVisitsOpenEachSetByName) {
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

  // Laser sets are shown as the file holds them, the default one first, each opened by its
  // name; then the post-process sets.
  set.GetComponentPostProcessParameters(L"Post", true);
  set.GetComponentPostProcessParameters(L"Q", true);
  std::string shown;
  bool opened = false;
  TalAM::FieldVisit visit([&](const TalAM::FieldView& field) {
    if (opened) shown += std::string(field.tag) + "=" + std::string(field.text) + " ";
    opened = field.kind == TalAM::FieldKind::Item;
    if (opened) shown += std::string(field.path) + ": ";
  });
  set.VisitFields(visit);
  EXPECT_EQ(shown,
            "ParameterSet[1]: Name=Default ParameterSet[2]: Name=Part "
            "ComponentPostProcessParameters/Parameters[1]: Name=Post "
            "ComponentPostProcessParameters/Parameters[2]: Name=Q ");
}

// The set last looked up takes the content of a set read without a "Name", until it is
// removed; removing another set leaves it current.
TEST(CLModelTest, RemovingTheCurrentSetEndsItsRouting) {
  const std::string content =
      "<CLParameterFile><ParameterSet><BorderProcessParameters><LaserPower>9</LaserPower>"
      "</BorderProcessParameters></ParameterSet><ComponentPostProcessParameters><Parameters>"
      "<SkinWidth>2</SkinWidth></Parameters></ComponentPostProcessParameters></CLParameterFile>";
  MCLParameters set;
  for (const wchar_t* name : {L"A", L"B"}) {
    set.GetComponentScanningParameters(name, true);
    set.GetComponentPostProcessParameters(name, true);
  }
  set.RemoveComponentScanningParameters(L"A");
  set.RemoveComponentPostProcessParameters(L"A");
  ASSERT_TRUE(TalAM::ReadCLParameterDocument(set, content, "doc").success);
  EXPECT_EQ(
      set.GetComponentScanningParameters(L"B", false)->GetBorderBuildParameters().m_laserPower, 9);
  EXPECT_EQ(set.GetComponentPostProcessParameters(L"B", false)->m_skinWidth, 2000);
  EXPECT_TRUE(set.GetUnhandledElements().empty());

  set.RemoveComponentScanningParameters(L"B");
  set.RemoveComponentPostProcessParameters(L"B");
  ASSERT_TRUE(TalAM::ReadCLParameterDocument(set, content, "doc").success);
  EXPECT_EQ(set.GetUnhandledElements().size(), 2u);
}

// Copies take every value and the operating mode but not the set's own kept elements; its
// blocks keep theirs.
TEST(CLModelTest, CopyLeavesOutTheSetsOwnKeptElements) {
  MCLParameters source;
  source.SetName(L"Source");
  source.SetOperatingMode(Mode::eIgnoreUnhandledElements);
  source.GetComponentScanningParameters(L"Part", true)->GetHatchingBuildParameters().m_laserSpeed =
      9;
  source.AddUnhandledElement(TalSDK::MSaxUnhandledElement("Own"));
  source.GetTracingParameters().AddUnhandledElement(TalSDK::MSaxUnhandledElement("Inner"));

  const MCLParameters copy(source);
  EXPECT_EQ(copy, source);
  EXPECT_TRUE(copy.GetUnhandledElements().empty());
  EXPECT_EQ(copy.GetOperatingMode(), Mode::eIgnoreUnhandledElements);
  EXPECT_EQ(copy.GetTracingParameters().GetUnhandledElements().size(), 1u);

  MCLParameters target;
  target.AddUnhandledElement(TalSDK::MSaxUnhandledElement("Target"));
  target = source;
  EXPECT_EQ(target, source);
  ASSERT_EQ(target.GetUnhandledElements().size(), 1u);
  EXPECT_EQ(target.GetUnhandledElements()[0].GetTagName(), "Target");
}

}  // namespace
