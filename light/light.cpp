// The light solution's set-up and teardown: the frame of a solution (quality, range,
// surface order, rectangles, packing) is built once a model, computed and written to Temp
// or read from where an earlier solution was kept.
#include <GL/glew.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "light/light.h"
#include "render/render.h"
#include "platform/ogl.h"

#define INIT_TAG "twWorld_InitLight"
#define SAMPLER_TAG "twWorld_InitSamplerTex"
#define FREE_TAG "twWorld_FreeRad"
#define SAMPLER_LEVELS 6 // mipmap levels of the high sample image down to one pixel

static void SetStatus(int iTextId)
{
    snprintf(pWorld->szLightStatus, sizeof(pWorld->szLightStatus), "%s", twStrings_Get(iTextId));
}

static TwTexture* CreateSamplerTexture(int iSize, const char* pstrFailure)
{
    TwTexture* pTexture = twOgl_CreateTexture("pSamplerResultTex", iSize, iSize, GL_RGBA, 0, 0, 1, GL_RGBA, nullptr);
    if (!pTexture) {
        twLogError(SAMPLER_TAG, "%s", pstrFailure);
        return nullptr;
    }
    glBindTexture(GL_TEXTURE_2D, pTexture->hTexture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST_MIPMAP_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP);
    glBindTexture(GL_TEXTURE_2D, 0);
    return pTexture;
}

int twWorld_InitSamplerTex(void)
{
    TwWorld* w = pWorld;
    w->iSamplerSizeHi = TW_SAMPLER_SIZE_HI;
    w->iSamplerSizeLo = TW_SAMPLER_SIZE_LO;
    w->iSamplerLevels = SAMPLER_LEVELS;
    w->iLightmapSize = TW_LIGHTMAP_SIZE;
    w->bColourLightmaps = 0;
    w->bGpuReduce = 0;
    // the sampler's textures and buffers serve every model: made once
    if (!w->pSamplerResultTexHi) {
        w->pSamplerResultTexHi =
            CreateSamplerTexture(w->iSamplerSizeHi, "!twOgl_CreateTexture : pSamplerResultTexHi\n");
        if (!w->pSamplerResultTexHi)
            return 0;
    }
    if (!w->pSamplerResultTexLo) {
        w->pSamplerResultTexLo =
            CreateSamplerTexture(w->iSamplerSizeLo, "!twOgl_CreateTexture : pSamplerResultTexLo\n");
        if (!w->pSamplerResultTexLo)
            return 0;
    }
    if (!w->pSurfaceLightData) {
        uint32_t uiBytes = (uint32_t)(w->iLightmapSize * w->iLightmapSize * 3);
        w->pSurfaceLightData = (uint8_t*)twMem_Malloc(uiBytes, "pSurfaceLightData");
        if (!w->pSurfaceLightData) {
            twLogError(SAMPLER_TAG, "!malloc : pSurfaceLightData\n");
            return 0;
        }
    }
    return 1;
}

// The read-back buffers of the two sample sizes
static int AllocateSampleData(void)
{
    TwWorld* w = pWorld;
    uint8_t** appData[2] = {&w->pSampleDataHi, &w->pSampleDataLo};
    const int aiSide[2] = {w->iSamplerSizeHi, w->iSamplerSizeLo};
    const char* apstrFailure[2] = {"!malloc : pSampleDataHi\n", "!malloc : pSampleDataLo\n"};
    for (int i = 0; i < 2; i++) {
        if (*appData[i])
            continue;
        *appData[i] = (uint8_t*)twMem_Malloc((uint32_t)(aiSide[i] * aiSide[i] * 4), "pWorld->pSampleData");
        if (!*appData[i]) {
            twLogError(INIT_TAG, "%s", apstrFailure[i]);
            return 0;
        }
    }
    return 1;
}

static int InitLight(int bNewInit, const char* pstrExternal)
{
    TwWorld* w = pWorld;
    if (!w)
        return 0;
    // the quality and range of an existing solution win over the present settings
    if (!bNewInit ? !twWorld_ReadLightInit(pstrExternal) : !twWorld_WriteLightInit())
        return 0;
    w->fLightRange = w->fLightRangeInit;
    twLog(INIT_TAG, "Initializing light (new init = %d path to external exe = %d)\n", bNewInit, pstrExternal != nullptr);
    // the words say "light" although the test is for the model
    if (!w->bLoaded) {
        twLogError(INIT_TAG, "!Light already initialized\n");
        return 0;
    }
    SetStatus(TW_STR_LIGHT_PREPARING);
    if (w->pfnLightProgress)
        w->pfnLightProgress();
    SetStatus(TW_STR_LIGHT_PACKING);
    if (w->bSurfacesInitialised) {
        twLogError(INIT_TAG, "Surfaces already initialized (or previous attempt failed)\n");
        return 0;
    }
    w->bSurfacesInitialised = 1;
    if (!twWorld_InitSamplerTex()) {
        twLogError(INIT_TAG, "!twWorld_InitSamplerTex\n");
        return 0;
    }
    if (!twWorld_InitSurfaces(!bNewInit, pstrExternal)) {
        twLogError(INIT_TAG, "!twWorld_InitSurfaces\n");
        return 0;
    }
    if (!twWorld_InitSurfacesPart2(!bNewInit, pstrExternal)) {
        twLogError(INIT_TAG, "!twWorld_InitSurfacesPart2\n");
        return 0;
    }
    if (!twWorld_InitSmoothMeshesForLighting()) {
        twLogError(INIT_TAG, "!twWorld_InitSmoothMeshesForLighting\n");
        return 0;
    }
    if (!AllocateSampleData())
        return 0;
    for (int g = 0; g < w->iNumElementGroups; g++)
        w->pElementGroups[g].uiVisibleFrame = 0;
    w->bLightInitialised = 1;
    w->bLightNewInit = bNewInit;
    w->iCurrentSurface = w->iCurrentMesh = -1;
    twCore_FormatThousands(w->uiLightRamBytes, w->szLightRam);
    twCore_FormatThousands(w->uiLightVramBytes, w->szLightVram);
    twLog(INIT_TAG, "Number of bytes in RAM = %s\n", w->szLightRam);
    twLog(INIT_TAG, "Number of bytes in VRAM = %s\n", w->szLightVram);
    snprintf(w->szLightExternal, sizeof(w->szLightExternal), "%s", pstrExternal ? pstrExternal : "");
    SetStatus(TW_STR_LIGHT_READY);
    return 1;
}

int twWorld_InitLight(int bNewInit, const char* pstrExternal)
{
    int bOk = InitLight(bNewInit, pstrExternal);
    if (!bNewInit)
        return bOk;
    // a new frame replaces the set in Temp as one, and the old result goes with the old frame
    if (bOk)
        return twWorld_CommitLightSet(TW_LIGHT_FRAME_FILES, TW_LIGHT_RESULT_FILES);
    twWorld_DropLightParts(TW_LIGHT_FRAME_FILES);
    return 0;
}

// Frees a tracked block that is set; the caller clears its pointer
static void FreeBlock(void* pBlock)
{
    if (pBlock)
        twMem_Free(pBlock);
}

int twWorld_FreeRad(void)
{
    TwWorld* w = pWorld;
    if (!w)
        return 1;
    twWorld_FreeSampleGeometry();
    for (int g = 0; g < w->iNumElementGroups; g++)
        for (int r = 0; r < w->pElementGroups[g].iNumRenderArrays; r++) {
            TwRenderArray* pRenderArray = &w->pElementGroups[g].pRenderArrays[r];
            twList_Delete(&pRenderArray->pMeshListSmooth, 0);
            TwSurfaceArray* pArray = pRenderArray->pSurfaceArray2;
            if (!pArray)
                continue;
            for (TwList* p = pArray->pLightmapList ? pArray->pLightmapList->pNext : nullptr; p; p = p->pNext)
                if (p->pData)
                    twWorld_FreeLightmap((TwLightmap*)p->pData);
            twList_Delete(&pArray->pLightmapList, 0);
            FreeBlock(pArray->pSurfaces2);
            twMem_Free(pArray);
            pRenderArray->pSurfaceArray2 = nullptr;
        }
    w->pLightmapFilling = nullptr;
    if (w->ppSurfaces) {
        twLog(FREE_TAG, "Freeing rad pp surfaces\n");
        FreeBlock(w->ppSurfaces);
        w->ppSurfaces = nullptr;
    }
    if (w->ppSurfacesInRange) {
        twLog(FREE_TAG, "Freeing rad pp surfaces in range\n");
        FreeBlock(w->ppSurfacesInRange);
        w->ppSurfacesInRange = nullptr;
    }
    if (w->piSurfacesVisible) {
        twLog(FREE_TAG, "Freeing rad surfaces visible flags\n");
        FreeBlock(w->piSurfacesVisible);
        w->piSurfacesVisible = nullptr;
    }
    twLog(FREE_TAG, "Freeing rad data in meshes\n");
    for (int m = 0; m < w->iNumMeshes && w->ppMeshes; m++) {
        FreeBlock(w->ppMeshes[m]->pucVertexLight);
        w->ppMeshes[m]->pucVertexLight = nullptr;
    }
    w->uiNumSurfaces = 0;
    w->uiLightRamBytes = w->uiLightVramBytes = 0;
    w->bLightInitialised = 0;
    w->bSurfacesInitialised = 0;
    // the page's figures belong to the light let go
    w->szLightPercent[0] = w->szLightSurfaces[0] = w->szLightVerts[0] = 0;
    twLog(FREE_TAG, "Done freeing rad-world\n");
    return 1;
}

void twWorld_SetLightAbortCallback(TwLightAbortFn pfn)
{
    if (pWorld)
        pWorld->pfnLightAbort = pfn;
}

void twWorld_SetLightProgressCallback(TwLightProgressFn pfn)
{
    if (pWorld)
        pWorld->pfnLightProgress = pfn;
}
