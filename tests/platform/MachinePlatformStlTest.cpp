#include "platform/MachinePlatformStl.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "sdk/sax/SAXReader.h"
#include "sdk/sax/SAXWriter.h"
#include "support/TestSupport.h"

namespace {

void MakeTriangle(MStlBase& mesh, const std::wstring& name) {
  mesh.SetName(name);
  ASSERT_TRUE(mesh.SetGeometry({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{{0, 1, 2}}}));
}

std::string Written(const MSAXMachinePlatformStl& holder) {
  return TestSupport::WriteBlock("PlatformStl", holder);
}

void ReadInto(MSAXMachinePlatformStl& holder, const std::string& document) {
  TestSupport::ReadBlock(document, holder);
}

}  // namespace

TEST(MachinePlatformStlTest, EnablingKeepsOneMeshUntilDisabled) {
  MSAXMachinePlatformStl holder;
  EXPECT_EQ(holder.GetPlatformStl(false), nullptr);
  EXPECT_FALSE(holder.Enabled());

  MStlBase* mesh = holder.GetPlatformStl(true);
  ASSERT_NE(mesh, nullptr);
  EXPECT_TRUE(holder.Enabled());
  MakeTriangle(*mesh, L"plate");
  holder.EnablePlatformStl(true);
  holder.AddUnhandledElement(TalSDK::MSaxUnhandledElement("Future", "1"));
  holder.SetDefaults();  // clears the kept elements only
  EXPECT_TRUE(holder.GetUnhandledElements().empty());
  EXPECT_EQ(holder.GetPlatformStl(true), mesh);
  EXPECT_EQ(std::as_const(holder).GetPlatformStl()->GetTriangleCount(), 1u);

  holder.EnablePlatformStl(false);
  EXPECT_EQ(std::as_const(holder).GetPlatformStl(), nullptr);
}

TEST(MachinePlatformStlTest, CopiesAndMovesOwnTheirMesh) {
  MSAXMachinePlatformStl source;
  MakeTriangle(*source.GetPlatformStl(true), L"source");
  const MStlBase* sourceMesh = source.GetPlatformStl(false);

  MSAXMachinePlatformStl copy(source);
  ASSERT_TRUE(copy.Enabled());
  EXPECT_NE(copy.GetPlatformStl(false), sourceMesh);
  copy.GetPlatformStl(false)->ClearStl(true);
  EXPECT_EQ(sourceMesh->GetTriangleCount(), 1u);

  // Assignment copies into the target's own mesh object.
  MStlBase* copyMesh = copy.GetPlatformStl(false);
  copy = source;
  EXPECT_EQ(copy.GetPlatformStl(false), copyMesh);
  EXPECT_EQ(copyMesh->GetTriangleCount(), 1u);
  copy = std::as_const(copy);
  EXPECT_EQ(copyMesh->GetName(), L"source");

  // Moving copies: the source keeps its mesh.
  MSAXMachinePlatformStl moved(std::move(source));
  EXPECT_EQ(source.GetPlatformStl(false), sourceMesh);
  EXPECT_NE(moved.GetPlatformStl(false), sourceMesh);
  EXPECT_EQ(moved.GetPlatformStl(false)->GetTriangleCount(), 1u);

  copy = MSAXMachinePlatformStl();
  EXPECT_FALSE(copy.Enabled());
}

TEST(MachinePlatformStlTest, MeshIsFramedAndReadBack) {
  MSAXMachinePlatformStl holder;
  holder.AddUnhandledElement(TalSDK::MSaxUnhandledElement("Future", "1"));
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
  MSAXMachinePlatformStl read;
  ReadInto(read, text);
  ASSERT_TRUE(read.Enabled());
  EXPECT_EQ(read.GetPlatformStl(false)->GetTriangles(),
            holder.GetPlatformStl(false)->GetTriangles());
  EXPECT_EQ(Written(read), text);

  // Without a mesh only the kept elements are written.
  holder.EnablePlatformStl(false);
  EXPECT_EQ(Written(holder).find("Mesh"), std::string::npos);
}

TEST(MachinePlatformStlTest, SecondMeshReplacesTheFirst) {
  MSAXMachinePlatformStl first;
  MakeTriangle(*first.GetPlatformStl(true), L"first");
  first.GetPlatformStl(false)->AddUnhandledElement(TalSDK::MSaxUnhandledElement("Color", "red"));
  MSAXMachinePlatformStl second;
  second.GetPlatformStl(true)->SetName(L"second");

  const auto meshElement = [](const std::string& text) {
    const std::size_t begin = text.find("<Mesh>");
    return text.substr(begin, text.find("</Mesh>") + 7 - begin);
  };
  MSAXMachinePlatformStl read;
  MakeTriangle(*read.GetPlatformStl(true), L"before");
  ReadInto(read, "<PlatformStl>" + meshElement(Written(first)) + meshElement(Written(second)) +
                     "</PlatformStl>");
  const MStlBase& mesh = *std::as_const(read).GetPlatformStl();
  EXPECT_EQ(mesh.GetName(), L"second");
  EXPECT_EQ(mesh.GetTriangleCount(), 0u);
  EXPECT_TRUE(mesh.GetUnhandledElements().empty());
}
