"""Checks kxcalc filter against SciPy's designs and measures its pink noise.

Usage: filter_reference.py designs KXCALC
       filter_reference.py filtering KXCALC WORK_DIRECTORY
       filter_reference.py pink-octaves OUT.wav
Exit 0 passed, 1 failed, 77 when SciPy is missing.
"""
import json
import subprocess
import sys
import warnings

try:
    import numpy as np
    from scipy import signal
    from scipy.io import wavfile
except ImportError:
    sys.exit(77)

RATE = 48000.0
TOLERANCE = 1e-12


def close(actual, expected):
    """Equal to TOLERANCE relative to the largest magnitude of the expected values."""
    actual, expected = np.asarray(actual), np.asarray(expected)
    if actual.shape != expected.shape:
        return False
    scale = np.max(np.abs(expected))
    return bool(np.all(np.abs(actual - expected) <= TOLERANCE * scale))


def design(kxcalc, arguments):
    output = subprocess.run([kxcalc, "filter", "--print-design", "--json"] + arguments,
                            capture_output=True, text=True, check=True).stdout
    return json.loads(output)


IIR_CASES = [  # order, filter type, cut-off(s) in Hz
    (2, "lowpass", [1000]), (4, "lowpass", [1000]), (8, "lowpass", [50]), (10, "lowpass", [20000]),
    (2, "highpass", [300]), (6, "highpass", [5000]), (12, "highpass", [23000]),
    (2, "bandpass", [500, 2000]), (4, "bandpass", [1000, 1100]), (6, "bandpass", [100, 20000]),
    (2, "bandstop", [500, 2000]), (4, "bandstop", [49, 51]), (8, "bandstop", [3000, 12000]),
]

FIR_CASES = [  # filter type, cut-off(s) in Hz, --length or (attenuation dB, transition Hz)
    ("lowpass", [1000], 1), ("lowpass", [1000], 2), ("lowpass", [1000], 64),
    ("lowpass", [12000], 101), ("highpass", [5000], 33), ("bandpass", [1000, 4000], 80),
    ("bandstop", [1000, 4000], 81),
    ("lowpass", [1000], (60, 200)), ("lowpass", [2000], (20, 500)), ("highpass", [3000], (40, 700)),
    ("bandpass", [2000, 6000], (80, 1000)), ("bandstop", [1000, 3000], (50, 400)),
    ("bandstop", [1000, 3000], (40, 2000)),
]


def check_designs(kxcalc):
    failures = 0
    for order, band, cutoff in IIR_CASES:
        arguments = ["--filter", band, "--cutoff", ",".join(map(str, cutoff)),
                     "--order", str(order)]
        actual = np.array(design(kxcalc, arguments)["sos"])
        wn = cutoff[0] if len(cutoff) == 1 else cutoff
        expected = signal.butter(order, wn, band, fs=RATE, output="sos")
        sections_agree = actual.shape == expected.shape and all(
            close(a[:3], e[:3]) and close(a[3:], e[3:]) for a, e in zip(actual, expected))
        if not sections_agree:
            failures += 1
            print(f"FAIL: butter({order}, {wn}, {band}): {actual} != {expected}")
    for band, cutoff, size in FIR_CASES:
        arguments = ["--filter", band, "--cutoff", ",".join(map(str, cutoff)), "--design", "fir"]
        if isinstance(size, int):
            arguments += ["--length", str(size), "--attenuation", "60"]
            length, beta = size, signal.kaiser_beta(60)
        else:
            attenuation, transition = size
            arguments += ["--attenuation", str(attenuation), "--transition", str(transition)]
            length, beta = signal.kaiserord(attenuation, transition / (RATE / 2))
            if band in ("highpass", "bandstop") and length % 2 == 0:
                length += 1
        result = design(kxcalc, arguments)
        expected = signal.firwin(length, cutoff, window=("kaiser", beta),
                                 pass_zero=band in ("lowpass", "bandstop"), fs=RATE)
        if result["length"] != length or not close(result["taps"], expected) or \
                abs(result["beta"] - beta) > TOLERANCE * max(beta, 1):
            failures += 1
            print(f"FAIL: firwin({length}, {cutoff}, {band}, beta {beta}): {arguments} gave "
                  f"{result['length']} taps, beta {result['beta']}")
    print(f"{len(IIR_CASES)} Butterworth and {len(FIR_CASES)} Kaiser designs compared, "
          f"{failures} differ")
    return failures == 0


def check_filtering(kxcalc, work):
    """Two channels of noise, longer than two of the program's blocks, through an IIR and a
    FIR design: the outputs follow sosfilt and lfilter on the same samples, so each channel's
    filter state carries over from block to block."""
    generator = np.random.default_rng(5)
    frames = 140000
    samples = (generator.uniform(-0.5, 0.5, (frames, 2))).astype(np.float32)
    samples.tofile(f"{work}/noise.f32")
    ok = True
    for arguments in (["--filter", "bandpass", "--cutoff", "300,3000", "--order", "4"],
                      ["--design", "fir", "--filter", "lowpass", "--cutoff", "2000",
                       "--length", "127"]):
        common = ["--type", "float", "--channels", "2", "--rate", "48000"] + arguments
        subprocess.run([kxcalc, "filter"] + common + ["--encoding", "float", "-o",
                       f"{work}/filtered.wav", f"{work}/noise.f32"], check=True,
                       capture_output=True)
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            _, actual = wavfile.read(f"{work}/filtered.wav")
        result = design(kxcalc, ["--rate", "48000"] + arguments)
        if "sos" in result:
            expected = signal.sosfilt(np.array(result["sos"]), samples.astype(np.float64), axis=0)
        else:
            expected = signal.lfilter(result["taps"], [1.0], samples.astype(np.float64), axis=0)
        error = np.max(np.abs(actual - expected)) / np.max(np.abs(expected))
        print(f"{' '.join(arguments)}: largest difference {error:.2g} of the peak")
        ok = ok and actual.shape == expected.shape and error < 1e-5
    return ok


def check_pink_octaves(path):
    """Band power per octave from 100 Hz to 12.8 kHz: each octave holds about as much power
    as the one below (pink: -3 dB per octave in power density, 0 dB per octave band)."""
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")  # libsndfile's PEAK chunk
        rate, samples = wavfile.read(path)
    samples = samples.astype(np.float64)
    frequencies, density = signal.welch(samples, fs=rate, nperseg=8192)
    lows = 100.0 * 2.0 ** np.arange(7)
    powers = []
    for low in lows:
        inside = (frequencies >= low) & (frequencies < 2 * low)
        powers.append(np.trapz(density[inside], frequencies[inside]))
    steps = 10 * np.log10(np.array(powers[1:]) / np.array(powers[:-1]))
    # The density's slope between octave centres, in dB per octave.
    centres = []
    for low in lows:
        inside = (frequencies >= low) & (frequencies < 2 * low)
        centres.append(10 * np.log10(np.mean(density[inside])))
    slope = np.polyfit(np.log2(lows), centres, 1)[0]
    print(f"octave band steps {np.round(steps, 2)} dB, density slope {slope:.2f} dB/octave")
    return bool(np.all(np.abs(steps) < 1.5) and abs(slope + 3.01) < 0.5)


if __name__ == "__main__":
    if sys.argv[1] == "designs":
        sys.exit(0 if check_designs(sys.argv[2]) else 1)
    if sys.argv[1] == "filtering":
        sys.exit(0 if check_filtering(sys.argv[2], sys.argv[3]) else 1)
    if sys.argv[1] == "pink-octaves":
        sys.exit(0 if check_pink_octaves(sys.argv[2]) else 1)
    sys.exit(f"unknown check {sys.argv[1]}")
