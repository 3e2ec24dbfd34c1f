#pragma once
// The frame: what a tool does from the host's request to its output.

#include <vector>

#include "host/api/operator.h"
#include "plugin/record/focusfall_interface.h"

// Number of consecutive samples in one chunk of the splat.
inline constexpr std::int32_t CHUNK_SAMPLES = 1000;

// The render half of the tool class. The derived class adds the controls and sets the
// three handles below.
class render_driver : public ThreadedOperator, public focusfall_interface {
  public:
    using ThreadedOperator::ThreadedOperator;

    // Renders one frame and hands it to "Output"; an aborted or failed frame hands over
    // nothing. Errors while the settings are read are thrown; later ones are printed to
    // the console as "Focusfall error: ...". [render thread]
    void Process(Request* request) override;
    // Scatters CHUNK_SAMPLES samples from chunk * CHUNK_SAMPLES on; the last chunk may be
    // shorter. Stops before the next sample once the host asks to. [worker threads,
    // several chunks at once]
    void ProcessChunk(Request* request, std::int32_t chunk) override;
    // Frees samples, kernels, accumulators and row locks. [render thread, between frames]
    void ReleaseFrameMemory() override;

    FrameForecast Forecast(Request* request, const FrameShape& shape) const override;

  protected:
    // Memory of a frame for a forecast, bytes: all, and what a smaller `max_coc` would
    // save.
    struct footprint {
        std::uint64_t bytes = 0;
        std::uint64_t blur_bytes = 0;
    };
    // Estimate for a frame whose `max_coc` is `largest`, pixels, without its images.
    // Tools that blur differently override this as well. Never throws. [any thread]
    virtual footprint frame_footprint(const FrameShape& shape, float largest) const;

    // Whether any blur of the frame is wider than a pixel; the result of other frames is
    // a copy. Tools whose largest blur is not `max_coc` override this. [render thread,
    // which may give chunks to the workers]
    virtual bool is_blurred(Request* /*request*/) { return max_coc > 1.0F; }

    // Renders a frame that is blurred into `output_image`, which has no pixels yet; true
    // when the host asked to stop. The accumulators are clear before and hold no memory
    // after a frame that was finished. Tools that blur differently override this one.
    // Throws std::runtime_error or std::bad_alloc when memory runs out. [render thread,
    // which gives chunks to the workers]
    virtual bool blur(Request* request);

    // Copies the input, with Z, if it has one, replaced by the depth, to the result and
    // fills `samples`; true when the host asked to stop. Throws std::bad_alloc. [render
    // thread]
    bool run_pixel_pass();

    // The clock for the processing time: milliseconds since some moment in the past;
    // wraps after 2^32 of them.
    static std::uint32_t tick_count();
    // Prints the time since `start`, a tick_count, to the console: once for each blurred
    // frame.
    void print_processing_time(std::uint32_t start);

    // The component of the depth image's pixels that `blur_channel` names.
    Image::Component depth_component() const;
    // The last index of the kernel table for this frame's largest blur.
    std::size_t last_kernel_index() const;

    // borrowed from the host, constant once the tool is built
    Input* input_input = nullptr;
    Input* blur_image_input = nullptr;
    Output* output_output = nullptr;

    // images of the current render: borrowed, from the request and from Process, which
    // owns the output until it hands it over
    Image* input_image = nullptr;
    Image* output_image = nullptr;
    Image* blur_image = nullptr;  // null: nothing is connected
    // filled by the pixel pass, only read by the chunks
    std::vector<depth_sample> samples;

  private:
    static Image::Component component_of(float channel);

    // Throws std::runtime_error for an image that lacks components which are read.
    void check_components() const;

    // The steps of the plain blur. [render thread]
    void build_kernel_table();     // fills `kernels`, until an abort
    void splat(Request* request);  // adds all samples, or fewer when the host stops it
    bool write_back();             // sums to pixels; true when the host asked to stop
};
