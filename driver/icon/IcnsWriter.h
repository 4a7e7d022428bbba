// IcnsWriter.h: assembles an icon family file ("icns"), the platform's icon
// format: the magic 'icns' and the file length, then one element per image,
// each a four-character type, its length (header included) and its data.
// All lengths are big-endian. Pure function; thread-safe.
#ifndef HARLUNE_DRIVER_ICON_ICNSWRITER_H
#define HARLUNE_DRIVER_ICON_ICNSWRITER_H

#include <cstdint>
#include <string>
#include <vector>

namespace harlune::icon {

struct LIcnsElement {
    std::string szType;               // four characters, e.g. "ic07" for a 128 × 128 PNG
    std::vector<std::uint8_t> arData; // the element's data, e.g. PNG bytes
};

// The whole file; empty when a type is not four characters long.
std::vector<std::uint8_t> LAssembleIcns(const std::vector<LIcnsElement>& elements);

} // namespace harlune::icon

#endif
