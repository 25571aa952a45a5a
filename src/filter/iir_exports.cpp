// C exports of the IIR cascade and the pink-noise filter.
#include "core/export.h"
#include "filter/iir.h"

float kxcalcIIRFilter_float(IIRFilterState* state, float sample) {
  // No section: the float comes back exactly as it went in.
  if (state->sectionCount <= 0) return sample;
  return static_cast<float>(variant::iirFilter(state, sample));
}
double kxcalcIIRFilter_double(IIRFilterState* state, double sample) {
  return variant::iirFilter(state, sample);
}
double kxcalcPinkFilter_double(PinkFilterState* state, double white) {
  return variant::pinkFilter(state, white);
}
