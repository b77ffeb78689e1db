// A locale in which numbers are written otherwise, for what has to be the same in all.
#pragma once

#include <locale>
#include <string>

namespace talvora::host {

// A decimal comma and parted thousands while it lives.
class CommaLocale {
  public:
    CommaLocale() { std::locale::global(std::locale(std::locale::classic(), new Punctuation)); }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;
    ~CommaLocale() { std::locale::global(previous_); }

  private:
    struct Punctuation : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::locale previous_;
};

} // namespace talvora::host
