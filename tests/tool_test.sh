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

# A 503x385 picture has the plot area x 78 .. 478 and y 34 .. 334: 400 by 300 pixels.
small_plot=(--size 503x385)
blue='#1f77b4'

# pixels_are COLOUR PICTURE X,Y...: each listed pixel has that colour.
pixels_are() {
  local colour=$1 picture=$2 actual
  shift 2
  actual=$("$read_file" png-pixels "$picture" "$@" | sort -u) || fail "reading $picture"
  [ "$actual" = "$colour" ] || fail "pixels $* of $picture are $(echo $actual), not $colour"
}

# near ACTUAL EXPECTED TOLERANCE: |actual - expected| <= tolerance.
near() {
  awk -v a="$1" -v e="$2" -v t="$3" 'BEGIN { d = a - e; if (d < 0) d = -d; exit !(a != "" && d <= t) }'
}

# write_sine_raw PATH HZ FRAMES: a float sine of amplitude 0.5 at 48 kHz, raw.
write_sine_raw() {
  awk -v f="$2" -v n="$3" 'BEGIN { pi = atan2(0, -1)
      for (i = 0; i < n; i++) printf "%.9g\n", 0.5 * sin(2 * pi * f * i / 48000) }' |
    "$write_file" raw float "$1" - || fail "writing $1"
}

# gain_db IN_HZ FRAMES FILTER_ARGS...: the filter's gain in dB at IN_HZ, from the RMS of the
# output after the first FRAMES/5 frames (the transient), over whole periods of the sine.
gain_db() {
  local frequency=$1 frames=$2
  shift 2
  write_sine_raw "$work/sine.f32" "$frequency" "$frames"
  succeeds filter --type float --rate 48000 "$@" --encoding float -o "$work/filtered.wav" "$work/sine.f32"
  "$read_file" sound-samples "$work/filtered.wav" | awk -v f="$frequency" -v n="$frames" '
      BEGIN { period = 48000 / f; start = int(n / 5); whole = int((n - start) / period) * period
              if (whole != int(whole)) { print "no whole periods"; exit 1 } }
      NR > start && NR <= start + whole { sum += $1 * $1 }
      END { printf "%.4f\n", 10 * log(sum / whole / 0.125) / log(10) }'
}

# The first two channels of a 48 kHz 16-bit WAV: a 1 kHz sine of amplitude 0.5 and a 250 Hz
# one of 0.25, N frames.
write_sine_wav() {
  "$write_file" wav "$1" 48000 2 $(awk -v n="$2" 'BEGIN { pi = atan2(0, -1)
      for (i = 0; i < n; i++) printf "%d %d ", int(16384 * sin(2 * pi * 1000 * i / 48000)),
                                             int(8192 * sin(2 * pi * 250 * i / 48000)) }') ||
    fail "writing the WAV file"
}

cpu_has_avx2_and_fma() { grep -qw avx2 /proc/cpuinfo && grep -qw fma /proc/cpuinfo; }

# The values 1 .. N, and the statistics of a channel holding them times a factor.
sequence() { seq "$1" "$2" "$3" | tr '\n' ' '; }

case $case_name in
help)
  succeeds --help
  grep -q "^Usage: kxcalc COMMAND" "$out" || fail "no usage"
  for command in stats resample plot filter; do
    grep -qE "^  $command +[a-z]" "$out" || fail "$command not listed"
  done
  for command in stats resample plot filter; do
    succeeds $command --help
    grep -q "^Usage: kxcalc $command" "$out" || fail "no usage of $command"
    grep -q -- "--variant" "$out" || fail "--variant not explained by $command --help"
  done
  ;;

error_command)
  refuses 2 "no command given \(stats, resample, plot or filter\) \(see kxcalc --help\)"
  refuses 2 "unknown command 'stat' \(stats, resample, plot or filter\)" stat
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
  refuses 1 "libkxcalc-generic.so.2.17 does not export kxcalcCHSInterpolator_" resample \
    --variant generic --rate 8000
  refuses 1 "libkxcalc-generic.so.2.17 does not export kxcalcGetXYValGraph2D" plot \
    --variant generic --y-range 0,1 -o "$work/p.png"
  refuses 1 "libkxcalc-generic.so.2.17 does not export kxcalcIIRFilter_double" filter \
    --variant generic --filter lowpass --cutoff 1000
  refuses 1 "libkxcalc-generic.so.2.17 does not export kxcalcFIRFilter_float" filter \
    --variant generic --design fir --filter lowpass --cutoff 1000
  refuses 1 "libkxcalc-generic.so.2.17 does not export kxcalcPinkFilter_double" filter \
    --variant generic --pink
  ;;

stats_json)
  "$write_file" raw int16 "$work/data.raw" 1 -1 3 -3
  succeeds stats --json --type int16 --channels 2 "$work/data.raw"
  [ "$(wc -l <"$out")" -eq 1 ] || fail "not one line of JSON"
  grep -qF '"channels": [{"channel": 0, "minimum": 1, "maximum": 3, "mean": 2, "rms": 2.236067977' "$out" ||
    fail "channel 0 wrong"
  grep -qF '{"channel": 1, "minimum": -3, "maximum": -1, "mean": -2, "rms": 2.236067977' "$out" ||
    fail "channel 1 wrong"
  grep -qF '"unit": "raw values"' "$out" || fail "no unit"
  if command -v python3 >/dev/null; then python3 -m json.tool "$out" >/dev/null || fail "not JSON"; fi
  succeeds stats --json --frames 1000
  grep -qF '"unit": "counts"' "$out" || fail "no unit of the synthetic run"
  ;;

progress_bar)
  # Shown on a terminal (here one made by script) once the delay has passed, and cleared;
  # never when stderr is not a terminal, however long the work.
  command -v script >/dev/null || { echo "no script command; skipped"; exit 77; }
  export KXCALC_PROGRESS_DELAY_MS=0
  succeeds resample --rate 44100 --frames 500000
  script -qec "'$kxcalc' resample --rate 44100 --frames 500000" /dev/null >"$work/terminal" ||
    fail "the run on a terminal failed"
  grep -qE 'resample \[#*\.*\] +[0-9]+%' "$work/terminal" || fail "no progress bar on the terminal"
  grep -q $'\r\e\[K' "$work/terminal" || fail "the bar is not cleared"
  grep -q "^frames: 500000 in, 459375 out" "$work/terminal" || fail "no summary after the bar"
  ;;

resample_synthetic_wav)
  # 144000 frames at 48 kHz: trunc(143999 * 44100 / 48000 + 1) = 132300 frames at 44.1 kHz.
  succeeds resample --rate 44100 -o "$work/out.wav"
  grep -q "^frames: 144000 in, 132300 out$" "$out" || fail "wrong frame counts"
  grep -q "^resampled: 48000 Hz -> 44100 Hz" "$out" || fail "no rates"
  [ "$("$read_file" sound-info "$work/out.wav")" = "44100 132300 1 wav float" ] ||
    fail "the file is $("$read_file" sound-info "$work/out.wav")"
  frequency=$("$read_file" sound-frequency "$work/out.wav" 0)
  near "$frequency" 1000 0.001 || fail "the sine is at $frequency Hz, not 1000 Hz"
  # The amplitude stays 0.5 across the 35 blocks: a block that overwrote a sample still
  # needed by the next output would show as a spike.
  succeeds stats "$work/out.wav"
  set -- $(row 0)
  near "$1" -0.5 0.0005 && near "$2" 0.5 0.0005 || fail "the sine spans $1 .. $2, not -0.5 .. 0.5"
  ;;

resample_wav_to_flac)
  # 16-bit input keeps 16 bits in FLAC; trunc(4799 * 0.91875 + 1) = 4410 frames.
  write_sine_wav "$work/in.wav" 4800
  succeeds resample --rate 44100 -o "$work/out.flac" "$work/in.wav"
  grep -q "^frames: 4800 in, 4410 out$" "$out" || fail "wrong frame counts"
  [ "$("$read_file" sound-info "$work/out.flac")" = "44100 4410 2 flac pcm16" ] ||
    fail "the file is $("$read_file" sound-info "$work/out.flac")"
  for channel_frequency in "0 1000" "1 250"; do
    set -- $channel_frequency
    frequency=$("$read_file" sound-frequency "$work/out.flac" $1)
    near "$frequency" $2 0.01 || fail "channel $1 is at $frequency Hz, not $2 Hz"
  done
  # Upwards, and float input to FLAC as 24-bit PCM.
  succeeds resample --rate 96000 -o "$work/up.wav" "$work/in.wav"
  grep -q "^frames: 4800 in, 9599 out$" "$out" || fail "wrong frame counts upwards"
  succeeds resample --rate 22050 -o "$work/down.flac" "$work/up.wav"
  [ "$("$read_file" sound-info "$work/up.wav")" = "96000 9599 2 wav pcm16" ] || fail "up.wav"
  [ "$("$read_file" sound-info "$work/down.flac")" = "22050 2205 2 flac pcm16" ] || fail "down.flac"
  succeeds resample --rate 44100 --encoding float -o "$work/float.wav" "$work/in.wav"
  succeeds resample --rate 8000 -o "$work/from_float.flac" "$work/float.wav"
  [ "$("$read_file" sound-info "$work/from_float.flac")" = "8000 800 2 flac pcm24" ] ||
    fail "float to FLAC: $("$read_file" sound-info "$work/from_float.flac")"
  ;;

resample_same_rate)
  # At the same rate every output falls on an input frame (t = 0): the 16-bit samples come
  # back exactly, full scale and the last frame (after Stop) included, in WAV and in FLAC.
  "$write_file" wav "$work/in.wav" 48000 1 \
    $(awk 'BEGIN { for (i = 0; i < 9000; i++) printf "%d ", int(32767 * sin(i / 7)) }') -32768 ||
    fail "writing the WAV file"
  for extension in wav flac; do
    succeeds resample --rate 48000 -o "$work/out.$extension" "$work/in.wav"
    grep -q "^frames: 9001 in, 9001 out$" "$out" || fail "wrong frame counts"
    [ "$("$read_file" sound-digest "$work/out.$extension")" = "$("$read_file" sound-digest "$work/in.wav")" ] ||
      fail "the $extension output differs from the input"
  done
  ;;

resample_raw)
  # Two channels at 1 kHz, i and -2i; at a quarter of the rate every output falls on an
  # input frame (t = 0), so the outputs are frames 0, 4, ..., 40 exactly.
  "$write_file" raw float "$work/in.f32" $(awk 'BEGIN { for (i = 0; i <= 40; i++) printf "%d %d ", i, -2 * i }')
  succeeds resample --type float --channels 2 --source-rate 1000 --rate 250 -o "$work/out.wav" "$work/in.f32"
  grep -q "^frames: 41 in, 11 out$" "$out" || fail "wrong frame counts"
  expected=$(awk 'BEGIN { for (i = 0; i <= 40; i += 4) printf "%d %d\n", i, -2 * i }')
  [ "$("$read_file" sound-samples "$work/out.wav")" = "$expected" ] || fail "wrong samples"
  # Integer PCM clips beyond full scale, and says how often.
  # 0.03 i passes 1 at frames 36 and 40, -0.06 i at frames 20 .. 40.
  succeeds resample --type float --channels 2 --source-rate 1000 --rate 250 --scale 0.03,0.03 \
    -o "$work/out.flac" "$work/in.f32"
  grep -q "^clipped: 8 samples beyond full scale$" "$out" || fail "clipping not reported"
  expected=$(awk 'BEGIN { for (i = 0; i <= 40; i += 4) {
                            a = 0.03 * i; b = 0 - 0.06 * i; if (a > 1) a = 1; if (b < -1) b = -1
                            printf "%.4f %.4f\n", a, b } }')
  actual=$("$read_file" sound-samples "$work/out.flac" | awk '{ printf "%.4f %.4f\n", $1, $2 }')
  [ "$actual" = "$expected" ] || fail "not clipped at full scale: $actual"
  ;;

resample_json)
  succeeds resample --rate 44100 --frames 4800 --json -o "$work/out.wav"
  [ "$(wc -l <"$out")" -eq 1 ] || fail "not one line of JSON"
  for field in '"input": {' '"rate": 48000' '"frames": 4800' '"rate": 44100' '"frames": 4410' \
               '"format": "WAV (Microsoft), 32 bit float"' '"variant": "' '"ringSize": 4096'; do
    grep -qF "$field" "$out" || fail "no $field"
  done
  if command -v python3 >/dev/null; then python3 -m json.tool "$out" >/dev/null || fail "not JSON"; fi
  ;;

resample_variants_agree)
  cpu_has_avx2_and_fma || { echo "no AVX2 and FMA on this processor; skipped"; exit 77; }
  write_sine_wav "$work/in.wav" 20000
  for rate in 44100 96000 7999; do
    succeeds resample --variant generic --rate $rate --encoding float -o "$work/generic.wav" "$work/in.wav"
    succeeds resample --variant avx2 --rate $rate --encoding float -o "$work/avx2.wav" "$work/in.wav"
    generic=$("$read_file" sound-digest "$work/generic.wav") avx2=$("$read_file" sound-digest "$work/avx2.wav")
    [ "$generic" = "$avx2" ] || fail "the variants differ at $rate Hz: $generic against $avx2"
  done
  ;;

error_resample)
  write_sine_wav "$work/in.wav" 100
  refuses 2 "--rate HZ is missing" resample "$work/in.wav"
  refuses 2 "--rate: '0' is not above 0 Hz" resample --rate 0 "$work/in.wav"
  refuses 2 "--rate: '-44100' is not above 0 Hz" resample --rate -44100 "$work/in.wav"
  refuses 2 "--rate: 'fast' is not a finite number" resample --rate fast "$work/in.wav"
  refuses 2 "--rate: '44100.5' is not a whole number of Hz" resample --rate 44100.5 "$work/in.wav"
  refuses 2 "-o '$work/out.mp3': the extension says neither WAV nor FLAC" resample --rate 8000 -o "$work/out.mp3" "$work/in.wav"
  refuses 2 "FLAC cannot hold 2 channels of float samples" resample --rate 8000 --encoding float -o "$work/out.flac" "$work/in.wav"
  [ ! -e "$work/out.flac" ] || fail "a refused output was left behind"
  refuses 2 "--encoding: 'pcm12' is not" resample --rate 8000 --encoding pcm12 -o "$work/out.wav" "$work/in.wav"
  refuses 1 "cannot open '$work/absent.wav'" resample --rate 8000 "$work/absent.wav"
  "$write_file" raw int16 "$work/in.raw" 1 2 3 4
  refuses 2 "'$work/in.raw' does not say its sample rate: give --source-rate" resample --rate 8000 --type int16 "$work/in.raw"
  refuses 2 "--source-rate: '0' is not above 0 Hz" resample --rate 8000 --source-rate 0 --type int16 "$work/in.raw"
  refuses 2 "--source-rate gives the rate of a FILE" resample --rate 8000 --source-rate 100
  refuses 2 "unknown option '--ratio'" resample --ratio 2
  ;;

plot_size)
  succeeds plot -o "$work/default.png"
  [ "$("$read_file" png-size "$work/default.png")" = "1200 700" ] || fail "not 1200x700"
  [ "$("$read_file" png-opaque "$work/default.png")" = yes ] || fail "not every pixel is opaque"
  grep -q "^curves: 4 channels, 8192 points mapped by kxcalcGetXYValGraph2D" "$out" || fail "no curves"
  for colour in '#1f77b4' '#d62728' '#2ca02c' '#ff7f0e'; do
    [ "$("$read_file" png-count "$work/default.png" $colour)" -gt 1000 ] || fail "no $colour curve"
  done
  succeeds plot --size 320x200 -o "$work/small.png"
  [ "$("$read_file" png-size "$work/small.png")" = "320 200" ] || fail "not 320x200"
  pixels_are '#303030' "$work/small.png" 77,33 77,149 296,149 296,33  # the frame's corners
  ;;

plot_linear_pixels)
  # Frames 0 .. 5 over 400 pixels (80 each), values 0 .. 4 over 300 (75 each): the first four
  # points take the library's four-point path, the last two its one-point path.
  "$write_file" raw double "$work/values.f64" 1 3 0 4 2 0.4
  succeeds plot "${small_plot[@]}" --type double --y-range 0,4 -o "$work/p.png" "$work/values.f64"
  grep -q "^x axis: linear, 0 .. 5, frame$" "$out" || fail "wrong X axis"
  pixels_are $blue "$work/p.png" 78,259 158,109 238,334 318,34 398,184 478,304
  pixels_are $blue "$work/p.png" 118,184 278,184  # on the lines between them
  pixels_are '#ffffff' "$work/p.png" 200,60 400,300
  # Grid lines at the ticks: X 0, 2, 4 (steps of 2 for about 4 ticks), Y 0, 1, ... 4.
  pixels_are '#dcdcdc' "$work/p.png" 100,259 238,200 398,100 450,109
  pixels_are '#ffffff' "$work/p.png" 158,200 318,250
  # A NaN leaves a gap: points 0 and 2 are drawn, the line between them is not.
  "$write_file" raw double "$work/gap.f64" 1 nan 1
  succeeds plot "${small_plot[@]}" --type double --y-range 0,4 -o "$work/gap.png" "$work/gap.f64"
  pixels_are $blue "$work/gap.png" 78,259 478,259
  pixels_are '#dcdcdc' "$work/gap.png" 200,259 300,259
  ;;

plot_log_axes)
  # log10 of 1, 10, ..., 10000 falls on 0, 75, ... 300 pixels up (within the fast
  # logarithm's error); a time axis from the source rate.
  "$write_file" raw float "$work/values.f32" 10 1000 1 10000 100
  succeeds plot "${small_plot[@]}" --type float --source-rate 100 --y-axis log --y-range 1,10000 \
    -o "$work/p.png" "$work/values.f32"
  grep -q "^x axis: linear, 0 .. 0.04, time (s)$" "$out" || fail "wrong X axis"
  pixels_are $blue "$work/p.png" 78,259 178,109 278,334 378,34 478,184
  # A logarithmic X axis: frames 1, 10 and 100 at 0, 200 and 400 pixels; frame 0 on the left edge.
  "$write_file" raw float "$work/ramp.f32" $(seq 0 100)
  succeeds plot "${small_plot[@]}" --type float --x-axis log --x-range 1,100 --y-range 0,100 \
    -o "$work/x.png" "$work/ramp.f32"
  pixels_are $blue "$work/x.png" 78,334 78,331 278,304 478,34
  pixels_are '#ededed' "$work/x.png" 138,100 338,100  # the minor grid at 2 and 20
  [ "$("$read_file" png-opaque "$work/x.png")" = yes ] || fail "not every pixel is opaque"
  # Decibels: 20 log10(0.1) = -20 dB on an axis from -40 to 0 dB is half way up.
  "$write_file" raw double "$work/level.f64" 0.1 1 0.01 0.1
  succeeds plot "${small_plot[@]}" --type double --y-axis db --y-range -40,0 -o "$work/db.png" "$work/level.f64"
  pixels_are $blue "$work/db.png" 78,184 211,34 345,334 478,184
  ;;

plot_long_file)
  # 200000 frames of a ramp read in blocks: one straight diagonal.
  seq 0 199999 | "$write_file" raw int32 "$work/ramp.i32" -
  succeeds plot "${small_plot[@]}" --type int32 --y-range 0,199999 -o "$work/p.png" "$work/ramp.i32"
  grep -q "200000 points mapped" "$out" || fail "not every point mapped"
  pixels_are $blue "$work/p.png" 78,334 209,236 278,184 478,34
  ;;

plot_cursor)
  "$write_file" raw double "$work/values.f64" 1 3 0 4 2 0.4
  args=("${small_plot[@]}" --type double --y-range 0,4 "$work/values.f64")
  succeeds plot "${args[@]}" --cursor 318,34 -o "$work/p.png"
  grep -q "^cursor 318,34: nearest curve pixel 318,34, colour #1f77b4, channel 0, x 3, y 4$" "$out" ||
    fail "the cursor on a point did not find it"
  # From the margin above: the peak below it; marked with a ring.
  succeeds plot "${args[@]}" --cursor 318,5 --json -o "$work/p.png"
  for field in '"found": true' '"pixelX": 318' '"pixelY": 34' '"channel": 0' '"xValue": 3' '"yValue": 4'; do
    grep -qF "$field" "$out" || fail "no $field in $(cat "$out")"
  done
  pixels_are '#000000' "$work/p.png" 312,34 324,34 318,40
  # No curve pixel in the plot area: said plainly, exit status 0.
  succeeds plot "${small_plot[@]}" --type double --y-range 10,20 --cursor 200,200 -o "$work/none.png" "$work/values.f64"
  grep -q "^cursor 200,200: no curve pixel in the plot area$" "$out" || fail "no plain answer"
  succeeds plot "${small_plot[@]}" --type double --y-range 10,20 --cursor 200,200 --json -o "$work/none.png" "$work/values.f64"
  grep -qF '"found": false' "$out" || fail "JSON does not say found: false"
  ;;

plot_variants_agree)
  cpu_has_avx2_and_fma || { echo "no AVX2 and FMA on this processor; skipped"; exit 77; }
  write_sine_wav "$work/in.wav" 3001
  for axes in "--y-axis lin" "--y-axis db --x-axis log" "--y-axis log"; do
    succeeds plot --variant generic $axes --cursor 500,300 -o "$work/p.png" "$work/in.wav"
    sed 1,2d "$out" >"$work/generic.txt" && mv "$work/p.png" "$work/generic.png"
    succeeds plot --variant avx2 $axes --cursor 500,300 -o "$work/p.png" "$work/in.wav"
    sed 1,2d "$out" >"$work/avx2.txt" && mv "$work/p.png" "$work/avx2.png"
    cmp -s "$work/generic.png" "$work/avx2.png" || fail "the pictures differ with $axes"
    diff "$work/generic.txt" "$work/avx2.txt" || fail "the summaries differ with $axes"
  done
  ;;

error_plot)
  "$write_file" raw double "$work/values.f64" 1 2 3
  refuses 2 "-o OUT.png is missing" plot
  refuses 2 "-o '$work/p.jpg': the picture is written as PNG" plot -o "$work/p.jpg"
  refuses 2 "--size 150x100 is too small: the plot area inside the margins would be 48x16, at least 100x60" plot --size 150x100 -o "$work/p.png"
  refuses 2 "--size: '0' is not a whole number from 1 to 8192" plot --size 0x100 -o "$work/p.png"
  refuses 2 "--size: '640' is not two numbers separated by 'x'" plot --size 640 -o "$work/p.png"
  refuses 2 "--y-range: the minimum 2 is not below the maximum 2" plot --y-range 2,2 -o "$work/p.png"
  refuses 2 "--x-range: the minimum 5 is not below the maximum 1" plot --x-range 5,1 -o "$work/p.png"
  refuses 2 "--y-range: 'x' is not a finite number" plot --y-range x,1 -o "$work/p.png"
  refuses 2 "--y-range: a logarithmic axis needs bounds above 0, not 0" plot --y-axis log --y-range 0,1 -o "$work/p.png"
  refuses 2 "--x-range: a logarithmic axis needs bounds above 0, not -1" plot --x-axis log --x-range -1,1 -o "$work/p.png"
  refuses 2 "--x-axis: 'db' is not lin or log" plot --x-axis db -o "$work/p.png"
  refuses 2 "--background: 'pink-ish' is not a colour" plot --background pink-ish -o "$work/p.png"
  refuses 2 "--colours: '#12345' is not a colour" plot --colours '#12345' -o "$work/p.png"
  refuses 2 "--colours lists 2 colours for 4 channels" plot --colours red,blue -o "$work/p.png"
  refuses 2 "channel 0's colour #ffffff is the background's" plot --type double --colours white -o "$work/p.png" "$work/values.f64"
  refuses 2 "--cursor 600,10 lies outside the 503x385 picture" plot "${small_plot[@]}" --cursor 600,10 -o "$work/p.png"
  refuses 2 "--db-reference: 0 is not above 0" plot --db-reference 0 -o "$work/p.png"
  refuses 1 "cannot open '$work/absent.wav'" plot -o "$work/p.png" "$work/absent.wav"
  refuses 1 "--font: cannot read '$work/absent.ttf'" plot --font "$work/absent.ttf" -o "$work/p.png"
  refuses 1 "cannot use '$work/values.f64' as a font" plot --font "$work/values.f64" -o "$work/p.png"
  refuses 1 "cannot write '$work/absent/p.png'" plot -o "$work/absent/p.png"
  refuses 1 "no value above 0 for a logarithmic Y axis: give --y-range" plot --type double --scale -1 --y-axis log -o "$work/p.png" "$work/values.f64"
  "$write_file" raw double "$work/infinite.f64" 1 inf 3
  refuses 1 "the data is not finite \(NaN or infinity\): give --y-range" plot --type double -o "$work/p.png" "$work/infinite.f64"
  [ ! -e "$work/p.png" ] || fail "a refused picture was written"
  ;;

filter_designs_scipy)
  /usr/bin/python3 -c 'import scipy' 2>/dev/null || { echo "no SciPy for /usr/bin/python3; skipped"; exit 77; }
  /usr/bin/python3 "$(dirname "$0")/filter_reference.py" designs "$kxcalc" || fail "designs differ from SciPy's"
  ;;

filter_matches_scipy)
  /usr/bin/python3 -c 'import scipy' 2>/dev/null || { echo "no SciPy for /usr/bin/python3; skipped"; exit 77; }
  /usr/bin/python3 "$(dirname "$0")/filter_reference.py" filtering "$kxcalc" "$work" ||
    fail "the filtered noise differs from SciPy's"
  ;;

filter_print_design)
  succeeds filter --filter bandpass --cutoff 500,2000 --order 4 --print-design
  [ "$(grep -c '^# Butterworth bandpass, order 4, 4 sections' "$out")" -eq 1 ] || fail "no heading"
  [ "$(grep -cE '^(-?[0-9.e+-]+ ){5}-?[0-9.e+-]+$' "$out")" -eq 4 ] || fail "not four sections"
  # The last section holds the poles nearest the unit circle: the largest a2.
  awk 'NR > 1 { if ($6 < last) exit 1; last = $6 }' "$out" || fail "sections out of order"
  succeeds filter --filter lowpass --cutoff 1000 --design fir --length 5 --print-design
  [ "$(sed -n 2p "$out")" = "$(sed -n 6p "$out")" ] || fail "the taps are not symmetric"
  awk 'NR > 1 { sum += $1 } END { exit !(sum > 0.999999999999 && sum < 1.000000000001) }' "$out" ||
    fail "the taps do not sum to 1"
  ;;

filter_iir_response)
  # A 4th-order low-pass at 1 kHz: -3.01 dB at the corner, -24.1 dB an octave above.
  corner=$(gain_db 1000 48000 --filter lowpass --cutoff 1000 --order 4)
  near "$corner" -3.0103 0.05 || fail "$corner dB at the corner"
  octave=$(gain_db 2000 48000 --filter lowpass --cutoff 1000 --order 4)
  awk -v g="$octave" 'BEGIN { exit !(g <= -23.5) }' || fail "only $octave dB an octave above"
  passed=$(gain_db 100 48000 --filter lowpass --cutoff 1000 --order 4)
  near "$passed" 0 0.01 || fail "$passed dB in the pass band"
  # A band-pass passes its centre and stops a decade away; a high-pass its mirror image.
  centre=$(gain_db 2000 48000 --filter bandpass --cutoff 1000,4000 --order 4)
  near "$centre" 0 0.05 || fail "band-pass: $centre dB at 2 kHz"
  far=$(gain_db 200 48000 --filter bandpass --cutoff 1000,4000 --order 4)
  awk -v g="$far" 'BEGIN { exit !(g <= -50) }' || fail "band-pass: $far dB at 200 Hz"
  notch=$(gain_db 2000 48000 --filter bandstop --cutoff 1000,4000 --order 2)
  awk -v g="$notch" 'BEGIN { exit !(g <= -40) }' || fail "band-stop: $notch dB at 2 kHz"
  high=$(gain_db 4000 48000 --filter highpass --cutoff 4000 --order 6)
  near "$high" -3.0103 0.05 || fail "high-pass: $high dB at the corner"
  ;;

filter_fir_response)
  # 60 dB with a 1 kHz transition at 4 kHz: within 0.01 dB (a ripple of 1e-3) in the
  # pass band below 3.5 kHz, at least 60 dB down above 4.5 kHz (a little slack for floats).
  for hz in 1000 3000; do
    gain=$(gain_db $hz 24000 --design fir --filter lowpass --cutoff 4000 --attenuation 60 --transition 1000)
    near "$gain" 0 0.0087 || fail "FIR: $gain dB at $hz Hz in the pass band"
  done
  for hz in 6000 12000; do
    gain=$(gain_db $hz 24000 --design fir --filter lowpass --cutoff 4000 --attenuation 60 --transition 1000)
    awk -v g="$gain" 'BEGIN { exit !(g <= -59.5) }' || fail "FIR: only $gain dB at $hz Hz"
  done
  gain=$(gain_db 4000 24000 --design fir --filter lowpass --cutoff 4000 --attenuation 60 --transition 1000)
  near "$gain" -6.0206 0.05 || fail "FIR: $gain dB at the cut-off, not half the amplitude"
  gain=$(gain_db 12000 24000 --design fir --filter highpass --cutoff 4000 --length 201)
  near "$gain" 0 0.01 || fail "FIR high-pass: $gain dB at 12 kHz"
  ;;

filter_channels)
  # Two channels, the second the first negated: each has its own state, and negation
  # commutes with every rounding, so the outputs keep the relation bit for bit.
  awk 'BEGIN { for (i = 0; i < 3000; i++) { v = int(1024 * (sin(i * 0.37) + 0.25 * sin(i * 0.05))) / 1024
                                            printf "%.10g %.10g\n", v, -v } }' |
    "$write_file" raw float "$work/two.f32" - || fail "writing the input"
  for design in iir fir; do
    succeeds filter --design $design --filter lowpass --cutoff 3000 --type float --channels 2 \
      --rate 48000 --encoding float -o "$work/two.wav" "$work/two.f32"
    grep -q "^frames: 3000$" "$out" || fail "$design: not 3000 frames"
    "$read_file" sound-samples "$work/two.wav" | awk '$2 != -$1 { bad++ } END { exit bad > 0 }' ||
      fail "$design: the channels are not independent"
  done
  ;;

filter_pink)
  succeeds filter --pink --frames 262144 --seed 7 -o "$work/pink.wav"
  grep -q "^filter: pink noise, seed 7, at 48000 Hz$" "$out" || fail "no summary"
  /usr/bin/python3 -c 'import scipy' 2>/dev/null || { echo "no SciPy for /usr/bin/python3; skipped"; exit 77; }
  /usr/bin/python3 "$(dirname "$0")/filter_reference.py" pink-octaves "$work/pink.wav" ||
    fail "the spectrum does not fall 3 dB per octave"
  ;;

filter_progress_bar)
  command -v script >/dev/null || { echo "no script command; skipped"; exit 77; }
  export KXCALC_PROGRESS_DELAY_MS=0
  script -qec "'$kxcalc' filter --pink --frames 300000 -o '$work/pink.wav'" /dev/null >"$work/terminal" ||
    fail "the run on a terminal failed"
  grep -qE 'pink noise \[#*\.*\] +[0-9]+%' "$work/terminal" || fail "no progress bar on the terminal"
  grep -q "^frames: 300000" "$work/terminal" || fail "no summary after the bar"
  ;;

filter_json)
  succeeds filter --filter highpass --cutoff 300 --order 2 --print-design --json
  [ "$(wc -l <"$out")" -eq 1 ] || fail "not one line of JSON"
  grep -qF '"sos": [[' "$out" || fail "no sections"
  succeeds filter --filter lowpass --cutoff 1000 --frames 4800 --json -o "$work/out.wav"
  for field in '"filter": "Butterworth lowpass of order 4, 2 sections"' '"frames": 4800' \
               '"format": "WAV (Microsoft), 32 bit float"' '"variant": "'; do
    grep -qF "$field" "$out" || fail "no $field"
  done
  ;;

filter_variants_agree)
  cpu_has_avx2_and_fma || { echo "no AVX2 and FMA on this processor; skipped"; exit 77; }
  for args in "--filter lowpass --cutoff 1000 --order 8" "--filter bandstop --cutoff 100,9000" \
              "--design fir --filter bandpass --cutoff 1000,5000 --transition 300" \
              "--design fir --filter highpass --cutoff 2000 --length 37" "--pink --seed 3"; do
    succeeds filter --variant generic $args --sine 3000 --frames 20000 --encoding float -o "$work/generic.wav"
    succeeds filter --variant avx2 $args --sine 3000 --frames 20000 --encoding float -o "$work/avx2.wav"
    generic=$("$read_file" sound-digest "$work/generic.wav") avx2=$("$read_file" sound-digest "$work/avx2.wav")
    [ "$generic" = "$avx2" ] || fail "the variants differ for $args: $generic against $avx2"
  done
  ;;

error_filter)
  refuses 2 "--filter TYPE is missing" filter --cutoff 1000
  refuses 2 "--filter: unknown filter type 'notch'" filter --filter notch --cutoff 1000
  refuses 2 "--cutoff: a lowpass filter takes one frequency" filter --filter lowpass
  refuses 2 "--cutoff: a bandpass filter takes two frequencies" filter --filter bandpass --cutoff 1000
  refuses 2 "--cutoff: 24000 Hz is not between 0 Hz and the Nyquist frequency 24000 Hz" filter --filter lowpass --cutoff 24000
  refuses 2 "--cutoff: 30000 Hz is not between" filter --filter highpass --cutoff 30000
  refuses 2 "--cutoff: 0 Hz is not between" filter --filter lowpass --cutoff 0
  refuses 2 "--cutoff: -5 Hz is not between" filter --filter bandstop --cutoff -5,100
  refuses 2 "--cutoff: 6000 Hz is not between 0 Hz and the Nyquist frequency 4000 Hz" filter --filter lowpass --cutoff 6000 --rate 8000
  refuses 2 "--cutoff: the band edges 2000,1000 Hz are not in rising order" filter --filter bandpass --cutoff 2000,1000
  refuses 2 "--cutoff: the band edges 1000,1000 Hz are not in rising order" filter --filter bandstop --cutoff 1000,1000
  refuses 2 "--order: 3 is not an even order" filter --filter lowpass --cutoff 1000 --order 3
  refuses 2 "--order: 0 is not an even order" filter --filter lowpass --cutoff 1000 --order 0
  refuses 2 "--order: '66' is not a whole number" filter --filter lowpass --cutoff 1000 --order 66
  refuses 2 "--length: a FIR filter needs at least one tap" filter --design fir --filter lowpass --cutoff 1000 --length 0
  refuses 2 "--length: a highpass FIR filter needs an odd length, not 10" filter --design fir --filter highpass --cutoff 1000 --length 10
  refuses 2 "--attenuation: 5 dB is outside 8 ... 200 dB" filter --design fir --filter lowpass --cutoff 1000 --attenuation 5
  refuses 2 "--attenuation: 300 dB is outside" filter --design fir --filter lowpass --cutoff 1000 --attenuation 300
  refuses 2 "--transition: 0 Hz is not between" filter --design fir --filter lowpass --cutoff 1000 --transition 0
  refuses 2 "--transition: 1 Hz at 60 dB needs 174020 taps" filter --design fir --filter lowpass --cutoff 1000 --transition 1
  refuses 2 "--design: 'iirr' is neither iir nor fir" filter --design iirr --filter lowpass --cutoff 1000
  refuses 2 "--pink makes its own noise and reads no FILE" filter --pink "$work/absent.wav"
  "$write_file" raw float "$work/in.f32" 1 2 3
  refuses 2 "'$work/in.f32' does not say its sample rate: give --rate" filter --filter lowpass --cutoff 10 --type float "$work/in.f32"
  refuses 1 "cannot open '$work/absent.wav'" filter --filter lowpass --cutoff 1000 "$work/absent.wav"
  refuses 2 "the rate 8000.5 Hz is not a whole number of Hz" filter --filter lowpass --cutoff 10 --rate 8000.5 -o "$work/out.wav"
  ;;

*)
  echo "unknown case $case_name"
  exit 1
  ;;
esac
echo "$case_name: ok"
