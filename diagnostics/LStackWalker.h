// LStackWalker.h: the calling thread's call stack as text, for bug reports.
//
// Each frame becomes one line laid out as the platform's call-stack
// symbols are: its number, the module's file name, the address, and the
// demangled function name with the offset into it. Names come from
// backtrace() and the module's own ELF symbol table (the plug-in bundle
// hides its symbols, so the dynamic linker alone would name nothing there);
// a frame with no symbol shows the module's base address instead.
//
// Thread safety: any thread may walk its own stack at any time; the symbol
// tables read from module files are cached for the process under a lock.
// Not for signal handlers (it allocates).
#ifndef HARLUNE_DIAGNOSTICS_LSTACKWALKER_H
#define HARLUNE_DIAGNOSTICS_LSTACKWALKER_H

#include "text/LStringLongTemplate.h"

#include <cstdint>
#include <string>
#include <vector>

class LStackWalker {
public:
    LStackWalker() = default;
    explicit LStackWalker(uint64_t nMaxFrames) : m_nMaxFrames(nMaxFrames) {}

    // Empties szOut and fills it with the stack of the calling thread,
    // starting at the first frame (after this call's own) whose line holds
    // neither "LDebug" nor "Log", at most the maximum number of frames when
    // that is not 0, joined with "\n". With bHeader, the text is framed by
    // dashed lines naming the thread ("MAIN" on the main thread, else its
    // registry name, else its id). nUnused and pUnused are not used.
    // Returns false when there is no stack to show.
    bool GetCallStackString(LStringLongTemplate<char>& szOut, uint32_t nUnused, void* pUnused, bool bHeader);

    // The calling thread's frames as symbol lines, the first being the
    // caller of this function.
    static std::vector<std::string> CallStackSymbols();

private:
    uint64_t m_nMaxFrames = 0; // most frames to show; 0: all
};

#endif
