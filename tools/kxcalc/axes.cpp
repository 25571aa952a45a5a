#include "axes.h"

#include <algorithm>
#include <cmath>

#include "failure.h"

namespace kxtool {

double Axis::fraction(double value) const {
  if (scale == AxisScale::Logarithmic) {
    return (std::log10(value) - std::log10(minimum)) / (std::log10(maximum) - std::log10(minimum));
  }
  return (value - minimum) / (maximum - minimum);
}

double Axis::valueAt(double fraction) const {
  if (scale == AxisScale::Logarithmic) {
    const double low = std::log10(minimum);
    return std::pow(10.0, low + fraction * (std::log10(maximum) - low));
  }
  return minimum + fraction * (maximum - minimum);
}

std::string tickLabel(double value, double step) {
  if (std::fabs(value) < step * 1e-9) return "0";
  const double magnitude = std::max(std::fabs(value), step);
  if (magnitude >= 1e6 || magnitude < 1e-4) {
    // Enough significant digits to tell neighbouring ticks apart.
    const int digits = std::clamp(
        static_cast<int>(std::floor(std::log10(magnitude)) - std::floor(std::log10(step))) + 1, 1,
        15);
    return format("%.*g", digits, value);
  }
  const int decimals = std::max(0, static_cast<int>(-std::floor(std::log10(step) + 1e-9)));
  return format("%.*f", decimals, value);
}

namespace {

std::vector<Tick> linearTicks(const Axis& axis, int maxTicks) {
  const double range = axis.maximum - axis.minimum;
  const double rough = range / std::max(1, maxTicks);
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  double step = power * 10;
  for (const double multiple : {1.0, 2.0, 5.0}) {
    if (multiple * power >= rough) {
      step = multiple * power;
      break;
    }
  }
  std::vector<Tick> ticks;
  const double first = std::ceil(axis.minimum / step - 1e-9);
  const double last = std::floor(axis.maximum / step + 1e-9);
  for (double k = first; k <= last && ticks.size() < 1000; ++k) {
    const double value = k * step;
    ticks.push_back({value, tickLabel(value, step)});
  }
  return ticks;
}

std::string decadeLabel(double value) {
  const int exponent = static_cast<int>(std::lround(std::log10(value)));
  if (exponent >= -3 && exponent <= 5) return tickLabel(value, value);
  return format("1e%d", exponent);
}

std::vector<Tick> logarithmicTicks(const Axis& axis, int maxTicks) {
  const double low = std::log10(axis.minimum), high = std::log10(axis.maximum);
  const double decades = high - low;
  const int every = std::max(1, static_cast<int>(std::ceil(decades / std::max(1, maxTicks))));
  std::vector<Tick> ticks;
  const auto inside = [&](double value) {
    return value >= axis.minimum * (1 - 1e-12) && value <= axis.maximum * (1 + 1e-12);
  };
  for (int exponent = static_cast<int>(std::floor(low)); exponent <= std::ceil(high); ++exponent) {
    const double decade = std::pow(10.0, exponent);
    if (exponent % every == 0 && inside(decade)) ticks.push_back({decade, decadeLabel(decade)});
    if (decades > 6) continue;
    for (int multiple = 2; multiple <= 9; ++multiple) {
      const double value = multiple * decade;
      if (!inside(value)) continue;
      const bool labelled = decades <= 1.5 && (multiple == 2 || multiple == 5);
      ticks.push_back({value, labelled ? tickLabel(value, decade) : std::string()});
    }
  }
  return ticks;
}

}  // namespace

std::vector<Tick> axisTicks(const Axis& axis, int maxTicks) {
  if (axis.scale != AxisScale::Logarithmic) return linearTicks(axis, maxTicks);
  std::vector<Tick> ticks = logarithmicTicks(axis, maxTicks);
  const auto labelled = std::count_if(ticks.begin(), ticks.end(),
                                      [](const Tick& tick) { return !tick.label.empty(); });
  // Less than a decade, with no decade or 2 or 5 inside: plain steps label it.
  if (labelled < 2) {
    const std::vector<Tick> steps = linearTicks(axis, std::max(2, maxTicks / 2));
    ticks.insert(ticks.end(), steps.begin(), steps.end());
  }
  return ticks;
}

}  // namespace kxtool
