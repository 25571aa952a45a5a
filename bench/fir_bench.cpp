// The FIR filter against liquid-dsp's firfilt_rrrf and VOLK's dot product, one output per
// call over the same coefficients. The caller writes a new sample into the ring and moves
// its position by 7 each call, so the wrap point and the coefficients' split alignment vary.
// liquid-dsp keeps its own window (push, then execute); VOLK is given a doubled ring (each
// sample written twice, length apart), so one call covers the wrap. The figure is time per
// output.
#include <liquid/liquid.h>
#include <volk/volk.h>

#include <string>
#include <vector>

#include "bench_support.h"
#include "filter/fir.h"

namespace kxbench {
namespace {

constexpr int32_t kLengths[] = {16, 64, 256, 1024};
constexpr uint32_t kStream = 4096;  // the input repeats after this many samples

const float* stream() {
  return samples<float>(kStream * sizeof(float));
}

std::vector<float> coefficientsOf(int32_t length) {
  const float* source = samples<float>(1024 * sizeof(float), 1);
  return std::vector<float>(source, source + length);
}

using FirKernel = float (*)(const float*, const float*, int32_t, int32_t);

void kxcalcFir(benchmark::State& state, int32_t length, FirKernel fir) {
  const std::vector<float> coefficients = coefficientsOf(length);
  std::vector<float> ring(length, 0.0f);
  const float* input = stream();
  uint64_t outputs = 0;
  int32_t position = 0;
  for (auto _ : state) {
    ring[position] = input[outputs % kStream];
    benchmark::DoNotOptimize(fir(ring.data(), coefficients.data(), length, position));
    position = (position + 7) % length;
    ++outputs;
  }
  reportPerItem(state, outputs);
}

void liquidFirfilt(benchmark::State& state, int32_t length) {
  std::vector<float> coefficients = coefficientsOf(length);
  firfilt_rrrf filter = firfilt_rrrf_create(coefficients.data(), length);
  const float* input = stream();
  uint64_t outputs = 0;
  for (auto _ : state) {
    float output;
    firfilt_rrrf_push(filter, input[outputs % kStream]);
    firfilt_rrrf_execute(filter, &output);
    benchmark::DoNotOptimize(output);
    ++outputs;
  }
  reportPerItem(state, outputs);
  firfilt_rrrf_destroy(filter);
}

void volkDotProduct(benchmark::State& state, int32_t length) {
  const std::vector<float> coefficients = coefficientsOf(length);
  std::vector<float> ring(2 * static_cast<std::size_t>(length), 0.0f);
  const float* input = stream();
  uint64_t outputs = 0;
  int32_t position = 0;
  for (auto _ : state) {
    const float sample = input[outputs % kStream];
    ring[position] = sample;
    ring[position + length] = sample;
    float output;
    volk_32f_x2_dot_prod_32f(&output, ring.data() + position, coefficients.data(),
                             static_cast<unsigned int>(length));
    benchmark::DoNotOptimize(output);
    position = (position + 7) % length;
    ++outputs;
  }
  reportPerItem(state, outputs);
}

const bool registered = [] {
  for (int32_t length : kLengths) {
    const std::string name = peerName("FIRFilter", "length " + std::to_string(length));
    benchmark::RegisterBenchmark((name + "generic").c_str(), kxcalcFir, length,
                                 &kx::generic::firFilter);
    benchmark::RegisterBenchmark((name + "avx2").c_str(), kxcalcFir, length, &kx::avx2::firFilter);
    benchmark::RegisterBenchmark((name + "liquid_firfilt_rrrf").c_str(), liquidFirfilt, length);
    benchmark::RegisterBenchmark((name + "volk_32f_x2_dot_prod_32f").c_str(), volkDotProduct,
                                 length);
  }
  return true;
}();

}  // namespace
}  // namespace kxbench
