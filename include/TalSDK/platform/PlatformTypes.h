#pragma once
// Small types shared by the machine platform blocks.

#include <cstdint>

// Horizontal axis a platform direction (recoating, gas flow, ...) runs along.
enum class DirectionAxis : std::int32_t { X = 0, Y = 1 };
