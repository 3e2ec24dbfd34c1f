// What each control does, in a sentence or two for whoever sets it. docs/controls.md
// shows more, with pictures.

#include "plugin/tool/control_rows.h"
#include "plugin/tool/focusfall.h"

namespace {

constexpr control_rows::help_text HELP[] = {
    {"BlurChannel",
     "The channel that holds the depth, of the depth map or of the picture; a colour "
     "channel will do."},
    {"SettingsType",
     "Simple asks for the largest blur only; Advanced asks for a lens, and for what the "
     "values of the depth map mean."},
    {"FocusPosition",
     "The depth value that is sharp, in the numbers of the depth map; its sign does not "
     "matter."},
    {"MinWeight", "Is saved with the settings, and changes nothing in the picture."},
    {"MaxBlurSize",
     "Simple: the diameter of the largest blur, in percent of the picture's width."},
    {"FocalLength",
     "Advanced: the focal length of the lens in millimetres. Doubled, it makes the blur "
     "about four times as large; ApertureDiameter follows it."},
    {"FStop",
     "Advanced: the f-stop of the lens. Doubled, it halves the blur; ApertureDiameter "
     "follows it."},
    {"ApertureDiameter",
     "Advanced: the diameter of the aperture in millimetres, FocalLength / FStop. An "
     "edit sets FStop."},
    {"FilmbackWidth",
     "Advanced: the width of film or sensor in millimetres. The smaller it is, the more "
     "the same lens blurs."},
    {"DepthMapType",
     "Advanced: whether the depth map holds distances, or numbers from 0 to 1 between "
     "NearDistance and FarDistance."},
    {"DepthMapUnits",
     "Advanced: the unit of the depth map's distances, or of NearDistance and "
     "FarDistance."},
    {"NearDistance",
     "Advanced, Normalized: the distance that a depth of 0 stands for, in DepthMapUnits; "
     "with InvertDepthMap, a depth of 1."},
    {"FarDistance",
     "Advanced, Normalized: the distance that a depth of 1 stands for, in DepthMapUnits; "
     "with InvertDepthMap, a depth of 0."},
    {"InvertDepthMap",
     "Reads the depth map with 1 for near and 0 for far. Without effect on distances "
     "(Advanced, Distance)."},
    {"Normalize",
     "Divides each pixel by the weight that it received, so that brightness is kept "
     "everywhere; off, edges of the picture darken."},
    {"BlurStyle", "The shape that a bright point takes out of focus."},
    {"BadBokeh",
     "Disk and Polygon: brightens the rim of the shape; at 1 the rim is five times as "
     "bright as the middle."},
    {"PolygonSideCount", "Polygon: the number of sides, one for each blade of the lens."},
    {"KernelAngle", "Polygon: turns the shape counterclockwise, in degrees."},
    {"Input", "The picture to blur."},
    {"DepthMap",
     "A picture with the depth, as large as Input; without one, Input holds it."},
    {"BlurImage",
     "A picture of the blur's shape, scaled to each diameter; its red channel is the "
     "weight. It takes the place of BlurStyle."},
    {"CompanyName", "Says who makes the tool, and changes nothing in the picture."},
    {"PackageName", "Names the tool's package, and changes nothing in the picture."},
    {"PluginName", "Names the tool, and changes nothing in the picture."},
    {"DocUrl", "Where the tool's documentation is; changes nothing in the picture."},
};

}  // namespace

const char* Focusfall::ControlHelp(const FuID& id) const {
    return control_rows::help_of(id, HELP);
}
