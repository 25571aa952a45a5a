// Block statistics, both variants at each block size.
#include "bench_support.h"
#include "stats/stats.h"

namespace kxbench {
namespace {

template <typename T>
Body minMaxBody(void (*kernel)(const T*, uint32_t, T*, T*)) {
  return [kernel](benchmark::State& state, std::size_t bytes) {
    const T* data = samples<T>(bytes);
    const auto count = static_cast<uint32_t>(bytes / sizeof(T));
    T minimum, maximum;
    for (auto _ : state) {
      kernel(data, count, &minimum, &maximum);
      benchmark::DoNotOptimize(minimum);
      benchmark::DoNotOptimize(maximum);
    }
  };
}

template <typename T>
void registerMinMax(const char* name) {
  registerVariants(name, minMaxBody<T>(kx::generic::getMinMax), minMaxBody<T>(kx::avx2::getMinMax));
}

const bool registered = [] {
  registerMinMax<int16_t>("GetMinMax_int16_t");
  registerMinMax<int32_t>("GetMinMax_int32_t");
  registerMinMax<float>("GetMinMax_float");
  registerMinMax<double>("GetMinMax_double");
  return true;
}();

}  // namespace
}  // namespace kxbench
