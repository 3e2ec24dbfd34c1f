#pragma once
// What the fuzz targets share: a file for the input, seeds, and what counts as a fault.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "host/error.h"

// Reports a fault to the fuzzer, which keeps the input.
inline void expect(bool holds, const std::string& what) {
    if (holds) return;
    std::fprintf(stderr, "fault: %s\n", what.c_str());
    std::abort();
}

// Runs `work`, which may refuse its input by a host_error that names `culprit`, and by
// nothing else: any other exception ends the run.
template <class Work>
void expect_named_errors(const std::string& culprit, const Work& work) {
    try {
        work();
    } catch (const headless::host_error& error) {
        const std::string text = error.what();
        expect(text.find(culprit) != text.npos, "\"" + culprit + "\" is not in: " + text);
    }
}

// A file of this process, which a crash leaves behind.
inline std::filesystem::path write_scratch_file(const std::string& ending,
                                                const std::uint8_t* data,
                                                std::size_t size) {
    namespace fs = std::filesystem;
    const fs::path file = fs::temp_directory_path() /
                          ("focusfall-fuzz-" + std::to_string(getpid()) + ending);
    std::ofstream stream(file, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    expect(stream.flush().good(), file.string() + " cannot be written");
    return file;
}

// The folder of inputs on the fuzzer's command line; empty when there is none.
inline std::filesystem::path corpus_folder(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::filesystem::is_directory(argv[i])) return argv[i];
    }
    return {};
}
