#include "support/random.h"

#include <bit>
#include <cstring>
#include <limits>

namespace kxtest {
namespace {

template <typename F>
F specialValue(std::mt19937_64& engine) {
  using Limits = std::numeric_limits<F>;
  using Bits = std::conditional_t<sizeof(F) == 4, uint32_t, uint64_t>;
  constexpr Bits kSign = Bits{1} << (sizeof(F) * 8 - 1);
  const Bits quietNaN = std::bit_cast<Bits>(Limits::quiet_NaN());
  switch (engine() % 16) {
    case 0:
      return F(0);
    case 1:
      return -F(0);
    case 2:
      return Limits::infinity();
    case 3:
      return -Limits::infinity();
    case 4:
      return Limits::quiet_NaN();
    case 5:
      return std::bit_cast<F>(quietNaN | kSign);
    case 6:
      return std::bit_cast<F>(quietNaN | (Bits(engine()) & (quietNaN >> 2)));  // payload
    case 7:
      return Limits::denorm_min();
    case 8:
      return -Limits::denorm_min();
    case 9:
      return std::bit_cast<F>(Bits(engine()) & (std::bit_cast<Bits>(Limits::min()) - 1));
    case 10:
      return Limits::min();
    case 11:
      return Limits::max();
    case 12:
      return Limits::lowest();
    case 13:
      return F(1);
    case 14:
      return F(-1);
    default:
      return -Limits::min();
  }
}

// A value in [-1000, 1000) from the top bits of one raw draw, in one rounding: the standard
// distributions differ from one library to the next, and golden digests need the same values
// on every platform.
template <typename F>
F moderateValue(std::mt19937_64& engine) {
  constexpr int kDigits = std::numeric_limits<F>::digits;
  constexpr int64_t kHalfRange = int64_t{1} << (kDigits - 1);
  const int64_t steps = static_cast<int64_t>(engine() >> (64 - kDigits)) - kHalfRange;
  const F value = static_cast<F>(steps) * (F(1000) / static_cast<F>(kHalfRange));
  return engine() % 4 == 0 ? static_cast<F>(static_cast<int>(value)) : value;
}

template <typename F>
F wideValue(std::mt19937_64& engine) {
  using Bits = std::conditional_t<sizeof(F) == 4, uint32_t, uint64_t>;
  return std::bit_cast<F>(static_cast<Bits>(engine()));
}

}  // namespace

template <typename F>
void SampleGenerator::fillFloating(std::span<F> out) {
  switch (engine_() % 5) {
    case 0:
      for (F& v : out) v = wideValue<F>(engine_);
      break;
    case 1: {
      F palette[4];
      const std::size_t size = 1 + engine_() % 4;
      for (std::size_t i = 0; i < size; ++i) {
        palette[i] = engine_() % 2 ? specialValue<F>(engine_) : moderateValue<F>(engine_);
      }
      for (F& v : out) v = palette[engine_() % size];
      break;
    }
    case 2:
      for (F& v : out) v = engine_() % 2 ? specialValue<F>(engine_) : moderateValue<F>(engine_);
      break;
    case 3:
      for (F& v : out) v = moderateValue<F>(engine_);
      break;
    default:
      for (F& v : out) v = engine_() % 32 ? moderateValue<F>(engine_) : specialValue<F>(engine_);
      break;
  }
}

template <typename I>
void SampleGenerator::fillInteger(std::span<I> out) {
  using Limits = std::numeric_limits<I>;
  const I extremes[] = {Limits::min(),
                        Limits::max(),
                        I(0),
                        I(1),
                        static_cast<I>(-1),
                        static_cast<I>(Limits::min() + 1),
                        static_cast<I>(Limits::max() - 1)};
  switch (engine_() % 4) {
    case 0:
      for (I& v : out) v = static_cast<I>(engine_());
      break;
    case 1: {
      I palette[4];
      const std::size_t size = 1 + engine_() % 4;
      for (std::size_t i = 0; i < size; ++i) {
        palette[i] = engine_() % 2 ? extremes[engine_() % 7] : static_cast<I>(engine_());
      }
      for (I& v : out) v = palette[engine_() % size];
      break;
    }
    case 2:
      for (I& v : out) v = engine_() % 2 ? extremes[engine_() % 7] : static_cast<I>(engine_());
      break;
    default:
      for (I& v : out) v = static_cast<I>(static_cast<int>(engine_() % 201) - 100);
      break;
  }
}

void SampleGenerator::fill(std::span<float> out) {
  fillFloating(out);
}
void SampleGenerator::fill(std::span<double> out) {
  fillFloating(out);
}
void SampleGenerator::fill(std::span<int16_t> out) {
  fillInteger(out);
}
void SampleGenerator::fill(std::span<int32_t> out) {
  fillInteger(out);
}
void SampleGenerator::fill(std::span<int64_t> out) {
  fillInteger(out);
}
void SampleGenerator::fill(std::span<uint8_t> out) {
  fillInteger(out);
}
void SampleGenerator::fill(std::span<uint16_t> out) {
  fillInteger(out);
}
void SampleGenerator::fill(std::span<uint32_t> out) {
  fillInteger(out);
}
void SampleGenerator::fill(std::span<int8_t> out) {
  fillInteger(out);
}

float SampleGenerator::scalarFloat() {
  float value;
  fill(std::span<float>(&value, 1));
  return value;
}
double SampleGenerator::scalarDouble() {
  double value;
  fill(std::span<double>(&value, 1));
  return value;
}

}  // namespace kxtest
