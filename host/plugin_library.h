#pragma once
// A plug-in library in memory.

#include <filesystem>
#include <memory>
#include <vector>

#include "host/api/registry.h"
#include "host/error.h"

namespace headless {

// Loads a library, which registers its classes, and unloads it when destroyed. The same
// file may be loaded several times; it stays in memory until the last of these objects is
// destroyed. [one thread at a time]
class plugin_library {
  public:
    // Throws host_error when `path` cannot be loaded or registers no class.
    explicit plugin_library(const std::filesystem::path& path);
    ~plugin_library();
    plugin_library(const plugin_library&) = delete;
    plugin_library& operator=(const plugin_library&) = delete;

    // Its records, in the order of registration, without those whose hook refused.
    // Borrowed; valid as long as this object.
    const std::vector<Registry*>& records() const { return records_; }

  private:
    struct close_handle {
        void operator()(void* handle) const;
    };
    std::unique_ptr<void, close_handle> handle_;
    std::vector<Registry*> records_;
};

}  // namespace headless
