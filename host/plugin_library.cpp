#include "host/plugin_library.h"

#include <string>
#include <system_error>

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace headless {

namespace {

#ifdef _WIN32

void* open_library(const std::filesystem::path& path, std::string& error) {
    HMODULE module = LoadLibraryW(path.c_str());
    if (!module) {
        error = std::system_category().message(static_cast<int>(GetLastError()));
    }
    return module;
}

void close_library(void* handle) { FreeLibrary(static_cast<HMODULE>(handle)); }

bool lies_within(void* handle, const void* address) {
    HMODULE owner = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       static_cast<LPCWSTR>(address), &owner);
    return owner == handle;
}

#else

void* open_library(const std::filesystem::path& path, std::string& error) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) error = dlerror();
    return handle;
}

void close_library(void* handle) { dlclose(handle); }

bool lies_within(void* handle, const void* address) {
    Dl_info info;
    if (!dladdr(address, &info)) return false;
    void* owner = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
    if (owner) dlclose(owner);
    return owner == handle;
}

#endif

}  // namespace

plugin_library::plugin_library(const std::filesystem::path& path) {
    const std::string name = path.string();
    std::error_code missing;
    if (!std::filesystem::is_regular_file(path, missing)) {
        throw host_error(name + ": no such file, so no plug-in to load");
    }
    std::string error;
    handle_.reset(open_library(std::filesystem::absolute(path), error));
    if (!handle_) throw host_error(name + ": cannot be loaded as a plug-in: " + error);

    for (Registry* record : ClassRegistry::Global().Records()) {
        if (!lies_within(handle_.get(), record)) continue;
        auto* init = record->Tags().Pointer<RegistryHook>(0x60000001);
        if (!init || init(record)) records_.push_back(record);
    }
    if (records_.empty()) {
        throw host_error(name +
                         ": is a library but no plug-in: it registers no tool class");
    }
}

plugin_library::~plugin_library() {
    for (Registry* record : records_) {
        auto* cleanup = record->Tags().Pointer<RegistryHook>(0x60000002);
        if (cleanup) cleanup(record);
    }
}

void plugin_library::close_handle::operator()(void* handle) const {
    close_library(handle);
}

}  // namespace headless
