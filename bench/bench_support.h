// Shared pieces of the benchmarks: block sizes, sample buffers, and registration of one
// benchmark per variant and size so that the two run side by side in one run.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace kxbench {

// Block sizes in bytes: inside L1, inside L2, and well beyond the last-level cache.
inline constexpr std::size_t kBlockBytes[] = {std::size_t{16} << 10, std::size_t{1} << 20,
                                              std::size_t{1} << 30};

// A 64-byte aligned region of at least `bytes` bytes holding moderate random samples of T
// (no NaN), shared by every benchmark of that type; `slot` selects independent regions.
template <typename T>
T* samples(std::size_t bytes, int slot = 0);

// A 64-byte aligned zeroed region for outputs, shared like samples().
void* scratch(std::size_t bytes, int slot = 0);

// The benchmark body gets the state and the block size in bytes; it runs the kernel once
// per iteration. Registers "<name>/<variant>/<bytes>" for every size.
using Body = std::function<void(benchmark::State&, std::size_t bytes)>;
void registerVariants(const std::string& name, Body generic, Body avx2);
void registerSingle(const std::string& name, Body body);

// Kernels measured against peer libraries: "Peers/<table>/<case>/" + implementation names
// a benchmark of one table of docs/PERFORMANCE.md; reportPerItem gives its figure, the time
// per item (output sample, filtered sample, ...).
std::string peerName(const std::string& table, const std::string& caseName);
inline void reportPerItem(benchmark::State& state, double items) {
  state.counters["per_item"] =
      benchmark::Counter(items, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// Memory baselines in AVX2: a multi-accumulator read, and a copy of as many bytes as a
// kernel reads and writes.
uint64_t readBaseline(const void* data, std::size_t bytes);
void copyBaseline(void* destination, const void* source, std::size_t bytes);

}  // namespace kxbench
