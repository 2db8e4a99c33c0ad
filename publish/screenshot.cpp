// The view as a picture: a screenshot of the finished frame, as a BMP in the user's
// Screenshots folder, or beside the program when that can't be written.
#include <stdio.h>

#include "engine/engine.h"
#include "engine/log.h"
#include "engine/timer.h"
#include "platform/ogl.h"

#define NOTE_SECONDS 0.6f

void twEngine_FlashNote(float fRed, float fGreen, float fBlue)
{
    pEngine->vNoteColor[0] = fRed;
    pEngine->vNoteColor[1] = fGreen;
    pEngine->vNoteColor[2] = fBlue;
    pEngine->fNoteTime = NOTE_SECONDS;
}

int twEngine_Screenshot(void)
{
    char szDate[32];
    twTimer_GetFileDateString(szDate);
    // the frame number keeps two shots of one second apart
    char szPath[TW_PATH_SIZE + 64], szFallback[TW_PATH_SIZE + 64];
    const char* pstrUserDir = twCore_GetUserDir();
    snprintf(szPath, sizeof(szPath), "%sScreenshots/%s_%u.bmp", pstrUserDir ? pstrUserDir : "", szDate,
             twTimer_GetFrames());
    snprintf(szFallback, sizeof(szFallback), "%s%s_%u.bmp", twCore_GetDataDir(), szDate, twTimer_GetFrames());
    // a stand-alone copy has no user folder: its shots land beside the program
    if (!twOgl_Screenshot(pstrUserDir && pstrUserDir[0] ? szPath : nullptr, szFallback))
        return 0;
    twLog("twEngine_Screenshot", "Screenshot successfully saved\n");
    return 1;
}
