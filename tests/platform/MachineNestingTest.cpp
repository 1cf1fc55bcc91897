#include <TalSDK/platform/MachineNesting.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include <TalSDK/sdk/sax/BinaryStreams.h>
#include <TalSDK/sdk/sax/SAXError.h>
#include "support/TestSupport.h"

namespace {

// The base64 text of `cells` as 32-bit little-endian values, through a real writer.
std::string BitmapElement(const std::vector<std::uint32_t>& cells) {
  MSaxNestingCustom custom;
  custom.m_bitmap = cells;
  const std::string text = TestSupport::WriteBlock("C", custom);
  const std::size_t begin = text.find("<Bitmap>");
  return text.substr(begin, text.find("</Bitmap>") + 9 - begin);
}

// The blocks' own tags inside them are accepted, so their children still arrive; codes are
// stored as given.
TEST(MachineNestingTest, OwnTagsAreAcceptedAndCodesKeptAsGiven) {
  MSaxMachineNesting nesting;
  EXPECT_TRUE(TestSupport::ReadBlock("<N><Nesting><Type>7</Type></Nesting>"
                                     "<BoundingBox><BoundingBox><Placement>-3</Placement>"
                                     "</BoundingBox></BoundingBox>"
                                     "<Geometry><Geometry/><RotationAngle>90</RotationAngle>"
                                     "</Geometry></N>",
                                     nesting)
                  .empty());
  EXPECT_EQ(nesting.m_type, 7);
  EXPECT_EQ(nesting.m_boundingBox.m_placement, -3);
  EXPECT_EQ(nesting.m_geometry.m_rotationAngle, 90);
  EXPECT_TRUE(nesting.GetUnhandledElementsFromAllNodes().empty());
}

// "Bitmap" takes Width × Height cells as read so far: before them it is empty, a short
// payload leaves the rest 0, and the cells are compared.
TEST(MachineNestingTest, BitmapFollowsWidthAndHeightReadBeforeIt) {
  const std::vector<std::uint32_t> six = {1, 2, 3, 4, 5, 0xFFFFFFFFu};
  const std::string bitmap = BitmapElement(six);
  struct Case {
    std::string content;
    std::vector<std::uint32_t> cells;
  };
  const Case cases[] = {
      {"<Width>3</Width><Height>2</Height>" + bitmap, six},
      {bitmap + "<Width>3</Width><Height>2</Height>", {}},
      {"<Width>4</Width><Height>2</Height>" + bitmap, {1, 2, 3, 4, 5, 0xFFFFFFFFu, 0, 0}},
      {"<Width>5</Width><Height>1</Height>" + bitmap, {1, 2, 3, 4, 5}},
  };
  for (const Case& c : cases) {
    MSaxNestingCustom custom;
    EXPECT_TRUE(TestSupport::ReadBlock("<C>" + c.content + "</C>", custom).empty()) << c.content;
    EXPECT_EQ(custom.m_bitmap, c.cells) << c.content;
  }

  MSaxNestingCustom written;
  written.m_width = 3;
  written.m_height = 2;
  written.m_bitmap = six;
  MSaxNestingCustom read;
  TestSupport::ReadBlock(TestSupport::WriteBlock("C", written), read);
  EXPECT_EQ(read, written);
  read.m_bitmap[5] = 6;
  EXPECT_NE(read, written);
}

// A hostile size fails the load with a message instead of allocating gigabytes; a product that
// wraps to a small positive 32-bit value is taken as it is.
TEST(MachineNestingTest, HostileBitmapSizesFailTheRead) {
  for (const char* size :
       {"<Width>-1</Width><Height>1</Height>", "<Width>65536</Width><Height>1025</Height>",
        "<Width>65536</Width><Height>32768</Height>"}) {  // 2^31 wraps negative
    MSaxNestingCustom custom;
    try {
      TestSupport::ReadBlock(std::string("<C>") + size + "<Bitmap>AQAAAA==</Bitmap></C>", custom);
      ADD_FAILURE() << size << " was read";
    } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
      EXPECT_NE(error.GetMessage().find("\"Bitmap\""), std::string::npos) << error.GetMessage();
    }
  }
  MSaxNestingCustom wrapped;  // 65536 × 65537 is 65536 modulo 2^32
  TestSupport::ReadBlock(
      "<C><Width>65536</Width><Height>65537</Height><Bitmap>AQAAAA==</Bitmap></C>", wrapped);
  EXPECT_EQ(wrapped.m_bitmap.size(), 65536u);
  EXPECT_EQ(wrapped.m_bitmap[0], 1u);
}

}  // namespace
