// Pixel mapping of graph points, the parts both variants share: the constants, the axis
// fraction, the clamps and the conversion to a pixel, and the whole one-point path, which is
// scalar in both. The four-point path rounds and clamps differently on purpose (ties to even
// against one half added and truncated); each variant maps its four lanes itself.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

#include "graph/fast_log10.h"
#include "kxcalc.h"

namespace kx::graph {
namespace {

inline constexpr double kFractionLimit = 1000000.0;
inline constexpr double kHighestPixel = 32767.0;
inline constexpr double kLowestPixel = -32768.0;
inline constexpr double kDecibelFloor = -400.0;
inline constexpr double kDecibelFactor = 20.0;
inline constexpr float kDecibelFactorSingle = 20.0f;
inline constexpr double kDecibelThreshold = 1e-09;  // of the four-point path only

// Codes of XYGraphPointRequest.
enum XSource : uint8_t { kXFromIndex = 0, kXFromArray = 1, kXFromStep = 2 };
enum AxisScale : uint8_t { kLinear = 0, kLogarithmic = 1 };  // others: see each axis

// Where `value` lies between `start` and `end` as a fraction; a zero range gives `start`
// itself, which keeps the division away from zero (the odd value is the caller's to avoid).
inline double axisFraction(double value, double start, double end) {
  const double range = end - start;
  return range == 0 ? start : (value - start) / range;
}

// The comparisons fail for a NaN, which passes on to the pixel conversion.
inline double clampFraction(double fraction) {
  if (fraction > kFractionLimit) return kFractionLimit;
  if (fraction < -kFractionLimit) return -kFractionLimit;
  return fraction;
}

// A whole-numbered pixel position clamped to the 16-bit range. A NaN position (a NaN value,
// scale or range) takes the lowest pixel, so that every pixel lies in the range.
inline int32_t pixelAt(double position) {
  if (position > kHighestPixel) return static_cast<int32_t>(kHighestPixel);
  if (!(position >= kLowestPixel)) return static_cast<int32_t>(kLowestPixel);
  return static_cast<int32_t>(position);
}

// The raw Y value `k` places after the one that yData points at: floats for RawType_float,
// doubles for every other code.
inline double rawY(const XYGraphPointRequest& r, uint32_t k) {
  if (r.yDataType == RawType_float) {
    float value;
    std::memcpy(&value, static_cast<const float*>(r.yData) + k, sizeof value);
    return value;
  }
  double value;
  std::memcpy(&value, static_cast<const double*>(r.yData) + k, sizeof value);
  return value;
}

// One point, in scalar double arithmetic. Here the index counts as unsigned, an unknown X
// source gives xMin, the logarithm takes any positive value, and a pixel is the product plus
// one half, truncated.
inline void mapOnePoint(const XYGraphPointRequest& r) {
  const auto index = static_cast<uint32_t>(r.index);
  double x;
  switch (r.xSource) {
    case kXFromIndex:
      x = index;
      break;
    case kXFromArray:
      x = r.xData[r.index];
      break;
    case kXFromStep:
      x = static_cast<double>(index) * r.xStep + r.xStart;
      break;
    default:
      x = r.xMin;
      break;
  }

  double xFraction;
  switch (r.xScale) {
    case kLinear:
      xFraction = axisFraction(x, r.xMin, r.xMax);
      break;
    case kLogarithmic: {
      const double v = x > 0 ? static_cast<double>(fastLog10(static_cast<float>(x))) : r.xLogMin;
      xFraction = axisFraction(v, r.xLogMin, r.xLogMax);
      break;
    }
    default:
      xFraction = x;
      break;
  }
  xFraction = clampFraction(xFraction);
  const double width = static_cast<double>(int32_t{r.right} - int32_t{r.left});
  const int32_t xPixel = pixelAt(std::trunc(width * xFraction + 0.5) + r.left);

  const double y = rawY(r, 0) * r.yFactor + r.yOffset;
  double yFraction;
  switch (r.yScale) {
    case kLinear:
      yFraction = clampFraction(axisFraction(y, r.yMin, r.yMax));
      break;
    case kLogarithmic: {
      const double v = y > 0 ? static_cast<double>(fastLog10(static_cast<float>(y))) : r.yLogMin;
      yFraction = clampFraction(axisFraction(v, r.yLogMin, r.yLogMax));
      break;
    }
    default: {
      // The decibel value is scaled in single precision; an empty range puts the point at
      // the bottom, without the clamp.
      const double d = y > 0
                           ? static_cast<double>(fastLog10(static_cast<float>(y / r.dbReference)) *
                                                 kDecibelFactorSingle)
                           : kDecibelFloor;
      const double range = r.yMax - r.yMin;
      yFraction = range == 0 ? 0.0 : clampFraction((d - r.yMin) / range);
      break;
    }
  }
  const double height = static_cast<double>(int32_t{r.bottom} - int32_t{r.top});
  const int32_t yPixel = pixelAt(r.bottom - std::trunc(height * yFraction + 0.5));

  r.xPixels[0] = xPixel;
  r.yPixels[0] = yPixel;
  *r.pointCount = 1;
}

// A call: the record copied before anything is written, then four points or one.
template <void (*MapFourPoints)(const XYGraphPointRequest&)>
inline void mapPoints(const XYGraphPointRequest* request) {
  const XYGraphPointRequest fields = *request;
  if (fields.pointsLeft > 3) {
    MapFourPoints(fields);
  } else {
    mapOnePoint(fields);
  }
}

}  // namespace
}  // namespace kx::graph
