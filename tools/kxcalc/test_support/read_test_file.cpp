// Reads back the output files of the kxcalc program's tests:
//   kxcalc_read_test_file png-size PATH                 width and height
//   kxcalc_read_test_file png-pixels PATH X,Y...        #rrggbb of each pixel, one per line
//   kxcalc_read_test_file png-count PATH #RRGGBB        pixels of that colour
//   kxcalc_read_test_file png-opaque PATH               yes when every pixel is opaque
//   kxcalc_read_test_file png-box PATH #RRGGBB          smallest box around them: X0 Y0 X1 Y1
//   kxcalc_read_test_file sound-info PATH               rate, frames, channels, container, encoding
//   kxcalc_read_test_file sound-frequency PATH CHANNEL  frequency from the rising zero crossings
//   kxcalc_read_test_file sound-digest PATH             a hash of the float samples
//   kxcalc_read_test_file sound-samples PATH            the samples, one frame per line
#include <png.h>
#include <sndfile.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

[[noreturn]] void fail(const std::string& message) {
  std::fprintf(stderr, "kxcalc_read_test_file: %s\n", message.c_str());
  std::exit(1);
}

struct Picture {
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<uint8_t> rgba;

  uint32_t colour(uint32_t x, uint32_t y) const {
    const uint8_t* pixel = &rgba[(static_cast<size_t>(y) * width + x) * 4];
    return uint32_t{pixel[0]} << 16 | uint32_t{pixel[1]} << 8 | pixel[2];
  }
};

Picture readPng(const char* path) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path)) fail(std::string(path) + ": " + image.message);
  image.format = PNG_FORMAT_RGBA;
  Picture picture;
  picture.width = image.width;
  picture.height = image.height;
  picture.rgba.resize(PNG_IMAGE_SIZE(image));
  if (!png_image_finish_read(&image, nullptr, picture.rgba.data(), 0, nullptr)) {
    fail(std::string(path) + ": " + image.message);
  }
  return picture;
}

uint32_t parseColour(const char* text) {
  if (text[0] == '#') ++text;
  char* end = nullptr;
  const unsigned long value = std::strtoul(text, &end, 16);
  if (std::strlen(text) != 6 || *end != '\0') fail(std::string("not a colour: ") + text);
  return static_cast<uint32_t>(value);
}

struct Sound {
  SF_INFO info{};
  std::vector<float> samples;
};

Sound readSound(const char* path) {
  Sound sound;
  SNDFILE* file = sf_open(path, SFM_READ, &sound.info);
  if (file == nullptr) fail(std::string(path) + ": " + sf_strerror(nullptr));
  sound.samples.resize(static_cast<size_t>(sound.info.frames * sound.info.channels));
  if (sf_readf_float(file, sound.samples.data(), sound.info.frames) != sound.info.frames) {
    fail(std::string(path) + ": short read");
  }
  sf_close(file);
  return sound;
}

const char* encodingName(int format) {
  switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
      return "pcm8";
    case SF_FORMAT_PCM_16:
      return "pcm16";
    case SF_FORMAT_PCM_24:
      return "pcm24";
    case SF_FORMAT_PCM_32:
      return "pcm32";
    case SF_FORMAT_FLOAT:
      return "float";
    default:
      return "other";
  }
}

// The mean frequency between the first and the last rising zero crossing, each placed by
// linear interpolation between its two samples.
double risingZeroFrequency(const Sound& sound, int channel) {
  const int channels = sound.info.channels;
  double first = -1, last = -1;
  int crossings = 0;
  for (sf_count_t i = 1; i < sound.info.frames; ++i) {
    const double before = sound.samples[(i - 1) * channels + channel];
    const double after = sound.samples[i * channels + channel];
    if (before < 0 && after >= 0) {
      const double time = static_cast<double>(i - 1) + before / (before - after);
      if (crossings == 0) first = time;
      last = time;
      ++crossings;
    }
  }
  if (crossings < 2) fail("fewer than two rising zero crossings");
  return (crossings - 1) / (last - first) * sound.info.samplerate;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc >= 3 ? argv[1] : "";
  const char* path = argc >= 3 ? argv[2] : "";
  if (command == "png-size") {
    const Picture picture = readPng(path);
    std::printf("%u %u\n", picture.width, picture.height);
  } else if (command == "png-pixels") {
    const Picture picture = readPng(path);
    for (int i = 3; i < argc; ++i) {
      unsigned x = 0, y = 0;
      if (std::sscanf(argv[i], "%u,%u", &x, &y) != 2 || x >= picture.width || y >= picture.height) {
        fail(std::string("not a pixel of the picture: ") + argv[i]);
      }
      std::printf("#%06x\n", picture.colour(x, y));
    }
  } else if (command == "png-opaque") {
    const Picture picture = readPng(path);
    bool opaque = true;
    for (size_t i = 3; i < picture.rgba.size(); i += 4) opaque = opaque && picture.rgba[i] == 255;
    std::printf("%s\n", opaque ? "yes" : "no");
  } else if ((command == "png-count" || command == "png-box") && argc == 4) {
    const Picture picture = readPng(path);
    const uint32_t colour = parseColour(argv[3]);
    uint64_t count = 0;
    uint32_t x0 = UINT32_MAX, y0 = UINT32_MAX, x1 = 0, y1 = 0;
    for (uint32_t y = 0; y < picture.height; ++y) {
      for (uint32_t x = 0; x < picture.width; ++x) {
        if (picture.colour(x, y) != colour) continue;
        ++count;
        if (x < x0) x0 = x;
        if (y < y0) y0 = y;
        if (x > x1) x1 = x;
        if (y > y1) y1 = y;
      }
    }
    if (command == "png-count") {
      std::printf("%llu\n", static_cast<unsigned long long>(count));
    } else if (count == 0) {
      std::printf("none\n");
    } else {
      std::printf("%u %u %u %u\n", x0, y0, x1, y1);
    }
  } else if (command == "sound-info") {
    const Sound sound = readSound(path);
    const int container = sound.info.format & SF_FORMAT_TYPEMASK;
    std::printf("%d %lld %d %s %s\n", sound.info.samplerate,
                static_cast<long long>(sound.info.frames), sound.info.channels,
                container == SF_FORMAT_WAV    ? "wav"
                : container == SF_FORMAT_FLAC ? "flac"
                                              : "other",
                encodingName(sound.info.format));
  } else if (command == "sound-frequency" && argc == 4) {
    const Sound sound = readSound(path);
    const int channel = std::atoi(argv[3]);
    if (channel < 0 || channel >= sound.info.channels) fail("no such channel");
    std::printf("%.9f\n", risingZeroFrequency(sound, channel));
  } else if (command == "sound-samples") {
    const Sound sound = readSound(path);
    for (sf_count_t frame = 0; frame < sound.info.frames; ++frame) {
      for (int c = 0; c < sound.info.channels; ++c) {
        std::printf("%s%.9g", c ? " " : "", sound.samples[frame * sound.info.channels + c]);
      }
      std::printf("\n");
    }
  } else if (command == "sound-digest") {
    const Sound sound = readSound(path);
    uint64_t hash = 14695981039346656037u;  // FNV-1a over the samples' bytes
    for (const float sample : sound.samples) {
      uint32_t bits;
      std::memcpy(&bits, &sample, sizeof(bits));
      for (int byte = 0; byte < 4; ++byte) {
        hash = (hash ^ ((bits >> (8 * byte)) & 0xFF)) * 1099511628211u;
      }
    }
    std::printf("%lld %016llx\n", static_cast<long long>(sound.info.frames),
                static_cast<unsigned long long>(hash));
  } else {
    fail(
        "usage: png-size|png-pixels|png-count|png-box|sound-info|sound-frequency|sound-digest "
        "PATH ...");
  }
  return 0;
}
