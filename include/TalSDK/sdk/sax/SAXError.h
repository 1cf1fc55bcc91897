#pragma once
// Exceptions of the tag reader and writer. They do not derive from std::exception so that
// callers can tell a file error from any other failure by catching them first.

#include <string>

#include <TalSDK/SDKExport.h>

namespace TalSDK::FileIO::MSAXError {

// A read, syntax or write failure. The message is UTF-8 and names the file and, where there
// is one, the line and column or the element concerned. Errors of the reader also carry the
// file, line and column as data.
class TALSDK_SDK_EXPORT MGeneric {
 public:
  explicit MGeneric(std::string utf8Message);
  MGeneric(std::string utf8Message, std::string utf8File, int line, int column);
  virtual ~MGeneric();
  MGeneric(const MGeneric&) = default;
  MGeneric& operator=(const MGeneric&) = default;

  const std::string& GetMessage() const { return m_message; }
  const char* what() const noexcept { return m_message.c_str(); }

  // The file the reader was reading (UTF-8), empty when the error does not come from one.
  const std::string& GetFile() const { return m_file; }
  // 1-based line and column (in bytes) of the error in that file; 0 when unknown.
  int GetLine() const { return m_line; }
  int GetColumn() const { return m_column; }

 private:
  std::string m_message;
  std::string m_file;
  int m_line = 0;
  int m_column = 0;
};

// An object id that a reference names was not found among the objects read or written.
class TALSDK_SDK_EXPORT MMissingReference : public MGeneric {
 public:
  MMissingReference(unsigned int objectId, const std::string& utf8Context);
  unsigned int GetObjectId() const { return m_objectId; }

 private:
  unsigned int m_objectId;
};

}  // namespace TalSDK::FileIO::MSAXError
