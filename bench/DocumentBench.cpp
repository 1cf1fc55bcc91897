// Reading and writing three machine documents with the tag reader and writer, each next to a
// baseline that does the least work giving the same result, on the same bytes in the same run:
//
//   Small    ~400 value elements in 20 blocks (ints, floats, doubles, booleans, wide strings),
//            read into block handlers that read every value, written from the same values.
//            Read baseline: pugixml load_file (and, for comparison only, load_file followed by
//            converting every value; and expat reading the file and converting every value).
//            Write baseline: the same text built in memory and written with one fwrite.
//   Mesh     Machine/Platform/PlatformStl/Mesh holding a 1,000,000-triangle mesh (500,000
//            vertices, ~24 MB of base64), read through MSaxStlBase into an MStlBase and written
//            from it. Read baseline: pugixml load_file and decoding the two payloads into
//            arrays. Write baseline: the same text encoded into a buffer and one fwrite.
//   Machine  a whole machine file (~25 KB): the example machine with 64 laser overlaps, 48
//            support profiles and 91 angle factors, read with TalAM::LoadFromTMCF, written with
//            TalAM::SaveToTMCF and compared (operator== of two equal machines, a full walk).
//            Read baseline: pugixml load_file (and, for comparison only, expat parsing the
//            file without handlers). Writing and comparing have no baseline.
//
// The documents are generated here, written to a temporary directory once and checked
// (the readers give back what was written, the baselines produce and see the same bytes)
// before anything is measured. Writes go to a file that is deleted before each iteration,
// outside the measured time: replacing an existing file costs more, and each iteration would
// then depend on the previous one's writeback.
//
// Single-shot modes, mainly for bench/run.sh's peak memory measurement (/usr/bin/time -v):
//   --write-small-document PATH    writes the small document to PATH (to look at it)
//   --write-mesh-document PATH     writes the mesh document to PATH
//   --write-machine-document PATH  writes the machine document to PATH
//   --read-mesh-document PATH      reads it once with the tag reader into an MStlBase
//   --read-mesh-baseline PATH      reads it once with pugixml and decodes the arrays
//   --idle                         does nothing (the footprint of the process itself)

#include <benchmark/benchmark.h>
#include <expat.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <numbers>
#include <pugixml.hpp>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <TalSDK/Machines.h>
#include "sdk/sax/Base64.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::string_view kDeclaration = R"(<?xml version="1.0" encoding="UTF-8"?>)";

// ---------------------------------------------------------------------------------------------
// The small document: "Machine" holding 20 blocks of 20 values each.

constexpr std::size_t kFieldsPerKind = 4;
constexpr std::array<std::string_view, kFieldsPerKind> kIntTags{"LayerCount", "Speed",
                                                                "Temperature", "Offset"};
constexpr std::array<std::string_view, kFieldsPerKind> kFloatTags{"Width", "Depth", "Height",
                                                                  "Margin"};
constexpr std::array<std::string_view, kFieldsPerKind> kDoubleTags{"PositionX", "PositionY",
                                                                   "PositionZ", "Scale"};
constexpr std::array<std::string_view, kFieldsPerKind> kBoolTags{"Enabled", "Visible", "Heated",
                                                                 "Calibrated"};
constexpr std::array<std::string_view, kFieldsPerKind> kTextTags{"Name", "Vendor", "Model",
                                                                 "Comment"};
constexpr std::array<std::string_view, 20> kBlockTags{
    "Envelope", "Platform", "Recoater", "Laser",  "Optics", "Chamber",    "Heating",
    "Cooling",  "GasFlow",  "Powder",   "Dosing", "Camera", "Scanner",    "Filter",
    "Door",     "Lift",     "Sensors",  "Nozzle", "Purge",  "Calibration"};

struct BlockValues {
  std::array<std::int32_t, kFieldsPerKind> ints{};
  std::array<float, kFieldsPerKind> floats{};
  std::array<double, kFieldsPerKind> doubles{};
  std::array<bool, kFieldsPerKind> bools{};
  std::array<std::wstring, kFieldsPerKind> texts;
  bool operator==(const BlockValues&) const = default;
};

struct MachineValues {
  std::array<BlockValues, kBlockTags.size()> blocks;
  bool operator==(const MachineValues&) const = default;
};

MachineValues MakeMachineValues() {
  MachineValues machine;
  for (std::size_t b = 0; b < machine.blocks.size(); ++b) {
    BlockValues& block = machine.blocks[b];
    for (std::size_t i = 0; i < kFieldsPerKind; ++i) {
      const auto bi = static_cast<int>(b * kFieldsPerKind + i);
      block.ints[i] = (bi * 7919) % 200000 - 50000;
      block.floats[i] = 0.125f * static_cast<float>(bi) + 1.0f / static_cast<float>(3 + bi);
      block.doubles[i] = 100.0 / static_cast<double>(7 + bi) - 3.25 * static_cast<double>(i);
      block.bools[i] = (b + i) % 3 != 0;
      block.texts[i] = L"Block " + std::to_wstring(b) + L" \u2013 D\u00fcse \u00d8" +
                       std::to_wstring(i) +
                       L" mm, Kammer links; gewartet nach 1500 h, Filter und Dichtung gepr\u00fcft";
    }
  }
  return machine;
}

// A block handler as the machine library writes them: the tag is compared against the known
// tags and the value is read into the member.
class BlockHandler final : public ISAXPersist {
 public:
  explicit BlockHandler(BlockValues& values) : m_values(&values) {}

  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    for (std::size_t i = 0; i < kFieldsPerKind; ++i) {
      if (tag == kIntTags[i]) return reader.ReadValue(m_values->ints[i]);
    }
    for (std::size_t i = 0; i < kFieldsPerKind; ++i) {
      if (tag == kFloatTags[i]) return reader.ReadValue(m_values->floats[i]);
    }
    for (std::size_t i = 0; i < kFieldsPerKind; ++i) {
      if (tag == kDoubleTags[i]) return reader.ReadValue(m_values->doubles[i]);
    }
    for (std::size_t i = 0; i < kFieldsPerKind; ++i) {
      if (tag == kBoolTags[i]) return reader.ReadValue(m_values->bools[i]);
    }
    for (std::size_t i = 0; i < kFieldsPerKind; ++i) {
      if (tag == kTextTags[i]) return reader.ReadValue(m_values->texts[i]);
    }
    return false;
  }

 private:
  BlockValues* m_values;
};

class MachineHandler final : public ISAXPersist {
 public:
  explicit MachineHandler(MachineValues& values) {
    m_blocks.reserve(values.blocks.size());
    for (BlockValues& block : values.blocks)
      m_blocks.emplace_back(block);
  }

  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    if (tag == "Machine") return true;
    for (std::size_t b = 0; b < kBlockTags.size(); ++b) {
      if (tag == kBlockTags[b]) return reader.DelegateToChild(m_blocks[b]);
    }
    return false;
  }

 private:
  std::vector<BlockHandler> m_blocks;
};

// The same values read from pugixml's document, without the tag reader's checks: not a
// target, it shows what converting the values costs on top of load_file.
bool ConvertBlockValue(std::string_view tag, std::string_view text, BlockValues& values) {
  using TalSAX::ValueText::Parse;
  for (std::size_t i = 0; i < kFieldsPerKind; ++i) {
    if (tag == kIntTags[i]) return Parse(text, values.ints[i]);
  }
  for (std::size_t i = 0; i < kFieldsPerKind; ++i) {
    if (tag == kFloatTags[i]) return Parse(text, values.floats[i]);
  }
  for (std::size_t i = 0; i < kFieldsPerKind; ++i) {
    if (tag == kDoubleTags[i]) return Parse(text, values.doubles[i]);
  }
  for (std::size_t i = 0; i < kFieldsPerKind; ++i) {
    if (tag == kBoolTags[i]) return Parse(text, values.bools[i]);
  }
  for (std::size_t i = 0; i < kFieldsPerKind; ++i) {
    if (tag == kTextTags[i]) return StringConversion::TryUtf8ToNative(text, values.texts[i]);
  }
  return false;
}

bool ReadMachineWithPugixml(const std::string& path, MachineValues& machine) {
  pugi::xml_document document;
  if (!document.load_file(path.c_str())) return false;
  for (pugi::xml_node block : document.child("Machine").children()) {
    const std::string_view name = block.name();
    std::size_t b = 0;
    while (b < kBlockTags.size() && kBlockTags[b] != name)
      ++b;
    if (b == kBlockTags.size()) return false;
    for (pugi::xml_node value : block.children()) {
      if (!ConvertBlockValue(value.name(), value.child_value(), machine.blocks[b])) return false;
    }
  }
  return true;
}

// The same values read with expat, for comparison only: what a reader built on that streaming
// parser costs at least (the file read into memory, one parse, each value's text gathered and
// converted at its end tag).
// The file's bytes, read with open and read as the tag reader does.
std::string ReadWholeFile(const std::string& path) {
  std::string bytes;
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return bytes;
  char chunk[1 << 16];
  ssize_t n = 0;
  while ((n = ::read(fd, chunk, sizeof chunk)) > 0)
    bytes.append(chunk, static_cast<std::size_t>(n));
  ::close(fd);
  return bytes;
}

struct ExpatReadState {
  MachineValues* machine = nullptr;
  int depth = 0;
  std::size_t block = kBlockTags.size();
  std::string tag, text;
  bool ok = true;
};

bool ReadMachineWithExpat(const std::string& path, MachineValues& machine) {
  const std::string bytes = ReadWholeFile(path);
  ExpatReadState state;
  state.machine = &machine;
  XML_Parser parser = XML_ParserCreate("UTF-8");
  XML_SetUserData(parser, &state);
  XML_SetElementHandler(
      parser,
      [](void* data, const XML_Char* name, const XML_Char**) {
        auto& s = *static_cast<ExpatReadState*>(data);
        ++s.depth;
        if (s.depth == 2) {
          s.block = static_cast<std::size_t>(
              std::find(kBlockTags.begin(), kBlockTags.end(), std::string_view(name)) -
              kBlockTags.begin());
        } else if (s.depth == 3) {
          s.tag = name;
          s.text.clear();
        }
      },
      [](void* data, const XML_Char*) {
        auto& s = *static_cast<ExpatReadState*>(data);
        if (s.depth == 3) {
          s.ok = s.block < kBlockTags.size() &&
                 ConvertBlockValue(s.tag, s.text, s.machine->blocks[s.block]) && s.ok;
        }
        --s.depth;
      });
  XML_SetCharacterDataHandler(parser, [](void* data, const XML_Char* text, int length) {
    auto& s = *static_cast<ExpatReadState*>(data);
    if (s.depth == 3) s.text.append(text, static_cast<std::size_t>(length));
  });
  const bool parsed =
      XML_Parse(parser, bytes.data(), static_cast<int>(bytes.size()), XML_TRUE) == XML_STATUS_OK;
  XML_ParserFree(parser);
  return parsed && state.ok;
}

// expat parsing a file with no handlers at all: the least an expat-based reader costs.
bool ParseWithExpat(const std::string& path) {
  const std::string bytes = ReadWholeFile(path);
  XML_Parser parser = XML_ParserCreate("UTF-8");
  const bool parsed =
      XML_Parse(parser, bytes.data(), static_cast<int>(bytes.size()), XML_TRUE) == XML_STATUS_OK;
  XML_ParserFree(parser);
  return parsed;
}

void WriteBlock(TalSAX::ISAXWriter& writer, const BlockValues& block) {
  for (std::size_t i = 0; i < kFieldsPerKind; ++i)
    TalAM::WriteValueTag(writer, kIntTags[i], block.ints[i]);
  for (std::size_t i = 0; i < kFieldsPerKind; ++i)
    TalAM::WriteValueTag(writer, kFloatTags[i], block.floats[i]);
  for (std::size_t i = 0; i < kFieldsPerKind; ++i)
    TalAM::WriteValueTag(writer, kDoubleTags[i], block.doubles[i]);
  for (std::size_t i = 0; i < kFieldsPerKind; ++i)
    TalAM::WriteValueTag(writer, kBoolTags[i], block.bools[i]);
  for (std::size_t i = 0; i < kFieldsPerKind; ++i)
    TalAM::WriteValueTag(writer, kTextTags[i], block.texts[i]);
}

bool WriteMachineDocument(const fs::path& path, const MachineValues& machine) {
  TalSAX::SAXWriter writer(nullptr);
  if (!writer.Open(path.wstring().c_str(), TalSAX::eEncryptionNone, TalSAX::eCompressionNone,
                   true)) {
    return false;
  }
  {
    MSAXTagWriter root(writer, "Machine");
    for (std::size_t b = 0; b < kBlockTags.size(); ++b) {
      MSAXTagWriter block(writer, kBlockTags[b]);
      WriteBlock(writer, machine.blocks[b]);
    }
  }
  return writer.Close();
}

// The small document's text as the writer lays it out, built directly: the write baseline.
template <class T>
void AppendValueElement(std::string& text, std::string_view tag, const T& value) {
  text += "\n    <";
  text += tag;
  text += '>';
  if constexpr (std::is_same_v<T, std::wstring>) {
    text += StringConversion::NativeToUtf8(value);
  } else {
    TalSAX::ValueText::Append(text, value);
  }
  text += "</";
  text += tag;
  text += '>';
}

void AppendMachineText(std::string& text, const MachineValues& machine) {
  text += kDeclaration;
  text += "\n<Machine>";
  for (std::size_t b = 0; b < kBlockTags.size(); ++b) {
    const BlockValues& block = machine.blocks[b];
    text += "\n  <";
    text += kBlockTags[b];
    text += '>';
    for (std::size_t i = 0; i < kFieldsPerKind; ++i)
      AppendValueElement(text, kIntTags[i], block.ints[i]);
    for (std::size_t i = 0; i < kFieldsPerKind; ++i)
      AppendValueElement(text, kFloatTags[i], block.floats[i]);
    for (std::size_t i = 0; i < kFieldsPerKind; ++i)
      AppendValueElement(text, kDoubleTags[i], block.doubles[i]);
    for (std::size_t i = 0; i < kFieldsPerKind; ++i)
      AppendValueElement(text, kBoolTags[i], block.bools[i]);
    for (std::size_t i = 0; i < kFieldsPerKind; ++i)
      AppendValueElement(text, kTextTags[i], block.texts[i]);
    text += "\n  </";
    text += kBlockTags[b];
    text += '>';
  }
  text += "\n</Machine>\n";
}

// ---------------------------------------------------------------------------------------------
// The mesh document: a torus of 1000 x 500 vertices, two triangles per grid cell.

constexpr std::uint32_t kRingSegments = 1000;
constexpr std::uint32_t kTubeSegments = 500;
constexpr std::size_t kMeshVertices = std::size_t{kRingSegments} * kTubeSegments;
constexpr std::size_t kMeshTriangles = 2 * kMeshVertices;
const std::wstring kMeshName = L"Build plate";

MStlBase MakeTorusMesh() {
  constexpr double kRingRadius = 120.0;
  constexpr double kTubeRadius = 35.0;
  std::vector<MStlVertex> vertices;
  vertices.reserve(kMeshVertices);
  for (std::uint32_t t = 0; t < kTubeSegments; ++t) {
    const double phi = 2.0 * std::numbers::pi * t / kTubeSegments;
    for (std::uint32_t r = 0; r < kRingSegments; ++r) {
      const double theta = 2.0 * std::numbers::pi * r / kRingSegments;
      const double radius = kRingRadius + kTubeRadius * std::cos(phi);
      vertices.push_back({static_cast<float>(radius * std::cos(theta)),
                          static_cast<float>(radius * std::sin(theta)),
                          static_cast<float>(kTubeRadius * std::sin(phi) + 40.0)});
    }
  }
  std::vector<MStlTriangle> triangles;
  triangles.reserve(kMeshTriangles);
  const auto index = [](std::uint32_t t, std::uint32_t r) {
    return (t % kTubeSegments) * kRingSegments + r % kRingSegments;
  };
  for (std::uint32_t t = 0; t < kTubeSegments; ++t) {
    for (std::uint32_t r = 0; r < kRingSegments; ++r) {
      const std::uint32_t a = index(t, r), b = index(t, r + 1), c = index(t + 1, r),
                          d = index(t + 1, r + 1);
      triangles.push_back({{a, b, d}});
      triangles.push_back({{a, d, c}});
    }
  }
  MStlBase mesh;
  mesh.SetName(kMeshName);
  if (!mesh.SetGeometry(std::move(vertices), std::move(triangles))) std::abort();
  return mesh;
}

constexpr std::array<std::string_view, 3> kMeshPath{"Platform", "PlatformStl", "Mesh"};

bool WriteMeshDocument(const fs::path& path, const MStlBase& mesh) {
  TalSAX::SAXWriter writer(nullptr);
  if (!writer.Open(path.wstring().c_str(), TalSAX::eEncryptionNone, TalSAX::eCompressionNone,
                   true)) {
    return false;
  }
  {
    MSAXTagWriter root(writer, "Machine");
    MSAXTagWriter platform(writer, kMeshPath[0]);
    MSAXTagWriter stl(writer, kMeshPath[1]);
    MSAXTagWriter element(writer, kMeshPath[2]);
    if (!MSaxStlBase(mesh).Write(writer)) return false;
  }
  return writer.Close();
}

// The root handler of the mesh document: the mesh element goes to a persist object it owns.
class MeshDocumentHandler final : public ISAXPersist {
 public:
  explicit MeshDocumentHandler(MStlBase& mesh) : m_mesh(mesh) {}

  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    if (tag == "Machine" || tag == kMeshPath[0] || tag == kMeshPath[1]) return true;
    if (tag == kMeshPath[2]) return reader.DelegateToOwnedChild(new MSaxStlBase(m_mesh));
    return false;
  }

 private:
  MStlBase& m_mesh;
};

void ReadMeshDocument(const std::wstring& path, MStlBase& mesh) {
  MeshDocumentHandler root(mesh);
  TalSAX::SAXReader reader(true, nullptr);
  reader.Parse(path.c_str(), &root);
  reader.InitHelpersAfterLoading();
}

// The read baseline: pugixml's document and the two payloads decoded into plain arrays.
struct BaselineMesh {
  std::vector<float> coordinates;
  std::vector<std::uint32_t> indices;
};

bool ReadMeshBaseline(const std::string& path, BaselineMesh& out) {
  pugi::xml_document document;
  if (!document.load_file(path.c_str())) return false;
  pugi::xml_node node = document.child("Machine");
  for (std::string_view name : kMeshPath)
    node = node.child(std::string(name).c_str());
  return TalSAX::DecodeBinaryArray(std::string_view(node.child_value("Vertices")),
                                   out.coordinates) &&
         TalSAX::DecodeBinaryArray(std::string_view(node.child_value("Triangles")), out.indices);
}

// The write baseline: the mesh document's text assembled in one buffer of the exact size.
class MeshText {
 public:
  explicit MeshText(const MStlBase& mesh) : m_mesh(mesh) {
    const std::string name = StringConversion::NativeToUtf8(mesh.GetName());
    m_head = std::string(kDeclaration) +
             "\n<Machine>\n  <Platform>\n    <PlatformStl>\n      <Mesh>\n        <Name>" + name +
             "</Name>\n        <Vertices>";
    m_middle = "</Vertices>\n        <Triangles>";
    m_tail = "</Triangles>\n      </Mesh>\n    </PlatformStl>\n  </Platform>\n</Machine>\n";
    m_size = m_head.size() + TalSAX::Base64::EncodedSize(VertexBytes().size()) + m_middle.size() +
             TalSAX::Base64::EncodedSize(TriangleBytes().size()) + m_tail.size();
    m_buffer = std::make_unique<char[]>(m_size);  // zeroed: its pages are in place from here on
  }

  std::string_view Build() {
    char* out = m_buffer.get();
    out = std::copy(m_head.begin(), m_head.end(), out);
    TalSAX::Base64::Encode(VertexBytes(), out);
    out += TalSAX::Base64::EncodedSize(VertexBytes().size());
    out = std::copy(m_middle.begin(), m_middle.end(), out);
    TalSAX::Base64::Encode(TriangleBytes(), out);
    out += TalSAX::Base64::EncodedSize(TriangleBytes().size());
    std::copy(m_tail.begin(), m_tail.end(), out);
    return {m_buffer.get(), m_size};
  }

 private:
  std::span<const std::byte> VertexBytes() const {
    return std::as_bytes(std::span(m_mesh.GetVertices()));
  }
  std::span<const std::byte> TriangleBytes() const {
    return std::as_bytes(std::span(m_mesh.GetTriangles()));
  }

  const MStlBase& m_mesh;
  std::string m_head, m_middle, m_tail;
  std::size_t m_size = 0;
  std::unique_ptr<char[]> m_buffer;
};

// ---------------------------------------------------------------------------------------------
// The machine document: the example machine (examples/machines/example-machine.xml) grown into
// a busy one, with many laser overlaps, support profiles and angle factors, an unknown block
// kept from a newer version and the example's small platform mesh.

constexpr int kLaserOverlaps = 64;
constexpr int kSupportProfiles = 48;
constexpr int kAngleFactors = 91;

std::string MakeMachineText() {
  std::string t(kDeclaration);
  t += "\n<Machine>\n  <Name>M2 Cusing 250</Name>\n"
       "  <Comments>Two-laser powder-bed machine, hall B.&#13;\nRecalibrated 2026-10-02."
       "</Comments>\n  <Material>\n    <Name>316L stainless steel</Name>\n  </Material>\n"
       "  <Unit>Mm</Unit>\n  <ZCompensation>1200</ZCompensation>\n  <Platform>\n"
       "    <Shape>Box</Shape>\n    <GasFlowVisible>true</GasFlowVisible>\n"
       "    <GasFlowDirectionAxis>Y</GasFlowDirectionAxis>\n"
       "    <GasFlowDirection>Negative</GasFlowDirection>\n"
       "    <RecoaterVisible>true</RecoaterVisible>\n"
       "    <RecoaterDirectionAxis>X</RecoaterDirectionAxis>\n"
       "    <RecoaterDirection>Double</RecoaterDirection>\n"
       "    <Envelope>\n      <Dx>250000</Dx>\n      <Dy>250000</Dy>\n      <Dz>280000</Dz>\n"
       "    </Envelope>\n    <Position>0 0 4000</Position>\n"
       "    <DefaultPartPosition>125000 125000 0</DefaultPartPosition>\n    <LaserOverlaps>\n";
  for (int i = 0; i < kLaserOverlaps; ++i) {
    t += "      <Overlap>\n        <Orientation>";
    t += i % 2 == 0 ? "X" : "Y";
    t += "</Orientation>\n        <Position>" + std::to_string(5000 + 5000 * (i / 2)) +
         "</Position>\n        <Width>" + std::to_string(2000 + 250 * (i % 8)) +
         "</Width>\n        <Color>" + (i % 2 == 0 ? "1 0 0 0.5" : "0 0 1 0.25") +
         "</Color>\n      </Overlap>\n";
  }
  t +=
      "    </LaserOverlaps>\n    <PlatformStl>\n      <Mesh>\n        <Name>build-plate</Name>\n"
      "        <Vertices>AAAAAAAAAAAAACDBAAB6QwAAekMAACDBAAB6QwAAAAAAACDBAAAAAAAAekMAACDBAAAAAAAAAA"
      "AAAAAAAAB6QwAAAAAAAAAAAAB6QwAAekMAAAAAAAAAAAAAekMAAAAA</Vertices>\n        <Triangles>"
      "AAAAAAEAAAACAAAAAAAAAAMAAAABAAAABAAAAAUAAAAGAAAABAAAAAYAAAAHAAAAAAAAAAIAAAAFAAAAAAAAAAUAAA"
      "AEAAAAAgAAAAEAAAAGAAAAAgAAAAYAAAAFAAAAAQAAAAMAAAAHAAAAAQAAAAcAAAAGAAAAAwAAAAAAAAAEAAAAAwAA"
      "AAQAAAAHAAAA</Triangles>\n      </Mesh>\n    </PlatformStl>\n  </Platform>\n"
      "  <SupportProfilesVector>\n";
  const auto lattice = [](int i, const char* indent) {
    const std::string in(indent);
    return in + "<Lattice spacing=\"0." + std::to_string(5 + i % 5) + "\" angle=\"" +
           std::to_string(30 + 5 * (i % 4)) + "\">\n" + in + "  <Wall>0.1" +
           std::to_string(i % 10) + "</Wall>\n" + in + "  <Teeth height=\"0.6\" count=\"" +
           std::to_string(2 + i % 3) + "\"/>\n" + in + "</Lattice>\n";
  };
  for (int i = 0; i < kSupportProfiles; ++i) {
    t += "    <SupportProfile>\n      <ProfileName>Profile " + std::to_string(i + 1) +
         (i % 3 == 0 ? ", heavy parts" : ", fine lattice") + "</ProfileName>\n";
    t += i % 3 == 0 ? "      <Block spacing=\"1.2\"/>\n" : lattice(i, "      ");
    t += "    </SupportProfile>\n";
  }
  t += "  </SupportProfilesVector>\n  <Support>\n    <ProfileName>Profile 2, fine lattice"
       "</ProfileName>\n" +
       lattice(1, "    ") +
       "  </Support>\n  <ZCompensationParameters>\n"
       "    <ZCompensationValue>1200</ZCompensationValue>\n    <PreserveThin>10</PreserveThin>\n"
       "    <PreserveSmallFeatures>true</PreserveSmallFeatures>\n"
       "    <RemoveSelfIteractions>false</RemoveSelfIteractions>\n    <ZCompType>1</ZCompType>\n"
       "    <SaveZCompToPartName>true</SaveZCompToPartName>\n"
       "    <UseAngleBasedFactor>true</UseAngleBasedFactor>\n"
       "    <FilterSharpTriangles>true</FilterSharpTriangles>\n    <AngleFactorArray>\n";
  for (int i = 0; i < kAngleFactors; ++i) {
    // cos of the angle from 0 to 90 degrees, in thousandths.
    const double factor = 1000.0 * std::cos(std::numbers::pi * i / (2.0 * (kAngleFactors - 1)));
    t += "      <AngleFactor>" + std::to_string(std::lround(factor)) + "</AngleFactor>\n";
  }
  t += "    </AngleFactorArray>\n  </ZCompensationParameters>\n"
       "  <AdaptiveLayerThickness version=\"2\">\n    <MinLayer>0.02</MinLayer>\n"
       "    <MaxLayer>0.06</MaxLayer>\n  </AdaptiveLayerThickness>\n</Machine>\n";
  return t;
}

using MachinePolicy = TalAM::MachineParametersSaxRead::LoadPolicyUnhandledElements;
constexpr MachinePolicy kKeepUnknown = TalAM::MachineParametersSaxRead::KeepUnhandledElements;

// ---------------------------------------------------------------------------------------------
// Shared state and helpers.

bool WriteFileWithFwrite(const std::string& path, std::string_view text) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  return std::fclose(file) == 0 && written;
}

std::string ReadFileBytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

double Seconds(Clock::duration d) {
  return std::chrono::duration<double>(d).count();
}

struct Documents {
  fs::path directory;
  MachineValues machine;
  MStlBase mesh;

  TalAM::MachineParameters fullMachine, fullMachineCopy;

  fs::path smallPath, meshPath, machinePath, outputPath;
  std::wstring smallWide, meshWide, machineWide, outputWide;
  std::int64_t smallBytes = 0, meshBytes = 0, machineBytes = 0;
};

Documents* g_documents = nullptr;

// ---------------------------------------------------------------------------------------------
// Benchmarks.

void SmallReadOurs(benchmark::State& state) {
  const Documents& d = *g_documents;
  for (auto _ : state) {
    MachineValues values;
    MachineHandler root(values);
    TalSAX::SAXReader reader(true, nullptr);
    reader.Parse(d.smallWide.c_str(), &root);
    reader.InitHelpersAfterLoading();
    benchmark::DoNotOptimize(values.blocks.back().ints.back());
  }
  state.SetBytesProcessed(state.iterations() * d.smallBytes);
}

void SmallReadPugixml(benchmark::State& state) {
  const Documents& d = *g_documents;
  const std::string path = d.smallPath.string();
  for (auto _ : state) {
    pugi::xml_document document;
    if (!document.load_file(path.c_str())) state.SkipWithError("pugixml cannot read the document");
    benchmark::DoNotOptimize(document.document_element().internal_object());
  }
  state.SetBytesProcessed(state.iterations() * d.smallBytes);
}

void SmallReadPugixmlConvert(benchmark::State& state) {
  const Documents& d = *g_documents;
  const std::string path = d.smallPath.string();
  for (auto _ : state) {
    MachineValues values;
    if (!ReadMachineWithPugixml(path, values)) state.SkipWithError("pugixml cannot read it");
    benchmark::DoNotOptimize(values.blocks.back().ints.back());
  }
  state.SetBytesProcessed(state.iterations() * d.smallBytes);
}

void SmallReadExpat(benchmark::State& state) {
  const Documents& d = *g_documents;
  const std::string path = d.smallPath.string();
  for (auto _ : state) {
    MachineValues values;
    if (!ReadMachineWithExpat(path, values)) state.SkipWithError("expat cannot read it");
    benchmark::DoNotOptimize(values.blocks.back().ints.back());
  }
  state.SetBytesProcessed(state.iterations() * d.smallBytes);
}

void SmallWriteOurs(benchmark::State& state) {
  const Documents& d = *g_documents;
  for (auto _ : state) {
    ::unlink(d.outputPath.c_str());
    const auto start = Clock::now();
    if (!WriteMachineDocument(d.outputWide, d.machine)) state.SkipWithError("cannot write");
    state.SetIterationTime(Seconds(Clock::now() - start));
  }
  ::unlink(d.outputPath.c_str());
  state.SetBytesProcessed(state.iterations() * d.smallBytes);
}

void SmallWriteBaseline(benchmark::State& state) {
  const Documents& d = *g_documents;
  const std::string path = d.outputPath.string();
  std::string text;  // keeps its capacity from one iteration to the next
  for (auto _ : state) {
    ::unlink(path.c_str());
    const auto start = Clock::now();
    text.clear();
    AppendMachineText(text, d.machine);
    if (!WriteFileWithFwrite(path, text)) state.SkipWithError("cannot write");
    state.SetIterationTime(Seconds(Clock::now() - start));
  }
  ::unlink(path.c_str());
  state.SetBytesProcessed(state.iterations() * d.smallBytes);
}

void MeshReadOurs(benchmark::State& state) {
  const Documents& d = *g_documents;
  for (auto _ : state) {
    MStlBase mesh;
    ReadMeshDocument(d.meshWide, mesh);
    if (mesh.GetTriangleCount() != kMeshTriangles) state.SkipWithError("mesh not read");
  }
  state.SetBytesProcessed(state.iterations() * d.meshBytes);
}

void MeshReadBaseline(benchmark::State& state) {
  const Documents& d = *g_documents;
  const std::string path = d.meshPath.string();
  for (auto _ : state) {
    BaselineMesh mesh;
    if (!ReadMeshBaseline(path, mesh) || mesh.indices.size() != 3 * kMeshTriangles) {
      state.SkipWithError("mesh not read");
    }
  }
  state.SetBytesProcessed(state.iterations() * d.meshBytes);
}

void MeshWriteOurs(benchmark::State& state) {
  const Documents& d = *g_documents;
  for (auto _ : state) {
    ::unlink(d.outputPath.c_str());
    const auto start = Clock::now();
    if (!WriteMeshDocument(d.outputPath, d.mesh)) state.SkipWithError("cannot write");
    state.SetIterationTime(Seconds(Clock::now() - start));
  }
  ::unlink(d.outputPath.c_str());
  state.SetBytesProcessed(state.iterations() * d.meshBytes);
}

void MeshWriteBaseline(benchmark::State& state) {
  const Documents& d = *g_documents;
  const std::string path = d.outputPath.string();
  MeshText text(d.mesh);
  for (auto _ : state) {
    ::unlink(path.c_str());
    const auto start = Clock::now();
    if (!WriteFileWithFwrite(path, text.Build())) state.SkipWithError("cannot write");
    state.SetIterationTime(Seconds(Clock::now() - start));
  }
  ::unlink(path.c_str());
  state.SetBytesProcessed(state.iterations() * d.meshBytes);
}

void MachineReadOurs(benchmark::State& state) {
  const Documents& d = *g_documents;
  for (auto _ : state) {
    TalAM::MachineParameters machine;
    if (!TalAM::LoadFromTMCF(machine, d.machineWide.c_str(), kKeepUnknown)) {
      state.SkipWithError("cannot read the machine");
    }
    benchmark::DoNotOptimize(machine.m_supportProfiles.size());
  }
  state.SetBytesProcessed(state.iterations() * d.machineBytes);
}

void MachineReadPugixml(benchmark::State& state) {
  const Documents& d = *g_documents;
  const std::string path = d.machinePath.string();
  for (auto _ : state) {
    pugi::xml_document document;
    if (!document.load_file(path.c_str())) state.SkipWithError("pugixml cannot read the machine");
    benchmark::DoNotOptimize(document.document_element().internal_object());
  }
  state.SetBytesProcessed(state.iterations() * d.machineBytes);
}

void MachineReadExpat(benchmark::State& state) {
  const Documents& d = *g_documents;
  const std::string path = d.machinePath.string();
  for (auto _ : state) {
    if (!ParseWithExpat(path)) state.SkipWithError("expat cannot read the machine");
  }
  state.SetBytesProcessed(state.iterations() * d.machineBytes);
}

void MachineWriteOurs(benchmark::State& state) {
  const Documents& d = *g_documents;
  for (auto _ : state) {
    ::unlink(d.outputPath.c_str());
    const auto start = Clock::now();
    if (!TalAM::SaveToTMCF(d.fullMachine, d.outputWide.c_str()))
      state.SkipWithError("cannot write");
    state.SetIterationTime(Seconds(Clock::now() - start));
  }
  ::unlink(d.outputPath.c_str());
  state.SetBytesProcessed(state.iterations() * d.machineBytes);
}

// Two machines read separately from the same file: equal, so the comparison walks everything.
void MachineCompareOurs(benchmark::State& state) {
  const Documents& d = *g_documents;
  for (auto _ : state) {
    const bool equal = d.fullMachine == d.fullMachineCopy;
    if (!equal) state.SkipWithError("the copies differ");
    benchmark::DoNotOptimize(equal);
  }
  state.SetBytesProcessed(state.iterations() * d.machineBytes);
}

// ---------------------------------------------------------------------------------------------
// Set-up and checks.

// Reads the generated machine text and saves the machine at `path`.
bool WriteMachineFile(const fs::path& path) {
  const fs::path text = path.string() + ".generated";
  if (!WriteFileWithFwrite(text.string(), MakeMachineText())) return false;
  TalAM::MachineParameters machine;
  std::vector<TalSAX::SAXWarning> refused;
  std::wstring message;
  const bool ok =
      TalAM::LoadFromTMCF(machine, text.wstring().c_str(), message, kKeepUnknown, refused) &&
      refused.empty() && TalAM::SaveToTMCF(machine, path.wstring().c_str());
  fs::remove(text);
  return ok;
}

// Creates the documents and checks that every reader and baseline agrees with them.
bool PrepareDocuments(Documents& d) {
  std::string pattern = (fs::temp_directory_path() / "talsdk-bench-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    std::cerr << "cannot create a temporary directory\n";
    return false;
  }
  d.directory = pattern;
  d.smallPath = d.directory / "small.xml";
  d.meshPath = d.directory / "mesh.xml";
  d.machinePath = d.directory / "machine.xml";
  d.outputPath = d.directory / "output.xml";
  d.smallWide = d.smallPath.wstring();
  d.meshWide = d.meshPath.wstring();
  d.machineWide = d.machinePath.wstring();
  d.outputWide = d.outputPath.wstring();

  d.machine = MakeMachineValues();
  d.mesh = MakeTorusMesh();
  if (!WriteMachineDocument(d.smallPath, d.machine) || !WriteMeshDocument(d.meshPath, d.mesh)) {
    std::cerr << "cannot write the documents into " << d.directory << "\n";
    return false;
  }
  d.smallBytes = static_cast<std::int64_t>(fs::file_size(d.smallPath));
  d.meshBytes = static_cast<std::int64_t>(fs::file_size(d.meshPath));

  const auto fail = [](const char* what) {
    std::cerr << "check failed: " << what << "\n";
    return false;
  };

  MachineValues read;
  {
    MachineHandler root(read);
    TalSAX::SAXReader reader(true, nullptr);
    reader.Parse(d.smallWide.c_str(), &root);
    if (!reader.GetWarnings().empty()) return fail("the small document reads without warnings");
  }
  if (!(read == d.machine)) return fail("the small document reads back its values");
  MachineValues convertedWithPugixml;
  if (!ReadMachineWithPugixml(d.smallPath.string(), convertedWithPugixml) ||
      !(convertedWithPugixml == d.machine)) {
    return fail("pugixml and conversion read back the small document's values");
  }
  MachineValues convertedWithExpat;
  if (!ReadMachineWithExpat(d.smallPath.string(), convertedWithExpat) ||
      !(convertedWithExpat == d.machine)) {
    return fail("expat and conversion read back the small document's values");
  }
  std::string smallText;
  AppendMachineText(smallText, d.machine);
  if (smallText != ReadFileBytes(d.smallPath)) return fail("the small write baseline's text");

  MStlBase mesh;
  ReadMeshDocument(d.meshWide, mesh);
  if (mesh.GetName() != kMeshName || mesh.GetVertices() != d.mesh.GetVertices() ||
      mesh.GetTriangles() != d.mesh.GetTriangles()) {
    return fail("the mesh document reads back its mesh");
  }
  BaselineMesh baseline;
  if (!ReadMeshBaseline(d.meshPath.string(), baseline) ||
      baseline.coordinates.size() != 3 * kMeshVertices ||
      std::memcmp(baseline.coordinates.data(), d.mesh.GetVertices().data(),
                  baseline.coordinates.size() * sizeof(float)) != 0 ||
      baseline.indices.size() != 3 * kMeshTriangles ||
      std::memcmp(baseline.indices.data(), d.mesh.GetTriangles().data(),
                  baseline.indices.size() * sizeof(std::uint32_t)) != 0) {
    return fail("the mesh read baseline decodes the mesh");
  }
  MeshText meshText(d.mesh);
  if (meshText.Build() != ReadFileBytes(d.meshPath)) return fail("the mesh write baseline's text");

  // The machine document is what our writer makes of the generated text; it reads back equal.
  if (!WriteMachineFile(d.machinePath)) return fail("the generated machine reads and writes");
  d.machineBytes = static_cast<std::int64_t>(fs::file_size(d.machinePath));
  if (!TalAM::LoadFromTMCF(d.fullMachine, d.machineWide.c_str(), kKeepUnknown) ||
      !TalAM::LoadFromTMCF(d.fullMachineCopy, d.machineWide.c_str(), kKeepUnknown) ||
      !(d.fullMachine == d.fullMachineCopy)) {
    return fail("the machine document reads back twice alike");
  }
  if (d.fullMachine.m_supportProfiles.size() != std::size_t{kSupportProfiles} ||
      d.fullMachine.m_zCompensationParameters.m_angleFactors.size() != std::size_t{kAngleFactors} ||
      d.fullMachine.GetUnhandledElements().size() != 1) {
    return fail("the machine document holds every block");
  }
  if (!TalAM::SaveToTMCF(d.fullMachine, d.outputWide.c_str()) ||
      ReadFileBytes(d.outputPath) != ReadFileBytes(d.machinePath)) {
    return fail("the machine writes back the same bytes");
  }
  fs::remove(d.outputPath);
  pugi::xml_document document;
  if (!document.load_file(d.machinePath.string().c_str())) return fail("pugixml reads the machine");
  if (!ParseWithExpat(d.machinePath.string())) return fail("expat reads the machine");
  return true;
}

// The single-shot modes; returns the exit code, or -1 when `argv` asks for none of them.
int RunSingleShot(int argc, char** argv) {
  if (argc < 2) return -1;
  const std::string_view mode = argv[1];
  if (mode == "--idle") return 0;
  if (argc != 3) return -1;
  const fs::path path = argv[2];
  if (mode == "--write-small-document") {
    return WriteMachineDocument(path, MakeMachineValues()) ? 0 : 1;
  }
  if (mode == "--write-mesh-document") return WriteMeshDocument(path, MakeTorusMesh()) ? 0 : 1;
  if (mode == "--write-machine-document") return WriteMachineFile(path) ? 0 : 1;
  if (mode == "--read-mesh-document") {
    MStlBase mesh;
    ReadMeshDocument(path.wstring(), mesh);
    std::cout << mesh.GetVertexCount() << " vertices, " << mesh.GetTriangleCount()
              << " triangles\n";
    return mesh.GetTriangleCount() == kMeshTriangles ? 0 : 1;
  }
  // Reads for instruction counts (valgrind --tool=callgrind): BENCH_READS reads (default 1)
  // of a small or machine document, by our reader or by pugixml's load_file.
  const char* readsText = std::getenv("BENCH_READS");
  const int reads = readsText != nullptr ? std::max(1, std::atoi(readsText)) : 1;
  if (mode == "--read-small-document") {
    for (int i = 0; i < reads; ++i) {
      MachineValues values;
      MachineHandler root(values);
      TalSAX::SAXReader reader(true, nullptr);
      reader.Parse(path.wstring().c_str(), &root);
      reader.InitHelpersAfterLoading();
      benchmark::DoNotOptimize(values.blocks.back().ints.back());
    }
    return 0;
  }
  if (mode == "--read-machine-document") {
    for (int i = 0; i < reads; ++i) {
      TalAM::MachineParameters machine;
      if (!TalAM::LoadFromTMCF(machine, path.wstring().c_str(), kKeepUnknown)) return 1;
    }
    return 0;
  }
  if (mode == "--read-with-pugixml") {
    for (int i = 0; i < reads; ++i) {
      pugi::xml_document document;
      if (!document.load_file(path.c_str())) return 1;
    }
    return 0;
  }
  if (mode == "--read-mesh-baseline") {
    BaselineMesh mesh;
    const bool ok = ReadMeshBaseline(path.string(), mesh);
    std::cout << mesh.coordinates.size() / 3 << " vertices, " << mesh.indices.size() / 3
              << " triangles\n";
    return ok && mesh.indices.size() == 3 * kMeshTriangles ? 0 : 1;
  }
  return -1;
}

void RegisterBenchmarks() {
  using benchmark::RegisterBenchmark;
  RegisterBenchmark("SmallRead/Ours", SmallReadOurs)->UseRealTime()->Unit(benchmark::kMicrosecond);
  RegisterBenchmark("SmallRead/PugixmlLoadFile", SmallReadPugixml)
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
  RegisterBenchmark("SmallRead/PugixmlLoadAndConvert", SmallReadPugixmlConvert)
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
  RegisterBenchmark("SmallRead/ExpatAndConvert", SmallReadExpat)
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
  RegisterBenchmark("SmallWrite/Ours", SmallWriteOurs)
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
  RegisterBenchmark("SmallWrite/Baseline", SmallWriteBaseline)
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
  RegisterBenchmark("MeshRead/Ours", MeshReadOurs)->UseRealTime()->Unit(benchmark::kMillisecond);
  RegisterBenchmark("MeshRead/Baseline", MeshReadBaseline)
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
  RegisterBenchmark("MeshWrite/Ours", MeshWriteOurs)
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
  RegisterBenchmark("MeshWrite/Baseline", MeshWriteBaseline)
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
  RegisterBenchmark("MachineRead/Ours", MachineReadOurs)
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
  RegisterBenchmark("MachineRead/PugixmlLoadFile", MachineReadPugixml)
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
  RegisterBenchmark("MachineRead/ExpatParse", MachineReadExpat)
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
  RegisterBenchmark("MachineWrite/Ours", MachineWriteOurs)
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
  RegisterBenchmark("MachineCompare/Ours", MachineCompareOurs)
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (const int code = RunSingleShot(argc, argv); code >= 0) return code;

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

    auto documents = std::make_unique<Documents>();
    const bool prepared = PrepareDocuments(*documents);
    if (prepared) {
      g_documents = documents.get();
      benchmark::AddCustomContext("small_document_bytes", std::to_string(documents->smallBytes));
      benchmark::AddCustomContext("mesh_document_bytes", std::to_string(documents->meshBytes));
      benchmark::AddCustomContext("machine_document_bytes",
                                  std::to_string(documents->machineBytes));
      RegisterBenchmarks();
      benchmark::RunSpecifiedBenchmarks();
      benchmark::Shutdown();
      g_documents = nullptr;
    }
    if (!documents->directory.empty()) fs::remove_all(documents->directory);
    return prepared ? 0 : 1;
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
    std::cerr << "error: " << error.GetMessage() << "\n";
    return 1;
  } catch (const std::exception& error) {
    std::cerr << "error: " << error.what() << "\n";
    return 1;
  }
}
