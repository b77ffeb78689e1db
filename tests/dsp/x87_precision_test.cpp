// A host's programs may have set the x87 unit to 53 bits (as on Windows) or to 64 (as on
// Linux). Nothing that the numerics call may compute there.
#include "dsp/butterworth_design.h"
#include "dsp/log_gamma.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace talvora::dsp {
namespace {

constexpr std::uint16_t PRECISION_OF_53_BITS = 0x027F;
constexpr std::uint16_t PRECISION_OF_64_BITS = 0x037F;

class X87ControlWord {
  public:
    explicit X87ControlWord(std::uint16_t word) {
        __asm__ volatile("fnstcw %0" : "=m"(before_));
        set(word);
    }
    ~X87ControlWord() { set(before_); }
    X87ControlWord(const X87ControlWord&) = delete;
    X87ControlWord& operator=(const X87ControlWord&) = delete;

  private:
    static void set(std::uint16_t word) { __asm__ volatile("fldcw %0" : : "m"(word)); }

    std::uint16_t before_;
};

// Coefficients of every form, with the functions that designs call.
std::vector<double> compute_at(std::uint16_t control_word) {
    const X87ControlWord scope(control_word);
    std::vector<double> results;
    for (const std::int32_t order : {2, 4, 6, 12}) {
        for (const double cutoff : {3.0, 7.5, 20.0}) {
            for (std::int32_t form = 0; form < 4; ++form) {
                const EdgePair edges = compute_edges({.cutoff = cutoff,
                                                      .order = order,
                                                      .bandwidth = 2.0,
                                                      .bandform = Bandform(form)},
                                                     100.0);
                std::vector<double> b;
                std::vector<double> a;
                design_butterworth(order, edges, Bandform(form), b, a);
                results.insert(results.end(), b.begin(), b.end());
                results.insert(results.end(), a.begin(), a.end());
            }
        }
        results.push_back(binomial(order, 3.0));
    }
    return results;
}

TEST(X87Precision, ChangesNoBitOfADesign) {
    EXPECT_EQ(compute_at(PRECISION_OF_53_BITS), compute_at(PRECISION_OF_64_BITS));
}

} // namespace
} // namespace talvora::dsp
