// What is known of the attributes of the objects in work, so that asking for them again
// and writing the same again costs no access to the file. A unit that averages a set asks
// for all attributes of it, and writes each to its result, once for every line.
//
// It holds no value that is not in the file: losing it loses nothing.
#pragma once

#include "host/tree/data_tree.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace talvora::host {

// Remembers the names and the short values of a bounded number of objects of one tree.
class AttributeCache {
  public:
    explicit AttributeCache(DataTree& tree) : tree_(tree) {}

    // As the three of DataTree. A value is written unless the very same, in type and in
    // every bit, was written last.
    std::vector<std::string> list(ObjectId object);
    std::optional<AttributeValue> read(ObjectId object, const std::string& name);
    void write(ObjectId object, const std::string& name, const AttributeValue& value);

  private:
    struct KnownValue {
        std::optional<AttributeValue> value; // nothing: there is none of that name
        // What was read may be stored in another type than ours: writing it is a change.
        bool written_here = false;
    };
    struct KnownObject {
        std::optional<std::vector<std::string>> names;
        std::map<std::string, KnownValue> values;
    };

    KnownObject& known(ObjectId object);

    DataTree& tree_;
    std::map<ObjectId, KnownObject> objects_;
};

} // namespace talvora::host
