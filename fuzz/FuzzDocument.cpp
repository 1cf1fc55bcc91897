// Reads arbitrary bytes as a document into a handler that keeps everything, writes what it
// kept, reads that back and requires the same content. Any crash, sanitizer report, write
// failure or difference is a bug: whatever the reader accepts must be written so that it
// reads back unchanged. A short input made of digits, signs and points is also read as a
// number, which must give what from_chars gives, bit for bit (values take a quicker path than
// from_chars where they can).

#include <TalSDK/Machines.h>

#include <bit>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

class KeepEverything : public ISAXPersist, public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override {
    return TalSDK::MSaxPersistExtensibleObjectReader(*this).HandleTag(tagName, reader);
  }
  bool Write(TalSAX::ISAXWriter& writer) const override {
    return TalSDK::MSaxPersistExtensibleObjectWriter(*this).Write(writer);
  }
};

[[noreturn]] void Die(const char* what, const std::string& detail) {
  std::fprintf(stderr, "fuzz_document: %s\n%s\n", what, detail.c_str());
  std::abort();
}

template <class Float, class Bits>
void CheckNumber(std::string_view text) {
  Float expected{};
  Float parsed{};
  const auto result = std::from_chars(text.data(), text.data() + text.size(), expected);
  const bool whole = result.ec == std::errc{} && result.ptr == text.data() + text.size();
  if (TalSAX::ValueText::Parse(text, parsed) != whole ||
      (whole && std::bit_cast<Bits>(parsed) != std::bit_cast<Bits>(expected))) {
    Die("number read unlike from_chars", std::string(text));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  if (size > 0 && size <= 40 && input.find_first_not_of("0123456789-.") == std::string_view::npos) {
    CheckNumber<float, std::uint32_t>(input);
    CheckNumber<double, std::uint64_t>(input);
    return 0;
  }
  KeepEverything first;
  try {
    TalSAX::SAXReader reader(true, nullptr);
    reader.ParseBuffer(input, &first);
  } catch (const TalSDK::FileIO::MSAXError::MGeneric&) {
    return 0;  // refused with a clear error: fine
  }
  if (first.GetUnhandledElements().empty()) return 0;

  std::string written;
  try {
    TalSAX::SAXWriter writer(nullptr);
    writer.OpenString(written);
    first.Write(writer);
    if (!writer.Close()) Die("Close failed", written);
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
    Die("write of accepted input failed", error.GetMessage());
  }

  KeepEverything second;
  try {
    TalSAX::SAXReader reader(true, nullptr);
    reader.ParseBuffer(written, &second);
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
    Die("written document does not read back", error.GetMessage() + "\n" + written);
  }
  if (!(static_cast<const TalSDK::MSaxPersistExtensibleObject&>(first) == second)) {
    Die("content changed by a write and a read", written);
  }
  return 0;
}
