// kxcalc_golden: one SHA-256 digest per export over a fixed set of inputs, so that every
// build of the library, on every platform and compiler, can be held to the same results.
//
//   kxcalc_golden LIBRARY                                   prints "<digest> <export>" lines
//   kxcalc_golden --check DIGESTS [--check MORE] LIBRARY    compares; later files override
//
// The inputs come from raw 64-bit generator output only, so they are the same everywhere.
// A NaN result is hashed as one canonical NaN; everything else bit for bit, together with
// guards around every output that a stray write would change.
#include <gcrypt.h>

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <map>
#include <span>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "kxcalc.h"
#include "support/random.h"
#include "support/raw_types.h"

namespace {

using kxtest::SampleGenerator;

// --- hashing -----------------------------------------------------------------------

class Digest {
 public:
  Digest() { gcry_md_open(&handle_, GCRY_MD_SHA256, 0); }
  ~Digest() { gcry_md_close(handle_); }
  Digest(const Digest&) = delete;
  Digest& operator=(const Digest&) = delete;

  template <typename T>
  void add(const T* values, std::size_t count) {
    const std::size_t start = pending_.size();
    pending_.resize(start + count * sizeof(T));
    for (std::size_t i = 0; i < count; ++i) {
      T value = values[i];
      if constexpr (std::is_floating_point_v<T>) {
        if (std::isnan(value)) value = canonicalNaN<T>();
      }
      std::memcpy(pending_.data() + start + i * sizeof(T), &value, sizeof(T));
    }
    if (pending_.size() >= kFlushBytes) flush();
  }
  template <typename T>
  void add(T value) {
    add(&value, 1);
  }

  // Counts the calls of the export, for --verbose.
  void countCase() { ++cases_; }
  uint64_t cases() const { return cases_; }

  std::string hex() {
    flush();
    const unsigned char* sum = gcry_md_read(handle_, GCRY_MD_SHA256);
    std::string text;
    for (int i = 0; i < 32; ++i) {
      char pair[3];
      std::snprintf(pair, sizeof pair, "%02x", sum[i]);
      text += pair;
    }
    return text;
  }

 private:
  static constexpr std::size_t kFlushBytes = 1 << 16;

  template <typename T>
  static T canonicalNaN() {
    if constexpr (sizeof(T) == 4) {
      return std::bit_cast<T>(uint32_t{0x7FC00000});
    } else {
      return std::bit_cast<T>(uint64_t{0x7FF8000000000000});
    }
  }

  void flush() {
    gcry_md_write(handle_, pending_.data(), pending_.size());
    pending_.clear();
  }

  gcry_md_hd_t handle_ = nullptr;
  std::vector<unsigned char> pending_;
  uint64_t cases_ = 0;
};

// --- buffers -----------------------------------------------------------------------

// `count` elements starting `offsetBytes` past a 64-byte boundary, between two guards
// prefilled with a fixed pattern. hashInto() hashes the guards with the elements.
template <typename T>
class Region {
 public:
  static constexpr std::size_t kGuardBytes = 64;
  static constexpr unsigned char kPattern = 0xA5;

  Region(std::size_t count, std::size_t offsetBytes)
      : count_(count),
        storage_(63 + kGuardBytes + offsetBytes + count * sizeof(T) + kGuardBytes, kPattern) {
    const auto address = reinterpret_cast<std::uintptr_t>(storage_.data());
    begin_ = storage_.data() + (64 - address % 64) % 64 + kGuardBytes + offsetBytes;
  }

  T* data() { return reinterpret_cast<T*>(begin_); }
  std::size_t size() const { return count_; }
  std::span<T> span() { return {data(), count_}; }
  T& operator[](std::size_t i) { return data()[i]; }

  void hashInto(Digest& digest) const {
    digest.add(reinterpret_cast<const T*>(begin_ - kGuardBytes),
               count_ + 2 * kGuardBytes / sizeof(T));
  }

 private:
  std::size_t count_;
  std::vector<unsigned char> storage_;
  unsigned char* begin_ = nullptr;
};

// --- inputs ------------------------------------------------------------------------

// Every count up to 80, then long blocks that reach the unrolled loops and their remainders.
std::vector<uint32_t> sweepCounts(uint32_t first) {
  std::vector<uint32_t> counts;
  for (uint32_t count = first; count <= 80; ++count) counts.push_back(count);
  for (uint32_t count : {127u, 128u, 129u, 255u, 256u, 257u, 1023u, 1024u, 1025u, 4099u}) {
    counts.push_back(count);
  }
  return counts;
}

// Every naturally aligned start within a 64-byte line, in bytes.
std::vector<std::size_t> sweepOffsets(std::size_t elementSize) {
  std::vector<std::size_t> offsets;
  for (std::size_t offset = 0; offset < 64; offset += elementSize) offsets.push_back(offset);
  return offsets;
}

// A random naturally aligned start within a 64-byte line, for the second and third arrays.
std::size_t randomOffset(SampleGenerator& random, std::size_t elementSize) {
  return random.below(static_cast<uint32_t>(64 / elementSize)) * elementSize;
}

template <typename T>
T randomScalar(SampleGenerator& random) {
  if constexpr (std::is_same_v<T, float>) {
    return random.scalarFloat();
  } else {
    return random.scalarDouble();
  }
}

// Values that decide minimum, maximum and sums, placed one at a time into plain blocks.
template <typename T>
std::vector<T> specialValues() {
  using Limits = std::numeric_limits<T>;
  if constexpr (std::is_floating_point_v<T>) {
    using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
    const Bits quiet = std::bit_cast<Bits>(Limits::quiet_NaN());
    const Bits sign = Bits{1} << (sizeof(T) * 8 - 1);
    return {Limits::quiet_NaN(),
            std::bit_cast<T>(quiet | sign),
            std::bit_cast<T>(quiet | 5),
            std::bit_cast<T>(std::bit_cast<Bits>(Limits::infinity()) | 1),  // signalling
            T(0),
            -T(0),
            Limits::infinity(),
            -Limits::infinity(),
            Limits::lowest(),
            Limits::max(),
            Limits::denorm_min(),
            -Limits::denorm_min()};
  } else {
    return {Limits::min(), Limits::max(), T(0), T(-1)};
  }
}

// Calls body(samples, count) on blocks of samples at every start offset: random blocks of
// every count of the sweep from `firstCount` on, then blocks of small values with ties
// (i % 7 - 3) that hold one special value, at each position in turn, for every count up to 40,
// so that each special value passes through the element loops, heads, blocks and tails.
template <typename T, typename Body>
void forEachBlock(uint32_t firstCount, SampleGenerator& random, Body body) {
  for (uint32_t count : sweepCounts(firstCount)) {
    for (std::size_t offset : sweepOffsets(sizeof(T))) {
      Region<T> samples(count, offset);
      random.fill(samples.span());
      body(samples.data(), count);
    }
  }
  for (uint32_t count = 1; count <= 40; ++count) {
    for (uint32_t at = 0; at < count; ++at) {
      for (T special : specialValues<T>()) {
        for (std::size_t offset : sweepOffsets(sizeof(T))) {
          Region<T> samples(count, offset);
          for (uint32_t i = 0; i < count; ++i) samples[i] = static_cast<T>(int(i % 7) - 3);
          samples[at] = special;
          body(samples.data(), count);
        }
      }
    }
  }
}

// --- the exports, one runner per shape -------------------------------------------------

void versionCases(decltype(&::kxcalcGetVersion) getVersion, SampleGenerator& random,
                  Digest& digest) {
  std::vector<int32_t> callerValues = {9,  10, 0,  -1, INT32_MIN, INT32_MAX, INT32_MIN + 1,
                                       11, 8,  -9, -10};
  for (int i = 0; i < 100; ++i) callerValues.push_back(static_cast<int32_t>(random.bits()));
  for (int32_t callerValue : callerValues) {
    Region<uint32_t> outputs(3, 0);
    getVersion(&outputs[0], &outputs[1], callerValue, &outputs[2]);
    outputs.hashInto(digest);
    digest.countCase();
  }
}

template <typename T>
void minMaxCases(void (*getMinMax)(const T*, uint32_t, T*, T*), SampleGenerator& random,
                 Digest& digest) {
  // A count of 0 is not allowed.
  forEachBlock<T>(1, random, [&](const T* samples, uint32_t count) {
    Region<T> extremes(2, 0);
    getMinMax(samples, count, &extremes[0], &extremes[1]);
    extremes.hashInto(digest);
    digest.countCase();
  });
}

template <typename T>
using OffsetOf =
    std::conditional_t<std::is_same_v<T, float> || std::is_same_v<T, int16_t>, float, double>;

// The four running values of the statistics kernels: presets that lie inside, outside and
// across the samples, so that merging into them and overwriting them both show.
template <typename T>
struct Running {
  Region<T> extremes{2, 0};
  Region<double> sums{2, 0};

  explicit Running(SampleGenerator& random) {
    using Limits = std::numeric_limits<T>;
    switch (random.below(4)) {
      case 0:
        extremes[0] = Limits::max(), extremes[1] = Limits::lowest();
        break;
      case 1:
        extremes[0] = static_cast<T>(-100), extremes[1] = static_cast<T>(100);
        break;
      default:
        random.fill(extremes.span());
        break;
    }
    if (random.below(2)) {
      sums[0] = 0.0, sums[1] = 0.0;
    } else {
      random.fill(sums.span());
    }
  }
  void hashInto(Digest& digest) const {
    extremes.hashInto(digest);
    sums.hashInto(digest);
  }
};

// Offsets of every kind: zero of both signs, integers, fractions and special values.
template <typename F>
F randomOffsetValue(SampleGenerator& random) {
  switch (random.below(4)) {
    case 0:
      return random.below(2) ? F(0) : -F(0);
    case 1:
      return static_cast<F>(static_cast<int32_t>(random.below(140001)) - 70000);
    case 2:
      return static_cast<F>(static_cast<int32_t>(random.below(2000001)) - 1000000) / F(1024);
    default:
      return randomScalar<F>(random);
  }
}

template <typename T>
void aveRmsCases(void (*measure)(const T*, uint32_t, T*, T*, double*, double*, OffsetOf<T>),
                 SampleGenerator& random, Digest& digest) {
  forEachBlock<T>(0, random, [&](const T* samples, uint32_t count) {
    Running<T> running(random);
    measure(samples, count, &running.extremes[0], &running.extremes[1], &running.sums[0],
            &running.sums[1], randomOffsetValue<OffsetOf<T>>(random));
    running.hashInto(digest);
    digest.countCase();
  });
}

// Source strides of the move-and-measure kernel, each with the longest count it runs at.
struct MoveStride {
  int32_t stride;
  uint32_t longestCount;
};
constexpr MoveStride kMoveStrides[] = {{-3, 4099}, {-1, 4099},  {0, 4099}, {1, 4099},
                                       {2, 4099},  {3, 4099},   {7, 1025}, {16, 1025},
                                       {64, 257},  {-1000, 40}, {4099, 17}};

// `count` random samples `stride` elements apart, the first of them `firstOffset` bytes past a
// 64-byte boundary; the elements between them keep the region's fixed pattern.
template <typename T>
class StridedSamples {
 public:
  StridedSamples(SampleGenerator& random, uint32_t count, int64_t stride, std::size_t firstOffset)
      : lowest_(std::min<int64_t>(0, int64_t{count == 0 ? 0 : count - 1} * stride)),
        region_(reach(count, stride), (firstOffset + 64 - (-lowest_ * sizeof(T)) % 64) % 64) {
    const std::vector<T> samples = random.make<T>(count);
    for (uint32_t i = 0; i < count; ++i) first()[i * stride] = samples[i];
  }
  T* first() { return region_.data() - lowest_; }

 private:
  static std::size_t reach(uint32_t count, int64_t stride) {
    return static_cast<std::size_t>(int64_t{count == 0 ? 0 : count - 1} * std::abs(stride) + 1);
  }
  int64_t lowest_;
  Region<T> region_;
};

void moveCases(decltype(&::kxcalcMoveAndGetMinMaxAveRMS_int16_t) move, SampleGenerator& random,
               Digest& digest) {
  for (const MoveStride& s : kMoveStrides) {
    for (uint32_t count : sweepCounts(0)) {
      if (count > s.longestCount) continue;
      // A block of 16 or more with a stride of 1 or less reads consecutive samples.
      const int64_t taken = count >= 16 && s.stride <= 1 ? 1 : s.stride;
      for (std::size_t offset : sweepOffsets(sizeof(int16_t))) {
        StridedSamples<int16_t> source(random, count, taken, randomOffset(random, sizeof(int16_t)));
        Region<int16_t> destination(count, offset);
        Running<int16_t> running(random);
        move(destination.data(), source.first(), count, &running.extremes[0], &running.extremes[1],
             &running.sums[0], &running.sums[1], randomOffsetValue<float>(random), s.stride);
        destination.hashInto(digest);
        running.hashInto(digest);
        digest.countCase();
      }
    }
  }
}

template <typename T>
void scaleCases(void (*scale)(T*, uint32_t, T), SampleGenerator& random, Digest& digest) {
  for (uint32_t count : sweepCounts(0)) {
    for (std::size_t offset : sweepOffsets(sizeof(T))) {
      Region<T> data(count, offset);
      random.fill(data.span());
      scale(data.data(), count, randomScalar<T>(random));
      data.hashInto(digest);
      digest.countCase();
    }
  }
}

// The two sums: `call(a, b, count)` returns the sum over one or two arrays.
template <typename Call>
void sumCases(Call call, SampleGenerator& random, Digest& digest) {
  for (uint32_t count : sweepCounts(0)) {
    for (std::size_t offset : sweepOffsets(sizeof(float))) {
      Region<float> a(count, offset), b(count, randomOffset(random, sizeof(float)));
      random.fill(a.span());
      random.fill(b.span());
      digest.add(call(a.data(), b.data(), count));
      digest.countCase();
    }
  }
}

// Where a and b of a two-input kernel lie: kSeparate, or a distance in elements from out
// inside out's own region, so that out may be a, b or both, or overlap them.
constexpr int32_t kSeparate = INT32_MAX;
struct Placement {
  int32_t a;
  int32_t b;
};
constexpr Placement kPlacements[] = {{kSeparate, kSeparate},
                                     {0, kSeparate},
                                     {kSeparate, 0},
                                     {0, 0},
                                     {1, kSeparate},
                                     {-1, kSeparate},
                                     {kSeparate, 7},
                                     {kSeparate, -8},
                                     {9, -9},
                                     {16, -16},
                                     {-7, 8},
                                     {8, 1}};
constexpr std::size_t kMargin = 16;

// `call(out, a, b, count)` draws its factors from `random` and calls the kernel.
template <typename Call>
void twoInputCases(Call call, SampleGenerator& random, Digest& digest) {
  for (const Placement& placement : kPlacements) {
    for (uint32_t count : sweepCounts(0)) {
      for (std::size_t offset : sweepOffsets(sizeof(float))) {
        Region<float> region(count + 2 * kMargin, offset);
        Region<float> a(count, randomOffset(random, sizeof(float)));
        Region<float> b(count, randomOffset(random, sizeof(float)));
        random.fill(region.span());
        float* out = region.data() + kMargin;
        auto place = [&](int32_t distance, Region<float>& separate) -> const float* {
          if (distance != kSeparate) return out + distance;
          random.fill(separate.span());
          return separate.data();
        };
        // One at a time: the order of the draws must not depend on the compiler.
        const float* aData = place(placement.a, a);
        const float* bData = place(placement.b, b);
        call(out, aData, bData, count);
        region.hashInto(digest);
        digest.countCase();
      }
    }
  }
}

// 32-bit values around the 16-bit range, whose low halves show truncation.
constexpr int32_t kNarrowingValues[] = {32767,  32768, 65535,  65536,     -1,        -32768,
                                        -32769, 70000, -70000, INT32_MAX, INT32_MIN, 0};

template <typename From, typename To>
void convertCases(void (*convert)(const From*, To*, uint32_t), SampleGenerator& random,
                  Digest& digest) {
  auto run = [&](Region<From>& source, uint32_t count, std::size_t offset) {
    Region<To> destination(count, offset);
    convert(source.data(), destination.data(), count);
    destination.hashInto(digest);
    digest.countCase();
  };
  for (uint32_t count : sweepCounts(0)) {
    for (std::size_t offset : sweepOffsets(sizeof(From))) {
      Region<From> source(count, offset);
      random.fill(source.span());
      run(source, count, randomOffset(random, sizeof(To)));
    }
  }
  for (uint32_t count : {1u, 15u, 16u, 17u, 40u, 100u}) {
    for (std::size_t offset : sweepOffsets(sizeof(From))) {
      Region<From> source(count, offset);
      for (uint32_t i = 0; i < count; ++i) {
        source[i] = static_cast<From>(kNarrowingValues[i % std::size(kNarrowingValues)]);
      }
      run(source, count, randomOffset(random, sizeof(To)));
    }
  }
}

using kxtest::withRawType;

// Raw strides, each with the longest count it runs at.
struct RawStride {
  int32_t stride;
  uint32_t longestCount;
};
constexpr RawStride kRawStrides[] = {{-3, 1025}, {-1, 4099}, {0, 4099}, {1, 4099},
                                     {2, 1025},  {3, 4099},  {7, 257}};

// Requests that produce nothing: a count below 1 or a raw type above 8.
struct IgnoredRequest {
  int32_t count;
  uint32_t rawType;
};
constexpr IgnoredRequest kIgnoredRequests[] = {
    {16, 9}, {16, 0xFFFFFFFFu}, {0, RawType_int16_t}, {-5, RawType_int16_t}, {INT32_MIN, 7}};

template <typename Request>
void scaledValuesCases(void (*scaledValues)(const Request*), bool alignedOutput,
                       SampleGenerator& random, Digest& digest) {
  using Out = std::remove_pointer_t<decltype(Request::output)>;
  for (uint32_t rawType = 0; rawType <= 8; ++rawType) {
    withRawType(rawType, [&](auto sample) {
      using Raw = decltype(sample);
      for (const auto [stride, longestCount] : kRawStrides) {
        for (uint32_t count : sweepCounts(0)) {
          if (count > longestCount) continue;
          for (std::size_t offset : sweepOffsets(sizeof(Out))) {
            // From 8 results on, the aligned-output kernels need a 32-byte-aligned output.
            if (alignedOutput && count >= 8 && offset % 32 != 0) continue;
            StridedSamples<Raw> raw(random, count, stride, randomOffset(random, sizeof(Raw)));
            Region<Out> output(count, offset);
            Request request{};
            request.source = raw.first();
            request.output = output.data();
            request.scale = random.below(4) ? randomScalar<Out>(random) : Out(1);
            request.offset = random.below(4) ? randomScalar<Out>(random) : Out(0);
            request.count = static_cast<int32_t>(count);
            request.rawType = rawType;
            request.stride = stride;
            scaledValues(&request);
            output.hashInto(digest);
            digest.countCase();
          }
        }
      }
    });
  }
  const int16_t raw[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  for (const IgnoredRequest& ignored : kIgnoredRequests) {
    Region<Out> output(16, 0);
    Request request{raw, output.data(), Out(1), Out(0), ignored.count, ignored.rawType, 1};
    scaledValues(&request);
    output.hashInto(digest);
    digest.countCase();
  }
}

// Axis limits: ordinary ranges, empty ones and random (special) values.
void graphAxis(SampleGenerator& random, double& start, double& end) {
  switch (random.below(4)) {
    case 0:
      start = random.scalarDouble(), end = random.scalarDouble();
      break;
    case 1:
      start = end = static_cast<double>(random.below(64)) / 8;
      break;
    default:
      start = static_cast<double>(random.below(2000)) / 16 - 60;
      end = start + static_cast<double>(1 + random.below(5000)) / 8;
      break;
  }
}

// Every X source, X scale, Y scale and Y type on both paths, each with random records: axes,
// values (half the time exactly on half pixels of a power-of-two extent) and plot corners.
void graphCases(decltype(&::kxcalcGetXYValGraph2D) mapPoints, SampleGenerator& random,
                Digest& digest) {
  for (uint8_t xSource : {0, 1, 2, 3}) {
    for (uint8_t xScale : {0, 1, 2}) {
      for (uint8_t yScale : {0, 1, 2}) {
        for (uint8_t yDataType : {uint8_t{RawType_float}, uint8_t{RawType_double}, uint8_t{0}}) {
          for (uint32_t pointsLeft : {1u, 3u, 4u, 17u}) {
            for (int round = 0; round < 24; ++round) {
              Region<double> xData(4, 0), yDoubles(4, 0);
              Region<float> yFloats(4, 0);
              random.fill(xData.span());
              random.fill(yDoubles.span());
              random.fill(yFloats.span());
              XYGraphPointRequest r{};
              r.pointsLeft = pointsLeft;
              r.xSource = xSource, r.xScale = xScale, r.yScale = yScale, r.yDataType = yDataType;
              r.index = static_cast<int32_t>(random.below(2000)) - 1000;
              r.left = static_cast<int16_t>(random.below(400));
              r.right = static_cast<int16_t>(r.left + (1 << random.below(11)));
              r.bottom = static_cast<int16_t>(random.below(800));
              r.top = static_cast<int16_t>(r.bottom - (int32_t{1} << random.below(10)));
              if (random.below(4) == 0) r.right = static_cast<int16_t>(random.bits());
              r.xStep = random.below(2) ? random.scalarDouble() : 0.25 * random.below(40);
              r.xStart = random.below(2) ? random.scalarDouble() : random.below(100) - 50.0;
              r.yFactor = random.below(3) ? 1.0 : random.scalarDouble();
              r.yOffset = random.below(3) ? 0.0 : random.scalarDouble();
              graphAxis(random, r.xMin, r.xMax);
              graphAxis(random, r.xLogMin, r.xLogMax);
              graphAxis(random, r.yMin, r.yMax);
              graphAxis(random, r.yLogMin, r.yLogMax);
              r.dbReference = random.below(2) ? random.scalarDouble() : 1.0 + random.below(100);
              if (random.below(2)) {
                // Fractions (k + 0.5) / extent, exact for the power-of-two extents.
                const double width = int32_t{r.right} - r.left, height = int32_t{r.bottom} - r.top;
                for (int k = 0; k < 4; ++k) {
                  xData[k] = (static_cast<double>(random.below(64)) - 32 + 0.5) / width;
                  yDoubles[k] = (static_cast<double>(random.below(64)) - 32 + 0.5) / height;
                  yFloats[k] = static_cast<float>(yDoubles[k]);
                }
                r.yFactor = 1.0, r.yOffset = 0.0, r.yMin = 0.0, r.yMax = 1.0;
              }
              Region<int32_t> xPixels(4, 0), yPixels(4, 0);
              Region<uint32_t> count(1, 0);
              r.xData = xSource == 1 ? xData.data() - r.index : nullptr;
              r.yData = yDataType == RawType_float ? static_cast<const void*>(yFloats.data())
                                                   : static_cast<const void*>(yDoubles.data());
              r.xPixels = xPixels.data(), r.yPixels = yPixels.data(), r.pointCount = count.data();
              mapPoints(&r);
              xPixels.hashInto(digest);
              yPixels.hashInto(digest);
              count.hashInto(digest);
              digest.countCase();
            }
          }
        }
      }
    }
  }
}

// Images of every width up to 37 and heights up to 9, rows packed or padded, top-down and
// bottom-up, from small palettes (many ties), with exclusion lists of 1 to 40 values.
void cursorCases(decltype(&::kxcalcFindCursorXY) findCursor, SampleGenerator& random,
                 Digest& digest) {
  for (int round = 0; round < 16; ++round) {
    for (int32_t width = 1; width <= 37; ++width) {
      for (int32_t height = 0; height <= 9; ++height) {
        const int32_t rowPixels = width + static_cast<int32_t>(random.below(3));
        const bool bottomUp = random.below(2) == 0;
        const int32_t strideBytes = rowPixels * 4 + static_cast<int32_t>(random.below(4));
        Region<uint32_t> pixels(std::size_t(rowPixels) * std::max(height, 1), 0);
        uint32_t palette[6];
        for (uint32_t& value : palette) value = static_cast<uint32_t>(random.bits());
        for (uint32_t& pixel : pixels.span()) pixel = palette[random.below(6)];
        std::vector<uint32_t> excluded(1 + random.below(40));
        for (uint32_t& value : excluded) {
          value = random.below(4) ? palette[random.below(6)] : static_cast<uint32_t>(random.bits());
        }
        int32_t cursorX = static_cast<int32_t>(random.below(width + 20)) - 10;
        int32_t cursorY = static_cast<int32_t>(random.below(height + 10)) - 5;
        if (random.below(8) == 0) {
          cursorX = static_cast<int32_t>(random.bits());
          cursorY = static_cast<int32_t>(random.bits());
        }
        Region<uint32_t> found(3, 0);
        random.fill(found.span());
        const uint32_t* image =
            pixels.data() + (bottomUp ? std::size_t(rowPixels) * std::max(height - 1, 0) : 0);
        findCursor(image, bottomUp ? strideBytes : -strideBytes, width, height, cursorX, cursorY,
                   &found[0], &found[1], &found[2], excluded.data(),
                   static_cast<int32_t>(excluded.size()));
        found.hashInto(digest);
        digest.countCase();
      }
    }
  }
}

// --- the streaming interpolator ---------------------------------------------------------

// Finds another export of the library under test: the interpolator's five exports only work
// together, on one handle.
class Symbols {
 public:
  virtual void* find(const char* name) const = 0;

 protected:
  ~Symbols() = default;
};

struct InterpolatorExports {
  decltype(&::kxcalcCHSInterpolator_Create) create;
  decltype(&::kxcalcCHSInterpolator_InterpolateValues) interpolateValues;
  decltype(&::kxcalcCHSInterpolator_Stop) stop;
  decltype(&::kxcalcCHSInterpolator_Reset) reset;
  decltype(&::kxcalcCHSInterpolator_Destroy) destroy;

  explicit InterpolatorExports(const Symbols& symbols)
      : create(find<decltype(create)>(symbols, "kxcalcCHSInterpolator_Create")),
        interpolateValues(
            find<decltype(interpolateValues)>(symbols, "kxcalcCHSInterpolator_InterpolateValues")),
        stop(find<decltype(stop)>(symbols, "kxcalcCHSInterpolator_Stop")),
        reset(find<decltype(reset)>(symbols, "kxcalcCHSInterpolator_Reset")),
        destroy(find<decltype(destroy)>(symbols, "kxcalcCHSInterpolator_Destroy")) {}

 private:
  template <typename F>
  static F find(const Symbols& symbols, const char* name) {
    return reinterpret_cast<F>(symbols.find(name));
  }
};

// Ratios with exact and inexact positions, up- and downsampling, and rates that give a NaN
// ratio. (Ratios whose output array no allocation can hold fail differently from one
// machine to the next and are left out.)
struct Rates {
  double source;
  double target;
};
constexpr Rates kRates[] = {{1, 1},
                            {1, 2},
                            {2, 1},
                            {1, 4},
                            {4, 1},
                            {48000, 44100},
                            {44100, 48000},
                            {3, 1},
                            {1, 3},
                            {1, 1.000001},
                            {1, 7.3},
                            {1000, 13},
                            {std::numeric_limits<double>::quiet_NaN(), 1}};
constexpr uint32_t kRingSizes[] = {1, 2, 4, 8, 32, 256, 4096};

// One stream's calls; every status, count and output goes into the digest.
class InterpolatorRun {
 public:
  InterpolatorRun(const InterpolatorExports& exports, Digest& digest)
      : exports_(exports), digest_(digest) {}

  void create(const CHSInterpolatorParams* params) {
    handle_ = nullptr;
    const uint32_t status = exports_.create(&handle_, params);
    digest_.add(status);
    digest_.add(uint8_t{handle_ != nullptr});
  }
  void feed(SampleGenerator& random, uint32_t count) {
    std::vector<float> samples(count);
    random.fill(std::span<float>(samples));
    const float* output = nullptr;
    uint32_t produced = 0;
    // The call first: its out-pointers are read afterwards.
    const uint32_t status =
        exports_.interpolateValues(handle_, samples.data(), count, &output, &produced);
    hashCall(status, output, produced);
  }
  void stop() {
    const float* output = nullptr;
    uint32_t produced = 0;
    const uint32_t status = exports_.stop(handle_, &output, &produced);
    hashCall(status, output, produced);
  }
  void reset() { digest_.add(exports_.reset(handle_)); }
  void destroy() {
    digest_.add(exports_.destroy(handle_));
    handle_ = nullptr;
  }
  CHSInterpolator* handle() const { return handle_; }

  // A block that the ring takes, now and then one it refuses or an empty one.
  uint32_t randomBlock(SampleGenerator& random, uint32_t ringSize) const {
    const uint32_t most = ringSize == 1 ? 1500 : std::max(ringSize - 2, 1u);
    switch (random.below(16)) {
      case 0:
        return 0;
      case 1:
        return most + 1;
      case 2:
      case 3:
        return most;
      default:
        return 1 + random.below(std::min(most, random.below(2) ? 9u : most));
    }
  }

 private:
  void hashCall(uint32_t status, const float* output, uint32_t produced) {
    digest_.add(status);
    if (status != 0 || output == nullptr) return;
    digest_.add(produced);
    digest_.add(output, produced);
  }

  const InterpolatorExports& exports_;
  Digest& digest_;
  CHSInterpolator* handle_ = nullptr;
};

// Status codes of the parameter checks, then each accepted setting with a short stream.
void interpolatorCreateCases(const InterpolatorExports& exports, SampleGenerator& random,
                             Digest& digest) {
  InterpolatorRun run(exports, digest);
  run.create(nullptr);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (double sourceRate : {-1.0, -0.0, 0.0, 1.0, nan}) {
    for (double targetRate : {-2.0, 0.0, 2.0}) {
      for (uint32_t ringSize : {0u, 1u, 3u, 6u, 16u, 0x80000001u}) {
        const CHSInterpolatorParams params{sourceRate, targetRate, ringSize};
        run.create(&params);
        if (run.handle() != nullptr) run.destroy();
        digest.countCase();
      }
    }
  }
  for (const Rates& rates : kRates) {
    for (uint32_t ringSize : kRingSizes) {
      const CHSInterpolatorParams params{rates.source, rates.target, ringSize};
      run.create(&params);
      run.feed(random, run.randomBlock(random, ringSize));
      run.feed(random, run.randomBlock(random, ringSize));
      run.stop();
      run.destroy();
      digest.countCase();
    }
  }
}

// Streams of random blocks, at every ratio and ring size, with `extra` between blocks now
// and then (a stop, or a reset).
template <typename Extra>
void interpolatorStreams(const InterpolatorExports& exports, SampleGenerator& random,
                         Digest& digest, uint32_t blocks, Extra extra) {
  InterpolatorRun run(exports, digest);
  for (const Rates& rates : kRates) {
    for (uint32_t ringSize : kRingSizes) {
      const CHSInterpolatorParams params{rates.source, rates.target, ringSize};
      run.create(&params);
      for (uint32_t block = 0; block < blocks; ++block) {
        run.feed(random, run.randomBlock(random, ringSize));
        extra(run);
        digest.countCase();
      }
      run.destroy();
    }
  }
}

void interpolateValuesCases(const InterpolatorExports& exports, SampleGenerator& random,
                            Digest& digest) {
  interpolatorStreams(exports, random, digest, 100, [](InterpolatorRun&) {});
}

void interpolatorStopCases(const InterpolatorExports& exports, SampleGenerator& random,
                           Digest& digest) {
  // Stops on an empty stream, after a single sample, and after random blocks; then the
  // calls that a stopped interpolator refuses, and a reset.
  interpolatorStreams(exports, random, digest, 12, [&](InterpolatorRun& run) {
    if (random.below(3) != 0) return;
    run.stop();
    run.feed(random, 1);
    run.stop();
    run.reset();
    if (random.below(2) == 0) run.stop();
    if (random.below(2) == 0) run.feed(random, 1);
  });
  InterpolatorRun run(exports, digest);
  run.stop();  // null handle
}

void interpolatorResetCases(const InterpolatorExports& exports, SampleGenerator& random,
                            Digest& digest) {
  interpolatorStreams(exports, random, digest, 12, [&](InterpolatorRun& run) {
    if (random.below(4) == 0) run.reset();
  });
  InterpolatorRun run(exports, digest);
  run.reset();  // null handle
}

void interpolatorDestroyCases(const InterpolatorExports& exports, SampleGenerator& random,
                              Digest& digest) {
  InterpolatorRun run(exports, digest);
  run.destroy();  // null handle
  for (uint32_t ringSize : kRingSizes) {
    const CHSInterpolatorParams params{44100, 48000, ringSize};
    run.create(&params);
    run.feed(random, run.randomBlock(random, ringSize));
    run.destroy();
    digest.countCase();
  }
}

// Starts around the points where the copy's float lane indices change behaviour: small,
// 2^16, 2^24 (inexact from there), 2^31 (conversion overflow) and the top of the range.
uint32_t copyStart(SampleGenerator& random, uint32_t count) {
  constexpr uint32_t kCentres[] = {64,       1u << 16,   1u << 24, (1u << 24) + (1u << 20),
                                   1u << 31, 0xFFFFFFFFu};
  const uint32_t start = kCentres[random.below(6)] - 64 + random.below(128);
  return start > 0xFFFFFFFFu - count ? 0xFFFFFFFFu - count : start;
}

void rawCopyCases(decltype(&::kxCalcCACopyRawDataToChannels) copyRaw, SampleGenerator& random,
                  Digest& digest) {
  forEachBlock<float>(0, random, [&](const float* samples, uint32_t count) {
    const uint32_t start = copyStart(random, count);
    const float baseline = random.below(3) == 0 ? 0.0f : random.scalarFloat();
    // The export reads source[start ...]: the pointer is moved back by `start` as an address.
    const auto* source = reinterpret_cast<const float*>(reinterpret_cast<std::uintptr_t>(samples) -
                                                        std::uintptr_t{start} * sizeof(float));
    Region<float> destination(count, randomOffset(random, sizeof(float)));
    Region<float> maxValue(1, 0);
    Region<uint32_t> maxIndex(1, 0);
    digest.add(copyRaw(source, destination.data(), start, start + count, baseline, maxValue.data(),
                       maxIndex.data()));
    destination.hashInto(digest);
    maxValue.hashInto(digest);
    maxIndex.hashInto(digest);
    digest.countCase();
  });
  for (const auto& [start, end] : {std::pair{0u, 0u}, {10u, 3u}, {0xFFFFFFFFu, 0u}}) {
    Region<float> maxValue(1, 0);
    Region<uint32_t> maxIndex(1, 0);
    digest.add(copyRaw(nullptr, nullptr, start, end, 1.0f, maxValue.data(), maxIndex.data()));
    maxValue.hashInto(digest);
    maxIndex.hashInto(digest);
    digest.countCase();
  }
}

// In-place conversion of 8 * count bytes at the alignment each direction requires; the whole
// block is hashed with its guards, and whether the result is `values`.
void precisionCases(void* (*convert)(void*, uint32_t), bool toFloat, SampleGenerator& random,
                    Digest& digest) {
  for (uint32_t count : sweepCounts(0)) {
    for (std::size_t offset = 0; offset < 64; offset += toFloat ? 16 : 32) {
      Region<double> values(count, offset);
      random.fill(values.span());
      if (!toFloat) random.fill(std::span<float>(reinterpret_cast<float*>(values.data()), count));
      digest.add(uint8_t{convert(values.data(), count) == values.data()});
      values.hashInto(digest);
      digest.countCase();
    }
  }
}

// --- the FIR filter ---------------------------------------------------------------------

// Every length up to 80 (scalar, 8- and 32-blocks on both sides of the wrap) at every
// position, then a few long rings at a spread of positions; the arrays at every start
// within a 32-byte line, since the wrapped part's lead-in follows the coefficients' address.
void firCases(decltype(&::kxcalcFIRFilter_float) fir, SampleGenerator& random, Digest& digest) {
  auto run = [&](int32_t length, int32_t position, std::size_t offset) {
    Region<float> ring(length, offset * sizeof(float));
    Region<float> coefficients(length, (offset * 3 % 8) * sizeof(float));
    random.fill(ring.span());
    random.fill(coefficients.span());
    digest.add(fir(ring.data(), coefficients.data(), length, position));
    digest.countCase();
  };
  for (int32_t length = 0; length <= 80; ++length) {
    for (int32_t position = 0; position <= length; ++position)
      run(length, position, static_cast<std::size_t>(position + length) % 8);
  }
  for (int32_t length : {255, 256, 1000}) {
    for (int32_t position = 0; position <= length; position += 37) {
      for (std::size_t offset = 0; offset < 8; ++offset) run(length, position, offset);
    }
  }
}

// --- IIR and pink-noise filters ------------------------------------------------------

// A coefficient in [-1, 1) from raw bits, sometimes tripled (unstable), sometimes special.
double filterCoefficient(SampleGenerator& random) {
  if (random.below(16) == 0) return random.scalarDouble();
  const double unit =
      std::ldexp(static_cast<double>(static_cast<int64_t>(random.bits() >> 11)) - 0x1p52, -52);
  return random.below(8) == 0 ? unit * 3.0 : unit;
}
double filterSample(SampleGenerator& random) {
  switch (random.below(24)) {
    case 0:
      return random.scalarDouble();
    case 1:
      return random.below(2) ? 1e12 : -1e12;
    default:
      return filterCoefficient(random) * 100.0;
  }
}

// Cascades of both layouts, each fed a run of samples; every output and the whole tap
// array (coefficients included, which must stay as they are) are hashed, with the state.
template <typename T>
void iirCases(T (*filter)(IIRFilterState*, T), SampleGenerator& random, Digest& digest) {
  for (int c = 0; c < 400; ++c) {
    IIRFilterState state{};
    state.kind = random.below(2) ? 3 : static_cast<int32_t>(random.below(5));
    state.sectionCount = static_cast<int32_t>(random.below(8)) - 1;
    state.order = static_cast<int32_t>(random.below(10));
    state.reserved = static_cast<int32_t>(random.bits());
    const int32_t perSection = state.kind == 3 ? 3 : state.order + 1;
    const int32_t sections = state.sectionCount > 0 ? state.sectionCount : 1;
    std::vector<double> gains(sections);
    std::vector<IIRTap> taps(static_cast<std::size_t>(sections) * perSection);
    for (double& g : gains) g = filterCoefficient(random);
    for (IIRTap& t : taps) t = {0.0, 0.0, filterCoefficient(random), filterCoefficient(random)};
    state.gains = gains.data();
    state.taps = taps.data();
    for (int n = 0; n < 200; ++n) {
      digest.add(filter(&state, static_cast<T>(filterSample(random))));
      digest.countCase();
    }
    digest.add(reinterpret_cast<const double*>(taps.data()), taps.size() * 4);
    digest.add(gains.data(), gains.size());
    digest.add(state.reserved);
  }
}

void pinkCases(decltype(&::kxcalcPinkFilter_double) pink, SampleGenerator& random, Digest& digest) {
  for (int c = 0; c < 50; ++c) {
    PinkFilterState state{};
    for (int n = 0; n < 1000; ++n) {
      digest.add(
          pink(&state, random.below(8) == 0 ? random.scalarDouble() : filterCoefficient(random)));
      digest.countCase();
    }
    digest.add(state.s, 8);
  }
}

// --- the export table ----------------------------------------------------------------

struct Export {
  const char* name;
  void (*run)(void* function, const Symbols& symbols, SampleGenerator& random, Digest& digest);
};

// Runs the cases of one export on the address found by its name. Inside, the export's name
// is a local pointer of the type that the header declares: the library is not linked, so a
// call reaches nothing else but what `symbols` finds by name.
// clang-format off
#define KX_EXPORT(name, ...)                                                             \
  Export{#name, [](void* function, [[maybe_unused]] const Symbols& symbols,              \
                   SampleGenerator& random, Digest& digest) {                            \
    const auto name = reinterpret_cast<decltype(&::name)>(function);                     \
    __VA_ARGS__;                                                                         \
  }}
// clang-format on

const Export kExports[] = {
    KX_EXPORT(kxcalcGetVersion, versionCases(kxcalcGetVersion, random, digest)),
    KX_EXPORT(kxcalcGetMinMax_int16_t, minMaxCases(kxcalcGetMinMax_int16_t, random, digest)),
    KX_EXPORT(kxcalcGetMinMax_int32_t, minMaxCases(kxcalcGetMinMax_int32_t, random, digest)),
    KX_EXPORT(kxcalcGetMinMax_float, minMaxCases(kxcalcGetMinMax_float, random, digest)),
    KX_EXPORT(kxcalcGetMinMax_double, minMaxCases(kxcalcGetMinMax_double, random, digest)),
    KX_EXPORT(kxcalcGetMinMaxAveRMS_float,
              aveRmsCases(kxcalcGetMinMaxAveRMS_float, random, digest)),
    KX_EXPORT(kxcalcGetMinMaxAveRMS_double,
              aveRmsCases(kxcalcGetMinMaxAveRMS_double, random, digest)),
    KX_EXPORT(kxcalcGetMinMaxAveRMS_int16_t,
              aveRmsCases(kxcalcGetMinMaxAveRMS_int16_t, random, digest)),
    KX_EXPORT(kxcalcGetMinMaxAveRMS_int32_t,
              aveRmsCases(kxcalcGetMinMaxAveRMS_int32_t, random, digest)),
    KX_EXPORT(kxcalcMoveAndGetMinMaxAveRMS_int16_t,
              moveCases(kxcalcMoveAndGetMinMaxAveRMS_int16_t, random, digest)),
    KX_EXPORT(kxcalcMultiplyVectorByScalar_float,
              scaleCases(kxcalcMultiplyVectorByScalar_float, random, digest)),
    KX_EXPORT(kxcalcMultiplyVectorByScalar_double,
              scaleCases(kxcalcMultiplyVectorByScalar_double, random, digest)),
    KX_EXPORT(kxcalcSumSquaredValues_float,
              sumCases([&](const float* a, const float*,
                           uint32_t count) { return kxcalcSumSquaredValues_float(a, count); },
                       random, digest)),
    KX_EXPORT(kxcalcMultiplyVectorsAndCalcSum_float,
              sumCases(kxcalcMultiplyVectorsAndCalcSum_float, random, digest)),
    KX_EXPORT(kxcalcSubtractVectorsAndMultiplyByScalar_float,
              twoInputCases(
                  [&](float* out, const float* a, const float* b, uint32_t count) {
                    kxcalcSubtractVectorsAndMultiplyByScalar_float(out, a, b, count,
                                                                   random.scalarFloat());
                  },
                  random, digest)),
    KX_EXPORT(kxcalcAddVectorsAndMultiplyByScalar_float,
              twoInputCases(
                  [&](float* out, const float* a, const float* b, uint32_t count) {
                    const float factorOfB = random.scalarFloat();
                    kxcalcAddVectorsAndMultiplyByScalar_float(out, a, b, count, factorOfB,
                                                              random.scalarFloat());
                  },
                  random, digest)),
    KX_EXPORT(kxcalcConvertInt32ToInt16, convertCases(kxcalcConvertInt32ToInt16, random, digest)),
    KX_EXPORT(kxcalcConvertInt16ToInt32, convertCases(kxcalcConvertInt16ToInt32, random, digest)),
    KX_EXPORT(kxcalcChannelGetScaledValuesAtPos_float,
              scaledValuesCases(kxcalcChannelGetScaledValuesAtPos_float, false, random, digest)),
    KX_EXPORT(kxcalcChannelGetScaledValuesAtPos_float_aligned_output,
              scaledValuesCases(kxcalcChannelGetScaledValuesAtPos_float_aligned_output, true,
                                random, digest)),
    KX_EXPORT(kxcalcChannelGetScaledValuesAtPos_double,
              scaledValuesCases(kxcalcChannelGetScaledValuesAtPos_double, false, random, digest)),
    KX_EXPORT(kxcalcChannelGetScaledValuesAtPos_double_aligned_output,
              scaledValuesCases(kxcalcChannelGetScaledValuesAtPos_double_aligned_output, true,
                                random, digest)),
    KX_EXPORT(kxcalcGetXYValGraph2D, graphCases(kxcalcGetXYValGraph2D, random, digest)),
    KX_EXPORT(kxcalcFindCursorXY, cursorCases(kxcalcFindCursorXY, random, digest)),
    // The interpolator's cases call all five exports; the one named is the one found under
    // its name.
    KX_EXPORT(kxcalcCHSInterpolator_Create, InterpolatorExports exports(symbols);
              exports.create = kxcalcCHSInterpolator_Create;
              interpolatorCreateCases(exports, random, digest)),
    KX_EXPORT(kxcalcCHSInterpolator_InterpolateValues, InterpolatorExports exports(symbols);
              exports.interpolateValues = kxcalcCHSInterpolator_InterpolateValues;
              interpolateValuesCases(exports, random, digest)),
    KX_EXPORT(kxcalcCHSInterpolator_Stop, InterpolatorExports exports(symbols);
              exports.stop = kxcalcCHSInterpolator_Stop;
              interpolatorStopCases(exports, random, digest)),
    KX_EXPORT(kxcalcCHSInterpolator_Reset, InterpolatorExports exports(symbols);
              exports.reset = kxcalcCHSInterpolator_Reset;
              interpolatorResetCases(exports, random, digest)),
    KX_EXPORT(kxcalcCHSInterpolator_Destroy, InterpolatorExports exports(symbols);
              exports.destroy = kxcalcCHSInterpolator_Destroy;
              interpolatorDestroyCases(exports, random, digest)),
    KX_EXPORT(kxCalcCACopyRawDataToChannels,
              rawCopyCases(kxCalcCACopyRawDataToChannels, random, digest)),
    KX_EXPORT(kxcalcCADoubleArrToSingleArrInplace,
              precisionCases(kxcalcCADoubleArrToSingleArrInplace, true, random, digest)),
    KX_EXPORT(kxcalcCASingleArrToDoubleArrInplace,
              precisionCases(kxcalcCASingleArrToDoubleArrInplace, false, random, digest)),
    KX_EXPORT(kxcalcFIRFilter_float, firCases(kxcalcFIRFilter_float, random, digest)),
    KX_EXPORT(kxcalcIIRFilter_float, iirCases(kxcalcIIRFilter_float, random, digest)),
    KX_EXPORT(kxcalcIIRFilter_double, iirCases(kxcalcIIRFilter_double, random, digest)),
    KX_EXPORT(kxcalcPinkFilter_double, pinkCases(kxcalcPinkFilter_double, random, digest)),
};

#undef KX_EXPORT

// Each export's inputs come from a generator seeded by its name, so that adding or moving
// an export leaves the other digests as they are.
uint64_t seedOf(const char* name) {
  uint64_t hash = 0xcbf29ce484222325;  // FNV-1a
  for (const char* c = name; *c != '\0'; ++c) {
    hash = (hash ^ static_cast<unsigned char>(*c)) * 0x100000001b3;
  }
  return hash;
}

// --- loading the library -------------------------------------------------------------

class Library : public Symbols {
 public:
  explicit Library(const char* path) {
#ifdef _WIN32
    handle_ = LoadLibraryA(path);
#else
    handle_ = dlopen(path, RTLD_NOW | RTLD_LOCAL);
#endif
  }
  ~Library() {
    if (handle_ == nullptr) return;
#ifdef _WIN32
    FreeLibrary(handle_);
#else
    dlclose(handle_);
#endif
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  bool loaded() const {
    return handle_ != nullptr;
  }
  std::string error() const {
#ifdef _WIN32
    return "error " + std::to_string(GetLastError());
#else
    const char* reason = dlerror();
    return reason != nullptr ? reason : "unknown error";
#endif
  }

  void* find(const char* name) const override {
    return symbol(name);
  }
  void* symbol(const char* name) const {
#ifdef _WIN32
    return reinterpret_cast<void*>(GetProcAddress(handle_, name));
#else
    return dlsym(handle_, name);
#endif
  }

 private:
#ifdef _WIN32
  HMODULE handle_ = nullptr;
#else
  void* handle_ = nullptr;
#endif
};

// --- the command line ------------------------------------------------------------------

int usage() {
  std::fprintf(stderr,
               "usage: kxcalc_golden [--verbose] LIBRARY\n"
               "       kxcalc_golden [--verbose] --check DIGESTS [--check DIGESTS ...] LIBRARY\n");
  return 2;
}

// Reads "<digest> <export>" lines into `digests`, over any line already there for the same
// export; '#' lines and blank lines are skipped.
bool readDigests(const std::string& path, std::map<std::string, std::string>& digests) {
  std::ifstream file(path);
  if (!file) {
    std::fprintf(stderr, "kxcalc_golden: cannot read digests file %s\n", path.c_str());
    return false;
  }
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    std::string digest, name, extra;
    if (!(fields >> digest >> name) || fields >> extra || digest.size() != 64) {
      std::fprintf(stderr, "kxcalc_golden: %s:%d: expected \"<64 hex digits> <export>\"\n",
                   path.c_str(), number);
      return false;
    }
    digests[name] = digest;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> checkFiles;
  const char* libraryPath = nullptr;
  bool verbose = false;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--check" && i + 1 < argc) {
      checkFiles.push_back(argv[++i]);
    } else if (argument == "--verbose") {
      verbose = true;
    } else if (libraryPath == nullptr && argument.rfind("--", 0) != 0) {
      libraryPath = argv[i];
    } else {
      return usage();
    }
  }
  if (libraryPath == nullptr) return usage();

  std::map<std::string, std::string> expected;
  for (const std::string& path : checkFiles) {
    if (!readDigests(path, expected)) return 2;
  }

  gcry_check_version(nullptr);
  const Library library(libraryPath);
  if (!library.loaded()) {
    std::fprintf(stderr, "kxcalc_golden: cannot load %s: %s\n", libraryPath,
                 library.error().c_str());
    return 1;
  }

  const bool checking = !checkFiles.empty();
  std::string missing;
  for (const Export& e : kExports) {
    if (library.symbol(e.name) == nullptr)
      missing += std::string(missing.empty() ? "" : ", ") + e.name;
  }
  if (!checking && !missing.empty()) {
    std::fprintf(stderr, "kxcalc_golden: %s lacks %s\n", libraryPath, missing.c_str());
    return 1;
  }

  int passed = 0, failed = 0;
  for (const Export& e : kExports) {
    void* function = library.symbol(e.name);
    if (function == nullptr) {
      std::printf("MISSING %s: not exported by the library\n", e.name);
      ++failed;
      expected.erase(e.name);
      continue;
    }
    const auto start = std::chrono::steady_clock::now();
    SampleGenerator random(seedOf(e.name));
    Digest digest;
    e.run(function, library, random, digest);
    const std::string actual = digest.hex();
    if (verbose) {
      const std::chrono::duration<double, std::milli> elapsed =
          std::chrono::steady_clock::now() - start;
      std::fprintf(stderr, "%s: %llu cases, %.0f ms\n", e.name,
                   static_cast<unsigned long long>(digest.cases()), elapsed.count());
    }
    if (!checking) {
      std::printf("%s %s\n", actual.c_str(), e.name);
      continue;
    }
    const auto want = expected.find(e.name);
    if (want == expected.end()) {
      std::printf("MISSING %s: no digest in the digests files (this library gives %s)\n", e.name,
                  actual.c_str());
      ++failed;
    } else if (want->second != actual) {
      std::printf("FAILED %s: digest %s, expected %s\n", e.name, actual.c_str(),
                  want->second.c_str());
      ++failed;
    } else {
      ++passed;
    }
    if (want != expected.end()) expected.erase(want);
  }
  if (!checking) return 0;
  // Digests for exports that this program does not run cannot be held to anything.
  for (const auto& [name, digest] : expected) {
    std::printf("UNKNOWN %s: in the digests files, but this program has no cases for it\n",
                name.c_str());
    ++failed;
  }
  std::printf("%d passed, %d failed\n", passed, failed);
  return failed == 0 ? 0 : 1;
}
