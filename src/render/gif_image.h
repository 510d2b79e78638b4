#pragma once
// Pictures for pages: an indexed-colour image written as a GIF file with giflib. The style's
// icons, the status icons in a database's report colours and the report charts all end here.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "storage/io_result.h"

namespace vantorel {

struct IndexedImage {
    int width = 0, height = 0;
    std::vector<std::uint32_t> palette;  // 0xRRGGBB, at most 256 entries
    std::vector<std::uint8_t> pixels;    // one palette index per pixel, row by row
    int transparent = -1;                // the palette index shown as see-through, or -1

    IndexedImage() = default;
    IndexedImage(int w, int h, std::vector<std::uint32_t> colours)
        : width(w),
          height(h),
          palette(std::move(colours)),
          pixels(static_cast<std::size_t>(w) * static_cast<std::size_t>(h), 0) {}
    void Set(int x, int y, std::uint8_t index) {
        if (x >= 0 && y >= 0 && x < width && y < height)
            pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                   static_cast<std::size_t>(x)] = index;
    }
    std::uint8_t At(int x, int y) const {
        return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x)];
    }
};

// Writes image to file through a temporary file renamed into place. A failure names the file;
// an image GIF can't hold fails with EINVAL, a failure inside giflib with EIO.
IoResult WriteGif(const std::filesystem::path& file, const IndexedImage& image);

// The version of giflib the program was built with ("5.2.1").
std::string GifLibVersion();

// Reads a GIF written by WriteGif back (first frame); none when it can't be read.
std::optional<IndexedImage> ReadGif(const std::filesystem::path& file);

}  // namespace vantorel
