#pragma once
// The tag reader: reads a whole document into memory, checks that it is well-formed XML 1.0
// while tokenizing it in one pass, and dispatches its elements, depth-first, to the current
// handler (an ISAXPersistBase). Handlers delegate the content of an element to a child
// handler; the previous handler becomes current again at its end tag.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <TalSDK/SDKExport.h>
#include <TalSDK/sdk/common/Color.h>
#include <TalSDK/sdk/sax/BinaryStreams.h>
#include <TalSDK/sdk/sax/SAXPersist.h>
#include <TalSDK/sdk/sax/ValueText.h>

namespace TalSDK {
class MSaxUnhandledElement;
}

namespace TalSAX {

namespace SAXContexts {
// Context shared by the handlers of one document; machine files pass none.
class TALSDK_SDK_EXPORT ISAXContext {
 public:
  virtual ~ISAXContext();
};
}  // namespace SAXContexts

// An element that a handler refused (HandleTag returned false). Its content was skipped.
struct SAXWarning {
  std::string path;  // enclosing elements and the element, e.g. "Machine/Platform/Shape"
  int line = 0;      // 1-based line of the element's start tag
  int column = 0;    // 1-based column (in bytes) of its '<'
  std::string text;  // the element's own text, cut at 200 bytes
};

// A value a handler accepted although its text is not one of the texts it knows: it read the
// text as a fallback value instead of refusing the element.
struct SAXLenientReading : SAXWarning {
  std::string readAs;  // the text of the value it became
};

// Documents nested deeper than this are refused.
inline constexpr int kMaxElementDepth = 256;

// Bounds on what one parse reads; a document beyond either is refused with MGeneric before
// it can exhaust memory.
struct SAXReaderLimits {
  std::uint64_t maxDocumentBytes = std::uint64_t{1} << 30;  // 1 GiB
  std::uint64_t maxElements = 10'000'000;
};

class TALSDK_SDK_EXPORT ISAXReader {
 public:
  virtual ~ISAXReader();

  // From inside HandleTag: `child` handles the content of the element just opened.
  virtual bool DelegateToChild(ISAXPersistBase& child) = 0;
  // As DelegateToChild; the reader owns `child` and destroys it after the element's end tag.
  virtual bool DelegateToOwnedChild(ISAXPersistBase* child) = 0;

  // The element's own text (its text and CDATA children, concatenated), raw.
  virtual const std::string& GetElementText() = 0;
  // The same without a copy; valid until the next element is dispatched.
  virtual std::string_view GetElementTextView() const = 0;
  // The name of an enclosing element: 0 is the element just opened, 1 its parent. Empty
  // above the root.
  virtual const std::string& GetParentTagName(int levelsUp) const = 0;
  // The value of an attribute of the element just opened.
  virtual std::optional<std::string_view> GetAttribute(std::string_view name) const = 0;

  // Copies the element just opened with everything inside it into `element` and skips its
  // content (it is not dispatched). False when the element holds text that is not valid
  // XML 1.0 text (it cannot be written back).
  virtual bool CaptureElement(TalSDK::MSaxUnhandledElement& element) = 0;
  // Skips the content of the element just opened.
  virtual void SkipElementContent() = 0;

  // The object read under `objectId` (its element carried ID="objectId"), or null.
  virtual ISAXReference* FindReference(unsigned int objectId) const = 0;

  // From inside HandleTag: the element just opened was read leniently, as the value whose
  // text is `readAs`. Readers that do not collect such notes ignore it.
  virtual void NoteLenientReading(std::string_view readAs) { static_cast<void>(readAs); }

  // Reads the text of the element just opened. False when it does not convert; the target
  // is then unchanged.
  bool ReadValue(bool& value) { return TalSAX::ValueText::Parse(GetElementTextView(), value); }
  bool ReadValue(int& value) { return TalSAX::ValueText::Parse(GetElementTextView(), value); }
  bool ReadValue(unsigned int& value) {
    return TalSAX::ValueText::Parse(GetElementTextView(), value);
  }
  bool ReadValue(long& value) { return TalSAX::ValueText::Parse(GetElementTextView(), value); }
  bool ReadValue(unsigned long& value) {
    return TalSAX::ValueText::Parse(GetElementTextView(), value);
  }
  bool ReadValue(unsigned short& value) {
    return TalSAX::ValueText::Parse(GetElementTextView(), value);
  }
  bool ReadValue(float& value) { return TalSAX::ValueText::Parse(GetElementTextView(), value); }
  bool ReadValue(double& value) { return TalSAX::ValueText::Parse(GetElementTextView(), value); }
  // Wide strings: the text exactly (no trimming); false when it is not valid UTF-8 or holds a
  // character XML 1.0 forbids.
  bool ReadValue(std::wstring& value);
  // Narrow strings: the text exactly, as UTF-8; false when it is not valid.
  bool ReadValue(std::string& value);
  // Four floats separated by white space: red, green, blue, alpha.
  bool ReadValue(TalSDK::Common::Color& value);

  // The binary payload of the element just opened.
  MSAXStreamBinaryIn GetBinaryInStream() const { return MSAXStreamBinaryIn(GetElementTextView()); }

 protected:
  // True when every element text this reader hands out is already known to be valid UTF-8
  // made of characters XML 1.0 allows, so that ReadValue need not check it again.
  virtual bool IsElementTextChecked() const { return false; }
};

class TALSDK_SDK_EXPORT SAXReader : public ISAXReader {
 public:
  // `keepWhitespace` must be true: texts are passed on exactly (machine files pass true).
  SAXReader(bool keepWhitespace, const std::shared_ptr<SAXContexts::ISAXContext>& context);
  ~SAXReader() override;
  SAXReader(const SAXReader&) = delete;
  SAXReader& operator=(const SAXReader&) = delete;

  // Parses the file and dispatches it to `root`. Throws MGeneric when the file cannot be
  // read or is not a regular file (a FIFO or device is refused without blocking), is not
  // UTF-8, is not well-formed XML, carries a DOCTYPE, nests deeper than kMaxElementDepth or
  // exceeds the limits; the message names the file, the line and column, and the reason.
  // Handlers have received everything before the fault.
  void Parse(const wchar_t* path, ISAXPersistBase* root);
  // The same for a document in memory; `sourceName` stands for the file name in messages.
  void ParseBuffer(std::string_view document, ISAXPersistBase* root,
                   std::string_view sourceName = "<memory>");

  // After Parse: ResolveReferences, then InitAfterLoading, on the root handler. (Delegated
  // handlers receive both calls when their element ends: the reader cannot know whether a
  // handler outlives its element.)
  void InitHelpersAfterLoading();

  // Elements refused by their handlers during the last parse, in document order.
  const std::vector<SAXWarning>& GetWarnings() const;
  // Elements read leniently during the last parse, in document order.
  const std::vector<SAXLenientReading>& GetLenientReadings() const;

  // The limits of the following parses (SAXReaderLimits gives the defaults).
  void SetLimits(const SAXReaderLimits& limits);
  const SAXReaderLimits& GetLimits() const;

  bool DelegateToChild(ISAXPersistBase& child) override;
  bool DelegateToOwnedChild(ISAXPersistBase* child) override;
  const std::string& GetElementText() override;
  std::string_view GetElementTextView() const override;
  const std::string& GetParentTagName(int levelsUp) const override;
  std::optional<std::string_view> GetAttribute(std::string_view name) const override;
  bool CaptureElement(TalSDK::MSaxUnhandledElement& element) override;
  void SkipElementContent() override;
  ISAXReference* FindReference(unsigned int objectId) const override;
  void NoteLenientReading(std::string_view readAs) override;

 protected:
  bool IsElementTextChecked() const override { return true; }

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
  std::shared_ptr<SAXContexts::ISAXContext> m_context;
};

}  // namespace TalSAX
