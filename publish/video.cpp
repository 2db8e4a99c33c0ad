// A clip of the gallery as a video: one frame of the view alone every thirtieth of a second
// of the clip, drawn as the main loop goes round (so the window shows the clip as it is
// written) into numbered PNG pictures, then an MP4 made of them by ffmpeg when it is on the
// PATH. Everything is written under a ".part" name and named only when complete; stopped,
// nothing of it is kept.
#include <GL/glew.h>
#include <stdio.h>
#include <string.h>

#include "engine/engine.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "engine/timer.h"
#include "interface/gallery.h"
#include "navigation/camera.h"
#include "platform/image.h"
#include "platform/ogl.h"
#include "platform/window.h"

#define TAG "twEngine_Video"
#define VIDEO_FPS 30
#define VIDEO_FRAME_NAME "%s/frame_%05d.png"
#define VIDEO_FFMPEG_OUTPUT "ffmpeg.txt"

enum { VIDEO_OFF, VIDEO_FRAMES, VIDEO_ENCODING };

static struct {
    int iState;
    const TwGalleryItem* pItem;   // the clip; the gallery takes no commands while a video is saved
    int iFrame, iNumFrames;       // frames written, and all of them
    int iPid;                     // ffmpeg, while it runs
    float fEncodeTime;
    TwFbo* pFbo;
    uint8_t* pucPixels;
    TwCamera camSaved;            // where the walker stood: he is put back there after
    char szBase[TW_PATH_SIZE + 64]; // the folder of frames when done; the MP4 adds ".mp4"
    char szFolder[TW_PATH_SIZE + 80];
    char szMp4Part[TW_PATH_SIZE + 80];
    char szStatus[256];
} s_video;

int twEngine_IsVideoRunning(void) { return s_video.iState != VIDEO_OFF; }
const char* twEngine_GetVideoStatus(void) { return s_video.szStatus; }

static void FramePath(int iFrame, char* pstrOut, size_t uiSize)
{
    snprintf(pstrOut, uiSize, VIDEO_FRAME_NAME, s_video.szFolder, iFrame + 1);
}

static void OutputPath(char* pstrOut, size_t uiSize)
{
    snprintf(pstrOut, uiSize, "%s/%s", s_video.szFolder, VIDEO_FFMPEG_OUTPUT);
}

// The video's GL things freed, and the walker back where he stood
static void End(void)
{
    if (s_video.pFbo)
        twOgl_FreeFbo(s_video.pFbo);
    twMem_PlainFree(s_video.pucPixels);
    memcpy(pCam, &s_video.camSaved, sizeof(TwCamera));
    s_video.pFbo = nullptr;
    s_video.pucPixels = nullptr;
    s_video.iState = VIDEO_OFF;
    s_video.pItem = nullptr;
    // the time the video took must not reach the next frame as a jump
    twTimer_Update();
}

void twEngine_StopVideo(void)
{
    if (s_video.iState == VIDEO_OFF)
        return;
    if (s_video.iPid)
        twWindow_StopProgram(s_video.iPid);
    s_video.iPid = 0;
    char szPath[TW_PATH_SIZE + 128];
    for (int i = 0; i < s_video.iFrame; i++) {
        FramePath(i, szPath, sizeof(szPath));
        twWindow_DeleteFile(szPath);
    }
    OutputPath(szPath, sizeof(szPath));
    twWindow_DeleteFile(szPath);
    twWindow_DeleteFile(s_video.szMp4Part);
    twWindow_RemoveDirectory(s_video.szFolder);
    twLog(TAG, "The video was stopped after %d of %d frames: nothing of it is kept\n", s_video.iFrame,
          s_video.iNumFrames);
    End();
}

int twEngine_StartVideo(void)
{
    TwGalleryItem* pItem = pGallery ? pGallery->pSelected : nullptr;
    float fSeconds = twGallery_ClipSeconds(pItem);
    if (s_video.iState != VIDEO_OFF || fSeconds < 0) {
        twLogError(TAG, "!The selected item is no clip\n");
        return 0;
    }
    int iWidth = twWindow_GetWidth(), iHeight = twWindow_GetHeight();
    memset(&s_video, 0, sizeof(s_video));
    char szFallback[sizeof(s_video.szBase)];
    twEngine_ShotPaths("_video", "", s_video.szBase, szFallback, sizeof(s_video.szBase));
    if (!s_video.szBase[0]) // a stand-alone copy has no user folder: its video lands beside it
        memcpy(s_video.szBase, szFallback, sizeof(szFallback));
    snprintf(s_video.szFolder, sizeof(s_video.szFolder), "%s.part", s_video.szBase);
    snprintf(s_video.szMp4Part, sizeof(s_video.szMp4Part), "%s.mp4.part", s_video.szBase);
    twWindow_CreateDirectory(s_video.szFolder);
    s_video.pucPixels = (uint8_t*)twMem_PlainMalloc((uint64_t)iWidth * iHeight * 3);
    s_video.pFbo = s_video.pucPixels ? twOgl_CreateFbo("Video", iWidth, iHeight, 1, 0) : nullptr;
    if (s_video.pFbo && pEngine->bSmoothEdges)
        twOgl_AddSamples(s_video.pFbo, iWidth, iHeight, 4);
    if (!s_video.pFbo) {
        twLogError(TAG, "!No memory or frame buffer for a video of %d x %d\n", iWidth, iHeight);
        twWindow_RemoveDirectory(s_video.szFolder);
        twMem_PlainFree(s_video.pucPixels);
        s_video.pucPixels = nullptr;
        return 0;
    }
    memcpy(&s_video.camSaved, pCam, sizeof(TwCamera));
    twGallery_StopPlaying();
    s_video.pItem = pItem;
    s_video.iNumFrames = (int)(fSeconds * VIDEO_FPS + 0.001f) + 1;
    s_video.iState = VIDEO_FRAMES;
    twLog(TAG, "Saving '%s' as video: %d frames of %d x %d into '%s'\n", pItem->szName, s_video.iNumFrames, iWidth, iHeight,
          s_video.szFolder);
    return 1;
}

// The folder takes its name, and with it the video its MP4 when there is one
static void Finish(int bMp4)
{
    char szPath[TW_PATH_SIZE + 128];
    OutputPath(szPath, sizeof(szPath));
    twWindow_DeleteFile(szPath);
    if (bMp4) {
        snprintf(szPath, sizeof(szPath), "%s.mp4", s_video.szBase);
        if (!twWindow_RenameFile(s_video.szMp4Part, szPath)) {
            twLogError(TAG, "!rename : '%s'\n", szPath);
            twWindow_DeleteFile(s_video.szMp4Part);
            bMp4 = 0;
        }
    }
    const char* pstrWhere = s_video.szBase;
    if (!twWindow_RenameFile(s_video.szFolder, s_video.szBase)) {
        // a folder of that name is there already: the frames keep the ".part" name, whole
        twLogError(TAG, "!rename : '%s'\n", s_video.szBase);
        pstrWhere = s_video.szFolder;
    }
    twLog(TAG, "The video is %d frames in '%s'%s\n", s_video.iNumFrames, pstrWhere,
          bMp4 ? ", and an MP4 beside them" : "");
    twEngine_FlashNote(0, 0, 1);
    End();
}

// ffmpeg reads the numbered frames at thirty a second; sizes are cut to even numbers,
// which the common pixel format needs
static void StartEncoding(void)
{
    if (!twWindow_FindProgram("ffmpeg")) {
        twLog(TAG, "ffmpeg isn't on the PATH: the video is kept as PNG frames\n");
        Finish(0);
        return;
    }
    char szPattern[TW_PATH_SIZE * 2 + 64], szOutput[TW_PATH_SIZE + 128];
    // a "%" in the folder's name would read as part of the pattern
    int n = 0;
    for (const char* p = s_video.szFolder; *p && n < (int)sizeof(szPattern) - 32; p++) {
        if (*p == '%')
            szPattern[n++] = '%';
        szPattern[n++] = *p;
    }
    snprintf(szPattern + n, sizeof(szPattern) - n, "/frame_%%05d.png");
    OutputPath(szOutput, sizeof(szOutput));
    char szRate[8];
    snprintf(szRate, sizeof(szRate), "%d", VIDEO_FPS);
    const char* const apstrArgs[] = {"ffmpeg", "-nostdin", "-y", "-loglevel", "error", "-framerate", szRate,
                                     "-start_number", "1", "-i", szPattern, "-vf",
                                     "scale=trunc(iw/2)*2:trunc(ih/2)*2", "-pix_fmt", "yuv420p", "-f", "mp4",
                                     s_video.szMp4Part, nullptr};
    s_video.iPid = twWindow_StartProgram(apstrArgs, szOutput, nullptr);
    if (!s_video.iPid) {
        Finish(0);
        return;
    }
    s_video.iState = VIDEO_ENCODING;
    s_video.fEncodeTime = 0;
    twLog(TAG, "Making the MP4 with ffmpeg\n");
}

static void EncodingStep(float fDelta)
{
    int iExit = 0;
    s_video.fEncodeTime += fDelta;
    snprintf(s_video.szStatus, sizeof(s_video.szStatus), "Making the MP4 with ffmpeg: %d s (Esc stops)",
             (int)s_video.fEncodeTime);
    if (!twWindow_PollProgram(s_video.iPid, &iExit))
        return;
    s_video.iPid = 0;
    if (iExit != 0) {
        // its first words say why; the frames are whole and stay
        char szPath[TW_PATH_SIZE + 128], szLine[160];
        OutputPath(szPath, sizeof(szPath));
        twWindow_ReadFirstLine(szPath, szLine, sizeof(szLine));
        twLogError(TAG, "!ffmpeg ended with %d: %s\n", iExit, szLine);
        twWindow_DeleteFile(s_video.szMp4Part);
    }
    Finish(iExit == 0);
}

// One frame of the video: the camera at its time of the clip, the view from there drawn
// alone and written
static void FrameStep(void)
{
    int iWidth = twWindow_GetWidth(), iHeight = twWindow_GetHeight();
    pCam->fForward = pCam->fStrafe = pCam->fVertical = pCam->fImpulse = pCam->fDrift = pCam->fSpin = 0;
    twGallery_PoseClip(s_video.pItem, (float)s_video.iFrame / VIDEO_FPS);
    twEngine_DrawViewInto(s_video.pFbo, pCam, iWidth, iHeight);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, iWidth, iHeight, GL_RGB, GL_UNSIGNED_BYTE, s_video.pucPixels);
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    char szPath[TW_PATH_SIZE + 128];
    FramePath(s_video.iFrame, szPath, sizeof(szPath));
    if (!twPng_Write(szPath, iWidth, iHeight, s_video.pucPixels)) {
        twLogError(TAG, "!twPng_Write : frame %d\n", s_video.iFrame + 1);
        twEngine_ShowMessage(TW_MESSAGE_FAILED, 4.0f, nullptr);
        twEngine_StopVideo();
        return;
    }
    s_video.iFrame++;
    snprintf(s_video.szStatus, sizeof(s_video.szStatus), "Saving '%.100s' as video: frame %d of %d (Esc stops)",
             s_video.pItem->szName, s_video.iFrame, s_video.iNumFrames);
    if (s_video.iFrame == s_video.iNumFrames)
        StartEncoding();
}

int twEngine_VideoStep(float fDelta)
{
    if (s_video.iState == VIDEO_FRAMES)
        FrameStep();
    else if (s_video.iState == VIDEO_ENCODING)
        EncodingStep(fDelta);
    return s_video.iState != VIDEO_OFF;
}

float twEngine_GetVideoProgress(void)
{
    return s_video.iNumFrames > 0 ? (float)s_video.iFrame / (float)s_video.iNumFrames : 0;
}
