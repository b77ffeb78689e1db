#include "host/tree/data_tree.h"

#include "host/tree/tree_rules.h"

namespace talvora::host {

// Of a tree that holds 32-bit floats alone.
SampleType DataTree::sample_type(ObjectId) const {
    return SampleType::Float32;
}

StoredSamples DataTree::read_stored(ObjectId set, const Hyperslab& slab) {
    std::vector<float> samples = make_sample_room<float>(slab.counts, path(set));
    read(set, slab, samples);
    return samples;
}

} // namespace talvora::host
