#include <text/LIconvConvert.h>

#include <text/LCodeConverter.h>

#include <cstring>

bool LIconvConvert(const char *szToCode, const char *szFromCode, char *out, const char *in, unsigned long capacity) {
    if (!out || capacity == 0) {
        return false;
    }
    out[0] = 0;
    LCodeConverter converter;
    if (!converter.Open(szToCode, szFromCode)) {
        return false;
    }
    const char *pIn = in ? in : "";
    size_t nIn = strlen(pIn) + 1;  // the terminator converts too
    char *pOut = out;
    size_t nOut = capacity;
    const LCodeConverter::EStatus e = converter.Convert(&pIn, &nIn, &pOut, &nOut);
    const size_t nWritten = capacity - nOut;
    out[nWritten < capacity ? nWritten : capacity - 1] = 0;
    return e == LCodeConverter::eDone;
}
