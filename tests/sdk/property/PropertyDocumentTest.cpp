#include <TalSDK/sdk/property/PropertyDocument.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/property/PersistentPropertyCreator.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>

#include "support/TestSupport.h"

namespace {

// A property of type "Text" holding a text, written as the element's text.
class TextProperty : public IPersistentProperty {
 public:
  IPersistentProperty* Assign(const IPersistentProperty& other) override {
    const auto* same = dynamic_cast<const TextProperty*>(&other);
    if (same == nullptr) return nullptr;
    m_text = same->m_text;
    m_locked = same->m_locked;
    return this;
  }
  bool GetLocked() const override { return m_locked; }
  void SetLocked(bool locked) override { m_locked = locked; }
  bool GetVisible() const override { return true; }
  void SetVisible(bool) override {}
  bool GetPersistent() const override { return m_persistent; }
  void SetPersistent(bool persistent) override { m_persistent = persistent; }
  bool IsModified() const override { return false; }
  bool IsModificationTracked() const override { return false; }
  void SetModified(bool) override {}
  std::uint32_t GetState() const override { return 0; }
  void SetState(std::uint32_t) override {}
  void ClearState() override {}
  bool WriteValue(TalSAX::ISAXWriter& writer) const override {
    writer.WriteText(StringConversion::NativeToUtf8(m_text));
    return m_text != L"unwritable";
  }
  bool HandleValue(TalSAX::ISAXReader& reader) override { return reader.ReadValue(m_text); }
  std::wstring GetTypeOfProperty() const override { return L"Text"; }
  IPersistentPropertyPolymorphicValue* GetPolymorphicValue() override { return nullptr; }
  const IPersistentPropertyPolymorphicValue* GetPolymorphicValue() const override {
    return nullptr;
  }

  std::wstring m_text;
  bool m_locked = false;
  bool m_persistent = true;
};

class TextCreator : public IPersistentPropertyCreator {
 public:
  IPersistentProperty* create(const std::wstring& typeName) override {
    return typeName == L"Text" ? new TextProperty() : nullptr;
  }
};

std::wstring TextOf(const IPersistentProperty* property) {
  const auto* text = dynamic_cast<const TextProperty*>(property);
  return text == nullptr ? L"<none>" : text->m_text;
}

// Creators are known while they exist, asked in registration order; a clone is made by them
// and takes the value and the locked flag.
TEST(PersistentPropertyCreatorsTest, KnownWhileTheCreatorExistsAndMakeClones) {
  TextProperty original;
  original.m_text = L"abc";
  original.SetLocked(true);
  EXPECT_EQ(PersistentPropertyCreators::Create(L"Text"), nullptr);
  {
    const TextCreator first;
    const TextCreator second;
    const auto creators = PersistentPropertyCreators::GetCreators();
    ASSERT_GE(creators.size(), 2u);
    EXPECT_EQ(creators[creators.size() - 2], &first);
    EXPECT_EQ(creators.back(), &second);
    const auto property = PersistentPropertyCreators::Create(L"Text");
    ASSERT_NE(property, nullptr);
    EXPECT_TRUE(property->IsOfType(L"Text"));
    EXPECT_FALSE(property->IsOfType(L"Tex"));
    const auto copy = original.Clone();
    EXPECT_EQ(TextOf(copy.get()), L"abc");
    EXPECT_TRUE(copy->GetLocked());
  }
  EXPECT_EQ(PersistentPropertyCreators::Create(L"Text"), nullptr);
  EXPECT_EQ(original.Clone(), nullptr);
}

TEST(PropertyDocumentTest, PropertiesRoundTripInOrderAndOnlyPersistentOnesAreSaved) {
  const TextCreator creator;
  MPropertyDocument document;
  EXPECT_EQ(document.AddProperty(L"x", L"NoSuchType"), nullptr);
  dynamic_cast<TextProperty&>(*document.AddProperty(L"zeta", L"Text")).m_text = L"first";
  dynamic_cast<TextProperty&>(*document.AddProperty(L"Länge ü", L"Text")).m_text = L"a < b & c";
  document.AddProperty(L"scratch", L"Text")->SetPersistent(false);
  // Adding under a taken name replaces the property in its place.
  dynamic_cast<TextProperty&>(*document.AddProperty(L"zeta", L"Text")).m_text = L"second";
  EXPECT_EQ(document.GetPropertyNames(),
            (std::vector<std::wstring>{L"zeta", L"Länge ü", L"scratch"}));

  const TestSupport::TempDirectory directory;
  const std::wstring path = directory.File("document.xml").wstring();
  ASSERT_TRUE(document.Save(path));
  MPropertyDocument loaded;
  loaded.AddProperty(L"dropped by the load", L"Text");
  loaded.AddUnhandledElement(TalSDK::MSaxUnhandledElement("DroppedByTheLoad"));
  std::wstring message;
  ASSERT_TRUE(loaded.Load(path, &message)) << StringConversion::NativeToUtf8(message);
  EXPECT_EQ(loaded.GetPropertyNames(), (std::vector<std::wstring>{L"zeta", L"Länge ü"}));
  EXPECT_EQ(TextOf(loaded.GetProperty(L"zeta")), L"second");
  EXPECT_EQ(TextOf(loaded.GetProperty(L"Länge ü")), L"a < b & c");
  EXPECT_TRUE(loaded.GetUnhandledElements().empty());
  EXPECT_TRUE(loaded.RemoveProperty(L"zeta"));
  EXPECT_FALSE(loaded.RemoveProperty(L"zeta"));
  EXPECT_EQ(loaded.GetProperty(L"zeta"), nullptr);

  // A property that fails to write, a name that is no Unicode, or a path that is a directory
  // fails the save.
  std::string unused;
  dynamic_cast<TextProperty&>(*loaded.AddProperty(L"bad", L"Text")).m_text = L"unwritable";
  EXPECT_FALSE(loaded.Save(path) || loaded.SaveToString(unused));
  loaded.RemoveProperty(L"bad");
  loaded.AddProperty(std::wstring(1, static_cast<wchar_t>(0xD800)), L"Text");
  EXPECT_FALSE(loaded.Save(path) || loaded.SaveToString(unused));
  EXPECT_FALSE(document.Save(directory.Path().wstring()));
}

TEST(PropertyDocumentTest, UnknownTypesAndElementsAreKeptAndWrittenBackAnotherRootRefused) {
  const TextCreator creator;
  const std::string input =
      "<PropertyDocument>"
      "<Property Name=\"later\" Type=\"FutureType\"><Deep A=\"1\">x</Deep></Property>"
      "<Property Name=\"known\" Type=\"Text\">value</Property>"
      "<Property Type=\"Text\">nameless<Inner/></Property>"
      "<Other/>"
      "</PropertyDocument>";
  MPropertyDocument document;
  ASSERT_TRUE(document.LoadFromString(input));
  EXPECT_EQ(document.GetPropertyNames(), std::vector<std::wstring>{L"known"});
  EXPECT_EQ(TextOf(document.GetProperty(L"known")), L"value");
  EXPECT_EQ(document.GetUnhandledElements().size(), 2u);

  std::string written;
  ASSERT_TRUE(document.SaveToString(written));
  // Known properties first, then the kept ones; the nameless property was refused whole.
  EXPECT_EQ(written,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<PropertyDocument>\n"
            "  <Property Name=\"known\" Type=\"Text\">value</Property>\n"
            "  <Property Name=\"later\" Type=\"FutureType\">\n    <Deep A=\"1\">x</Deep>\n"
            "  </Property>\n  <Other/>\n</PropertyDocument>\n");

  // Another root, or no file, is refused with a message.
  std::wstring message;
  EXPECT_FALSE(document.LoadFromString("<Machine/>", &message));
  EXPECT_THAT(StringConversion::NativeToUtf8(message), testing::HasSubstr("'Machine'"));
  EXPECT_FALSE(document.Load(L"/nonexistent/document.xml", &message));
  EXPECT_FALSE(message.empty());
}

}  // namespace
