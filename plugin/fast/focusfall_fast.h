#pragma once
// The same tool with a faster blur.

#include <cstdint>
#include <optional>
#include <vector>

#include "plugin/fast/gather/closed_form.h"
#include "plugin/fast/gather/gather.h"
#include "plugin/fast/gather/offset_table.h"
#include "plugin/fast/gather/profile_groups.h"
#include "plugin/fast/gather/source_loader.h"
#include "plugin/fast/gather/source_planes.h"
#include "plugin/fast/stamps.h"
#include "plugin/tool/focusfall.h"

// Renders what Focusfall does, on all worker threads and without locks: a chunk of work
// owns the pixels that it writes. The picture does not depend on the number of threads.
//
// Sources whose kernel has a closed form are gathered; their sums stay in a chunk, which
// writes the finished pixels. The others are scattered into the accumulators before.
class FocusfallFast : public Focusfall {
  public:
    using Focusfall::Focusfall;

    // One piece of the present step's work. [worker threads, several pieces at once]
    void ProcessChunk(Request* request, std::int32_t chunk) override;
    // Frees the accumulators of an earlier frame and makes none: only stamps need them,
    // and few frames have any. Never throws. [render thread]
    void prepare_accumulators(const Image& color) override;
    // That all of the input is read before the first pixel is written, besides the rest.
    FrameForecast Forecast(Request* request, const FrameShape& shape) const override;
    // Frees sources, blocks, stamps and terms as well. [render thread, between frames]
    void ReleaseFrameMemory() override;

  protected:
    bool is_blurred(Request* request) override;
    bool blur(Request* request) override;
    footprint frame_footprint(const FrameShape& shape, float largest) const override;

    // The steps of a frame that tools which sum the sources otherwise override, in this
    // order. [render thread, which gives chunks to the workers]
    //
    // The largest blur diameter in front of the focus, pixels: as large as behind it.
    virtual float find_near_limit(Request* /*request*/) { return max_coc; }
    // Makes room for the sources, and what loads them.
    virtual void prepare_sources();
    // Blurs the sources into `output_image`.
    virtual void sum_sources(Request* request);

    // `columns` pixels from (x, y) on, at most BLOCK_COLUMNS, which belong to one block:
    // stores them as sources, or puts them aside as stamps. [one thread a row of blocks]
    virtual void load_run(std::int32_t x, std::int32_t y, std::int32_t columns,
                          gather::block_grid::block& block);
    // Those pixels with their distances, BLOCK_COLUMNS of them, which are filled in.
    gather::source_run run_of(std::int32_t x, std::int32_t y, std::int32_t columns,
                              float* distances) const;
    // Stores the run's sources; bit i of the result is set where pixel i is a stamp.
    std::uint64_t load_gathered(const gather::source_run& run,
                                gather::block_grid::block& block) const {
        return form_ ? loader_.load(run, block) : samples_of(run);
    }
    // Puts the pixels aside whose bits are set, and the kernel of each.
    std::uint32_t stamp_kernel(float distance) const;
    void append_stamps(const gather::source_run& run, std::uint64_t stamped);

    // Writes the pixels of the register tile at (x, y) that are in the picture.
    void write_tile(std::int32_t x, std::int32_t y, const gather::tile_sums& sums);
    void write_macro_tile(std::int32_t x, std::int32_t y, const gather::tile_sums* sums);
    // What a gather of all sources reads; there is a closed form.
    gather::gather_frame frame_of_sources() const;
    // Macro tiles of the picture, which are numbered row by row.
    std::int32_t macro_tiles() const;
    struct place {
        std::int32_t x;
        std::int32_t y;
    };
    place place_of_macro_tile(std::int32_t tile) const;  // its first pixel

    // Runs a step for 0 .. chunks - 1 on the workers; it takes the frame's progress to
    // `end`.
    using chunk_step = void (FocusfallFast::*)(std::int32_t);
    void run_chunks(Request* request, std::int32_t chunks, chunk_step step, double end);

    // constant while chunks run
    std::int32_t style_ = DISK;    // that of the whole frame, whatever an edit stores
    float near_limit_ = 0.0F;      // largest blur diameter in front of the focus, pixels
    std::size_t last_kernel_ = 0;  // index in the kernel table
    std::optional<gather::closed_form> form_;  // none: all sources are stamps
    std::vector<gather::kernel_terms> terms_;  // by index in the table, with a form
    std::optional<gather::offset_table> offsets_;
    gather::source_loader loader_ = {};

    // a chunk of load_sources writes what belongs to its rows, later chunks only read
    gather::source_planes planes_;
    gather::block_grid blocks_;
    stamp_list stamps_;

  private:
    // [render thread, which gives chunks to the workers]
    void prepare_kernels();  // the closed form, the edged terms and the offset table
    void make_smooth_terms(Request* request);
    void load_all_sources(Request* request);
    void scatter_stamps(Request* request);

    // What their chunks do.
    void fill_terms(std::int32_t chunk);        // TERMS_CHUNK kernels
    void load_sources(std::int32_t block_row);  // BLOCK_ROWS rows of the images
    void make_stamp_kernel(std::int32_t number);
    void add_stamps(std::int32_t band);
    void blur_macro_tile(std::int32_t tile);
    void blur_slab(std::int32_t slab);

    // Bit i is set where pixel i of the run is a sample.
    std::uint64_t samples_of(const gather::source_run& run) const;

    // The colours of one row of pixels of a register tile, and their weights.
    using row_values = float[gather::QUANTITIES][gather::TILE_COLUMNS];
    // Adds what was scattered to `columns` pixels from (x, y) on.
    void add_stamped(std::int32_t x, std::int32_t y, std::int32_t columns,
                     row_values& values) const;

    // constant while chunks run
    chunk_step step_ = nullptr;
    bool any_stamps_ = false;                    // in the accumulators
    std::vector<gather::profile_group> groups_;  // for slabs
};
