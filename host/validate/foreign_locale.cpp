#include "host/validate/foreign_locale.h"

#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <locale>
#include <sstream>
#include <string>

namespace talvora::host {

namespace {

struct CommaPunctuation : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

bool has_comma() {
    return std::strcmp(std::localeconv()->decimal_point, ",") == 0;
}

bool take_installed_locale() {
    for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "es_ES.UTF-8", "it_IT.UTF-8",
                             "pt_BR.UTF-8", "nl_NL.UTF-8", "ru_RU.UTF-8", "de-DE"}) {
        if (std::setlocale(LC_ALL, name) != nullptr && has_comma()) {
            return true;
        }
    }
    std::setlocale(LC_ALL, "C");
    return false;
}

#if defined(__GLIBC__)

namespace fs = std::filesystem;

// The GNU C library's file of a locale's numbers: two words, then the place of each entry. The
// first entry is the decimal point, the fourth the same as a wide letter.
constexpr std::size_t POINT_PLACES[] = {2 * sizeof(std::uint32_t), 5 * sizeof(std::uint32_t)};

std::string read_numbers_of_c_locale() {
    std::ifstream file("/usr/lib/locale/C.utf8/LC_NUMERIC", std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

// False when there is something else where the point has to stand.
bool replace_points(std::string& bytes) {
    for (const std::size_t place : POINT_PLACES) {
        std::uint32_t at = 0;
        if (place + sizeof at > bytes.size()) {
            return false;
        }
        std::memcpy(&at, bytes.data() + place, sizeof at);
        if (at >= bytes.size() || bytes[at] != '.') {
            return false;
        }
        bytes[at] = ',';
    }
    return true;
}

void take_made_locale() {
    std::string bytes = read_numbers_of_c_locale();
    if (!replace_points(bytes)) {
        return;
    }
    const fs::path place = fs::temp_directory_path() / "locales";
    fs::create_directories(place / "comma");
    std::ofstream(place / "comma" / "LC_NUMERIC", std::ios::binary) << bytes;
    setenv("LOCPATH", place.c_str(), 1);
    std::setlocale(LC_NUMERIC, "comma");
    unsetenv("LOCPATH");
}

#else

void take_made_locale() {}

#endif

} // namespace

void take_comma_locale() {
    std::locale::global(std::locale(std::locale::classic(), new CommaPunctuation));
    if (!take_installed_locale()) {
        take_made_locale();
    }
}

} // namespace talvora::host
