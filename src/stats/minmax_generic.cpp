// Minimum and maximum of a block, portable form of the vector kernels: the lanes of one
// 256-bit register are emulated, so NaN and signed-zero results match lane for lane.
#include "core/align.h"
#include "stats/element_loops.h"
#include "stats/extremes_generic.h"
#include "stats/stats.h"

namespace kx::generic {
namespace {

template <typename T>
void minMax(const T* data, uint32_t count, T* minimum, T* maximum) {
  constexpr uint32_t kWidth = 32 / sizeof(T);
  if (count < kWidth) {
    stats::minMaxElementLoop(data, count, minimum, maximum);
    return;
  }
  storeBlockExtremes<T, kWidth>(data, count, headCount<32>(data), minimum, maximum);
}

}  // namespace

void getMinMax(const int16_t* data, uint32_t count, int16_t* minimum, int16_t* maximum) {
  minMax(data, count, minimum, maximum);
}
void getMinMax(const int32_t* data, uint32_t count, int32_t* minimum, int32_t* maximum) {
  minMax(data, count, minimum, maximum);
}
void getMinMax(const float* data, uint32_t count, float* minimum, float* maximum) {
  minMax(data, count, minimum, maximum);
}
void getMinMax(const double* data, uint32_t count, double* minimum, double* maximum) {
  minMax(data, count, minimum, maximum);
}

}  // namespace kx::generic
