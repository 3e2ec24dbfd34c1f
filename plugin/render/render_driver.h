#pragma once
// The frame: what a tool does from the host's request to its output.

#include <vector>

#include "host/api/operator.h"
#include "plugin/record/focusfall_interface.h"

// Number of consecutive samples in one chunk of the splat.
inline constexpr std::int32_t CHUNK_SAMPLES = 1000;

// The render half of the tool class, which adds the controls and sets the three handles.
class render_driver : public ThreadedOperator, public focusfall_interface {
  public:
    using ThreadedOperator::ThreadedOperator;

    // Renders one frame and hands it to "Output"; an aborted or failed frame hands over
    // nothing. Faults of the settings read are thrown; later ones are printed to the
    // console as "Focusfall error: ...". [render thread]
    void Process(Request* request) override;
    // Scatters CHUNK_SAMPLES samples from chunk * CHUNK_SAMPLES on; the last chunk may be
    // shorter. Stops before the next sample once the host asks to. [worker threads,
    // several chunks at once]
    void ProcessChunk(Request* request, std::int32_t chunk) override;

  protected:
    // The two steps of the blur stage that a derived tool may replace. The accumulators
    // are clear before the first; their sums are the result of the second.
    //
    // Fills `kernels`. [render thread]
    virtual void build_kernel_table();
    // Adds all samples to the accumulators, at least until the host asks to stop.
    // [render thread, which gives chunks to the workers]
    virtual void splat(Request* request);

    // The steps of Process; each is true when the host asked to stop. [render thread]
    virtual bool run_pixel_pass();
    bool run_blur_stage(Request* request);
    virtual bool write_back();

    // The component of the depth image's pixels that "BlurChannel" names.
    Image::Component depth_component() const;
    // The last index of the kernel table for this frame's largest blur.
    std::size_t last_kernel_index() const;

    // borrowed from the host, constant once the tool is built
    Input* input_input = nullptr;
    Input* blur_image_input = nullptr;
    Output* output_output = nullptr;

    // of the current render, which owns none of them but lets go of `output_image`
    Image* input_image = nullptr;
    Image* output_image = nullptr;
    Image* blur_image = nullptr;  // null: nothing is connected
    std::vector<depth_sample>
        samples;  // filled by the pixel pass, only read by the chunks
};
