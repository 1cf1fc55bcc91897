#pragma once
// Objects that keep the elements they do not understand, so that a document written by a
// newer version survives a read and a write. Kept elements are stored flat (a pre-order list
// of nodes with their depth), so storing, copying, comparing and destroying them never
// recurses, whatever their depth.

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <TalSDK/SDKExport.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

namespace TalSDK {

// One kept element with everything inside it.
class TALSDK_SDK_EXPORT MSaxUnhandledElement {
 public:
  struct Attribute {
    std::string name;
    std::string value;
    bool operator==(const Attribute&) const = default;
  };
  // An element (name and attributes) or a run of text, at `depth` below the kept element
  // (the kept element itself is the first node, an element at depth 0). Text nodes are
  // the text of their enclosing element, in document order between its child elements.
  struct Node {
    enum class Kind : std::uint8_t { Element, Text };
    Kind kind = Kind::Element;
    std::uint32_t depth = 0;
    std::string value;  // the element's name, or the text
    std::vector<Attribute> attributes;
    bool operator==(const Node&) const = default;
  };

  MSaxUnhandledElement() = default;
  // A leaf element holding `text` (UTF-8).
  MSaxUnhandledElement(std::string name, std::string text = {});

  const std::string& GetTagName() const;
  // True when the element carries the attribute required="true".
  bool IsRequired() const;
  // Where the element was found ("Machine/Platform"), for messages; not compared.
  const std::string& GetSourcePath() const { return m_sourcePath ? *m_sourcePath : NoPath(); }
  void SetSourcePath(std::string path);
  // The same, sharing one string among the elements found in one place.
  void SetSourcePath(std::shared_ptr<const std::string> path) { m_sourcePath = std::move(path); }
  int GetSourceLine() const { return m_sourceLine; }
  void SetSourceLine(int line) { m_sourceLine = line; }

  const std::vector<Node>& GetNodes() const { return m_nodes; }
  // Builds the element node by node, in pre-order; depths must follow the tree. A text node
  // right after a text node of the same element extends it (text and CDATA runs are written
  // back as one text).
  void AppendNode(Node node);
  // Room for `nodes` nodes in all, so that appending them allocates once.
  void Reserve(std::size_t nodes) { m_nodes.reserve(nodes); }
  void Clear() { m_nodes.clear(); }
  bool IsEmpty() const { return m_nodes.empty(); }

  // Structural equality: names, attributes in order, texts, children in order.
  bool operator==(const MSaxUnhandledElement& other) const { return m_nodes == other.m_nodes; }

 private:
  static const std::string& NoPath();

  std::vector<Node> m_nodes;
  std::shared_ptr<const std::string> m_sourcePath;  // null when empty
  int m_sourceLine = 0;
};

// A kept element marked required, described for messages.
struct TALSDK_SDK_EXPORT MSaxUnhandledElementDescription {
  std::string m_tagName;
  std::string m_path;  // enclosing elements, e.g. "Machine/Platform"
  int m_line = 0;      // where it was read, 0 when unknown
  bool operator==(const MSaxUnhandledElementDescription&) const = default;
};

class TALSDK_SDK_EXPORT MSaxPersistExtensibleObject {
 public:
  // 0: unknown elements are dropped while reading; 1: they are kept (the default).
  enum OperatingMode : int { eIgnoreUnhandledElements = 0, eKeepUnhandledElements = 1 };

  using NodeList = std::vector<std::reference_wrapper<const MSaxPersistExtensibleObject>>;
  using ElementList = std::vector<std::reference_wrapper<const MSaxUnhandledElement>>;

  MSaxPersistExtensibleObject() = default;
  MSaxPersistExtensibleObject(const MSaxPersistExtensibleObject&) = default;
  MSaxPersistExtensibleObject(MSaxPersistExtensibleObject&&) noexcept = default;
  MSaxPersistExtensibleObject& operator=(const MSaxPersistExtensibleObject&) = default;
  MSaxPersistExtensibleObject& operator=(MSaxPersistExtensibleObject&&) noexcept = default;
  virtual ~MSaxPersistExtensibleObject();

  void SetOperatingMode(const OperatingMode& mode) { m_operatingMode = mode; }
  const OperatingMode& GetOperatingMode() const { return m_operatingMode; }

  // This object and every extensible object inside it; overridden by containers.
  virtual NodeList GetExtensibleObjectNodes() const;
  // The kept elements of this object and of all its nodes.
  ElementList GetUnhandledElementsFromAllNodes() const;

  const std::vector<MSaxUnhandledElement>& GetUnhandledElements() const { return m_unhandled; }
  void AddUnhandledElement(MSaxUnhandledElement element);
  void ClearUnhandledElements() { m_unhandled.clear(); }

  // Compares the kept elements (not the operating mode).
  bool operator==(const MSaxPersistExtensibleObject& other) const {
    return m_unhandled == other.m_unhandled;
  }

 private:
  std::vector<MSaxUnhandledElement> m_unhandled;
  OperatingMode m_operatingMode = eKeepUnhandledElements;
};

// Handles an unknown element on behalf of an object: in mode 1 keeps it (with its content),
// in mode 0 drops it. Either way its content is not dispatched any further.
class TALSDK_SDK_EXPORT MSaxPersistExtensibleObjectReader : public ISAXPersistHelper {
 public:
  explicit MSaxPersistExtensibleObjectReader(MSaxPersistExtensibleObject& object);
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;

 private:
  MSaxPersistExtensibleObject& m_object;
};

// Writes the kept elements of an object, in the order they were read.
class TALSDK_SDK_EXPORT MSaxPersistExtensibleObjectWriter : public ISAXPersistHelper {
 public:
  explicit MSaxPersistExtensibleObjectWriter(const MSaxPersistExtensibleObject& object);
  bool Write(TalSAX::ISAXWriter& writer) const override;

  // Writes one kept element (used for other stores of kept elements as well).
  static void WriteElement(TalSAX::ISAXWriter& writer, const MSaxUnhandledElement& element);

 private:
  const MSaxPersistExtensibleObject& m_object;
};

namespace MSaxPersistExtensibleObjectUtilities {

// Appends the nodes of each object (GetExtensibleObjectNodes), in the order given.
TALSDK_SDK_EXPORT void RecursiveInsertNodes(
    MSaxPersistExtensibleObject::NodeList& nodes,
    std::initializer_list<std::reference_wrapper<const MSaxPersistExtensibleObject>> objects);
TALSDK_SDK_EXPORT void RecursiveInsertNodes(MSaxPersistExtensibleObject::NodeList& nodes,
                                            const MSaxPersistExtensibleObject& object);

// Sets the operating mode of `root` and of every node it lists (GetExtensibleObjectNodes), so
// that one mode holds for a whole tree of objects.
TALSDK_SDK_EXPORT void SetOperatingModeOfAllNodes(
    MSaxPersistExtensibleObject& root, const MSaxPersistExtensibleObject::OperatingMode& mode);

// Collects the object ids used inside kept elements: every element (at any depth) with an
// attribute ID whose value is a decimal unsigned number. Such ids belong to no object the
// program knows, so they map to null.
TALSDK_SDK_EXPORT void GetUntraceableIDs(const MSaxPersistExtensibleObject::ElementList& elements,
                                         std::map<unsigned int, const ISAXReference*>& ids);
// Marks the ids as taken in the writer; false when one was already taken by another object.
TALSDK_SDK_EXPORT bool RegisterUsedIds(const std::map<unsigned int, const ISAXReference*>& ids,
                                       TalSAX::ISAXWriter& writer);

TALSDK_SDK_EXPORT bool DoRequiredElementsExist(
    const MSaxPersistExtensibleObject::ElementList& elements);
TALSDK_SDK_EXPORT std::vector<MSaxUnhandledElementDescription> GetRequiredElementsDescription(
    const MSaxPersistExtensibleObject::ElementList& elements);
// One line per required element: "Required element 'Tag' in Machine/Platform (line 12)".
TALSDK_SDK_EXPORT std::string FormatRequiredElementsMessage(
    const MSaxPersistExtensibleObject::ElementList& elements);

}  // namespace MSaxPersistExtensibleObjectUtilities
}  // namespace TalSDK
