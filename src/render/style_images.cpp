#include "render/style_images.h"

#include <cmath>

namespace vantorel {
namespace {

constexpr std::uint32_t kPaper = 0xFFFFFF;

// A colour a third of the way to black, for outlines.
std::uint32_t Darker(std::uint32_t colour) {
    auto channel = [colour](int shift) { return ((colour >> shift) & 0xFF) * 2 / 3 << shift; };
    return channel(16) | channel(8) | channel(0);
}

// Seven-by-seven glyphs drawn in white on the status discs.
constexpr const char* kGlyphs[5][7] = {
    {".......", "......#", ".....##", "#...##.", "##.##..", ".###...", "..#...."},
    {"#.....#", ".#...#.", "..#.#..", "...#...", "..#.#..", ".#...#.", "#.....#"},
    {".......", ".......", ".......", "#######", ".......", ".......", "......."},
    {".#####.", "#.....#", ".....#.", "...##..", "...#...", ".......", "...#..."},
    {".##.##.", ".##.##.", ".##.##.", ".##.##.", ".##.##.", ".##.##.", ".##.##."},
};

double SegmentDistance(double px, double py, double ax, double ay, double bx, double by) {
    const double dx = bx - ax, dy = by - ay;
    double t = ((px - ax) * dx + (py - ay) * dy) / (dx * dx + dy * dy);
    t = t < 0 ? 0 : (t > 1 ? 1 : t);
    return std::hypot(px - (ax + t * dx), py - (ay + t * dy));
}

}  // namespace

IndexedImage LogoImage(std::uint32_t brand) {
    IndexedImage image(32, 32, {kPaper, brand, 0xFFFFFF, Darker(brand)});
    image.transparent = 0;
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x) {
            // A rounded square with a white "V".
            const double cx = x < 6 ? 6 : (x > 25 ? 25 : x), cy = y < 6 ? 6 : (y > 25 ? 25 : y);
            const double corner = std::hypot(x + 0.5 - cx - 0.5, y + 0.5 - cy - 0.5);
            if (corner > 6.2)
                continue;
            image.Set(x, y, corner > 5.2 ? 3 : 1);
            const double v = std::min(SegmentDistance(x + 0.5, y + 0.5, 8, 8, 16, 25),
                                      SegmentDistance(x + 0.5, y + 0.5, 24, 8, 16, 25));
            if (v < 2.2)
                image.Set(x, y, 2);
        }
    return image;
}

IndexedImage FolderImage() {
    IndexedImage image(16, 16, {kPaper, 0x9A6B00, 0xF2C14E, 0xF8DA8C});
    image.transparent = 0;
    for (int y = 2; y <= 13; ++y)
        for (int x = 1; x <= 14; ++x) {
            const bool tab = y <= 3 && x <= 6;
            const bool body = y >= 4;
            if (!tab && !body)
                continue;
            const bool edge = x == 1 || x == 14 || y == 13 || (tab && (y == 2 || x == 6)) ||
                              (body && y == 4 && x > 6);
            image.Set(x, y, edge ? 1 : (y == 5 ? 3 : 2));
        }
    return image;
}

IndexedImage TestCaseImage() {
    IndexedImage image(16, 16, {kPaper, 0x6B7280, 0xFFFFFF, 0x9CA3AF});
    image.transparent = 0;
    for (int y = 1; y <= 14; ++y)
        for (int x = 3; x <= 12; ++x) {
            const int fold = x - 8;  // the folded top right corner
            if (fold > 0 && y < 1 + fold)
                continue;
            const bool edge = x == 3 || x == 12 || y == 1 || y == 14 || (fold > 0 && y == 1 + fold);
            const bool line = !edge && x >= 5 && x <= 10 && y >= 6 && y % 2 == 0;
            image.Set(x, y, edge ? 1 : (line ? 3 : 2));
        }
    return image;
}

IndexedImage StatusImage(int meaning, std::uint32_t colour) {
    IndexedImage image(16, 16, {kPaper, colour, Darker(colour), 0xFFFFFF});
    image.transparent = 0;
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) {
            const double distance = std::hypot(x - 7.5, y - 7.5);
            if (distance <= 7.6)
                image.Set(x, y, distance > 6.6 ? 2 : 1);
        }
    if (meaning >= 0 && meaning < 5)
        for (int row = 0; row < 7; ++row)
            for (int column = 0; column < 7; ++column)
                if (kGlyphs[meaning][row][column] == '#')
                    image.Set(4 + column, 4 + row, 3);
    return image;
}

IoResult WriteStatusImages(const std::filesystem::path& folder,
                           const std::array<std::uint32_t, 5>& colours) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    for (int meaning = 0; meaning < 5; ++meaning)
        if (IoResult result = WriteGif(folder / kStatusIconFiles[meaning],
                                       StatusImage(meaning, colours[meaning]));
            !result.ok())
            return result;
    return IoResult::Success();
}

IoResult WriteStyleImages(const std::filesystem::path& folder, const StyleColours& colours) {
    if (IoResult result = WriteStatusImages(folder, colours.status); !result.ok())
        return result;
    for (const auto& [name, image] :
         {std::pair{"vtlogo.gif", LogoImage(colours.brand)}, std::pair{"folder.gif", FolderImage()},
          std::pair{"tc.gif", TestCaseImage()}})
        if (IoResult result = WriteGif(folder / name, image); !result.ok())
            return result;
    return IoResult::Success();
}

}  // namespace vantorel
