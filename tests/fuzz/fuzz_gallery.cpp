// The gallery reader on any bytes. The record is set up as the program's start does it,
// without the kind images, which need a window. What loads must be whole cameras, and must
// write out and read back to the same count of items.
#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "interface/gallery.h"
#include "interface/section.h"
#include "tests/fuzz/fuzz_common.h"

static float s_vPos[3], s_vAngles[3], s_vTopAngles[3], s_vOrthoCentre[3], s_fHalfWidth;
static int32_t s_bTop;

static void StartGallery(void)
{
    pGallery = (TwGallery*)twMem_Malloc(sizeof(TwGallery), "pGallery");
    TwGallery* g = pGallery;
    g->iMaxKeys = 64; // small, so that counts past the buffer are easy to reach
    g->pRecKeys = (TwGalleryKey*)twMem_Malloc(g->iMaxKeys * sizeof(TwGalleryKey), "pGallery->pRecKeys");
    twList_Init(&g->pItems);
    g->iKeysPerSecond = 20;
    g->fKeyTime = 0.05f;
    g->bForward = g->bPlayAll = 1;
    g->iLastKey = -1;
    g->pvPos = s_vPos;
    g->pfAngles = s_vAngles;
    g->pfTopAngles = s_vTopAngles;
    g->pvOrthoCentre = s_vOrthoCentre;
    g->pfOrthoHalfWidth = &s_fHalfWidth;
    g->pbTop = &s_bTop;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t uiSize)
{
    FuzzStartServices();
    if (!pGallery)
        StartGallery();
    if (!pSection)
        twSection_Init();
    twGallery_Free();
    FILE* pFile = FuzzOpen(pData, uiSize);
    if (!pFile)
        return 0;
    twGallery_Load(pFile, (int64_t)uiSize);
    fclose(pFile);
    int iCount = twGallery_GetNumItems();
    for (TwList* n = pGallery->pItems.pNext; n; n = n->pNext) {
        TwGalleryItem* pItem = (TwGalleryItem*)n->pData;
        if (pItem->bDeleted)
            continue;
        if (pItem->pNavpoint && !isfinite(pItem->pNavpoint->fFov))
            abort();
        // a view's cut reads whole or changes nothing, and what it reads writes out the same
        if (pItem->pstrCut && twSection_ReadState(pItem->pstrCut, pItem->iCutLength)) {
            static char s_szState[TW_SECTION_STATE_SIZE], s_szAgain[TW_SECTION_STATE_SIZE];
            int iLength = twSection_WriteState(s_szState, sizeof(s_szState));
            if (iLength < 0 || !twSection_ReadState(s_szState, iLength) ||
                twSection_WriteState(s_szAgain, sizeof(s_szAgain)) != iLength || memcmp(s_szState, s_szAgain, iLength))
                abort();
        }
        for (int k = 0; pItem->pClip && k < pItem->pClip->iNumKeys; k++)
            if (!isfinite(pItem->pClip->pKeys[k].vPos[0]) || !isfinite(pItem->pClip->pKeys[k].fOrthoHalfWidth))
                abort();
    }
    // a clip plays through without reading past its keys
    if (twGallery_PlayFromTop())
        for (int i = 0; i < 8; i++)
            twGallery_Update(0.3f);
    twGallery_StopPlaying();
    static char s_szPath[64];
    if (!s_szPath[0])
        snprintf(s_szPath, sizeof(s_szPath), "/tmp/amb_fuzz_gallery_%d", (int)getpid());
    if (iCount && twGallery_Save(s_szPath)) {
        twGallery_Free();
        FILE* pSaved = fopen(s_szPath, "rb");
        if (!pSaved || !twGallery_Load(pSaved, -1) || twGallery_GetNumItems() != iCount)
            abort();
        fclose(pSaved);
        remove(s_szPath);
    }
    return 0;
}
