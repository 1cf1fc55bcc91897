#include <TalSDK/sdk/support/SupportGlobal.h>

#include <gtest/gtest.h>

#include <functional>
#include <string_view>
#include <utility>
#include <vector>

#include <TalSDK/sdk/mesh/StlBase.h>
#include "support/TestSupport.h"

namespace {

using TalSDK::MSaxUnhandledElement;
using namespace TalSDK::SupportGeneration;

using Mode = TalSDK::MSaxPersistExtensibleObject::OperatingMode;

MSupportGlobal ReadGlobal(std::string_view xml, Mode mode = Mode::eKeepUnhandledElements) {
  MSupportGlobal read;
  read.SetOperatingMode(mode);
  MSaxSupportGlobal helper(read);
  EXPECT_TRUE(TestSupport::ReadBlock(xml, helper).empty());
  return read;
}

constexpr std::string_view kDocument =
    "<Support>"
    "<Density unit=\"%\">20</Density>"
    "<Pattern type=\"grid\" angle=\"45\"><Spacing>2.5</Spacing><Offset x=\"1\"/>tail</Pattern>"
    "<Density>30</Density>"
    "</Support>";

// Every child is a setting, kept in order with its whole content, also when the support
// ignores unknown elements; a write and a read give the same support. SetSetting replaces the
// first setting of its name or appends; any change makes supports unequal.
TEST(SupportGlobalTest, SettingsAreKeptInOrderSurviveARoundTripAndChange) {
  MSupportGlobal global = ReadGlobal(kDocument);
  ASSERT_EQ(global.GetSettings().size(), 3u);
  EXPECT_EQ(global.GetSettings()[2].GetTagName(), "Density");
  EXPECT_TRUE(global.GetUnhandledElements().empty());
  EXPECT_EQ(ReadGlobal(kDocument, Mode::eIgnoreUnhandledElements), global);
  const MSaxUnhandledElement* pattern = global.FindSetting("Pattern");
  ASSERT_NE(pattern, nullptr);
  EXPECT_EQ(pattern->GetNodes()[0].attributes.size(), 2u);
  EXPECT_EQ(pattern->GetNodes().size(), 5u);  // Pattern, Spacing, "2.5", Offset, "tail"
  EXPECT_EQ(ReadGlobal(TestSupport::WriteBlock("Support", MSaxSupportGlobal(global))), global);
  MSaxSupportGlobal writeOnly(std::as_const(global));  // refuses to read
  EXPECT_EQ(TestSupport::ReadBlock(kDocument, writeOnly).size(), 3u);

  const MSupportGlobal base = global;
  global.SetSetting("Density", "25");
  global.SetSetting("Angle", "50");
  EXPECT_EQ(
      global.GetSettings(),
      (std::vector{MSaxUnhandledElement("Density", "25"), base.GetSettings()[1],
                   MSaxUnhandledElement("Density", "30"), MSaxUnhandledElement("Angle", "50")}));
  EXPECT_TRUE(global.RemoveSetting("Density"));
  EXPECT_FALSE(global.RemoveSetting("Density"));
  EXPECT_EQ(global.FindSetting("Density"), nullptr);
  EXPECT_EQ(global.GetSettings().size(), 2u);
  MSaxSupportGlobal(global).SetDefaults();
  EXPECT_TRUE(global.GetSettings().empty());

  const std::function<void(MSupportGlobal&)> changes[] = {
      [](MSupportGlobal& s) { s.SetSetting("Density", "21"); },
      [](MSupportGlobal& s) { s.SetSetting("Extra", ""); },
      [](MSupportGlobal& s) { EXPECT_TRUE(s.RemoveSetting("Pattern")); },
      [](MSupportGlobal& s) { s.AddUnhandledElement(MSaxUnhandledElement("Future")); },
  };
  for (const auto& change : changes) {
    MSupportGlobal changed = base;
    change(changed);
    EXPECT_FALSE(changed == base);
  }
}

TEST(SupportGlobalTest, SupportAttachedToAMeshIsSharedByItsCopiesUntilDetached) {
  MStlBase mesh;
  MSupportSupport support;
  support.SetSetting("Height", "3");
  AttachSupport(mesh, support);
  const MStlBase copy = mesh;
  DetachSupport(mesh);
  EXPECT_EQ(GetSupport(mesh), nullptr);
  ASSERT_NE(GetSupport(copy), nullptr);
  EXPECT_EQ(*GetSupport(copy), support);
}

}  // namespace
