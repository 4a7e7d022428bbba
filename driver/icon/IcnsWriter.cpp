#include "driver/icon/IcnsWriter.h"

namespace harlune::icon {
namespace {

void PutBE32(std::vector<std::uint8_t>& out, std::uint32_t v) {
    for (int nShift = 24; nShift >= 0; nShift -= 8) {
        out.push_back(static_cast<std::uint8_t>(v >> nShift));
    }
}

} // namespace

std::vector<std::uint8_t> LAssembleIcns(const std::vector<LIcnsElement>& elements) {
    std::size_t nTotal = 8;
    for (const LIcnsElement& element : elements) {
        if (element.szType.size() != 4) {
            return {};
        }
        nTotal += 8 + element.arData.size();
    }
    std::vector<std::uint8_t> out;
    out.reserve(nTotal);
    out.insert(out.end(), {'i', 'c', 'n', 's'});
    PutBE32(out, static_cast<std::uint32_t>(nTotal));
    for (const LIcnsElement& element : elements) {
        out.insert(out.end(), element.szType.begin(), element.szType.end());
        PutBE32(out, static_cast<std::uint32_t>(8 + element.arData.size()));
        out.insert(out.end(), element.arData.begin(), element.arData.end());
    }
    return out;
}

} // namespace harlune::icon
