// LXMLFile.cpp: XML documents from and to files.
#include "xml/LXMLFile.h"

#include <cstdio>
#include <string>

#include <sys/stat.h>

#include "diagnostics/LFilePath.h"
#include "diagnostics/LMemory.h"
#include "files/LTextFile.h"
#include "threads/LProcessInterface.h"

namespace {

// A load needs about this many times the file's size while it runs (the
// text, its conversion and the tree with its allocations).
constexpr unsigned long long kMemoryFactor = 20;

} // namespace

int XMLLoadFile(LXMLElement& root, LProcessInterface& process, const char* path, char* error) {
    char szIgnored[kXMLErrorBufferSize];
    char* szError = error != nullptr ? error : szIgnored;
    szError[0] = '\0';
    const char* szPath = path != nullptr ? path : "";
    if (!LFile::Exists(szPath)) {
        std::snprintf(szError, kXMLErrorBufferSize, "File does not exist: %s", szPath);
        return kXMLLoadFileFailed;
    }
    struct stat info;
    const unsigned long long nSize =
        stat(szPath, &info) == 0 && info.st_size > 0 ? static_cast<unsigned long long>(info.st_size) : 0;
    const unsigned long long nFree = LMemoryGetFreeHeapSize();
    if (nSize >= nFree / kMemoryFactor + (nFree % kMemoryFactor != 0 ? 1 : 0)) {
        std::snprintf(szError, kXMLErrorBufferSize, "Not enough memory available to load %s", szPath);
        return kXMLLoadFileFailed;
    }
    if (process.IsToStop()) {
        return kXMLLoadFileStopped;
    }
    LStringLongTemplate<char> text;
    if (!LLoadTextAutoChar(szPath, text)) {
        std::snprintf(szError, kXMLErrorBufferSize, "Cannot open xml file: %s", szPath);
        return kXMLLoadFileFailed;
    }
    if (process.IsToStop()) {
        return kXMLLoadFileStopped;
    }
    LXMLLoaderTemplate<char> loader(text.Get(), szError, &process);
    root.LoadData(loader);
    return process.IsToStop() ? kXMLLoadFileStopped : kXMLLoadFileLoaded;
}

int XMLSaveFile(const LXMLElement& root, const char* path) {
    std::string szText;
    for (const LXMLElement* pChild = root.pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
        pChild->SaveToString(szText, 0);
    }
    return LSaveText(path, szText.c_str());
}
