#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/vector.h"
#include "world/world.h"

#define BUILD_TAG "twWorld_CreatePhysBsp"
#define RECURSE_TAG "twWorld_CreatePhysBspRecursive"
#define TRI_BYTES (3 * sizeof(TwVertex*))
#define NEARLY_ZERO 1e-30f // the Y extent never lets the size stop pass

static void MakeLeaf(TwBspVolume* pVolume)
{
    pWorld->iNumBspLeaves++;
    pVolume->bLeaf = 1;
}

static TwVertex** AllocateList(int iNumTris, const char* pstrName)
{
    return (TwVertex**)twMem_Malloc((uint32_t)iNumTris * TRI_BYTES, pstrName);
}

// Splits one node into its two children, or makes it a leaf. Returns 1 when the children
// are to be visited.
static int SplitVolume(TwBspVolume* pVolume)
{
    TwWorld* w = pWorld;
    if (pVolume->iNumPhysTris <= w->iBspMaxTrisInLeaf) {
        MakeLeaf(pVolume);
        return 0;
    }
    if (pVolume->vHalfSize[0] < w->vBspMinHalfSize[0] && pVolume->vHalfSize[2] < w->vBspMinHalfSize[2] &&
        pVolume->vHalfSize[1] < NEARLY_ZERO) {
        MakeLeaf(pVolume);
        return 0;
    }
    if (w->iBspRecurseCount >= w->iBspMaxRecurse) {
        MakeLeaf(pVolume);
        return 0;
    }
    w->iBspRecurseCount++;
    pVolume->pFront = twWorld_CreateNewVolume();
    if (!pVolume->pFront) {
        twLogError(RECURSE_TAG, "!twWorld_CreateNewVolume : pFront\n");
        return 0;
    }
    pVolume->pBack = twWorld_CreateNewVolume();
    if (!pVolume->pBack) {
        twLogError(RECURSE_TAG, "!twWorld_CreateNewVolume : pBack\n");
        return 0;
    }
    float afAxis[3];
    twBox_LongestAxis(pVolume->vHalfSize, afAxis);
    TwBspVolume* pFront = pVolume->pFront;
    TwBspVolume* pBack = pVolume->pBack;
    for (int t = 0; t < pVolume->iNumPhysTris; t++) {
        TwVertex** pp = &pVolume->ppPhysTris[t * 3];
        int iSide = twWorld_ClassifyTriangle(pVolume->vCentre, afAxis, pp[0]->vPos, pp[1]->vPos, pp[2]->vPos);
        if (iSide == 0) {
            twLogError(RECURSE_TAG, "!twWorld_ClassifyTriangle : PT_ERROR\n");
            return 0;
        }
        if (iSide & 1)
            pFront->iNumPhysTris++;
        if (iSide & 2)
            pBack->iNumPhysTris++;
    }
    pFront->ppPhysTris = AllocateList(pFront->iNumPhysTris, "pFront->ppPhysTris");
    if (!pFront->ppPhysTris) {
        twLogError(RECURSE_TAG, "!malloc : pFront->ppPhysTris\n");
        return 0;
    }
    pBack->ppPhysTris = AllocateList(pBack->iNumPhysTris, "pBack->ppPhysTris");
    if (!pBack->ppPhysTris) {
        twLogError(RECURSE_TAG, "!malloc : pBack->ppPhysTris\n");
        return 0;
    }
    w->uiBspRamUsed += (uint32_t)((pFront->iNumPhysTris + pBack->iNumPhysTris) * TRI_BYTES);
    if (w->uiBspRamUsed > w->uiBspMaxRamUsed)
        w->uiBspMaxRamUsed = w->uiBspRamUsed;
    twBox_Halve(pVolume->vCentre, pVolume->vHalfSize, afAxis, pVolume->vSplit, pFront->vCentre, pFront->vHalfSize,
                pBack->vCentre, pBack->vHalfSize);
    int iFront = 0, iBack = 0;
    for (int t = 0; t < pVolume->iNumPhysTris; t++) {
        TwVertex** pp = &pVolume->ppPhysTris[t * 3];
        int iSide = twWorld_ClassifyTriangle(pVolume->vCentre, afAxis, pp[0]->vPos, pp[1]->vPos, pp[2]->vPos);
        if (iSide & 1)
            memcpy(&pFront->ppPhysTris[3 * iFront++], pp, TRI_BYTES);
        if (iSide & 2)
            memcpy(&pBack->ppPhysTris[3 * iBack++], pp, TRI_BYTES);
    }
    // the node's list goes before the recursion goes down: peak memory stays near the leaves'
    twMem_Free(pVolume->ppPhysTris);
    pVolume->ppPhysTris = nullptr;
    w->uiBspRamUsed -= (uint32_t)(pVolume->iNumPhysTris * TRI_BYTES);
    return 1;
}

// Front child before back, depth first, as a recursion would go; the pending nodes are on
// a stack of our own, since stacked triangles can split 80,000 levels deep.
static void CreatePhysBspTree(TwBspVolume* pRoot)
{
    TwStack stack;
    twStack_Init(&stack);
    TwBspVolume* pVolume = pRoot;
    while (pVolume) {
        if (SplitVolume(pVolume) && !(twStack_Push(&stack, pVolume->pBack) && twStack_Push(&stack, pVolume->pFront))) {
            twLogError(RECURSE_TAG, "!malloc : ppStack\n");
            break;
        }
        pVolume = (TwBspVolume*)twStack_Pop(&stack);
    }
    twStack_Free(&stack);
}

TwBspVolume* twWorld_CreateNewVolume(void)
{
    TwBspVolume* pVolume = (TwBspVolume*)twMem_Malloc(sizeof(TwBspVolume), "pBspVolume");
    if (!pVolume)
        return nullptr;
    if (twList_AddPointer(pWorld->pBspVolumeList, pVolume) < 0) {
        twMem_Free(pVolume);
        return nullptr;
    }
    // the first node made here is numbered 0 like the root
    pVolume->iId = pWorld->iNumBspNodes++;
    return pVolume;
}

int twWorld_ClassifyTriangle(const float* pCentre, const float* pSplit, const float* pV0, const float* pV1,
                             const float* pV2)
{
    int iAxis = twBox_AxisOf(pSplit);
    int iFront = (pV0[iAxis] >= pCentre[iAxis]) + (pV1[iAxis] >= pCentre[iAxis]) + (pV2[iAxis] >= pCentre[iAxis]);
    if (iFront == 3)
        return 1;
    if (iFront == 0)
        return 2;
    return 3;
}

int twWorld_CreatePhysBsp(void)
{
    TwWorld* w = pWorld;
    w->pBspVolume = (TwBspVolume*)twMem_Malloc(sizeof(TwBspVolume), "pWorld->pBspVolume");
    if (!w->pBspVolume) {
        twLogError(BUILD_TAG, "!malloc : pBspVolume\n");
        return 0;
    }
    w->pBspVolumeList = (TwList*)twMem_Malloc(sizeof(TwList), "pWorld->pBspVolumeList");
    if (!w->pBspVolumeList) {
        twLogError(BUILD_TAG, "!malloc : pBspVolumeList\n");
        return 0;
    }
    TwBspVolume* pRoot = w->pBspVolume;
    memcpy(pRoot->vCentre, w->vCentre, sizeof(w->vCentre));
    memcpy(pRoot->vHalfSize, w->vHalfSize, sizeof(w->vHalfSize));
    pRoot->ppPhysTris = AllocateList(w->iNumPhysTris, "pWorld->pBspVolume->ppPhysTris");
    if (!pRoot->ppPhysTris) {
        twLogError("twWorld_ComputePhysTree", "!malloc : pWorld->pBspVolume->ppPhysTris\n");
        return 0;
    }
    int iNext = 0;
    for (int e = 0; e < w->iNumElements; e++) {
        const TwElement* pElement = &w->pElements[e];
        if (!twWorld_CollidesByType(pElement->iType))
            continue;
        for (int m = 0; m < pElement->iNumMeshes; m++) {
            TwMesh* pMesh = &pElement->pMeshes[m];
            for (int i = 0; i + 2 < pMesh->usNumIndices && iNext < w->iNumPhysTris; i += 3) {
                for (int k = 0; k < 3; k++)
                    pRoot->ppPhysTris[iNext * 3 + k] = &pMesh->pVerts[pMesh->pusIndices[i + k]];
                iNext++;
            }
        }
    }
    w->uiBspRamUsed = w->uiBspMaxRamUsed = 0;
    w->iNumBspNodes = w->iNumBspLeaves = w->iBspRecurseCount = 0;
    w->iBspMaxTrisInLeaf = TW_BSP_MAX_TRIS_IN_LEAF;
    w->vBspMinHalfSize[0] = w->vBspMinHalfSize[1] = w->vBspMinHalfSize[2] = TW_BSP_MIN_HALF_SIZE;
    w->iBspMaxRecurse = TW_BSP_MAX_RECURSE;
    pRoot->iNumPhysTris = iNext;
    CreatePhysBspTree(pRoot);
    twLog(BUILD_TAG, "Ram used=%u K\n", w->uiBspRamUsed / 1000);
    twLog(BUILD_TAG, "Max ram used=%u K\n", w->uiBspMaxRamUsed / 1000);
    twLog(BUILD_TAG, "Recurse count=%d\n", w->iBspRecurseCount);
    twLog(BUILD_TAG, "Bsp nodes=%d\n", w->iNumBspNodes);
    twLog(BUILD_TAG, "Bsp leaves=%d\n", w->iNumBspLeaves);
    return 1;
}
