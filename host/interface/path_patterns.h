// What patterns (host/text/path_glob.h) choose in the tree of one file: the data sets that a
// command works on, and the names in the parameters of a unit.
//
// A path that names an existing object as it stands is that object, whatever letters it
// holds. Chosen names come in natural order, each once. A pattern that nothing matches is
// a Failure of the input that names what is nearest.
//
// `source` is the name of the file, in front of messages and in what is to be typed. It is empty
// for a tree that is in none: no command is named then.
#pragma once

#include "host/interface/parameters.h"
#include "host/text/failure.h"
#include "host/tree/data_tree.h"
#include "host/tree/named_objects.h"

#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// The paths of the data sets that a pattern chooses: those it matches, and all that are
// below a group it matches. The empty pattern chooses every one.
std::vector<std::string> choose_sets(DataTree& tree, std::string_view pattern,
                                     const std::string& source);

// What such a pattern covers beside them and leaves out, each once, by path.
std::vector<NamedOther> list_left_out(DataTree& tree, std::string_view pattern);

// Puts the names that exist in place of the patterns among a unit's parameters.
//
// Which parameters are names of sets or groups follows from their keys (parameter_places.h);
// what a unit makes is yet to be there, and its name stays. In a list each pattern becomes
// all that it matches; a single name must be matched by one object. Names without wildcards
// stay as they are, existing or not: to miss them is up to the unit. One of an object that is there
// and is of another kind is a Failure of the input, which says what it is.
ParameterValues expand_patterns(const ParameterValues& values, DataTree& tree,
                                const std::string& source);

// A hint and the command behind it; either may be empty.
std::string join_hints(const std::string& hint, const std::string& command);

// What lists the objects of a file; empty where there is none.
std::string hint_tree(const std::string& source);

// Why nothing was chosen.
Failure explain_no_match(DataTree& tree, std::string_view pattern, const std::string& source);

} // namespace talvora::host
