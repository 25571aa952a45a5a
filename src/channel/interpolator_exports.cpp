// C exports of the streaming interpolator: the one lifecycle, the C heap, and this
// variant's output step.
#include "channel/interpolator.h"
#include "core/export.h"

using Heap = kx::interpolator::HeapAllocator;

uint32_t kxcalcCHSInterpolator_Create(CHSInterpolator** handle,
                                      const CHSInterpolatorParams* params) {
  return kx::interpolator::create(handle, params, Heap{});
}
uint32_t kxcalcCHSInterpolator_InterpolateValues(CHSInterpolator* handle, const float* input,
                                                 uint32_t count, const float** output,
                                                 uint32_t* outputCount) {
  return kx::interpolator::interpolateValues(handle, input, count, output, outputCount,
                                             &variant::interpolatorOutput, Heap{});
}
uint32_t kxcalcCHSInterpolator_Stop(CHSInterpolator* handle, const float** output,
                                    uint32_t* outputCount) {
  return kx::interpolator::stop(handle, output, outputCount, &variant::interpolatorOutput, Heap{});
}
uint32_t kxcalcCHSInterpolator_Reset(CHSInterpolator* handle) {
  return kx::interpolator::reset(handle);
}
uint32_t kxcalcCHSInterpolator_Destroy(CHSInterpolator* handle) {
  return kx::interpolator::destroy(handle, Heap{});
}
