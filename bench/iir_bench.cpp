// The IIR cascade per sample against liquid-dsp's iirfilt_rrrf built from the same
// second-order sections, and the pink-noise filter per sample. One call filters one sample,
// so each iteration feeds a block of moderate random samples one call at a time.
#include <liquid/liquid.h>

#include <string>
#include <vector>

#include "bench_support.h"
#include "filter/iir.h"

namespace kxbench {
namespace {

constexpr uint32_t kBlock = 1024;
// A stable low-pass biquad, y = b0 x + b1 x1 + b2 x2 - a1 y1 - a2 y2.
constexpr double kB0 = 0.0675, kB1 = 0.135, kB2 = 0.0675, kA1 = -1.143, kA2 = 0.4128;

struct Cascade {
  IIRFilterState state{};
  std::vector<double> gains;
  std::vector<IIRTap> taps;
  Cascade(int32_t kind, int32_t sections) : gains(sections, 1.0), taps(3 * sections) {
    state.kind = kind;
    state.sectionCount = sections;
    state.order = 2;
    for (int32_t s = 0; s < sections; ++s) {
      taps[3 * s + 0] = {0, 0, kB2, kA2};
      taps[3 * s + 1] = {0, 0, kB1, kA1};
      taps[3 * s + 2] = {0, 0, kB0, 0};
    }
    state.gains = gains.data();
    state.taps = taps.data();
  }
};

void cascade(benchmark::State& state, int32_t kind, int32_t sections,
             double (*filter)(const IIRFilterState*, double)) {
  Cascade c(kind, sections);
  const double* input = samples<double>(kBlock * sizeof(double));
  uint64_t items = 0;
  for (auto _ : state) {
    double last = 0;
    for (uint32_t i = 0; i < kBlock; ++i) last = filter(&c.state, input[i]);
    benchmark::DoNotOptimize(last);
    items += kBlock;
  }
  reportPerItem(state, items);
}

void liquidIirfilt(benchmark::State& state, int32_t sections) {
  std::vector<float> b, a;
  for (int32_t s = 0; s < sections; ++s) {
    b.insert(b.end(), {static_cast<float>(kB0), static_cast<float>(kB1), static_cast<float>(kB2)});
    a.insert(a.end(), {1.0f, static_cast<float>(kA1), static_cast<float>(kA2)});
  }
  iirfilt_rrrf filter = iirfilt_rrrf_create_sos(b.data(), a.data(), sections);
  const float* input = samples<float>(kBlock * sizeof(float));
  uint64_t items = 0;
  for (auto _ : state) {
    float last = 0;
    for (uint32_t i = 0; i < kBlock; ++i) iirfilt_rrrf_execute(filter, input[i], &last);
    benchmark::DoNotOptimize(last);
    items += kBlock;
  }
  reportPerItem(state, items);
  iirfilt_rrrf_destroy(filter);
}

void pink(benchmark::State& state, double (*filter)(PinkFilterState*, double)) {
  PinkFilterState s{};
  const double* input = samples<double>(kBlock * sizeof(double));
  uint64_t items = 0;
  for (auto _ : state) {
    double last = 0;
    for (uint32_t i = 0; i < kBlock; ++i) last = filter(&s, input[i]);
    benchmark::DoNotOptimize(last);
    items += kBlock;
  }
  reportPerItem(state, items);
}

const bool registered = [] {
  for (int32_t sections : {1, 4, 8}) {
    const std::string count = std::to_string(sections) + (sections == 1 ? " section" : " sections");
    const std::string fixed = peerName("IIRFilter", count + ", kind 3");
    benchmark::RegisterBenchmark((fixed + "generic").c_str(), cascade, 3, sections,
                                 &kx::generic::iirFilter);
    benchmark::RegisterBenchmark((fixed + "avx2").c_str(), cascade, 3, sections,
                                 &kx::avx2::iirFilter);
    benchmark::RegisterBenchmark((fixed + "liquid_iirfilt_rrrf").c_str(), liquidIirfilt, sections);
    const std::string general = peerName("IIRFilter", count + ", order 2");
    benchmark::RegisterBenchmark((general + "generic").c_str(), cascade, 0, sections,
                                 &kx::generic::iirFilter);
    benchmark::RegisterBenchmark((general + "avx2").c_str(), cascade, 0, sections,
                                 &kx::avx2::iirFilter);
  }
  const std::string name = peerName("PinkFilter", "white to pink");
  benchmark::RegisterBenchmark((name + "generic").c_str(), pink, &kx::generic::pinkFilter);
  benchmark::RegisterBenchmark((name + "avx2").c_str(), pink, &kx::avx2::pinkFilter);
  return true;
}();

}  // namespace
}  // namespace kxbench
