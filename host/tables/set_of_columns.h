// Sets as they are chosen out of the columns of a table.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// One data set out of several columns, in the order given.
struct SetOfColumns {
    std::string name;
    std::vector<std::string> columns;
};

// "AngularRate=Gyroscope X,Gyroscope Y" as a set of two columns; a column name that
// holds a comma stands in double quotes. Throws a Failure of usage.
SetOfColumns parse_set_of_columns(std::string_view text);

// The nearest name that an object in a tree can have: '/' parts the names of a path, '.' and '..'
// are steps in one.
std::string make_safe_name(std::string name);

} // namespace talvora::host
