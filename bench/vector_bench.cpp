// Vector arithmetic and integer conversion, both variants at each block size. The block
// size is the size of each float or double array; for the conversions it is the size of
// the int32_t side, so that a conversion reads and writes one and a half blocks, as does
// the copy baseline registered here.
#include "bench_support.h"
#include "vector/vector.h"

namespace kxbench {
namespace {

template <typename T>
Body scaleBody(void (*kernel)(T*, uint32_t, T)) {
  return [kernel](benchmark::State& state, std::size_t bytes) {
    T* data = samples<T>(bytes);
    const auto count = static_cast<uint32_t>(bytes / sizeof(T));
    for (auto _ : state) {
      kernel(data, count, T(-1));  // keeps the values as they are, up to the sign
      benchmark::ClobberMemory();
    }
  };
}

Body sumBody(double (*kernel)(const float*, uint32_t)) {
  return [kernel](benchmark::State& state, std::size_t bytes) {
    const float* data = samples<float>(bytes);
    const auto count = static_cast<uint32_t>(bytes / sizeof(float));
    for (auto _ : state) benchmark::DoNotOptimize(kernel(data, count));
  };
}

Body productSumBody(double (*kernel)(const float*, const float*, uint32_t)) {
  return [kernel](benchmark::State& state, std::size_t bytes) {
    const float* a = samples<float>(bytes);
    const float* b = samples<float>(bytes, 1);
    const auto count = static_cast<uint32_t>(bytes / sizeof(float));
    for (auto _ : state) benchmark::DoNotOptimize(kernel(a, b, count));
  };
}

// out, a and b are separate arrays.
template <typename Kernel, typename... Factors>
Body twoInputBody(Kernel kernel, Factors... factors) {
  return [kernel, factors...](benchmark::State& state, std::size_t bytes) {
    const float* a = samples<float>(bytes);
    const float* b = samples<float>(bytes, 1);
    auto* out = static_cast<float*>(scratch(bytes));
    const auto count = static_cast<uint32_t>(bytes / sizeof(float));
    for (auto _ : state) {
      kernel(out, a, b, count, factors...);
      benchmark::ClobberMemory();
    }
  };
}

Body narrowBody(void (*kernel)(const int32_t*, int16_t*, uint32_t)) {
  return [kernel](benchmark::State& state, std::size_t bytes) {
    const int32_t* source = samples<int32_t>(bytes);
    auto* destination = static_cast<int16_t*>(scratch(bytes / 2));
    const auto count = static_cast<uint32_t>(bytes / sizeof(int32_t));
    for (auto _ : state) {
      kernel(source, destination, count);
      benchmark::ClobberMemory();
    }
  };
}

Body widenBody(void (*kernel)(const int16_t*, int32_t*, uint32_t)) {
  return [kernel](benchmark::State& state, std::size_t bytes) {
    const int16_t* source = samples<int16_t>(bytes / 2);
    auto* destination = static_cast<int32_t*>(scratch(bytes));
    const auto count = static_cast<uint32_t>(bytes / sizeof(int32_t));
    for (auto _ : state) {
      kernel(source, destination, count);
      benchmark::ClobberMemory();
    }
  };
}

const bool registered = [] {
  registerVariants("MultiplyVectorByScalar_float",
                   scaleBody<float>(kx::generic::multiplyVectorByScalar),
                   scaleBody<float>(kx::avx2::multiplyVectorByScalar));
  registerVariants("MultiplyVectorByScalar_double",
                   scaleBody<double>(kx::generic::multiplyVectorByScalar),
                   scaleBody<double>(kx::avx2::multiplyVectorByScalar));
  registerVariants("SumSquaredValues_float", sumBody(kx::generic::sumSquaredValues),
                   sumBody(kx::avx2::sumSquaredValues));
  registerVariants("MultiplyVectorsAndCalcSum_float",
                   productSumBody(kx::generic::multiplyVectorsAndCalcSum),
                   productSumBody(kx::avx2::multiplyVectorsAndCalcSum));
  registerVariants("SubtractVectorsAndMultiplyByScalar_float",
                   twoInputBody(kx::generic::subtractVectorsAndMultiplyByScalar, 0.5f),
                   twoInputBody(kx::avx2::subtractVectorsAndMultiplyByScalar, 0.5f));
  registerVariants("AddVectorsAndMultiplyByScalar_float",
                   twoInputBody(kx::generic::addVectorsAndMultiplyByScalar, 2.0f, 0.5f),
                   twoInputBody(kx::avx2::addVectorsAndMultiplyByScalar, 2.0f, 0.5f));
  registerVariants("ConvertInt32ToInt16", narrowBody(kx::generic::convertInt32ToInt16),
                   narrowBody(kx::avx2::convertInt32ToInt16));
  registerVariants("ConvertInt16ToInt32", widenBody(kx::generic::convertInt16ToInt32),
                   widenBody(kx::avx2::convertInt16ToInt32));
  // Reads and writes three quarters of a block each: the traffic of either conversion.
  registerSingle("CopyBaseline", [](benchmark::State& state, std::size_t bytes) {
    const void* source = samples<int32_t>(bytes);
    void* destination = scratch(bytes);
    for (auto _ : state) {
      copyBaseline(destination, source, bytes / 4 * 3);
      benchmark::ClobberMemory();
    }
  });
  return true;
}();

}  // namespace
}  // namespace kxbench
