#include "pipeline/demo_scene/demo_backdrop.h"

namespace focusfall {

namespace {

constexpr vec3 AMBER = {1.0F, 0.50F, 0.13F};
constexpr vec3 CANDLE = {1.0F, 0.60F, 0.24F};
constexpr vec3 WHITE = {1.0F, 0.86F, 0.66F};
constexpr vec3 TEAL = {0.10F, 0.80F, 0.85F};
constexpr vec3 ROSE = {1.0F, 0.16F, 0.36F};
constexpr vec3 BLUE = {0.20F, 0.42F, 1.0F};

// One row of houses. All sizes are slopes as seen from the camera.
struct town_row {
    float z;       // distance, millimetres
    float house;   // width of a house
    float height;  // of the highest house
    float window;  // distance between windows
    vec3 wall;     // colour
    float lit;     // share of the windows that are lit
};
constexpr float TOWN_END = 3e6F;
constexpr town_row TOWN[] = {
    {950000.0F, 0.026F, 0.046F, 0.0031F, {0.010F, 0.012F, 0.026F}, 0.17F},
    {1500000.0F, 0.034F, 0.105F, 0.0025F, {0.020F, 0.021F, 0.048F}, 0.14F},
    {2600000.0F, 0.021F, 0.130F, 0.0021F, {0.062F, 0.044F, 0.080F}, 0.07F},
};

// Radiance of the window at a place of a wall; 0 between windows and for dark ones.
vec3 window_color(const town_row& row, float x, float y, std::uint32_t seed) {
    const float column = std::floor(x / row.window);
    const float floor = std::floor(y / row.window);
    const auto ix = static_cast<std::int32_t>(column);
    const auto iy = static_cast<std::int32_t>(floor);
    if (noise_at(ix, iy, seed) > row.lit) return {};
    const float fx = x / row.window - column;
    const float fy = y / row.window - floor;
    if (fx < 0.3F || fx > 0.75F || fy < 0.25F || fy > 0.75F) return {};
    const float choice = noise_at(ix, iy, seed + 1);
    const vec3 tint = choice < 0.70F ? CANDLE : choice < 0.92F ? WHITE : TEAL;
    return tint * (0.4F + 2.2F * noise_at(ix, iy, seed + 2));
}

// Whether a house of the row is there, and then in `seen` how it looks.
bool town_sight(std::uint32_t index, float sideways, float upwards, sight& seen) {
    const town_row& row = TOWN[index];
    const float x = sideways + 2.0F + 0.011F * static_cast<float>(index);
    const float house = std::floor(x / row.house);
    const auto number = static_cast<std::int32_t>(house);
    const float share = noise_at(number, 7, 40 + index);
    const float top = row.height * (0.25F + 0.75F * share * share);
    const float from_side = x / row.house - house;
    const bool setback = from_side < 0.14F || from_side > 0.80F;
    const float ground = RIVER_LEVEL / SHORE;
    if (upwards > (setback ? top * 0.82F : top)) return false;

    const float haze = smooth_step(0.06F, ground, upwards);
    seen.color = mix(row.wall, {0.13F, 0.062F, 0.075F}, 0.5F * haze);
    if (!setback) seen.color += window_color(row, x, upwards - ground, 60 + index * 5);
    seen.z = row.z;
    return true;
}

float cloud(float x, float y) {
    return 0.55F * smooth_noise(x, y, 1) + 0.3F * smooth_noise(x * 2.1F, y * 2.3F, 2) +
           0.15F * smooth_noise(x * 4.3F, y * 4.9F, 3);
}

struct random_row {
    std::uint32_t seed;
    std::int32_t next = 0;
    float operator()(float from, float to) {
        return mix(from, to, noise_at(next++, 11, seed));
    }
};

// A string of small lamps on a wire that hangs between two points.
void add_string(std::vector<lamp>& lamps, vec3 from, vec3 to, float sag, int count,
                vec3 color, float radius) {
    random_row random{static_cast<std::uint32_t>(count) + 90};
    for (int i = 0; i < count; ++i) {
        const float t = (static_cast<float>(i) + 0.5F) / static_cast<float>(count);
        vec3 place = mix(from, to, t);
        place.y -= 4.0F * sag * t * (1.0F - t);
        lamps.push_back({place, color * random(0.7F, 1.3F), radius});
    }
    constexpr int WIRE = 2500;
    for (int i = 0; i < WIRE; ++i) {
        const float t = static_cast<float>(i) / WIRE;
        vec3 place = mix(from, to, t);
        place.y += 1.5F * radius - 4.0F * sag * t * (1.0F - t);
        lamps.push_back({place, {0.004F, 0.004F, 0.005F}, 0.4F * radius});
    }
}

// The lamps of the town: along the shore, at the roofs, on a bridge, on boats.
void add_town_lamps(std::vector<lamp>& lamps) {
    random_row random{5};
    const float z = SHORE - 2000.0F;
    for (int i = -13; i <= 13; ++i) {
        const float x = (static_cast<float>(i) + random(-0.2F, 0.2F)) * 0.0245F * z;
        lamps.push_back({{x, RIVER_LEVEL + 6000.0F, z}, AMBER * 150.0F, 340.0F});
    }
    for (int i = 0; i < 125; ++i) {
        const float sideways = random(-0.29F, 0.29F);
        const float low = random(0.0F, 1.0F);
        const float upwards = -0.010F + 0.085F * low * low;
        const float pick = random(0.0F, 1.0F);
        const vec3 tint = pick < 0.52F   ? CANDLE
                          : pick < 0.68F ? WHITE
                          : pick < 0.80F ? TEAL
                          : pick < 0.91F ? ROSE
                                         : BLUE;
        const float radiance = random(60.0F, 220.0F);
        const float away =
            0.998F * backdrop(sideways, upwards).z;  // just in front of the wall
        if (away > TOWN_END) continue;
        lamps.push_back(
            {vec3{sideways, upwards, 1.0F} * away, tint * radiance, 0.00042F * away});
    }
    for (int i = 0; i < 12; ++i) {
        const float away = random(260000.0F, 800000.0F);
        const vec3 tint = i % 3 == 0 ? WHITE : i % 3 == 1 ? ROSE : TEAL;
        lamps.push_back({{random(-0.28F, 0.28F) * away, RIVER_LEVEL + 3500.0F, away},
                         tint * random(50.0F, 110.0F),
                         0.00034F * away});
    }
}

}  // namespace

vec3 sky_color(float sideways, float upwards) {
    const float up = std::max(upwards, 0.0F);
    const float glow = std::exp(-(sideways - 0.16F) * (sideways - 0.16F) / 0.10F);
    const vec3 horizon = mix({0.30F, 0.105F, 0.10F}, {0.95F, 0.34F, 0.10F}, glow);
    const vec3 middle = mix({0.075F, 0.050F, 0.12F}, {0.26F, 0.105F, 0.15F}, glow);
    const vec3 above = {0.012F, 0.026F, 0.075F};
    const vec3 low = mix(horizon, middle, smooth_step(0.0F, 0.085F, up));
    vec3 color = mix(low, above, smooth_step(0.03F, 0.24F, up));
    const float veil = smooth_step(0.48F, 0.8F, cloud(sideways * 9.0F, upwards * 46.0F));
    return mix(color, color * 0.35F + vec3{0.03F, 0.016F, 0.03F},
               0.7F * veil * smooth_step(0.5F, 0.2F, up));
}

sight backdrop(float sideways, float upwards) {
    const float ground = RIVER_LEVEL / SHORE;
    if (upwards < ground) {
        // the river reflects what is behind it, distorted by ripples
        const float z = RIVER_LEVEL / upwards;
        const float near = SHORE / z;
        const float ripple = smooth_noise(sideways * z / 9000.0F, z / 2600.0F, 21) - 0.5F;
        const float up = (2.0F * ground - upwards) * (1.0F + 0.8F * ripple);
        const sight above = backdrop(sideways + 0.004F * ripple, std::max(up, ground));
        const vec3 deep = {0.004F, 0.008F, 0.016F};
        return {mix(deep, above.color, std::clamp(0.75F - 0.06F * near, 0.2F, 0.7F)), z};
    }
    sight seen{};
    for (std::uint32_t row = 0; row < std::size(TOWN); ++row) {
        if (town_sight(row, sideways, upwards, seen)) return seen;
    }
    return {sky_color(sideways, upwards), 1e7F};
}

std::vector<lamp> demo_lamps() {
    std::vector<lamp> lamps;
    add_string(lamps, {-430, 205, 1250}, {300, 330, 1750}, 95.0F, 17, CANDLE * 120.0F,
               0.7F);
    add_string(lamps, {-300, 420, 2300}, {800, 300, 2000}, 190.0F, 19, CANDLE * 130.0F,
               1.0F);
    add_string(lamps, {-1500, 700, 4300}, {1500, 900, 5200}, 420.0F, 25, AMBER * 150.0F,
               2.1F);
    add_town_lamps(lamps);
    return lamps;
}

}  // namespace focusfall
