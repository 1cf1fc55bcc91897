#pragma once

namespace TalSDK::Common {

// An RGBA colour with float channels, nominally in [0, 1]; opaque by default.
struct Color {
  float r = 0.0f;
  float g = 0.0f;
  float b = 0.0f;
  float a = 1.0f;

  bool operator==(const Color&) const = default;
};

}  // namespace TalSDK::Common
