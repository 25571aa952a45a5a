// Butterworth and Kaiser-windowed sinc designs. Each step keeps the order of operations of
// the reference design routines (pole order, products, pairing), so that the coefficients
// agree with them to within rounding.
#include "filter_design.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <stdexcept>

namespace kxtool {
namespace {

using Complex = std::complex<double>;
using Roots = std::vector<Complex>;

constexpr double kPi = std::numbers::pi;

Complex product(const Roots& roots, Complex (*term)(Complex, double), double parameter) {
  Complex result = 1;
  for (const Complex& root : roots) result *= term(root, parameter);
  return result;
}

Complex negated(Complex root, double) {
  return -root;
}
Complex fromBilinearCentre(Complex root, double centre) {
  return centre - root;
}

// An analogue design: zeros, poles and gain, as the transforms below hand it on.
struct ZerosPolesGain {
  Roots zeros;
  Roots poles;
  double gain = 1;
};

// The analogue low-pass prototype with its corner at 1 rad/s.
ZerosPolesGain butterworthPrototype(uint32_t order) {
  ZerosPolesGain design;
  for (int m = 1 - static_cast<int>(order); m < static_cast<int>(order); m += 2) {
    design.poles.push_back(-std::exp(Complex(0, kPi * m / (2.0 * order))));
  }
  return design;
}

// The excess of poles over zeros, which the transforms place at 0, infinity or band centre.
size_t degree(const ZerosPolesGain& design) {
  return design.poles.size() - design.zeros.size();
}

ZerosPolesGain toLowpass(const ZerosPolesGain& prototype, double corner) {
  ZerosPolesGain design;
  for (const Complex& z : prototype.zeros) design.zeros.push_back(z * corner);
  for (const Complex& p : prototype.poles) design.poles.push_back(p * corner);
  design.gain = prototype.gain * std::pow(corner, static_cast<double>(degree(prototype)));
  return design;
}

ZerosPolesGain toHighpass(const ZerosPolesGain& prototype, double corner) {
  ZerosPolesGain design;
  for (const Complex& z : prototype.zeros) design.zeros.push_back(corner / z);
  for (const Complex& p : prototype.poles) design.poles.push_back(corner / p);
  design.zeros.insert(design.zeros.end(), degree(prototype), Complex(0));
  design.gain =
      prototype.gain *
      (product(prototype.zeros, negated, 0) / product(prototype.poles, negated, 0)).real();
  return design;
}

// Each root r becomes the two roots of s^2 - 2 r s + centre^2 (r scaled already).
Roots splitAroundCentre(const Roots& scaled, double centre) {
  Roots result;
  for (const Complex& r : scaled) result.push_back(r + std::sqrt(r * r - centre * centre));
  for (const Complex& r : scaled) result.push_back(r - std::sqrt(r * r - centre * centre));
  return result;
}

ZerosPolesGain toBandpass(const ZerosPolesGain& prototype, double centre, double width) {
  Roots zeros, poles;
  for (const Complex& z : prototype.zeros) zeros.push_back(z * width / 2.0);
  for (const Complex& p : prototype.poles) poles.push_back(p * width / 2.0);
  ZerosPolesGain design;
  design.zeros = splitAroundCentre(zeros, centre);
  design.poles = splitAroundCentre(poles, centre);
  design.zeros.insert(design.zeros.end(), degree(prototype), Complex(0));
  design.gain = prototype.gain * std::pow(width, static_cast<double>(degree(prototype)));
  return design;
}

ZerosPolesGain toBandstop(const ZerosPolesGain& prototype, double centre, double width) {
  Roots zeros, poles;
  for (const Complex& z : prototype.zeros) zeros.push_back(width / 2.0 / z);
  for (const Complex& p : prototype.poles) poles.push_back(width / 2.0 / p);
  ZerosPolesGain design;
  design.zeros = splitAroundCentre(zeros, centre);
  design.poles = splitAroundCentre(poles, centre);
  // The zeros at infinity move to the centre of the stop band.
  design.zeros.insert(design.zeros.end(), degree(prototype), Complex(0, centre));
  design.zeros.insert(design.zeros.end(), degree(prototype), Complex(0, -centre));
  design.gain =
      prototype.gain *
      (product(prototype.zeros, negated, 0) / product(prototype.poles, negated, 0)).real();
  return design;
}

// The bilinear transform for a sampling rate of 2 (frequencies are already pre-warped
// for it); the missing zeros go to Nyquist.
ZerosPolesGain bilinear(const ZerosPolesGain& analogue) {
  constexpr double kCentre = 4;  // twice the sampling rate
  ZerosPolesGain design;
  for (const Complex& z : analogue.zeros) design.zeros.push_back((kCentre + z) / (kCentre - z));
  for (const Complex& p : analogue.poles) design.poles.push_back((kCentre + p) / (kCentre - p));
  design.zeros.insert(design.zeros.end(), degree(analogue), Complex(-1));
  design.gain = analogue.gain * (product(analogue.zeros, fromBilinearCentre, kCentre) /
                                 product(analogue.poles, fromBilinearCentre, kCentre))
                                    .real();
  return design;
}

bool isReal(const Complex& root) {
  return root.imag() == 0;
}

// Conjugate pairs reduced to their member of positive imaginary part, sorted by real part,
// followed by the real roots (taken as exactly real), sorted.
Roots pairsThenReals(Roots roots) {
  std::stable_sort(roots.begin(), roots.end(), [](const Complex& a, const Complex& b) {
    if (a.real() != b.real()) return a.real() < b.real();
    return std::abs(a.imag()) < std::abs(b.imag());
  });
  const double tolerance = 100 * std::numeric_limits<double>::epsilon();
  Roots pairs, reals;
  for (const Complex& root : roots) {
    if (std::abs(root.imag()) <= tolerance * std::abs(root)) {
      reals.push_back(Complex(root.real(), 0));
    } else if (root.imag() > 0) {
      pairs.push_back(root);
    }
  }
  pairs.insert(pairs.end(), reals.begin(), reals.end());
  return pairs;
}

// The first index of the smallest distance(root), among the roots that qualify.
template <typename Distance, typename Qualifies>
size_t nearest(const Roots& roots, Distance distance, Qualifies qualifies) {
  size_t best = roots.size();
  for (size_t i = 0; i < roots.size(); ++i) {
    if (!qualifies(roots[i])) continue;
    if (best == roots.size() || distance(roots[i]) < distance(roots[best])) best = i;
  }
  if (best == roots.size()) throw std::logic_error("no root left to pair");
  return best;
}

Complex take(Roots& roots, size_t index) {
  const Complex root = roots[index];
  roots.erase(roots.begin() + static_cast<std::ptrdiff_t>(index));
  return root;
}

// The monic quadratic with these two roots: 1, -(r2 + r1), r1 r2.
std::array<double, 3> quadratic(Complex first, Complex second) {
  return {1, (-second + -first).real(), (-first * -second).real()};
}

// Sections from the digital zeros, poles and gain: the pole nearest the unit circle with
// the zero nearest to it (and their conjugates) in the last section, then the next.
std::vector<Section> pairedSections(const ZerosPolesGain& design) {
  Roots zeros = design.zeros, poles = design.poles;
  zeros.resize(std::max(zeros.size(), poles.size()));
  poles.resize(zeros.size());
  if (poles.size() % 2 == 1) {
    poles.push_back(0);
    zeros.push_back(0);
  }
  const size_t count = poles.size() / 2;
  zeros = pairsThenReals(zeros);
  poles = pairsThenReals(poles);

  const auto any = [](const Complex&) { return true; };
  const auto real = [](const Complex& root) { return isReal(root); };
  const auto complex = [](const Complex& root) { return !isReal(root); };
  const auto fromCircle = [](const Complex& root) { return std::abs(1 - std::abs(root)); };

  std::vector<Section> sections(count);
  for (size_t s = count; s-- > 0;) {
    const Complex p1 = take(poles, nearest(poles, fromCircle, any));
    const auto from = [](Complex target) {
      return [target](const Complex& root) { return std::abs(root - target); };
    };
    Complex p2 = 0, z1 = 0, z2 = 0;
    const auto realCount = [&](const Roots& roots) {
      return std::count_if(roots.begin(), roots.end(), real);
    };
    if (isReal(p1) && realCount(poles) == 0) {
      z1 = take(zeros, nearest(zeros, from(p1), real));  // a first-order section
    } else {
      const bool keepLastRealZero = !isReal(p1) && realCount(zeros) == 1;
      z1 = take(zeros, nearest(zeros, from(p1), keepLastRealZero ? +complex : +any));
      if (!isReal(p1)) {
        p2 = std::conj(p1);
        z2 = isReal(z1) ? take(zeros, nearest(zeros, from(p1), real)) : std::conj(z1);
      } else if (!isReal(z1)) {
        z2 = std::conj(z1);
        p2 = take(poles, nearest(poles, from(z1), real));
      } else {
        p2 = take(poles, nearest(poles, fromCircle, real));
        z2 = take(zeros, nearest(zeros, from(p2), real));
      }
    }
    const std::array<double, 3> b = quadratic(z1, z2), a = quadratic(p1, p2);
    sections[s] = {b[0], b[1], b[2], a[0], a[1], a[2]};
  }
  for (size_t i = 0; i < 3; ++i) sections[0][i] *= design.gain;
  return sections;
}

// Modified Bessel function of the first kind, order 0, by its power series.
double besselI0(double x) {
  const double quarterSquare = x * x / 4;
  double term = 1, sum = 1;
  for (int k = 1; term > sum * 1e-17; ++k) {
    term *= quarterSquare / (static_cast<double>(k) * k);
    sum += term;
  }
  return sum;
}

double sinc(double x) {
  const double y = kPi * (x == 0 ? 1e-20 : x);
  return std::sin(y) / y;
}

}  // namespace

std::vector<Section> butterworthSections(uint32_t order, Band band,
                                         const std::vector<double>& edges, double rate) {
  // Corners pre-warped for the bilinear transform at a sampling rate of 2.
  std::vector<double> warped;
  for (const double edge : edges) warped.push_back(4 * std::tan(kPi * (2 * edge / rate) / 2));
  const ZerosPolesGain prototype = butterworthPrototype(order);
  ZerosPolesGain analogue;
  switch (band) {
    case Band::Lowpass:
      analogue = toLowpass(prototype, warped[0]);
      break;
    case Band::Highpass:
      analogue = toHighpass(prototype, warped[0]);
      break;
    case Band::Bandpass:
      analogue = toBandpass(prototype, std::sqrt(warped[0] * warped[1]), warped[1] - warped[0]);
      break;
    case Band::Bandstop:
      analogue = toBandstop(prototype, std::sqrt(warped[0] * warped[1]), warped[1] - warped[0]);
      break;
  }
  return pairedSections(bilinear(analogue));
}

double kaiserBeta(double attenuation) {
  if (attenuation > 50) return 0.1102 * (attenuation - 8.7);
  if (attenuation > 21) {
    return 0.5842 * std::pow(attenuation - 21, 0.4) + 0.07886 * (attenuation - 21);
  }
  return 0;
}

double kaiserLength(double attenuation, double transitionWidth) {
  return std::ceil((attenuation - 7.95) / 2.285 / (kPi * transitionWidth) + 1);
}

std::vector<double> kaiserSincTaps(uint32_t length, Band band, const std::vector<double>& edges,
                                   double rate, double beta) {
  // The pass bands as pairs of edges in fractions of Nyquist.
  std::vector<double> bands;
  if (band == Band::Lowpass || band == Band::Bandstop) bands.push_back(0);
  for (const double edge : edges) bands.push_back(edge / (0.5 * rate));
  if (band == Band::Highpass || band == Band::Bandstop) bands.push_back(1);

  const double middle = 0.5 * (length - 1.0);
  std::vector<double> taps(length, 0.0);
  for (uint32_t n = 0; n < length; ++n) {
    const double m = n - middle;
    for (size_t i = 0; i < bands.size(); i += 2) {
      taps[n] += bands[i + 1] * sinc(bands[i + 1] * m);
      taps[n] -= bands[i] * sinc(bands[i] * m);
    }
    const double window =
        length == 1
            ? 1.0
            : besselI0(beta * std::sqrt(1 - std::pow((n - middle) / middle, 2.0))) / besselI0(beta);
    taps[n] *= window;
  }
  // Unit gain at the first pass band's reference frequency.
  const double reference =
      bands[0] == 0 ? 0.0 : (bands[1] == 1 ? 1.0 : 0.5 * (bands[0] + bands[1]));
  double gain = 0;
  for (uint32_t n = 0; n < length; ++n) gain += taps[n] * std::cos(kPi * (n - middle) * reference);
  for (double& tap : taps) tap /= gain;
  return taps;
}

}  // namespace kxtool
