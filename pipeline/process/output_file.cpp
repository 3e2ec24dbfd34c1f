#include "pipeline/process/output_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include "host/error.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view TEMPORARY_PREFIX = ".focusfall-";
constexpr std::string_view TEMPORARY_SUFFIX = ".tmp";

std::mutex unfinished_mutex;
std::set<fs::path> unfinished;  // under unfinished_mutex

[[noreturn]] void fail(const fs::path& file, const char* what) {
    const std::string reason = std::strerror(errno);
    throw headless::host_error(file.string() + ": " + what + ": " + reason);
}

// A name that is unique in this process and, by its process id, among all that run.
fs::path temporary_name_in(const fs::path& folder) {
    static std::atomic<int> count = 0;
    return folder / (std::string(TEMPORARY_PREFIX) + std::to_string(getpid()) + "-" +
                     std::to_string(count++) + std::string(TEMPORARY_SUFFIX));
}

bool is_temporary(const fs::path& file) {
    const std::string name = file.filename().string();
    return name.starts_with(TEMPORARY_PREFIX) && name.ends_with(TEMPORARY_SUFFIX);
}

// Locks the new file; false when another run took it for abandoned and removed it first.
bool lock_new_file(int descriptor) {
    struct stat status {};
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return false;
    return fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

}  // namespace

output_file::output_file(const fs::path& final_name) : final_(final_name) {
    check_replaceable(final_);
    // a symbolic link stays, and the file that it points to is replaced
    if (fs::is_symlink(final_)) final_ = fs::weakly_canonical(final_);
    const std::scoped_lock guard(unfinished_mutex);
    while (descriptor_ < 0) {
        temporary_ = temporary_name_in(final_.parent_path());
        descriptor_ =
            open(temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor_ < 0 && errno != EEXIST) fail(final_, "cannot be written");
        if (descriptor_ >= 0 && !lock_new_file(descriptor_)) {
            close(descriptor_);
            descriptor_ = -1;
        }
    }
    unfinished.insert(temporary_);
}

output_file::~output_file() {
    const std::scoped_lock guard(unfinished_mutex);
    if (unfinished.erase(temporary_) > 0) unlink(temporary_.c_str());
    close(descriptor_);
}

void output_file::commit() {
    if (fsync(descriptor_) != 0) fail(final_, "cannot be written");
    const std::scoped_lock guard(unfinished_mutex);
    if (rename(temporary_.c_str(), final_.c_str()) != 0)
        fail(final_, "cannot be written");
    unfinished.erase(temporary_);
    // flush the folder too: it holds the new name
    const fs::path parent = final_.parent_path();
    const int folder =
        open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY);
    if (folder < 0) return;
    fsync(folder);
    close(folder);
}

void check_replaceable(const fs::path& file) {
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (!fs::exists(status)) {
        const fs::path parent = file.parent_path();
        const char* folder = parent.empty() ? "." : parent.c_str();
        if (faccessat(AT_FDCWD, folder, W_OK | X_OK, AT_EACCESS) == 0) return;
        fail(file, "cannot be written");
    }
    if (!fs::is_regular_file(status)) {
        throw headless::host_error(file.string() +
                                   ": exists and is not a file; name another");
    }
    // by the file's mode too: the superuser may write to everything, and a file that was
    // published read-only stays as it is for him as well
    constexpr fs::perms WRITE =
        fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    const bool writable = (status.permissions() & WRITE) != fs::perms::none &&
                          faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) == 0;
    if (writable) return;
    throw headless::host_error(file.string() +
                               ": is write-protected; name another output, or allow "
                               "writing to it");
}

void remove_abandoned_files(const fs::path& folder) {
    std::error_code error;
    for (const auto& entry :
         fs::directory_iterator(folder.empty() ? "." : folder, error)) {
        if (!is_temporary(entry.path())) continue;
        const int descriptor =
            open(entry.path().c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
        if (descriptor < 0) continue;
        if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) unlink(entry.path().c_str());
        close(descriptor);
    }
}

void exit_without_unfinished_files(int status,
                                   const std::function<void()>& last) noexcept {
    const std::scoped_lock guard(unfinished_mutex);  // no further file from here on
    for (const fs::path& file : unfinished) unlink(file.c_str());
    last();
    _exit(status);
}

}  // namespace focusfall
