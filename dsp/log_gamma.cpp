#include "dsp/log_gamma.h"

#include <array>
#include <cmath>
#include <limits>

namespace talvora::dsp {

namespace {

// num(x) / den(x), both of degree 8; den starts with `leading`, num with 0.
struct RationalTable {
    std::array<double, 8> numerator;
    std::array<double, 8> denominator;
    double leading;
};

constexpr double D1 = -5.772156649015328605195174e-1; // minus Euler's constant
constexpr double D2 = 4.227843350984671393993777e-1;  // one minus Euler's constant
constexpr double D4 = 1.791759469228055000094023e0;   // log 6
constexpr double LOG_SQRT_2_PI = 0.9189385332046727417803297;

constexpr RationalTable AROUND_ONE = {
    {4.945235359296727046734888e0, 2.018112620856775083915565e2, 2.290838373831346393026739e3,
     1.131967205903380828685045e4, 2.855724635671635335736389e4, 3.848496228443793359990269e4,
     2.637748787624195437963534e4, 7.225813979700288197698961e3},
    {6.748212550303777196073036e1, 1.113332393857199323513008e3, 7.738757056935398733233834e3,
     2.763987074403340708898585e4, 5.499310206226157329794414e4, 6.161122180066002127833352e4,
     3.635127591501940507276287e4, 8.785536302431013170870835e3},
    1.0};

constexpr RationalTable AROUND_TWO = {
    {4.974607845568932035012064e0, 5.424138599891070494101986e2, 1.550693864978364947665077e4,
     1.847932904445632425417223e5, 1.088204769468828767498470e6, 3.338152967987029735917223e6,
     5.106661678927352456275255e6, 3.074109054850539556250927e6},
    {1.830328399370592604055942e2, 7.765049321445005871323047e3, 1.331903827966074194402448e5,
     1.136705821321969608938755e6, 5.267964117437946917577538e6, 1.346701454311101692290052e7,
     1.782736530353274213975932e7, 9.533095591844353613395747e6},
    1.0};

constexpr RationalTable AROUND_FOUR = {
    {1.474502166059939948905062e4, 2.426813369486704502836312e6, 1.214755574045093227939592e8,
     2.663432449630976949898078e9, 2.940378956634553899906876e10, 1.702665737765398868392998e11,
     4.926125793377430887588120e11, 5.606251856223951465078242e11},
    {2.690530175870899333379843e3, 6.393885654300092398984238e5, 4.135599930241388052042842e7,
     1.120872109616147941376570e9, 1.488613728678813811542398e10, 1.016803586272438228077304e11,
     3.417476345507377132798597e11, 4.463158187419713286462081e11},
    -1.0};

// The series in 1/x^2, innermost coefficient first.
constexpr double SERIES_START = 5.7083835261e-03;
constexpr std::array<double, 6> SERIES = {
    -1.910444077728e-03,     8.4171387781295e-04,          -5.952379913043012e-04,
    7.93650793500350248e-04, -2.777777777777681622553e-03, 8.333333333333333331554247e-02};

double rational(double x, const RationalTable& table) {
    double numerator = 0.0;
    double denominator = table.leading;
    for (std::size_t i = 0; i < table.numerator.size(); ++i) {
        numerator = numerator * x + table.numerator[i];
        denominator = denominator * x + table.denominator[i];
    }
    return numerator / denominator;
}

double around_one(double distance) {
    return distance * (D1 + distance * rational(distance, AROUND_ONE));
}

double around_two(double distance) {
    return distance * (D2 + distance * rational(distance, AROUND_TWO));
}

double stirling_series(double x) {
    double result = SERIES_START;
    for (const double coefficient : SERIES) {
        result = result / (x * x) + coefficient;
    }
    result = result / x;
    const double log_x = std::log(x);
    result = result + LOG_SQRT_2_PI - 0.5 * log_x;
    return result + x * (log_x - 1.0);
}

// Gamma(x) = Gamma(x + 1) / x brings a small x near 1 or near 2, and the double
// subtraction keeps x - 1 exact there.
double log_gamma_up_to_one_and_a_half(double x) {
    if (x <= 0.5) {
        return -std::log(x) + around_one(x);
    }
    const double above_one = (x - 0.5) - 0.5;
    if (x < 0.6796875) {
        return -std::log(x) + around_two(above_one);
    }
    return around_one(above_one);
}

} // namespace

double log_gamma(double x) {
    if (x == 0.0) {
        return std::numeric_limits<double>::infinity();
    }
    if (!(x > 0.0)) {
        return 0.0;
    }
    if (x <= std::numeric_limits<double>::epsilon()) {
        return -std::log(x);
    }
    if (x <= 1.5) {
        return log_gamma_up_to_one_and_a_half(x);
    }
    if (x <= 4.0) {
        return around_two(x - 2.0);
    }
    if (x <= 12.0) {
        return D4 + (x - 4.0) * rational(x - 4.0, AROUND_FOUR);
    }
    return stirling_series(x);
}

double binomial(double n, double k) {
    if (!(n >= k && n >= 0.0 && k >= 0.0)) {
        return 0.0;
    }
    return std::exp(log_gamma(n + 1.0) - log_gamma(n - k + 1.0) - log_gamma(k + 1.0));
}

BinomialTable::BinomialTable(std::size_t largest_n) {
    values_.reserve(row_start(largest_n + 1));
    for (std::size_t n = 0; n <= largest_n; ++n) {
        for (std::size_t k = 0; k <= n; ++k) {
            values_.push_back(binomial(static_cast<double>(n), static_cast<double>(k)));
        }
    }
}

} // namespace talvora::dsp
