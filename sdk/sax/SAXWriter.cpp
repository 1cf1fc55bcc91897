#include <TalSDK/sdk/sax/SAXWriter.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/sax/SAXError.h>
#include "sdk/sax/Base64.h"
#include "sdk/sax/XmlText.h"

namespace TalSAX {

using TalSDK::FileIO::MSAXError::MGeneric;

ISAXWriter::~ISAXWriter() = default;

bool ISAXWriter::WriteFloatElement(std::string_view name, float value, int precision, bool fixed) {
  std::string text;
  ValueText::Append(text, value, precision, fixed);
  return WriteElement(name, text);
}

bool ISAXWriter::WriteDoubleElement(std::string_view name, double value, int precision,
                                    bool fixed) {
  std::string text;
  ValueText::Append(text, value, precision, fixed);
  return WriteElement(name, text);
}

void ISAXWriter::WriteFloatValue(float value, int precision, bool fixed) {
  std::string text;
  ValueText::Append(text, value, precision, fixed);
  WriteText(text);
}

void ISAXWriter::WriteDoubleValue(double value, int precision, bool fixed) {
  std::string text;
  ValueText::Append(text, value, precision, fixed);
  WriteText(text);
}

namespace {

constexpr std::size_t kBufferCapacity = std::size_t{1} << 20;
constexpr std::string_view kDeclaration = R"(<?xml version="1.0" encoding="UTF-8"?>)";

bool IsNameByte(unsigned char c, bool first) {
  if (c >= 0x80) return true;  // non-ASCII name characters; UTF-8 validity is checked apart
  if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':') return true;
  return !first && ((c >= '0' && c <= '9') || c == '-' || c == '.');
}

bool IsValidName(std::string_view name) {
  if (name.empty()) return false;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (!IsNameByte(static_cast<unsigned char>(name[i]), i == 0)) return false;
  }
  return XmlText::IsValid(name);
}

// Escapes for element text: markup characters, and CR so that end-of-line normalisation on
// reading cannot turn it into LF.
const char* TextEscape(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '\r':
      return "&#13;";
    default:
      return nullptr;
  }
}

// Attribute values also escape the quote and the white space that attribute-value
// normalisation would turn into spaces.
const char* AttributeEscape(char c) {
  switch (c) {
    case '"':
      return "&quot;";
    case '\t':
      return "&#9;";
    case '\n':
      return "&#10;";
    default:
      return TextEscape(c);
  }
}

}  // namespace

struct SAXWriter::Impl {
  // Output.
  int fd = -1;
  bool ownsFd = true;
  std::string* target = nullptr;
  std::string path;  // UTF-8, for messages
  std::unique_ptr<char[]> buffer = std::make_unique_for_overwrite<char[]>(kBufferCapacity);
  std::size_t used = 0;
  bool isOpen = false;
  bool indent = true;
  std::optional<std::string> error;  // set by the first failure; every later call fails too

  // Document framing.
  std::string projectTag;
  std::string namespaceName;
  std::string namespaceValue;

  struct OpenElement {
    std::string name;
    bool startTagOpen = true;
    bool hasChildren = false;
    bool hasText = false;
    // White-space-only text is held back until it is known whether the element holds
    // anything else: as the element's only content it is written as it is, but beside child
    // elements a reader drops it as formatting, so then its first character is written as a
    // character reference.
    std::string pendingSpace;
  };
  std::vector<OpenElement> stack;
  bool rootWritten = false;

  // Object ids.
  std::map<const ISAXReference*, unsigned int> idOf;
  std::map<unsigned int, const ISAXReference*> usedIds;
  unsigned int nextId = 1;

  std::string ElementPath() const {
    std::string result;
    for (const OpenElement& e : stack) {
      if (!result.empty()) result += '/';
      result += e.name;
    }
    return result;
  }

  [[noreturn]] void Fail(std::string_view reason) {
    std::string message = "Cannot write '" + path + "'";
    if (!stack.empty()) message += ", element " + ElementPath();
    message += ": ";
    message += reason;
    if (!error) error = message;
    throw MGeneric(message);
  }

  void CheckUsable() {
    if (error) throw MGeneric(*error);
    if (!isOpen) throw MGeneric("Cannot write: the writer is not open");
  }

  void WriteOut(const char* data, std::size_t size) {
    if (target != nullptr) {
      target->append(data, size);
      return;
    }
    while (size > 0) {
      const ssize_t n = ::write(fd, data, size);
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) Fail(std::strerror(errno));
      data += n;
      size -= static_cast<std::size_t>(n);
    }
  }

  void Flush() {
    if (used == 0) return;
    const std::size_t size = used;
    used = 0;
    WriteOut(buffer.get(), size);
  }

  void Append(std::string_view text) {
    if (used + text.size() > kBufferCapacity) {
      Flush();
      if (text.size() > kBufferCapacity) {
        WriteOut(text.data(), text.size());
        return;
      }
    }
    std::memcpy(buffer.get() + used, text.data(), text.size());
    used += text.size();
  }
  void Append(char c) {
    if (used == kBufferCapacity) Flush();
    buffer[used++] = c;
  }

  void NewLine(std::size_t depth) {
    if (!indent) return;
    Append('\n');
    for (std::size_t i = 0; i < depth; ++i)
      Append("  ");
  }

  void AppendEscaped(std::string_view text, const char* (*escape)(char)) {
    std::size_t runStart = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (const char* replacement = escape(text[i])) {
        Append(text.substr(runStart, i - runStart));
        Append(replacement);
        runStart = i + 1;
      }
    }
    Append(text.substr(runStart));
  }

  // Content is about to be written into the innermost element.
  void CloseStartTag() {
    if (!stack.empty() && stack.back().startTagOpen) {
      Append('>');
      stack.back().startTagOpen = false;
    }
  }

  static bool IsSpaceOnly(std::string_view text) {
    return !text.empty() && text.find_first_not_of(" \t\r\n") == std::string_view::npos;
  }

  // Writes text into the innermost element; `protect` keeps white-space-only text from being
  // taken for formatting.
  void PutText(std::string_view text, bool protect) {
    if (text.empty()) return;
    CloseStartTag();
    stack.back().hasText = true;
    if (protect) {
      switch (text.front()) {
        case ' ':
          Append("&#32;");
          break;
        case '\t':
          Append("&#9;");
          break;
        case '\n':
          Append("&#10;");
          break;
        default:
          Append("&#13;");
          break;
      }
      text.remove_prefix(1);
    }
    AppendEscaped(text, TextEscape);
  }

  void FlushPendingSpace(bool protect) {
    if (stack.empty() || stack.back().pendingSpace.empty()) return;
    const std::string pending = std::move(stack.back().pendingSpace);
    stack.back().pendingSpace.clear();
    PutText(pending, protect);
  }

  void Reset() {
    fd = -1;
    ownsFd = true;
    target = nullptr;
    used = 0;
    isOpen = false;
    error.reset();
    stack.clear();
    rootWritten = false;
    idOf.clear();
    usedIds.clear();
    nextId = 1;
  }

  void Begin() {
    isOpen = true;
    Append(kDeclaration);
    if (!projectTag.empty()) {
      NewLine(0);
      Append('<');
      Append(projectTag);
      if (!namespaceValue.empty()) {
        Append(namespaceName.empty() ? " xmlns=\"" : " xmlns:");
        if (!namespaceName.empty()) {
          Append(namespaceName);
          Append("=\"");
        }
        AppendEscaped(namespaceValue, AttributeEscape);
        Append('"');
      }
      stack.push_back({projectTag, true, false, false, {}});
    }
  }

  // Best effort for a writer dropped without Close: what was written stays in the file or
  // the string.
  void Abandon() noexcept {
    if (target != nullptr || fd >= 0) {
      try {
        if (!error) Flush();
      } catch (...) {
      }
      if (target == nullptr && ownsFd) ::close(fd);
    }
    fd = -1;
    isOpen = false;
  }
};

SAXWriter::SAXWriter(const std::shared_ptr<SAXContexts::ISAXContext>&)
    : m_impl(std::make_unique<Impl>()) {}

SAXWriter::~SAXWriter() {
  if (m_impl->isOpen) m_impl->Abandon();
}

bool SAXWriter::Open(const wchar_t* path, EEncryptionLevel encryption,
                     ESAXCompressionLevel compression, bool indent) {
  if (m_impl->isOpen) m_impl->Abandon();
  m_impl->Reset();
  if (encryption != eEncryptionNone || compression != eCompressionNone) return false;
  std::string utf8Path;
  if (path == nullptr || !StringConversion::TryNativeToUtf8(path, utf8Path) || utf8Path.empty()) {
    return false;
  }
  const int fd = ::open(utf8Path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) return false;
  m_impl->fd = fd;
  m_impl->path = std::move(utf8Path);
  m_impl->indent = indent;
  m_impl->Begin();
  return true;
}

bool SAXWriter::OpenXMLBase64(const wchar_t* path) {
  return Open(path, eEncryptionNone, eCompressionNone, true);
}

bool SAXWriter::OpenString(std::string& target, bool indent) {
  if (m_impl->isOpen) m_impl->Abandon();
  m_impl->Reset();
  target.clear();
  m_impl->target = &target;
  m_impl->path = "<memory>";
  m_impl->indent = indent;
  m_impl->Begin();
  return true;
}

bool SAXWriter::OpenDescriptor(int fd, const std::string& name, bool indent) {
  if (m_impl->isOpen) m_impl->Abandon();
  m_impl->Reset();
  if (fd < 0) return false;
  m_impl->fd = fd;
  m_impl->ownsFd = false;
  m_impl->path = name;
  m_impl->indent = indent;
  m_impl->Begin();
  return true;
}

void SAXWriter::SetProjectTag(const std::string& tag) {
  m_impl->projectTag = tag;
}
void SAXWriter::SetProjectNamespaceName(const std::string& name) {
  m_impl->namespaceName = name;
}
void SAXWriter::SetProjectNamespaceValue(const std::string& value) {
  m_impl->namespaceValue = value;
}

bool SAXWriter::Close() {
  Impl& impl = *m_impl;
  if (!impl.isOpen) return false;
  if (impl.error) {
    const std::string message = *impl.error;
    impl.Abandon();
    throw MGeneric(message);
  }
  const std::size_t framing = impl.projectTag.empty() ? 0 : 1;
  if (impl.stack.size() > framing) {
    impl.Abandon();
    return false;
  }
  if (framing == 1) EndTag(impl.projectTag);
  impl.Append(impl.indent ? "\n" : "");
  impl.Flush();
  impl.isOpen = false;
  if (impl.target == nullptr) {
    const int fd = std::exchange(impl.fd, -1);
    if (impl.ownsFd && ::close(fd) != 0) impl.Fail(std::strerror(errno));
  }
  return true;
}

void SAXWriter::StartTag(std::string_view name) {
  Impl& impl = *m_impl;
  impl.CheckUsable();
  if (!IsValidName(name)) impl.Fail("'" + std::string(name) + "' is not a valid element name");
  if (impl.stack.empty()) {
    if (impl.rootWritten) impl.Fail("a document has one root element");
    impl.rootWritten = true;
    impl.NewLine(0);
  } else {
    impl.FlushPendingSpace(true);
    Impl::OpenElement& parent = impl.stack.back();
    impl.CloseStartTag();
    parent.hasChildren = true;
    // Once an element holds text, line breaks inside it would become part of that text.
    if (!parent.hasText) impl.NewLine(impl.stack.size());
  }
  impl.Append('<');
  impl.Append(name);
  impl.stack.push_back({std::string(name), true, false, false, {}});
}

bool SAXWriter::WriteAttribute(std::string_view name, std::string_view utf8Value) {
  Impl& impl = *m_impl;
  impl.CheckUsable();
  if (impl.stack.empty() || !impl.stack.back().startTagOpen) return false;
  if (!IsValidName(name)) impl.Fail("'" + std::string(name) + "' is not a valid attribute name");
  if (const auto problem = XmlText::FindProblem(utf8Value)) {
    impl.Fail("attribute " + std::string(name) + ": " + problem->reason);
  }
  impl.Append(' ');
  impl.Append(name);
  impl.Append("=\"");
  impl.AppendEscaped(utf8Value, AttributeEscape);
  impl.Append('"');
  return true;
}

void SAXWriter::WriteText(std::string_view utf8) {
  Impl& impl = *m_impl;
  impl.CheckUsable();
  if (impl.stack.empty()) impl.Fail("text outside the root element");
  if (const auto problem = XmlText::FindProblem(utf8)) impl.Fail(problem->reason);
  Impl::OpenElement& element = impl.stack.back();
  if (!element.pendingSpace.empty()) {
    // Join held-back white space with what follows, so the decision covers the whole text.
    std::string joined = std::move(element.pendingSpace);
    element.pendingSpace.clear();
    joined += utf8;
    if (Impl::IsSpaceOnly(joined)) {
      element.pendingSpace = std::move(joined);
    } else {
      impl.PutText(joined, false);
    }
    return;
  }
  if (Impl::IsSpaceOnly(utf8)) {
    if (element.hasChildren) {
      impl.PutText(utf8, true);
    } else {
      element.pendingSpace.assign(utf8);
    }
    return;
  }
  impl.PutText(utf8, false);
}

void SAXWriter::WriteBinary(std::span<const std::byte> bytes) {
  Impl& impl = *m_impl;
  impl.CheckUsable();
  if (impl.stack.empty()) impl.Fail("binary data outside the root element");
  if (bytes.empty()) return;
  impl.FlushPendingSpace(false);
  impl.CloseStartTag();
  impl.stack.back().hasText = true;
  // Encode straight into the output buffer, a whole number of 3-byte groups at a time.
  while (!bytes.empty()) {
    std::size_t room = (kBufferCapacity - impl.used) / 4 * 3;
    if (room < 3 * 1024) {
      impl.Flush();
      room = kBufferCapacity / 4 * 3;
    }
    const std::size_t take = bytes.size() <= room ? bytes.size() : room;
    Base64::Encode(bytes.first(take), impl.buffer.get() + impl.used);
    impl.used += Base64::EncodedSize(take);
    bytes = bytes.subspan(take);
  }
}

void SAXWriter::EndTag(std::string_view name) {
  Impl& impl = *m_impl;
  impl.CheckUsable();
  if (impl.stack.empty() || impl.stack.back().name != name) {
    impl.Fail("end tag '" + std::string(name) + "' does not match the open element");
  }
  // Held-back white space that stayed the element's only content is written as it is.
  impl.FlushPendingSpace(false);
  const Impl::OpenElement element = std::move(impl.stack.back());
  impl.stack.pop_back();
  if (element.startTagOpen) {
    impl.Append("/>");
    return;
  }
  if (element.hasChildren && !element.hasText) impl.NewLine(impl.stack.size());
  impl.Append("</");
  impl.Append(element.name);
  impl.Append(">");
}

unsigned int SAXWriter::GetObjectId(const ISAXReference* object) {
  Impl& impl = *m_impl;
  if (const auto it = impl.idOf.find(object); it != impl.idOf.end()) return it->second;
  while (impl.usedIds.contains(impl.nextId))
    ++impl.nextId;
  const unsigned int id = impl.nextId++;
  impl.usedIds.emplace(id, object);
  impl.idOf.emplace(object, id);
  return id;
}

bool SAXWriter::RegisterUsedId(unsigned int id, const ISAXReference* object) {
  Impl& impl = *m_impl;
  const auto [it, inserted] = impl.usedIds.emplace(id, object);
  if (!inserted) return it->second == object;
  if (object != nullptr) impl.idOf.emplace(object, id);
  return true;
}

void SAXWriter::Fail(std::string_view reason) const {
  m_impl->Fail(reason);
}

}  // namespace TalSAX

MSAXTagWriter::MSAXTagWriter(TalSAX::ISAXWriter& writer, const char* name)
    : MSAXTagWriter(writer, std::string_view(name)) {}

MSAXTagWriter::MSAXTagWriter(TalSAX::ISAXWriter& writer, std::string_view name)
    : m_writer(writer), m_name(name) {
  m_writer.StartTag(m_name);
}

MSAXTagWriter::~MSAXTagWriter() {
  // A destructor must not throw. The writer keeps its first failure and reports it again at
  // its next operation and at Close, so nothing is lost by swallowing it here.
  try {
    m_writer.EndTag(m_name);
  } catch (...) {
  }
}
