#pragma once
// The build platform of a machine: its outline, the gas-flow and recoater indications drawn on
// it, the platform position, where new parts are put by default, the build envelope, the
// laser overlap bands and an optional platform mesh. Persisted as the content of the machine
// file's "Platform" element.

#include <cstdint>
#include <optional>
#include <string>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/platform/MachineEnvelope.h>
#include <TalSDK/platform/MachineLaserOverlaps.h>
#include <TalSDK/platform/MachinePlatformStl.h>
#include <TalSDK/platform/PlatformTypes.h>
#include <TalSDK/sdk/math/BoundingBox.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

class TALSDK_MACHINES_EXPORT MSAXMachinePlatform : public ISAXPersist,
                                                   public TalSDK::MSaxPersistExtensibleObject {
 public:
  // Texts "Box" and "Circle".
  enum class PlatformShape : std::int32_t { Box = 0, Circle = 1 };
  // Texts "Positive", "Negative" and "Double". Double (both ways along the axis) exists for
  // the recoater only; a gas flow is never read or written as Double.
  enum class Direction : std::int32_t { Positive = 0, Negative = 1, Double = 2 };

  // Plain structures. Engage an absent one with `= GasFlow{}`: clang refuses `emplace()`
  // without arguments for a nested structure with member initializers.
  struct GasFlow {
    bool visible = false;
    DirectionAxis directionAxis = DirectionAxis::X;
    Direction direction = Direction::Positive;
    bool operator==(const GasFlow&) const = default;
  };

  struct Recoater {
    bool visible = false;
    DirectionAxis directionAxis = DirectionAxis::X;
    Direction direction = Direction::Positive;
    bool operator==(const Recoater&) const = default;
  };

  // A point in internal length units.
  struct Point {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t z = 0;
    bool operator==(const Point&) const = default;
  };

  MSAXMachinePlatform();
  // The platform mesh is copied deeply by every one of these, moves included.
  MSAXMachinePlatform(const MSAXMachinePlatform&) = default;
  MSAXMachinePlatform(MSAXMachinePlatform&&) = default;
  MSAXMachinePlatform& operator=(const MSAXMachinePlatform&) = default;
  MSAXMachinePlatform& operator=(MSAXMachinePlatform&&) = default;
  ~MSAXMachinePlatform() override;

  // Gas flow, recoater and platform mesh take no part in the comparison: platforms that
  // differ only there are the same platform to the application.
  bool operator==(const MSAXMachinePlatform& other) const;
  bool operator!=(const MSAXMachinePlatform& other) const { return !(other == *this); }

  // True when `box` (internal units) does not fit the envelope: the box test on a Box
  // platform, the quick round test on a Circle platform; false for any other shape value.
  bool IsBiggerThanPlatform(const TalSDK::Math::boundingbox<int, 3>& box) const;

  // This object, then the envelope, the laser overlaps and the platform mesh holder.
  NodeList GetExtensibleObjectNodes() const override;

  // Also removes the platform mesh; keeps the operating mode.
  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  // Every field with its path, kind and value text.
  void VisitFields(TalAM::FieldVisit& visit) const;

  PlatformShape m_shape = PlatformShape::Box;
  std::optional<GasFlow> m_gasFlow;    // absent when the machine defines no gas flow
  std::optional<Recoater> m_recoater;  // absent when the machine defines no recoater
  Point m_position;                    // defaults to (0, 0, 4 mm)
  Point m_defaultPartPosition;         // defaults to (10 mm, 10 mm, 10 mm)
  MSAXMachineEnvelope m_envelope;
  MSAXMachineLaserOverlaps m_laserOverlaps;
  MSAXMachinePlatformStl m_platformStl;

 private:
  friend struct MSAXMachinePlatformDescription;  // reads engage the indications through these
  // The indication, engaged with its defaults when absent.
  GasFlow& _GetGasFlowInitialized();
  Recoater& _GetRecoaterInitialized();
};
