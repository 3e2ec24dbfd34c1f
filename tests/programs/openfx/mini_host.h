#pragma once
// A strict little OpenFX host: it refuses, and notes, whatever the interface does not
// allow an effect to do.

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "programs/openfx/abi.h"
#include "tests/programs/openfx/property_bag.h"

namespace mini_host {

// A picture as hosts have it: the bottom row first.
struct picture {
    ofx::pixel_rect bounds = {};
    int components = 4;
    std::vector<float> pixels;

    float* at(int x, int y) {
        const int width = bounds.x2 - bounds.x1;
        return pixels.data() +
               std::ptrdiff_t{components} * ((y - bounds.y1) * width + x - bounds.x1);
    }
    void resize(const ofx::pixel_rect& to, int count) {
        bounds = to;
        components = count;
        pixels.assign(static_cast<std::size_t>((to.x2 - to.x1) * (to.y2 - to.y1)) *
                          static_cast<std::size_t>(count),
                      0.0F);
    }
};

struct clip {
    property_bag properties{bag_kind::CLIP};
    picture image;
    ofx::rect region = {};     // canonical
    double lent_scale = 0.0;   // of lent images; 0: they do not say
    bool upside_down = false;  // lends rows with a negative stride
    bool withheld = false;     // gives no images
    int lent = 0;

    // Connects a picture whose region is that of its pixels.
    void connect(const ofx::pixel_rect& bounds, int components);
    bool is_connected() const {
        return properties.get<int>("OfxImageClipPropConnected") != 0;
    }
};

// Held while values of parameters are read or set: artists edit while frames render.
inline std::mutex values_mutex;

struct parameter {
    std::string type;
    property_bag properties{bag_kind::PARAMETER};
    std::map<double, double> keys = {};  // steps
    double numbers[2] = {};
};

// A descriptor, or an instance.
struct effect {
    property_bag properties{bag_kind::EFFECT};
    property_bag parameter_properties{bag_kind::EFFECT};
    std::map<std::string, std::unique_ptr<clip>> clips = {};
    std::vector<std::string> clip_order = {};
    std::map<std::string, std::unique_ptr<parameter>> parameters = {};
    std::vector<std::string> parameter_order = {};
    std::string message = {};  // the persistent one, behind its type
    std::function<bool()> wants_abort = {};
    std::atomic<int> asked = 0;  // for an abort

    clip& input(const std::string& name) { return *clips.at(name); }
    double number(const std::string& id) const { return parameters.at(id)->numbers[0]; }
    bool is_hidden(const std::string& id) const {
        return parameters.at(id)->properties.get<int>("OfxParamPropSecret") != 0;
    }
    int lent_images() const;
};

// The effects of a bundle, by their entries.
struct entries {
    int (*count)();
    ofx::plugin* (*get)(int nth);
};

// One effect that is loaded, between the load and unload actions.
class loaded_effect {
  public:
    // Throws std::runtime_error when the effect does not load.
    loaded_effect(const entries& from, int nth);
    ~loaded_effect();
    loaded_effect(const loaded_effect&) = delete;
    loaded_effect& operator=(const loaded_effect&) = delete;

    const ofx::plugin& plugin() const { return plugin_; }
    ofx::status act(const char* action, effect* on, property_bag* in = nullptr,
                    property_bag* out = nullptr);
    // Throws std::runtime_error when an action fails.
    std::unique_ptr<effect> described(const std::string& context);
    // With all parameters at their defaults and nothing connected. It is not created yet.
    std::unique_ptr<effect> instance(const std::string& context, int width, int height);

    // Sets a value as an artist does.
    ofx::status edit(effect& on, const std::string& id, double number, double time = 0.0);
    ofx::status push(effect& on, const std::string& button, double time = 0.0);
    ofx::status render(effect& on, const ofx::pixel_rect& window, double scale = 1.0,
                       double time = 0.0);

    property_bag host_properties{bag_kind::HOST};

  private:
    ofx::status change(effect& on, const std::string& id, double time);

    ofx::plugin& plugin_;
    ofx::host host_ = {};
};

inline constexpr const char* GENERAL = "OfxImageEffectContextGeneral";
inline constexpr const char* FILTER = "OfxImageEffectContextFilter";

// What was refused since the last call.
std::vector<std::string> take_refusals();

// Processors that the host offers to effects.
extern unsigned int processors;

}  // namespace mini_host
