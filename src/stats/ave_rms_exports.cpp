// C exports of the block minimum, maximum and running sums for average and RMS.
#include "core/export.h"
#include "stats/stats.h"

void kxcalcGetMinMaxAveRMS_float(const float* data, uint32_t count, float* minimum, float* maximum,
                                 double* sum, double* sumOfSquares, float offset) {
  variant::getMinMaxAveRms(data, count, minimum, maximum, sum, sumOfSquares, offset);
}
void kxcalcGetMinMaxAveRMS_double(const double* data, uint32_t count, double* minimum,
                                  double* maximum, double* sum, double* sumOfSquares,
                                  double offset) {
  variant::getMinMaxAveRms(data, count, minimum, maximum, sum, sumOfSquares, offset);
}
void kxcalcGetMinMaxAveRMS_int16_t(const int16_t* data, uint32_t count, int16_t* minimum,
                                   int16_t* maximum, double* sum, double* sumOfSquares,
                                   float offset) {
  variant::getMinMaxAveRms(data, count, minimum, maximum, sum, sumOfSquares, offset);
}
void kxcalcGetMinMaxAveRMS_int32_t(const int32_t* data, uint32_t count, int32_t* minimum,
                                   int32_t* maximum, double* sum, double* sumOfSquares,
                                   double offset) {
  variant::getMinMaxAveRms(data, count, minimum, maximum, sum, sumOfSquares, offset);
}
