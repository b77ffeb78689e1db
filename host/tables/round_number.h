// The number that people would have meant, among those that a measurement leaves possible.
#pragma once

namespace talvora::host {

// The number with the fewest decimal digits from `low` to `high`, both above 0 and finite; of
// several the nearest to the middle. The middle itself where they are equal.
double roundest_between(double low, double high);

// How many digits its shortest decimal text has, zeros in front and behind left out.
int count_digits(double value);

} // namespace talvora::host
