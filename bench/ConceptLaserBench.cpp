// Reading and writing a Concept Laser parameter file with 50 named laser sets (and 5 named
// post-process sets), next to pugixml's load_file of the same bytes as the baseline:
//
//   ClRead      MCLParameters::Load: parse, route every set, convert every length.
//   ClWrite     MCLParameters::Save of the same set (the file is removed before each
//               iteration, outside the measured time).
//   PugiLoad    pugi::xml_document::load_file of the file ClRead reads.
//
// The file is generated, saved to a temporary directory and checked (it loads back equal)
// before anything is measured. Ratios: ClRead / PugiLoad and ClWrite / PugiLoad.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <pugixml.hpp>
#include <string>

#include <TalSDK/Machines.h>

namespace {

namespace fs = std::filesystem;

MCLParameters MakeSet() {
  MCLParameters set;
  set.SetCLWRXParameterName(L"Bench");
  for (int i = 0; i < 50; ++i) {
    MCLScanningParameters& scanning =
        *set.GetComponentScanningParameters(L"Component " + std::to_wstring(i), true);
    for (MCLBuildParameters& laser : scanning.m_buildParameters) {
      laser.m_laserPower = 100 + i;
      laser.m_laserSpeed = 600 + 7 * i;
    }
  }
  for (int i = 0; i < 5; ++i) {
    MCLPostProcessParameters& post =
        *set.GetComponentPostProcessParameters(L"Post " + std::to_wstring(i), true);
    post.GetHatchingParameters().SetDistance(90 + i);
    post.m_skinWidth = 12345 * (i + 1);
  }
  return set;
}

struct Fixture {
  fs::path directory;
  fs::path file;
  fs::path written;
  MCLParameters set = MakeSet();

  Fixture() {
    std::string pattern = (fs::temp_directory_path() / "talsdk-cl-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    directory = pattern;
    file = directory / "bench.xml";
    written = directory / "written.xml";
    MCLParameters loaded;
    if (!set.Save(file.wstring()) || !loaded.Load(file.wstring())) std::abort();
    loaded.SetName(set.GetName());
    if (!(loaded == set)) {
      std::fprintf(stderr, "the benchmark file does not load back equal\n");
      std::abort();
    }
    std::fprintf(stderr, "CL file: %ju bytes\n", static_cast<std::uintmax_t>(fs::file_size(file)));
  }
  ~Fixture() {
    std::error_code ignored;
    fs::remove_all(directory, ignored);
  }
};

Fixture& Shared() {
  static Fixture fixture;
  return fixture;
}

void ClRead(benchmark::State& state) {
  const Fixture& fixture = Shared();
  for (auto _ : state) {
    MCLParameters set;
    if (!set.Load(fixture.file.wstring())) state.SkipWithError("load failed");
    benchmark::DoNotOptimize(set);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(fs::file_size(fixture.file)));
}

void ClWrite(benchmark::State& state) {
  Fixture& fixture = Shared();
  for (auto _ : state) {
    state.PauseTiming();
    std::error_code ignored;
    fs::remove(fixture.written, ignored);
    state.ResumeTiming();
    if (!fixture.set.Save(fixture.written.wstring())) state.SkipWithError("save failed");
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(fs::file_size(fixture.file)));
}

void PugiLoad(benchmark::State& state) {
  const Fixture& fixture = Shared();
  for (auto _ : state) {
    pugi::xml_document document;
    if (!document.load_file(fixture.file.c_str())) state.SkipWithError("pugixml failed");
    benchmark::DoNotOptimize(document);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(fs::file_size(fixture.file)));
}

BENCHMARK(ClRead)->Unit(benchmark::kMicrosecond);
BENCHMARK(ClWrite)->Unit(benchmark::kMicrosecond);
BENCHMARK(PugiLoad)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
