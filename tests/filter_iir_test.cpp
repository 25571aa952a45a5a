// IIR cascade and pink-noise filter.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <limits>
#include <vector>

#include "filter/iir.h"
#include "support/differential.h"

namespace {

using kxtest::SampleGenerator;

// A cascade with its own gains and 16-byte-aligned taps.
struct Cascade {
  IIRFilterState state{};
  std::vector<double> gains;
  std::vector<IIRTap> taps;  // IIRTap is 32 bytes, so vector storage is 16-byte aligned

  Cascade(int32_t kind, int32_t sections, int32_t order) {
    state.kind = kind;
    state.sectionCount = sections;
    state.order = order;
    state.reserved = 0x5a5a5a5a;
    const int32_t perSection = kind == kx::kIIRFixedSecondOrder ? 3 : order + 1;
    gains.assign(sections > 0 ? sections : 1, 1.0);
    taps.assign(static_cast<std::size_t>(sections > 0 ? sections : 1) * perSection, IIRTap{});
    state.gains = gains.data();
    state.taps = taps.data();
  }
  Cascade(const Cascade& other)
      : Cascade(other.state.kind, other.state.sectionCount, other.state.order) {
    gains = other.gains;
    taps = other.taps;
    state.reserved = other.state.reserved;
    state.gains = gains.data();
    state.taps = taps.data();
  }
};

// Mostly ordinary values, sometimes a special one from the generator.
double coefficient(SampleGenerator& random) {
  if (random.below(16) == 0) return random.scalarDouble();
  return std::ldexp(static_cast<double>(static_cast<int64_t>(random.bits() >> 11)) - 0x1p52, -52) *
         (random.below(8) == 0 ? 3.0 : 1.0);
}
double sample(SampleGenerator& random) {
  switch (random.below(24)) {
    case 0:
      return random.scalarDouble();
    case 1:
      return random.below(2) ? 1e12 : -1e12;
    case 2:
      return std::numeric_limits<double>::quiet_NaN();
    default:
      return coefficient(random) * 100.0;
  }
}

::testing::AssertionResult sameTaps(const Cascade& expected, const Cascade& actual) {
  for (std::size_t i = 0; i < expected.taps.size(); ++i) {
    const IIRTap& e = expected.taps[i];
    const IIRTap& a = actual.taps[i];
    if (!kxtest::sameBits(e.x, a.x) || !kxtest::sameBits(e.y, a.y) ||
        std::memcmp(&e.b, &a.b, 2 * sizeof(double)) != 0)
      return ::testing::AssertionFailure()
             << "tap " << i << ": x " << kxtest::describe(e.x) << " / " << kxtest::describe(a.x)
             << ", y " << kxtest::describe(e.y) << " / " << kxtest::describe(a.y);
  }
  return ::testing::AssertionSuccess();
}

TEST(IIRFilter, VariantsAgreeBitForBitOverLongSequences) {
  KX_REQUIRE_AVX2();
  SampleGenerator random(0x11f);
  const uint64_t cases = std::max<uint64_t>(50, kxtest::differentialCases() / 50);
  for (uint64_t c = 0; c < cases; ++c) {
    const int32_t kind =
        random.below(2) ? kx::kIIRFixedSecondOrder : static_cast<int32_t>(random.below(5));
    const int32_t sections = static_cast<int32_t>(random.below(7));
    const int32_t order = static_cast<int32_t>(random.below(9));
    Cascade reference(kind, sections, order);
    for (double& g : reference.gains) g = coefficient(random);
    for (IIRTap& t : reference.taps) {
      t.b = coefficient(random);
      t.a = coefficient(random);
    }
    Cascade generic = reference, avx2 = reference;
    const bool asFloat = random.below(2) == 0;
    for (int n = 0; n < 300; ++n) {
      const double in =
          asFloat ? static_cast<double>(static_cast<float>(sample(random))) : sample(random);
      const double expected = kx::generic::iirFilter(&generic.state, in);
      const double actual = kx::avx2::iirFilter(&avx2.state, in);
      ASSERT_TRUE(kxtest::sameBitsResult("output", expected, actual))
          << "case " << c << " kind " << kind << " sections " << sections << " order " << order
          << " sample " << n;
      ASSERT_TRUE(sameTaps(generic, avx2)) << "case " << c << " sample " << n;
    }
    // Coefficients, gains and reserved belong to the caller.
    for (std::size_t i = 0; i < reference.taps.size(); ++i) {
      ASSERT_EQ(std::memcmp(&reference.taps[i].b, &generic.taps[i].b, 16), 0);
      ASSERT_EQ(std::memcmp(&reference.taps[i].b, &avx2.taps[i].b, 16), 0);
    }
    ASSERT_EQ(std::memcmp(reference.gains.data(), generic.gains.data(), 8 * generic.gains.size()),
              0);
    ASSERT_EQ(std::memcmp(reference.gains.data(), avx2.gains.data(), 8 * avx2.gains.size()), 0);
    ASSERT_EQ(generic.state.reserved, 0x5a5a5a5a);
    ASSERT_EQ(avx2.state.reserved, 0x5a5a5a5a);
  }
}

using Kernel = double (*)(const IIRFilterState*, double);
class IIRFilterEdges : public ::testing::TestWithParam<Kernel> {
 protected:
  void SetUp() override {
    if (GetParam() == &kx::avx2::iirFilter) KX_REQUIRE_AVX2();
  }
};

TEST_P(IIRFilterEdges, NoSectionReturnsTheInputAndWritesNothing) {
  for (int32_t sections : {0, -1, -7}) {
    Cascade cascade(0, sections, 2);
    const std::vector<IIRTap> before = cascade.taps;
    EXPECT_TRUE(kxtest::sameBits(-0.0, GetParam()(&cascade.state, -0.0)));
    EXPECT_EQ(0, std::memcmp(before.data(), cascade.taps.data(), before.size() * sizeof(IIRTap)));
  }
}

TEST_P(IIRFilterEdges, FixedPathIgnoresOrder) {
  for (int32_t order : {-5, 0, 1, 2, 9}) {
    Cascade cascade(3, 2, order);
    for (IIRTap& t : cascade.taps) t = {0, 0, 0.5, 0.25};
    GetParam()(&cascade.state, 1.0);
    const double second = GetParam()(&cascade.state, 0.0);
    // Section 0: y = 0.5*x1 - 0.25*y1 with x1 = 1, y1 = 0.5 -> 0.375, fed to section 1 (x0=0.5).
    EXPECT_EQ(second, 0.5 * 0.375 + (0.5 * 0.5 - 0.25 * 0.25)) << "order " << order;
  }
}

TEST_P(IIRFilterEdges, OrderZeroIsAClampedGainWithPositiveZero) {
  Cascade cascade(0, 1, 0);
  cascade.gains[0] = 3.0;
  cascade.taps[0].b = 0.5;
  EXPECT_EQ(GetParam()(&cascade.state, 2.0), 3.0);
  EXPECT_TRUE(kxtest::sameBits(0.0, GetParam()(&cascade.state, -0.0)));  // -0 + 0.0
  EXPECT_EQ(GetParam()(&cascade.state, 1e11), 1e10);
}

TEST_P(IIRFilterEdges, RailsAndNaNOnBothPaths) {
  for (int32_t kind : {3, 0}) {
    Cascade cascade(kind, 1, 2);
    cascade.taps[2].b = 1.0;
    EXPECT_EQ(GetParam()(&cascade.state, 1e12), 1e10);
    EXPECT_EQ(GetParam()(&cascade.state, -1e12), -1e10);
    const double nan = GetParam()(&cascade.state, std::numeric_limits<double>::quiet_NaN());
    if (kind == 3) {
      EXPECT_EQ(nan, 1e10);
      EXPECT_EQ(cascade.taps[2].y, 1e10);
    } else {
      EXPECT_TRUE(std::isnan(nan));
      EXPECT_TRUE(std::isnan(cascade.taps[2].y));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Generic, IIRFilterEdges, ::testing::Values(&kx::generic::iirFilter));
INSTANTIATE_TEST_SUITE_P(Avx2, IIRFilterEdges, ::testing::Values(&kx::avx2::iirFilter));

// Outside reference: a biquad's steady-state sine amplitude equals |H(e^jw)|.
TEST(IIRFilter, BiquadMatchesItsTransferFunction) {
  // Low-pass, y = b0 x + b1 x1 + b2 x2 - a1 y1 - a2 y2 (tap 0 oldest).
  const double b0 = 0.0675, b1 = 0.135, b2 = 0.0675, a1 = -1.143, a2 = 0.4128;
  for (int32_t kind : {3, 0}) {
    for (double omega : {0.05, 0.3, 1.0, 2.5}) {
      Cascade cascade(kind, 1, 2);
      cascade.taps[0] = {0, 0, b2, a2};
      cascade.taps[1] = {0, 0, b1, a1};
      cascade.taps[2] = {0, 0, b0, 0};
      double peak = 0;
      for (int n = 0; n < 6000; ++n) {
        const double out = kx::generic::iirFilter(&cascade.state, std::sin(omega * n));
        if (n > 3000) peak = std::max(peak, std::fabs(out));
      }
      const std::complex<double> z = std::polar(1.0, -omega);
      const double expected = std::abs((b0 + b1 * z + b2 * z * z) / (1.0 + a1 * z + a2 * z * z));
      EXPECT_NEAR(peak, expected, expected * 2e-3 + 1e-12) << "omega " << omega;
    }
  }
}

TEST(PinkFilter, VariantsAgreeBitForBit) {
  KX_REQUIRE_AVX2();
  SampleGenerator random(0x9e7);
  for (int c = 0; c < 100; ++c) {
    PinkFilterState generic{}, avx2{};
    for (int n = 0; n < 1000; ++n) {
      const double white = random.below(8) == 0 ? random.scalarDouble() : coefficient(random);
      ASSERT_TRUE(kxtest::sameBitsResult("output", kx::generic::pinkFilter(&generic, white),
                                         kx::avx2::pinkFilter(&avx2, white)));
      for (int i = 0; i < 8; ++i)
        ASSERT_TRUE(kxtest::sameBitsResult("state", generic.s[i], avx2.s[i]));
    }
  }
}

TEST(PinkFilter, FirstOutputOfAUnitSample) {
  const double w = 0.2;
  const double expected = ((0.0555179 * w + 0.5329522 * w) + (0.153852 * w + 0.115926 * w)) +
                          ((0.0750759 * w + -0.016898 * w) + (0.3104856 * w + 0.5362 * w));
  for (auto filter : {&kx::generic::pinkFilter, &kx::avx2::pinkFilter}) {
    if (filter == &kx::avx2::pinkFilter && !kxtest::avx2Available()) continue;
    PinkFilterState state{};
    EXPECT_EQ(filter(&state, 1.0), expected);
    EXPECT_EQ(state.s[6], 0.2 * 0.115926);
    EXPECT_EQ(state.s[7], 0.2 * 0.5362);
  }
}

}  // namespace
