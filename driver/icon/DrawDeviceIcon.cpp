// harlune_draw_device_icon OUTPUT.icns
//
// Draws the device's icon and writes it as an icon family: a loudspeaker
// with three sound waves on a rounded tile, at 32, 128 and 256 pixels. The
// drawing is a signed-distance rendering with 4 × 4 supersampling, so the
// edges are smooth at every size without an image library.
#include "driver/icon/IcnsWriter.h"
#include "driver/icon/PngWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

struct Colour {
    float r, g, b, a;
};

// Distance from (x, y) to a rounded box centred at (cx, cy), half sizes hw, hh, corner radius rr.
float RoundedBox(float x, float y, float cx, float cy, float hw, float hh, float rr) {
    const float dx = std::max(std::fabs(x - cx) - hw + rr, 0.0f);
    const float dy = std::max(std::fabs(y - cy) - hh + rr, 0.0f);
    return std::sqrt(dx * dx + dy * dy) - rr;
}

// Colour of the unit-square point (x, y), y growing downwards.
Colour Shade(float x, float y) {
    Colour c = {0, 0, 0, 0};
    if (RoundedBox(x, y, 0.5f, 0.5f, 0.46f, 0.46f, 0.11f) > 0.0f) {
        return c;
    }
    // Tile: a vertical gradient from deep teal to indigo.
    c = {0.05f + 0.10f * y, 0.45f - 0.25f * y, 0.55f + 0.15f * y, 1.0f};
    const Colour ink = {0.97f, 0.97f, 0.95f, 1.0f};
    // Speaker: a small box and a cone widening to the right.
    const bool bBox = x > 0.20f && x < 0.32f && y > 0.40f && y < 0.60f;
    const float fConeT = (x - 0.32f) / 0.16f;
    const bool bCone = fConeT >= 0.0f && fConeT <= 1.0f && std::fabs(y - 0.5f) < 0.10f + 0.14f * fConeT;
    if (bBox || bCone) {
        return ink;
    }
    // Waves: three arcs around the cone's mouth, right half only.
    if (x > 0.52f) {
        const float fR = std::hypot(x - 0.46f, y - 0.5f);
        const float fAngle = std::atan2(y - 0.5f, x - 0.46f);
        if (std::fabs(fAngle) < 0.85f) {
            for (float fWave : {0.14f, 0.23f, 0.32f}) {
                if (std::fabs(fR - fWave) < 0.022f) {
                    return ink;
                }
            }
        }
    }
    return c;
}

std::vector<std::uint8_t> Render(std::uint32_t nSize) {
    constexpr int kSamples = 4;
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(nSize) * nSize * 4);
    for (std::uint32_t py = 0; py < nSize; ++py) {
        for (std::uint32_t px = 0; px < nSize; ++px) {
            float r = 0, g = 0, b = 0, a = 0;
            for (int sy = 0; sy < kSamples; ++sy) {
                for (int sx = 0; sx < kSamples; ++sx) {
                    const float x = (static_cast<float>(px) + (sx + 0.5f) / kSamples) / static_cast<float>(nSize);
                    const float y = (static_cast<float>(py) + (sy + 0.5f) / kSamples) / static_cast<float>(nSize);
                    const Colour c = Shade(x, y);
                    r += c.r * c.a;
                    g += c.g * c.a;
                    b += c.b * c.a;
                    a += c.a;
                }
            }
            std::uint8_t* p = &pixels[(static_cast<std::size_t>(py) * nSize + px) * 4];
            const float fCoverage = a / (kSamples * kSamples);
            // Stored straight (not premultiplied), as PNG wants.
            const float fInv = a > 0 ? 1.0f / a : 0.0f;
            p[0] = static_cast<std::uint8_t>(std::lround(255.0f * r * fInv));
            p[1] = static_cast<std::uint8_t>(std::lround(255.0f * g * fInv));
            p[2] = static_cast<std::uint8_t>(std::lround(255.0f * b * fInv));
            p[3] = static_cast<std::uint8_t>(std::lround(255.0f * fCoverage));
        }
    }
    return pixels;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT.icns\n", argv[0]);
        return 2;
    }
    using harlune::icon::LIcnsElement;
    std::vector<LIcnsElement> elements;
    // icp5: 32 × 32, ic07: 128 × 128, ic08: 256 × 256, each a PNG.
    for (auto [szType, nSize] : {std::pair{"icp5", 32u}, std::pair{"ic07", 128u}, std::pair{"ic08", 256u}}) {
        elements.push_back({szType, harlune::icon::LEncodePng(Render(nSize), nSize, nSize)});
    }
    const std::vector<std::uint8_t> icns = harlune::icon::LAssembleIcns(elements);
    std::FILE* pFile = std::fopen(argv[1], "wb");
    if (pFile == nullptr) {
        std::perror(argv[1]);
        return 1;
    }
    const bool bOk = std::fwrite(icns.data(), 1, icns.size(), pFile) == icns.size();
    if (std::fclose(pFile) != 0 || !bOk) {
        std::fprintf(stderr, "%s: write failed\n", argv[1]);
        return 1;
    }
    return 0;
}
