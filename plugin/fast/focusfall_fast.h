#pragma once
// The same tool with a faster blur stage.

#include <optional>
#include <vector>

#include "plugin/fast/gather/closed_form.h"
#include "plugin/fast/gather/gather.h"
#include "plugin/fast/gather/offset_table.h"
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

  protected:
    bool blur(Request* request) override;

  private:
    // The two halves of `blur`: kernels and space for the sources, then all that runs in
    // chunks. [render thread]
    void prepare();
    void run_steps(Request* request);

    // The steps; what their chunks are.
    void fill_terms(std::int32_t chunk);        // TERMS_CHUNK kernels
    void load_sources(std::int32_t block_row);  // BLOCK_ROWS rows of the images
    void make_stamp_kernel(std::int32_t number);
    void add_stamps(std::int32_t band);
    void blur_macro_tile(std::int32_t tile);

    // `columns` pixels from (x, y) on, at most BLOCK_COLUMNS, which belong to one block:
    // stores them as sources, or puts them aside as stamps.
    void load_run(std::int32_t x, std::int32_t y, std::int32_t columns,
                  gather::block_grid::block& block);
    void write_tile(std::int32_t x, std::int32_t y, const gather::tile_sums& sums);
    // Adds what was scattered to `columns` pixels from (x, y) on.
    void add_stamped(std::int32_t x, std::int32_t y, std::int32_t columns,
                     float (&values)[gather::QUANTITIES][gather::TILE_COLUMNS]) const;

    // Runs a step for 0 .. chunks - 1 on the workers.
    using chunk_step = void (FocusfallFast::*)(std::int32_t);
    void run_chunks(Request* request, std::int32_t chunks, chunk_step step);

    // constant while chunks run
    chunk_step step_ = nullptr;
    std::size_t last_kernel_ = 0;
    std::optional<gather::closed_form> form_;
    std::vector<gather::kernel_terms>
        terms_;  // by index in the kernel table; empty without form
    std::optional<gather::offset_table> offsets_;
    bool any_stamps_ = false;

    // a chunk of load_sources writes what belongs to its rows, later chunks only read
    gather::source_planes planes_;
    gather::block_grid blocks_;
    stamp_list stamps_;
};
