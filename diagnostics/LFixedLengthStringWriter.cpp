// The writer's formatted append.
#include "diagnostics/LFixedLengthStringWriter.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

bool IsFlag(char c) { return c == '-' || c == '+' || c == ' ' || c == '#' || c == '0' || c == '\''; }

} // namespace

template <>
void LFixedLengthStringWriterTemplate<char>::vsprintf(const char* szFormat, va_list args) {
    if (szFormat == nullptr) return;
    for (const char* p = szFormat; *p != '\0';) {
        if (*p != '%') {
            Append(*p++);
            continue;
        }
        if (p[1] == 's') {
            const char* sz = va_arg(args, const char*);
            Append(sz != nullptr ? sz : "(null)");
            p += 2;
            continue;
        }
        if (p[1] == '%') {
            Append('%');
            p += 2;
            continue;
        }
        // One conversion: collect its text, then format it alone. A "*"
        // width or precision is read here and written into the text as a
        // number.
        char szSpec[64];
        size_t nSpec = 0;
        auto add = [&](char c) {
            if (nSpec < sizeof szSpec - 1) szSpec[nSpec++] = c;
        };
        auto addNumber = [&](int n) {
            char sz[16];
            snprintf(sz, sizeof sz, "%d", n);
            for (const char* q = sz; *q; ++q) add(*q);
        };
        add(*p++);
        while (IsFlag(*p)) add(*p++);
        if (*p == '*') {
            addNumber(va_arg(args, int));
            ++p;
        } else {
            while (*p >= '0' && *p <= '9') add(*p++);
        }
        if (*p == '.') {
            add(*p++);
            if (*p == '*') {
                addNumber(va_arg(args, int));
                ++p;
            } else {
                while (*p >= '0' && *p <= '9') add(*p++);
            }
        }
        char szLength[3] = {};
        size_t nLength = 0;
        while ((*p == 'h' || *p == 'l' || *p == 'j' || *p == 'z' || *p == 't' || *p == 'L' || *p == 'q') &&
               nLength < 2) {
            szLength[nLength++] = *p;
            add(*p++);
        }
        const char cConversion = *p;
        if (cConversion == '\0') break; // a format that ends inside a conversion
        add(*p++);
        szSpec[nSpec] = '\0';
        char szScratch[260];
        szScratch[0] = '\0';
        const bool bLong = nLength == 1 && szLength[0] == 'l';
        const bool bLongLong = (nLength == 2 && szLength[0] == 'l') || szLength[0] == 'q' || szLength[0] == 'j';
        const bool bSize = szLength[0] == 'z' || szLength[0] == 't';
        switch (cConversion) {
        case 'd':
        case 'i':
            if (bLongLong) snprintf(szScratch, sizeof szScratch, szSpec, va_arg(args, long long));
            else if (bLong || bSize) snprintf(szScratch, sizeof szScratch, szSpec, va_arg(args, long));
            else snprintf(szScratch, sizeof szScratch, szSpec, va_arg(args, int));
            break;
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            if (bLongLong) snprintf(szScratch, sizeof szScratch, szSpec, va_arg(args, unsigned long long));
            else if (bLong || bSize) snprintf(szScratch, sizeof szScratch, szSpec, va_arg(args, unsigned long));
            else snprintf(szScratch, sizeof szScratch, szSpec, va_arg(args, unsigned int));
            break;
        case 'c': snprintf(szScratch, sizeof szScratch, szSpec, va_arg(args, int)); break;
        case 'e':
        case 'E':
        case 'f':
        case 'F':
        case 'g':
        case 'G':
        case 'a':
        case 'A':
            if (szLength[0] == 'L') snprintf(szScratch, sizeof szScratch, szSpec, va_arg(args, long double));
            else snprintf(szScratch, sizeof szScratch, szSpec, va_arg(args, double));
            break;
        case 'p': snprintf(szScratch, sizeof szScratch, szSpec, va_arg(args, void*)); break;
        case 's': snprintf(szScratch, sizeof szScratch, szSpec, va_arg(args, const char*)); break;
        case 'n': (void)va_arg(args, void*); break; // never written through
        default: break;                              // unknown: dropped
        }
        Append(szScratch);
    }
}

template <>
void LFixedLengthStringWriterTemplate<char>::sprintf(const char* szFormat, ...) {
    va_list args;
    va_start(args, szFormat);
    vsprintf(szFormat, args);
    va_end(args);
}
