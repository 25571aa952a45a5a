// Filter designs for kxcalc filter: Butterworth cascades of second-order sections by the
// bilinear transform, and Kaiser-windowed sinc FIR taps. The results follow the usual
// conventions of numerical Python's signal package (butter with output='sos', kaiserord and
// firwin), so that the coefficients can be compared with it.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace kxtool {

enum class Band { Lowpass, Highpass, Bandpass, Bandstop };

// One second-order section b0 b1 b2 a0 a1 a2 (a0 = 1):
// y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] - a1 y[n-1] - a2 y[n-2].
using Section = std::array<double, 6>;

// order: the low-pass prototype's poles (even, >= 2); band filters get twice as many.
// edges: one corner for low/high-pass, two (lower first) for band filters, in Hz, each
// inside (0, rate / 2). The sections are ordered and paired as zpk2sos's 'nearest' rule
// does it: the poles closest to the unit circle in the last section, the overall gain in
// the first section's numerator.
std::vector<Section> butterworthSections(uint32_t order, Band band,
                                         const std::vector<double>& edges, double rate);

// Kaiser's estimates for a stop-band attenuation (dB, >= 8) and a transition width given
// as a fraction of the Nyquist frequency; the length is a whole number, as a double so that
// an impossible one can be refused before it is used.
double kaiserBeta(double attenuation);
double kaiserLength(double attenuation, double transitionWidth);

// The windowed-sinc taps of a linear-phase FIR filter of the given length, scaled for unit
// gain at 0 Hz (low-pass, band-stop), at Nyquist (high-pass) or at the pass band's centre.
// High-pass and band-stop filters need an odd length.
std::vector<double> kaiserSincTaps(uint32_t length, Band band, const std::vector<double>& edges,
                                   double rate, double beta);

}  // namespace kxtool
