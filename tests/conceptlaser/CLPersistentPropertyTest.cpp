#include <TalSDK/conceptlaser/CLPersistentProperty.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <TalSDK/conceptlaser/CLLengthMode.h>
#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/file/File.h>
#include <TalSDK/sdk/property/PropertyDocument.h>

#include "support/TestSupport.h"

namespace {

// A value that merges instead of being replaced: it collects what it is given.
struct Tally : IMergeablePropertyValue, IPersistentPropertyPolymorphicValue {
  void MergePropertyValue(const IMergeablePropertyValue& other, bool overwrite) override {
    const auto& from = dynamic_cast<const Tally&>(other);
    items.insert(items.end(), from.items.begin(), from.items.end());
    overwrites.push_back(overwrite);
  }
  std::wstring GetValueTypeName() const override { return L"Tally"; }
  std::vector<int> items;
  std::vector<bool> overwrites;
};

}  // namespace

template <>
std::wstring GetTypeOfProperty(const Tally&) {
  return L"Tally";
}
template <>
bool HandleValueOfProperty(Tally&, TalSAX::ISAXReader&) {
  return true;
}
template <>
bool WriteValueOfProperty(const Tally&, TalSAX::ISAXWriter&) {
  return true;
}

namespace {

template <class T>
bool HoldsDefault(const IPersistentProperty& property) {
  const auto* typed = dynamic_cast<const PersistentProperty<T>*>(&property);
  return typed != nullptr && typed->GetValue() == T();
}

TEST(CLPersistentPropertyTest, TheConceptLaserCreatorMakesEveryTypeByItsExactName) {
  struct Case {
    const wchar_t* typeName;
    std::function<bool(const IPersistentProperty&)> holdsDefault;
  };
  const std::vector<Case> cases = {
      {L"CLParameters", HoldsDefault<MCLParameters>},
      {L"CLPlatformParameters", HoldsDefault<MCLPlatformParameters>},
      {L"CLPlatformProcessParameters", HoldsDefault<MCLPostProcessParameters>},
      {L"CLBuildParameters", HoldsDefault<MCLBuildParameters>},
      {L"CLComponentProcessParameters", HoldsDefault<MCLScanningParameters>},
      {L"IndexedCLComponentProcessParameters",
       HoldsDefault<IndexedProperties<MCLScanningParameters>>},
      {L"IndexedCLComponentPostProcessParameters",
       HoldsDefault<IndexedProperties<MCLPostProcessParameters>>},
  };
  PersistentPropertySaxHandlerConceptLaser creator;
  for (const Case& test : cases) {
    const std::wstring name = test.typeName;
    const std::unique_ptr<IPersistentProperty> property(creator.create(name));
    ASSERT_NE(property, nullptr) << StringConversion::NativeToUtf8(name);
    EXPECT_EQ(property->GetTypeOfProperty(), name);
    EXPECT_TRUE(test.holdsDefault(*property)) << StringConversion::NativeToUtf8(name);
    EXPECT_EQ(creator.create(name.substr(0, name.size() - 1)), nullptr);
    EXPECT_EQ(creator.create(name + L"s"), nullptr);
  }
  EXPECT_EQ(creator.create(L"clparameters"), nullptr);
  EXPECT_EQ(creator.create(L"CLPostProcessParameters"), nullptr);
}

// The library's own creators exist from the start; nothing here constructs one.
TEST(CLPersistentPropertyTest, TheLibraryCreatorsAreRegisteredWhileItIsLoaded) {
  for (const wchar_t* name :
       {L"CLParameters", L"CLComponentProcessParameters", L"IndexedCLComponentProcessParameters",
        L"CLPlatformProcessParameters", L"CLBuildParameters"}) {
    const auto property = PersistentPropertyCreators::Create(name);
    ASSERT_NE(property, nullptr) << StringConversion::NativeToUtf8(name);
    EXPECT_EQ(property->GetTypeOfProperty(), name);
  }
  EXPECT_GE(PersistentPropertyCreators::GetCreators().size(), 4u);
}

TEST(CLPersistentPropertyTest, FlagsAndStateBits) {
  PersistentProperty<MCLParameters> property;
  EXPECT_EQ(
      (std::vector<bool>{property.GetLocked(), property.GetVisible(), property.GetPersistent()}),
      (std::vector<bool>{false, true, true}));
  EXPECT_FALSE(property.IsModified());
  EXPECT_FALSE(property.IsModificationTracked());
  EXPECT_EQ(property.GetState(), 0u);

  property.SetModified(false);
  EXPECT_FALSE(property.IsModified());
  EXPECT_TRUE(property.IsModificationTracked());
  property.SetModified(true);
  EXPECT_EQ(property.GetState(), 3u);
  property.SetModified(false);
  EXPECT_EQ(property.GetState(), 2u);
  property.ClearState();
  EXPECT_EQ(property.GetState(), 0u);
  EXPECT_EQ(property.GetPolymorphicValue(), nullptr);
}

TEST(CLPersistentPropertyTest, AssignCopiesValueAndLockedFlagFromTheSameTypeOnly) {
  PersistentProperty<MCLScanningParameters> source;
  source.GetValue().GetBorderBuildParameters().m_laserPower = 250;
  source.SetLocked(true);
  source.SetVisible(false);
  source.SetModified(true);

  PersistentProperty<MCLScanningParameters> target;
  EXPECT_EQ(target.Assign(source), &target);
  EXPECT_EQ(target.GetValue(), source.GetValue());
  EXPECT_TRUE(target.GetLocked());
  EXPECT_TRUE(target.GetVisible());
  EXPECT_EQ(target.GetState(), 0u);

  PersistentProperty<MCLPostProcessParameters> other;
  other.GetValue().m_skinWidth = 1;
  other.SetLocked(true);
  PersistentProperty<MCLPostProcessParameters> unchanged;
  EXPECT_EQ(unchanged.Assign(source), nullptr);
  EXPECT_EQ(unchanged.GetValue(), MCLPostProcessParameters());
  EXPECT_FALSE(unchanged.GetLocked());

  const auto copy = source.Clone();
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(dynamic_cast<PersistentProperty<MCLScanningParameters>&>(*copy).GetValue(),
            source.GetValue());
}

TEST(CLPersistentPropertyTest, AMergeableValueMergesInsteadOfBeingReplaced) {
  PersistentProperty<Tally> target;
  target.GetValue().items = {1};
  PersistentProperty<Tally> source;
  source.GetValue().items = {2, 3};
  ASSERT_EQ(target.Assign(source), &target);
  EXPECT_EQ(target.GetValue().items, (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(target.GetValue().overwrites, std::vector<bool>{true});
  ASSERT_NE(target.GetPolymorphicValue(), nullptr);
  EXPECT_EQ(target.GetPolymorphicValue()->GetValueTypeName(), L"Tally");
}

// The whole binding: properties made by type name, written by their values, read back by
// their values.
TEST(CLPersistentPropertyTest, HostDocumentRoundTrip) {
  MPropertyDocument document;
  auto& parameters = dynamic_cast<PersistentProperty<MCLParameters>&>(
      *document.AddProperty(L"Process", L"CLParameters"));
  parameters.GetValue().SetCLFileSizeLimit(123);
  parameters.GetValue().SetCLWRXParameterName(L"wrx");
  parameters.GetValue()
      .GetComponentScanningParameters(L"Fine", true)
      ->GetHatchingBuildParameters()
      .m_laserSpeed = 900;
  parameters.GetValue().GetComponentPostProcessParameters(L"Fine", true)->SetNoSkin();
  parameters.GetValue().GetPlatformParameters().SetSize(250000, 250000, 300000);

  auto& scanning = dynamic_cast<PersistentProperty<MCLScanningParameters>&>(
      *document.AddProperty(L"Laser", L"CLComponentProcessParameters"));
  scanning.GetValue().GetPointsBuildParameters().m_laserFocus = 77;

  auto& post = dynamic_cast<PersistentProperty<MCLPostProcessParameters>&>(
      *document.AddProperty(L"Post", L"CLPlatformProcessParameters"));
  post.GetValue().m_skinWidth = 12345;
  post.GetValue().GetIslandParameters().Set(MCLIslandParameters::eRectangular, 4000, 6000);
  post.GetValue().GetHatchingParameters().SetDistance(80);

  auto& indexed = dynamic_cast<PersistentProperty<IndexedProperties<MCLScanningParameters>>&>(
      *document.AddProperty(L"Indexed", L"IndexedCLComponentProcessParameters"));
  indexed.GetValue()[-2].GetBorderBuildParameters().m_laserPower = 5;
  indexed.GetValue()[7];

  const TestSupport::TempDirectory directory;
  const std::wstring path = directory.File("project.xml").wstring();
  ASSERT_TRUE(document.Save(path));
  MPropertyDocument loaded;
  std::wstring message;
  ASSERT_TRUE(loaded.Load(path, &message)) << StringConversion::NativeToUtf8(message);
  ASSERT_EQ(loaded.GetPropertyNames(), document.GetPropertyNames());
  for (const std::wstring& name : document.GetPropertyNames()) {
    EXPECT_EQ(loaded.GetProperty(name)->GetTypeOfProperty(),
              document.GetProperty(name)->GetTypeOfProperty());
  }
  const auto value = [&](const wchar_t* name, auto* typed) -> const auto& {
    using Property = std::remove_pointer_t<decltype(typed)>;
    return dynamic_cast<const Property&>(*loaded.GetProperty(name)).GetValue();
  };
  EXPECT_EQ(value(L"Process", &parameters), parameters.GetValue());
  EXPECT_EQ(value(L"Laser", &scanning), scanning.GetValue());
  EXPECT_EQ(value(L"Post", &post), post.GetValue());
  EXPECT_EQ(value(L"Indexed", &indexed), indexed.GetValue());
  EXPECT_NE(value(L"Post", &post), MCLPostProcessParameters());
}

TEST(CLPersistentPropertyTest, BinaryFilesHoldNothingForConceptLaserSets) {
  const TestSupport::TempDirectory directory;
  const auto path = directory.File("project.bin");
  PersistentProperty<MCLParameters> property;
  property.GetValue().SetName(L"not stored");
  MFile file;
  ASSERT_TRUE(file.Open(path.wstring(), MFile::OpenMode::Write));
  WriteValueOfProperty(property.GetValue(), file);
  WriteValueOfProperty(MCLPostProcessParameters(), file);
  ASSERT_TRUE(file.Close());
  EXPECT_EQ(std::filesystem::file_size(path), 0u);

  TestSupport::WriteFile(path, "bytes that are not a set");
  ASSERT_TRUE(file.Open(path.wstring(), MFile::OpenMode::Read));
  ReadValueOfProperty(property.GetValue(), file);
  EXPECT_EQ(property.GetValue().GetName(), L"not stored");
  EXPECT_EQ(file.GetPosition(), 0u);
}

}  // namespace

// A set's write failure (here its lengths, under a length mode that writes nothing) is not
// reported, kept for compatibility with existing host documents. An item index that is not a
// whole number is refused.
TEST(CLPersistentPropertyTest, SetWriteFailuresAreNotReportedAndBadIndexesAreRefused) {
  const TestSupport::TempDirectory directory;
  const std::wstring path = directory.File("project.xml").wstring();
  MPropertyDocument document;
  document.AddProperty(L"Process", L"CLParameters");
  {
    const TalAM::Persistence::ScopedClLengthMode unusable(5);
    EXPECT_TRUE(document.Save(path));
  }

  TestSupport::WriteFile(
      path,
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<PropertyDocument>\n"
      "  <Property Name=\"Indexed\" Type=\"IndexedCLComponentProcessParameters\">\n"
      "    <Item Index=\"12x\"/>\n    <Item Index=\"-3\"/>\n  </Property>\n"
      "</PropertyDocument>\n");
  MPropertyDocument loaded;
  ASSERT_TRUE(loaded.Load(path, nullptr));
  const auto& indexed =
      dynamic_cast<const PersistentProperty<IndexedProperties<MCLScanningParameters>>&>(
          *loaded.GetProperty(L"Indexed"));
  ASSERT_EQ(indexed.GetValue().GetCount(), 1u);
  EXPECT_EQ(indexed.GetValue().begin()->first, -3);
}

// A file written and not closed is complete once the object is gone.
TEST(CLPersistentPropertyTest, AFileIsClosedWithItsObject) {
  const TestSupport::TempDirectory directory;
  const auto path = directory.File("data.bin");
  {
    MFile file;
    ASSERT_TRUE(file.Open(path.wstring(), MFile::OpenMode::Write));
    ASSERT_TRUE(file.Write("abc", 3));
  }
  EXPECT_EQ(TestSupport::ReadFile(path), "abc");
}
