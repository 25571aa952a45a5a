// Checks a few results of the installed library and prints the kernels it runs on.
#include <kxcalc.h>

#include <cstdio>
#include <vector>

int main() {
  std::vector<double> samples(1000);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = double(i % 100) - 40.5;
  double minimum = 0, maximum = 0, sum = 0, sumOfSquares = 0;
  kxcalcGetMinMaxAveRMS_double(samples.data(), uint32_t(samples.size()), &minimum, &maximum, &sum,
                               &sumOfSquares, 0.0);
  uint32_t major = 0, minor = 0, above9 = 0;
  kxcalcGetVersion(&major, &minor, 10, &above9);
  // Whole numbers and halves: every sum below is exact.
  if (minimum != -40.5 || maximum != 58.5 || sum != 9000.0 || sumOfSquares != 914250.0 ||
      major != 2 || minor != 17 || above9 != 1) {
    std::printf("wrong results: %g %g %g %g, version %u.%u\n", minimum, maximum, sum, sumOfSquares,
                major, minor);
    return 1;
  }
#ifdef FIXED_VARIANT
  std::printf("kernels: fixed\n");
#else
  std::printf("kernels: %s\n", kxcalcActiveVariant());
#endif
  return 0;
}
