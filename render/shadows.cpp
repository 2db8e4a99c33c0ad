// The sun's shadow: one depth texture for the whole model, drawn tile by tile into the
// window's back buffer and copied out, only when the sun moves. The fragment programs
// compare against it and filter it with eight taps.
#include <GL/glew.h>
#include <math.h>
#include <stdio.h>

#include "engine/core.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/vector.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "render/render.h"
#include "world/world.h"

#define TAG "twWorld_InitShadows"
#define SHADOW_FIRST_SIZE 4096
#define SHADOW_LAST_SIZE 2048   // a refusal at this size ends the search
#define SHADOW_TILE_BIG 1024    // tiles of windows this high, else 512
#define SHADOW_TILE_SMALL 512

static void FailShadows(TwWorld* w)
{
    if (w->hShadowTexture)
        glDeleteTextures(1, &w->hShadowTexture);
    w->hShadowTexture = 0;
    glActiveTexture(GL_TEXTURE0);
    w->bShadowsBusy = 0;
}

int twWorld_InitShadows(void)
{
    TwWorld* w = pWorld;
    if (!w)
        return 0;
    if (!GLEW_ARB_shadow) {
        twLogError(TAG, "Shadow textures not supported\n");
        return 0;
    }
    if (!twOgl_HasFragmentPrograms()) {
        twLogError(TAG, "Fragment programs not supported\n");
        return 0;
    }
    if (w->bShadowsBusy)
        return 0;
    w->bShadowsBusy = 1;
    glActiveTexture(GL_TEXTURE2);
    glGenTextures(1, &w->hShadowTexture);
    if (!w->hShadowTexture) {
        twLogError(TAG, "!hShadowTextureGL\n");
        FailShadows(w);
        return 0;
    }
    glBindTexture(GL_TEXTURE_2D, w->hShadowTexture);
    int iSize = twOgl_GetMaxTextureSize() < SHADOW_FIRST_SIZE ? twOgl_GetMaxTextureSize() : SHADOW_FIRST_SIZE;
    for (;;) {
        twLog(TAG, "Trying to create %d x %d\n", iSize, iSize);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_DEPTH_COMPONENT, iSize, iSize, 0, GL_DEPTH_COMPONENT, GL_UNSIGNED_BYTE,
                     nullptr);
        GLint iWidth = 0, iHeight = 0;
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &iWidth);
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &iHeight);
        if (iWidth == iSize && iHeight == iSize)
            break;
        // below the first sizes the search would halve without end: one texel is the last try
        if (iSize == SHADOW_LAST_SIZE || iSize <= 1) {
            twLogError(TAG, "!glTexImage2D : %d x %d\n", iSize, iSize);
            FailShadows(w);
            return 0;
        }
        iSize /= 2;
    }
    GLint iDepthBits = 0, iFormat = 0;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_DEPTH_SIZE, &iDepthBits);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_INTERNAL_FORMAT, &iFormat);
    uint32_t uiBytes = (uint32_t)(iDepthBits / 8) * (uint32_t)iSize * (uint32_t)iSize;
    char szBytes[16];
    twCore_FormatThousands(uiBytes, szBytes);
    twLog(TAG, "Texture successfully generated\n");
    twLog(TAG, "  Size = %d x %d\n", iSize, iSize);
    twLog(TAG, "  Depth bits = %d\n", iDepthBits);
    twLog(TAG, "  Format = %s\n", twOgl_GetFormatName(iFormat));
    twLog(TAG, "  Video memory usage = %s\n", szBytes);
    twOgl_AddTextureMemory((int)uiBytes);
    w->iShadowSize = iSize;
    w->iShadowDepthBits = iDepthBits;
    // the eight taps of the soft edge: the four diagonal half texels, then a texel along the axes
    float a = 0.5f / (float)iSize, b = 1.0f / (float)iSize;
    const float afTaps[8][2] = {{-a, -a}, {a, -a}, {-a, a}, {a, a}, {-b, 0}, {b, 0}, {0, -b}, {0, b}};
    for (int i = 0; i < 8; i++)
        glProgramEnvParameter4fARB(GL_FRAGMENT_PROGRAM_ARB, i, afTaps[i][0], afTaps[i][1], 0, 0);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP);
    glActiveTexture(GL_TEXTURE0);
    w->bShadowsBusy = 0;
    w->bShadowsReady = 1;
    return 1;
}

int twWorld_ShadowsReady(void) { return pWorld && pWorld->bShadowsReady; }

void twWorld_FreeShadows(void)
{
    TwWorld* w = pWorld;
    if (!w || !w->hShadowTexture)
        return;
    glDeleteTextures(1, &w->hShadowTexture);
    twOgl_AddTextureMemory(-(w->iShadowDepthBits / 8) * w->iShadowSize * w->iShadowSize);
    w->hShadowTexture = 0;
    w->bShadowsReady = 0;
}

void twWorld_UpdateShadowMatrices(const TwCamera* pSunCam)
{
    float s = 0.5f / (float)(pWorld->iShadowSize > 0 ? pWorld->iShadowSize : 1);
    // the bias into texture space, then four copies moved half a texel along the diagonals
    const float afShifts[5][2] = {{0, 0}, {-s, -s}, {s, -s}, {-s, s}, {s, s}};
    for (int m = 0; m < 5; m++) {
        glMatrixMode(GL_MATRIX3_ARB + m);
        glLoadIdentity();
        glTranslatef(0.5f + afShifts[m][0], 0.5f + afShifts[m][1], 0.5f);
        glScalef(0.5f, 0.5f, 0.5f);
        glMultMatrixf(pSunCam->mProjection);
        glMultMatrixf(pSunCam->mView);
    }
    glMatrixMode(GL_MODELVIEW);
    const float* d = pSunCam->vOrthoDir;
    const float* e = pSunCam->vOrthoEyePos;
    glProgramEnvParameter4fARB(GL_VERTEX_PROGRAM_ARB, 1, d[0], d[1], d[2], -(e[0] * d[0] + e[1] * d[1] + e[2] * d[2]));
    float fDist = 2 * pSunCam->fOrthoDist;
    float fInv = fDist != 0 ? 1.0f / fDist : 0;
    glProgramEnvParameter4fARB(GL_VERTEX_PROGRAM_ARB, 2, fDist, fInv, fDist * fDist, fInv * fInv);
}

int twWorld_RenderShadowMap(const TwCamera* pSunCam, int bUseVbo, int bUnused)
{
    (void)bUnused;
    TwWorld* w = pWorld;
    if (!w || !w->bLoaded || !w->hShadowTexture)
        return 0;
    int iTile = w->iHeight >= SHADOW_TILE_BIG ? SHADOW_TILE_BIG : SHADOW_TILE_SMALL;
    // a tile must fit the window it is drawn in: a small window takes smaller tiles
    while (iTile > 1 && (iTile > w->iWidth || iTile > w->iHeight))
        iTile /= 2;
    if (w->iShadowSize < iTile)
        iTile = w->iShadowSize;
    int n = w->iShadowSize / iTile;
    // each tile draws only the groups that reach into it: where a group lies on the map,
    // in the sun's clip space
    uint8_t* pucGroups = (uint8_t*)twMem_PlainMalloc((uint64_t)w->iNumElementGroups + 1);
    float(*pfExtents)[4] = (float(*)[4])twMem_PlainMalloc(sizeof(float) * 4 * ((uint64_t)w->iNumElementGroups + 1));
    if (pfExtents) {
        const float* V = pSunCam->mView;
        const float* P = pSunCam->mProjection;
        for (int g = 0; g < w->iNumElementGroups; g++) {
            const TwElementGroup* pGroup = &w->pElementGroups[g];
            const float* h = pGroup->vHalfSize;
            float afCentre[4] = {pGroup->vCentre[0], pGroup->vCentre[1], pGroup->vCentre[2], 1}, afEye[4];
            twMat_MulVec4(V, afCentre, afEye);
            for (int a = 0; a < 2; a++) {
                float fCentre = afEye[a];
                float fReach = fabsf(V[a]) * h[0] + fabsf(V[4 + a]) * h[1] + fabsf(V[8 + a]) * h[2];
                float fScale = a == 0 ? P[0] : P[5], fShift = a == 0 ? P[12] : P[13];
                pfExtents[g][2 * a] = fScale * fCentre + fShift - fabsf(fScale) * fReach;
                pfExtents[g][2 * a + 1] = fScale * fCentre + fShift + fabsf(fScale) * fReach;
            }
        }
    }
    GLint aiViewport[4];
    glGetIntegerv(GL_VIEWPORT, aiViewport);
    glColorMask(GL_FALSE, GL_FALSE, GL_FALSE, GL_FALSE);
    glViewport(0, 0, iTile, iTile);
    glEnable(GL_POLYGON_OFFSET_FILL);
    glPolygonOffset(2.1f, 4);
    // the map keeps the sides turned away from the sun: a solid's lit side is then never
    // compared against itself (no acne), and faces that overlap inside a solid, as IFC
    // bodies made of several pieces have, cannot darken its outside
    GLboolean bCull = glIsEnabled(GL_CULL_FACE);
    glEnable(GL_CULL_FACE);
    glCullFace(GL_FRONT);
    glEnable(GL_VERTEX_PROGRAM_ARB);
    glBindProgramARB(GL_VERTEX_PROGRAM_ARB, w->hVpWriteDepth);
    w->iCurrentVp = -1;
    for (int r = 0; r < n; r++) {
        for (int c = 0; c < n; c++) {
            glClear(GL_DEPTH_BUFFER_BIT);
            // the whole viewport shows this tile alone
            glMatrixMode(GL_PROJECTION);
            glLoadIdentity();
            glTranslatef((float)(n - 1 - 2 * c), (float)(n - 1 - 2 * r), 0);
            glScalef((float)n, (float)n, 1);
            glMultMatrixf(pSunCam->mProjection);
            glMatrixMode(GL_MODELVIEW);
            glLoadMatrixf(pSunCam->mView);
            // the whole tile: a line left out at an inner seam kept the clear depth, and drew
            // a line of sun across every shadow the seam crossed
            glScissor(0, 0, iTile, iTile);
            glEnable(GL_SCISSOR_TEST);
            if (pucGroups && pfExtents) {
                // a margin of a texel: the driver's clipping can never see more than this
                float fMargin = 2.0f / (float)w->iShadowSize;
                float fX0 = -1 + 2.0f * c / n - fMargin, fX1 = -1 + 2.0f * (c + 1) / n + fMargin;
                float fY0 = -1 + 2.0f * r / n - fMargin, fY1 = -1 + 2.0f * (r + 1) / n + fMargin;
                for (int g = 0; g < w->iNumElementGroups; g++)
                    pucGroups[g] = pfExtents[g][1] >= fX0 && pfExtents[g][0] <= fX1 && pfExtents[g][3] >= fY0 &&
                                   pfExtents[g][2] <= fY1;
            }
            twWorld_DrawDepthOnly(bUseVbo, pfExtents ? pucGroups : nullptr);
            glDisable(GL_SCISSOR_TEST);
            glActiveTexture(GL_TEXTURE2);
            glBindTexture(GL_TEXTURE_2D, w->hShadowTexture);
            glCopyTexSubImage2D(GL_TEXTURE_2D, 0, c * iTile, r * iTile, 0, 0, iTile, iTile);
            glActiveTexture(GL_TEXTURE0);
        }
    }
    twMem_PlainFree(pucGroups);
    twMem_PlainFree(pfExtents);
    glDisable(GL_VERTEX_PROGRAM_ARB);
    glDisable(GL_POLYGON_OFFSET_FILL);
    glCullFace(GL_BACK);
    if (!bCull)
        glDisable(GL_CULL_FACE);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glViewport(aiViewport[0], aiViewport[1], aiViewport[2], aiViewport[3]);
    return 1;
}

// A point in the sky along the sky's angle, on the screen: the glow grows with the share
// of the sun's disc that the last sweeps saw
void twWorld_DrawFlare(const TwCamera* pCam, int iWidth, int iHeight, float fSkyAngle)
{
    TwWorld* w = pWorld;
    if (!w || !w->bLoaded || !w->pFlareTex2 || w->uiSkySeenFrame + TW_SWEEP_CYCLE < w->uiVisibleFrame)
        return;
    float fAngle = (180.0f - fSkyAngle) * 0.017453f;
    float afSun[4] = {pCam->vPos[0] - 10.0f * sinf(fAngle), pCam->vPos[1] + 5.1f, pCam->vPos[2] - 10.0f * cosf(fAngle),
                      1};
    float afEye[4], afClip[4];
    twMat_MulVec4(pCam->mView, afSun, afEye);
    twMat_MulVec4(pCam->mProjection, afEye, afClip);
    if (afClip[3] <= 0)
        return; // behind the eye
    float x = (afClip[0] / afClip[3] * 0.5f + 0.5f) * (float)iWidth;
    float y = (afClip[1] / afClip[3] * 0.5f + 0.5f) * (float)iHeight;
    float fVis = (float)(w->iSkyPixels < 1000 ? w->iSkyPixels : 1000) / 1000.0f;
    int iHalf = 600 - (int)(-300.0f * fVis);
    glColor3f(fVis, fVis, fVis);
    glEnable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    glBindTexture(GL_TEXTURE_2D, w->pFlareTex2->hTexture);
    glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_COLOR);
    twOgl_DrawRect((int)x - iHalf, (int)y - iHalf, 2 * iHalf, 2 * iHalf, 0);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
}
