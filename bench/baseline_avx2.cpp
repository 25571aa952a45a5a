// Memory baselines that the streaming kernels are quoted against.
#include <immintrin.h>

#include <string>

#include "bench_support.h"

namespace kxbench {

// Sums the buffer as 32-bit lanes in four independent accumulators, eight blocks a round.
uint64_t readBaseline(const void* data, std::size_t bytes) {
  const auto* blocks = static_cast<const __m256i*>(data);
  const std::size_t blockCount = bytes / 32;
  __m256i sums[4] = {_mm256_setzero_si256(), _mm256_setzero_si256(), _mm256_setzero_si256(),
                     _mm256_setzero_si256()};
  std::size_t block = 0;
  for (; block + 8 <= blockCount; block += 8) {
    for (int k = 0; k < 8; ++k) {
      sums[k % 4] = _mm256_add_epi32(sums[k % 4], _mm256_load_si256(blocks + block + k));
    }
  }
  for (; block < blockCount; ++block) {
    sums[0] = _mm256_add_epi32(sums[0], _mm256_load_si256(blocks + block));
  }
  const __m256i total =
      _mm256_add_epi32(_mm256_add_epi32(sums[0], sums[1]), _mm256_add_epi32(sums[2], sums[3]));
  alignas(32) uint32_t lanes[8];
  _mm256_store_si256(reinterpret_cast<__m256i*>(lanes), total);
  uint64_t sum = 0;
  for (uint32_t lane : lanes) sum += lane;
  return sum;
}

void copyBaseline(void* destination, const void* source, std::size_t bytes) {
  const auto* from = static_cast<const __m256i*>(source);
  auto* to = static_cast<__m256i*>(destination);
  const std::size_t blockCount = bytes / 32;
  for (std::size_t block = 0; block < blockCount; block += 4) {
    const __m256i a = _mm256_load_si256(from + block);
    const __m256i b = _mm256_load_si256(from + block + 1);
    const __m256i c = _mm256_load_si256(from + block + 2);
    const __m256i d = _mm256_load_si256(from + block + 3);
    _mm256_store_si256(to + block, a);
    _mm256_store_si256(to + block + 1, b);
    _mm256_store_si256(to + block + 2, c);
    _mm256_store_si256(to + block + 3, d);
  }
}

namespace {

// One read baseline per sample type, over the very buffer that type's kernels read.
template <typename T>
void registerReadBaseline(const char* typeName) {
  registerSingle(std::string("ReadBaseline_") + typeName,
                 [](benchmark::State& state, std::size_t bytes) {
                   const void* data = samples<T>(bytes);
                   for (auto _ : state) benchmark::DoNotOptimize(readBaseline(data, bytes));
                 });
}

const bool registered = [] {
  registerReadBaseline<int16_t>("int16_t");
  registerReadBaseline<int32_t>("int32_t");
  registerReadBaseline<float>("float");
  registerReadBaseline<double>("double");
  return true;
}();

}  // namespace
}  // namespace kxbench
