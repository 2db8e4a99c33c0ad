#include <GL/glew.h>
#include <math.h>
#include <string.h>

#include "engine/list.h"
#include "engine/vector.h"
#include "navigation/camera.h"
#include "world/world.h"

#define FLOOR_STEP 0.6f   // metres above his feet a floor may be for the walker to be put on it
#define FLOOR_CHEST 1.0f  // the height, over his feet, at which a spot is tested for solids
#define BOX_MARGIN 0.4f      // metres around the walker's radius, sideways
#define BOX_HALF_HEIGHT 2.0f
#define AXIS_LIFT 0.01f      // a contact between feet and eye pushes a little upwards: steps are ridden over
#define GROUND_SLOPE 0.5f    // a surface less than 60 degrees from level holds the walker up
#define FAR_FACE 2.0f        // metres beyond the radius: a face too far to touch
#define VIEW_REACH 12.0f     // metres about the eye that the developers' collision view shows

// The walker: position (with fall speed and ground contact behind it), capsule and box
struct Walker {
    float* pPos;
    float fH;                // length of the capsule's axis
    float fR;                // its radius
    float afBox[3];          // half sizes of the box around it
};

// Signed distance of a point from an edge plane: through the edge, at right angles to
// the triangle; the triangle's inside is negative
static float EdgeDistance(const float* pFrom, const float* pTo, const float* n, const float* p, float* pNormal)
{
    float d[3], q[3];
    twVec_Sub(pTo, pFrom, d);
    twVec_Normalize(d);
    twVec_Cross(d, n, pNormal);
    twVec_Sub(p, pFrom, q);
    return twVec_Dot(pNormal, q);
}

// Keeps a point of the triangle's plane inside the triangle (on an edge plane counts as
// inside). Edge k runs from corner k to the next. The first edge the point lies outside
// takes it onto its line; past either end of that edge, the end's corner takes it.
static void KeepInTriangle(const float* a, const float* b, const float* c, const float* n, float* p)
{
    const float* apCorner[6] = {a, b, c, a, b, c};
    float afEdgeNormal[3], fDistance = 0;
    int k = 0;
    for (; k < 3; k++) {
        fDistance = EdgeDistance(apCorner[k], apCorner[k + 1], n, p, afEdgeNormal);
        if (!(fDistance <= 0))
            break;
    }
    if (k == 3)
        return;
    for (int i = 0; i < 3; i++)
        p[i] -= afEdgeNormal[i] * fDistance;
    // the edge before, then the one after
    if (EdgeDistance(apCorner[k + 2], apCorner[k + 3], n, p, afEdgeNormal) > 0)
        memcpy(p, apCorner[k], 12);
    if (EdgeDistance(apCorner[k + 1], apCorner[k + 2], n, p, afEdgeNormal) > 0)
        memcpy(p, apCorner[k + 1], 12);
}

// Pushes the walker out of one triangle, and notes it as ground where it is level enough
static void TestTriangle(const Walker* w, const float* a, const float* b, const float* c)
{
    float* p = w->pPos;
    float u[3], v[3], n[3];
    twVec_Sub(a, b, u);
    twVec_Sub(a, c, v);
    twVec_Cross(u, v, n);
    if (twVec_Normalize(n) == 0)
        return;
    float d = -twVec_Dot(n, a);
    // a face turned up is measured from the foot sphere, one turned down from the eye
    float q[3] = {p[0], n[1] >= 0 ? p[1] - w->fH : p[1], p[2]};
    float s = twVec_Dot(n, q) + d;
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
    s = twVec_Dot(n, q) + d;
    if (!(s > -w->fR && s < w->fR))
        return;
    float wv[3];
    twVec_Sub(cp, q, wv);
    float l = twVec_Length(wv);
    if (l == 0 || l >= w->fR)
        return;
    for (int i = 0; i < 3; i++)
        p[i] += wv[i] / l * (l - w->fR);
    float fUp = s > 0 ? n[1] : -n[1];
    if (fUp > GROUND_SLOPE)
        p[4] += fUp;
}

// The next leaf of the physics tree that meets a box, front before back, on a stack of our
// own (a degenerate tree is deep; out of memory the walk ends where it is); null at the end.
// The stack starts with the root pushed.
static TwBspVolume* NextLeaf(TwStack* pStack, const float* pvCentre, const float* pvHalf)
{
    while (TwBspVolume* pVolume = (TwBspVolume*)twStack_Pop(pStack)) {
        pWorld->iNumCollisionVolumes++;
        if (pVolume->bLeaf)
            return pVolume;
        // pushed back first, so that the front is walked first
        TwBspVolume* pBack = pVolume->pBack;
        TwBspVolume* pFront = pVolume->pFront;
        if ((pBack && twBox_Overlap(pBack->vCentre, pBack->vHalfSize, pvCentre, pvHalf) &&
             !twStack_Push(pStack, pBack)) ||
            (pFront && twBox_Overlap(pFront->vCentre, pFront->vHalfSize, pvCentre, pvHalf) &&
             !twStack_Push(pStack, pFront)))
            return nullptr;
    }
    return nullptr;
}

static void CollideTree(const Walker* w)
{
    TwWorld* pW = pWorld;
    TwStack stack;
    twStack_Init(&stack);
    if (pW->pBspVolume && twStack_Push(&stack, pW->pBspVolume)) {
        while (TwBspVolume* pLeaf = NextLeaf(&stack, w->pPos, w->afBox)) {
            for (int t = 0; t < pLeaf->iNumPhysTris; t++) {
                TwVertex** pp = &pLeaf->ppPhysTris[t * 3];
                TestTriangle(w, pp[0]->vPos, pp[1]->vPos, pp[2]->vPos);
            }
            pW->iNumCollisionTris += pLeaf->iNumPhysTris;
        }
    }
    twStack_Free(&stack);
}

void twWorld_DrawCollisionView(const float* pvPos)
{
    TwWorld* pW = pWorld;
    if (!pW || !pW->bLoaded || !pW->pBspVolume)
        return;
    const float afReach[3] = {VIEW_REACH, VIEW_REACH, VIEW_REACH};
    // both sides of every face: a wall seen from behind stops the walker as well
    GLboolean bCull = glIsEnabled(GL_CULL_FACE);
    glDisable(GL_CULL_FACE);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_LIGHTING);
    glDisable(GL_BLEND);
    glEnable(GL_POLYGON_OFFSET_FILL);
    glPolygonOffset(1, 1);
    TwStack stack;
    twStack_Init(&stack);
    if (twStack_Push(&stack, pW->pBspVolume)) {
        while (TwBspVolume* pLeaf = NextLeaf(&stack, pvPos, afReach)) {
            // the faces shaded by facing, so that floors, walls and ceilings read apart, then
            // their edges in black
            for (int bLines = 0; bLines < 2; bLines++) {
                glColor3f(0, 0, 0);
                for (int t = 0; t < pLeaf->iNumPhysTris; t++) {
                    TwVertex** pp = &pLeaf->ppPhysTris[t * 3];
                    if (!bLines) {
                        float u[3], v[3], n[3];
                        twVec_Sub(pp[1]->vPos, pp[0]->vPos, u);
                        twVec_Sub(pp[2]->vPos, pp[0]->vPos, v);
                        twVec_Cross(u, v, n);
                        twVec_Normalize(n);
                        float fShade = 0.35f + 0.45f * fabsf(n[1]) + 0.2f * fabsf(n[0]);
                        glColor3f(0.55f * fShade, fShade, 0.7f * fShade);
                    }
                    glBegin(bLines ? GL_LINE_LOOP : GL_TRIANGLES);
                    for (int k = 0; k < 3; k++)
                        glVertex3fv(pp[k]->vPos);
                    glEnd();
                }
            }
        }
    }
    twStack_Free(&stack);
    glDisable(GL_POLYGON_OFFSET_FILL);
    if (bCull)
        glEnable(GL_CULL_FACE);
    glColor3f(1, 1, 1);
}

// With a layer hidden the tree holds too much: the visible elements are tested one by one,
// and transparent materials don't stop the walker here
static int CollideVisibleElements(const Walker* w)
{
    TwWorld* pW = pWorld;
    int iIndices = 0;
    for (int e = 0; e < pW->iNumElements; e++) {
        const TwElement* pElement = &pW->pElements[e];
        if (!twWorld_CollidesByType(pElement->iType) || !twWorld_ElementShown(pElement) ||
            !twBox_Overlap(pElement->vCentre, pElement->vHalfSize, w->pPos, w->afBox))
            continue;
        for (int m = 0; m < pElement->iNumMeshes; m++) {
            const TwMesh* pMesh = &pElement->pMeshes[m];
            if (pW->pMaterials[pMesh->iMaterial].bIsTransparent ||
                !twBox_Overlap(pMesh->vCentre, pMesh->vHalfSize, w->pPos, w->afBox))
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

// Where the line parallel to axis iAxis through (u, v) in the other two axes crosses a
// triangle: 1 with the crossing's coordinate along the axis
static int LineCrosses(const float* a, const float* b, const float* c, int iAxis, float u, float v, float* pfAt)
{
    int iU = iAxis == 0 ? 1 : 0, iV = iAxis == 2 ? 1 : 2;
    float fDet = (b[iV] - c[iV]) * (a[iU] - c[iU]) + (c[iU] - b[iU]) * (a[iV] - c[iV]);
    if (fabsf(fDet) < 1e-9f)
        return 0;
    float l0 = ((b[iV] - c[iV]) * (u - c[iU]) + (c[iU] - b[iU]) * (v - c[iV])) / fDet;
    float l1 = ((c[iV] - a[iV]) * (u - c[iU]) + (a[iU] - c[iU]) * (v - c[iV])) / fDet;
    float l2 = 1 - l0 - l1;
    if (l0 < 0 || l1 < 0 || l2 < 0)
        return 0;
    *pfAt = l0 * a[iAxis] + l1 * b[iAxis] + l2 * c[iAxis];
    return 1;
}

// The elements a walker stands on and bumps into: those of shown layers that the physics
// tree holds (doors and the like let him through)
static int Solid(const TwElement* pElement)
{
    int t = pElement->iType;
    return twWorld_ElementShown(pElement) && t != 4 && t != 5 && !(t >= 37 && t <= 42);
}

int twWorld_FloorBelow(float x, float z, float fFeetY, float* pfFloorY)
{
    TwWorld* w = pWorld;
    if (!w || !w->bLoaded)
        return 0;
    float fChest = fFeetY + FLOOR_CHEST;
    float fFloor = -1e30f;
    for (int e = 0; e < w->iNumElements; e++) {
        const TwElement* pElement = &w->pElements[e];
        if (!Solid(pElement))
            continue;
        // the highest surface under the spot that the walker could step onto from where
        // he stands, and whether the spot lies inside a solid (crossed an odd number of
        // times both ways along x): then there is no floor there for him
        int aiCrossings[2] = {0, 0};
        for (int m = 0; m < pElement->iNumMeshes; m++) {
            const TwMesh* pMesh = &pElement->pMeshes[m];
            for (int i = 0; i + 2 < pMesh->usNumIndices; i += 3) {
                const float* a = pMesh->pVerts[pMesh->pusIndices[i]].vPos;
                const float* b = pMesh->pVerts[pMesh->pusIndices[i + 1]].vPos;
                const float* c = pMesh->pVerts[pMesh->pusIndices[i + 2]].vPos;
                float fAt;
                if (LineCrosses(a, b, c, 1, x, z, &fAt) && fAt <= fFeetY + FLOOR_STEP && fAt > fFloor)
                    fFloor = fAt;
                if (LineCrosses(a, b, c, 0, fChest, z, &fAt))
                    aiCrossings[fAt > x]++;
            }
        }
        if ((aiCrossings[0] & 1) && (aiCrossings[1] & 1))
            return 0;
    }
    if (fFloor < -1e29f)
        return 0;
    *pfFloorY = fFloor;
    return 1;
}

int twWorld_PutOnFloorUnderCross(TwCamera* c, float fRadius)
{
    float fFeet = c->vPos[1] - c->fEyeHeight;
    // the view's middle line, from the near plane to the far, meets the walker's feet level
    static const float s_afNearNdc[3] = {0, 0, -1}, s_afFarNdc[3] = {0, 0, 1};
    float afNear[3], afFar[3];
    if (!twCamera_Unproject(c, s_afNearNdc, afNear) || !twCamera_Unproject(c, s_afFarNdc, afFar))
        return 0;
    float fRise = afFar[1] - afNear[1];
    float t = fabsf(fRise) > 1e-6f ? (fFeet - afNear[1]) / fRise : 0;
    float x = afNear[0] + (afFar[0] - afNear[0]) * t, z = afNear[2] + (afFar[2] - afNear[2]) * t;
    float fFloor;
    if (!twWorld_FloorBelow(x, z, fFeet, &fFloor))
        return 0;
    c->vPos[0] = x;
    c->vPos[1] = fFloor + c->fEyeHeight;
    c->vPos[2] = z;
    c->fForward = c->fStrafe = c->fFallSpeed = c->fImpulse = 0;
    c->fLastWalkY = c->vPos[1];
    // standing close to a wall, he is pushed clear of it
    twWorld_Collide(c->vPos, c->fEyeHeight, fRadius);
    return 1;
}
