// Graph axes: their kind and range, where a value falls on them, and their ticks.
#pragma once

#include <string>
#include <vector>

namespace kxtool {

enum class AxisScale { Linear, Logarithmic, Decibel };

// An axis range in the values the user sees: for a logarithmic axis its bounds are values
// (not logarithms), for a decibel axis decibels.
struct Axis {
  AxisScale scale = AxisScale::Linear;
  double minimum = 0;
  double maximum = 1;

  // Where a value lies on the axis, 0 at the start and 1 at the end, and back.
  double fraction(double value) const;
  double valueAt(double fraction) const;
};

struct Tick {
  double value;
  std::string label;  // empty for a minor tick (grid line only)
};

// Linear and decibel axes: steps of 1, 2 or 5 times a power of ten, at most about
// maxTicks of them. Logarithmic axes: decades (every few decades when there are many),
// with 2 and 5 between them over a short range and minor ticks at 2 .. 9.
std::vector<Tick> axisTicks(const Axis& axis, int maxTicks);

// Compact text of a tick value given the step between ticks.
std::string tickLabel(double value, double step);

}  // namespace kxtool
