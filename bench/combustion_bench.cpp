// Raw data to channels and the in-place precision conversion, both variants at each block
// size. For the copy the block is the float array read (and as much is written); for the
// conversions it is the double side (8 * count bytes), of which half is read or written as
// floats, so either conversion moves one and a half blocks, as the vector copy baseline does.
#include <cstring>

#include "bench_support.h"
#include "combustion/combustion.h"

namespace kxbench {
namespace {

using RawCopy = uint32_t (*)(const float*, float*, uint32_t, uint32_t, float, float*, uint32_t*);

Body rawCopyBody(RawCopy kernel) {
  return [kernel](benchmark::State& state, std::size_t bytes) {
    const float* source = samples<float>(bytes);
    auto* destination = static_cast<float*>(scratch(bytes));
    const auto count = static_cast<uint32_t>(bytes / sizeof(float));
    float maxValue;
    uint32_t maxIndex;
    for (auto _ : state) {
      benchmark::DoNotOptimize(kernel(source, destination, 0, count, 0.5f, &maxValue, &maxIndex));
      benchmark::ClobberMemory();
    }
  };
}

// The conversions work in place, so each runs on its own copy of the samples. Repeated
// narrowing keeps reading moderate doubles (pairs of moderate floats); repeated widening of
// those values leaves zeros in the float half after the first pass. Neither meets subnormals.
Body precisionBody(void* (*kernel)(void*, uint32_t), bool toFloat) {
  return [kernel, toFloat](benchmark::State& state, std::size_t bytes) {
    void* values = scratch(bytes, 2);
    const auto count = static_cast<uint32_t>(bytes / sizeof(double));
    if (toFloat) {
      std::memcpy(values, samples<double>(bytes), bytes);
    } else {
      std::memset(values, 0, bytes);
      auto* floats = static_cast<float*>(values);
      for (uint32_t i = 0; i < count; ++i) floats[i] = static_cast<float>(i % 1024) * 0.25f;
    }
    for (auto _ : state) {
      benchmark::DoNotOptimize(kernel(values, count));
      benchmark::ClobberMemory();
    }
  };
}

const bool registered = [] {
  registerVariants("CACopyRawDataToChannels", rawCopyBody(kx::generic::copyRawDataToChannels),
                   rawCopyBody(kx::avx2::copyRawDataToChannels));
  registerVariants("CADoubleArrToSingleArrInplace",
                   precisionBody(kx::generic::doubleArrToSingleArrInplace, true),
                   precisionBody(kx::avx2::doubleArrToSingleArrInplace, true));
  registerVariants("CASingleArrToDoubleArrInplace",
                   precisionBody(kx::generic::singleArrToDoubleArrInplace, false),
                   precisionBody(kx::avx2::singleArrToDoubleArrInplace, false));
  // Reads and writes one block: the traffic of the copy with peak search.
  registerSingle("CopyBaseline_Float", [](benchmark::State& state, std::size_t bytes) {
    const void* source = samples<float>(bytes);
    void* destination = scratch(bytes);
    for (auto _ : state) {
      copyBaseline(destination, source, bytes);
      benchmark::ClobberMemory();
    }
  });
  return true;
}();

}  // namespace
}  // namespace kxbench
