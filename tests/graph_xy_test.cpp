// XY graph pixel mapping and the fast base-10 logarithm, in both variants.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <span>
#include <vector>

#include "graph/fast_log10.h"
#include "graph/fast_log10_avx2.h"
#include "graph/graph.h"
#include "support/differential.h"

namespace {

using kxtest::CanaryBuffer;
using kxtest::GuardedBuffer;
using kxtest::SampleGenerator;
using Kernel = void (*)(const XYGraphPointRequest*);

template <typename Check>
void forEachVariant(Check check) {
  check("generic", &kx::generic::getXYValGraph2D);
  if (kxtest::avx2Available()) check("avx2", &kx::avx2::getXYValGraph2D);
}

// The three outputs, each between canaries; the elements start as canary bytes too, so an
// element that a path must not write keeps them.
struct Outputs {
  CanaryBuffer<int32_t> x{4, 4}, y{4, 12};
  CanaryBuffer<uint32_t> count{1, 0};

  void attach(XYGraphPointRequest& r) {
    r.xPixels = x.data();
    r.yPixels = y.data();
    r.pointCount = count.data();
  }
  bool intact() const { return x.canariesIntact() && y.canariesIntact() && count.canariesIntact(); }
};

::testing::AssertionResult sameOutputs(Outputs& expected, Outputs& actual) {
  if (!expected.intact() || !actual.intact()) {
    return ::testing::AssertionFailure() << "a write outside the outputs";
  }
  auto result = kxtest::sameArrays("xPixels", expected.x.data(), actual.x.data(), 4);
  if (result) result = kxtest::sameArrays("yPixels", expected.y.data(), actual.y.data(), 4);
  if (result) result = kxtest::sameBitsResult("pointCount", expected.count[0], actual.count[0]);
  return result;
}

// Codes of each selector: the defined ones and a few others.
constexpr uint8_t kXSources[] = {0, 1, 2, 3, 255};
constexpr uint8_t kXScales[] = {0, 1, 2, 200};
constexpr uint8_t kYScales[] = {0, 1, 2, 255};
constexpr uint8_t kYDataTypes[] = {RawType_float, RawType_double, 0, 9};
constexpr uint32_t kPointsLeft[] = {0, 1, 2, 3, 4, 5, 1000, 0xFFFFFFFFu};

template <typename T, std::size_t N>
T pick(SampleGenerator& random, const T (&values)[N]) {
  return values[random.below(N)];
}

// Axis limits: mostly ordinary ranges, sometimes empty, reversed or special.
void randomAxis(SampleGenerator& random, double& start, double& end) {
  switch (random.below(6)) {
    case 0:
      start = random.scalarDouble(), end = random.scalarDouble();
      break;
    case 1:
      start = end = random.below(2) ? random.scalarDouble() : 0.0;
      break;
    case 2:
      start = -static_cast<double>(random.below(100)), end = -start - 3;
      break;
    default:
      start = static_cast<double>(random.below(2000)) / 16 - 60;
      end = start + static_cast<double>(1 + random.below(5000)) / 8;
      break;
  }
}

// A fraction that lands within an ulp or two of a half pixel of `extent`.
double nearHalfPixel(SampleGenerator& random, int32_t extent) {
  const double half =
      (static_cast<double>(random.below(200)) - 100 + 0.5) / (extent == 0 ? 1 : extent);
  double value = half;
  for (uint32_t step = random.below(5); step > 2; --step) value = std::nextafter(value, 1e9);
  for (uint32_t step = random.below(5); step > 2; --step) value = std::nextafter(value, -1e9);
  return value;
}

struct RandomRequest {
  XYGraphPointRequest r{};
  std::vector<double> xData;  // xData[index + k] for k = 0 .. 3
  std::vector<double> yDoubles;
  std::vector<float> yFloats;
};

void fillRequest(SampleGenerator& random, RandomRequest& q) {
  XYGraphPointRequest& r = q.r;
  r.pointsLeft = random.below(3) ? pick(random, kPointsLeft) : static_cast<uint32_t>(random.bits());
  r.reserved = static_cast<uint8_t>(random.bits());
  r.xSource = pick(random, kXSources);
  r.yDataType = pick(random, kYDataTypes);
  r.xScale = pick(random, kXScales);
  r.yScale = pick(random, kYScales);
  // Extreme indices only where no array is indexed by them.
  r.index = r.xSource != 1 && random.below(3) == 0
                ? static_cast<int32_t>(random.bits())
                : static_cast<int32_t>(random.below(2000)) - 1000;
  const bool wide = random.below(4) == 0;
  auto coordinate = [&] {
    return static_cast<int16_t>(wide ? random.bits() : random.below(2400) - 200);
  };
  r.left = coordinate(), r.right = coordinate(), r.top = coordinate(), r.bottom = coordinate();
  if (random.below(3) == 0) {
    // Power-of-two extents, on which the half-pixel fractions below are exact ties.
    r.right = static_cast<int16_t>(r.left + (1 << random.below(10)));
    r.bottom = static_cast<int16_t>(r.top + (1 << random.below(10)));
  }
  r.xStep = random.below(2) ? random.scalarDouble() : 0.125 * random.below(64);
  r.xStart = random.below(2) ? random.scalarDouble() : random.below(100) - 50.0;
  r.yFactor = random.below(3) ? 1.0 : random.scalarDouble();
  r.yOffset = random.below(3) ? 0.0 : random.scalarDouble();
  randomAxis(random, r.xMin, r.xMax);
  randomAxis(random, r.xLogMin, r.xLogMax);
  randomAxis(random, r.yMin, r.yMax);
  randomAxis(random, r.yLogMin, r.yLogMax);
  r.dbReference = random.below(2) ? random.scalarDouble() : 1.0 + random.below(1000);

  q.xData = random.make<double>(4);
  q.yDoubles = random.make<double>(4);
  q.yFloats = random.make<float>(4);
  // Values on half pixels: the fraction itself (X as the fraction, Y on a unit axis).
  if (random.below(3) == 0) {
    for (double& x : q.xData) x = nearHalfPixel(random, int32_t{r.right} - r.left);
    if (random.below(2)) {
      r.xSource = 1;
      r.xScale = 2;
    }
  }
  if (random.below(3) == 0) {
    r.yScale = 0, r.yMin = 0.0, r.yMax = 1.0, r.yFactor = 1.0, r.yOffset = 0.0;
    for (std::size_t k = 0; k < 4; ++k) {
      q.yDoubles[k] = nearHalfPixel(random, int32_t{r.bottom} - r.top);
      q.yFloats[k] = static_cast<float>(q.yDoubles[k]);
    }
  }
  // Place xData so that xData[index] is the first of the four values.
  r.xData = r.xSource == 1 ? q.xData.data() - r.index : nullptr;
  r.yData = r.yDataType == RawType_float ? static_cast<const void*>(q.yFloats.data())
                                         : static_cast<const void*>(q.yDoubles.data());
}

TEST(GraphXY, VariantsAgreeBitForBit) {
  KX_REQUIRE_AVX2();
  const uint64_t cases = kxtest::differentialCases();
  for (uint64_t seed = 0; seed < cases; ++seed) {
    SampleGenerator random(seed);
    RandomRequest q;
    fillRequest(random, q);
    Outputs expected, actual;
    expected.attach(q.r);
    kx::generic::getXYValGraph2D(&q.r);
    actual.attach(q.r);
    kx::avx2::getXYValGraph2D(&q.r);
    ASSERT_TRUE(sameOutputs(expected, actual))
        << "seed " << seed << ": pointsLeft " << q.r.pointsLeft << ", xSource " << +q.r.xSource
        << ", xScale " << +q.r.xScale << ", yScale " << +q.r.yScale << ", yDataType "
        << +q.r.yDataType;
  }
}

// A request whose axes take the values as they come: left 100, right 200, X from xData on
// 0 .. 10, Y from doubles on 0 .. 1 between bottom 500 and top 400.
XYGraphPointRequest linearRequest(uint32_t pointsLeft, const double* xData, const double* yData) {
  XYGraphPointRequest r{};
  r.pointsLeft = pointsLeft;
  r.xSource = 1;
  r.yDataType = RawType_double;
  r.left = 100, r.right = 200, r.top = 400, r.bottom = 500;
  r.yFactor = 1.0;
  r.xMin = 0.0, r.xMax = 10.0, r.yMin = 0.0, r.yMax = 1.0;
  r.xData = xData;
  r.yData = yData;
  return r;
}

struct Mapping {
  const char* name;
  double x;  // every X value
  double y;  // every Y value
  void (*adjust)(XYGraphPointRequest&);
  int32_t fourPointX, fourPointY;  // pixels of the four-point path
  int32_t onePointX, onePointY;    // pixels of the one-point path
  friend void PrintTo(const Mapping& m, std::ostream* os) { *os << m.name; }
};

const Mapping kMappings[] = {
    {"LinearAxes", 2.5, 0.25, [](XYGraphPointRequest&) {}, 125, 475, 125, 475},
    // Exactly half a pixel: ties to even against one half added and truncated.
    {"HalfPixelX", 2.5, 0.0, [](XYGraphPointRequest& r) { r.right = 110; }, 102, 500, 103, 500},
    {"HalfPixelXOdd", 2.5, 0.0, [](XYGraphPointRequest& r) { r.right = 114; }, 104, 500, 104, 500},
    {"HalfPixelY", 0.0, 0.125, [](XYGraphPointRequest&) {}, 100, 488, 100, 487},
    {"FractionClampedThenPixel", 5000000.0, -5000000.0,
     [](XYGraphPointRequest& r) { r.xScale = 2; }, 32767, 32767, 32767, 32767},
    {"NegativeFractionClamped", -5000000.0, 5000000.0, [](XYGraphPointRequest& r) { r.xScale = 2; },
     -32768, -32768, -32768, -32768},
    // A NaN value passes the fraction clamp and takes the lowest pixel.
    {"NaNValue", std::nan(""), std::nan(""), [](XYGraphPointRequest&) {}, -32768, -32768, -32768,
     -32768},
    // Four-point: fraction 0, the bottom; one-point: yMin itself is the fraction.
    {"EmptyLinearYRange", 0.0, 7.0, [](XYGraphPointRequest& r) { r.yMin = r.yMax = 0.25; }, 100,
     500, 100, 475},
    // y = 0 is -400 dB: halfway up an axis from -500 to -300 dB.
    {"DecibelFloor", 0.0, 0.0,
     [](XYGraphPointRequest& r) {
       r.yScale = 2, r.yMin = -500.0, r.yMax = -300.0, r.dbReference = 1;
     },
     100, 450, 100, 450},
    // 1e-10 is above zero but below the four-point path's threshold.
    {"DecibelThreshold", 0.0, 1e-10,
     [](XYGraphPointRequest& r) { r.yScale = 2, r.yMin = -400.0, r.yMax = 0.0, r.dbReference = 1; },
     100, 500, 100, 450},
    // x = 100 is 2 decades on a 0 .. 4 decade axis; the fast logarithm lands just short.
    {"LogarithmicX", 100.0, 0.0,
     [](XYGraphPointRequest& r) { r.xScale = 1, r.xLogMin = 0.0, r.xLogMax = 4.0; }, 150, 500, 150,
     500},
    // At or below xLogMin (compared with the raw value) the point sits at the axis start.
    {"LogarithmicXBelowStart", 0.5, 0.0,
     [](XYGraphPointRequest& r) { r.xScale = 1, r.xLogMin = 1.0, r.xLogMax = 3.0; }, 100, 500, 36,
     500},
    // An unknown X source: 0 on four points, xMin on one.
    {"UnknownXSource", 9.0, 0.0,
     [](XYGraphPointRequest& r) { r.xSource = 7, r.xMin = -5.0, r.xMax = 5.0; }, 150, 500, 100,
     500},
};

class GraphXYMapping : public ::testing::TestWithParam<Mapping> {};

TEST_P(GraphXYMapping, GivesThePixels) {
  const Mapping& m = GetParam();
  const std::array<double, 4> xData{m.x, m.x, m.x, m.x}, yData{m.y, m.y, m.y, m.y};
  for (uint32_t pointsLeft : {3u, 4u}) {
    forEachVariant([&](const char* variant, Kernel kernel) {
      XYGraphPointRequest r = linearRequest(pointsLeft, xData.data(), yData.data());
      m.adjust(r);
      Outputs out;
      out.attach(r);
      kernel(&r);
      const uint32_t points = pointsLeft > 3 ? 4 : 1;
      const int32_t wantX = points == 4 ? m.fourPointX : m.onePointX;
      const int32_t wantY = points == 4 ? m.fourPointY : m.onePointY;
      EXPECT_EQ(out.count[0], points) << variant;
      for (uint32_t k = 0; k < points; ++k) {
        EXPECT_EQ(out.x[k], wantX) << variant << ", " << points << " points, point " << k;
        EXPECT_EQ(out.y[k], wantY) << variant << ", " << points << " points, point " << k;
      }
      EXPECT_TRUE(out.intact()) << variant;
    });
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, GraphXYMapping, ::testing::ValuesIn(kMappings),
                         [](const auto& info) { return std::string(info.param.name); });

// yData (and xData for X from the array) is read for exactly the points mapped, and xData not
// at all for the other X sources, so it may be null.
TEST(GraphXY, ReadsOnlyThePointsItMaps) {
  for (uint32_t pointsLeft : {1u, 3u, 4u, 9u}) {
    const std::size_t points = pointsLeft > 3 ? 4 : 1;
    for (uint8_t yDataType : {uint8_t{RawType_float}, uint8_t{RawType_double}}) {
      for (uint8_t xSource : {0, 1, 2}) {
        GuardedBuffer<double> xData(points, GuardedBuffer<double>::Edge::End);
        GuardedBuffer<double> yDoubles(points, GuardedBuffer<double>::Edge::End);
        GuardedBuffer<float> yFloats(points, GuardedBuffer<float>::Edge::End);
        for (std::size_t k = 0; k < points; ++k) {
          xData.data()[k] = 1.0, yDoubles.data()[k] = 0.5, yFloats.data()[k] = 0.5f;
        }
        forEachVariant([&](const char* variant, Kernel kernel) {
          XYGraphPointRequest r = linearRequest(pointsLeft, nullptr, nullptr);
          r.xSource = xSource, r.index = 5, r.yDataType = yDataType;
          r.xData = xSource == 1 ? xData.data() - r.index : nullptr;
          r.yData = yDataType == RawType_float ? static_cast<const void*>(yFloats.data())
                                               : static_cast<const void*>(yDoubles.data());
          Outputs out;
          out.attach(r);
          kernel(&r);
          EXPECT_EQ(out.y[0], 450) << variant;
        });
      }
    }
  }
}

TEST(FastLog10, HundredIsNearlyTwo) {
  EXPECT_NEAR(kx::graph::fastLog10(100.0f), 2.0f, 1e-4f);
  EXPECT_NEAR(kx::graph::fastLog10x4({100.0f, 1.0f, 10.0f, 1000.0f})[0], 2.0f, 1e-4f);
}

// Over normal floats from the smallest to the largest, against the C library's log10. The
// cubic's error stays below 1.22e-4 (the largest measured is 1.218e-4).
TEST(FastLog10, StaysCloseToTheLogarithm) {
  double largest = 0.0;
  for (uint32_t bits = 0x00800000u; bits < 0x7F800000u; bits += 251) {
    float x;
    std::memcpy(&x, &bits, sizeof x);
    const double exact = std::log10(static_cast<double>(x));
    const std::array<float, 4> lanes = kx::graph::fastLog10x4({x, x, x, x});
    largest = std::max(
        {largest, std::fabs(kx::graph::fastLog10(x) - exact), std::fabs(lanes[3] - exact)});
  }
  EXPECT_LT(largest, 1.22e-4);
  EXPECT_GT(largest, 1.0e-4);  // the bound is tight, not loose
}

// The vector form against the portable one, bit for bit, over every exponent with random
// mantissas and the special values, whose results are meaningless but defined.
TEST(FastLog10, VectorLanesMatchThePortableForm) {
  SampleGenerator random(3);
  for (int round = 0; round < 20000; ++round) {
    std::array<float, 4> x;
    random.fill(std::span<float>(x));
    if (round % 2 == 0) {
      for (float& v : x) v = std::fabs(v);
    }
    const std::array<float, 4> expected = kx::graph::fastLog10x4(x);
    std::array<float, 4> actual;
    _mm_storeu_ps(actual.data(), kx::avx2::fastLog10x4(_mm_loadu_ps(x.data())));
    ASSERT_TRUE(kxtest::sameArrays("fastLog10x4", expected.data(), actual.data(), 4))
        << "round " << round;
  }
}

}  // namespace
