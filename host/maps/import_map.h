// What a map tells of HDF5 files of another program: which data sets hold samples over time, and
// where the rest that is to be known of them stands. docs/files.md describes the file format.
#pragma once

#include "host/tree/data_tree.h"

#include <optional>
#include <string>
#include <vector>

namespace talvora::host {

// Where a value stands, seen from a data set.
struct ValuePlace {
    enum class Kind { Attribute, DataSet, Constant };

    Kind kind = Kind::Constant;
    std::string attribute = {}; // its name
    // The path of the data set, or of what has the attribute: from the group of the set that it is
    // about, or from the root where it begins with '/'. Empty: that set itself.
    std::string object = {};
    AttributeValue constant = {};
};

// The first of them that is there; empty where the map names none.
using ValueChoice = std::vector<ValuePlace>;

struct TextCondition {
    std::string attribute;
    std::vector<std::string> allowed;
};

// Data sets that are alike.
struct MappedSets {
    std::vector<std::string> data;   // patterns of their paths (host/text/path_glob.h)
    std::vector<std::string> except; // and of those that are none of them
    std::optional<TextCondition> where;
    std::vector<ValuePlace> unless; // left where one of these is there
    std::vector<ValuePlace> refuse; // not to be had by scale and offset where one of these is
    // Plain arrays: only the dimension of time is known, the rate is told. An attribute of texts
    // that is not there, or no texts, is none; what contradicts the rate or the dimension is
    // refused.
    bool are_plain = false;
    // The dimensions are counted from the last one on, as they are in the program that wrote them.
    bool column_order = false;
    int time_dimension = 0;      // from 0 on, or below 0 from the last one on, which is -1
    std::string name;            // in the result: "{path}", "{group}" and "{name}" are put in
    ValueChoice rate;            // Hz
    ValueChoice start;           // s
    ValueChoice times;           // s, one for each row
    ValueChoice times_beside;    // as many of them, which the rate may not contradict
    ValueChoice scale;           // of all components
    ValueChoice component_scale; // times it, for each component
    ValueChoice offset;          // added behind them, one, or one for each component
    ValueChoice polynomial;      // in place of them: coefficients, that of degree 0 first
    ValueChoice unit;
    ValueChoice names; // of the components
};

struct ImportMap {
    std::string name; // as messages call it
    // Its dimension of time is that of most files, and nobody told it of this one.
    bool is_shipped = false;
    std::string description;
    std::vector<MappedSets> sets; // a data set is one of the first that name it
};

// Every data set is one of samples, its time along one dimension, with the attributes of sets of
// ours where it has them.
ImportMap make_array_map(int time_dimension);

} // namespace talvora::host
