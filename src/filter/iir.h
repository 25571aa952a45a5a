// Recursive filters that run one sample per call: the IIR section cascade and the
// pink-noise filter. Each variant provides the same kernels.
#pragma once

#include "kxcalc.h"

namespace kx {
// Every section's output is held within +-kIIRRail and the held value is fed on.
inline constexpr double kIIRRail = 1e10;
// kind value that selects the fixed three-tap section layout.
inline constexpr int32_t kIIRFixedSecondOrder = 3;
}  // namespace kx

namespace kx::generic {
double iirFilter(const IIRFilterState* state, double sample);
double pinkFilter(PinkFilterState* state, double white);
}  // namespace kx::generic

namespace kx::avx2 {
double iirFilter(const IIRFilterState* state, double sample);
double pinkFilter(PinkFilterState* state, double white);
}  // namespace kx::avx2
