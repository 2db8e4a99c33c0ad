// The cut's faces: where a plane of the cut crosses a closed solid, the plane meets its
// triangles in closed loops; a fan of triangles from a point of the plane to each segment of
// them, drawn with the stencil inverting, leaves odd counts just inside the loops (holes
// included), and there the face is filled and hatched; every loop is outlined. Open sheets
// are outlined without a face. Loops and fans are made when the cut or what shows changes,
// so a frame draws no more than the cut faces' own area.
#include <GL/glew.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/vector.h"
#include "navigation/camera.h"
#include "platform/window.h"
#include "render/render.h"
#include "world/world.h"

#define TAG "twWorld_DrawCaps"
#define WELD_GRID 1e-4f        // corners this near are one when a solid is told closed
#define OUTLINE_MAX (1 << 22)  // segments of the outlines at most

// What the caps keep between frames: which elements are closed solids, and the outlines
static struct {
    uint8_t* pucClosed;        // per element: 0 not yet known, 1 closed, 2 open
    const TwElement* pElements; // the model they were found for
    int iNumElements;
    float* pfSegments;         // 6 floats a segment, by plane
    int aiFirst[TW_CUT_PLANES + 1];
    int iCapacity;             // segments
    float* pfFans;             // 9 floats a triangle: a closed solid's point in the plane and a segment
    int aiFanFirst[TW_CUT_PLANES + 1];
    int iFanCapacity;
    uint32_t uiVersion;        // of the cut they were made for
    int bValid;
} s_caps;

static const uint8_t s_aucHatch[128] = {
#define ROW4(a, b, c, d) a, b, c, d
    // a diagonal line every eight pixels
    ROW4(0x80, 0x80, 0x80, 0x80), ROW4(0x40, 0x40, 0x40, 0x40), ROW4(0x20, 0x20, 0x20, 0x20),
    ROW4(0x10, 0x10, 0x10, 0x10), ROW4(0x08, 0x08, 0x08, 0x08), ROW4(0x04, 0x04, 0x04, 0x04),
    ROW4(0x02, 0x02, 0x02, 0x02), ROW4(0x01, 0x01, 0x01, 0x01), ROW4(0x80, 0x80, 0x80, 0x80),
    ROW4(0x40, 0x40, 0x40, 0x40), ROW4(0x20, 0x20, 0x20, 0x20), ROW4(0x10, 0x10, 0x10, 0x10),
    ROW4(0x08, 0x08, 0x08, 0x08), ROW4(0x04, 0x04, 0x04, 0x04), ROW4(0x02, 0x02, 0x02, 0x02),
    ROW4(0x01, 0x01, 0x01, 0x01), ROW4(0x80, 0x80, 0x80, 0x80), ROW4(0x40, 0x40, 0x40, 0x40),
    ROW4(0x20, 0x20, 0x20, 0x20), ROW4(0x10, 0x10, 0x10, 0x10), ROW4(0x08, 0x08, 0x08, 0x08),
    ROW4(0x04, 0x04, 0x04, 0x04), ROW4(0x02, 0x02, 0x02, 0x02), ROW4(0x01, 0x01, 0x01, 0x01),
    ROW4(0x80, 0x80, 0x80, 0x80), ROW4(0x40, 0x40, 0x40, 0x40), ROW4(0x20, 0x20, 0x20, 0x20),
    ROW4(0x10, 0x10, 0x10, 0x10), ROW4(0x08, 0x08, 0x08, 0x08), ROW4(0x04, 0x04, 0x04, 0x04),
    ROW4(0x02, 0x02, 0x02, 0x02), ROW4(0x01, 0x01, 0x01, 0x01),
#undef ROW4
};

void twWorld_FreeCaps(void)
{
    twMem_Free(s_caps.pucClosed);
    twMem_Free(s_caps.pfSegments);
    twMem_Free(s_caps.pfFans);
    memset(&s_caps, 0, sizeof(s_caps));
}

static float Distance(const float* pfPlane, const float* pv)
{
    return pfPlane[0] * pv[0] + pfPlane[1] * pv[1] + pfPlane[2] * pv[2] + pfPlane[3];
}

// Whether a box's corners lie on both sides of a plane
static int BoxStraddles(const float* pfPlane, const float* pvMin, const float* pvMax)
{
    float fCentre = 0, fReach = 0;
    for (int i = 0; i < 3; i++) {
        fCentre += pfPlane[i] * (pvMin[i] + pvMax[i]) * 0.5f;
        fReach += fabsf(pfPlane[i]) * (pvMax[i] - pvMin[i]) * 0.5f;
    }
    fCentre += pfPlane[3];
    return fCentre - fReach <= 0 && fCentre + fReach >= 0;
}

static int CompareU64(const void* a, const void* b)
{
    uint64_t x = *(const uint64_t*)a, y = *(const uint64_t*)b;
    return x < y ? -1 : (x > y ? 1 : 0);
}

void twWorld_GridCorner(const float* pv, float fGrid, int iIndex, TwGridCorner* pOut)
{
    for (int a = 0; a < 3; a++)
        pOut->aiCell[a] = (int32_t)floorf(pv[a] / fGrid + 0.5f);
    pOut->iIndex = iIndex;
}

int twWorld_CompareGridCorners(const void* pa, const void* pb)
{
    const TwGridCorner* a = (const TwGridCorner*)pa;
    const TwGridCorner* b = (const TwGridCorner*)pb;
    for (int i = 0; i < 3; i++)
        if (a->aiCell[i] != b->aiCell[i])
            return a->aiCell[i] < b->aiCell[i] ? -1 : 1;
    return 0;
}

// A closed solid: with corners welded, every edge is met by an even number of triangles.
// Meshes of one element together make the solid: a window's frame and its glass are two.
static int ElementClosed(const TwElement* pElement)
{
    int iCorners = 0;
    for (int m = 0; m < pElement->iNumMeshes; m++)
        iCorners += pElement->pMeshes[m].usNumIndices / 3 * 3;
    if (!iCorners)
        return 0;
    TwGridCorner* pCorners = (TwGridCorner*)twMem_Malloc((uint32_t)iCorners * sizeof(TwGridCorner), "caps");
    int32_t* piWelded = (int32_t*)twMem_Malloc((uint32_t)iCorners * sizeof(int32_t), "caps");
    uint64_t* puiEdges = (uint64_t*)twMem_Malloc((uint32_t)iCorners * sizeof(uint64_t), "caps");
    int bClosed = 0;
    if (pCorners && piWelded && puiEdges) {
        int n = 0;
        for (int m = 0; m < pElement->iNumMeshes; m++) {
            const TwMesh* pMesh = &pElement->pMeshes[m];
            for (int i = 0; pMesh->pVerts && pMesh->usNumVerts && pMesh->pusIndices && i < pMesh->usNumIndices / 3 * 3;
                 i++) {
                uint16_t us = pMesh->pusIndices[i];
                const float* pv = us < pMesh->usNumVerts ? pMesh->pVerts[us].vPos : pMesh->pVerts[0].vPos;
                twWorld_GridCorner(pv, WELD_GRID, n, &pCorners[n]);
                n++;
            }
        }
        qsort(pCorners, (size_t)n, sizeof(TwGridCorner), twWorld_CompareGridCorners);
        int iId = 0;
        for (int i = 0; i < n; i++) {
            if (i && twWorld_CompareGridCorners(&pCorners[i - 1], &pCorners[i]))
                iId++;
            piWelded[pCorners[i].iIndex] = iId;
        }
        for (int t = 0; t < n / 3; t++)
            for (int k = 0; k < 3; k++) {
                uint32_t a = (uint32_t)piWelded[3 * t + k], b = (uint32_t)piWelded[3 * t + (k + 1) % 3];
                puiEdges[3 * t + k] = a < b ? ((uint64_t)a << 32 | b) : ((uint64_t)b << 32 | a);
            }
        qsort(puiEdges, (size_t)n, sizeof(uint64_t), CompareU64);
        bClosed = 1;
        for (int i = 0; i < n && bClosed;) {
            int j = i;
            while (j < n && puiEdges[j] == puiEdges[i])
                j++;
            bClosed = (j - i) % 2 == 0;
            i = j;
        }
    }
    twMem_Free(pCorners);
    twMem_Free(piWelded);
    twMem_Free(puiEdges);
    return bClosed;
}

// The closed flags for the model now loaded: another model's go
static int ClosedFlagsReady(void)
{
    TwWorld* w = pWorld;
    if (s_caps.pucClosed && s_caps.pElements == w->pElements && s_caps.iNumElements == w->iNumElements)
        return 1;
    twMem_Free(s_caps.pucClosed);
    s_caps.bValid = 0;
    s_caps.pucClosed = (uint8_t*)twMem_Malloc((uint32_t)w->iNumElements + 1, "caps closed");
    s_caps.pElements = w->pElements;
    s_caps.iNumElements = w->iNumElements;
    return s_caps.pucClosed != nullptr;
}

int twWorld_ElementIsClosed(int iElement)
{
    TwWorld* w = pWorld;
    if (!w || !w->bLoaded || iElement < 0 || iElement >= w->iNumElements || !ClosedFlagsReady())
        return 0;
    uint8_t* puc = &s_caps.pucClosed[iElement];
    if (!*puc)
        *puc = ElementClosed(&w->pElements[iElement]) ? 1 : 2;
    return *puc == 1;
}

// An element the plane crosses and that shows: it takes part in that plane's face
static int Crossed(int iElement, const float* pfPlane)
{
    const TwElement* pElement = &pWorld->pElements[iElement];
    return twWorld_ElementShown(pElement) && BoxStraddles(pfPlane, pElement->vMin, pElement->vMax);
}

// Floats more at the end of a store of iStride a record, grown by half as needed
static int Grow(float** ppf, int* piCapacity, int iCount, int iStride)
{
    if (iCount >= OUTLINE_MAX)
        return 0;
    if (iCount < *piCapacity)
        return 1;
    int iCapacity = *piCapacity ? *piCapacity + *piCapacity / 2 : 4096;
    float* pf = (float*)twMem_Malloc((uint32_t)iCapacity * iStride * sizeof(float), "caps outline");
    if (!pf)
        return 0;
    if (*ppf)
        memcpy(pf, *ppf, (size_t)iCount * iStride * sizeof(float));
    twMem_Free(*ppf);
    *ppf = pf;
    *piCapacity = iCapacity;
    return 1;
}

static int AddSegment(const float* a, const float* b)
{
    int n = s_caps.aiFirst[TW_CUT_PLANES];
    if (!Grow(&s_caps.pfSegments, &s_caps.iCapacity, n, 6))
        return 0;
    memcpy(s_caps.pfSegments + 6 * n, a, 3 * sizeof(float));
    memcpy(s_caps.pfSegments + 6 * n + 3, b, 3 * sizeof(float));
    s_caps.aiFirst[TW_CUT_PLANES]++;
    return 1;
}

// The fan of a closed solid's loops: a triangle from the middle of its segments to each
static int AddFan(int iFirstSegment, int iEndSegment)
{
    float afMiddle[3] = {0, 0, 0};
    for (int i = iFirstSegment; i < iEndSegment; i++)
        for (int c = 0; c < 3; c++)
            afMiddle[c] += s_caps.pfSegments[6 * i + c] / (float)(iEndSegment - iFirstSegment);
    for (int i = iFirstSegment; i < iEndSegment; i++) {
        int n = s_caps.aiFanFirst[TW_CUT_PLANES];
        if (!Grow(&s_caps.pfFans, &s_caps.iFanCapacity, n, 9))
            return 0;
        memcpy(s_caps.pfFans + 9 * n, afMiddle, 3 * sizeof(float));
        memcpy(s_caps.pfFans + 9 * n + 3, s_caps.pfSegments + 6 * i, 6 * sizeof(float));
        s_caps.aiFanFirst[TW_CUT_PLANES]++;
    }
    return 1;
}

// Where each plane meets the triangles of the elements it crosses
static void MakeOutlines(void)
{
    TwWorld* w = pWorld;
    s_caps.aiFirst[TW_CUT_PLANES] = s_caps.aiFanFirst[TW_CUT_PLANES] = 0;
    int bFull = 0;
    for (int p = 0; p < TW_CUT_PLANES; p++) {
        s_caps.aiFirst[p] = s_caps.aiFirst[TW_CUT_PLANES];
        s_caps.aiFanFirst[p] = s_caps.aiFanFirst[TW_CUT_PLANES];
        if (p >= w->iNumCutPlanes)
            continue;
        const float* pfPlane = w->aafCutPlanes[p];
        for (int e = 0; e < w->iNumElements && !bFull; e++) {
            if (!Crossed(e, pfPlane))
                continue;
            int iFirstSegment = s_caps.aiFirst[TW_CUT_PLANES];
            const TwElement* pElement = &w->pElements[e];
            for (int m = 0; m < pElement->iNumMeshes && !bFull; m++) {
                const TwMesh* pMesh = &pElement->pMeshes[m];
                for (int i = 0; pMesh->pVerts && pMesh->usNumVerts && pMesh->pusIndices && i + 2 < pMesh->usNumIndices &&
                                !bFull;
                     i += 3) {
                    const float* apv[3];
                    float afD[3];
                    int bOk = 1;
                    for (int k = 0; k < 3; k++) {
                        uint16_t us = pMesh->pusIndices[i + k];
                        bOk &= us < pMesh->usNumVerts;
                        apv[k] = pMesh->pVerts[us < pMesh->usNumVerts ? us : 0].vPos;
                        afD[k] = Distance(pfPlane, apv[k]);
                    }
                    // the two edges whose ends lie on both sides give the segment's ends
                    float afEnds[2][3];
                    int iEnds = 0;
                    for (int k = 0; k < 3 && bOk; k++) {
                        float a = afD[k], b = afD[(k + 1) % 3];
                        if ((a < 0) == (b < 0) || iEnds == 2)
                            continue;
                        float t = a / (a - b);
                        for (int c = 0; c < 3; c++)
                            afEnds[iEnds][c] = apv[k][c] + (apv[(k + 1) % 3][c] - apv[k][c]) * t;
                        iEnds++;
                    }
                    if (iEnds == 2 && !AddSegment(afEnds[0], afEnds[1]))
                        bFull = 1;
                }
            }
            int iEndSegment = s_caps.aiFirst[TW_CUT_PLANES];
            if (!bFull && iEndSegment > iFirstSegment && twWorld_ElementIsClosed(e) && !AddFan(iFirstSegment, iEndSegment))
                bFull = 1;
        }
    }
    if (bFull)
        twLogError(TAG, "!outline : past %d segments, the rest is not outlined\n", s_caps.aiFirst[TW_CUT_PLANES]);
    s_caps.uiVersion = w->uiCutVersion;
    s_caps.bValid = 1;
}

// The other planes of the cut as clip planes, the one being filled left out
static void ClipToOthers(int iPlane)
{
    TwWorld* w = pWorld;
    int iClip = 0;
    for (int i = 0; i < w->iNumCutPlanes; i++) {
        if (i == iPlane)
            continue;
        const float* p = w->aafCutPlanes[i];
        const double adPlane[4] = {p[0], p[1], p[2], p[3]};
        glClipPlane(GL_CLIP_PLANE0 + iClip, adPlane);
        glEnable(GL_CLIP_PLANE0 + iClip++);
    }
    for (; iClip < TW_CUT_PLANES; iClip++)
        glDisable(GL_CLIP_PLANE0 + iClip);
}

// The fans of a plane's closed solids
static void DrawFans(int iPlane)
{
    glVertexPointer(3, GL_FLOAT, 0, s_caps.pfFans + 9 * s_caps.aiFanFirst[iPlane]);
    glDrawArrays(GL_TRIANGLES, 0, 3 * (s_caps.aiFanFirst[iPlane + 1] - s_caps.aiFanFirst[iPlane]));
}

void twWorld_DrawCaps(void)
{
    TwWorld* w = pWorld;
    if (!w || !w->bLoaded || !w->iNumCutPlanes)
        return;
    if (!ClosedFlagsReady())
        return;
    if (!s_caps.bValid || s_caps.uiVersion != w->uiCutVersion)
        MakeOutlines();
    glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
    glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, 0);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_LIGHTING);
    glDisable(GL_BLEND);
    glDisable(GL_CULL_FACE);
    glEnableClientState(GL_VERTEX_ARRAY);
    int bStencil = w->bCutCaps && twWindow_HasStencil();
    for (int p = 0; p < w->iNumCutPlanes && bStencil; p++) {
        if (s_caps.aiFanFirst[p + 1] == s_caps.aiFanFirst[p])
            continue;
        // the loops' insides, where the fans' count is odd, within the other planes
        ClipToOthers(p);
        glEnable(GL_STENCIL_TEST);
        glStencilFunc(GL_ALWAYS, 0, 1);
        glStencilOp(GL_KEEP, GL_KEEP, GL_INVERT);
        glColorMask(GL_FALSE, GL_FALSE, GL_FALSE, GL_FALSE);
        glDepthMask(GL_FALSE);
        glDisable(GL_DEPTH_TEST);
        DrawFans(p);
        // filled and hatched there, behind what stands before the face
        glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
        glEnable(GL_DEPTH_TEST);
        glDepthFunc(GL_LEQUAL);
        glStencilFunc(GL_EQUAL, 1, 1);
        glStencilOp(GL_KEEP, GL_KEEP, GL_KEEP);
        glEnable(GL_POLYGON_OFFSET_FILL);
        glPolygonOffset(1, 1); // the outline wins over the face it bounds
        glDepthMask(GL_TRUE);
        glColor3fv(TW_CAP_COLOUR);
        DrawFans(p);
        glEnable(GL_POLYGON_STIPPLE);
        glPolygonStipple(s_aucHatch);
        glColor3fv(TW_CAP_HATCH_COLOUR);
        glDepthMask(GL_FALSE);
        DrawFans(p);
        glDisable(GL_POLYGON_STIPPLE);
        glDisable(GL_POLYGON_OFFSET_FILL);
        // the stencil back to zero where the fans reached, for the next plane
        glColorMask(GL_FALSE, GL_FALSE, GL_FALSE, GL_FALSE);
        glDisable(GL_DEPTH_TEST);
        glStencilFunc(GL_ALWAYS, 0, 1);
        glStencilOp(GL_ZERO, GL_ZERO, GL_ZERO);
        DrawFans(p);
        glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
        glDepthMask(GL_TRUE);
        glEnable(GL_DEPTH_TEST);
    }
    glDisable(GL_STENCIL_TEST);
    // the outlines, every plane's within the others
    glColor3f(0.1f, 0.05f, 0.05f);
    for (int p = 0; p < w->iNumCutPlanes; p++) {
        int iCount = s_caps.aiFirst[p + 1] - s_caps.aiFirst[p];
        if (iCount <= 0)
            continue;
        ClipToOthers(p);
        glVertexPointer(3, GL_FLOAT, 0, s_caps.pfSegments + 6 * s_caps.aiFirst[p]);
        glDrawArrays(GL_LINES, 0, 2 * iCount);
    }
    glDisableClientState(GL_VERTEX_ARRAY);
    twWorld_ClipToCut(0);
    glColor3f(1, 1, 1);
}

// X-ray: the elements it turns to glass, faint and unlit, their edges a little stronger; drawn
// after everything solid, without writing depth, so the solid shows through
void twWorld_DrawGlass(void)
{
    TwWorld* w = pWorld;
    if (!w || !w->bLoaded || !w->iNumGlass || !w->pucElementGlass)
        return;
    glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
    glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, 0);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_LIGHTING);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glDepthMask(GL_FALSE);
    glDepthFunc(GL_LEQUAL);
    glEnableClientState(GL_VERTEX_ARRAY);
    twWorld_ClipToCut(1);
    for (int iEdges = 0; iEdges < 2; iEdges++) {
        if (iEdges)
            glColor4f(0.15f, 0.2f, 0.3f, 0.45f);
        else
            glColor4f(0.7f, 0.8f, 0.95f, 0.12f);
        for (int e = 0; e < w->iNumElements; e++) {
            if (!w->pucElementGlass[e])
                continue;
            const TwElement* pElement = &w->pElements[e];
            for (int m = 0; m < pElement->iNumMeshes; m++) {
                const TwMesh* pMesh = &pElement->pMeshes[m];
                int iCount = iEdges ? pMesh->usNumEdgeIndices : pMesh->usNumIndices / 3 * 3;
                const uint16_t* pus = iEdges ? pMesh->pusEdgeIndices : pMesh->pusIndices;
                if (!pMesh->pVerts || !pus || !iCount)
                    continue;
                glVertexPointer(3, GL_FLOAT, sizeof(TwVertex), &pMesh->pVerts[0].vPos);
                glDrawElements(iEdges ? GL_LINES : GL_TRIANGLES, iCount, GL_UNSIGNED_SHORT, pus);
            }
        }
    }
    twWorld_ClipToCut(0);
    glDisableClientState(GL_VERTEX_ARRAY);
    glDepthMask(GL_TRUE);
    glDisable(GL_BLEND);
    glColor4f(1, 1, 1, 1);
}
