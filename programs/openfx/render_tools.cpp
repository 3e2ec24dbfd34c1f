#include "programs/openfx/render_tools.h"

#include <mutex>
#include <utility>
#include <vector>

#include "host/pixel_memory.h"
#include "programs/openfx/host_link.h"

namespace focusfall {

namespace {

struct idle_tool {
    const effect_kind* kind;
    std::unique_ptr<headless::tool> tool;
};

struct {
    std::mutex mutex;
    // under the mutex; the host outlives its tools
    std::unique_ptr<headless::host> host;
    std::vector<idle_tool> idle;
} shared;

std::unique_ptr<headless::tool> take_idle(const effect_kind& kind) {
    const std::scoped_lock lock(shared.mutex);
    for (idle_tool& one : shared.idle) {
        if (one.kind != &kind) continue;
        std::swap(one, shared.idle.back());
        auto tool = std::move(shared.idle.back().tool);
        shared.idle.pop_back();
        return tool;
    }
    return nullptr;
}

}  // namespace

headless::host& rendering_host() {
    const std::scoped_lock lock(shared.mutex);
    if (!shared.host) {
        unsigned int threads = 0;  // all, where the host does not say
        if (ofx::link.multi_thread) ofx::link.multi_thread->count_processors(&threads);
        shared.host = std::make_unique<headless::host>(static_cast<int>(threads));
    }
    return *shared.host;
}

lent_tool::lent_tool(const effect_kind& kind) : kind_(kind), tool_(take_idle(kind)) {
    if (!tool_) tool_ = new_tool(rendering_host(), kind);
}

lent_tool::~lent_tool() {
    const std::scoped_lock lock(shared.mutex);
    try {
        shared.idle.push_back({&kind_, std::move(tool_)});
    } catch (const std::bad_alloc&) {  // then it is not kept
    }
}

void release_idle_tools() noexcept {
    std::vector<idle_tool> released;
    {
        const std::scoped_lock lock(shared.mutex);
        released.swap(shared.idle);
    }
    released.clear();
    headless::forget_kept_pixels();
}

void end_rendering() noexcept {
    release_idle_tools();
    const std::scoped_lock lock(shared.mutex);
    shared.host.reset();
}

}  // namespace focusfall
