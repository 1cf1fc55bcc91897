#pragma once
// A declarative description of the value fields of a block. Each field is described once
// (tag, member, kind) and the description serves reading, writing, comparing and resetting:
//
//   using namespace TalAM::Persistence;
//   inline constexpr auto kEnvelopeFields = MakeFieldTable<MSAXMachineEnvelope>(
//       Value("Dx", &MSAXMachineEnvelope::m_dx),
//       Enum("Kind", &MSAXMachineEnvelope::m_kind, kKindTexts, EnumReading::Strict,
//            Kind::Box),
//       Float("Margin", &MSAXMachineEnvelope::m_margin, 3, true).NotCompared());
//
//   HandleTag:  if (auto r = kEnvelopeFields.Read(tagName, *this, reader)) return *r;
//   Write:      kEnvelopeFields.Write(*this, writer) && ...
//   operator==: kEnvelopeFields.Equal(*this, other) && ...
//
// Fields are literal values held in a std::tuple; every operation is a fold over it, so there
// is no allocation and no indirect call except for the function pointers a field is given.
// A table serves one order: a block whose reading and writing orders differ uses two tables.

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include <TalSDK/persistence/ValueTags.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>

namespace TalAM::Persistence {

// The member types a Value field reads with ISAXReader::ReadValue and writes with
// WriteValueTag.
template <class T>
concept ValueFieldType =
    std::same_as<T, bool> || std::same_as<T, std::int32_t> || std::same_as<T, std::uint32_t> ||
    std::same_as<T, long> || std::same_as<T, std::uint16_t> || std::same_as<T, float> ||
    std::same_as<T, double> || std::same_as<T, std::wstring> || std::same_as<T, std::string>;

// What an enumeration field does with a text that names none of its values.
enum class EnumReading {
  Strict,   // the read fails and the member keeps its value
  Lenient,  // the member takes the fallback value and the read succeeds
};

// One value of an enumeration and its text in documents (compared exactly).
template <class E>
struct EnumText {
  E value;
  std::string_view text;
};

// One described field: its tag, what it does (the codec) and the modifiers. Owner is the class
// that declares the member; a table of a derived class accepts it.
template <class Owner, class Codec>
class Field {
 public:
  using OwnerType = Owner;
  using WritePredicate = bool (*)(const Owner&);

  constexpr Field(std::string_view tag, Codec codec) : m_tag(tag), m_codec(codec) {}

  // Left out of Equal.
  constexpr Field NotCompared() const {
    Field field = *this;
    field.m_compared = false;
    return field;
  }
  // Its write result does not count: a failure neither stops writing nor makes Write fail.
  constexpr Field WriteResultIgnored() const {
    Field field = *this;
    field.m_writeResultCounts = false;
    return field;
  }
  // Reading it succeeds whatever the read gave (the member still changes only on success).
  constexpr Field ReadResultIgnored() const {
    Field field = *this;
    field.m_readResultCounts = false;
    return field;
  }
  // Written only when `predicate` says so.
  constexpr Field WriteIf(WritePredicate predicate) const {
    Field field = *this;
    field.m_writeIf = predicate;
    return field;
  }

  constexpr std::string_view Tag() const { return m_tag; }

  bool Read(Owner& object, TalSAX::ISAXReader& reader) const {
    const bool ok = m_codec.Read(object, reader);
    return ok || !m_readResultCounts;
  }
  // False when writing must stop.
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer) const {
    if (m_writeIf != nullptr && !m_writeIf(object)) return true;
    const bool ok = m_codec.Write(object, writer, m_tag);
    return ok || !m_writeResultCounts;
  }
  bool Equal(const Owner& a, const Owner& b) const { return !m_compared || m_codec.Equal(a, b); }
  void Reset(Owner& object, const Owner& defaults) const { m_codec.Reset(object, defaults); }

 private:
  std::string_view m_tag;
  Codec m_codec;
  WritePredicate m_writeIf = nullptr;
  bool m_compared = true;
  bool m_writeResultCounts = true;
  bool m_readResultCounts = true;
};

namespace Detail {

template <class Owner, class T>
struct MemberCodec {
  T Owner::*member;

  bool Equal(const Owner& a, const Owner& b) const { return a.*member == b.*member; }
  void Reset(Owner& object, const Owner& defaults) const { object.*member = defaults.*member; }
};

// Reads into a temporary so that a failed read leaves the member as it was.
template <class Owner, class T>
struct ValueCodec : MemberCodec<Owner, T> {
  bool Read(Owner& object, TalSAX::ISAXReader& reader) const {
    T value{};
    if (!reader.ReadValue(value)) return false;
    object.*(this->member) = std::move(value);
    return true;
  }
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    return WriteValueTag(writer, tag, object.*(this->member));
  }
};

template <class Owner, class T>
struct PrecisionCodec : ValueCodec<Owner, T> {
  int precision;
  bool fixed;

  bool Write(const Owner& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    return WriteValueTag(writer, tag, object.*(this->member), precision, fixed);
  }
};

template <class Owner, class E, std::size_t N>
struct EnumCodec : MemberCodec<Owner, E> {
  std::array<EnumText<E>, N> texts;
  EnumReading reading;
  E fallback;

  bool Read(Owner& object, TalSAX::ISAXReader& reader) const {
    const std::string_view text = reader.GetElementTextView();
    for (const EnumText<E>& entry : texts) {
      if (entry.text == text) {
        object.*(this->member) = entry.value;
        return true;
      }
    }
    if (reading == EnumReading::Strict) return false;
    object.*(this->member) = fallback;
    return true;
  }
  // A value without a text is written as an empty element.
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    writer.StartTag(tag);
    for (const EnumText<E>& entry : texts) {
      if (entry.value == object.*(this->member)) {
        if (!entry.text.empty()) writer.WriteText(entry.text);
        break;
      }
    }
    writer.EndTag(tag);
    return true;
  }
};

template <class Owner, class E>
struct EnumAsIntCodec : MemberCodec<Owner, E> {
  bool Read(Owner& object, TalSAX::ISAXReader& reader) const {
    int value = 0;
    if (!reader.ReadValue(value)) return false;
    object.*(this->member) = static_cast<E>(value);
    return true;
  }
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    return WriteValueTag(writer, tag, static_cast<int>(object.*(this->member)));
  }
};

template <class Owner>
struct CustomCodec {
  bool (*read)(Owner&, TalSAX::ISAXReader&);
  bool (*write)(const Owner&, TalSAX::ISAXWriter&, std::string_view tag);
  bool (*equal)(const Owner&, const Owner&);
  void (*reset)(Owner&, const Owner&);

  bool Read(Owner& object, TalSAX::ISAXReader& reader) const { return read(object, reader); }
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    return write(object, writer, tag);
  }
  bool Equal(const Owner& a, const Owner& b) const { return equal(a, b); }
  void Reset(Owner& object, const Owner& defaults) const {
    if (reset != nullptr) reset(object, defaults);
  }
};

template <class T>
inline constexpr bool kIsField = false;
template <class Owner, class Codec>
inline constexpr bool kIsField<Field<Owner, Codec>> = true;

}  // namespace Detail

// A scalar member: bool, std::int32_t, std::uint32_t, long, std::uint16_t, float (8
// significant digits), double (17), std::wstring or std::string (UTF-8).
template <class Owner, ValueFieldType T>
constexpr auto Value(std::string_view tag, T Owner::*member) {
  return Field<Owner, Detail::ValueCodec<Owner, T>>(tag, {{member}});
}

// A floating-point member written with `precision` significant digits (`fixed`: digits after
// the point).
template <class Owner>
constexpr auto Float(std::string_view tag, float Owner::*member, int precision, bool fixed) {
  return Field<Owner, Detail::PrecisionCodec<Owner, float>>(tag, {{{member}}, precision, fixed});
}
template <class Owner>
constexpr auto Double(std::string_view tag, double Owner::*member, int precision, bool fixed) {
  return Field<Owner, Detail::PrecisionCodec<Owner, double>>(tag, {{{member}}, precision, fixed});
}

// An enumeration written as the text its value has in `texts`. Reading compares texts exactly;
// what an unknown text does depends on `reading` (`fallback` serves Lenient only).
template <class Owner, class E, std::size_t N>
requires std::is_enum_v<E>
constexpr auto Enum(std::string_view tag, E Owner::*member, const std::array<EnumText<E>, N>& texts,
                    EnumReading reading, E fallback) {
  return Field<Owner, Detail::EnumCodec<Owner, E, N>>(tag, {{member}, texts, reading, fallback});
}
template <class Owner, class E, std::size_t N>
requires std::is_enum_v<E>
constexpr auto Enum(std::string_view tag, E Owner::*member, const EnumText<E> (&texts)[N],
                    EnumReading reading, E fallback) {
  return Enum(tag, member, std::to_array(texts), reading, fallback);
}

// An enumeration written as its int value. Any int is accepted on reading.
template <class Owner, class E>
requires std::is_enum_v<E>
constexpr auto EnumAsInt(std::string_view tag, E Owner::*member) {
  return Field<Owner, Detail::EnumAsIntCodec<Owner, E>>(tag, {{member}});
}

// A field with its own functions, for what the other kinds do not cover. Owner is given
// explicitly (Custom<MyBlock>(...)) so that captureless lambdas convert. `write` receives the
// field's tag. Without `reset` the field is left alone by Reset.
template <class Owner>
constexpr auto Custom(std::string_view tag, bool (*read)(Owner&, TalSAX::ISAXReader&),
                      bool (*write)(const Owner&, TalSAX::ISAXWriter&, std::string_view),
                      bool (*equal)(const Owner&, const Owner&),
                      void (*reset)(Owner&, const Owner&) = nullptr) {
  if (read == nullptr || write == nullptr || equal == nullptr) {
    throw std::invalid_argument("Custom field without a read, write or equal function");
  }
  return Field<Owner, Detail::CustomCodec<Owner>>(tag, {read, write, equal, reset});
}

// The fields of a block, in the order they are written and compared.
template <class Owner, class... Fields>
class FieldTable {
 public:
  constexpr explicit FieldTable(const Fields&... fields) : m_fields(fields...) {
    const std::array<std::string_view, sizeof...(Fields)> tags{fields.Tag()...};
    for (std::size_t i = 0; i < tags.size(); ++i) {
      for (std::size_t j = i + 1; j < tags.size(); ++j) {
        // Only the first of two fields with one tag could ever be read.
        if (tags[i] == tags[j]) throw std::logic_error("two fields of a table share a tag");
      }
    }
  }

  // The result of the field that owns `tag`, or nothing when no field does.
  std::optional<bool> Read(std::string_view tag, Owner& object, TalSAX::ISAXReader& reader) const {
    std::optional<bool> result;
    std::apply(
        [&](const auto&... field) {
          (void)((field.Tag() == tag && (result = field.Read(object, reader), true)) || ...);
        },
        m_fields);
    return result;
  }

  // Writes the fields in order; stops at the first failing field whose result counts.
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer) const {
    return std::apply([&](const auto&... field) { return (field.Write(object, writer) && ...); },
                      m_fields);
  }

  // Exact comparison of the compared fields, in order (NaN differs from itself).
  bool Equal(const Owner& a, const Owner& b) const {
    return std::apply([&](const auto&... field) { return (field.Equal(a, b) && ...); }, m_fields);
  }

  // Copies every field from `defaults`.
  void Reset(Owner& object, const Owner& defaults) const {
    std::apply([&](const auto&... field) { (field.Reset(object, defaults), ...); }, m_fields);
  }

 private:
  std::tuple<Fields...> m_fields;
};

template <class Owner, class... Fields>
constexpr FieldTable<Owner, Fields...> MakeFieldTable(const Fields&... fields) {
  static_assert((Detail::kIsField<Fields> && ...), "MakeFieldTable takes fields only");
  static_assert((std::is_base_of_v<typename Fields::OwnerType, Owner> && ...),
                "a field belongs to another class");
  return FieldTable<Owner, Fields...>(fields...);
}

// The usual SetDefaults of a block: a default object that keeps the current operating mode.
template <class T>
void ResetKeepingMode(T& object) {
  static_assert(std::is_base_of_v<TalSDK::MSaxPersistExtensibleObject, T>);
  T defaults;
  defaults.SetOperatingMode(object.GetOperatingMode());
  object = std::move(defaults);
}

}  // namespace TalAM::Persistence
