#include <TalSDK/sdk/sax/ExtensibleObject.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include <TalSDK/sdk/sax/ValueText.h>

namespace TalSDK {

// The block, in 32-bit words: a header, then the node records, the attribute records and the
// characters, each region with room for its capacity.
//   header  nodes, attributes, chars, node capacity, attribute capacity, char capacity
//   node    depth << 1 | kind, index of its first attribute, value offset, value size
//   attr    name offset, name size, value offset, value size
// Offsets are into the characters. An element node's attributes run to the next node's first.
namespace {

enum Header : std::size_t {
  kNodes,
  kAttributes,
  kChars,
  kNodeCapacity,
  kAttributeCapacity,
  kCharCapacity,
  kHeaderWords
};
constexpr std::size_t kRecordWords = 4;
constexpr std::size_t kMaxRecords = std::size_t{1} << 28;
constexpr std::size_t kMaxChars = 0xFFFFFFFFu;

// The regions of a block, writable when the block is.
template <class Word>
Word* NodeRecords(Word* block) {
  return block + kHeaderWords;
}
template <class Word>
Word* AttributeRecords(Word* block) {
  return NodeRecords(block) + kRecordWords * block[kNodeCapacity];
}
template <class Word>
auto* Chars(Word* block) {
  using Char = std::conditional_t<std::is_const_v<Word>, const char, char>;
  return reinterpret_cast<Char*>(AttributeRecords(block) +
                                 kRecordWords * block[kAttributeCapacity]);
}
std::size_t BlockWords(std::size_t nodes, std::size_t attributes, std::size_t chars) {
  return kHeaderWords + kRecordWords * (nodes + attributes) + (chars + 3) / 4;
}

// A block with the given capacities holding the content of `from` (which may be null).
std::unique_ptr<std::uint32_t[]> MakeBlock(const std::uint32_t* from, std::size_t nodeCapacity,
                                           std::size_t attributeCapacity,
                                           std::size_t charCapacity) {
  auto block = std::make_unique_for_overwrite<std::uint32_t[]>(
      BlockWords(nodeCapacity, attributeCapacity, charCapacity));
  std::uint32_t* const header = block.get();
  header[kNodes] = from != nullptr ? from[kNodes] : 0;
  header[kAttributes] = from != nullptr ? from[kAttributes] : 0;
  header[kChars] = from != nullptr ? from[kChars] : 0;
  header[kNodeCapacity] = static_cast<std::uint32_t>(nodeCapacity);
  header[kAttributeCapacity] = static_cast<std::uint32_t>(attributeCapacity);
  header[kCharCapacity] = static_cast<std::uint32_t>(charCapacity);
  if (from != nullptr) {
    std::copy_n(NodeRecords(from), kRecordWords * from[kNodes], NodeRecords(header));
    std::copy_n(AttributeRecords(from), kRecordWords * from[kAttributes], AttributeRecords(header));
    std::memcpy(Chars(header), Chars(from), from[kChars]);
  }
  return block;
}

// Appends `text` to the block's characters and writes its offset and size to `position`.
void AddChars(std::uint32_t* block, std::string_view text, std::uint32_t* position) {
  position[0] = block[kChars];
  position[1] = static_cast<std::uint32_t>(text.size());
  if (!text.empty()) std::memcpy(Chars(block) + block[kChars], text.data(), text.size());
  block[kChars] += position[1];
}

void CheckSize(std::size_t nodes, std::size_t attributes, std::size_t chars) {
  if (nodes + attributes > kMaxRecords || chars > kMaxChars)
    throw std::length_error(
        "a kept element may hold at most 2^28 nodes and attributes and 4 GiB "
        "of text");
}

// A node's depth shares its word with its kind.
void CheckDepth(std::uint32_t depth) {
  if (depth > 0x7FFFFFFFu) throw std::length_error("a kept element may be at most 2^31 deep");
}

}  // namespace

MSaxUnhandledElement::Attribute MSaxUnhandledElement::Attributes::operator[](
    std::size_t index) const {
  const std::uint32_t* record = m_records + kRecordWords * index;
  return {{m_chars + record[0], record[1]}, {m_chars + record[2], record[3]}};
}

bool MSaxUnhandledElement::Attributes::operator==(const Attributes& other) const {
  if (m_count != other.m_count) return false;
  for (std::size_t i = 0; i < m_count; ++i) {
    if ((*this)[i] != other[i]) return false;
  }
  return true;
}

std::size_t MSaxUnhandledElement::Nodes::size() const {
  return m_block != nullptr ? m_block[kNodes] : 0;
}

MSaxUnhandledElement::Node MSaxUnhandledElement::Nodes::operator[](std::size_t index) const {
  const std::uint32_t* record = NodeRecords(m_block) + kRecordWords * index;
  const std::uint32_t firstAttribute = record[1];
  const std::uint32_t nextAttribute =
      index + 1 < m_block[kNodes] ? record[kRecordWords + 1] : m_block[kAttributes];
  const char* chars = Chars(m_block);
  return {(record[0] & 1) != 0 ? Node::Kind::Text : Node::Kind::Element, record[0] >> 1,
          std::string_view(chars + record[2], record[3]),
          Attributes(AttributeRecords(m_block) + kRecordWords * firstAttribute,
                     nextAttribute - firstAttribute, chars)};
}

MSaxUnhandledElement::MSaxUnhandledElement(std::string_view name, std::string_view text)
    : MSaxUnhandledElement(name, {}, text) {}

MSaxUnhandledElement::MSaxUnhandledElement(std::string_view name,
                                           std::span<const Attribute> attributes,
                                           std::string_view text) {
  std::size_t chars = name.size() + text.size();
  for (const Attribute& attribute : attributes)
    chars += attribute.name.size() + attribute.value.size();
  Grow(text.empty() ? 1 : 2, attributes.size(), chars);  // the first block is exact
  AppendElement(0, name, attributes);
  AppendText(1, text);
}

MSaxUnhandledElement::MSaxUnhandledElement(const MSaxUnhandledElement& other) {
  *this = other;
}

MSaxUnhandledElement& MSaxUnhandledElement::operator=(const MSaxUnhandledElement& other) {
  if (this == &other) return *this;
  const std::uint32_t* from = other.m_block.get();
  if (from != nullptr && from[kNodes] != 0) {
    m_block = MakeBlock(from, from[kNodes], from[kAttributes], from[kChars]);
  } else {
    m_block.reset();
  }
  m_sourcePath = other.m_sourcePath;
  m_sourceLine = other.m_sourceLine;
  return *this;
}

std::unique_ptr<std::uint32_t[]> MSaxUnhandledElement::Grow(std::size_t nodes,
                                                            std::size_t attributes,
                                                            std::size_t chars) {
  const std::uint32_t* block = m_block.get();
  const std::size_t nodesNeeded = (block != nullptr ? block[kNodes] : 0) + nodes;
  const std::size_t attributesNeeded = (block != nullptr ? block[kAttributes] : 0) + attributes;
  const std::size_t charsNeeded = (block != nullptr ? block[kChars] : 0) + chars;
  CheckSize(nodesNeeded, attributesNeeded, charsNeeded);
  if (block == nullptr) {
    // The first build is often the only one (a leaf, a copy): exactly what it needs.
    m_block = MakeBlock(nullptr, nodesNeeded, attributesNeeded, charsNeeded);
    return nullptr;
  }
  const auto grown = [](std::size_t capacity, std::size_t needed, std::size_t limit) {
    return needed <= capacity ? capacity : std::min(std::max(needed, 2 * capacity), limit);
  };
  if (nodesNeeded <= block[kNodeCapacity] && attributesNeeded <= block[kAttributeCapacity] &&
      charsNeeded <= block[kCharCapacity])
    return nullptr;
  auto old = std::move(m_block);
  m_block = MakeBlock(old.get(), grown(block[kNodeCapacity], nodesNeeded, kMaxRecords),
                      grown(block[kAttributeCapacity], attributesNeeded, kMaxRecords),
                      grown(block[kCharCapacity], charsNeeded, kMaxChars));
  return old;  // the caller's views may point into it until it has appended them
}

void MSaxUnhandledElement::AppendElement(std::uint32_t depth, std::string_view name,
                                         std::initializer_list<Attribute> attributes) {
  AppendElement(depth, name, std::span<const Attribute>(attributes.begin(), attributes.size()));
}

void MSaxUnhandledElement::AppendElement(std::uint32_t depth, std::string_view name,
                                         std::span<const Attribute> attributes) {
  std::size_t chars = name.size();
  for (const Attribute& attribute : attributes)
    chars += attribute.name.size() + attribute.value.size();
  CheckDepth(depth);
  const auto keepAlive = Grow(1, attributes.size(), chars);
  std::uint32_t* const block = m_block.get();
  std::uint32_t* record = NodeRecords(block) + kRecordWords * block[kNodes]++;
  record[0] = depth << 1;
  record[1] = block[kAttributes];
  AddChars(block, name, record + 2);
  for (const Attribute& attribute : attributes) {
    std::uint32_t* out = AttributeRecords(block) + kRecordWords * block[kAttributes]++;
    AddChars(block, attribute.name, out);
    AddChars(block, attribute.value, out + 2);
  }
}

void MSaxUnhandledElement::AppendText(std::uint32_t depth, std::string_view text) {
  // Empty text is no text: it would not be written, so keeping it would break equality with
  // what a write and a read give.
  if (text.empty()) return;
  CheckDepth(depth);
  const std::size_t nodes = m_block != nullptr ? m_block[kNodes] : 0;
  const std::uint32_t* last =
      nodes != 0 ? NodeRecords(m_block.get()) + kRecordWords * (nodes - 1) : nullptr;
  // A text right after a text of the same element: its characters are the last ones, so
  // extending it keeps them in one run.
  const bool extends = last != nullptr && last[0] == ((depth << 1) | 1);
  const auto keepAlive = Grow(extends ? 0 : 1, 0, text.size());
  std::uint32_t* const block = m_block.get();
  std::uint32_t* const records = NodeRecords(block);
  if (extends) {
    std::uint32_t* record = records + kRecordWords * (nodes - 1);
    std::uint32_t added[2];
    AddChars(block, text, added);
    record[3] += added[1];
    return;
  }
  std::uint32_t* record = records + kRecordWords * block[kNodes]++;
  record[0] = (depth << 1) | 1;
  record[1] = block[kAttributes];
  AddChars(block, text, record + 2);
}

void MSaxUnhandledElement::Clear() {
  if (m_block == nullptr) return;
  m_block[kNodes] = 0;
  m_block[kAttributes] = 0;
  m_block[kChars] = 0;
}

bool MSaxUnhandledElement::operator==(const MSaxUnhandledElement& other) const {
  const Nodes mine = GetNodes();
  const Nodes theirs = other.GetNodes();
  if (mine.size() != theirs.size()) return false;
  for (std::size_t i = 0; i < mine.size(); ++i) {
    if (mine[i] != theirs[i]) return false;
  }
  return true;
}

void MSaxUnhandledElement::SetSourcePath(std::string path) {
  if (path.empty()) {
    m_sourcePath.reset();
  } else {
    m_sourcePath = std::make_shared<const std::string>(std::move(path));
  }
}

const std::string& MSaxUnhandledElement::NoPath() {
  static const std::string kNone;
  return kNone;
}

std::string_view MSaxUnhandledElement::GetTagName() const {
  const Nodes nodes = GetNodes();
  return nodes.empty() ? std::string_view() : nodes[0].value;
}

bool MSaxUnhandledElement::IsRequired() const {
  const Nodes nodes = GetNodes();
  if (nodes.empty()) return false;
  for (const Attribute attribute : nodes[0].attributes) {
    if (attribute.name == "required") {
      bool required = false;
      return TalSAX::ValueText::Parse(attribute.value, required) && required;
    }
  }
  return false;
}

MSaxPersistExtensibleObject::~MSaxPersistExtensibleObject() = default;

MSaxPersistExtensibleObject::NodeList MSaxPersistExtensibleObject::GetExtensibleObjectNodes()
    const {
  return {std::cref(*this)};
}

MSaxPersistExtensibleObject::ElementList
MSaxPersistExtensibleObject::GetUnhandledElementsFromAllNodes() const {
  ElementList elements;
  for (const MSaxPersistExtensibleObject& node : GetExtensibleObjectNodes()) {
    for (const MSaxUnhandledElement& element : node.m_unhandled)
      elements.push_back(element);
  }
  return elements;
}

void MSaxPersistExtensibleObject::AddUnhandledElement(MSaxUnhandledElement element) {
  m_unhandled.push_back(std::move(element));
}

MSaxPersistExtensibleObjectReader::MSaxPersistExtensibleObjectReader(
    MSaxPersistExtensibleObject& object)
    : m_object(object) {}

bool MSaxPersistExtensibleObjectReader::HandleTag(const std::string&, TalSAX::ISAXReader& reader) {
  if (m_object.GetOperatingMode() == MSaxPersistExtensibleObject::eIgnoreUnhandledElements) {
    reader.SkipElementContent();
    return true;
  }
  MSaxUnhandledElement element;
  if (!reader.CaptureElement(element)) return false;
  m_object.AddUnhandledElement(std::move(element));
  return true;
}

MSaxPersistExtensibleObjectWriter::MSaxPersistExtensibleObjectWriter(
    const MSaxPersistExtensibleObject& object)
    : m_object(object) {}

bool MSaxPersistExtensibleObjectWriter::Write(TalSAX::ISAXWriter& writer) const {
  for (const MSaxUnhandledElement& element : m_object.GetUnhandledElements()) {
    WriteElement(writer, element);
  }
  return true;
}

void MSaxPersistExtensibleObjectWriter::WriteElement(TalSAX::ISAXWriter& writer,
                                                     const MSaxUnhandledElement& element) {
  using Node = MSaxUnhandledElement::Node;
  // Names of the elements opened so far; closing follows the depths, without recursion.
  std::vector<std::string_view> open;
  for (const Node node : element.GetNodes()) {
    // A node at depth d belongs inside the d elements opened before it.
    while (open.size() > node.depth) {
      writer.EndTag(open.back());
      open.pop_back();
    }
    if (node.kind == Node::Kind::Text) {
      writer.WriteText(node.value);
      continue;
    }
    writer.StartTag(node.value);
    for (const MSaxUnhandledElement::Attribute attribute : node.attributes) {
      writer.WriteAttribute(attribute.name, attribute.value);
    }
    open.push_back(node.value);
  }
  while (!open.empty()) {
    writer.EndTag(open.back());
    open.pop_back();
  }
}

namespace MSaxPersistExtensibleObjectUtilities {

void RecursiveInsertNodes(
    MSaxPersistExtensibleObject::NodeList& nodes,
    std::initializer_list<std::reference_wrapper<const MSaxPersistExtensibleObject>> objects) {
  for (const MSaxPersistExtensibleObject& object : objects)
    RecursiveInsertNodes(nodes, object);
}

void RecursiveInsertNodes(MSaxPersistExtensibleObject::NodeList& nodes,
                          const MSaxPersistExtensibleObject& object) {
  const MSaxPersistExtensibleObject::NodeList inner = object.GetExtensibleObjectNodes();
  nodes.insert(nodes.end(), inner.begin(), inner.end());
}

void SetOperatingModeOfAllNodes(MSaxPersistExtensibleObject& root,
                                const MSaxPersistExtensibleObject::OperatingMode& mode) {
  root.SetOperatingMode(mode);
  // The nodes are listed as const references, but they are parts of `root`, which the caller
  // may change.
  for (const MSaxPersistExtensibleObject& node : root.GetExtensibleObjectNodes()) {
    const_cast<MSaxPersistExtensibleObject&>(node).SetOperatingMode(mode);
  }
}

void GetUntraceableIDs(const MSaxPersistExtensibleObject::ElementList& elements,
                       std::map<unsigned int, const ISAXReference*>& ids) {
  for (const MSaxUnhandledElement& element : elements) {
    for (const MSaxUnhandledElement::Node node : element.GetNodes()) {
      for (const MSaxUnhandledElement::Attribute attribute : node.attributes) {
        unsigned int id = 0;
        if (attribute.name == "ID" && TalSAX::ValueText::Parse(attribute.value, id) && id != 0) {
          ids.emplace(id, nullptr);
        }
      }
    }
  }
}

bool RegisterUsedIds(const std::map<unsigned int, const ISAXReference*>& ids,
                     TalSAX::ISAXWriter& writer) {
  bool allFree = true;
  for (const auto& [id, object] : ids)
    allFree = writer.RegisterUsedId(id, object) && allFree;
  return allFree;
}

bool DoRequiredElementsExist(const MSaxPersistExtensibleObject::ElementList& elements) {
  for (const MSaxUnhandledElement& element : elements) {
    if (element.IsRequired()) return true;
  }
  return false;
}

std::vector<MSaxUnhandledElementDescription> GetRequiredElementsDescription(
    const MSaxPersistExtensibleObject::ElementList& elements) {
  std::vector<MSaxUnhandledElementDescription> descriptions;
  for (const MSaxUnhandledElement& element : elements) {
    if (element.IsRequired()) {
      descriptions.push_back(
          {std::string(element.GetTagName()), element.GetSourcePath(), element.GetSourceLine()});
    }
  }
  return descriptions;
}

std::string FormatRequiredElementsMessage(
    const MSaxPersistExtensibleObject::ElementList& elements) {
  std::string message;
  for (const MSaxUnhandledElementDescription& d : GetRequiredElementsDescription(elements)) {
    if (!message.empty()) message += '\n';
    message += "Required element '" + d.m_tagName + "'";
    if (!d.m_path.empty()) message += " in " + d.m_path;
    if (d.m_line > 0) message += " (line " + std::to_string(d.m_line) + ")";
  }
  return message;
}

}  // namespace MSaxPersistExtensibleObjectUtilities
}  // namespace TalSDK
