#include <TalSDK/sdk/sax/SAXError.h>

#include <utility>

namespace TalSDK::FileIO::MSAXError {

MGeneric::MGeneric(std::string utf8Message) : m_message(std::move(utf8Message)) {}
MGeneric::MGeneric(std::string utf8Message, std::string utf8File, int line, int column)
    : m_message(std::move(utf8Message)),
      m_file(std::move(utf8File)),
      m_line(line),
      m_column(column) {}
MGeneric::~MGeneric() = default;

MMissingReference::MMissingReference(unsigned int objectId, const std::string& utf8Context)
    : MGeneric("missing reference to object id " + std::to_string(objectId) +
               (utf8Context.empty() ? std::string() : " in " + utf8Context)),
      m_objectId(objectId) {}

}  // namespace TalSDK::FileIO::MSAXError
