// Arithmetic as units and filters expect it.
#pragma once

#include <cfenv>

namespace talvora::library {

// While it lives, arithmetic of its thread is that of a program that chose nothing: numbers are
// rounded to the nearest, and denormal ones are numbers.
class DefaultArithmetic {
  public:
    DefaultArithmetic() {
        std::fegetenv(&before_);
        std::fesetenv(FE_DFL_ENV);
    }
    ~DefaultArithmetic() { std::fesetenv(&before_); }
    DefaultArithmetic(const DefaultArithmetic&) = delete;
    DefaultArithmetic& operator=(const DefaultArithmetic&) = delete;

  private:
    std::fenv_t before_{};
};

} // namespace talvora::library
