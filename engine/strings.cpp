#include "engine/strings.h"

#include <string.h>

#include "engine/core.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/reader.h"

static TwStrings strings;

static void FreeTable(void)
{
    if (!strings.ppStrings)
        return;
    for (int i = 0; i <= TW_STRINGS_SLOTS; i++)
        if (strings.ppStrings[i])
            twMem_Free(strings.ppStrings[i]);
    twMem_Free(strings.ppStrings);
    strings.ppStrings = nullptr;
}

static int LoadRecords(TwReader* pReader, int iCount)
{
    for (int i = 0; i < iCount; i++) {
        int32_t iIndex = twReader_I32(pReader);
        int32_t iLength = twReader_I32(pReader);
        if (pReader->bShort) {
            twLogError("twStrings_Load", "!Record %d is cut short\n", i);
            return 0;
        }
        if (iIndex < 1 || iIndex > TW_STRINGS_SLOTS) {
            twLogError("twStrings_Load", "!Index %d is out of range\n", iIndex);
            return 0;
        }
        // 600 passes the range test; the table has a spare slot for it, and Get refuses it
        if (iIndex == TW_STRINGS_SLOTS)
            twLogError("twStrings_Load", "!Index %d lies behind the table\n", iIndex);
        if (iLength < 0 || iLength > pReader->iLeft) {
            twLogError("twStrings_Load", "!Record %d runs past the end of the file\n", iIndex);
            return 0;
        }
        char* pstrText = (char*)twMem_Malloc((uint32_t)iLength + 1, "strings->pString");
        if (!pstrText) {
            twLogError("twStrings_Load", "!malloc : strings->pString\n");
            return 0;
        }
        twReader_Read(pReader, pstrText, iLength);
        // a later record with the same index replaces the earlier one
        if (strings.ppStrings[iIndex])
            twMem_Free(strings.ppStrings[iIndex]);
        strings.ppStrings[iIndex] = pstrText;
    }
    return 1;
}

static int LoadSized(FILE* pFile, int64_t iSize)
{
    TwReader reader;
    twReader_Init(&reader, pFile, iSize);
    if (twReader_U8(&reader) != 'S') {
        twLog("twStrings_Load", "!Failed to find 'S'\n");
        return 0;
    }
    strings.iLanguage = twReader_I32(&reader);
    strings.iCharset = twReader_I32(&reader);
    strings.iFontHeight = twReader_I32(&reader);
    strings.iTextYOffset = twReader_I32(&reader);
    twReader_Read(&reader, strings.szFontFace, TW_STRINGS_FACE_SIZE);
    strings.szFontFace[TW_STRINGS_FACE_SIZE - 1] = 0;
    int32_t iCount = twReader_I32(&reader);
    if (reader.bShort) {
        twLogError("twStrings_Load", "!fread : header cut short\n");
        return 0;
    }
    twLog("twStrings_Load", "Number of strings to load = %d\n", iCount);
    // a record is at least its index and its length
    if (!twReader_Fits(&reader, iCount, 8)) {
        twLogError("twStrings_Load", "!Count %d is more than the file holds\n", iCount);
        return 0;
    }
    FreeTable();
    strings.ppStrings = (char**)twMem_Malloc((TW_STRINGS_SLOTS + 1) * sizeof(char*), "strings.ppStrings");
    if (!strings.ppStrings) {
        twLogError("twStrings_Load", "!malloc : ppStrings\n");
        return 0;
    }
    if (!LoadRecords(&reader, iCount))
        return 0;
    strings.iNumLoaded = iCount;
    return 1;
}

int twStrings_Init(void)
{
    FreeTable();
    memset(&strings, 0, sizeof(strings));
    strings.iNumSlots = TW_STRINGS_SLOTS;
    return 1;
}

int twStrings_ImportBin(const char* pstrPath)
{
    int iSize = 0;
    FILE* pFile = twCore_GetResource(TW_STRINGS_FILE_NAME, &iSize);
    if (pFile) {
        int bResult = LoadSized(pFile, iSize);
        fclose(pFile);
        return bResult;
    }
    char szPath[TW_PATH_SIZE + 64];
    if (pstrPath) {
        snprintf(szPath, sizeof(szPath), "%s", pstrPath);
    } else {
        const char* pstrDataDir = twCore_GetDataDir();
        if (!pstrDataDir) {
            twLogError("twStrings_ImportBin", "!twCore_GetDataDir\n");
            return 0;
        }
        snprintf(szPath, sizeof(szPath), "%sData/Strings/%s", pstrDataDir, TW_STRINGS_FILE_NAME);
    }
    pFile = fopen(szPath, "rb");
    if (!pFile) {
        twLogError("twStrings_ImportBin", "!fopen : '%s'\n", szPath);
        return 0;
    }
    int bResult = LoadSized(pFile, -1);
    fclose(pFile);
    return bResult;
}

int twStrings_Load(FILE* pFile)
{
    return LoadSized(pFile, -1);
}

const char* twStrings_Get(int iId)
{
    if (iId >= 1 && iId < TW_STRINGS_SLOTS && strings.ppStrings)
        return strings.ppStrings[iId] ? strings.ppStrings[iId] : "FAILED";
    snprintf(strings.szFailed, sizeof(strings.szFailed), "FAILED(%d)", iId);
    return strings.szFailed;
}

const char* twStrings_Find(int iId)
{
    if (iId < 1 || iId >= TW_STRINGS_SLOTS || !strings.ppStrings)
        return nullptr;
    return strings.ppStrings[iId];
}

int twStrings_GetLanguage(void) { return strings.iLanguage; }
int twStrings_GetCharset(void) { return strings.iCharset; }
const char* twStrings_GetFontFace(void) { return strings.szFontFace; }
int twStrings_GetFontHeight(void) { return strings.iFontHeight; }
int twStrings_GetTextYOffset(void) { return strings.iTextYOffset; }

int twStrings_Shutdown(void)
{
    FreeTable();
    return 1;
}
