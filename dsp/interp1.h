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

// The names of the classes, this namespace included, are part of the library's type information,
// by which stack traces and profiles know them, so they stay. Eigen has no name that begins
// with Interp1.
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
    std::int64_t huntUp(float x, std::int64_t lo);
    std::int64_t huntDown(float x, std::int64_t hi);
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
    if (lastIndex < 0 || lastIndex >= pointCount) {
        return locate(x);
    }
    return isAtOrBehind(lastIndex, x) ? huntUp(x, lastIndex) : huntDown(x, lastIndex);
}

template <typename X, typename Y>
std::int64_t Interp1Base<X, Y>::huntUp(float x, std::int64_t lo) {
    const std::int64_t last = pointCount - 1;
    std::int64_t step = 1;
    while (lo + step < last && !isBefore(x, lo + step)) {
        lo += step;
        step *= 2;
    }
    return bisect(x, lo, std::min(lo + step, last));
}

template <typename X, typename Y>
std::int64_t Interp1Base<X, Y>::huntDown(float x, std::int64_t hi) {
    std::int64_t step = 1;
    while (hi - step > 0 && !isAtOrBehind(hi - step, x)) {
        hi -= step;
        step *= 2;
    }
    return bisect(x, std::max<std::int64_t>(hi - step, 0), hi);
}

// Narrows [lo, hi] down to one interval and keeps it for the next search.
template <typename X, typename Y>
std::int64_t Interp1Base<X, Y>::bisect(float x, std::int64_t lo, std::int64_t hi) {
    while (hi - lo > 1) {
        const std::int64_t mid = (lo + hi) >> 1;
        if (isAtOrBehind(mid, x)) {
            lo = mid;
        } else {
            hi = mid;
        }
    }
    correlated = std::abs(lo - lastIndex) <= huntLimit ? 1 : 0;
    lastIndex = lo;
    const std::int64_t first = lo - ((pointsPerInterval - 2) >> 1);
    return std::max<std::int64_t>(0, std::min(pointCount - pointsPerInterval, first));
}

} // namespace internal
} // namespace Eigen
