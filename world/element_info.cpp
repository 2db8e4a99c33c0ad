// What each element is in the source it was exported from: the side file the exporter
// writes beside the model. The model file stays as it is; the pick shows these lines. A side
// file is taken only when it names the model's size and element count, so one left behind
// by an earlier export, or by a host that wrote the model alone, is passed over.
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "world/world.h"

#define TAG "twWorld_LoadElementInfo"

void twWorld_SideFilePath(const char* pstrModelPath, int iSide, char* pstrOut)
{
    static const char* const apstrExtensions[TW_NUM_SIDE_FILES] = {".elements", ".properties"};
    const char* pstrSlash = strrchr(pstrModelPath, '/');
    const char* pstrDot = strrchr(pstrModelPath, '.');
    int iStem = pstrDot && (!pstrSlash || pstrDot > pstrSlash) ? (int)(pstrDot - pstrModelPath)
                                                                : (int)strlen(pstrModelPath);
    snprintf(pstrOut, TW_PATH_SIZE, "%.*s%s", iStem, pstrModelPath,
             iSide >= 0 && iSide < TW_NUM_SIDE_FILES ? apstrExtensions[iSide] : ".side");
}

void twWorld_FreeElementInfo(void)
{
    if (!pWorld)
        return;
    if (pWorld->pInfoText)
        twMem_Free(pWorld->pInfoText);
    if (pWorld->pElementInfo)
        twMem_Free(pWorld->pElementInfo);
    pWorld->pInfoText = nullptr;
    pWorld->pElementInfo = nullptr;
    pWorld->szInfoSource[0] = 0;
    memset(&pWorld->place, 0, sizeof(pWorld->place));
    twWorld_FreeProperties();
}

// The next line of the text, cut off in place; null at its end
static char* NextLine(char** ppAt, char* pEnd)
{
    char* pLine = *ppAt;
    if (pLine >= pEnd)
        return nullptr;
    char* pNewline = (char*)memchr(pLine, '\n', (size_t)(pEnd - pLine));
    char* pLineEnd = pNewline ? pNewline : pEnd;
    *ppAt = pNewline ? pNewline + 1 : pEnd;
    *pLineEnd = 0;
    if (pLineEnd > pLine && pLineEnd[-1] == '\r')
        pLineEnd[-1] = 0;
    return pLine;
}

// "place", then the move (three finite numbers), six numbers or "nan", and the map's name
static int ReadPlace(const char* pstrLine, TwModelPlace* p)
{
    double ad[9];
    int iUsed = 0;
    if (!pstrLine || sscanf(pstrLine, "place\t%lf\t%lf\t%lf\t%lf\t%lf\t%lf\t%lf\t%lf\t%lf\t%n", &ad[0], &ad[1],
                            &ad[2], &ad[3], &ad[4], &ad[5], &ad[6], &ad[7], &ad[8], &iUsed) != 9 || !iUsed)
        return 0;
    for (int i = 0; i < 3; i++)
        if (!isfinite(ad[i]))
            return 0;
    p->bKnown = 1;
    memcpy(p->adMoved, ad, sizeof(p->adMoved));
    // a latitude or longitude off the earth is none
    p->dLatitude = fabs(ad[3]) <= 90 ? ad[3] : NAN;
    p->dLongitude = fabs(ad[4]) <= 180 ? ad[4] : NAN;
    p->dElevation = ad[5], p->dEastings = ad[6], p->dNorthings = ad[7], p->dHeight = ad[8];
    snprintf(p->szMap, sizeof(p->szMap), "%s", pstrLine + iUsed);
    return 1;
}

static int Fail(const char* pstrWhy)
{
    twLogError(TAG, "!The element names beside the model are passed over: %s\n", pstrWhy);
    twWorld_FreeElementInfo();
    return 0;
}

int twWorld_ReadElementInfo(const char* pData, int64_t iSize, int64_t iModelSize)
{
    if (!pWorld)
        return 0;
    twWorld_FreeElementInfo();
    if (!pWorld->bLoaded || pWorld->iNumElements <= 0)
        return 0;
    if (iSize <= 0 || iSize > TW_ELEMENT_INFO_MAX_SIZE)
        return Fail("its size is out of bounds");
    int iCount = pWorld->iNumElements;
    pWorld->pInfoText = (char*)twMem_Malloc((uint32_t)iSize + 1, "pInfoText");
    pWorld->pElementInfo = (TwElementInfo*)twMem_Malloc((uint32_t)(iCount * sizeof(TwElementInfo)), "pElementInfo");
    if (!pWorld->pInfoText || !pWorld->pElementInfo)
        return Fail("no memory");
    memcpy(pWorld->pInfoText, pData, (size_t)iSize);
    char* pAt = pWorld->pInfoText;
    char* pEnd = pAt + iSize;
    const char* pstrMagic = NextLine(&pAt, pEnd);
    int bVersion1 = pstrMagic && !strcmp(pstrMagic, TW_ELEMENT_INFO_MAGIC_1);
    if (!pstrMagic || (!bVersion1 && strcmp(pstrMagic, TW_ELEMENT_INFO_MAGIC) != 0))
        return Fail("not a side file");
    char* pstrModel = NextLine(&pAt, pEnd);
    char* pstrSource = NextLine(&pAt, pEnd);
    long long llBytes = -1, llElements = -1;
    char cExtra = 0;
    if (!pstrModel || sscanf(pstrModel, "model\t%lld\t%lld%c", &llBytes, &llElements, &cExtra) != 2)
        return Fail("its model line is damaged");
    if (llBytes != iModelSize || llElements != iCount)
        return Fail("it belongs to another model");
    if (!pstrSource || strncmp(pstrSource, "source\t", 7) != 0)
        return Fail("its source line is damaged");
    snprintf(pWorld->szInfoSource, sizeof(pWorld->szInfoSource), "%s", pstrSource + 7);
    if (!bVersion1 && !ReadPlace(NextLine(&pAt, pEnd), &pWorld->place))
        return Fail("its place line is damaged");
    static const char s_szNone[] = "";
    for (int i = 0; i < iCount; i++) {
        char* pstrLine = NextLine(&pAt, pEnd);
        if (!pstrLine)
            return Fail("it has fewer lines than the model has elements");
        // a line with fewer fields leaves the rest unknown; a tab past the last stays in it
        for (int f = 0; f < TW_ELEMENT_INFO_FIELDS; f++) {
            pWorld->pElementInfo[i].apstrFields[f] = pstrLine ? pstrLine : s_szNone;
            char* pTab = pstrLine && f < TW_ELEMENT_INFO_FIELDS - 1 ? strchr(pstrLine, '\t') : nullptr;
            if (pTab)
                *pTab = 0;
            pstrLine = pTab ? pTab + 1 : nullptr;
        }
    }
    if (NextLine(&pAt, pEnd))
        return Fail("it has more lines than the model has elements");
    twLog(TAG, "Element names for %d elements, from '%s'\n", iCount, pWorld->szInfoSource);
    return 1;
}

static int LoadInfo(const char* pstrModelPath)
{
    char szPath[TW_PATH_SIZE];
    twWorld_SideFilePath(pstrModelPath, TW_SIDE_ELEMENTS, szPath);
    struct stat stModel, stInfo;
    if (stat(pstrModelPath, &stModel) != 0 || stat(szPath, &stInfo) != 0)
        return 0;
    if (!S_ISREG(stInfo.st_mode) || stInfo.st_size <= 0 || stInfo.st_size > TW_ELEMENT_INFO_MAX_SIZE) {
        twLogError(TAG, "!'%s' isn't a side file that fits: passed over\n", szPath);
        return 0;
    }
    FILE* pFile = fopen(szPath, "rb");
    if (!pFile) {
        twLogError(TAG, "!fopen : '%s'\n", szPath);
        return 0;
    }
    char* pData = (char*)twMem_Malloc((uint32_t)stInfo.st_size, "pInfoFile");
    int bRead = pData && fread(pData, 1, (size_t)stInfo.st_size, pFile) == (size_t)stInfo.st_size;
    fclose(pFile);
    int bOk = bRead && twWorld_ReadElementInfo(pData, stInfo.st_size, stModel.st_size);
    if (pData)
        twMem_Free(pData);
    return bOk;
}

int twWorld_LoadElementInfo(const char* pstrModelPath)
{
    if (!pWorld || !pstrModelPath)
        return 0;
    twWorld_FreeElementInfo();
    int bOk = LoadInfo(pstrModelPath);
    twWorld_LoadProperties(pstrModelPath); // tied to the model as this file is, and read beside it
    return bOk;
}

const TwElementInfo* twWorld_GetElementInfo(int iElement)
{
    if (!pWorld || !pWorld->bLoaded || !pWorld->pElementInfo || iElement < 0 || iElement >= pWorld->iNumElements)
        return nullptr;
    return &pWorld->pElementInfo[iElement];
}
