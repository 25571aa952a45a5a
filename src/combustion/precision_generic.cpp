// In-place narrowing of doubles to floats and widening of floats to doubles, portable form.
// Element by element in the same directions as the vector code: forwards the float for
// position i lands on bytes already read, backwards the double for position i lands on floats
// already read, so the order of the blocks does not change any result.
#include <cstring>

#include "combustion/combustion.h"

namespace kx::generic {

void* doubleArrToSingleArrInplace(void* values, uint32_t count) {
  unsigned char* bytes = static_cast<unsigned char*>(values);
  for (uint32_t i = 0; i < count; ++i) {
    double wide;
    std::memcpy(&wide, bytes + 8 * std::size_t{i}, sizeof wide);
    const float narrow = static_cast<float>(wide);
    std::memcpy(bytes + 4 * std::size_t{i}, &narrow, sizeof narrow);
  }
  return values;
}

void* singleArrToDoubleArrInplace(void* values, uint32_t count) {
  unsigned char* bytes = static_cast<unsigned char*>(values);
  for (uint32_t i = count; i-- > 0;) {
    float narrow;
    std::memcpy(&narrow, bytes + 4 * std::size_t{i}, sizeof narrow);
    const double wide = narrow;
    std::memcpy(bytes + 8 * std::size_t{i}, &wide, sizeof wide);
  }
  return values;
}

}  // namespace kx::generic
