// The `focusfall-frame` program: frames as raw numbers, rendered and compared.

#include <cstdio>
#include <exception>

#include "programs/frame/commands.h"

namespace {

constexpr const char* USAGE =
    R"(usage: focusfall-frame render --plugin FILE --size WIDTHxHEIGHT --output FILE
           [--input FILE] [--depth FILE] [--set ID=VALUE]... [--threads N]
       focusfall-frame compare FILE FILE TOLERANCE

render   renders a picture through the plug-in; without --input, a made-up scene.
         --depth    takes the depth from the Z of another picture
         --set      gives a control a value, as in BlurStyle=Polygon (repeatable)
         --threads  worker threads, 1 for results that repeat to the last bit;
                    otherwise as many as there are processors
compare  fails when two numbers of the files, side by side, differ by more than
         TOLERANCE times the larger of them.

Picture files are rows of 32-bit floats, little-endian, from the top: red, green, blue,
alpha and Z of each pixel.
)";

int run(const std::vector<std::string>& arguments) {
    if (arguments.empty()) throw usage_error("wants a verb");
    const std::string& verb = arguments.front();
    const std::vector<std::string> rest(arguments.begin() + 1, arguments.end());
    if (verb == "compare") return run_compare_command(rest) ? 0 : 1;
    if (verb == "render") {
        run_render_command(rest);
    } else if (verb == "--help" || verb == "-h") {
        std::fputs(USAGE, stdout);
    } else {
        throw usage_error("there is no verb \"" + verb + "\"");
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run({argv + 1, argv + argc});
    } catch (const usage_error& error) {
        std::fprintf(stderr, "focusfall-frame: %s\n\n%s", error.what(), USAGE);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "focusfall-frame: %s\n", error.what());
        return 1;
    }
}
