// C export of the move-and-measure kernel for 16-bit samples.
#include "core/export.h"
#include "stats/stats.h"

void kxcalcMoveAndGetMinMaxAveRMS_int16_t(int16_t* destination, const int16_t* source,
                                          uint32_t count, int16_t* minimum, int16_t* maximum,
                                          double* sum, double* sumOfSquares, float offset,
                                          int32_t stride) {
  variant::moveAndGetMinMaxAveRms(destination, source, count, minimum, maximum, sum, sumOfSquares,
                                  offset, stride);
}
