#include "text.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include <unistd.h>

#include <vector>

#include "failure.h"

namespace kxtool {
namespace {

constexpr const char* kDebianFont = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

std::string fontconfigMatch(const char* pattern) {
  std::string path;
  if (!FcInit()) return path;
  if (FcPattern* wanted = FcNameParse(reinterpret_cast<const FcChar8*>(pattern))) {
    FcConfigSubstitute(nullptr, wanted, FcMatchPattern);
    FcDefaultSubstitute(wanted);
    FcResult result = FcResultNoMatch;
    if (FcPattern* match = FcFontMatch(nullptr, wanted, &result)) {
      FcChar8* file = nullptr;
      if (FcPatternGetString(match, FC_FILE, 0, &file) == FcResultMatch && file != nullptr) {
        path = reinterpret_cast<const char*>(file);
      }
      FcPatternDestroy(match);
    }
    FcPatternDestroy(wanted);
  }
  FcFini();
  return path;
}

// The code points of a UTF-8 text; a byte that starts no valid sequence stands for itself.
std::vector<uint32_t> codePoints(const std::string& text) {
  std::vector<uint32_t> points;
  for (size_t i = 0; i < text.size();) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const int length = byte < 0x80         ? 1
                       : (byte >> 5) == 6  ? 2
                       : (byte >> 4) == 14 ? 3
                       : (byte >> 3) == 30 ? 4
                                           : 1;
    uint32_t point = length == 1 ? byte : byte & (0x3F >> (length - 1));
    bool valid = i + length <= text.size();
    for (int k = 1; valid && k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      valid = (next >> 6) == 2;
      point = point << 6 | (next & 0x3F);
    }
    points.push_back(valid ? point : byte);
    i += valid ? length : 1;
  }
  return points;
}

}  // namespace

std::string findFont(const std::string& requested) {
  if (!requested.empty()) {
    if (access(requested.c_str(), R_OK) != 0) {
      throw Failure(format("--font: cannot read '%s'", requested.c_str()));
    }
    return requested;
  }
  if (access(kDebianFont, R_OK) == 0) return kDebianFont;
  for (const char* pattern : {"DejaVu Sans:style=Book", "sans-serif"}) {
    const std::string path = fontconfigMatch(pattern);
    if (!path.empty()) return path;
  }
  throw Failure("no font for the labels: install fonts-dejavu-core, or give --font FILE.ttf");
}

Font::Font(const std::string& path, int pixelSize) {
  if (FT_Init_FreeType(&library_) != 0) throw Failure("cannot start FreeType");
  if (FT_New_Face(library_, path.c_str(), 0, &face_) != 0) {
    FT_Done_FreeType(library_);
    throw Failure(format("cannot use '%s' as a font", path.c_str()));
  }
  FT_Set_Pixel_Sizes(face_, 0, static_cast<FT_UInt>(pixelSize));
  ascent_ = static_cast<int>(face_->size->metrics.ascender >> 6);
  lineHeight_ = static_cast<int>(face_->size->metrics.height >> 6);
}

Font::~Font() {
  FT_Done_Face(face_);
  FT_Done_FreeType(library_);
}

int Font::width(const std::string& text) {
  long advance = 0;
  for (const uint32_t point : codePoints(text)) {
    if (FT_Load_Char(face_, point, FT_LOAD_DEFAULT) == 0) advance += face_->glyph->advance.x;
  }
  return static_cast<int>(advance >> 6);
}

void Font::draw(Canvas& canvas, int x, int y, const std::string& text, uint32_t colour,
                bool rotated) {
  long pen = 0;  // along the baseline, in 1/64 pixel
  for (const uint32_t point : codePoints(text)) {
    if (FT_Load_Char(face_, point, FT_LOAD_RENDER) != 0) continue;
    const FT_GlyphSlot glyph = face_->glyph;
    const FT_Bitmap& bitmap = glyph->bitmap;
    const int along = static_cast<int>(pen >> 6) + glyph->bitmap_left;
    for (unsigned row = 0; row < bitmap.rows; ++row) {
      for (unsigned column = 0; column < bitmap.width; ++column) {
        const unsigned coverage =
            bitmap.buffer[static_cast<int>(row) * bitmap.pitch + static_cast<int>(column)];
        const int u = along + static_cast<int>(column);           // along the text
        const int v = static_cast<int>(row) - glyph->bitmap_top;  // down from baseline
        if (rotated) {
          canvas.blend(x + v, y - u, colour, coverage);
        } else {
          canvas.blend(x + u, y + v, colour, coverage);
        }
      }
    }
    pen += glyph->advance.x;
  }
}

}  // namespace kxtool
