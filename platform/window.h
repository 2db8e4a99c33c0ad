// The one full-screen window and its GL context, on SDL2, and the operating-system
// services tied to it: file dialogs, the documents folder, file helpers, the system's
// name and the video memory size. Only window.cpp touches SDL's window and GL calls.
#pragma once
#include <stdint.h>

#include "engine/core.h"

struct SDL_Window;
union SDL_Event;

#define TW_WINDOW_DEFAULT_VIDEO_MEMORY 0x10000000u // 256 MB, when the driver doesn't tell
#define TW_DIALOG_PATH_MAX 260                      // characters a dialog may return, with the end

typedef int (*TwFocusCallback)(void);

struct TwWindow {
    SDL_Window* hWnd;
    void* hRC;                 // the GL context, current on the main thread from creation to exit
    char szOsName[128];        // what the operating system calls itself
    uint32_t uiVideoMemory;    // bytes; 0 from the driver becomes 256 MB
    int32_t iColorBits;        // 32 or 24: the colour depth obtained
    int32_t iDepthBits;        // 32, 24 or 16: the depth-buffer request that succeeded
    int32_t iAlphaBits;        // always 8
    int32_t iStencilBits;      // as the visual has it: 0 where none was asked for or given
    int32_t bFocusLost;        // set on focus loss, cleared when it comes back
    int32_t iWidth, iHeight;   // pixels
    int32_t iHalfWidth, iHalfHeight;
    TwFocusCallback fnOnFocusGained1, fnOnFocusGained2; // called in order when focus returns
    int32_t bQuadBuffer;       // the context has stereo buffers
    int32_t bVideoStarted;     // SDL's video subsystem is up
    int32_t bRelativeBeforeDialog; // the mouse was relative when a dialog came up
    char szDropped[TW_SET_SIZE]; // the files dropped on the window together, joined by tabs, not yet taken; empty: none
    int32_t bDropping;           // a drop has begun and not yet ended: its files are still coming
};

extern TwWindow* pWindow;

int twWindow_Init(void);  // allocates the record
int twWindow_CreateGLWindow(int iWidth, int iHeight, int bStencil, int iUnused); // 0, 0: the desktop's size
int twWindow_SetTitle(const char* pstrTitle);
int twWindow_Show(void);
int twWindow_SetOnFocusGained1(TwFocusCallback fn);
int twWindow_SetOnFocusGained2(TwFocusCallback fn);
int twWindow_Free(void);  // 1 also without a record
int twWindow_SwapBuffers(void); // shows the frame, then handles at most one window event
int twWindow_Proc(const SDL_Event* pEvent); // the handling of one event
SDL_Window* twWindow_GetHwnd(void);
void* twWindow_GetHdc(void); // no device context on this platform: null
void* twWindow_GetInstance(void);
int twWindow_GetWidth(void);
int twWindow_GetHeight(void);
int twWindow_GetHalfWidth(void);
int twWindow_GetHalfHeight(void);
uint32_t twWindow_GetVideoMemorySize(void);
int twWindow_IsQuadBuffered(void);
int twWindow_HasStencil(void);
int twWindow_HasAlpha(void);   // the colour buffer keeps an alpha byte
int twWindow_SetDialogMode(int bDialog); // brackets every file dialog: 1 before, 0 after
// mode 1 open, 2 save, 3 open one or several (joined by tabs, TW_SET_SIZE at most); 1 when a
// file was chosen. The extension may be a list ("ifc;obj"): the dialog offers those files
// under the description, and all files besides
int twWindow_GetFileFromDialog(int iMode, char* pstrPath, const char* pstrExtension, const char* pstrDescription,
                               int iUnused);
int twWindow_SetClipboardText(const char* pstrText); // 1, or 0 with a line
// One of the items (joined by tabs, 16 at most) chosen in a list under the title; 1 with it
int twWindow_ChooseFromDialog(const char* pstrTitle, const char* pstrItems, char* pstrOut, int iOutSize);
int twWindow_TakeDroppedFile(char* pstrOut, int iOutSize); // 1 once for each drop: its files, joined by tabs
// A file watched for changes: its folder is watched, so that a save that replaces the file
// by a rename is seen too. A handle, or -1; the handle is read without waiting
int twWindow_WatchFile(const char* pstrPath);
int twWindow_FileChanged(int iWatch, const char* pstrPath); // 1 when events about it came since the last call
void twWindow_StopWatch(int iWatch);
int twWindow_CreateDirectory(const char* pstrPath); // with missing parents; 1 whatever happened
int twWindow_CopyFile(const char* pstrFrom, const char* pstrTo); // overwrites; 1 whatever happened
int twWindow_DeleteFile(const char* pstrPath);      // 1 whatever happened
int twWindow_RenameFile(const char* pstrFrom, const char* pstrTo); // replaces the target
void twWindow_ReadFirstLine(const char* pstrPath, char* pstrOut, int iOutSize); // without its end; empty when none
int twWindow_RemoveDirectory(const char* pstrPath); // an empty one
int twWindow_FindProgram(const char* pstrName);     // 1 when an executable of that name is on the PATH
// Its id, or 0; its output and errors go to the file. With piFeed its input is a pipe whose
// end *piFeed writes to (closed by the caller); without, it reads nothing.
int twWindow_StartProgram(const char* const* ppstrArgs, const char* pstrOutputPath, int* piFeed);
int twWindow_PollProgram(int iPid, int* piExitCode); // 1 when it ended, with its exit code (-1: killed)
void twWindow_StopProgram(int iPid);                 // killed and waited for
int twWindow_GetDocumentsFolder(char* pstrOut);     // the user's documents folder, without the last "/"
int twWindow_PrintWindowInfo(void);                 // the start-up report
int twWindow_GetOsName(char* pstrOut);              // leaves the text as it was when unknown
uint32_t twWindow_GetVideoMemory(void);             // bytes, or 0 when the driver doesn't tell
