// IIR cascade and pink-noise filter, portable statement.
#include "filter/iir.h"

namespace kx::generic {
namespace {

// The general path: "above the rail" fails for NaN, and the lower bound is taken as
// max(-rail, u), which passes a NaN through.
double clampGeneral(double u) {
  if (u > kIIRRail) return kIIRRail;
  return -kIIRRail > u ? -kIIRRail : u;
}

// The fixed path: min(u, rail) first, which turns NaN into the rail, then max with -rail.
double clampFixed(double u) {
  const double upper = u < kIIRRail ? u : kIIRRail;
  return upper > -kIIRRail ? upper : -kIIRRail;
}

double generalSection(IIRTap* taps, int32_t order, double input) {
  for (int32_t i = 0; i < order; ++i) {
    taps[i].x = taps[i + 1].x;
    taps[i].y = taps[i + 1].y;
  }
  IIRTap& newest = taps[order];
  newest.x = input;
  double acc = 0.0;
  for (int32_t i = 0; i < order; ++i) acc = acc + (taps[i].b * taps[i].x - taps[i].a * taps[i].y);
  const double output = clampGeneral(newest.b * newest.x + acc);
  newest.y = output;
  return output;
}

double fixedSection(IIRTap* taps, double input) {
  taps[0].x = taps[1].x;
  taps[0].y = taps[1].y;
  taps[1].x = taps[2].x;
  taps[1].y = taps[2].y;
  taps[2].x = input;
  const double feedForward = taps[0].b * taps[0].x + taps[1].b * taps[1].x;
  const double feedback = taps[0].a * taps[0].y + taps[1].a * taps[1].y;
  const double output = clampFixed(taps[2].b * taps[2].x + (feedForward - feedback));
  taps[2].y = output;
  return output;
}

}  // namespace

double iirFilter(const IIRFilterState* state, double sample) {
  double v = sample;
  IIRTap* section = state->taps;
  if (state->kind == kIIRFixedSecondOrder) {
    for (int32_t s = 0; s < state->sectionCount; ++s, section += 3)
      v = fixedSection(section, v * state->gains[s]);
  } else {
    const int32_t order = state->order;
    for (int32_t s = 0; s < state->sectionCount; ++s, section += order + 1)
      v = generalSection(section, order, v * state->gains[s]);
  }
  return v;
}

namespace {
constexpr double kPinkDecay[8] = {0.99886, 0.99332, 0.969, 0.8665, 0.55, -0.7616, 0.0, 0.0};
constexpr double kPinkGain[8] = {0.0555179, 0.0750759, 0.153852, 0.3104856,
                                 0.5329522, -0.016898, 0.115926, 0.5362};
}  // namespace

double pinkFilter(PinkFilterState* state, double white) {
  const double w = 0.2 * white;
  double* s = state->s;
  // s6 and s7 decay by 0.0 like the others (0.0 x inf is NaN), so no stage is special.
  for (int i = 0; i < 8; ++i) s[i] = kPinkDecay[i] * s[i] + kPinkGain[i] * w;
  return ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7]));
}

}  // namespace kx::generic
