// The light geometry of the visibility sweep: wire boxes that stand in for each element
// group in the ID picture, and the group's big solid surfaces as bare positions that fill
// its depth first.
#include <stdlib.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/vector.h"
#include "platform/ogl.h"
#include "world/world.h"

#define VIS_TAG "twWorld_CreateVisibilityArrays"
#define OCC_TAG "twWorld_CreateVisibilityOccluders"
#define BOX_INDICES 30         // twelve edges and three space diagonals
#define U16_LIMIT 65535
#define MAX_VIS_BOXES (U16_LIMIT / BOX_INDICES) // the indices' u16 count bounds the boxes
#define OCCLUDER_MIN_SIZE 6.0f // square metres of a surface that may hide what lies behind

// The line pairs over the corners, in the order the ID picture relies on
static const uint16_t s_ausBoxLines[BOX_INDICES] = {3, 0, 2, 1, 6, 5, 7, 4, 0, 1, 1, 5, 5, 4, 4, 0, 3, 2,
                                                    2, 6, 6, 7, 7, 3, 0, 6, 1, 7, 3, 5};

// Pushes that keep a group's box off the element boxes and surfaces that share its faces
static const float s_afJitter[9][3] = {{0.1f, 0.1f, 0},  {0, 0.1f, 0}, {0, 0, 0.1f},
                                       {0.1f, -0.1f, 0}, {0, 0.1f, 0}, {0, 0, -0.1f},
                                       {0.1f, -0.1f, 0}, {0, -0.1f, 0}, {0, 0, 0.1f}};

// One box: eight corners with the id, the thirty line indices after iFirst
static void AddBox(const float* pvCentre, const float* pvHalfSize, int bJitter, uint32_t uiId, uint8_t* pucVerts,
                   uint16_t* pusIndices, int iFirst)
{
    for (int c = 0; c < TW_BOX_CORNERS; c++) {
        float afPos[3];
        twBox_Corner(pvCentre, pvHalfSize, c, afPos);
        if (bJitter) {
            const float* pJ = s_afJitter[rand() % 9];
            for (int i = 0; i < 3; i++)
                afPos[i] += pJ[i];
        }
        memcpy(pucVerts + c * TW_VIS_VERTEX_BYTES, afPos, sizeof(afPos));
        memcpy(pucVerts + c * TW_VIS_VERTEX_BYTES + 12, &uiId, 4);
    }
    for (int i = 0; i < BOX_INDICES; i++)
        pusIndices[i] = (uint16_t)(s_ausBoxLines[i] + iFirst);
}

int twWorld_CreateVisibilityArrays(void)
{
    TwWorld* w = pWorld;
    int iTotal = 0;
    for (int g = 0; g < w->iNumElementGroups; g++) {
        TwElementGroup* pGroup = &w->pElementGroups[g];
        uint32_t uiId = (uint32_t)g + 1;
        int iBoxes = pGroup->iNumElements + 1;
        if (iBoxes > MAX_VIS_BOXES) {
            // the u16 counts would wrap past the arrays: the first boxes stand for the group
            twLog(VIS_TAG, "Element group %d has %d elements, %d get visibility boxes\n", g, pGroup->iNumElements,
                  MAX_VIS_BOXES - 1);
            iBoxes = MAX_VIS_BOXES;
        }
        pGroup->usNumVisVerts = (uint16_t)(iBoxes * TW_BOX_CORNERS);
        pGroup->usNumVisIndices = (uint16_t)(iBoxes * BOX_INDICES);
        pGroup->usNumGroupVisIndices = BOX_INDICES;
        iTotal += pGroup->usNumVisIndices;
        pGroup->pVisVerts =
            (float*)twMem_Malloc((uint32_t)pGroup->usNumVisVerts * TW_VIS_VERTEX_BYTES, "pElementGroup->pVisVerts");
        if (!pGroup->pVisVerts) {
            twLogError(VIS_TAG, "!malloc : pElementGroup->pVisVerts\n");
            return 0;
        }
        pGroup->pusVisIndices =
            (uint16_t*)twMem_Malloc((uint32_t)pGroup->usNumVisIndices * 2, "pElementGroup->pusVisIndices");
        if (!pGroup->pusVisIndices) {
            twLogError(VIS_TAG, "!malloc : pElementGroup->pusVisIndices\n");
            return 0;
        }
        uint8_t* pucVerts = (uint8_t*)pGroup->pVisVerts;
        AddBox(pGroup->vCentre, pGroup->vHalfSize, 1, uiId, pucVerts, pGroup->pusVisIndices, 0);
        for (int b = 1; b < iBoxes; b++) {
            const TwElement* pElement = pGroup->ppElements[b - 1];
            AddBox(pElement->vCentre, pElement->vHalfSize, 0, uiId, pucVerts + b * TW_BOX_CORNERS * TW_VIS_VERTEX_BYTES,
                   pGroup->pusVisIndices + b * BOX_INDICES, b * TW_BOX_CORNERS);
        }
        pGroup->hVboVisVerts = twOgl_CreateVbo(0, 0, pGroup->usNumVisVerts * TW_VIS_VERTEX_BYTES, pGroup->pVisVerts);
        if (pGroup->hVboVisVerts) {
            pGroup->hVboVisIndices = twOgl_CreateVbo(0, 1, pGroup->usNumVisIndices * 2, pGroup->pusVisIndices);
            if (!pGroup->hVboVisIndices) {
                twOgl_FreeVbo(pGroup->hVboVisVerts);
                pGroup->hVboVisVerts = 0;
            }
        }
    }
    twLog(VIS_TAG, "Number of vis indices = %d\n", iTotal);
    return 1;
}

struct OccluderBuild {
    TwElementGroup* pGroup;
    float* pfWork;       // four floats a vertex
    int iNumIndices;     // counted, or written so far
    int iLimit;          // the counting pass's result; 0 while counting
    uint32_t uiReused;
};

// One surface into the group's occluders: positions merged by an exact search from the end,
// where the same surface's vertices are
static void AddOccluderSurface(OccluderBuild* b, const TwMesh* pMesh, const TwMeshSurface* pSurface)
{
    TwElementGroup* pGroup = b->pGroup;
    for (int i = 0; i < pSurface->usNumIndices; i++) {
        const float* pPos = pMesh->pVerts[pMesh->pusIndices[pSurface->usFirstIndex + i]].vPos;
        int iFound = -1;
        for (int v = pGroup->usNumOccluderVerts - 1; v >= 0; v--) {
            const float* pW = &b->pfWork[v * 4];
            if (pW[0] == pPos[0] && pW[1] == pPos[1] && pW[2] == pPos[2]) {
                iFound = v;
                break;
            }
        }
        if (iFound >= 0) {
            b->uiReused++;
        } else {
            iFound = pGroup->usNumOccluderVerts++;
            memcpy(&b->pfWork[iFound * 4], pPos, 12);
        }
        pGroup->pusOccluderIndices[b->iNumIndices++] = (uint16_t)iFound;
    }
}

// The surfaces that may occlude: big, flat, solid, of an element that blocks the view.
// Counts their indices while iLimit is 0, else builds; a u16 count holds the indices of
// the first surfaces only, and the rest are left out. Returns 0 when some were.
static int GatherOccluders(OccluderBuild* b)
{
    const TwWorld* w = pWorld;
    const TwElementGroup* pGroup = b->pGroup;
    for (int e = 0; e < pGroup->iNumElements; e++) {
        const TwElement* pElement = pGroup->ppElements[e];
        if (!twWorld_OccludesByType(pElement->iType))
            continue;
        for (int m = 0; m < pElement->iNumMeshes; m++) {
            const TwMesh* pMesh = &pElement->pMeshes[m];
            if (pMesh->bSmooth || !pMesh->pSurfaces || w->pMaterials[pMesh->iMaterial].bIsTransparent)
                continue;
            for (int s = 0; s < pMesh->usNumSurfaces; s++) {
                const TwMeshSurface* pSurface = &pMesh->pSurfaces[s];
                if (pSurface->fSize < OCCLUDER_MIN_SIZE)
                    continue;
                if (b->iNumIndices + pSurface->usNumIndices > (b->iLimit ? b->iLimit : U16_LIMIT))
                    return 0;
                if (b->iLimit)
                    AddOccluderSurface(b, pMesh, pSurface);
                else
                    b->iNumIndices += pSurface->usNumIndices;
            }
        }
    }
    return 1;
}

int twWorld_CreateVisibilityOccluders(void)
{
    TwWorld* w = pWorld;
    // the work area holds a group's distinct positions, never more than its vertices
    // and never more than a u16 count of indices can name
    int iMaxVerts = 0;
    for (int g = 0; g < w->iNumElementGroups; g++) {
        const TwElementGroup* pGroup = &w->pElementGroups[g];
        int iVerts = 0;
        for (int e = 0; e < pGroup->iNumElements; e++)
            for (int m = 0; m < pGroup->ppElements[e]->iNumMeshes; m++)
                iVerts += pGroup->ppElements[e]->pMeshes[m].usNumVerts;
        if (iVerts > iMaxVerts)
            iMaxVerts = iVerts;
    }
    if (iMaxVerts > U16_LIMIT)
        iMaxVerts = U16_LIMIT;
    int iWorkBytes = (iMaxVerts + 1) * TW_VIS_VERTEX_BYTES;
    float* pfWork = (float*)twMem_GetTempBuffer(iWorkBytes, 1);
    int bOwnWork = !pfWork;
    if (bOwnWork) {
        pfWork = (float*)twMem_Malloc((uint32_t)iWorkBytes, "pDstVerts");
        if (!pfWork) {
            twLog(OCC_TAG, "!malloc : pDstVerts\n");
            return 0;
        }
    }
    uint32_t uiIndices = 0, uiVerts = 0, uiReused = 0;
    int bOk = 1;
    for (int g = 0; g < w->iNumElementGroups && bOk; g++) {
        TwElementGroup* pGroup = &w->pElementGroups[g];
        OccluderBuild build = {pGroup, pfWork, 0, 0, 0};
        if (!GatherOccluders(&build))
            twLog(OCC_TAG, "Element group %d has more occluder indices than 65535; the rest are left out\n", g);
        int iCount = build.iNumIndices;
        if (!iCount)
            continue;
        pGroup->pusOccluderIndices =
            (uint16_t*)twMem_Malloc((uint32_t)iCount * 2, "pElementGroup->pusOccluderIndices");
        if (!pGroup->pusOccluderIndices) {
            twLogError(OCC_TAG, "!malloc : pusOccluderIndices\n");
            bOk = 0;
            break;
        }
        pGroup->usNumOccluderIndices = (uint16_t)iCount;
        build.iNumIndices = 0;
        build.iLimit = iCount;
        GatherOccluders(&build);
        if (!pGroup->usNumOccluderVerts) {
            twLogError(OCC_TAG, "!usNumOccluderVerts\n");
            bOk = 0;
            break;
        }
        pGroup->pOccluderVerts =
            (float*)twMem_Malloc((uint32_t)pGroup->usNumOccluderVerts * TW_VIS_VERTEX_BYTES, "pElementGroup->pOccluderVerts");
        if (!pGroup->pOccluderVerts) {
            twLogError(OCC_TAG, "!malloc : pOccluderVerts\n");
            bOk = 0;
            break;
        }
        memcpy(pGroup->pOccluderVerts, pfWork, (size_t)pGroup->usNumOccluderVerts * TW_VIS_VERTEX_BYTES);
        uiIndices += (uint32_t)iCount;
        uiVerts += pGroup->usNumOccluderVerts;
        uiReused += build.uiReused;
    }
    if (bOwnWork)
        twMem_Free(pfWork);
    if (!bOk)
        return 0;
    char szTris[16], szVerts[16], szReused[16];
    twCore_FormatThousands(uiIndices / 3, szTris);
    twCore_FormatThousands(uiVerts, szVerts);
    twCore_FormatThousands(uiReused, szReused);
    twLog(OCC_TAG, "Total number of occluder triangles = %s\n", szTris);
    twLog(OCC_TAG, "Total number of occluder vertices = %s\n", szVerts);
    twLog(OCC_TAG, "Total number of occluder vertices reused = %s\n", szReused);
    return 1;
}
