#include <TalSDK/quality/QualityParts.h>

#include <algorithm>
#include <array>
#include <cstddef>

#include <TalSDK/sdk/common/Logging.h>
#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/mesh/SaxStlBase.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/StreamTextOut.h>
#include <TalSDK/sdk/sax/ValueText.h>

#include "persistence/Description.h"

namespace {

using namespace TalAM::Persistence;
using TalAM::FieldKind;
using TalAM::FieldVisit;
using TalSDK::SupportGeneration::MSaxSupportSupport;
using TalSDK::SupportGeneration::MSupportSupport;
using Set = MMachineQualityParts;
using Item = QualityPartItem;
namespace Utilities = TalSDK::MSaxPersistExtensibleObjectUtilities;

std::string PositionText(const MMTransformMatrix& position) {
  std::array<double, 16> values{};
  position.ConvertToDouble16(values.data());
  MStreamTextOut<wchar_t> text;
  for (const double value : values)
    text << value;
  return StringConversion::NativeToUtf8(text.str());
}

// "Position": sixteen numbers separated by white space, row by row. A short or unreadable text
// fails the read, and the matrix takes what was read up to there (zeros after it).
struct PositionCodec {
  bool Read(Item& item, TalSAX::ISAXReader& reader) const {
    const std::string_view text = reader.GetElementText();
    if (text.empty()) return false;
    std::array<double, 16> values{};
    bool complete = true;
    std::size_t at = 0;
    for (double& value : values) {
      const std::size_t start = text.find_first_not_of(" \t\r\n", at);
      if (start == std::string_view::npos) {
        complete = false;
        break;
      }
      at = std::min(text.find_first_of(" \t\r\n", start), text.size());
      if (!TalSAX::ValueText::Parse(text.substr(start, at - start), value)) {
        value = 0.0;
        complete = false;
        break;
      }
    }
    item.m_position.MakeFromDouble16(values.data());
    return complete;
  }
  bool Write(const Item& item, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    writer.StartTag(tag);
    writer.WriteText(PositionText(item.m_position));
    writer.EndTag(tag);
    return true;
  }
  bool Equal(const Item& a, const Item& b) const { return a.m_position == b.m_position; }
  // The translation and whether the part is turned (or scaled), then all sixteen numbers.
  void Visit(const Item& item, FieldVisit& visit, std::string_view tag) const {
    const MMTransformMatrix& m = item.m_position;
    MStreamTextOut<wchar_t> translation;
    translation << m(0, 3) << m(1, 3) << m(2, 3);
    bool rotated = false;
    for (int row = 0; row < 3; ++row) {
      for (int column = 0; column < 3; ++column)
        rotated = rotated || m(row, column) != (row == column ? 1.0 : 0.0);
    }
    visit.Enter(tag, FieldKind::Block);
    visit.Value("Translation", FieldKind::String,
                StringConversion::NativeToUtf8(translation.str()));
    visit.Value("Rotated", FieldKind::Bool, rotated ? "true" : "false");
    visit.Value("Matrix", FieldKind::String, PositionText(m));
    visit.Leave();
  }
};

// Support read inside an item is not kept: the item's mesh carries the support the application
// generated. The reader owns this object until "Support" ends, and the scratch value with it.
struct ScratchSupport {
  MSupportSupport scratch;
};
class DiscardedSupportReader : private ScratchSupport, public MSaxSupportSupport {
 public:
  DiscardedSupportReader() : MSaxSupportSupport(scratch) {}
};

struct SupportCodec {
  bool Read(Item&, TalSAX::ISAXReader& reader) const {
    reader.DelegateToOwnedChild(new DiscardedSupportReader());
    return true;
  }
  bool Write(const Item& item, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    const MSupportSupport* support = TalSDK::SupportGeneration::GetSupport(*item.m_mesh);
    if (support == nullptr) return true;
    MSAXTagWriter container(writer, tag);
    return MSaxSupportSupport(*support).Write(writer);
  }
  // The support belongs to the mesh, whose geometry an item's equality leaves out too.
  bool Equal(const Item&, const Item&) const { return true; }
  void Visit(const Item& item, FieldVisit& visit, std::string_view tag) const {
    if (const MSupportSupport* support = TalSDK::SupportGeneration::GetSupport(*item.m_mesh)) {
      visit.Value(tag, FieldKind::Settings,
                  ValueText(static_cast<long>(support->GetSettings().size())) + " settings");
    }
  }
};

// "Mesh" is read into the item's own mesh, emptied first (its name stays until the file's
// mesh names it).
struct ItemMesh {
  const MStlBase* Find(const Item& item) const { return item.m_mesh.get(); }
  MStlBase& Access(Item& item) const {
    item.m_mesh->ClearStl(true);
    return *item.m_mesh;
  }
};

// Everything of an item after its "Name", which is the map's key and read by the item helper.
constexpr auto kItemFields = Describe<Item>(Field<Item, PositionCodec>("Position", {}),
                                            Mesh<Item>("Mesh", ItemMesh{}, MeshReference::Saved),
                                            Field<Item, SupportCodec>("Support", {}));

// The items of a set, one "Item" container each, in key order. They are read by the set's
// helper, which hands its own operating mode to each item.
struct ItemsCodec {
  std::optional<bool> Read(Set&, TalSAX::ISAXReader&) const { return std::nullopt; }
  bool Write(const Set& set, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    for (const auto& entry : set.m_items) {
      MSAXTagWriter container(writer, tag);
      if (!MSAXQualityPartWriter(entry).Write(writer)) return false;
    }
    return true;
  }
  bool Equal(const Set& a, const Set& b) const { return a.m_items == b.m_items; }
  void Nodes(const Set& set, Set::NodeList& nodes) const {
    for (const auto& entry : set.m_items)
      Utilities::RecursiveInsertNodes(nodes, entry.second);
  }
  void Visit(const Set& set, FieldVisit& visit, std::string_view tag) const {
    std::size_t index = 0;
    for (const auto& entry : set.m_items) {
      visit.Enter(Detail::ItemTag(tag, index++), FieldKind::Item);
      entry.second.VisitFields(visit);
      visit.Leave();
    }
  }
};

constexpr auto kSetFields =
    Describe<Set>(Value("ProfileName", &Set::m_profileName), Value("Enabled", &Set::m_enabled),
                  Value("Group", &Set::m_group), Value("KeepPosition", &Set::m_keepPosition),
                  Field<Set, ItemsCodec>("Item", {}));

constexpr std::string_view kDuplicateNameMessage =
    "MSAXQualityPartItemHelper::HandleTag \"Name\" - reading invalid data: m_name already exist";

}  // namespace

QualityPartItem::QualityPartItem() : m_mesh(std::make_unique<MStlBase>()) {}

QualityPartItem::QualityPartItem(const QualityPartItem& other)
    : MSaxPersistExtensibleObject(other),
      m_mesh(std::make_unique<MStlBase>(*other.m_mesh)),
      m_position(other.m_position) {}

QualityPartItem& QualityPartItem::operator=(const QualityPartItem& other) {
  if (this != &other) {
    MSaxPersistExtensibleObject::operator=(other);
    *m_mesh = *other.m_mesh;
    m_position = other.m_position;
  }
  return *this;
}

QualityPartItem::~QualityPartItem() = default;

bool QualityPartItem::operator==(const QualityPartItem& other) const {
  return m_mesh->GetName() == other.m_mesh->GetName() && kItemFields.Equal(*this, other);
}

QualityPartItem::NodeList QualityPartItem::GetExtensibleObjectNodes() const {
  return kItemFields.Nodes(*this);
}

void QualityPartItem::VisitFields(FieldVisit& visit) const {
  visit.Value("Name", FieldKind::String, StringConversion::NativeToUtf8(m_mesh->GetName()));
  kItemFields.Visit(*this, visit);
}

bool MMachineQualityParts::operator==(const MMachineQualityParts& other) const {
  return kSetFields.Equal(*this, other);
}

bool MMachineQualityParts::operator<(const MMachineQualityParts& other) const {
  return m_profileName < other.m_profileName;
}

MMachineQualityParts::NodeList MMachineQualityParts::GetExtensibleObjectNodes() const {
  return kSetFields.Nodes(*this);
}

void MMachineQualityParts::VisitFields(FieldVisit& visit) const {
  kSetFields.Visit(*this, visit);
}

MSAXQualityPartsHelper::MSAXQualityPartsHelper(
    MMachineQualityParts& parts, TalSDK::MSaxPersistExtensibleObject::OperatingMode mode)
    : m_parts(parts), m_mode(mode) {}

bool MSAXQualityPartsHelper::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  if (tagName == "Item") {
    reader.DelegateToOwnedChild(new MSAXQualityPartItemHelper(m_parts.m_items, m_mode));
    return true;
  }
  return kSetFields.HandleTag(tagName, m_parts, reader);
}

void MSAXQualityPartsHelper::SetDefaults() {
  m_parts.m_items.clear();
}

MSAXQualityPartsWriter::MSAXQualityPartsWriter(const MMachineQualityParts& parts)
    : m_parts(parts) {}

bool MSAXQualityPartsWriter::Write(TalSAX::ISAXWriter& writer) const {
  return kSetFields.Write(m_parts, writer);
}

MSAXQualityPartItemHelper::MSAXQualityPartItemHelper(
    std::map<std::wstring, QualityPartItem>& items,
    TalSDK::MSaxPersistExtensibleObject::OperatingMode mode)
    : m_items(items), m_mode(mode) {}

MSAXQualityPartItemHelper::~MSAXQualityPartItemHelper() = default;

bool MSAXQualityPartItemHelper::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  if (tagName == "Name") {
    std::wstring name;
    if (!reader.ReadValue(name)) return false;
    QualityPartItem item;
    item.m_mesh->SetName(name);
    Utilities::SetOperatingModeOfAllNodes(item, m_mode);
    const auto [entry, inserted] = m_items.try_emplace(name, std::move(item));
    if (!inserted) {
      TalSDK::Common::Logging::GetLogger().LogMessage(kDuplicateNameMessage);
      return false;
    }
    m_current = &entry->second;
    return true;
  }
  // Everything else fills the item that "Name" created.
  if (m_current == nullptr) return false;
  return kItemFields.HandleTag(tagName, *m_current, reader);
}

MSAXQualityPartWriter::MSAXQualityPartWriter(
    const std::pair<const std::wstring, QualityPartItem>& item)
    : m_item(item) {}

bool MSAXQualityPartWriter::Write(TalSAX::ISAXWriter& writer) const {
  return TalAM::WriteValueTag(writer, "Name", m_item.first) &&
         kItemFields.Write(m_item.second, writer);
}

MSAXQualityPartsProfilesHelper::MSAXQualityPartsProfilesHelper(
    std::list<MMachineQualityParts>& profiles,
    TalSDK::MSaxPersistExtensibleObject::OperatingMode mode)
    : m_profiles(profiles), m_mode(mode) {}

bool MSAXQualityPartsProfilesHelper::HandleTag(const std::string& tagName,
                                               TalSAX::ISAXReader& reader) {
  if (tagName != "QualityParts") return true;
  MMachineQualityParts& parts = m_profiles.emplace_back();
  Utilities::SetOperatingModeOfAllNodes(parts, m_mode);
  reader.DelegateToOwnedChild(new MSAXQualityPartsHelper(parts, m_mode));
  return true;
}

void MSAXQualityPartsProfilesHelper::SetDefaults() {
  m_profiles.clear();
}

MSAXQualityPartsProfilesWriter::MSAXQualityPartsProfilesWriter(
    const std::list<MMachineQualityParts>& profiles)
    : m_profiles(profiles) {}

bool MSAXQualityPartsProfilesWriter::Write(TalSAX::ISAXWriter& writer) const {
  for (const MMachineQualityParts& parts : m_profiles) {
    MSAXTagWriter container(writer, "QualityParts");
    if (!MSAXQualityPartsWriter(parts).Write(writer)) return false;
  }
  return true;
}
