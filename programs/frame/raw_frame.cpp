#include "programs/frame/raw_frame.h"

#include <bit>
#include <fstream>
#include <stdexcept>
#include <string>

namespace {

// Numbers go to and from the file as they lie in memory.
static_assert(std::endian::native == std::endian::little);

constexpr std::size_t NUMBERS_PER_PIXEL = 5;
// The order in the file; in memory blue comes first.
constexpr Image::Component FILE_ORDER[NUMBERS_PER_PIXEL] = {
    Image::RED, Image::GREEN, Image::BLUE, Image::ALPHA, Image::Z};

std::size_t numbers_in(std::int32_t width, std::int32_t height) {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
           NUMBERS_PER_PIXEL;
}

}  // namespace

std::vector<float> read_numbers(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::error_code fault;
    const std::uintmax_t bytes = std::filesystem::file_size(file, fault);
    if (!stream || fault) throw std::runtime_error(file.string() + ": cannot be read");
    if (bytes % sizeof(float) != 0) {
        throw std::runtime_error(file.string() + ": is no file of 32-bit floats");
    }
    std::vector<float> numbers(bytes / sizeof(float));
    stream.read(reinterpret_cast<char*>(numbers.data()),
                static_cast<std::streamsize>(bytes));
    if (!stream) throw std::runtime_error(file.string() + ": cannot be read to its end");
    return numbers;
}

Owned<Image> read_raw_image(const std::filesystem::path& file, std::int32_t width,
                            std::int32_t height) {
    const std::vector<float> numbers = read_numbers(file);
    if (numbers.size() != numbers_in(width, height)) {
        throw std::runtime_error(
            file.string() + ": holds " + std::to_string(numbers.size()) + " floats, " +
            std::to_string(width) + " x " + std::to_string(height) + " pixels take " +
            std::to_string(numbers_in(width, height)));
    }
    Owned<Image> image(new Image(width, height, NUMBERS_PER_PIXEL));
    auto number = numbers.begin();
    for (std::int32_t y = 0; y < height; ++y) {
        for (std::int32_t x = 0; x < width; ++x) {
            for (const auto component : FILE_ORDER) {
                image->Pixel(x, y)[component] = *number++;
            }
        }
    }
    return image;
}

void write_raw_image(const std::filesystem::path& file, const Image& image) {
    std::vector<float> numbers;
    numbers.reserve(numbers_in(image.Width(), image.Height()));
    for (std::int32_t y = 0; y < image.Height(); ++y) {
        for (std::int32_t x = 0; x < image.Width(); ++x) {
            for (const auto component : FILE_ORDER) {
                numbers.push_back(image.Pixel(x, y)[component]);
            }
        }
    }

    std::filesystem::path unfinished = file;
    unfinished += ".unfinished";
    std::ofstream stream(unfinished, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(numbers.data()),
                 static_cast<std::streamsize>(numbers.size() * sizeof(float)));
    stream.close();
    std::error_code fault;
    if (stream) std::filesystem::rename(unfinished, file, fault);
    if (!stream || fault) {
        std::filesystem::remove(unfinished, fault);
        throw std::runtime_error(file.string() + ": cannot be written");
    }
}
