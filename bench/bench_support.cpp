#include "bench_support.h"

#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <type_traits>
#include <utility>

namespace kxbench {
namespace {

struct Region {
  void* data = nullptr;
  std::size_t bytes = 0;
};

// Large regions ask for transparent huge pages, so that blocks beyond the cache measure
// memory bandwidth rather than page walks.
void* alignedZeroed(std::size_t bytes) {
  constexpr std::size_t kHugePage = std::size_t{2} << 20;
  const std::size_t alignment = bytes >= kHugePage ? kHugePage : 64;
  const std::size_t size = (bytes + alignment - 1) / alignment * alignment;
  void* data = std::aligned_alloc(alignment, size);
  if (data == nullptr) std::abort();
  if (alignment == kHugePage) madvise(data, size, MADV_HUGEPAGE);
  std::memset(data, 0, size);
  return data;
}

template <typename T>
void fillModerate(T* data, std::size_t count) {
  std::mt19937 engine(12345);
  for (std::size_t i = 0; i < count; ++i) {
    const uint32_t bits = engine();
    if constexpr (std::is_floating_point_v<T>) {
      data[i] = static_cast<T>(static_cast<int32_t>(bits % 2000001) - 1000000) / T(1000);
    } else {
      data[i] = static_cast<T>(bits);
    }
  }
}

}  // namespace

template <typename T>
T* samples(std::size_t bytes, int slot) {
  static std::map<int, Region> regions;
  Region& region = regions[slot];
  if (region.bytes < bytes) {
    std::free(region.data);
    region.data = alignedZeroed(bytes);
    region.bytes = bytes;
    fillModerate(static_cast<T*>(region.data), bytes / sizeof(T));
  }
  return static_cast<T*>(region.data);
}

template int8_t* samples<int8_t>(std::size_t, int);
template uint8_t* samples<uint8_t>(std::size_t, int);
template int16_t* samples<int16_t>(std::size_t, int);
template uint16_t* samples<uint16_t>(std::size_t, int);
template int32_t* samples<int32_t>(std::size_t, int);
template uint32_t* samples<uint32_t>(std::size_t, int);
template int64_t* samples<int64_t>(std::size_t, int);
template float* samples<float>(std::size_t, int);
template double* samples<double>(std::size_t, int);

void* scratch(std::size_t bytes, int slot) {
  static std::map<int, Region> regions;
  Region& region = regions[slot];
  if (region.bytes < bytes) {
    std::free(region.data);
    region.data = alignedZeroed(bytes);
    region.bytes = bytes;
  }
  return region.data;
}

namespace {

// Beyond the cache the figures move with other tenants' memory traffic; scripts/bench asks
// for more repetitions there through KXBENCH_BEYOND_CACHE_REPETITIONS.
void registerBlock(const std::string& name, const Body& body, std::size_t bytes) {
  auto* benchmark =
      benchmark::RegisterBenchmark(name.c_str(), [body, bytes](benchmark::State& state) {
        body(state, bytes);
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
      });
  benchmark->Unit(benchmark::kMicrosecond);
  const char* repetitions = std::getenv("KXBENCH_BEYOND_CACHE_REPETITIONS");
  if (repetitions != nullptr && bytes > kBlockBytes[1])
    benchmark->Repetitions(std::atoi(repetitions));
}

}  // namespace

std::string peerName(const std::string& table, const std::string& caseName) {
  return "Peers/" + table + "/" + caseName + "/";
}

void registerSingle(const std::string& name, Body body) {
  for (std::size_t bytes : kBlockBytes)
    registerBlock(name + "/" + std::to_string(bytes), body, bytes);
}

void registerVariants(const std::string& name, Body generic, Body avx2) {
  // Sizes outermost, so that generic and avx2 of one size are registered next to each other.
  for (std::size_t bytes : kBlockBytes) {
    registerBlock(name + "/generic/" + std::to_string(bytes), generic, bytes);
    registerBlock(name + "/avx2/" + std::to_string(bytes), avx2, bytes);
  }
}

}  // namespace kxbench
