#include <TalSDK/sdk/sax/SAXPersist.h>

ISAXReference::~ISAXReference() = default;

ISAXPersistBase::~ISAXPersistBase() = default;
void ISAXPersistBase::SetDefaults() {}
bool ISAXPersistBase::HandleTag(const std::string&, TalSAX::ISAXReader&) {
  return false;
}
void ISAXPersistBase::HandleEndTag(std::string_view) {}
void ISAXPersistBase::ResolveReferences(TalSAX::ISAXReader&) {}
void ISAXPersistBase::InitAfterLoading() {}
bool ISAXPersistBase::Write(TalSAX::ISAXWriter&) const {
  return true;
}
ISAXReference* ISAXPersistBase::GetObjectReference() {
  return nullptr;
}
void ISAXPersistBase::SetObjectId(unsigned int, TalSAX::SaxIDType) {}
void ISAXPersistBase::SetObjectId(unsigned int) {}

ISAXReference* ISAXPersist::GetObjectReference() {
  return this;
}
void ISAXPersist::SetObjectId(unsigned int id, TalSAX::SaxIDType type) {
  StoreObjectId(id, type);
}
void ISAXPersist::SetObjectId(unsigned int id) {
  StoreObjectId(id, TalSAX::SaxIDType::Object);
}
