#include <TalSDK/sdk/mesh/StlBase.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include <TalSDK/sdk/common/Units.h>
#include <TalSDK/sdk/support/SupportGlobal.h>

namespace {

// An axis-aligned box as a closed mesh with outward normals (or inward ones).
MStlBase MakeBox(MStlVertex origin, MStlVertex size, bool inward = false) {
  MStlBase mesh;
  for (std::uint32_t i = 0; i < 8; ++i) {  // bit 0: x, bit 1: y, bit 2: z
    mesh.AddVertex({origin.x + ((i & 1) != 0 ? size.x : 0.0f),
                    origin.y + ((i & 2) != 0 ? size.y : 0.0f),
                    origin.z + ((i & 4) != 0 ? size.z : 0.0f)});
  }
  const std::uint32_t faces[12][3] = {{0, 2, 1}, {1, 2, 3}, {4, 5, 6}, {5, 7, 6},
                                      {0, 1, 4}, {1, 5, 4}, {2, 6, 3}, {3, 6, 7},
                                      {0, 4, 2}, {2, 4, 6}, {1, 3, 5}, {3, 7, 5}};
  for (const auto& f : faces) {
    EXPECT_TRUE(mesh.AddTriangle({{f[0], inward ? f[2] : f[1], inward ? f[1] : f[2]}}));
  }
  return mesh;
}

void ExpectSameContent(const MStlBase& a, const MStlBase& b) {
  EXPECT_EQ(a.GetName(), b.GetName());
  EXPECT_EQ(a.GetVertices(), b.GetVertices());
  EXPECT_EQ(a.GetTriangles(), b.GetTriangles());
  EXPECT_EQ(a.GetUnhandledElements(), b.GetUnhandledElements());
  EXPECT_EQ(a.GetAttachedSupport(), b.GetAttachedSupport());
}

TEST(StlBaseTest, VolumeAndBoundsInEveryUnit) {
  const TalSDK::Common::ScopedConversionFactor inches(25.4);  // internal units ignore it
  constexpr double kInch3 = 25.4 * 25.4 * 25.4;
  // Origin, size, normals inward, volume.
  const std::tuple<MStlVertex, MStlVertex, bool, double> cases[] = {
      {{0, 0, 0}, {1, 1, 1}, false, 1.0},
      {{10, -20, 30}, {2, 3, 4}, false, 24.0},
      {{10, -20, 30}, {2, 3, 4}, true, -24.0}};
  for (const auto& [origin, size, inward, volume] : cases) {
    SCOPED_TRACE(volume);
    const MStlProperties p = MakeBox(origin, size, inward).GetProperties();
    EXPECT_NEAR(p.GetVolume(), volume, 1e-9);
    EXPECT_NEAR(p.GetVolume(MStlUnit::Inch), volume / kInch3, 1e-12);
    EXPECT_EQ(p.GetMinY(), origin.y);
    EXPECT_EQ(p.GetMaxZ(), origin.z + size.z);
    EXPECT_DOUBLE_EQ(p.GetMaxY(MStlUnit::Inch), (origin.y + size.y) / 25.4);
    EXPECT_EQ(p.GetMinX(MStlUnit::Inch, true), origin.x * 1000.0);
    EXPECT_EQ(p.GetMaxX(MStlUnit::Millimetre, true), (origin.x + size.x) * 1000.0);
  }
  // An empty mesh's measurements, and those of properties made without a mesh.
  for (const MStlProperties& empty : {MStlBase().GetProperties(), MStlProperties()}) {
    EXPECT_TRUE(empty.GetBoundingBox().IsEmpty());
    EXPECT_EQ(empty.GetMinX(), 0.0);
    EXPECT_EQ(empty.GetMaxZ(MStlUnit::Inch, true), 0.0);
    EXPECT_EQ(empty.GetVolume(), 0.0);
    EXPECT_EQ(empty.GetVertexCount() + empty.GetTriangleCount(), 0u);
  }
}

TEST(StlBaseTest, InvalidIndicesAreRefusedAndLeaveTheMeshUnchangedClearKeepsTheName) {
  MStlBase mesh = MakeBox({0, 0, 0}, {1, 1, 1});
  for (const MStlTriangle& bad : {MStlTriangle{{8, 0, 1}}, {{0, 8, 1}}, {{0, 1, 8}}})
    EXPECT_FALSE(mesh.AddTriangle(bad));
  EXPECT_FALSE(mesh.SetTriangles({{{0, 1, 2}}, {{8, 0, 0}}}));
  EXPECT_FALSE(mesh.SetTriangles({{{7, 8, 0}}}));
  EXPECT_FALSE(mesh.SetGeometry({{0, 0, 0}}, {{{0, 0, 1}}}));
  EXPECT_EQ(mesh.GetTriangleCount(), 12u);
  EXPECT_EQ(mesh.GetVertexCount(), 8u);

  EXPECT_TRUE(mesh.SetGeometry({{0, 0, 0}}, {{{0, 0, 0}}}));
  EXPECT_EQ(mesh.GetTriangleCount(), 1u);
  mesh.SetVertices({{1, 2, 3}, {4, 5, 6}});  // old indices no longer apply
  EXPECT_EQ(mesh.GetTriangleCount(), 0u);

  // Clearing keeps the name, and the memory unless told to release it.
  for (const bool release : {false, true}) {
    mesh = MakeBox({0, 0, 0}, {1, 1, 1});
    mesh.SetName(L"n");
    mesh.ClearStl(release);
    EXPECT_EQ(mesh.GetVertexCount() + mesh.GetTriangleCount(), 0u);
    EXPECT_EQ(mesh.GetName(), L"n");
    EXPECT_EQ(mesh.GetVertices().capacity() == 0, release);
  }
}

TEST(StlBaseTest, CopyReportsProgressAndCancelsWithoutChange) {
  MStlBase source = MakeBox({0, 0, 0}, {2, 2, 2});
  source.SetName(L"box");
  source.AddUnhandledElement(TalSDK::MSaxUnhandledElement("Future", "1"));
  source.SetAttachedSupport(std::make_shared<const TalSDK::SupportGeneration::MSupportSupport>());

  std::vector<double> fractions;
  const MStlProgress record = [&](double f) {
    fractions.push_back(f);
    return true;
  };
  EXPECT_TRUE(source.Copy(source, &record));  // onto itself: done at once, nothing changes
  EXPECT_EQ(fractions, std::vector<double>{});
  MStlBase target;
  target.AssignObjectId(7);
  target.SetOperatingMode(TalSDK::MSaxPersistExtensibleObject::eIgnoreUnhandledElements);
  ASSERT_TRUE(target.Copy(source, &record));
  ExpectSameContent(target, source);
  // The target stays what it was: its id and how it treats unknown elements.
  EXPECT_EQ(target.GetObjectId(), 7u);
  EXPECT_EQ(target.GetOperatingMode(),
            TalSDK::MSaxPersistExtensibleObject::eIgnoreUnhandledElements);
  // Vertices are 8 of the 20 items copied; an empty mesh is half done between them.
  EXPECT_EQ(fractions, (std::vector{0.0, 0.4, 1.0}));
  fractions.clear();
  ASSERT_TRUE(MStlBase().Copy(MStlBase(), &record));
  EXPECT_EQ(fractions, (std::vector{0.0, 0.5, 1.0}));

  for (std::size_t cancelAt = 0; cancelAt < 3; ++cancelAt) {
    SCOPED_TRACE(cancelAt);
    std::size_t calls = 0;
    const MStlProgress cancel = [&](double) { return calls++ != cancelAt; };
    MStlBase untouched = MakeBox({5, 5, 5}, {1, 1, 1});
    untouched.SetName(L"kept");
    const MStlBase before = untouched;
    EXPECT_FALSE(untouched.Copy(source, &cancel));
    ExpectSameContent(untouched, before);
  }
}

}  // namespace
