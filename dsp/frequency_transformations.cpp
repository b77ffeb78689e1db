#include "dsp/frequency_transformations.h"

#include "dsp/log_gamma.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace talvora::dsp {

namespace {

std::size_t degree(const ComplexPolynomial& polynomial) {
    return polynomial.size() - 1;
}

std::size_t degree(const AnalogFilter& filter) {
    return std::max(degree(filter.b), degree(filter.a));
}

// base^0 ... base^largest_exponent, each by its own call: repeated products round
// differently.
std::vector<double> tabulate_powers(double base, std::size_t largest_exponent) {
    std::vector<double> powers(largest_exponent + 1);
    for (std::size_t exponent = 0; exponent < powers.size(); ++exponent) {
        powers[exponent] = std::pow(base, static_cast<double>(exponent));
    }
    return powers;
}

double quotient(double dividend, double divisor) {
    return dividend / divisor;
}

// Far from the ends of the range, so that no product of some leaves it.
bool is_moderate(double value) {
    return value == 0.0 || (std::abs(value) > 0x1p-250 && std::abs(value) < 0x1p250);
}

bool is_moderate(const std::complex<double>& value) {
    return is_moderate(value.real()) && is_moderate(value.imag());
}

// By R. L. Smith's method (Algorithm 116, Communications of the ACM 5, 1962), as the compiler's
// library divides on x86-64; on processors with fused operations it rounds otherwise. To that
// library is left what no design has: a larger imaginary part, and what has to be scaled; and what
// it rounds alike, without an imaginary part.
std::complex<double> quotient(const std::complex<double>& dividend,
                              const std::complex<double>& divisor) {
    const double ratio = divisor.imag() / divisor.real();
    const bool is_ordinary =
        is_moderate(dividend) && is_moderate(divisor) && ratio != 0.0 && std::abs(ratio) <= 1.0;
    if (!is_ordinary) {
        return dividend / divisor;
    }
    const double scale = divisor.imag() * ratio + divisor.real();
    return {(dividend.imag() * ratio + dividend.real()) / scale,
            (dividend.imag() - dividend.real() * ratio) / scale};
}

AnalogFilter normalized(AnalogFilter filter) {
    normalize_transfer_function(filter.b, filter.a);
    return filter;
}

// P(s / wo) times `common`, which keeps the leading coefficient of the denominator 1;
// `powers` are those of wo.
ComplexPolynomial scale_lowpass(ComplexPolynomial polynomial, const std::vector<double>& powers,
                                double common) {
    const std::size_t highest = degree(polynomial);
    for (std::size_t j = 0; j < polynomial.size(); ++j) {
        polynomial[j] = polynomial[j] * common / powers[highest - j];
    }
    return polynomial;
}

// s^degree P(wo / s), with the degree of the highest power.
ComplexPolynomial reverse_lowpass(const ComplexPolynomial& polynomial,
                                  const std::vector<double>& powers) {
    ComplexPolynomial result(powers.size());
    for (std::size_t j = 0; j < polynomial.size(); ++j) {
        result[j] = polynomial[degree(polynomial) - j] * powers[j];
    }
    return result;
}

// Powers of the centre's square and of the width, and the binomials of (s^2 + wo^2)^n.
struct BandTables {
    BandTables(double wo, double bw, std::size_t largest)
        : binomials(largest), centres(tabulate_powers(wo * wo, largest)),
          widths(tabulate_powers(bw, largest)) {}

    BinomialTable binomials;
    std::vector<double> centres;
    std::vector<double> widths;
};

// The sum over i and k of binomial(i, k) p_i wo^(2(i - k)) s^(highest - i + 2k) /
// bw^(highest - i), with p_i the coefficient of s^i.
//
// The power of bw in this system is highest - i. With i in its place, the substitution
// would be s -> (s^2 + wo^2) / (bw s) and bw the width of the band. As it is, the filter
// is the classical band pass of the same centre whose pre-warped width is 1/bw: a larger
// width passes a narrower band, and only near bw = 1 about the width that was asked for.
// docs/decisions/0001-band-pass-width.md has the reasons and the responses.
ComplexPolynomial substitute_bandpass(const ComplexPolynomial& lowpass, std::size_t highest,
                                      const BandTables& tables) {
    const std::size_t last = degree(lowpass) + highest;
    ComplexPolynomial result(last + 1);
    for (std::size_t i = 0; i < lowpass.size(); ++i) {
        for (std::size_t k = 0; k <= i; ++k) {
            result[last - (highest - i + 2 * k)] +=
                tables.binomials(i, k) * lowpass[degree(lowpass) - i] * tables.centres[i - k] /
                tables.widths[highest - i];
        }
    }
    return result;
}

// The sum over i and k of binomial(highest - i, k) p_i wo^(2(highest - i - k)) bw^i
// s^(i + 2k), with p_i the coefficient of s^i.
ComplexPolynomial substitute_bandstop(const ComplexPolynomial& lowpass, std::size_t highest,
                                      const BandTables& tables) {
    const std::size_t last = 2 * highest;
    ComplexPolynomial result(last + 1);
    for (std::size_t i = 0; i < lowpass.size(); ++i) {
        for (std::size_t k = 0; k <= highest - i; ++k) {
            result[last - (i + 2 * k)] += tables.binomials(highest - i, k) *
                                          lowpass[degree(lowpass) - i] *
                                          tables.centres[highest - i - k] * tables.widths[i];
        }
    }
    return result;
}

// The sum over i of p_i (2 fs)^i (z - 1)^i (z + 1)^(highest - i), with p_i the
// coefficient of s^i. All other factors are real, so the real parts of the
// coefficients give the real part of the sum.
std::vector<double> substitute_bilinear(const ComplexPolynomial& analog, std::size_t highest,
                                        const std::vector<double>& rate_powers,
                                        const BinomialTable& binomials) {
    std::vector<double> result(highest + 1);
    for (std::size_t i = 0; i < analog.size(); ++i) {
        const double coefficient = analog[degree(analog) - i].real();
        for (std::size_t k = 0; k <= i; ++k) {
            const double sign = k % 2 == 0 ? 1.0 : -1.0;
            for (std::size_t l = 0; l <= highest - i; ++l) {
                result[k + l] += binomials(i, k) * binomials(highest - i, l) * coefficient *
                                 rate_powers[i] * sign;
            }
        }
    }
    return result;
}

} // namespace

ComplexPolynomial expand_roots(std::span<const std::complex<double>> roots) {
    ComplexPolynomial polynomial = {1.0};
    for (const auto& root : roots) {
        polynomial.emplace_back(0.0);
        for (std::size_t j = polynomial.size() - 1; j > 0; --j) {
            polynomial[j] -= root * polynomial[j - 1];
        }
    }
    return polynomial;
}

template <typename Scalar>
void normalize_transfer_function(std::vector<Scalar>& b, std::vector<Scalar>& a) {
    const auto first =
        std::find_if(a.begin(), a.end() - 1, [](const Scalar& value) { return value != 0.0; });
    a.erase(a.begin(), first);
    const Scalar leading = a.front();
    const auto divide = [leading](const Scalar& value) { return quotient(value, leading); };
    std::transform(b.begin(), b.end(), b.begin(), divide);
    std::transform(a.begin(), a.end(), a.begin(), divide);
}

template void normalize_transfer_function(std::vector<double>& b, std::vector<double>& a);
template void normalize_transfer_function(ComplexPolynomial& b, ComplexPolynomial& a);

AnalogFilter lowpass_to_lowpass(const AnalogFilter& lowpass, double wo) {
    const auto powers = tabulate_powers(wo, degree(lowpass));
    const double common = powers[degree(lowpass.a)];
    return normalized(
        {scale_lowpass(lowpass.b, powers, common), scale_lowpass(lowpass.a, powers, common)});
}

AnalogFilter lowpass_to_highpass(const AnalogFilter& lowpass, double wo) {
    const auto powers = tabulate_powers(wo, degree(lowpass));
    return normalized({reverse_lowpass(lowpass.b, powers), reverse_lowpass(lowpass.a, powers)});
}

AnalogFilter lowpass_to_bandpass(const AnalogFilter& lowpass, double wo, double bw) {
    const std::size_t highest = degree(lowpass);
    const BandTables tables(wo, bw, highest);
    return normalized({substitute_bandpass(lowpass.b, highest, tables),
                       substitute_bandpass(lowpass.a, highest, tables)});
}

AnalogFilter lowpass_to_bandstop(const AnalogFilter& lowpass, double wo, double bw) {
    const std::size_t highest = degree(lowpass);
    const BandTables tables(wo, bw, highest);
    return normalized({substitute_bandstop(lowpass.b, highest, tables),
                       substitute_bandstop(lowpass.a, highest, tables)});
}

FilterCoefficients bilinear_transform(const AnalogFilter& analog, double sample_rate) {
    const std::size_t highest = degree(analog);
    const auto rate_powers = tabulate_powers(2.0 * sample_rate, highest);
    const BinomialTable binomials(highest);
    FilterCoefficients digital = {substitute_bilinear(analog.b, highest, rate_powers, binomials),
                                  substitute_bilinear(analog.a, highest, rate_powers, binomials)};
    normalize_transfer_function(digital.b, digital.a);
    return digital;
}

} // namespace talvora::dsp
