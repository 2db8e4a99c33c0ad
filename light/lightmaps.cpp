// Lightmap packing: each surface array's surfaces, largest first, go as patches into
// pages of luxels, shelf by shelf, and their triangles into the page's own buffers with
// lightmap coordinates. The result follows from the order and the rectangles alone.
#include <GL/glew.h>
#include <math.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/vector.h"
#include "light/light.h"
#include "platform/ogl.h"

#define ASSIGN_TAG "twWorld_InitSurfacesPart2"
#define FIT_TAG "twWorld_FitSurfaceInLightmap2"
#define NEW_TAG "twWorld_CreateNewLightmap2"
#define FINISH_TAG "twWorld_FinishLightmap2"
#define MAX_SIDE_TRUNCATED 4096 // larger truncated sides all round to the page

// A side in luxels: the extent at the quality's density, truncated, then the power of two
// at or below it, at least 1; from 512 on the page size decides
static int PatchSide(float fDist, int iDensity, int iPage)
{
    float f = fDist * (float)iDensity;
    int v = f >= (float)MAX_SIDE_TRUNCATED ? MAX_SIDE_TRUNCATED : (f > 0 ? (int)f : 0);
    int iSide = 1;
    while (iSide * 2 <= v && iSide < 512)
        iSide *= 2;
    if (v >= 512 && iPage > 512)
        iSide = v < 1024 ? 512 : (iPage == 1024 || v < 2048 ? 1024 : 2048);
    return iSide < iPage ? iSide : iPage;
}

int twWorld_ComputeSurfaceLightmapSize(TwSurface* pSurface)
{
    static const int aiDensity[3] = {10, 20, 40}; // luxels a metre by quality
    int iQuality = pWorld->iLightQuality;
    int iDensity = iQuality >= 0 && iQuality <= 2 ? aiDensity[iQuality] : 0;
    if (pSurface->bNoSampling) {
        pSurface->usLuxelsU = pSurface->usLuxelsV = 1;
        return 1;
    }
    pSurface->usLuxelsU = (uint16_t)PatchSide(pSurface->fDistU, iDensity, pWorld->iLightmapSize);
    pSurface->usLuxelsV = (uint16_t)PatchSide(pSurface->fDistV, iDensity, pWorld->iLightmapSize);
    return 1;
}

TwLightmap* twWorld_CreateNewLightmap2(TwSurfaceArray* pSurfaceArray)
{
    TwLightmap* pLightmap = (TwLightmap*)twMem_Malloc(sizeof(TwLightmap), "Lightmap");
    if (!pLightmap) {
        twLogError(NEW_TAG, "!malloc : pLightmap\n");
        return nullptr;
    }
    pLightmap->pSurfaceList = (TwList*)twMem_Malloc(sizeof(TwList), "pLightmap->pSurfaceList");
    if (!pLightmap->pSurfaceList) {
        twLogError(NEW_TAG, "!malloc : pSurfaceList\n");
        twMem_Free(pLightmap);
        return nullptr;
    }
    int iSize = pWorld->iLightmapSize;
    pLightmap->iWidth = pLightmap->iHeight = iSize;
    pLightmap->uiRowRemaining = pLightmap->uiHeightRemaining = (uint32_t)iSize;
    int iIndex = twList_AddPointer(pSurfaceArray->pLightmapList, pLightmap);
    if (iIndex < 0) {
        twLogError(NEW_TAG, "!twList_AddPointer\n");
        twMem_Free(pLightmap->pSurfaceList);
        twMem_Free(pLightmap);
        return nullptr;
    }
    pLightmap->iIndex = iIndex;
    pWorld->uiLightRamBytes += sizeof(TwLightmap) + sizeof(TwList);
    return pLightmap;
}

int twWorld_FinishLightmap2(TwLightmap* pLightmap, TwLightmapVertex* pTempVerts, uint16_t* pusTempIndices)
{
    TwWorld* w = pWorld;
    // the height shrinks by halves to what the shelves used; v follows
    uint32_t uiUnused = pLightmap->uiHeightRemaining - pLightmap->uiShelfHeight;
    int iFactor = 1;
    while (uiUnused > 0) {
        uint32_t uiHalf = (uint32_t)pLightmap->iHeight / 2;
        // a lightmap closed before any patch came would halve forever: it keeps one row
        if (uiHalf == 0) {
            twLogError(FINISH_TAG, "!Lightmap %d closed empty\n", pLightmap->iIndex);
            break;
        }
        if (uiUnused < uiHalf)
            break;
        uiUnused -= uiHalf;
        pLightmap->iHeight = (int32_t)uiHalf;
        iFactor *= 2;
    }
    if (iFactor > 1)
        for (int i = 0; i < pLightmap->usNumVerts; i++)
            pTempVerts[i].fMapV *= (float)iFactor;
    // white until light comes: an unlit model looks flat, not black
    int iChannels = w->bColourLightmaps ? 3 : 1;
    int iBytes = pLightmap->iWidth * pLightmap->iHeight * iChannels;
    uint8_t* pucWhite = (uint8_t*)twMem_GetTempBuffer(iBytes, 0);
    if (!pucWhite) {
        twLogError(FINISH_TAG, "!twMem_GetTempBuffer\n");
        return 0;
    }
    memset(pucWhite, 255, (size_t)iBytes);
    int iFormat = w->bColourLightmaps ? GL_RGB : GL_LUMINANCE;
    pLightmap->pTexture =
        twOgl_CreateTexture("Lightmap", pLightmap->iWidth, pLightmap->iHeight, iFormat, 1, 0, 0, iFormat, pucWhite);
    if (!pLightmap->pTexture) {
        twLogError(FINISH_TAG, "!twOgl_CreateTexture\n");
        return 0;
    }
    // the video memory figure has always counted a lightmap as its width alone
    w->uiLightVramBytes += (uint32_t)pLightmap->iWidth;
    int iVertBytes = pLightmap->usNumVerts * (int)sizeof(TwLightmapVertex);
    int iIndexBytes = pLightmap->usNumIndices * 2;
    pLightmap->hVboVerts = twOgl_CreateVbo(0, 0, iVertBytes, pTempVerts);
    if (pLightmap->hVboVerts) {
        pLightmap->hVboIndices = twOgl_CreateVbo(0, 1, iIndexBytes, pusTempIndices);
        if (!pLightmap->hVboIndices) {
            twOgl_FreeVbo(pLightmap->hVboVerts);
            pLightmap->hVboVerts = 0;
        }
    }
    if (pLightmap->hVboVerts) {
        w->uiLightVramBytes += (uint32_t)(iVertBytes + iIndexBytes);
        return 1;
    }
    pLightmap->pVerts = (TwLightmapVertex*)twMem_Malloc((uint32_t)iVertBytes, "pLightmap->pVerts");
    if (!pLightmap->pVerts) {
        twLogError(FINISH_TAG, "!malloc : pLightmap->pVerts\n");
        return 0;
    }
    pLightmap->pusIndices = (uint16_t*)twMem_Malloc((uint32_t)iIndexBytes, "pLightmap->pusIndices");
    if (!pLightmap->pusIndices) {
        twLogError(FINISH_TAG, "!malloc : pLightmap->pusIndices\n");
        return 0;
    }
    memcpy(pLightmap->pVerts, pTempVerts, (size_t)iVertBytes);
    memcpy(pLightmap->pusIndices, pusTempIndices, (size_t)iIndexBytes);
    w->uiLightRamBytes += (uint32_t)(iVertBytes + iIndexBytes);
    return 1;
}

// Ends the lightmap being filled: it is finished, and the next fit opens a new one
static int CloseLightmap(TwLightmap* pLightmap, TwLightmapVertex* pTempVerts, uint16_t* pusTempIndices)
{
    int bOk = twWorld_FinishLightmap2(pLightmap, pTempVerts, pusTempIndices);
    if (!bOk)
        twLogError(FIT_TAG, "!twWorld_FinishLightmap\n");
    pWorld->pLightmapFilling = nullptr;
    return bOk;
}

static int8_t NormalByte(float f)
{
    float v = f * 127.0f;
    if (!(v > -127.0f))
        return v != v ? 0 : -127; // NaN counts as no direction
    return (int8_t)(v < 127.0f ? (int)v : 127);
}

// A point's place along a rectangle's axis, 0 to 1; a rectangle without extent (a surface
// that couldn't be fitted) puts every point in the middle of its one luxel
static float AlongAxis(const float* pfPlane, float fDist, const float* pvPos)
{
    float a = (twVec_Dot(pfPlane, pvPos) + pfPlane[3]) / fDist;
    return isfinite(a) ? a : 0.5f;
}

// The surface's triangles into the lightmap's work buffer. Vertices are shared within the
// surface only, where position, normal and texture coordinates are the same to the bit.
static void AppendGeometry(TwLightmap* pLightmap, const TwSurface* pSurface, TwLightmapVertex* pTempVerts,
                           uint16_t* pusTempIndices)
{
    const TwMesh* pMesh = pSurface->pMesh;
    int iFirstVert = pLightmap->usNumVerts;
    float fHalfU = 0.5f / (float)pLightmap->iWidth, fHalfV = 0.5f / (float)pLightmap->iHeight;
    const float* pRect = pSurface->fTexRect;
    for (int i = 0; i < pSurface->usNumIndices; i++) {
        const TwVertex* pSrc = &pMesh->pVerts[pMesh->pusIndices[pSurface->usFirstIndex + i]];
        TwLightmapVertex v;
        memset(&v, 0, sizeof(v));
        memcpy(v.vPos, pSrc->vPos, sizeof(v.vPos));
        v.fU = pSrc->fU;
        v.fV = pSrc->fV;
        for (int k = 0; k < 3; k++)
            v.acNormal[k] = NormalByte(pSrc->vNormal[k]);
        int iFound = -1;
        for (int j = pLightmap->usNumVerts - 1; j >= iFirstVert && iFound < 0; j--) {
            const TwLightmapVertex* p = &pTempVerts[j];
            if (p->vPos[0] == v.vPos[0] && p->vPos[1] == v.vPos[1] && p->vPos[2] == v.vPos[2] &&
                !memcmp(p->acNormal, v.acNormal, 3) && p->fU == v.fU && p->fV == v.fV)
                iFound = j;
        }
        if (iFound < 0) {
            // the first and last texel centres of the patch fall on the rectangle's edges
            float a = AlongAxis(pSurface->fPlaneU, pSurface->fDistU, v.vPos);
            float b = AlongAxis(pSurface->fPlaneV, pSurface->fDistV, v.vPos);
            v.fMapU = pRect[0] + a * pRect[2] + (1 - a) * fHalfU - a * fHalfU;
            v.fMapV = pRect[1] + b * pRect[3] + (1 - b) * fHalfV - b * fHalfV;
            iFound = pLightmap->usNumVerts++;
            pTempVerts[iFound] = v;
        }
        pusTempIndices[pLightmap->usNumIndices++] = (uint16_t)iFound;
    }
}

int twWorld_FitSurfaceInLightmap2(TwSurfaceArray* pSurfaceArray, TwSurface* pSurface, TwLightmapVertex* pTempVerts,
                                  uint16_t* pusTempIndices, int bLast)
{
    TwWorld* w = pWorld;
    if (!w->pLightmapFilling) {
        w->pLightmapFilling = twWorld_CreateNewLightmap2(pSurfaceArray);
        if (!w->pLightmapFilling) {
            twLogError(FIT_TAG, "!twWorld_CreateNewLightmap2\n");
            return 0;
        }
    }
    TwLightmap* pLightmap = w->pLightmapFilling;
    if (pLightmap->usNumIndices + pSurface->usNumIndices > TW_LIGHTMAP_MAX_INDICES) {
        CloseLightmap(pLightmap, pTempVerts, pusTempIndices);
        return 0;
    }
    uint32_t uiW = pSurface->usLuxelsU, uiH = pSurface->usLuxelsV;
    uint32_t x = pLightmap->uiPenX, y = pLightmap->uiPenY, uiShelf = pLightmap->uiShelfHeight;
    uint32_t uiRow = pLightmap->uiRowRemaining, uiLeft = pLightmap->uiHeightRemaining;
    if (uiW > uiRow) {
        // a new shelf above the tallest patch of this one
        y += uiShelf;
        uiLeft -= uiShelf;
        uiRow = (uint32_t)pLightmap->iWidth;
        x = 0;
        uiShelf = 0;
    }
    if (uiH > uiLeft) {
        CloseLightmap(pLightmap, pTempVerts, pusTempIndices);
        return 0;
    }
    pSurface->uiLightmapX = x;
    pSurface->uiLightmapY = y;
    pSurface->fTexRect[0] = (float)x / (float)pLightmap->iWidth;
    pSurface->fTexRect[1] = (float)y / (float)pLightmap->iHeight;
    pSurface->fTexRect[2] = (float)uiW / (float)pLightmap->iWidth;
    pSurface->fTexRect[3] = (float)uiH / (float)pLightmap->iHeight;
    pLightmap->uiShelfHeight = uiShelf > uiH ? uiShelf : uiH;
    pLightmap->uiLastWidth = uiW;
    pLightmap->uiHeightRemaining = uiLeft;
    pLightmap->uiPenX = x + uiW;
    pLightmap->uiPenY = y;
    pLightmap->uiRowRemaining = uiRow - uiW;
    AppendGeometry(pLightmap, pSurface, pTempVerts, pusTempIndices);
    pSurface->pLightmap = pLightmap;
    if (twList_AddPointer(pLightmap->pSurfaceList, pSurface) < 0) {
        twLogError(FIT_TAG, "!twList_AddPointer : pSurface\n");
        return 0;
    }
    if (bLast && !CloseLightmap(pLightmap, pTempVerts, pusTempIndices))
        return 0;
    return 1;
}

int twWorld_AssignLightmaps(TwLightmapVertex* pTempVerts, uint16_t* pusTempIndices)
{
    TwWorld* w = pWorld;
    twLog(ASSIGN_TAG, "Assigning surfaces to lightmaps\n");
    for (int g = 0; g < w->iNumElementGroups; g++)
        for (int r = 0; r < w->pElementGroups[g].iNumRenderArrays; r++) {
            TwSurfaceArray* pArray = w->pElementGroups[g].pRenderArrays[r].pSurfaceArray2;
            if (!pArray)
                continue;
            pArray->pLightmapList = (TwList*)twMem_Malloc(sizeof(TwList), "pSurfaceArray2->pLightmapList");
            if (!pArray->pLightmapList) {
                twLogError(ASSIGN_TAG, "!malloc : pSurfaceArray2->pLightmapList\n");
                return 0;
            }
            for (int s = 0; s < pArray->iNumSurfaces; s++) {
                TwSurface* pSurface = &pArray->pSurfaces2[s];
                int bLast = s == pArray->iNumSurfaces - 1;
                twWorld_ComputeSurfaceLightmapSize(pSurface);
                // a full lightmap closes on the first try, and the second opens a new one
                if (twWorld_FitSurfaceInLightmap2(pArray, pSurface, pTempVerts, pusTempIndices, bLast) ||
                    twWorld_FitSurfaceInLightmap2(pArray, pSurface, pTempVerts, pusTempIndices, bLast))
                    continue;
                if (pSurface->usNumIndices > TW_LIGHTMAP_MAX_INDICES)
                    twLogError(ASSIGN_TAG, "!Surface %u has %d indices, more than a lightmap holds\n",
                               pSurface->iIndex, pSurface->usNumIndices);
                twLogError(ASSIGN_TAG, "!twWorld_FitSurfaceInLightmap2\n");
                return 0;
            }
        }
    twLog(ASSIGN_TAG, "Number of lightmaps = %d\n", twWorld_CountLightmaps());
    return 1;
}

void twWorld_FreeLightmap(TwLightmap* pLightmap)
{
    if (pLightmap->pTexture)
        twOgl_FreeTexture(pLightmap->pTexture);
    twWorld_FreeDrawArrays(pLightmap->hVboVerts, pLightmap->hVboIndices, pLightmap->pVerts, pLightmap->pusIndices);
    twList_Delete(&pLightmap->pSurfaceList, 0);
    twMem_Free(pLightmap);
}

int twWorld_CountLightmaps(void)
{
    int iCount = 0;
    TwLightmapWalk walk = {};
    while (twWorld_NextLightmap(&walk))
        iCount++;
    return iCount;
}

TwLightmap* twWorld_NextLightmap(TwLightmapWalk* k)
{
    TwWorld* w = pWorld;
    while (!k->pNext) {
        // on to the next render array with a lightmap list
        if (k->iGroup >= w->iNumElementGroups)
            return nullptr;
        const TwElementGroup* pGroup = &w->pElementGroups[k->iGroup];
        if (k->iArray >= pGroup->iNumRenderArrays) {
            k->iGroup++;
            k->iArray = 0;
            continue;
        }
        TwSurfaceArray* pArray = pGroup->pRenderArrays[k->iArray++].pSurfaceArray2;
        k->pNext = pArray && pArray->pLightmapList ? pArray->pLightmapList->pNext : nullptr;
    }
    TwLightmap* pLightmap = (TwLightmap*)k->pNext->pData;
    k->pNext = k->pNext->pNext;
    return pLightmap;
}
