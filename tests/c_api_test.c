/* Calls the library through the public header from C. */
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include "kxcalc.h"

int main(void) {
#ifdef KX_DISPATCHING_LIBRARY
  {
    /* The library reads CPUID and XGETBV itself; the compiler's view must agree with it. */
    __builtin_cpu_init();
    const char* expected =
        __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") ? "avx2fma3" : "generic";
    if (strcmp(kxcalcActiveVariant(), expected) != 0) {
      fprintf(stderr, "active variant %s, expected %s\n", kxcalcActiveVariant(), expected);
      return 1;
    }
  }
#endif
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
  {
    const double samples[3] = {1.0, 2.0, 3.0};
    double minimum = 100.0, maximum = -100.0, sum = 0.0, sumOfSquares = 0.0;
    kxcalcGetMinMaxAveRMS_double(samples, 3, &minimum, &maximum, &sum, &sumOfSquares, 10.0);
    if (minimum != 1.0 || maximum != 3.0 || sum != 6.0 || sumOfSquares != 434.0) {
      fprintf(stderr, "statistics %g %g %g %g\n", minimum, maximum, sum, sumOfSquares);
      return 1;
    }
  }
  {
    const int16_t frames[32] = {5, -1, 7, -1, -3, -1, 2, -1, 0, -1, 9, -1, 1, -1, 4, -1,
                                6, -1, 8, -1, -2, -1, 3, -1, 1, -1, 0, -1, 2, -1, 5, -1};
    int16_t channel[16];
    int16_t minimum = 0, maximum = 0;
    double sum = 0.0, sumOfSquares = 0.0;
    kxcalcMoveAndGetMinMaxAveRMS_int16_t(channel, frames, 16, &minimum, &maximum, &sum,
                                         &sumOfSquares, 0.0f, 2);
    if (channel[15] != 5 || minimum != -3 || maximum != 9 || sum != 48.0) {
      fprintf(stderr, "move %d %d %d %g\n", channel[15], minimum, maximum, sum);
      return 1;
    }
  }
  {
    const uint16_t raw[4] = {0xFFFF, 0, 1, 2};
    float values[2] = {0.0f, 0.0f};
    ScaledValuesRequest_float request = {raw, values, 0.5f, 1.0f, 2, RawType_uint16_t, 2};
    kxcalcChannelGetScaledValuesAtPos_float(&request);
    if (values[0] != 32768.5f || values[1] != 1.5f) {
      fprintf(stderr, "scaled %g %g\n", values[0], values[1]);
      return 1;
    }
  }
  {
    /* Four points from index 2 on a 0 .. 10 axis from pixel 100 to 200, Y from floats. */
    const float y[4] = {0.0f, 0.25f, 0.5f, 1.0f};
    int32_t xPixels[4], yPixels[4];
    uint32_t count = 0;
    XYGraphPointRequest request;
    memset(&request, 0, sizeof request);
    request.pointsLeft = 4;
    request.yDataType = RawType_float;
    request.index = 2;
    request.left = 100, request.right = 200, request.top = 400, request.bottom = 500;
    request.yFactor = 1.0, request.xMax = 10.0, request.yMax = 1.0;
    request.yData = y;
    request.xPixels = xPixels, request.yPixels = yPixels, request.pointCount = &count;
    kxcalcGetXYValGraph2D(&request);
    if (count != 4 || xPixels[0] != 120 || xPixels[3] != 150 || yPixels[1] != 475 ||
        yPixels[3] != 400) {
      fprintf(stderr, "graph %u %d %d %d %d\n", count, xPixels[0], xPixels[3], yPixels[1],
              yPixels[3]);
      return 1;
    }
  }
  {
    /* Two rows, top-down (negative stride); 0 is the background. */
    const uint32_t image[10] = {0, 0, 0, 0, 0, 0, 0, 7, 0, 9};
    const uint32_t excluded[1] = {0};
    uint32_t value = 1, x = 1, y = 1;
    kxcalcFindCursorXY(image, -20, 5, 2, 4, 1, &value, &x, &y, excluded, 1);
    if (value != 9 || x != 4 || y != 1) {
      fprintf(stderr, "cursor %u %u %u\n", value, x, y);
      return 1;
    }
  }
  return 0;
}
