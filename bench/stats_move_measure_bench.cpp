// Move and measure of 16-bit samples, both variants at each block size, for a consecutive
// channel and for one channel of four. The size is the source's; the destination receives
// every stride-th sample. Offset 0 is the usual RMS about zero; 0.25 keeps the fused order.
#include "bench_support.h"
#include "stats/stats.h"

namespace kxbench {
namespace {

using Kernel = void (*)(int16_t*, const int16_t*, uint32_t, int16_t*, int16_t*, double*, double*,
                        float, int32_t);

Body moveMeasureBody(Kernel kernel, int32_t stride, float offset) {
  return [kernel, stride, offset](benchmark::State& state, std::size_t bytes) {
    const int16_t* source = samples<int16_t>(bytes);
    const auto count = static_cast<uint32_t>(bytes / sizeof(int16_t) / stride);
    auto* destination = static_cast<int16_t*>(scratch(bytes / stride));
    int16_t minimum = 0, maximum = 0;
    double sum = 0, sumOfSquares = 0;
    for (auto _ : state) {
      kernel(destination, source, count, &minimum, &maximum, &sum, &sumOfSquares, offset, stride);
      benchmark::DoNotOptimize(destination);
      benchmark::DoNotOptimize(sum);
      benchmark::DoNotOptimize(sumOfSquares);
      benchmark::ClobberMemory();
    }
  };
}

void registerMoveMeasure(const char* name, int32_t stride, float offset) {
  registerVariants(name, moveMeasureBody(kx::generic::moveAndGetMinMaxAveRms, stride, offset),
                   moveMeasureBody(kx::avx2::moveAndGetMinMaxAveRms, stride, offset));
}

const bool registered = [] {
  registerMoveMeasure("MoveAndGetMinMaxAveRMS_int16_t/stride1", 1, 0.0f);
  registerMoveMeasure("MoveAndGetMinMaxAveRMS_int16_t/stride4", 4, 0.0f);
  registerMoveMeasure("MoveAndGetMinMaxAveRMS_int16_t/stride1_offset0.25", 1, 0.25f);
  registerMoveMeasure("MoveAndGetMinMaxAveRMS_int16_t/stride4_offset0.25", 4, 0.25f);
  return true;
}();

}  // namespace
}  // namespace kxbench
