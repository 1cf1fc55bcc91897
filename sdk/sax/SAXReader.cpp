#include <TalSDK/sdk/sax/SAXReader.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <utility>

#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXError.h>
#include "sdk/sax/Sse2.h"
#include "sdk/sax/XmlText.h"
#include "sdk/sax/XmlTokenizer.h"

namespace TalSAX {

using TalSDK::FileIO::MSAXError::MGeneric;

SAXContexts::ISAXContext::~ISAXContext() = default;
ISAXReader::~ISAXReader() = default;

namespace {

// Decodes UTF-8 that is known to be valid (the reader checked every character of the
// document), without checking it again.
void DecodeCheckedUtf8(std::string_view text, std::wstring& out) {
  out.resize(text.size());
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* const end = p + text.size();
  wchar_t* o = out.data();
  while (p < end) {
#if TALSDK_SSE2
    // Sixteen bytes at a time are widened to four bytes each; the output has room for them
    // because it is never ahead of the input. Only the ASCII prefix counts; a multi-byte
    // character after it is decoded below.
    if (end - p >= 16) {
      const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      const __m128i zero = _mm_setzero_si128();
      const __m128i low = _mm_unpacklo_epi8(x, zero);
      const __m128i high = _mm_unpackhi_epi8(x, zero);
      auto* target = reinterpret_cast<__m128i*>(o);
      _mm_storeu_si128(target, _mm_unpacklo_epi16(low, zero));
      _mm_storeu_si128(target + 1, _mm_unpackhi_epi16(low, zero));
      _mm_storeu_si128(target + 2, _mm_unpacklo_epi16(high, zero));
      _mm_storeu_si128(target + 3, _mm_unpackhi_epi16(high, zero));
      const auto nonAscii = static_cast<unsigned>(_mm_movemask_epi8(x));
      const int ascii = nonAscii == 0 ? 16 : __builtin_ctz(nonAscii);
      p += ascii;
      o += ascii;
      if (ascii == 16) continue;
    }
#endif
    const unsigned char c = *p;
    if (c < 0x80) {
      *o++ = static_cast<wchar_t>(c);
      ++p;
    } else if (c < 0xE0) {
      *o++ = static_cast<wchar_t>((c & 0x1Fu) << 6 | (p[1] & 0x3Fu));
      p += 2;
    } else if (c < 0xF0) {
      *o++ = static_cast<wchar_t>((c & 0x0Fu) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu));
      p += 3;
    } else {
      *o++ = static_cast<wchar_t>((c & 0x07u) << 18 | (p[1] & 0x3Fu) << 12 | (p[2] & 0x3Fu) << 6 |
                                  (p[3] & 0x3Fu));
      p += 4;
    }
  }
  out.resize(static_cast<std::size_t>(o - out.data()));
}

}  // namespace

bool ISAXReader::ReadValue(std::wstring& value) {
  const std::string_view text = GetElementTextView();
  if (IsElementTextChecked() && sizeof(wchar_t) == 4) {
    DecodeCheckedUtf8(text, value);
    return true;
  }
  std::wstring converted;
  if (!XmlText::IsValid(text)) return false;
  if (!StringConversion::TryUtf8ToNative(text, converted)) return false;
  value = std::move(converted);
  return true;
}

bool ISAXReader::ReadValue(std::string& value) {
  const std::string_view text = GetElementTextView();
  if (!IsElementTextChecked() && !XmlText::IsValid(text)) return false;
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

// Reads a whole regular file. The file is opened without blocking and checked to be a regular
// file before anything is read, so a FIFO without a writer or a device cannot hang the read.
// Throws MGeneric naming the file on any failure.
std::pair<std::unique_ptr<char[]>, std::size_t> ReadWholeFile(const std::string& path,
                                                              std::uint64_t maxBytes) {
  const auto fail = [&](const std::string& reason) -> MGeneric {
    return MGeneric("Cannot read '" + path + "': " + reason, path, 0, 0);
  };
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) throw fail(std::strerror(errno));
  struct Closer {
    int fd;
    ~Closer() { ::close(fd); }
  } closer{fd};

  struct stat info {};
  if (::fstat(fd, &info) != 0) throw fail(std::strerror(errno));
  if (!S_ISREG(info.st_mode)) throw fail("not a regular file");
  const auto size = static_cast<std::uint64_t>(info.st_size);
  if (size > maxBytes) {
    throw fail("the file has " + std::to_string(size) + " bytes, more than the reader's limit of " +
               std::to_string(maxBytes) + " bytes");
  }
  auto buffer = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(size));
  std::size_t done = 0;
  while (done < size) {
    const ssize_t n = ::read(fd, buffer.get() + done, static_cast<std::size_t>(size) - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) throw fail(std::strerror(errno));
    if (n == 0) break;  // the file shrank while being read
    done += static_cast<std::size_t>(n);
  }
  return {std::move(buffer), done};
}

}  // namespace

struct SAXReader::Impl {
  ISAXReader* reader = nullptr;
  bool keepWhitespace = true;
  SAXReaderLimits limits;

  // The document of the current parse.
  std::string sourceName;
  std::unique_ptr<char[]> buffer;
  std::optional<Xml::Tokenizer> tokenizer;

  // Dispatch state.
  struct Frame {
    ISAXPersistBase* handler = nullptr;
    std::unique_ptr<ISAXPersistBase> owned;
  };
  std::vector<Frame> handlers;
  // Names of the open elements, root first: the first `openCount` entries. The strings are
  // reused from element to element, so dispatching allocates nothing for names.
  std::vector<std::string> names;
  std::vector<std::size_t> offsets;  // of their start tags, which tell elements apart
  std::size_t openCount = 0;
  // The last path built for a kept element, of the first `pathCount` open elements, the
  // innermost starting at `pathOffset`: siblings kept one after the other share it without
  // building it again.
  std::shared_ptr<const std::string> pathCache;
  std::size_t pathCount = 0;
  std::size_t pathOffset = 0;

  // The element just opened. Its attributes are the tokenizer's until the reader reads ahead
  // inside the element; then they are copied here first.
  std::size_t currentOffset = 0;
  const std::vector<Xml::Attribute>* currentAttributes = nullptr;
  std::vector<Xml::Attribute> savedAttributes;
  std::vector<std::string> savedAttributeText;

  // How far the content of the element just opened has been read:
  //  Unread     the tokenizer stands right after its start tag;
  //  Consumed   the tokenizer stands after its end tag (read for its text, captured, skipped);
  //  ReadAhead  it was read to its end for its text, but it has child elements, so the
  //             tokenizer went back to right after the start tag; `contentEnd` is the end;
  //  Dispatched its content is being dispatched, or an end tag came since: nothing may be
  //             read ahead any more (a handler asking from HandleEndTag gets no text).
  enum class Content { Unread, Consumed, ReadAhead, Dispatched };
  Content content = Content::Unread;
  Xml::Tokenizer::State contentEnd;

  bool textCached = false;
  std::string_view textView;
  Xml::TextCollector text;
  Xml::TextCollector captureText;
  // A capture is built here, where the storage stays between captures, and copied into the
  // kept element in one allocation of its final size.
  TalSDK::MSaxUnhandledElement captureElement;
  std::vector<unsigned char> captureLevels;  // not vector<bool>: reset per capture, kept cheap
  std::string textStorage;                   // for GetElementText when the text is a view

  ISAXPersistBase* pendingChild = nullptr;
  std::unique_ptr<ISAXPersistBase> pendingOwned;
  bool skipContent = false;
  ISAXPersistBase* rootHandler = nullptr;
  std::map<unsigned int, ISAXReference*> references;
  std::vector<SAXWarning> warnings;
  std::vector<SAXLenientReading> lenientReadings;

  SAXWarning WarningForCurrentElement() {
    const auto [line, column] = tokenizer->LineColumn(currentOffset);
    SAXWarning warning{PathOfOpenElements(), line, column, std::string(ElementText())};
    if (warning.text.size() > kWarningTextLimit) warning.text.resize(kWarningTextLimit);
    return warning;
  }

  void Reset() {
    tokenizer.reset();
    buffer.reset();
    handlers.clear();
    openCount = 0;
    pathCount = 0;
    pathCache.reset();
    currentAttributes = nullptr;
    textCached = false;
    pendingChild = nullptr;
    pendingOwned.reset();
    references.clear();
    warnings.clear();
    lenientReadings.clear();
  }

  // The names of the open elements joined by '/', leaving out the innermost `skip`.
  std::string PathOfOpenElements(std::size_t skip = 0) const {
    std::string path;
    AppendPathOfOpenElements(path, skip);
    return path;
  }
  void AppendPathOfOpenElements(std::string& path, std::size_t skip) const {
    for (std::size_t i = 0; i + skip < openCount; ++i) {
      if (!path.empty()) path += '/';
      path += names[i];
    }
  }

  // The same for the elements enclosing the element just opened, shared while it stays the
  // same: kept elements found in one place, or in places of the same path, share one string.
  std::shared_ptr<const std::string> PathOfEnclosingElements() {
    const std::size_t count = openCount - 1;
    if (count == 0) return nullptr;
    if (!pathCache || pathCount != count || pathOffset != offsets[count - 1]) {
      if (!pathCache || !IsPathOfOpenElements(*pathCache, count)) {
        std::string path;
        AppendPathOfOpenElements(path, 1);
        pathCache = std::make_shared<const std::string>(std::move(path));
      }
      pathCount = count;
      pathOffset = offsets[count - 1];
    }
    return pathCache;
  }
  // Whether `path` names the outer `count` open elements, compared in place.
  bool IsPathOfOpenElements(std::string_view path, std::size_t count) const {
    for (std::size_t i = 0; i < count; ++i) {
      if (i > 0) {
        if (path.empty() || path.front() != '/') return false;
        path.remove_prefix(1);
      }
      if (!path.starts_with(names[i])) return false;
      path.remove_prefix(names[i].size());
    }
    return path.empty();
  }

  const std::vector<Xml::Attribute>& CurrentAttributes() const {
    static const std::vector<Xml::Attribute> kNone;
    return currentAttributes != nullptr ? *currentAttributes : kNone;
  }

  // Copies the attributes of the element just opened out of the tokenizer, which reuses its
  // own for every start tag.
  void SaveAttributes() {
    if (currentAttributes == &savedAttributes || currentAttributes == nullptr) return;
    if (currentAttributes->empty()) {
      savedAttributes.clear();
      currentAttributes = &savedAttributes;
      return;
    }
    savedAttributeText.clear();
    for (const Xml::Attribute& a : *currentAttributes) {
      savedAttributeText.emplace_back(a.name);
      savedAttributeText.emplace_back(a.value);
    }
    savedAttributes.clear();
    for (std::size_t i = 0; i < savedAttributeText.size(); i += 2)
      savedAttributes.push_back({savedAttributeText[i], savedAttributeText[i + 1]});
    currentAttributes = &savedAttributes;
  }

  // Reads the rest of the element just opened, through its end tag; its own text goes to
  // `collector` when not null. True when it has child elements.
  bool ReadContent(Xml::TextCollector* collector) {
    using Event = Xml::Tokenizer::Event;
    bool children = false;
    std::size_t depth = 0;  // open elements inside the element
    for (;;) {
      const Event event = tokenizer->Next(depth == 0 ? collector : nullptr);
      if (event == Event::StartElement) {
        children = true;
        ++depth;
      } else if (event == Event::EndElement) {
        if (depth == 0) return children;
        --depth;
      } else {
        return children;  // not reached: the tokenizer refuses an unclosed element
      }
    }
  }

  std::string_view ElementText() {
    if (textCached) return textView;
    textCached = true;
    textView = {};
    if (content == Content::Unread && tokenizer->ReadPlainLeafText(textView)) {
      // No start tag was read: the tokenizer's attributes are still the element's.
      content = Content::Consumed;
    } else if (content == Content::Unread) {
      SaveAttributes();
      text.Clear();
      const Xml::Tokenizer::State start = tokenizer->Save();
      const bool children = ReadContent(&text);
      textView = text.Finish(children);
      if (children) {
        contentEnd = tokenizer->Save();
        tokenizer->Restore(start);
        content = Content::ReadAhead;
      } else {
        content = Content::Consumed;
      }
    }
    if (!keepWhitespace) textView = ValueText::TrimXmlSpace(textView);
    return textView;
  }

  // Brings the tokenizer past the end tag of the element just opened without dispatching.
  void FinishContent() {
    if (content == Content::ReadAhead) tokenizer->Restore(contentEnd);
    if (content == Content::Unread) ReadContent(nullptr);
    content = Content::Consumed;
  }

  bool Capture(TalSDK::MSaxUnhandledElement& element);
  void Dispatch(ISAXPersistBase* root);
  bool StartElement();
  void EndElement(bool wasDelegated);
  void Run(std::string_view document, ISAXPersistBase* root);
};

// Offers the element to the current handler; true when it delegated the element's content.
bool SAXReader::Impl::StartElement() {
  if (names.size() <= openCount) {
    names.emplace_back();
    offsets.emplace_back();
  }
  currentOffset = tokenizer->TagOffset();
  offsets[openCount] = currentOffset;
  // The strings keep their capacity, so a name usually fits without the general assign.
  std::string& name = names[openCount++];
  const std::string_view tag = tokenizer->Name();
  if (tag.size() <= name.capacity()) {
    name.resize(tag.size());
    std::memcpy(name.data(), tag.data(), tag.size());
  } else {
    name.assign(tag);
  }
  currentAttributes = &tokenizer->Attributes();
  content = Content::Unread;
  textCached = false;
  pendingChild = nullptr;
  pendingOwned.reset();
  skipContent = false;

  const bool handled = handlers.back().handler->HandleTag(names[openCount - 1], *reader);
  if (!handled) {
    pendingChild = nullptr;
    pendingOwned.reset();
    skipContent = true;
    warnings.push_back(WarningForCurrentElement());
    return false;
  }
  if (pendingChild == nullptr) return false;
  Frame frame{pendingChild, std::move(pendingOwned)};
  pendingChild = nullptr;
  // An element carrying ID="n" gives its object id to the handler of its content.
  for (const Xml::Attribute& attribute : CurrentAttributes()) {
    unsigned int value = 0;
    if (attribute.name == "ID" && ValueText::Parse(attribute.value, value) && value != 0) {
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
  if (frame.owned && !references.empty()) {
    // The owned handler dies here: forget any reference that points into it.
    const auto* dying = dynamic_cast<const ISAXReference*>(frame.owned.get());
    std::erase_if(references, [dying](const auto& entry) { return entry.second == dying; });
  }
}

void SAXReader::Impl::Dispatch(ISAXPersistBase* root) {
  using Event = Xml::Tokenizer::Event;
  handlers.push_back(Frame{root, nullptr});
  // Whether each open element that is being dispatched delegated its content.
  std::vector<bool> delegated;
  for (;;) {
    const Event event = tokenizer->Next(nullptr);
    if (event == Event::EndOfDocument) break;
    if (event == Event::EndElement) {
      const bool wasDelegated = delegated.back();
      delegated.pop_back();
      content = Content::Dispatched;
      EndElement(wasDelegated);
      continue;
    }
    const bool delegatedNow = StartElement();
    if (skipContent || content == Content::Consumed) {
      FinishContent();
      EndElement(delegatedNow);
    } else {
      delegated.push_back(delegatedNow);
      content = Content::Dispatched;
    }
  }
  handlers.clear();
  currentAttributes = nullptr;
}

void SAXReader::Impl::Run(std::string_view document, ISAXPersistBase* root) {
  if (document.size() > limits.maxDocumentBytes) {
    throw MGeneric(sourceName + ": the document has " + std::to_string(document.size()) +
                       " bytes, more than the reader's limit of " +
                       std::to_string(limits.maxDocumentBytes) + " bytes",
                   sourceName, 0, 0);
  }
  tokenizer.emplace(
      document, sourceName,
      Xml::Tokenizer::Limits{limits.maxElements, static_cast<std::size_t>(kMaxElementDepth)});
  rootHandler = root;
  Dispatch(root);
}

// Copies the element just opened, with everything inside it, in one pass over its content.
// White-space-only text beside child elements is formatting and is left out.
bool SAXReader::Impl::Capture(TalSDK::MSaxUnhandledElement& element) {
  using Event = Xml::Tokenizer::Event;
  skipContent = true;
  const std::size_t start = currentOffset;
  const int line = tokenizer->LineColumn(start).first;
  std::shared_ptr<const std::string> path = PathOfEnclosingElements();

  try {
    std::string_view leafText;
    bool leaf = true;
    if (content == Content::Consumed) {
      if (textCached) leafText = textView;  // read ahead for its text, which is all it holds
    } else if (content != Content::Unread || !tokenizer->ReadPlainLeafText(leafText)) {
      leaf = false;
    }
    if (leaf) {
      // The usual kept setting: built at its final size, without the event loop.
      element = TalSDK::MSaxUnhandledElement(names[openCount - 1], CurrentAttributes(), leafText);
      content = Content::Consumed;
    } else {
      TalSDK::MSaxUnhandledElement& built = captureElement;
      built.Clear();
      built.AppendElement(0, names[openCount - 1], CurrentAttributes());
      // With ReadAhead the tokenizer already stands right after the start tag again.
      std::vector<unsigned char>& hasChildren = captureLevels;  // per open level
      hasChildren.clear();
      hasChildren.push_back(0);
      const auto flushText = [&](bool children) {
        built.AppendText(static_cast<std::uint32_t>(hasChildren.size()),
                         captureText.Finish(children));
        captureText.Clear();
      };
      captureText.Clear();
      for (;;) {
        const Event event = tokenizer->Next(&captureText);
        if (event == Event::StartElement) {
          flushText(true);
          hasChildren.back() = 1;
          built.AppendElement(static_cast<std::uint32_t>(hasChildren.size()), tokenizer->Name(),
                              tokenizer->Attributes());
          hasChildren.push_back(0);
        } else if (event == Event::EndElement) {
          flushText(hasChildren.back() != 0);
          hasChildren.pop_back();
          if (hasChildren.empty()) break;
        } else {
          break;  // not reached: the tokenizer refuses an unclosed element
        }
      }
      content = Content::Consumed;
      element = built;
      // A very large capture gives its storage back rather than keeping it for the next one.
      if (tokenizer->TagOffset() - start > (std::size_t{1} << 20)) built = {};
    }
  } catch (const std::length_error& error) {
    tokenizer->Fail(start, error.what());
  }
  element.SetSourceLine(line);
  element.SetSourcePath(std::move(path));
  return true;
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
  auto [bytes, size] = ReadWholeFile(utf8Path, impl.limits.maxDocumentBytes);
  impl.buffer = std::move(bytes);
  impl.Run(std::string_view(impl.buffer.get(), size), root);
}

void SAXReader::ParseBuffer(std::string_view document, ISAXPersistBase* root,
                            std::string_view sourceName) {
  Impl& impl = *m_impl;
  impl.Reset();
  impl.sourceName = sourceName;
  // The caller's bytes stay valid for the call: they are read in place.
  impl.Run(document, root);
  impl.tokenizer.reset();
}

void SAXReader::InitHelpersAfterLoading() {
  if (m_impl->rootHandler == nullptr) return;
  m_impl->rootHandler->ResolveReferences(*this);
  m_impl->rootHandler->InitAfterLoading();
}

const std::vector<SAXWarning>& SAXReader::GetWarnings() const {
  return m_impl->warnings;
}

const std::vector<SAXLenientReading>& SAXReader::GetLenientReadings() const {
  return m_impl->lenientReadings;
}

void SAXReader::NoteLenientReading(std::string_view readAs) {
  m_impl->lenientReadings.push_back({m_impl->WarningForCurrentElement(), std::string(readAs)});
}

void SAXReader::SetLimits(const SAXReaderLimits& limits) {
  m_impl->limits = limits;
}

const SAXReaderLimits& SAXReader::GetLimits() const {
  return m_impl->limits;
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
  for (const Xml::Attribute& attribute : m_impl->CurrentAttributes()) {
    if (attribute.name == name) return attribute.value;
  }
  return std::nullopt;
}

bool SAXReader::CaptureElement(TalSDK::MSaxUnhandledElement& element) {
  // Only the element just opened, from inside HandleTag, can be captured.
  const bool justOpened = m_impl->content == Impl::Content::Unread ||
                          m_impl->content == Impl::Content::ReadAhead ||
                          (m_impl->content == Impl::Content::Consumed && m_impl->textCached);
  if (!m_impl->tokenizer || m_impl->openCount == 0 || !justOpened) return false;
  return m_impl->Capture(element);
}

void SAXReader::SkipElementContent() {
  m_impl->skipContent = true;
}

ISAXReference* SAXReader::FindReference(unsigned int objectId) const {
  const auto it = m_impl->references.find(objectId);
  return it == m_impl->references.end() ? nullptr : it->second;
}

}  // namespace TalSAX
