// Scaled channel values, both variants at each block size. A block is the memory one call
// streams through: the raw run (count * stride samples) plus the output.
#include <string>
#include <type_traits>

#include "bench_support.h"
#include "channel/channel.h"

namespace kxbench {
namespace {

template <typename Out>
using Request = std::conditional_t<std::is_same_v<Out, float>, ScaledValuesRequest_float,
                                   ScaledValuesRequest_double>;
template <typename Out>
using Kernel = void (*)(const Request<Out>*);

template <typename Out, typename Raw>
Body scaledValuesBody(Kernel<Out> kernel, uint32_t rawType, int32_t stride) {
  return [=](benchmark::State& state, std::size_t bytes) {
    const std::size_t count = bytes / (sizeof(Raw) * stride + sizeof(Out));
    const Raw* raw = samples<Raw>(count * sizeof(Raw) * stride);
    auto* output = static_cast<Out*>(scratch(count * sizeof(Out)));
    const Request<Out> request{raw,     output, Out(0.25), Out(-3), static_cast<int32_t>(count),
                               rawType, stride};
    for (auto _ : state) {
      kernel(&request);
      benchmark::ClobberMemory();
    }
  };
}

template <typename Out, typename Raw>
void registerScaledValues(const std::string& exportName, Kernel<Out> generic, Kernel<Out> avx2,
                          uint32_t rawType, const char* rawName, int32_t stride) {
  registerVariants(exportName + "_" + rawName + "_stride" + std::to_string(stride),
                   scaledValuesBody<Out, Raw>(generic, rawType, stride),
                   scaledValuesBody<Out, Raw>(avx2, rawType, stride));
}

template <typename Out>
void registerExport(const std::string& exportName, Kernel<Out> generic, Kernel<Out> avx2) {
  registerScaledValues<Out, int16_t>(exportName, generic, avx2, RawType_int16_t, "int16", 1);
  registerScaledValues<Out, int16_t>(exportName, generic, avx2, RawType_int16_t, "int16", 4);
  registerScaledValues<Out, uint32_t>(exportName, generic, avx2, RawType_uint32_t, "uint32", 1);
  registerScaledValues<Out, float>(exportName, generic, avx2, RawType_float, "float", 1);
  registerScaledValues<Out, double>(exportName, generic, avx2, RawType_double, "double", 1);
}

const bool registered = [] {
  using FloatKernel = Kernel<float>;
  using DoubleKernel = Kernel<double>;
  registerExport<float>("ChannelScaledValues_float", FloatKernel{kx::generic::scaledValuesAtPos},
                        FloatKernel{kx::avx2::scaledValuesAtPos});
  registerExport<float>("ChannelScaledValues_float_aligned_output",
                        FloatKernel{kx::generic::scaledValuesAtPosAlignedOutput},
                        FloatKernel{kx::avx2::scaledValuesAtPosAlignedOutput});
  registerExport<double>("ChannelScaledValues_double", DoubleKernel{kx::generic::scaledValuesAtPos},
                         DoubleKernel{kx::avx2::scaledValuesAtPos});
  registerExport<double>("ChannelScaledValues_double_aligned_output",
                         DoubleKernel{kx::generic::scaledValuesAtPosAlignedOutput},
                         DoubleKernel{kx::avx2::scaledValuesAtPosAlignedOutput});
  // The copy that the int16-to-float conversion is quoted against: per block, as many bytes
  // read and written as the conversion reads (2 per sample) and writes (4 per sample).
  registerSingle("CopyBaseline_Int16ToFloat", [](benchmark::State& state, std::size_t bytes) {
    const std::size_t half = bytes / 2 / 128 * 128;
    const void* source = samples<int16_t>(half);
    void* destination = scratch(half);
    for (auto _ : state) {
      copyBaseline(destination, source, half);
      benchmark::ClobberMemory();
    }
  });
  return true;
}();

}  // namespace
}  // namespace kxbench
