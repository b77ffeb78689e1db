#include "host/interface/parameter_places.h"

#include <gtest/gtest.h>

namespace talvora::host {
namespace {

TEST(ParameterPlaces, AreSetsAndGroupsByTheEndOfTheKey) {
    EXPECT_EQ(named_place("SourceSets"), (NamedPlace{ObjectKind::DataSet, false}));
    EXPECT_EQ(named_place("HintSet"), (NamedPlace{ObjectKind::DataSet, false}));
    EXPECT_EQ(named_place("SourceGroup"), (NamedPlace{ObjectKind::Group, false}));
    EXPECT_EQ(named_place("OtherGroups"), (NamedPlace{ObjectKind::Group, false}));
}

TEST(ParameterPlaces, AreMadeWhereTheKeyNamesADestination) {
    EXPECT_EQ(named_place("DestinationSet"), (NamedPlace{ObjectKind::DataSet, true}));
    EXPECT_EQ(named_place("DestinationGroup"), (NamedPlace{ObjectKind::Group, true}));
}

TEST(ParameterPlaces, AreNamedByNoOtherKey) {
    EXPECT_EQ(named_place(""), std::nullopt);
    EXPECT_EQ(named_place("SetCount"), std::nullopt);
    EXPECT_EQ(named_place("Bandform"), std::nullopt);
    EXPECT_EQ(named_place("Destination"), std::nullopt);
}

} // namespace
} // namespace talvora::host
