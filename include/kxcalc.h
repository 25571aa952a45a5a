/*
 * kxcalc: numeric kernels for measurement and data-acquisition software.
 *
 * One header for C and C++. Three builds of the library carry the same exports:
 *   kxcalc              picks one of the two below for each export when it is loaded
 *   kxcalc-avx2fma3     256-bit AVX2 and FMA3 kernels
 *   kxcalc-generic      portable code with bit-identical results
 *
 * Results are defined bit for bit under the default floating-point environment:
 * round to nearest even, no flush-to-zero, no denormals-are-zero. A caller that
 * changes the MXCSR or the x87 control word gets unspecified bits.
 *
 * The library keeps no global state and allocates only for the streaming
 * interpolator. Pointers and ranges are not validated unless a function says so.
 */
#ifndef KXCALC_H
#define KXCALC_H

#include <stdint.h>

/* On Windows the library's module-definition file names the exports. */
#if defined(_WIN32) && defined(KXCALC_BUILDING_LIBRARY)
#define KXCALC_API
#elif defined(_WIN32)
#define KXCALC_API __declspec(dllimport)
#elif defined(__GNUC__) || defined(__clang__)
#define KXCALC_API __attribute__((visibility("default")))
#else
#define KXCALC_API
#endif

/* Double and 64-bit fields of the records keep their natural 8-byte alignment
   also on 32-bit targets whose ABI would place them at 4. */
#if defined(__cplusplus)
#define KXCALC_ALIGN8 alignas(8)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define KXCALC_ALIGN8 _Alignas(8)
#else
#define KXCALC_ALIGN8 __attribute__((aligned(8)))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------ */
/* Library frame and block statistics                                        */
/* ------------------------------------------------------------------------ */

/* Writes major 2 and minor 17; *callerValueAbove9 = (callerValue > 9), signed. */
KXCALC_API void kxcalcGetVersion(uint32_t* major, uint32_t* minor, int32_t callerValue,
                                 uint32_t* callerValueAbove9);

/* "avx2fma3" or "generic": the kernels that the dispatching library (kxcalc) chose when it
   was loaded. Only that library exports it. */
KXCALC_API const char* kxcalcActiveVariant(void);

/* Minimum and maximum of count >= 1 samples; both outputs are overwritten. */
KXCALC_API void kxcalcGetMinMax_int16_t(const int16_t* data, uint32_t count, int16_t* minimum,
                                        int16_t* maximum);
KXCALC_API void kxcalcGetMinMax_int32_t(const int32_t* data, uint32_t count, int32_t* minimum,
                                        int32_t* maximum);
KXCALC_API void kxcalcGetMinMax_float(const float* data, uint32_t count, float* minimum,
                                      float* maximum);
KXCALC_API void kxcalcGetMinMax_double(const double* data, uint32_t count, double* minimum,
                                       double* maximum);

/* Running statistics: adds the samples to *sum and (sample + offset)^2 to
   *sumOfSquares. A short block merges into *minimum and *maximum, a long block
   overwrites them with its own extremes. Count 0 touches nothing. */
KXCALC_API void kxcalcGetMinMaxAveRMS_float(const float* data, uint32_t count, float* minimum,
                                            float* maximum, double* sum, double* sumOfSquares,
                                            float offset);
KXCALC_API void kxcalcGetMinMaxAveRMS_double(const double* data, uint32_t count, double* minimum,
                                             double* maximum, double* sum, double* sumOfSquares,
                                             double offset);
KXCALC_API void kxcalcGetMinMaxAveRMS_int16_t(const int16_t* data, uint32_t count, int16_t* minimum,
                                              int16_t* maximum, double* sum, double* sumOfSquares,
                                              float offset);
KXCALC_API void kxcalcGetMinMaxAveRMS_int32_t(const int32_t* data, uint32_t count, int32_t* minimum,
                                              int32_t* maximum, double* sum, double* sumOfSquares,
                                              double offset);

/* Copies source[i * stride] to destination[i] and measures the samples as
   kxcalcGetMinMaxAveRMS_int16_t does. A stride of 1 or less on a block of 16
   or more is taken as 1. */
KXCALC_API void kxcalcMoveAndGetMinMaxAveRMS_int16_t(int16_t* destination, const int16_t* source,
                                                     uint32_t count, int16_t* minimum,
                                                     int16_t* maximum, double* sum,
                                                     double* sumOfSquares, float offset,
                                                     int32_t stride);

/* ------------------------------------------------------------------------ */
/* Vector arithmetic and integer sample conversion                           */
/* ------------------------------------------------------------------------ */

KXCALC_API void kxcalcMultiplyVectorByScalar_float(float* data, uint32_t count, float factor);
KXCALC_API void kxcalcMultiplyVectorByScalar_double(double* data, uint32_t count, double factor);
KXCALC_API double kxcalcSumSquaredValues_float(const float* data, uint32_t count);
KXCALC_API double kxcalcMultiplyVectorsAndCalcSum_float(const float* a, const float* b,
                                                        uint32_t count);
/* out[i] = (a[i] - b[i]) * factor; out may be a or b. */
KXCALC_API void kxcalcSubtractVectorsAndMultiplyByScalar_float(float* out, const float* a,
                                                               const float* b, uint32_t count,
                                                               float factor);
/* out[i] = (a[i] + factorOfB * b[i]) * factorOfSum; out may be a or b. */
KXCALC_API void kxcalcAddVectorsAndMultiplyByScalar_float(float* out, const float* a,
                                                          const float* b, uint32_t count,
                                                          float factorOfB, float factorOfSum);
/* Keeps the low 16 bits of each value (truncation, not saturation). */
KXCALC_API void kxcalcConvertInt32ToInt16(const int32_t* source, int16_t* destination,
                                          uint32_t count);
KXCALC_API void kxcalcConvertInt16ToInt32(const int16_t* source, int32_t* destination,
                                          uint32_t count);

/* ------------------------------------------------------------------------ */
/* Channel data access                                                       */
/* ------------------------------------------------------------------------ */

/* Raw sample type codes; the order is part of the interface. */
typedef uint32_t RawSampleType;
enum {
  RawType_uint8_t = 0,
  RawType_int8_t = 1,
  RawType_int16_t = 2,
  RawType_uint16_t = 3,
  RawType_int32_t = 4,
  RawType_float = 5,
  RawType_int64_t = 6,
  RawType_double = 7,
  RawType_uint32_t = 8
};

/* output[i] = raw[i * stride] * scale + offset for i < count; stride in raw
   elements. A count below 1 or a rawType above 8 leaves output untouched. */
typedef struct ScaledValuesRequest_float {
  const void* source;
  float* output;
  float scale;
  float offset;
  int32_t count;
  RawSampleType rawType;
  int32_t stride;
} ScaledValuesRequest_float;

typedef struct ScaledValuesRequest_double {
  const void* source;
  double* output;
  KXCALC_ALIGN8 double scale;
  KXCALC_ALIGN8 double offset;
  int32_t count;
  RawSampleType rawType;
  int32_t stride;
} ScaledValuesRequest_double;

KXCALC_API void kxcalcChannelGetScaledValuesAtPos_float(const ScaledValuesRequest_float* request);
/* output must be 32-byte aligned. */
KXCALC_API void kxcalcChannelGetScaledValuesAtPos_float_aligned_output(
    const ScaledValuesRequest_float* request);
KXCALC_API void kxcalcChannelGetScaledValuesAtPos_double(const ScaledValuesRequest_double* request);
/* output must be 32-byte aligned. */
KXCALC_API void kxcalcChannelGetScaledValuesAtPos_double_aligned_output(
    const ScaledValuesRequest_double* request);

/* Streaming Catmull-Rom resampler. */
typedef struct CHSInterpolatorParams {
  KXCALC_ALIGN8 double sourceRate;
  KXCALC_ALIGN8 double targetRate;
  uint32_t ringSize; /* a power of two */
} CHSInterpolatorParams;

typedef struct CHSInterpolator CHSInterpolator; /* opaque handle */

enum {
  CHSInterpolator_Success = 0,
  CHSInterpolator_InvalidArgument = 1,
  CHSInterpolator_BlockTooLarge = 2,
  CHSInterpolator_AlreadyStopped = 3,
  CHSInterpolator_RingSizeNotPowerOfTwo = 4
};

KXCALC_API uint32_t kxcalcCHSInterpolator_Create(CHSInterpolator** handle,
                                                 const CHSInterpolatorParams* params);
/* *output receives the handle's output array, valid until the next call. */
KXCALC_API uint32_t kxcalcCHSInterpolator_InterpolateValues(CHSInterpolator* handle,
                                                            const float* input, uint32_t count,
                                                            const float** output,
                                                            uint32_t* outputCount);
KXCALC_API uint32_t kxcalcCHSInterpolator_Stop(CHSInterpolator* handle, const float** output,
                                               uint32_t* outputCount);
KXCALC_API uint32_t kxcalcCHSInterpolator_Reset(CHSInterpolator* handle);
KXCALC_API uint32_t kxcalcCHSInterpolator_Destroy(CHSInterpolator* handle);

/* ------------------------------------------------------------------------ */
/* Graph and cursor helpers                                                  */
/* ------------------------------------------------------------------------ */

typedef struct XYGraphPointRequest {
  uint32_t pointsLeft; /* more than 3 maps four points */
  uint8_t reserved;
  uint8_t xSource;   /* 0 index, 1 xData[index], 2 index * xStep + xStart */
  uint8_t yDataType; /* RawType_float reads floats, anything else doubles */
  uint8_t xScale;    /* 0 linear, 1 logarithmic, other: x is the fraction */
  int32_t index;
  uint8_t yScale; /* 0 linear, 1 logarithmic, other: decibel */
  int16_t left;
  int16_t top;
  int16_t right;
  int16_t bottom;
  KXCALC_ALIGN8 double xStep;
  KXCALC_ALIGN8 double xStart;
  KXCALC_ALIGN8 double yFactor;
  KXCALC_ALIGN8 double yOffset;
  KXCALC_ALIGN8 double xMax;
  KXCALC_ALIGN8 double xMin;
  KXCALC_ALIGN8 double xLogMax;
  KXCALC_ALIGN8 double xLogMin;
  KXCALC_ALIGN8 double yMax;
  KXCALC_ALIGN8 double yMin;
  KXCALC_ALIGN8 double yLogMax;
  KXCALC_ALIGN8 double yLogMin;
  KXCALC_ALIGN8 double dbReference;
  const void* yData;
  const double* xData;
  int32_t* xPixels;
  int32_t* yPixels;
  uint32_t* pointCount;
} XYGraphPointRequest;

/* Maps four points (pointsLeft > 3) or one, and writes the count to *pointCount. Pixels lie
   in [-32768, 32767]; a NaN value gives -32768. */
KXCALC_API void kxcalcGetXYValGraph2D(const XYGraphPointRequest* request);

/* Nearest pixel to the cursor whose value is not excluded; row y starts at
   byte address image - y * stride (stride rounded toward zero to 4 bytes). */
KXCALC_API void kxcalcFindCursorXY(const uint32_t* image, int32_t stride, int32_t width,
                                   int32_t height, int32_t cursorX, int32_t cursorY,
                                   uint32_t* foundValue, uint32_t* foundX, uint32_t* foundY,
                                   const uint32_t* excluded, int32_t excludedCount);

/* ------------------------------------------------------------------------ */
/* Digital filters                                                           */
/* ------------------------------------------------------------------------ */

typedef struct IIRTap {
  double x; /* input value of the section */
  double y; /* output value of the section */
  double b; /* feed-forward coefficient */
  double a; /* feedback coefficient */
} IIRTap;

typedef struct IIRFilterState {
  int32_t kind; /* 3: fixed second-order sections; other: order + 1 taps each */
  int32_t sectionCount;
  int32_t order;
  int32_t reserved; /* the caller's */
  const double* gains;
  IIRTap* taps; /* 16-byte aligned, sections back to back */
} IIRFilterState;

typedef struct PinkFilterState {
  double s[8];
} PinkFilterState;

KXCALC_API float kxcalcIIRFilter_float(IIRFilterState* state, float sample);
KXCALC_API double kxcalcIIRFilter_double(IIRFilterState* state, double sample);
KXCALC_API double kxcalcPinkFilter_double(PinkFilterState* state, double white);

/* Dot product of coefficients with the ring read from position on, wrapping. */
KXCALC_API float kxcalcFIRFilter_float(const float* ring, const float* coefficients, int32_t length,
                                       int32_t position);

/* ------------------------------------------------------------------------ */
/* Combustion analysis                                                       */
/* ------------------------------------------------------------------------ */

KXCALC_API uint32_t kxCalcCACopyRawDataToChannels(const float* source, float* destination,
                                                  uint32_t start, uint32_t end, float baseline,
                                                  float* maxValue, uint32_t* maxIndex);
/* In place; values must be 16-byte aligned and 8 * count bytes long. */
KXCALC_API void* kxcalcCADoubleArrToSingleArrInplace(void* values, uint32_t count);
/* In place; values must be 32-byte aligned and 8 * count bytes long. */
KXCALC_API void* kxcalcCASingleArrToDoubleArrInplace(void* values, uint32_t count);

KXCALC_API float kxcalcCACalcFilter_int16_t(const int16_t* samples, uint32_t tapCount,
                                            const float* coefficients, uint32_t stride);
KXCALC_API float kxcalcCACalcFilter_float(const float* samples, uint32_t tapCount,
                                          const float* coefficients, uint32_t stride);
KXCALC_API float kxcalcCACalcFilter_int32_t(const int32_t* samples, uint32_t tapCount,
                                            const float* coefficients, uint32_t stride);
KXCALC_API void kxcalcCACalcAveFilter_double_scalar(const double* source, double* destination,
                                                    uint16_t width, uint32_t count);
KXCALC_API void kxcalcCACalcAveFilter_double(const double* source, double* destination,
                                             uint16_t width, uint32_t count);

KXCALC_API void kxcalcCAPV_lin(const float* values, uint32_t count, int32_t* coordinates,
                               int32_t minCoordinate, int32_t maxCoordinate, float scale,
                               float shift);
KXCALC_API void kxcalcCAPV_log(const float* values, uint32_t count, int32_t* coordinates,
                               int32_t minCoordinate, int32_t maxCoordinate, float scale,
                               float shift, float reference);

/* end is exclusive here ... */
KXCALC_API uint32_t kxCalcCAOverallPressure(const float* cyclePressure, float* overallPressure,
                                            uint32_t start, uint32_t end, uint64_t cycleCount,
                                            float* maxValue);
/* ... and inclusive here. */
KXCALC_API uint32_t kxCalcCARunningVal(const float* cycleValues, const float* oldestValues,
                                       float* runningSum, float* runningValues, uint32_t start,
                                       uint32_t end, uint64_t cycleCount, uint32_t windowCycles);

/* ------------------------------------------------------------------------ */
/* Elementary functions                                                      */
/* ------------------------------------------------------------------------ */

KXCALC_API void kxcalcSin_float(const float* input, float* output, uint32_t count);
KXCALC_API void kxcalcATan_float(const float* input, float* output, uint32_t count);

/* ------------------------------------------------------------------------ */
/* Power analysis                                                            */
/* ------------------------------------------------------------------------ */

typedef struct PowerFIRRequest {
  const float* samples;      /* circular buffer of length samples */
  const float* coefficients; /* sets of 16 */
  uint32_t position;         /* next sample to be written */
  uint32_t coefficientSet;
  uint32_t length;
} PowerFIRRequest;

typedef struct ScaleSumRequest {
  const double* input;
  float* output;
  KXCALC_ALIGN8 double sum; /* in/out */
  float scale;
  int32_t count;
  int32_t accumulate; /* non-zero: add the output magnitudes to sum */
} ScaleSumRequest;

KXCALC_API float kxcalcPowerCalcFIR_float(const PowerFIRRequest* request);
KXCALC_API void kxcalcPowerSumVectorMultipliedWithScalar_double(ScaleSumRequest* request);
KXCALC_API void kxcalcPowerPandQsum(const float* voltage, const float* current, uint32_t binCount,
                                    double* p, double* q);
KXCALC_API double kxcalcPowerMultiplyAndSquareElementsAndSumVector_float(const float* values,
                                                                         int32_t count,
                                                                         float factor);

KXCALC_API void kxcalcPowerCorrectFFT_U(float* spectrum, const float* correction, int32_t count);
KXCALC_API void kxcalcPowerNegateImag_float(float* data, uint32_t count);
KXCALC_API int32_t kxcalcPowerFindIndexOfMaxAmplitude(const float* spectrum, uint32_t binCount);
KXCALC_API double kxcalcPowerHarmonicZero(const float* spectrum, uint32_t binCount);

KXCALC_API void kxcalcPowerAngles(const float* spectrum, float* angles, int32_t count,
                                  float phaseStep, float binsPerOrder);

/* classes: 1000 counters, 100 per decade from 1e-4. */
KXCALC_API void kxcalcPowerFlickerAddToClass(const float* values, int32_t count, uint32_t* classes);

typedef struct FlickerChainState {
  double* lpInput;   /* 3 */
  double* lpInput1;  /* 3 */
  double* lpInput2;  /* 3 */
  double* lpOutput;  /* 3 */
  double* lpOutput1; /* 3 */
  double* lpOutput2; /* 3 */
  const double* lpGain;
  const double* lpA1;
  const double* lpA2;
  const double* weightCoef; /* 12, 16-byte aligned */
  const double* hpCoef;     /* 3, 16-byte aligned */
  double* bpHistory;        /* 3 */
  double* hpHistory;        /* 3 */
  double* wsInputHistory;   /* 3 */
  double* wsOutputHistory;  /* 3 */
  double* squareHistory;    /* 2, 16-byte aligned */
  double* smoothHistory;    /* 2 */
  double* hpInputHistory;   /* 2, 16-byte aligned */
  double* hpOutput;         /* 2 */
  int32_t started;
} FlickerChainState;

KXCALC_API uint32_t kxcalcPowerFlicker(FlickerChainState* state, const float* input, float* output,
                                       uint32_t count);

#ifdef __cplusplus
}
#endif

/* Record sizes on 32-bit targets, where the application's records are laid out. */
#if UINTPTR_MAX == 0xFFFFFFFFu
#if defined(__cplusplus)
#define KXCALC_SIZE_IS(type, size) static_assert(sizeof(type) == (size), #type)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define KXCALC_SIZE_IS(type, size) _Static_assert(sizeof(type) == (size), #type)
#endif
#ifdef KXCALC_SIZE_IS
KXCALC_SIZE_IS(ScaledValuesRequest_float, 28);
KXCALC_SIZE_IS(ScaledValuesRequest_double, 40);
KXCALC_SIZE_IS(CHSInterpolatorParams, 24);
KXCALC_SIZE_IS(XYGraphPointRequest, 152);
KXCALC_SIZE_IS(IIRTap, 32);
KXCALC_SIZE_IS(IIRFilterState, 24);
KXCALC_SIZE_IS(PinkFilterState, 64);
KXCALC_SIZE_IS(PowerFIRRequest, 20);
KXCALC_SIZE_IS(ScaleSumRequest, 32);
KXCALC_SIZE_IS(FlickerChainState, 80);
#undef KXCALC_SIZE_IS
#endif
#endif

#endif /* KXCALC_H */
