// The light job: every luxel of every surface and every vertex of every smooth mesh is
// lit by drawing the model as seen from it, and the mean of what the picture holds is its
// light. The pictures go into tiles of one target and are read back a target at a time;
// the same pictures read back one by one give the same bytes.
#include <GL/glew.h>
#include <math.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "engine/timer.h"
#include "engine/vector.h"
#include "light/light.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "world/tree.h"

#define JOB_TAG "twWorld_LightWorld"
#define REDRAW_SAMPLES 2000      // samples between two redraws of the screen
#define SAMPLE_OFFSET 0.001f     // metres: a luxel's sample stands this far off its plane
#define SAMPLE_NEAR 0.004f       // metres: the sample view's near plane, and the lift off a wall
#define SAMPLE_FOV_TAN 1.4281480f // tan(55 degrees): a view 110 degrees wide
#define GROUND_MARGIN 1.46f      // ranges the sample's ground reaches beyond the model
#define GROUND_DROP 0.1f         // metres below the model's foot
#define DRAW_RANGE 1.9f          // ranges: groups further off are not drawn in a sample
#define CROSSING_ANGLE 0.6f      // surfaces closer to parallel than this don't cross
#define SLAB_HEIGHT 0.1f         // metres above a surface where crossing surfaces are looked for
#define BEST_START 4600.0f
#define RAY_EPSILON 1e-5f
#define CULL_MARGIN 0.01f        // metres a group must lie outside the sample view to be left out
#define TARGET_SIZE 512          // pixels: side of the target the sample pictures are drawn into
#define MAX_TILES 8              // pictures read back at once: more make the driver's scenes dearer

// A picture waiting in its tile: where its mean goes
struct Pending {
    uint8_t* pucOut;  // the luxel's three bytes, or the vertex's four
    int bVertex;
};

static Pending s_aPending[MAX_TILES];
static int s_iNumPending;

// ---------------------------------------------------------------------------------------------
// The picture of one sample
// ---------------------------------------------------------------------------------------------

static int SampleSize(void)
{
    return pWorld->bSampleHi ? pWorld->iSamplerSizeHi : pWorld->iSamplerSizeLo;
}

static int TilesAcross(void)
{
    int iAcross = TARGET_SIZE / SampleSize();
    return !pWorld->pSamplerFbo ? 1 : (iAcross < MAX_TILES ? iAcross : MAX_TILES);
}

// The tile of a sample follows from the luxel or vertex alone, so that a job broken off
// and resumed draws every picture where an unbroken one would
static int TileOf(int iItem)
{
    int iAcross = TilesAcross();
    int iTiles = iAcross * iAcross < MAX_TILES ? iAcross * iAcross : MAX_TILES;
    return iItem % iTiles;
}

static void TileCorner(int iTile, int* piX, int* piY)
{
    int iSize = SampleSize(), iAcross = TilesAcross();
    *piX = (iTile % iAcross) * iSize;
    *piY = (iTile / iAcross) * iSize;
}

// The mean of the green bytes of a picture: summed as a float, over the pixels and 255,
// times 255, kept to 0 to 255 and truncated
static uint8_t MeanGreen(const uint8_t* pucRgba, int iRowPixels, int iSize)
{
    float fSum = 0;
    for (int y = 0; y < iSize; y++) {
        const uint8_t* p = pucRgba + (size_t)y * iRowPixels * 4 + 1;
        for (int x = 0; x < iSize; x++)
            fSum += p[x * 4];
    }
    float f = fSum / (float)(iSize * iSize * 255) * 255.0f;
    return (uint8_t)(f < 0 ? 0 : (f > 255 ? 255 : f));
}

static void StoreMean(const Pending* pPending, uint8_t ucMean)
{
    if (pPending->bVertex) {
        pPending->pucOut[0] = pPending->pucOut[1] = pPending->pucOut[2] = ucMean;
        pPending->pucOut[3] = 255;
    } else {
        pPending->pucOut[0] = 0;
        pPending->pucOut[1] = ucMean;
        pPending->pucOut[2] = 0;
    }
}

// Reads back the pictures that wait in the target, all at once
static void FlushSamples(void)
{
    if (!s_iNumPending)
        return;
    int iSize = SampleSize(), iAcross = TilesAcross();
    int iRows = (s_iNumPending + iAcross - 1) / iAcross;
    int iWidth = iAcross * iSize;
    uint8_t* pucPixels = (uint8_t*)twMem_GetTempBuffer(iWidth * iRows * iSize * 4, 0);
    if (!pucPixels) {
        twLogError(JOB_TAG, "!twMem_GetTempBuffer\n");
        s_iNumPending = 0;
        return;
    }
    glReadPixels(0, 0, iWidth, iRows * iSize, GL_RGBA, GL_UNSIGNED_BYTE, pucPixels);
    for (int i = 0; i < s_iNumPending; i++) {
        if (!s_aPending[i].pucOut)
            continue;
        int x, y;
        TileCorner(i, &x, &y);
        StoreMean(&s_aPending[i], MeanGreen(pucPixels + ((size_t)y * iWidth + x) * 4, iWidth, iSize));
        s_aPending[i].pucOut = nullptr;
    }
    s_iNumPending = 0;
}

// Forgets the pictures of a surface or mesh broken off
static void DropSamples(void)
{
    memset(s_aPending, 0, sizeof(s_aPending));
    s_iNumPending = 0;
}

// The tile cleared to open space: a square at the far depth in the clear colour. A clear
// of part of the target would make the driver draw what it has gathered so far, tile by
// tile; a square keeps a target's worth of pictures in one go.
static void ClearTile(void)
{
    glDisable(GL_VERTEX_PROGRAM_ARB);
    glDisable(GL_FRAGMENT_PROGRAM_ARB);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glDepthFunc(GL_ALWAYS);
    glDepthRange(1, 1);
    glColor4f(0, 1, 0, 0);
    glBegin(GL_QUADS);
    glVertex2f(-1, -1);
    glVertex2f(1, -1);
    glVertex2f(1, 1);
    glVertex2f(-1, 1);
    glEnd();
    glDepthRange(0, 1);
    glDepthFunc(GL_LEQUAL);
    glColor4f(1, 1, 1, 0);
    glEnable(GL_VERTEX_PROGRAM_ARB);
    glEnable(GL_FRAGMENT_PROGRAM_ARB);
}

static void DrawSampleGround(void)
{
    const TwWorld* w = pWorld;
    float m = GROUND_MARGIN * w->fLightRange;
    float y = w->vMin[1] - GROUND_DROP;
    float x0 = w->vMin[0] - m, x1 = w->vMax[0] + m, z0 = w->vMin[2] - m, z1 = w->vMax[2] + m;
    glBegin(GL_TRIANGLES);
    glVertex3f(x0, y, z0);
    glVertex3f(x0, y, z1);
    glVertex3f(x1, y, z1);
    glVertex3f(x0, y, z0);
    glVertex3f(x1, y, z1);
    glVertex3f(x1, y, z0);
    glEnd();
}

// The sample view's four sides and near plane in the world, pointing inwards, each as a
// normal and its distance: a group wholly outside one of them cannot reach a pixel
static float s_afFrustum[5][4];

static void SetFrustum(const float* pvEye, const float* pvDir, const float* pvUp)
{
    float afFront[3] = {pvDir[0], pvDir[1], pvDir[2]}, afSide[3], afUp[3];
    twVec_Normalize(afFront);
    twVec_Cross(afFront, pvUp, afSide);
    twVec_Normalize(afSide);
    twVec_Cross(afSide, afFront, afUp);
    twVec_Normalize(afUp);
    const float* apAcross[4] = {afSide, afSide, afUp, afUp};
    for (int p = 0; p < 5; p++) {
        float* n = s_afFrustum[p];
        for (int i = 0; i < 3; i++)
            n[i] = p == 4 ? afFront[i] : SAMPLE_FOV_TAN * afFront[i] + (p & 1 ? 1 : -1) * apAcross[p][i];
        n[3] = -twVec_Dot(n, pvEye) - (p == 4 ? SAMPLE_NEAR : 0);
    }
}

// With a margin, so that rounding in the driver's clipping can never make it differ
static int BoxOutsideFrustum(const float* pvCentre, const float* pvHalf)
{
    for (int p = 0; p < 5; p++) {
        const float* n = s_afFrustum[p];
        float fReach = fabsf(n[0]) * pvHalf[0] + fabsf(n[1]) * pvHalf[1] + fabsf(n[2]) * pvHalf[2];
        if (twVec_Dot(n, pvCentre) + n[3] + fReach < -CULL_MARGIN)
            return 1;
    }
    return 0;
}

void twWorld_DrawSampleGeometry(int bUseVbos)
{
    TwWorld* w = pWorld;
    // the ground too goes through the program's instance matrix and its back-face factor,
    // so both are set before it: what a frame drawn between two samples left there must
    // not reach a picture
    glProgramEnvParameter4fARB(GL_FRAGMENT_PROGRAM_ARB, 9, 0, 1, 0, 1);
    glMatrixMode(GL_MATRIX0_ARB);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    DrawSampleGround();
    glEnableClientState(GL_VERTEX_ARRAY);
    float e = DRAW_RANGE * w->fLightRange;
    const float afRange[3] = {e, e, e};
    uint32_t hBound = 0;
    for (TwElementGroup** pp = w->ppElementGroupsInRange; *pp; pp++) {
        const TwElementGroup* pGroup = *pp;
        if (!twBox_Overlap(pGroup->vCentre, pGroup->vHalfSize, w->vSamplePos, afRange) ||
            BoxOutsideFrustum(pGroup->vCentre, pGroup->vHalfSize))
            continue;
        for (int r = 0; r < pGroup->iNumRenderArrays; r++) {
            const TwRenderArray* pArray = &pGroup->pRenderArrays[r];
            if (w->pMaterials[pArray->iMaterial].bIsTransparent || !pArray->pMeshListBatch || !pArray->pBatchList)
                continue;
            for (TwList* p = pArray->pBatchList->pNext; p; p = p->pNext) {
                const TwBatch* pBatch = (const TwBatch*)p->pData;
                if (!pBatch)
                    continue;
                const uint8_t* pucVerts = (const uint8_t*)pBatch->pVerts;
                const uint16_t* pusIndices = pBatch->pusIndices;
                uint32_t hWanted = bUseVbos && pBatch->hVboVerts ? pBatch->hVboVerts : 0;
                if (hWanted != hBound) {
                    glBindBufferARB(GL_ARRAY_BUFFER_ARB, hWanted);
                    glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, hWanted ? pBatch->hVboIndices : 0);
                    hBound = hWanted;
                }
                if (hWanted) {
                    pucVerts = nullptr;
                    pusIndices = nullptr;
                } else if (!pucVerts) {
                    continue; // in buffers that aren't to be used
                }
                glVertexPointer(3, GL_FLOAT, sizeof(TwVertex), pucVerts + offsetof(TwVertex, vPos));
                glDrawRangeElements(GL_TRIANGLES, 0, pBatch->usNumVerts, pBatch->usNumIndices, GL_UNSIGNED_SHORT,
                                    pusIndices);
            }
        }
    }
    if (hBound) {
        glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
        glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, 0);
    }
    glDisableClientState(GL_VERTEX_ARRAY);
}

void twWorld_LookFromSample(const float* pvDir, const float* pvUp)
{
    TwWorld* w = pWorld;
    SetFrustum(w->vSamplePos, pvDir, pvUp);
    float fFar = 2 * w->fLightRange, fNear = SAMPLE_NEAR, f = 1.0f / SAMPLE_FOV_TAN;
    const float afProjection[16] = {f, 0, 0, 0, 0, f, 0, 0, 0, 0, (fFar + fNear) / (fNear - fFar), -1,
                                    0, 0, 2 * fFar * fNear / (fNear - fFar), 0};
    glMatrixMode(GL_PROJECTION);
    glLoadMatrixf(afProjection);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    twOgl_LookAlong(w->vSamplePos, pvDir, pvUp);
    glProgramEnvParameter4fARB(GL_VERTEX_PROGRAM_ARB, 3, w->vSamplePos[0], w->vSamplePos[1], w->vSamplePos[2],
                               1.0f / w->fLightRange);
}

// One picture from the sample position along a direction into the item's tile; its mean
// goes to pucOut when it is read back
static void RenderPicture(const float* pvDir, const float* pvUp, int iItem, uint8_t* pucOut, int bVertex)
{
    TwWorld* w = pWorld;
    int iSize = SampleSize(), iTile = TileOf(iItem), x, y;
    // the tiles fill in order: any other tile means the target is read back first
    if (iTile != s_iNumPending)
        FlushSamples();
    TileCorner(iTile, &x, &y);
    glViewport(x, y, iSize, iSize);
    glScissor(x, y, iSize, iSize);
    ClearTile();
    twWorld_LookFromSample(pvDir, pvUp);
    twWorld_DrawSampleGeometry(w->bUseVbo);
    s_aPending[iTile].pucOut = pucOut;
    s_aPending[iTile].bVertex = bVertex;
    s_iNumPending = iTile + 1;
    if (w->bSampleOneByOne || !w->pSamplerFbo) {
        // the picture alone, read back at once
        uint8_t* pucPixels = SampleSize() == w->iSamplerSizeHi ? w->pSampleDataHi : w->pSampleDataLo;
        glReadPixels(x, y, iSize, iSize, GL_RGBA, GL_UNSIGNED_BYTE, pucPixels);
        StoreMean(&s_aPending[iTile], MeanGreen(pucPixels, iSize, iSize));
        DropSamples();
    }
}

void twWorld_RenderSample(TwSurface* pSurface)
{
    TwWorld* w = pWorld;
    if (w->iCurrentSurface < 0)
        return;
    int iLuxel = w->usSampleV * pSurface->usLuxelsU + w->usSampleU;
    RenderPicture(pSurface->fPlane, pSurface->fPlaneV, iLuxel, &w->pSurfaceLightData[iLuxel * 3], 0);
}

void twWorld_RenderVertexSample(uint8_t* pucOut, int iVertex)
{
    TwWorld* w = pWorld;
    if (w->iCurrentMesh < 0)
        return;
    float afUp[3];
    twOgl_UpVector(w->vSampleNormal, afUp);
    twVec_Normalize(afUp);
    RenderPicture(w->vSampleNormal, afUp, iVertex, pucOut, 1);
}

// ---------------------------------------------------------------------------------------------
// Where a sample stands
// ---------------------------------------------------------------------------------------------

// The line through P along D against a triangle: the determinant form, both sides
static int LineHitsTriangle(const float* P, const float* D, const float* a, const float* b, const float* c)
{
    float e1[3], e2[3], h[3], s[3], q[3];
    twVec_Sub(b, a, e1);
    twVec_Sub(c, a, e2);
    twVec_Cross(D, e2, h);
    float fDet = twVec_Dot(e1, h);
    if (fabsf(fDet) < RAY_EPSILON)
        return 0;
    float fInv = 1.0f / fDet;
    twVec_Sub(P, a, s);
    float u = fInv * twVec_Dot(s, h);
    if (u < 0 || u > 1)
        return 0;
    twVec_Cross(s, e1, q);
    float v = fInv * twVec_Dot(D, q);
    return v >= 0 && u + v <= 1;
}

// The point of a triangle closest to P, for triangles within fLimit of P's side of their
// plane: the foot of P on the plane, or the nearest point of an edge when the foot falls
// outside. 0 when the triangle is too far in front.
static int ClosestOnTriangle(const float* P, const float* a, const float* b, const float* c, const float* pvNormal,
                             float fD, float fLimit, float* pvOut)
{
    float s = twVec_Dot(pvNormal, P) + fD;
    if (s > fLimit)
        return 0;
    float ab[3], ac[3], ap[3];
    twVec_Sub(b, a, ab);
    twVec_Sub(c, a, ac);
    twVec_Sub(P, a, ap);
    float d1 = twVec_Dot(ab, ap), d2 = twVec_Dot(ac, ap);
    const float* apCorner[3] = {a, b, c};
    // the regions of the corners, the edges and the face
    if (d1 <= 0 && d2 <= 0) {
        memcpy(pvOut, apCorner[0], 12);
        return 1;
    }
    float bp[3], cp[3];
    twVec_Sub(P, b, bp);
    twVec_Sub(P, c, cp);
    float d3 = twVec_Dot(ab, bp), d4 = twVec_Dot(ac, bp);
    if (d3 >= 0 && d4 <= d3) {
        memcpy(pvOut, apCorner[1], 12);
        return 1;
    }
    float vc = d1 * d4 - d3 * d2;
    if (vc <= 0 && d1 >= 0 && d3 <= 0) {
        float v = d1 / (d1 - d3);
        for (int i = 0; i < 3; i++)
            pvOut[i] = a[i] + ab[i] * v;
        return 1;
    }
    float d5 = twVec_Dot(ab, cp), d6 = twVec_Dot(ac, cp);
    if (d6 >= 0 && d5 <= d6) {
        memcpy(pvOut, apCorner[2], 12);
        return 1;
    }
    float vb = d5 * d2 - d1 * d6;
    if (vb <= 0 && d2 >= 0 && d6 <= 0) {
        float w = d2 / (d2 - d6);
        for (int i = 0; i < 3; i++)
            pvOut[i] = a[i] + ac[i] * w;
        return 1;
    }
    float va = d3 * d6 - d5 * d4;
    if (va <= 0 && d4 - d3 >= 0 && d5 - d6 >= 0) {
        float w = (d4 - d3) / ((d4 - d3) + (d5 - d6));
        for (int i = 0; i < 3; i++)
            pvOut[i] = b[i] + (c[i] - b[i]) * w;
        return 1;
    }
    for (int i = 0; i < 3; i++)
        pvOut[i] = P[i] - pvNormal[i] * s;
    return 1;
}

static const float* Position(const TwMesh* pMesh, int iIndex)
{
    return pMesh->pVerts[pMesh->pusIndices[iIndex]].vPos;
}

int twWorld_AdjustSample(TwSurface* pSurface)
{
    TwWorld* w = pWorld;
    float* P = w->vSamplePos;
    const float* N = pSurface->fPlane;
    float fLuxel = (pSurface->fDistU / pSurface->usLuxelsU + pSurface->fDistV / pSurface->usLuxelsV) * 0.5f;
    const TwMesh* pMesh = pSurface->pMesh;
    float afDown[3] = {-N[0], -N[1], -N[2]};
    int bInTriangle = 0;
    for (int i = pSurface->usFirstIndex; i + 2 < pSurface->usFirstIndex + pSurface->usNumIndices && !bInTriangle;
         i += 3)
        bInTriangle = LineHitsTriangle(P, afDown, Position(pMesh, i), Position(pMesh, i + 1), Position(pMesh, i + 2));
    if (bInTriangle) {
        // luxels at the rim of the outline fall behind a wall standing on the surface: they
        // would read dark and bleed into the floor
        float fBest = BEST_START, afBest[3] = {0, 0, 0};
        const TwSurface* pBest = nullptr;
        for (TwSurface** pp = w->ppSurfacesInRange; *pp; pp++) {
            const TwSurface* T = *pp;
            if (T == pSurface)
                continue;
            for (int i = T->usFirstIndex; i + 2 < T->usFirstIndex + T->usNumIndices; i += 3) {
                float afQ[3];
                if (!ClosestOnTriangle(P, Position(T->pMesh, i), Position(T->pMesh, i + 1), Position(T->pMesh, i + 2),
                                       T->fPlane, T->fPlane[3], fLuxel, afQ))
                    continue;
                float fDist = sqrtf(twVec_DistanceSq(P, afQ));
                if (fDist < fLuxel && fDist < fBest) {
                    fBest = fDist;
                    memcpy(afBest, afQ, sizeof(afQ));
                    pBest = T;
                }
            }
        }
        if (pBest) {
            for (int i = 0; i < 3; i++)
                P[i] = afBest[i] + pBest->fPlane[i] * fLuxel;
            float fAbove = twVec_Dot(N, P) + N[3];
            for (int i = 0; i < 3; i++)
                P[i] += N[i] * (SAMPLE_NEAR - fAbove);
        }
    }
    w->bSampleInTriangle = bInTriangle;
    return 1;
}

int twWorld_PlaceSample(TwSurface* pSurface)
{
    TwWorld* w = pWorld;
    float a = pSurface->fDistU / pSurface->usLuxelsU, b = pSurface->fDistV / pSurface->usLuxelsV;
    for (int i = 0; i < 3; i++)
        w->vSamplePos[i] = pSurface->fOrigin[i] + pSurface->fPlaneU[i] * (a * w->usSampleU) +
                           pSurface->fPlaneV[i] * (b * w->usSampleV) + pSurface->fPlaneU[i] * (a * 0.5f) +
                           pSurface->fPlaneV[i] * (b * 0.5f) + pSurface->fPlane[i] * SAMPLE_OFFSET;
    return twWorld_AdjustSample(pSurface);
}

// ---------------------------------------------------------------------------------------------
// What lies in range
// ---------------------------------------------------------------------------------------------

static void CollectSurfacesInRange(const TwSurface* S)
{
    TwWorld* w = pWorld;
    float afPlanes[6][4];
    twWorld_SurfacePlanes(S, 0, SLAB_HEIGHT, afPlanes);
    int n = 0;
    for (TwElementGroup** pp = w->ppElementGroupsInRange; *pp; pp++)
        for (int r = 0; r < (*pp)->iNumRenderArrays; r++) {
            const TwSurfaceArray* pArray = (*pp)->pRenderArrays[r].pSurfaceArray2;
            for (int s = 0; pArray && s < pArray->iNumSurfaces; s++) {
                TwSurface* T = &pArray->pSurfaces2[s];
                if (twWorld_BoxBehindAPlane(afPlanes, T->fBoxCentre, T->fBoxHalf) ||
                    fabsf(twVec_Dot(S->fPlane, T->fPlane)) > CROSSING_ANGLE)
                    continue;
                int bInFront = 0;
                for (int i = 0; i < T->usNumIndices && !bInFront; i++)
                    bInFront = twVec_Dot(S->fPlane, Position(T->pMesh, T->usFirstIndex + i)) + S->fPlane[3] >= 0;
                if (bInFront && (uint32_t)n < w->uiNumSurfaces)
                    w->ppSurfacesInRange[n++] = T;
            }
        }
    w->ppSurfacesInRange[n] = nullptr;
}

// The element groups of the tree items in a cube, the planes letting through what they
// don't reject (none when null)
static void GroupsInRange(const float* pvCentre, float fHalf, const float (*pafPlanes)[4])
{
    TwWorld* w = pWorld;
    const float afHalf[3] = {fHalf, fHalf, fHalf};
    int iNumItems = twTree_GetItemsInBox(w->pElementGroupTree, pvCentre, afHalf, w->ppElementGroupItemsFromTree);
    int n = 0;
    for (int t = 0; t < iNumItems; t++) {
        TwElementGroup* pGroup = (TwElementGroup*)w->ppElementGroupItemsFromTree[t]->pData;
        if (!pafPlanes || !twWorld_BoxBehindAPlane(pafPlanes, pGroup->vCentre, pGroup->vHalfSize))
            w->ppElementGroupsInRange[n++] = pGroup;
    }
    w->ppElementGroupsInRange[n] = nullptr;
}

int twWorld_SelectSurface(int iIndex)
{
    TwWorld* w = pWorld;
    if (iIndex < 0 || (uint32_t)iIndex >= w->uiNumSurfaces)
        return 0;
    w->iCurrentSurface = iIndex;
    const TwSurface* S = w->ppSurfaces[iIndex];
    float afCentre[3];
    for (int i = 0; i < 3; i++)
        afCentre[i] = S->fOrigin[i] + S->fPlaneU[i] * S->fDistU * 0.5f + S->fPlaneV[i] * S->fDistV * 0.5f;
    float afPlanes[6][4];
    twWorld_SurfacePlanes(S, w->fLightRange, w->fLightRange, afPlanes);
    GroupsInRange(afCentre, w->fLightRange + (S->fDistU > S->fDistV ? S->fDistU : S->fDistV), afPlanes);
    CollectSurfacesInRange(S);
    return 1;
}

// ---------------------------------------------------------------------------------------------
// The job
// ---------------------------------------------------------------------------------------------

static void SetText(char* pstrOut, const char* pstrText)
{
    snprintf(pstrOut, TW_TEXT_SIZE, "%s", pstrText);
}

// "lit / all", with the thousands apart
static void SetCount(char* pstrOut, uint32_t uiLit, uint32_t uiAll)
{
    char szLit[16], szAll[16];
    twCore_FormatThousands(uiLit, szLit);
    twCore_FormatThousands(uiAll, szAll);
    snprintf(pstrOut, TW_TEXT_SIZE, "%s / %s", szLit, szAll);
}

// The share done, and the surfaces and smooth vertices lit of all; nothing to do at all
// shows as the quotient it is, 0 of 0
static void SetPercent(void)
{
    TwWorld* w = pWorld;
    snprintf(w->szLightPercent, TW_TEXT_SIZE, "%.1f %%", (float)w->iSamplesDone / (float)w->iSamplesTotal * 100.0f);
    uint32_t uiLit = 0, uiVerts = 0, uiVertsLit = 0;
    for (uint32_t i = 0; w->ppSurfaces && i < w->uiNumSurfaces; i++)
        uiLit += w->ppSurfaces[i]->bLit != 0;
    for (int m = 0; w->ppMeshes && m < w->iNumMeshes; m++) {
        const TwMesh* pMesh = w->ppMeshes[m];
        if (!pMesh->bSmooth)
            continue;
        uiVerts += pMesh->usNumVerts;
        uiVertsLit += pMesh->bLit ? pMesh->usNumVerts : 0;
    }
    SetCount(w->szLightSurfaces, uiLit, w->ppSurfaces ? w->uiNumSurfaces : 0);
    SetCount(w->szLightVerts, uiVertsLit, uiVerts);
}

// The target the samples are drawn into, made on first need; without frame buffers the
// pictures go to the window's own, one at a time
static void MakeSamplerTarget(void)
{
    TwWorld* w = pWorld;
    if (!w->pSamplerFbo && twOgl_HasFbo())
        w->pSamplerFbo = twOgl_CreateFbo("pSamplerFbo", TARGET_SIZE, TARGET_SIZE, 1, 0);
}

// The job's GL state: the sample target, its programs, the clear value of open space
void twWorld_BeginSampling(void)
{
    TwWorld* w = pWorld;
    MakeSamplerTarget();
    if (w->pSamplerFbo)
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, w->pSamplerFbo->hFbo);
    glClearColor(0, 1, 0, 0);
    glEnable(GL_SCISSOR_TEST);
    glEnable(GL_DEPTH_TEST);
    glDisable(GL_BLEND);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_POLYGON_OFFSET_FILL);
    glDisable(GL_ALPHA_TEST);
    glEnable(GL_VERTEX_PROGRAM_ARB);
    glBindProgramARB(GL_VERTEX_PROGRAM_ARB, w->hVpSampler);
    glEnable(GL_FRAGMENT_PROGRAM_ARB);
    glBindProgramARB(GL_FRAGMENT_PROGRAM_ARB, w->hFpSampler);
    w->iCurrentVp = w->iCurrentFp = -1;
    glColor4f(1, 1, 1, 0);
}

void twWorld_EndSampling(void)
{
    glDisable(GL_VERTEX_PROGRAM_ARB);
    glDisable(GL_FRAGMENT_PROGRAM_ARB);
    glDisable(GL_SCISSOR_TEST);
    if (pWorld->pSamplerFbo)
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
}

void twWorld_ShowLightProgress(void)
{
    TwWorld* w = pWorld;
    w->fElapsed = twTimer_Elapsed();
    w->fSamplesPerSecond = w->fElapsed > 0 ? w->fSamplesThisRun / w->fElapsed : 0;
    char szText[TW_TEXT_SIZE];
    SetPercent();
    SetText(w->szLightStatus, twStrings_Get(TW_STR_LIGHT_RUNNING));
    if (w->fSamplesThisRun < 1000) {
        SetText(w->szLightSpeed, twStrings_Get(TW_STR_LIGHT_UNKNOWN));
        SetText(w->szLightTimeLeft, twStrings_Get(TW_STR_LIGHT_UNKNOWN));
    } else {
        snprintf(szText, sizeof(szText), "%.0f", w->fSamplesPerSecond);
        SetText(w->szLightSpeed, szText);
        float t = w->fSamplesPerSecond > 0 ? (w->iSamplesTotal - w->iSamplesDone) / w->fSamplesPerSecond : 0;
        if (t > 3600)
            snprintf(szText, sizeof(szText), "%.1f %s", t / 3600, twStrings_Get(TW_STR_HOURS));
        else if (t > 60)
            snprintf(szText, sizeof(szText), "%.1f %s", t / 60, twStrings_Get(TW_STR_MINUTES));
        else
            snprintf(szText, sizeof(szText), "%.0f %s", t, twStrings_Get(TW_STR_SECONDS));
        SetText(w->szLightTimeLeft, szText);
    }
    if (!w->pfnLightProgress)
        return;
    // the redraw draws the frame with its own state; the job's is built again after it
    FlushSamples();
    twWorld_EndSampling();
    GLint aiViewport[4];
    glGetIntegerv(GL_VIEWPORT, aiViewport);
    glViewport(0, 0, w->iWidth, w->iHeight);
    w->pfnLightProgress();
    glViewport(aiViewport[0], aiViewport[1], aiViewport[2], aiViewport[3]);
    twWorld_BeginSampling();
}

// One sample done: the counters, a redraw every 2000, and the question whether to stop
static int CountSamples(int iCount)
{
    TwWorld* w = pWorld;
    w->iSamplesDone += iCount;
    w->iSamplesSinceRedraw += iCount;
    w->fSamplesThisRun += (float)iCount;
    if (w->pfnLightAbort && w->pfnLightAbort()) {
        w->bAborted = 1;
        return 0;
    }
    return 1;
}

static void RedrawCheck(void)
{
    TwWorld* w = pWorld;
    if (w->iSamplesSinceRedraw > REDRAW_SAMPLES - 1)
        w->iSamplesSinceRedraw = 0;
    if (w->iSamplesSinceRedraw == 0)
        twWorld_ShowLightProgress();
}

int twWorld_UploadSurfaceLight(TwSurface* pSurface)
{
    TwWorld* w = pWorld;
    int iLuxels = pSurface->usLuxelsU * pSurface->usLuxelsV;
    uint8_t* pucLuxels = (uint8_t*)twMem_GetTempBuffer(iLuxels, 0);
    if (!pucLuxels || !pSurface->pLightmap || !pSurface->pLightmap->pTexture)
        return 1;
    for (int i = 0; i < iLuxels; i++)
        pucLuxels[i] = pSurface->bNoSampling ? 255 : w->pSurfaceLightData[i * 3 + 1];
    glBindTexture(GL_TEXTURE_2D, pSurface->pLightmap->pTexture->hTexture);
    glTexSubImage2D(GL_TEXTURE_2D, 0, (GLint)pSurface->uiLightmapX, (GLint)pSurface->uiLightmapY, pSurface->usLuxelsU,
                    pSurface->usLuxelsV, GL_LUMINANCE, GL_UNSIGNED_BYTE, pucLuxels);
    glBindTexture(GL_TEXTURE_2D, 0);
    return 1;
}

int twWorld_LightSurface(void)
{
    TwWorld* w = pWorld;
    if (w->iCurrentSurface < 0)
        return 0;
    TwSurface* S = w->ppSurfaces[w->iCurrentSurface];
    int bVisible = w->piSurfacesVisible[w->iCurrentSurface] != 0;
    if (!S->bNoSampling && bVisible) {
        if (!S->bLit) {
            for (int v = 0; v < S->usLuxelsV; v++)
                for (int u = 0; u < S->usLuxelsU; u++) {
                    w->usSampleV = (uint16_t)v;
                    w->usSampleU = (uint16_t)u;
                    RedrawCheck();
                    twWorld_PlaceSample(S);
                    twWorld_RenderSample(S);
                    if (!CountSamples(1)) {
                        // a surface broken off is redone from its first luxel
                        DropSamples();
                        return 0;
                    }
                }
            FlushSamples();
        } else {
            RedrawCheck();
            if (!CountSamples(S->usLuxelsU * S->usLuxelsV))
                return 0;
        }
    }
    if (!S->bLit && bVisible) {
        twWorld_UploadSurfaceLight(S);
        S->pLightmap->bLit = 1;
        S->bLit = 1;
    }
    return 1;
}

int twWorld_LightSmoothMeshes(void)
{
    TwWorld* w = pWorld;
    if (!w->iNumMeshes)
        return 0;
    for (int e = 0; e < w->iNumElements; e++) {
        const TwElement* pElement = &w->pElements[e];
        GroupsInRange(pElement->vCentre, twVec_Length(pElement->vHalfSize) + w->fLightRange, nullptr);
        for (int m = 0; m < pElement->iNumMeshes; m++) {
            TwMesh* pMesh = &pElement->pMeshes[m];
            if (!pMesh->bSmooth || !w->piMeshesVisible[pMesh->iIndex] || !pMesh->pucVertexLight)
                continue;
            if (pMesh->bLit) {
                RedrawCheck();
                if (!CountSamples(pMesh->usNumVerts))
                    return 0;
                continue;
            }
            w->iCurrentMesh = pMesh->iIndex;
            for (int i = 0; i < pMesh->usNumVerts; i++) {
                RedrawCheck();
                memcpy(w->vSamplePos, pMesh->pVerts[i].vPos, 12);
                memcpy(w->vSampleNormal, pMesh->pVerts[i].vNormal, 12);
                twWorld_RenderVertexSample(&pMesh->pucVertexLight[i * 4], i);
                if (!CountSamples(1)) {
                    DropSamples();
                    return 0;
                }
            }
            FlushSamples();
            pMesh->bLit = 1;
        }
    }
    return 1;
}

// The luxels of the surfaces and the vertices of the smooth meshes to be sampled
static void CountAll(int bOnlyMarked, int* piTotal, int* piDone)
{
    TwWorld* w = pWorld;
    *piTotal = *piDone = 0;
    for (uint32_t i = 0; i < w->uiNumSurfaces; i++) {
        const TwSurface* S = w->ppSurfaces[i];
        if (S->bNoSampling || (bOnlyMarked && !w->piSurfacesVisible[i]))
            continue;
        *piTotal += S->usLuxelsU * S->usLuxelsV;
        *piDone += S->bLit ? S->usLuxelsU * S->usLuxelsV : 0;
    }
    for (int m = 0; m < w->iNumMeshes; m++) {
        const TwMesh* pMesh = w->ppMeshes[m];
        if (!pMesh->bSmooth || (bOnlyMarked && !w->piMeshesVisible[m]))
            continue;
        *piTotal += pMesh->usNumVerts;
        *piDone += pMesh->bLit ? pMesh->usNumVerts : 0;
    }
}

int twWorld_ResetLightProgress(void)
{
    TwWorld* w = pWorld;
    CountAll(0, &w->iSamplesTotal, &w->iSamplesDone);
    w->iSamplesSinceRedraw = w->iSamplesDone;
    SetText(w->szLightStatus, twStrings_Get(twWorld_LightComplete() ? TW_STR_LIGHT_FINISHED : TW_STR_LIGHT_PARTLY));
    SetPercent();
    w->szLightSpeed[0] = w->szLightTimeLeft[0] = 0;
    return 1;
}

static int Clamp(int i, int iLow, int iHigh)
{
    return i < iLow ? iLow : (i > iHigh ? iHigh : i);
}

int twWorld_MoveSelectedLuxel(int iDu, int iDv)
{
    TwWorld* w = pWorld;
    if (!w || !w->ppSurfaces || w->iCurrentSurface < 0 || (uint32_t)w->iCurrentSurface >= w->uiNumSurfaces)
        return 0;
    const TwSurface* S = w->ppSurfaces[w->iCurrentSurface];
    w->usSampleU = (uint16_t)Clamp(w->usSampleU + iDu, 0, S->usLuxelsU > 0 ? S->usLuxelsU - 1 : 0);
    w->usSampleV = (uint16_t)Clamp(w->usSampleV + iDv, 0, S->usLuxelsV > 0 ? S->usLuxelsV - 1 : 0);
    return 1;
}

int twWorld_LightComplete(void)
{
    return pWorld->iSamplesTotal > 0 && pWorld->iSamplesTotal == pWorld->iSamplesDone;
}

// The ID picture of the surfaces (or of the smooth meshes alone) from a camera: each in
// the colour of its number plus one; what shows marks its flag
static void FindVisible(const TwCamera* pCamera, int bMeshes, int32_t* piFlags, int iCount)
{
    TwWorld* w = pWorld;
    glClearColor(0, 0, 0, 0);
    glViewport(0, 0, w->iWidth, w->iHeight);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glMatrixMode(GL_PROJECTION);
    glLoadMatrixf(pCamera->mProjection);
    glMatrixMode(GL_MODELVIEW);
    glLoadMatrixf(pCamera->mView);
    glEnable(GL_DEPTH_TEST);
    glDisable(GL_BLEND);
    glDisable(GL_TEXTURE_2D);
    glEnableClientState(GL_VERTEX_ARRAY);
    for (int m = 0; m < w->iNumMeshes; m++) {
        const TwMesh* pMesh = w->ppMeshes[m];
        if (bMeshes != (pMesh->bSmooth != 0))
            continue;
        glVertexPointer(3, GL_FLOAT, sizeof(TwVertex), &pMesh->pVerts[0].vPos);
        if (bMeshes) {
            uint32_t uiId = (uint32_t)m + 1;
            glColor4ubv((const GLubyte*)&uiId);
            glDrawRangeElements(GL_TRIANGLES, 0, pMesh->usNumVerts, pMesh->usNumIndices, GL_UNSIGNED_SHORT,
                                pMesh->pusIndices);
        }
    }
    for (uint32_t i = 0; !bMeshes && i < w->uiNumSurfaces; i++) {
        const TwSurface* S = w->ppSurfaces[i];
        uint32_t uiId = i + 1;
        glColor4ubv((const GLubyte*)&uiId);
        glVertexPointer(3, GL_FLOAT, sizeof(TwVertex), &S->pMesh->pVerts[0].vPos);
        glDrawRangeElements(GL_TRIANGLES, 0, S->pMesh->usNumVerts, S->usNumIndices, GL_UNSIGNED_SHORT,
                            S->pMesh->pusIndices + S->usFirstIndex);
    }
    glDisableClientState(GL_VERTEX_ARRAY);
    size_t uiPixels = (size_t)w->iWidth * w->iHeight;
    uint32_t* puiPixels = uiPixels * 4 <= TW_TEMP_BUFFER_SIZE ? (uint32_t*)twMem_GetTempBuffer((int)uiPixels * 4, 0)
                                                              : nullptr;
    memset(piFlags, 0, (size_t)iCount * 4);
    if (!puiPixels)
        return;
    glReadPixels(0, 0, w->iWidth, w->iHeight, GL_RGBA, GL_UNSIGNED_BYTE, puiPixels);
    for (size_t i = 0; i < uiPixels; i++)
        if (puiPixels[i] && puiPixels[i] - 1 < (uint32_t)iCount)
            piFlags[puiPixels[i] - 1] = 1;
}

void twWorld_FindVisibleSurfaces(const TwCamera* pCamera)
{
    FindVisible(pCamera, 0, pWorld->piSurfacesVisible, (int)pWorld->uiNumSurfaces);
}

void twWorld_FindVisibleMeshes(const TwCamera* pCamera)
{
    FindVisible(pCamera, 1, pWorld->piMeshesVisible, pWorld->iNumMeshes);
}


int twWorld_LightWorld(const TwCamera* pCamera, int bOnlyVisible)
{
    TwWorld* w = pWorld;
    if (!w || !w->bLightInitialised) {
        twLogError(JOB_TAG, "Light is not initialized\n");
        return 0;
    }
    w->iSamplesTotal = w->iSamplesDone = w->iSamplesSinceRedraw = 0;
    w->bAborted = 0;
    w->fSamplesThisRun = w->fElapsed = w->fSamplesPerSecond = 0;
    if (!bOnlyVisible) {
        for (uint32_t i = 0; i < w->uiNumSurfaces; i++)
            w->piSurfacesVisible[i] = 1;
        for (int m = 0; m < w->iNumMeshes; m++)
            w->piMeshesVisible[m] = 1;
    } else {
        twWorld_FindVisibleSurfaces(pCamera);
        twWorld_FindVisibleMeshes(pCamera);
    }
    int iDone;
    CountAll(bOnlyVisible, &w->iSamplesTotal, &iDone);
    GLint aiViewport[4];
    glGetIntegerv(GL_VIEWPORT, aiViewport);
    DropSamples();
    twWorld_BeginSampling();
    SetText(w->szLightStatus, twStrings_Get(TW_STR_LIGHT_RUNNING));
    SetText(w->szLightSpeed, twStrings_Get(TW_STR_LIGHT_UNKNOWN));
    SetText(w->szLightTimeLeft, twStrings_Get(TW_STR_LIGHT_UNKNOWN));
    twTimer_Mark();
    twWorld_ShowLightProgress();
    twLog(JOB_TAG, "Lighting surfaces\n");
    for (uint32_t i = 0; i < w->uiNumSurfaces && !w->bAborted; i++) {
        twWorld_SelectSurface((int)i);
        if (!twWorld_LightSurface())
            break;
    }
    w->iCurrentSurface = -1;
    if (!w->bAborted) {
        twLog(JOB_TAG, "Lighting smooth meshes\n");
        twWorld_LightSmoothMeshes();
    }
    w->iCurrentMesh = -1;
    FlushSamples();
    twWorld_ShowLightProgress();
    SetText(w->szLightStatus, twStrings_Get(w->bAborted ? TW_STR_LIGHT_PAUSED : TW_STR_LIGHT_FINISHED));
    twWorld_EndSampling();
    glViewport(aiViewport[0], aiViewport[1], aiViewport[2], aiViewport[3]);
    // through the files and back: smooth meshes get their buffers with the new light, and
    // what the user sees is what a later load sees
    if (!twWorld_SaveLight()) {
        twLogError(JOB_TAG, "!twWorld_SaveLight\n");
        return 1;
    }
    if (!twWorld_LoadLightS(1, nullptr)) {
        twLogError(JOB_TAG, "!twWorld_LoadLightS\n");
        return 1;
    }
    if (!twWorld_LoadLightM(1, nullptr)) {
        twLogError(JOB_TAG, "!twWorld_LoadLightM\n");
        return 1;
    }
    w->bLightLocal = 1;
    w->bLightExternal = 0;
    twWorld_ResetLightProgress();
    return 1;
}
