#pragma once
// Field kinds that only the Concept Laser descriptions need: a length held in an array
// element (the platform's size), a tag that is read but never written, and the writing of a
// block that follows its own result rule.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "persistence/Description.h"

namespace TalAM::Persistence::ConceptLaser {

// A Concept Laser length held in element `index` of an array member.
template <class Owner, std::size_t N>
struct ClLengthElementCodec {
  std::int32_t (Owner::*member)[N];
  std::size_t index;

  bool Read(Owner& object, TalSAX::ISAXReader& reader) const {
    return Detail::ReadClLength(reader, (object.*member)[index]);
  }
  bool Write(const Owner& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    return Detail::WriteClLength(writer, tag, (object.*member)[index]);
  }
  bool Equal(const Owner& a, const Owner& b) const {
    return (a.*member)[index] == (b.*member)[index];
  }
  void Visit(const Owner& object, FieldVisit& visit, std::string_view tag) const {
    visit.Value(tag, FieldKind::Length, ValueText((object.*member)[index]));
  }
};

template <class Owner, std::size_t N>
constexpr auto ClLengthElement(std::string_view tag, std::int32_t (Owner::*member)[N],
                               std::size_t index) {
  return Field<Owner, ClLengthElementCodec<Owner, N>>(tag, {member, index});
}

// A tag accepted on reading only, by a function of its own: it is never written, compared or
// shown.
template <class Owner>
struct ReadOnlyCodec {
  bool (*read)(Owner&, TalSAX::ISAXReader&);

  bool Read(Owner& object, TalSAX::ISAXReader& reader) const { return read(object, reader); }
  bool Write(const Owner&, TalSAX::ISAXWriter&, std::string_view) const { return true; }
  bool Equal(const Owner&, const Owner&) const { return true; }
  void Visit(const Owner&, FieldVisit&, std::string_view) const {}
};

template <class Owner>
constexpr auto ReadOnly(std::string_view tag, bool (*read)(Owner&, TalSAX::ISAXReader&)) {
  return Field<Owner, ReadOnlyCodec<Owner>>(tag, {read});
}

// The kept elements of a block, after its fields.
inline bool WriteKept(const TalSDK::MSaxPersistExtensibleObject& object,
                      TalSAX::ISAXWriter& writer) {
  return TalSDK::MSaxPersistExtensibleObjectWriter(object).Write(writer);
}

}  // namespace TalAM::Persistence::ConceptLaser
