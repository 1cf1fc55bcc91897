#include "support/TestSupport.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <sstream>
#include <tuple>

#include <TalSDK/sdk/sax/SAXError.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>

namespace TestSupport {

TempDirectory::TempDirectory() {
  std::random_device seed;
  const auto base = std::filesystem::temp_directory_path();
  for (;;) {
    m_path = base / ("talsdk-test-" + std::to_string(::getpid()) + "-" + std::to_string(seed()));
    if (std::filesystem::create_directory(m_path)) break;
  }
}

TempDirectory::~TempDirectory() {
  std::error_code ignored;
  std::filesystem::permissions(m_path, std::filesystem::perms::owner_all,
                               std::filesystem::perm_options::add, ignored);
  std::filesystem::remove_all(m_path, ignored);
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

void WriteFile(const std::filesystem::path& path, std::string_view content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
}

std::set<std::string> Entries(const std::filesystem::path& directory) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory))
    names.insert(entry.path().filename().string());
  return names;
}

std::string RoundTrip(std::string_view xml) {
  KeepEverything kept;
  TalSAX::SAXReader(true, nullptr).ParseBuffer(xml, &kept);
  return Written([&kept](TalSAX::ISAXWriter& writer) { kept.Write(writer); });
}

std::string Written(const std::function<void(TalSAX::ISAXWriter&)>& steps, bool indent) {
  std::string out;
  TalSAX::SAXWriter writer(nullptr);
  EXPECT_TRUE(writer.OpenString(out, indent));
  steps(writer);
  EXPECT_TRUE(writer.Close());
  return out;
}

std::string FailureOf(const std::function<void()>& step) {
  try {
    step();
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
    // Writers fail with no place in a file.
    EXPECT_EQ(std::tuple(error.GetFile(), error.GetLine(), error.GetColumn()),
              std::tuple("", 0, 0));
    return error.GetMessage();
  }
  return "";
}

std::string WriteFailure(const std::function<void(TalSAX::ISAXWriter&)>& step) {
  std::string out;
  TalSAX::SAXWriter writer(nullptr);
  writer.OpenString(out);
  writer.StartTag("Machine");
  return FailureOf([&] { step(writer); });
}

std::string Inside(std::string_view document, std::string_view tag) {
  const std::string open = "<" + std::string(tag) + ">";
  const std::size_t start = document.find(open);
  if (start == std::string_view::npos) return "";
  const std::size_t end = document.rfind("</" + std::string(tag) + ">");
  return std::string(document.substr(start + open.size(), end - start - open.size()));
}

std::pair<bool, std::string> TryWriteBlock(std::string_view tag, const ISAXPersistBase& block,
                                           bool indent) {
  bool written = false;
  std::string out = Written(
      [&](TalSAX::ISAXWriter& writer) {
        MSAXTagWriter element(writer, tag);
        written = block.Write(writer);
      },
      indent);
  return {written, out};
}

std::string WriteBlock(std::string_view tag, const ISAXPersistBase& block) {
  auto [written, out] = TryWriteBlock(tag, block);
  EXPECT_TRUE(written) << out;
  return out;
}

void ReadBlock(std::string_view document, ISAXPersistBase& block, TalSAX::SAXReader& reader) {
  struct Root : ISAXPersist {
    ISAXPersistBase* block = nullptr;
    bool HandleTag(const std::string&, TalSAX::ISAXReader& reader) override {
      return reader.DelegateToChild(*block);
    }
  } root;
  root.block = &block;
  reader.ParseBuffer(document, &root);
}

std::vector<TalSAX::SAXWarning> ReadBlock(std::string_view document, ISAXPersistBase& block) {
  TalSAX::SAXReader reader(true, nullptr);
  ReadBlock(document, block, reader);
  return reader.GetWarnings();
}

void WithStandardInputClosed(const std::function<void()>& step) {
  const int input = ::dup(0);
  ASSERT_GE(input, 0);
  ::close(0);
  struct Restore {
    int input;
    ~Restore() {
      ::dup2(input, 0);
      ::close(input);
    }
  } restore{input};
  step();
}

std::string Listed(const std::vector<TalSAX::SAXWarning>& warnings, bool places) {
  std::string listed;
  for (const auto& w : warnings) {
    listed += w.path + " ";
    if (places)
      listed += std::to_string(w.line) + ":" + std::to_string(w.column) + " '" + w.text + "' ";
  }
  return listed;
}

}  // namespace TestSupport
