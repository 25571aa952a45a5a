// Random samples that stress bit-exact kernels: NaNs with several payloads and both signs,
// infinities, signed zeros, subnormals, the extremes of each type, and long runs of ties.
#pragma once

#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace kxtest {

class SampleGenerator {
 public:
  explicit SampleGenerator(uint64_t seed) : engine_(seed) {}

  // Fills `out` in one of several styles chosen at random per call: wide random values,
  // a small palette with many ties, mostly special values, or moderate values.
  void fill(std::span<float> out);
  void fill(std::span<double> out);
  void fill(std::span<int16_t> out);
  void fill(std::span<int32_t> out);
  void fill(std::span<int64_t> out);
  void fill(std::span<uint8_t> out);
  void fill(std::span<uint16_t> out);
  void fill(std::span<uint32_t> out);
  void fill(std::span<int8_t> out);

  template <typename T>
  std::vector<T> make(std::size_t count) {
    std::vector<T> values(count);
    fill(std::span<T>(values));
    return values;
  }

  // One value of the kind fill() draws, for scalar parameters such as scale and offset.
  float scalarFloat();
  double scalarDouble();

  uint64_t bits() { return engine_(); }
  uint32_t below(uint32_t bound) { return static_cast<uint32_t>(engine_() % bound); }
  std::mt19937_64& engine() { return engine_; }

 private:
  template <typename F>
  void fillFloating(std::span<F> out);
  template <typename I>
  void fillInteger(std::span<I> out);

  std::mt19937_64 engine_;
};

}  // namespace kxtest
