// Linear interpolation between points of which the abscissae are sorted, rising or
// falling.
//
// An evaluation first finds the interval that holds x, by bisection or, when the last
// two searches ended close to each other, by hunting from where the last one ended
// (W. H. Press et al., Numerical Recipes, 3rd edition, section 3.1). A sequence of
// neighbouring positions is thus evaluated without searching all points each time.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace Eigen {
namespace internal {

// X and Y are vectors of float with size() and operator[]. They are borrowed and must
// outlive the interpolator; there are at least two points. Not for use from several
// threads at once: each search leaves its result for the next.
template <typename X, typename Y>
class Interp1Base {
  public:
    virtual ~Interp1Base() = default;

    // The value at x, with points from j on.
    virtual float evaluateInterval(std::int64_t j, float x) const = 0;

    float interpolate(float x) {
        const std::int64_t j = correlated != 0 ? hunt(x) : locate(x);
        return evaluateInterval(j, x);
    }

    // The index of the first point to evaluate x with: by bisection of all points, and
    // by steps from the last result that double until they enclose x.
    std::int64_t locate(float x);
    std::int64_t hunt(float x);

    std::int64_t pointCount;
    std::int64_t pointsPerInterval;
    std::int64_t lastIndex = 0;
    // Not zero when the next search may start from lastIndex.
    std::int64_t correlated = 0;
    // How far apart two results may lie for the next search to hunt: the fourth root
    // of the number of points, and never more than one.
    std::int64_t huntLimit;
    const X* xs;
    const Y* ys;

  protected:
    Interp1Base(const X& x, const Y& y, std::int64_t points_per_interval)
        : pointCount(x.size()), pointsPerInterval(points_per_interval),
          huntLimit(std::min<std::int64_t>(
              1, static_cast<std::int64_t>(
                     std::pow(static_cast<double>(static_cast<float>(x.size())), 0.25)))),
          xs(&x), ys(&y) {}

  private:
    bool isAscending() const { return (*xs)[0] <= (*xs)[pointCount - 1]; }
    bool isAtOrBehind(std::int64_t index, float x) const {
        return ((*xs)[index] <= x) == isAscending();
    }
    bool isBefore(float x, std::int64_t index) const { return (x < (*xs)[index]) == isAscending(); }
    std::int64_t bisect(float x, std::int64_t lo, std::int64_t hi);
};

template <typename X, typename Y>
class Interp1Linear : public Interp1Base<X, Y> {
  public:
    Interp1Linear(const X& x, const Y& y) : Interp1Base<X, Y>(x, y, 2) {}

    float evaluateInterval(std::int64_t j, float x) const override {
        const auto& points = *this->xs;
        const auto& values = *this->ys;
        if (points[j] == points[j + 1]) {
            return values[j];
        }
        return ((x - points[j]) / (points[j + 1] - points[j])) * (values[j + 1] - values[j]) +
               values[j];
    }
};

// ---------------------------------------------------------------------------

template <typename X, typename Y>
std::int64_t Interp1Base<X, Y>::locate(float x) {
    return bisect(x, 0, pointCount - 1);
}

template <typename X, typename Y>
std::int64_t Interp1Base<X, Y>::hunt(float x) {
    const std::int64_t last = pointCount - 1;
    std::int64_t lo = lastIndex;
    std::int64_t hi = lo;
    if (lo < 0 || lo > last) {
        return bisect(x, 0, last);
    }
    if (isAtOrBehind(lo, x)) {
        for (std::int64_t step = 1;; step *= 2) {
            hi = lo + step;
            if (hi >= last || isBefore(x, hi)) {
                break;
            }
            lo = hi;
        }
    } else {
        for (std::int64_t step = 1;; step *= 2) {
            lo -= step;
            if (lo <= 0 || isAtOrBehind(lo, x)) {
                break;
            }
            hi = lo;
        }
    }
    return bisect(x, std::max<std::int64_t>(lo, 0), std::min(hi, last));
}

// Narrows [lo, hi] down to one interval and keeps it for the next search.
template <typename X, typename Y>
std::int64_t Interp1Base<X, Y>::bisect(float x, std::int64_t lo, std::int64_t hi) {
    while (hi - lo > 1) {
        const std::int64_t mid = (lo + hi) >> 1;
        (isAtOrBehind(mid, x) ? lo : hi) = mid;
    }
    correlated = std::abs(lo - lastIndex) <= huntLimit ? 1 : 0;
    lastIndex = lo;
    const std::int64_t first = lo - ((pointsPerInterval - 2) >> 1);
    return std::max<std::int64_t>(0, std::min(pointCount - pointsPerInterval, first));
}

} // namespace internal
} // namespace Eigen
