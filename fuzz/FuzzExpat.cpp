// Reads arbitrary bytes with our reader and with expat and requires both to agree on whether
// the document is well-formed and, when it is, on every element name, attribute and text. Our
// side is read twice: dispatched element by element to a handler that asks for each element's
// text and attributes, and kept whole as one captured element.
//
// Differences that come from limits the reader documents are not faults; those inputs are
// left out (see Excluded below and the DOCTYPE check).

#include <TalSDK/Machines.h>
#include <expat.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Attributes = std::vector<std::pair<std::string, std::string>>;
using Kept = TalSDK::MSaxUnhandledElement;

// One element as the dispatching handler sees it.
struct Element {
  std::string name;
  Attributes attributes;
  std::string text;
  bool operator==(const Element&) const = default;
};

struct Reading {
  std::vector<Element> elements;  // document order
  Kept kept;                      // the root kept whole
};

bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
bool IsSpaceOnly(std::string_view text) {
  for (const char c : text) {
    if (!IsSpace(c)) return false;
  }
  return true;
}

// The text of one element, gathered run by run as the reader does: a run that is white space
// only as written (no reference, not CDATA) is formatting and is dropped beside child elements.
struct Text {
  std::string all, significant;
  void Add(const std::string& run, bool formatting) {
    all += run;
    if (!formatting) significant += run;
  }
  const std::string& Finish(bool hasChildren) const { return hasChildren ? significant : all; }
};

// ---------------------------------------------------------------------------------------------
// Expat's reading, in the same shapes.

struct ExpatState {
  std::string_view input;
  XML_Parser parser = nullptr;
  Reading reading;
  bool doctype = false;

  struct Open {
    std::size_t element;  // index in reading.elements
    Text own;             // every run of the element
    Text segment;         // runs since the last tag
    bool hasChildren = false;
  };
  std::vector<Open> open;

  std::string run;
  bool runFormatting = true;
  bool inCData = false;

  void EndRun() {
    if (!run.empty() && !open.empty()) {
      open.back().own.Add(run, runFormatting && !inCData);
      open.back().segment.Add(run, runFormatting && !inCData);
    }
    run.clear();
    runFormatting = true;
  }
  void FlushSegment(bool hasChildren) {
    Open& top = open.back();
    const std::string& text = top.segment.Finish(hasChildren);
    reading.kept.AppendText(static_cast<std::uint32_t>(open.size()), text);
    top.segment = {};
  }
};

void XMLCALL OnStart(void* data, const XML_Char* name, const XML_Char** attributes) {
  auto& s = *static_cast<ExpatState*>(data);
  s.EndRun();
  Element element{name, {}, {}};
  std::vector<Kept::Attribute> kept;
  for (const XML_Char** a = attributes; *a != nullptr; a += 2) {
    element.attributes.emplace_back(a[0], a[1]);
    kept.push_back({a[0], a[1]});
  }
  if (!s.open.empty()) {
    s.FlushSegment(true);
    s.open.back().hasChildren = true;
  }
  s.reading.kept.AppendElement(static_cast<std::uint32_t>(s.open.size()), name, kept);
  s.reading.elements.push_back(std::move(element));
  s.open.push_back({s.reading.elements.size() - 1, {}, {}, false});
}

void XMLCALL OnEnd(void* data, const XML_Char*) {
  auto& s = *static_cast<ExpatState*>(data);
  s.EndRun();
  const bool children = s.open.back().hasChildren;
  s.FlushSegment(children);
  s.reading.elements[s.open.back().element].text = s.open.back().own.Finish(children);
  s.open.pop_back();
}

void XMLCALL OnCharacters(void* data, const XML_Char* text, int length) {
  auto& s = *static_cast<ExpatState*>(data);
  s.run.append(text, static_cast<std::size_t>(length));
  // Whether the run is white space as written: the bytes of this event in the input (a
  // reference is one event of its own).
  const auto index = XML_GetCurrentByteIndex(s.parser);
  const int count = XML_GetCurrentByteCount(s.parser);
  if (index < 0 || count <= 0 ||
      !IsSpaceOnly(
          s.input.substr(static_cast<std::size_t>(index), static_cast<std::size_t>(count))))
    s.runFormatting = false;
}

void XMLCALL OnMarkup(void* data, const XML_Char*) {
  static_cast<ExpatState*>(data)->EndRun();
}
void XMLCALL OnProcessingInstruction(void* data, const XML_Char*, const XML_Char*) {
  static_cast<ExpatState*>(data)->EndRun();
}
void XMLCALL OnCDataStart(void* data) {
  auto& s = *static_cast<ExpatState*>(data);
  s.EndRun();
  s.inCData = true;
}
void XMLCALL OnCDataEnd(void* data) {
  auto& s = *static_cast<ExpatState*>(data);
  s.EndRun();
  s.inCData = false;
}
void XMLCALL OnDoctype(void* data, const XML_Char*, const XML_Char*, const XML_Char*, int) {
  static_cast<ExpatState*>(data)->doctype = true;
}

// True when expat finds the document well-formed.
bool ReadWithExpat(std::string_view input, ExpatState& state, std::string& error) {
  // Read as UTF-8 whatever the declaration says: we read nothing else, and a declaration of
  // another encoding is refused by us (left out below).
  XML_Parser parser = XML_ParserCreate("UTF-8");
  state.input = input;
  state.parser = parser;
  XML_SetUserData(parser, &state);
  XML_SetElementHandler(parser, OnStart, OnEnd);
  XML_SetCharacterDataHandler(parser, OnCharacters);
  XML_SetCommentHandler(parser, OnMarkup);
  XML_SetProcessingInstructionHandler(parser, OnProcessingInstruction);
  XML_SetCdataSectionHandler(parser, OnCDataStart, OnCDataEnd);
  XML_SetStartDoctypeDeclHandler(parser, OnDoctype);
  const bool ok =
      XML_Parse(parser, input.data(), static_cast<int>(input.size()), XML_TRUE) == XML_STATUS_OK;
  if (!ok) {
    error = std::string(XML_ErrorString(XML_GetErrorCode(parser))) + " at line " +
            std::to_string(XML_GetCurrentLineNumber(parser)) + ", column " +
            std::to_string(XML_GetCurrentColumnNumber(parser));
  }
  XML_ParserFree(parser);
  return ok;
}

// ---------------------------------------------------------------------------------------------
// Our reading.

// Records every element with its text and the attributes expat found on it; children are
// dispatched to the same handler.
class Recorder : public ISAXPersist {
 public:
  explicit Recorder(const std::vector<Element>& expected) : m_expected(expected) {}
  std::vector<Element> elements;
  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    Element element{tag, {}, reader.GetElementText()};
    const std::size_t index = elements.size();
    if (index < m_expected.size()) {
      for (const auto& [name, value] : m_expected[index].attributes) {
        const auto ours = reader.GetAttribute(name);
        element.attributes.emplace_back(name, ours ? std::string(*ours) : "(missing)");
      }
    }
    elements.push_back(std::move(element));
    return true;
  }

 private:
  const std::vector<Element>& m_expected;
};

class KeepRoot : public ISAXPersist {
 public:
  TalSDK::MSaxUnhandledElement root;
  bool HandleTag(const std::string&, TalSAX::ISAXReader& reader) override {
    return reader.CaptureElement(root);
  }
};

// True when our reader finds the document well-formed.
bool ReadWithUs(std::string_view input, const std::vector<Element>& expected, Reading& reading,
                std::string& error) {
  try {
    Recorder recorder(expected);
    TalSAX::SAXReader(true, nullptr).ParseBuffer(input, &recorder);
    reading.elements = std::move(recorder.elements);
    KeepRoot keep;
    TalSAX::SAXReader(true, nullptr).ParseBuffer(input, &keep);
    reading.kept = keep.root;
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& refusal) {
    error = refusal.GetMessage();
    return false;
  }
  return true;
}

// Whether a byte from 0x80 stands in a tag outside attribute values, or in the target of a
// processing instruction: a rough scan, enough to tell the cases apart.
bool HasNonAsciiName(std::string_view input) {
  std::size_t i = 0;
  // Looks for the end after the opener, so that "<!--->" does not end where it starts.
  const auto skipTo = [&](std::size_t opener, std::string_view end) {
    const std::size_t at = input.find(end, i + opener);
    i = at == std::string_view::npos ? input.size() : at + end.size();
  };
  while (i < input.size()) {
    if (input[i] != '<') {
      ++i;
      continue;
    }
    const std::string_view rest = input.substr(i);
    if (rest.starts_with("<!--")) {
      skipTo(4, "-->");
    } else if (rest.starts_with("<![CDATA[")) {
      skipTo(9, "]]>");
    } else if (rest.starts_with("<?")) {
      for (i += 2; i < input.size() && !IsSpace(input[i]) && input[i] != '?'; ++i) {
        if (static_cast<unsigned char>(input[i]) >= 0x80) return true;
      }
      skipTo(0, "?>");
    } else {
      char quote = 0;
      for (++i; i < input.size(); ++i) {
        const char c = input[i];
        if (quote != 0) {
          if (c == quote) quote = 0;
        } else if (c == '"' || c == '\'') {
          quote = c;
        } else if (c == '>' || c == '<') {
          break;
        } else if (static_cast<unsigned char>(c) >= 0x80) {
          return true;
        }
      }
    }
  }
  // Entity references with non-ASCII names are refused by both as undefined.
  return false;
}

// Differences that come from what the reader documents as refused, not from faults:
//  - a declared encoding other than UTF-8 (expat is made to read UTF-8 regardless) or a UTF-16
//    or UTF-32 byte order mark: only UTF-8 documents are read;
//  - nesting deeper than kMaxElementDepth, more elements than the element limit;
//  - a version other than 1.x in the declaration: expat does not check the number;
//  - a non-ASCII character in a name: expat classifies them by the older name tables (Unicode
//    2.0 based), the reader by the current ones, so each accepts names the other refuses.
bool Excluded(std::string_view input, bool weAccept, const std::string& ourError,
              const Kept& ourRoot) {
  // What we accepted names exactly the names we read: the rough scan below can be misled by
  // markup characters inside comments, CDATA or attribute values.
  const auto nonAscii = [](std::string_view name) {
    for (const char c : name) {
      if (static_cast<unsigned char>(c) >= 0x80) return true;
    }
    return false;
  };
  if (weAccept) {
    for (const Kept::Node node : ourRoot.GetNodes()) {
      if (node.kind == Kept::Node::Kind::Text) continue;
      if (nonAscii(node.value)) return true;
      for (const Kept::Attribute attribute : node.attributes) {
        if (nonAscii(attribute.name)) return true;
      }
    }
  }
  if (!weAccept) {
    for (const char* limit : {"only UTF-8 documents are read", "not a UTF-8 document",
                              "nested deeper than", "element limit", "is not 1.x"}) {
      if (ourError.find(limit) != std::string::npos) return true;
    }
  }
  return HasNonAsciiName(input);
}

std::string Describe(const std::vector<Element>& elements) {
  std::string out;
  for (const Element& e : elements) {
    out += "<" + e.name;
    for (const auto& [name, value] : e.attributes)
      out += " " + name + "='" + value + "'";
    out += "> text '" + e.text + "'\n";
  }
  return out;
}

std::string Describe(const Kept& kept) {
  std::string out;
  for (const Kept::Node n : kept.GetNodes()) {
    const bool text = n.kind == Kept::Node::Kind::Text;
    out.append(n.depth * 2, ' ').append(text ? "text '" : "<").append(n.value);
    for (const Kept::Attribute a : n.attributes)
      out.append(" ").append(a.name).append("='").append(a.value).append("'");
    out += text ? "'\n" : ">\n";
  }
  return out;
}

[[noreturn]] void Die(const char* what, std::string_view input, const std::string& detail) {
  std::fprintf(stderr, "fuzz_expat: %s\ninput (%zu bytes): %.*s\n%s\n", what, input.size(),
               static_cast<int>(input.size()), input.data(), detail.c_str());
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  // A DOCTYPE is refused by design; expat reads it (and the entities it declares).
  if (input.find("<!DOCTYPE") != std::string_view::npos) return 0;

  ExpatState expat;
  std::string expatError;
  const bool expatAccepts = ReadWithExpat(input, expat, expatError);
  if (expat.doctype) return 0;

  Reading ours;
  std::string ourError;
  const bool weAccept = ReadWithUs(input, expat.reading.elements, ours, ourError);

  if (weAccept != expatAccepts) {
    if (Excluded(input, weAccept, ourError, ours.kept)) return 0;
    Die(weAccept ? "accepted, but expat refuses" : "refused, but expat accepts", input,
        weAccept ? "expat: " + expatError : "ours: " + ourError);
  }
  if (!weAccept) return 0;
  if (ours.elements != expat.reading.elements) {
    Die("the elements differ", input,
        "ours:\n" + Describe(ours.elements) + "expat:\n" + Describe(expat.reading.elements));
  }
  if (ours.kept != expat.reading.kept) {
    Die("the kept element differs", input,
        "ours:\n" + Describe(ours.kept) + "expat:\n" + Describe(expat.reading.kept));
  }
  return 0;
}
