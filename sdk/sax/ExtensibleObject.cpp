#include <TalSDK/sdk/sax/ExtensibleObject.h>

#include <utility>

#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include <TalSDK/sdk/sax/ValueText.h>

namespace TalSDK {

MSaxUnhandledElement::MSaxUnhandledElement(std::string name, std::string text) {
  m_nodes.push_back({Node::Kind::Element, 0, std::move(name), {}});
  if (!text.empty()) m_nodes.push_back({Node::Kind::Text, 1, std::move(text), {}});
}

void MSaxUnhandledElement::AppendNode(Node node) {
  // Empty text is no text: it would not be written, so keeping it would break equality with
  // what a write and a read give.
  if (node.kind == Node::Kind::Text && node.value.empty()) return;
  if (node.kind == Node::Kind::Text && !m_nodes.empty() &&
      m_nodes.back().kind == Node::Kind::Text && m_nodes.back().depth == node.depth) {
    m_nodes.back().value += node.value;
    return;
  }
  m_nodes.push_back(std::move(node));
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

const std::string& MSaxUnhandledElement::GetTagName() const {
  static const std::string kNone;
  return m_nodes.empty() ? kNone : m_nodes.front().value;
}

bool MSaxUnhandledElement::IsRequired() const {
  if (m_nodes.empty()) return false;
  for (const Attribute& attribute : m_nodes.front().attributes) {
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
  std::vector<const std::string*> open;
  for (const Node& node : element.GetNodes()) {
    // A node at depth d belongs inside the d elements opened before it.
    while (open.size() > node.depth) {
      writer.EndTag(*open.back());
      open.pop_back();
    }
    if (node.kind == Node::Kind::Text) {
      writer.WriteText(node.value);
      continue;
    }
    writer.StartTag(node.value);
    for (const MSaxUnhandledElement::Attribute& attribute : node.attributes) {
      writer.WriteAttribute(attribute.name, attribute.value);
    }
    open.push_back(&node.value);
  }
  while (!open.empty()) {
    writer.EndTag(*open.back());
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
    for (const MSaxUnhandledElement::Node& node : element.GetNodes()) {
      for (const MSaxUnhandledElement::Attribute& attribute : node.attributes) {
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
          {element.GetTagName(), element.GetSourcePath(), element.GetSourceLine()});
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
