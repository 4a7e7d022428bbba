// Call stacks named from the modules' own symbol tables.
#include "diagnostics/LStackWalker.h"
#include "diagnostics/LDebugThreadId.h"
#include "diagnostics/LDebugThreadRegistry.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include <cxxabi.h>
#include <dlfcn.h>
#include <elf.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Symbol {
    uint64_t nStart; // address relative to the module's load bias
    uint64_t nSize;
    std::string szName;
};

struct Module {
    bool bExecutable = false;       // ET_EXEC: symbol values are absolute
    std::vector<Symbol> arSymbols;  // sorted by start
};

// Reads the function symbols of an ELF file (.symtab, else .dynsym).
Module ReadModule(const char* szPath) {
    Module module;
    const int nFile = open(szPath, O_RDONLY | O_CLOEXEC);
    if (nFile < 0) return module;
    struct stat st;
    void* pMap = MAP_FAILED;
    if (fstat(nFile, &st) == 0 && st.st_size > static_cast<off_t>(sizeof(Elf64_Ehdr))) {
        pMap = mmap(nullptr, static_cast<size_t>(st.st_size), PROT_READ, MAP_PRIVATE, nFile, 0);
    }
    close(nFile);
    if (pMap == MAP_FAILED) return module;
    const auto* pBytes = static_cast<const uint8_t*>(pMap);
    const size_t nSize = static_cast<size_t>(st.st_size);
    const auto* pHeader = reinterpret_cast<const Elf64_Ehdr*>(pBytes);
    const bool bValid = memcmp(pHeader->e_ident, ELFMAG, SELFMAG) == 0 && pHeader->e_ident[EI_CLASS] == ELFCLASS64 &&
                        pHeader->e_shoff > 0 && pHeader->e_shentsize == sizeof(Elf64_Shdr) &&
                        pHeader->e_shoff + static_cast<uint64_t>(pHeader->e_shnum) * sizeof(Elf64_Shdr) <= nSize;
    if (bValid) {
        module.bExecutable = pHeader->e_type == ET_EXEC;
        const auto* arSections = reinterpret_cast<const Elf64_Shdr*>(pBytes + pHeader->e_shoff);
        for (uint32_t nWanted : {static_cast<uint32_t>(SHT_SYMTAB), static_cast<uint32_t>(SHT_DYNSYM)}) {
            for (uint16_t i = 0; i < pHeader->e_shnum && module.arSymbols.empty(); ++i) {
                const Elf64_Shdr& section = arSections[i];
                if (section.sh_type != nWanted || section.sh_link >= pHeader->e_shnum) continue;
                const Elf64_Shdr& strings = arSections[section.sh_link];
                if (section.sh_offset + section.sh_size > nSize || strings.sh_offset + strings.sh_size > nSize) continue;
                const auto* arSymbols = reinterpret_cast<const Elf64_Sym*>(pBytes + section.sh_offset);
                const size_t nCount = section.sh_size / sizeof(Elf64_Sym);
                for (size_t j = 0; j < nCount; ++j) {
                    const Elf64_Sym& sym = arSymbols[j];
                    if (ELF64_ST_TYPE(sym.st_info) != STT_FUNC || sym.st_value == 0 || sym.st_name >= strings.sh_size) {
                        continue;
                    }
                    const char* szName = reinterpret_cast<const char*>(pBytes + strings.sh_offset + sym.st_name);
                    const size_t nMax = strings.sh_size - sym.st_name;
                    module.arSymbols.push_back({sym.st_value, sym.st_size, std::string(szName, strnlen(szName, nMax))});
                }
            }
            if (!module.arSymbols.empty()) break;
        }
        std::sort(module.arSymbols.begin(), module.arSymbols.end(),
                  [](const Symbol& a, const Symbol& b) { return a.nStart < b.nStart; });
    }
    munmap(pMap, nSize);
    return module;
}

const Module& CachedModule(const char* szPath) {
    static std::mutex* pmtx = new std::mutex;               // never destroyed: used until exit
    static auto* plModules = new std::map<std::string, Module>;
    std::lock_guard<std::mutex> lock(*pmtx);
    auto it = plModules->find(szPath);
    if (it == plModules->end()) it = plModules->emplace(szPath, ReadModule(szPath)).first;
    return it->second;
}

std::string Demangle(const std::string& szName) {
    int nStatus = 0;
    std::unique_ptr<char, void (*)(void*)> szDemangled(abi::__cxa_demangle(szName.c_str(), nullptr, nullptr, &nStatus),
                                                      free);
    return nStatus == 0 && szDemangled ? std::string(szDemangled.get()) : szName;
}

std::string SymbolLine(size_t nIndex, void* pAddress) {
    const uint64_t nAddress = reinterpret_cast<uintptr_t>(pAddress);
    Dl_info info = {};
    std::string szModule = "???";
    std::string szSymbol;
    uint64_t nOffset = 0;
    if (dladdr(pAddress, &info) != 0 && info.dli_fname != nullptr) {
        const char* szSlash = strrchr(info.dli_fname, '/');
        szModule = szSlash ? szSlash + 1 : info.dli_fname;
        const Module& module = CachedModule(info.dli_fname);
        const uint64_t nBase = reinterpret_cast<uintptr_t>(info.dli_fbase);
        const uint64_t nRelative = module.bExecutable ? nAddress : nAddress - nBase;
        // Return addresses point after the call; look up the byte before.
        const uint64_t nLookup = nRelative > 0 ? nRelative - 1 : nRelative;
        auto it = std::upper_bound(module.arSymbols.begin(), module.arSymbols.end(), nLookup,
                                   [](uint64_t n, const Symbol& s) { return n < s.nStart; });
        if (it != module.arSymbols.begin()) {
            --it;
            if (nLookup < it->nStart + std::max<uint64_t>(it->nSize, 1)) {
                szSymbol = Demangle(it->szName);
                nOffset = nRelative - it->nStart;
            }
        }
        if (szSymbol.empty()) {
            szSymbol = "0x" + [&] {
                char sz[32];
                snprintf(sz, sizeof sz, "%llx", static_cast<unsigned long long>(nBase));
                return std::string(sz);
            }();
            nOffset = nAddress - nBase;
        }
    }
    char szPrefix[96];
    snprintf(szPrefix, sizeof szPrefix, "%-4zu%-36s0x%016llx ", nIndex, szModule.c_str(),
             static_cast<unsigned long long>(nAddress));
    return std::string(szPrefix) + szSymbol + " + " + std::to_string(nOffset);
}

const char kDashes[] = "---------------------------------------------";

} // namespace

std::vector<std::string> LStackWalker::CallStackSymbols() {
    void* arFrames[256];
    const int nFrames = backtrace(arFrames, 256);
    std::vector<std::string> arLines;
    // Frame 0 is this function; the caller's frame comes first.
    for (int i = 1; i < nFrames; ++i) arLines.push_back(SymbolLine(static_cast<size_t>(i - 1), arFrames[i]));
    return arLines;
}

bool LStackWalker::GetCallStackString(LStringLongTemplate<char>& szOut, uint32_t, void*, bool bHeader) {
    szOut.Empty();
    const std::vector<std::string> arLines = CallStackSymbols();
    if (arLines.size() < 2) return false;
    size_t nFirst = 1; // line 0 is this operation itself
    while (nFirst < arLines.size() &&
           (arLines[nFirst].find("LDebug") != std::string::npos || arLines[nFirst].find("Log") != std::string::npos)) {
        ++nFirst;
    }
    std::string szJoined;
    for (size_t i = nFirst, nTaken = 0; i < arLines.size() && (m_nMaxFrames == 0 || nTaken < m_nMaxFrames);
         ++i, ++nTaken) {
        if (!szJoined.empty()) szJoined += '\n';
        szJoined += arLines[i];
    }
    auto append = [&](const std::string& sz) { szOut.Append(sz.data(), sz.size()); };
    if (bHeader) {
        char szLabel[16] = "";
        if (LIsMainThread()) strcpy(szLabel, "MAIN");
        else LDebugThreadGetName(szLabel);
        const std::string szDash = std::string("\n") + kDashes + "\n";
        if (szLabel[0] != '\0') {
            append(szDash + "Stack Dump Begin for Thread: " + szLabel + szDash);
        } else {
            append(szDash + "Stack Dump Begin for Thread ID: " + std::to_string(LDebugGetCurrentThreadId()) + szDash);
        }
    }
    append(szJoined);
    if (bHeader) append(std::string("\n") + kDashes + "\nStack Dump Complete\n" + kDashes + "\n");
    return true;
}
