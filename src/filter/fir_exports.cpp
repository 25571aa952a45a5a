// C export of the FIR filter.
#include "core/export.h"
#include "filter/fir.h"

float kxcalcFIRFilter_float(const float* ring, const float* coefficients, int32_t length,
                            int32_t position) {
  return variant::firFilter(ring, coefficients, length, position);
}
