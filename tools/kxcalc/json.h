// A small JSON writer for the commands' --json summaries: one object, fields in the order
// they are added, printed on one line.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace kxtool {

class JsonObject {
 public:
  JsonObject& add(const char* key, const std::string& text) { return addRaw(key, quoted(text)); }
  JsonObject& add(const char* key, const char* text) { return add(key, std::string(text)); }
  JsonObject& add(const char* key, bool value) { return addRaw(key, value ? "true" : "false"); }
  JsonObject& add(const char* key, uint64_t value) { return addRaw(key, std::to_string(value)); }
  JsonObject& add(const char* key, uint32_t value) { return addRaw(key, std::to_string(value)); }
  JsonObject& add(const char* key, int value) { return addRaw(key, std::to_string(value)); }
  // Shortest text that reads back as the same double; null for NaN and infinities.
  JsonObject& add(const char* key, double value) {
    if (!std::isfinite(value)) return addRaw(key, "null");
    char text[32];
    for (int digits = 15; digits <= 17; ++digits) {
      std::snprintf(text, sizeof(text), "%.*g", digits, value);
      if (std::strtod(text, nullptr) == value) break;
    }
    return addRaw(key, text);
  }
  JsonObject& add(const char* key, const JsonObject& object) { return addRaw(key, object.text()); }
  JsonObject& addRaw(const char* key, const std::string& json) {
    if (!body_.empty()) body_ += ", ";
    body_ += quoted(key) + ": " + json;
    return *this;
  }

  std::string text() const { return "{" + body_ + "}"; }

  static std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
      const auto byte = static_cast<unsigned char>(c);
      if (c == '"' || c == '\\') {
        out += '\\';
        out += c;
      } else if (byte < 0x20) {
        char escape[8];
        std::snprintf(escape, sizeof(escape), "\\u%04x", byte);
        out += escape;
      } else {
        out += c;
      }
    }
    return out + "\"";
  }

 private:
  std::string body_;
};

}  // namespace kxtool
