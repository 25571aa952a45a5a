/* The smallest complete use of kxcalc: block extremes and the running sums behind mean
   and RMS, through the dispatching library. */
#include <math.h>
#include <stdio.h>

#include "kxcalc.h"

int main(void) {
  enum { COUNT = 4096 };
  static float samples[COUNT];
  for (int i = 0; i < COUNT; ++i) samples[i] = 0.25f + sinf(0.01f * (float)i);

  float minimum, maximum;
  kxcalcGetMinMax_float(samples, COUNT, &minimum, &maximum);

  /* Running statistics belong to the caller, who initialises them. A block of more than
     seven floats replaces the extremes it is given, a shorter one merges into them, so
     start each block from neutral extremes. The sums always add up. */
  float blockMinimum = INFINITY, blockMaximum = -INFINITY;
  double sum = 0.0, sumOfSquares = 0.0;
  kxcalcGetMinMaxAveRMS_float(samples, COUNT, &blockMinimum, &blockMaximum, &sum, &sumOfSquares,
                              0.0f /* offset added before squaring */);

  const double mean = sum / COUNT;
  const double rms = sqrt(sumOfSquares / COUNT);
  printf("kernels: %s\n", kxcalcActiveVariant());
  printf("min %g  max %g  mean %g  RMS %g\n", minimum, maximum, mean, rms);
  return 0;
}
