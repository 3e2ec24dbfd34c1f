// The door of the bundle: each action finds its function, and no exception gets out.

#include "programs/openfx/entry.h"

#include <array>
#include <exception>
#include <new>
#include <string_view>
#include <utility>

#include "programs/openfx/actions.h"
#include "programs/openfx/render_tools.h"

namespace focusfall {

namespace {

int loaded_effects = 0;  // [loads and unloads: one thread]

ofx::status load() {
    ofx::fetch_suites();
    ++loaded_effects;
    return ofx::OK;
}

ofx::status unload() {
    if (loaded_effects > 0 && --loaded_effects == 0) end_rendering();
    return ofx::OK;
}

ofx::status purge() {
    release_idle_tools();
    return ofx::OK;
}

// Actions that are not here are left to the host.
ofx::status run_action(const effect_kind& kind, std::string_view action,
                       ofx::effect handle, ofx::properties in, ofx::properties out) {
    if (action == "OfxActionLoad") return load();
    if (action == "OfxActionUnload") return unload();
    if (action == "OfxActionDescribe") return describe(kind, handle);
    if (action == "OfxImageEffectActionDescribeInContext")
        return describe_in_context(kind, handle, in);
    if (action == "OfxActionCreateInstance") return create_instance(kind, handle);
    if (action == "OfxActionDestroyInstance") return destroy_instance(handle);
    if (action == "OfxActionPurgeCaches") return purge();
    if (action == "OfxActionInstanceChanged") return instance_changed(handle, in);
    if (action == "OfxImageEffectActionGetRegionOfDefinition")
        return get_region_of_definition(handle, in, out);
    if (action == "OfxImageEffectActionGetRegionsOfInterest")
        return get_regions_of_interest(handle, in, out);
    if (action == "OfxImageEffectActionGetClipPreferences")
        return get_clip_preferences(handle, out);
    if (action == "OfxImageEffectActionIsIdentity") return is_identity(handle, in, out);
    if (action == "OfxImageEffectActionRender") return render(handle, in);
    return ofx::REPLY_DEFAULT;
}

// The interface does not tell which effect is meant: each has a function of its own.
template <std::size_t INDEX>
ofx::status main_entry(const char* action, const void* handle, ofx::properties in,
                       ofx::properties out) {
    try {
        auto* effect = static_cast<ofx::effect>(const_cast<void*>(handle));
        return run_action(EFFECTS[INDEX], action, effect, in, out);
    } catch (const ofx::failure& failure) {
        return failure.code;
    } catch (const std::bad_alloc&) {
        return ofx::NO_MEMORY;
    } catch (...) {
        return ofx::FAILED;
    }
}

void set_host(ofx::host* given) { ofx::link.given = given; }

template <std::size_t... INDICES>
std::array<ofx::plugin, EFFECT_COUNT> all_plugins(std::index_sequence<INDICES...>) {
    return {ofx::plugin{"OfxImageEffectPluginAPI", 1, EFFECTS[INDICES].identifier, 1, 0,
                        &set_host, &main_entry<INDICES>}...};
}

auto plugins = all_plugins(std::make_index_sequence<EFFECT_COUNT>());

}  // namespace

}  // namespace focusfall

int OfxGetNumberOfPlugins() { return focusfall::EFFECT_COUNT; }

ofx::plugin* OfxGetPlugin(int nth) {
    if (nth < 0 || nth >= focusfall::EFFECT_COUNT) return nullptr;
    return &focusfall::plugins[static_cast<std::size_t>(nth)];
}

ofx::status OfxSetHost(const ofx::host* given) {
    ofx::link.given = given;
    return ofx::OK;
}
