#pragma once
// The host for programs that embed it: load plug-ins, make tools, edit them, render.

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/api/registry.h"
#include "host/tool.h"
#include "host/worker_pool.h"

namespace headless {

class plugin_library;

// A registered class, as its registration describes it; texts that it does not give are
// empty. A plain value, except for the pointers in `tags`.
struct class_info {
    std::string id;
    std::string name;
    std::string category;
    std::string short_name;
    std::string description;
    std::string about;
    std::string company;
    std::string build_date;
    std::string help_link;
    std::string base_class;
    int bitmap = 0;  // number of a resource of the library, 0: none
    TagList tags;    // all of them; their pointers are valid while the plug-in is loaded
};

// Loads plug-ins and makes tools. Callable from one thread at a time; the tools that it
// makes are independent of one another, and must be gone before the host.
class HOST_API host {
  public:
    // `threads` as for worker_pool; `console` receives what tools print, on the thread
    // that prints, perhaps from several at once.
    explicit host(int threads = 0, FusionDoc::Console console = {});
    ~host();
    host(const host&) = delete;
    host& operator=(const host&) = delete;

    // Threads that a frame is spread over, the one that renders among them; at least 1.
    int threads() const { return workers_.threads(); }

    // Calls work(0) .. work(pieces - 1) on this thread and the host's workers, each once,
    // and returns when all have returned: for copies and conversions of whole pictures.
    // Renders of other threads share the workers meanwhile. Exceptions and `progress` as
    // with worker_pool::run. [any thread]
    void run(std::int32_t pieces, const std::function<void(std::int32_t)>& work,
             const progress_function& progress = {}) {
        workers_.run(pieces, work, progress);
    }

    // Adds the classes of a plug-in library; loading it again changes nothing. Throws
    // host_error when the library cannot be loaded or registers nothing.
    void load_plugin(const std::filesystem::path& path);
    // Forgets all plug-ins: classes() is empty until others are loaded. Tools live on; a
    // library leaves the memory with the last tool made from it. Never throws.
    void unload_plugins();
    // The classes of the loaded plug-ins, in the order of loading and registration.
    // Throws nothing but std::bad_alloc.
    std::vector<class_info> classes() const;
    // A new tool of a loaded class. Throws host_error for an unknown class and when the
    // class makes no instance, and what the tool's constructor throws.
    std::unique_ptr<tool> create_tool(std::string_view class_id);
    // A tool of a class that is linked into the program, see ClassRegistry; the record
    // must outlive the tool. Throws as above.
    std::unique_ptr<tool> create_tool(Registry& linked_class);

  private:
    worker_pool workers_;
    FusionDoc::Console console_;
    std::vector<std::shared_ptr<plugin_library>> plugins_;
};

}  // namespace headless
