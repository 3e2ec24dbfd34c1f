#pragma once
// Files that appear whole or not at all.

#include <filesystem>

namespace focusfall {

// A file in the making. It is written under a temporary name in the folder of the final
// one and renamed when complete, so nothing partial ever bears the final name, whatever
// ends the process. An advisory lock on it tells other runs that it is in use.
class output_file {
  public:
    // Makes the empty temporary file. Throws headless::host_error when that can not be.
    explicit output_file(const std::filesystem::path& final_name);
    ~output_file();  // removes the temporary file, unless it was renamed
    output_file(const output_file&) = delete;
    output_file& operator=(const output_file&) = delete;

    // Where to write: by name, or by the descriptor of the file, which stays its owner's.
    const std::filesystem::path& temporary_name() const { return temporary_; }
    int descriptor() const { return descriptor_; }
    // Flushes what was written to the disk and gives it the final name, replacing an
    // older file. Throws headless::host_error.
    void commit();

  private:
    std::filesystem::path final_;
    std::filesystem::path temporary_;
    int descriptor_ = -1;
};

// Removes the temporary files of killed runs from a folder; those in use stay.
void remove_abandoned_files(const std::filesystem::path& folder);

// Removes the temporary files of this process and ends it, unwinding nothing. [any
// thread]
[[noreturn]] void exit_without_unfinished_files(int status) noexcept;

}  // namespace focusfall
