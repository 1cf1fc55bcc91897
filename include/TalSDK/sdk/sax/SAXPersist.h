#pragma once
// The persist contract: every object that reads itself from or writes itself to a tag
// document implements ISAXPersistBase.

#include <string>
#include <string_view>

#include <TalSDK/SDKExport.h>

namespace TalSAX {
class ISAXReader;
class ISAXWriter;

// What an object id stands for. Machine files use plain object ids only.
enum class SaxIDType : int { Object = 0 };
}  // namespace TalSAX

// Carries the object id that cross references in a document use. 0 means "no id".
class TALSDK_SDK_EXPORT ISAXReference {
 public:
  ISAXReference() = default;
  ISAXReference(const ISAXReference&) = default;
  ISAXReference& operator=(const ISAXReference&) = default;
  virtual ~ISAXReference();

  unsigned int GetObjectId() const { return m_objectId; }
  TalSAX::SaxIDType GetObjectIdType() const { return m_objectIdType; }

 protected:
  void StoreObjectId(unsigned int id, TalSAX::SaxIDType type) {
    m_objectId = id;
    m_objectIdType = type;
  }

 private:
  unsigned int m_objectId = 0;
  TalSAX::SaxIDType m_objectIdType = TalSAX::SaxIDType::Object;
};

// The abstract persist interface. The order of the virtual operations is part of the
// contract; classes append their own virtuals after the last one.
class TALSDK_SDK_EXPORT ISAXPersistBase {
 public:
  virtual ~ISAXPersistBase();
  // Resets the target object to its defaults before reading.
  virtual void SetDefaults();
  // Called for every start tag met while this object is the current handler. False means
  // the element was not handled: the reader skips its content and records a warning.
  virtual bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader);
  // Called for every end tag met while this object is the current handler, including the end
  // of an element whose content it delegated.
  virtual void HandleEndTag(std::string_view tagName);
  // After parsing: turn stored object ids into pointers.
  virtual void ResolveReferences(TalSAX::ISAXReader& reader);
  // After references are resolved.
  virtual void InitAfterLoading();
  // Writes the object's content (not its own enclosing element).
  virtual bool Write(TalSAX::ISAXWriter& writer) const;
  virtual ISAXReference* GetObjectReference();
  virtual void SetObjectId(unsigned int id, TalSAX::SaxIDType type);
  virtual void SetObjectId(unsigned int id);

 protected:
  ISAXPersistBase() = default;
  ISAXPersistBase(const ISAXPersistBase&) = default;
  ISAXPersistBase& operator=(const ISAXPersistBase&) = default;
};

// A persist object that is its own reference.
class TALSDK_SDK_EXPORT ISAXPersist : public ISAXPersistBase, public virtual ISAXReference {
 public:
  ISAXReference* GetObjectReference() override;
  void SetObjectId(unsigned int id, TalSAX::SaxIDType type) override;
  void SetObjectId(unsigned int id) override;

 protected:
  ISAXPersist() = default;
  ISAXPersist(const ISAXPersist&) = default;
  ISAXPersist& operator=(const ISAXPersist&) = default;
};

// A helper that reads or writes a separate model object; its reference is the helper's own.
class TALSDK_SDK_EXPORT ISAXPersistHelper : public ISAXPersist {
 protected:
  ISAXPersistHelper() = default;
  ISAXPersistHelper(const ISAXPersistHelper&) = default;
  ISAXPersistHelper& operator=(const ISAXPersistHelper&) = default;
};
