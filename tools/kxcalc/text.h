// Labels drawn with FreeType from a TrueType font (DejaVu Sans by default).
#pragma once

#include <cstdint>
#include <string>

#include "canvas.h"

struct FT_LibraryRec_;
struct FT_FaceRec_;

namespace kxtool {

// The font file to use: the given one, else DejaVu Sans where Debian puts it, else what
// fontconfig finds for "DejaVu Sans:style=Book", else any sans-serif. Throws Failure.
std::string findFont(const std::string& requested);

class Font {
 public:
  Font(const std::string& path, int pixelSize);  // throws Failure
  ~Font();
  Font(const Font&) = delete;
  Font& operator=(const Font&) = delete;

  int width(const std::string& text);  // advance of the whole text, in pixels
  int ascent() const { return ascent_; }
  int lineHeight() const { return lineHeight_; }

  // Draws text with its baseline starting at (x, y). Rotated: reading upwards, the baseline
  // running from (x, y) towards smaller y.
  void draw(Canvas& canvas, int x, int y, const std::string& text, uint32_t colour,
            bool rotated = false);

 private:
  FT_LibraryRec_* library_ = nullptr;
  FT_FaceRec_* face_ = nullptr;
  int ascent_ = 0;
  int lineHeight_ = 0;
};

}  // namespace kxtool
