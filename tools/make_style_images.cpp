// Draws a display style's pictures into its images folder at build time:
//   vantorel_make_style_images IMAGES_FOLDER BRAND_COLOUR(RRGGBB)

#include <cstdio>
#include <cstdlib>
#include <string>

#include "render/style_images.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: vantorel_make_style_images IMAGES_FOLDER RRGGBB\n", stderr);
        return 2;
    }
    vantorel::StyleColours colours;
    colours.brand = static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 16));
    const vantorel::IoResult result = vantorel::WriteStyleImages(argv[1], colours);
    if (!result.ok()) {
        std::fprintf(stderr, "%s\n", result.message.c_str());
        return 1;
    }
    return 0;
}
