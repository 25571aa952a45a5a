// Pixel mapping of graph points, portable form: the four-point path computes its four lanes
// one after another, each exactly as a lane of the vector unit does.
#include <array>
#include <cmath>
#include <cstddef>

#include "graph/graph.h"
#include "graph/xy_graph.h"

namespace kx::generic {
namespace {

using graph::axisFraction;
using graph::clampFraction;
using graph::pixelAt;
using Doubles = std::array<double, 4>;

// The base-10 logarithm of four doubles by way of single precision.
Doubles log10Lanes(const Doubles& values) {
  std::array<float, 4> narrowed;
  for (std::size_t k = 0; k < 4; ++k) narrowed[k] = static_cast<float>(values[k]);
  const std::array<float, 4> logs = graph::fastLog10x4(narrowed);
  Doubles widened;
  for (std::size_t k = 0; k < 4; ++k) widened[k] = logs[k];
  return widened;
}

// Lanes at or below logMin (a logarithm, compared with the raw value) take logMin itself.
Doubles logAxisFractions(const Doubles& values, double logMin, double logMax) {
  const Doubles logs = log10Lanes(values);
  Doubles fractions;
  for (std::size_t k = 0; k < 4; ++k) {
    fractions[k] = axisFraction(logMin < values[k] ? logs[k] : logMin, logMin, logMax);
  }
  return fractions;
}

void mapFourPoints(const XYGraphPointRequest& r) {
  // The index counts as signed; index + k wraps as the 32-bit lanes do.
  Doubles indices;
  for (uint32_t k = 0; k < 4; ++k) {
    indices[k] = static_cast<int32_t>(static_cast<uint32_t>(r.index) + k);
  }
  Doubles x{};
  for (std::size_t k = 0; k < 4; ++k) {
    switch (r.xSource) {
      case graph::kXFromIndex:
        x[k] = indices[k];
        break;
      case graph::kXFromArray:
        x[k] = r.xData[static_cast<std::ptrdiff_t>(r.index) + static_cast<std::ptrdiff_t>(k)];
        break;
      case graph::kXFromStep:
        x[k] = indices[k] * r.xStep + r.xStart;
        break;
      default:
        x[k] = 0.0;
        break;
    }
  }

  Doubles xFractions;
  switch (r.xScale) {
    case graph::kLinear:
      for (std::size_t k = 0; k < 4; ++k) xFractions[k] = axisFraction(x[k], r.xMin, r.xMax);
      break;
    case graph::kLogarithmic:
      xFractions = logAxisFractions(x, r.xLogMin, r.xLogMax);
      break;
    default:
      xFractions = x;
      break;
  }

  Doubles y;
  for (uint32_t k = 0; k < 4; ++k) y[k] = graph::rawY(r, k) * r.yFactor + r.yOffset;

  Doubles yFractions;
  switch (r.yScale) {
    case graph::kLinear:
      for (std::size_t k = 0; k < 4; ++k) {
        yFractions[k] = r.yMin == r.yMax ? 0.0 : (y[k] - r.yMin) / (r.yMax - r.yMin);
      }
      break;
    case graph::kLogarithmic:
      yFractions = logAxisFractions(y, r.yLogMin, r.yLogMax);
      break;
    default: {
      Doubles ratios;
      for (std::size_t k = 0; k < 4; ++k) ratios[k] = y[k] / r.dbReference;
      const Doubles logs = log10Lanes(ratios);
      for (std::size_t k = 0; k < 4; ++k) {
        const double d = graph::kDecibelThreshold < y[k] ? graph::kDecibelFactor * logs[k]
                                                         : graph::kDecibelFloor;
        yFractions[k] = axisFraction(d, r.yMin, r.yMax);
      }
      break;
    }
  }

  // Positions round to nearest, ties to even.
  const double width = static_cast<double>(int32_t{r.right} - int32_t{r.left});
  const double height = static_cast<double>(int32_t{r.bottom} - int32_t{r.top});
  for (std::size_t k = 0; k < 4; ++k) {
    r.xPixels[k] = pixelAt(r.left + std::nearbyint(width * clampFraction(xFractions[k])));
  }
  for (std::size_t k = 0; k < 4; ++k) {
    r.yPixels[k] = pixelAt(r.bottom - std::nearbyint(height * clampFraction(yFractions[k])));
  }
  *r.pointCount = 4;
}

}  // namespace

void getXYValGraph2D(const XYGraphPointRequest* request) {
  graph::mapPoints<mapFourPoints>(request);
}

}  // namespace kx::generic
