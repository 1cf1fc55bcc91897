#include "StlImport.h"

#include "Text.h"

#include <admesh/stl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace TalMachineTool {

namespace {

// Exact coordinates as a key: triangles that meet share a vertex only where the file repeats
// the same three floats.
struct VertexKey {
  std::array<std::uint32_t, 3> bits;
  bool operator==(const VertexKey&) const = default;
};
struct VertexKeyHash {
  std::size_t operator()(const VertexKey& k) const {
    std::uint64_t h = 1469598103934665603ull;
    for (const std::uint32_t b : k.bits)
      h = (h ^ b) * 1099511628211ull;
    return static_cast<std::size_t>(h);
  }
};

VertexKey KeyOf(const stl_vertex& v) {
  // -0 and +0 are the same point.
  const auto bits = [](float f) { return std::bit_cast<std::uint32_t>(f == 0.0f ? 0.0f : f); };
  return {{bits(v.x), bits(v.y), bits(v.z)}};
}

constexpr std::size_t kBinaryHeader = 84;  // 80 bytes of text, then the facet count
constexpr std::size_t kBinaryFacet = 50;
constexpr std::size_t kTypeProbe = 128;  // bytes after the header ADMesh looks at

std::string ReadAll(const std::string& path) {
  std::string bytes;
  if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
    AppendRest(f, bytes);
    std::fclose(f);
  }
  return bytes;
}

bool IsBinaryStl(std::string_view bytes) {
  if (bytes.size() < kBinaryHeader) return false;
  std::uint32_t count = 0;
  std::memcpy(&count, bytes.data() + 80, sizeof count);
  return bytes.size() == kBinaryHeader + kBinaryFacet * std::uint64_t{count};
}

// The grammar of an ASCII STL file: "solid" [name], facets of "facet normal x y z",
// "outer loop", three "vertex x y z", "endloop", "endfacet", then "endsolid" [name].
bool IsAsciiStl(std::string_view text) {
  std::size_t at = 0;
  const auto next = [&]() -> std::string_view {
    while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])))
      ++at;
    const std::size_t start = at;
    while (at < text.size() && !std::isspace(static_cast<unsigned char>(text[at])))
      ++at;
    return text.substr(start, at - start);
  };
  const auto number = [&] {
    const std::string_view token = next();
    float value = 0;
    const auto [end, ec] = std::from_chars(token.data(), token.data() + token.size(), value);
    return !token.empty() && ec == std::errc() && end == token.data() + token.size();
  };
  const auto line = [&] {  // the rest of the current line: a solid's name
    while (at < text.size() && text[at] != '\n')
      ++at;
  };
  if (next() != "solid") return false;
  line();
  std::size_t facets = 0;
  for (;;) {
    const std::string_view word = next();
    if (word == "endsolid") return facets > 0;
    if (word != "facet" || next() != "normal" || !number() || !number() || !number()) return false;
    if (next() != "outer" || next() != "loop") return false;
    for (int v = 0; v < 3; ++v) {
      if (next() != "vertex" || !number() || !number() || !number()) return false;
    }
    if (next() != "endloop" || next() != "endfacet") return false;
    ++facets;
  }
}

// A temporary file, removed with the object.
struct TemporaryFile {
  std::string path;
  bool Write(std::string_view bytes) {
    std::string name = (std::filesystem::temp_directory_path() / "tal-machine-XXXXXX.stl").string();
    const int fd = ::mkstemps(name.data(), 4);
    if (fd < 0) return false;
    path = name;
    std::size_t done = 0;
    while (done < bytes.size()) {
      const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
      if (n <= 0) break;
      done += static_cast<std::size_t>(n);
    }
    return ::close(fd) == 0 && done == bytes.size();
  }
  ~TemporaryFile() {
    if (!path.empty()) ::unlink(path.c_str());
  }
};

// Owns ADMesh's state for one file.
struct StlFile {
  stl_file stl{};
  bool opened = false;
  ~StlFile() {
    if (opened) stl_close(&stl);
  }
};

}  // namespace

bool ReadStl(const std::string& path, MStlBase& mesh, std::string& error) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
    error = Printable(path) + ": cannot read as STL: not a readable regular file";
    return false;
  }
  // ADMesh takes a file for ASCII unless a byte above 127 follows the binary header, and its
  // ASCII reader does not stop on text it cannot parse (a truncated binary file makes it loop
  // forever). So the file's form is checked first, and ADMesh only sees well-formed files. A
  // binary file it would take for ASCII goes to it as a copy whose first facet normal has its
  // sign bit set, which changes no vertex.
  std::string bytes = ReadAll(path);
  std::string readPath = path;
  TemporaryFile copy;
  if (IsBinaryStl(bytes)) {
    if (bytes.size() == kBinaryHeader) {
      error = Printable(path) + ": cannot read as STL: it holds no triangles";
      return false;
    }
    const auto probe = std::string_view(bytes).substr(kBinaryHeader, kTypeProbe);
    const bool looksBinary = std::any_of(
        probe.begin(), probe.end(), [](char c) { return static_cast<unsigned char>(c) > 127; });
    if (!looksBinary) {
      bytes[kBinaryHeader + 3] = static_cast<char>(bytes[kBinaryHeader + 3] | 0x80);
      if (!copy.Write(bytes)) {
        error = Printable(path) + ": cannot read as STL: no room for a temporary copy";
        return false;
      }
      readPath = copy.path;
    }
  } else if (!IsAsciiStl(bytes)) {
    error = Printable(path) +
            ": cannot read as STL: neither a binary STL file (84 + 50 bytes a triangle) nor an "
            "ASCII one";
    return false;
  }
  // ADMesh reports its own reasons on stderr; the tool's one line says what failed, so they
  // are silenced for the length of the read.
  std::fflush(stderr);
  const int savedStderr = ::dup(STDERR_FILENO);
  if (std::FILE* devNull = std::fopen("/dev/null", "w")) {
    ::dup2(::fileno(devNull), STDERR_FILENO);
    std::fclose(devNull);
  }
  StlFile file;
  stl_open(&file.stl, const_cast<char*>(readPath.c_str()));
  file.opened = true;
  std::fflush(stderr);
  if (savedStderr >= 0) {
    ::dup2(savedStderr, STDERR_FILENO);
    ::close(savedStderr);
  }
  if (stl_get_error(&file.stl) != 0 || file.stl.stats.number_of_facets < 0 ||
      (file.stl.stats.number_of_facets > 0 && file.stl.facet_start == nullptr)) {
    error = Printable(path) + ": cannot read as STL: not a valid binary or ASCII STL file";
    return false;
  }

  std::vector<MStlVertex> vertices;
  std::vector<MStlTriangle> triangles;
  std::unordered_map<VertexKey, std::uint32_t, VertexKeyHash> index;
  const auto count = static_cast<std::size_t>(file.stl.stats.number_of_facets);
  triangles.reserve(count);
  for (std::size_t f = 0; f < count; ++f) {
    const stl_facet& facet = file.stl.facet_start[f];
    MStlTriangle triangle{};
    for (int c = 0; c < 3; ++c) {
      const stl_vertex& v = facet.vertex[c];
      if (!std::isfinite(v.x) || !std::isfinite(v.y) || !std::isfinite(v.z)) {
        error = Printable(path) + ": cannot read as STL: facet " + std::to_string(f + 1) +
                " has a coordinate that is not a finite number";
        return false;
      }
      const auto [it, added] =
          index.try_emplace(KeyOf(v), static_cast<std::uint32_t>(vertices.size()));
      if (added) vertices.push_back({v.x, v.y, v.z});
      triangle.v[static_cast<std::size_t>(c)] = it->second;
    }
    triangles.push_back(triangle);
  }
  if (!mesh.SetGeometry(std::move(vertices), std::move(triangles))) {
    error = Printable(path) + ": cannot read as STL: inconsistent triangles";
    return false;
  }
  mesh.SetName(std::filesystem::path(path).stem().wstring());
  return true;
}

}  // namespace TalMachineTool
