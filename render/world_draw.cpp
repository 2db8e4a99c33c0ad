#include <GL/glew.h>
#include <math.h>
#include <stddef.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/vector.h"
#include "light/light.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "render/render.h"
#include "world/world.h"

#define TOP_LAMP_DISTANCE 1.2f // top-view radii behind the view's centre
#define FIXED_SHININESS 50.0f

static const float s_afWhite[4] = {1, 1, 1, 1};

// Where a batch's or a mesh's arrays are: a GL buffer (base 0) or memory
struct Source {
    const uint8_t* pucVerts;
    const uint16_t* pusIndices;
    uint16_t usNumVerts, usNumIndices;
};

static void SetPointers(const Source& src, int bTextured, int bLit)
{
    glVertexPointer(3, GL_FLOAT, sizeof(TwVertex), src.pucVerts + offsetof(TwVertex, vPos));
    if (bTextured)
        glTexCoordPointer(2, GL_FLOAT, sizeof(TwVertex), src.pucVerts + offsetof(TwVertex, fU));
    if (bLit)
        glNormalPointer(GL_FLOAT, sizeof(TwVertex), src.pucVerts + offsetof(TwVertex, vNormal));
}

static void DrawSource(const Source& src, int bTextured, int bLit)
{
    SetPointers(src, bTextured, bLit);
    glDrawRangeElements(GL_TRIANGLES, 0, src.usNumVerts, src.usNumIndices, GL_UNSIGNED_SHORT, src.pusIndices);
    pWorld->iNumIndicesDrawn += src.usNumIndices;
}

const TwMesh* twWorld_NextShownMesh(TwList** ppNode, const TwElementGroup* pGroup)
{
    for (TwList* p = *ppNode; p; p = p->pNext) {
        const TwMesh* pMesh = (const TwMesh*)p->pData;
        if (pMesh && (!pGroup->bHasHiddenElements || twWorld_ElementShown(pMesh->pElement))) {
            *ppNode = p->pNext;
            return pMesh;
        }
    }
    *ppNode = nullptr;
    return nullptr;
}

// The geometry of one render array: by batch, or mesh by mesh when its group has hidden
// elements, so that hidden layers stay out
static void DrawRenderArray(const TwRenderArray* pArray, const TwElementGroup* pGroup, int bUseVbo, int bTextured,
                            int bLit, int* pbBuffersBound)
{
    if (pGroup->bHasHiddenElements) {
        if (*pbBuffersBound) {
            glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
            glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, 0);
            *pbBuffersBound = 0;
        }
        TwList* pNode = pArray->pMeshListBatch ? pArray->pMeshListBatch->pNext : nullptr;
        while (const TwMesh* pMesh = twWorld_NextShownMesh(&pNode, pGroup)) {
            Source src = {(const uint8_t*)pMesh->pVerts, pMesh->pusIndices, pMesh->usNumVerts, pMesh->usNumIndices};
            DrawSource(src, bTextured, bLit);
        }
        return;
    }
    for (TwList* p = pArray->pBatchList ? pArray->pBatchList->pNext : nullptr; p; p = p->pNext) {
        const TwBatch* pBatch = (const TwBatch*)p->pData;
        if (!pBatch)
            continue;
        Source src = {(const uint8_t*)pBatch->pVerts, pBatch->pusIndices, pBatch->usNumVerts, pBatch->usNumIndices};
        if (bUseVbo && pBatch->hVboVerts) {
            glBindBufferARB(GL_ARRAY_BUFFER_ARB, pBatch->hVboVerts);
            glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, pBatch->hVboIndices);
            *pbBuffersBound = 1;
            src.pucVerts = nullptr;
            src.pusIndices = nullptr;
        } else {
            if (*pbBuffersBound) {
                glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
                glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, 0);
                *pbBuffersBound = 0;
            }
            if (!pBatch->pVerts)
                continue; // in buffers the drawing may not use
        }
        DrawSource(src, bTextured, bLit);
    }
}

// The shadow map on unit 2: the eight taps read single texels; without soft shadows the one
// tap reads a blend of four
static void BindShadowMap(int bSoftShadows)
{
    glActiveTexture(GL_TEXTURE2);
    glBindTexture(GL_TEXTURE_2D, pWorld->hShadowTexture);
    GLint iFilter = bSoftShadows ? GL_NEAREST : GL_LINEAR, iWrap = bSoftShadows ? GL_CLAMP : GL_CLAMP_TO_EDGE;
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, iFilter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, iFilter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, iWrap);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, iWrap);
    glActiveTexture(GL_TEXTURE1);
}

static int TextureHasAlpha(const TwTexture* pTexture)
{
    switch (pTexture->iInternalFormat) {
    case GL_RGBA:
    case GL_RGBA8:
    case GL_ALPHA:
    case GL_LUMINANCE_ALPHA:
    case GL_COMPRESSED_RGBA_S3TC_DXT1_EXT:
    case GL_COMPRESSED_RGBA_S3TC_DXT3_EXT:
    case GL_COMPRESSED_RGBA_S3TC_DXT5_EXT:
        return 1;
    default:
        return 0;
    }
}

// The cut: its planes as clip planes, given in world space under the modelview loaded now;
// off, every clip plane the cut may use is off. The vertex programs are position-invariant,
// so the planes hold for them as for the fixed pipeline: triangles are clipped before they
// are filled, and no fragment is killed (a kill costs a renderer its early depth test)
void twWorld_ClipToCut(int bOn)
{
    TwWorld* w = pWorld;
    int iPlanes = w && bOn ? w->iNumCutPlanes : 0;
    for (int i = 0; i < TW_CUT_PLANES; i++) {
        if (i >= iPlanes) {
            glDisable(GL_CLIP_PLANE0 + i);
            continue;
        }
        const float* p = w->aafCutPlanes[i];
        const double adPlane[4] = {p[0], p[1], p[2], p[3]};
        glClipPlane(GL_CLIP_PLANE0 + i, adPlane);
        glEnable(GL_CLIP_PLANE0 + i);
    }
}

int twWorld_BoxCutAway(const float* pvCentre, const float* pvHalfSize)
{
    TwWorld* w = pWorld;
    for (int i = 0; w && i < w->iNumCutPlanes; i++) {
        const float* p = w->aafCutPlanes[i];
        float fReach = fabsf(p[0]) * pvHalfSize[0] + fabsf(p[1]) * pvHalfSize[1] + fabsf(p[2]) * pvHalfSize[2];
        if (p[0] * pvCentre[0] + p[1] * pvCentre[1] + p[2] * pvCentre[2] + p[3] + fReach < 0)
            return 1;
    }
    return 0;
}

int twWorld_PointCutAway(const float* pv)
{
    static const float s_afNone[3] = {0, 0, 0};
    return twWorld_BoxCutAway(pv, s_afNone);
}

// Binds a program by its key unless it is bound already
static void BindVertexProgram(int iKey)
{
    if (iKey != pWorld->iCurrentVp) {
        glBindProgramARB(GL_VERTEX_PROGRAM_ARB, pWorld->ahVertexPrograms[iKey]);
        pWorld->iCurrentVp = iKey;
    }
}

static void BindFragmentProgram(int iKey)
{
    if (iKey != pWorld->iCurrentFp) {
        glBindProgramARB(GL_FRAGMENT_PROGRAM_ARB, twWorld_FragmentProgram(iKey));
        pWorld->iCurrentFp = iKey;
    }
}

// The render arrays one pass draws, group by group: of the groups given (every group with
// neither a camera nor a mask), of opaque materials in pass 0, of transparent ones in pass 1,
// of any in pass -1. Start from a zeroed walk; null at the end.
struct ArrayWalk {
    int iPass;
    const TwCamera* pCam;     // groups the sweep saw lately or near this eye
    const uint8_t* pucGroups; // or groups marked here
    int g, r;
};

static int DrawsGroup(const TwElementGroup* pGroup, const TwCamera* pCam);

static const TwRenderArray* NextArray(ArrayWalk* pWalk, const TwElementGroup** ppGroup)
{
    TwWorld* w = pWorld;
    for (; pWalk->g < w->iNumElementGroups; pWalk->g++, pWalk->r = 0) {
        const TwElementGroup* pGroup = &w->pElementGroups[pWalk->g];
        if ((pWalk->pucGroups && !pWalk->pucGroups[pWalk->g]) || (pWalk->pCam && !DrawsGroup(pGroup, pWalk->pCam)))
            continue;
        while (pWalk->r < pGroup->iNumRenderArrays) {
            const TwRenderArray* pArray = &pGroup->pRenderArrays[pWalk->r++];
            int bTransparent = w->pMaterials[pArray->iMaterial].bIsTransparent != 0;
            if (pWalk->iPass >= 0 && bTransparent != (pWalk->iPass == 1))
                continue;
            *ppGroup = pGroup;
            return pArray;
        }
    }
    return nullptr;
}

// Everything that stands in the sun's way, depth alone: the sun sees every group; glass
// (untextured and transparent) lets the light through, and a cut-out texture casts its holes
void twWorld_DrawDepthOnly(int bUseVbo, const uint8_t* pucGroups)
{
    TwWorld* w = pWorld;
    glColor4f(1, 1, 1, 1);
    glAlphaFunc(GL_GREATER, 0.49f);
    glActiveTexture(GL_TEXTURE0);
    glClientActiveTexture(GL_TEXTURE0);
    glEnableClientState(GL_VERTEX_ARRAY);
    twWorld_ClipToCut(1); // what is cut away casts no shadow
    int bBuffersBound = 0;
    ArrayWalk walk = {-1, nullptr, pucGroups, 0, 0};
    const TwElementGroup* pGroup;
    while (const TwRenderArray* pArray = NextArray(&walk, &pGroup)) {
        const TwMaterial* pMaterial = &w->pMaterials[pArray->iMaterial];
        const TwTexture* pTexture = pMaterial->iTexture >= 0 && pMaterial->iTexture < w->iNumTextures
                                        ? w->ppTextures[pMaterial->iTexture]
                                        : nullptr;
        if ((!pTexture && pMaterial->bIsTransparent) || twWorld_BoxCutAway(pGroup->vCentre, pGroup->vHalfSize))
            continue;
        int bCutOut = pTexture && TextureHasAlpha(pTexture);
        if (bCutOut) {
            glEnable(GL_ALPHA_TEST);
            glEnable(GL_TEXTURE_2D);
            glBindTexture(GL_TEXTURE_2D, pTexture->hTexture);
            glEnableClientState(GL_TEXTURE_COORD_ARRAY);
        }
        DrawRenderArray(pArray, pGroup, bUseVbo, bCutOut, 0, &bBuffersBound);
        if (bCutOut) {
            glDisable(GL_ALPHA_TEST);
            glDisable(GL_TEXTURE_2D);
            glDisableClientState(GL_TEXTURE_COORD_ARRAY);
        }
    }
    if (bBuffersBound) {
        glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
        glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, 0);
    }
    twWorld_ClipToCut(0);
    glDisableClientState(GL_VERTEX_ARRAY);
}

// After the passes of both draws: blending, buffers and material textures off
static void EndPasses(int iTextured)
{
    glDisable(GL_BLEND);
    glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
    glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, 0);
    if (iTextured) {
        glDisableClientState(GL_TEXTURE_COORD_ARRAY);
        glDisable(GL_TEXTURE_2D);
    }
}

// A group near enough to the eye for the soft shadow's eight taps
static int NearForSoftShadow(const TwElementGroup* pGroup, const TwCamera* pCam)
{
    return twVec_DistanceSq(pCam->vPos, pGroup->vCentre) - pGroup->fRadiusSq < TW_SOFT_SHADOW_RANGE;
}

// The end of both draws: the black edges over what was drawn, the vertex array off and
// the count for the developer panel
static void FinishDraw(int bDrawEdges)
{
    TwWorld* w = pWorld;
    if (bDrawEdges) {
        glDisable(GL_POLYGON_OFFSET_FILL);
        glColor4f(0, 0, 0, 1);
        twWorld_ClipToCut(1);
        for (int g = 0; g < w->iNumElementGroups; g++) {
            const TwElementGroup* pGroup = &w->pElementGroups[g];
            if (!twWorld_GroupSeen(pGroup->uiVisibleFrame))
                continue;
            for (int e = 0; e < pGroup->iNumElements; e++) {
                const TwElement* pElement = pGroup->ppElements[e];
                if (pGroup->bHasHiddenElements && !twWorld_ElementShown(pElement))
                    continue;
                for (int m = 0; m < pElement->iNumMeshes; m++)
                    twWorld_DrawMeshEdges(&pElement->pMeshes[m]);
            }
        }
        twWorld_ClipToCut(0);
    }
    glDisableClientState(GL_VERTEX_ARRAY);
    char szDrawn[32];
    twCore_FormatThousands((uint32_t)w->iNumIndicesDrawn / 3, szDrawn);
    snprintf(w->szDrawInfo, sizeof(w->szDrawInfo), "%s / %s", szDrawn, w->szNumTris);
}

// A group is drawn when the sweep saw it lately, or when it is near
static int DrawsGroup(const TwElementGroup* pGroup, const TwCamera* pCam)
{
    float fDistSq = twVec_DistanceSq(pCam->vPos, pGroup->vCentre) - pGroup->fRadiusSq;
    if (twWorld_BoxCutAway(pGroup->vCentre, pGroup->vHalfSize))
        return 0;
    return twWorld_GroupSeen(pGroup->uiVisibleFrame) || fDistSq <= TW_NEAR_GROUP_SQ;
}

int twWorld_GroupSeen(uint32_t uiGroupFrame)
{
    return uiGroupFrame + TW_SWEEP_CYCLE >= pWorld->uiVisibleFrame;
}

void twWorld_Draw(int bUseVbo, int iMode, int iSceneOption, const TwCamera* pCam, float fSunAzimuth,
                  float fSunAltitude, float fShadow, float fLightLevel, float fLightGain, int bDrawEdges,
                  int bTransparency, int bSoftShadows)
{
    TwWorld* w = pWorld;
    if (!w || !w->bLoaded)
        return;
    int bFixed = iMode == TW_MODE_SUN;
    int bPrograms = iMode >= TW_MODE_WHITE && iMode <= TW_MODE_LAMP && w->iNumFragmentPrograms;
    int bMaterials = iMode != TW_MODE_WHITE;
    int bTextures = iMode != TW_MODE_LAMP_GREY;
    int bLit = bFixed || bPrograms;
    if (iMode == TW_MODE_WHITE)
        bDrawEdges = 1;
    int bShadow = fShadow != 0;
    w->iNumIndicesDrawn = 0;
    twWorld_ClipToCut(1);
    if (bFixed) {
        twWorld_SetFixedLighting(1, fSunAzimuth, fSunAltitude);
        glEnableClientState(GL_NORMAL_ARRAY);
    }
    if (bPrograms) {
        glEnable(GL_VERTEX_PROGRAM_ARB);
        glEnable(GL_FRAGMENT_PROGRAM_ARB);
        glActiveTexture(GL_TEXTURE0);
        glEnable(GL_TEXTURE_CUBE_MAP_ARB);
        glBindTexture(GL_TEXTURE_CUBE_MAP_ARB, twOgl_GetNormalizationCube());
        // material textures go to the second unit
        glActiveTexture(GL_TEXTURE1);
        glClientActiveTexture(GL_TEXTURE1);
        glEnableClientState(GL_NORMAL_ARRAY);
        float afLamp[4];
        if (pCam->bTopView) {
            float afDir[3];
            twCamera_DirFromAngles(pCam->fOrthoPitch, pCam->fOrthoYaw, afDir);
            for (int i = 0; i < 3; i++)
                afLamp[i] = pCam->vOrthoCentre[i] - afDir[i] * TOP_LAMP_DISTANCE * pCam->fOrthoHalfWidth;
        } else {
            // a lamp near the eye
            afLamp[0] = pCam->vPos[0] - 1;
            afLamp[1] = pCam->vPos[1] - 1 + fLightGain;
            afLamp[2] = pCam->vPos[2] - 1;
        }
        afLamp[3] = 1;
        glProgramEnvParameter4fvARB(GL_VERTEX_PROGRAM_ARB, 0, afLamp);
        if (bShadow)
            BindShadowMap(bSoftShadows);
    }
    glEnableClientState(GL_VERTEX_ARRAY);
    if (bDrawEdges) {
        glEnable(GL_POLYGON_OFFSET_FILL);
        glPolygonOffset(1, 1);
    }
    int iTextured = 0, bBuffersBound = 0;
    for (int iPass = 0; iPass < 2; iPass++) {
        if (iPass == 1) {
            if (!bTransparency)
                break;
            glEnable(GL_BLEND);
        }
        ArrayWalk walk = {iPass, pCam, nullptr, 0, 0};
        const TwElementGroup* pGroup;
        while (const TwRenderArray* pArray = NextArray(&walk, &pGroup)) {
            const TwMaterial* pMaterial = &w->pMaterials[pArray->iMaterial];
            int bNear = bShadow && bSoftShadows && NearForSoftShadow(pGroup, pCam);
            if (bMaterials)
                twWorld_SetMaterial(pMaterial, &iTextured, fLightLevel, bTextures);
            if (bPrograms) {
                BindVertexProgram((iTextured ? TW_VP_TEXTURE : 0) | (bShadow ? TW_VP_SHADOW : 0));
                BindFragmentProgram((iTextured ? TW_FP_TEXTURE : 0) | (bShadow ? TW_FP_SHADOW : 0) |
                                    (bNear ? TW_FP_FILTERED : 0) | (fShadow > 0 ? TW_FP_SUN_ADDS : 0) |
                                    (iSceneOption ? TW_FP_WHITE_SUN : 0) | (iPass ? TW_FP_ALPHA : 0) |
                                    (iMode == TW_MODE_LAMP_GREY ? TW_FP_GREY : 0) |
                                    (iMode == TW_MODE_WHITE ? TW_FP_WHITE : 0));
            }
            DrawRenderArray(pArray, pGroup, bUseVbo, iTextured, bLit, &bBuffersBound);
        }
    }
    EndPasses(iTextured);
    if (bFixed) {
        twWorld_SetFixedLighting(0, 0, 0);
        glDisableClientState(GL_NORMAL_ARRAY);
    }
    if (bPrograms) {
        glDisable(GL_VERTEX_PROGRAM_ARB);
        glDisable(GL_FRAGMENT_PROGRAM_ARB);
        glActiveTexture(GL_TEXTURE0);
        glClientActiveTexture(GL_TEXTURE0);
        glDisable(GL_TEXTURE_CUBE_MAP_ARB);
        glDisableClientState(GL_NORMAL_ARRAY);
    }
    twWorld_ClipToCut(0);
    FinishDraw(bDrawEdges);
}

void twWorld_SetFixedLighting(int bOn, float fSunAzimuth, float fSunAltitude)
{
    if (!bOn) {
        glDisable(GL_LIGHT0);
        glDisable(GL_LIGHTING);
        return;
    }
    glShadeModel(GL_SMOOTH);
    glMaterialfv(GL_FRONT, GL_SPECULAR, s_afWhite);
    glMaterialf(GL_FRONT, GL_SHININESS, FIXED_SHININESS);
    float a = fSunAzimuth * TW_DEG, b = fSunAltitude * TW_DEG;
    float afDir[4] = {sinf(a), tanf(b), cosf(a), 0};
    twVec_Normalize(afDir);
    glLightfv(GL_LIGHT0, GL_POSITION, afDir);
    glLightfv(GL_LIGHT0, GL_DIFFUSE, pWorld->vSunColor);
    glLightfv(GL_LIGHT0, GL_SPECULAR, pWorld->vSunColor);
    glLightfv(GL_LIGHT0, GL_AMBIENT, pWorld->vSkyColor);
    const float afNone[4] = {0, 0, 0, 1};
    glLightModelfv(GL_LIGHT_MODEL_AMBIENT, afNone);
    glLightModeli(GL_LIGHT_MODEL_LOCAL_VIEWER, 0);
    glEnable(GL_LIGHT0);
    glEnable(GL_LIGHTING);
}

void twWorld_SetMaterial(const TwMaterial* pMaterial, int* piTextured, float fAlpha, int bTextures)
{
    const TwTexture* pTexture = nullptr;
    if (bTextures && pMaterial->iTexture >= 0 && pMaterial->iTexture < pWorld->iNumTextures)
        pTexture = pWorld->ppTextures[pMaterial->iTexture];
    if (pTexture) {
        if (!*piTextured) {
            glEnableClientState(GL_TEXTURE_COORD_ARRAY);
            glEnable(GL_TEXTURE_2D);
            *piTextured = 1;
        }
        glBindTexture(GL_TEXTURE_2D, pTexture->hTexture);
        glColor4f(1, 1, 1, 1);
        glMaterialfv(GL_FRONT_AND_BACK, GL_DIFFUSE, s_afWhite);
        glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, s_afWhite);
    } else {
        if (*piTextured) {
            glDisableClientState(GL_TEXTURE_COORD_ARRAY);
            glDisable(GL_TEXTURE_2D);
            *piTextured = 0;
        }
        // the light level is the opacity of plain transparent materials
        float afDiffuse[4] = {pMaterial->vDiffuse[0], pMaterial->vDiffuse[1], pMaterial->vDiffuse[2], fAlpha};
        glColor4fv(afDiffuse);
        glMaterialfv(GL_FRONT_AND_BACK, GL_DIFFUSE, afDiffuse);
        glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, pMaterial->vAmbient);
    }
    glMaterialfv(GL_FRONT_AND_BACK, GL_EMISSION, pMaterial->vEmission);
    glMaterialf(GL_FRONT_AND_BACK, GL_SHININESS, pMaterial->fShininess);
    glMaterialfv(GL_FRONT_AND_BACK, GL_SPECULAR, pMaterial->vSpecular);
}

void twWorld_DrawMeshEdges(const TwMesh* pMesh)
{
    glPushMatrix();
    glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
    glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, 0);
    glVertexPointer(3, GL_FLOAT, sizeof(TwVertex), &pMesh->pVerts[0].vPos);
    glDrawRangeElements(GL_LINES, 0, pMesh->usNumVerts, pMesh->usNumEdgeIndices, GL_UNSIGNED_SHORT,
                        pMesh->pusEdgeIndices);
    glPopMatrix();
    pWorld->iNumDrawCalls++;
}

// A render array's lightmaps: the lightmap on unit 0, the material on unit 1, from the
// lightmap's own buffers. In a group with hidden elements each surface is drawn alone.
static void DrawLightmaps(const TwSurfaceArray* pArray, const TwElementGroup* pGroup, int iTextured, int bUseVbo)
{
    TwWorld* w = pWorld;
    for (TwList* p = pArray->pLightmapList ? pArray->pLightmapList->pNext : nullptr; p; p = p->pNext) {
        const TwLightmap* pLightmap = (const TwLightmap*)p->pData;
        if (!pLightmap || !pLightmap->pTexture)
            continue;
        int bBuffers = bUseVbo && pLightmap->hVboVerts;
        const uint8_t* pucVerts = bBuffers ? nullptr : (const uint8_t*)pLightmap->pVerts;
        const uint16_t* pusIndices = bBuffers ? nullptr : pLightmap->pusIndices;
        if (!bBuffers && !pucVerts)
            continue;
        glBindBufferARB(GL_ARRAY_BUFFER_ARB, bBuffers ? pLightmap->hVboVerts : 0);
        glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, bBuffers ? pLightmap->hVboIndices : 0);
        glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_2D, pLightmap->pTexture->hTexture);
        glClientActiveTexture(GL_TEXTURE0);
        glTexCoordPointer(2, GL_FLOAT, sizeof(TwLightmapVertex), pucVerts + offsetof(TwLightmapVertex, fMapU));
        glClientActiveTexture(GL_TEXTURE1);
        if (iTextured)
            glTexCoordPointer(2, GL_FLOAT, sizeof(TwLightmapVertex), pucVerts + offsetof(TwLightmapVertex, fU));
        glActiveTexture(GL_TEXTURE1);
        glVertexPointer(3, GL_FLOAT, sizeof(TwLightmapVertex), pucVerts);
        glNormalPointer(GL_BYTE, sizeof(TwLightmapVertex), pucVerts + offsetof(TwLightmapVertex, acNormal));
        if (!pGroup->bHasHiddenElements) {
            glDrawElements(GL_TRIANGLES, pLightmap->usNumIndices, GL_UNSIGNED_SHORT, pusIndices);
            w->iNumIndicesDrawn += pLightmap->usNumIndices;
            continue;
        }
        int iFirst = 0;
        for (TwList* s = pLightmap->pSurfaceList->pNext; s; s = s->pNext) {
            const TwSurface* pSurface = (const TwSurface*)s->pData;
            if (pSurface && twWorld_ElementShown(pSurface->pMesh->pElement)) {
                glDrawElements(GL_TRIANGLES, pSurface->usNumIndices, GL_UNSIGNED_SHORT, pusIndices + iFirst);
                w->iNumIndicesDrawn += pSurface->usNumIndices;
            }
            iFirst += pSurface ? pSurface->usNumIndices : 0;
        }
    }
}

// A render array's smooth meshes, with their vertex light as the colour
static void DrawSmoothMeshes(const TwRenderArray* pArray, const TwElementGroup* pGroup, int iTextured, int bUseVbo)
{
    TwWorld* w = pWorld;
    for (TwList* p = pArray->pMeshListSmooth ? pArray->pMeshListSmooth->pNext : nullptr; p; p = p->pNext) {
        const TwMesh* pMesh = (const TwMesh*)p->pData;
        if (!pMesh || !pMesh->pucVertexLight ||
            (pGroup->bHasHiddenElements && !twWorld_ElementShown(pMesh->pElement)))
            continue;
        int bBuffers = bUseVbo && pMesh->hVboVerts;
        const uint8_t* pucVerts = bBuffers ? nullptr : (const uint8_t*)pMesh->pVerts;
        const uint8_t* pucLight = bBuffers ? pucVerts + pMesh->usNumVerts * sizeof(TwVertex) : pMesh->pucVertexLight;
        glBindBufferARB(GL_ARRAY_BUFFER_ARB, bBuffers ? pMesh->hVboVerts : 0);
        glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, bBuffers ? pMesh->hVboIndices : 0);
        glVertexPointer(3, GL_FLOAT, sizeof(TwVertex), pucVerts + offsetof(TwVertex, vPos));
        glNormalPointer(GL_FLOAT, sizeof(TwVertex), pucVerts + offsetof(TwVertex, vNormal));
        if (iTextured)
            glTexCoordPointer(2, GL_FLOAT, sizeof(TwVertex), pucVerts + offsetof(TwVertex, fU));
        glColorPointer(4, GL_UNSIGNED_BYTE, 0, pucLight);
        glDrawRangeElements(GL_TRIANGLES, 0, pMesh->usNumVerts, pMesh->usNumIndices, GL_UNSIGNED_SHORT,
                            bBuffers ? nullptr : pMesh->pusIndices);
        w->iNumIndicesDrawn += pMesh->usNumIndices;
    }
}

void twWorld_DrawLit(int bUseVbo, int iSceneOption, const TwCamera* pCam, float fSunAzimuth, float fSunAltitude,
                     float fShadow, float fLightLevel, int bDrawEdges, int bTransparency, int bSoftShadows)
{
    TwWorld* w = pWorld;
    if (!w || !w->bLoaded || !w->bLightInitialised)
        return;
    (void)fSunAzimuth, (void)fSunAltitude;
    int bShadow = fShadow != 0 && w->hShadowTexture;
    w->iNumIndicesDrawn = 0;
    glEnable(GL_FRAGMENT_PROGRAM_ARB);
    twWorld_ClipToCut(1);
    if (bShadow) {
        // the programs carry the sun's shadow over the light
        glEnable(GL_VERTEX_PROGRAM_ARB);
        BindShadowMap(bSoftShadows);
    }
    glActiveTexture(GL_TEXTURE3);
    glBindTexture(GL_TEXTURE_1D, w->pExposureTexture ? w->pExposureTexture->hTexture : 0);
    glActiveTexture(GL_TEXTURE1);
    glClientActiveTexture(GL_TEXTURE1);
    glEnableClientState(GL_VERTEX_ARRAY);
    glEnableClientState(GL_NORMAL_ARRAY);
    if (bDrawEdges) {
        glEnable(GL_POLYGON_OFFSET_FILL);
        glPolygonOffset(1, 1);
    }
    int iTextured = 0;
    for (int iPass = 0; iPass < 2 && (iPass == 0 || bTransparency); iPass++) {
        if (iPass == 1)
            glEnable(GL_BLEND);
        int iAlpha = iPass ? TW_FP_ALPHA : 0;
        ArrayWalk walk = {iPass, pCam, nullptr, 0, 0};
        const TwElementGroup* pGroup;
        while (const TwRenderArray* pArray = NextArray(&walk, &pGroup)) {
            int iSun = !bShadow ? 0
                                : TW_FP_SHADOW | (bSoftShadows && NearForSoftShadow(pGroup, pCam) ? TW_FP_FILTERED : 0) |
                                      (fShadow > 0 ? TW_FP_SUN_ADDS : 0) | (iSceneOption ? TW_FP_WHITE_SUN : 0);
            twWorld_SetMaterial(&w->pMaterials[pArray->iMaterial], &iTextured, fLightLevel, 1);
            int iTexture = iTextured ? TW_FP_TEXTURE : 0;
            int iVpTexture = iTextured ? TW_VP_TEXTURE : 0;
            if (pArray->pSurfaceArray2) {
                if (bShadow)
                    BindVertexProgram(TW_VP_MAP_COORDS | TW_VP_SHADOW | iVpTexture);
                BindFragmentProgram(TW_FP_LIGHT_MAP | iTexture | iAlpha | iSun);
                glClientActiveTexture(GL_TEXTURE0);
                glEnableClientState(GL_TEXTURE_COORD_ARRAY);
                glClientActiveTexture(GL_TEXTURE1);
                DrawLightmaps(pArray->pSurfaceArray2, pGroup, iTextured, bUseVbo);
                glClientActiveTexture(GL_TEXTURE0);
                glDisableClientState(GL_TEXTURE_COORD_ARRAY);
                glClientActiveTexture(GL_TEXTURE1);
            }
            if (pArray->pMeshListSmooth) {
                if (bShadow)
                    BindVertexProgram(TW_VP_VERTEX_COLOR | TW_VP_SHADOW | iVpTexture);
                BindFragmentProgram(TW_FP_VERTEX_LIGHT | iTexture | iAlpha | iSun);
                glEnableClientState(GL_COLOR_ARRAY);
                DrawSmoothMeshes(pArray, pGroup, iTextured, bUseVbo);
                glDisableClientState(GL_COLOR_ARRAY);
            }
        }
    }
    EndPasses(iTextured);
    twWorld_ClipToCut(0);
    glDisableClientState(GL_NORMAL_ARRAY);
    glDisable(GL_FRAGMENT_PROGRAM_ARB);
    glDisable(GL_VERTEX_PROGRAM_ARB);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, 0);
    glClientActiveTexture(GL_TEXTURE0);
    FinishDraw(bDrawEdges);
}
