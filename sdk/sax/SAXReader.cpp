#include <TalSDK/sdk/sax/SAXReader.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <pugixml.hpp>
#include <utility>

#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXError.h>
#include "sdk/sax/XmlText.h"

namespace TalSAX {

using TalSDK::FileIO::MSAXError::MGeneric;

SAXContexts::ISAXContext::~ISAXContext() = default;
ISAXReader::~ISAXReader() = default;

bool ISAXReader::ReadValue(std::wstring& value) {
  const std::string_view text = GetElementTextView();
  std::wstring converted;
  if (!XmlText::IsValid(text) || !StringConversion::TryUtf8ToNative(text, converted)) return false;
  value = std::move(converted);
  return true;
}

bool ISAXReader::ReadValue(std::string& value) {
  const std::string_view text = GetElementTextView();
  if (!XmlText::IsValid(text)) return false;
  value.assign(text);
  return true;
}

bool ISAXReader::ReadValue(TalSDK::Common::Color& value) {
  std::string_view text = GetElementTextView();
  float channels[4];
  for (float& channel : channels) {
    if (!ValueText::Parse(ValueText::NextToken(text), channel)) return false;
  }
  if (!ValueText::NextToken(text).empty()) return false;
  value = {channels[0], channels[1], channels[2], channels[3]};
  return true;
}

namespace {

constexpr std::size_t kWarningTextLimit = 200;

bool IsTextNode(pugi::xml_node node) {
  return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

// Reads a whole regular file. Throws MGeneric naming the file on any failure.
std::pair<std::unique_ptr<char[]>, std::size_t> ReadWholeFile(const std::string& path) {
  const auto fail = [&](const std::string& reason) -> MGeneric {
    return MGeneric("Cannot read '" + path + "': " + reason, path, 0, 0);
  };
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw fail(std::strerror(errno));
  struct Closer {
    int fd;
    ~Closer() { ::close(fd); }
  } closer{fd};

  struct stat info {};
  if (::fstat(fd, &info) != 0) throw fail(std::strerror(errno));
  if (!S_ISREG(info.st_mode)) throw fail("not a regular file");
  const auto size = static_cast<std::size_t>(info.st_size);
  // One spare byte keeps pugixml's in-place parse inside the buffer.
  auto buffer = std::make_unique_for_overwrite<char[]>(size + 1);
  std::size_t done = 0;
  while (done < size) {
    const ssize_t n = ::read(fd, buffer.get() + done, size - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) throw fail(std::strerror(errno));
    if (n == 0) break;  // the file shrank while being read
    done += static_cast<std::size_t>(n);
  }
  buffer[done] = '\0';
  return {std::move(buffer), done};
}

}  // namespace

struct SAXReader::Impl {
  ISAXReader* reader = nullptr;
  bool keepWhitespace = true;

  // The document of the current parse.
  std::string sourceName;
  std::string sourcePath;          // for re-reading the original bytes (line numbers)
  std::string_view originalBytes;  // the caller's bytes of ParseBuffer, valid during the parse
  std::string rereadOriginal;
  std::vector<std::size_t> lineStarts;
  std::unique_ptr<char[]> buffer;
  std::size_t bufferSize = 0;
  pugi::xml_document document;

  // The elements in document order, built by one walk that also checks the depth, so that
  // dispatching needs no further navigation of the tree.
  struct ElementEntry {
    pugi::xml_node node;
    const char* name = nullptr;
    std::uint32_t depth = 0;      // 0 for the root element
    std::uint32_t end = 0;        // index after the element's subtree
    pugi::xml_node firstText;     // first text or CDATA child
    std::uint32_t textCount = 0;  // text and CDATA children
  };
  std::vector<ElementEntry> elements;

  // Dispatch state.
  struct Frame {
    ISAXPersistBase* handler = nullptr;
    std::unique_ptr<ISAXPersistBase> owned;
  };
  std::vector<Frame> handlers;
  // Names of the open elements, root first: the first `openCount` entries. The strings are
  // reused from element to element, so dispatching allocates nothing for names.
  std::vector<std::string> names;
  std::size_t openCount = 0;
  std::size_t currentIndex = 0;  // the element just opened
  pugi::xml_node current;
  bool textCached = false;
  std::string_view textView;
  std::string textStorage;
  ISAXPersistBase* pendingChild = nullptr;
  std::unique_ptr<ISAXPersistBase> pendingOwned;
  bool skipContent = false;
  ISAXPersistBase* rootHandler = nullptr;
  std::map<unsigned int, ISAXReference*> references;
  std::vector<SAXWarning> warnings;

  void Reset() {
    document.reset();
    buffer.reset();
    handlers.clear();
    elements.clear();
    openCount = 0;
    current = pugi::xml_node();
    textCached = false;
    pendingChild = nullptr;
    pendingOwned.reset();
    references.clear();
    warnings.clear();
    lineStarts.clear();
    rereadOriginal.clear();
    originalBytes = {};
  }

  // The original bytes of the document, for turning offsets into lines and columns.
  std::string_view Original() {
    if (!originalBytes.empty() || sourcePath.empty()) return originalBytes;
    if (rereadOriginal.empty()) {
      try {
        auto [bytes, size] = ReadWholeFile(sourcePath);
        rereadOriginal.assign(bytes.get(), size);
      } catch (const MGeneric&) {
        // The file vanished between the parse and the message: positions become unknown.
      }
    }
    return rereadOriginal;
  }

  std::pair<int, int> LineColumn(std::size_t offset) {
    const std::string_view original = Original();
    if (offset > original.size()) return {0, 0};
    if (lineStarts.empty()) {
      lineStarts.push_back(0);
      std::size_t at = 0;
      while ((at = original.find('\n', at)) != std::string_view::npos)
        lineStarts.push_back(++at);
    }
    const auto it = std::upper_bound(lineStarts.begin(), lineStarts.end(), offset) - 1;
    return {static_cast<int>(it - lineStarts.begin()) + 1, static_cast<int>(offset - *it) + 1};
  }

  std::string Location(std::size_t offset) {
    const auto [line, column] = LineColumn(offset);
    return sourceName + ":" + std::to_string(line) + ":" + std::to_string(column);
  }

  [[noreturn]] void Fail(std::size_t offset, const std::string& reason) {
    const auto [line, column] = LineColumn(offset);
    throw MGeneric(Location(offset) + ": " + reason, sourceName, line, column);
  }

  // Offset of an element's '<' in the original document.
  std::size_t OffsetOf(pugi::xml_node node) const { return OffsetOfName(node.name()); }
  std::size_t OffsetOfName(const char* name) const {
    if (name < buffer.get() || name >= buffer.get() + bufferSize) return 0;
    const auto offset = static_cast<std::size_t>(name - buffer.get());
    return offset > 0 ? offset - 1 : 0;
  }

  // The names of the open elements joined by '/', leaving out the innermost `skip`.
  std::string PathOfOpenElements(std::size_t skip = 0) const {
    std::string path;
    for (std::size_t i = 0; i + skip < openCount; ++i) {
      if (!path.empty()) path += '/';
      path += names[i];
    }
    return path;
  }

  std::string_view ElementText() {
    if (textCached) return textView;
    textCached = true;
    textView = {};
    const ElementEntry& entry = elements[currentIndex];
    if (entry.textCount == 1) {
      textView = entry.firstText.value();
    } else if (entry.textCount > 1) {
      textStorage.clear();
      for (pugi::xml_node child = entry.firstText; child; child = child.next_sibling()) {
        if (IsTextNode(child)) textStorage += child.value();
      }
      textView = textStorage;
    }
    if (!keepWhitespace) textView = ValueText::TrimXmlSpace(textView);
    return textView;
  }

  void LoadAndParse(std::string_view documentBytes, std::unique_ptr<char[]> ownedBuffer);
  void CheckDocument();
  void Dispatch(ISAXPersistBase* root);
  void IndexElements(pugi::xml_node root);
  bool StartElement(std::size_t index);
  void EndElement(bool wasDelegated);
};

void SAXReader::Impl::LoadAndParse(std::string_view documentBytes,
                                   std::unique_ptr<char[]> ownedBuffer) {
  buffer = std::move(ownedBuffer);
  bufferSize = documentBytes.size();
  std::string_view bytes(buffer.get(), bufferSize);

  // Only UTF-8 is read. A UTF-8 byte order mark is skipped; UTF-16 and UTF-32 ones are refused.
  std::size_t start = 0;
  if (bytes.starts_with("\xEF\xBB\xBF")) {
    start = 3;
  } else if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF") ||
             bytes.starts_with(std::string_view("\0\0\xFE\xFF", 4))) {
    Fail(0, "not a UTF-8 document (UTF-16 or UTF-32 byte order mark)");
  }
  // pugixml does not validate UTF-8 or XML characters; the whole document is checked first so
  // that no invalid text reaches a handler or a kept element.
  if (const auto problem = XmlText::FindProblem(bytes.substr(start))) {
    Fail(start + problem->offset, problem->reason);
  }

  constexpr unsigned int kOptions = pugi::parse_default | pugi::parse_ws_pcdata_single |
                                    pugi::parse_declaration | pugi::parse_doctype;
  const pugi::xml_parse_result result = document.load_buffer_inplace(
      buffer.get() + start, bufferSize - start, kOptions, pugi::encoding_utf8);
  if (result.status == pugi::status_no_document_element) Fail(bufferSize, "no root element");
  if (!result) {
    Fail(start + static_cast<std::size_t>(result.offset),
         std::string("not well-formed XML: ") + result.description());
  }
  CheckDocument();
}

// Refuses what parsed but is not a machine document: a DOCTYPE (its entities would otherwise
// pass through as literal text), a declared encoding other than UTF-8, no root element, and
// nesting deeper than kMaxElementDepth.
void SAXReader::Impl::CheckDocument() {
  bool hasRoot = false;
  for (pugi::xml_node child = document.first_child(); child; child = child.next_sibling()) {
    if (child.type() == pugi::node_doctype) {
      const char* value = child.value();
      const std::size_t offset = value >= buffer.get() && value < buffer.get() + bufferSize
                                     ? static_cast<std::size_t>(value - buffer.get())
                                     : 0;
      Fail(offset, "a DOCTYPE is not allowed in this document");
    }
    if (child.type() == pugi::node_declaration) {
      const pugi::xml_attribute encoding = child.attribute("encoding");
      if (encoding) {
        std::string value = encoding.value();
        std::transform(value.begin(), value.end(), value.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (value != "utf-8" && value != "utf8" && value != "us-ascii" && value != "ascii") {
          Fail(OffsetOf(child), "declares the encoding '" + std::string(encoding.value()) +
                                    "'; only UTF-8 documents are read");
        }
      }
    }
    if (child.type() == pugi::node_element) {
      if (hasRoot) Fail(OffsetOf(child), "more than one root element");
      hasRoot = true;
    }
    if (IsTextNode(child)) Fail(bufferSize, "text outside the root element");
  }
  if (!hasRoot) Fail(bufferSize, "no root element");

  IndexElements(document.document_element());
}

// Lists the elements in document order with their depth, subtree end and text children, and
// refuses documents nested deeper than kMaxElementDepth. Iterative: no recursion, whatever
// the input.
void SAXReader::Impl::IndexElements(pugi::xml_node root) {
  std::vector<std::uint32_t> open;
  pugi::xml_node node = root;
  for (;;) {
    if (node.type() == pugi::node_element) {
      if (open.size() >= static_cast<std::size_t>(kMaxElementDepth)) {
        Fail(OffsetOf(node),
             "elements nested deeper than " + std::to_string(kMaxElementDepth) + " levels");
      }
      open.push_back(static_cast<std::uint32_t>(elements.size()));
      elements.push_back(
          {node, node.name(), static_cast<std::uint32_t>(open.size() - 1), 0, {}, 0});
      if (pugi::xml_node child = node.first_child()) {
        node = child;
        continue;
      }
      elements[open.back()].end = static_cast<std::uint32_t>(elements.size());
      open.pop_back();
    } else if (IsTextNode(node)) {
      ElementEntry& parent = elements[open.back()];
      if (parent.textCount++ == 0) parent.firstText = node;
    }
    if (open.empty()) return;
    // Climb to the next sibling, closing the elements left on the way.
    while (!node.next_sibling()) {
      node = node.parent();
      elements[open.back()].end = static_cast<std::uint32_t>(elements.size());
      open.pop_back();
      if (open.empty()) return;
    }
    node = node.next_sibling();
  }
}

// Offers the element to the current handler; true when it delegated the element's content.
bool SAXReader::Impl::StartElement(std::size_t index) {
  const ElementEntry& entry = elements[index];
  if (names.size() <= openCount) names.emplace_back();
  names[openCount++].assign(entry.name);
  currentIndex = index;
  current = entry.node;
  textCached = false;
  pendingChild = nullptr;
  pendingOwned.reset();
  skipContent = false;

  const bool handled = handlers.back().handler->HandleTag(names[openCount - 1], *reader);
  if (!handled) {
    pendingChild = nullptr;
    pendingOwned.reset();
    skipContent = true;
    const auto [line, column] = LineColumn(OffsetOfName(entry.name));
    SAXWarning warning{PathOfOpenElements(), line, column, std::string(ElementText())};
    if (warning.text.size() > kWarningTextLimit) warning.text.resize(kWarningTextLimit);
    warnings.push_back(std::move(warning));
    return false;
  }
  if (pendingChild == nullptr) return false;
  Frame frame{pendingChild, std::move(pendingOwned)};
  pendingChild = nullptr;
  // An element carrying ID="n" gives its object id to the handler of its content.
  if (const pugi::xml_attribute id = entry.node.attribute("ID")) {
    unsigned int value = 0;
    if (ValueText::Parse(id.value(), value) && value != 0) {
      frame.handler->SetObjectId(value);
      if (ISAXReference* reference = frame.handler->GetObjectReference()) {
        references[value] = reference;
      }
    }
  }
  handlers.push_back(std::move(frame));
  return true;
}

void SAXReader::Impl::EndElement(bool wasDelegated) {
  const std::string& name = names[--openCount];
  if (!wasDelegated) {
    handlers.back().handler->HandleEndTag(name);
    return;
  }
  Frame frame = std::move(handlers.back());
  handlers.pop_back();
  frame.handler->ResolveReferences(*reader);
  frame.handler->InitAfterLoading();
  handlers.back().handler->HandleEndTag(name);
  if (frame.owned) {
    // The owned handler dies here: forget any reference that points into it.
    const auto* dying = dynamic_cast<const ISAXReference*>(frame.owned.get());
    std::erase_if(references, [dying](const auto& entry) { return entry.second == dying; });
  }
}

void SAXReader::Impl::Dispatch(ISAXPersistBase* root) {
  handlers.push_back(Frame{root, nullptr});
  // Indices of the open elements and whether each delegated its content.
  std::vector<std::pair<std::uint32_t, bool>> open;
  const auto closeUntil = [&](std::size_t next) {
    while (!open.empty() && elements[open.back().first].end <= next) {
      const bool delegated = open.back().second;
      open.pop_back();
      EndElement(delegated);
    }
  };
  std::size_t index = 0;
  while (index < elements.size()) {
    closeUntil(index);
    const bool delegated = StartElement(index);
    open.emplace_back(static_cast<std::uint32_t>(index), delegated);
    index = skipContent ? elements[index].end : index + 1;
  }
  closeUntil(elements.size());
  handlers.clear();
  current = pugi::xml_node();
}

SAXReader::SAXReader(bool keepWhitespace, const std::shared_ptr<SAXContexts::ISAXContext>& context)
    : m_impl(std::make_unique<Impl>()), m_context(context) {
  m_impl->keepWhitespace = keepWhitespace;
  m_impl->reader = this;
}

SAXReader::~SAXReader() = default;

void SAXReader::Parse(const wchar_t* path, ISAXPersistBase* root) {
  Impl& impl = *m_impl;
  impl.Reset();
  const std::string utf8Path = StringConversion::NativeToUtf8(path);
  impl.sourceName = utf8Path;
  impl.sourcePath = utf8Path;
  auto [bytes, size] = ReadWholeFile(utf8Path);
  impl.LoadAndParse(std::string_view(bytes.get(), size), std::move(bytes));
  impl.rootHandler = root;
  impl.Dispatch(root);
}

void SAXReader::ParseBuffer(std::string_view document, ISAXPersistBase* root,
                            std::string_view sourceName) {
  Impl& impl = *m_impl;
  impl.Reset();
  impl.sourceName = sourceName;
  impl.sourcePath.clear();
  auto copy = std::make_unique_for_overwrite<char[]>(document.size() + 1);
  std::memcpy(copy.get(), document.data(), document.size());
  copy[document.size()] = '\0';
  impl.originalBytes = document;
  impl.LoadAndParse(document, std::move(copy));
  impl.rootHandler = root;
  impl.Dispatch(root);
  impl.originalBytes = {};
}

void SAXReader::InitHelpersAfterLoading() {
  if (m_impl->rootHandler == nullptr) return;
  m_impl->rootHandler->ResolveReferences(*this);
  m_impl->rootHandler->InitAfterLoading();
}

const std::vector<SAXWarning>& SAXReader::GetWarnings() const {
  return m_impl->warnings;
}

bool SAXReader::DelegateToChild(ISAXPersistBase& child) {
  m_impl->pendingOwned.reset();
  m_impl->pendingChild = &child;
  return true;
}

bool SAXReader::DelegateToOwnedChild(ISAXPersistBase* child) {
  m_impl->pendingOwned.reset(child);
  m_impl->pendingChild = child;
  return child != nullptr;
}

const std::string& SAXReader::GetElementText() {
  const std::string_view view = m_impl->ElementText();
  if (view.data() != m_impl->textStorage.data() || view.size() != m_impl->textStorage.size()) {
    m_impl->textStorage.assign(view);
    m_impl->textView = m_impl->textStorage;
  }
  return m_impl->textStorage;
}

std::string_view SAXReader::GetElementTextView() const {
  return m_impl->ElementText();
}

const std::string& SAXReader::GetParentTagName(int levelsUp) const {
  static const std::string kNone;
  const std::size_t open = m_impl->openCount;
  if (levelsUp < 0 || static_cast<std::size_t>(levelsUp) >= open) return kNone;
  return m_impl->names[open - 1 - static_cast<std::size_t>(levelsUp)];
}

std::optional<std::string_view> SAXReader::GetAttribute(std::string_view name) const {
  for (pugi::xml_attribute a = m_impl->current.first_attribute(); a; a = a.next_attribute()) {
    if (name == a.name()) return std::string_view(a.value());
  }
  return std::nullopt;
}

bool SAXReader::CaptureElement(TalSDK::MSaxUnhandledElement& element) {
  Impl& impl = *m_impl;
  impl.skipContent = true;
  element.Clear();
  element.SetSourceLine(impl.LineColumn(impl.OffsetOf(impl.current)).first);
  element.SetSourcePath(impl.PathOfOpenElements(1));

  using Node = TalSDK::MSaxUnhandledElement::Node;
  bool valid = true;
  const auto check = [&valid](std::string_view text) {
    if (valid && !XmlText::IsValid(text)) valid = false;
  };
  // Iterative pre-order copy.
  std::uint32_t depth = 0;
  pugi::xml_node node = impl.current;
  while (node) {
    if (node.type() == pugi::node_element) {
      Node copy{Node::Kind::Element, depth, node.name(), {}};
      for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute()) {
        copy.attributes.push_back({a.name(), a.value()});
        check(a.value());
      }
      element.AppendNode(std::move(copy));
      if (pugi::xml_node child = node.first_child()) {
        node = child;
        ++depth;
        continue;
      }
    } else if (IsTextNode(node)) {
      check(node.value());
      element.AppendNode(Node{Node::Kind::Text, depth, node.value(), {}});
    }
    // Next node: a sibling, or the sibling of the nearest ancestor inside the captured element.
    while (node != impl.current && !node.next_sibling()) {
      node = node.parent();
      --depth;
    }
    if (node == impl.current) break;
    node = node.next_sibling();
  }
  if (!valid) element.Clear();
  return valid;
}

void SAXReader::SkipElementContent() {
  m_impl->skipContent = true;
}

ISAXReference* SAXReader::FindReference(unsigned int objectId) const {
  const auto it = m_impl->references.find(objectId);
  return it == m_impl->references.end() ? nullptr : it->second;
}

}  // namespace TalSAX
