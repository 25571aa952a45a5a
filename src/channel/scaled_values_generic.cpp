// Scaled values of a strided run of raw channel samples, portable form: a block of eight
// results is eight element conversions, since every result is defined element by element.
#include "channel/channel.h"
#include "channel/scaled_loops.h"

namespace kx::generic {
namespace {

struct ElementBlocks {
  template <typename Out, typename Raw>
  static void convertBlocks(channel::StridedRaw<Raw> raw, Out* output, uint32_t blockCount,
                            Out scale, Out offset) {
    for (uint32_t i = 0; i < blockCount * channel::kBlockResults; ++i) {
      output[i] = channel::scaledValue(raw[i], scale, offset);
    }
  }
  template <typename Out, typename Raw>
  static void convertUnalignedBlocks(channel::StridedRaw<Raw> raw, Out* output, uint32_t blockCount,
                                     Out scale, Out offset) {
    convertBlocks(raw, output, blockCount, scale, offset);
  }
};

}  // namespace

void scaledValuesAtPos(const ScaledValuesRequest_float* request) {
  channel::convertRequest<false, ElementBlocks>(request);
}
void scaledValuesAtPos(const ScaledValuesRequest_double* request) {
  channel::convertRequest<false, ElementBlocks>(request);
}
void scaledValuesAtPosAlignedOutput(const ScaledValuesRequest_float* request) {
  channel::convertRequest<true, ElementBlocks>(request);
}
void scaledValuesAtPosAlignedOutput(const ScaledValuesRequest_double* request) {
  channel::convertRequest<true, ElementBlocks>(request);
}

}  // namespace kx::generic
