#include "canvas.h"

#include <png.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "failure.h"

namespace kxtool {
namespace {

constexpr uint32_t kOpaque = 0xFF000000u;

uint32_t mix(uint32_t under, uint32_t over, unsigned coverage) {
  uint32_t result = kOpaque;
  for (int shift = 0; shift < 24; shift += 8) {
    const unsigned a = (under >> shift) & 0xFF;
    const unsigned b = (over >> shift) & 0xFF;
    result |= ((a * (255 - coverage) + b * coverage + 127) / 255) << shift;
  }
  return result;
}

// Liang-Barsky: shortens the segment to its part inside clip; false when none is.
bool clipSegment(double& x0, double& y0, double& x1, double& y1, const Rect& clip) {
  double t0 = 0, t1 = 1;
  const double dx = x1 - x0, dy = y1 - y0;
  const double p[] = {-dx, dx, -dy, dy};
  const double q[] = {x0 - clip.left, clip.right - x0, y0 - clip.top, clip.bottom - y0};
  for (int side = 0; side < 4; ++side) {
    if (p[side] == 0) {
      if (q[side] < 0) return false;
      continue;
    }
    const double t = q[side] / p[side];
    if (p[side] < 0) {
      t0 = std::max(t0, t);
    } else {
      t1 = std::min(t1, t);
    }
    if (t0 > t1) return false;
  }
  const double startX = x0, startY = y0;
  x0 = startX + t0 * dx;
  y0 = startY + t0 * dy;
  x1 = startX + t1 * dx;
  y1 = startY + t1 * dy;
  return true;
}

}  // namespace

Canvas::Canvas(int width, int height, uint32_t background)
    : width_(width), height_(height), pixels_(static_cast<size_t>(width) * height, background) {}

void Canvas::blend(int x, int y, uint32_t colour, unsigned coverage) {
  if (x < 0 || y < 0 || x >= width_ || y >= height_ || coverage == 0) return;
  row(y)[x] = coverage >= 255 ? colour : mix(row(y)[x], colour, coverage);
}

void Canvas::horizontalLine(int x0, int x1, int y, uint32_t colour) {
  for (int x = std::min(x0, x1); x <= std::max(x0, x1); ++x) set(x, y, colour);
}

void Canvas::verticalLine(int x, int y0, int y1, uint32_t colour) {
  for (int y = std::min(y0, y1); y <= std::max(y0, y1); ++y) set(x, y, colour);
}

void Canvas::line(int x0, int y0, int x1, int y1, uint32_t colour, const Rect& clip) {
  // Points far outside (the mapping clamps to 16 bits) are first cut back to the clip
  // rectangle, so a line costs its visible length.
  if (!clip.contains(x0, y0) || !clip.contains(x1, y1)) {
    double ax = x0, ay = y0, bx = x1, by = y1;
    if (!clipSegment(ax, ay, bx, by, clip)) return;
    x0 = static_cast<int>(std::lround(ax));
    y0 = static_cast<int>(std::lround(ay));
    x1 = static_cast<int>(std::lround(bx));
    y1 = static_cast<int>(std::lround(by));
  }
  const int dx = std::abs(x1 - x0), dy = -std::abs(y1 - y0);
  const int stepX = x0 < x1 ? 1 : -1, stepY = y0 < y1 ? 1 : -1;
  int error = dx + dy;
  while (true) {
    if (clip.contains(x0, y0)) row(y0)[x0] = colour;
    if (x0 == x1 && y0 == y1) break;
    const int twice = 2 * error;
    if (twice >= dy) {
      error += dy;
      x0 += stepX;
    }
    if (twice <= dx) {
      error += dx;
      y0 += stepY;
    }
  }
}

void Canvas::ring(int x, int y, int radius, uint32_t colour) {
  // Every pixel whose distance from the centre rounds to the radius.
  for (int dy = -radius - 1; dy <= radius + 1; ++dy) {
    for (int dx = -radius - 1; dx <= radius + 1; ++dx) {
      const double distance = std::sqrt(static_cast<double>(dx * dx + dy * dy));
      if (std::fabs(distance - radius) < 0.5) set(x + dx, y + dy, colour);
    }
  }
}

void Canvas::writePng(const std::string& path) const {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(width_);
  image.height = static_cast<png_uint_32>(height_);
  // 0xAARRGGBB in memory is B, G, R, A on little-endian machines.
  image.format = std::endian::native == std::endian::little ? PNG_FORMAT_BGRA : PNG_FORMAT_ARGB;
  if (!png_image_write_to_file(&image, path.c_str(), 0, pixels_.data(), 0, nullptr)) {
    const std::string reason = image.message;
    png_image_free(&image);
    throw Failure(format("cannot write '%s': %s", path.c_str(), reason.c_str()));
  }
}

uint32_t parseColour(const char* option, const std::string& text) {
  static const std::pair<const char*, uint32_t> kNames[] = {
      {"white", 0xFFFFFF}, {"black", 0x000000},  {"red", 0xD62728},     {"green", 0x2CA02C},
      {"blue", 0x1F77B4},  {"orange", 0xFF7F0E}, {"purple", 0x9467BD},  {"gray", 0x808080},
      {"grey", 0x808080},  {"cyan", 0x17BECF},   {"magenta", 0xE377C2}, {"yellow", 0xBCBD22},
  };
  for (const auto& [name, colour] : kNames) {
    if (text == name) return kOpaque | colour;
  }
  const std::string digits = !text.empty() && text[0] == '#' ? text.substr(1) : text;
  if (digits.size() == 6 &&
      digits.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos) {
    return kOpaque | static_cast<uint32_t>(std::strtoul(digits.c_str(), nullptr, 16));
  }
  throw UsageError(
      format("%s: '%s' is not a colour (#rrggbb or a name such as white, black, "
             "red, blue)",
             option, text.c_str()));
}

std::string colourText(uint32_t colour) {
  return format("#%06x", colour & 0xFFFFFFu);
}

}  // namespace kxtool
