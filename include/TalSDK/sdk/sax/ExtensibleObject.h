#pragma once
// Objects that keep the elements they do not understand, so that a document written by a
// newer version survives a read and a write. A kept element is stored flat, in one block: a
// pre-order list of nodes with their depth, their attributes and all their texts. Storing,
// copying, comparing and destroying it never recurses, whatever its depth, and costs one
// allocation, whatever its size.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <TalSDK/SDKExport.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

namespace TalSDK {

// One kept element with everything inside it. Names, texts and attributes are returned as
// views into the element, valid until it is changed or destroyed.
class TALSDK_SDK_EXPORT MSaxUnhandledElement {
 public:
  struct Attribute {
    std::string_view name;
    std::string_view value;
    bool operator==(const Attribute&) const = default;
  };

  // Walks a range by index, yielding its views by value.
  template <class Range, class Value>
  class IndexIterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = Value;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = Value;
    IndexIterator() = default;
    IndexIterator(const Range* range, std::size_t index) : m_range(range), m_index(index) {}
    Value operator*() const { return (*m_range)[m_index]; }
    IndexIterator& operator++() {
      ++m_index;
      return *this;
    }
    IndexIterator operator++(int) { return {m_range, m_index++}; }
    bool operator==(const IndexIterator& other) const { return m_index == other.m_index; }

   private:
    const Range* m_range = nullptr;
    std::size_t m_index = 0;
  };

  // The attributes of one element node, in document order.
  class TALSDK_SDK_EXPORT Attributes {
   public:
    using iterator = IndexIterator<Attributes, Attribute>;

    Attributes() = default;
    Attributes(const std::uint32_t* records, std::size_t count, const char* chars)
        : m_records(records), m_count(count), m_chars(chars) {}
    std::size_t size() const { return m_count; }
    bool empty() const { return m_count == 0; }
    Attribute operator[](std::size_t index) const;
    iterator begin() const { return {this, 0}; }
    iterator end() const { return {this, m_count}; }
    bool operator==(const Attributes& other) const;

   private:
    const std::uint32_t* m_records = nullptr;
    std::size_t m_count = 0;
    const char* m_chars = nullptr;
  };

  // An element (name and attributes) or a run of text, at `depth` below the kept element
  // (the kept element itself is the first node, an element at depth 0). Text nodes are
  // the text of their enclosing element, in document order between its child elements.
  struct Node {
    enum class Kind : std::uint8_t { Element, Text };
    Kind kind = Kind::Element;
    std::uint32_t depth = 0;
    std::string_view value;  // the element's name, or the text
    Attributes attributes;
    bool operator==(const Node&) const = default;
  };

  // The nodes in pre-order.
  class TALSDK_SDK_EXPORT Nodes {
   public:
    using iterator = IndexIterator<Nodes, Node>;

    explicit Nodes(const std::uint32_t* block) : m_block(block) {}
    std::size_t size() const;
    bool empty() const { return size() == 0; }
    Node operator[](std::size_t index) const;
    iterator begin() const { return {this, 0}; }
    iterator end() const { return {this, size()}; }

   private:
    const std::uint32_t* m_block;  // null when the element is empty
  };

  MSaxUnhandledElement() = default;
  // A leaf element, with or without attributes, holding `text` (UTF-8), in one allocation of
  // the size it needs.
  MSaxUnhandledElement(std::string_view name, std::string_view text = {});
  MSaxUnhandledElement(std::string_view name, std::span<const Attribute> attributes,
                       std::string_view text);
  // A copy takes one allocation of exactly the size it needs.
  MSaxUnhandledElement(const MSaxUnhandledElement& other);
  MSaxUnhandledElement(MSaxUnhandledElement&&) noexcept = default;
  MSaxUnhandledElement& operator=(const MSaxUnhandledElement& other);
  MSaxUnhandledElement& operator=(MSaxUnhandledElement&&) noexcept = default;
  ~MSaxUnhandledElement() = default;

  std::string_view GetTagName() const;
  // True when the element carries the attribute required="true".
  bool IsRequired() const;
  // Where the element was found ("Machine/Platform"), for messages; not compared.
  const std::string& GetSourcePath() const { return m_sourcePath ? *m_sourcePath : NoPath(); }
  void SetSourcePath(std::string path);
  // The same, sharing one string among the elements found in one place.
  void SetSourcePath(std::shared_ptr<const std::string> path) { m_sourcePath = std::move(path); }
  int GetSourceLine() const { return m_sourceLine; }
  void SetSourceLine(int line) { m_sourceLine = line; }

  Nodes GetNodes() const { return Nodes(m_block.get()); }
  // Build the element node by node, in pre-order; depths must follow the tree. A text node
  // right after a text node of the same element extends it (text and CDATA runs are written
  // back as one text); empty text is no node. Both throw std::length_error when the element
  // would outgrow its 32-bit positions (4 GiB of text, 2^28 nodes and attributes).
  void AppendElement(std::uint32_t depth, std::string_view name,
                     std::initializer_list<Attribute> attributes = {});
  void AppendElement(std::uint32_t depth, std::string_view name,
                     std::span<const Attribute> attributes);
  void AppendText(std::uint32_t depth, std::string_view text);
  // Keeps the storage, so that an element rebuilt many times allocates only as it grows.
  void Clear();
  bool IsEmpty() const { return GetNodes().empty(); }

  // Structural equality: names, attributes in order, texts, children in order.
  bool operator==(const MSaxUnhandledElement& other) const;

 private:
  static const std::string& NoPath();
  // Room for `nodes`, `attributes` and `chars` more. When that reallocates, returns the old
  // block, which the caller keeps until it has copied views that may point into it.
  std::unique_ptr<std::uint32_t[]> Grow(std::size_t nodes, std::size_t attributes,
                                        std::size_t chars);

  std::unique_ptr<std::uint32_t[]> m_block;         // null when empty and never built
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
