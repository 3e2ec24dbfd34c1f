#include "pipeline/demo_scene/demo_pieces.h"

#include <array>
#include <limits>

namespace focusfall {

namespace {

struct point {
    float r;  // from the axis, millimetres
    float y;  // above the foot
};

// The profile of a turned piece: a curve from the middle of the base to the top. A point
// that occurs twice is a corner.
using outline = std::vector<point>;

const outline& outline_of(piece_kind kind) {
    static const std::array<outline, 5> OUTLINES = {{
        // pawn
        {{0, 0},     {15, 0},       {15, 0},       {15.6F, 3},    {13.2F, 6},
         {13.2F, 6}, {13.6F, 8},    {10.5F, 11},   {6.6F, 18},    {5, 27},
         {4.9F, 33}, {4.9F, 33},    {8.9F, 35.2F}, {8.9F, 36.6F}, {5.2F, 38},
         {5.2F, 38}, {7.8F, 41.5F}, {8.6F, 45.5F}, {7.3F, 50},    {3.9F, 53.2F},
         {0, 54}},
        // rook
        {{0, 0},        {17, 0},    {17, 0},    {17.6F, 4},  {15, 7},     {15, 7},
         {15.4F, 9.5F}, {12, 13},   {9.6F, 22}, {9, 38},     {9, 38},     {12, 40},
         {12, 41.5F},   {9.8F, 43}, {9.8F, 43}, {13.2F, 47}, {13.4F, 57}, {13.4F, 57},
         {9.6F, 57},    {9.6F, 57}, {9.4F, 51}, {9.4F, 51},  {0, 51}},
        // bishop
        {{0, 0},        {17, 0},       {17, 0},        {17.6F, 4},    {15, 7},
         {15, 7},       {15.4F, 9.5F}, {11.5F, 13},    {7.6F, 22},    {5.6F, 34},
         {5.3F, 45},    {5.3F, 45},    {10.2F, 47.5F}, {10.2F, 49},   {6.4F, 51},
         {6.4F, 51},    {7.8F, 52.6F}, {5.8F, 54.6F},  {5.8F, 54.6F}, {8.4F, 59},
         {8.7F, 63.5F}, {6.4F, 69.5F}, {2.3F, 74},     {2.3F, 74},    {3.1F, 76.5F},
         {1.9F, 78.7F}, {0, 79.2F}},
        // queen
        {{0, 0},        {19, 0},        {19, 0},        {19.8F, 4.5F},  {17, 7.8F},
         {17, 7.8F},    {17.4F, 10.4F}, {13, 14.5F},    {8.6F, 25},     {6.3F, 39},
         {5.9F, 53},    {5.9F, 53},     {11.4F, 55.8F}, {11.4F, 57.2F}, {6.9F, 59},
         {6.9F, 59},    {8.9F, 60.8F},  {6.5F, 62.8F},  {6.5F, 62.8F},  {7.4F, 69},
         {9.4F, 77},    {12.4F, 84.5F}, {12.4F, 84.5F}, {10.6F, 85.2F}, {8.6F, 83.4F},
         {8.6F, 83.4F}, {6.4F, 86.6F},  {2.2F, 88.4F},  {2.2F, 88.4F},  {3.3F, 91},
         {2.3F, 93.3F}, {0, 94.2F}},
        // king
        {{0, 0},      {20, 0},        {20, 0},        {20.8F, 4.5F},  {18, 8},
         {18, 8},     {18.4F, 10.6F}, {13.6F, 15},    {9, 26},        {6.8F, 41},
         {6.4F, 56},  {6.4F, 56},     {11.8F, 58.8F}, {11.8F, 60.2F}, {7.4F, 62},
         {7.4F, 62},  {9.3F, 63.8F},  {7, 66},        {7, 66},        {8.3F, 73},
         {11.6F, 85}, {11.6F, 85},    {10.8F, 86.4F}, {6, 89},        {1.9F, 90.4F},
         {0, 90.6F}},
    }};
    return OUTLINES[static_cast<std::size_t>(kind)];
}

// A curve through the points of an outline (Catmull and Rom, "A class of local
// interpolating splines", 1974).
outline smooth_outline(const outline& corners) {
    constexpr int STEPS = 6;
    outline curve;
    const auto last = corners.size() - 1;
    for (std::size_t i = 0; i < last; ++i) {
        const point a = corners[i > 0 ? i - 1 : 0];
        const point b = corners[i];
        const point c = corners[i + 1];
        const point d = corners[std::min(i + 2, last)];
        for (int step = 0; step < STEPS; ++step) {
            const float t = static_cast<float>(step) / STEPS;
            const auto spline = [t](float p, float q, float r, float s) {
                return q +
                       0.5F * t *
                           (r - p +
                            t * (2 * p - 5 * q + 4 * r - s + t * (3 * (q - r) + s - p)));
            };
            curve.push_back(
                {std::max(0.0F, spline(a.r, b.r, c.r, d.r)), spline(a.y, b.y, c.y, d.y)});
        }
    }
    curve.push_back(corners.back());
    return curve;
}

// Signed distance of a point to the area between the axis and the curve, negative inside.
float outline_distance(const outline& curve, point p) {
    float nearest = std::numeric_limits<float>::max();
    bool inside = false;
    for (std::size_t i = 0; i + 1 < curve.size(); ++i) {
        const point a = curve[i];
        const point b = curve[i + 1];
        const float dr = b.r - a.r;
        const float dy = b.y - a.y;
        const float square = std::max(dr * dr + dy * dy, 1e-12F);
        const float t =
            std::clamp(((p.r - a.r) * dr + (p.y - a.y) * dy) / square, 0.0F, 1.0F);
        const float gr = p.r - a.r - t * dr;
        const float gy = p.y - a.y - t * dy;
        nearest = std::min(nearest, gr * gr + gy * gy);
        const bool crosses = (a.y > p.y) != (b.y > p.y);
        if (crosses && p.r < a.r + (p.y - a.y) / dy * dr) inside = !inside;
    }
    return inside ? -std::sqrt(nearest) : std::sqrt(nearest);
}

// Distances to an outline from a table with bilinear interpolation: a picture needs many
// millions of them.
class lathe {
  public:
    explicit lathe(const outline& corners) : values_(COLUMNS * ROWS) {
        const outline curve = smooth_outline(corners);
        for (std::size_t row = 0; row < ROWS; ++row) {
            for (std::size_t column = 0; column < COLUMNS; ++column) {
                values_[row * COLUMNS + column] =
                    outline_distance(curve, {static_cast<float>(column) * CELL,
                                             static_cast<float>(row) * CELL - MARGIN});
            }
        }
    }

    float distance(float r, float y) const {
        const float column = r / CELL;
        const float row = (y + MARGIN) / CELL;
        const float c = std::clamp(column, 0.0F, COLUMNS - 1.001F);
        const float w = std::clamp(row, 0.0F, ROWS - 1.001F);
        const auto x = static_cast<std::size_t>(c);
        const auto z = static_cast<std::size_t>(w);
        const float* cell = &values_[z * COLUMNS + x];
        const float fx = c - static_cast<float>(x);
        const float inside =
            mix(mix(cell[0], cell[1], fx), mix(cell[COLUMNS], cell[COLUMNS + 1], fx),
                w - static_cast<float>(z));
        if (column == c && row == w) return inside;
        // outside the table: a lower bound of the true distance that continues the table
        const float dr = (column - c) * CELL;
        const float dy = (row - w) * CELL;
        const float way = std::sqrt(dr * dr + dy * dy);
        return std::max(inside - way, way);
    }

  private:
    static constexpr float CELL = 0.3F;    // millimetres
    static constexpr float MARGIN = 6.0F;  // below the base
    static constexpr std::size_t COLUMNS = 85;
    static constexpr std::size_t ROWS = 362;
    std::vector<float> values_;
};

const lathe& lathe_of(piece_kind kind) {
    static const std::array<lathe, 5> LATHES = {
        lathe(outline_of(piece_kind::PAWN)), lathe(outline_of(piece_kind::ROOK)),
        lathe(outline_of(piece_kind::BISHOP)), lathe(outline_of(piece_kind::QUEEN)),
        lathe(outline_of(piece_kind::KING))};
    return LATHES[static_cast<std::size_t>(kind)];
}

float box_distance(vec3 p, vec3 half) {
    const vec3 q{std::abs(p.x) - half.x, std::abs(p.y) - half.y, std::abs(p.z) - half.z};
    const vec3 outside{std::max(q.x, 0.0F), std::max(q.y, 0.0F), std::max(q.z, 0.0F)};
    return length(outside) + std::min(std::max({q.x, q.y, q.z}), 0.0F);
}

// `p` rotated about the axis into the first of `count` equal sectors, the one around +x.
vec3 folded(vec3 p, float count) {
    const float sector = 6.2831853F / count;
    const float angle = std::atan2(p.z, p.x);
    const float turned = angle - sector * std::round(angle / sector);
    const float r = std::sqrt(p.x * p.x + p.z * p.z);
    return {r * std::cos(turned), p.y, r * std::sin(turned)};
}

// The distance to the piece with what is carved into its turned shape or added to it; `d`
// is the distance to the turned shape.
float with_carving(piece_kind kind, vec3 p, float d) {
    switch (kind) {
        case piece_kind::PAWN: return d;
        case piece_kind::ROOK: {
            if (p.y < 48.0F) return d;
            const vec3 gap = folded(p, 6.0F) - vec3{12.0F, 57.0F, 0.0F};
            return std::max(d, -box_distance(gap, {5.0F, 3.6F, 1.7F}));
        }
        case piece_kind::BISHOP: {
            if (p.y < 54.0F) return d;
            const vec3 slot{p.x - 6.0F, p.y - 67.0F, p.z};
            const float across = std::abs(slot.y * 0.77F - slot.x * 0.64F) - 0.8F;
            return std::max(d, -std::max(across, 2.0F - p.x));
        }
        case piece_kind::QUEEN: {
            if (p.y < 76.0F) return d;
            const vec3 notch = folded(p, 9.0F) - vec3{12.6F, 85.6F, 0.0F};
            return std::max(d, 3.5F - length(notch));
        }
        case piece_kind::KING: {
            if (p.y < 80.0F) return d;
            const float post = box_distance(p - vec3{0, 94, 0}, {1.2F, 5.2F, 1.0F});
            const float bar = box_distance(p - vec3{0, 95, 0}, {3.8F, 1.2F, 1.0F});
            return std::min(d, std::min(post, bar) - 0.5F);
        }
    }
    return d;
}

}  // namespace

piece::piece(piece_kind k, bool is_white, vec3 at, float size, vec3 direction)
    : kind(k), white(is_white), foot(at), scale(size), axis(direction) {
    const vec3 left = {-0.8F, 0.0F, -0.6F};
    front = normalized(left - axis * dot(left, axis));
    beside = cross(axis, front);
    bound = {foot + axis * (50.0F * scale), 56.0F * scale};
}

float piece_distance(const piece& piece, vec3 p) {
    const vec3 from_foot = (p - piece.foot) * (1.0F / piece.scale);
    const vec3 local{dot(from_foot, piece.front), dot(from_foot, piece.axis),
                     dot(from_foot, piece.beside)};
    const float r = std::sqrt(local.x * local.x + local.z * local.z);
    const float turned = lathe_of(piece.kind).distance(r, local.y);
    return with_carving(piece.kind, local, turned) * piece.scale;
}

vec3 piece_normal(const piece& piece, vec3 p) {
    const float e =
        0.3F * piece.scale;  // one cell of the table: shorter steps show facets
    const auto slope = [&](vec3 step) {
        return piece_distance(piece, p + step) - piece_distance(piece, p - step);
    };
    return normalized({slope({e, 0, 0}), slope({0, e, 0}), slope({0, 0, e})});
}

span piece_span(const piece& piece, vec3 origin, vec3 direction, float margin) {
    const float radius = piece.bound.radius + margin;
    const vec3 to_centre = piece.bound.centre - origin;
    const float middle = dot(to_centre, direction);
    const float square = radius * radius - (dot(to_centre, to_centre) - middle * middle);
    if (square <= 0.0F) return {1.0F, 0.0F};
    // does the ray pass the axis at more than the widest radius?
    const vec3 across = cross(direction, piece.axis);
    const float aside = dot(to_centre, across);
    const float widest = 21.0F * piece.scale + margin;
    if (aside * aside > widest * widest * dot(across, across)) return {1.0F, 0.0F};
    const float half = std::sqrt(square);
    return {std::max(middle - half, 0.0F), middle + half};
}

}  // namespace focusfall
