#include <TalSDK/sdk/support/SupportGlobal.h>

#include <algorithm>
#include <memory>
#include <utility>

#include <TalSDK/sdk/mesh/StlBase.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>

namespace TalSDK::SupportGeneration {

// --- MSupportSettingStore ---

MSupportSettingStore::~MSupportSettingStore() = default;

const TalSDK::MSaxUnhandledElement* MSupportSettingStore::FindSetting(std::string_view name) const {
  const auto it = std::find_if(
      m_settings.begin(), m_settings.end(),
      [name](const TalSDK::MSaxUnhandledElement& s) { return s.GetTagName() == name; });
  return it == m_settings.end() ? nullptr : &*it;
}

void MSupportSettingStore::SetSetting(std::string name, std::string utf8Text) {
  const auto it = std::find_if(
      m_settings.begin(), m_settings.end(),
      [&name](const TalSDK::MSaxUnhandledElement& s) { return s.GetTagName() == name; });
  TalSDK::MSaxUnhandledElement setting(std::move(name), std::move(utf8Text));
  if (it == m_settings.end()) {
    m_settings.push_back(std::move(setting));
  } else {
    *it = std::move(setting);
  }
}

bool MSupportSettingStore::RemoveSetting(std::string_view name) {
  return std::erase_if(m_settings, [name](const TalSDK::MSaxUnhandledElement& s) {
           return s.GetTagName() == name;
         }) > 0;
}

void MSupportSettingStore::AppendSetting(TalSDK::MSaxUnhandledElement setting) {
  // Stores hold a handful of settings: one allocation instead of growing one by one.
  if (m_settings.empty()) m_settings.reserve(4);
  m_settings.push_back(std::move(setting));
}

bool MSupportSettingStore::SameContent(const MSupportSettingStore& other) const {
  return m_settings == other.m_settings && MSaxPersistExtensibleObject::operator==(other);
}

// --- MSaxSupportSettingStore ---

MSaxSupportSettingStore::MSaxSupportSettingStore(MSupportSettingStore& store)
    : m_store(store), m_target(&store) {}

MSaxSupportSettingStore::MSaxSupportSettingStore(const MSupportSettingStore& store)
    : m_store(store) {}

void MSaxSupportSettingStore::SetDefaults() {
  if (m_target != nullptr) m_target->ClearSettings();
}

bool MSaxSupportSettingStore::HandleTag(const std::string& /*tagName*/,
                                        TalSAX::ISAXReader& reader) {
  if (m_target == nullptr) return false;
  TalSDK::MSaxUnhandledElement setting;
  if (!reader.CaptureElement(setting)) return false;
  m_target->AppendSetting(std::move(setting));
  return true;
}

bool MSaxSupportSettingStore::Write(TalSAX::ISAXWriter& writer) const {
  for (const TalSDK::MSaxUnhandledElement& setting : m_store.GetSettings()) {
    TalSDK::MSaxPersistExtensibleObjectWriter::WriteElement(writer, setting);
  }
  return TalSDK::MSaxPersistExtensibleObjectWriter(m_store).Write(writer);
}

MSaxSupportGlobal::MSaxSupportGlobal(MSupportGlobal& support) : MSaxSupportSettingStore(support) {}
MSaxSupportGlobal::MSaxSupportGlobal(const MSupportGlobal& support)
    : MSaxSupportSettingStore(support) {}

MSaxSupportSupport::MSaxSupportSupport(MSupportSupport& support)
    : MSaxSupportSettingStore(support) {}
MSaxSupportSupport::MSaxSupportSupport(const MSupportSupport& support)
    : MSaxSupportSettingStore(support) {}

// --- Supports attached to meshes ---

const MSupportSupport* GetSupport(const MStlBase& mesh) {
  return mesh.GetAttachedSupport().get();
}

void AttachSupport(MStlBase& mesh, MSupportSupport support) {
  mesh.SetAttachedSupport(std::make_shared<const MSupportSupport>(std::move(support)));
}

void DetachSupport(MStlBase& mesh) {
  mesh.SetAttachedSupport(nullptr);
}

}  // namespace TalSDK::SupportGeneration
