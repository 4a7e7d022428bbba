#include "datetime/LScanDecimalFields.h"

namespace {

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

const char* SkipSpace(const char* p) {
    while (IsSpace(*p)) {
        ++p;
    }
    return p;
}

// Reads one "%d" at p; returns the position after it, or nullptr when no
// number stands there.
const char* ReadNumber(const char* p, int& nValue) {
    p = SkipSpace(p);
    bool bNegative = false;
    if (*p == '+' || *p == '-') {
        bNegative = *p == '-';
        ++p;
    }
    if (!IsDigit(*p)) {
        return nullptr;
    }
    long long nMagnitude = 0;
    for (; IsDigit(*p); ++p) {
        if (nMagnitude <= kScanDecimalLimit) {
            nMagnitude = nMagnitude * 10 + (*p - '0');
        }
    }
    if (nMagnitude > kScanDecimalLimit) {
        nMagnitude = kScanDecimalLimit;
    }
    nValue = static_cast<int>(bNegative ? -nMagnitude : nMagnitude);
    return p;
}

} // namespace

int LScanDecimalFields(const char* szText, const char* szFormat, int* arValues, int nCount) {
    if (szText == nullptr || szFormat == nullptr || arValues == nullptr) {
        return 0;
    }
    int nRead = 0;
    const char* p = szText;
    for (const char* f = szFormat; *f != '\0';) {
        if (f[0] == '%' && f[1] == 'd') {
            if (nRead >= nCount) {
                break;
            }
            int nValue = 0;
            const char* pAfter = ReadNumber(p, nValue);
            if (pAfter == nullptr) {
                break;
            }
            arValues[nRead++] = nValue;
            p = pAfter;
            f += 2;
        } else if (IsSpace(*f)) {
            p = SkipSpace(p);
            ++f;
        } else {
            if (*p != *f) {
                break;
            }
            ++p;
            ++f;
        }
    }
    return nRead;
}
