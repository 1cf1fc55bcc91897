#include <TalSDK/conceptlaser/CLPersistentProperty.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <typeinfo>
#include <utility>
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

// The value of a document's property of value type T (std::bad_cast for another type).
template <class T>
T& ValueOf(MPropertyDocument& document, const wchar_t* name) {
  return dynamic_cast<PersistentProperty<T>&>(*document.GetProperty(name)).GetValue();
}

// Names compare exactly. The library's creators are known to host documents from the start;
// the test's own lives for one call only.
TEST(CLPersistentPropertyTest, TheConceptLaserCreatorMakesEveryTypeByItsExactName) {
  const std::pair<std::wstring, const std::type_info*> cases[] = {
      {L"CLParameters", &typeid(PersistentProperty<MCLParameters>)},
      {L"CLPlatformParameters", &typeid(PersistentProperty<MCLPlatformParameters>)},
      {L"CLPlatformProcessParameters", &typeid(PersistentProperty<MCLPostProcessParameters>)},
      {L"CLBuildParameters", &typeid(PersistentProperty<MCLBuildParameters>)},
      {L"CLComponentProcessParameters", &typeid(PersistentProperty<MCLScanningParameters>)},
      {L"IndexedCLComponentProcessParameters",
       &typeid(PersistentProperty<IndexedProperties<MCLScanningParameters>>)},
      {L"IndexedCLComponentPostProcessParameters",
       &typeid(PersistentProperty<IndexedProperties<MCLPostProcessParameters>>)},
  };
  EXPECT_GE(PersistentPropertyCreators::GetCreators().size(), 4u);
  const auto create = [](const std::wstring& name) {
    return std::unique_ptr<IPersistentProperty>(
        PersistentPropertySaxHandlerConceptLaser().create(name));
  };
  for (const auto& [name, type] : cases) {
    SCOPED_TRACE(StringConversion::NativeToUtf8(name));
    const std::unique_ptr<IPersistentProperty> property = create(name);
    ASSERT_NE(property, nullptr);
    EXPECT_EQ(property->GetTypeOfProperty(), name);
    const IPersistentProperty& made = *property;
    EXPECT_TRUE(typeid(made) == *type);
    EXPECT_EQ(create(name.substr(0, name.size() - 1)), nullptr);
    EXPECT_EQ(create(name + L"s"), nullptr);
    EXPECT_EQ(PersistentPropertyCreators::Create(name)->GetTypeOfProperty(), name);
  }
  // Asked through the registry, the library's typed creators answer an unknown name too.
  EXPECT_EQ(PersistentPropertyCreators::Create(L"clparameters"), nullptr);
  EXPECT_EQ(PersistentPropertyCreators::Create(L"CLPostProcessParameters"), nullptr);
}

// A new property is unlocked, visible and persistent; SetModified sets or clears bit 0 of the
// state and always sets bit 1. Assign copies the value and the locked flag, not the other flags
// nor the state, from the same type only; a mergeable value merges instead of being replaced.
TEST(CLPersistentPropertyTest, FlagsAndAssignFromTheSameTypeOnly) {
  const auto flags = [](const IPersistentProperty& property) {
    return std::vector<bool>{property.GetLocked(), property.GetVisible(), property.GetPersistent(),
                             property.IsModified(), property.IsModificationTracked()};
  };
  PersistentProperty<MCLScanningParameters> source;
  EXPECT_EQ(flags(source), (std::vector<bool>{false, true, true, false, false}));
  source.SetModified(false);
  EXPECT_EQ(flags(source), (std::vector<bool>{false, true, true, false, true}));
  source.SetModified(true);
  EXPECT_EQ(source.GetState(), 3u);
  source.SetModified(false);
  EXPECT_EQ(source.GetState(), 2u);
  source.ClearState();
  EXPECT_EQ(source.GetState(), 0u);
  EXPECT_EQ(source.GetPolymorphicValue(), nullptr);

  source.GetValue().GetBorderBuildParameters().m_laserPower = 250;
  source.SetLocked(true);
  source.SetVisible(false);
  source.SetModified(true);
  PersistentProperty<MCLScanningParameters> target;
  EXPECT_EQ(target.Assign(source), &target);
  EXPECT_EQ(target.GetValue(), source.GetValue());
  EXPECT_EQ(flags(target), (std::vector<bool>{true, true, true, false, false}));

  PersistentProperty<MCLPostProcessParameters> unchanged;
  EXPECT_EQ(unchanged.Assign(source), nullptr);
  EXPECT_EQ(unchanged.GetValue(), MCLPostProcessParameters());
  EXPECT_FALSE(unchanged.GetLocked());

  const auto copy = source.Clone();
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(dynamic_cast<PersistentProperty<MCLScanningParameters>&>(*copy).GetValue(),
            source.GetValue());

  PersistentProperty<Tally> tally;
  tally.GetValue().items = {1};
  PersistentProperty<Tally> more;
  more.GetValue().items = {2, 3};
  ASSERT_EQ(tally.Assign(more), &tally);
  EXPECT_EQ(tally.GetValue().items, (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(tally.GetValue().overwrites, std::vector<bool>{true});
  ASSERT_NE(tally.GetPolymorphicValue(), nullptr);
  EXPECT_EQ(tally.GetPolymorphicValue()->GetValueTypeName(), L"Tally");
}

// The whole binding: properties made by type name, written by their values, read back by
// their values. (The sets' own content is checked through parameter files.)
TEST(CLPersistentPropertyTest, HostDocumentRoundTrip) {
  MPropertyDocument document;
  const auto add = [&document](const wchar_t* name, const wchar_t* type) {
    document.AddProperty(name, type);
    return name;
  };
  auto& process = ValueOf<MCLParameters>(document, add(L"Process", L"CLParameters"));
  process.GetComponentScanningParameters(L"Fine", true)->GetHatchingBuildParameters().m_laserSpeed =
      900;
  auto& laser =
      ValueOf<MCLScanningParameters>(document, add(L"Laser", L"CLComponentProcessParameters"));
  laser.GetPointsBuildParameters().m_laserFocus = 77;
  ValueOf<MCLPostProcessParameters>(document, add(L"Post", L"CLPlatformProcessParameters"))
      .m_skinWidth = 12345;
  auto& indexed = ValueOf<IndexedProperties<MCLScanningParameters>>(
      document, add(L"Indexed", L"IndexedCLComponentProcessParameters"));
  indexed[-2].GetBorderBuildParameters().m_laserPower = 5;
  indexed[7];

  std::string saved;
  ASSERT_TRUE(document.SaveToString(saved));
  MPropertyDocument loaded;
  std::wstring message;
  ASSERT_TRUE(loaded.LoadFromString(saved, &message)) << StringConversion::NativeToUtf8(message);
  ASSERT_EQ(loaded.GetPropertyNames(), document.GetPropertyNames());
  EXPECT_EQ(ValueOf<MCLParameters>(loaded, L"Process"), process);
  EXPECT_EQ(ValueOf<MCLScanningParameters>(loaded, L"Laser"), laser);
  EXPECT_EQ(ValueOf<MCLPostProcessParameters>(loaded, L"Post").m_skinWidth, 12345);
  EXPECT_EQ(ValueOf<IndexedProperties<MCLScanningParameters>>(loaded, L"Indexed"), indexed);
  EXPECT_NE(indexed, IndexedProperties<MCLScanningParameters>());
  EXPECT_TRUE(indexed.Erase(7));
  EXPECT_FALSE(indexed.Erase(7));  // nothing left there

  // A set's write failure (here its lengths, under a length mode that writes nothing) is not
  // reported, kept for compatibility with existing host documents.
  const TalAM::Persistence::ScopedClLengthMode unusable(5);
  EXPECT_TRUE(document.SaveToString(saved));
  TestSupport::Written([&](TalSAX::ISAXWriter& writer) {
    MSAXTagWriter root(writer, "R");
    EXPECT_TRUE(document.GetProperty(L"Process")->WriteValue(writer));
  });
}

// An indexed collection reads its items by their "Index", refusing anything else, an item
// without it or with one that is not a whole number, and reports success.
TEST(CLPersistentPropertyTest, IndexedItemsNeedAWholeNumberAsIndex) {
  struct Holder : ISAXPersistHelper {
    bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
      handled.push_back(tag == "V"   ? HandleValueOfProperty(items, reader)
                        : tag == "P" ? HandleValueOfProperty(postItems, reader)
                                     : HandleValueOfProperty(set, reader));
      return true;
    }
    IndexedProperties<MCLScanningParameters> items;
    IndexedProperties<MCLPostProcessParameters> postItems;
    MCLScanningParameters set;
    std::vector<bool> handled;
  } holder;
  EXPECT_EQ(TestSupport::ReadBlock("<R><V><Item Index=\"12x\"/><Item/><Other Index=\"1\"/>"
                                   "<Item Index=\"-3\"/></V><P><Item Index=\"4\"/></P><S/></R>",
                                   holder)
                .size(),
            3u);
  EXPECT_EQ(holder.handled, std::vector<bool>({true, true, true}));
  ASSERT_TRUE(holder.items.GetCount() == 1 && holder.postItems.GetCount() == 1);
  EXPECT_EQ(std::pair(holder.items.begin()->first, holder.postItems.begin()->first),
            std::pair(-3, 4));
}

// Binary files hold nothing of a set and reading one leaves the set as it is; a file written
// and not closed is complete once the object is gone.
TEST(CLPersistentPropertyTest, BinaryFilesHoldNothingForConceptLaserSets) {
  const TestSupport::TempDirectory directory;
  const auto path = directory.File("project.bin");
  MCLParameters set;
  set.SetName(L"not stored");
  {
    MFile file;
    ASSERT_TRUE(file.Open(path.wstring(), MFile::OpenMode::Write));
    ASSERT_TRUE(file.Write("abc", 3));
    WriteValueOfProperty(set, file);
    WriteValueOfProperty(MCLPostProcessParameters(), file);
  }
  EXPECT_EQ(TestSupport::ReadFile(path), "abc");

  MFile file;
  ASSERT_TRUE(file.Open(path.wstring(), MFile::OpenMode::Read));
  ReadValueOfProperty(set, file);
  EXPECT_EQ(set.GetName(), L"not stored");
  EXPECT_EQ(file.GetPosition(), 0u);
}

}  // namespace
