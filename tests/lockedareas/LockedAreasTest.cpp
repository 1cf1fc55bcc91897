#include <TalSDK/lockedareas/AreasData.h>
#include <TalSDK/lockedareas/LockedAreas.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <any>
#include <stdexcept>
#include <string>
#include <tuple>
#include <typeinfo>
#include <vector>

#include "support/TestSupport.h"

namespace {

using namespace LockedAreas;
using LockedAreas::SAX::AreasData;
using testing::HasSubstr;
using testing::StrEq;
using testing::ThrowsMessage;

const std::string kRect = "com.quillon.brisko.area.rectangle";
const std::string kCyl = "com.quillon.brisko.area.cylindrical";
const std::string kCustom = "com.quillon.brisko.area.customshape";

// Reads `body` the way a machine file holds it: inside two nested "LockedAreas" elements.
AreasData Read(const std::string& body, std::size_t refused = 0) {
  AreasData data;
  EXPECT_EQ(TestSupport::ReadBlock(
                "<LockedAreas><LockedAreas>" + body + "</LockedAreas></LockedAreas>", data)
                .size(),
            refused)
      << body;
  return data;
}

std::string Tag(const std::string& tag, const std::string& text) {
  return "<" + tag + ">" + text + "</" + tag + ">";
}

// One area; empty arguments leave the element out.
std::string Area(const std::string& name, const std::string& type,
                 const std::string& visibility = {}, const std::string& parameters = {}) {
  return (name.empty() ? "" : Tag("AreaName", name)) +
         (visibility.empty() ? "" : Tag("AreaVisibility", visibility)) +
         (type.empty() ? "" : Tag("AreaType", type)) + Tag("AreaParameters", parameters);
}

// A tetrahedron on the unit corner; a positive `unused` adds an unused vertex (u, u, u).
std::shared_ptr<MStlBase> Tetrahedron(float unused = 0.0f) {
  auto mesh = std::make_shared<MStlBase>();
  std::vector<MStlVertex> vertices = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  if (unused > 0.0f) vertices.push_back({unused, unused, unused});
  EXPECT_TRUE(mesh->SetGeometry(vertices, {{{0, 2, 1}}, {{0, 1, 3}}, {{0, 3, 2}}, {{1, 2, 3}}}));
  return mesh;
}

}  // namespace

// Copies of a shape share its mesh until it is made private; an AreaHolder copy of any kind of
// area does so for custom shapes alone, and an AreasData copy takes private meshes.
TEST(LockedAreasTest, CustomMeshesAreSharedUntilMadePrivateAndCompareByBoxAndVolume) {
  CustomShape source;
  CustomShape copy = source;
  copy.stl->Copy(*Tetrahedron());
  EXPECT_EQ(source.stl->GetTriangleCount(), 4u);
  copy.MakeStlPrivate();
  copy.stl->ClearStl(false);
  EXPECT_EQ(source.stl->GetTriangleCount(), 4u);

  AreaHolder(RectangleTypeId(), Rectangle()).MakeDataPrivate();  // no mesh: nothing to do

  AreasData data;
  data.m_areas[L"free"] = AreaHolder(CustomShapeTypeId(), source);
  const auto mesh = [](AreasData& d) {
    return std::any_cast<CustomShape&>(d.m_areas[L"free"].GetValue()).stl;
  };
  AreasData copied(data);
  AreasData assigned;
  assigned = data;
  EXPECT_TRUE(copied == data);
  EXPECT_NE(mesh(assigned), mesh(data));
  mesh(copied)->ClearStl(false);
  EXPECT_EQ(mesh(data)->GetTriangleCount(), 4u);
  EXPECT_EQ(mesh(assigned)->GetTriangleCount(), 4u);

  // Custom shapes compare by box, volume and kept elements.
  CustomShape a, b;
  a.stl = Tetrahedron();
  b.stl = Tetrahedron(0.1f);
  b.stl->SetName(L"other");
  EXPECT_TRUE(a == b);
  b.AddUnhandledElement({"Colour"});
  EXPECT_TRUE(a != b);
  b = CustomShape();
  b.stl = Tetrahedron(2.0f);  // a larger box
  EXPECT_TRUE(a != b);
  AreasData other(data);
  other.m_areas[L"free"] = AreaHolder(CustomShapeTypeId(), b);
  EXPECT_FALSE(other == data);  // so do the areas holding them
}

// A swap exchanges identifier, value and visibility. Heights are signed.
TEST(LockedAreasTest, HolderSwapAndHeight) {
  AreaHolder a(RectangleTypeId(), Rectangle(), false);
  AreaHolder b(CylindricalTypeId(), Cylindrical());
  a.swap(b);
  EXPECT_EQ(std::tuple(a.GetTypeId(), a.GetValue().type() == typeid(Cylindrical), a.IsVisible()),
            std::tuple(CylindricalTypeId(), true, true));
  EXPECT_EQ(std::tuple(b.GetTypeId(), b.GetValue().type() == typeid(Rectangle), b.IsVisible()),
            std::tuple(RectangleTypeId(), true, false));

  EXPECT_EQ(CoordinateZ(5, 2).Distance(), -3.0);
  EXPECT_EQ(Rectangle().height.Distance(), 100.0);
}

// Every area is visited as a numbered item holding its name, visibility, type and parameters.
TEST(LockedAreasTest, VisitListsEachAreaWithItsParameters) {
  AreasData data;
  data.m_areas.insert_or_assign(L"b", AreaHolder(CylindricalTypeId(), Cylindrical()));
  data.m_areas.insert_or_assign(L"a", AreaHolder(RectangleTypeId(), Rectangle(), false));
  std::string paths;
  TalAM::FieldVisit visit(
      [&paths](const TalAM::FieldView& field) {
        paths += std::string(field.path) + "=" + std::string(field.text) + " ";
      },
      "L");
  data.VisitFields(visit);
  EXPECT_EQ(paths,
            "L/AreasEnabled=true L/Areas=2 L/Areas/Area[1]= L/Areas/Area[1]/AreaName=a "
            "L/Areas/Area[1]/AreaVisibility=false "
            "L/Areas/Area[1]/AreaType=com.quillon.brisko.area.rectangle "
            "L/Areas/Area[1]/CenterX=10 L/Areas/Area[1]/CenterY=10 L/Areas/Area[1]/WidthX=10 "
            "L/Areas/Area[1]/WidthY=10 L/Areas/Area[1]/FullPlatformHeight=false "
            "L/Areas/Area[1]/HeightZMin=0 L/Areas/Area[1]/HeightZMax=100 L/Areas/Area[2]= "
            "L/Areas/Area[2]/AreaName=b L/Areas/Area[2]/AreaVisibility=true "
            "L/Areas/Area[2]/AreaType=com.quillon.brisko.area.cylindrical "
            "L/Areas/Area[2]/CenterX=10 L/Areas/Area[2]/CenterY=10 L/Areas/Area[2]/Radius=5 "
            "L/Areas/Area[2]/FullPlatformHeight=false L/Areas/Area[2]/HeightZMin=0 "
            "L/Areas/Area[2]/HeightZMax=100 ");
}

TEST(LockedAreasTest, VisibilityDefaultsDependOnTheKind) {
  // Without a preceding "AreaVisibility" a custom shape is hidden, the other kinds shown; a
  // read visibility holds for the next area only.
  // The areas, and whether each is visible, by name.
  const std::pair<std::string, std::vector<bool>> cases[] = {
      {Area("a", kRect), {true}},
      {Area("a", kCyl), {true}},
      {Area("a", kCustom), {false}},
      {Area("a", kCustom, "true"), {true}},
      {Area("a", kRect, "false") + Area("b", kRect), {false, true}},
      {Area("a", kCyl, "false") + Area("b", kCustom), {false, false}},
      {Area("a", kCustom, "true") + Area("b", kCustom), {true, false}},
  };
  for (const auto& [body, expected] : cases) {
    std::vector<bool> visible;
    for (const auto& [name, area] : Read(body).m_areas)
      visible.push_back(area.IsVisible());
    EXPECT_EQ(visible, expected) << body;
  }
}

TEST(LockedAreasTest, NameAndTypeCarryOverAndNamesAreUnique) {
  AreasData data = Read(Area("a", kCyl) + Area("", "", "", Tag("Radius", "7")) + Area("b", "") +
                        Area("A", kRect) + Area("A", kCustom));
  ASSERT_EQ(data.m_areas.size(), 3u);
  EXPECT_EQ(std::any_cast<Cylindrical&>(data.m_areas[L"a"].GetValue()).radius, 7.0);
  EXPECT_EQ(data.m_areas[L"b"].GetTypeId(), CylindricalTypeId());
  EXPECT_EQ(data.m_areas[L"A"].GetTypeId(), CustomShapeTypeId());
}

// An unknown type in a file is refused; an unknown type id cannot be listed, but still writes,
// with empty parameters.
TEST(LockedAreasTest, UnknownAreaTypes) {
  for (const std::string& type : {std::string(), std::string("rectangle"), kRect + "s"})
    EXPECT_TRUE(Read(Area("a", type, "false", Tag("CenterX", "1")), 1).m_areas.empty()) << type;
  AreasData data;
  data.m_areas[L"odd"] = AreaHolder(L"com.quillon.brisko.area.sphere", Rectangle());
  EXPECT_THAT([&data] { data.GetExtensibleObjectNodes(); },
              ThrowsMessage<std::logic_error>(
                  StrEq("SAX::AreasData, GetExtensibleObjectNodes : unexpected area type id")));
  EXPECT_THAT(TestSupport::WriteBlock("LockedAreas", data), HasSubstr("<AreaParameters/>"));
  // It equals a copy of itself, and a visit passes over its parameters.
  EXPECT_TRUE(AreasData(data) == data);
  TalAM::FieldVisit visit([](const TalAM::FieldView&) {}, "L");
  EXPECT_NO_THROW(data.VisitFields(visit));
}
