// Block minimum, maximum and running sums, both variants at each block size.
#include <string>
#include <type_traits>

#include "bench_support.h"
#include "stats/stats.h"

namespace kxbench {
namespace {

template <typename T>
using OffsetOf =
    std::conditional_t<std::is_same_v<T, float> || std::is_same_v<T, int16_t>, float, double>;

template <typename T>
using Kernel = void (*)(const T*, uint32_t, T*, T*, double*, double*, OffsetOf<T>);

template <typename T>
Body aveRmsBody(Kernel<T> kernel, OffsetOf<T> offset) {
  return [kernel, offset](benchmark::State& state, std::size_t bytes) {
    const T* data = samples<T>(bytes);
    const auto count = static_cast<uint32_t>(bytes / sizeof(T));
    T minimum{}, maximum{};
    double sum = 0, sumOfSquares = 0;
    for (auto _ : state) {
      kernel(data, count, &minimum, &maximum, &sum, &sumOfSquares, offset);
      benchmark::DoNotOptimize(minimum);
      benchmark::DoNotOptimize(maximum);
      benchmark::DoNotOptimize(sum);
      benchmark::DoNotOptimize(sumOfSquares);
    }
  };
}

template <typename T>
void registerAveRms(const std::string& name, OffsetOf<T> offset = OffsetOf<T>(0.25)) {
  registerVariants(name, aveRmsBody<T>(kx::generic::getMinMaxAveRms, offset),
                   aveRmsBody<T>(kx::avx2::getMinMaxAveRms, offset));
}

const bool registered = [] {
  registerAveRms<int16_t>("GetMinMaxAveRMS_int16_t");
  // A whole-number offset lets the 16-bit body sum exactly in integers.
  registerAveRms<int16_t>("GetMinMaxAveRMS_int16_t/offset0", 0.0f);
  registerAveRms<int32_t>("GetMinMaxAveRMS_int32_t");
  registerAveRms<float>("GetMinMaxAveRMS_float");
  registerAveRms<double>("GetMinMaxAveRMS_double");
  return true;
}();

}  // namespace
}  // namespace kxbench
