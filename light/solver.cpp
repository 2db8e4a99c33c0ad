// The light job: every luxel of every surface and every vertex of every smooth mesh is
// lit by drawing the model as seen from it, and the mean of what the picture holds is its
// light. The job places each sample and hands it to the sampler (sampler.cpp), whose means
// may come back some samples later: a surface or mesh is finished once all of its are in.
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
#include "render/render.h"
#include "world/tree.h"

#define JOB_TAG "twWorld_LightWorld"
#define REDRAW_SAMPLES 2000      // samples between two redraws of the screen
#define SAMPLE_OFFSET 0.001f     // metres: a luxel's sample stands this far off its plane
#define CROSSING_ANGLE 0.6f      // surfaces closer to parallel than this don't cross
#define SLAB_HEIGHT 0.1f         // metres above a surface where crossing surfaces are looked for
#define BEST_START 4600.0f
#define RAY_EPSILON 1e-5f
#define STORE_SIZE (2 * TW_LIGHTMAP_SIZE * TW_LIGHTMAP_SIZE) // bytes: means of surfaces on their way
#define MAX_WAITING 256          // surfaces and meshes whose means are on their way

// Surfaces and meshes whose every sample is drawn, waiting for the last of their means. A
// surface's means gather in the store, each surface in a run of its own, until they are all in.
struct Waiting {
    TwSurface* pSurface; // or
    TwMesh* pMesh;
    uint32_t uiStart;    // the surface's run in the store
    uint32_t uiSamples;  // all in once the sampler has this many
};

static uint8_t* s_pucStore;
static uint32_t s_uiStoreUsed;
static uint8_t* s_pucSurfaceOut; // the current surface's run
static Waiting s_aWaiting[MAX_WAITING];
static int s_iFirstWaiting, s_iNumWaiting;
static int s_bStopped;           // the job can't go on: what it has finished stays, the rest unlit

// ---------------------------------------------------------------------------------------------
// The picture of one sample
// ---------------------------------------------------------------------------------------------

void twWorld_RenderSample(TwSurface* pSurface)
{
    TwWorld* w = pWorld;
    if (w->iCurrentSurface < 0)
        return;
    int iLuxel = w->usSampleV * pSurface->usLuxelsU + w->usSampleU;
    uint8_t* pucOut = s_pucSurfaceOut ? s_pucSurfaceOut + iLuxel : &w->pSurfaceLightData[iLuxel * 3 + 1];
    twWorld_TakeSample(pSurface->fPlane, pSurface->fPlaneV, iLuxel, pucOut);
}

void twWorld_RenderVertexSample(uint8_t* pucOut, int iVertex)
{
    TwWorld* w = pWorld;
    if (w->iCurrentMesh < 0)
        return;
    float afUp[3];
    twOgl_UpVector(w->vSampleNormal, afUp);
    twVec_Normalize(afUp);
    twWorld_TakeSample(w->vSampleNormal, afUp, iVertex, pucOut);
}

// A surface's means into the three bytes a luxel of pSurfaceLightData, and its lightmap
static void FinishSurface(TwSurface* S, const uint8_t* pucMeans)
{
    TwWorld* w = pWorld;
    for (int i = 0; i < S->usLuxelsU * S->usLuxelsV; i++) {
        w->pSurfaceLightData[i * 3] = w->pSurfaceLightData[i * 3 + 2] = 0;
        w->pSurfaceLightData[i * 3 + 1] = pucMeans[i];
    }
    twWorld_UploadSurfaceLight(S);
    S->pLightmap->bLit = 1;
    S->bLit = 1;
}

// A mesh's vertices got their means in the first of their four bytes
static void FinishMesh(TwMesh* pMesh)
{
    for (int i = 0; i < pMesh->usNumVerts; i++) {
        uint8_t* p = &pMesh->pucVertexLight[i * 4];
        p[1] = p[2] = p[0];
        p[3] = 255;
    }
    pMesh->bLit = 1;
}

// What waits and has all its means is finished, in order
static void FinishWaiting(void)
{
    uint32_t uiIn = twWorld_SamplesIn();
    while (s_iNumWaiting && s_aWaiting[s_iFirstWaiting].uiSamples <= uiIn) {
        Waiting* p = &s_aWaiting[s_iFirstWaiting];
        if (p->pSurface)
            FinishSurface(p->pSurface, s_pucStore + p->uiStart);
        else
            FinishMesh(p->pMesh);
        s_iFirstWaiting = (s_iFirstWaiting + 1) % MAX_WAITING;
        s_iNumWaiting--;
    }
}

// Every mean drawn so far in, and what waits finished
static void FinishAll(void)
{
    twWorld_CollectSamples();
    FinishWaiting();
}

static void Wait(TwSurface* pSurface, TwMesh* pMesh, uint32_t uiStart)
{
    Waiting* p = &s_aWaiting[(s_iFirstWaiting + s_iNumWaiting) % MAX_WAITING];
    p->pSurface = pSurface;
    p->pMesh = pMesh;
    p->uiStart = uiStart;
    p->uiSamples = twWorld_SamplesTaken();
    s_iNumWaiting++;
    FinishWaiting();
}

// Room for a surface's means, or for one more that waits: the store starts again once
// nothing waits
static uint32_t Reserve(uint32_t uiLuxels)
{
    if (s_iNumWaiting == MAX_WAITING || s_uiStoreUsed + uiLuxels > STORE_SIZE)
        FinishAll();
    if (!s_iNumWaiting)
        s_uiStoreUsed = 0;
    uint32_t uiStart = s_uiStoreUsed;
    s_uiStoreUsed += uiLuxels;
    return uiStart;
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
// plane; 0 when the triangle is too far in front
static int ClosestOnTriangle(const float* P, const float* a, const float* b, const float* c, const float* pvNormal,
                             float fD, float fLimit, float* pvOut)
{
    float s = twVec_Dot(pvNormal, P) + fD;
    if (s > fLimit)
        return 0;
    twTri_ClosestPoint(P, a, b, c, pvNormal, s, pvOut);
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
                P[i] += N[i] * (TW_SAMPLE_NEAR - fAbove);
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
    for (TwElementGroup** pp = w->ppElementGroupsInRange; *pp; pp++) {
        for (int r = 0; r < (*pp)->iNumRenderArrays; r++) {
            const TwSurfaceArray* pArray = (*pp)->pRenderArrays[r].pSurfaceArray2;
            for (int s = 0; pArray && s < pArray->iNumSurfaces; s++) {
                TwSurface* T = &pArray->pSurfaces2[s];
                if (twBox_OutsidePlanes(afPlanes, 6, T->fBoxCentre, T->fBoxHalf, 0) ||
                    fabsf(twVec_Dot(S->fPlane, T->fPlane)) > CROSSING_ANGLE)
                    continue;
                int bInFront = 0;
                for (int i = 0; i < T->usNumIndices && !bInFront; i++)
                    bInFront = twVec_Dot(S->fPlane, Position(T->pMesh, T->usFirstIndex + i)) + S->fPlane[3] >= 0;
                if (bInFront && (uint32_t)n < w->uiNumSurfaces)
                    w->ppSurfacesInRange[n++] = T;
            }
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
        if (!pafPlanes || !twBox_OutsidePlanes(pafPlanes, 6, pGroup->vCentre, pGroup->vHalfSize, 0))
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
    // the redraw draws the frame with its own state, and shows the lightmaps as they are;
    // the job's state is built again after it
    FinishAll();
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
    if (twWorld_SamplesLost())
        s_bStopped = 1;
    if (s_bStopped || (w->pfnLightAbort && w->pfnLightAbort())) {
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
    if (!pSurface->pLightmap || !pSurface->pLightmap->pTexture)
        return 1; // nothing to show it in: the light files still hold it
    uint8_t* pucLuxels = (uint8_t*)twMem_GetTempBuffer(iLuxels, 0);
    if (!pucLuxels) {
        twLogError("twWorld_UploadSurfaceLight", "!twMem_GetTempBuffer : %d luxels\n", iLuxels);
        return 0;
    }
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
            uint32_t uiStart = Reserve((uint32_t)(S->usLuxelsU * S->usLuxelsV));
            s_pucSurfaceOut = s_pucStore + uiStart;
            for (int v = 0; v < S->usLuxelsV; v++)
                for (int u = 0; u < S->usLuxelsU; u++) {
                    w->usSampleV = (uint16_t)v;
                    w->usSampleU = (uint16_t)u;
                    RedrawCheck();
                    twWorld_PlaceSample(S);
                    twWorld_RenderSample(S);
                    // a surface broken off is redone from its first luxel: its means are
                    // left in the store
                    if (!CountSamples(1))
                        return 0;
                    FinishWaiting();
                }
            s_pucSurfaceOut = nullptr;
            Wait(S, nullptr, uiStart);
        } else {
            RedrawCheck();
            if (!CountSamples(S->usLuxelsU * S->usLuxelsV))
                return 0;
        }
    } else if (!S->bLit && bVisible) {
        // nothing to sample: full light at once
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
            Reserve(0); // its place in the queue
            w->iCurrentMesh = pMesh->iIndex;
            for (int i = 0; i < pMesh->usNumVerts; i++) {
                RedrawCheck();
                memcpy(w->vSamplePos, pMesh->pVerts[i].vPos, 12);
                memcpy(w->vSampleNormal, pMesh->pVerts[i].vNormal, 12);
                twWorld_RenderVertexSample(&pMesh->pucVertexLight[i * 4], i);
                if (!CountSamples(1))
                    return 0;
                FinishWaiting();
            }
            Wait(nullptr, pMesh, 0);
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

// What shows in the ID picture of the surfaces (or of the smooth meshes alone) from a
// camera marks its flag. The picture comes back in strips of rows that fit the temp buffer,
// so that a window of any size is read whole.
static void FindVisible(const TwCamera* pCamera, int bMeshes, int32_t* piFlags, int iCount)
{
    TwWorld* w = pWorld;
    twWorld_DrawLightIds(pCamera, bMeshes);
    memset(piFlags, 0, (size_t)iCount * 4);
    size_t uiRow = (size_t)(w->iWidth > 0 ? w->iWidth : 0) * 4;
    int iStrip = uiRow ? (int)(TW_TEMP_BUFFER_SIZE / uiRow) : 0;
    if (iStrip > w->iHeight)
        iStrip = w->iHeight;
    uint32_t* puiPixels = iStrip > 0 ? (uint32_t*)twMem_GetTempBuffer((int)(uiRow * iStrip), 0) : nullptr;
    if (!puiPixels) {
        twLogError(JOB_TAG, "!twMem_GetTempBuffer : the ID picture of %d x %d isn't read\n", w->iWidth, w->iHeight);
        return;
    }
    for (int y = 0; y < w->iHeight; y += iStrip) {
        int iRows = w->iHeight - y < iStrip ? w->iHeight - y : iStrip;
        glReadPixels(0, y, w->iWidth, iRows, GL_RGBA, GL_UNSIGNED_BYTE, puiPixels);
        size_t uiPixels = (size_t)w->iWidth * iRows;
        for (size_t i = 0; i < uiPixels; i++)
            if (puiPixels[i] && puiPixels[i] - 1 < (uint32_t)iCount)
                piFlags[puiPixels[i] - 1] = 1;
    }
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
    s_bStopped = 0;
    if (!twWorld_GatherSampleGeometry(w->bUseVbo)) {
        twLogError(JOB_TAG, "!twWorld_GatherSampleGeometry : the job stops\n");
        SetText(w->szLightStatus, twStrings_Get(TW_STR_LIGHT_PAUSED));
        return 0;
    }
    s_pucStore = (uint8_t*)twMem_Malloc(STORE_SIZE, "pLightStore");
    if (!s_pucStore) {
        twLogError(JOB_TAG, "!malloc : pLightStore\n");
        twWorld_FreeSampleGeometry();
        SetText(w->szLightStatus, twStrings_Get(TW_STR_LIGHT_PAUSED));
        return 0;
    }
    s_uiStoreUsed = 0;
    s_iFirstWaiting = s_iNumWaiting = 0;
    s_pucSurfaceOut = nullptr;
    GLint aiViewport[4];
    glGetIntegerv(GL_VIEWPORT, aiViewport);
    twWorld_BeginSampling();
    twWorld_StartSamplePaths(w->iSamplesTotal - iDone);
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
    // what was broken off stays unlit; all before it is finished
    s_pucSurfaceOut = nullptr;
    FinishAll();
    twMem_Free(s_pucStore);
    s_pucStore = nullptr;
    twWorld_FreeSampleGeometry();
    twWorld_ShowLightProgress();
    SetText(w->szLightStatus, twStrings_Get(w->bAborted ? TW_STR_LIGHT_PAUSED : TW_STR_LIGHT_FINISHED));
    twWorld_EndSampling();
    glViewport(aiViewport[0], aiViewport[1], aiViewport[2], aiViewport[3]);
    // through the files and back: smooth meshes get their buffers with the new light, and
    // what the user sees is what a later load sees
    if (!twWorld_SaveLight()) {
        twLogError(JOB_TAG, "!twWorld_SaveLight\n");
        return !s_bStopped;
    }
    if (!twWorld_LoadLightS(1, nullptr)) {
        twLogError(JOB_TAG, "!twWorld_LoadLightS\n");
        return !s_bStopped;
    }
    if (!twWorld_LoadLightM(1, nullptr)) {
        twLogError(JOB_TAG, "!twWorld_LoadLightM\n");
        return !s_bStopped;
    }
    w->bLightLocal = 1;
    w->bLightExternal = 0;
    twWorld_ResetLightProgress();
    return !s_bStopped;
}
