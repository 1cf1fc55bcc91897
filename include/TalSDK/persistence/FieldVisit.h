#pragma once
// A read-only walk over the fields of a machine or of one block: for each field its path in
// the machine file ("Machine/Platform/Envelope/Dx"), its tag, its kind and its value as the
// file writes it. The command-line tool's `show` and its JSON output are built on it.

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <TalSDK/MachinesExport.h>

namespace TalAM {

// What a visited entry holds.
enum class FieldKind : int {
  Bool,
  Integer,
  Length,  // a 32-bit integer in internal length units (MUnit::GetIE() per millimetre)
  Float,
  Double,
  String,
  Enumeration,  // one of a fixed set of texts
  Point,        // three integers in internal length units, "x y z"
  Color,        // four floats, "r g b a"
  Mesh,         // a triangle mesh, "12 triangles, 8 vertices"; its name, counts, bounding box
                // and volume (millimetres) follow
  Settings,     // settings kept as the file has them (support settings), summarised
  Block,        // a container element; its fields follow with paths below it
  List,         // a list; its text is the number of items, which follow
  Item,         // one item of a list, "Overlap[1]" (counted from 1); its fields follow
};

// The name of a kind in lower case ("length", "block"), for machine-readable output.
TALSDK_MACHINES_EXPORT std::string_view FieldKindName(FieldKind kind);

struct FieldView {
  std::string_view path;  // enclosing elements and the tag: "Machine/Platform/Envelope/Dx"
  std::string_view tag;   // "Dx"; an item's tag carries its number: "Overlap[2]"
  FieldKind kind;
  std::string_view text;  // the value as written in a machine file (UTF-8)
  // False for a field that the block's equality ignores (a display colour, a visibility
  // switch), and for everything inside one.
  bool compared = true;
};

// Collects the path while a description is walked and hands every entry to the visitor.
// Block, List, Item and Mesh entries open a level that Leave closes.
class TALSDK_MACHINES_EXPORT FieldVisit {
 public:
  explicit FieldVisit(std::function<void(const FieldView&)> visitor, std::string root = {});

  void Value(std::string_view tag, FieldKind kind, std::string_view text);
  void Enter(std::string_view tag, FieldKind kind, std::string_view text = {});
  void Leave();
  // Between these two calls every entry is marked as not compared; they nest.
  void BeginNotCompared() { ++m_notCompared; }
  void EndNotCompared() { --m_notCompared; }

 private:
  std::function<void(const FieldView&)> m_visitor;
  std::string m_path;
  std::vector<std::size_t> m_levels;  // length of m_path before each open level
  int m_notCompared = 0;
};

}  // namespace TalAM
