// The streaming interpolator against two other streaming resamplers: libsamplerate's
// cheapest converter (linear) and soxr's quick mode, all fed the same blocks of moderate
// random samples. The figure is time per output sample.
#include <samplerate.h>
#include <soxr.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "bench_support.h"
#include "channel/interpolator.h"

namespace kxbench {
namespace {

namespace ip = kx::interpolator;

constexpr uint32_t kBlock = 2048;          // input samples per call
constexpr uint32_t kStream = 64 * kBlock;  // the source repeats after this many samples
constexpr uint32_t kRingSize = 4096;
constexpr double kSourceRate = 48000;
constexpr double kRatios[] = {0.5, 1.0, 4.0};

const float* blockAt(uint64_t call) {
  return samples<float>(kStream * sizeof(float)) + (call % (kStream / kBlock)) * kBlock;
}

void interpolator(benchmark::State& state, double ratio, ip::OutputStep step) {
  CHSInterpolator* handle = nullptr;
  const CHSInterpolatorParams params{kSourceRate, kSourceRate * ratio, kRingSize};
  if (ip::create(&handle, &params, ip::HeapAllocator{}) != 0) {
    state.SkipWithError("create failed");
    return;
  }
  uint64_t outputs = 0, call = 0;
  for (auto _ : state) {
    const float* output = nullptr;
    uint32_t produced = 0;
    ip::interpolateValues(handle, blockAt(call++), kBlock, &output, &produced, step,
                          ip::HeapAllocator{});
    benchmark::DoNotOptimize(output[produced - 1]);
    outputs += produced;
  }
  reportPerItem(state, outputs);
  ip::destroy(handle, ip::HeapAllocator{});
}

void libsamplerateLinear(benchmark::State& state, double ratio) {
  int error = 0;
  SRC_STATE* converter = src_new(SRC_LINEAR, 1, &error);
  if (converter == nullptr) {
    state.SkipWithError(src_strerror(error));
    return;
  }
  std::vector<float> output(static_cast<std::size_t>(std::ceil(kBlock * ratio)) + 64);
  uint64_t outputs = 0, call = 0;
  for (auto _ : state) {
    SRC_DATA data{};
    data.data_in = blockAt(call++);
    data.input_frames = kBlock;
    data.data_out = output.data();
    data.output_frames = static_cast<long>(output.size());
    data.src_ratio = ratio;
    src_process(converter, &data);
    benchmark::DoNotOptimize(output.data());
    benchmark::ClobberMemory();
    outputs += static_cast<uint64_t>(data.output_frames_gen);
  }
  reportPerItem(state, outputs);
  src_delete(converter);
}

void soxrQuick(benchmark::State& state, double ratio) {
  const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_QQ, 0);
  soxr_error_t error = nullptr;
  soxr_t resampler =
      soxr_create(kSourceRate, kSourceRate * ratio, 1, &error, &io, &quality, nullptr);
  if (error != nullptr) {
    state.SkipWithError(error);
    return;
  }
  std::vector<float> output(static_cast<std::size_t>(std::ceil(kBlock * ratio)) * 2 + 256);
  uint64_t outputs = 0, call = 0;
  for (auto _ : state) {
    std::size_t consumed = 0, produced = 0;
    soxr_process(resampler, blockAt(call++), kBlock, &consumed, output.data(), output.size(),
                 &produced);
    benchmark::DoNotOptimize(output.data());
    benchmark::ClobberMemory();
    outputs += produced;
  }
  reportPerItem(state, outputs);
  soxr_delete(resampler);
}

const bool registered = [] {
  for (double ratio : kRatios) {
    char text[32];
    std::snprintf(text, sizeof text, "ratio %g", ratio);
    const std::string name = peerName("CHSInterpolator", text);
    benchmark::RegisterBenchmark((name + "generic").c_str(), interpolator, ratio,
                                 &kx::generic::interpolatorOutput);
    benchmark::RegisterBenchmark((name + "avx2").c_str(), interpolator, ratio,
                                 &kx::avx2::interpolatorOutput);
    benchmark::RegisterBenchmark((name + "libsamplerate_linear").c_str(), libsamplerateLinear,
                                 ratio);
    benchmark::RegisterBenchmark((name + "soxr_qq").c_str(), soxrQuick, ratio);
  }
  return true;
}();

}  // namespace
}  // namespace kxbench
