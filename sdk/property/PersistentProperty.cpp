#include <TalSDK/sdk/property/PersistentProperty.h>

#include <algorithm>
#include <mutex>
#include <vector>

#include <TalSDK/sdk/property/PersistentPropertyCreator.h>

IPersistentProperty::~IPersistentProperty() = default;

bool IPersistentProperty::IsOfType(const std::wstring& typeName) const {
  return GetTypeOfProperty() == typeName;
}

std::unique_ptr<IPersistentProperty> IPersistentProperty::Clone() const {
  std::unique_ptr<IPersistentProperty> copy =
      PersistentPropertyCreators::Create(GetTypeOfProperty());
  if (copy != nullptr && copy->Assign(*this) == nullptr) copy.reset();
  return copy;
}

IPersistentPropertyUndo::~IPersistentPropertyUndo() = default;
IPersistentPropertyPolymorphicValue::~IPersistentPropertyPolymorphicValue() = default;
IMergeablePropertyValue::~IMergeablePropertyValue() = default;

namespace {

// Creators register from static constructors of several libraries, so the registry is made
// on first use and outlives every creator registered after that.
struct Registry {
  std::mutex mutex;
  std::vector<IPersistentPropertyCreator*> creators;
};

Registry& GetRegistry() {
  static Registry registry;
  return registry;
}

}  // namespace

IPersistentPropertyCreator::IPersistentPropertyCreator() {
  Registry& registry = GetRegistry();
  const std::lock_guard lock(registry.mutex);
  registry.creators.push_back(this);
}

IPersistentPropertyCreator::~IPersistentPropertyCreator() {
  Registry& registry = GetRegistry();
  const std::lock_guard lock(registry.mutex);
  std::erase(registry.creators, this);
}

std::unique_ptr<IPersistentProperty> PersistentPropertyCreators::Create(
    const std::wstring& typeName) {
  // Asked outside the lock: a creator may itself look up or register creators.
  for (IPersistentPropertyCreator* creator : GetCreators()) {
    if (IPersistentProperty* property = creator->create(typeName)) {
      return std::unique_ptr<IPersistentProperty>(property);
    }
  }
  return nullptr;
}

std::vector<IPersistentPropertyCreator*> PersistentPropertyCreators::GetCreators() {
  Registry& registry = GetRegistry();
  const std::lock_guard lock(registry.mutex);
  return registry.creators;
}
