#include "interface/layers.h"

#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"

TwLayers* pLayers = nullptr;

static void UpdatePointers(void)
{
    for (int k = 0; k < pLayers->iPageSize; k++)
        pLayers->ppLayersForInterface[k] =
            pLayers->pLayers + ((size_t)pLayers->iPage * pLayers->iPageSize + k) * TW_LAYER_SIZE;
}

// Room for the pages of records, all zero: rows without a name don't show.
static int AllocateRecords(int iNumPages)
{
    pLayers->pLayers = (uint8_t*)twMem_Malloc((uint32_t)iNumPages * pLayers->iPageSize * TW_LAYER_SIZE, "pLayers");
    if (!pLayers->pLayers) {
        twLogError("twLayers_Load", "!malloc : pLayers\n");
        return 0;
    }
    pLayers->iNumPages = iNumPages;
    return 1;
}

int twLayers_Init(int iPageSize)
{
    const char* pstrTag = "twLayers_Init";
    if (pLayers) {
        twLogError(pstrTag, "Already initialized\n");
        return 0;
    }
    if (iPageSize < 1) {
        twLogError(pstrTag, "!page size %d\n", iPageSize);
        return 0;
    }
    pLayers = (TwLayers*)twMem_Malloc(sizeof(TwLayers), "pLayers");
    if (!pLayers) {
        twLogError(pstrTag, "!malloc : pLayers\n");
        return 0;
    }
    pLayers->iPageSize = iPageSize;
    twLog(pstrTag, "Page size = %d\n", iPageSize);
    pLayers->ppLayersForInterface = (uint8_t**)twMem_Malloc(iPageSize * sizeof(uint8_t*), "ppLayersForInterface");
    if (!pLayers->ppLayersForInterface) {
        twLogError(pstrTag, "!malloc : ppLayersForInterface\n");
        return 0;
    }
    if (!AllocateRecords(1))
        return 0;
    UpdatePointers();
    return 1;
}

int twLayers_Load(FILE* pFile, int iNumLayers)
{
    const char* pstrTag = "twLayers_Load";
    if (!pLayers)
        return 0;
    if (iNumLayers < 0 || iNumLayers > TW_LAYERS_MAX) {
        twLogError(pstrTag, "!Number of layers %d is out of range\n", iNumLayers);
        return 0;
    }
    pLayers->iNumLayers = iNumLayers;
    pLayers->iPage = 0;
    // a count that is an exact multiple of the page size gets one empty page more
    int iNumPages = 1 + iNumLayers / pLayers->iPageSize;
    if (pLayers->pLayers) {
        twLog(pstrTag, "Freeing previous layers\n");
        twMem_Free(pLayers->pLayers);
        pLayers->pLayers = nullptr;
    }
    twLog(pstrTag, "Allocating %d new layers\n", iNumPages * pLayers->iPageSize);
    if (!AllocateRecords(iNumPages)) {
        pLayers->iNumLayers = 0;
        return 0;
    }
    twLog(pstrTag, "Updating pointers\n");
    UpdatePointers();
    twLog(pstrTag, "Number of layers = %d\n", iNumLayers);
    twLog(pstrTag, "Number of pages = %d\n", iNumPages);
    if (!pFile) {
        twLogError(pstrTag, "!f\n");
        return 0;
    }
    twLog(pstrTag, "Loading layers from file\n");
    for (int i = 0; i < iNumLayers; i++) {
        uint8_t* pRecord = pLayers->pLayers + (size_t)i * TW_LAYER_SIZE;
        if (fread(pRecord, TW_LAYER_SIZE, 1, pFile) != 1) {
            twLogError(pstrTag, "!fread : layer %d\n", i);
            return 0;
        }
        pRecord[TW_LAYER_SIZE - 1] = 0; // the name, drawn as a C string, ends inside its record
        int32_t bVisible = 1;
        memcpy(pRecord + TW_LAYER_VISIBLE_OFFSET, &bVisible, 4);
    }
    return 1;
}

uint8_t* twLayers_Find(int iIndex)
{
    if (!pLayers || iIndex < 0 || iIndex >= pLayers->iNumLayers)
        return nullptr;
    return pLayers->pLayers + (size_t)iIndex * TW_LAYER_SIZE;
}

uint8_t* twLayers_GetLayer(int iIndex)
{
    uint8_t* pRecord = twLayers_Find(iIndex);
    if (!pRecord)
        twLogError("twLayers_GetLayer", "Layer index %d is out of range\n", iIndex);
    return pRecord;
}

int twLayers_IsVisible(int iIndex)
{
    uint8_t* pRecord = twLayers_GetLayer(iIndex);
    if (!pRecord)
        return 0;
    int32_t bVisible;
    memcpy(&bVisible, pRecord + TW_LAYER_VISIBLE_OFFSET, 4);
    return bVisible != 0;
}

void twLayers_SetVisible(int iIndex, int bVisible)
{
    uint8_t* pRecord = twLayers_Find(iIndex);
    int32_t iVisible = bVisible != 0;
    if (pRecord)
        memcpy(pRecord + TW_LAYER_VISIBLE_OFFSET, &iVisible, 4);
}

static const char* LayerName(const uint8_t* pRecord)
{
    return (const char*)pRecord + TW_LAYER_NAME_OFFSET;
}

char* twLayers_KeepHidden(int* piCount)
{
    int iHidden = 0;
    for (int i = 0; pLayers && i < pLayers->iNumLayers; i++)
        iHidden += !twLayers_IsVisible(i);
    // each name ends inside its record: a record's name space is room enough
    size_t uiSize = (size_t)iHidden * (TW_LAYER_SIZE - TW_LAYER_NAME_OFFSET) + 1;
    char* pstrNames = (char*)twMem_Malloc((uint32_t)uiSize, "pKeptLayers");
    if (!pstrNames) {
        twLogError("twLayers_KeepHidden", "!malloc : pKeptLayers\n");
        return nullptr;
    }
    size_t n = 0;
    for (int i = 0; pLayers && i < pLayers->iNumLayers; i++) {
        if (twLayers_IsVisible(i))
            continue;
        const char* pstrName = LayerName(twLayers_Find(i));
        size_t uiLen = strlen(pstrName);
        memcpy(pstrNames + n, pstrName, uiLen + 1);
        n += uiLen + 1;
    }
    pstrNames[n] = 0;
    if (piCount)
        *piCount = iHidden;
    return pstrNames;
}

int twLayers_HideNamed(const char* pstrNames)
{
    int iHidden = 0;
    for (const char* pstrName = pstrNames; pstrName && *pstrName; pstrName += strlen(pstrName) + 1)
        for (int i = 0; pLayers && i < pLayers->iNumLayers; i++)
            if (!strcmp(LayerName(twLayers_Find(i)), pstrName)) {
                twLayers_SetVisible(i, 0);
                iHidden++;
            }
    return iHidden;
}

int twLayers_Free(void)
{
    if (!pLayers)
        return 1;
    if (pLayers->pLayers && !twMem_Free(pLayers->pLayers))
        twLogError("twLayers_Free", "!twMem_Free : pLayers\n");
    if (pLayers->ppLayersForInterface && !twMem_Free(pLayers->ppLayersForInterface))
        twLogError("twLayers_Free", "!twMem_Free : ppLayersForInterface\n");
    twMem_Free(pLayers);
    pLayers = nullptr;
    return 1;
}

int twLayers_NextPage(void)
{
    if (!pLayers || pLayers->iPage >= pLayers->iNumPages - 1)
        return 0;
    pLayers->iPage++;
    UpdatePointers();
    return 1;
}

int twLayers_PrevPage(void)
{
    if (!pLayers || pLayers->iPage <= 0)
        return 0;
    pLayers->iPage--;
    UpdatePointers();
    return 1;
}

uint8_t** twLayers_GetList(void) { return pLayers ? pLayers->ppLayersForInterface : nullptr; }
int twLayers_GetPageSize(void) { return pLayers ? pLayers->iPageSize : 0; }
