#include "driver/icon/PngWriter.h"

#include <array>
#include <cstring>

namespace harlune::icon {
namespace {

std::uint32_t Crc32(const std::uint8_t* p, std::size_t n, std::uint32_t crc = 0) {
    static const std::array<std::uint32_t, 256> table = [] {
        std::array<std::uint32_t, 256> t{};
        for (std::uint32_t i = 0; i < 256; ++i) {
            std::uint32_t c = i;
            for (int k = 0; k < 8; ++k) {
                c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            }
            t[i] = c;
        }
        return t;
    }();
    crc = ~crc;
    for (std::size_t i = 0; i < n; ++i) {
        crc = table[(crc ^ p[i]) & 0xFF] ^ (crc >> 8);
    }
    return ~crc;
}

void PutBE32(std::vector<std::uint8_t>& out, std::uint32_t v) {
    out.push_back(static_cast<std::uint8_t>(v >> 24));
    out.push_back(static_cast<std::uint8_t>(v >> 16));
    out.push_back(static_cast<std::uint8_t>(v >> 8));
    out.push_back(static_cast<std::uint8_t>(v));
}

void PutChunk(std::vector<std::uint8_t>& out, const char* szType, const std::vector<std::uint8_t>& data) {
    PutBE32(out, static_cast<std::uint32_t>(data.size()));
    const std::size_t nStart = out.size();
    out.insert(out.end(), szType, szType + 4);
    out.insert(out.end(), data.begin(), data.end());
    PutBE32(out, Crc32(out.data() + nStart, out.size() - nStart));
}

// A zlib stream of uncompressed deflate blocks (at most 65535 bytes each).
std::vector<std::uint8_t> ZlibStore(const std::vector<std::uint8_t>& raw) {
    std::vector<std::uint8_t> out = {0x78, 0x01};
    std::size_t nPos = 0;
    do {
        const std::size_t nBlock = std::min<std::size_t>(65535, raw.size() - nPos);
        const bool bLast = nPos + nBlock == raw.size();
        out.push_back(bLast ? 1 : 0);
        out.push_back(static_cast<std::uint8_t>(nBlock));
        out.push_back(static_cast<std::uint8_t>(nBlock >> 8));
        out.push_back(static_cast<std::uint8_t>(~nBlock));
        out.push_back(static_cast<std::uint8_t>(~nBlock >> 8));
        out.insert(out.end(), raw.begin() + static_cast<std::ptrdiff_t>(nPos),
                   raw.begin() + static_cast<std::ptrdiff_t>(nPos + nBlock));
        nPos += nBlock;
    } while (nPos < raw.size());
    std::uint32_t a = 1, b = 0;
    for (std::uint8_t byte : raw) {
        a = (a + byte) % 65521;
        b = (b + a) % 65521;
    }
    PutBE32(out, (b << 16) | a);
    return out;
}

} // namespace

std::vector<std::uint8_t> LEncodePng(const std::vector<std::uint8_t>& pixels, std::uint32_t nWidth,
                                     std::uint32_t nHeight) {
    if (nWidth == 0 || nHeight == 0 || pixels.size() != static_cast<std::size_t>(nWidth) * nHeight * 4) {
        return {};
    }
    std::vector<std::uint8_t> png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

    std::vector<std::uint8_t> header;
    PutBE32(header, nWidth);
    PutBE32(header, nHeight);
    header.insert(header.end(), {8, 6, 0, 0, 0}); // 8-bit RGBA, deflate, no filter, no interlace
    PutChunk(png, "IHDR", header);

    // Each scan line starts with filter type 0 (none).
    std::vector<std::uint8_t> raw;
    raw.reserve(static_cast<std::size_t>(nWidth * 4 + 1) * nHeight);
    for (std::uint32_t y = 0; y < nHeight; ++y) {
        raw.push_back(0);
        const std::uint8_t* pRow = pixels.data() + static_cast<std::size_t>(y) * nWidth * 4;
        raw.insert(raw.end(), pRow, pRow + static_cast<std::size_t>(nWidth) * 4);
    }
    PutChunk(png, "IDAT", ZlibStore(raw));
    PutChunk(png, "IEND", {});
    return png;
}

} // namespace harlune::icon
