#include "pipeline/demo_scene/demo_view.h"

#include "pipeline/demo_scene/demo_backdrop.h"

namespace focusfall {

namespace {

constexpr float FAR = 1e9F;

constexpr vec3 BOARD_CENTRE = {0.0F, 0.0F, 650.0F};
constexpr float SQUARE = 56.0F;
constexpr float TABLE_END = 1350.0F;
const float BOARD_COS = std::cos(0.47F);
const float BOARD_SIN = std::sin(0.47F);

const std::vector<piece>& pieces() {
    using enum piece_kind;
    static const std::vector<piece> PIECES = {
        {QUEEN, true, {-34, 0, 640}, 1.12F},
        {KING, false, {38, 21.5F, 700}, 1.05F, normalized({0.93F, -0.09F, -0.22F})},
        {BISHOP, false, {-84, 0, 352}, 1.1F},
        {PAWN, true, {82, 0, 330}, 1.08F},
        {ROOK, true, {-150, 0, 815}, 1.05F},
        {PAWN, false, {-84, 0, 930}, 1.05F},
        {PAWN, true, {32, 0, 880}, 1.05F},
        {BISHOP, true, {168, 0, 950}, 1.05F},
        {PAWN, false, {222, 0, 850}, 1.05F},
        {KING, true, {-265, 0, 1040}, 1.05F},
        {ROOK, false, {290, 0, 1080}, 1.05F},
    };
    return PIECES;
}

struct hit {
    float t = FAR;  // along a direction of length 1
    const piece* what = nullptr;
};

// The first piece along a ray, `direction` of length 1.
hit first_piece(vec3 origin, vec3 direction) {
    hit first;
    for (const piece& candidate : pieces()) {
        const span reach = piece_span(candidate, origin, direction, 0.0F);
        const float end = std::min(reach.to, first.t);
        float t = reach.from;
        for (int step = 0; step < 90 && t < end; ++step) {
            const float d = piece_distance(candidate, origin + direction * t);
            if (d < 1.5e-5F * (t + 400.0F)) {
                first = {t, &candidate};
                break;
            }
            t += 0.9F * d;
        }
    }
    return first;
}

// How much of a light in `direction` is visible from `p`, 0 to 1; shadows are the softer,
// the larger `softness`, about the tangent of the light's angle.
float visible_share(vec3 p, vec3 direction, float softness) {
    float share = 1.0F;
    for (const piece& candidate : pieces()) {
        const span reach = piece_span(candidate, p, direction, 12.0F);
        float t = std::max(reach.from, 0.8F);
        for (int step = 0; step < 28 && t < reach.to && share > 0.02F; ++step) {
            const float d = piece_distance(candidate, p + direction * t);
            share = std::min(share, std::max(0.0F, d / (softness * t)));
            t += std::max(d, 1.2F);
        }
    }
    return smooth_step(0.0F, 1.0F, share);
}

// Ambient occlusion at `p` by the nearest pieces: 1 where nothing is near.
float openness(vec3 p, vec3 normal) {
    float open = 1.0F;
    for (const float reach : {4.0F, 13.0F}) {
        const vec3 probe = p + normal * reach;
        float nearest = std::max(probe.y, 0.0F);
        for (const piece& candidate : pieces()) {
            const ball& bound = candidate.bound;
            if (length(probe - bound.centre) - bound.radius > reach) continue;
            nearest = std::min(nearest, piece_distance(candidate, probe));
        }
        open -= 0.42F * std::max(0.0F, 1.0F - nearest / reach);
    }
    return open;
}

const vec3 KEY_DIRECTION = normalized({-0.62F, 0.62F, -0.38F});
constexpr vec3 KEY = {1.75F, 1.42F, 1.05F};
const vec3 RIM_DIRECTION = normalized({0.62F, 0.34F, 0.68F});
constexpr vec3 RIM = {1.5F, 0.62F, 0.36F};
constexpr vec3 AMBIENT = {0.050F, 0.062F, 0.100F};

float fresnel(float cosine, float straight) {
    const float grazing = 1.0F - std::clamp(cosine, 0.0F, 1.0F);
    return straight + (1.0F - straight) * grazing * grazing * grazing * grazing * grazing;
}

// The light that comes from the room and the sky in a direction, for reflections.
vec3 surroundings(vec3 direction) {
    vec3 color{};
    // a window to the left, with a cross bar, and a paper lantern to the right
    const float side = direction.z + 0.25F;
    if (direction.x < -0.3F) {
        const float across = std::abs(side / -direction.x);
        const float up = direction.y / -direction.x;
        const float pane = smooth_step(0.62F, 0.55F, across) *
                           smooth_step(0.05F, 0.12F, up) * smooth_step(1.5F, 1.3F, up);
        const float bar = smooth_step(0.025F, 0.05F, across) *
                          smooth_step(0.02F, 0.05F, std::abs(up - 0.62F));
        color += vec3{13.0F, 11.2F, 9.0F} * (pane * bar);
    }
    const float lantern = dot(direction, normalized({0.86F, 0.3F, -0.1F}));
    color += vec3{7.0F, 2.9F, 1.1F} * smooth_step(0.965F, 0.985F, lantern);
    if (direction.z > 0.05F) {
        const float up = direction.y / direction.z;
        return color + sky_color(direction.x / direction.z, std::abs(up)) *
                           smooth_step(0.05F, 0.4F, direction.z);
    }
    return color + vec3{0.020F, 0.019F, 0.024F} * (1.0F + direction.y);
}

vec3 board_color(vec3 p, float& polish);

vec3 piece_color(const piece& what, vec3 p, vec3 direction, bool seen_directly) {
    const vec3 normal = piece_normal(what, p);
    const float facing = -dot(normal, direction);
    const vec3 off = p + normal * 0.6F;

    const float height = dot(p - what.foot, what.axis) / what.scale;
    vec3 body = what.white ? vec3{0.76F, 0.69F, 0.57F} : vec3{0.016F, 0.013F, 0.016F};
    const bool gilded =
        height > 54.0F && height < 60.5F && what.kind >= piece_kind::QUEEN;
    const float straight = gilded ? 0.8F : 0.045F;
    const vec3 tint = gilded ? vec3{1.0F, 0.70F, 0.30F} : vec3{1, 1, 1};
    if (gilded) body = {0.25F, 0.13F, 0.03F};

    const float key = std::max(0.0F, dot(normal, KEY_DIRECTION));
    const float rim = std::max(0.0F, dot(normal, RIM_DIRECTION));
    const float lit =
        seen_directly && key > 0.0F ? visible_share(off, KEY_DIRECTION, 0.16F) : 0.8F;
    const float open = seen_directly ? openness(p, normal) : 0.85F;
    // the board reflects light upwards
    const float below = 0.5F - 0.5F * normal.y;
    vec3 light = KEY * (key * lit) + RIM * (rim * 0.55F) +
                 (AMBIENT * (1.4F - below) + vec3{0.10F, 0.060F, 0.034F} * below) * open;
    // ivory is slightly translucent
    if (what.white) light += vec3{0.10F, 0.055F, 0.03F} * (0.5F + 0.5F * normal.y);

    const vec3 mirror = reflected(direction, normal);
    vec3 mirrored = surroundings(mirror);
    if (mirror.y < 0.0F) {
        float polish = 0.0F;
        const vec3 at = off + mirror * (off.y / -mirror.y);
        mirrored = at.z < TABLE_END && length(at - p) < 700.0F
                       ? board_color(at, polish) * 0.5F
                       : vec3{0.01F, 0.01F, 0.012F};
    }
    return body * light * (gilded ? 1.0F : 0.9F) +
           mirrored * tint * (fresnel(facing, straight) * (0.35F + 0.65F * open));
}

// The diffuse colour of the table at `p`, and in `polish` how polished it is there, 0
// to 1.
vec3 board_color(vec3 p, float& polish) {
    const float x = p.x - BOARD_CENTRE.x;
    const float z = p.z - BOARD_CENTRE.z;
    const float a = (BOARD_COS * x + BOARD_SIN * z) / SQUARE + 4.0F;
    const float b = (BOARD_COS * z - BOARD_SIN * x) / SQUARE + 4.0F;
    const float border = std::max(std::abs(a - 4.0F), std::abs(b - 4.0F)) - 4.0F;

    const auto column = static_cast<std::int32_t>(std::floor(a));
    const auto row = static_cast<std::int32_t>(std::floor(b));
    const bool on_squares = border < 0.0F;
    // wood grain, along one side of each square and different in each
    const float shift = on_squares ? 37.0F * noise_at(column, row, 8) : 0.0F;
    const float along = on_squares ? a : p.x / SQUARE;
    const float across = on_squares ? b : p.z / SQUARE;
    const float grain =
        smooth_noise(along * 1.3F + shift,
                     across * 22.0F + shift * 3.0F +
                         1.2F * smooth_noise(along * 1.1F, across * 2.0F, 9),
                     10);
    const float tone = on_squares ? 0.8F + 0.4F * noise_at(column, row, 12) : 1.0F;
    const float shade = tone * (0.72F + 0.42F * grain);

    polish = 1.0F;
    if (border > 0.56F) {
        polish = 0.55F;
        return vec3{0.030F, 0.017F, 0.011F} * shade;
    }
    if (border > 0.12F && border < 0.17F) return {0.42F, 0.24F, 0.07F};  // brass inlay
    if (!on_squares) return vec3{0.060F, 0.021F, 0.010F} * shade;
    return (column + row) % 2 == 0 ? vec3{0.040F, 0.014F, 0.0075F} * shade
                                   : vec3{0.46F, 0.285F, 0.145F} * shade;
}

view_sample table_sample(vec3 p, vec3 direction) {
    view_sample sample;
    sample.what = surface::TABLE;
    float polish = 0.0F;
    const vec3 body = board_color(p, polish);
    const vec3 up = {0.0F, 1.0F, 0.0F};
    const float open = openness(p, up);
    const float lit = visible_share(p, KEY_DIRECTION, 0.16F);
    // the lamp above the board lights only its surroundings
    const vec3 from_middle = p - vec3{-20.0F, 0.0F, 600.0F};
    const float pool = 1.0F / (1.0F + dot(from_middle, from_middle) / 120000.0F);
    sample.color =
        body * ((KEY * (0.62F * lit) + RIM * 0.10F) * pool + AMBIENT * open * 1.5F);

    const vec3 mirror = reflected(direction, up);
    const float share = polish * fresnel(-direction.y, 0.04F) * 0.72F;
    const hit above = first_piece(p + up * 0.05F, mirror);
    if (above.what) {
        const vec3 at = p + mirror * above.t;
        sample.color += piece_color(*above.what, at, mirror, false) * share;
    } else {
        const sight seen = backdrop(mirror.x / mirror.z, mirror.y / mirror.z);
        sample.color += vec3{std::min(seen.color.x, 0.7F), std::min(seen.color.y, 0.5F),
                             std::min(seen.color.z, 0.4F)} *
                        share;
        sample.sheen = share;
    }
    return sample;
}

}  // namespace

const piece& subject() { return pieces().front(); }

view_sample view(float u, float v) {
    const vec3 ray = vec3{u, 0.0F, 0.0F} + UPWARD * v + FORWARD;
    const float per_z = length(ray);  // length of the ray per unit of depth
    const vec3 direction = ray * (1.0F / per_z);

    const hit first = first_piece(EYE, direction);
    const float to_table = direction.y < 0.0F ? EYE.y / -direction.y : FAR;
    if (first.what && first.t < to_table) {
        const vec3 p = EYE + direction * first.t;
        return {piece_color(*first.what, p, direction, true), first.t / per_z,
                surface::PIECE, 0.0F};
    }
    if (to_table * direction.z < TABLE_END) {
        view_sample sample = table_sample(EYE + direction * to_table, direction);
        sample.z = to_table / per_z;
        return sample;
    }
    const float upwards = direction.y / direction.z;
    const sight seen = backdrop(direction.x / direction.z, upwards);
    const bool river = upwards < RIVER_LEVEL / SHORE;
    return {seen.color, seen.z, river ? surface::RIVER : surface::BEYOND,
            river ? 0.35F : 0.0F};
}

}  // namespace focusfall
