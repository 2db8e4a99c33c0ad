// The models opened last, kept in Temp with the link's switch, each greyed out on the page
// with the reason it can't be opened now
#include "engine/model_link.h"

#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "engine/writer.h"

#define TAG "twLink"

// "n  name  folder", or "n  name  (why not)", cut to a button's name; the number keeps two
// alike apart
static void MakeLabel(int iIndex, TwRecentModel* pModel, const char* pstrReason)
{
    char aszFirst[1][TW_PATH_SIZE] = {""}, szDir[TW_PATH_SIZE] = "", szName[256];
    twLink_SplitSet(pModel->szPath, aszFirst, 1);
    twCore_GetDirectory(aszFirst[0], szDir);
    twLink_SetName(pModel->szPath, szName, sizeof(szName));
    if (pstrReason)
        snprintf(pModel->szLabel, sizeof(pModel->szLabel), "%d  %.24s  (%.24s)", iIndex + 1, szName, pstrReason);
    else
        snprintf(pModel->szLabel, sizeof(pModel->szLabel), "%d  %.24s  %.30s", iIndex + 1, szName, szDir);
}

// Why a file can't be opened, or null when it can
const char* twLink_WhyNot(const char* pstrPath)
{
    struct stat st;
    if (stat(pstrPath, &st) != 0)
        return twStrings_Get(TW_LINK_STR_NOT_FOUND);
    if (S_ISDIR(st.st_mode))
        return twStrings_Get(TW_LINK_STR_IS_FOLDER);
    if (!S_ISREG(st.st_mode) || access(pstrPath, R_OK) != 0)
        return twStrings_Get(TW_LINK_STR_UNREADABLE);
    if (st.st_size == 0)
        return twStrings_Get(TW_LINK_STR_EMPTY);
    return nullptr;
}

// Why none of a set's files can be opened (the first's reason), or null when one can
static const char* WhyNotSet(const char* pstrSet)
{
    char aszFiles[TW_LINK_MAX_SOURCES][TW_PATH_SIZE];
    int n = twLink_SplitSet(pstrSet, aszFiles, TW_LINK_MAX_SOURCES);
    const char* pstrFirst = n ? nullptr : twStrings_Get(TW_LINK_STR_NOT_FOUND);
    for (int i = 0; i < n; i++) {
        const char* pstrWhy = twLink_WhyNot(aszFiles[i]);
        if (!pstrWhy)
            return nullptr;
        if (!pstrFirst)
            pstrFirst = pstrWhy;
    }
    return pstrFirst;
}

void twLink_UpdateRecentStates(void)
{
    if (!pLink)
        return;
    for (int i = 0; i < pLink->iNumRecent; i++) {
        const char* pstrWhy = WhyNotSet(pLink->aRecent[i].szPath);
        pLink->aRecent[i].bMissing = pstrWhy != nullptr;
        MakeLabel(i, &pLink->aRecent[i], pstrWhy);
    }
}

const char* twLink_RecentPath(const char* pstrLabel)
{
    if (!pLink || !pstrLabel)
        return nullptr;
    for (int i = 0; i < pLink->iNumRecent; i++)
        if (!strcmp(pLink->aRecent[i].szLabel, pstrLabel))
            return pLink->aRecent[i].bMissing ? nullptr : pLink->aRecent[i].szPath;
    return nullptr;
}

// A line of Recent.txt: a whole path, or several joined by tabs (a set opened together)
static int WholePaths(const char* pLine, int iLen)
{
    if (iLen >= TW_SET_SIZE)
        return 0;
    int iFiles = 0;
    for (int iAt = 0; iAt < iLen; iFiles++) {
        const char* pTab = (const char*)memchr(pLine + iAt, '\t', (size_t)(iLen - iAt));
        int iPart = pTab ? (int)(pTab - pLine) - iAt : iLen - iAt;
        if (iPart <= 0 || iPart >= TW_PATH_SIZE || pLine[iAt] != '/' || iFiles >= TW_LINK_MAX_SOURCES)
            return 0;
        iAt += iPart + 1;
    }
    return pLine[iLen - 1] != '\t';
}

int twLink_ReadRecent(const char* pData, int iSize)
{
    if (!pLink)
        return 0;
    pLink->iNumRecent = 0;
    if (iSize <= 0 || iSize > TW_RECENT_MAX_SIZE) {
        twLogError(TAG, "!%s is out of bounds: no recent models\n", TW_RECENT_FILE);
        return 0;
    }
    int iMagic = (int)strlen(TW_RECENT_MAGIC);
    if (iSize < iMagic + 1 || memcmp(pData, TW_RECENT_MAGIC, iMagic) != 0 || pData[iMagic] != '\n') {
        twLogError(TAG, "!%s is damaged: no recent models\n", TW_RECENT_FILE);
        return 0;
    }
    int iAt = iMagic + 1;
    int bLiveSeen = 0;
    while (iAt < iSize) {
        const char* pLine = pData + iAt;
        const char* pNewline = (const char*)memchr(pLine, '\n', (size_t)(iSize - iAt));
        int iLen = pNewline ? (int)(pNewline - pLine) : iSize - iAt;
        iAt += iLen + 1;
        if (iLen > 0 && pLine[iLen - 1] == '\r')
            iLen--;
        if (iLen <= 0 || memchr(pLine, 0, (size_t)iLen))
            continue; // an empty line, or one no path can hold
        if (!bLiveSeen && iLen == 6 && !memcmp(pLine, "live\t", 5) && (pLine[5] == '0' || pLine[5] == '1')) {
            bLiveSeen = 1;
            pLink->bLive = pLine[5] == '1';
        } else if (!WholePaths(pLine, iLen)) {
            twLogError(TAG, "!%s: a line that isn't a whole path is passed over\n", TW_RECENT_FILE);
        } else if (pLink->iNumRecent < TW_RECENT_MAX) {
            TwRecentModel* pModel = &pLink->aRecent[pLink->iNumRecent++];
            memcpy(pModel->szPath, pLine, (size_t)iLen);
            pModel->szPath[iLen] = 0;
        }
    }
    return 1;
}

void twLink_LoadRecent(void)
{
    char szPath[TW_PATH_SIZE];
    twCore_GetTempPath(TW_RECENT_FILE, szPath);
    FILE* pFile = szPath[0] ? fopen(szPath, "rb") : nullptr;
    if (!pFile)
        return;
    char* pData = (char*)twMem_Malloc(TW_RECENT_MAX_SIZE + 1, "pRecent");
    if (pData) {
        int iSize = (int)fread(pData, 1, TW_RECENT_MAX_SIZE + 1, pFile);
        twLink_ReadRecent(pData, iSize);
        twMem_Free(pData);
    }
    fclose(pFile);
}

// A failed write leaves the list that was there
void twLink_SaveRecent(void)
{
    char szPath[TW_PATH_SIZE], szLine[TW_SET_SIZE + 2];
    twCore_GetTempPath(TW_RECENT_FILE, szPath);
    if (!szPath[0])
        return;
    TwWriter writer;
    if (!twWriter_Open(&writer, szPath)) {
        twLogError(TAG, "!fopen : '%s.part'\n", szPath);
        return;
    }
    int iLen = snprintf(szLine, sizeof(szLine), "%s\nlive\t%d\n", TW_RECENT_MAGIC, pLink->bLive ? 1 : 0);
    twWriter_Write(&writer, szLine, iLen);
    for (int i = 0; i < pLink->iNumRecent; i++) {
        iLen = snprintf(szLine, sizeof(szLine), "%s\n", pLink->aRecent[i].szPath);
        twWriter_Write(&writer, szLine, iLen);
    }
    if (!twWriter_Close(&writer))
        twLogError(TAG, "!Couldn't write %s\n", TW_RECENT_FILE);
}

void twLink_AddRecent(const char* pstrPath)
{
    TwRecentModel first;
    memset(&first, 0, sizeof(first));
    snprintf(first.szPath, sizeof(first.szPath), "%s", pstrPath);
    int iKept = 0;
    TwRecentModel aRest[TW_RECENT_MAX];
    for (int i = 0; i < pLink->iNumRecent && iKept < TW_RECENT_MAX - 1; i++)
        if (strcmp(pLink->aRecent[i].szPath, pstrPath) != 0)
            aRest[iKept++] = pLink->aRecent[i];
    pLink->aRecent[0] = first;
    memcpy(&pLink->aRecent[1], aRest, sizeof(TwRecentModel) * iKept);
    pLink->iNumRecent = iKept + 1;
    twLink_UpdateRecentStates();
    twLink_SaveRecent();
}

