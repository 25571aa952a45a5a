// The C types behind the raw sample type codes.
#pragma once

#include <cstdint>

#include "kxcalc.h"

namespace kxtest {

// Calls fn with a value-initialised sample of the C type behind a raw type code.
template <typename Fn>
void withRawType(uint32_t code, Fn fn) {
  switch (code) {
    case RawType_uint8_t:
      return fn(uint8_t{});
    case RawType_int8_t:
      return fn(int8_t{});
    case RawType_int16_t:
      return fn(int16_t{});
    case RawType_uint16_t:
      return fn(uint16_t{});
    case RawType_int32_t:
      return fn(int32_t{});
    case RawType_float:
      return fn(float{});
    case RawType_int64_t:
      return fn(int64_t{});
    case RawType_double:
      return fn(double{});
    default:
      return fn(uint32_t{});
  }
}

}  // namespace kxtest
