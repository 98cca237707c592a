#include "sample_roll/scenes.h"

#include <numbers>

#include "sample_roll/random_source.h"

namespace kelvaris::sample_roll {

namespace {

struct SkyLook {
    Color zenith;
    Color horizon;
    Color cloud;
    float cloudiness;
};

constexpr std::array<SkyLook, 5> daySkies = {{
    {{0.10F, 0.26F, 0.62F}, {0.55F, 0.70F, 0.88F}, {0.95F, 0.95F, 0.96F}, 0.45F},
    {{0.16F, 0.33F, 0.58F}, {0.78F, 0.80F, 0.80F}, {0.90F, 0.90F, 0.92F}, 0.60F},
    {{0.22F, 0.24F, 0.46F}, {1.00F, 0.52F, 0.24F}, {0.95F, 0.55F, 0.45F}, 0.50F},
    {{0.42F, 0.46F, 0.52F}, {0.72F, 0.74F, 0.76F}, {0.62F, 0.64F, 0.67F}, 0.80F},
    {{0.14F, 0.30F, 0.52F}, {0.92F, 0.78F, 0.58F}, {1.00F, 0.90F, 0.80F}, 0.35F},
}};

void paintSky(Raster& raster, const SkyLook& look, float horizon, std::uint64_t seed) {
    paintShape(
        raster, Box{0, 0, raster.aspect(), horizon}, [](float, float) { return -1.0F; },
        [&](float x, float y) {
            const float depth = std::clamp(y / horizon, 0.0F, 1.0F);
            const Color air = mixed(look.zenith, look.horizon, depth * depth);
            // Clouds flatten towards the horizon, as their rows recede.
            const float stretch = 1.0F / (1.15F - depth);
            const float density = cloudNoise(x * 2.2F, y * 3.5F * stretch, seed, 5);
            const float limit = 0.78F - (0.4F * look.cloudiness);
            const float cover = smoothStep(limit, limit + 0.22F, density);
            const float shade = 0.75F + (0.25F * smoothStep(0.9F, 0.45F, density));
            return mixed(air, look.cloud * shade, cover * 0.9F);
        });
}

void paintSun(Raster& raster, float centerX, float centerY, float radius, const Color& color) {
    const float reach = radius * 9;
    for (int y = 0; y < raster.height(); ++y) {
        float* row = raster.row(y);
        const float dy = ((static_cast<float>(y) + 0.5F) * raster.pixel()) - centerY;
        if (std::abs(dy) > reach) {
            continue;
        }
        for (int x = 0; x < raster.width(); ++x) {
            const float dx = ((static_cast<float>(x) + 0.5F) * raster.pixel()) - centerX;
            const float distance = std::hypot(dx, dy);
            if (distance > reach) {
                continue;
            }
            const float glow = std::pow(1 - (distance / reach), 4.0F) * 0.7F;
            const float disc = smoothStep(radius * 1.1F, radius * 0.9F, distance) * 6;
            row[(x * 3) + 0] += color.red * (glow + disc);
            row[(x * 3) + 1] += color.green * (glow + disc);
            row[(x * 3) + 2] += color.blue * (glow + disc);
        }
    }
}

void paintHills(Raster& raster, RandomSource random) {
    const SkyLook& look = daySkies[static_cast<std::size_t>(random.whole(0, 4))];
    const float horizon = random.between(0.42F, 0.58F);
    paintSky(raster, look, horizon + 0.2F, random.bits());
    const float sunX = random.between(0.2F, 0.8F) * raster.aspect();
    paintSun(raster, sunX, horizon * random.between(0.35F, 0.9F), 0.03F, {1.0F, 0.85F, 0.55F});

    const int layers = random.whole(4, 6);
    const Color near{random.between(0.02F, 0.06F), random.between(0.06F, 0.12F), 0.03F};
    for (int layer = 0; layer < layers; ++layer) {
        const float depth = static_cast<float>(layer) / static_cast<float>(layers - 1);
        const float base = horizon + (depth * depth * 0.42F);
        const float swing = 0.26F * (1 - (0.45F * depth));
        const float frequency = 1.4F + (2.2F * depth);
        const std::uint64_t seed = random.bits();
        const Color color = mixed(mixed(look.horizon, look.zenith, 0.35F) * 0.75F, near, depth);
        std::vector<float> crest(static_cast<std::size_t>(raster.width()));
        for (int x = 0; x < raster.width(); ++x) {
            const float position = static_cast<float>(x) * raster.pixel();
            crest[static_cast<std::size_t>(x)] =
                base - (swing * (ridgeNoise(position * frequency, seed, 6) - 0.35F));
        }
        paintShape(
            raster, Box{0, base - swing, raster.aspect(), 1},
            [&](float x, float y) {
                const auto column = std::min(static_cast<std::size_t>(x / raster.pixel()), crest.size() - 1);
                return crest[column] - y;
            },
            [&](float x, float y) {
                const float texture =
                    cloudNoise(x * (9 + (40 * depth)), y * (14 + (70 * depth)), seed + 99, 3);
                return color * (0.7F + (0.6F * texture));
            });
    }
    const int trees = random.whole(6, 16);
    for (int tree = 0; tree < trees; ++tree) {
        const float x = random.unit() * raster.aspect();
        const float foot = random.between(0.86F, 1.02F);
        const float size = random.between(0.08F, 0.2F);
        const Color leaf = near * random.between(0.5F, 1.1F);
        const float slope = size * 0.28F;
        paintShape(
            raster, Box{x - slope, foot - size, x + slope, foot},
            [&](float px, float py) {
                const float share = (py - (foot - size)) / size;
                const float jag = 0.15F * std::abs(std::sin(share * 28));
                return std::max(std::abs(px - x) - (slope * share * (0.85F + jag)), py - foot);
            },
            [&](float px, float py) { return leaf * (0.6F + (0.8F * cloudNoise(px * 90, py * 90, 7, 2))); });
    }
}

void paintSea(Raster& raster, RandomSource random) {
    const SkyLook& look = daySkies[static_cast<std::size_t>(random.whole(0, 4))];
    const float horizon = random.between(0.38F, 0.5F);
    paintSky(raster, look, horizon, random.bits());
    const float sunX = random.between(0.15F, 0.85F) * raster.aspect();
    paintSun(raster, sunX, horizon * 0.6F, 0.025F, {1.0F, 0.9F, 0.65F});
    const float shore = random.between(0.74F, 0.86F);
    const std::uint64_t seed = random.bits();
    paintShape(
        raster, Box{0, horizon, raster.aspect(), 1}, [&](float, float y) { return horizon - y; },
        [&](float x, float y) {
            const float depth = (y - horizon) / (1 - horizon);
            const float perspective = 1.0F / (0.04F + depth);
            const float wave = cloudNoise((x - 0.7F) * perspective * 1.6F, perspective * 14, seed, 4);
            Color water = mixed(look.horizon * 0.55F, Color{0.02F, 0.12F, 0.17F}, smoothStep(0, 0.6F, depth));
            water = water * (0.7F + (0.6F * wave));
            const float lane = std::exp(-std::pow((x - sunX) / (0.05F + (0.25F * depth)), 2.0F));
            const float glint = smoothStep(0.58F, 0.7F, wave) * lane;
            return water + Color{1.0F, 0.9F, 0.7F} * (glint * 1.4F);
        });
    paintShape(
        raster, Box{0, shore - 0.08F, raster.aspect(), 1},
        [&](float x, float y) { return shore + (0.05F * (ridgeNoise(x * 3, seed + 5, 4) - 0.5F)) - y; },
        [&](float x, float y) {
            const float grain = cloudNoise(x * 120, y * 120, seed + 6, 2);
            const float wet = smoothStep(shore, shore + 0.06F, y);
            const Color sand = mixed(Color{0.30F, 0.24F, 0.17F}, Color{0.62F, 0.51F, 0.36F}, wet);
            return sand * (0.8F + (0.4F * grain));
        });
    const int boats = random.whole(1, 3);
    for (int boat = 0; boat < boats; ++boat) {
        const float x = random.between(0.1F, 0.9F) * raster.aspect();
        const float y = horizon + random.between(0.02F, 0.1F);
        const float size = 0.05F + ((y - horizon) * 0.9F);
        const Color sail{0.9F, 0.88F, 0.84F};
        paintShape(
            raster, Box{x, y - size, x + (size * 0.5F), y},
            [&](float px, float py) {
                const float share = (py - (y - size)) / size;
                return std::max({x - px, px - x - (size * 0.5F * share), py - y});
            },
            [&](float, float) { return sail; });
        fillEllipse(raster, x + (size * 0.15F), y + (size * 0.06F), size * 0.38F, size * 0.08F,
                    {0.12F, 0.05F, 0.04F});
    }
}

struct StreetLook {
    bool night;
    float ground;
    std::uint64_t seed;
};

void paintBuilding(Raster& raster, RandomSource& random, const Box& box, const StreetLook& look) {
    const Color wall =
        Color{random.between(0.25F, 0.6F), random.between(0.2F, 0.48F), random.between(0.15F, 0.42F)} *
        (look.night ? 0.06F : 1.0F);
    const std::uint64_t texture = random.bits();
    paintShape(
        raster, box, [&](float x, float y) { return rectangleDistance(box, x, y); },
        [&](float x, float y) {
            const float stain = cloudNoise(x * 14, y * 5, texture, 4);
            const float light = 1.05F - (0.35F * (y - box.top) / (box.bottom - box.top));
            return wall * ((0.75F + (0.5F * stain)) * light);
        });
    fillRectangle(raster, {box.left - 0.006F, box.top - 0.012F, box.right + 0.006F, box.top + 0.01F},
                  wall * 0.6F);
    const float width = box.right - box.left;
    const int columns = std::max(2, static_cast<int>(width / random.between(0.055F, 0.085F)));
    const float storey = random.between(0.09F, 0.12F);
    const float cell = width / static_cast<float>(columns);
    for (float top = box.top + 0.035F; top + storey < box.bottom - 0.1F; top += storey) {
        for (int column = 0; column < columns; ++column) {
            const float left = box.left + (cell * (static_cast<float>(column) + 0.22F));
            const Box window{left, top, left + (cell * 0.56F), top + (storey * 0.66F)};
            const bool lit = random.chance(look.night ? 0.45F : 0.06F);
            Color glass{0.10F, 0.14F, 0.2F};
            if (lit) {
                glass = Color{1.0F, 0.72F, 0.36F} * (look.night ? random.between(0.5F, 1.6F) : 0.8F);
            } else if (look.night) {
                glass = {0.006F, 0.008F, 0.014F};
            } else {
                glass = glass * random.between(0.5F, 2.4F);
            }
            fillRectangle(
                raster,
                {window.left - 0.004F, window.top - 0.004F, window.right + 0.004F, window.bottom + 0.006F},
                wall * 1.35F);
            fillRectangle(raster, window, glass);
            const float middle = (window.left + window.right) / 2;
            fillRectangle(raster, {middle - 0.0016F, window.top, middle + 0.0016F, window.bottom},
                          wall * 1.2F);
            const float bar = std::lerp(window.top, window.bottom, 0.4F);
            fillRectangle(raster, {window.left, bar - 0.0014F, window.right, bar + 0.0014F}, wall * 1.2F);
        }
    }
    const Color shop = look.night ? Color{1.1F, 0.85F, 0.5F} : Color{0.16F, 0.18F, 0.2F};
    fillRectangle(raster, {box.left + 0.012F, box.bottom - 0.085F, box.right - 0.012F, box.bottom - 0.012F},
                  shop * random.between(0.5F, 1.0F));
    const Color awning{random.between(0.1F, 0.6F), random.between(0.05F, 0.3F), random.between(0.05F, 0.3F)};
    fillRectangle(raster, {box.left + 0.006F, box.bottom - 0.105F, box.right - 0.006F, box.bottom - 0.08F},
                  awning * (look.night ? 0.3F : 1.0F));
}

void paintWalker(Raster& raster, RandomSource& random, float x, float foot, float size, float light) {
    const Color coat =
        Color{random.between(0.03F, 0.4F), random.between(0.03F, 0.25F), random.between(0.04F, 0.3F)} * light;
    const Color skin = Color{0.55F, 0.36F, 0.26F} * light;
    for (const float side : {-1.0F, 1.0F}) {
        const float step = side * size * 0.11F;
        paintShape(
            raster, Box{x - size, foot - (size * 0.5F), x + size, foot},
            [&](float px, float py) {
                return strokeDistance(x, foot - (size * 0.48F), x + step, foot, size * 0.05F, px, py);
            },
            [&](float, float) { return coat * 0.4F; });
    }
    fillEllipse(raster, x, foot - (size * 0.64F), size * 0.15F, size * 0.24F, coat);
    fillEllipse(raster, x, foot - (size * 0.92F), size * 0.065F, size * 0.08F, skin);
}

void paintCar(Raster& raster, RandomSource& random, float x, float foot, float size, bool night) {
    const Color paint =
        Color{random.between(0.1F, 0.7F), random.between(0.05F, 0.5F), random.between(0.05F, 0.5F)} *
        (night ? 0.1F : 1.0F);
    const auto body = [&](float px, float py) {
        const float lower = std::max(std::abs(px - x) - (size * 0.48F),
                                     std::abs(py - (foot - (size * 0.16F))) - (size * 0.08F));
        const float slope = (foot - (size * 0.24F) - py) * 0.7F;
        const float cabin = std::max({std::abs(px - x) - (size * 0.28F) + slope, (foot - (size * 0.38F)) - py,
                                      py - (foot - (size * 0.2F))});
        return std::min(lower, cabin) - (size * 0.015F);
    };
    const Box box{x - (size * 0.55F), foot - (size * 0.42F), x + (size * 0.55F), foot};
    fillEllipse(raster, x, foot - 0.002F, size * 0.5F, size * 0.035F, {0.01F, 0.01F, 0.012F}, 0.01F);
    paintShape(raster, box, body, [&](float, float py) {
        return paint * (0.55F + (0.9F * smoothStep(foot, foot - (size * 0.35F), py)));
    });
    fillRectangle(raster,
                  {x - (size * 0.2F), foot - (size * 0.35F), x - (size * 0.015F), foot - (size * 0.25F)},
                  {0.05F, 0.07F, 0.09F});
    fillRectangle(raster,
                  {x + (size * 0.015F), foot - (size * 0.35F), x + (size * 0.2F), foot - (size * 0.25F)},
                  {0.05F, 0.07F, 0.09F});
    for (const float side : {-0.29F, 0.29F}) {
        fillEllipse(raster, x + (side * size), foot - (size * 0.07F), size * 0.08F, size * 0.08F,
                    {0.012F, 0.012F, 0.013F});
        fillEllipse(raster, x + (side * size), foot - (size * 0.07F), size * 0.04F, size * 0.04F,
                    Color{0.4F, 0.4F, 0.42F} * (night ? 0.15F : 1.0F));
    }
    if (night) {
        fillEllipse(raster, x + (size * 0.46F), foot - (size * 0.17F), size * 0.025F, size * 0.025F,
                    {5.0F, 4.6F, 3.6F});
        fillEllipse(raster, x - (size * 0.46F), foot - (size * 0.17F), size * 0.022F, size * 0.022F,
                    {3.0F, 0.2F, 0.1F});
    }
}

void paintStreet(Raster& raster, RandomSource random, bool night) {
    const StreetLook look{night, random.between(0.7F, 0.78F), random.bits()};
    const SkyLook nightSky{{0.004F, 0.006F, 0.018F}, {0.05F, 0.035F, 0.04F}, {0.02F, 0.02F, 0.03F}, 0.4F};
    paintSky(raster, night ? nightSky : daySkies[static_cast<std::size_t>(random.whole(0, 4))], look.ground,
             random.bits());
    for (float left = -random.between(0, 0.2F); left < raster.aspect();) {
        const float width = random.between(0.22F, 0.42F);
        paintBuilding(raster, random, {left, random.between(0.08F, 0.38F), left + width, look.ground + 0.01F},
                      look);
        left += width + (random.chance(0.15F) ? 0.05F : 0.004F);
    }
    const float curb = look.ground + 0.06F;
    paintShape(
        raster, Box{0, look.ground, raster.aspect(), 1}, [&](float, float y) { return look.ground - y; },
        [&](float x, float y) {
            const bool road = y > curb;
            const float near = (y - look.ground) / (1 - look.ground);
            const float rough = cloudNoise(x * 60 / (0.3F + near), y * 160, look.seed, 3);
            const Color stone = road ? Color{0.09F, 0.09F, 0.1F} : Color{0.33F, 0.31F, 0.29F};
            const float light = night ? 0.07F : 1.0F;
            // A wet road throws the shop lights back, torn into vertical streaks.
            const float streak =
                night ? smoothStep(0.62F, 0.8F, cloudNoise(x * 22, y * 2, look.seed + 3, 2)) : 0.0F;
            return stone * ((0.7F + (0.6F * rough)) * light) +
                   Color{0.5F, 0.3F, 0.12F} * (streak * 0.5F * (1 - near));
        });
    fillRectangle(raster, {0, curb - 0.006F, raster.aspect(), curb + 0.004F},
                  Color{0.45F, 0.44F, 0.42F} * (night ? 0.08F : 1.0F));
    for (float x = random.between(0, 0.1F); x < raster.aspect(); x += 0.22F) {
        fillRectangle(raster, {x, 0.9F, x + 0.12F, 0.912F},
                      Color{0.7F, 0.69F, 0.64F} * (night ? 0.1F : 1.0F));
    }
    const int walkers = random.whole(2, 5);
    for (int walker = 0; walker < walkers; ++walker) {
        paintWalker(raster, random, random.unit() * raster.aspect(),
                    look.ground + random.between(0.03F, 0.06F), random.between(0.12F, 0.15F),
                    night ? 0.12F : 1.0F);
    }
    const int cars = random.whole(1, 2);
    for (int car = 0; car < cars; ++car) {
        paintCar(raster, random, random.between(0.15F, 0.85F) * raster.aspect(), random.between(0.84F, 0.96F),
                 random.between(0.34F, 0.46F), night);
    }
    for (float x = random.between(0.1F, 0.4F); x < raster.aspect(); x += 0.55F) {
        const Color post = night ? Color{0.01F, 0.01F, 0.011F} : Color{0.05F, 0.055F, 0.05F};
        fillRectangle(raster, {x - 0.005F, 0.34F, x + 0.005F, look.ground + 0.03F}, post);
        fillRectangle(raster, {x - 0.005F, 0.335F, x + 0.06F, 0.345F}, post);
        fillEllipse(raster, x + 0.06F, 0.352F, 0.018F, 0.013F,
                    night ? Color{9.0F, 6.5F, 3.2F} : Color{0.8F, 0.8F, 0.75F});
    }
}

void paintMeadow(Raster& raster, RandomSource random) {
    const SkyLook& look = daySkies[static_cast<std::size_t>(random.whole(0, 1))];
    const float horizon = random.between(0.36F, 0.5F);
    paintSky(raster, look, horizon + 0.05F, random.bits());
    const std::uint64_t seed = random.bits();
    paintShape(
        raster, Box{0, horizon - 0.05F, raster.aspect(), 1},
        [&](float x, float y) { return horizon + (0.04F * (ridgeNoise(x * 1.3F, seed, 4) - 0.5F)) - y; },
        [&](float x, float y) {
            const float depth = (y - horizon) / (1 - horizon);
            const float blade = cloudNoise(x * 70 / (0.25F + depth), y * 24 / (0.25F + depth), seed, 4);
            const Color grass = mixed(Color{0.24F, 0.30F, 0.12F}, Color{0.06F, 0.16F, 0.03F}, depth);
            return grass * (0.45F + (1.1F * blade));
        });
    const int trees = random.whole(2, 4);
    for (int tree = 0; tree < trees; ++tree) {
        const float x = random.between(0.05F, 0.95F) * raster.aspect();
        const float foot = horizon + random.between(0.02F, 0.22F);
        const float size = 0.22F + (1.1F * (foot - horizon));
        paintShape(
            raster, Box{x - 0.1F, foot - size, x + 0.1F, foot},
            [&](float px, float py) {
                const float width = size * (0.03F + (0.03F * smoothStep(foot - 0.06F, foot, py)));
                return std::max({std::abs(px - x) - width, foot - size - py, py - foot});
            },
            [&](float px, float) {
                return Color{0.09F, 0.06F, 0.04F} * (1.2F + (8 * (x - px)));
            });
        RandomSource leaves = random.fork();
        for (int blob = 0; blob < 26; ++blob) {
            const float angle = leaves.unit() * 2 * std::numbers::pi_v<float>;
            const float reach = std::sqrt(leaves.unit()) * size * 0.4F;
            const float blobX = x + (std::cos(angle) * reach);
            const float blobY = foot - (size * 0.86F) + (std::sin(angle) * reach * 0.75F);
            const float radius = size * leaves.between(0.08F, 0.16F);
            const float sun = 0.55F + (0.9F * (foot - (size * 0.5F) - blobY) / size);
            const Color leaf = Color{0.10F, 0.20F, 0.045F} * sun;
            paintShape(
                raster, Box{blobX - radius, blobY - radius, blobX + radius, blobY + radius},
                [&](float px, float py) {
                    return ellipseDistance(blobX, blobY, radius, radius, px, py) +
                           (radius * 0.7F * (cloudNoise(px * 60, py * 60, seed + 1, 2) - 0.45F));
                },
                [&](float px, float py) {
                    return leaf * (0.4F + (1.3F * cloudNoise(px * 110, py * 110, seed + 2, 2)));
                });
        }
    }
    const Color petals[] = {
        {0.85F, 0.12F, 0.08F}, {0.9F, 0.75F, 0.1F}, {0.85F, 0.82F, 0.8F}, {0.5F, 0.2F, 0.6F}};
    const int flowers = random.whole(120, 260);
    const Color petal = petals[random.whole(0, 3)];
    for (int flower = 0; flower < flowers; ++flower) {
        const float depth = std::pow(random.unit(), 0.6F);
        const float radius = 0.002F + (0.009F * depth);
        fillEllipse(raster, random.unit() * raster.aspect(), horizon + 0.03F + (depth * (0.98F - horizon)),
                    radius, radius * 0.75F, petal * random.between(0.6F, 1.1F));
    }
}

void paintBall(Raster& raster, float centerX, float centerY, float radius, const Color& color) {
    fillEllipse(raster, centerX + (radius * 0.5F), centerY + (radius * 0.86F), radius * 1.25F, radius * 0.22F,
                {0.03F, 0.022F, 0.018F}, radius * 0.4F);
    paintShape(
        raster, Box{centerX - radius, centerY - radius, centerX + radius, centerY + radius},
        [&](float x, float y) { return ellipseDistance(centerX, centerY, radius, radius, x, y); },
        [&](float x, float y) {
            const float u = (x - centerX) / radius;
            const float v = (y - centerY) / radius;
            const float w = std::sqrt(std::max(0.0F, 1 - (u * u) - (v * v)));
            const float light = std::max(0.0F, (-0.55F * u) - (0.5F * v) + (0.67F * w));
            const float gleam = std::pow(light, 40.0F);
            return color * (0.12F + (0.95F * light)) + Color{1, 1, 1} * gleam;
        });
}

void paintStillLife(Raster& raster, RandomSource random) {
    const Color wall{random.between(0.2F, 0.5F), random.between(0.22F, 0.42F), random.between(0.2F, 0.42F)};
    const float table = random.between(0.6F, 0.68F);
    const std::uint64_t seed = random.bits();
    paintShape(
        raster, Box{0, 0, raster.aspect(), 1}, [](float, float) { return -1.0F; },
        [&](float x, float y) {
            if (y < table) {
                const float light = 1.25F - (0.75F * x / raster.aspect());
                return wall * (light * (0.85F + (0.3F * cloudNoise(x * 5, y * 5, seed, 4))));
            }
            const float grain = cloudNoise(x * 4, y * 70, seed + 1, 4);
            return Color{0.30F, 0.17F, 0.085F} * (0.55F + (0.8F * grain));
        });
    const float windowLeft = random.between(0.05F, 0.15F);
    const Box window{windowLeft, 0.08F, windowLeft + 0.4F, 0.5F};
    fillRectangle(raster,
                  {window.left - 0.02F, window.top - 0.02F, window.right + 0.02F, window.bottom + 0.025F},
                  wall * 1.6F);
    paintShape(
        raster, window, [&](float x, float y) { return rectangleDistance(window, x, y); },
        [&](float, float y) {
            return mixed(Color{1.3F, 1.5F, 1.8F}, Color{0.9F, 1.1F, 0.8F}, smoothStep(0.3F, 0.5F, y));
        });
    const float middle = (window.left + window.right) / 2;
    fillRectangle(raster, {middle - 0.008F, window.top, middle + 0.008F, window.bottom}, wall * 1.5F);
    fillRectangle(raster, {window.left, 0.28F, window.right, 0.295F}, wall * 1.5F);

    const float vaseX = raster.aspect() * random.between(0.55F, 0.72F);
    const Color glaze{random.between(0.05F, 0.3F), random.between(0.1F, 0.35F), random.between(0.2F, 0.5F)};
    fillEllipse(raster, vaseX + 0.06F, table + 0.14F, 0.17F, 0.03F, {0.05F, 0.03F, 0.02F}, 0.05F);
    paintShape(
        raster, Box{vaseX - 0.14F, table - 0.25F, vaseX + 0.14F, table + 0.14F},
        [&](float x, float y) {
            const float share = std::clamp((y - (table - 0.25F)) / 0.39F, 0.0F, 1.0F);
            const float width = 0.045F + (0.085F * std::sin(share * share * 2.9F));
            return std::max({std::abs(x - vaseX) - width, table - 0.25F - y, y - table - 0.14F});
        },
        [&](float x, float) {
            const float u = (x - vaseX) / 0.13F;
            const float light = std::max(0.0F, 0.75F - (u * 0.7F));
            return glaze * (0.25F + light) +
                   Color{1, 1, 1} * (0.6F * std::exp(-std::pow((u + 0.45F) * 9, 2.0F)));
        });
    for (int stem = 0; stem < 5; ++stem) {
        const float headX = vaseX + random.between(-0.2F, 0.2F);
        const float headY = table - 0.25F - random.between(0.12F, 0.27F);
        paintShape(
            raster, Box{vaseX - 0.25F, headY, vaseX + 0.25F, table - 0.24F},
            [&](float x, float y) {
                return strokeDistance(vaseX, table - 0.24F, headX, headY, 0.004F, x, y);
            },
            [](float, float) {
                return Color{0.06F, 0.14F, 0.03F};
            });
        const Color bloom{random.between(0.5F, 0.9F), random.between(0.1F, 0.6F), random.between(0.1F, 0.4F)};
        for (int petal = 0; petal < 6; ++petal) {
            const float angle = static_cast<float>(petal) * std::numbers::pi_v<float> / 3;
            fillEllipse(raster, headX + (0.024F * std::cos(angle)), headY + (0.024F * std::sin(angle)),
                        0.021F, 0.021F, bloom * (0.7F + (0.08F * static_cast<float>(petal))));
        }
        fillEllipse(raster, headX, headY, 0.015F, 0.015F, {0.6F, 0.42F, 0.05F});
    }
    const Color fruit[] = {{0.7F, 0.09F, 0.05F}, {0.85F, 0.4F, 0.04F}, {0.35F, 0.5F, 0.08F}};
    const int balls = random.whole(2, 4);
    for (int ball = 0; ball < balls; ++ball) {
        const float radius = random.between(0.05F, 0.075F);
        paintBall(raster, raster.aspect() * 0.2F + (static_cast<float>(ball) * 0.135F),
                  table + 0.2F - radius + random.between(-0.03F, 0.03F), radius, fruit[random.whole(0, 2)]);
    }
}

void paintFace(Raster& raster, RandomSource& random, float centerX, float centerY, float size) {
    const float tone = random.between(0.55F, 1.0F);
    const Color skin = Color{0.62F, 0.40F, 0.29F} * tone;
    const Color hair = Color{0.10F, 0.06F, 0.035F} * random.between(0.3F, 1.6F);
    const auto at = [&](float x, float y) { return std::pair(centerX + (x * size), centerY + (y * size)); };
    const auto ellipse = [&](float x, float y, float rx, float ry, const Color& color, float soft) {
        const auto [px, py] = at(x, y);
        fillEllipse(raster, px, py, rx * size, ry * size, color, soft * size);
    };
    const Color coat{random.between(0.05F, 0.4F), random.between(0.05F, 0.3F), random.between(0.05F, 0.4F)};
    ellipse(0, 2.5F, 1.75F, 1.35F, coat, 0.02F);
    ellipse(0, 1.05F, 0.36F, 0.5F, skin * 0.6F, 0.05F);
    ellipse(0, -0.22F, 0.9F, 1.08F, hair, 0.05F);
    // The head is a lit egg: brow and cheeks catch the light, temples and jaw fall away.
    const auto [headX, headY] = at(0, 0.08F);
    paintShape(
        raster, Box{headX - size, headY - (1.1F * size), headX + size, headY + (1.1F * size)},
        [&](float x, float y) {
            const float v = (y - headY) / size;
            const float width = 0.74F - (v > 0.1F ? 0.2F * (v - 0.1F) : 0.0F);
            return ellipseDistance(headX, headY, width * size, 0.98F * size, x, y);
        },
        [&](float x, float y) {
            const float u = (x - headX) / size;
            const float v = (y - headY) / size;
            const float depth = std::sqrt(std::max(0.0F, 1 - (u * u * 1.6F) - (v * v * 0.8F)));
            const float light = std::clamp((0.82F * depth) - (0.14F * u) - (0.12F * v), 0.0F, 1.0F);
            return skin * (0.18F + (1.05F * light));
        },
        0.02F * size);
    ellipse(0, -0.82F, 0.66F, 0.3F, hair, 0.08F);
    for (const float side : {-1.0F, 1.0F}) {
        ellipse(side * 0.3F, -0.08F, 0.21F, 0.13F, skin * 0.5F, 0.12F);
        ellipse(side * 0.3F, -0.23F, 0.19F, 0.035F, hair * 0.8F, 0.03F);
        ellipse(side * 0.3F, -0.06F, 0.13F, 0.062F, {0.62F, 0.58F, 0.55F}, 0.02F);
        ellipse(side * 0.3F, -0.06F, 0.062F, 0.062F, {0.05F, 0.035F, 0.03F}, 0.01F);
        ellipse(side * 0.3F, -0.115F, 0.15F, 0.02F, {0.03F, 0.02F, 0.015F}, 0.015F);
        ellipse((side * 0.3F) - 0.018F, -0.08F, 0.014F, 0.014F, {0.9F, 0.9F, 0.9F}, 0.01F);
        ellipse(side * 0.4F, 0.3F, 0.17F, 0.15F, mixed(skin, {0.7F, 0.3F, 0.24F}, 0.25F), 0.2F);
        ellipse(side * 0.075F, 0.3F, 0.04F, 0.022F, skin * 0.22F, 0.03F);
    }
    ellipse(0.075F, 0.12F, 0.035F, 0.2F, skin * 0.62F, 0.08F);
    ellipse(-0.015F, 0.14F, 0.05F, 0.2F, skin * 1.12F, 0.08F);
    ellipse(0, 0.36F, 0.12F, 0.03F, skin * 0.5F, 0.06F);
    ellipse(0, 0.56F, 0.23F, 0.055F, {0.36F, 0.11F, 0.09F}, 0.03F);
    ellipse(0, 0.555F, 0.21F, 0.012F, {0.08F, 0.02F, 0.02F}, 0.015F);
    ellipse(0, 0.7F, 0.16F, 0.03F, skin * 0.55F, 0.06F);
}

void paintPortrait(Raster& raster, RandomSource random) {
    const Color back{random.between(0.06F, 0.3F), random.between(0.08F, 0.3F), random.between(0.06F, 0.25F)};
    const std::uint64_t seed = random.bits();
    paintShape(
        raster, Box{0, 0, raster.aspect(), 1}, [](float, float) { return -1.0F; },
        [&](float x, float y) { return back * (0.5F + (1.1F * cloudNoise(x * 2.5F, y * 2.5F, seed, 3))); });
    for (int light = 0; light < 24; ++light) {
        const float radius = random.between(0.02F, 0.06F);
        const Color glow{random.between(0.3F, 1.0F), random.between(0.3F, 0.9F), random.between(0.2F, 0.7F)};
        const float x = random.unit() * raster.aspect();
        const float y = random.between(0, 0.7F);
        paintShape(
            raster, Box{x - radius, y - radius, x + radius, y + radius},
            [&](float px, float py) { return ellipseDistance(x, y, radius, radius, px, py); },
            [&](float, float) { return mixed(back, glow, 0.5F); }, 0.008F);
    }
    paintFace(raster, random, raster.aspect() * random.between(0.42F, 0.58F), 0.44F,
              random.between(0.21F, 0.26F));
}

}  // namespace

Raster paintScene(Scene scene, int width, int height, std::uint64_t seed) {
    Raster raster(width, height);
    RandomSource random(mixBits(seed + static_cast<std::uint64_t>(scene)));
    switch (scene) {
        case Scene::hills:
            paintHills(raster, random);
            break;
        case Scene::sea:
            paintSea(raster, random);
            break;
        case Scene::street:
            paintStreet(raster, random, false);
            break;
        case Scene::nightStreet:
            paintStreet(raster, random, true);
            break;
        case Scene::meadow:
            paintMeadow(raster, random);
            break;
        case Scene::stillLife:
            paintStillLife(raster, random);
            break;
        case Scene::portrait:
            paintPortrait(raster, random);
            break;
    }
    return raster;
}

}  // namespace kelvaris::sample_roll
