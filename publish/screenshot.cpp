// The view as a picture: a screenshot of the finished frame, as a PNG (or a BMP, the user's
// choice) in the user's Screenshots folder, or beside the program when that can't be
// written, and the view alone at a multiple of the window's size, smoothed as the window is.
#include <GL/glew.h>
#include <stdio.h>
#include <string.h>

#include "engine/engine.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/timer.h"
#include "interface/gallery.h"
#include "navigation/camera.h"
#include "platform/image.h"
#include "platform/ogl.h"
#include "platform/window.h"

// Where a shot goes: the user's Screenshots folder, and beside the program as the fallback.
// The date and the frame number keep two shots of one second apart.
void twEngine_ShotPaths(const char* pstrSuffix, const char* pstrExtension, char* pstrPath, char* pstrFallback,
                        size_t uiSize)
{
    char szDate[32];
    twTimer_GetFileDateString(szDate);
    const char* pstrUserDir = twCore_GetUserDir();
    snprintf(pstrPath, uiSize, "%sScreenshots/%s_%u%s%s", pstrUserDir ? pstrUserDir : "", szDate,
             twTimer_GetFrames(), pstrSuffix, pstrExtension);
    snprintf(pstrFallback, uiSize, "%s%s_%u%s%s", twCore_GetDataDir(), szDate, twTimer_GetFrames(), pstrSuffix,
             pstrExtension);
    // a stand-alone copy has no user folder: its shots land beside the program
    if (!pstrUserDir || !pstrUserDir[0])
        pstrPath[0] = 0;
}

int twEngine_Screenshot(void)
{
    char szPath[TW_PATH_SIZE + 64], szFallback[TW_PATH_SIZE + 64];
    int bPng = pEngine->iShotFormat == TW_SHOT_PNG;
    twEngine_ShotPaths("", bPng ? ".png" : ".bmp", szPath, szFallback, sizeof(szPath));
    if (!twOgl_Screenshot(szPath[0] ? szPath : nullptr, szFallback, bPng))
        return 0;
    twLog("twEngine_Screenshot", "Screenshot successfully saved\n");
    return 1;
}

int twEngine_LargeScreenshot(int iFactor)
{
    const char* pstrTag = "twEngine_LargeScreenshot";
    TwEngine* e = pEngine;
    int iWidth = twWindow_GetWidth(), iHeight = twWindow_GetHeight();
    GLint aiMax[2] = {0, 0};
    glGetIntegerv(GL_MAX_VIEWPORT_DIMS, aiMax);
    if (iFactor < 1 || iWidth * iFactor > aiMax[0] || iHeight * iFactor > aiMax[1]) {
        twLogError(pstrTag, "!The picture would be wider than the driver draws (%d x %d)\n", aiMax[0], aiMax[1]);
        return 0;
    }
    int64_t iRow = (int64_t)iWidth * 3, iBigRow = iRow * iFactor;
    uint8_t* pucBig = (uint8_t*)twMem_PlainMalloc((uint64_t)(iBigRow * iHeight * iFactor));
    uint8_t* pucTile = (uint8_t*)twMem_PlainMalloc((uint64_t)(iRow * iHeight));
    TwFbo* pFbo = pucBig && pucTile ? twOgl_CreateFbo("LargeScreenshot", iWidth, iHeight, 1, 0) : nullptr;
    if (pFbo && e->bSmoothEdges)
        twOgl_AddSamples(pFbo, iWidth, iHeight, 4);
    int bPng = e->iShotFormat == TW_SHOT_PNG;
    if (!pFbo) {
        twLogError(pstrTag, "!No memory or frame buffer for %d x %d\n", iWidth * iFactor, iHeight * iFactor);
        twMem_PlainFree(pucBig);
        twMem_PlainFree(pucTile);
        return 0;
    }
    // each tile is the window's piece of one viewport the size of the whole picture, so
    // that sky, model and gradient join across the tiles as one view
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, pFbo->hFbo);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    for (int j = 0; j < iFactor; j++) {
        for (int i = 0; i < iFactor; i++) {
            twOgl_BindSampled(pFbo);
            glViewport(0, 0, iWidth, iHeight);
            glClearColor(e->vClearColor[0], e->vClearColor[1], e->vClearColor[2], e->vClearColor[3]);
            glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
            glViewport(-i * iWidth, -j * iHeight, iWidth * iFactor, iHeight * iFactor);
            glEnable(GL_DEPTH_TEST);
            twEngine_DrawView(pCam, iWidth * iFactor, iHeight * iFactor);
            twOgl_ResolveSamples(pFbo);
            glReadPixels(0, 0, iWidth, iHeight, bPng ? GL_RGB : GL_BGR, GL_UNSIGNED_BYTE, pucTile);
            for (int y = 0; y < iHeight; y++)
                memcpy(pucBig + (int64_t)(j * iHeight + y) * iBigRow + i * iRow, pucTile + y * iRow, (size_t)iRow);
        }
    }
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    glViewport(0, 0, iWidth, iHeight);
    twOgl_FreeFbo(pFbo);
    twMem_PlainFree(pucTile);
    char szSuffix[16], szPath[TW_PATH_SIZE + 64], szFallback[TW_PATH_SIZE + 64];
    snprintf(szSuffix, sizeof(szSuffix), "_x%d", iFactor);
    twEngine_ShotPaths(szSuffix, bPng ? ".png" : ".bmp", szPath, szFallback, sizeof(szPath));
    int bOk = (szPath[0] && twImage_WriteShot(szPath, iWidth * iFactor, iHeight * iFactor, pucBig, bPng)) ||
              twImage_WriteShot(szFallback, iWidth * iFactor, iHeight * iFactor, pucBig, bPng);
    twMem_PlainFree(pucBig);
    // the time the picture took must not reach the next frame as a jump
    twTimer_Update();
    if (!bOk) {
        twLogError(pstrTag, bPng ? "!twPng_Write\n" : "!twBmp_Write\n");
        return 0;
    }
    twLog(pstrTag, "Screenshot of %d x %d saved\n", iWidth * iFactor, iHeight * iFactor);
    return 1;
}

// ---------------------------------------------------------------------------------------------
// The gallery's picture
// ---------------------------------------------------------------------------------------------

// The stock picture of an empty gallery, back on the preview texture
static int StockPreview(TwTexture* pTexture, int iWidth, int iHeight)
{
    const char* pstrTag = "UpdateGallery";
    FILE* pFile = twCore_GetResource("Gallery.tga", nullptr);
    if (!pFile) {
        twLogError(pstrTag, "!twCore_GetResource : Gallery\n");
        return 0;
    }
    int iFileWidth = 0, iFileHeight = 0, iChannels = 0;
    uint8_t* pucBuffer = (uint8_t*)twMem_GetTempBuffer(iWidth * iHeight * 4, 0);
    int bOk = pucBuffer && twTga_ReadHeader(pFile, &iFileWidth, &iFileHeight, &iChannels);
    // only a picture of the preview's own size and kind can take its place
    if (bOk && (iFileWidth != iWidth || iFileHeight != iHeight || iChannels != 4)) {
        twLogError(pstrTag, "!Gallery.tga is %d x %d x %d, not %d x %d x 4\n", iFileWidth, iFileHeight, iChannels,
                   iWidth, iHeight);
        bOk = 0;
    } else if (!pucBuffer) {
        twLogError(pstrTag, "!twMem_GetTempBuffer\n");
    }
    if (bOk)
        bOk = twTga_ReadData(pFile, iWidth * iHeight * 4, pucBuffer);
    fclose(pFile);
    if (!bOk)
        return 0;
    glBindTexture(GL_TEXTURE_2D, pTexture->hTexture);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, iWidth, iHeight, GL_RGBA, GL_UNSIGNED_BYTE, pucBuffer);
    return 1;
}

int twEngine_UpdateGallery(TwTexture* pTexture)
{
    const char* pstrTag = "UpdateGallery";
    if (!pTexture)
        return 0;
    int iWidth = pTexture->iWidth, iHeight = pTexture->iHeight;
    TwCamera cam;
    memcpy(&cam, pCam, sizeof(cam));
    if (!twGallery_ApplyToCamera(&cam))
        return StockPreview(pTexture, iWidth, iHeight);
    // drawn at twice the size and reduced, or at its own size where the window is smaller
    int iScale = twWindow_GetWidth() >= 2 * iWidth && twWindow_GetHeight() >= 2 * iHeight ? 2 : 1;
    if (twWindow_GetWidth() < iWidth || twWindow_GetHeight() < iHeight) {
        twLogError(pstrTag, "!The window is smaller than the preview\n");
        return 0;
    }
    int iDrawW = iWidth * iScale, iDrawH = iHeight * iScale;
    uint8_t* pucBuffer = (uint8_t*)twMem_GetTempBuffer(iWidth * iHeight * 4 + iDrawW * iDrawH * 4, 0);
    if (!pucBuffer) {
        twLogError(pstrTag, "!twMem_GetTempBuffer\n");
        return 0;
    }
    // the copy stands still where the item put it: no step, no collision
    cam.fForward = cam.fStrafe = cam.fVertical = cam.fImpulse = cam.fDrift = cam.fSpin = 0;
    cam.fAspect = (float)iWidth / (float)iHeight;
    cam.fInvAspect = 1.0f / cam.fAspect;
    twCamera_Update(&cam, 0);
    GLint aiViewport[4];
    glGetIntegerv(GL_VIEWPORT, aiViewport);
    twEngine_DrawViewAlone(&cam, iDrawW, iDrawH);
    uint8_t* pucFull = pucBuffer + iWidth * iHeight * 4;
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, iDrawW, iDrawH, GL_RGBA, GL_UNSIGNED_BYTE, iScale == 2 ? pucFull : pucBuffer);
    int bOk = iScale == 1 || twCore_ScaleImage(4, iDrawW, iDrawH, pucFull, iWidth, iHeight, pucBuffer, 1);
    if (bOk) {
        // the picture is opaque, whatever alpha the model's materials wrote: the panel blends it
        for (int i = 3; i < iWidth * iHeight * 4; i += 4)
            pucBuffer[i] = 255;
        glBindTexture(GL_TEXTURE_2D, pTexture->hTexture);
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, iWidth, iHeight, GL_RGBA, GL_UNSIGNED_BYTE, pucBuffer);
    }
    glViewport(aiViewport[0], aiViewport[1], aiViewport[2], aiViewport[3]);
    // the time the picture took must not reach the next frame as a jump
    twTimer_Update();
    return bOk;
}
