#pragma once
// The tag writer: writes a UTF-8 XML 1.0 document element by element, indented by two
// spaces with one element per line and value elements inline. Text is checked and escaped
// so that every written document reads back exactly.

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include <TalSDK/SDKExport.h>
#include <TalSDK/sdk/sax/BinaryStreams.h>
#include <TalSDK/sdk/sax/SAXPersist.h>
#include <TalSDK/sdk/sax/ValueText.h>

namespace TalSAX {

namespace SAXContexts {
class ISAXContext;
}

// Encryption of the written file. Only 0 (none) is supported.
enum EEncryptionLevel : int { eEncryptionNone = 0 };
// Compression of the written file. -1 (none, plain XML) is the only level supported.
enum ESAXCompressionLevel : int { eCompressionNone = -1 };

class TALSDK_SDK_EXPORT ISAXWriter {
 public:
  virtual ~ISAXWriter();

  // Opens an element. Its start tag stays open for attributes until content follows.
  virtual void StartTag(std::string_view name) = 0;
  // Adds an attribute to the element just opened; false when content was already written.
  virtual bool WriteAttribute(std::string_view name, std::string_view utf8Value) = 0;
  // Text content of the open element, UTF-8. Throws MGeneric naming the element when the
  // text is not valid UTF-8 or holds a character XML 1.0 forbids.
  virtual void WriteText(std::string_view utf8) = 0;
  // The bytes as base64 text of the open element.
  virtual void WriteBinary(std::span<const std::byte> bytes) = 0;
  // Closes the open element, which must be `name`.
  virtual void EndTag(std::string_view name) = 0;

  // A whole element holding `text`.
  virtual bool WriteElement(std::string_view name, std::string_view utf8Text) {
    StartTag(name);
    WriteText(utf8Text);
    EndTag(name);
    return true;
  }
  // A whole binary element.
  bool WriteBinaryElement(std::string_view name, std::span<const std::byte> bytes) {
    StartTag(name);
    WriteBinary(bytes);
    EndTag(name);
    return true;
  }
  bool WriteBinaryElement(std::string_view name, const MSAXStreamBinaryOut& stream) {
    return WriteBinaryElement(name, stream.Bytes());
  }
  MSAXStreamBinaryOut CreateBinaryOut() const { return MSAXStreamBinaryOut(); }

  // Floating-point values with `precision` significant digits (`fixed`: digits after the
  // point), as a whole element or as the text of the open element.
  bool WriteFloatElement(std::string_view name, float value, int precision, bool fixed);
  bool WriteDoubleElement(std::string_view name, double value, int precision, bool fixed);
  void WriteFloatValue(float value, int precision, bool fixed);
  void WriteDoubleValue(double value, int precision, bool fixed);

  // Object ids. An object's id is written as the attribute ID of the element holding it.
  // The writer hands out ids from 1 upwards and never one registered as used.
  virtual unsigned int GetObjectId(const ISAXReference* object) = 0;
  // Marks `id` as taken by `object` (null: by content the writer does not know, such as a
  // kept element). False when the id is already taken by another object.
  virtual bool RegisterUsedId(unsigned int id, const ISAXReference* object) = 0;

  // Throws MGeneric with `reason`, naming the file and the element being written.
  [[noreturn]] virtual void Fail(std::string_view reason) const = 0;
};

class TALSDK_SDK_EXPORT SAXWriter : public ISAXWriter {
 public:
  explicit SAXWriter(const std::shared_ptr<SAXContexts::ISAXContext>& context);
  ~SAXWriter() override;
  SAXWriter(const SAXWriter&) = delete;
  SAXWriter& operator=(const SAXWriter&) = delete;

  // Creates the file (replacing an existing one). False when it cannot be created or the
  // levels are not supported. `indent` false writes the elements without line breaks.
  bool Open(const wchar_t* path, EEncryptionLevel encryption, ESAXCompressionLevel compression,
            bool indent);
  // Opens a plain XML file whose binary elements are base64 text, framed by the project
  // element set with SetProjectTag (if any).
  bool OpenXMLBase64(const wchar_t* path);
  // Writes the document into `target` instead of a file (replacing its content). `target`
  // must outlive the writer, or the writer's next Open.
  bool OpenString(std::string& target, bool indent = true);
  // Writes the document to the open file descriptor `fd`, which stays the caller's: Close
  // writes out what is buffered and leaves it open. `name` stands for the file in messages.
  bool OpenDescriptor(int fd, const std::string& name, bool indent = true);

  // An element that encloses the whole document, with an optional namespace declaration
  // (xmlns:name="value", or xmlns="value" when the name is empty). Set before opening.
  void SetProjectTag(const std::string& tag);
  void SetProjectNamespaceName(const std::string& name);
  void SetProjectNamespaceValue(const std::string& value);

  // Finishes the document and closes the file. Throws MGeneric when the data cannot be
  // written (for example a full disk); false when nothing is open or elements are still open.
  // A writer closed with elements open, opened again or destroyed leaves what it has written
  // in its file or string.
  bool Close();

  void StartTag(std::string_view name) override;
  bool WriteAttribute(std::string_view name, std::string_view utf8Value) override;
  void WriteText(std::string_view utf8) override;
  void WriteBinary(std::span<const std::byte> bytes) override;
  void EndTag(std::string_view name) override;
  unsigned int GetObjectId(const ISAXReference* object) override;
  bool RegisterUsedId(unsigned int id, const ISAXReference* object) override;
  [[noreturn]] void Fail(std::string_view reason) const override;

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

}  // namespace TalSAX

// A scoped container element: the constructor opens it, the destructor closes it.
class TALSDK_SDK_EXPORT MSAXTagWriter {
 public:
  MSAXTagWriter(TalSAX::ISAXWriter& writer, const char* name);
  MSAXTagWriter(TalSAX::ISAXWriter& writer, std::string_view name);
  ~MSAXTagWriter();
  MSAXTagWriter(const MSAXTagWriter&) = delete;
  MSAXTagWriter& operator=(const MSAXTagWriter&) = delete;

 private:
  TalSAX::ISAXWriter& m_writer;
  std::string m_name;
};
