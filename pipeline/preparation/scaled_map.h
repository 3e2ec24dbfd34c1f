#pragma once
// A depth map of another size than the picture, brought to the picture's.

#include "host/api/image.h"
#include "pipeline/regions/window.h"

namespace focusfall {

// A map as large as `picture`, whose pixels are those of `map`, stretched over `inside`
// in the coordinates of the picture's image; what lies outside is zero. Nothing is mixed,
// so that an edge of depth stays one: each pixel takes one of the four samples of the map
// around it, the one that is nearest in place and in the colour that the picture has
// there. A tenth of the way from black to white counts as much as the distance from one
// sample to the next. Throws std::bad_alloc. [any thread]
Owned<Image> scaled_map(const Image& map, const Image& picture, const window& inside);

}  // namespace focusfall
