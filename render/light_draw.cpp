// The light job's pictures: the sample view and what lies near a sample, drawn from one
// buffer gathered at the job's start; and the ID picture that tells the job what a camera sees.
#include <GL/glew.h>
#include <stdint.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/vector.h"
#include "light/light.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "render/render.h"
#include "world/world.h"

#define SAMPLE_FOV_TAN 1.4281480f // tan(55 degrees): a view 110 degrees wide
#define GROUND_MARGIN 1.46f       // ranges the sample's ground reaches beyond the model
#define GROUND_DROP 0.1f          // metres below the model's foot
#define DRAW_RANGE 1.9f           // ranges: groups further off are not drawn in a sample
#define CULL_MARGIN 0.01f         // metres a group must lie outside the sample view to be left out

// Every shown opaque triangle, gathered once a job: the ground first, then each element
// group's meshes as one run, positions alone with 32-bit numbers. A sample's near groups
// are then a few runs of one buffer, drawn by one call; the layers stay as the job found them.
struct SampleGeometry {
    int bMade;
    uint32_t hVerts, hIndices; // GL buffers, or 0 where the arrays below are drawn from
    float* pfVerts;            // three floats a vertex
    uint32_t* puiIndices;
    uint32_t* puiGroupFirst;   // a group's run: its first index and count
    uint32_t* puiGroupCount;
    uint32_t* puiRunGroups;     // a sample's groups by number; its runs' counts and starts as GL takes them
    GLsizei* piRunCount;
    const void** ppRunStart;
};
static SampleGeometry s_geo;

// The sample view's projection, and its near plane and four sides in the world: a group
// wholly outside one of them cannot reach a pixel
static float s_afProjection[16];
static float s_afFrustum[6][4];

static int DrawsInSample(const TwRenderArray* pArray)
{
    return !pWorld->pMaterials[pArray->iMaterial].bIsTransparent && pArray->pMeshListBatch;
}

void twWorld_FreeSampleGeometry(void)
{
    if (s_geo.hVerts)
        glDeleteBuffersARB(1, &s_geo.hVerts);
    if (s_geo.hIndices)
        glDeleteBuffersARB(1, &s_geo.hIndices);
    void* apBlocks[] = {s_geo.pfVerts, s_geo.puiIndices, s_geo.puiGroupFirst, s_geo.puiGroupCount,
                        s_geo.puiRunGroups, s_geo.piRunCount, (void*)s_geo.ppRunStart};
    for (void* p : apBlocks)
        if (p)
            twMem_Free(p);
    memset(&s_geo, 0, sizeof(s_geo));
}

int twWorld_GatherSampleGeometry(int bUseVbos)
{
    if (s_geo.bMade)
        return 1;
    TwWorld* w = pWorld;
    size_t uiVerts = 4, uiIndices = 6;
    for (int g = 0; g < w->iNumElementGroups; g++) {
        const TwElementGroup* pGroup = &w->pElementGroups[g];
        for (int r = 0; r < pGroup->iNumRenderArrays; r++) {
            if (!DrawsInSample(&pGroup->pRenderArrays[r]))
                continue;
            TwList* pNode = pGroup->pRenderArrays[r].pMeshListBatch->pNext;
            while (const TwMesh* pMesh = twWorld_NextShownMesh(&pNode, pGroup)) {
                uiVerts += pMesh->pVerts && pMesh->pusIndices ? pMesh->usNumVerts : 0;
                uiIndices += pMesh->pVerts && pMesh->pusIndices ? pMesh->usNumIndices : 0;
            }
        }
    }
    size_t uiGroups = (size_t)w->iNumElementGroups + 1;
    s_geo.pfVerts = (float*)twMem_Malloc(uiVerts * 12, "pSampleVerts");
    s_geo.puiIndices = (uint32_t*)twMem_Malloc(uiIndices * 4, "pSampleIndices");
    s_geo.puiGroupFirst = (uint32_t*)twMem_Malloc(uiGroups * 4, "pSampleRuns");
    s_geo.puiGroupCount = (uint32_t*)twMem_Malloc(uiGroups * 4, "pSampleRuns");
    s_geo.puiRunGroups = (uint32_t*)twMem_Malloc(uiGroups * 4, "pSampleRuns");
    s_geo.piRunCount = (GLsizei*)twMem_Malloc(uiGroups * sizeof(GLsizei), "pSampleRuns");
    s_geo.ppRunStart = (const void**)twMem_Malloc(uiGroups * sizeof(void*), "pSampleRuns");
    if (!s_geo.pfVerts || !s_geo.puiIndices || !s_geo.puiGroupFirst || !s_geo.puiGroupCount || !s_geo.puiRunGroups ||
        !s_geo.piRunCount || !s_geo.ppRunStart) {
        twLogError("twWorld_GatherSampleGeometry", "!malloc : pSampleGeometry\n");
        twWorld_FreeSampleGeometry();
        return 0;
    }
    // the ground under the model, which its ground floor faces and beyond which nothing stands
    float m = GROUND_MARGIN * w->fLightRange, y = w->vMin[1] - GROUND_DROP;
    float x0 = w->vMin[0] - m, x1 = w->vMax[0] + m, z0 = w->vMin[2] - m, z1 = w->vMax[2] + m;
    const float afGround[12] = {x0, y, z0, x0, y, z1, x1, y, z1, x1, y, z0};
    const uint32_t auiGround[6] = {0, 1, 2, 0, 2, 3};
    memcpy(s_geo.pfVerts, afGround, sizeof(afGround));
    memcpy(s_geo.puiIndices, auiGround, sizeof(auiGround));
    uint32_t uiV = 4, uiI = 6;
    for (int g = 0; g < w->iNumElementGroups; g++) {
        const TwElementGroup* pGroup = &w->pElementGroups[g];
        s_geo.puiGroupFirst[g] = uiI;
        for (int r = 0; r < pGroup->iNumRenderArrays; r++) {
            if (!DrawsInSample(&pGroup->pRenderArrays[r]))
                continue;
            TwList* pNode = pGroup->pRenderArrays[r].pMeshListBatch->pNext;
            while (const TwMesh* pMesh = twWorld_NextShownMesh(&pNode, pGroup)) {
                if (!pMesh->pVerts || !pMesh->pusIndices)
                    continue;
                for (int i = 0; i < pMesh->usNumVerts; i++)
                    memcpy(&s_geo.pfVerts[(uiV + i) * 3], pMesh->pVerts[i].vPos, 12);
                for (int i = 0; i < pMesh->usNumIndices; i++)
                    s_geo.puiIndices[uiI + i] = uiV + pMesh->pusIndices[i];
                uiV += pMesh->usNumVerts;
                uiI += pMesh->usNumIndices;
            }
        }
        s_geo.puiGroupCount[g] = uiI - s_geo.puiGroupFirst[g];
    }
    if (bUseVbos && twOgl_HasVbo()) {
        glGenBuffersARB(1, &s_geo.hVerts);
        glGenBuffersARB(1, &s_geo.hIndices);
        glBindBufferARB(GL_ARRAY_BUFFER_ARB, s_geo.hVerts);
        glBufferDataARB(GL_ARRAY_BUFFER_ARB, (GLsizeiptrARB)uiVerts * 12, s_geo.pfVerts, GL_STATIC_DRAW_ARB);
        glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, s_geo.hIndices);
        glBufferDataARB(GL_ELEMENT_ARRAY_BUFFER_ARB, (GLsizeiptrARB)uiIndices * 4, s_geo.puiIndices,
                        GL_STATIC_DRAW_ARB);
        glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
        glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, 0);
        twMem_Free(s_geo.pfVerts);
        twMem_Free(s_geo.puiIndices);
        s_geo.pfVerts = nullptr;
        s_geo.puiIndices = nullptr;
    }
    s_geo.bMade = 1;
    return 1;
}

// The sample view's projection: the same for every sample of a job
void twWorld_SetSampleProjection(void)
{
    float fFar = 2 * pWorld->fLightRange, fNear = TW_SAMPLE_NEAR, f = 1.0f / SAMPLE_FOV_TAN;
    const float afProjection[16] = {f, 0, 0, 0, 0, f, 0, 0, 0, 0, (fFar + fNear) / (fNear - fFar), -1,
                                    0, 0, 2 * fFar * fNear / (fNear - fFar), 0};
    memcpy(s_afProjection, afProjection, sizeof(afProjection));
    glMatrixMode(GL_PROJECTION);
    glLoadMatrixf(afProjection);
    glMatrixMode(GL_MODELVIEW);
}

void twWorld_LookFromSample(const float* pvDir, const float* pvUp)
{
    TwWorld* w = pWorld;
    float afViewProj[16];
    twOgl_LookAlongMatrix(w->vSamplePos, pvDir, pvUp, afViewProj);
    twMat_Multiply(s_afProjection, afViewProj, afViewProj);
    twMat_FrustumPlanes(afViewProj, s_afFrustum);
    glLoadIdentity();
    twOgl_LookAlong(w->vSamplePos, pvDir, pvUp);
    glProgramEnvParameter4fARB(GL_VERTEX_PROGRAM_ARB, 3, w->vSamplePos[0], w->vSamplePos[1], w->vSamplePos[2],
                               1.0f / w->fLightRange);
}

// The ground and the groups of ppElementGroupsInRange that reach the sample's cube of 1.9
// ranges and its view, in buffer order, neighbours joined into one run
void twWorld_DrawSampleGeometry(void)
{
    TwWorld* w = pWorld;
    if (!s_geo.bMade)
        return;
    float e = DRAW_RANGE * w->fLightRange;
    const float afRange[3] = {e, e, e};
    int n = 0;
    for (TwElementGroup** pp = w->ppElementGroupsInRange; *pp; pp++) {
        const TwElementGroup* pGroup = *pp;
        int g = (int)(pGroup - w->pElementGroups);
        // near, left, right, top and bottom: the far plane lies beyond the range
        if (!s_geo.puiGroupCount[g] || !twBox_Overlap(pGroup->vCentre, pGroup->vHalfSize, w->vSamplePos, afRange) ||
            twBox_OutsidePlanes(s_afFrustum, 5, pGroup->vCentre, pGroup->vHalfSize, CULL_MARGIN))
            continue;
        // the tree hands the groups out in its own order: sorted in as they come, since the
        // runs lie in the buffer by group number
        int i = n++;
        for (; i > 0 && s_geo.puiRunGroups[i - 1] > (uint32_t)g; i--)
            s_geo.puiRunGroups[i] = s_geo.puiRunGroups[i - 1];
        s_geo.puiRunGroups[i] = (uint32_t)g;
    }
    // the ground's run first; each group's run joins the one before when it follows on
    int iRuns = 0;
    uint32_t uiEnd = 6;
    s_geo.piRunCount[0] = 6;
    s_geo.ppRunStart[0] = nullptr;
    for (int i = 0; i < n; i++) {
        uint32_t g = s_geo.puiRunGroups[i], uiFirst = s_geo.puiGroupFirst[g];
        if (uiFirst != uiEnd) {
            iRuns++;
            s_geo.piRunCount[iRuns] = 0;
            s_geo.ppRunStart[iRuns] = (const void*)(uintptr_t)(uiFirst * 4);
        }
        s_geo.piRunCount[iRuns] += (GLsizei)s_geo.puiGroupCount[g];
        uiEnd = uiFirst + s_geo.puiGroupCount[g];
    }
    iRuns++;
    const uint8_t* pucBase = (const uint8_t*)s_geo.puiIndices;
    if (!s_geo.hIndices)
        for (int i = 0; i < iRuns; i++)
            s_geo.ppRunStart[i] = pucBase + (uintptr_t)s_geo.ppRunStart[i];
    glBindBufferARB(GL_ARRAY_BUFFER_ARB, s_geo.hVerts);
    glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, s_geo.hIndices);
    glEnableClientState(GL_VERTEX_ARRAY);
    glVertexPointer(3, GL_FLOAT, 12, s_geo.pfVerts);
    if (GLEW_VERSION_1_4)
        glMultiDrawElements(GL_TRIANGLES, s_geo.piRunCount, GL_UNSIGNED_INT, s_geo.ppRunStart, iRuns);
    else
        for (int i = 0; i < iRuns; i++)
            glDrawElements(GL_TRIANGLES, s_geo.piRunCount[i], GL_UNSIGNED_INT, s_geo.ppRunStart[i]);
    glDisableClientState(GL_VERTEX_ARRAY);
    if (s_geo.hVerts) {
        glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
        glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, 0);
    }
}

// The ID picture of the surfaces (or of the smooth meshes alone) from a camera, each in the
// colour of its number plus one, over black
void twWorld_DrawLightIds(const TwCamera* pCamera, int bMeshes)
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
}
