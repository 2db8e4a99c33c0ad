#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/vector.h"
#include "platform/ogl.h"
#include "world/world.h"

#define GROUPS_TAG "twWorld_CreateElementGroups"
#define GEOMETRY_TAG "twWorld_CreateElementGroupGeometry"

// The batch under construction: its data is gathered in the temp buffer, vertices from
// the start and indices from TW_BATCH_INDEX_AREA on.
struct Gather {
    TwVertex* pVerts;
    uint16_t* pusIndices;
    TwBatch* pBatch;
};

// Puts an element into the group being built; its pointer goes to the scratch list.
static void Join(TwElementGroup* pGroup, TwElement** ppScratch, TwElement* pElement)
{
    ppScratch[pGroup->iNumElements++] = pElement;
    pGroup->iNumMeshes += pElement->iNumMeshes;
    pElement->pElementGroup = pGroup;
}

int twWorld_CreateElementGroups(void)
{
    TwWorld* w = pWorld;
    for (int e = 0; e < w->iNumElements; e++)
        w->pElements[e].pElementGroup = nullptr;
    int64_t iBytes = (int64_t)w->iNumElements * (sizeof(TwElementGroup) + sizeof(TwElement*));
    uint8_t* pucTemp = iBytes <= TW_TEMP_BUFFER_SIZE ? (uint8_t*)twMem_GetTempBuffer((int)iBytes, 1) : nullptr;
    if (!pucTemp) {
        twLogError(GROUPS_TAG, "!twMem_GetTempBuffer : pTempBuffer\n");
        return 0;
    }
    TwElementGroup* pGroups = (TwElementGroup*)pucTemp;
    TwElement** ppScratch = (TwElement**)(pucTemp + (size_t)w->iNumElements * sizeof(TwElementGroup));
    int iNumGroups = 0;
    for (int e = 0; e < w->iNumElements; e++) {
        TwElement* pFirst = &w->pElements[e];
        if (pFirst->pElementGroup)
            continue;
        TwElementGroup* pGroup = &pGroups[iNumGroups++];
        pGroup->iNumElements = 0;
        Join(pGroup, ppScratch, pFirst);
        memcpy(pGroup->vCentre, pFirst->vCentre, sizeof(pGroup->vCentre));
        memcpy(pGroup->vHalfSize, pFirst->vHalfSize, sizeof(pGroup->vHalfSize));
        pGroup->fRadius = twVec_Length(pGroup->vHalfSize);
        pGroup->fRadiusSq = pGroup->fRadius * pGroup->fRadius;
        // one greedy pass: the merged box grows as elements join, and an element left
        // out is not looked at again
        for (int k = 0; k < w->iNumElements; k++) {
            TwElement* pElement = &w->pElements[k];
            if (pElement->pElementGroup || pGroup->iNumMeshes > TW_GROUP_MESH_CAP)
                continue;
            float afCentre[3], afHalf[3];
            twCore_MergeBoxes(pGroup->vCentre, pGroup->vHalfSize, pElement->vCentre, pElement->vHalfSize, afCentre,
                              afHalf);
            float fRadius = twVec_Length(afHalf);
            if (fRadius > TW_GROUP_MAX_RADIUS)
                continue;
            Join(pGroup, ppScratch, pElement);
            memcpy(pGroup->vCentre, afCentre, sizeof(afCentre));
            memcpy(pGroup->vHalfSize, afHalf, sizeof(afHalf));
            pGroup->fRadius = fRadius;
            pGroup->fRadiusSq = fRadius * fRadius;
        }
        pGroup->ppElements = (TwElement**)twMem_Malloc((uint32_t)(pGroup->iNumElements + 1) * sizeof(TwElement*),
                                                       "pElementGroup->ppElements");
        if (!pGroup->ppElements) {
            twLogError(GROUPS_TAG, "!malloc : pElementGroup->ppElements\n");
            return 0;
        }
        memcpy(pGroup->ppElements, ppScratch, pGroup->iNumElements * sizeof(TwElement*));
    }
    w->pElementGroups =
        (TwElementGroup*)twMem_Malloc((uint32_t)iNumGroups * sizeof(TwElementGroup), "pWorld->pElementGroups");
    if (!w->pElementGroups) {
        twLogError(GROUPS_TAG, "!malloc : pWorld->pElementGroups\n");
        return 0;
    }
    memcpy(w->pElementGroups, pGroups, (size_t)iNumGroups * sizeof(TwElementGroup));
    w->iNumElementGroups = iNumGroups;
    for (int g = 0; g < iNumGroups; g++)
        w->pElementGroups[g].pData = &w->pElementGroups[g];
    twLog(GROUPS_TAG, "Number of elementgroups = %d\n", iNumGroups);
    return 1;
}

// Stage one: a render array for each material the group uses, in ascending order
static int CreateRenderArrays(int32_t* piCounters)
{
    TwWorld* w = pWorld;
    for (int g = 0; g < w->iNumElementGroups; g++) {
        TwElementGroup* pGroup = &w->pElementGroups[g];
        memset(piCounters, 0, (size_t)w->iNumMaterials * 4);
        for (int e = 0; e < pGroup->iNumElements; e++) {
            const TwElement* pElement = pGroup->ppElements[e];
            for (int m = 0; m < pElement->iNumMeshes; m++)
                piCounters[pElement->pMeshes[m].iMaterial]++;
        }
        int iCount = 0;
        for (int i = 0; i < w->iNumMaterials; i++)
            if (piCounters[i])
                iCount++;
        if (!iCount || !w->iNumMaterials) {
            twLogError(GEOMETRY_TAG, "Element group %d has zero materials\n", g);
            return 0;
        }
        pGroup->pRenderArrays =
            (TwRenderArray*)twMem_Malloc((uint32_t)iCount * sizeof(TwRenderArray), "pElementGroup->pRenderArrays");
        if (!pGroup->pRenderArrays) {
            twLogError(GEOMETRY_TAG, "!malloc : pRenderArrays\n");
            return 0;
        }
        pGroup->iNumRenderArrays = iCount;
        int iNext = 0;
        for (int i = 0; i < w->iNumMaterials; i++)
            if (piCounters[i])
                pGroup->pRenderArrays[iNext++].iMaterial = i;
    }
    return 1;
}

// Puts the gathered batch into GL buffers, or into arrays of its own, and into the list.
static int FinishBatch(TwRenderArray* pArray, Gather* pGather, int bVbo)
{
    TwBatch* pBatch = pGather->pBatch;
    pGather->pBatch = nullptr;
    int iVertBytes = pBatch->usNumVerts * (int)sizeof(TwVertex);
    int iIndexBytes = pBatch->usNumIndices * 2;
    if (bVbo) {
        pBatch->hVboVerts = twOgl_CreateVbo(0, 0, iVertBytes, pGather->pVerts);
        if (pBatch->hVboVerts) {
            pBatch->hVboIndices = twOgl_CreateVbo(0, 1, iIndexBytes, pGather->pusIndices);
            if (!pBatch->hVboIndices) {
                twOgl_FreeVbo(pBatch->hVboVerts);
                pBatch->hVboVerts = 0;
            }
        }
    }
    if (!pBatch->hVboVerts) {
        pBatch->pVerts = (TwVertex*)twMem_Malloc((uint32_t)iVertBytes, "pBatch->pVerts");
        if (!pBatch->pVerts) {
            twLogError(GEOMETRY_TAG, "!malloc : pBatch->pVerts\n");
            twMem_Free(pBatch);
            return 0;
        }
        pBatch->pusIndices = (uint16_t*)twMem_Malloc((uint32_t)iIndexBytes, "pBatch->pusIndices");
        if (!pBatch->pusIndices) {
            twLogError(GEOMETRY_TAG, "!malloc : pBatch->pusIndices\n");
            twMem_Free(pBatch->pVerts);
            twMem_Free(pBatch);
            return 0;
        }
        memcpy(pBatch->pVerts, pGather->pVerts, iVertBytes);
        memcpy(pBatch->pusIndices, pGather->pusIndices, iIndexBytes);
    }
    if (!pArray->pBatchList || twList_AddPointer(pArray->pBatchList, pBatch) < 0) {
        twLogError(GEOMETRY_TAG, "!twList_AddPointer : pBatch\n");
        twWorld_FreeDrawArrays(pBatch->hVboVerts, pBatch->hVboIndices, pBatch->pVerts, pBatch->pusIndices);
        twMem_Free(pBatch);
        return 0;
    }
    return 1;
}

static int AppendMesh(TwRenderArray* pArray, Gather* pGather, const TwMesh* pMesh, int bVbo)
{
    TwBatch* pBatch = pGather->pBatch;
    if (pBatch && pBatch->usNumIndices + pMesh->usNumIndices >= TW_BATCH_INDEX_CAP && !FinishBatch(pArray, pGather, bVbo))
        return 0;
    // u16 indices reach no further than 65535 vertices: a batch that would pass that
    // closes, where it would otherwise wrap its counts
    pBatch = pGather->pBatch;
    if (pBatch && pBatch->usNumVerts + pMesh->usNumVerts > TW_BATCH_MAX_VERTS) {
        twLog(GEOMETRY_TAG, "Batch closed at %d vertices\n", pBatch->usNumVerts);
        if (!FinishBatch(pArray, pGather, bVbo))
            return 0;
    }
    if (!pGather->pBatch) {
        pGather->pBatch = (TwBatch*)twMem_Malloc(sizeof(TwBatch), "pBatch");
        if (!pGather->pBatch) {
            twLogError(GEOMETRY_TAG, "!malloc : pBatch\n");
            return 0;
        }
    }
    pBatch = pGather->pBatch;
    memcpy(pGather->pVerts + pBatch->usNumVerts, pMesh->pVerts, pMesh->usNumVerts * sizeof(TwVertex));
    uint16_t* pusOut = pGather->pusIndices + pBatch->usNumIndices;
    for (int i = 0; i < pMesh->usNumIndices; i++)
        pusOut[i] = (uint16_t)(pMesh->pusIndices[i] + pBatch->usNumVerts);
    pBatch->usNumVerts = (uint16_t)(pBatch->usNumVerts + pMesh->usNumVerts);
    pBatch->usNumIndices = (uint16_t)(pBatch->usNumIndices + pMesh->usNumIndices);
    return 1;
}

// Stage two: the meshes of each render array into batches
static int FillRenderArray(TwElementGroup* pGroup, TwRenderArray* pArray, Gather* pGather, int bVbo)
{
    pArray->pElementGroup = pGroup;
    for (int e = 0; e < pGroup->iNumElements; e++) {
        TwElement* pElement = pGroup->ppElements[e];
        for (int m = 0; m < pElement->iNumMeshes; m++) {
            TwMesh* pMesh = &pElement->pMeshes[m];
            if (pMesh->iMaterial != pArray->iMaterial)
                continue;
            int iAdded = twList_AddPointerNew(&pArray->pMeshListBatch, pMesh, "pRenderArray->pMeshListBatch");
            if (iAdded == -1)
                twLogError(GEOMETRY_TAG, "!malloc : pRenderArray->pMeshListBatch\n");
            else if (iAdded < 0)
                twLogError(GEOMETRY_TAG, "!twList_AddPointer\n");
            if (iAdded < 0)
                return 0;
        }
    }
    if (!pArray->pMeshListBatch)
        return 1;
    pArray->pBatchList = (TwList*)twMem_Malloc(sizeof(TwList), "pRenderArray->pBatchList");
    if (!pArray->pBatchList)
        twLogError(GEOMETRY_TAG, "!malloc : pBatchList\n");
    pGather->pBatch = nullptr;
    for (TwList* pNode = pArray->pMeshListBatch->pNext; pNode; pNode = pNode->pNext)
        if (pNode->pData && !AppendMesh(pArray, pGather, (const TwMesh*)pNode->pData, bVbo))
            return 0;
    if (pGather->pBatch && !FinishBatch(pArray, pGather, bVbo))
        return 0;
    return 1;
}

int twWorld_CreateElementGroupGeometry(int bVbo)
{
    TwWorld* w = pWorld;
    twLog(GEOMETRY_TAG, "Creating material and render arrays\n");
    twLog(GEOMETRY_TAG, "Vbo is %s\n", bVbo ? "enabled" : "disabled");
    int32_t* piCounters = (int32_t*)twMem_GetTempBuffer(w->iNumMaterials * 4, 1);
    if (!piCounters) {
        twLogError(GEOMETRY_TAG, "!twMem_GetTempBuffer\n");
        return 0;
    }
    if (!CreateRenderArrays(piCounters))
        return 0;
    twLog(GEOMETRY_TAG, "Copying data to render arrays\n");
    uint8_t* pucTemp = (uint8_t*)twMem_GetTempBuffer(0, 0);
    Gather gather;
    gather.pVerts = (TwVertex*)pucTemp;
    gather.pusIndices = (uint16_t*)(pucTemp + TW_BATCH_INDEX_AREA);
    gather.pBatch = nullptr;
    for (int g = 0; g < w->iNumElementGroups; g++) {
        TwElementGroup* pGroup = &w->pElementGroups[g];
        for (int r = 0; r < pGroup->iNumRenderArrays; r++)
            if (!FillRenderArray(pGroup, &pGroup->pRenderArrays[r], &gather, bVbo)) {
                if (gather.pBatch)
                    twMem_Free(gather.pBatch);
                return 0;
            }
    }
    return 1;
}
