#include <text/LStringUtilities.h>

#include <cstring>

bool GetCSVListItem(const char *line, unsigned long &pos, char *out, unsigned long size) {
    char chDummy;
    if (!out || size == 0) {
        // Still walk the field so the caller's position moves on.
        out = &chDummy;
        size = 1;
    }
    const char *p = line ? line : "";
    bool bInQuotes = false;
    unsigned long nStored = 0;
    unsigned long nKept = 0;  // stored bytes without trailing spaces outside quotes
    for (;;) {
        const char c = p[pos];
        if (c == 0 || c == '\n' || c == '\r') {
            break;
        }
        ++pos;
        if (!bInQuotes && c == ',') {
            break;
        }
        if (c == '"') {
            bInQuotes = !bInQuotes;
            continue;
        }
        if (nStored >= size - 1) {
            continue;
        }
        if (!bInQuotes && c == ' ' && nStored == 0) {
            continue;
        }
        out[nStored++] = c;
        if (c != ' ' || bInQuotes) {
            nKept = nStored;
        }
    }
    out[nKept] = 0;
    return nKept != 0;
}

void LStringRemoveAmpersand(char *out, const char *in, unsigned long size) {
    if (!out || size == 0) {
        return;
    }
    const char *p = in ? in : "";
    unsigned long n = 0;
    while (*p && n < size - 1) {
        if (*p == '&') {
            if (p[1] == '&') {
                out[n++] = '&';
                p += 2;
            } else {
                ++p;
            }
            continue;
        }
        out[n++] = *p++;
    }
    out[n] = 0;
}

void LStringRemoveAmpersandAllLocalization(char *out, const char *in, unsigned long size) {
    LStringRemoveAmpersand(out, in, size);
}

void LStringRemoveJPStyleAmpersand(char *out, const char *in, unsigned long size) {
    if (!out || size == 0) {
        return;
    }
    const char *p = in ? in : "";
    unsigned long n = 0;
    while (*p && n < size - 1) {
        if (p[0] == '(' && p[1] == '&') {
            const char *pClose = strchr(p + 2, ')');
            p = pClose ? pClose + 1 : p + strlen(p);
            continue;
        }
        out[n++] = *p++;
    }
    out[n] = 0;
}

void LRemoveHTTPItem(const char *name, char *query) {
    if (!name || !query) {
        return;
    }
    char arPattern[262];  // up to 260 bytes of name, '=' and the terminator
    const size_t nName = strnlen(name, 260);
    memcpy(arPattern, name, nName);
    arPattern[nName] = '=';
    arPattern[nName + 1] = 0;
    char *pFound = strstr(query, arPattern);
    if (!pFound) {
        return;
    }
    char *pStart = pFound > query && pFound[-1] == '&' ? pFound - 1 : pFound;
    const char *pNext = strchr(pFound + nName + 1, '&');
    const char *pRest = pNext ? pNext : pFound + strlen(pFound);
    memmove(pStart, pRest, strlen(pRest) + 1);
}

bool LStringFindTextField(const char *text, const char *startMark, const char *endMark, char *out,
                          unsigned long size) {
    const bool bWritable = out && size > 0;
    if (bWritable) {
        out[0] = 0;
    }
    const char *pMark = text && startMark ? strstr(text, startMark) : nullptr;
    if (!pMark) {
        return false;
    }
    const char *pField = pMark + strlen(startMark);
    if (!bWritable) {
        return true;
    }
    unsigned long nLimit = size - 1;
    const char *pEnd = endMark ? strstr(pField, endMark) : nullptr;
    if (pEnd && static_cast<unsigned long>(pEnd - pField) < nLimit) {
        nLimit = static_cast<unsigned long>(pEnd - pField);
    }
    unsigned long n = 0;
    while (n < nLimit && pField[n]) {
        out[n] = pField[n];
        ++n;
    }
    out[n] = 0;
    return true;
}
