#include "programs/command/rendering_session.h"

#include <OpenImageIO/imageio.h>

namespace focusfall {

namespace {

session prepared_session(const shared_options& options) {
    OIIO::attribute("threads", options.threads);
    OIIO::attribute("exr_threads", options.threads);
    return opened_session(options);
}

}  // namespace

rendering_session::rendering_session(const shared_options& options)
    : session_(prepared_session(options)),
      tool_(created_tool(session_, options)),
      stop_(*tool_) {}

}  // namespace focusfall
