#pragma once
// The picture that a render writes: the input's, with the tool's result in its place.

#include <optional>
#include <string>

#include "host/api/image.h"
#include "pipeline/pictures/input_picture.h"
#include "pipeline/pictures/picture_format.h"

namespace focusfall {

// How the output is to be stored. What is left out stays as in the input.
struct output_choices {
    OIIO::TypeDesc type = OIIO::TypeDesc::UNKNOWN;  // of the colours; optional: unknown
    std::string compression;                        // optional: empty
    std::optional<color_encoding> encoding;
    // Channel that is added beside the colour: the blur's diameter in pixels, below 0 in
    // front of the focus. Optional: empty.
    std::string diameter_channel;

    // As load_choices::for_each.
    template <class Choices, class Visit>
    static void for_each(Choices& choices, const Visit& visit) {
        visit("data-type", choices.type);
        visit("compression", choices.compression);
        visit("colorspace", choices.encoding);
        visit("diameter-channel", choices.diameter_channel);
    }
};

// Says what of the input the output's format drops or would alter, as the end of a
// sentence about the output file; empty when all of it arrives bit for bit. The depth and
// the colours, which the tool makes, do not count. `input` needs no pixels. Never throws
// but std::bad_alloc. [any thread]
std::string expected_losses(const input_picture& input, const picture_format& format,
                            const output_choices& choices);

// The picture to write in `format` for the tool's `result` in the input's area. A format
// with named channels gets all of the input's, bit for bit but for the colour and the
// depth, its header, and `data`, a part of the area, as its data window, compressed
// without loss where the input's compression would alter channels; alpha joins a colour
// without it that does not fill the display window, for its edges become thin. Other
// formats get the colour of the display window. The part with the colour gets `record` in
// the attribute "focusfall". Parts that keep their size and channels take the input's
// pixels, which then has none. Throws std::bad_alloc. [any thread]
picture result_picture(input_picture& input, const Image& result, const window& data,
                       const picture_format& format, const output_choices& choices,
                       const std::string& record);

// Whether such a picture has pixels of the input: if not, the tool makes all that it has,
// and the input may come without its file's pixels.
bool keeps_pixels(const input_picture& input, const picture_format& format);

// Where such a picture, an `output` with all channels, has the depth that the tool used.
std::optional<channel_place> written_depth(const input_picture& input,
                                           const picture& output);

}  // namespace focusfall
