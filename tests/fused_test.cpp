// The generic kernels' fused multiply-add against the processor's FMA instruction.
#include <gtest/gtest.h>
#include <immintrin.h>

#include <bit>
#include <cmath>
#include <limits>

#include "core/fused.h"
#include "support/differential.h"

namespace {

__attribute__((target("fma"))) double hardwareFma(double a, double b, double c) {
  return _mm_cvtsd_f64(_mm_fmadd_sd(_mm_set_sd(a), _mm_set_sd(b), _mm_set_sd(c)));
}
__attribute__((target("fma"))) float hardwareFma(float a, float b, float c) {
  return _mm_cvtss_f32(_mm_fmadd_ss(_mm_set_ss(a), _mm_set_ss(b), _mm_set_ss(c)));
}

// Operands whose product and sum land on every kind of rounding: random bits (all exponents,
// subnormals, specials), and near-cancelling sums where c is close to -a * b.
template <typename F>
void checkAgainstHardware(uint64_t seed) {
  kxtest::SampleGenerator random(seed);
  for (int block = 0; block < 2000; ++block) {
    const auto a = random.make<F>(64), b = random.make<F>(64), c = random.make<F>(64);
    for (std::size_t i = 0; i < a.size(); ++i) {
      const F cancelling = -(a[i] * b[i]) * (F(1) + std::ldexp(F(c[i] > 0 ? 1 : -1), -20));
      for (const F addend : {c[i], cancelling, std::nextafter(-(a[i] * b[i]), c[i])}) {
        const F expected = hardwareFma(a[i], b[i], addend);
        const F actual = kx::softwareFma(a[i], b[i], addend);
        ASSERT_TRUE(kxtest::sameBitsResult("fma", expected, actual))
            << kxtest::describe(a[i]) << " * " << kxtest::describe(b[i]) << " + "
            << kxtest::describe(addend);
      }
    }
  }
}

TEST(FusedMultiplyAdd, SoftwareFloatMatchesTheInstruction) {
  KX_REQUIRE_AVX2();
  checkAgainstHardware<float>(1);
}

TEST(FusedMultiplyAdd, SoftwareDoubleMatchesTheInstruction) {
  KX_REQUIRE_AVX2();
  checkAgainstHardware<double>(2);
}

// The form the generic kernels call, whichever it is on this platform.
TEST(FusedMultiplyAdd, KernelsFormMatchesTheInstruction) {
  KX_REQUIRE_AVX2();
  const double third = 1.0 / 3.0;
  EXPECT_EQ(std::bit_cast<uint64_t>(kx::fusedMultiplyAdd(third, 3.0, -1.0)),
            std::bit_cast<uint64_t>(hardwareFma(third, 3.0, -1.0)));
  const double tiny = std::numeric_limits<double>::denorm_min();
  EXPECT_EQ(kx::fusedMultiplyAdd(0.5, tiny, 0.0), hardwareFma(0.5, tiny, 0.0));
  EXPECT_EQ(kx::fusedMultiplyAdd(1e300, 1e300, -HUGE_VAL), -HUGE_VAL);
}

}  // namespace
