// C exports of channel data access.
#include "channel/channel.h"
#include "core/export.h"

void kxcalcChannelGetScaledValuesAtPos_float(const ScaledValuesRequest_float* request) {
  variant::scaledValuesAtPos(request);
}
void kxcalcChannelGetScaledValuesAtPos_float_aligned_output(
    const ScaledValuesRequest_float* request) {
  variant::scaledValuesAtPosAlignedOutput(request);
}
void kxcalcChannelGetScaledValuesAtPos_double(const ScaledValuesRequest_double* request) {
  variant::scaledValuesAtPos(request);
}
void kxcalcChannelGetScaledValuesAtPos_double_aligned_output(
    const ScaledValuesRequest_double* request) {
  variant::scaledValuesAtPosAlignedOutput(request);
}
