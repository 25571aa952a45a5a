// C exports of the raw-data copy and the in-place precision conversion.
#include "combustion/combustion.h"
#include "core/export.h"

uint32_t kxCalcCACopyRawDataToChannels(const float* source, float* destination, uint32_t start,
                                       uint32_t end, float baseline, float* maxValue,
                                       uint32_t* maxIndex) {
  return variant::copyRawDataToChannels(source, destination, start, end, baseline, maxValue,
                                        maxIndex);
}
void* kxcalcCADoubleArrToSingleArrInplace(void* values, uint32_t count) {
  return variant::doubleArrToSingleArrInplace(values, count);
}
void* kxcalcCASingleArrToDoubleArrInplace(void* values, uint32_t count) {
  return variant::singleArrToDoubleArrInplace(values, count);
}
