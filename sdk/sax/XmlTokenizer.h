#pragma once
// A pull tokenizer over a whole XML 1.0 document in memory. It checks well-formedness as it
// goes — UTF-8 and the characters XML allows, names, references, markup, the XML declaration,
// one root element — and throws MGeneric naming the file, line, column and the rule broken at
// the first fault. It reports start and end tags; text is handed to a collector when the caller
// wants it and is otherwise only checked. A DOCTYPE is refused: machine files never carry one,
// and without it there are no entities beyond the five predefined ones.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <TalSDK/sdk/sax/ExtensibleObject.h>

namespace TalSAX::Xml {

// Views of an attribute's name and value (references resolved, white space normalised); the
// kept elements' own type, so that a captured start tag's attributes are copied as they are.
using Attribute = TalSDK::MSaxUnhandledElement::Attribute;

// The text of one element, gathered run by run (a run is the text between two pieces of
// markup, or a CDATA section). A single run that needed no decoding stays a view of the
// document; anything else is copied.
class TextCollector {
 public:
  void Clear();
  // `inDocument`: `run` points into the document and stays valid. `formatting`: the run was
  // white space only as written (never true for CDATA).
  void Add(std::string_view run, bool inDocument, bool formatting);
  // All runs, or, when the element has child elements, the runs that are not formatting.
  std::string_view Finish(bool hasChildElements);
  bool IsEmpty() const { return m_runs == 0; }

 private:
  void Materialise();

  std::string_view m_view;  // the only run so far, not copied
  bool m_viewFormatting = false;
  std::size_t m_runs = 0;
  bool m_copied = false;
  std::string m_all;          // every run
  std::string m_significant;  // runs that are not formatting
};

class Tokenizer {
 public:
  enum class Event { StartElement, EndElement, EndOfDocument };

  struct Limits {
    std::uint64_t maxElements = 0;
    std::size_t maxDepth = 0;
  };

  // `document` must stay valid and unchanged while the tokenizer is used.
  Tokenizer(std::string_view document, std::string sourceName, Limits limits);

  // The next start or end tag (an empty-element tag gives both). Text before it inside an
  // element goes to `text` when not null; comments and processing instructions are checked and
  // skipped.
  Event Next(TextCollector* text);

  // Right after a start tag: when the element holds nothing but text that needs no decoding
  // (no reference, CR or CDATA), or nothing at all, reads it through its end tag, sets `text`
  // to a view of the document and returns true, as Next would have given the text and then
  // the end tag.
  // Otherwise changes nothing and returns false.
  bool ReadPlainLeafText(std::string_view& text);

  // Of the start tag just returned; valid until the next call of Next.
  std::string_view Name() const { return m_name; }
  std::size_t TagOffset() const { return m_tagOffset; }
  const std::vector<Attribute>& Attributes() const { return m_attributes; }

  // A position to come back to, for reading ahead inside the element just opened.
  struct State {
    std::size_t position = 0;
    std::size_t depth = 0;
    std::string_view top;  // the innermost open element
    std::uint64_t elements = 0;
    bool pendingEnd = false;
  };
  State Save() const;
  void Restore(const State& state);

  // 1-based line and column (in bytes) of a byte offset. Cheapest when asked in document order.
  std::pair<int, int> LineColumn(std::size_t offset);
  [[noreturn]] void Fail(std::size_t offset, const std::string& reason);

 private:
  Event NextOutsideRoot();
  void ReadDeclaration();
  void ReadStartTag();
  void ReadEndTag();
  void ReadText(TextCollector* text);
  void ReadCData(TextCollector* text);
  void SkipComment();
  void SkipProcessingInstruction();
  std::size_t ReadAttributeValue(char quote, bool& decoded);
  void ReadReference(std::string* out);
  std::size_t NameEnd(std::size_t at);
  std::size_t NameEndFrom(std::size_t at, std::size_t i);
  bool SkipSpace();
  void CheckChar(std::size_t& at);
  std::size_t DecodeChar(std::size_t at, std::uint32_t& codePoint);
  std::size_t OffsetOf(std::string_view part) const {
    return static_cast<std::size_t>(part.data() - m_data.data());
  }
  bool StartsWith(std::string_view text) const { return m_data.substr(m_pos, text.size()) == text; }

  std::string_view m_data;
  std::string m_sourceName;
  Limits m_limits;
  std::size_t m_pos = 0;
  bool m_started = false;
  bool m_rootSeen = false;
  bool m_pendingEnd = false;
  std::uint64_t m_elements = 0;
  std::vector<std::string_view> m_open;  // names of the open elements, root first

  std::string_view m_name;
  std::size_t m_tagOffset = 0;
  std::vector<Attribute> m_attributes;
  std::vector<std::pair<std::size_t, std::size_t>> m_decodedValues;  // into m_valueStorage
  std::string m_valueStorage;
  std::string m_textStorage;

  // Line cache: the line holding m_lineOffset starts at m_lineStart.
  std::size_t m_lineOffset = 0;
  std::size_t m_lineStart = 0;
  int m_line = 1;
};

}  // namespace TalSAX::Xml
