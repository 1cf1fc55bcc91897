#pragma once
// Exceptions of the tag reader and writer. They do not derive from std::exception so that
// callers can tell a file error from any other failure by catching them first.

#include <string>

#include <TalSDK/SDKExport.h>

namespace TalSDK::FileIO::MSAXError {

// A read, syntax or write failure. The message is UTF-8 and names the file and, where there
// is one, the line and column or the element concerned.
class TALSDK_SDK_EXPORT MGeneric {
 public:
  explicit MGeneric(std::string utf8Message);
  virtual ~MGeneric();
  MGeneric(const MGeneric&) = default;
  MGeneric& operator=(const MGeneric&) = default;

  const std::string& GetMessage() const { return m_message; }
  const char* what() const noexcept { return m_message.c_str(); }

 private:
  std::string m_message;
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
