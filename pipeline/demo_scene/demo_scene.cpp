#include "pipeline/demo_scene/demo_scene.h"

#include "pipeline/demo_scene/demo_backdrop.h"
#include "pipeline/demo_scene/demo_view.h"

namespace focusfall {

namespace {

// The picture under construction, and the geometry of its camera.
struct canvas {
    std::int32_t width;
    std::int32_t height;
    float slope;  // width of a pixel at distance 1
    std::vector<view_sample> samples;

    canvas(std::int32_t w, std::int32_t h)
        : width(w),
          height(h),
          slope((DEMO_LENS.focus_mm - DEMO_LENS.focal_mm) * DEMO_LENS.filmback_mm /
                (DEMO_LENS.focus_mm * DEMO_LENS.focal_mm) / static_cast<float>(w)),
          samples(static_cast<std::size_t>(w) * static_cast<std::size_t>(h)) {}

    view_sample& at(std::int32_t x, std::int32_t y) {
        return samples[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                       static_cast<std::size_t>(x)];
    }
    float u(float x) const { return (x - 0.5F * static_cast<float>(width - 1)) * slope; }
    float v(float y) const { return (0.5F * static_cast<float>(height - 1) - y) * slope; }
    // Column, row and depth at which a point in front of the camera appears.
    vec3 projected(vec3 p) const {
        const vec3 from_eye = p - EYE;
        const float z = dot(from_eye, FORWARD);
        return {from_eye.x / z / slope + 0.5F * static_cast<float>(width - 1),
                0.5F * static_cast<float>(height - 1) - dot(from_eye, UPWARD) / z / slope,
                z};
    }
};

bool differ(const view_sample& a, const view_sample& b) {
    const vec3 d = a.color - b.color;
    const float brightest =
        std::max({a.color.y + b.color.y, a.color.x + b.color.x, 0.02F});
    return a.what != b.what ||
           std::max({std::abs(d.x), std::abs(d.y), std::abs(d.z)}) > 0.15F * brightest;
}

// The colours of a row, antialiased with more rays where neighbouring pixels differ.
// Depth stays that of the middle ray.
std::vector<vec3> smoothed_row(canvas& picture, std::int32_t y) {
    std::vector<vec3> colors;
    for (std::int32_t x = 0; x < picture.width; ++x) {
        const view_sample& middle = picture.at(x, y);
        const bool edge =
            (x > 0 && differ(middle, picture.at(x - 1, y))) ||
            (x + 1 < picture.width && differ(middle, picture.at(x + 1, y))) ||
            (y > 0 && differ(middle, picture.at(x, y - 1))) ||
            (y + 1 < picture.height && differ(middle, picture.at(x, y + 1)));
        vec3 sum = middle.color;
        float rays = 1.0F;
        for (int i = 0; edge && i < 5; ++i, ++rays) {
            const float dx = 0.2F * static_cast<float>(i) - 0.4F;
            const float dy = 0.2F * static_cast<float>(i * 2 % 5) - 0.4F;
            sum += view(picture.u(static_cast<float>(x) + dx),
                        picture.v(static_cast<float>(y) + dy))
                       .color;
        }
        colors.push_back(sum * (1.0F / rays));
    }
    return colors;
}

// True for a lamp that appears at the edge of the queen: without occlusion, its blur
// would spill over her.
bool spills_over_subject(vec3 place) {
    const vec3 at_queen = EYE + (place - EYE) * ((DEMO_LENS.focus_mm) / place.z);
    const float d = piece_distance(subject(), at_queen);
    return d > -4.0F && d < 4.5F;
}

// Adds the reflection of a lamp on the table or the river, stretched to a streak.
void add_glint(canvas& picture, const lamp& lamp, float level, surface where) {
    if (lamp.color.x + lamp.color.y < 1.0F) return;  // part of a wire
    vec3 mirrored = lamp.place;
    mirrored.y = 2.0F * level - mirrored.y;
    const vec3 middle = picture.projected(mirrored);
    const float size = static_cast<float>(picture.width) / 1920.0F;
    const bool river = where == surface::RIVER;
    const float wide = (river ? 2.6F : 5.0F) * size;
    const float tall = (river ? 24.0F : 26.0F) * size;
    const float radius = lamp.radius / middle.z / picture.slope;
    const float strength =
        std::max(radius * radius, 0.3F * size * size) / (2.0F * wide * tall);
    const auto reach = [](float m, float s, std::int32_t end) {
        return std::pair{std::max(0, static_cast<std::int32_t>(m - 3.0F * s)),
                         std::min(end, static_cast<std::int32_t>(m + 3.0F * s) + 1)};
    };
    const auto [left, right] = reach(middle.x, wide, picture.width);
    const auto [top, bottom] = reach(middle.y, tall, picture.height);
    for (std::int32_t y = top; y < bottom; ++y) {
        for (std::int32_t x = left; x < right; ++x) {
            view_sample& sample = picture.at(x, y);
            if (sample.what != where) continue;
            const float dx = (static_cast<float>(x) - middle.x) / wide;
            const float dy = (static_cast<float>(y) - middle.y) / tall;
            float share = std::exp(-0.5F * (dx * dx + dy * dy)) * strength * sample.sheen;
            if (river) {
                share *= 2.0F * smooth_step(0.35F, 0.75F,
                                            smooth_noise(
                                                static_cast<float>(x) / size * 0.1F,
                                                static_cast<float>(y) / size * 0.7F, 31));
            }
            sample.color += lamp.color * share;
        }
    }
}

// Draws a lamp, at least one pixel large, where nothing is in front of it.
void draw_lamp(canvas& picture, const lamp& lamp) {
    const vec3 middle = picture.projected(lamp.place);
    const float radius = lamp.radius / middle.z / picture.slope;
    // share of a pixel that a smaller lamp covers, so that its light is right in all
    // sizes
    const float share = std::min(1.0F, 3.1416F * radius * radius);
    const auto cx = static_cast<std::int32_t>(std::lround(middle.x));
    const auto cy = static_cast<std::int32_t>(std::lround(middle.y));
    const auto reach = static_cast<std::int32_t>(radius) + 1;
    for (std::int32_t y = cy - reach; y <= cy + reach; ++y) {
        for (std::int32_t x = cx - reach; x <= cx + reach; ++x) {
            if (x < 0 || y < 0 || x >= picture.width || y >= picture.height) continue;
            const float d = std::hypot(static_cast<float>(x) - middle.x,
                                       static_cast<float>(y) - middle.y);
            if (d > radius && (x != cx || y != cy)) continue;
            view_sample& sample = picture.at(x, y);
            if (sample.z < middle.z) continue;
            sample.color = mix(sample.color, lamp.color, share);
            sample.z = middle.z;
        }
    }
}

// Whether a pixel is inside the rounded frame; its corners are transparent.
bool in_opening(const canvas& picture, std::int32_t x, std::int32_t y) {
    const float corner = 0.035F * static_cast<float>(picture.width);
    const float half_w = 0.5F * static_cast<float>(picture.width);
    const float half_h = 0.5F * static_cast<float>(picture.height);
    const float dx =
        std::max(0.0F, std::abs(static_cast<float>(x) + 0.5F - half_w) - half_w + corner);
    const float dy =
        std::max(0.0F, std::abs(static_cast<float>(y) + 0.5F - half_h) - half_h + corner);
    return dx * dx + dy * dy <= corner * corner;
}

// One ray through the middle of each pixel.
void trace(canvas& picture, headless::worker_pool& workers) {
    const auto trace_row = [&](std::int32_t y) {
        for (std::int32_t x = 0; x < picture.width; ++x) {
            picture.at(x, y) =
                view(picture.u(static_cast<float>(x)), picture.v(static_cast<float>(y)));
        }
    };
    workers.run(picture.height, trace_row, {});
}

void smooth_edges(canvas& picture, headless::worker_pool& workers) {
    // all rows are smoothed from unsmoothed neighbours
    std::vector<std::vector<vec3>> smoothed(static_cast<std::size_t>(picture.height));
    const auto smooth_row = [&](std::int32_t y) {
        smoothed[static_cast<std::size_t>(y)] = smoothed_row(picture, y);
    };
    workers.run(picture.height, smooth_row, {});
    for (std::int32_t y = 0; y < picture.height; ++y) {
        for (std::int32_t x = 0; x < picture.width; ++x) {
            picture.at(x, y).color =
                smoothed[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)];
        }
    }
}

void add_lamps(canvas& picture) {
    for (const lamp& lamp : demo_lamps()) {
        add_glint(picture, lamp, 0.0F, surface::TABLE);
        if (lamp.place.y < 0.0F || lamp.place.z > 1e5F) {
            add_glint(picture, lamp, RIVER_LEVEL, surface::RIVER);
        }
        if (!spills_over_subject(lamp.place)) draw_lamp(picture, lamp);
    }
}

Owned<Image> masked_image(canvas& picture) {
    Owned<Image> image(new Image(picture.width, picture.height, 5));
    for (std::int32_t y = 0; y < picture.height; ++y) {
        for (std::int32_t x = 0; x < picture.width; ++x) {
            const view_sample& sample = picture.at(x, y);
            const bool open = in_opening(picture, x, y);
            float* pixel = image->Pixel(x, y);
            pixel[Image::RED] = open ? sample.color.x : 0.0F;
            pixel[Image::GREEN] = open ? sample.color.y : 0.0F;
            pixel[Image::BLUE] = open ? sample.color.z : 0.0F;
            pixel[Image::ALPHA] = open ? 1.0F : 0.0F;
            pixel[Image::Z] = open ? sample.z : DEMO_LENS.focus_mm;
        }
    }
    return image;
}

}  // namespace

Owned<Image> demo_scene(std::int32_t width, std::int32_t height,
                        headless::worker_pool& workers) {
    canvas picture(width, height);
    trace(picture, workers);
    smooth_edges(picture, workers);
    add_lamps(picture);
    return masked_image(picture);
}

}  // namespace focusfall
