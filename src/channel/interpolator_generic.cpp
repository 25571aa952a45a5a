// The interpolator's output step, portable form: output by output, as the algorithm reads.
#include "channel/interpolator.h"

namespace kx::generic {

void interpolatorOutput(CHSInterpolator& interpolator, uint32_t count) {
  interpolator::outputsOneByOne(interpolator, 0, count);
}

}  // namespace kx::generic
