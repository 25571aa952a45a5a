/* Calls the library through the public header from C. */
#include <stddef.h>
#include <stdio.h>

#include "kxcalc.h"

int main(void) {
  static const struct {
    int32_t callerValue;
    uint32_t above9;
  } cases[] = {{9, 0}, {10, 1}, {0, 0}, {-1, 0}, {INT32_MIN, 0}, {INT32_MAX, 1}};
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    uint32_t major = 0xDEAD, minor = 0xDEAD, above9 = 0xDEAD;
    kxcalcGetVersion(&major, &minor, cases[i].callerValue, &above9);
    if (major != 2 || minor != 17 || above9 != cases[i].above9) {
      fprintf(stderr, "version %u.%u, flag %u for %d\n", major, minor, above9,
              cases[i].callerValue);
      return 1;
    }
  }
  {
    const float samples[9] = {3.0f, -1.5f, 8.0f, 0.0f, 2.0f, 7.5f, -4.0f, 1.0f, 6.0f};
    float minimum = 0.0f, maximum = 0.0f;
    kxcalcGetMinMax_float(samples, 9, &minimum, &maximum);
    if (minimum != -4.0f || maximum != 8.0f) {
      fprintf(stderr, "min %g max %g\n", minimum, maximum);
      return 1;
    }
  }
  return 0;
}
