// The cursor search in both variants.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "graph/graph.h"
#include "support/differential.h"

namespace {

using kxtest::GuardedBuffer;
using kxtest::SampleGenerator;
using Kernel = decltype(&kx::generic::findCursorXY);

template <typename Check>
void forEachVariant(Check check) {
  check("generic", &kx::generic::findCursorXY);
  if (kxtest::avx2Available()) check("avx2", &kx::avx2::findCursorXY);
}

// How rows lie in memory: pixels of padding after each row, bytes added to the stride (the
// search rounds them away), and the direction (bottom-up: a positive stride).
struct Layout {
  int32_t padPixels;
  int32_t extraBytes;
  bool bottomUp;
};

constexpr uint32_t kPadding = 0x5EED5EEDu;  // never excluded: a read of padding would show

class Image {
 public:
  Image(int32_t width, int32_t height, Layout layout)
      : width_(width), rowPixels_(width + layout.padPixels) {
    storage_.assign(std::size_t(std::max(height, 1)) * rowPixels_ + 1, kPadding);
    const int32_t strideBytes = rowPixels_ * 4 + layout.extraBytes;
    stride_ = layout.bottomUp ? strideBytes : -strideBytes;
    first_ = layout.bottomUp ? std::size_t(std::max(height - 1, 0)) * rowPixels_ : 0;
  }
  uint32_t& at(int32_t x, int32_t y) {
    return storage_[first_ + (stride_ > 0 ? -std::ptrdiff_t(y) : y) * rowPixels_ + x];
  }
  const uint32_t* image() const { return storage_.data() + first_; }
  int32_t stride() const { return stride_; }
  int32_t width() const { return width_; }

 private:
  int32_t width_, rowPixels_, stride_;
  std::size_t first_;
  std::vector<uint32_t> storage_;
};

struct Found {
  uint32_t value, x, y;
  bool operator==(const Found&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Found& f) {
  return os << "value 0x" << std::hex << f.value << std::dec << " at (" << f.x << ", " << f.y
            << ")";
}

Found search(Kernel kernel, const uint32_t* image, int32_t stride, int32_t width, int32_t height,
             int32_t cursorX, int32_t cursorY, const std::vector<uint32_t>& excluded,
             int32_t excludedCount, Found preset) {
  Found found = preset;
  kernel(image, stride, width, height, cursorX, cursorY, &found.value, &found.x, &found.y,
         excluded.data(), excludedCount);
  return found;
}

TEST(GraphCursor, VariantsAgreeBitForBit) {
  KX_REQUIRE_AVX2();
  const uint64_t cases = kxtest::differentialCases();
  uint64_t ran = 0;
  for (uint64_t round = 0; ran < cases; ++round) {
    for (int32_t width = 1; width <= 37; ++width) {
      for (int32_t height = 0; height <= 9; ++height, ++ran) {
        const uint64_t seed = round * 1000003u + uint64_t(width) * 131u + uint64_t(height);
        SampleGenerator random(seed);
        const Layout layout{int32_t(random.below(3) ? random.below(5) : 0),
                            int32_t(random.below(4)), random.below(2) == 0};
        Image image(width, height, layout);
        // A small palette: many pixels share a value and many distances tie.
        std::vector<uint32_t> palette(2 + random.below(6));
        for (uint32_t& value : palette) value = static_cast<uint32_t>(random.bits());
        for (int32_t y = 0; y < height; ++y) {
          for (int32_t x = 0; x < width; ++x)
            image.at(x, y) = palette[random.below(palette.size())];
        }
        std::vector<uint32_t> excluded(1 + random.below(40));
        for (uint32_t& value : excluded) {
          value = random.below(4) ? palette[random.below(palette.size())]
                                  : static_cast<uint32_t>(random.bits());
        }
        // A count below 1 is a caller error that both variants read as "nothing excluded".
        const int32_t excludedCount =
            random.below(20) ? int32_t(excluded.size()) : -int32_t(random.below(2));
        int32_t cursorX, cursorY;
        switch (random.below(4)) {
          case 0:
            cursorX = static_cast<int32_t>(random.bits()),
            cursorY = static_cast<int32_t>(random.bits());
            break;
          case 1:
            cursorX = int32_t(random.below(120)) - 40, cursorY = int32_t(random.below(60)) - 25;
            break;
          default:
            cursorX = int32_t(random.below(width)), cursorY = int32_t(random.below(height + 1));
            break;
        }
        const Found preset{static_cast<uint32_t>(random.bits()),
                           static_cast<uint32_t>(random.bits()),
                           static_cast<uint32_t>(random.bits())};
        const Found expected =
            search(kx::generic::findCursorXY, image.image(), image.stride(), width, height, cursorX,
                   cursorY, excluded, excludedCount, preset);
        const Found actual = search(kx::avx2::findCursorXY, image.image(), image.stride(), width,
                                    height, cursorX, cursorY, excluded, excludedCount, preset);
        ASSERT_EQ(expected, actual)
            << "seed " << seed << ", width " << width << ", height " << height << ", stride "
            << image.stride() << ", cursor (" << cursorX << ", " << cursorY << "), "
            << excludedCount << " excluded";
      }
    }
  }
}

// Images in which the scan's first and last rows touch an inaccessible page, rows packed with
// no padding, in both directions: nothing is read outside the rows.
TEST(GraphCursor, ReadsNothingOutsideTheRows) {
  SampleGenerator random(5);
  const std::vector<uint32_t> excluded{0, 1};
  for (int32_t width = 1; width <= 37; ++width) {
    for (int32_t height : {1, 2, 5}) {
      for (auto edge : {GuardedBuffer<uint32_t>::Edge::Start, GuardedBuffer<uint32_t>::Edge::End}) {
        for (bool bottomUp : {false, true}) {
          GuardedBuffer<uint32_t> pixels(std::size_t(width) * height, edge);
          for (uint32_t& pixel : pixels.span()) pixel = random.below(3);
          const uint32_t* image =
              bottomUp ? pixels.data() + std::size_t(width) * (height - 1) : pixels.data();
          const int32_t stride = bottomUp ? width * 4 : -width * 4;
          std::vector<Found> results;
          forEachVariant([&](const char*, Kernel kernel) {
            results.push_back(search(kernel, image, stride, width, height, width / 2, height / 2,
                                     excluded, 2, {7, 7, 7}));
          });
          if (results.size() == 2) {
            EXPECT_EQ(results[0], results[1]) << "width " << width;
          }
        }
      }
    }
  }
}

// Images drawn in characters, top row first: '.' background and '-' grid are excluded,
// digits are pixels of that value.
struct Scene {
  const char* name;
  std::vector<std::string> rows;
  int32_t cursorX, cursorY;
  Found want;
  friend void PrintTo(const Scene& s, std::ostream* os) { *os << s.name; }
};

constexpr uint32_t kBackground = 0xFF000000u, kGrid = 0xFF808080u;
constexpr Found kPreset{0xDEADBEEFu, 77, 99};

const Scene kScenes[] = {
    {"AllExcludedLeavesTheOutValues", {"....-...", "----....", "...-...."}, 2, 1, kPreset},
    {"CursorOnAPixel", {"1...-..2", "..3.-...", "...4-..."}, 2, 1, {3, 2, 1}},
    // x = 2 in the vector part and x = 4 in the tail, both one away.
    {"VectorPartBeatsTailOnTie", {"..1.2"}, 3, 0, {1, 2, 0}},
    // x = 1 and x = 5 share lane 1: the later one takes it.
    {"LaterPixelWinsWithinALane", {".1...2.."}, 3, 0, {2, 5, 0}},
    // x = 3 (lane 3) and x = 5 (lane 1): the lanes are merged in order, strictly.
    {"LowerLaneWinsOnTie", {"...1.2.."}, 4, 0, {2, 5, 0}},
    {"EarlierRowWinsOnTie", {".1..", "....", ".2.."}, 1, 1, {1, 1, 0}},
    {"EarlierTailPixelWinsOnTie", {"1.2"}, 1, 0, {1, 0, 0}},
    // Below the image and far to the right: the nearest corner.
    {"CursorOutsideTheImage", {"1..2", "....", "3..4"}, 40, 30, {4, 3, 2}},
    // dy = 46341 squares past 2^31: the vector part wraps it to a large negative integer, so
    // row 0 looks nearest; the tail squares dy in single precision and takes row 1.
    {"VectorPartSquaresDyInIntegersWrapping", {"1...", "2..."}, 0, 46341, {1, 0, 0}},
    {"TailSquaresDyInSinglePrecision", {"1..", "2.."}, 0, 46341, {2, 0, 1}},
};

const Layout kLayouts[] = {{0, 0, false}, {3, 3, false}, {0, 0, true}, {1, 2, true}};

class GraphCursorScene : public ::testing::TestWithParam<Scene> {};

TEST_P(GraphCursorScene, FindsThePixel) {
  const Scene& s = GetParam();
  const auto height = static_cast<int32_t>(s.rows.size());
  const auto width = static_cast<int32_t>(s.rows[0].size());
  for (const Layout& layout : kLayouts) {
    Image image(width, height, layout);
    for (int32_t y = 0; y < height; ++y) {
      for (int32_t x = 0; x < width; ++x) {
        const char c = s.rows[y][x];
        image.at(x, y) = c == '.' ? kBackground : c == '-' ? kGrid : uint32_t(c - '0');
      }
    }
    forEachVariant([&](const char* variant, Kernel kernel) {
      EXPECT_EQ(search(kernel, image.image(), image.stride(), width, height, s.cursorX, s.cursorY,
                       {kBackground, kGrid, kGrid}, 3, kPreset),
                s.want)
          << variant << ", stride " << image.stride();
    });
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, GraphCursorScene, ::testing::ValuesIn(kScenes),
                         [](const auto& info) { return std::string(info.param.name); });

// Nothing is scanned or written for a height below 1, or a width below 1.
TEST(GraphCursor, EmptyImagesWriteNothing) {
  const std::vector<uint32_t> excluded{0};
  forEachVariant([&](const char* variant, Kernel kernel) {
    for (int32_t height : {0, -1, INT32_MIN}) {
      EXPECT_EQ(search(kernel, nullptr, 16, 4, height, 0, 0, excluded, 1, kPreset), kPreset)
          << variant;
    }
    const uint32_t row[4] = {5, 5, 5, 5};
    for (int32_t width : {0, -3, -4, -5}) {
      EXPECT_EQ(search(kernel, row, 16, width, 1, 0, 0, excluded, 1, kPreset), kPreset) << variant;
    }
  });
}

// With no excluded value every pixel qualifies, the one under the cursor first.
TEST(GraphCursor, NoExcludedValuesExcludeNothing) {
  const uint32_t row[9] = {0, 0, 0, 0, 0, 0, 0, 0, 0};
  forEachVariant([&](const char* variant, Kernel kernel) {
    for (int32_t count : {0, -1}) {
      for (int32_t cursorX : {2, 8}) {
        EXPECT_EQ(search(kernel, row, 36, 9, 1, cursorX, 0, {0}, count, kPreset),
                  (Found{0, uint32_t(cursorX), 0}))
            << variant << ", count " << count;
      }
    }
  });
}

}  // namespace
