#include "world/world.h"
#include "render/render.h"

#include <GL/glew.h>
#include <stddef.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "interface/layers.h"
#include "interface/section.h"
#include "light/light.h"
#include "platform/ogl.h"
#include "world/tree.h"

TwWorld* pWorld = nullptr;

#define OC_SIZE 512
#define EXPOSURE_SIZE 256

// The exposure curve: 256 luminance bytes as a 1D texture
static TwTexture* LoadExposure(void)
{
    const char* pstrTag = "twWorld_Init";
    int iSize = 0;
    FILE* pFile = twCore_GetResource("Exposure8.raw", &iSize);
    if (!pFile) {
        twLogError(pstrTag, "!twCore_GetResource : Exposure8.raw\n");
        return nullptr;
    }
    uint8_t* pucTable = (uint8_t*)twMem_GetTempBuffer(EXPOSURE_SIZE, 1);
    if (!pucTable) {
        twLogError(pstrTag, "!twMem_GetTempBuffer\n");
        fclose(pFile);
        return nullptr;
    }
    if (iSize < EXPOSURE_SIZE || fread(pucTable, 1, EXPOSURE_SIZE, pFile) != EXPOSURE_SIZE)
        twLogError(pstrTag, "!fread : Exposure8.raw is short\n");
    fclose(pFile);
    TwTexture* pTexture = (TwTexture*)twMem_Malloc(sizeof(TwTexture), "pExposureTexture");
    if (!pTexture) {
        twLogError(pstrTag, "!malloc : pExposureTexture\n");
        return nullptr;
    }
    snprintf(pTexture->szName, sizeof(pTexture->szName), "Exposure8.raw");
    pTexture->iWidth = EXPOSURE_SIZE;
    pTexture->iHeight = 1;
    glGenTextures(1, &pTexture->hTexture);
    glBindTexture(GL_TEXTURE_1D, pTexture->hTexture);
    glTexImage1D(GL_TEXTURE_1D, 0, GL_LUMINANCE, EXPOSURE_SIZE, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE, pucTable);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_WRAP_S, GL_CLAMP);
    glBindTexture(GL_TEXTURE_1D, 0);
    return pTexture;
}

static void FreeBlock(void* pBlock)
{
    if (pBlock)
        twMem_Free(pBlock);
}

static void FreeBatches(TwList** ppBatchList)
{
    for (TwList* pNode = (*ppBatchList)->pNext; pNode; pNode = pNode->pNext) {
        TwBatch* pBatch = (TwBatch*)pNode->pData;
        if (!pBatch)
            continue;
        twWorld_FreeDrawArrays(pBatch->hVboVerts, pBatch->hVboIndices, pBatch->pVerts, pBatch->pusIndices);
        twMem_Free(pBatch);
    }
    twList_Delete(ppBatchList, 0);
}

static void FreeElementGroups(void)
{
    for (int i = 0; i < pWorld->iNumElementGroups; i++) {
        TwElementGroup* pGroup = &pWorld->pElementGroups[i];
        FreeBlock(pGroup->ppElements);
        FreeBlock(pGroup->pOccluderVerts);
        FreeBlock(pGroup->pusOccluderIndices);
        FreeBlock(pGroup->pVisVerts);
        FreeBlock(pGroup->pusVisIndices);
        twOgl_FreeVbo(pGroup->hVboVisVerts);
        twOgl_FreeVbo(pGroup->hVboVisIndices);
        twOgl_FreeVbo(pGroup->hVboOccluderVerts);
        twOgl_FreeVbo(pGroup->hVboOccluderIndices);
        for (int r = 0; r < pGroup->iNumRenderArrays && pGroup->pRenderArrays; r++) {
            TwRenderArray* pArray = &pGroup->pRenderArrays[r];
            if (pArray->pBatchList)
                FreeBatches(&pArray->pBatchList);
            twList_Delete(&pArray->pMeshListBatch, 0);
        }
        FreeBlock(pGroup->pRenderArrays);
    }
    twMem_Free(pWorld->pElementGroups);
    pWorld->pElementGroups = nullptr;
    pWorld->iNumElementGroups = 0;
}

static void FreeMeshes(void)
{
    for (int i = 0; i < pWorld->iNumElements; i++) {
        TwElement* pElement = &pWorld->pElements[i];
        if (!pElement->pMeshes)
            continue;
        for (int m = 0; m < pElement->iNumMeshes; m++) {
            TwMesh* pMesh = &pElement->pMeshes[m];
            if (!pMesh->bSmooth && pMesh->usNumSurfaces)
                FreeBlock(pMesh->pSurfaces);
            FreeBlock(pMesh->pusEdgeIndices);
            FreeBlock(pMesh->pusIndices);
            FreeBlock(pMesh->pVerts);
            FreeBlock(pMesh->pucVertexLight);
            twOgl_FreeVbo(pMesh->hVboVerts);
            twOgl_FreeVbo(pMesh->hVboIndices);
            twOgl_FreeVbo(pMesh->hVboEdgeIndices);
        }
        twMem_Free(pElement->pMeshes);
        pElement->pMeshes = nullptr;
    }
}

int twWorld_Init(int iWidth, int iHeight, int bUseVbo)
{
    const char* pstrTag = "twWorld_Init";
    if (!twCore_GetDataDir()) {
        twLogError(pstrTag, "!twCore_GetDataDir\n");
        return 0;
    }
    if (pWorld) {
        twLogError(pstrTag, "Already initialized\n");
        return 0;
    }
    pWorld = (TwWorld*)twMem_Malloc(sizeof(TwWorld), "pWorld");
    if (!pWorld) {
        twLogError(pstrTag, "!malloc : pWorld\n");
        return 0;
    }
    pWorld->iWidth = iWidth;
    pWorld->iHeight = iHeight;
    pWorld->bUseVbo = bUseVbo;
    pWorld->iCurrentVp = pWorld->iCurrentFp = -1;
    pWorld->iOcSize = OC_SIZE;
    pWorld->iLightQuality = TW_LIGHT_QUALITY_DEFAULT;
    pWorld->fLightRangeInit = TW_LIGHT_RANGE_DEFAULT;
    pWorld->iLightmapSize = TW_LIGHTMAP_SIZE;
    pWorld->bSampleHi = 1;
    pWorld->iSamplePath = TW_SAMPLE_CHOOSE;
    pWorld->pOcTex = twOgl_CreateTexture("pWorld->pOcTex", OC_SIZE, OC_SIZE, GL_RGBA, 0, 0, 2, GL_RGBA, nullptr);
    if (!pWorld->pOcTex) {
        twLogError(pstrTag, "!twOgl_CreateTexture : pOcTex\n");
        return 0;
    }
    pWorld->pFlareTex = twOgl_LoadResourceTexture("Flare.tga", "Flare.tga", "pFlareTex", pstrTag);
    if (!pWorld->pFlareTex)
        return 0;
    pWorld->pFlareTex2 = twOgl_LoadResourceTexture("Flare2.tga", "Flare2.tga", "pFlareTex2", pstrTag);
    if (!pWorld->pFlareTex2)
        return 0;
    pWorld->pExposureTexture = LoadExposure();
    return pWorld->pExposureTexture != nullptr;
}

int twWorld_Free(void)
{
    const char* pstrTag = "twWorld_Free";
    if (!pWorld)
        return 1;
    // the light hangs off the render arrays and meshes: it goes first
    if (pWorld->bSurfacesInitialised)
        twWorld_FreeRad();
    if (pWorld->pBspVolumeList) {
        twLog(pstrTag, "Freeing phys tree\n");
        for (TwList* pNode = pWorld->pBspVolumeList->pNext; pNode; pNode = pNode->pNext) {
            TwBspVolume* pVolume = (TwBspVolume*)pNode->pData;
            if (pVolume && pVolume->ppPhysTris)
                twMem_Free(pVolume->ppPhysTris);
            if (pVolume)
                twMem_Free(pVolume);
        }
        twList_Free(pWorld->pBspVolumeList, 0);
        twMem_Free(pWorld->pBspVolumeList);
    }
    if (pWorld->pBspVolume) {
        twLog(pstrTag, "Freeing bsp volume\n");
        if (pWorld->pBspVolume->ppPhysTris)
            twMem_Free(pWorld->pBspVolume->ppPhysTris);
        twMem_Free(pWorld->pBspVolume);
    }
    if (pWorld->pElementGroupTree) {
        twLog(pstrTag, "Freeing element group item tree bsp\n");
        twTree_Free(pWorld->pElementGroupTree);
    }
    if (pWorld->pElementGroups) {
        twLog(pstrTag, "Freeing element groups\n");
        FreeElementGroups();
    }
    if (pWorld->pElements) {
        twLog(pstrTag, "Freeing element meshes\n");
        FreeMeshes();
        twLog(pstrTag, "Freeing elements\n");
        twMem_Free(pWorld->pElements);
        pWorld->pElements = nullptr;
    }
    if (pWorld->ppElementGroupItemsFromTree) {
        twLog(pstrTag, "Freeing pp elementgroups items\n");
        twMem_Free(pWorld->ppElementGroupItemsFromTree);
    }
    if (pWorld->ppElementGroupsInRange) {
        twLog(pstrTag, "Freeing pp elementgroups in range\n");
        twMem_Free(pWorld->ppElementGroupsInRange);
    }
    if (pWorld->ppTextures) {
        twLog(pstrTag, "Freeing textures\n");
        for (int i = 0; i < pWorld->iNumTextures; i++) {
            TwTexture* pTexture = pWorld->ppTextures[i];
            // the shared white and default textures belong to the GL layer
            if (pTexture && pTexture != twOgl_GetWhiteTexture() && pTexture != twOgl_GetDefaultTexture())
                twOgl_FreeTexture(pTexture);
        }
        twMem_Free(pWorld->ppTextures);
    }
    twWorld_FreeElementInfo();
    FreeBlock(pWorld->pMaterials);
    FreeBlock(pWorld->ppMeshes);
    FreeBlock(pWorld->ppMeshesVisible);
    FreeBlock(pWorld->piMeshesVisible);
    FreeBlock(pWorld->pucElementShown);
    FreeBlock(pWorld->pucElementGlass);
    twWorld_FreeCaps();
    // counters, boxes, header words and stamps all return to zero together
    size_t uiStart = offsetof(TwWorld, bLoaded);
    memset((uint8_t*)pWorld + uiStart, 0, sizeof(TwWorld) - uiStart);
    twLog(pstrTag, "Done freeing world\n");
    return 1;
}

void twWorld_Shutdown(void)
{
    if (!pWorld)
        return;
    twLog("twWorld_Shutdown", "Freeing world\n");
    twWorld_Free();
    twWorld_FreeShadows();
    twOgl_ReleaseTexture(&pWorld->pOcTex);
    twOgl_ReleaseTexture(&pWorld->pFlareTex);
    twOgl_ReleaseTexture(&pWorld->pFlareTex2);
    twOgl_ReleaseTexture(&pWorld->pExposureTexture);
    twOgl_ReleaseTexture(&pWorld->pSamplerResultTexLo);
    twOgl_ReleaseTexture(&pWorld->pSamplerResultTexHi);
    twWorld_FreeSampler();
    FreeBlock(pWorld->pSampleDataLo);
    FreeBlock(pWorld->pSampleDataHi);
    FreeBlock(pWorld->pSurfaceLightData);
    twMem_Free(pWorld);
    pWorld = nullptr;
}

void twWorld_UpdateHiddenElements(void)
{
    if (!pWorld || !pWorld->bLoaded)
        return;
    twLayers_SyncSources(); // a model's row pressed: its layers follow
    pWorld->bAnyHiddenElements = 0;
    pWorld->uiCutVersion++; // the cut's outlines are of what shows
    // the layers, then the section tool's hidden classes and its X-ray or isolation
    pWorld->iNumGlass = 0;
    for (int e = 0; pWorld->pucElementShown && e < pWorld->iNumElements; e++) {
        int iState = twLayers_IsVisible(pWorld->pElements[e].iLayer) ? twSection_ElementState(e) : TW_SECTION_HIDDEN;
        pWorld->pucElementShown[e] = iState == TW_SECTION_SHOWN;
        if (pWorld->pucElementGlass) {
            pWorld->pucElementGlass[e] = iState == TW_SECTION_GLASS;
            pWorld->iNumGlass += iState == TW_SECTION_GLASS;
        }
    }
    for (int g = 0; g < pWorld->iNumElementGroups; g++) {
        TwElementGroup* pGroup = &pWorld->pElementGroups[g];
        pGroup->bHasHiddenElements = 0;
        for (int e = 0; e < pGroup->iNumElements && !pGroup->bHasHiddenElements; e++)
            if (!twWorld_ElementShown(pGroup->ppElements[e]))
                pGroup->bHasHiddenElements = 1;
        if (pGroup->bHasHiddenElements)
            pWorld->bAnyHiddenElements = 1;
    }
}

int twWorld_ElementShown(const TwElement* pElement)
{
    const TwWorld* w = pWorld;
    ptrdiff_t i = pElement - w->pElements;
    if (!w->pucElementShown || i < 0 || i >= w->iNumElements)
        return 0;
    return w->pucElementShown[i];
}

int twWorld_GetModelLocation(char* pstrPathOut)
{
    if (!pWorld)
        return 0;
    if (pstrPathOut)
        snprintf(pstrPathOut, TW_PATH_SIZE, "%s", pWorld->szModelPath);
    return pWorld->iModelSource;
}

int twWorld_CollidesByType(int iType)
{
    return iType != TW_TYPE_FURNISHING && iType != TW_TYPE_DOOR &&
           !(iType >= TW_TYPE_PASSABLE_FIRST && iType <= TW_TYPE_PASSABLE_LAST);
}

int twWorld_GrowsBuildingByType(int iType)
{
    return iType == TW_TYPE_WALL || iType == TW_TYPE_SLAB || iType == TW_TYPE_ROOF || iType == TW_TYPE_COLUMN;
}

int twWorld_OccludesByType(int iType)
{
    return iType != TW_TYPE_DOOR && iType != TW_TYPE_NO_OCCLUDER;
}

void twWorld_FreeDrawArrays(uint32_t hVboVerts, uint32_t hVboIndices, void* pVerts, void* pusIndices)
{
    twOgl_FreeVbo(hVboVerts);
    twOgl_FreeVbo(hVboIndices);
    FreeBlock(pVerts);
    FreeBlock(pusIndices);
}
