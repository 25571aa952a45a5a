// The cost of the dispatching library's choice: a 16-element kxcalcGetMinMax_float through
// libkxcalc against the same export of libkxcalc-avx2fma3, both called through the address
// that the dynamic loader resolved, as an application's call would be.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench_support.h"
#include "kxcalc.h"

namespace kxbench {
namespace {

using GetMinMax = decltype(&kxcalcGetMinMax_float);

GetMinMax resolve(const char* fileName) {
  const std::string path = std::string(KXBENCH_LIBRARY_DIR "/") + fileName;
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  void* symbol = library ? dlsym(library, "kxcalcGetMinMax_float") : nullptr;
  if (symbol == nullptr) {
    std::fprintf(stderr, "kxcalc_bench: cannot load kxcalcGetMinMax_float from %s\n", path.c_str());
    std::exit(1);
  }
  return reinterpret_cast<GetMinMax>(symbol);
}

void callOverhead(benchmark::State& state, GetMinMax getMinMax) {
  alignas(32) float data[16];
  for (int i = 0; i < 16; ++i) data[i] = static_cast<float>((i * 7) % 16) - 8.0f;
  float minimum, maximum;
  for (auto _ : state) {
    benchmark::DoNotOptimize(data);
    getMinMax(data, 16, &minimum, &maximum);
    benchmark::DoNotOptimize(minimum);
    benchmark::DoNotOptimize(maximum);
  }
}

const bool registered = [] {
  benchmark::RegisterBenchmark("DispatchCall_GetMinMax_float16/libkxcalc", callOverhead,
                               resolve("libkxcalc.so.2"));
  benchmark::RegisterBenchmark("DispatchCall_GetMinMax_float16/libkxcalc-avx2fma3", callOverhead,
                               resolve("libkxcalc-avx2fma3.so.2.17"));
  return true;
}();

}  // namespace
}  // namespace kxbench
