// C exports of the library frame and the block statistics.
#include "core/export.h"
#include "stats/stats.h"

void kxcalcGetVersion(uint32_t* major, uint32_t* minor, int32_t callerValue,
                      uint32_t* callerValueAbove9) {
  *major = 2;
  *minor = 17;
  *callerValueAbove9 = callerValue > 9 ? 1 : 0;
}

void kxcalcGetMinMax_int16_t(const int16_t* data, uint32_t count, int16_t* minimum,
                             int16_t* maximum) {
  variant::getMinMax(data, count, minimum, maximum);
}
void kxcalcGetMinMax_int32_t(const int32_t* data, uint32_t count, int32_t* minimum,
                             int32_t* maximum) {
  variant::getMinMax(data, count, minimum, maximum);
}
void kxcalcGetMinMax_float(const float* data, uint32_t count, float* minimum, float* maximum) {
  variant::getMinMax(data, count, minimum, maximum);
}
void kxcalcGetMinMax_double(const double* data, uint32_t count, double* minimum, double* maximum) {
  variant::getMinMax(data, count, minimum, maximum);
}
