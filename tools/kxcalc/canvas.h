// A 32-bit picture (0xAARRGGBB pixels, rows top-down) with the few drawing operations the
// plot needs, written as PNG through libpng.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kxtool {

struct Rect {
  int left, top, right, bottom;  // inclusive
  bool contains(int x, int y) const { return x >= left && x <= right && y >= top && y <= bottom; }
};

class Canvas {
 public:
  Canvas(int width, int height, uint32_t background);

  int width() const { return width_; }
  int height() const { return height_; }
  uint32_t* row(int y) { return pixels_.data() + static_cast<size_t>(y) * width_; }
  const uint32_t* row(int y) const { return pixels_.data() + static_cast<size_t>(y) * width_; }
  uint32_t pixel(int x, int y) const { return row(y)[x]; }

  void set(int x, int y, uint32_t colour) {
    if (x >= 0 && y >= 0 && x < width_ && y < height_) row(y)[x] = colour;
  }
  // Mixes colour over the pixel with coverage 0 .. 255 (for text).
  void blend(int x, int y, uint32_t colour, unsigned coverage);
  void horizontalLine(int x0, int x1, int y, uint32_t colour);
  void verticalLine(int x, int y0, int y1, uint32_t colour);
  // A one-pixel line between two points, only the part inside clip drawn.
  void line(int x0, int y0, int x1, int y1, uint32_t colour, const Rect& clip);
  void ring(int x, int y, int radius, uint32_t colour);

  void writePng(const std::string& path) const;  // throws Failure

 private:
  int width_;
  int height_;
  std::vector<uint32_t> pixels_;
};

// "#rrggbb", "rrggbb" or a colour name (white, black, red, ...); throws UsageError.
uint32_t parseColour(const char* option, const std::string& text);
std::string colourText(uint32_t colour);  // "#rrggbb"

}  // namespace kxtool
