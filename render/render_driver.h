#pragma once
// The frame: what a tool does from the host's request to its output.

#include <vector>

#include "host/api/operator.h"
#include "render/focusfall_interface.h"

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
    // borrowed from the host, constant once the tool is built
    Input* input_input = nullptr;
    Input* blur_image_input = nullptr;
    Output* output_output = nullptr;

    // The stages of a frame, in this order. Those with a result give true when the host
    // asked to stop. Virtual: other tools may have ways of their own. [render thread]
    virtual bool run_pixel_pass();      // fills `samples` and the output's copy
    virtual void build_kernel_table();  // fills `kernels`
    virtual void splat(Request* request);
    virtual bool write_back();

    // of the current render, which owns none of them but lets go of `output_image`
    Image* input_image = nullptr;
    Image* output_image = nullptr;
    Image* blur_image = nullptr;  // null: nothing is connected
    std::vector<depth_sample>
        samples;  // filled by the pixel pass, only read by the chunks

  private:
    bool run_blur_stage(Request* request);  // true when the host asked to stop
};
