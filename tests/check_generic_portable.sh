#!/usr/bin/env bash
# Usage: check_generic_portable.sh LIBRARY [OBJDUMP]
# The generic library runs on any x86-64: no AVX register and no fused multiply-add
# instruction may appear in its code.
set -euo pipefail
library=$1 objdump=${2:-objdump}
hits=$("$objdump" -d --no-show-raw-insn "$library" | grep -cE '%[yz]mm|vfn?m(add|sub)' || true)
if [ "$hits" != 0 ]; then
  echo "$library holds $hits AVX or FMA instructions:"
  "$objdump" -d --no-show-raw-insn "$library" | grep -E '%[yz]mm|vfn?m(add|sub)' | head -5
  exit 1
fi
echo "$library: no AVX or FMA instructions"
