// The loops of the scaled-value kernels, shared by both variants: the dispatch on the raw
// type, the plain loop of the types without a vector body, and the head, blocks of eight
// results and tail of the others. A variant supplies only the blocks, through its Blocks
// policy: convertBlocks(raw, output, blockCount, scale, offset) writes 8 * blockCount
// results to a 32-byte aligned output, convertUnalignedBlocks to an output of any alignment.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "channel/raw_types.h"
#include "core/align.h"

namespace kx::channel {
namespace {

inline constexpr uint32_t kBlockResults = 8;

// The raw types that have a vector body; the others go through the plain loop.
template <typename Out>
constexpr bool hasVectorBody(uint32_t code) {
  if constexpr (std::is_same_v<Out, float>) {
    return code == 2 || code == 3 || code == 4 || code == 7 || code == 8;
  } else {
    return code == 2 || code == 3 || code == 4 || code == 5 || code == 8;
  }
}

template <typename Out, typename Raw>
inline void convertElements(StridedRaw<Raw> raw, Out* output, uint32_t count, Out scale,
                            Out offset) {
  for (uint32_t i = 0; i < count; ++i) output[i] = scaledValue(raw[i], scale, offset);
}

// The plain loop: the count % 8 odd elements first, then eight at a time to an output of
// any alignment.
template <typename Blocks, typename Out, typename Raw>
inline void convertUnrolled(StridedRaw<Raw> raw, Out* output, uint32_t count, Out scale,
                            Out offset) {
  const uint32_t lead = count % kBlockResults;
  convertElements(raw, output, lead, scale, offset);
  Blocks::convertUnalignedBlocks(raw.from(lead), output + lead, count / kBlockResults, scale,
                                 offset);
}

// The vectorised loop. The plain kernels convert the elements before the output's first
// 32-byte boundary one by one; the aligned-output kernels have no head. Either way short
// runs take the element loop: below max(head + 8, 9) results for the plain kernels (so an
// aligned output still converts a run of exactly 8 element by element), below 8 for the
// aligned-output ones.
template <bool AlignedOutput, typename Blocks, typename Out, typename Raw>
inline void convertBlocked(StridedRaw<Raw> raw, Out* output, uint32_t count, Out scale,
                           Out offset) {
  uint32_t head = 0;
  if constexpr (AlignedOutput) {
    if (count - 1 <= 6) return convertElements(raw, output, count, scale, offset);
  } else {
    head = headCount<32>(output);
    if (count - 1 < std::max(head + 7, 8u)) {
      return convertElements(raw, output, count, scale, offset);
    }
  }
  convertElements(raw, output, head, scale, offset);
  const Split split = splitAfterHead<kBlockResults>(head, count);
  Blocks::convertBlocks(raw.from(head), output + head, split.blocks, scale, offset);
  const uint32_t done = head + split.blocks * kBlockResults;
  convertElements(raw.from(done), output + done, split.tail, scale, offset);
}

template <bool AlignedOutput, typename Blocks, typename Out, uint32_t Code>
void convertRawType(const void* source, Out* output, Out scale, Out offset, int32_t count,
                    int32_t stride) {
  if (count < 1) return;
  using Raw = RawElement<Code>;
  const StridedRaw<Raw> raw{
      static_cast<const unsigned char*>(source),
      static_cast<std::ptrdiff_t>(stride) * static_cast<std::ptrdiff_t>(sizeof(Raw))};
  if constexpr (hasVectorBody<Out>(Code)) {
    convertBlocked<AlignedOutput, Blocks>(raw, output, static_cast<uint32_t>(count), scale, offset);
  } else {
    convertUnrolled<Blocks>(raw, output, static_cast<uint32_t>(count), scale, offset);
  }
}

template <bool AlignedOutput, typename Blocks, typename Out, uint32_t... Codes>
constexpr auto rawTypeTable(std::integer_sequence<uint32_t, Codes...>) {
  using Entry = void (*)(const void*, Out*, Out, Out, int32_t, int32_t);
  return std::array<Entry, sizeof...(Codes)>{&convertRawType<AlignedOutput, Blocks, Out, Codes>...};
}

// Every field is read once, before anything is written; a raw type above 8 is ignored.
template <bool AlignedOutput, typename Blocks, typename Request>
inline void convertRequest(const Request* request) {
  using Out = std::remove_pointer_t<decltype(request->output)>;
  const Request fields = *request;
  if (fields.rawType >= kRawTypeCount) return;
  static constexpr auto kByRawType = rawTypeTable<AlignedOutput, Blocks, Out>(
      std::make_integer_sequence<uint32_t, kRawTypeCount>{});
  kByRawType[fields.rawType](fields.source, fields.output, fields.scale, fields.offset,
                             fields.count, fields.stride);
}

}  // namespace
}  // namespace kx::channel
