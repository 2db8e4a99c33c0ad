#include <GL/glew.h>
#include <math.h>
#include <string.h>

#include "engine/engine.h"
#include "engine/log.h"
#include "engine/model_link.h"
#include "engine/strings.h"
#include "engine/timer.h"
#include "interface/dev.h"
#include "interface/gallery.h"
#include "interface/interf.h"
#include "interface/measure.h"
#include "navigation/camera.h"
#include "platform/input.h"
#include "platform/ogl.h"
#include "platform/window.h"
#include "render/render.h"
#include "render/skybox.h"
#include "world/world.h"

#define SLIDE_FOV_ADD 14.0f      // degrees the view widens while the panel slides out
#define NOTE_HALF_WIDTH 300      // the shutter flash, pixels about the window's centre
#define NOTE_HALF_HEIGHT 200
#define NOTE_SECONDS 0.6f
#define BLINK_PERIOD 0.6f        // seconds of the recording dot's blink, shown for the first 0.4
#define BLINK_SHOWN 0.4f
#define WALKER_MARK_SHARE 0.04f // the walker's arrow on the top view, of the map's half width
#define SHADOW_VALUE_OFF 0.02f   // a shadow value this close to 0 casts nothing

#define MESSAGE_WIDTH 460        // the centre message and the hints, pixels
#define MESSAGE_TEXT_WIDTH 720   // the widest text a line draws (twOgl_SetTextMaxWidth)
#define HINT_FIRST 420           // the hint panel's four lines
#define STR_MESSAGE_HEADING 100

enum TwStereo { STEREO_OFF = 0, STEREO_MASKED = 1, STEREO_SPLIT = 2, STEREO_QUAD = 3 };

// The two eye buffers of quad-buffered stereo, each to its back buffer, shifted apart
static void PresentStereo(void)
{
    TwEngine* e = pEngine;
    int iWidth = twWindow_GetWidth(), iHeight = twWindow_GetHeight();
    float fCut = (float)e->iStereoExtraWidth / (float)(iWidth + e->iStereoExtraWidth);
    glColor4f(1, 1, 1, 1);
    glEnable(GL_TEXTURE_2D);
    for (int iEye = 0; iEye < 2; iEye++) {
        TwFbo* pFbo = iEye ? e->pFboR : e->pFboL;
        glDrawBuffer(iEye ? GL_BACK_RIGHT : GL_BACK_LEFT);
        glBindTexture(GL_TEXTURE_2D, pFbo->pTexture->hTexture);
        float u0 = iEye ? 0 : fCut, u1 = iEye ? 1 - fCut : 1;
        glBegin(GL_QUADS);
        glTexCoord2f(u0, 0);
        glVertex2i(0, 0);
        glTexCoord2f(u1, 0);
        glVertex2i(iWidth, 0);
        glTexCoord2f(u1, 1);
        glVertex2i(iWidth, iHeight);
        glTexCoord2f(u0, 1);
        glVertex2i(0, iHeight);
        glEnd();
    }
    glDisable(GL_TEXTURE_2D);
    glDrawBuffer(GL_BACK);
}

static void LoadMatrices(const float* pmProjection, const float* pmView)
{
    glMatrixMode(GL_PROJECTION);
    glLoadMatrixf(pmProjection);
    glMatrixMode(GL_MODELVIEW);
    glLoadMatrixf(pmView);
}

static void WindowPixels(int iWidth, int iHeight)
{
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glOrtho(0, iWidth, 0, iHeight, 1, -1);
}

// The building in the applied render mode
static void DrawModel(const TwCamera* pCamera)
{
    TwEngine* e = pEngine;
    float fShadow = 0;
    if (e->bSunShadows && (e->fSunShadow < -SHADOW_VALUE_OFF || e->fSunShadow > SHADOW_VALUE_OFF))
        fShadow = e->fSunShadow;
    if (e->iDrawMode == TW_MODE_LIT) {
        twWorld_DrawLit(e->bUseVbo, e->iSceneOption, pCamera, (float)e->iSunAzimuth, (float)e->iSunAltitude, fShadow,
                        e->fLightLevel, e->bDrawEdges, e->bTransparency, e->bSoftShadows);
        return;
    }
    twWorld_Draw(e->bUseVbo, e->iDrawMode, e->iSceneOption, pCamera, (float)e->iSunAzimuth, (float)e->iSunAltitude,
                 fShadow, e->fLightLevel, e->fLightGain, e->bDrawEdges, e->bTransparency, e->bSoftShadows);
}

// Red while recording, green while paused, with the blinking dot over the pause bars and
// the line that tells what a click does
static void DrawRecording(int iWidth, int iHeight)
{
    TwEngine* e = pEngine;
    static float s_fBlink = 0;
    s_fBlink += twTimer_GetDelta();
    if (s_fBlink >= BLINK_PERIOD)
        s_fBlink = 0;
    int bPaused = twGallery_IsRecPaused();
    int x = iWidth / 2 - NOTE_HALF_WIDTH, y = iHeight / 2 - NOTE_HALF_HEIGHT;
    glColor3f(bPaused ? 0.0f : 1.0f, bPaused ? 1.0f : 0.0f, 0);
    twOgl_DrawRect(x, y, 2 * NOTE_HALF_WIDTH, 2 * NOTE_HALF_HEIGHT, 1);
    glColor4f(1, 1, 1, 1);
    if (e->pPauseTexture)
        twOgl_DrawImage(iWidth / 2 - 260, iHeight / 2 - 192, 0, 0, e->pPauseTexture, 1);
    if (!bPaused && s_fBlink < BLINK_SHOWN && e->pRecTexture)
        twOgl_DrawImage(iWidth / 2 - 260, iHeight / 2 - 192, 0, 0, e->pRecTexture, 1);
    twOgl_DrawText(0, x + 8, y - 18, twGallery_GetStatus());
}

// A long action's line and a bar of how far it is, at the foot of the window; below 0 the
// share isn't known, and a block sweeps to and fro
void twEngine_DrawProgressBar(int iWidth, float fFraction, const char* pstrText)
{
    int x = (iWidth - MESSAGE_WIDTH) / 2, y = 24, iBar = MESSAGE_WIDTH - 24;
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glColor4f(0, 0, 0, 0.7f);
    twOgl_DrawRect(x, y, MESSAGE_WIDTH, 40, 0);
    glDisable(GL_BLEND);
    glColor4f(0.3f, 0.5f, 1.0f, 1);
    if (fFraction < 0) {
        double dPhase = fmod(twTimer_Seconds(), 2.0);
        int iAt = (int)((dPhase < 1 ? dPhase : 2 - dPhase) * (iBar - iBar / 5));
        twOgl_DrawRect(x + 12 + iAt, y + 8, iBar / 5, 6, 0);
    } else {
        twOgl_DrawRect(x + 12, y + 8, (int)(iBar * (fFraction < 1 ? fFraction : 1)), 6, 0);
    }
    glColor4f(1, 1, 1, 1);
    twOgl_DrawText(0, x + 12, y + 20, pstrText);
}

// Where the walker is, on the top view: an arrow at his place, pointing where he looks,
// over everything, its size a share of the map's width
static void DrawWalkerMark(void)
{
    TwCamera* c = pCam;
    float afDir[3];
    twCamera_DirFromAngles(0, c->fYaw, afDir);
    float s = c->fOrthoHalfWidth * WALKER_MARK_SHARE;
    float x = c->vPos[0], y = c->vPos[1], z = c->vPos[2];
    float fx = afDir[0] * s, fz = afDir[2] * s, sx = -afDir[2] * s * 0.6f, sz = afDir[0] * s * 0.6f;
    // seen from above or below, whichever way it winds
    GLboolean bCull = glIsEnabled(GL_CULL_FACE);
    glDisable(GL_CULL_FACE);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_LIGHTING);
    // filled red, then outlined in black so that it reads on any ground
    for (int iPass = 0; iPass < 2; iPass++) {
        glColor3f(iPass ? 0.0f : 1.0f, iPass ? 0.0f : 0.15f, iPass ? 0.0f : 0.1f);
        glBegin(iPass ? GL_LINE_LOOP : GL_TRIANGLES);
        glVertex3f(x + fx, y, z + fz);
        glVertex3f(x - fx * 0.6f + sx, y, z - fz * 0.6f + sz);
        glVertex3f(x - fx * 0.6f - sx, y, z - fz * 0.6f - sz);
        glEnd();
    }
    glColor3f(1, 1, 1);
    glEnable(GL_DEPTH_TEST);
    if (bCull)
        glEnable(GL_CULL_FACE);
}

// The background and the building as another camera sees them, into the viewport set
void twEngine_DrawView(const TwCamera* pCamera, int iWidth, int iHeight)
{
    TwEngine* e = pEngine;
    LoadMatrices(pCamera->mProjection, pCamera->mView);
    if (!pCamera->bTopView && e->iSkyMode == 1) {
        twSkybox_Draw(pCamera->vPos, e->bSkyFollowsSun ? (float)e->iSunAzimuthWanted : 0);
    } else if (!pCamera->bTopView && e->iSkyMode == 2) {
        twOgl_DrawBackground(iWidth, iHeight);
        LoadMatrices(pCamera->mProjection, pCamera->mView);
    }
    glClear(GL_DEPTH_BUFFER_BIT);
    DrawModel(pCamera);
}

// The sweep marks the groups the view sees in the frame buffer itself; the picture goes
// through the frame buffer's multisampled twin
void twEngine_DrawViewInto(TwFbo* pFbo, TwCamera* pCamera, int iWidth, int iHeight)
{
    TwEngine* e = pEngine;
    if (pFbo)
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, pFbo->hFbo);
    twWorld_SetCameraRange(pCamera, nullptr, nullptr);
    twCamera_UpdateMatrices(pCamera, 1);
    // the groups this view sees, marked by a whole round of the sweep from it
    for (int i = 0; i < TW_SWEEP_CYCLE; i++)
        twWorld_VisibilitySweep(0, pCamera, 0, e->bUseVbo, 0);
    if (pFbo)
        twOgl_BindSampled(pFbo);
    glViewport(0, 0, iWidth, iHeight);
    glClearColor(e->vClearColor[0], e->vClearColor[1], e->vClearColor[2], e->vClearColor[3]);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glEnable(GL_DEPTH_TEST);
    twEngine_DrawView(pCamera, iWidth, iHeight);
    if (pFbo)
        twOgl_ResolveSamples(pFbo);
}

void twEngine_DrawViewAlone(TwCamera* pCamera, int iWidth, int iHeight)
{
    twEngine_DrawViewInto(nullptr, pCamera, iWidth, iHeight);
}

// A box of text lines in the window's middle, on a dark ground
static void TextBox(int iWidth, int iHeight, const char* const* ppstrLines, int iCount)
{
    // wider for a long line, such as one that names a file
    int iBox = MESSAGE_WIDTH;
    for (int i = 0; i < iCount; i++) {
        int iText = twOgl_GetTextWidth(0, ppstrLines[i]) + 24;
        iText = iText < MESSAGE_TEXT_WIDTH + 24 ? iText : MESSAGE_TEXT_WIDTH + 24;
        iBox = iText > iBox ? (iText < iWidth - 20 ? iText : iWidth - 20) : iBox;
    }
    int x = (iWidth - iBox) / 2, iTop = iHeight / 2 + iCount * 9;
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glColor4f(0, 0, 0, 0.7f);
    twOgl_DrawRect(x, iTop - iCount * 18 - 10, iBox, iCount * 18 + 14, 0);
    glDisable(GL_BLEND);
    glColor4f(1, 1, 1, 1);
    for (int i = 0; i < iCount; i++)
        twOgl_DrawText(0, x + 12, iTop - 16 - i * 18, ppstrLines[i]);
}

static void DrawMessage(int iWidth, int iHeight)
{
    static const int aiSecondLines[6] = {0, 0, 119, 13, 15, 114};
    int iKind = pEngine->iMessageKind;
    const char* apstrLines[2] = {twStrings_Get(STR_MESSAGE_HEADING), "Undefined error 461"};
    if (iKind == 1)
        apstrLines[1] = "File error";
    if (iKind == TW_MESSAGE_TEXT) {
        // a text of its own may say why on a line of its own
        char szText[sizeof(pEngine->szMessageText)];
        snprintf(szText, sizeof(szText), "%s", pEngine->szMessageText);
        char* pstrBreak = strchr(szText, '\n');
        if (pstrBreak)
            *pstrBreak = 0;
        const char* apstrText[3] = {apstrLines[0], szText, pstrBreak ? pstrBreak + 1 : ""};
        TextBox(iWidth, iHeight, apstrText, pstrBreak ? 3 : 2);
        return;
    }
    if (iKind >= 2 && iKind <= 5)
        apstrLines[1] = twStrings_Get(aiSecondLines[iKind]);
    TextBox(iWidth, iHeight, apstrLines, 2);
}

static void DrawHints(int iWidth, int iHeight)
{
    const char* apstrLines[4];
    for (int i = 0; i < 4; i++)
        apstrLines[i] = twStrings_Get(HINT_FIRST + i);
    TextBox(iWidth, iHeight, apstrLines, 4);
}

// The window's multisampled twin, made at the first smooth frame; null where the driver has none
static TwFbo* WindowSamples(int iWidth, int iHeight)
{
    TwEngine* e = pEngine;
    if (!e->pWindowSamples && !e->bWindowSamplesTried) {
        e->bWindowSamplesTried = 1;
        e->pWindowSamples = twOgl_CreateWindowSamples(iWidth, iHeight, 4);
        if (e->pWindowSamples)
            twLog("twEngine_Draw", "Smooth edges with %d samples a pixel\n", e->pWindowSamples->iSamples);
        else
            twLog("twEngine_Draw", "No smooth edges: the driver has no multisampled frame buffers\n");
    }
    return e->pWindowSamples;
}

void twEngine_Draw(void)
{
    TwEngine* e = pEngine;
    // the panels show this frame's draw calls
    if (pWorld)
        pWorld->iNumDrawCalls = 0;
    int iWidth = twWindow_GetWidth(), iHeight = twWindow_GetHeight();
    int bStereo = e->iStereoMode != STEREO_OFF && !pCam->bTopView;
    if (e->iStereoMode == STEREO_QUAD && !e->bStereoBuffers)
        bStereo = 0;
    if (pCam->bTopView || e->bClearColor)
        glClearColor(e->vClearColor[0], e->vClearColor[1], e->vClearColor[2], e->vClearColor[3]);
    if (bStereo && e->iStereoMode == STEREO_SPLIT)
        glEnable(GL_SCISSOR_TEST);
    // the 3D view shrinks while the panel slides out
    int iPanel = (int)(e->iInterfHeight * e->fInterfSlide);
    int iViewY = 0, iViewH = iHeight;
    if (e->fInterfSlide != 0) {
        iViewY = iPanel;
        iViewH = iHeight - iPanel;
        glViewport(0, iViewY, iWidth, iViewH);
        pCam->fFovAdd = e->fInterfSlide * SLIDE_FOV_ADD;
        pCam->fAspect = (float)iWidth / (float)iViewH;
        pCam->fInvAspect = 1.0f / pCam->fAspect;
    }
    GLbitfield uiStencil = twWindow_HasStencil() ? GL_STENCIL_BUFFER_BIT : 0;
    // smooth edges: the view goes to the window's multisampled twin, resolved before the flat
    // overlays; measuring reads the depth under the cross, and stereo has buffers of its own
    TwFbo* pSamples = e->bSmoothEdges && !bStereo && !e->bMeasureMode ? WindowSamples(iWidth, iHeight) : nullptr;
    if (pSamples)
        twOgl_BindSampled(pSamples);
    float fSkyAngle = e->bSkyFollowsSun ? (float)e->iSunAzimuthWanted : 0;
    for (int iEye = 0; iEye < (bStereo ? 2 : 1); iEye++) {
        if (bStereo && e->iStereoMode == STEREO_SPLIT) {
            glViewport(iEye ? iWidth / 2 : 0, iViewY, iWidth / 2, iViewH);
            glScissor(iEye ? iWidth / 2 : 0, iViewY, iWidth / 2, iViewH);
        } else if (bStereo && e->iStereoMode == STEREO_QUAD) {
            glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, (iEye ? e->pFboR : e->pFboL)->hFbo);
        }
        int bClearBoth;
        if (!bStereo)
            bClearBoth = pCam->bTopView || e->bClearColor;
        else if (e->iStereoMode == STEREO_MASKED)
            bClearBoth = iEye == 0 && e->bClearColor;
        else
            bClearBoth = e->bClearColor;
        glClear(GL_DEPTH_BUFFER_BIT | (bClearBoth ? GL_COLOR_BUFFER_BIT : 0) | uiStencil);
        LoadMatrices(pCam->mProjection, pCam->mView);
        if (!pCam->bTopView && e->iSkyMode != 0 && !(bStereo && e->iStereoMode == STEREO_MASKED && iEye == 1)) {
            if (e->iSkyMode == 2) {
                twOgl_DrawBackground(iWidth, iHeight);
                LoadMatrices(pCam->mProjection, pCam->mView);
            } else {
                twSkybox_Draw(pCam->vPos, fSkyAngle);
            }
        }
        if (bStereo) {
            if (e->iStereoMode == STEREO_MASKED)
                glColorMask(iEye == 0, iEye == 1, iEye == 1, GL_TRUE);
            LoadMatrices(pCam->mProjection, iEye ? pCam->mViewRight : pCam->mViewLeft);
        }
        glClear(GL_DEPTH_BUFFER_BIT | (e->bClearColor ? GL_COLOR_BUFFER_BIT : 0));
        twOgl_DrawAxes();
        if (!twDev_HidesWorld()) {
            DrawModel(pCam);
            twWorld_DrawCaps();
            twWorld_DrawGlass();
        } else if (pDev->iSystem == TW_DEV_SYSTEM_PHYSICS)
            twWorld_DrawCollisionView(pCam->vPos);
        if (e->bElementPick) {
            twWorld_DrawPicked(e->iPickedElement, e->iTrackedElement);
        } else if (e->bMeasureMode) {
            twMeasure_Pick(pCam, iWidth / 2, iViewY + iViewH / 2);
            if (twInput_KeyDown(TW_KEY_LSHIFT) || twInput_KeyDown(TW_KEY_RSHIFT))
                twMeasure_Snap(pCam, iWidth / 2, iViewY + iViewH / 2);
            twMeasure_Draw3D();
        }
    }
    if (pCam->bTopView)
        DrawWalkerMark();
    if (bStereo && e->iStereoMode == STEREO_MASKED)
        glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    if (bStereo && e->iStereoMode == STEREO_SPLIT) {
        glViewport(0, 0, iWidth, iHeight);
        glDisable(GL_SCISSOR_TEST);
    }
    if (e->fInterfSlide != 0)
        glViewport(0, 0, iWidth, iHeight);

    if (pSamples)
        twOgl_ResolveSamples(pSamples);

    // everything after this is in window pixels with the origin at the bottom left
    glDisable(GL_DEPTH_TEST);
    WindowPixels(iWidth, iHeight);
    if (bStereo && e->iStereoMode == STEREO_QUAD) {
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
        PresentStereo();
    }
    if (e->bDrawFlare)
        twWorld_DrawFlare(pCam, iWidth, iHeight, fSkyAngle);
    // the recording frame, or the shutter flash of a screenshot or a kept view
    if (twGallery_IsRecording())
        DrawRecording(iWidth, iHeight);
    else if (e->fNoteTime > 0) {
        glColor3fv(e->vNoteColor);
        twOgl_DrawRect(iWidth / 2 - NOTE_HALF_WIDTH, iHeight / 2 - NOTE_HALF_HEIGHT, 2 * NOTE_HALF_WIDTH,
                       2 * NOTE_HALF_HEIGHT, 1);
    }
    if (twEngine_IsVideoRunning())
        twEngine_DrawProgressBar(iWidth, twEngine_GetVideoProgress(), twEngine_GetVideoStatus());
    if (twLink_IsExporting())
        twEngine_DrawProgressBar(iWidth, pLink->fFraction, twLink_GetStatus());
    if (e->bDevMode)
        twDev_DrawPanel();
    if (e->bStatistics)
        twDev_DrawStatistics();
    if (e->bInterface)
        twInterf_Draw(twInput_ButtonDown(TW_MOUSE_LEFT), twInput_ButtonPressed(TW_MOUSE_LEFT), e->iMouseDx,
                      e->iMouseDy, e->bShowHints, (1.0f - e->fInterfSlide) * (float)e->iInterfHeight);
    if (e->bElementPick)
        twWorld_DrawPickedText(e->iPickedElement >= 0 ? e->iPickedElement : e->iTrackedElement, e->iUnits, iWidth / 2,
                               iHeight / 2);
    else if (e->bMeasureMode)
        twMeasure_DrawPanel(iWidth / 2, iHeight / 2, e->iUnits);
    // the top view's cross marks where a middle click puts the walker
    if (e->bDevMode || e->bMeasureMode || e->bElementPick || pCam->bTopView)
        twOgl_DrawCrossHair();
    float fDelta = twTimer_GetDelta();
    if (e->fMessageTime > 0) {
        DrawMessage(iWidth, iHeight);
        e->fMessageTime -= fDelta;
        if (e->fMessageTime < 0)
            e->fMessageTime = 0;
    } else if (e->fHintTime > 0) {
        DrawHints(iWidth, iHeight);
        e->fHintTime -= fDelta;
        if (e->fHintTime < 0)
            e->fHintTime = 0;
    }
    // the flying mark, with a dark shadow under it
    if (!pCam->bWalk && e->pPlaneTexture) {
        glColor4f(0, 0, 0, 1);
        twOgl_DrawImage(iWidth - 39, iHeight - 33, 0, 0, e->pPlaneTexture, 1);
        glColor4f(1, 1, 1, 1);
        twOgl_DrawImage(iWidth - 40, iHeight - 32, 0, 0, e->pPlaneTexture, 1);
    }
    glEnable(GL_DEPTH_TEST);
}

void twEngine_FlashNote(float fRed, float fGreen, float fBlue)
{
    pEngine->vNoteColor[0] = fRed;
    pEngine->vNoteColor[1] = fGreen;
    pEngine->vNoteColor[2] = fBlue;
    pEngine->fNoteTime = NOTE_SECONDS;
}
