// Each element's sets of values (property sets, quantities, its type's, its materials and
// classifications) from the properties side file the exporter leaves beside the model. Only
// the table is read with the model; an element's text is read when it is asked for, so that
// a model of many values opens as fast as one without. The table is taken only when it names
// the model's size and element count, and every run it gives lies inside the file.
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "engine/core.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "world/world.h"

#define TAG "twWorld_LoadProperties"

static int Fail(const char* pstrWhy)
{
    twLogError(TAG, "!The properties side file %s: passed over\n", pstrWhy);
    twWorld_FreeProperties();
    return 0;
}

void twWorld_FreeProperties(void)
{
    if (!pWorld)
        return;
    if (pWorld->pProperties)
        twMem_Free(pWorld->pProperties);
    pWorld->pProperties = nullptr;
    pWorld->llPropertiesData = 0;
    pWorld->szPropertiesPath[0] = 0;
}

int twWorld_ReadProperties(const uint8_t* pData, int64_t iSize, int64_t iFileSize, int64_t iModelSize)
{
    if (!pWorld || !pWorld->bLoaded)
        return 0;
    twWorld_FreeProperties();
    // the two lines
    int iMagic = (int)strlen(TW_PROPERTIES_MAGIC);
    if (iSize < iMagic + 1 || memcmp(pData, TW_PROPERTIES_MAGIC, iMagic) != 0 || pData[iMagic] != '\n')
        return Fail("is not one");
    const uint8_t* pLine = pData + iMagic + 1;
    int64_t iLeft = iSize - (iMagic + 1);
    const uint8_t* pEnd = (const uint8_t*)memchr(pLine, '\n', (size_t)(iLeft < TW_PROPERTIES_HEAD_MAX ? iLeft : TW_PROPERTIES_HEAD_MAX));
    if (!pEnd)
        return Fail("has a damaged model line");
    char szLine[TW_PROPERTIES_HEAD_MAX + 1];
    memcpy(szLine, pLine, (size_t)(pEnd - pLine));
    szLine[pEnd - pLine] = 0;
    long long llBytes = -1, llElements = -1;
    char cExtra = 0;
    if (sscanf(szLine, "model\t%lld\t%lld%c", &llBytes, &llElements, &cExtra) != 2)
        return Fail("has a damaged model line");
    if (llBytes != iModelSize || llElements != pWorld->iNumElements)
        return Fail("belongs to another model");
    // the table, and every run it names inside the texts
    int64_t llTable = pEnd + 1 - pData, llTableBytes = (int64_t)llElements * (int64_t)sizeof(TwPropertiesEntry);
    if (llTable + llTableBytes > iSize)
        return Fail("is cut short");
    int64_t llTexts = iFileSize - llTable - llTableBytes;
    TwPropertiesEntry* pTable = (TwPropertiesEntry*)twMem_Malloc((uint32_t)(llTableBytes ? llTableBytes : 1), "pProperties");
    if (!pTable)
        return Fail("finds no memory");
    memcpy(pTable, pData + llTable, (size_t)llTableBytes);
    for (long long i = 0; i < llElements; i++)
        if (pTable[i].uiLength > TW_PROPERTIES_MAX_ELEMENT || (int64_t)pTable[i].uiOffset + pTable[i].uiLength > llTexts) {
            twMem_Free(pTable);
            return Fail("names text beyond its end");
        }
    pWorld->pProperties = pTable;
    pWorld->llPropertiesData = llTable + llTableBytes;
    return 1;
}

// The head and table of a properties file of iFileSize bytes whose first byte is where pIn
// stands (a file beside the model, or a copy's pack): read and checked, the texts then read
// from pstrPath when asked; no more of it than the model's elements can need is read now
static int ReadPropertiesAt(FILE* pIn, int64_t iFileSize, int64_t iModelSize, const char* pstrPath)
{
    int64_t llStart = (int64_t)ftello(pIn);
    int64_t llWant = TW_PROPERTIES_HEAD_MAX + (int64_t)pWorld->iNumElements * (int64_t)sizeof(TwPropertiesEntry);
    if (llWant > iFileSize)
        llWant = iFileSize;
    uint8_t* pData = (uint8_t*)twMem_Malloc((uint32_t)(llWant ? llWant : 1), "pPropertiesHead");
    int bOk = pData && llStart >= 0 && fread(pData, 1, (size_t)llWant, pIn) == (size_t)llWant &&
              twWorld_ReadProperties(pData, llWant, iFileSize, iModelSize);
    if (pData)
        twMem_Free(pData);
    if (bOk) {
        pWorld->llPropertiesData += llStart;
        snprintf(pWorld->szPropertiesPath, sizeof(pWorld->szPropertiesPath), "%s", pstrPath);
        twLog(TAG, "Properties for %d elements in '%s'\n", pWorld->iNumElements, pstrPath);
    }
    return bOk;
}

int twWorld_LoadProperties(const char* pstrModelPath)
{
    if (!pWorld || !pstrModelPath)
        return 0;
    twWorld_FreeProperties();
    char szPath[TW_PATH_SIZE];
    twWorld_SideFilePath(pstrModelPath, TW_SIDE_PROPERTIES, szPath);
    struct stat stModel, stFile;
    if (stat(pstrModelPath, &stModel) != 0 || stat(szPath, &stFile) != 0)
        return 0;
    if (!S_ISREG(stFile.st_mode) || stFile.st_size > (int64_t)TW_PROPERTIES_MAX_SIZE)
        return Fail("is larger than 1 GB");
    FILE* pFile = fopen(szPath, "rb");
    if (!pFile) {
        twLogError(TAG, "!fopen : '%s'\n", szPath);
        return 0;
    }
    int bOk = ReadPropertiesAt(pFile, stFile.st_size, stModel.st_size, szPath);
    fclose(pFile);
    return bOk;
}

// A resource of a copy's pack: its stream at its first byte and its size, or null
static FILE* Resource(const char* pstrName, const char* pstrPack, int* piSize)
{
    return pstrPack ? twCore_GetResourceExt(pstrName, pstrPack, piSize) : twCore_GetResource(pstrName, piSize);
}

int twWorld_LoadPackSideFiles(const char* pstrPack, const char* pstrModelName)
{
    if (!pWorld || !pWorld->bLoaded)
        return 0;
    twWorld_FreeElementInfo();
    char szElements[TW_PATH_SIZE], szProperties[TW_PATH_SIZE];
    twWorld_SideFilePath(pstrModelName, TW_SIDE_ELEMENTS, szElements);
    twWorld_SideFilePath(pstrModelName, TW_SIDE_PROPERTIES, szProperties);
    // a copy published before it carried them has none: nothing to tell
    int iModel = 0, iSize = 0, iFound = 0;
    FILE* pIn = Resource(pstrModelName, pstrPack, &iModel);
    if (pIn)
        fclose(pIn);
    pIn = Resource(szElements, pstrPack, &iSize);
    if (pIn && iSize > 0 && iSize <= TW_ELEMENT_INFO_MAX_SIZE) {
        char* pData = (char*)twMem_Malloc((uint32_t)iSize, "pInfoFile");
        if (pData && fread(pData, 1, (size_t)iSize, pIn) == (size_t)iSize && twWorld_ReadElementInfo(pData, iSize, iModel))
            iFound++;
        twMem_Free(pData);
    }
    if (pIn)
        fclose(pIn);
    pIn = Resource(szProperties, pstrPack, &iSize);
    if (pIn && iSize > 0 && ReadPropertiesAt(pIn, iSize, iModel, pstrPack ? pstrPack : twCore_GetExePath()))
        iFound++;
    if (pIn)
        fclose(pIn);
    return iFound;
}

char* twWorld_GetElementProperties(int iElement, int* piLength)
{
    if (piLength)
        *piLength = 0;
    if (!pWorld || !pWorld->pProperties || !pWorld->szPropertiesPath[0] || iElement < 0 ||
        iElement >= pWorld->iNumElements || !pWorld->pProperties[iElement].uiLength)
        return nullptr;
    const TwPropertiesEntry* e = &pWorld->pProperties[iElement];
    char* pText = (char*)twMem_Malloc(e->uiLength + 1, "pElementProperties");
    FILE* pFile = pText ? fopen(pWorld->szPropertiesPath, "rb") : nullptr;
    // the file may have changed since its table was read: a short read gives nothing
    int bRead = pFile && fseeko(pFile, pWorld->llPropertiesData + e->uiOffset, SEEK_SET) == 0 &&
                fread(pText, 1, e->uiLength, pFile) == e->uiLength;
    if (pFile)
        fclose(pFile);
    if (!bRead) {
        twLogError("twWorld_GetElementProperties", "!'%s' gives no text for element %d\n", pWorld->szPropertiesPath,
                   iElement);
        twMem_Free(pText);
        return nullptr;
    }
    pText[e->uiLength] = 0;
    for (uint32_t i = 0; i < e->uiLength; i++)
        if (!pText[i])
            pText[i] = ' '; // the text ends at its end, not at a zero inside it
    if (piLength)
        *piLength = (int)e->uiLength;
    return pText;
}

// ---------------------------------------------------------------------------------------------
// The text of an element's values
// ---------------------------------------------------------------------------------------------

int twWorld_NextDataLine(char** ppAt, TwDataLine* pLine)
{
    char* p = *ppAt;
    while (p && *p) {
        char* pEnd = strchr(p, '\n');
        char* pNext = pEnd ? pEnd + 1 : p + strlen(p);
        if (pEnd)
            *pEnd = 0;
        // set, name, value, unit: a line with fewer fields is passed over
        char* apField[4] = {p, nullptr, nullptr, nullptr};
        int n = 1;
        for (char* q = p; *q && n < 4; q++)
            if (*q == '\t') {
                *q = 0;
                apField[n++] = q + 1;
            }
        p = pNext;
        if (n == 4) {
            *ppAt = p;
            pLine->pstrSet = apField[0], pLine->pstrName = apField[1];
            pLine->pstrValue = apField[2], pLine->pstrUnit = apField[3];
            return 1;
        }
    }
    *ppAt = p;
    return 0;
}

void twWorld_FormatValue(const char* pstrValue, const char* pstrUnit, int iUnits, char* pstrOut, int iOutSize)
{
    // lengths, areas and volumes in the View page's unit
    static const struct {
        const char *pstrMetric, *pstrImperial;
        double dFactor;
    } s_aUnits[] = {{"m", "ft", 3.28083989501}, {"m2", "ft2", 10.7639104167}, {"m3", "ft3", 35.3146667215}};
    char* pEnd = nullptr;
    double d = strtod(pstrValue, &pEnd);
    for (const auto& u : s_aUnits)
        if (iUnits == 1 && !strcmp(pstrUnit, u.pstrMetric) && pEnd != pstrValue && !*pEnd) {
            snprintf(pstrOut, iOutSize, "%.4g %s", d * u.dFactor, u.pstrImperial);
            return;
        }
    snprintf(pstrOut, iOutSize, "%s%s%s", pstrValue, pstrUnit[0] ? " " : "", pstrUnit);
}

char* twWorld_ElementCopyText(int iElement, int iUnits)
{
    if (!pWorld || iElement < 0 || iElement >= pWorld->iNumElements)
        return nullptr;
    const TwElementInfo* pInfo = twWorld_GetElementInfo(iElement);
    int iLength = 0;
    char* pData = twWorld_GetElementProperties(iElement, &iLength);
    // every line fits in its source's bytes, a label and a unit's change more
    size_t uiSize = 1024 + (size_t)iLength * 2 + (size_t)iLength / 2;
    char* pText = (char*)twMem_Malloc((uint32_t)uiSize, "pCopyText");
    if (!pText) {
        twMem_Free(pData);
        return nullptr;
    }
    size_t n = 0;
    // the labels in the words of the file's own schema, whatever the viewer's language
    static const int aiFields[3] = {3, 1, 0};
    static const char* const apstrLabels[3] = {"GlobalId", "IFC class", "Name"};
    for (int i = 0; i < 3; i++)
        if (pInfo && pInfo->apstrFields[aiFields[i]][0])
            n += (size_t)snprintf(pText + n, uiSize - n, "%s = %.200s\n", apstrLabels[i], pInfo->apstrFields[aiFields[i]]);
    TwDataLine line;
    char* pAt = pData;
    while (n < uiSize && twWorld_NextDataLine(&pAt, &line)) {
        char szValue[600];
        twWorld_FormatValue(line.pstrValue, line.pstrUnit, iUnits, szValue, sizeof(szValue));
        int iWrote = snprintf(pText + n, uiSize - n, "%s.%s = %s\n", line.pstrSet, line.pstrName, szValue);
        n = iWrote < 0 ? n : n + (size_t)iWrote;
    }
    twMem_Free(pData);
    if (n >= uiSize)
        pText[uiSize - 1] = 0;
    return pText;
}

// ---------------------------------------------------------------------------------------------
// Finding elements
// ---------------------------------------------------------------------------------------------

#define FIND_TEXTS_MAX (64u << 20) // texts read for one search at most: beyond, names alone are searched

// Whether the text holds the word, letters of either case alike
static int Holds(const char* pstrText, size_t uiLength, const char* pstrWord, size_t uiWord)
{
    for (size_t i = 0; uiWord && i + uiWord <= uiLength; i++) {
        size_t k = 0;
        while (k < uiWord && tolower((unsigned char)pstrText[i + k]) == tolower((unsigned char)pstrWord[k]))
            k++;
        if (k == uiWord)
            return 1;
    }
    return 0;
}

int twWorld_FindElements(const char* pstrWord, int* piFound, int iMax)
{
    if (!pWorld || !pWorld->bLoaded || !pstrWord || !pstrWord[0])
        return 0;
    size_t uiWord = strlen(pstrWord);
    // the values too, read in the file's order, where the file is of a size to read through
    FILE* pFile = nullptr;
    char* pText = nullptr;
    if (pWorld->pProperties && pWorld->szPropertiesPath[0]) {
        uint64_t uiTexts = 0;
        for (int e = 0; e < pWorld->iNumElements; e++)
            uiTexts += pWorld->pProperties[e].uiLength;
        if (uiTexts <= FIND_TEXTS_MAX) {
            pFile = fopen(pWorld->szPropertiesPath, "rb");
            pText = pFile ? (char*)twMem_Malloc(TW_PROPERTIES_MAX_ELEMENT, "pFindText") : nullptr;
        } else {
            twLogError("twWorld_FindElements", "!%llu bytes of values are too many to search: names only\n",
                       (unsigned long long)uiTexts);
        }
    }
    int iCount = 0;
    for (int e = 0; e < pWorld->iNumElements; e++) {
        const TwElementInfo* pInfo = twWorld_GetElementInfo(e);
        int bFound = 0;
        static const int aiFields[3] = {0, 1, 3}; // name, IFC class, GlobalId
        for (int f = 0; pInfo && f < 3 && !bFound; f++)
            bFound = Holds(pInfo->apstrFields[aiFields[f]], strlen(pInfo->apstrFields[aiFields[f]]), pstrWord, uiWord);
        const TwPropertiesEntry* pEntry = pText ? &pWorld->pProperties[e] : nullptr;
        if (!bFound && pEntry && pEntry->uiLength &&
            fseeko(pFile, pWorld->llPropertiesData + pEntry->uiOffset, SEEK_SET) == 0 &&
            fread(pText, 1, pEntry->uiLength, pFile) == pEntry->uiLength)
            bFound = Holds(pText, pEntry->uiLength, pstrWord, uiWord);
        if (bFound && iCount < iMax && piFound)
            piFound[iCount] = e;
        iCount += bFound;
    }
    if (pFile)
        fclose(pFile);
    twMem_Free(pText);
    return iCount;
}
