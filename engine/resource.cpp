#include <string.h>

#include "engine/core.h"
#include "engine/log.h"

// Finds a resource in the pack at the end of an open file and leaves the stream at its
// first byte. A damaged directory (a count beyond the file, a resource beyond the
// directory) is reported and treated as no pack at all. Returns 1, or 0 with the stream
// still open for the caller to close.
static int SeekResource(FILE* pFile, const char* pstrName, int* piSize, const char* pstrFile,
                        const char* pstrTag, int bReportNoPack)
{
    if (fseeko(pFile, 0, SEEK_END) != 0)
        return 0;
    int64_t iFileSize = ftello(pFile);
    char acMagic[4] = {0, 0, 0, 0};
    int bHasMagic = iFileSize >= TW_PACK_TRAILER_SIZE && fseeko(pFile, -4, SEEK_END) == 0 &&
                    fread(acMagic, 1, 4, pFile) == 4 && memcmp(acMagic, TW_PACK_MAGIC, 4) == 0;
    if (!bHasMagic) {
        if (bReportNoPack)
            twLogError(pstrTag, "header not TWRS\n");
        return 0;
    }
    int32_t iCount = 0;
    if (fseeko(pFile, -8, SEEK_END) != 0 || fread(&iCount, 1, 4, pFile) != 4 || iCount <= 0)
        return 0;
    int64_t iDirStart = iFileSize - TW_PACK_TRAILER_SIZE - (int64_t)TW_PACK_ENTRY_SIZE * iCount;
    if (iDirStart < 0) {
        twLogError(pstrTag, "!pack directory of %d entries is larger than '%s'\n", iCount, pstrFile);
        return 0;
    }
    if (fseeko(pFile, iDirStart, SEEK_SET) != 0)
        return 0;
    for (int32_t i = 0; i < iCount; i++) {
        TwPackEntry entry;
        if (fread(&entry, sizeof(entry), 1, pFile) != 1)
            return 0;
        entry.szName[TW_PACK_NAME_SIZE - 1] = 0;
        if (entry.uiSize == 0 || strcmp(entry.szName, pstrName) != 0)
            continue;
        // the first match wins, so a bad one ends the lookup
        if ((int64_t)entry.uiOffset + entry.uiSize > iDirStart || entry.uiSize > 0x7FFFFFFF) {
            twLogError(pstrTag, "!resource '%s' runs past the pack of '%s'\n", pstrName, pstrFile);
            return 0;
        }
        if (fseeko(pFile, entry.uiOffset, SEEK_SET) != 0)
            return 0;
        if (piSize)
            *piSize = (int)entry.uiSize;
        return 1;
    }
    return 0;
}

FILE* twCore_GetResource(const char* pstrName, int* piSize)
{
    if (!pCore || !pstrName)
        return nullptr;
    FILE* pFile = fopen(pCore->szExePath, "rb");
    if (!pFile)
        return nullptr;
    // a program file without a pack is reported only once the log has its place: the
    // first lookups run before the directories are known
    if (SeekResource(pFile, pstrName, piSize, pCore->szExePath, "twCore_GetResource",
                     pCore->szLogFile[0] != 0))
        return pFile;
    fclose(pFile);
    return nullptr;
}

FILE* twCore_GetResourceExt(const char* pstrName, const char* pstrFile, int* piSize)
{
    if (!pstrName || !pstrFile)
        return nullptr;
    FILE* pFile = fopen(pstrFile, "rb");
    if (!pFile) {
        twLogError("twCore_GetResourceExt", "!fopen : '%s'\n", pstrFile);
        return nullptr;
    }
    if (SeekResource(pFile, pstrName, piSize, pstrFile, "twCore_GetResourceExt", 1))
        return pFile;
    fclose(pFile);
    return nullptr;
}

int twCore_HasResource(const char* pstrName, const char* pstrFile)
{
    FILE* pFile = pstrFile ? twCore_GetResourceExt(pstrName, pstrFile, nullptr) : twCore_GetResource(pstrName, nullptr);
    if (!pFile)
        return 0;
    fclose(pFile);
    return 1;
}
