#include "channel_blocks.h"

#include <cfloat>
#include <cmath>

#include "failure.h"

namespace kxtool {
namespace {

// One value for every channel, or one per channel.
std::vector<double> perChannel(const std::vector<double>& given, double fallback, uint32_t channels,
                               const char* option) {
  if (given.empty()) return std::vector<double>(channels, fallback);
  if (given.size() == 1) return std::vector<double>(channels, given[0]);
  if (given.size() != channels) {
    throw UsageError(format("%s lists %zu values for %u channels (give one, or one per channel)",
                            option, given.size(), channels));
  }
  return given;
}

}  // namespace

size_t framesPerBlock(size_t frameBytes) {
  const size_t target = (size_t{4} << 20) / frameBytes;
  return target < 16 ? 16 : (target > 65536 ? 65536 : target);
}

ChannelConversion channelConversion(const InputOptions& input, const FrameSource& source) {
  ChannelConversion conversion;
  conversion.scales = perChannel(input.scales, 1.0, source.channels(), "--scale");
  conversion.offsets = perChannel(input.offsets, 0.0, source.channels(), "--offset");
  for (double& scale : conversion.scales) scale *= source.baseScale();
  conversion.userGiven = !input.scales.empty() || !input.offsets.empty();
  return conversion;
}

void requireSinglePrecision(const ChannelConversion& conversion) {
  for (size_t c = 0; c < conversion.scales.size(); ++c) {
    if (std::fabs(conversion.scales[c]) > FLT_MAX || std::fabs(conversion.offsets[c]) > FLT_MAX) {
      throw UsageError(format("channel %zu: scale or offset beyond single precision", c));
    }
  }
}

std::unique_ptr<FrameSource> openInputFile(const InputOptions& input) {
  if (input.rawType) return openRawFile(*input.file, *input.rawType, input.channels.value_or(1));
  std::unique_ptr<FrameSource> source = openSoundFile(*input.file);
  if (input.channels && *input.channels != source->channels()) {
    throw UsageError(format("--channels %u, but '%s' has %u", *input.channels, input.file->c_str(),
                            source->channels()));
  }
  return source;
}

}  // namespace kxtool
