#pragma once
// One description per block. A block lists its fields once, in write order, one line per tag,
// and that description reads, writes, compares, resets, lists the kept-element nodes and
// visits the block:
//
//   constexpr auto kFields = Describe<MSAXMachineEnvelope>(
//       Length("Dx", &E::m_dx).AfterRead(...), Length("Dy", &E::m_dy), Length("Dz", &E::m_dz));
//
//   HandleTag  -> kFields.HandleTag(tag, *this, reader)   (unknown tags are kept)
//   Write      -> kFields.Write(*this, writer)            (kept elements last)
//   operator== -> kFields.Equal(*this, other)             (kept elements included)
//   SetDefaults-> kFields.SetDefaults(*this)              (the operating mode survives)
//   GetExtensibleObjectNodes -> kFields.Nodes(*this)
//   VisitFields-> kFields.Visit(*this, visit)
//
// What a field is (scalar, enumeration, child block, group, list, mesh) is its kind; how one
// field differs from the usual is a modifier on its line (.NotCompared(), .WriteIf(...)).
// Fields are literal values in a std::tuple and every operation is a fold over it: no
// allocation and no indirect call beyond the function pointers a field is given.
//
// Reading order. A block's tags are unique, so the order in which they are tested cannot be
// observed and the write order serves reading too. The one exception is a tag used both
// inside a group and outside it ("Name" in "Material" and at the machine's top level): a
// group's field takes the tag when its group's element encloses it, otherwise a field of the
// block with that tag does, and only when there is none the group's field takes it anyway.

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

#include <TalSDK/MachinesExport.h>
#include <TalSDK/conceptlaser/CLLengthMode.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/persistence/ValueTags.h>
#include <TalSDK/sdk/mesh/SaxStlBase.h>
#include <TalSDK/sdk/mesh/StlBase.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>

namespace TalAM::Persistence {

using NodeList = TalSDK::MSaxPersistExtensibleObject::NodeList;
using OperatingMode = TalSDK::MSaxPersistExtensibleObject::OperatingMode;

// Whether objects of type T list only themselves as nodes: T does not override
// GetExtensibleObjectNodes. Members and list items are held by value, so their dynamic type is
// T and the answer holds for them; listing them then needs no list of their own.
template <class T>
inline constexpr bool kListsOnlyItself =
    std::is_same_v<decltype(&T::GetExtensibleObjectNodes),
                   NodeList (TalSDK::MSaxPersistExtensibleObject::*)() const>;

// RecursiveInsertNodes for an object held by value.
template <class T>
void InsertNodesOf(NodeList& nodes, const T& object) {
  if constexpr (kListsOnlyItself<T>) {
    nodes.emplace_back(object);
  } else {
    TalSDK::MSaxPersistExtensibleObjectUtilities::RecursiveInsertNodes(nodes, object);
  }
}
template <class... T>
void InsertNodesOf(NodeList& nodes, const T&... objects) {
  (InsertNodesOf(nodes, objects), ...);
}

// SetOperatingModeOfAllNodes for an object held by value.
template <class T>
void SetOperatingModeOf(T& object, OperatingMode mode) {
  if constexpr (kListsOnlyItself<T>) {
    object.SetOperatingMode(mode);
  } else {
    TalSDK::MSaxPersistExtensibleObjectUtilities::SetOperatingModeOfAllNodes(object, mode);
  }
}

// ---------------------------------------------------------------------------------------------
// Text of values, as the writer formats them (for the visitor).

TALSDK_MACHINES_EXPORT std::string ValueText(bool value);
TALSDK_MACHINES_EXPORT std::string ValueText(int value);
TALSDK_MACHINES_EXPORT std::string ValueText(unsigned int value);
TALSDK_MACHINES_EXPORT std::string ValueText(long value);
TALSDK_MACHINES_EXPORT std::string ValueText(unsigned short value);
TALSDK_MACHINES_EXPORT std::string ValueText(float value);
TALSDK_MACHINES_EXPORT std::string ValueText(double value);
TALSDK_MACHINES_EXPORT std::string ValueText(
    const std::wstring& value);  // invalid characters shown as U+FFFD
inline std::string ValueText(const std::string& value) {
  return value;
}

// ---------------------------------------------------------------------------------------------
// Member access. A field reaches its value through an accessor: Find gives the value or null
// when it is absent (then the field is neither written nor visited), Access gives it for
// reading, creating it when needed, and Reset copies it from a default object.

template <class Owner, class T>
struct Member {
  T Owner::*member;
  const T* Find(const Owner& o) const { return &(o.*member); }
  T& Access(Owner& o) const { return o.*member; }
};

// A member of a member block: the machine's top-level "ZCompensation" is the Z compensation
// block's value.
template <class Owner, class Inner, class T>
struct NestedMember {
  Inner Owner::*inner;
  T Inner::*member;
  const T* Find(const Owner& o) const { return &((o.*inner).*member); }
  T& Access(Owner& o) const { return (o.*inner).*member; }
};

// A member of a structure held in a std::optional: absent until a read engages it through the
// owner's own operation, which gives the structure its defaults.
template <class Owner, class S, class T>
struct OptionalMember {
  std::optional<S> Owner::*holder;
  S& (Owner::*engage)();
  T S::*member;
  const T* Find(const Owner& o) const {
    const std::optional<S>& h = o.*holder;
    return h ? &((*h).*member) : nullptr;
  }
  T& Access(Owner& o) const { return (o.*engage)().*member; }
};

template <class Owner, class Inner, class T>
constexpr NestedMember<Owner, Inner, T> InMember(Inner Owner::*inner, T Inner::*member) {
  return {inner, member};
}
template <class Owner, class S, class T>
constexpr OptionalMember<Owner, S, T> InOptional(std::optional<S> Owner::*holder,
                                                 S& (Owner::*engage)(), T S::*member) {
  return {holder, engage, member};
}

template <class A, class Owner>
using AccessedType =
    std::remove_reference_t<decltype(std::declval<const A&>().Access(std::declval<Owner&>()))>;

// ---------------------------------------------------------------------------------------------
// Enumerations. The texts of an enumeration type are declared once, as a specialisation of
// EnumTexts next to the description that first uses them:
//
//   template <> inline constexpr auto EnumTexts<DirectionAxis> =
//       std::to_array<EnumText<DirectionAxis>>({{DirectionAxis::X, "X"}, {DirectionAxis::Y, "Y"}});

template <class E>
struct EnumText {
  E value;
  std::string_view text;
};

template <class E>
inline constexpr std::array<EnumText<E>, 0> EnumTexts{};

// Reading a text that names no value.
enum class UnknownText {
  Refused,     // the read fails and the member keeps its value
  AsFallback,  // the member takes the field's fallback value and the read succeeds
};

// Writing a value that has no text.
enum class ValueWithoutText {
  FailsWrite,      // the write fails: nothing is written for the field
  WritesFallback,  // the field's fallback value's text is written
  WritesEmpty,     // an empty element is written
};

// ---------------------------------------------------------------------------------------------
// Fields.

// Marks children and list items that persist themselves (no reader helper, no writer).
struct SelfPersisting {};

// Which of the reading passes a tag is tried in (see the reading order above).
enum class ReadPass { Scoped, Plain, Fallback };

template <class Owner, class Codec>
class Field {
 public:
  using OwnerType = Owner;
  using CodecType = Codec;
  using WritePredicate = bool (*)(const Owner&);
  using ReadHook = void (*)(Owner&);

  constexpr Field(std::string_view tag, Codec codec) : m_tag(tag), m_codec(codec) {}

  // Left out of equality.
  constexpr Field NotCompared() const {
    return With([](Field& f) { f.m_compared = false; });
  }
  // A failure to write it neither stops the block nor makes it fail.
  constexpr Field WriteResultIgnored() const {
    return With([](Field& f) { f.m_writeResultCounts = false; });
  }
  // Reading it succeeds whatever the read gave (the member changes only on success).
  constexpr Field ReadResultIgnored() const {
    return With([](Field& f) { f.m_readResultCounts = false; });
  }
  // Written only when `predicate` holds.
  constexpr Field WriteIf(WritePredicate predicate) const {
    Field field = *this;
    field.m_writeIf = predicate;
    return field;
  }
  // Called after every successful read of the field.
  constexpr Field AfterRead(ReadHook hook) const {
    Field field = *this;
    field.m_afterRead = hook;
    return field;
  }

  constexpr std::string_view Tag() const { return m_tag; }
  // The tag of a list's items, empty for other fields.
  constexpr std::string_view ItemTag() const {
    if constexpr (requires { m_codec.rules.itemTag; }) {
      return m_codec.rules.itemTag;
    } else {
      return {};
    }
  }
  constexpr const Codec& GetCodec() const { return m_codec; }

  std::optional<bool> Read(std::string_view tag, Owner& object, TalSAX::ISAXReader& reader,
                           ReadPass pass) const {
    std::optional<bool> result;
    if constexpr (requires { m_codec.ReadScoped(tag, object, reader, pass, m_tag); }) {
      result = m_codec.ReadScoped(tag, object, reader, pass, m_tag);
    } else if (pass == ReadPass::Plain && tag == m_tag) {
      result = m_codec.Read(object, reader);
    }
    if (!result) return result;
    if (*result && m_afterRead != nullptr) m_afterRead(object);
    return *result || !m_readResultCounts;
  }
  // False when writing must stop.
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer) const {
    if (m_writeIf != nullptr && !m_writeIf(object)) return true;
    return m_codec.Write(object, writer, m_tag) || !m_writeResultCounts;
  }
  bool Equal(const Owner& a, const Owner& b) const { return !m_compared || m_codec.Equal(a, b); }
  void Nodes(const Owner& object, NodeList& nodes) const {
    if constexpr (requires { m_codec.Nodes(object, nodes); }) m_codec.Nodes(object, nodes);
  }
  void Visit(const Owner& object, FieldVisit& visit) const {
    if (m_compared) return m_codec.Visit(object, visit, m_tag);
    visit.BeginNotCompared();
    m_codec.Visit(object, visit, m_tag);
    visit.EndNotCompared();
  }

 private:
  template <class F>
  constexpr Field With(F change) const {
    Field field = *this;
    change(field);
    return field;
  }

  std::string_view m_tag;
  Codec m_codec;
  WritePredicate m_writeIf = nullptr;
  ReadHook m_afterRead = nullptr;
  bool m_compared = true;
  bool m_writeResultCounts = true;
  bool m_readResultCounts = true;
};

namespace Detail {

template <class T>
inline constexpr bool kIsField = false;
template <class Owner, class Codec>
inline constexpr bool kIsField<Field<Owner, Codec>> = true;

// Whether a field's tags depend on the enclosing element (groups and lists).
template <class F>
inline constexpr bool kIsScoped = requires(const typename F::CodecType& codec, std::string_view tag,
                                           typename F::OwnerType& owner,
                                           TalSAX::ISAXReader& reader) {
  codec.ReadScoped(tag, owner, reader, ReadPass::Plain, tag);
};

// The kind a scalar type is shown as.
template <class T>
constexpr FieldKind KindOf() {
  if constexpr (std::is_same_v<T, bool>) return FieldKind::Bool;
  if constexpr (std::is_same_v<T, float>) return FieldKind::Float;
  if constexpr (std::is_same_v<T, double>) return FieldKind::Double;
  if constexpr (std::is_same_v<T, std::wstring> || std::is_same_v<T, std::string>) {
    return FieldKind::String;
  }
  return FieldKind::Integer;
}

// A scalar value tag. Reads into a temporary, so a failed read leaves the member as it was.
template <class Owner, class Access>
struct ValueCodec {
  using T = AccessedType<Access, Owner>;
  Access access;
  FieldKind kind;

  bool Read(Owner& object, TalSAX::ISAXReader& reader) const {
    T value{};
    if (!reader.ReadValue(value)) return false;
    access.Access(object) = std::move(value);
    return true;
  }
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    const T* value = access.Find(object);
    if (value == nullptr) return true;
    return WriteValueTag(writer, tag, *value);
  }
  bool Equal(const Owner& a, const Owner& b) const {
    const T* x = access.Find(a);
    const T* y = access.Find(b);
    return x == nullptr || y == nullptr ? x == y : *x == *y;
  }
  void Visit(const Owner& object, FieldVisit& visit, std::string_view tag) const {
    const T* value = access.Find(object);
    if (value == nullptr) return;
    visit.Value(tag, kind, ValueText(*value));
  }
};

// An enumeration (or an integer member coded by an enumeration) written as its text.
template <class Owner, class Access, class E, std::size_t N>
struct EnumCodec {
  using T = AccessedType<Access, Owner>;
  Access access;
  std::array<EnumText<E>, N> texts;
  UnknownText unknown;
  ValueWithoutText withoutText;
  E fallback;

  const EnumText<E>* Find(E value) const {
    for (const EnumText<E>& entry : texts) {
      if (entry.value == value) return &entry;
    }
    return nullptr;
  }
  bool Read(Owner& object, TalSAX::ISAXReader& reader) const {
    const std::string_view text = reader.GetElementTextView();
    for (const EnumText<E>& entry : texts) {
      if (entry.text == text) {
        access.Access(object) = static_cast<T>(entry.value);
        return true;
      }
    }
    if (unknown == UnknownText::Refused) return false;
    access.Access(object) = static_cast<T>(fallback);
    const EnumText<E>* entry = Find(fallback);
    reader.NoteLenientReading(entry != nullptr ? entry->text : std::string_view());
    return true;
  }
  // The text written for a value: its own, the fallback's, empty, or none (the write fails).
  std::optional<std::string_view> TextOf(const Owner& object) const {
    if (const EnumText<E>* entry = Find(static_cast<E>(*access.Find(object)))) return entry->text;
    switch (withoutText) {
      case ValueWithoutText::FailsWrite:
        return std::nullopt;
      case ValueWithoutText::WritesFallback:
        if (const EnumText<E>* entry = Find(fallback)) return entry->text;
        return std::nullopt;
      case ValueWithoutText::WritesEmpty:
        break;
    }
    return std::string_view();
  }
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    if (access.Find(object) == nullptr) return true;
    const std::optional<std::string_view> text = TextOf(object);
    if (!text) return false;
    writer.StartTag(tag);
    if (!text->empty()) writer.WriteText(*text);
    writer.EndTag(tag);
    return true;
  }
  bool Equal(const Owner& a, const Owner& b) const {
    const T* x = access.Find(a);
    const T* y = access.Find(b);
    return x == nullptr || y == nullptr ? x == y : *x == *y;
  }
  void Visit(const Owner& object, FieldVisit& visit, std::string_view tag) const {
    const T* value = access.Find(object);
    if (value == nullptr) return;
    if (const std::optional<std::string_view> text = TextOf(object)) {
      visit.Value(tag, FieldKind::Enumeration, *text);
      return;
    }
    // A code without a text is shown as "(code)", built by appending: GCC 12 at -O3 warns
    // falsely (-Wrestrict) about "(" + string.
    std::string code = "(";
    code += ValueText(static_cast<long>(*value));
    code += ')';
    visit.Value(tag, FieldKind::Enumeration, code);
  }
};

// A field with functions of its own, for what no other kind covers.
template <class Owner>
struct CustomCodec {
  bool (*read)(Owner&, TalSAX::ISAXReader&);
  bool (*write)(const Owner&, TalSAX::ISAXWriter&, std::string_view tag);
  bool (*equal)(const Owner&, const Owner&);
  std::string (*text)(const Owner&);
  FieldKind kind;

  bool Read(Owner& object, TalSAX::ISAXReader& reader) const { return read(object, reader); }
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    return write(object, writer, tag);
  }
  bool Equal(const Owner& a, const Owner& b) const { return equal(a, b); }
  void Visit(const Owner& object, FieldVisit& visit, std::string_view tag) const {
    visit.Value(tag, kind, text(object));
  }
};

// The block's own tag met inside the block: accepted, nothing else.
template <class Owner>
struct OwnTagCodec {
  bool Read(Owner&, TalSAX::ISAXReader&) const { return true; }
  bool Write(const Owner&, TalSAX::ISAXWriter&, std::string_view) const { return true; }
  bool Equal(const Owner&, const Owner&) const { return true; }
  void Visit(const Owner&, FieldVisit&, std::string_view) const {}
};

// Visits a described block (one with VisitFields) or, for other models, with `visit`.
template <class Model>
void VisitModel(const Model& model, FieldVisit& visit, void (*custom)(const Model&, FieldVisit&)) {
  if (custom != nullptr) {
    custom(model, visit);
  } else if constexpr (requires { model.VisitFields(visit); }) {
    model.VisitFields(visit);
  }
}

// The reader helper of a model: constructed on the model, with the owner's operating mode
// when it takes one.
template <class Reader, class Model>
ISAXPersistBase* NewReader(Model& model, OperatingMode mode) {
  if constexpr (std::is_constructible_v<Reader, Model&, OperatingMode>) {
    return new Reader(model, mode);
  } else {
    (void)mode;
    return new Reader(model);
  }
}

// Reads an item or a child: delegates to it when it persists itself, else to a new `Reader`
// helper owned by the tag reader for the length of the element.
template <class Reader, class Model>
void ReadModel(Model& model, OperatingMode mode, TalSAX::ISAXReader& reader) {
  if constexpr (std::is_same_v<Reader, SelfPersisting>) {
    reader.DelegateToChild(model);
  } else {
    reader.DelegateToOwnedChild(NewReader<Reader>(model, mode));
  }
}
template <class Writer, class Model>
bool WriteModel(const Model& model, TalSAX::ISAXWriter& writer) {
  if constexpr (std::is_same_v<Writer, SelfPersisting>) {
    return model.Write(writer);
  } else {
    return Writer(model).Write(writer);
  }
}

// An owned child in a container element of its own: a block that persists itself, or a model
// with a reader helper and a writer.
template <class Owner, class Model, class Reader, class Writer>
struct ChildCodec {
  Model Owner::*member;
  void (*visitModel)(const Model&, FieldVisit&);

  bool Read(Owner& object, TalSAX::ISAXReader& reader) const {
    ReadModel<Reader>(object.*member, object.GetOperatingMode(), reader);
    return true;
  }
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    MSAXTagWriter container(writer, tag);
    return WriteModel<Writer>(object.*member, writer);
  }
  bool Equal(const Owner& a, const Owner& b) const { return a.*member == b.*member; }
  void Nodes(const Owner& object, NodeList& nodes) const { InsertNodesOf(nodes, object.*member); }
  void Visit(const Owner& object, FieldVisit& visit, std::string_view tag) const {
    visit.Enter(tag, FieldKind::Block);
    VisitModel<Model>(object.*member, visit, visitModel);
    visit.Leave();
  }
};

// A mesh as its name, sizes and measurements (bounding box and volume in millimetres).
TALSDK_MACHINES_EXPORT void VisitMesh(const MStlBase& mesh, FieldVisit& visit,
                                      std::string_view tag);

// A mesh in a "Mesh"-like container, read by MSaxStlBase into the mesh Access prepares
// (a new one, a cleared one, or the existing one: the owner's rule).
template <class Owner, class Access>
struct MeshCodec {
  Access access;
  bool saveReferenceId = false;  // the container carries the mesh's object id as "ID"

  bool Read(Owner& object, TalSAX::ISAXReader& reader) const {
    MStlBase& mesh = access.Access(object);
    // Unknown elements inside the mesh follow the owner's mode, like the rest of the tree.
    TalSDK::MSaxPersistExtensibleObjectUtilities::SetOperatingModeOfAllNodes(
        mesh, object.GetOperatingMode());
    reader.DelegateToOwnedChild(new MSaxStlBase(mesh));
    return true;
  }
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    const MStlBase* mesh = access.Find(object);
    if (mesh == nullptr) return true;
    MSAXTagWriter container(writer, tag);
    MSaxStlBase persist(*mesh);
    persist.SetSaveReferenceID(saveReferenceId);
    return persist.Write(writer);
  }
  // Meshes are compared by presence here; an owner that compares more says so at its site.
  bool Equal(const Owner& a, const Owner& b) const {
    return (access.Find(a) == nullptr) == (access.Find(b) == nullptr);
  }
  void Nodes(const Owner& object, NodeList& nodes) const {
    if (const MStlBase* mesh = access.Find(object)) {
      TalSDK::MSaxPersistExtensibleObjectUtilities::RecursiveInsertNodes(nodes, *mesh);
    }
  }
  void Visit(const Owner& object, FieldVisit& visit, std::string_view tag) const {
    if (const MStlBase* mesh = access.Find(object)) VisitMesh(*mesh, visit, tag);
  }
};

}  // namespace Detail

// ---------------------------------------------------------------------------------------------
// The description of a block.

template <class Owner, class... Fields>
class Description {
 public:
  constexpr explicit Description(const Fields&... fields) : m_fields(fields...) {}

  // The result of the field that takes `tag`, or nothing when none does.
  std::optional<bool> Read(std::string_view tag, Owner& object, TalSAX::ISAXReader& reader) const {
    // Without groups or lists every tag is plain: one pass.
    if constexpr (!(Detail::kIsScoped<Fields> || ...)) {
      return ReadIn(tag, object, reader, ReadPass::Plain);
    } else {
      for (const ReadPass pass : {ReadPass::Scoped, ReadPass::Plain, ReadPass::Fallback}) {
        if (std::optional<bool> result = ReadIn(tag, object, reader, pass)) return result;
      }
      return std::nullopt;
    }
  }
  // A block's HandleTag: its fields, then the kept-element reader for any other tag.
  // Takes the reader's own string, so that an unknown tag reaches the kept-element reader
  // without a copy.
  bool HandleTag(const std::string& tag, Owner& object, TalSAX::ISAXReader& reader) const {
    if (const std::optional<bool> result = Read(tag, object, reader)) return *result;
    return TalSDK::MSaxPersistExtensibleObjectReader(object).HandleTag(tag, reader);
  }

  // The fields in order, stopping at the first failing one whose result counts.
  bool WriteFields(const Owner& object, TalSAX::ISAXWriter& writer) const {
    return std::apply([&](const auto&... field) { return (field.Write(object, writer) && ...); },
                      m_fields);
  }
  // Every field, whatever the others gave; true when all of them succeeded.
  bool WriteEveryField(const Owner& object, TalSAX::ISAXWriter& writer) const {
    bool written = true;
    std::apply(
        [&](const auto&... field) { ((written = field.Write(object, writer) && written), ...); },
        m_fields);
    return written;
  }
  // A block's Write: its fields, then its kept elements.
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer) const {
    return WriteFields(object, writer) &&
           TalSDK::MSaxPersistExtensibleObjectWriter(object).Write(writer);
  }

  // Exact comparison of the compared fields (NaN differs from itself).
  bool EqualFields(const Owner& a, const Owner& b) const {
    return std::apply([&](const auto&... field) { return (field.Equal(a, b) && ...); }, m_fields);
  }
  // A block's operator==: its fields and its kept elements.
  bool Equal(const Owner& a, const Owner& b) const {
    return EqualFields(a, b) && a.TalSDK::MSaxPersistExtensibleObject::operator==(b);
  }

  // A block's GetExtensibleObjectNodes: the block, then the nodes of its child blocks, list
  // items and meshes in field order.
  NodeList Nodes(const Owner& object) const {
    NodeList nodes;
    nodes.reserve(16);  // most blocks list fewer: one allocation instead of a growing list
    nodes.emplace_back(object);
    AppendNodes(object, nodes);
    return nodes;
  }
  void AppendNodes(const Owner& object, NodeList& nodes) const {
    std::apply([&](const auto&... field) { (field.Nodes(object, nodes), ...); }, m_fields);
  }

  // A block's SetDefaults: a default object, with the current operating mode on the block and
  // on everything inside it.
  static void SetDefaults(Owner& object) {
    Owner defaults;
    TalSDK::MSaxPersistExtensibleObjectUtilities::SetOperatingModeOfAllNodes(
        defaults, object.GetOperatingMode());
    object = std::move(defaults);
  }

  void Visit(const Owner& object, FieldVisit& visit) const {
    std::apply([&](const auto&... field) { (field.Visit(object, visit), ...); }, m_fields);
  }

 private:
  std::optional<bool> ReadIn(std::string_view tag, Owner& object, TalSAX::ISAXReader& reader,
                             ReadPass pass) const {
    std::optional<bool> result;
    std::apply(
        [&](const auto&... field) {
          (void)((result = field.Read(tag, object, reader, pass)).has_value() || ...);
        },
        m_fields);
    return result;
  }

  std::tuple<Fields...> m_fields;
};

// The description of a block's fields, in write order. Two fields with one tag are refused
// (a constexpr description then does not compile).
template <class Owner, class... Fields>
constexpr Description<Owner, Fields...> Describe(const Fields&... fields) {
  static_assert((Detail::kIsField<Fields> && ...), "Describe takes fields only");
  static_assert((std::is_base_of_v<typename Fields::OwnerType, Owner> && ...),
                "a field belongs to another class");
  // A list's item tag counts too: a field with that tag could never be read.
  const std::array<std::string_view, 2 * sizeof...(Fields)> tags{fields.Tag()...,
                                                                 fields.ItemTag()...};
  for (std::size_t i = 0; i < tags.size(); ++i) {
    for (std::size_t j = i + 1; j < tags.size(); ++j) {
      if (!tags[i].empty() && tags[i] == tags[j]) {
        throw std::logic_error("two fields of a description share a tag");
      }
    }
  }
  return Description<Owner, Fields...>(fields...);
}

namespace Detail {

// A wrapper element whose children come back to the same block ("Material" around "Name").
template <class Owner, class... Inner>
struct GroupCodec {
  Description<Owner, Inner...> inner;

  std::optional<bool> ReadScoped(std::string_view tag, Owner& object, TalSAX::ISAXReader& reader,
                                 ReadPass pass, std::string_view groupTag) const {
    switch (pass) {
      case ReadPass::Scoped:
        if (reader.GetParentTagName(1) != groupTag) return std::nullopt;
        return inner.Read(tag, object, reader);
      case ReadPass::Plain:
        if (tag == groupTag) return true;
        return std::nullopt;
      case ReadPass::Fallback:
        return inner.Read(tag, object, reader);
    }
    return std::nullopt;
  }
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    MSAXTagWriter container(writer, tag);
    return inner.WriteFields(object, writer);
  }
  bool Equal(const Owner& a, const Owner& b) const { return inner.EqualFields(a, b); }
  void Nodes(const Owner& object, NodeList& nodes) const { inner.AppendNodes(object, nodes); }
  void Visit(const Owner& object, FieldVisit& visit, std::string_view tag) const {
    visit.Enter(tag, FieldKind::Block);
    inner.Visit(object, visit);
    visit.Leave();
  }
};

}  // namespace Detail

// ---------------------------------------------------------------------------------------------
// Lists.

// What an item tag does when its list's wrapper element does not enclose it.
enum class ItemOutsideWrapper {
  Taken,     // it is an item all the same
  Ignored,   // accepted, no item is made; its children come back to the block
  NotTaken,  // not the list's: the block treats it like any other tag
};

struct ListRules {
  std::string_view itemTag;
  bool wrapperClears = false;  // the wrapper element empties the list before its items arrive
  ItemOutsideWrapper outside = ItemOutsideWrapper::NotTaken;
  bool itemResultsIgnored = false;  // a failing item neither stops the list nor fails it
};

namespace Detail {

// Where and how a list item tag is taken (shared by block lists and value lists).
inline std::optional<bool> ListTag(std::string_view tag, TalSAX::ISAXReader& reader, ReadPass pass,
                                   std::string_view wrapperTag, const ListRules& rules,
                                   bool& makeItem) {
  makeItem = false;
  if (pass == ReadPass::Plain && !wrapperTag.empty() && tag == wrapperTag) return true;
  if (tag != rules.itemTag || pass == ReadPass::Fallback) return std::nullopt;
  const bool inside = wrapperTag.empty() || reader.GetParentTagName(1) == wrapperTag;
  if (pass == ReadPass::Scoped) {
    if (!inside) return std::nullopt;
    makeItem = true;
    return true;
  }
  switch (rules.outside) {
    case ItemOutsideWrapper::Taken:
      makeItem = true;
      return true;
    case ItemOutsideWrapper::Ignored:
      return true;
    case ItemOutsideWrapper::NotTaken:
      break;
  }
  return std::nullopt;
}

// A list's tags: the wrapper (emptying the list when the rules say so) and the item tag, whose
// new item `makeItem` creates and reads; nothing for any other tag.
template <class Container, class MakeItem>
std::optional<bool> ReadListTag(std::string_view tag, TalSAX::ISAXReader& reader, ReadPass pass,
                                std::string_view wrapperTag, const ListRules& rules,
                                Container& items, MakeItem makeItem) {
  bool newItem = false;
  const std::optional<bool> result = ListTag(tag, reader, pass, wrapperTag, rules, newItem);
  if (!result) return result;
  if (newItem) return makeItem();
  if (tag == wrapperTag && rules.wrapperClears) items.clear();
  return true;
}

inline std::string ItemTag(std::string_view tag, std::size_t index) {
  return std::string(tag) + "[" + ValueText(static_cast<long>(index + 1)) + "]";
}

// A list of blocks (or of models with a reader and a writer), each item in a container
// element of its own, all of them optionally inside a wrapper element.
template <class Owner, class Container, class Reader, class Writer>
struct ListCodec {
  using Item = typename Container::value_type;
  Container Owner::*member;
  ListRules rules;
  void (*visitItem)(const Item&, FieldVisit&) = nullptr;

  std::optional<bool> ReadScoped(std::string_view tag, Owner& object, TalSAX::ISAXReader& reader,
                                 ReadPass pass, std::string_view wrapperTag) const {
    return ReadListTag(tag, reader, pass, wrapperTag, rules, object.*member, [&]() {
      Item& item = (object.*member).emplace_back();
      SetOperatingModeOf(item, object.GetOperatingMode());
      ReadModel<Reader>(item, object.GetOperatingMode(), reader);
      return true;
    });
  }
  bool WriteItems(const Owner& object, TalSAX::ISAXWriter& writer) const {
    for (const Item& item : object.*member) {
      MSAXTagWriter container(writer, rules.itemTag);
      if (!WriteModel<Writer>(item, writer) && !rules.itemResultsIgnored) return false;
    }
    return true;
  }
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    if (tag.empty()) return WriteItems(object, writer);
    MSAXTagWriter wrapper(writer, tag);
    return WriteItems(object, writer);
  }
  bool Equal(const Owner& a, const Owner& b) const { return a.*member == b.*member; }
  void Nodes(const Owner& object, NodeList& nodes) const {
    for (const Item& item : object.*member)
      InsertNodesOf(nodes, item);
  }
  void Visit(const Owner& object, FieldVisit& visit, std::string_view tag) const {
    if (!tag.empty()) {
      visit.Enter(tag, FieldKind::List, ValueText(static_cast<long>((object.*member).size())));
    }
    std::size_t index = 0;
    for (const Item& item : object.*member) {
      visit.Enter(ItemTag(rules.itemTag, index++), FieldKind::Item);
      VisitModel<Item>(item, visit, visitItem);
      visit.Leave();
    }
    if (!tag.empty()) visit.Leave();
  }
};

// A list of scalars, one value tag per item inside a wrapper element.
template <class Owner, class Container>
struct ValueListCodec {
  using Item = typename Container::value_type;
  Container Owner::*member;
  ListRules rules;
  FieldKind kind;

  std::optional<bool> ReadScoped(std::string_view tag, Owner& object, TalSAX::ISAXReader& reader,
                                 ReadPass pass, std::string_view wrapperTag) const {
    return ReadListTag(tag, reader, pass, wrapperTag, rules, object.*member, [&]() {
      Item value{};
      if (!reader.ReadValue(value)) return false;
      (object.*member).push_back(value);
      return true;
    });
  }
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    MSAXTagWriter wrapper(writer, tag);
    for (const Item& value : object.*member) {
      if (!WriteValueTag(writer, rules.itemTag, value)) return false;
    }
    return true;
  }
  bool Equal(const Owner& a, const Owner& b) const { return a.*member == b.*member; }
  void Visit(const Owner& object, FieldVisit& visit, std::string_view tag) const {
    visit.Enter(tag, FieldKind::List, ValueText(static_cast<long>((object.*member).size())));
    std::size_t index = 0;
    for (const Item& value : object.*member) {
      visit.Value(ItemTag(rules.itemTag, index++), kind, ValueText(value));
    }
    visit.Leave();
  }
};

}  // namespace Detail

// ---------------------------------------------------------------------------------------------
// Field kinds.

// A scalar member: bool, std::int32_t, std::uint32_t, long, std::uint16_t, float (8 significant
// digits), double (17), std::wstring or std::string (UTF-8).
template <class Owner, class T>
constexpr auto Value(std::string_view tag, T Owner::*member) {
  using Codec = Detail::ValueCodec<Owner, Member<Owner, T>>;
  return Field<Owner, Codec>(tag, Codec{{member}, Detail::KindOf<T>()});
}
// The same through an accessor (InMember, InOptional).
template <class Owner, class Access>
constexpr auto Value(std::string_view tag, Access access) {
  using Codec = Detail::ValueCodec<Owner, Access>;
  return Field<Owner, Codec>(tag, Codec{access, Detail::KindOf<AccessedType<Access, Owner>>()});
}
// A 32-bit integer length in internal units (shown in millimetres as well).
template <class Owner>
constexpr auto Length(std::string_view tag, std::int32_t Owner::*member) {
  using Codec = Detail::ValueCodec<Owner, Member<Owner, std::int32_t>>;
  return Field<Owner, Codec>(tag, Codec{{member}, FieldKind::Length});
}
template <class Owner>
constexpr auto Length(std::string_view tag, long Owner::*member) {
  using Codec = Detail::ValueCodec<Owner, Member<Owner, long>>;
  return Field<Owner, Codec>(tag, Codec{{member}, FieldKind::Length});
}

// An enumeration written as its text; `Coded` is the enumeration type whose EnumTexts apply
// (the member may hold it as an integer). `unknown` says what an unknown text does, and
// `withoutText` what writing a value without a text does; `fallback` serves both.
template <class Coded, class Owner, class Access>
constexpr auto Enum(std::string_view tag, Access access, UnknownText unknown,
                    ValueWithoutText withoutText, Coded fallback) {
  constexpr auto& texts = EnumTexts<Coded>;
  static_assert(texts.size() > 0, "declare EnumTexts<E> for this enumeration");
  using Codec = Detail::EnumCodec<Owner, Access, Coded, texts.size()>;
  return Field<Owner, Codec>(tag, Codec{access, texts, unknown, withoutText, fallback});
}
template <class Coded, class Owner, class T>
constexpr auto Enum(std::string_view tag, T Owner::*member, UnknownText unknown,
                    ValueWithoutText withoutText, Coded fallback) {
  return Enum<Coded, Owner>(tag, Member<Owner, T>{member}, unknown, withoutText, fallback);
}
// The same with texts of the field's own (a subset of the type's values).
template <class Coded, class Owner, class Access, std::size_t N>
constexpr auto EnumWith(std::string_view tag, Access access,
                        const std::array<EnumText<Coded>, N>& texts, UnknownText unknown,
                        ValueWithoutText withoutText, Coded fallback) {
  using Codec = Detail::EnumCodec<Owner, Access, Coded, N>;
  return Field<Owner, Codec>(tag, Codec{access, texts, unknown, withoutText, fallback});
}

// A field with functions of its own. Owner is given explicitly (Custom<MyBlock>(...)) so that
// captureless lambdas convert.
template <class Owner>
constexpr auto Custom(std::string_view tag, bool (*read)(Owner&, TalSAX::ISAXReader&),
                      bool (*write)(const Owner&, TalSAX::ISAXWriter&, std::string_view),
                      bool (*equal)(const Owner&, const Owner&), std::string (*text)(const Owner&),
                      FieldKind kind) {
  if (read == nullptr || write == nullptr || equal == nullptr || text == nullptr) {
    throw std::invalid_argument("a custom field needs read, write, equal and text functions");
  }
  return Field<Owner, Detail::CustomCodec<Owner>>(tag, {read, write, equal, text, kind});
}

// The block's own tag, accepted and ignored when it arrives inside the block.
template <class Owner>
constexpr auto OwnTag(std::string_view tag) {
  return Field<Owner, Detail::OwnTagCodec<Owner>>(tag, {});
}

// An owned block that persists itself, in a container element of its own.
template <class Owner, class Block>
constexpr auto Child(std::string_view tag, Block Owner::*member) {
  static_assert(std::is_base_of_v<ISAXPersistBase, Block>);
  using Codec = Detail::ChildCodec<Owner, Block, SelfPersisting, SelfPersisting>;
  return Field<Owner, Codec>(tag, Codec{member, nullptr});
}

// An owned model read by a `Reader` helper and written by a `Writer`, in a container element.
// `visit` shows a model that has no VisitFields of its own.
template <class Reader, class Writer, class Owner, class Model>
constexpr auto ChildModel(std::string_view tag, Model Owner::*member,
                          void (*visit)(const Model&, FieldVisit&) = nullptr) {
  return Field<Owner, Detail::ChildCodec<Owner, Model, Reader, Writer>>(tag, {member, visit});
}

// A wrapper element whose children come back to the block, holding `inner` fields.
template <class Owner, class... Inner>
constexpr auto Group(std::string_view tag, const Inner&... inner) {
  using Codec = Detail::GroupCodec<Owner, Inner...>;
  return Field<Owner, Codec>(tag, Codec{Describe<Owner>(inner...)});
}

// Whether a mesh's container carries the mesh's object id, for other elements to refer to.
enum class MeshReference { NotSaved, Saved };

// A triangle mesh in a container element (see Detail::MeshCodec).
template <class Owner, class Access>
constexpr auto Mesh(std::string_view tag, Access access,
                    MeshReference reference = MeshReference::NotSaved) {
  return Field<Owner, Detail::MeshCodec<Owner, Access>>(
      tag, {access, reference == MeshReference::Saved});
}

// A list of self-persisting blocks under `wrapperTag` (empty: the items stand directly in the
// block), one `rules.itemTag` container per item; each new item takes the block's mode.
template <class Owner, class Container>
constexpr auto List(std::string_view wrapperTag, Container Owner::*member, ListRules rules) {
  using Codec = Detail::ListCodec<Owner, Container, SelfPersisting, SelfPersisting>;
  return Field<Owner, Codec>(wrapperTag, Codec{member, rules});
}
// The same for models read by a `Reader` helper and written by a `Writer`; `visit` shows an
// item that has no VisitFields of its own.
template <class Reader, class Writer, class Owner, class Container>
constexpr auto ModelList(std::string_view wrapperTag, Container Owner::*member, ListRules rules,
                         void (*visit)(const typename Container::value_type&,
                                       FieldVisit&) = nullptr) {
  using Codec = Detail::ListCodec<Owner, Container, Reader, Writer>;
  return Field<Owner, Codec>(wrapperTag, Codec{member, rules, visit});
}
// A list of scalars in a wrapper element, one `rules.itemTag` value tag per item.
template <class Owner, class Container>
constexpr auto ValueList(std::string_view wrapperTag, Container Owner::*member, ListRules rules,
                         FieldKind kind = Detail::KindOf<typename Container::value_type>()) {
  using Codec = Detail::ValueListCodec<Owner, Container>;
  return Field<Owner, Codec>(wrapperTag, Codec{member, rules, kind});
}

// ---------------------------------------------------------------------------------------------
// Lengths of Concept Laser files: how they are written depends on one process-wide mode.
// 0: internal units as an integer; 1: millimetres, 2: inches (doubles with 17 significant
// digits, read back rounded half away from zero and clamped to 32 bits); any other mode reads
// and writes nothing and fails.

namespace Detail {

TALSDK_MACHINES_EXPORT bool ReadClLength(TalSAX::ISAXReader& reader, std::int32_t& value);
TALSDK_MACHINES_EXPORT bool WriteClLength(TalSAX::ISAXWriter& writer, std::string_view tag,
                                          std::int32_t value);

template <class Owner>
struct ClLengthCodec {
  std::int32_t Owner::*member;
  bool Read(Owner& object, TalSAX::ISAXReader& reader) const {
    return ReadClLength(reader, object.*member);
  }
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    return WriteClLength(writer, tag, object.*member);
  }
  bool Equal(const Owner& a, const Owner& b) const { return a.*member == b.*member; }
  void Visit(const Owner& object, FieldVisit& visit, std::string_view tag) const {
    visit.Value(tag, FieldKind::Length, ValueText(object.*member));
  }
};

}  // namespace Detail

template <class Owner>
constexpr auto ClLength(std::string_view tag, std::int32_t Owner::*member) {
  return Field<Owner, Detail::ClLengthCodec<Owner>>(tag, {member});
}

}  // namespace TalAM::Persistence

// The operations every described block forwards to its description: comparison, reading,
// writing and visiting. What a class does differently (SetDefaults, node lists) it writes out
// at its own site.
#define TALAM_DESCRIBED_BLOCK(Class, description)                                 \
  bool Class::operator==(const Class& other) const {                              \
    return (description).Equal(*this, other);                                     \
  }                                                                               \
  bool Class::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) { \
    return (description).HandleTag(tagName, *this, reader);                       \
  }                                                                               \
  bool Class::Write(TalSAX::ISAXWriter& writer) const {                           \
    return (description).Write(*this, writer);                                    \
  }                                                                               \
  void Class::VisitFields(TalAM::FieldVisit& visit) const {                       \
    (description).Visit(*this, visit);                                            \
  }
