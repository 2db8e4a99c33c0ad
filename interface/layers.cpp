#include "interface/layers.h"

#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"

TwLayers* pLayers = nullptr;

static void UpdatePointers(void)
{
    for (int k = 0; k < pLayers->iPageSize; k++) {
        int iRow = pLayers->iPage * pLayers->iPageSize + k;
        if (!pLayers->piRows) {
            pLayers->ppLayersForInterface[k] = pLayers->pLayers + (size_t)iRow * TW_LAYER_SIZE;
            continue;
        }
        // past the rows, the zero record after the last layer: rows without a name don't show
        int iWhat = iRow < pLayers->iNumRows ? pLayers->piRows[iRow] : pLayers->iNumLayers;
        pLayers->ppLayersForInterface[k] = iWhat >= 0 ? pLayers->pLayers + (size_t)iWhat * TW_LAYER_SIZE
                                                      : pLayers->pSources + (size_t)(-1 - iWhat) * TW_LAYER_SIZE;
    }
}

static const char* LayerName(const uint8_t* pRecord)
{
    return (const char*)pRecord + TW_LAYER_NAME_OFFSET;
}

static void FreeSources(void)
{
    twMem_Free(pLayers->piRows);
    twMem_Free(pLayers->pSources);
    twMem_Free(pLayers->piSourceShown);
    twMem_Free(pLayers->piLayerSource);
    pLayers->piRows = nullptr;
    pLayers->pSources = nullptr;
    pLayers->piSourceShown = nullptr;
    pLayers->piLayerSource = nullptr;
    pLayers->iNumRows = pLayers->iNumSources = 0;
}

// The models of "<model> / <storey>" layers, when there are two or more: each model's row,
// then its layers in their order; layers of no model last. Without memory the list stays
// as it was, ungrouped.
static void GroupBySource(void)
{
    TwLayers* l = pLayers;
    FreeSources();
    int n = l->iNumLayers;
    if (n < 2)
        return;
    l->piLayerSource = (int32_t*)twMem_Malloc((uint32_t)n * 4, "piLayerSource");
    l->pSources = (uint8_t*)twMem_Malloc((uint32_t)n * TW_LAYER_SIZE, "pLayerSources");
    if (!l->piLayerSource || !l->pSources) {
        twLogError("twLayers_Load", "!malloc : pLayerSources: the layers are listed ungrouped\n");
        FreeSources();
        return;
    }
    memset(l->pSources, 0, (size_t)n * TW_LAYER_SIZE);
    for (int i = 0; i < n; i++) {
        const char* pstrName = LayerName(l->pLayers + (size_t)i * TW_LAYER_SIZE);
        const char* pstrMark = strstr(pstrName, TW_LAYER_SOURCE_MARK);
        l->piLayerSource[i] = -1;
        if (!pstrMark || pstrMark == pstrName)
            continue;
        size_t uiLen = (size_t)(pstrMark - pstrName);
        int s = 0;
        while (s < l->iNumSources && (strlen(twLayers_SourceName(s)) != uiLen ||
                                      strncmp(twLayers_SourceName(s), pstrName, uiLen) != 0))
            s++;
        if (s == l->iNumSources) {
            uint8_t* pRecord = l->pSources + (size_t)s * TW_LAYER_SIZE;
            memcpy(pRecord + TW_LAYER_NAME_OFFSET, pstrName, uiLen);
            l->iNumSources++;
        }
        l->piLayerSource[i] = s;
    }
    if (l->iNumSources < 2) {
        FreeSources();
        return;
    }
    // the rows, and pages enough for them: the records' table is made as large
    int iRows = n + l->iNumSources, iPages = 1 + iRows / l->iPageSize;
    l->piRows = (int32_t*)twMem_Malloc((uint32_t)iRows * 4, "piLayerRows");
    l->piSourceShown = (int32_t*)twMem_Malloc((uint32_t)l->iNumSources * 4, "piSourceShown");
    uint8_t* pMore = iPages > l->iNumPages
                         ? (uint8_t*)twMem_Malloc((uint32_t)iPages * l->iPageSize * TW_LAYER_SIZE, "pLayers")
                         : nullptr;
    if (!l->piRows || !l->piSourceShown || (iPages > l->iNumPages && !pMore)) {
        twLogError("twLayers_Load", "!malloc : piLayerRows: the layers are listed ungrouped\n");
        twMem_Free(pMore);
        FreeSources();
        return;
    }
    if (pMore) {
        memset(pMore, 0, (size_t)iPages * l->iPageSize * TW_LAYER_SIZE);
        memcpy(pMore, l->pLayers, (size_t)n * TW_LAYER_SIZE);
        twMem_Free(l->pLayers);
        l->pLayers = pMore;
        l->iNumPages = iPages;
    }
    for (int s = 0; s < l->iNumSources; s++) {
        l->piRows[l->iNumRows++] = -1 - s;
        for (int i = 0; i < n; i++)
            if (l->piLayerSource[i] == s)
                l->piRows[l->iNumRows++] = i;
    }
    for (int i = 0; i < n; i++)
        if (l->piLayerSource[i] < 0)
            l->piRows[l->iNumRows++] = i;
    twLayers_SyncSources();
}

int twLayers_NumSources(void) { return pLayers ? pLayers->iNumSources : 0; }

const char* twLayers_SourceName(int iSource)
{
    if (!pLayers || iSource < 0 || iSource >= pLayers->iNumSources)
        return nullptr;
    return LayerName(pLayers->pSources + (size_t)iSource * TW_LAYER_SIZE);
}

int twLayers_SourceVisible(int iSource)
{
    for (int i = 0; pLayers && pLayers->piLayerSource && i < pLayers->iNumLayers; i++)
        if (pLayers->piLayerSource[i] == iSource && twLayers_IsVisible(i))
            return 1;
    return 0;
}

void twLayers_SetSourceVisible(int iSource, int bVisible)
{
    for (int i = 0; pLayers && pLayers->piLayerSource && i < pLayers->iNumLayers; i++)
        if (pLayers->piLayerSource[i] == iSource)
            twLayers_SetVisible(i, bVisible);
    twLayers_SyncSources();
}

void twLayers_SyncSources(void)
{
    TwLayers* l = pLayers;
    if (!l || !l->piSourceShown)
        return;
    for (int s = 0; s < l->iNumSources; s++) {
        int32_t* piWord = (int32_t*)(l->pSources + (size_t)s * TW_LAYER_SIZE + TW_LAYER_VISIBLE_OFFSET);
        int32_t iWord;
        memcpy(&iWord, piWord, 4);
        if (iWord != l->piSourceShown[s])
            for (int i = 0; i < l->iNumLayers; i++)
                if (l->piLayerSource[i] == s)
                    twLayers_SetVisible(i, iWord);
        iWord = l->piSourceShown[s] = twLayers_SourceVisible(s);
        memcpy(piWord, &iWord, 4);
    }
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
    FreeSources();
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
    GroupBySource();
    UpdatePointers();
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
    twLayers_SyncSources();
    return iHidden;
}

int twLayers_Free(void)
{
    if (!pLayers)
        return 1;
    FreeSources();
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
