#pragma once
// The tool that knows what hides what. It is longer than a header should be, as one
// frame's state is listed in one place.

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "plugin/fast/focusfall_fast.h"
#include "plugin/layered/border_parts.h"
#include "plugin/layered/depth_layers.h"
#include "plugin/layered/diameter_map.h"
#include "plugin/layered/hidden_sources.h"
#include "plugin/layered/layer_gather.h"
#include "plugin/layered/mixed_edges.h"
#include "plugin/layered/seed_pyramid.h"
#include "plugin/layered/smoothed_edges.h"

// Blurs by depth as a lens does: what is in front hides what is behind, a sharp subject
// keeps its edge, and what is blurred in front of it spreads over it on both sides of its
// own edge. The fast tool with the sources parted into layers of depth, which are
// gathered from the front to the back. docs/layers.md tells how.
//
// A frame without a depth edge is the fast tool's, and so is one in the style Laplacian,
// whose weights add up to nothing that could hide anything.
class FocusfallLayered : public FocusfallFast {
  public:
    // Adds the controls of the fast tool, then the page "Occlusion". [user-interface
    // side]
    FocusfallLayered(Registry* record, const ScriptVal& table, TagList* tags);

    void Process(Request* request) override;
    void ReleaseFrameMemory() override;
    FrameForecast Forecast(Request* request, const FrameShape& shape) const override;
    const char* ControlHelp(const FuID& id) const override;

  protected:
    footprint frame_footprint(const FrameShape& shape, float largest) const override;
    float find_near_limit(Request* request) override;
    bool is_blurred(Request* request) override;
    void prepare_sources() override;
    void load_run(std::int32_t x, std::int32_t y, std::int32_t columns,
                  gather::block_grid::block& block) override;
    void sum_sources(Request* request) override;

  private:
    // What the controls of the page "Occlusion" say for a frame.
    struct occlusion {
        bool hidden_fill = true;
        float tolerance = 1.0F;  // pixels of diameter
        bool near_limit = true;
        bool flip_in_front = false;
    };
    occlusion read_occlusion(Request* request) const;

    // Where nothing is hidden, the background shows through the input alone: it becomes
    // the input with the background behind it. [render thread]
    void lay_over_background();

    // Steps of sum_sources. [render thread, which gives chunks to the workers]
    void repair_edges(Request* request);
    void separate_edges(Request* request);
    bool is_flat() const;  // no two sources of the frame are a depth edge apart
    void guess_hidden(Request* request);
    void find_hidden(Request* request);
    void compose(Request* request);
    // Layers with stamps are composed one by one, with the others between them, from that
    // part of the frame's progress on.
    void compose_with_stamps(Request* request, std::uint32_t stamped, double begin_at);
    void scatter_layer(Request* request, double begin, double end);  // that of `pass_`

    // What their chunks do.
    void find_nearest(std::int32_t block_row);
    void find_smoothed_edges(std::int32_t block_row);
    void load_smoothed_edges(std::int32_t block_row);
    void find_mixed_edges(std::int32_t block_row);
    void load_mixed_edges(std::int32_t block_row);
    void sow_hidden(std::int32_t band);
    void spread_hidden(std::int32_t band);
    void load_hidden(std::int32_t block_row);
    void make_border(std::int32_t layer);
    void find_stamped_layers(std::int32_t block_row);
    void list_stamps(std::int32_t block_row);  // those of `pass_`
    void make_layer_kernel(std::int32_t number);
    void add_layer_stamps(std::int32_t band);
    void compose_macro_tile(std::int32_t tile);  // all layers
    void compose_pass(std::int32_t tile);        // the layers of `pass_`

    float largest_blur() const {  // of a kernel, pixels
        return static_cast<float>(last_kernel_) * kernel_step;
    }
    // No blur is wider than a quarter of the picture.
    static float widest_blur(std::int32_t width) {
        return static_cast<float>(width) * 0.25F;
    }
    // The blur diameter of a distance, negative in front of the focus, pixels.
    float signed_diameter(float distance) const;
    layered::visible_picture visible() const;
    // A run with its distances, BLOCK_COLUMNS of them, which are filled in, and a place
    // for its diameters.
    gather::source_run layered_run(std::int32_t x, std::int32_t y, std::int32_t columns,
                                   float* distances);
    // Places a run in depth: the diameters of pixels that the loader does not know, and
    // the layers of the sources.
    void place_run(const gather::source_run& run, gather::block_grid::block& block);
    void add_to_means(const gather::source_run& run);
    layered::layered_frame frame_of_layers() const;
    // How much of the source at (x, y), visible or hidden, is of a layer, and its looks.
    stamp_list::appearance look(std::int32_t x, std::int32_t y, std::int32_t layer) const;
    bool is_turned(std::int32_t layer) const {
        return occlusion_.flip_in_front && layer < layered::depth_layers::FOCUS;
    }

    Input* hidden_fill_input_ = nullptr;
    Input* tolerance_input_ = nullptr;
    Input* near_limit_input_ = nullptr;
    Input* flip_in_front_input_ = nullptr;
    Input* background_input_ = nullptr;

    const layered::depth_layers layers_;

    // constant while chunks run
    occlusion occlusion_;
    Image* background_image_ = nullptr;  // null: none; owned by the request
    Owned<Image> over_background_;       // the input with the background behind it
    bool layered_ = false;               // this frame has layers
    std::optional<gather::offset_table> turned_offsets_;  // for kernels that are turned
    layered::border_parts borders_;
    std::uint32_t layers_present_ = 0;
    bool any_hidden_ = false;
    std::int32_t level_ = 0;  // of the hidden sources that are spread
    struct layer_pass {
        layered::layer_range layers;
        std::int32_t stamped;  // the last of them, or -1
    };
    layer_pass pass_ = {};
    stamp_list layer_stamps_;  // of `pass_`

    // a chunk writes what belongs to its rows or tile
    layered::diameter_map diameters_;
    std::vector<std::vector<layered::smoothed_pixel>> smoothed_;  // by row of blocks
    std::vector<std::vector<layered::mixed_pixel>> mixed_;        // likewise
    std::vector<std::vector<layered::lit_pixel>> lit_;            // likewise
    layered::seed_pyramid seeds_;
    layered::hidden_sources hidden_;
    struct depth_range {
        float nearest;
        float deepest;
    };
    std::vector<depth_range> ranges_;  // signed diameters, by row of blocks
    // What the mean diameter of each layer follows from, by row of blocks.
    struct layer_mean {
        float sum = 0.0F;    // of diameters, pixels
        float count = 0.0F;  // of sources, in parts
    };
    using layer_means = std::array<layer_mean, layered::depth_layers::COUNT>;
    std::vector<layer_means> means_;
    std::vector<float> nearest_;                    // millimetres, by row of blocks
    std::vector<std::uint32_t> stamped_layers_;     // by row of blocks
    std::vector<layered::composed_tile> composed_;  // by macro tile, between passes
};
