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
