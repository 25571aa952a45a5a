#!/usr/bin/env python3
"""Turns kxcalc_bench JSON (read from stdin) into the Markdown tables of docs/PERFORMANCE.md.

Benchmarks are named <export>/<variant>/<bytes> or <baseline>/<bytes>; with repetitions the
median is used. Throughput is the block's bytes per second, so two rows of the same block size
compare as speeds.
"""
import json
import sys
from collections import defaultdict

SIZE_NAMES = {16384: "16 KiB (L1)", 1048576: "1 MiB (L2)", 1073741824: "1 GiB (beyond LLC)"}
# Kernels quoted against a copy baseline moving the same bytes instead of the read baseline.
COPY_BASELINES = {
    "ConvertInt32ToInt16": "CopyBaseline_Int32ToInt16",
    "ConvertInt16ToInt32": "CopyBaseline_Int16ToInt32",
}


def main():
    report = json.load(sys.stdin)
    speeds = {}
    medians = any(b.get("aggregate_name") == "median" for b in report["benchmarks"])
    for bench in report["benchmarks"]:
        if medians and bench.get("aggregate_name") != "median":
            continue
        name = bench.get("run_name", bench["name"])
        speeds[name] = bench["bytes_per_second"] / 1e9

    kernels = defaultdict(dict)  # export -> (variant, bytes) -> GB/s
    baselines = defaultdict(dict)  # baseline -> bytes -> GB/s
    for name, speed in speeds.items():
        parts = name.split("/")
        if len(parts) == 3:
            kernels[parts[0]][(parts[1], int(parts[2]))] = speed
        elif len(parts) == 2:
            baselines[parts[0]][int(parts[1])] = speed

    sizes = sorted({size for table in kernels.values() for _, size in table})
    largest = sizes[-1] if sizes else None
    context = report.get("context", {})
    print(f"Machine: {context.get('num_cpus', '?')} CPUs at {context.get('mhz_per_cpu', '?')} MHz; "
          f"{'medians of ' + str(context.get('repetitions', '')) + ' repetitions' if medians else 'single runs'}.")
    print()
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
        baseline_name = next((b for k, b in COPY_BASELINES.items() if export.startswith(k)),
                             None)
        if baseline_name is None:
            baseline_name = next((b for b in baselines if b.startswith("CopyBaseline_") and
                                  export.endswith(b[len("CopyBaseline_"):])), "ReadBaseline")
        baseline = baselines.get(baseline_name, {}).get(largest)
        avx2 = table.get(("avx2", largest))
        fraction = f"{100 * avx2 / baseline:.0f}% of {baseline_name}" if baseline and avx2 else "-"
        print(f"| {export} | " + " | ".join(cells) + f" | {fraction} |")
    print()
    print("| Baseline | " + " | ".join(SIZE_NAMES.get(s, str(s)) for s in sizes) + " |")
    print("|---" * (1 + len(sizes)) + "|")
    for name in sorted(baselines):
        print(f"| {name} | " + " | ".join(
            f"{baselines[name][s]:.2f}" if s in baselines[name] else "-" for s in sizes) + " |")


if __name__ == "__main__":
    main()
