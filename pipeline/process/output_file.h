#pragma once
// Files that appear whole or not at all.

#include <filesystem>
#include <functional>

namespace focusfall {

// A file under construction. It is written under a temporary name in its final folder and
// renamed when complete, so that no partial file ever has the final name, whatever ends
// the process. While it exists, an advisory lock shows other runs that it is in use. [one
// thread at a time; different files at once]
class output_file {
  public:
    // Makes the empty temporary file. Throws headless::host_error when the system
    // refuses, and as check_replaceable.
    explicit output_file(const std::filesystem::path& final_name);
    ~output_file();  // removes the temporary file, unless it was renamed
    output_file(const output_file&) = delete;
    output_file& operator=(const output_file&) = delete;

    // Where to write: by name, or by a descriptor, which this object closes.
    const std::filesystem::path& temporary_name() const { return temporary_; }
    int descriptor() const { return descriptor_; }
    // Flushes the file to the disk and renames it to the final name, replacing an older
    // file. Throws headless::host_error, and then the older file is untouched.
    void commit();

  private:
    std::filesystem::path final_;
    std::filesystem::path temporary_;
    int descriptor_ = -1;
};

// Throws headless::host_error when `file` is there and is not a file, or is protected
// against writing, or when its folder is: so that work need not be done first. Files are
// replaced, which their own protection would not prevent. [any thread]
void check_replaceable(const std::filesystem::path& file);

// Removes the temporary files that killed runs left in `folder`; those in use stay.
// Ignores what it cannot remove. [any thread]
void remove_abandoned_files(const std::filesystem::path& folder);

// Removes the temporary files of this process and ends it at once, without destructors,
// after `last` was called, which must not throw: no more files appear from then on. [any
// thread]
[[noreturn]] void exit_without_unfinished_files(
    int status, const std::function<void()>& last) noexcept;

}  // namespace focusfall
