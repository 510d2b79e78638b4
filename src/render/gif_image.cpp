#include "render/gif_image.h"

#include <fcntl.h>
#include <gif_lib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace vantorel {
namespace {

int BitsFor(std::size_t colours) {
    int bits = 1;
    while ((std::size_t{1} << bits) < colours)
        ++bits;
    return bits;
}

IoResult Failure(int code, const std::filesystem::path& file, const std::string& reason) {
    return IoResult::Failure(code, "Unable to write " + file.string() + ": " + reason);
}

}  // namespace

IoResult WriteGif(const std::filesystem::path& file, const IndexedImage& image) {
    if (image.palette.empty() || image.palette.size() > 256 || image.width <= 0 ||
        image.height <= 0)
        return Failure(EINVAL, file, "an image needs 1 to 256 colours and a size");
    const int bits = BitsFor(image.palette.size());
    std::vector<GifColorType> colours(std::size_t{1} << bits, GifColorType{0, 0, 0});
    for (std::size_t index = 0; index < image.palette.size(); ++index)
        colours[index] = {static_cast<GifByteType>(image.palette[index] >> 16),
                          static_cast<GifByteType>(image.palette[index] >> 8),
                          static_cast<GifByteType>(image.palette[index])};

    const std::filesystem::path temporary =
        file.parent_path() /
        (".vtsave-gif-" + std::to_string(::getpid()) + "-" + file.filename().string());
    // Pictures of a web site are for everyone to read, as the user's umask allows.
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) {
        const int openError = errno;
        return Failure(openError, file, std::strerror(openError));
    }
    int error = 0;
    GifFileType* gif = EGifOpenFileHandle(fd, &error);
    if (!gif) {
        ::close(fd);
        std::remove(temporary.c_str());
        return Failure(EIO, file, GifErrorString(error));
    }
    ColorMapObject* map = GifMakeMapObject(static_cast<int>(colours.size()), colours.data());
    bool written = map && EGifPutScreenDesc(gif, image.width, image.height, bits, 0, map) == GIF_OK;
    if (written && image.transparent >= 0) {
        EGifSetGifVersion(gif, true);
        GraphicsControlBlock control{};
        control.DisposalMode = DISPOSAL_UNSPECIFIED;
        control.TransparentColor = image.transparent;
        GifByteType extension[4];
        const std::size_t length = EGifGCBToExtension(&control, extension);
        written = EGifPutExtension(gif, GRAPHICS_EXT_FUNC_CODE, static_cast<int>(length),
                                   extension) == GIF_OK;
    }
    written =
        written && EGifPutImageDesc(gif, 0, 0, image.width, image.height, false, nullptr) == GIF_OK;
    for (int row = 0; written && row < image.height; ++row) {
        std::vector<GifPixelType> line(image.pixels.begin() + row * image.width,
                                       image.pixels.begin() + (row + 1) * image.width);
        written = EGifPutLine(gif, line.data(), image.width) == GIF_OK;
    }
    const std::string reason = written ? std::string() : GifErrorString(gif->Error);
    GifFreeMapObject(map);
    if (EGifCloseFile(gif, &error) != GIF_OK && written) {
        std::remove(temporary.c_str());
        return Failure(EIO, file, GifErrorString(error));
    }
    if (!written) {
        std::remove(temporary.c_str());
        return Failure(EIO, file, reason);
    }
    std::error_code renameError;
    std::filesystem::rename(temporary, file, renameError);
    if (renameError) {
        std::remove(temporary.c_str());
        return Failure(renameError.value(), file, renameError.message());
    }
    return IoResult::Success();
}

std::optional<IndexedImage> ReadGif(const std::filesystem::path& file) {
    int error = 0;
    GifFileType* gif = DGifOpenFileName(file.c_str(), &error);
    if (!gif)
        return std::nullopt;
    std::optional<IndexedImage> image;
    if (DGifSlurp(gif) == GIF_OK && gif->ImageCount > 0) {
        const SavedImage& frame = gif->SavedImages[0];
        const ColorMapObject* map =
            frame.ImageDesc.ColorMap ? frame.ImageDesc.ColorMap : gif->SColorMap;
        if (map) {
            std::vector<std::uint32_t> palette;
            for (int index = 0; index < map->ColorCount; ++index) {
                const GifColorType& colour = map->Colors[index];
                palette.push_back(std::uint32_t{colour.Red} << 16 |
                                  std::uint32_t{colour.Green} << 8 | colour.Blue);
            }
            image.emplace(frame.ImageDesc.Width, frame.ImageDesc.Height, std::move(palette));
            image->pixels.assign(frame.RasterBits, frame.RasterBits + image->pixels.size());
            GraphicsControlBlock control{};
            if (DGifSavedExtensionToGCB(gif, 0, &control) == GIF_OK)
                image->transparent = control.TransparentColor;
        }
    }
    DGifCloseFile(gif, &error);
    return image;
}

std::string GifLibVersion() {
    return std::to_string(GIFLIB_MAJOR) + "." + std::to_string(GIFLIB_MINOR) + "." +
           std::to_string(GIFLIB_RELEASE);
}

}  // namespace vantorel
