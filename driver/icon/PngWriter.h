// PngWriter.h: encodes an RGBA image as a PNG file image in memory.
//
// The image data is stored with deflate's uncompressed blocks: the icon is
// small, and this keeps the encoder a few dozen lines with no compression
// library. Pure function; thread-safe.
#ifndef HARLUNE_DRIVER_ICON_PNGWRITER_H
#define HARLUNE_DRIVER_ICON_PNGWRITER_H

#include <cstdint>
#include <vector>

namespace harlune::icon {

// pixels holds nWidth × nHeight RGBA pixels, row by row, 4 bytes each,
// not premultiplied. Returns the PNG bytes; empty for an empty image or a
// pixel count that does not match.
std::vector<std::uint8_t> LEncodePng(const std::vector<std::uint8_t>& pixels, std::uint32_t nWidth,
                                     std::uint32_t nHeight);

} // namespace harlune::icon

#endif
