#include <TalSDK/platform/MachinePlatformStl.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include "support/TestSupport.h"

namespace {

using Holder = MSAXMachinePlatformStl;

void MakeTriangle(MStlBase& mesh, const std::wstring& name) {
  mesh.SetName(name);
  ASSERT_TRUE(mesh.SetGeometry({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{{0, 1, 2}}}));
}

std::string Written(const Holder& holder) {
  return TestSupport::WriteBlock("PlatformStl", holder);
}

}  // namespace

TEST(MachinePlatformStlTest, EachHolderOwnsOneMeshUntilDisabled) {
  Holder source;
  EXPECT_EQ(source.GetPlatformStl(false), nullptr);
  MStlBase* const mesh = source.GetPlatformStl(true);
  ASSERT_NE(mesh, nullptr);
  MakeTriangle(*mesh, L"source");
  source.EnablePlatformStl(true);
  source.AddUnhandledElement({"Future"});
  source.SetDefaults();  // clears the kept elements only
  EXPECT_TRUE(source.GetUnhandledElements().empty());
  EXPECT_EQ(source.GetPlatformStl(true), mesh);

  // Copies are deep; assignment copies into the target's own mesh object; moving copies.
  Holder copy(source);
  MStlBase* const copyMesh = copy.GetPlatformStl(false);
  ASSERT_NE(copyMesh, nullptr);
  EXPECT_NE(copyMesh, mesh);
  copyMesh->ClearStl(true);
  EXPECT_EQ(mesh->GetTriangleCount(), 1u);
  copy = source;
  EXPECT_EQ(copy.GetPlatformStl(false), copyMesh);
  EXPECT_EQ(copyMesh->GetTriangleCount(), 1u);
  copy = std::as_const(copy);
  EXPECT_EQ(copyMesh->GetName(), L"source");
  Holder moved(std::move(source));
  EXPECT_EQ(source.GetPlatformStl(false), mesh);
  EXPECT_NE(moved.GetPlatformStl(false), mesh);
  EXPECT_EQ(moved.GetPlatformStl(false)->GetTriangleCount(), 1u);

  copy = Holder();
  EXPECT_FALSE(copy.Enabled());
  moved.EnablePlatformStl(false);
  EXPECT_EQ(std::as_const(moved).GetPlatformStl(), nullptr);
}

TEST(MachinePlatformStlTest, MeshIsFramedAndReadBack) {
  Holder holder;
  holder.AddUnhandledElement({"Future", "1"});
  EXPECT_EQ(Written(holder).find("Mesh"), std::string::npos);
  holder.EnablePlatformStl(true);
  EXPECT_EQ(Written(holder),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<PlatformStl>\n"
            "  <Mesh>\n"
            "    <Name/>\n"
            "    <Vertices/>\n"
            "    <Triangles/>\n"
            "  </Mesh>\n"
            "  <Future>1</Future>\n"
            "</PlatformStl>\n");

  MakeTriangle(*holder.GetPlatformStl(false), L"plate");
  const std::string text = Written(holder);
  Holder read;
  TestSupport::ReadBlock(text, read);
  ASSERT_TRUE(read.Enabled());
  EXPECT_EQ(read.GetPlatformStl(false)->GetTriangles(),
            holder.GetPlatformStl(false)->GetTriangles());
  EXPECT_EQ(Written(read), text);
}

TEST(MachinePlatformStlTest, SecondMeshReplacesTheFirst) {
  Holder read;
  MakeTriangle(*read.GetPlatformStl(true), L"before");
  TestSupport::ReadBlock(
      "<PlatformStl><Mesh><Name>first</Name><Color>red</Color></Mesh>"
      "<Mesh><Name>second</Name></Mesh></PlatformStl>",
      read);
  const MStlBase& mesh = *std::as_const(read).GetPlatformStl();
  EXPECT_EQ(mesh.GetName(), L"second");
  EXPECT_EQ(mesh.GetTriangleCount(), 0u);
  EXPECT_TRUE(mesh.GetUnhandledElements().empty());
}
