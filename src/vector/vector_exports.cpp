// C exports of the vector arithmetic and the integer sample conversion.
#include "core/export.h"
#include "vector/vector.h"

void kxcalcMultiplyVectorByScalar_float(float* data, uint32_t count, float factor) {
  variant::multiplyVectorByScalar(data, count, factor);
}
void kxcalcMultiplyVectorByScalar_double(double* data, uint32_t count, double factor) {
  variant::multiplyVectorByScalar(data, count, factor);
}
double kxcalcSumSquaredValues_float(const float* data, uint32_t count) {
  return variant::sumSquaredValues(data, count);
}
double kxcalcMultiplyVectorsAndCalcSum_float(const float* a, const float* b, uint32_t count) {
  return variant::multiplyVectorsAndCalcSum(a, b, count);
}
void kxcalcSubtractVectorsAndMultiplyByScalar_float(float* out, const float* a, const float* b,
                                                    uint32_t count, float factor) {
  variant::subtractVectorsAndMultiplyByScalar(out, a, b, count, factor);
}
void kxcalcAddVectorsAndMultiplyByScalar_float(float* out, const float* a, const float* b,
                                               uint32_t count, float factorOfB, float factorOfSum) {
  variant::addVectorsAndMultiplyByScalar(out, a, b, count, factorOfB, factorOfSum);
}
void kxcalcConvertInt32ToInt16(const int32_t* source, int16_t* destination, uint32_t count) {
  variant::convertInt32ToInt16(source, destination, count);
}
void kxcalcConvertInt16ToInt32(const int16_t* source, int32_t* destination, uint32_t count) {
  variant::convertInt16ToInt32(source, destination, count);
}
