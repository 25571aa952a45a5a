#!/usr/bin/env bash
# Usage: tool_test.sh CASE KXCALC WRITE_TEST_FILE READ_TEST_FILE STUB_LIBRARY
# Runs one case of the kxcalc program's tests. Exit 0 passed, 1 failed, 77 skipped.
# Sample lists and argument sets are split into words on purpose.
# shellcheck disable=SC2046,SC2086
set -uo pipefail
case_name=$1 kxcalc=$2 write_file=$3 read_file=$4 stub_library=$5

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
out=$work/stdout err=$work/stderr status=0

fail() {
  echo "FAIL: $*"
  echo "--- stdout:"; cat "$out" 2>/dev/null
  echo "--- stderr:"; cat "$err" 2>/dev/null
  exit 1
}

# run ARGS...: runs kxcalc, leaving its output in $out and $err and its exit status in $status.
run() {
  "$kxcalc" "$@" >"$out" 2>"$err"
  status=$?
  [ $status -lt 128 ] || fail "kxcalc $* died with status $status"
}

# succeeds ARGS...: the run must exit 0 and print nothing on stderr.
succeeds() {
  run "$@"
  [ $status -eq 0 ] || fail "kxcalc $* exited with $status"
  [ ! -s "$err" ] || fail "kxcalc $* wrote to stderr"
}

# refuses STATUS PATTERN ARGS...: the run must exit with STATUS and say, on exactly one line
# of stderr, something matching the extended regular expression PATTERN.
refuses() {
  local expected=$1 pattern=$2
  shift 2
  run "$@"
  [ $status -eq "$expected" ] || fail "kxcalc $* exited with $status, not $expected"
  [ "$(wc -l <"$err")" -eq 1 ] || fail "kxcalc $* did not write exactly one line to stderr"
  grep -qE "^kxcalc: .*$pattern" "$err" || fail "kxcalc $* did not say /$pattern/"
  if grep -q "^per channel" "$out"; then fail "kxcalc $* printed statistics as well"; fi
}

# row CHANNEL: that channel's line of the statistics table (minimum maximum mean RMS).
row() {
  awk -v channel="$1" 'table && $1 == channel && NF == 5 {print $2, $3, $4, $5}
                       /^ *channel +minimum +maximum +mean +RMS/ {table = 1}' "$out"
}

# expect_row CHANNEL MIN MAX MEAN RMS: equal to 10 significant digits (the table's precision).
expect_row() {
  local channel=$1 actual
  shift
  actual=$(row "$channel")
  [ -n "$actual" ] || fail "no statistics for channel $channel"
  awk -v actual="$actual" -v expected="$*" 'BEGIN {
        n = split(actual, a, " "); split(expected, e, " ")
        for (i = 1; i <= 4; i++) {
          d = a[i] - e[i]; if (d < 0) d = -d
          m = e[i] < 0 ? -e[i] : e[i]
          if (n != 4 || d > 1e-9 * m + 1e-12) exit 1
        }
      }' || fail "channel $channel: got $actual, expected $*"
}

cpu_has_avx2_and_fma() { grep -qw avx2 /proc/cpuinfo && grep -qw fma /proc/cpuinfo; }

# The values 1 .. N, and the statistics of a channel holding them times a factor.
sequence() { seq "$1" "$2" "$3" | tr '\n' ' '; }

case $case_name in
help)
  succeeds --help
  grep -q "^Usage: kxcalc COMMAND" "$out" || fail "no usage"
  for command in stats resample plot; do
    grep -qE "^  $command +[a-z]" "$out" || fail "$command not listed"
    succeeds $command --help
    grep -q "^Usage: kxcalc $command" "$out" || fail "no usage of $command"
    grep -q -- "--variant" "$out" || fail "--variant not explained by $command --help"
  done
  ;;

error_command)
  refuses 2 "no command given \(stats, resample or plot\) \(see kxcalc --help\)"
  refuses 2 "unknown command 'stat' \(stats, resample or plot\)" stat
  refuses 2 "unknown command '--frames'" --frames 10
  ;;

default_run)
  succeeds stats
  if cpu_has_avx2_and_fma; then variant=avx2fma3; else variant=generic; fi
  grep -q "^variant: $variant " "$out" || fail "does not say it runs on $variant"
  grep -qE "^throughput: .* MB/s, .* samples/s" "$out" || fail "no throughput"
  for channel in 0 1 2 3; do
    expected=$(sed -nE "s/^  channel $channel: .*expect mean ~(\S+), RMS ~(\S+)$/\1 \2/p" "$out")
    actual=$(row $channel)
    if [ -z "$expected" ] || [ -z "$actual" ]; then fail "channel $channel missing"; fi
    awk -v e="$expected" -v a="$actual" 'BEGIN {
          split(e, x, " "); split(a, y, " ")
          d = y[3] - x[1]; if (d < 0) d = -d; if (d > 10) exit 1          # mean
          r = y[4] / x[2] - 1; if (r < 0) r = -r; if (r > 0.005) exit 1   # RMS
          if (!(y[1] < y[3] && y[3] < y[2])) exit 1
        }' || fail "channel $channel: statistics $actual far from the expected $expected"
  done
  ;;

forced_generic)
  succeeds stats --variant generic --frames 1000
  grep -q "^variant: generic (requested" "$out" || fail "does not say it runs on generic"
  grep -q "libkxcalc-generic.so.2.17" "$out" || fail "does not name the library"
  ;;

forced_avx2)
  cpu_has_avx2_and_fma || { echo "no AVX2 and FMA on this processor; skipped"; exit 77; }
  succeeds stats --variant avx2 --frames 1000
  grep -q "^variant: avx2fma3 (requested" "$out" || fail "does not say it runs on avx2fma3"
  ;;

variants_agree_synthetic | variants_agree_files)
  cpu_has_avx2_and_fma || { echo "no AVX2 and FMA on this processor; skipped"; exit 77; }
  if [ $case_name = variants_agree_synthetic ]; then
    # Several channels take the strided path, one channel the contiguous one.
    argument_sets=("--frames 100003 --channels 5" "--frames 4099 --channels 1")
  else
    "$write_file" raw float "$work/values.f32" $(sequence -1.7 0.013 2.9) || fail "writing"
    argument_sets=("--type float --channels 3 $work/values.f32"
                   "--type float --channels 3 --precision single --scale 0.3 $work/values.f32")
  fi
  for arguments in "${argument_sets[@]}"; do
    succeeds stats --variant generic $arguments
    sed -n '/^per channel/,/^$/p' "$out" >"$work/generic"
    succeeds stats --variant avx2 $arguments
    sed -n '/^per channel/,/^$/p' "$out" >"$work/avx2"
    [ -s "$work/generic" ] || fail "no statistics for $arguments"
    diff "$work/generic" "$work/avx2" || fail "the variants differ on $arguments"
  done
  ;;

wav_file | wav_file_scaled)
  # Channel 0 alternates between +-half scale; channel 1 ramps from -500 to 499 counts.
  samples=$(awk 'BEGIN { for (i = 0; i < 1000; i++) printf "%d %d ", i % 2 ? -16384 : 16384, i - 500 }')
  "$write_file" wav "$work/test.wav" 48000 2 $samples || fail "writing the WAV file"
  ramp_rms=$(awk 'BEGIN { for (i = 0; i < 1000; i++) s += (i - 500) ^ 2; printf "%.17g", sqrt(s / 1000) }')
  if [ "$case_name" = wav_file ]; then
    succeeds stats "$work/test.wav"
    grep -q "1000 frames of 2 channels" "$out" || fail "does not describe the file"
    grep -q "in full-scale units" "$out" || fail "does not give the unit"
    expect_row 0 -0.5 0.5 0 0.5
    expect_row 1 "$(awk "BEGIN { printf \"%.17g %.17g %.17g %.17g\", -500 / 32768, 499 / 32768, -0.5 / 32768, $ramp_rms / 32768 }")"
  else
    succeeds stats --scale 2,32768 --offset 1,0 "$work/test.wav"
    expect_row 0 0 2 1 "$(awk 'BEGIN { printf "%.17g", sqrt(2) }')"
    expect_row 1 -500 499 -0.5 "$ramp_rms"
  fi
  ;;

raw_int16_four_channels)
  # 200 frames: i, -i, 7 and an alternating +-1000.
  samples=$(awk 'BEGIN { for (i = 0; i < 200; i++) printf "%d %d 7 %d ", i, -i, i % 2 ? -1000 : 1000 }')
  "$write_file" raw int16 "$work/four.raw" $samples || fail "writing the raw file"
  succeeds stats --type int16 --channels 4 --scale 0.5,1,1,2 --offset 0,0,10,0 "$work/four.raw"
  grep -q "200 frames, 4 channels of int16 (8 bytes)" "$out" || fail "does not describe the file"
  squares=$(awk 'BEGIN { for (i = 0; i < 200; i++) s += i * i; printf "%.17g", s }')
  expect_row 0 0 99.5 49.75 "$(awk "BEGIN { printf \"%.17g\", sqrt($squares / 4 / 200) }")"
  expect_row 1 -199 0 -99.5 "$(awk "BEGIN { printf \"%.17g\", sqrt($squares / 200) }")"
  expect_row 2 17 17 17 17
  expect_row 3 -2000 2000 0 2000
  ;;

raw_every_type)
  # 40 frames of two channels: 1 .. 40, and -3 .. -120 (3 .. 120 for unsigned types).
  squares=$(awk 'BEGIN { for (i = 1; i <= 40; i++) s += i * i; printf "%.17g", s }')
  rms=$(awk "BEGIN { printf \"%.17g\", sqrt($squares / 40) }")
  for type in uint8 int8 int16 uint16 int32 float int64 double uint32; do
    case $type in uint*) sign=1 ;; *) sign=-1 ;; esac
    samples=$(awk -v sign=$sign 'BEGIN { for (i = 1; i <= 40; i++) printf "%d %d ", i, sign * 3 * i }')
    "$write_file" raw $type "$work/$type.raw" $samples || fail "writing $type"
    for precision in double single; do
      succeeds stats --type $type --channels 2 --precision $precision "$work/$type.raw"
      expect_row 0 1 40 20.5 "$rms"
      if [ $sign = 1 ]; then
        expect_row 1 3 120 61.5 "$(awk "BEGIN { printf \"%.17g\", 3 * $rms }")"
      else
        expect_row 1 -120 -3 -61.5 "$(awk "BEGIN { printf \"%.17g\", 3 * $rms }")"
      fi
    done
  done
  ;;

single_precision)
  # 4294967295 is exact in double and rounds to 2^32 in single precision.
  "$write_file" raw uint32 "$work/top.raw" $(yes 4294967295 | head -n 20)
  succeeds stats --type uint32 "$work/top.raw"
  expect_row 0 4294967295 4294967295 4294967295 4294967295
  grep -q "kxcalcChannelGetScaledValuesAtPos_double" "$out" || fail "does not name the export"
  succeeds stats --type uint32 --precision single "$work/top.raw"
  expect_row 0 4294967296 4294967296 4294967296 4294967296
  grep -q "kxcalcChannelGetScaledValuesAtPos_float" "$out" || fail "does not name the export"
  ;;

error_missing_file)
  refuses 1 "cannot open '$work/absent.wav': No such file or directory" stats "$work/absent.wav"
  refuses 1 "cannot open .*No such file" stats --type int16 "$work/absent.raw"
  ;;

error_directory)
  refuses 1 "cannot read '$work': it is a directory" stats "$work"
  refuses 1 "it is a directory" stats --type double "$work"
  ;;

error_shorter_than_one_frame)
  "$write_file" raw int16 "$work/short.raw" 1 2 3
  refuses 1 "shorter than one frame: 6 bytes, a frame is 4 channels of int16 \(8 bytes\)" stats \
    --type int16 --channels 4 "$work/short.raw"
  : >"$work/empty.raw"
  refuses 1 "shorter than one frame: 0 bytes" stats --type uint8 "$work/empty.raw"
  ;;

error_empty_wav)
  "$write_file" wav "$work/empty.wav" 8000 1 || fail "writing the WAV file"
  refuses 1 "'$work/empty.wav' is shorter than one frame" stats "$work/empty.wav"
  ;;

error_ragged_raw)
  "$write_file" raw int16 "$work/ragged.raw" $(seq 1 9)
  refuses 1 "not a whole number of frames: 18 bytes is 2 frames of 4 channels of int16 \(8 bytes\) and 2 bytes left over" stats \
    --type int16 --channels 4 "$work/ragged.raw"
  ;;

error_not_a_sound_file)
  "$write_file" raw int16 "$work/data.raw" $(seq 1 64)
  refuses 1 "cannot read '$work/data.raw' as a sound file .*give --type" stats "$work/data.raw"
  ;;

error_unknown_type)
  "$write_file" raw int16 "$work/data.raw" 1 2
  refuses 2 "unknown sample type 'int12' \(known: uint8, int8, int16, uint16, int32, float, int64, double, uint32\)" stats \
    --type int12 "$work/data.raw"
  ;;

error_bad_numbers)
  "$write_file" raw int16 "$work/data.raw" 1 2 3 4
  refuses 2 "--channels: 'abc' is not a whole number" stats --type int16 --channels abc "$work/data.raw"
  refuses 2 "--channels: '-2' is not a whole number" stats --type int16 --channels -2 "$work/data.raw"
  refuses 2 "--channels: '2x' is not a whole number" stats --type int16 --channels=2x "$work/data.raw"
  refuses 2 "--channels: '99999999999999999999' is not" stats --type int16 --channels 99999999999999999999 "$work/data.raw"
  refuses 2 "--scale: 'x' is not a finite number" stats --type int16 --scale 1,x "$work/data.raw"
  refuses 2 "--scale: '' is not a finite number" stats --type int16 --scale 1, "$work/data.raw"
  refuses 2 "--scale: '1e999' is not a finite number" stats --type int16 --scale 1e999 "$work/data.raw"
  refuses 2 "--offset: 'nan' is not a finite number" stats --type int16 --offset nan "$work/data.raw"
  refuses 2 "--frames: '0' is not a whole number" stats --frames 0
  refuses 2 "--channels needs a value" stats --type int16 "$work/data.raw" --channels
  refuses 2 "scale or offset beyond single precision" stats --type int16 --precision single --scale 1e300 "$work/data.raw"
  ;;

error_zero_channels)
  "$write_file" raw int16 "$work/data.raw" 1 2
  refuses 2 "--channels: '0' is not a whole number from 1 to" stats --type int16 --channels 0 "$work/data.raw"
  refuses 2 "--channels: '0' is not a whole number from 1 to" stats --channels 0
  ;;

error_scale_list_length)
  "$write_file" raw int16 "$work/data.raw" $(seq 1 16)
  refuses 2 "--scale lists 3 values for 4 channels" stats --type int16 --channels 4 --scale 1,2,3 "$work/data.raw"
  refuses 2 "--offset lists 2 values for 4 channels" stats --type int16 --channels 4 --offset 1,2 "$work/data.raw"
  ;;

error_unknown_option)
  refuses 2 "unknown option '--bogus' \(see kxcalc stats --help\)" stats --bogus
  refuses 2 "--variant: 'sse' is not auto, avx2 or generic" stats --variant sse
  refuses 2 "--type describes a raw FILE, and none was given" stats --type int16
  ;;

error_missing_export)
  # A library of the right name that exports only the version query.
  mkdir "$work/old" || fail "preparing the stub"
  cp "$kxcalc" "$work/old/kxcalc" || fail "preparing the stub"
  cp "$stub_library" "$work/old/" || fail "preparing the stub"
  kxcalc=$work/old/kxcalc
  "$write_file" raw int16 "$work/data.raw" 1 2 3 4
  refuses 1 "libkxcalc-generic.so.2.17 does not export kxcalcMoveAndGetMinMaxAveRMS_int16_t" stats \
    --variant generic
  refuses 1 "libkxcalc-generic.so.2.17 does not export kxcalcChannelGetScaledValuesAtPos_double" stats \
    --variant generic --type int16 "$work/data.raw"
  refuses 1 "cannot find libkxcalc-avx2fma3.so.2.17" stats --variant avx2
  ;;

*)
  echo "unknown case $case_name"
  exit 1
  ;;
esac
echo "$case_name: ok"
