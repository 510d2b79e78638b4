#pragma once
// The pictures of a display style, drawn here rather than kept as files: the logo, the folder
// and test case icons, and the five status icons in any colours (the web export draws them in
// the database's report colours, so a status looks the same in its icon and in its charts).

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>

#include "render/gif_image.h"

namespace vantorel {

// The status icons' files in the order of the status meanings (pass, fail, not yet attempted,
// other, postponed).
inline constexpr std::array<std::string_view, 5> kStatusIconFiles = {
    "pass.gif", "fail.gif", "nya.gif", "other.gif", "post.gif"};

struct StyleColours {
    std::uint32_t brand = 0x2F5D8A;  // the logo, 0xRRGGBB
    std::array<std::uint32_t, 5> status = {0x2E8B57, 0xC0392B, 0x8A94A6, 0xD68910, 0x7D5BA6};
};

IndexedImage LogoImage(std::uint32_t brand);
IndexedImage FolderImage();
IndexedImage TestCaseImage();
IndexedImage StatusImage(int meaning, std::uint32_t colour);

// Writes every picture of a style into folder (made when missing); the first failure.
IoResult WriteStyleImages(const std::filesystem::path& folder, const StyleColours& colours);
// Only the five status icons.
IoResult WriteStatusImages(const std::filesystem::path& folder,
                           const std::array<std::uint32_t, 5>& colours);

}  // namespace vantorel
