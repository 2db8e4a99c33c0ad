// The visibility sweep: each frame one quarter of a small ID picture, in which every element
// group's wire boxes carry its number as colour behind the occluders, is drawn and read
// back; each number found stamps its group as seen. Four frames make the whole picture.
#include <GL/glew.h>
#include <string.h>

#include "engine/memory.h"
#include "engine/timer.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "platform/window.h"
#include "render/render.h"
#include "world/world.h"

#define SWEEP_QUARTER 256      // side of the quarter drawn each frame
#define SUN_DISC_DISTANCE 10.0f
#define SUN_DISC_HALF 10.0f

// An id as the colour that the frame buffer keeps exactly: its four bytes
static void IdColour(uint32_t uiId)
{
    uint8_t aucColour[4];
    memcpy(aucColour, &uiId, 4);
    glColor4ubv(aucColour);
}

void twWorld_DrawSunDisc(const float* pvPos, float fSkyAngle)
{
    IdColour((uint32_t)pWorld->iNumElementGroups + 1);
    // behind everything
    glDepthRange(1, 1);
    glPushMatrix();
    glTranslatef(pvPos[0], pvPos[1], pvPos[2]);
    glRotatef(fSkyAngle + 180.0f, 0, 1, 0);
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, pWorld->pFlareTex ? pWorld->pFlareTex->hTexture : 0);
    twOgl_DrawFacingSquare(SUN_DISC_HALF, SUN_DISC_DISTANCE);
    glDisable(GL_TEXTURE_2D);
    glPopMatrix();
    glDepthRange(0, 1);
}

void twWorld_DrawGroupIds(void)
{
    TwWorld* w = pWorld;
    glEnableClientState(GL_VERTEX_ARRAY);
    // a wall the cut takes away hides nothing any more
    twWorld_ClipToCut(1);
    // the occluders fill the depth first, so that the boxes behind them fail
    for (int g = 0; g < w->iNumElementGroups; g++) {
        const TwElementGroup* pGroup = &w->pElementGroups[g];
        if (!pGroup->usNumOccluderIndices || pGroup->bHasHiddenElements)
            continue;
        IdColour((uint32_t)g + 1);
        glVertexPointer(3, GL_FLOAT, TW_VIS_VERTEX_BYTES, pGroup->pOccluderVerts);
        glDrawRangeElements(GL_TRIANGLES, 0, pGroup->usNumOccluderVerts, pGroup->usNumOccluderIndices,
                            GL_UNSIGNED_SHORT, pGroup->pusOccluderIndices);
    }
    // a group is found wherever a pixel of its lines passes
    int bBound = 0;
    for (int g = 0; g < w->iNumElementGroups; g++) {
        const TwElementGroup* pGroup = &w->pElementGroups[g];
        if (!pGroup->usNumVisIndices)
            continue;
        IdColour((uint32_t)g + 1);
        if (pGroup->hVboVisVerts) {
            glBindBufferARB(GL_ARRAY_BUFFER_ARB, pGroup->hVboVisVerts);
            glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, pGroup->hVboVisIndices);
            bBound = 1;
            glVertexPointer(3, GL_FLOAT, TW_VIS_VERTEX_BYTES, nullptr);
            glDrawRangeElements(GL_LINES, 0, pGroup->usNumVisVerts, pGroup->usNumVisIndices, GL_UNSIGNED_SHORT,
                                nullptr);
        } else {
            if (bBound) {
                glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
                glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, 0);
                bBound = 0;
            }
            glVertexPointer(3, GL_FLOAT, TW_VIS_VERTEX_BYTES, pGroup->pVisVerts);
            glDrawElements(GL_LINES, pGroup->usNumVisIndices, GL_UNSIGNED_SHORT, pGroup->pusVisIndices);
        }
    }
    if (bBound) {
        glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
        glBindBufferARB(GL_ELEMENT_ARRAY_BUFFER_ARB, 0);
    }
    twWorld_ClipToCut(0);
    glDisableClientState(GL_VERTEX_ARRAY);
}

void twWorld_VisibilitySweep(int bSun, const TwCamera* pCam, float fSkyAngle, int bUseVbo, int bDebugCopy)
{
    (void)bUseVbo; // each group's own buffers decide
    TwWorld* w = pWorld;
    if (!w || !w->bLoaded)
        return;
    uint32_t* puiPixels = (uint32_t*)twMem_GetTempBuffer(SWEEP_QUARTER * SWEEP_QUARTER * 4, 0);
    if (!puiPixels)
        return;
    uint32_t uiFrame = twTimer_GetFrames();
    GLint aiViewport[4];
    glGetIntegerv(GL_VIEWPORT, aiViewport);
    glViewport(0, 0, w->iOcSize, w->iOcSize);
    glClearColor(0, 0, 0, 0);
    glEnable(GL_DEPTH_TEST);
    // ids must reach the frame buffer unmixed
    glDisable(GL_BLEND);
    glDisable(GL_TEXTURE_2D);
    // quarters in the order 0,0  h,h  0,h  h,0
    static const int s_aiQuarter[4][2] = {{0, 0}, {1, 1}, {0, 1}, {1, 0}};
    int iX = s_aiQuarter[w->iOcQuadrant][0] * SWEEP_QUARTER;
    int iY = s_aiQuarter[w->iOcQuadrant][1] * SWEEP_QUARTER;
    glScissor(iX, iY, SWEEP_QUARTER, SWEEP_QUARTER);
    glEnable(GL_SCISSOR_TEST);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glMatrixMode(GL_PROJECTION);
    glLoadMatrixf(pCam->mProjection);
    glMatrixMode(GL_MODELVIEW);
    glLoadMatrixf(pCam->mView);
    if (bSun)
        twWorld_DrawSunDisc(pCam->vPos, fSkyAngle);
    twWorld_DrawGroupIds();
    glDisable(GL_SCISSOR_TEST);
    glReadPixels(iX, iY, SWEEP_QUARTER, SWEEP_QUARTER, GL_RGBA, GL_UNSIGNED_BYTE, puiPixels);
    glViewport(aiViewport[0], aiViewport[1], aiViewport[2], aiViewport[3]);
    if (bDebugCopy && w->pOcTex) {
        // the quarter fills a quarter of what the texture takes, the rest comes from the temp
        // buffer behind it: the debug view shows what it gets
        glBindTexture(GL_TEXTURE_2D, w->pOcTex->hTexture);
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, w->iOcSize, w->iOcSize, GL_RGBA, GL_UNSIGNED_BYTE, puiPixels);
    }
    // without alpha bits the frame buffer reads alpha as full, which no id has
    uint32_t uiMask = twWindow_HasAlpha() ? 0xFFFFFFFFu : 0x00FFFFFFu;
    uint32_t uiGroups = (uint32_t)w->iNumElementGroups;
    for (int i = 0; i < SWEEP_QUARTER * SWEEP_QUARTER; i++) {
        uint32_t uiPixel = puiPixels[i] & uiMask;
        if (!uiPixel)
            continue;
        uint32_t uiIndex = uiPixel - 1;
        if (uiIndex < uiGroups) {
            w->pElementGroups[uiIndex].uiVisibleFrame = uiFrame;
        } else if (bSun && uiIndex == uiGroups) {
            w->uiSkySeenFrame = uiFrame;
            w->iSkyPixelsCounting++;
        }
    }
    w->uiVisibleFrame = uiFrame;
    if (++w->iOcQuadrant == 4) {
        w->iSkyPixels = w->iSkyPixelsCounting;
        w->iSkyPixelsCounting = 0;
        w->iOcQuadrant = 0;
    }
}
