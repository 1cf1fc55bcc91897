#include <TalSDK/platform/MachinePlatformStl.h>

#include <string_view>

#include <TalSDK/sdk/mesh/SaxStlBase.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>

#include "persistence/Description.h"

namespace {

using namespace TalAM::Persistence;
using Holder = MSAXMachinePlatformStl;

// The holder's mesh. A "Mesh" element replaces the mesh entirely: the old one goes first, so
// that two large meshes are never held at once.
struct PlatformMesh {
  const MStlBase* Find(const Holder& holder) const { return holder.GetPlatformStl(); }
  MStlBase& Access(Holder& holder) const {
    holder.EnablePlatformStl(false);
    return *holder.GetPlatformStl(true);
  }
};

// Without a reference id the mesh write can only fail by throwing: its result adds nothing.
constexpr auto kFields =
    Describe<Holder>(Mesh<Holder>("Mesh", PlatformMesh{}).WriteResultIgnored());

}  // namespace

MSAXMachinePlatformStl::MSAXMachinePlatformStl() = default;

MSAXMachinePlatformStl::MSAXMachinePlatformStl(const MSAXMachinePlatformStl& other)
    : ISAXReference(other), ISAXPersist(other), MSaxPersistExtensibleObject(other) {
  if (other.m_stl != nullptr) {
    m_stl = std::make_unique<MStlBase>();
    m_stl->Copy(*other.m_stl);
  }
}

MSAXMachinePlatformStl& MSAXMachinePlatformStl::operator=(const MSAXMachinePlatformStl& other) {
  if (this == &other) return *this;
  ISAXPersist::operator=(other);
  MSaxPersistExtensibleObject::operator=(other);
  if (other.m_stl != nullptr) {
    if (m_stl == nullptr) m_stl = std::make_unique<MStlBase>();
    m_stl->Copy(*other.m_stl);
  } else {
    m_stl.reset();
  }
  return *this;
}

MSAXMachinePlatformStl::~MSAXMachinePlatformStl() = default;

void MSAXMachinePlatformStl::EnablePlatformStl(bool enable) {
  if (!enable) {
    m_stl.reset();
  } else if (m_stl == nullptr) {
    m_stl = std::make_unique<MStlBase>();
  }
}

MStlBase* MSAXMachinePlatformStl::GetPlatformStl(bool createIfMissing) {
  if (createIfMissing) EnablePlatformStl(true);
  return m_stl.get();
}

// Clears the kept elements only; the mesh stays.
void MSAXMachinePlatformStl::SetDefaults() {
  ClearUnhandledElements();
}

bool MSAXMachinePlatformStl::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  return kFields.HandleTag(tagName, *this, reader);
}

MSAXMachinePlatformStl::NodeList MSAXMachinePlatformStl::GetExtensibleObjectNodes() const {
  return kFields.Nodes(*this);
}

bool MSAXMachinePlatformStl::Write(TalSAX::ISAXWriter& writer) const {
  return kFields.Write(*this, writer);
}

void MSAXMachinePlatformStl::VisitFields(TalAM::FieldVisit& visit) const {
  kFields.Visit(*this, visit);
}
