/*
 * Base64.h (private): the base64 alphabet of RFC 4648, as property lists
 * use it for data. Pure functions; thread-safe.
 */
#ifndef HARLUNE_COMPAT_CF_BASE64_H
#define HARLUNE_COMPAT_CF_BASE64_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace harlune::cf {

/* Encodes with "=" padding and no line breaks. */
std::string base64Encode(const uint8_t *bytes, size_t length);

/*
 * Decodes, ignoring XML whitespace anywhere. Strict otherwise: only the
 * alphabet, a multiple of four characters, and at most two "=" at the end.
 */
bool base64Decode(std::string_view text, std::vector<uint8_t> &out);

}  // namespace harlune::cf

#endif
