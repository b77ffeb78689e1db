// The logarithm of the gamma function, and the binomial coefficients made from it.
#pragma once

#include <cstddef>
#include <vector>

namespace talvora::dsp {

// log Gamma(x) by rational approximations, to 7e-16 (relative above 1, absolute
// below). Infinite at 0; 0.0 where there is no approximation: for negative x and NaN.
// (W. J. Cody and K. E. Hillstrom, Chebyshev Approximations for the Natural Logarithm
// of the Gamma Function, Mathematics of Computation 21, 1967, 198-203, with the
// extension by Cody and Stoltz.) Own code, because the C library's function differs in
// the last bits from system to system, and sets a global sign.
double log_gamma(double x);

// "n over k" as exp(log_gamma(n + 1) - log_gamma(n - k + 1) - log_gamma(k + 1)): close
// to the whole number but seldom equal to it. 0.0 unless n >= k, n >= 0 and k >= 0.
double binomial(double n, double k);

// binomial(n, k) for all whole 0 <= k <= n <= `largest_n`: the sums over polynomial
// coefficients ask for each of them many times.
class BinomialTable {
  public:
    explicit BinomialTable(std::size_t largest_n);

    double operator()(std::size_t n, std::size_t k) const { return values_[row_start(n) + k]; }

  private:
    static std::size_t row_start(std::size_t n) { return n * (n + 1) / 2; }

    std::vector<double> values_;
};

} // namespace talvora::dsp
