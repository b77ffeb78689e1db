// A locale in which numbers are written otherwise than in the one that a program starts with.
#pragma once

namespace talvora::host {

// From here on numbers have a decimal comma: in C, where a locale for it is installed or can be
// made of an installed one, and in C++. For the life of the process.
void take_comma_locale();

} // namespace talvora::host
