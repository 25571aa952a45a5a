// The head/body/tail split every vector kernel applies to an array of any alignment.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kx {

// Elements before the first Boundary-byte boundary at or after p (0 when p is on one).
template <std::size_t Boundary, typename T>
inline uint32_t headCount(const T* p) {
  static_assert((Boundary & (Boundary - 1)) == 0);
  const auto address = reinterpret_cast<std::uintptr_t>(p);
  return static_cast<uint32_t>(((Boundary - (address & (Boundary - 1))) & (Boundary - 1)) /
                               sizeof(T));
}

struct Split {
  uint32_t head;    // elements before the body
  uint32_t blocks;  // whole blocks of the body
  uint32_t tail;    // elements after the last whole block
};

// Splits count >= head elements at a head of `head`, then blocks of Width elements.
template <uint32_t Width>
inline Split splitAfterHead(uint32_t head, uint32_t count) {
  const uint32_t rest = count - head;
  return {head, rest / Width, rest % Width};
}

}  // namespace kx
