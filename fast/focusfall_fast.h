#pragma once
// The same tool with a faster blur stage.

#include <optional>

#include "fast/closed_form.h"
#include "fast/gather.h"
#include "fast/offset_table.h"
#include "fast/source_planes.h"
#include "tool/focusfall.h"

// Renders what Focusfall does, on all worker threads and without locks: a chunk of work
// owns the pixels that it writes. The picture does not depend on the number of threads.
class FocusfallFast : public Focusfall {
  public:
    using Focusfall::Focusfall;

    // One piece of the present step's work. [worker threads, several pieces at once]
    void ProcessChunk(Request* request, std::int32_t chunk) override;

  protected:
    bool run_pixel_pass() override;
    void build_kernel_table() override;
    void splat(Request* request) override;
    bool write_back() override;

  private:
    void load_sources(std::int32_t block_row);
    void load_row(std::int32_t y);
    void blur_macro_tile(std::int32_t tile);
    void write_tile(std::int32_t x, std::int32_t y, const tile_sums& sums);

    // Runs `step` for 0 .. chunks - 1 on the workers.
    using chunk_step = void (FocusfallFast::*)(std::int32_t);
    void run_chunks(Request* request, std::int32_t chunks, chunk_step step);
    chunk_step step_ = nullptr;  // constant while chunks run, as all that follow

    std::optional<closed_form> form_;
    std::vector<kernel_terms> steps_;
    std::optional<offset_table> offsets_;

    source_planes planes_;   // a chunk of load_sources writes its own rows
    block_maxima maxima_;    // likewise
};
