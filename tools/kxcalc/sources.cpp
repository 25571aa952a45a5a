#include "sources.h"

#include <sndfile.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "failure.h"
#include "options.h"

namespace kxtool {
namespace {

// Says in one line why path cannot be read, if it cannot.
void checkReadable(const std::string& path, struct stat& status) {
  if (stat(path.c_str(), &status) != 0) {
    throw Failure(format("cannot open '%s': %s", path.c_str(), std::strerror(errno)));
  }
  if (S_ISDIR(status.st_mode)) {
    throw Failure(format("cannot read '%s': it is a directory", path.c_str()));
  }
}

std::string plural(uint64_t count, const char* noun) {
  return format("%llu %s%s", static_cast<unsigned long long>(count), noun, count == 1 ? "" : "s");
}

std::string durationText(uint64_t frames, double sampleRate) {
  if (sampleRate <= 0) return "";
  return format(" (%.6g s at %.6g Hz)", static_cast<double>(frames) / sampleRate, sampleRate);
}

class RawFile final : public FrameSource {
 public:
  RawFile(const std::string& path, RawSampleType type, uint32_t channels) : path_(path) {
    type_ = type;
    channels_ = channels;
    unit_ = "raw values";
    scaledUnit_ = "engineering units (raw value * scale + offset)";

    struct stat status {};
    checkReadable(path, status);
    file_.reset(std::fopen(path.c_str(), "rb"));
    if (!file_) {
      throw Failure(format("cannot open '%s': %s", path.c_str(), std::strerror(errno)));
    }
    const uint64_t frameSize = frameBytes();
    const std::string frameText =
        format("%s of %s (%llu bytes)", plural(channels, "channel").c_str(), rawTypeName(type),
               static_cast<unsigned long long>(frameSize));
    if (S_ISREG(status.st_mode)) {
      const uint64_t size = static_cast<uint64_t>(status.st_size);
      if (size < frameSize) {
        throw Failure(format("'%s' is shorter than one frame: %s, a frame is %s", path.c_str(),
                             plural(size, "byte").c_str(), frameText.c_str()));
      }
      if (size % frameSize != 0) {
        throw Failure(
            format("'%s' is not a whole number of frames: %s is %llu frames of %s "
                   "and %s left over",
                   path.c_str(), plural(size, "byte").c_str(),
                   static_cast<unsigned long long>(size / frameSize), frameText.c_str(),
                   plural(size % frameSize, "byte").c_str()));
      }
      frames_ = size / frameSize;
    }
    description_ = format("raw file '%s': %s, %s", path.c_str(), plural(frames_, "frame").c_str(),
                          frameText.c_str());
  }

  size_t read(void* buffer, size_t maxFrames) override {
    const size_t frameSize = frameBytes();
    const size_t bytes = std::fread(buffer, 1, maxFrames * frameSize, file_.get());
    if (std::ferror(file_.get())) {
      throw Failure(format("cannot read '%s': %s", path_.c_str(), std::strerror(errno)));
    }
    if (bytes % frameSize != 0) {
      throw Failure(format("'%s' ends in the middle of a frame (%s of %zu)", path_.c_str(),
                           plural(bytes % frameSize, "byte").c_str(), frameSize));
    }
    return bytes / frameSize;
  }

  void rewind() override {
    if (std::fseek(file_.get(), 0, SEEK_SET) != 0) {
      throw Failure(format("cannot read '%s' twice (%s)", path_.c_str(), std::strerror(errno)));
    }
  }

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::string path_;
  std::unique_ptr<std::FILE, Close> file_;  // closed also when the constructor throws
};

// Sound files are read in the narrowest library type that holds their samples exactly,
// and scaled so that 1.0 is full scale.
class SoundFile final : public FrameSource {
 public:
  explicit SoundFile(const std::string& path) : path_(path) {
    struct stat status {};
    checkReadable(path, status);
    SF_INFO info{};
    file_.reset(sf_open(path.c_str(), SFM_READ, &info));
    if (!file_) {
      throw Failure(format("cannot read '%s' as a sound file (%s); for raw binary data give --type",
                           path.c_str(), sf_strerror(nullptr)));
    }
    if (info.channels < 1 || info.frames < 1) {
      throw Failure(format("'%s' is shorter than one frame: it holds no sample", path.c_str()));
    }
    channels_ = static_cast<uint32_t>(info.channels);
    frames_ = static_cast<uint64_t>(info.frames);
    sampleRate_ = info.samplerate;
    soundFormat_ = info.format;
    unit_ = "full-scale units (1.0 is full scale)";
    scaledUnit_ = "engineering units (full-scale value * scale + offset)";

    switch (info.format & SF_FORMAT_SUBMASK) {
      case SF_FORMAT_PCM_S8:
      case SF_FORMAT_PCM_U8:
      case SF_FORMAT_PCM_16:
        type_ = RawType_int16_t;
        baseScale_ = 1.0 / 32768.0;
        break;
      case SF_FORMAT_PCM_24:
      case SF_FORMAT_PCM_32:
        type_ = RawType_int32_t;
        baseScale_ = 1.0 / 2147483648.0;
        break;
      case SF_FORMAT_DOUBLE:
        type_ = RawType_double;
        break;
      default:  // float data and every compressed encoding
        type_ = RawType_float;
        break;
    }

    description_ = format("sound file '%s': %s, %s, %s of %s%s", path.c_str(),
                          formatName(info.format & SF_FORMAT_TYPEMASK).c_str(),
                          formatName(info.format & SF_FORMAT_SUBMASK).c_str(),
                          plural(frames_, "frame").c_str(), plural(channels_, "channel").c_str(),
                          durationText(frames_, sampleRate_).c_str());
  }

  size_t read(void* buffer, size_t maxFrames) override {
    const auto frames = static_cast<sf_count_t>(maxFrames);
    sf_count_t got = 0;
    switch (type_) {
      case RawType_int16_t:
        got = sf_readf_short(file_.get(), static_cast<short*>(buffer), frames);
        break;
      case RawType_int32_t:
        got = sf_readf_int(file_.get(), static_cast<int*>(buffer), frames);
        break;
      case RawType_double:
        got = sf_readf_double(file_.get(), static_cast<double*>(buffer), frames);
        break;
      default:
        got = sf_readf_float(file_.get(), static_cast<float*>(buffer), frames);
        break;
    }
    if (got < frames && sf_error(file_.get()) != SF_ERR_NO_ERROR) {
      throw Failure(format("cannot read '%s': %s", path_.c_str(), sf_strerror(file_.get())));
    }
    return static_cast<size_t>(got);
  }

  void rewind() override {
    if (sf_seek(file_.get(), 0, SEEK_SET) != 0) {
      throw Failure(format("cannot read '%s' twice (%s)", path_.c_str(), sf_strerror(file_.get())));
    }
  }

 private:
  std::string formatName(int format) const {
    SF_FORMAT_INFO info{};
    info.format = format;
    if (sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof(info)) == 0 && info.name) {
      return info.name;
    }
    return kxtool::format("format 0x%x", format);
  }

  struct Close {
    void operator()(SNDFILE* file) const { sf_close(file); }
  };
  std::string path_;
  std::unique_ptr<SNDFILE, Close> file_;  // closed also when the constructor throws
};

class MemorySource final : public FrameSource {
 public:
  MemorySource(std::vector<int16_t> samples, uint32_t channels, double sampleRate,
               std::string description)
      : samples_(std::move(samples)) {
    channels_ = channels;
    frames_ = samples_.size() / channels;
    sampleRate_ = sampleRate;
    unit_ = "counts";
    scaledUnit_ = "engineering units";
    description_ = std::move(description);
  }

  size_t read(void* buffer, size_t maxFrames) override {
    const size_t count = std::min<uint64_t>(maxFrames, frames_ - next_);
    std::memcpy(buffer, samples_.data() + next_ * channels_, count * frameBytes());
    next_ += count;
    return count;
  }

  void rewind() override { next_ = 0; }

 private:
  std::vector<int16_t> samples_;
  uint64_t next_ = 0;
};

}  // namespace

size_t FrameSource::frameBytes() const {
  return rawTypeSize(type_) * channels_;
}

std::unique_ptr<FrameSource> openRawFile(const std::string& path, RawSampleType type,
                                         uint32_t channels) {
  return std::make_unique<RawFile>(path, type, channels);
}

std::unique_ptr<FrameSource> openSoundFile(const std::string& path) {
  return std::make_unique<SoundFile>(path);
}

std::unique_ptr<FrameSource> memorySource(std::vector<int16_t> samples, uint32_t channels,
                                          double sampleRate, std::string description) {
  return std::make_unique<MemorySource>(std::move(samples), channels, sampleRate,
                                        std::move(description));
}

}  // namespace kxtool
