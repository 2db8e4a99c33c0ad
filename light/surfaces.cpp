// Surfaces: the rows of the flat meshes' surface tables turned into records, ordered
// largest first, each fitted with a rectangle on its plane; and the vertex light of the
// smooth meshes, which have no surfaces.
#include <math.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/sort.h"
#include "engine/vector.h"
#include "light/light.h"
#include "world/tree.h"

#define SURFACES_TAG "twWorld_InitSurfaces"
#define PART2_TAG "twWorld_InitSurfacesPart2"
#define TRACK_TAG "twWorld_TrackSurfacePlaneEqs"
#define SMOOTH_TAG "twWorld_InitSmoothMeshesForLighting"
#define SORT_KEY_SCALE 1e6f      // sizes closer than a millionth sort as equal
#define INSIDE_TOLERANCE 0.0001f // metres a vertex may lie outside the edge that bounds it
#define CLEAR_LIFT 0.02f         // metres: the surface's own element stays behind its plane

static void* Allocate(uint32_t uiBytes, const char* pstrName, const char* pstrTag)
{
    void* p = twMem_Malloc(uiBytes, pstrName);
    if (!p)
        twLogError(pstrTag, "!malloc : %s\n", pstrName);
    else
        pWorld->uiLightRamBytes += uiBytes;
    return p;
}

// The integer that orders a size in the shared sort. A size out of the integers' reach
// takes the value a processor gives for it, the lowest, as it always has.
static int32_t SortKey(float fSize)
{
    float f = fSize * SORT_KEY_SCALE;
    if (!(f >= -2147483648.0f && f < 2147483648.0f))
        return INT32_MIN;
    return (int32_t)f;
}

// Counts the surfaces of each render array and gives the arrays that have any their
// record. Returns the largest count, or -1.
static int CountSurfaces(uint32_t* puiTotal)
{
    int iLargest = 0;
    *puiTotal = 0;
    for (int g = 0; g < pWorld->iNumElementGroups; g++) {
        TwElementGroup* pGroup = &pWorld->pElementGroups[g];
        for (int r = 0; r < pGroup->iNumRenderArrays; r++) {
            TwRenderArray* pRenderArray = &pGroup->pRenderArrays[r];
            if (!pRenderArray->pMeshListBatch)
                continue;
            int iCount = 0;
            for (TwList* p = pRenderArray->pMeshListBatch->pNext; p; p = p->pNext) {
                const TwMesh* pMesh = (const TwMesh*)p->pData;
                if (!pMesh || pMesh->bSmooth)
                    continue;
                if (!pMesh->usNumSurfaces) {
                    twLogError(SURFACES_TAG, "Mesh has zero surfaces\n");
                    return -1;
                }
                iCount += pMesh->usNumSurfaces;
            }
            if (!iCount)
                continue;
            TwSurfaceArray* pArray = (TwSurfaceArray*)Allocate(sizeof(TwSurfaceArray), "pRenderArray->pSurfaceArray2",
                                                               SURFACES_TAG);
            if (!pArray)
                return -1;
            pArray->iIndex = g * TW_SURFACE_ARRAY_STRIDE + r;
            pArray->iNumSurfaces = iCount;
            pRenderArray->pSurfaceArray2 = pArray;
            if (iCount > iLargest)
                iLargest = iCount;
            *puiTotal += (uint32_t)iCount;
        }
    }
    return iLargest;
}

// Scratch room of one array's ordering: a key, a rank and a taken flag for each surface
#define ORDER_BYTES_EACH 9

// The sort keys of an array's surfaces in mesh-list order; the indices are counted too
static void GatherKeys(TwRenderArray* pRenderArray, TwSurfaceArray* pArray, int32_t* piKeys)
{
    int n = 0;
    for (TwList* p = pRenderArray->pMeshListBatch->pNext; p; p = p->pNext) {
        const TwMesh* pMesh = (const TwMesh*)p->pData;
        if (!pMesh || pMesh->bSmooth)
            continue;
        for (int s = 0; s < pMesh->usNumSurfaces; s++) {
            piKeys[n++] = SortKey(pMesh->pSurfaces[s].fSize);
            pArray->uiNumIndices += pMesh->pSurfaces[s].usNumIndices;
        }
    }
}

// Orders one array: the surface that comes i-th in mesh-list order goes to iNumSurfaces -
// rank - 1, its rank either read from LightSort.bin or its key's place among the sorted
// keys, which is written there. Equal keys take successive ranks in mesh-list order. Every
// place must be taken once: a rank out of range or taken twice ends the load.
static int OrderArray(TwRenderArray* pRenderArray, TwSurfaceArray* pArray, uint8_t* pucScratch, TwReader* pReader,
                      TwWriter* pWriter, TwSort* pSort)
{
    int n = pArray->iNumSurfaces;
    int32_t* piKeys = (int32_t*)pucScratch;
    int32_t* piPlaces = piKeys + n;
    uint8_t* pucTaken = (uint8_t*)(piPlaces + n);
    GatherKeys(pRenderArray, pArray, piKeys);
    if (pReader) {
        uint32_t uiFound = twReader_U32(pReader);
        if (uiFound != (uint32_t)pArray->iIndex) {
            twLogError(SURFACES_TAG, "!surface array index mismatch (expected %d found %d)\n", pArray->iIndex,
                       (int)uiFound);
            return 0;
        }
    } else {
        twSort_Clear(pSort);
        for (int i = 0; i < n; i++)
            if (!twSort_AddValue(pSort, piKeys[i])) {
                twLogError(SURFACES_TAG, "!twSort_AddValue\n");
                return 0;
            }
        twSort_Sort(pSort);
        twWriter_U32(pWriter, (uint32_t)pArray->iIndex);
    }
    memset(pucTaken, 0, (size_t)n);
    for (int i = 0; i < n; i++) {
        int64_t iRank;
        if (pReader) {
            iRank = twReader_U32(pReader);
        } else {
            iRank = twSort_GetIndex(pSort, piKeys[i]);
            twWriter_U32(pWriter, (uint32_t)iRank);
        }
        if (pReader && pReader->bShort) {
            twLogError(SURFACES_TAG, "!LightSort.bin is cut short\n");
            return 0;
        }
        if (iRank < 0 || iRank >= n || pucTaken[n - iRank - 1]) {
            twLogError(SURFACES_TAG, "!surface rank %d of array %d is out of place\n", (int)iRank, pArray->iIndex);
            return 0;
        }
        pucTaken[n - iRank - 1] = 1;
        piPlaces[i] = (int32_t)(n - iRank - 1);
    }
    // the records, straight to their places
    int i = 0;
    for (TwList* p = pRenderArray->pMeshListBatch->pNext; p; p = p->pNext) {
        TwMesh* pMesh = (TwMesh*)p->pData;
        if (!pMesh || pMesh->bSmooth)
            continue;
        for (int s = 0; s < pMesh->usNumSurfaces; s++) {
            TwSurface* pSurface = &pArray->pSurfaces2[piPlaces[i++]];
            pSurface->usFirstIndex = pMesh->pSurfaces[s].usFirstIndex;
            pSurface->usNumIndices = pMesh->pSurfaces[s].usNumIndices;
            pSurface->fSize = pMesh->pSurfaces[s].fSize;
            pSurface->pMesh = pMesh;
        }
    }
    return 1;
}

// The world's surface tables, in the walk's order
static int BuildSurfaceTables(uint32_t uiTotal)
{
    TwWorld* w = pWorld;
    uint32_t uiSlots = uiTotal + 1;
    w->ppSurfaces = (TwSurface**)Allocate(uiSlots * sizeof(TwSurface*), "pWorld->ppSurfaces", SURFACES_TAG);
    if (!w->ppSurfaces)
        return 0;
    w->ppSurfacesInRange = (TwSurface**)Allocate(uiSlots * sizeof(TwSurface*), "pWorld->ppSurfacesInRange", SURFACES_TAG);
    if (!w->ppSurfacesInRange)
        return 0;
    w->piSurfacesVisible = (int32_t*)Allocate(uiSlots * sizeof(int32_t), "pWorld->piSurfacesVisible", SURFACES_TAG);
    if (!w->piSurfacesVisible)
        return 0;
    w->uiNumSurfaces = uiTotal;
    uint32_t uiNext = 0;
    for (int g = 0; g < w->iNumElementGroups; g++)
        for (int r = 0; r < w->pElementGroups[g].iNumRenderArrays; r++) {
            TwSurfaceArray* pArray = w->pElementGroups[g].pRenderArrays[r].pSurfaceArray2;
            for (int s = 0; pArray && s < pArray->iNumSurfaces; s++) {
                TwSurface* pSurface = &pArray->pSurfaces2[s];
                pSurface->iIndex = uiNext;
                w->ppSurfaces[uiNext++] = pSurface;
                twWorld_GetSurfaceBox(pSurface);
            }
        }
    return 1;
}

int twWorld_InitSurfaces(int bLoad, const char* pstrExternal)
{
    TwWorld* w = pWorld;
    twLog(SURFACES_TAG, "Counting surfaces\n");
    uint32_t uiTotal = 0;
    int iLargest = CountSurfaces(&uiTotal);
    if (iLargest < 0)
        return 0;
    twLog(SURFACES_TAG, "Total number of surfaces = %d\n", (int)uiTotal);
    twLog(SURFACES_TAG, "Max number of surfaces in a single render array = %d\n", iLargest);
    int64_t iScratchBytes = (int64_t)(iLargest + 1) * ORDER_BYTES_EACH;
    uint8_t* pucScratch =
        iScratchBytes <= TW_TEMP_BUFFER_SIZE ? (uint8_t*)twMem_GetTempBuffer((int)iScratchBytes, 0) : nullptr;
    if (!pucScratch) {
        twLogError(SURFACES_TAG, "!twMem_GetTempBuffer : pTempSurfaces2\n");
        return 0;
    }
    FILE* pFile = nullptr;
    TwReader reader;
    TwWriter writer;
    TwSort sort;
    memset(&sort, 0, sizeof(sort));
    if (bLoad) {
        pFile = twWorld_OpenLightFile("LightSort", pstrExternal, &reader, SURFACES_TAG);
        if (!pFile)
            return 0;
    } else {
        if (!twSort_Init(&sort, iLargest)) {
            twLogError(SURFACES_TAG, "!twSort_Init\n");
            return 0;
        }
        if (!twWorld_CreateLightFile(&writer, "LightSort", SURFACES_TAG)) {
            twSort_Free(&sort);
            return 0;
        }
    }
    twLog(SURFACES_TAG, "Storing surfaces\n");
    int bOk = 1;
    for (int g = 0; g < w->iNumElementGroups && bOk; g++) {
        TwElementGroup* pGroup = &w->pElementGroups[g];
        for (int r = 0; r < pGroup->iNumRenderArrays && bOk; r++) {
            TwRenderArray* pRenderArray = &pGroup->pRenderArrays[r];
            TwSurfaceArray* pArray = pRenderArray->pSurfaceArray2;
            if (!pArray)
                continue;
            pArray->pSurfaces2 = (TwSurface*)Allocate((uint32_t)pArray->iNumSurfaces * sizeof(TwSurface),
                                                      "pSurfaceArray2->pSurfaces2", SURFACES_TAG);
            bOk = pArray->pSurfaces2 != nullptr;
            if (bOk)
                bOk = OrderArray(pRenderArray, pArray, pucScratch, bLoad ? &reader : nullptr, bLoad ? nullptr : &writer,
                                 &sort);
        }
    }
    if (bLoad) {
        fclose(pFile);
    } else {
        twSort_Free(&sort);
        // the file waits under its temporary name for the rest of the frame
        if (!bOk)
            twWriter_Abandon(&writer);
        else if (!twWriter_Finish(&writer)) {
            twLogError(SURFACES_TAG, "!fwrite : '%s'\n", writer.szPath);
            bOk = 0;
        }
    }
    return bOk && BuildSurfaceTables(uiTotal);
}

int twWorld_GetSurfaceBox(TwSurface* pSurface)
{
    const TwMesh* pMesh = pSurface->pMesh;
    float afMin[3] = {TW_EMPTY_BOX_MIN, TW_EMPTY_BOX_MIN, TW_EMPTY_BOX_MIN};
    float afMax[3] = {-TW_EMPTY_BOX_MIN, -TW_EMPTY_BOX_MIN, -TW_EMPTY_BOX_MIN};
    for (int i = 0; i < pSurface->usNumIndices; i++) {
        const float* pPos = pMesh->pVerts[pMesh->pusIndices[pSurface->usFirstIndex + i]].vPos;
        twBox_Grow(afMin, afMax, pPos, pPos);
    }
    twBox_CentreForm(afMin, afMax, pSurface->fBoxCentre, pSurface->fBoxHalf);
    return 1;
}

// The position of a surface's i-th index
static const float* Corner(const TwMesh* pMesh, const TwSurface* pSurface, int i)
{
    return pMesh->pVerts[pMesh->pusIndices[pSurface->usFirstIndex + i]].vPos;
}

// The longest edge not yet tried, over the triangles in index order, each triangle's edges
// as (0,1), (1,2), (2,0); the first of equally long edges wins. Edge k starts at index k.
// Without any edge longer than nothing the first untried one is taken; -1 when all were.
static int LongestUntriedEdge(const TwMesh* pMesh, const TwSurface* pSurface, const uint8_t* pucTried)
{
    int iBest = -1, iFirst = -1;
    float fBest = 0;
    // a damaged count that ends inside a triangle leaves that triangle out
    int iNumCorners = pSurface->usNumIndices - pSurface->usNumIndices % 3;
    for (int k = 0; k < iNumCorners; k++) {
        if (pucTried[k])
            continue;
        if (iFirst < 0)
            iFirst = k;
        int iNext = k % 3 == 2 ? k - 2 : k + 1;
        float fLength = sqrtf(twVec_DistanceSq(Corner(pMesh, pSurface, k), Corner(pMesh, pSurface, iNext)));
        if (fLength > fBest) {
            fBest = fLength;
            iBest = k;
        }
    }
    return iBest >= 0 ? iBest : iFirst;
}

// How far the surface reaches along an axis from its plane's offset: the least and the
// most of axis.P + d, both from 0
static float Extent(const TwMesh* pMesh, const TwSurface* pSurface, const float* pvAxis, float fD, float* pfMin)
{
    float fMin = 0, fMax = 0;
    for (int i = 0; i < pSurface->usNumIndices; i++) {
        float f = twVec_Dot(pvAxis, Corner(pMesh, pSurface, i)) + fD;
        if (f < fMin)
            fMin = f;
        if (f > fMax)
            fMax = f;
    }
    *pfMin = fMin;
    return fMax - fMin;
}

// The rectangle's U axis lies along the longest edge that has the whole surface on one
// side; the grid's corner goes to the least U and V of the surface
int twWorld_TrackSurfacePlaneEqs(TwMesh* pMesh, TwSurface* pSurface)
{
    TwWorld* w = pWorld;
    uint32_t uiNumEdges = pSurface->usNumIndices;
    if (uiNumEdges < 3) {
        twLogError(TRACK_TAG, "!Surface %u has %u indices, no triangle\n", pSurface->iIndex, uiNumEdges);
        return 0;
    }
    uint8_t* pucTried = (uint8_t*)twMem_GetTempBuffer((int)uiNumEdges, 1);
    if (!pucTried) {
        twLogError(TRACK_TAG, "!twMem_GetTempBuffer\n");
        return 0;
    }
    float afAB[3], afAC[3], afN[3];
    twVec_Sub(Corner(pMesh, pSurface, 0), Corner(pMesh, pSurface, 1), afAB);
    twVec_Sub(Corner(pMesh, pSurface, 0), Corner(pMesh, pSurface, 2), afAC);
    twVec_Cross(afAB, afAC, afN);
    twVec_Normalize(afN);
    memcpy(pSurface->fPlane, afN, sizeof(afN));
    pSurface->fPlane[3] = -twVec_Dot(afN, Corner(pMesh, pSurface, 0));

    float afE[3] = {0, 0, 0}, afV[3] = {0, 0, 0}, fDU = 0, fDV = 0;
    uint32_t uiNumEdgesTested = 0;
    for (; uiNumEdgesTested < uiNumEdges; uiNumEdgesTested++) {
        int k = LongestUntriedEdge(pMesh, pSurface, pucTried);
        if (k < 0) {
            uiNumEdgesTested = uiNumEdges;
            break;
        }
        pucTried[k] = 1;
        const float* pA = Corner(pMesh, pSurface, k);
        const float* pB = Corner(pMesh, pSurface, k % 3 == 2 ? k - 2 : k + 1);
        twVec_Sub(pA, pB, afE);
        twVec_Normalize(afE);
        fDU = -twVec_Dot(afE, pA);
        twVec_Cross(afE, afN, afV);
        fDV = -twVec_Dot(afV, pA);
        memcpy(pSurface->fOrigin, pA, sizeof(pSurface->fOrigin));
        int bInside = 1;
        for (int i = 0; i < pSurface->usNumIndices && bInside; i++)
            if (twVec_Dot(afV, Corner(pMesh, pSurface, i)) + fDV < -INSIDE_TOLERANCE)
                bInside = 0;
        if (bInside)
            break;
    }
    if (uiNumEdgesTested == uiNumEdges) {
        snprintf(w->szLastError, sizeof(w->szLastError), "uiNumEdgesTested(%u)==uiNumEdges(%u)", uiNumEdgesTested,
                 uiNumEdges);
        twLogError(TRACK_TAG, "%s\n", w->szLastError);
        return 0;
    }
    float fMinU, fMinV;
    pSurface->fDistU = Extent(pMesh, pSurface, afE, fDU, &fMinU);
    if (pSurface->fDistU == 0) {
        snprintf(w->szLastError, sizeof(w->szLastError), "fDistU==0");
        twLogError(TRACK_TAG, "fDistU==0\n");
        return 0;
    }
    pSurface->fDistV = Extent(pMesh, pSurface, afV, fDV, &fMinV);
    if (pSurface->fDistV == 0) {
        snprintf(w->szLastError, sizeof(w->szLastError), "fDistV==0");
        twLogError(TRACK_TAG, "fDistV==0\n");
        return 0;
    }
    for (int i = 0; i < 3; i++)
        pSurface->fOrigin[i] += afE[i] * fMinU + afV[i] * fMinV;
    memcpy(pSurface->fPlaneU, afE, sizeof(afE));
    memcpy(pSurface->fPlaneV, afV, sizeof(afV));
    pSurface->fPlaneU[3] = -twVec_Dot(afE, pSurface->fOrigin);
    pSurface->fPlaneV[3] = -twVec_Dot(afV, pSurface->fOrigin);
    return 1;
}

// A plane through a point with a normal, as the normal scaled by a sign and the offset
static void PlaneThrough(float* pfPlane, const float* pvNormal, float fSign, const float* pvPoint)
{
    for (int i = 0; i < 3; i++)
        pfPlane[i] = pvNormal[i] * fSign;
    pfPlane[3] = -twVec_Dot(pfPlane, pvPoint);
}

// The point p + a * axis
static void Along(const float* pvPoint, const float* pvAxis, float fAmount, float* pvOut)
{
    for (int i = 0; i < 3; i++)
        pvOut[i] = pvPoint[i] + pvAxis[i] * fAmount;
}

// The side planes stand around the rectangle's corner, not its centre: the volume reaches
// a whole rectangle further on the low sides, as the light has always been measured
void twWorld_SurfacePlanes(const TwSurface* pSurface, float fSideRange, float fTopRange, float afPlanes[6][4])
{
    const float* pN = pSurface->fPlane;
    const float* pU = pSurface->fPlaneU;
    const float* pV = pSurface->fPlaneV;
    float afBase[3], afPoint[3];
    Along(pSurface->fOrigin, pN, CLEAR_LIFT, afBase);
    PlaneThrough(afPlanes[0], pN, 1, afBase);
    Along(afBase, pU, -(pSurface->fDistU + fSideRange), afPoint);
    PlaneThrough(afPlanes[1], pU, 1, afPoint);
    Along(afBase, pU, pSurface->fDistU + fSideRange, afPoint);
    PlaneThrough(afPlanes[2], pU, -1, afPoint);
    Along(afBase, pV, -(pSurface->fDistV + fSideRange), afPoint);
    PlaneThrough(afPlanes[3], pV, 1, afPoint);
    Along(afBase, pV, pSurface->fDistV + fSideRange, afPoint);
    PlaneThrough(afPlanes[4], pV, -1, afPoint);
    Along(afBase, pN, fTopRange, afPoint);
    PlaneThrough(afPlanes[5], pN, -1, afPoint);
}

// Only the corner furthest along a plane's normal needs asking whether it lies in front:
// rounded products and sums grow with their terms, so no other corner's sum can be larger

int twWorld_SurfaceIsClear(TwSurface* pSurface)
{
    TwWorld* w = pWorld;
    float fRange = w->fLightRange;
    float afCentre[3], afHalf[3];
    for (int i = 0; i < 3; i++)
        afCentre[i] = pSurface->fOrigin[i] + pSurface->fPlaneU[i] * pSurface->fDistU * 0.5f +
                      pSurface->fPlaneV[i] * pSurface->fDistV * 0.5f;
    afHalf[0] = afHalf[1] = afHalf[2] = fRange + (pSurface->fDistU > pSurface->fDistV ? pSurface->fDistU : pSurface->fDistV);
    int iNumItems = twTree_GetItemsInBox(w->pElementGroupTree, afCentre, afHalf, w->ppElementGroupItemsFromTree);
    float afPlanes[6][4];
    twWorld_SurfacePlanes(pSurface, fRange, fRange, afPlanes);
    for (int t = 0; t < iNumItems; t++) {
        const TwElementGroup* pGroup = (const TwElementGroup*)w->ppElementGroupItemsFromTree[t]->pData;
        for (int e = 0; e < pGroup->iNumElements; e++) {
            const TwElement* pElement = pGroup->ppElements[e];
            float fRadius = twVec_Length(pElement->vHalfSize);
            if (twVec_Dot(afPlanes[0], pElement->vCentre) + afPlanes[0][3] + fRadius >= 0 &&
                !twBox_OutsidePlanes(afPlanes, 6, pElement->vCentre, pElement->vHalfSize, 0))
                return 0;
        }
    }
    return 1;
}

// The rectangles and bNoSampling, read from LightEq.bin or computed and written there
static int PlaneEquations(int bLoad, const char* pstrExternal)
{
    TwWorld* w = pWorld;
    if (bLoad) {
        twLog(PART2_TAG, "Loading surface plane-eqs\n");
        if (!twWorld_LoadSurfacePlaneEqs2(pstrExternal)) {
            twLogError(PART2_TAG, "!twWorld_LoadSurfacePlaneEqs2\n");
            return 0;
        }
    } else {
        twLog(PART2_TAG, "Computing surface plane-eqs\n");
        // a surface that can't be fitted is never a failure of the model: it stays lit
        for (uint32_t i = 0; i < w->uiNumSurfaces; i++) {
            TwSurface* pSurface = w->ppSurfaces[i];
            if (!twWorld_TrackSurfacePlaneEqs(pSurface->pMesh, pSurface))
                pSurface->bNoSampling = 1;
            else
                pSurface->bNoSampling = (uint8_t)twWorld_SurfaceIsClear(pSurface);
        }
        twLog(PART2_TAG, "Saving surface plane-eqs\n");
        if (!twWorld_SaveSurfacePlaneEqs2()) {
            twLogError(PART2_TAG, "!twWorld_SaveSurfacePlaneEqs2\n");
            return 0;
        }
    }
    return 1;
}

int twWorld_InitSurfacesPart2(int bLoad, const char* pstrExternal)
{
    TwWorld* w = pWorld;
    // the work buffer of the packing: a lightmap's vertices, and behind them its indices
    twLog(PART2_TAG, "Counting max indices\n");
    uint32_t uiMaxIndices = 0;
    for (int g = 0; g < w->iNumElementGroups; g++)
        for (int r = 0; r < w->pElementGroups[g].iNumRenderArrays; r++) {
            TwSurfaceArray* pArray = w->pElementGroups[g].pRenderArrays[r].pSurfaceArray2;
            if (pArray && pArray->uiNumIndices > uiMaxIndices)
                uiMaxIndices = pArray->uiNumIndices;
        }
    // no lightmap holds more than its limit, whatever an array holds
    if (uiMaxIndices > TW_LIGHTMAP_MAX_INDICES)
        uiMaxIndices = TW_LIGHTMAP_MAX_INDICES;
    uint8_t* pucWork = (uint8_t*)twMem_Malloc(uiMaxIndices * (uint32_t)(sizeof(TwLightmapVertex) + 2) + 2, "pTempBuffer");
    if (!pucWork) {
        twLogError(PART2_TAG, "!malloc : pTempBuffer\n");
        return 0;
    }
    int bOk = PlaneEquations(bLoad, pstrExternal) &&
              twWorld_AssignLightmaps((TwLightmapVertex*)pucWork,
                                      (uint16_t*)(pucWork + uiMaxIndices * sizeof(TwLightmapVertex)));
    twMem_Free(pucWork);
    return bOk;
}

int twWorld_InitSmoothMeshesForLighting(void)
{
    TwWorld* w = pWorld;
    for (int m = 0; m < w->iNumMeshes; m++) {
        TwMesh* pMesh = w->ppMeshes[m];
        if (!pMesh->bSmooth)
            continue;
        if (!pMesh->pucVertexLight) {
            pMesh->pucVertexLight = (uint8_t*)twMem_Malloc(pMesh->usNumVerts * 4u, "pMesh->pucVertexLight");
            if (!pMesh->pucVertexLight) {
                twLogError(SMOOTH_TAG, "!malloc : pucVertexLight\n");
                return 0;
            }
            w->uiLightRamBytes += pMesh->usNumVerts * 4u;
        }
        memset(pMesh->pucVertexLight, 255, pMesh->usNumVerts * 4u);
    }
    for (int g = 0; g < w->iNumElementGroups; g++)
        for (int r = 0; r < w->pElementGroups[g].iNumRenderArrays; r++) {
            TwRenderArray* pRenderArray = &w->pElementGroups[g].pRenderArrays[r];
            for (TwList* p = pRenderArray->pMeshListBatch ? pRenderArray->pMeshListBatch->pNext : nullptr; p;
                 p = p->pNext) {
                TwMesh* pMesh = (TwMesh*)p->pData;
                if (!pMesh || !pMesh->bSmooth)
                    continue;
                int iAdded = twList_AddPointerNew(&pRenderArray->pMeshListSmooth, pMesh, "pRenderArray->pMeshListSmooth");
                if (iAdded == -1)
                    twLogError(SMOOTH_TAG, "!malloc : pMeshListSmooth\n");
                else if (iAdded < 0)
                    twLogError(SMOOTH_TAG, "!twList_AddPointer : pMesh\n");
                if (iAdded < 0)
                    return 0;
            }
        }
    return 1;
}
