// Conversion between 16- and 32-bit samples, portable form. Narrowing keeps the low 16 bits
// and widening extends the sign on every path, so one loop states the result.
#include "vector/element_ops.h"
#include "vector/vector.h"

namespace kx::generic {

void convertInt32ToInt16(const int32_t* source, int16_t* destination, uint32_t count) {
  vector::narrow(source, destination, count);
}
void convertInt16ToInt32(const int16_t* source, int32_t* destination, uint32_t count) {
  vector::widen(source, destination, count);
}

}  // namespace kx::generic
