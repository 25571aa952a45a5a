// Included by the *_exports.cpp files, which are compiled once per variant with
// KX_VARIANT set to avx2 or generic: `variant::` then names that variant's kernels.
#pragma once

#include "kxcalc.h"

#ifndef KX_VARIANT
#error "an exports file is compiled once per variant, with KX_VARIANT=avx2 or KX_VARIANT=generic"
#endif

namespace kx::KX_VARIANT {}
namespace variant = ::kx::KX_VARIANT;
