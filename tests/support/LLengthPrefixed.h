// LLengthPrefixed.h: reads the data files made by the tests' Python
// generators, a sequence of chunks each written as
// "<byte count>\n<bytes>\n" (so chunks may hold any byte).
#ifndef HARLUNE_TESTS_LLENGTHPREFIXED_H
#define HARLUNE_TESTS_LLENGTHPREFIXED_H

#include <istream>
#include <string>

namespace harlune::test {

// The next chunk into `out`; false at the end or on a damaged file.
inline bool ReadChunk(std::istream& in, std::string& out) {
    size_t nLength = 0;
    if (!(in >> nLength) || in.get() != '\n') {
        return false;
    }
    out.resize(nLength);
    in.read(out.data(), static_cast<std::streamsize>(nLength));
    return in.gcount() == static_cast<std::streamsize>(nLength) && in.get() == '\n';
}

} // namespace harlune::test

#endif
