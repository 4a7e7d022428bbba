// LLineWalk.h: the one walk over the bytes of a line shared by the file
// references' and the buffered reader's line readers. Internal to files/.
//
// next(c) delivers the next byte (false at the end); unread() gives back the
// byte just delivered; keep(c) receives each byte of the line. CR and LF end
// a line; a CR LF pair is one line end, and so is LF CR when bLFCRIsPair.
// True after a line end, and at the end when the line had any byte.
#ifndef HARLUNE_FILES_LLINEWALK_H
#define HARLUNE_FILES_LLINEWALK_H

namespace harlune::files {

template <typename Next, typename Unread, typename Keep>
bool WalkLine(Next next, Unread unread, Keep keep, bool bLFCRIsPair) {
    bool bAny = false;
    unsigned char c;
    while (next(c)) {
        if (c == '\r' || c == '\n') {
            unsigned char cNext;
            if (next(cNext)) {
                const bool bPair = c == '\r' ? cNext == '\n' : (bLFCRIsPair && cNext == '\r');
                if (!bPair) unread();
            }
            return true;
        }
        bAny = true;
        keep(c);
    }
    return bAny;
}

} // namespace harlune::files

#endif
