/* Stands in for a library that predates most exports: only the version query. */
#include "kxcalc.h"

void kxcalcGetVersion(uint32_t* major, uint32_t* minor, int32_t callerValue,
                      uint32_t* callerValueAbove9) {
  *major = 2;
  *minor = 17;
  *callerValueAbove9 = callerValue > 9 ? 1 : 0;
}
