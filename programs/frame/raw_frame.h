#pragma once
// Picture files without any header: see the usage text in main.cpp for their form.

#include <filesystem>
#include <vector>

#include "host/api/image.h"

// The numbers of the file. Throws std::runtime_error that names the file.
std::vector<float> read_numbers(const std::filesystem::path& file);

// The picture in the file, which must hold exactly `width` x `height` pixels. Throws
// std::runtime_error that names the file.
Owned<Image> read_raw_image(const std::filesystem::path& file, std::int32_t width,
                            std::int32_t height);

// Writes the picture; a file of that name is replaced once all is written, and stays as
// it was when that fails. Throws std::runtime_error that names the file.
void write_raw_image(const std::filesystem::path& file, const Image& image);
