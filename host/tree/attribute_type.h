// As what an attribute is stored, for those who set another value and leave the type.
#pragma once

#include "host/tree/data_tree.h"

#include <string>

namespace talvora::host {

struct AttributeType {
    enum class Kind { Number, Text, Other };

    Kind kind = Kind::Other;
    SampleType number = SampleType::Float32; // of numbers
    bool is_ascii = false;                   // of texts: other letters do not fit
    std::string name;                        // "float32", "text", "text of at most 5 bytes"
    Extents extents;                         // none: a value of its own, no array
};

} // namespace talvora::host
