#include <TalSDK/sdk/mesh/SaxStlBase.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include <TalSDK/sdk/sax/SAXError.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include "sdk/sax/Base64.h"
#include "support/TestSupport.h"

namespace {

using TalSDK::FileIO::MSAXError::MGeneric;
using ::testing::HasSubstr;
using ::testing::Property;
using ::testing::Throws;

std::string WriteDocument(const MStlBase& mesh, bool saveId = false) {
  MSaxStlBase helper(mesh);
  helper.SetSaveReferenceID(saveId);
  return TestSupport::WriteBlock("Mesh", helper);
}

std::vector<TalSAX::SAXWarning> ReadDocument(std::string_view xml, MStlBase& mesh) {
  MSaxStlBase helper(mesh);
  return TestSupport::ReadBlock(xml, helper);
}

template <class T>
std::string Element(const char* tag, const std::vector<T>& items,
                    std::size_t byteCount = SIZE_MAX) {
  std::string text;
  const auto bytes = std::as_bytes(std::span(items));
  TalSAX::Base64::AppendEncoded(bytes.first(std::min(byteCount, bytes.size())), text);
  return "<" + std::string(tag) + ">" + text + "</" + tag + ">";
}

const std::vector<MStlVertex> kThreeVertices = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
const std::string kVertices = Element("Vertices", kThreeVertices);
const std::string kTriangle = Element("Triangles", std::vector<MStlTriangle>{{{0, 1, 2}}});

TEST(SaxStlBaseTest, RoundTripIsBitIdenticalAndKeepsUnknownChildren) {
  MStlBase mesh;
  mesh.SetName(L"W\u00fcrfel \u7acb\u65b9\u4f53 \U0001F600");
  ASSERT_TRUE(mesh.SetGeometry(
      {{-0.0f, std::numeric_limits<float>::denorm_min(), std::numeric_limits<float>::max()},
       {std::bit_cast<float>(0x7FC01234u), std::numeric_limits<float>::lowest(), 1e-3f},
       {0.1f, 2.5f, -3.25f}},
      {{{0, 1, 2}}, {{2, 1, 0}}, {{1, 1, 1}}}));
  mesh.AddUnhandledElement(TalSDK::MSaxUnhandledElement("Future", "x"));
  MStlBase read;
  EXPECT_TRUE(ReadDocument(WriteDocument(mesh), read).empty());
  EXPECT_EQ(read.GetName(), mesh.GetName());
  ASSERT_EQ(read.GetVertexCount(), 3u);  // the NaN's payload too: compared as bytes
  EXPECT_EQ(std::memcmp(read.GetVertices().data(), mesh.GetVertices().data(), 36), 0);
  EXPECT_EQ(read.GetTriangles(), mesh.GetTriangles());
  EXPECT_EQ(read.GetUnhandledElements(), mesh.GetUnhandledElements());

  // Children of "Name", "Vertices" and "Triangles" belong to them, not to the mesh's kept
  // elements.
  const auto withChild = [](std::string e) { return e.insert(e.rfind("</"), "<Sub/>"); };
  const std::string document =
      "<Mesh>" + withChild(kVertices) + withChild(kTriangle) + "<Name>n<Sub/></Name></Mesh>";
  MStlBase named;
  EXPECT_TRUE(ReadDocument(document, named).empty());
  EXPECT_EQ(named.GetName(), L"n");
  EXPECT_EQ(named.GetTriangleCount(), 1u);
  EXPECT_TRUE(named.GetUnhandledElements().empty());

  MStlBase empty;
  EXPECT_TRUE(ReadDocument(WriteDocument(MStlBase()), empty).empty());
  EXPECT_EQ(empty.GetVertexCount() + empty.GetTriangleCount(), 0u);

  // Defaults: no geometry, name or kept elements.
  MSaxStlBase(read).SetDefaults();
  EXPECT_EQ(WriteDocument(read), WriteDocument(MStlBase()));
}

TEST(SaxStlBaseTest, BadContentIsRefusedWithoutChangingTheMesh) {
  const std::vector<MStlTriangle> outOfRange = {{{0, 1, 3}}};
  const std::vector<MStlTriangle> huge = {{{0, 0xFFFFFFFFu, 1}}};
  // What, the content after the name, the element refused, and the triangles that stay; the
  // three vertices always stay.
  const std::tuple<const char*, std::string, const char*, std::size_t> cases[] = {
      {"vertex bytes not a multiple of 12",
       kVertices + kTriangle + Element("Vertices", kThreeVertices, 11), "Vertices", 1},
      {"truncated base64", kVertices + kTriangle + kVertices.substr(0, 20) + "</Vertices>",
       "Vertices", 1},
      {"not base64", kVertices + kTriangle + "<Vertices>!!!!</Vertices>", "Vertices", 1},
      {"triangle bytes not a multiple of 12",
       kVertices + kTriangle + Element("Triangles", outOfRange, 8), "Triangles", 1},
      {"index past the vertices", kVertices + kTriangle + Element("Triangles", outOfRange),
       "Triangles", 1},
      {"largest index", kVertices + Element("Triangles", huge), "Triangles", 0},
      {"triangles before vertices", kTriangle + kVertices, "Triangles", 0},
  };
  for (const auto& [what, content, refused, triangles] : cases) {
    SCOPED_TRACE(what);
    MStlBase mesh;
    EXPECT_EQ(TestSupport::Listed(ReadDocument("<Mesh><Name>m</Name>" + content + "</Mesh>", mesh)),
              "Mesh/" + std::string(refused) + " ");
    EXPECT_EQ(mesh.GetVertexCount(), 3u);
    EXPECT_EQ(mesh.GetTriangleCount(), triangles);
    EXPECT_EQ(mesh.GetName(), L"m");
  }
  // A helper made for writing refuses everything it is given to read.
  const MStlBase constant;
  MSaxStlBase writeOnly(constant);
  EXPECT_EQ(TestSupport::Listed(TestSupport::ReadBlock("<Mesh><Name>m</Name></Mesh>", writeOnly)),
            "Mesh/Name ");
}

// The id read back leads the reader's references to the mesh itself.
TEST(SaxStlBaseTest, ReferenceIdIsWrittenOnTheEnclosingElementOnRequest) {
  MStlBase mesh;
  EXPECT_THAT(WriteDocument(mesh), HasSubstr("<Mesh>"));
  const std::string xml = WriteDocument(mesh, true);
  EXPECT_THAT(xml, HasSubstr("<Mesh ID=\"1\">"));
  MStlBase read;
  EXPECT_EQ(read.GetObjectId(), 0u);  // no id until one is read
  MSaxStlBase helper(read);
  TalSAX::SAXReader reader(true, nullptr);
  TestSupport::ReadBlock(xml, helper, reader);
  EXPECT_EQ(read.GetObjectId(), 1u);
  EXPECT_EQ(reader.FindReference(1), static_cast<ISAXReference*>(&read));
}

TEST(SaxStlBaseTest, NameThatIsNotUnicodeFailsTheWriteNamingTheMesh) {
  MStlBase mesh;
  mesh.SetName(std::wstring(1, static_cast<wchar_t>(0xD800)));
  EXPECT_THAT(
      [&] { WriteDocument(mesh); },
      Throws<MGeneric>(Property(&MGeneric::GetMessage, HasSubstr("element Mesh: the mesh name"))));
}

}  // namespace
