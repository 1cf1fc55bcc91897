#pragma once
// Creators make properties from their type names. Every creator is known to the host
// documents for as long as it exists: its base constructor registers it and its destructor
// removes it, so a library makes its property types known by holding a static creator.

#include <memory>
#include <string>
#include <vector>

#include <TalSDK/SDKExport.h>
#include <TalSDK/sdk/property/PersistentProperty.h>

class TALSDK_SDK_EXPORT IPersistentPropertyCreator {
 public:
  // Removes the creator from the registry.
  virtual ~IPersistentPropertyCreator();
  IPersistentPropertyCreator(const IPersistentPropertyCreator&) = delete;
  IPersistentPropertyCreator& operator=(const IPersistentPropertyCreator&) = delete;

  // 1: a new property of `typeName` holding a default value, owned by the caller; null when
  // this creator does not make that type.
  virtual IPersistentProperty* create(const std::wstring& typeName) = 0;

 protected:
  // Adds the creator to the registry, behind those registered before.
  IPersistentPropertyCreator();
};

// The creators that exist, in the order they were registered. Registration and lookups are
// safe from several threads; a creator must not be destroyed while a lookup may still ask it.
class TALSDK_SDK_EXPORT PersistentPropertyCreators {
 public:
  // Asks each creator in registration order; the first property made wins. Null when none
  // knows `typeName`.
  static std::unique_ptr<IPersistentProperty> Create(const std::wstring& typeName);
  static std::vector<IPersistentPropertyCreator*> GetCreators();
};
