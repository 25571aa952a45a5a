#include "sound_output.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>

#include "failure.h"

namespace kxtool {
namespace {

int subtypeOf(Encoding encoding, int container) {
  switch (encoding) {
    case Encoding::Pcm8:
      return container == SF_FORMAT_WAV ? SF_FORMAT_PCM_U8 : SF_FORMAT_PCM_S8;
    case Encoding::Pcm16:
      return SF_FORMAT_PCM_16;
    case Encoding::Pcm24:
      return SF_FORMAT_PCM_24;
    case Encoding::Pcm32:
      return SF_FORMAT_PCM_32;
    case Encoding::Float:
      break;
  }
  return SF_FORMAT_FLOAT;
}

std::string formatName(int format) {
  SF_FORMAT_INFO info{};
  info.format = format;
  if (sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof(info)) == 0 && info.name) {
    return info.name;
  }
  return kxtool::format("format 0x%x", format);
}

const char* encodingName(Encoding encoding) {
  constexpr const char* kNames[] = {"pcm8", "pcm16", "pcm24", "pcm32", "float"};
  return kNames[static_cast<int>(encoding)];
}

}  // namespace

int containerOfPath(const std::string& path) {
  const size_t dot = path.rfind('.');
  const size_t slash = path.rfind('/');
  std::string extension;
  if (dot != std::string::npos && (slash == std::string::npos || dot > slash)) {
    extension = path.substr(dot + 1);
  }
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (extension == "wav") return SF_FORMAT_WAV;
  if (extension == "flac") return SF_FORMAT_FLAC;
  throw UsageError(
      format("-o '%s': the extension says neither WAV nor FLAC (.wav or .flac)", path.c_str()));
}

Encoding parseEncoding(const std::string& text) {
  for (Encoding encoding :
       {Encoding::Pcm8, Encoding::Pcm16, Encoding::Pcm24, Encoding::Pcm32, Encoding::Float}) {
    if (text == encodingName(encoding)) return encoding;
  }
  throw UsageError(
      format("--encoding: '%s' is not pcm8, pcm16, pcm24, pcm32 or float", text.c_str()));
}

Encoding defaultEncoding(int container, int inputFormat) {
  switch (inputFormat & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
      return Encoding::Pcm8;
    case SF_FORMAT_PCM_16:
      return Encoding::Pcm16;
    case SF_FORMAT_PCM_24:
      return Encoding::Pcm24;
    case SF_FORMAT_PCM_32:
      return container == SF_FORMAT_FLAC ? Encoding::Pcm24 : Encoding::Pcm32;
    default:
      return container == SF_FORMAT_FLAC ? Encoding::Pcm24 : Encoding::Float;
  }
}

SoundOutput::SoundOutput(const std::string& path, int container, Encoding encoding, int sampleRate,
                         uint32_t channels)
    : path_(path),
      format_(container | subtypeOf(encoding, container)),
      integer_(encoding != Encoding::Float),
      channels_(channels) {
  SF_INFO info{};
  info.samplerate = sampleRate;
  info.channels = static_cast<int>(channels);
  info.format = format_;
  if (!sf_format_check(&info)) {
    throw UsageError(format("%s cannot hold %u channels of %s samples",
                            container == SF_FORMAT_FLAC ? "FLAC" : "WAV", channels,
                            encodingName(encoding)));
  }
  file_.reset(sf_open(path.c_str(), SFM_WRITE, &info));
  if (!file_) {
    throw Failure(format("cannot write '%s': %s", path.c_str(), sf_strerror(nullptr)));
  }
  // Integer encodings clip at full scale rather than wrap; float files carry no time stamp.
  sf_command(file_.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
  sf_command(file_.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
}

SoundOutput::~SoundOutput() {
  if (file_) {
    file_.reset();
    std::remove(path_.c_str());
  }
}

void SoundOutput::write(const float* frames, size_t count) {
  if (integer_) {
    for (size_t i = 0; i < count * channels_; ++i) {
      if (std::fabs(frames[i]) > 1.0f) ++clipped_;
    }
  }
  const auto wanted = static_cast<sf_count_t>(count);
  if (sf_writef_float(file_.get(), frames, wanted) != wanted) {
    throw Failure(format("cannot write '%s': %s", path_.c_str(), sf_strerror(file_.get())));
  }
}

void SoundOutput::close() {
  sf_write_sync(file_.get());
  if (sf_close(file_.release()) != 0) {
    throw Failure(format("cannot finish '%s'", path_.c_str()));
  }
}

std::string SoundOutput::formatText() const {
  return formatName(format_ & SF_FORMAT_TYPEMASK) + ", " + formatName(format_ & SF_FORMAT_SUBMASK);
}

}  // namespace kxtool
