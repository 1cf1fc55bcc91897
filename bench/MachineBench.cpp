// Loading and saving whole machine files through the public entry points, each next to a
// baseline on the same bytes in the same run:
//
//   Full      the bundled example machine grown into a busy one (~35 KB): every block, with
//             many laser overlaps, support profiles, cost fragments, reference builds, locked
//             areas, quality parts and angle factors. Read: TalAM::LoadFromTMCF against pugixml
//             load_file. Write: TalAM::SaveToTMCF against one fwrite of the same bytes.
//   FullMesh  the same machine carrying a 1,000,000-triangle platform mesh (~24 MB of base64).
//             Read baseline: pugixml load_file and decoding the mesh's two payloads. Write
//             baseline: one fwrite of the same bytes.
//
// bench/machine.sh runs it with interleaved repetitions and prints the ratios.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

#include <TalSDK/Machines.h>
#include "sdk/sax/Base64.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
constexpr auto kKeep = TalAM::MachineParametersSaxRead::KeepUnhandledElements;

std::string ReadBytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bool WriteBytes(const std::string& path, std::string_view bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return std::fclose(file) == 0 && written;
}

// Repeats the first element `open`...`close` of `text` until there are `count` of them; each
// copy gets `rename` applied (to keep names unique where the file needs it).
template <class Rename>
void Repeat(std::string& text, std::string_view open, std::string_view close, int count,
            Rename rename) {
  const std::size_t begin = text.find(open);
  const std::size_t end = text.find(close, begin) + close.size();
  const std::string indent =
      "\n" + text.substr(text.rfind('\n', begin) + 1, begin - text.rfind('\n', begin) - 1);
  const std::string element = text.substr(begin, end - begin);
  std::string copies;
  for (int i = 2; i <= count; ++i)
    copies += indent + rename(element, i);
  text.insert(end, copies);
}

std::string Numbered(std::string element, std::string_view nameTag, int i) {
  const std::string open = "<" + std::string(nameTag) + ">";
  const std::size_t at = element.find(open);
  const std::size_t end = element.find('<', at + open.size());
  element.insert(end, " " + std::to_string(i));
  return element;
}

// The example machine grown at the places a busy machine has many entries.
std::string FullMachineText(const fs::path& example) {
  std::string t = ReadBytes(example);
  const auto same = [](const std::string& e, int) { return e; };
  Repeat(t, "<Overlap>", "</Overlap>", 16, same);
  Repeat(t, "<SupportProfile>", "</SupportProfile>", 12,
         [](const std::string& e, int i) { return Numbered(e, "ProfileName", i); });
  Repeat(t, "<CostFragment>", "</CostFragment>", 8,
         [](const std::string& e, int i) { return Numbered(e, "Name", i); });
  Repeat(t, "<PlateauData>", "</PlateauData>", 6,
         [](const std::string& e, int i) { return Numbered(e, "Filename", i); });
  Repeat(t, "<AngleFactor>", "</AngleFactor>", 32, same);
  Repeat(t, "<Item>", "</Item>", 4,
         [](const std::string& e, int i) { return Numbered(e, "Name", i); });
  // A rectangle's name, visibility, type and parameters, repeated as a unit.
  const std::size_t area = t.find("<AreaName>");
  const std::size_t areaEnd = t.find("</AreaParameters>", area) + 17;
  std::string areas;
  for (int i = 2; i <= 6; ++i) {
    areas += "\n      " + Numbered(t.substr(area, areaEnd - area), "AreaName", i);
  }
  t.insert(areaEnd, areas);
  return t;
}

// A flat grid of 708 × 708 vertices: 999,698 triangles.
void MakeGridMesh(MStlBase& mesh) {
  constexpr std::uint32_t kSide = 708;
  std::vector<MStlVertex> vertices;
  std::vector<MStlTriangle> triangles;
  vertices.reserve(kSide * kSide);
  for (std::uint32_t y = 0; y < kSide; ++y) {
    for (std::uint32_t x = 0; x < kSide; ++x)
      vertices.push_back({0.35f * static_cast<float>(x), 0.35f * static_cast<float>(y), 0.0f});
  }
  triangles.reserve(2 * (kSide - 1) * (kSide - 1));
  for (std::uint32_t y = 0; y + 1 < kSide; ++y) {
    for (std::uint32_t x = 0; x + 1 < kSide; ++x) {
      const std::uint32_t v = y * kSide + x;
      triangles.push_back({{v, v + 1, v + kSide + 1}});
      triangles.push_back({{v, v + kSide + 1, v + kSide}});
    }
  }
  mesh.SetName(L"platform-grid");
  mesh.SetGeometry(std::move(vertices), std::move(triangles));
}

struct Document {
  fs::path path;
  std::wstring wide;
  std::string bytes;
  TalAM::MachineParameters machine;
};

struct Documents {
  fs::path directory, output;
  std::wstring outputWide;
  Document full, mesh;
};

Documents* g_documents = nullptr;

// Loads the text at `path` (no element refused), saves it back there and keeps both forms.
bool Canonical(Document& d) {
  TalAM::MachineParameters machine;
  const TalAM::MachineLoadResult loaded = TalAM::LoadMachineFile(machine, d.wide.c_str(), kKeep);
  if (!loaded.success || !loaded.refusedElements.empty()) return false;
  if (!TalAM::SaveToTMCF(machine, d.wide.c_str())) return false;
  d.bytes = ReadBytes(d.path);
  return TalAM::LoadFromTMCF(d.machine, d.wide.c_str(), kKeep) && d.machine == machine;
}

bool Prepare(Documents& d) {
  d.directory = fs::temp_directory_path() / ("talsdk-machine-bench-" + std::to_string(getpid()));
  fs::create_directories(d.directory);
  d.output = d.directory / "output.xml";
  d.outputWide = d.output.wstring();
  d.full.path = d.directory / "full.xml";
  d.full.wide = d.full.path.wstring();
  if (!WriteBytes(d.full.path.string(), FullMachineText(EXAMPLE_MACHINE)) || !Canonical(d.full)) {
    std::cerr << "cannot prepare the full machine\n";
    return false;
  }
  d.mesh.path = d.directory / "full-mesh.xml";
  d.mesh.wide = d.mesh.path.wstring();
  TalAM::MachineParameters withMesh = d.full.machine;
  MakeGridMesh(*withMesh.m_platform.m_platformStl.GetPlatformStl(true));
  if (!TalAM::SaveToTMCF(withMesh, d.mesh.wide.c_str()) || !Canonical(d.mesh)) {
    std::cerr << "cannot prepare the machine with a mesh\n";
    return false;
  }
  return true;
}

void Read(benchmark::State& state, const Document& d) {
  for (auto _ : state) {
    TalAM::MachineParameters machine;
    if (!TalAM::LoadFromTMCF(machine, d.wide.c_str(), kKeep)) state.SkipWithError("load failed");
    benchmark::DoNotOptimize(machine.m_qualityParts.m_items.size());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(d.bytes.size()));
}

void ReadPugixml(benchmark::State& state, const Document& d, bool decodeMesh) {
  const std::string path = d.path.string();
  std::vector<float> coordinates;
  std::vector<std::uint32_t> indices;
  for (auto _ : state) {
    pugi::xml_document document;
    if (!document.load_file(path.c_str())) state.SkipWithError("pugixml cannot read it");
    if (decodeMesh) {
      const pugi::xml_node mesh =
          document.child("Machine").child("Platform").child("PlatformStl").child("Mesh");
      if (!TalSAX::DecodeBinaryArray(std::string_view(mesh.child_value("Vertices")), coordinates) ||
          !TalSAX::DecodeBinaryArray(std::string_view(mesh.child_value("Triangles")), indices)) {
        state.SkipWithError("cannot decode the mesh");
      }
    }
    benchmark::DoNotOptimize(document.document_element().internal_object());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(d.bytes.size()));
}

// Each iteration writes a new file: the previous one is deleted outside the measured time.
template <class WriteOnce>
void Write(benchmark::State& state, const Document& d, WriteOnce write) {
  const Documents& docs = *g_documents;
  for (auto _ : state) {
    ::unlink(docs.output.c_str());
    const auto start = Clock::now();
    if (!write()) state.SkipWithError("write failed");
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
  }
  ::unlink(docs.output.c_str());
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(d.bytes.size()));
}

void Register(const char* name, const Document& d, bool mesh) {
  const auto unit = mesh ? benchmark::kMillisecond : benchmark::kMicrosecond;
  const std::string prefix(name);
  benchmark::RegisterBenchmark((prefix + "Read/Ours").c_str(),
                               [&d](benchmark::State& s) { Read(s, d); })
      ->UseRealTime()
      ->Unit(unit);
  benchmark::RegisterBenchmark((prefix + "Read/Baseline").c_str(),
                               [&d, mesh](benchmark::State& s) { ReadPugixml(s, d, mesh); })
      ->UseRealTime()
      ->Unit(unit);
  benchmark::RegisterBenchmark(
      (prefix + "Write/Ours").c_str(),
      [&d](benchmark::State& s) {
        Write(s, d, [&d] { return TalAM::SaveToTMCF(d.machine, g_documents->outputWide.c_str()); });
      })
      ->UseManualTime()
      ->Unit(unit);
  benchmark::RegisterBenchmark(
      (prefix + "Write/Baseline").c_str(),
      [&d](benchmark::State& s) {
        Write(s, d, [&d] { return WriteBytes(g_documents->output.string(), d.bytes); });
      })
      ->UseManualTime()
      ->Unit(unit);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  auto documents = std::make_unique<Documents>();
  const bool prepared = Prepare(*documents);
  if (prepared) {
    g_documents = documents.get();
    benchmark::AddCustomContext("full_machine_bytes", std::to_string(documents->full.bytes.size()));
    benchmark::AddCustomContext("mesh_machine_bytes", std::to_string(documents->mesh.bytes.size()));
    Register("Full", documents->full, false);
    Register("FullMesh", documents->mesh, true);
    benchmark::RunSpecifiedBenchmarks();
  }
  benchmark::Shutdown();
  std::error_code ignored;
  fs::remove_all(documents->directory, ignored);
  return prepared ? 0 : 1;
}
