#include <math.h>
#include <string.h>

#include "engine/memory.h"
#include "interface/layers.h"
#include "navigation/camera.h"
#include "world/world.h"

#define BOX_MARGIN 0.4f      // metres around the walker's radius, sideways
#define BOX_HALF_HEIGHT 2.0f
#define AXIS_LIFT 0.01f      // a contact between feet and eye pushes a little upwards: steps are ridden over
#define GROUND_SLOPE 0.5f    // a surface less than 60 degrees from level holds the walker up
#define FAR_FACE 2.0f        // metres beyond the radius: a face too far to touch

// The walker: position (with fall speed and ground contact behind it), capsule and box
struct Walker {
    float* pPos;
    float fH;                // length of the capsule's axis
    float fR;                // its radius
    float afBox[3];          // half sizes of the box around it
};

static float Dot(const float* a, const float* b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

static int Overlaps(const float* pCentre, const float* pHalf, const float* pPos, const float* pBox)
{
    for (int i = 0; i < 3; i++)
        if (fabsf(pCentre[i] - pPos[i]) > pHalf[i] + pBox[i])
            return 0;
    return 1;
}

// Signed distance of a point from an edge plane: through the edge, at right angles to
// the triangle; the triangle's inside is negative
static float EdgeDistance(const float* pFrom, const float* pTo, const float* n, const float* p, float* pNormal)
{
    float d[3] = {pTo[0] - pFrom[0], pTo[1] - pFrom[1], pTo[2] - pFrom[2]};
    float f = sqrtf(Dot(d, d));
    if (f > 0)
        for (int i = 0; i < 3; i++)
            d[i] /= f;
    pNormal[0] = d[1] * n[2] - d[2] * n[1];
    pNormal[1] = d[2] * n[0] - d[0] * n[2];
    pNormal[2] = d[0] * n[1] - d[1] * n[0];
    float q[3] = {p[0] - pFrom[0], p[1] - pFrom[1], p[2] - pFrom[2]};
    return Dot(pNormal, q);
}

static void OntoEdge(float* p, const float* pEdgeNormal, float fDistance)
{
    for (int i = 0; i < 3; i++)
        p[i] -= pEdgeNormal[i] * fDistance;
}

// Keeps a point of the triangle's plane inside the triangle (on an edge plane counts as inside)
static void KeepInTriangle(const float* a, const float* b, const float* c, const float* n, float* p)
{
    float nAB[3], nBC[3], nCA[3];
    float fAB = EdgeDistance(a, b, n, p, nAB);
    if (fAB <= 0) {
        float fBC = EdgeDistance(b, c, n, p, nBC);
        if (fBC <= 0) {
            float fCA = EdgeDistance(c, a, n, p, nCA);
            if (fCA <= 0)
                return;
            OntoEdge(p, nCA, fCA);
            if (EdgeDistance(b, c, n, p, nBC) > 0)
                memcpy(p, c, 12);
            if (EdgeDistance(a, b, n, p, nAB) > 0)
                memcpy(p, a, 12);
            return;
        }
        OntoEdge(p, nBC, fBC);
        if (EdgeDistance(a, b, n, p, nAB) > 0)
            memcpy(p, b, 12);
        if (EdgeDistance(c, a, n, p, nCA) > 0)
            memcpy(p, c, 12);
        return;
    }
    OntoEdge(p, nAB, fAB);
    if (EdgeDistance(c, a, n, p, nCA) > 0)
        memcpy(p, a, 12);
    if (EdgeDistance(b, c, n, p, nBC) > 0)
        memcpy(p, b, 12);
}

// Pushes the walker out of one triangle, and notes it as ground where it is level enough
static void TestTriangle(const Walker* w, const float* a, const float* b, const float* c)
{
    float* p = w->pPos;
    float u[3] = {a[0] - b[0], a[1] - b[1], a[2] - b[2]}, v[3] = {a[0] - c[0], a[1] - c[1], a[2] - c[2]};
    float n[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
    float f = sqrtf(Dot(n, n));
    if (f == 0)
        return;
    for (int i = 0; i < 3; i++)
        n[i] /= f;
    float d = -Dot(n, a);
    // a face turned up is measured from the foot sphere, one turned down from the eye
    float q[3] = {p[0], n[1] >= 0 ? p[1] - w->fH : p[1], p[2]};
    float s = Dot(n, q) + d;
    if (!(s > -2 * w->fH && s < 2 * w->fH))
        return;
    if (fabsf(s) > w->fR + FAR_FACE)
        return; // too far to touch: no closest point is worked out
    float cp[3] = {q[0] - n[0] * s, q[1] - n[1] * s, q[2] - n[2] * s};
    KeepInTriangle(a, b, c, n, cp);
    float fY;
    if (cp[1] > p[1])
        fY = p[1];
    else if (cp[1] >= p[1] - w->fH)
        fY = cp[1] + AXIS_LIFT;
    else
        fY = p[1] - w->fH;
    q[0] = p[0];
    q[1] = fY;
    q[2] = p[2];
    s = Dot(n, q) + d;
    if (!(s > -w->fR && s < w->fR))
        return;
    float wv[3] = {cp[0] - q[0], cp[1] - q[1], cp[2] - q[2]};
    float l = sqrtf(Dot(wv, wv));
    if (l == 0 || l >= w->fR)
        return;
    for (int i = 0; i < 3; i++)
        p[i] += wv[i] / l * (l - w->fR);
    float fUp = s > 0 ? n[1] : -n[1];
    if (fUp > GROUND_SLOPE)
        p[4] += fUp;
}

static int CollidesByType(int iType)
{
    return iType != 4 && iType != TW_TYPE_DOOR && !(iType >= 37 && iType <= 42);
}

// The physics tree, front before back; a stack of our own, as a degenerate tree is deep
static void CollideTree(const Walker* w)
{
    static TwBspVolume** s_ppStack = nullptr;
    static int s_iCapacity = 0;
    TwWorld* pW = pWorld;
    int iDepth = 0;
    if (!pW->pBspVolume)
        return;
    if (!s_ppStack) {
        s_iCapacity = 256;
        s_ppStack = (TwBspVolume**)twMem_PlainMalloc(s_iCapacity * sizeof(TwBspVolume*));
        if (!s_ppStack)
            return;
    }
    s_ppStack[iDepth++] = pW->pBspVolume;
    while (iDepth > 0) {
        TwBspVolume* pVolume = s_ppStack[--iDepth];
        pW->iNumCollisionVolumes++;
        if (pVolume->bLeaf) {
            for (int t = 0; t < pVolume->iNumPhysTris; t++) {
                TwVertex** pp = &pVolume->ppPhysTris[t * 3];
                TestTriangle(w, pp[0]->vPos, pp[1]->vPos, pp[2]->vPos);
            }
            pW->iNumCollisionTris += pVolume->iNumPhysTris;
            continue;
        }
        if (iDepth + 2 > s_iCapacity) {
            TwBspVolume** ppBigger =
                (TwBspVolume**)twMem_PlainRealloc(s_ppStack, (uint64_t)s_iCapacity * 2 * sizeof(TwBspVolume*));
            if (!ppBigger)
                return;
            s_ppStack = ppBigger;
            s_iCapacity *= 2;
        }
        // pushed back first, so that the front is walked first
        TwBspVolume* pBack = pVolume->pBack;
        TwBspVolume* pFront = pVolume->pFront;
        if (pBack && Overlaps(pBack->vCentre, pBack->vHalfSize, w->pPos, w->afBox))
            s_ppStack[iDepth++] = pBack;
        if (pFront && Overlaps(pFront->vCentre, pFront->vHalfSize, w->pPos, w->afBox))
            s_ppStack[iDepth++] = pFront;
    }
}

// With a layer hidden the tree holds too much: the visible elements are tested one by one,
// and transparent materials don't stop the walker here
static int CollideVisibleElements(const Walker* w)
{
    TwWorld* pW = pWorld;
    int iIndices = 0;
    for (int e = 0; e < pW->iNumElements; e++) {
        const TwElement* pElement = &pW->pElements[e];
        if (!CollidesByType(pElement->iType) || !twLayers_IsVisible(pElement->iLayer) ||
            !Overlaps(pElement->vCentre, pElement->vHalfSize, w->pPos, w->afBox))
            continue;
        for (int m = 0; m < pElement->iNumMeshes; m++) {
            const TwMesh* pMesh = &pElement->pMeshes[m];
            if (pW->pMaterials[pMesh->iMaterial].bIsTransparent ||
                !Overlaps(pMesh->vCentre, pMesh->vHalfSize, w->pPos, w->afBox))
                continue;
            for (int i = 0; i + 2 < pMesh->usNumIndices; i += 3)
                TestTriangle(w, pMesh->pVerts[pMesh->pusIndices[i]].vPos, pMesh->pVerts[pMesh->pusIndices[i + 1]].vPos,
                             pMesh->pVerts[pMesh->pusIndices[i + 2]].vPos);
            iIndices += pMesh->usNumIndices;
        }
    }
    return iIndices;
}

void twWorld_Collide(float* pPos, float fEyeHeight, float fRadius)
{
    TwWorld* pW = pWorld;
    if (!pW || !pW->bLoaded)
        return;
    Walker w;
    w.pPos = pPos;
    w.fR = fRadius;
    w.fH = fEyeHeight - fRadius;
    w.afBox[0] = w.afBox[2] = fRadius + BOX_MARGIN;
    w.afBox[1] = BOX_HALF_HEIGHT;
    char szTested[32], szTotal[32];
    if (!pW->bAnyHiddenElements) {
        pW->iNumCollisionTris = pW->iNumCollisionVolumes = 0;
        memcpy(pW->vCollisionBox, w.afBox, sizeof(w.afBox));
        CollideTree(&w);
        twCore_FormatThousands((uint32_t)pW->iNumCollisionTris / 3, szTested);
        twCore_FormatThousands((uint32_t)pW->iNumPhysTris, szTotal);
    } else {
        int iIndices = CollideVisibleElements(&w);
        twCore_FormatThousands((uint32_t)iIndices / 3, szTested);
        twCore_FormatThousands((uint32_t)pW->iNumTris, szTotal);
    }
    snprintf(pW->szCollisionInfo, sizeof(pW->szCollisionInfo), "%s / %s", szTested, szTotal);
}
