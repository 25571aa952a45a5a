#!/usr/bin/env python3
"""Turns kxcalc_bench JSON (read from stdin) into the Markdown tables of docs/PERFORMANCE.md.

Benchmarks are named <export>/<variant>/<bytes> or <baseline>/<bytes>; with repetitions the
median is used. Throughput is the block's bytes per second, so two rows of the same block size
compare as speeds. Benchmarks named <case>/<variant>, without a block, go to a table of their
own: items per second where they count items, time per call otherwise.
"""
import json
import re
import sys
from collections import defaultdict

SIZE_NAMES = {16384: "16 KiB (L1)", 1048576: "1 MiB (L2)", 1073741824: "1 GiB (beyond LLC)"}
# The baseline each streaming kernel is quoted against at the largest block: the read baseline
# for kernels that only read, a copy moving the same bytes for the conversions.
BASELINES = [
    ("GetMinMaxAveRMS_int16_t", "ReadBaseline_int16_t"),
    ("GetMinMaxAveRMS_int32_t", "ReadBaseline_int32_t"),
    ("GetMinMaxAveRMS_float", "ReadBaseline_float"),
    ("GetMinMaxAveRMS_double", "ReadBaseline_double"),
    ("GetMinMax_int16_t", "ReadBaseline_int16_t"),
    ("GetMinMax_int32_t", "ReadBaseline_int32_t"),
    ("GetMinMax_float", "ReadBaseline_float"),
    ("GetMinMax_double", "ReadBaseline_double"),
    ("SumSquaredValues_float", "ReadBaseline_float"),
    ("MultiplyVectorsAndCalcSum_float", "ReadBaseline_float"),
    ("ConvertInt", "CopyBaseline"),
    ("CACopyRawDataToChannels", "CopyBaseline_Float"),
    ("CADoubleArrToSingleArrInplace", "CopyBaseline"),
    ("CASingleArrToDoubleArrInplace", "CopyBaseline"),
    ("ChannelScaledValues_float_int16_stride1", "CopyBaseline_Int16ToFloat"),
    ("ChannelScaledValues_float_aligned_output_int16_stride1", "CopyBaseline_Int16ToFloat"),
]
VARIANTS = ("generic", "avx2")

HEADER = """# Performance

Regenerate this file with one command: `scripts/bench` (it builds the benchmarks, runs every
export of both variants side by side with the memory baselines, and rewrites this file).

Run of {date} on {cpus} CPUs at {mhz} MHz ({caches}); {runs}, interleaved at random.
Figures are GB/s (1e9 bytes per second) of the block: the bytes of the input array for the
statistics and the arithmetic, the int32_t side for the integer conversions, the raw run plus
the output for the scaled channel values. The last column quotes the avx2 variant at the largest
block against the baseline that moves the same bytes: the read baseline over the same
buffer (an unrolled four-accumulator AVX2 sum) for kernels that only read, a copy baseline for the conversions.

The machine is a shared virtual machine: beyond the cache, memory bandwidth moves with other
tenants' traffic, so compare neighbouring columns of one run rather than runs. Even so, two
kernels that run the same code beyond the cache (the plain and the aligned-output
double-from-double scaled values) have come out several percent apart in one run: at 1 GiB a
difference of that size between the variants is noise, not a property of either.
"""


DISPATCH_PREFIX = "DispatchCall_GetMinMax_float16/"
PEERS_PREFIX = "Peers/"
NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def print_dispatch(call_times):
    dispatching = call_times.get("libkxcalc")
    direct = call_times.get("libkxcalc-avx2fma3")
    print("The dispatching library against the avx2 library called directly: one 16-element")
    print("`kxcalcGetMinMax_float` per call, through the address the dynamic loader resolved")
    print("(CPU time per call, medians).")
    print()
    print("| libkxcalc (dispatching) | libkxcalc-avx2fma3 (direct) | difference per call |")
    print("|---|---|---|")
    if dispatching and direct:
        print(f"| {dispatching:.2f} ns | {direct:.2f} ns | {dispatching - direct:+.2f} ns |")
    print()


# Tables of kernels measured against peer libraries: benchmarks named
# Peers/<table>/<case>/<implementation> with a "per_item" counter (seconds per item). Each
# table's text says what an item is and how the peers are fed.
PEER_TABLES = {
    "CHSInterpolator": (
        "The streaming interpolator per output sample (CPU time, blocks of 2048 inputs), next "
        "to libsamplerate's linear converter and soxr's quick mode fed the same blocks. At "
        "ratio 1 soxr passes its input through, a copy: the interpolator, which copies each "
        "block into its ring before it interpolates, cannot match that."),
    "FIRFilter": (
        "The FIR filter per output (one call per new sample, the ring position moving by 7 "
        "each call), next to liquid-dsp's firfilt_rrrf (push, then execute) and VOLK's "
        "volk_32f_x2_dot_prod_32f over a doubled ring (each sample written twice, so one "
        "call covers the wrap), all with the same coefficients."),
    "IIRFilter": (
        "The IIR cascade per sample (one call per sample, blocks of 1024 moderate random "
        "samples) for 1, 4 and 8 identical low-pass biquads, on the fixed second-order path "
        "(kind 3) and the general path with order 2, next to liquid-dsp's iirfilt_rrrf "
        "built with iirfilt_rrrf_create_sos from the same sections (single precision) and fed "
        "the same samples one execute call each."),
    "PinkFilter": "The pink-noise filter per sample (one call per sample, blocks of 1024).",
}


def natural_key(text):
    return [(0, float(part), "") if part.replace(".", "", 1).isdigit() else (1, 0.0, part)
            for part in re.split(r"(\d+(?:\.\d+)?)", text) if part]


def print_peers(table, per_item):
    """per_item: case -> implementation -> nanoseconds per item, in the order registered."""
    print(PEER_TABLES.get(table, f"{table}: time per item against peer libraries."))
    print()
    # The variants first, then the peers; cases in natural order (by the numbers they name).
    implementations = sorted({i for times in per_item.values() for i in times},
                             key=lambda i: (VARIANTS.index(i) if i in VARIANTS else 2, i))
    print("| Case | " + " | ".join(implementations) + " | avx2 against each |")
    print("|---" * (len(implementations) + 2) + "|")
    for case, times in sorted(per_item.items(), key=lambda item: natural_key(item[0])):
        avx2 = times.get("avx2")
        cells = [f"{times[i]:.3f} ns" if i in times else "-" for i in implementations]
        against = ", ".join(f"{times[i] / avx2:.2f}x {i}" for i in implementations
                            if i != "avx2" and i in times and avx2)
        print(f"| {case} | " + " | ".join(cells) + f" | {against or '-'} |")
    print()


def print_per_call(per_call):
    print("Kernels measured per call rather than per block: items (graph points) per second,")
    print("or the CPU time of one call (one cursor search over the whole image).")
    print()
    print("| Case | generic | avx2 | avx2/generic |")
    print("|---|---|---|---|")
    for case in sorted(per_call):
        figures = per_call[case]
        generic, avx2 = figures.get("generic"), figures.get("avx2")
        if generic and avx2:
            # A speed ratio either way: items per second, or the inverse of the time.
            ratio = avx2[0] / generic[0] if avx2[1] == "items" else generic[0] / avx2[0]
            ratio_text = f"{ratio:.2f}x"
        else:
            ratio_text = "-"
        cells = []
        for figure in (generic, avx2):
            if figure is None:
                cells.append("-")
            elif figure[1] == "items":
                cells.append(f"{figure[0] / 1e6:.1f} M/s")
            else:
                cells.append(f"{figure[0] / 1e6:.3f} ms")
        print(f"| {case} | {cells[0]} | {cells[1]} | {ratio_text} |")
    print()


def main():
    report = json.load(sys.stdin)
    speeds = {}
    call_times = {}  # library -> ns per call of the dispatch benchmark
    peers = defaultdict(lambda: defaultdict(dict))  # table -> case -> implementation -> ns
    per_call = defaultdict(dict)  # case -> variant -> (items/s, "items") or (ns, "time")
    medians = any(b.get("aggregate_name") == "median" for b in report["benchmarks"])
    for bench in report["benchmarks"]:
        if medians and bench.get("aggregate_name") != "median":
            continue
        name = bench.get("run_name", bench["name"])
        if name.startswith(DISPATCH_PREFIX):
            call_times[name.split("/")[1]] = bench["cpu_time"] * NANOSECONDS[bench["time_unit"]]
            continue
        if name.startswith(PEERS_PREFIX):
            _, table, case, implementation = name.split("/")[:4]
            peers[table][case][implementation] = bench["per_item"] * 1e9
            continue
        case, _, variant = name.rpartition("/")
        if variant in VARIANTS:
            if "items_per_second" in bench:
                per_call[case][variant] = (bench["items_per_second"], "items")
            else:
                per_call[case][variant] = (bench["cpu_time"] * NANOSECONDS[bench["time_unit"]],
                                           "time")
            continue
        speeds[name] = bench["bytes_per_second"] / 1e9

    kernels = defaultdict(dict)  # export -> (variant, bytes) -> GB/s
    baselines = defaultdict(dict)  # baseline -> bytes -> GB/s
    for name, speed in speeds.items():
        parts = [part for part in name.split("/") if not part.startswith("repeats:")]
        size = int(parts[-1])
        if len(parts) >= 3 and parts[-2] in VARIANTS:
            kernels["/".join(parts[:-2])][(parts[-2], size)] = speed
        else:
            baselines["/".join(parts[:-1])][size] = speed

    sizes = sorted({size for table in kernels.values() for _, size in table})
    largest = sizes[-1] if sizes else None
    context = report.get("context", {})
    caches = ", ".join(f"L{c['level']} {c['type'].lower()} {c['size'] // 1024} KiB"
                       for c in context.get("caches", []))
    print(HEADER.format(cpus=context.get("num_cpus", "?"), mhz=context.get("mhz_per_cpu", "?"),
                        caches=caches or "?", date=context.get("date", "?"),
                        runs="medians of 5 repetitions (15 beyond the cache)" if medians else "single runs"))
    header = "| Export | " + " | ".join(
        f"{SIZE_NAMES.get(s, s)} generic | avx2 | avx2/generic" for s in sizes)
    print(header + " | avx2 / baseline at " + SIZE_NAMES.get(largest, "") + " |")
    print("|---" * (1 + 3 * len(sizes) + 1) + "|")
    for export in sorted(kernels):
        table = kernels[export]
        cells = []
        for size in sizes:
            generic, avx2 = table.get(("generic", size)), table.get(("avx2", size))
            ratio = f"{avx2 / generic:.2f}x" if generic and avx2 else "-"
            cells += [f"{generic:.2f}" if generic else "-", f"{avx2:.2f}" if avx2 else "-", ratio]
        baseline_name = next((base for prefix, base in BASELINES if export.startswith(prefix)),
                             None)
        baseline = baselines.get(baseline_name, {}).get(largest)
        avx2 = table.get(("avx2", largest))
        fraction = (f"{100 * avx2 / baseline:.0f}% of {baseline_name}"
                    if baseline_name and baseline and avx2 else "-")
        print(f"| {export} | " + " | ".join(cells) + f" | {fraction} |")
    print()
    if call_times:
        print_dispatch(call_times)
    for table, per_item in peers.items():
        print_peers(table, per_item)
    if per_call:
        print_per_call(per_call)
    print("| Baseline | " + " | ".join(SIZE_NAMES.get(s, str(s)) for s in sizes) + " |")
    print("|---" * (1 + len(sizes)) + "|")
    for name in sorted(baselines):
        print(f"| {name} | " + " | ".join(
            f"{baselines[name][s]:.2f}" if s in baselines[name] else "-" for s in sizes) + " |")


if __name__ == "__main__":
    main()
