// ByteOrder.h: network byte order (big-endian) for the few values that need it.
//
// The library's own wire form is little-endian and needs no conversion; only
// name-based identifiers hash their namespace in network order. The same
// swap converts both ways.
#pragma once

#include <bit>
#include <cstdint>

namespace orvo::platform {

inline constexpr std::uint32_t networkOrder(std::uint32_t value) {
  if constexpr (std::endian::native == std::endian::big) return value;
  return __builtin_bswap32(value);
}

inline constexpr std::uint16_t networkOrder(std::uint16_t value) {
  if constexpr (std::endian::native == std::endian::big) return value;
  return __builtin_bswap16(value);
}

}  // namespace orvo::platform
