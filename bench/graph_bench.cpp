// Graph pixel mapping, as a caller draws a long curve (points per second, for each path and
// each kind of axis), and the cursor search over a full-HD graph image (time per image).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "graph/graph.h"

namespace kxbench {
namespace {

using MapPoints = void (*)(const XYGraphPointRequest*);
using FindCursor = decltype(&kx::generic::findCursorXY);

constexpr uint32_t kCurvePoints = 4096;

enum class Axes { Linear, Logarithmic, Decibel };

const std::vector<double>& curve() {
  static const std::vector<double> values = [] {
    std::vector<double> v(kCurvePoints);
    for (uint32_t i = 0; i < kCurvePoints; ++i) v[i] = 1.5 + std::sin(i * 0.01) + 0.001 * i;
    return v;
  }();
  return values;
}

XYGraphPointRequest curveRequest(Axes axes) {
  XYGraphPointRequest r{};
  r.xSource = 2;  // index * xStep + xStart
  r.yDataType = RawType_double;
  r.left = 60, r.right = 1900, r.top = 20, r.bottom = 1040;
  r.xStep = 0.001, r.xStart = 0.01;
  r.yFactor = 1.0, r.yOffset = 0.0;
  r.xMin = 0.0, r.xMax = 4.2, r.xLogMin = -2.0, r.xLogMax = 1.0;
  r.yMin = 0.0, r.yMax = 7.0, r.yLogMin = -1.0, r.yLogMax = 1.0;
  r.dbReference = 1.0;
  if (axes == Axes::Logarithmic) r.xScale = 1, r.yScale = 1;
  if (axes == Axes::Decibel) r.yScale = 2, r.yMin = -20.0, r.yMax = 20.0;
  return r;
}

// The caller's loop over the whole curve: map, advance by the count mapped, repeat. With
// `onePoint` every call is told that at most three points are left.
void drawCurve(benchmark::State& state, MapPoints mapPoints, Axes axes, bool onePoint) {
  const std::vector<double>& y = curve();
  std::vector<int32_t> xPixels(kCurvePoints + 4), yPixels(kCurvePoints + 4);
  uint32_t count = 0;
  for (auto _ : state) {
    XYGraphPointRequest r = curveRequest(axes);
    r.pointCount = &count;
    for (uint32_t done = 0; done < kCurvePoints; done += count) {
      r.pointsLeft = onePoint ? 1 : kCurvePoints - done;
      r.index = static_cast<int32_t>(done);
      r.yData = y.data() + done;
      r.xPixels = xPixels.data() + done;
      r.yPixels = yPixels.data() + done;
      mapPoints(&r);
    }
    benchmark::DoNotOptimize(xPixels.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kCurvePoints);
}

// A 1920 x 1080 graph as a plotting window renders it: white background, minor and major
// grid lines, a black frame, and three curves two pixels thick.
constexpr int32_t kWidth = 1920, kHeight = 1080;
constexpr uint32_t kBackground = 0xFFFFFFFFu, kMinorGrid = 0xFFE0E0E0u, kMajorGrid = 0xFFB0B0B0u,
                   kFrame = 0xFF000000u;

const std::vector<uint32_t>& graphImage(bool withCurves) {
  static std::vector<uint32_t> images[2];
  std::vector<uint32_t>& image = images[withCurves];
  if (!image.empty()) return image;
  image.assign(std::size_t(kWidth) * kHeight, kBackground);
  auto at = [&](int32_t x, int32_t y) -> uint32_t& { return image[std::size_t(y) * kWidth + x]; };
  for (int32_t y = 0; y < kHeight; ++y) {
    for (int32_t x = 0; x < kWidth; ++x) {
      if (x % 100 == 60 || y % 100 == 40)
        at(x, y) = kMajorGrid;
      else if (x % 20 == 0 || y % 20 == 0)
        at(x, y) = kMinorGrid;
      if (x == 60 || x == 1900 || y == 20 || y == 1040) at(x, y) = kFrame;
    }
  }
  if (withCurves) {
    const uint32_t colours[3] = {0xFF1F77B4u, 0xFFFF7F0Eu, 0xFF2CA02Cu};
    for (int c = 0; c < 3; ++c) {
      for (int32_t x = 61; x < 1900; ++x) {
        const int32_t y = 530 + static_cast<int32_t>(300 * std::sin(x * 0.004 * (c + 1) + c));
        at(x, y) = at(x, y + 1) = colours[c];
      }
    }
  }
  return image;
}

void scanImage(benchmark::State& state, FindCursor findCursor, bool withCurves,
               int32_t excludedCount) {
  const std::vector<uint32_t>& image = graphImage(withCurves);
  const uint32_t excluded[4] = {kBackground, kMinorGrid, kMajorGrid, kFrame};
  uint32_t value = 0, x = 0, y = 0;
  for (auto _ : state) {
    // Top-down rows: a negative stride.
    findCursor(image.data(), -kWidth * 4, kWidth, kHeight, 700, 400, &value, &x, &y, excluded,
               excludedCount);
    benchmark::DoNotOptimize(value);
    benchmark::DoNotOptimize(x);
  }
}

template <typename Body>
void registerPair(const std::string& name, Body generic, Body avx2) {
  benchmark::RegisterBenchmark((name + "/generic").c_str(), generic)->Unit(benchmark::kMicrosecond);
  benchmark::RegisterBenchmark((name + "/avx2").c_str(), avx2)->Unit(benchmark::kMicrosecond);
}

const bool registered = [] {
  const std::pair<const char*, Axes> axes[] = {
      {"Linear", Axes::Linear}, {"Logarithmic", Axes::Logarithmic}, {"Decibel", Axes::Decibel}};
  for (const auto& [axesName, kind] : axes) {
    for (bool onePoint : {false, true}) {
      const std::string name =
          std::string("GetXYValGraph2D_") + axesName + (onePoint ? "_one_point" : "_four_point");
      auto body = [kind, onePoint](MapPoints mapPoints) {
        return [=](benchmark::State& state) { drawCurve(state, mapPoints, kind, onePoint); };
      };
      registerPair(name, body(kx::generic::getXYValGraph2D), body(kx::avx2::getXYValGraph2D));
    }
  }
  struct Scan {
    const char* name;
    bool withCurves;
    int32_t excludedCount;
  };
  for (const Scan& scan : {Scan{"FindCursorXY_1920x1080_graph_4_excluded", true, 4},
                           Scan{"FindCursorXY_1920x1080_graph_2_excluded", true, 2},
                           Scan{"FindCursorXY_1920x1080_all_excluded", false, 4}}) {
    auto body = [scan](FindCursor findCursor) {
      return [=](benchmark::State& state) {
        scanImage(state, findCursor, scan.withCurves, scan.excludedCount);
      };
    };
    registerPair(scan.name, body(kx::generic::findCursorXY), body(kx::avx2::findCursorXY));
  }
  return true;
}();

}  // namespace
}  // namespace kxbench
