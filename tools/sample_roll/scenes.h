#pragma once

#include <array>
#include <cstdint>

#include "sample_roll/raster.h"

namespace kelvaris::sample_roll {

enum class Scene : std::uint8_t { hills, sea, street, nightStreet, meadow, stillLife, portrait };

inline constexpr std::array allScenes = {Scene::hills,  Scene::sea,       Scene::street,  Scene::nightStreet,
                                         Scene::meadow, Scene::stillLife, Scene::portrait};

/// Paints what stood before the camera, in linear light and without any trace of film.
/// The same seed gives the same view at every size.
Raster paintScene(Scene scene, int width, int height, std::uint64_t seed);

}  // namespace kelvaris::sample_roll
