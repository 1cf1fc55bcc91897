#include "sdk/sax/XmlTokenizer.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <TalSDK/sdk/sax/SAXError.h>
#include "sdk/sax/Sse2.h"

namespace TalSAX::Xml {

namespace {

using TalSDK::FileIO::MSAXError::MGeneric;

constexpr bool IsSpace(unsigned char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Bytes in names: ASCII name start characters, other ASCII name characters, and bytes from
// 0x80, whose characters go through the code point ranges below.
enum NameByte : std::uint8_t { kNotName = 0, kNameOnly = 1, kNameStart = 2, kNonAscii = 3 };
constexpr std::array<std::uint8_t, 256> kNameBytes = [] {
  std::array<std::uint8_t, 256> table{};
  for (int c = 'a'; c <= 'z'; ++c)
    table[static_cast<std::size_t>(c)] = kNameStart;
  for (int c = 'A'; c <= 'Z'; ++c)
    table[static_cast<std::size_t>(c)] = kNameStart;
  table['_'] = table[':'] = kNameStart;
  for (int c = '0'; c <= '9'; ++c)
    table[static_cast<std::size_t>(c)] = kNameOnly;
  table['-'] = table['.'] = kNameOnly;
  for (int c = 0x80; c < 0x100; ++c)
    table[static_cast<std::size_t>(c)] = kNonAscii;
  return table;
}();

// XML 1.0 (fifth edition) name start characters above ASCII.
bool IsNameStart(std::uint32_t c) {
  return (c >= 0xC0 && c <= 0xD6) || (c >= 0xD8 && c <= 0xF6) || (c >= 0xF8 && c <= 0x2FF) ||
         (c >= 0x370 && c <= 0x37D) || (c >= 0x37F && c <= 0x1FFF) ||
         (c >= 0x200C && c <= 0x200D) || (c >= 0x2070 && c <= 0x218F) ||
         (c >= 0x2C00 && c <= 0x2FEF) || (c >= 0x3001 && c <= 0xD7FF) ||
         (c >= 0xF900 && c <= 0xFDCF) || (c >= 0xFDF0 && c <= 0xFFFD) ||
         (c >= 0x10000 && c <= 0xEFFFF);
}
bool IsNameChar(std::uint32_t c) {
  return IsNameStart(c) || c == 0xB7 || (c >= 0x300 && c <= 0x36F) || (c >= 0x203F && c <= 0x2040);
}

bool IsXmlChar(std::uint32_t c) {
  return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
         (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

// Every character refused by its code point (controls, surrogates, U+FFFE and U+FFFF) is in
// the Basic Multilingual Plane: four hex digits.
std::string CodePoint(std::uint32_t c) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string text = "U+";
  for (int shift = 12; shift >= 0; shift -= 4)
    text += kHex[(c >> shift) & 0xF];
  return text;
}

std::string NotAllowed(std::uint32_t c) {
  return "character " + CodePoint(c) + " is not allowed in XML 1.0";
}

void AppendUtf8(std::string& out, std::uint32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

std::string Quoted(std::string_view text) {
  std::string quoted;
  quoted.reserve(text.size() + 2);
  quoted += '\'';
  quoted += text;
  quoted += '\'';
  return quoted;
}

// Tables of the bytes that end a plain run: in text '<', '&', ']' (for "]]>"), CR (line ends
// are normalised) and every byte that is not plain ASCII (controls are refused, bytes from
// 0x80 are decoded and checked as UTF-8).
constexpr std::array<bool, 256> kTextSpecial = [] {
  std::array<bool, 256> table{};
  for (int c = 0; c < 256; ++c)
    table[static_cast<std::size_t>(c)] = c >= 0x80 || (c < 0x20 && c != '\t' && c != '\n');
  table['<'] = table['&'] = table[']'] = true;
  return table;
}();

[[gnu::always_inline]] inline std::size_t FindTextSpecial(const char* data, std::size_t size,
                                                          std::size_t i) {
#if TALSDK_SSE2
  const __m128i lt = _mm_set1_epi8('<');
  const __m128i amp = _mm_set1_epi8('&');
  const __m128i bracket = _mm_set1_epi8(']');
  const __m128i cr = _mm_set1_epi8('\r');
  const __m128i tab = _mm_set1_epi8('\t');
  const __m128i lf = _mm_set1_epi8('\n');
  const __m128i space = _mm_set1_epi8(0x20);
  while (size - i >= 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i));
    const __m128i markup =
        _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(x, lt), _mm_cmpeq_epi8(x, amp)),
                     _mm_or_si128(_mm_cmpeq_epi8(x, bracket), _mm_cmpeq_epi8(x, cr)));
    // A signed compare catches the controls and, being negative, every byte from 0x80.
    const __m128i allowed = _mm_or_si128(_mm_cmpeq_epi8(x, tab), _mm_cmpeq_epi8(x, lf));
    const __m128i other = _mm_andnot_si128(allowed, _mm_cmplt_epi8(x, space));
    const int mask = _mm_movemask_epi8(_mm_or_si128(markup, other));
    if (mask != 0) return i + static_cast<std::size_t>(__builtin_ctz(static_cast<unsigned>(mask)));
    i += 16;
  }
#endif
  while (i < size && !kTextSpecial[static_cast<unsigned char>(data[i])])
    ++i;
  return i;
}

// In attribute values: the quote, '<', '&', and every byte below 0x20 (tab, LF and CR become
// spaces) or from 0x80.
std::size_t FindValueSpecial(const char* data, std::size_t size, std::size_t i, char quote) {
#if TALSDK_SSE2
  const __m128i q = _mm_set1_epi8(quote);
  const __m128i lt = _mm_set1_epi8('<');
  const __m128i amp = _mm_set1_epi8('&');
  const __m128i space = _mm_set1_epi8(0x20);
  while (size - i >= 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i));
    const __m128i special =
        _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(x, q), _mm_cmpeq_epi8(x, lt)),
                     _mm_or_si128(_mm_cmpeq_epi8(x, amp), _mm_cmplt_epi8(x, space)));
    const int mask = _mm_movemask_epi8(special);
    if (mask != 0) return i + static_cast<std::size_t>(__builtin_ctz(static_cast<unsigned>(mask)));
    i += 16;
  }
#endif
  for (; i < size; ++i) {
    const auto c = static_cast<unsigned char>(data[i]);
    if (c == static_cast<unsigned char>(quote) || c == '<' || c == '&' || c < 0x20 || c >= 0x80)
      break;
  }
  return i;
}

// The end of the spaces, tabs and LFs from `i` (CR is left to the text reader).
std::size_t SkipIndentation(const char* data, std::size_t size, std::size_t i) {
#if TALSDK_SSE2
  const __m128i space = _mm_set1_epi8(' ');
  const __m128i tab = _mm_set1_epi8('\t');
  const __m128i lf = _mm_set1_epi8('\n');
  while (size - i >= 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i));
    const __m128i blank = _mm_or_si128(_mm_cmpeq_epi8(x, space),
                                       _mm_or_si128(_mm_cmpeq_epi8(x, tab), _mm_cmpeq_epi8(x, lf)));
    const auto mask = static_cast<unsigned>(_mm_movemask_epi8(blank)) ^ 0xFFFFu;
    if (mask != 0) return i + static_cast<std::size_t>(__builtin_ctz(mask));
    i += 16;
  }
#endif
  while (i < size && (data[i] == ' ' || data[i] == '\n' || data[i] == '\t'))
    ++i;
  return i;
}

// The number of LFs in `size` bytes.
std::size_t CountLineEnds(const char* data, std::size_t size) {
  std::size_t count = 0;
  std::size_t i = 0;
#if TALSDK_SSE2
  // Per byte lane, a counter that each LF decrements (a match compares as -1); the lanes are
  // summed before any can wrap: 63 rounds of sixty-four bytes add at most 252, the last
  // sixteen-byte steps at most 3.
  const __m128i lf = _mm_set1_epi8('\n');
  const auto matches = [&](std::size_t at) {
    return _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(data + at)), lf);
  };
  while (size - i >= 16) {
    __m128i lanes = _mm_setzero_si128();
    for (int round = 0; round < 63 && size - i >= 64; ++round, i += 64) {
      const __m128i pair1 = _mm_add_epi8(matches(i), matches(i + 16));
      const __m128i pair2 = _mm_add_epi8(matches(i + 32), matches(i + 48));
      lanes = _mm_sub_epi8(lanes, _mm_add_epi8(pair1, pair2));
    }
    if (size - i < 64) {
      for (; size - i >= 16; i += 16)
        lanes = _mm_sub_epi8(lanes, matches(i));
    }
    const __m128i sums = _mm_sad_epu8(lanes, _mm_setzero_si128());
    count += static_cast<std::size_t>(_mm_cvtsi128_si32(sums)) +
             static_cast<std::size_t>(_mm_cvtsi128_si32(_mm_srli_si128(sums, 8)));
  }
  if (i < size && size >= 16) {
    // The last bytes, in one step over the final sixteen, of which the first lanes were
    // counted already.
    auto bits = static_cast<unsigned>(_mm_movemask_epi8(matches(size - 16))) >> (16 - (size - i));
    // Counted in place: without POPCNT in the baseline instruction set the builtin is a call.
    bits -= (bits >> 1) & 0x5555u;
    bits = (bits & 0x3333u) + ((bits >> 2) & 0x3333u);
    bits = (bits + (bits >> 4)) & 0x0F0Fu;
    return count + ((bits + (bits >> 8)) & 0x1Fu);
  }
#endif
  for (; i < size; ++i)
    count += data[i] == '\n' ? 1 : 0;
  return count;
}

// The offset of the last LF before `to`; there is one at `from` or after.
std::size_t LastLineEnd(const char* data, [[maybe_unused]] std::size_t from, std::size_t to) {
#if TALSDK_SSE2
  const __m128i lf = _mm_set1_epi8('\n');
  for (; to - from >= 16; to -= 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + to - 16));
    const auto mask = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(x, lf)));
    if (mask != 0) return to - 16 + static_cast<std::size_t>(31 - __builtin_clz(mask));
  }
#endif
  while (data[--to] != '\n') {
  }
  return to;
}

// The end of the ASCII name characters from `i`: letters, digits, '_', ':', '.', '-'.
std::size_t AsciiNameEnd(const unsigned char* data, std::size_t size, std::size_t i) {
#if TALSDK_SSE2
  const auto inRange = [](__m128i x, char low, char high) {
    return _mm_and_si128(_mm_cmpeq_epi8(_mm_max_epu8(x, _mm_set1_epi8(low)), x),
                         _mm_cmpeq_epi8(_mm_min_epu8(x, _mm_set1_epi8(high)), x));
  };
  while (size - i >= 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i));
    // '-' to ':' holds '.', the digits and '/', which is left out.
    const __m128i punctuation =
        _mm_andnot_si128(_mm_cmpeq_epi8(x, _mm_set1_epi8('/')), inRange(x, '-', ':'));
    const __m128i name = _mm_or_si128(
        _mm_or_si128(inRange(_mm_or_si128(x, _mm_set1_epi8(0x20)), 'a', 'z'), punctuation),
        _mm_cmpeq_epi8(x, _mm_set1_epi8('_')));
    const auto mask = static_cast<unsigned>(_mm_movemask_epi8(name)) ^ 0xFFFFu;
    if (mask != 0) return i + static_cast<std::size_t>(__builtin_ctz(mask));
    i += 16;
  }
#endif
  // kNameOnly and kNameStart, in one compare.
  while (i < size && static_cast<std::uint8_t>(kNameBytes[data[i]] - 1) < 2)
    ++i;
  return i;
}

bool IsWhitespaceOnly(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return IsSpace(static_cast<unsigned char>(c)); });
}

}  // namespace

// ---------------------------------------------------------------------------------------------

void TextCollector::Clear() {
  m_view = {};
  m_viewFormatting = false;
  m_runs = 0;
  m_copied = false;
  m_all.clear();
  m_significant.clear();
}

void TextCollector::Materialise() {
  if (m_copied) return;
  m_copied = true;
  if (m_runs == 1) {
    m_all.assign(m_view);
    if (!m_viewFormatting) m_significant.assign(m_view);
  }
}

void TextCollector::Add(std::string_view run, bool inDocument, bool formatting) {
  if (run.empty()) return;
  if (m_runs == 0 && inDocument) {
    m_view = run;
    m_viewFormatting = formatting;
    m_runs = 1;
    return;
  }
  Materialise();
  m_all += run;
  if (!formatting) m_significant += run;
  ++m_runs;
}

std::string_view TextCollector::Finish(bool hasChildElements) {
  if (!m_copied) return hasChildElements && m_viewFormatting ? std::string_view() : m_view;
  return hasChildElements ? m_significant : m_all;
}

// ---------------------------------------------------------------------------------------------

Tokenizer::Tokenizer(std::string_view document, std::string sourceName, Limits limits)
    : m_data(document), m_sourceName(std::move(sourceName)), m_limits(limits) {}

std::pair<int, int> Tokenizer::LineColumn(std::size_t offset) {
  offset = std::min(offset, m_data.size());
  if (offset < m_lineOffset) {
    m_lineOffset = m_lineStart = 0;
    m_line = 1;
  }
  const char* const data = m_data.data();
  const std::size_t lines = CountLineEnds(data + m_lineOffset, offset - m_lineOffset);
  if (lines > 0) {
    m_line += static_cast<int>(lines);
    m_lineStart = LastLineEnd(data, m_lineOffset, offset) + 1;
  }
  m_lineOffset = offset;
  return {m_line, static_cast<int>(offset - m_lineStart) + 1};
}

void Tokenizer::Fail(std::size_t offset, const std::string& reason) {
  const auto [line, column] = LineColumn(offset);
  throw MGeneric(
      m_sourceName + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + reason,
      m_sourceName, line, column);
}

namespace {
const std::string kMalformed = "not well-formed XML: ";
}

Tokenizer::State Tokenizer::Save() const {
  return {m_pos, m_open.size(), m_open.empty() ? std::string_view() : m_open.back(), m_elements,
          m_pendingEnd};
}

void Tokenizer::Restore(const State& state) {
  m_pos = state.position;
  m_open.resize(state.depth);
  if (state.depth > 0) m_open.back() = state.top;
  m_elements = state.elements;
  m_pendingEnd = state.pendingEnd;
}

bool Tokenizer::SkipSpace() {
  const std::size_t start = m_pos;
  while (m_pos < m_data.size() && IsSpace(static_cast<unsigned char>(m_data[m_pos])))
    ++m_pos;
  return m_pos != start;
}

// Checks the character at `at` (any byte but plain printable ASCII) and steps over it.
void Tokenizer::CheckChar(std::size_t& at) {
  std::uint32_t codePoint = 0;
  at += DecodeChar(at, codePoint);
}

// The character at `at`: its code point and length in bytes. Refuses invalid UTF-8 (overlong
// forms, surrogates, values above U+10FFFF, truncated sequences) and characters XML forbids.
std::size_t Tokenizer::DecodeChar(std::size_t at, std::uint32_t& codePoint) {
  const auto* p = reinterpret_cast<const unsigned char*>(m_data.data()) + at;
  const std::size_t left = m_data.size() - at;
  const unsigned char c = p[0];
  if (c < 0x80) {
    if (c < 0x20 && c != '\t' && c != '\n' && c != '\r') Fail(at, kMalformed + NotAllowed(c));
    codePoint = c;
    return 1;
  }
  const auto continuation = [&](std::size_t i) { return i < left && (p[i] & 0xC0) == 0x80; };
  if (c >= 0xC2 && c <= 0xDF && continuation(1)) {
    codePoint = (std::uint32_t{c} & 0x1F) << 6 | (p[1] & 0x3Fu);
    return 2;
  }
  if (c >= 0xE0 && c <= 0xEF && continuation(1) && continuation(2)) {
    codePoint = (std::uint32_t{c} & 0x0F) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu);
    if (codePoint >= 0x800 && (codePoint < 0xD800 || codePoint > 0xDFFF)) {
      if (codePoint >= 0xFFFE) Fail(at, kMalformed + NotAllowed(codePoint));
      return 3;
    }
  } else if (c >= 0xF0 && c <= 0xF4 && continuation(1) && continuation(2) && continuation(3)) {
    codePoint = (std::uint32_t{c} & 0x07) << 18 | (p[1] & 0x3Fu) << 12 | (p[2] & 0x3Fu) << 6 |
                (p[3] & 0x3Fu);
    if (codePoint >= 0x10000 && codePoint <= 0x10FFFF) return 4;
  }
  Fail(at, kMalformed + "invalid UTF-8");
}

// The end of the name starting at `at`, or `at` when no name starts there. Names are
// nearly always ASCII: that case is scanned here, anything else is left to NameEndFrom.
std::size_t Tokenizer::NameEnd(std::size_t at) {
  const auto* data = reinterpret_cast<const unsigned char*>(m_data.data());
  const std::size_t size = m_data.size();
  if (at >= size) return at;
  const std::uint8_t kind = kNameBytes[data[at]];
  if (kind != kNameStart) return kind == kNonAscii ? NameEndFrom(at, at) : at;
  const std::size_t i = AsciiNameEnd(data, size, at + 1);
  if (i >= size || kNameBytes[data[i]] == kNotName) return i;
  return NameEndFrom(at, i);
}

// The rest of a name from `i`, a non-ASCII byte: its characters are decoded and checked.
std::size_t Tokenizer::NameEndFrom(std::size_t at, std::size_t i) {
  const auto* data = reinterpret_cast<const unsigned char*>(m_data.data());
  const std::size_t size = m_data.size();
  for (;;) {
    std::uint32_t codePoint = 0;
    const std::size_t length = DecodeChar(i, codePoint);
    if (!(i == at ? IsNameStart(codePoint) : IsNameChar(codePoint))) return i;
    i = AsciiNameEnd(data, size, i + length);
    if (i >= size || kNameBytes[data[i]] == kNotName) return i;
  }
}

// At '&': a character reference or one of the five predefined entities, appended to `out`
// when not null.
void Tokenizer::ReadReference(std::string* out) {
  const std::size_t start = m_pos;
  const std::size_t size = m_data.size();
  std::size_t at = start + 1;
  if (at < size && m_data[at] == '#') {
    ++at;
    const bool hex = at < size && m_data[at] == 'x';
    if (hex) ++at;
    std::uint32_t value = 0;
    std::size_t digits = 0;
    for (; at < size; ++at, ++digits) {
      const char c = m_data[at];
      int digit = -1;
      if (c >= '0' && c <= '9') {
        digit = c - '0';
      } else if (hex && c >= 'a' && c <= 'f') {
        digit = c - 'a' + 10;
      } else if (hex && c >= 'A' && c <= 'F') {
        digit = c - 'A' + 10;
      }
      if (digit < 0) break;
      // Saturates above the last code point, so that no count of digits overflows.
      value = value > 0x10FFFF ? value : value * (hex ? 16u : 10u) + static_cast<unsigned>(digit);
    }
    if (digits == 0 || at >= size || m_data[at] != ';') {
      Fail(start, kMalformed + "malformed character reference (&#N; or &#xN; expected)");
    }
    if (!IsXmlChar(value)) {
      Fail(start,
           kMalformed + "character reference to " +
               (value > 0x10FFFF ? std::string("a value above U+10FFFF") : CodePoint(value)) +
               ", a character XML 1.0 does not allow");
    }
    if (out != nullptr) AppendUtf8(*out, value);
    m_pos = at + 1;
    return;
  }
  const std::size_t nameEnd = NameEnd(at);
  if (nameEnd == at) {
    Fail(start,
         kMalformed + "'&' must start a character or entity reference (write &amp; for '&')");
  }
  const std::string_view name = m_data.substr(at, nameEnd - at);
  if (nameEnd >= size || m_data[nameEnd] != ';') {
    Fail(start, kMalformed + "the reference '&" + std::string(name) + "' is not closed by ';'");
  }
  char c = 0;
  if (name == "amp") {
    c = '&';
  } else if (name == "lt") {
    c = '<';
  } else if (name == "gt") {
    c = '>';
  } else if (name == "apos") {
    c = '\'';
  } else if (name == "quot") {
    c = '"';
  } else {
    Fail(start, kMalformed + "undefined entity '&" + std::string(name) +
                    ";' (only &amp; &lt; &gt; &apos; &quot; are defined)");
  }
  if (out != nullptr) out->push_back(c);
  m_pos = nameEnd + 1;
}

// ---------------------------------------------------------------------------------------------

Tokenizer::Event Tokenizer::Next(TextCollector* text) {
  if (m_pendingEnd) {
    m_pendingEnd = false;
    m_open.pop_back();
    return Event::EndElement;
  }
  if (m_open.empty()) return NextOutsideRoot();
  const std::size_t size = m_data.size();
  for (;;) {
    if (m_pos >= size) {
      const std::string_view open = m_open.back();
      Fail(static_cast<std::size_t>(open.data() - m_data.data()) - 1,
           kMalformed + "element " + Quoted(open) + " is not closed");
    }
    if (m_data[m_pos] != '<') {
      // Indentation between elements is stepped over directly, and kept as formatting when
      // the text is wanted.
      const std::size_t i = SkipIndentation(m_data.data(), size, m_pos);
      if (i < size && m_data[i] == '<') {
        if (text != nullptr) text->Add(m_data.substr(m_pos, i - m_pos), true, true);
        m_pos = i;
        continue;
      }
      ReadText(text);
      continue;
    }
    const char next = m_pos + 1 < size ? m_data[m_pos + 1] : '\0';
    if (next == '/') {
      ReadEndTag();
      return Event::EndElement;
    }
    if (next == '!') {
      if (StartsWith("<!--")) {
        SkipComment();
      } else if (StartsWith("<![CDATA[")) {
        ReadCData(text);
      } else {
        Fail(m_pos, kMalformed + "'<!' inside an element must start a comment or a CDATA section");
      }
      continue;
    }
    if (next == '?') {
      SkipProcessingInstruction();
      continue;
    }
    ReadStartTag();
    return Event::StartElement;
  }
}

Tokenizer::Event Tokenizer::NextOutsideRoot() {
  if (!m_started) {
    m_started = true;
    ReadDeclaration();
  }
  const std::size_t size = m_data.size();
  for (;;) {
    SkipSpace();
    if (m_pos >= size) {
      if (!m_rootSeen) Fail(size, "no root element");
      return Event::EndOfDocument;
    }
    if (m_data[m_pos] != '<') {
      std::size_t at = m_pos;
      CheckChar(at);  // a forbidden character is named as such
      Fail(m_pos, kMalformed + (m_rootSeen ? "text after the root element"
                                           : "text before the root element"));
    }
    const char next = m_pos + 1 < size ? m_data[m_pos + 1] : '\0';
    if (next == '?') {
      SkipProcessingInstruction();
      continue;
    }
    if (next == '!') {
      if (StartsWith("<!--")) {
        SkipComment();
        continue;
      }
      if (StartsWith("<!DOCTYPE")) Fail(m_pos, "a DOCTYPE is not allowed in this document");
      Fail(m_pos, kMalformed + "'<!' outside the root element must start a comment");
    }
    if (next == '/') Fail(m_pos, kMalformed + "end tag outside the root element");
    if (m_rootSeen) Fail(m_pos, kMalformed + "a second root element");
    m_rootSeen = true;
    ReadStartTag();
    return Event::StartElement;
  }
}

// A UTF-8 byte order mark, then the XML declaration if the document starts with one.
void Tokenizer::ReadDeclaration() {
  if (StartsWith("\xEF\xBB\xBF")) {
    m_pos = 3;
  } else if (StartsWith("\xFF\xFE") || StartsWith("\xFE\xFF") ||
             StartsWith(std::string_view("\0\0\xFE\xFF", 4))) {
    Fail(0, "not a UTF-8 document (UTF-16 or UTF-32 byte order mark)");
  }
  // "<?xml-stylesheet ...?>" and the like are processing instructions.
  if (!StartsWith("<?xml") || NameEnd(m_pos + 2) != m_pos + 5) return;
  const std::size_t declaration = m_pos;
  m_pos += 5;
  const auto value = [&](std::string_view name) {
    SkipSpace();
    if (m_pos >= m_data.size() || m_data[m_pos] != '=') {
      Fail(m_pos, kMalformed + "XML declaration: '=' expected after " + std::string(name));
    }
    ++m_pos;
    SkipSpace();
    const char quote = m_pos < m_data.size() ? m_data[m_pos] : '\0';
    if (quote != '"' && quote != '\'') {
      Fail(m_pos,
           kMalformed + "XML declaration: the value of " + std::string(name) + " must be quoted");
    }
    const std::size_t start = ++m_pos;
    while (m_pos < m_data.size() && m_data[m_pos] != quote) {
      const auto c = static_cast<unsigned char>(m_data[m_pos]);
      if (c < 0x20 || c >= 0x7F || c == '<' || c == '>' || c == '?') {
        Fail(m_pos,
             kMalformed + "XML declaration: the value of " + std::string(name) + " is not closed");
      }
      ++m_pos;
    }
    if (m_pos >= m_data.size()) Fail(start, kMalformed + "XML declaration is not closed");
    return m_data.substr(start, m_pos++ - start);
  };

  if (!SkipSpace() || !StartsWith("version")) {
    Fail(declaration, kMalformed + "the XML declaration must start with version=\"1.0\"");
  }
  m_pos += 7;
  const std::string_view version = value("version");
  if (version.size() < 3 || !version.starts_with("1.") ||
      !std::all_of(version.begin() + 2, version.end(),
                   [](char c) { return c >= '0' && c <= '9'; })) {
    Fail(OffsetOf(version) - 1, kMalformed + "XML version " + Quoted(version) + " is not 1.x");
  }
  bool space = SkipSpace();
  if (space && StartsWith("encoding")) {
    m_pos += 8;
    const std::string_view encoding = value("encoding");
    const auto letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    if (encoding.empty() || !letter(encoding.front()) ||
        !std::all_of(encoding.begin(), encoding.end(), [&](char c) {
          return letter(c) || (c >= '0' && c <= '9') || c == '.' || c == '_' || c == '-';
        })) {
      Fail(OffsetOf(encoding) - 1, kMalformed + Quoted(encoding) + " is not an encoding name");
    }
    std::string lower(encoding);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    if (lower != "utf-8" && lower != "utf8" && lower != "us-ascii" && lower != "ascii") {
      Fail(declaration,
           "declares the encoding " + Quoted(encoding) + "; only UTF-8 documents are read");
    }
    space = SkipSpace();
  }
  if (space && StartsWith("standalone")) {
    m_pos += 10;
    const std::string_view standalone = value("standalone");
    if (standalone != "yes" && standalone != "no") {
      Fail(OffsetOf(standalone) - 1,
           kMalformed + "XML declaration: standalone must be 'yes' or 'no'");
    }
    SkipSpace();
  }
  if (!StartsWith("?>")) {
    Fail(m_pos, kMalformed +
                    "malformed XML declaration (version, then encoding and standalone, then '?>')");
  }
  m_pos += 2;
}

void Tokenizer::ReadStartTag() {
  const std::size_t size = m_data.size();
  m_tagOffset = m_pos;
  const std::size_t nameStart = m_pos + 1;
  const std::size_t nameEnd = NameEnd(nameStart);
  if (nameEnd == nameStart) {
    Fail(m_pos, kMalformed + "'<' must start a tag (write &lt; for '<' in text)");
  }
  if (m_open.size() >= m_limits.maxDepth) {
    Fail(m_pos, "elements nested deeper than " + std::to_string(m_limits.maxDepth) + " levels");
  }
  if (++m_elements > m_limits.maxElements) {
    Fail(m_pos, "more than " + std::to_string(m_limits.maxElements) +
                    " elements, the reader's element limit");
  }
  m_name = m_data.substr(nameStart, nameEnd - nameStart);
  m_pos = nameEnd;
  m_attributes.clear();
  // The usual tag without attributes.
  if (m_pos < size && m_data[m_pos] == '>') {
    ++m_pos;
    m_open.push_back(m_name);
    return;
  }
  m_decodedValues.clear();
  m_valueStorage.clear();

  for (;;) {
    const bool space = SkipSpace();
    if (m_pos >= size) {
      Fail(m_tagOffset, kMalformed + "the start tag of " + Quoted(m_name) + " is not closed");
    }
    const char c = m_data[m_pos];
    if (c == '>') {
      ++m_pos;
      break;
    }
    if (c == '/') {
      if (m_pos + 1 < size && m_data[m_pos + 1] == '>') {
        m_pos += 2;
        m_pendingEnd = true;
        break;
      }
      Fail(m_pos, kMalformed + "'/' in a start tag must be followed by '>'");
    }
    if (!space) {
      Fail(m_pos, kMalformed + (m_attributes.empty()
                                    ? "unexpected character in the start tag of " + Quoted(m_name)
                                    : std::string("attributes must be separated by white space")));
    }
    const std::size_t attributeStart = m_pos;
    const std::size_t attributeEnd = NameEnd(m_pos);
    if (attributeEnd == attributeStart) {
      Fail(m_pos, kMalformed + "unexpected character in the start tag of " + Quoted(m_name));
    }
    const std::string_view name = m_data.substr(attributeStart, attributeEnd - attributeStart);
    m_pos = attributeEnd;
    SkipSpace();
    if (m_pos >= size || m_data[m_pos] != '=') {
      Fail(attributeStart, kMalformed + "attribute " + Quoted(name) + " has no '=' and value");
    }
    ++m_pos;
    SkipSpace();
    const char quote = m_pos < size ? m_data[m_pos] : '\0';
    if (quote != '"' && quote != '\'') {
      Fail(m_pos, kMalformed + "the value of attribute " + Quoted(name) + " must be quoted");
    }
    const std::size_t valueStart = ++m_pos;
    const std::size_t storageStart = m_valueStorage.size();
    bool decoded = false;
    const std::size_t valueEnd = ReadAttributeValue(quote, decoded);
    if (decoded) {
      m_decodedValues.emplace_back(m_attributes.size(), storageStart);
      m_attributes.push_back({name, {}});
    } else {
      m_attributes.push_back({name, m_data.substr(valueStart, valueEnd - valueStart)});
    }
  }

  // Values that needed decoding live in one buffer that may have moved while it grew.
  for (std::size_t i = 0; i < m_decodedValues.size(); ++i) {
    const auto [index, start] = m_decodedValues[i];
    const std::size_t end =
        i + 1 < m_decodedValues.size() ? m_decodedValues[i + 1].second : m_valueStorage.size();
    m_attributes[index].value = std::string_view(m_valueStorage).substr(start, end - start);
  }

  // Duplicate attribute names: a pairwise look for the usual few, sorting for many.
  const std::size_t count = m_attributes.size();
  const auto duplicate = [&](std::string_view name) {
    Fail(static_cast<std::size_t>(name.data() - m_data.data()),
         kMalformed + "duplicate attribute " + Quoted(name));
  };
  if (count <= 16) {
    for (std::size_t i = 1; i < count; ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        if (m_attributes[i].name == m_attributes[j].name) duplicate(m_attributes[i].name);
      }
    }
  } else {
    std::vector<std::string_view> names;
    names.reserve(count);
    for (const Attribute& attribute : m_attributes)
      names.push_back(attribute.name);
    std::sort(names.begin(), names.end());
    const auto it = std::adjacent_find(names.begin(), names.end());
    if (it != names.end()) {
      // Name the later occurrence in the tag.
      std::string_view later = *it;
      for (const Attribute& attribute : m_attributes) {
        if (attribute.name == *it) later = attribute.name;
      }
      duplicate(later);
    }
  }
  m_open.push_back(m_name);
}

// After the opening quote; leaves m_pos after the closing one and returns the offset of the
// closing quote. Decoded values (references, normalised white space) go to m_valueStorage.
std::size_t Tokenizer::ReadAttributeValue(char quote, bool& decoded) {
  const char* const data = m_data.data();
  const std::size_t size = m_data.size();
  const std::size_t opening = m_pos - 1;
  std::size_t i = m_pos;
  std::size_t segment = i;
  const auto flush = [&] {
    if (!decoded) m_valueStorage.reserve(m_valueStorage.size() + (i - segment) + 16);
    m_valueStorage.append(data + segment, i - segment);
    decoded = true;
  };
  for (;;) {
    i = FindValueSpecial(data, size, i, quote);
    if (i >= size) Fail(opening, kMalformed + "attribute value is not closed");
    const char c = data[i];
    if (c == quote) break;
    if (c == '<') Fail(i, kMalformed + "'<' is not allowed in attribute values (write &lt;)");
    if (c == '&') {
      flush();
      m_pos = i;
      ReadReference(&m_valueStorage);
      i = segment = m_pos;
      continue;
    }
    if (c == '\t' || c == '\n' || c == '\r') {
      // Attribute-value normalisation: each white space character (CR LF counts as one)
      // becomes a space.
      flush();
      m_valueStorage += ' ';
      if (c == '\r' && i + 1 < size && data[i + 1] == '\n') ++i;
      segment = ++i;
      continue;
    }
    CheckChar(i);
  }
  if (decoded) m_valueStorage.append(data + segment, i - segment);
  m_pos = i + 1;
  return i;
}

void Tokenizer::ReadEndTag() {
  const std::size_t tag = m_pos;
  // The usual case: exactly the open element's name, then '>'.
  const std::string_view open = m_open.back();
  const std::size_t after = tag + 2 + open.size();
  if (after < m_data.size() && m_data[after] == '>' &&
      std::memcmp(m_data.data() + tag + 2, open.data(), open.size()) == 0) {
    m_pos = after + 1;
    m_open.pop_back();
    return;
  }
  const std::size_t nameStart = m_pos + 2;
  const std::size_t nameEnd = NameEnd(nameStart);
  if (nameEnd == nameStart) Fail(tag, kMalformed + "'</' must be followed by an element name");
  const std::string_view name = m_data.substr(nameStart, nameEnd - nameStart);
  m_pos = nameEnd;
  SkipSpace();
  if (m_pos >= m_data.size() || m_data[m_pos] != '>') {
    Fail(m_pos, kMalformed + "the end tag of " + Quoted(name) + " must end with '>'");
  }
  ++m_pos;
  if (name != m_open.back()) {
    Fail(tag, kMalformed + "end tag " + Quoted(name) + " does not match the open element " +
                  Quoted(m_open.back()));
  }
  m_open.pop_back();
}

bool Tokenizer::ReadPlainLeafText(std::string_view& text) {
  if (m_pendingEnd) {  // an empty-element tag: no text, and its end is read
    m_pendingEnd = false;
    m_open.pop_back();
    text = {};
    return true;
  }
  if (m_open.empty()) return false;
  const char* const data = m_data.data();
  const std::size_t size = m_data.size();
  const std::size_t start = m_pos;
  std::size_t i = start;
  for (;;) {
    i = FindTextSpecial(data, size, i);
    if (i >= size) return false;
    const auto c = static_cast<unsigned char>(data[i]);
    if (c == '<') break;
    if (c == ']' && m_data.substr(i, 3) != "]]>") {
      ++i;
      continue;
    }
    // The multi-byte characters ReadText accepts without decoding; anything else is left to it.
    const auto follows = [&](std::size_t at) {
      return at < size && (static_cast<unsigned char>(data[at]) & 0xC0) == 0x80;
    };
    if (c >= 0xC2 && c <= 0xDF && follows(i + 1)) {
      i += 2;
    } else if (((c >= 0xE1 && c <= 0xEC) || c == 0xEE) && follows(i + 1) && follows(i + 2)) {
      i += 3;
    } else {
      return false;
    }
  }
  const std::string_view open = m_open.back();
  const std::size_t after = i + 2 + open.size();
  if (after >= size || data[i + 1] != '/' || data[after] != '>' ||
      std::memcmp(data + i + 2, open.data(), open.size()) != 0) {
    return false;
  }
  text = m_data.substr(start, i - start);
  m_pos = after + 1;
  m_open.pop_back();
  return true;
}

void Tokenizer::ReadText(TextCollector* text) {
  const char* const data = m_data.data();
  const std::size_t size = m_data.size();
  const std::size_t start = m_pos;
  std::size_t i = start;
  std::size_t segment = start;
  bool decoded = false;
  const auto flush = [&] {
    if (!decoded) m_textStorage.clear();
    m_textStorage.append(data + segment, i - segment);
    decoded = true;
  };
  for (;;) {
    i = FindTextSpecial(data, size, i);
    if (i >= size) break;
    const char c = data[i];
    if (c == '<') break;
    if (c == '&') {
      if (text != nullptr) flush();
      m_pos = i;
      ReadReference(text != nullptr ? &m_textStorage : nullptr);
      i = segment = m_pos;
      continue;
    }
    if (c == ']') {
      if (m_data.substr(i, 3) == "]]>") Fail(i, kMalformed + "']]>' is not allowed in text");
      ++i;
      continue;
    }
    if (c == '\r') {
      // Line ends: CR LF and a lone CR read as LF.
      if (text != nullptr) {
        flush();
        m_textStorage += '\n';
      }
      if (++i < size && data[i] == '\n') ++i;
      segment = i;
      continue;
    }
    // The most frequent non-ASCII characters, whose every well-formed sequence is a character
    // XML allows: two-byte ones, and three-byte ones from U+1000 to U+CFFF and U+E000 to
    // U+EFFF. Everything else is decoded and checked in full.
    const auto lead = static_cast<unsigned char>(c);
    const auto follows = [&](std::size_t at) {
      return at < size && (static_cast<unsigned char>(data[at]) & 0xC0) == 0x80;
    };
    if (lead >= 0xC2 && lead <= 0xDF && follows(i + 1)) {
      i += 2;
    } else if (((lead >= 0xE1 && lead <= 0xEC) || lead == 0xEE) && follows(i + 1) &&
               follows(i + 2)) {
      i += 3;
    } else {
      CheckChar(i);
    }
  }
  m_pos = i;
  if (text == nullptr || i == start) return;
  const bool formatting = IsWhitespaceOnly(m_data.substr(start, i - start));
  if (decoded) {
    m_textStorage.append(data + segment, i - segment);
    text->Add(m_textStorage, false, formatting);
  } else {
    text->Add(m_data.substr(start, i - start), true, formatting);
  }
}

void Tokenizer::ReadCData(TextCollector* text) {
  const char* const data = m_data.data();
  const std::size_t size = m_data.size();
  const std::size_t start = m_pos;
  const std::size_t content = start + 9;
  std::size_t i = content;
  std::size_t segment = content;
  bool decoded = false;
  for (;;) {
    if (i >= size) Fail(start, kMalformed + "CDATA section is not closed by ']]>'");
    const auto c = static_cast<unsigned char>(data[i]);
    if (c == ']' && m_data.substr(i, 3) == "]]>") break;
    if (c == '\r') {
      if (text != nullptr) {
        if (!decoded) m_textStorage.clear();
        m_textStorage.append(data + segment, i - segment);
        m_textStorage += '\n';
        decoded = true;
      }
      if (++i < size && data[i] == '\n') ++i;
      segment = i;
      continue;
    }
    if (c >= 0x20 && c < 0x80) {
      ++i;
      continue;
    }
    CheckChar(i);
  }
  m_pos = i + 3;
  if (text == nullptr) return;
  if (decoded) {
    m_textStorage.append(data + segment, i - segment);
    text->Add(m_textStorage, false, false);
  } else {
    text->Add(m_data.substr(content, i - content), true, false);
  }
}

void Tokenizer::SkipComment() {
  const std::size_t start = m_pos;
  const std::size_t size = m_data.size();
  std::size_t i = start + 4;
  for (;;) {
    if (i >= size) Fail(start, kMalformed + "comment is not closed by '-->'");
    const auto c = static_cast<unsigned char>(m_data[i]);
    if (c == '-' && i + 1 < size && m_data[i + 1] == '-') {
      if (i + 2 < size && m_data[i + 2] == '>') {
        m_pos = i + 3;
        return;
      }
      Fail(i, kMalformed + "'--' is not allowed inside a comment");
    }
    if (c >= 0x20 && c < 0x80) {
      ++i;
      continue;
    }
    CheckChar(i);
  }
}

void Tokenizer::SkipProcessingInstruction() {
  const std::size_t start = m_pos;
  const std::size_t size = m_data.size();
  const std::size_t targetEnd = NameEnd(start + 2);
  if (targetEnd == start + 2) {
    Fail(start, kMalformed + "a processing instruction must start with a target name");
  }
  const std::string_view target = m_data.substr(start + 2, targetEnd - start - 2);
  if (target.size() == 3 && (target[0] | 0x20) == 'x' && (target[1] | 0x20) == 'm' &&
      (target[2] | 0x20) == 'l') {
    Fail(start, kMalformed +
                    (target == "xml"
                         ? std::string("the XML declaration must come first in the document")
                         : "the processing instruction target " + Quoted(target) + " is reserved"));
  }
  std::size_t i = targetEnd;
  if (m_data.substr(i, 2) == "?>") {
    m_pos = i + 2;
    return;
  }
  if (i >= size || !IsSpace(static_cast<unsigned char>(m_data[i]))) {
    Fail(i, kMalformed + "the processing instruction target must be followed by white space");
  }
  for (;;) {
    if (i >= size) Fail(start, kMalformed + "processing instruction is not closed by '?>'");
    const auto c = static_cast<unsigned char>(m_data[i]);
    if (c == '?' && i + 1 < size && m_data[i + 1] == '>') {
      m_pos = i + 2;
      return;
    }
    if (c >= 0x20 && c < 0x80) {
      ++i;
      continue;
    }
    CheckChar(i);
  }
}

}  // namespace TalSAX::Xml
