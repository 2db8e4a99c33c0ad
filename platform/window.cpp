#include "platform/window.h"

#include <GL/glew.h>
#include <GL/glx.h>
#include <SDL2/SDL.h>
#include <SDL2/SDL_syswm.h>
#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include "engine/core.h"
#include "engine/log.h"
#include "engine/memory.h"

extern char** environ;

TwWindow* pWindow = nullptr;

#ifndef GLX_RENDERER_VIDEO_MEMORY_MESA
#define GLX_RENDERER_VIDEO_MEMORY_MESA 0x8187
#endif
#define GL_GPU_MEMORY_INFO_DEDICATED_VIDMEM_NVX 0x9047

// Event kinds that SDL keeps out of its queue. Motion is read as state by the input layer;
// keys, buttons and the wheel are taken out of the queue by the input layer's filter,
// which gathers them; the queue then holds only what the one-per-swap pump handles.
static const uint32_t s_auiIgnoredEvents[] = {SDL_TEXTINPUT, SDL_TEXTEDITING, SDL_MOUSEMOTION};

// Tries one visual: a hidden window of the colour and depth bits, with or without stereo.
static SDL_Window* TryVisual(int iWidth, int iHeight, int bDesktop, int iColorBits, int iDepthBits, int bStereo,
                             int iStencilBits)
{
    SDL_GL_ResetAttributes();
    SDL_GL_SetAttribute(SDL_GL_RED_SIZE, 8);
    SDL_GL_SetAttribute(SDL_GL_GREEN_SIZE, 8);
    SDL_GL_SetAttribute(SDL_GL_BLUE_SIZE, 8);
    SDL_GL_SetAttribute(SDL_GL_ALPHA_SIZE, iColorBits == 32 ? 8 : 0);
    SDL_GL_SetAttribute(SDL_GL_BUFFER_SIZE, iColorBits);
    SDL_GL_SetAttribute(SDL_GL_DEPTH_SIZE, iDepthBits);
    SDL_GL_SetAttribute(SDL_GL_STENCIL_SIZE, iStencilBits);
    SDL_GL_SetAttribute(SDL_GL_DOUBLEBUFFER, 1);
    SDL_GL_SetAttribute(SDL_GL_STEREO, bStereo);
    uint32_t uiFlags = SDL_WINDOW_OPENGL | SDL_WINDOW_HIDDEN;
    if (bDesktop)
        uiFlags |= SDL_WINDOW_FULLSCREEN_DESKTOP;
    else
        uiFlags |= SDL_WINDOW_BORDERLESS;
    // a one-letter caption: the title comes straight after
    return SDL_CreateWindow("A", 0, 0, iWidth, iHeight, uiFlags);
}

// The string table's texts are single bytes of the Windows Latin character set; SDL
// wants UTF-8.
static void Latin1ToUtf8(const char* pstrIn, char* pstrOut, int iOutSize)
{
    int iOut = 0;
    for (const unsigned char* p = (const unsigned char*)pstrIn; *p && iOut < iOutSize - 3; p++) {
        if (*p < 0x80) {
            pstrOut[iOut++] = (char)*p;
        } else {
            pstrOut[iOut++] = (char)(0xC0 | (*p >> 6));
            pstrOut[iOut++] = (char)(0x80 | (*p & 0x3F));
        }
    }
    pstrOut[iOut] = 0;
}

int twWindow_Init(void)
{
    pWindow = (TwWindow*)twMem_Malloc(sizeof(TwWindow), "pWindow");
    if (!pWindow)
        return 0;
    return 1;
}

int twWindow_CreateGLWindow(int iWidth, int iHeight, int bStencil, int iUnused)
{
    (void)iUnused;
    const char* pstrTag = "twWindow_CreateGLWindow";
    if (!pWindow)
        return 0;
    // the desktop must not be minimised when a dialog or another program takes the focus
    SDL_SetHint(SDL_HINT_VIDEO_MINIMIZE_ON_FOCUS_LOSS, "0");
    // a desktop or nothing: SDL's offscreen and console drivers have no screen to show on
    // (a driver named in SDL_VIDEODRIVER still wins)
    SDL_SetHint(SDL_HINT_VIDEODRIVER, "x11,wayland");
    if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
        twLogError(pstrTag, "!SDL_Init : %s\n", SDL_GetError());
        return 0;
    }
    pWindow->bVideoStarted = 1;
    for (uint32_t uiType : s_auiIgnoredEvents)
        SDL_EventState(uiType, SDL_IGNORE);
    SDL_StopTextInput();

    int bDesktop = !iWidth || !iHeight;
    if (bDesktop) {
        SDL_DisplayMode mode;
        if (SDL_GetDesktopDisplayMode(0, &mode) != 0) {
            twLogError(pstrTag, "!SDL_GetDesktopDisplayMode : %s\n", SDL_GetError());
            return 0;
        }
        iWidth = mode.w;
        iHeight = mode.h;
    }
    pWindow->iWidth = iWidth;
    pWindow->iHeight = iHeight;
    pWindow->iHalfWidth = iWidth / 2;
    pWindow->iHalfHeight = iHeight / 2;

    // 32 then 24 colour bits; within each, a 32, 24, then 16-bit depth buffer. Stereo is
    // always asked for first; a display without it gives a plain visual.
    static const int aiColor[2] = {32, 24};
    static const int aiDepth[3] = {32, 24, 16};
    // a stencil asked for is wanted, not needed: without one the visuals are tried again
    int iStencilBits = 0;
    SDL_Window* hWnd = nullptr;
    for (int s = bStencil ? 0 : 1; s < 2 && !hWnd; s++)
        for (int c = 0; c < 2 && !hWnd; c++)
            for (int d = 0; d < 3 && !hWnd; d++)
                for (int bStereo = 1; bStereo >= 0 && !hWnd; bStereo--) {
                    iStencilBits = s == 0 ? 8 : 0;
                    hWnd = TryVisual(iWidth, iHeight, bDesktop, aiColor[c], aiDepth[d], bStereo, iStencilBits);
                    if (hWnd) {
                        pWindow->iColorBits = aiColor[c];
                        pWindow->iDepthBits = aiDepth[d];
                    }
                }
    if (!hWnd) {
        twLogError(pstrTag, "!ChoosePixelFormat\n");
        return 0;
    }
    pWindow->hWnd = hWnd;
    SDL_ShowCursor(SDL_DISABLE);
    SDL_GLContext hRC = SDL_GL_CreateContext(hWnd);
    if (!hRC) {
        twLogError(pstrTag, "!wglCreateContext\n");
        return 0;
    }
    pWindow->hRC = hRC;
    if (SDL_GL_MakeCurrent(hWnd, hRC) != 0) {
        twLogError(pstrTag, "!wglMakeCurrent\n");
        return 0;
    }
    pWindow->iAlphaBits = 8;
    int iGotStencil = 0;
    SDL_GL_GetAttribute(SDL_GL_STENCIL_SIZE, &iGotStencil);
    pWindow->iStencilBits = iStencilBits && iGotStencil > 0 ? iGotStencil : 0;
    int bStereo = 0;
    SDL_GL_GetAttribute(SDL_GL_STEREO, &bStereo);
    pWindow->bQuadBuffer = bStereo ? 1 : 0;
    twWindow_PrintWindowInfo();
    return 1;
}

int twWindow_SetTitle(const char* pstrTitle)
{
    if (!pstrTitle || !pWindow || !pWindow->hWnd)
        return 0;
    char szTitle[512];
    Latin1ToUtf8(pstrTitle, szTitle, sizeof(szTitle));
    SDL_SetWindowTitle(pWindow->hWnd, szTitle);
    return 1;
}

int twWindow_Show(void)
{
    if (!pWindow || !pWindow->hWnd)
        return 0;
    SDL_ShowWindow(pWindow->hWnd);
    SDL_RaiseWindow(pWindow->hWnd);
    SDL_SetWindowInputFocus(pWindow->hWnd);
    return 1;
}

int twWindow_SetOnFocusGained1(TwFocusCallback fn)
{
    if (pWindow)
        pWindow->fnOnFocusGained1 = fn;
    return 1;
}

int twWindow_SetOnFocusGained2(TwFocusCallback fn)
{
    if (pWindow)
        pWindow->fnOnFocusGained2 = fn;
    return 1;
}

int twWindow_Free(void)
{
    if (!pWindow)
        return 1;
    if (pWindow->bVideoStarted) {
        SDL_SetRelativeMouseMode(SDL_FALSE);
        SDL_ShowCursor(SDL_ENABLE);
    }
    // the GL context and the display connection are left to the end of the process:
    // closing them unloads the driver while it still holds its own allocations
    if (pWindow->hWnd)
        SDL_DestroyWindow(pWindow->hWnd);
    twMem_Free(pWindow);
    pWindow = nullptr;
    return 1;
}

#ifdef AMB_TEST_HOOKS
// Only in test builds: SIGUSR1 drops the file named in the file that AMB_TEST_DROP names, as
// a file manager's drop would; a desktop's drag and drop can't be driven from a script
static volatile sig_atomic_t s_bTestDrop = 0;
static void OnTestDrop(int) { s_bTestDrop = 1; }

static void PostTestDrop(void)
{
    static int s_bArmed = 0;
    const char* pstrList = getenv("AMB_TEST_DROP");
    if (!pstrList)
        return;
    if (!s_bArmed) {
        s_bArmed = 1;
        signal(SIGUSR1, OnTestDrop);
    }
    if (!s_bTestDrop)
        return;
    s_bTestDrop = 0;
    // every line of the list, as one drop of several files
    FILE* pFile = fopen(pstrList, "rb");
    if (!pFile)
        return;
    SDL_Event event;
    memset(&event, 0, sizeof(event));
    event.type = SDL_DROPBEGIN;
    SDL_PushEvent(&event);
    char szPath[TW_PATH_SIZE];
    while (fgets(szPath, sizeof(szPath), pFile)) {
        szPath[strcspn(szPath, "\r\n")] = 0;
        if (!szPath[0])
            continue;
        memset(&event, 0, sizeof(event));
        event.type = SDL_DROPFILE;
        event.drop.file = SDL_strdup(szPath);
        if (SDL_PushEvent(&event) != 1)
            SDL_free(event.drop.file);
    }
    fclose(pFile);
    memset(&event, 0, sizeof(event));
    event.type = SDL_DROPCOMPLETE;
    SDL_PushEvent(&event);
}
#endif

int twWindow_SwapBuffers(void)
{
    if (!pWindow || !pWindow->hWnd)
        return 0;
#ifdef AMB_TEST_HOOKS
    PostTestDrop();
#endif
    SDL_GL_SwapWindow(pWindow->hWnd);
    // one event per swap, on purpose: nothing else in the program pumps events
    SDL_Event event;
    if (SDL_PollEvent(&event))
        twWindow_Proc(&event);
    return 1;
}

int twWindow_Proc(const SDL_Event* pEvent)
{
    if (pEvent->type == SDL_DROPBEGIN || pEvent->type == SDL_DROPCOMPLETE) {
        if (pWindow) {
            if (pEvent->type == SDL_DROPBEGIN)
                pWindow->szDropped[0] = 0;
            pWindow->bDropping = pEvent->type == SDL_DROPBEGIN;
        }
        return 1;
    }
    if (pEvent->type == SDL_DROPFILE) {
        // the files dropped at once open together; one that doesn't fit is passed over
        if (pWindow && pEvent->drop.file) {
            char* pstrAt = pWindow->szDropped;
            size_t uiAt = strlen(pstrAt), uiLen = strlen(pEvent->drop.file), uiTab = uiAt ? 1 : 0;
            if (!strchr(pEvent->drop.file, '\t') && uiAt + uiTab + uiLen + 1 <= sizeof(pWindow->szDropped)) {
                if (uiTab)
                    pstrAt[uiAt] = '\t';
                memcpy(pstrAt + uiAt + uiTab, pEvent->drop.file, uiLen + 1);
            } else
                twLogError("twWindow_Proc", "!The dropped file's path is too long: passed over\n");
        }
        SDL_free(pEvent->drop.file);
        return 1;
    }
    if (!pWindow || pEvent->type != SDL_WINDOWEVENT)
        return 0;
    if (pEvent->window.event == SDL_WINDOWEVENT_FOCUS_LOST) {
        pWindow->bFocusLost = 1;
    } else if (pEvent->window.event == SDL_WINDOWEVENT_FOCUS_GAINED && pWindow->bFocusLost) {
        if (pWindow->fnOnFocusGained1)
            pWindow->fnOnFocusGained1();
        if (pWindow->fnOnFocusGained2)
            pWindow->fnOnFocusGained2();
        pWindow->bFocusLost = 0;
    }
    // closing the window has no effect of its own: the program ends from its interface
    return 1;
}

int twWindow_TakeDroppedFile(char* pstrOut, int iOutSize)
{
    if (!pWindow || !pWindow->szDropped[0] || pWindow->bDropping)
        return 0;
    int bFits = snprintf(pstrOut, iOutSize, "%s", pWindow->szDropped) < iOutSize;
    pWindow->szDropped[0] = 0;
    if (!bFits)
        twLogError("twWindow_TakeDroppedFile", "!The dropped file's path is too long: passed over\n");
    return bFits;
}

int twWindow_WatchFile(const char* pstrPath)
{
    char szDir[TW_PATH_SIZE];
    if (!twCore_GetDirectory(pstrPath, szDir))
        snprintf(szDir, sizeof(szDir), "./");
    int iFd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (iFd < 0) {
        twLogError("twWindow_WatchFile", "!inotify_init1 : %s\n", strerror(errno));
        return -1;
    }
    // a touch changes only the attributes; a save writes, or renames a new file over it
    uint32_t uiMask = IN_CLOSE_WRITE | IN_MODIFY | IN_ATTRIB | IN_MOVED_TO | IN_CREATE;
    if (inotify_add_watch(iFd, szDir, uiMask) < 0) {
        twLogError("twWindow_WatchFile", "!inotify_add_watch : '%s' (%s)\n", szDir, strerror(errno));
        close(iFd);
        return -1;
    }
    return iFd;
}

int twWindow_FileChanged(int iWatch, const char* pstrPath)
{
    if (iWatch < 0)
        return 0;
    const char* pstrName = twCore_BaseName(pstrPath);
    alignas(struct inotify_event) char acBuf[4096];
    int bChanged = 0;
    for (;;) {
        ssize_t iGot = read(iWatch, acBuf, sizeof(acBuf));
        if (iGot <= 0)
            break;
        for (ssize_t i = 0; i + (ssize_t)sizeof(struct inotify_event) <= iGot;) {
            const struct inotify_event* pEvent = (const struct inotify_event*)(acBuf + i);
            if (pEvent->len && !strcmp(pEvent->name, pstrName))
                bChanged = 1;
            if (pEvent->mask & IN_Q_OVERFLOW)
                bChanged = 1; // events were lost: one of them may have been ours
            i += (ssize_t)sizeof(struct inotify_event) + pEvent->len;
        }
    }
    return bChanged;
}

void twWindow_StopWatch(int iWatch)
{
    if (iWatch >= 0)
        close(iWatch);
}

SDL_Window* twWindow_GetHwnd(void) { return pWindow ? pWindow->hWnd : nullptr; }
void* twWindow_GetHdc(void) { return nullptr; }
void* twWindow_GetInstance(void) { return nullptr; }
int twWindow_GetWidth(void) { return pWindow ? pWindow->iWidth : 0; }
int twWindow_GetHeight(void) { return pWindow ? pWindow->iHeight : 0; }
int twWindow_GetHalfWidth(void) { return pWindow ? pWindow->iHalfWidth : 0; }
int twWindow_GetHalfHeight(void) { return pWindow ? pWindow->iHalfHeight : 0; }
uint32_t twWindow_GetVideoMemorySize(void) { return pWindow ? pWindow->uiVideoMemory : 0; }
int twWindow_IsQuadBuffered(void) { return pWindow ? pWindow->bQuadBuffer : 0; }
int twWindow_HasStencil(void) { return pWindow && pWindow->iStencilBits > 0; }
int twWindow_HasAlpha(void) { return pWindow && pWindow->iColorBits == 32; } // 24-bit visuals ask for none

int twWindow_SetDialogMode(int bDialog)
{
    if (!pWindow || !pWindow->bVideoStarted)
        return 0;
    // a dialog needs the system's pointer: the relative mouse lets it go for the time
    if (bDialog) {
        pWindow->bRelativeBeforeDialog = SDL_GetRelativeMouseMode() ? 1 : 0;
        SDL_SetRelativeMouseMode(SDL_FALSE);
        SDL_ShowCursor(SDL_ENABLE);
    } else {
        SDL_ShowCursor(SDL_DISABLE);
        if (pWindow->bRelativeBeforeDialog)
            SDL_SetRelativeMouseMode(SDL_TRUE);
        if (pWindow->hWnd)
            SDL_RaiseWindow(pWindow->hWnd);
    }
    return 1;
}

// Runs zenity with the words given and reads what it prints. 1 with a line, 0 when the user
// cancelled or zenity couldn't run; *pbMissing tells the latter.
static int RunZenity(const char* const* ppstrArgs, char* pstrOut, int iOutSize, int* pbMissing)
{
    *pbMissing = 0;
    int aiPipe[2];
    if (pipe(aiPipe) != 0)
        return 0;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, aiPipe[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, aiPipe[0]);
    posix_spawn_file_actions_addclose(&actions, aiPipe[1]);
    pid_t pid;
    int iErr = posix_spawnp(&pid, "zenity", &actions, nullptr, (char* const*)ppstrArgs, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(aiPipe[1]);
    if (iErr != 0) {
        close(aiPipe[0]);
        *pbMissing = 1;
        return 0;
    }
    char szRead[TW_SET_SIZE + 2];
    int iLen = 0;
    ssize_t iGot;
    while ((iGot = read(aiPipe[0], szRead + iLen, sizeof(szRead) - 1 - iLen)) > 0 ||
           (iGot < 0 && errno == EINTR))
        if (iGot > 0)
            iLen += (int)iGot;
    close(aiPipe[0]);
    szRead[iLen] = 0;
    int iStatus = 0;
    while (waitpid(pid, &iStatus, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 127) {
        *pbMissing = 1;
        return 0;
    }
    if (!WIFEXITED(iStatus) || WEXITSTATUS(iStatus) != 0)
        return 0;
    while (iLen && (szRead[iLen - 1] == '\n' || szRead[iLen - 1] == '\r'))
        szRead[--iLen] = 0;
    if (!iLen || iLen >= iOutSize)
        return 0;
    memcpy(pstrOut, szRead, iLen + 1);
    return 1;
}

// A zenity dialog with the window out of its way: hidden, its context released, and both
// back after
static int Dialog(const char* pstrTag, const char* const* ppstrArgs, char* pstrOut, int iOutSize)
{
    if (!pWindow || !pWindow->hWnd || !pstrOut)
        return 0;
    SDL_HideWindow(pWindow->hWnd);
    if (SDL_GL_MakeCurrent(pWindow->hWnd, nullptr) != 0) {
        twLogError(pstrTag, "!wglMakeCurrent (0,0)\n");
        return 0;
    }
    int bMissing = 0;
    int bResult = RunZenity(ppstrArgs, pstrOut, iOutSize, &bMissing);
    if (bMissing)
        twLogError(pstrTag, "!zenity : not found\n");
    if (SDL_GL_MakeCurrent(pWindow->hWnd, pWindow->hRC) != 0)
        twLogError(pstrTag, "!wglMakeCurrent (restore)\n");
    SDL_ShowWindow(pWindow->hWnd);
    SDL_RaiseWindow(pWindow->hWnd);
    return bResult;
}

int twWindow_GetFileFromDialog(int iMode, char* pstrPath, const char* pstrExtension, const char* pstrDescription,
                               int iUnused)
{
    (void)iUnused;
    if (iMode < 1 || iMode > 3)
        return 0;
    // "Name | *.a *.A *.b *.B": zenity's patterns tell case apart
    char szFilter[512];
    int n = snprintf(szFilter, sizeof(szFilter), "%.100s |", pstrDescription ? pstrDescription : "");
    const char* pstrAt = pstrExtension ? pstrExtension : "*";
    while (*pstrAt && n < (int)sizeof(szFilter) - 40) {
        int iLen = (int)strcspn(pstrAt, ";");
        if (iLen > 0 && iLen < 12) {
            char szUpper[12];
            for (int i = 0; i < iLen; i++)
                szUpper[i] = (char)toupper((unsigned char)pstrAt[i]);
            n += snprintf(szFilter + n, sizeof(szFilter) - n, " *.%.*s *.%.*s", iLen, pstrAt, iLen, szUpper);
        }
        pstrAt += iLen + (pstrAt[iLen] == ';');
    }
    if (!pstrExtension)
        snprintf(szFilter, sizeof(szFilter), "Any file | *");
    // the named filter first, and every file besides
    const char* apstrArgs[12];
    int a = 0;
    apstrArgs[a++] = "zenity";
    apstrArgs[a++] = "--file-selection";
    if (iMode == 3) {
        apstrArgs[a++] = "--multiple";
        apstrArgs[a++] = "--separator=\t";
    }
    if (iMode == 2) {
        apstrArgs[a++] = "--save";
        apstrArgs[a++] = "--confirm-overwrite";
    }
    apstrArgs[a++] = "--file-filter";
    apstrArgs[a++] = szFilter;
    apstrArgs[a++] = "--file-filter";
    apstrArgs[a++] = "All files | *";
    apstrArgs[a] = nullptr;
    return Dialog("twWindow_GetFileFromDialog", apstrArgs, pstrPath, iMode == 3 ? TW_SET_SIZE : TW_DIALOG_PATH_MAX);
}

int twWindow_SetClipboardText(const char* pstrText)
{
    if (!pWindow || !pWindow->bVideoStarted || SDL_SetClipboardText(pstrText) != 0) {
        twLogError("twWindow_SetClipboardText", "!SDL_SetClipboardText : %s\n", SDL_GetError());
        return 0;
    }
    return 1;
}

int twWindow_ChooseFromDialog(const char* pstrTitle, const char* pstrItems, char* pstrOut, int iOutSize)
{
    char aszItems[16][TW_PATH_SIZE];
    const char* apstrArgs[8 + 16];
    int a = 0, n = 0;
    apstrArgs[a++] = "zenity";
    apstrArgs[a++] = "--list";
    apstrArgs[a++] = "--column";
    apstrArgs[a++] = pstrTitle;
    for (const char* p = pstrItems; p && *p && n < 16;) {
        int iLen = (int)strcspn(p, "\t");
        if (iLen > 0 && iLen < TW_PATH_SIZE) {
            memcpy(aszItems[n], p, (size_t)iLen);
            aszItems[n][iLen] = 0;
            apstrArgs[a++] = aszItems[n++];
        }
        p += iLen + (p[iLen] == '\t');
    }
    apstrArgs[a] = nullptr;
    return n && Dialog("twWindow_ChooseFromDialog", apstrArgs, pstrOut, iOutSize);
}

int twWindow_CreateDirectory(const char* pstrPath)
{
    char szPath[TW_PATH_SIZE];
    snprintf(szPath, sizeof(szPath), "%s", pstrPath);
    for (char* p = szPath + 1; *p; p++)
        if (*p == '/') {
            *p = 0;
            mkdir(szPath, 0755);
            *p = '/';
        }
    mkdir(szPath, 0755);
    return 1;
}

int twWindow_CopyFile(const char* pstrFrom, const char* pstrTo)
{
    FILE* pIn = fopen(pstrFrom, "rb");
    if (!pIn)
        return 1;
    FILE* pOut = fopen(pstrTo, "wb");
    if (pOut) {
        char acBuf[65536];
        size_t uiRead;
        while ((uiRead = fread(acBuf, 1, sizeof(acBuf), pIn)) > 0)
            if (fwrite(acBuf, 1, uiRead, pOut) != uiRead)
                break;
        fclose(pOut);
        struct stat st;
        if (stat(pstrFrom, &st) == 0)
            chmod(pstrTo, st.st_mode & 0777);
    }
    fclose(pIn);
    return 1;
}

int twWindow_DeleteFile(const char* pstrPath)
{
    unlink(pstrPath);
    return 1;
}

int twWindow_RenameFile(const char* pstrFrom, const char* pstrTo) { return rename(pstrFrom, pstrTo) == 0; }

void twWindow_ReadFirstLine(const char* pstrPath, char* pstrOut, int iOutSize)
{
    pstrOut[0] = 0;
    FILE* pFile = fopen(pstrPath, "r");
    if (pFile) {
        if (!fgets(pstrOut, iOutSize, pFile))
            pstrOut[0] = 0;
        fclose(pFile);
    }
    pstrOut[strcspn(pstrOut, "\r\n")] = 0;
}

int twWindow_RemoveDirectory(const char* pstrPath) { return rmdir(pstrPath) == 0; }

int twWindow_FindProgram(const char* pstrName)
{
    const char* pstrPath = getenv("PATH");
    char szFull[TW_PATH_SIZE];
    while (pstrPath && *pstrPath) {
        const char* pstrEnd = strchr(pstrPath, ':');
        int iLen = pstrEnd ? (int)(pstrEnd - pstrPath) : (int)strlen(pstrPath);
        if (iLen > 0 && snprintf(szFull, sizeof(szFull), "%.*s/%s", iLen, pstrPath, pstrName) < (int)sizeof(szFull) &&
            access(szFull, X_OK) == 0)
            return 1;
        pstrPath = pstrEnd ? pstrEnd + 1 : nullptr;
    }
    return 0;
}

// A program that runs beside the viewer, found on the PATH, reading nothing and writing
// what it says into a file
int twWindow_StartProgram(const char* const* ppstrArgs, const char* pstrOutputPath, int* piFeed)
{
    int aiFeed[2] = {-1, -1};
    if (piFeed) {
        *piFeed = -1;
        if (pipe2(aiFeed, O_CLOEXEC) != 0) {
            twLogError("twWindow_StartProgram", "!pipe2 : '%s' (%s)\n", ppstrArgs[0], strerror(errno));
            return 0;
        }
        // a program that ended before it was fed must not end the viewer with it
        signal(SIGPIPE, SIG_IGN);
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (piFeed)
        posix_spawn_file_actions_adddup2(&actions, aiFeed[0], STDIN_FILENO);
    else
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, pstrOutputPath, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    pid_t pid;
    int iErr = posix_spawnp(&pid, ppstrArgs[0], &actions, nullptr, (char* const*)ppstrArgs, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (piFeed)
        close(aiFeed[0]);
    if (iErr != 0) {
        twLogError("twWindow_StartProgram", "!posix_spawnp : '%s' (%s)\n", ppstrArgs[0], strerror(iErr));
        if (piFeed)
            close(aiFeed[1]);
        return 0;
    }
    if (piFeed)
        *piFeed = aiFeed[1];
    return (int)pid;
}

int twWindow_PollProgram(int iPid, int* piExitCode)
{
    int iStatus = 0;
    pid_t r = waitpid((pid_t)iPid, &iStatus, WNOHANG);
    if (r == 0 || (r < 0 && errno == EINTR))
        return 0;
    *piExitCode = r > 0 && WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1;
    return 1;
}

void twWindow_StopProgram(int iPid)
{
    kill((pid_t)iPid, SIGKILL);
    while (waitpid((pid_t)iPid, nullptr, 0) < 0 && errno == EINTR) {
    }
}

// The documents folder of the XDG user directories ("XDG_DOCUMENTS_DIR" in
// user-dirs.dirs), else "$HOME/Documents".
int twWindow_GetDocumentsFolder(char* pstrOut)
{
    const char* pstrHome = getenv("HOME");
    if (!pstrHome || !pstrHome[0])
        return 0;
    char szFolder[TW_PATH_SIZE];
    snprintf(szFolder, sizeof(szFolder), "%s/Documents", pstrHome);
    char szConfig[TW_PATH_SIZE];
    const char* pstrConfigHome = getenv("XDG_CONFIG_HOME");
    if (pstrConfigHome && pstrConfigHome[0])
        snprintf(szConfig, sizeof(szConfig), "%s/user-dirs.dirs", pstrConfigHome);
    else
        snprintf(szConfig, sizeof(szConfig), "%s/.config/user-dirs.dirs", pstrHome);
    FILE* pFile = fopen(szConfig, "rb");
    if (pFile) {
        char szLine[TW_PATH_SIZE];
        while (fgets(szLine, sizeof(szLine), pFile)) {
            const char* pstrKey = "XDG_DOCUMENTS_DIR=\"";
            if (strncmp(szLine, pstrKey, strlen(pstrKey)) != 0)
                continue;
            char* pValue = szLine + strlen(pstrKey);
            char* pEnd = strchr(pValue, '"');
            if (!pEnd)
                break;
            *pEnd = 0;
            if (strncmp(pValue, "$HOME", 5) == 0)
                snprintf(szFolder, sizeof(szFolder), "%s%s", pstrHome, pValue + 5);
            else if (pValue[0] == '/')
                snprintf(szFolder, sizeof(szFolder), "%s", pValue);
            break;
        }
        fclose(pFile);
    }
    size_t uiLen = strlen(szFolder);
    while (uiLen > 1 && szFolder[uiLen - 1] == '/')
        szFolder[--uiLen] = 0;
    if (pstrOut)
        strcpy(pstrOut, szFolder);
    return 1;
}

int twWindow_PrintWindowInfo(void)
{
    const char* pstrTag = "twWindow_PrintWindowInfo";
    char szOs[128] = "UNKNOWN";
    twWindow_GetOsName(szOs);
    snprintf(pWindow->szOsName, sizeof(pWindow->szOsName), "%s", szOs);
    pWindow->uiVideoMemory = twWindow_GetVideoMemory();
    twLog(pstrTag, "Operating system = %s\n", szOs);
    twLog(pstrTag, "Window size = %d x %d\n", pWindow->iWidth, pWindow->iHeight);
    twLog(pstrTag, "Color bits = %d\n", pWindow->iColorBits);
    twLog(pstrTag, "Depth bits = %d\n", pWindow->iDepthBits);
    twLog(pstrTag, "Stencil bits = %d\n", pWindow->iStencilBits);
    char szBytes[32];
    if (!pWindow->uiVideoMemory) {
        pWindow->uiVideoMemory = TW_WINDOW_DEFAULT_VIDEO_MEMORY;
        twCore_FormatThousands(pWindow->uiVideoMemory, szBytes);
        twLog(pstrTag, "Video memory installed = %s bytes (forced to 256 MB)\n", szBytes);
    } else {
        twCore_FormatThousands(pWindow->uiVideoMemory, szBytes);
        twLog(pstrTag, "Video memory installed = %s bytes\n", szBytes);
    }
    return 1;
}

int twWindow_GetOsName(char* pstrOut)
{
    struct utsname name;
    if (uname(&name) != 0)
        return 0;
    char szName[3 * sizeof(name.sysname) + 4];
    snprintf(szName, sizeof(szName), "%s %s %s", name.sysname, name.release, name.machine);
    snprintf(pstrOut, 128, "%.127s", szName);
    return 1;
}

// Asks the GL driver: Mesa's renderer query, else NVIDIA's memory info. Needs the
// context current. Sizes past 4 GiB are held at the largest the field can carry.
uint32_t twWindow_GetVideoMemory(void)
{
    uint64_t uiBytes = 0;
    SDL_SysWMinfo info;
    SDL_VERSION(&info.version);
    if (pWindow && pWindow->hWnd && SDL_GetWindowWMInfo(pWindow->hWnd, &info) && info.subsystem == SDL_SYSWM_X11) {
        Display* pDisplay = info.info.x11.display;
        const char* pstrGlx = glXQueryExtensionsString(pDisplay, DefaultScreen(pDisplay));
        typedef Bool (*QueryFn)(int, unsigned int*);
        QueryFn fnQuery = (QueryFn)SDL_GL_GetProcAddress("glXQueryCurrentRendererIntegerMESA");
        unsigned int uiMegabytes = 0;
        if (pstrGlx && strstr(pstrGlx, "GLX_MESA_query_renderer") && fnQuery &&
            fnQuery(GLX_RENDERER_VIDEO_MEMORY_MESA, &uiMegabytes))
            uiBytes = (uint64_t)uiMegabytes << 20;
    }
    if (!uiBytes) {
        const char* pstrExt = (const char*)glGetString(GL_EXTENSIONS);
        if (pstrExt && strstr(pstrExt, "GL_NVX_gpu_memory_info")) {
            GLint iKilobytes = 0;
            glGetIntegerv(GL_GPU_MEMORY_INFO_DEDICATED_VIDMEM_NVX, &iKilobytes);
            uiBytes = (uint64_t)(iKilobytes > 0 ? iKilobytes : 0) << 10;
        }
    }
    if (uiBytes > 0xFFF00000u)
        uiBytes = 0xFFF00000u;
    return (uint32_t)uiBytes;
}
