#pragma once

#include <array>
#include <string_view>

#include "library/photo_item.h"
#include "vocabulary/photo_label.h"

namespace kelvaris {

/// A place as the classifier of places names it, and what a photo of it shows.
struct PlaceWord {
    std::string_view name;
    PhotoLabel label;
};

/// Places without a row say nothing of what a photo shows. By name.
inline constexpr std::array<PlaceWord, 147> places365Mapping{{
    // clang-format off
    {"airfield", PhotoLabel::vehicle}, {"airplane_cabin", PhotoLabel::vehicle},
    {"airport_terminal", PhotoLabel::vehicle}, {"alley", PhotoLabel::street},
    {"amphitheater", PhotoLabel::architecture}, {"aquarium", PhotoLabel::animal},
    {"aqueduct", PhotoLabel::architecture}, {"arch", PhotoLabel::architecture},
    {"auto_factory", PhotoLabel::vehicle}, {"auto_showroom", PhotoLabel::vehicle},
    {"badlands", PhotoLabel::landscape}, {"bamboo_forest", PhotoLabel::landscape}, {"bar", PhotoLabel::food},
    {"baseball_field", PhotoLabel::action}, {"beach", PhotoLabel::water}, {"beer_garden", PhotoLabel::food},
    {"beer_hall", PhotoLabel::food}, {"boardwalk", PhotoLabel::water}, {"boat_deck", PhotoLabel::vehicle},
    {"boathouse", PhotoLabel::vehicle}, {"botanical_garden", PhotoLabel::flora},
    {"bowling_alley", PhotoLabel::action}, {"boxing_ring", PhotoLabel::action},
    {"bridge", PhotoLabel::architecture}, {"building_facade", PhotoLabel::architecture},
    {"bus_interior", PhotoLabel::vehicle}, {"butte", PhotoLabel::landscape},
    {"campsite", PhotoLabel::landscape}, {"canyon", PhotoLabel::landscape},
    {"car_interior", PhotoLabel::vehicle}, {"castle", PhotoLabel::architecture},
    {"chalet", PhotoLabel::architecture}, {"cliff", PhotoLabel::landscape}, {"coast", PhotoLabel::water},
    {"coffee_shop", PhotoLabel::food}, {"corn_field", PhotoLabel::landscape}, {"corral", PhotoLabel::animal},
    {"cottage", PhotoLabel::architecture}, {"courthouse", PhotoLabel::architecture},
    {"creek", PhotoLabel::landscape}, {"crevasse", PhotoLabel::landscape}, {"crosswalk", PhotoLabel::street},
    {"dam", PhotoLabel::architecture}, {"delicatessen", PhotoLabel::food},
    {"desert_road", PhotoLabel::landscape}, {"downtown", PhotoLabel::street},
    {"driveway", PhotoLabel::street}, {"embassy", PhotoLabel::architecture}, {"farm", PhotoLabel::landscape},
    {"fastfood_restaurant", PhotoLabel::food}, {"field_road", PhotoLabel::landscape},
    {"fishpond", PhotoLabel::water}, {"food_court", PhotoLabel::food}, {"football_field", PhotoLabel::action},
    {"forest_path", PhotoLabel::landscape}, {"forest_road", PhotoLabel::landscape},
    {"formal_garden", PhotoLabel::flora}, {"gas_station", PhotoLabel::street},
    {"glacier", PhotoLabel::landscape}, {"golf_course", PhotoLabel::action}, {"harbor", PhotoLabel::water},
    {"hayfield", PhotoLabel::landscape}, {"heliport", PhotoLabel::vehicle}, {"highway", PhotoLabel::street},
    {"hot_spring", PhotoLabel::landscape}, {"ice_cream_parlor", PhotoLabel::food},
    {"ice_floe", PhotoLabel::landscape}, {"ice_shelf", PhotoLabel::landscape},
    {"iceberg", PhotoLabel::landscape}, {"islet", PhotoLabel::landscape},
    {"japanese_garden", PhotoLabel::flora}, {"lagoon", PhotoLabel::water}, {"lawn", PhotoLabel::landscape},
    {"lighthouse", PhotoLabel::architecture}, {"mansion", PhotoLabel::architecture},
    {"marsh", PhotoLabel::landscape}, {"martial_arts_gym", PhotoLabel::action},
    {"mausoleum", PhotoLabel::architecture}, {"mountain", PhotoLabel::landscape},
    {"mountain_path", PhotoLabel::landscape}, {"mountain_snowy", PhotoLabel::landscape},
    {"oast_house", PhotoLabel::architecture}, {"ocean", PhotoLabel::water}, {"ocean_deep", PhotoLabel::water},
    {"office_building", PhotoLabel::architecture}, {"orchard", PhotoLabel::flora},
    {"pagoda", PhotoLabel::architecture}, {"palace", PhotoLabel::architecture},
    {"parking_lot", PhotoLabel::street}, {"pasture", PhotoLabel::landscape}, {"pet_shop", PhotoLabel::animal},
    {"picnic_area", PhotoLabel::landscape}, {"pier", PhotoLabel::water}, {"pizzeria", PhotoLabel::food},
    {"playground", PhotoLabel::action}, {"plaza", PhotoLabel::street}, {"pond", PhotoLabel::water},
    {"promenade", PhotoLabel::street}, {"racecourse", PhotoLabel::action}, {"raceway", PhotoLabel::action},
    {"railroad_track", PhotoLabel::street}, {"rainforest", PhotoLabel::landscape},
    {"residential_neighborhood", PhotoLabel::street}, {"restaurant", PhotoLabel::food},
    {"restaurant_kitchen", PhotoLabel::food}, {"restaurant_patio", PhotoLabel::food},
    {"rice_paddy", PhotoLabel::landscape}, {"river", PhotoLabel::water}, {"rock_arch", PhotoLabel::landscape},
    {"roof_garden", PhotoLabel::flora}, {"ruin", PhotoLabel::architecture}, {"runway", PhotoLabel::vehicle},
    {"shopfront", PhotoLabel::street}, {"ski_resort", PhotoLabel::action}, {"ski_slope", PhotoLabel::action},
    {"skyscraper", PhotoLabel::architecture}, {"slum", PhotoLabel::street},
    {"snowfield", PhotoLabel::landscape}, {"soccer_field", PhotoLabel::action},
    {"stable", PhotoLabel::animal}, {"street", PhotoLabel::street}, {"supermarket", PhotoLabel::food},
    {"sushi_bar", PhotoLabel::food}, {"swamp", PhotoLabel::landscape}, {"swimming_hole", PhotoLabel::water},
    {"topiary_garden", PhotoLabel::flora}, {"tower", PhotoLabel::architecture},
    {"train_interior", PhotoLabel::vehicle}, {"tree_farm", PhotoLabel::landscape},
    {"tundra", PhotoLabel::landscape}, {"valley", PhotoLabel::landscape},
    {"vegetable_garden", PhotoLabel::flora}, {"veterinarians_office", PhotoLabel::animal},
    {"viaduct", PhotoLabel::architecture}, {"village", PhotoLabel::street}, {"vineyard", PhotoLabel::flora},
    {"volcano", PhotoLabel::landscape}, {"water_park", PhotoLabel::action}, {"waterfall", PhotoLabel::water},
    {"watering_hole", PhotoLabel::water}, {"wave", PhotoLabel::water}, {"wet_bar", PhotoLabel::food},
    {"wheat_field", PhotoLabel::landscape}, {"wind_farm", PhotoLabel::landscape},
    {"windmill", PhotoLabel::architecture}, {"yard", PhotoLabel::landscape},
    {"zen_garden", PhotoLabel::flora},
    // clang-format on
}};

/// The labels that places suggest: the surest first, and the less sure one is, the fewer may stand with it.
PhotoLabelSet placeLabels(const TagConfidences& categories);

/// Replaces the photo's places: its tags of places, its categories, and the labels that they suggest, which
/// never go against the user's own. Main thread.
void applyPlaceCategories(const TagConfidences& categories, PhotoItem& photo);

}  // namespace kelvaris
