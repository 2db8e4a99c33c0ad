#include "engine/log.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "engine/core.h"
#include "engine/timer.h"

#define LOG_MAKER_LINE "//Ambulon walkthrough viewer, made by the Ambulon developers\n"
#define LOG_CUT_NOTE "!vsprintf : message longer than 511 bytes, cut\n"
#define LOG_PERCENT_NOTE "!vsprintf : a '%' in this message was written as it stands\n"

// Logging is switched on for the whole run by a plain file in the user directory; the
// first message decides, so it must come after the directories are known.
static int IsLoggingOn(void)
{
    if (!pCore)
        return 0;
    if (pCore->iLogSwitch == 0) {
        char szPath[TW_PATH_SIZE + 32];
        snprintf(szPath, sizeof(szPath), "%s/%s", pCore->szUserDir, TW_LOG_SWITCH_NAME);
        pCore->iLogSwitch = twCore_FileExists(szPath) ? 1 : -1;
    }
    return pCore->iLogSwitch > 0;
}

// Writes an already formatted message. The file is opened and closed for every message,
// so that nothing is lost in a crash.
static int WriteMessage(const char* pstrTag, const char* pstrText)
{
    twTimer_Update(); // every logged line moves the frame timer
    if (!pCore->szLogFile[0] || pstrText[0] == '_')
        return 1;
    if (pstrText[0] == '.')
        pstrText++;
    char szOut[TW_LOG_MESSAGE_SIZE + 300];
    if (strcmp(pstrTag, pCore->szLastTag) != 0) {
        snprintf(pCore->szLastTag, sizeof(pCore->szLastTag), "%s", pstrTag);
        snprintf(szOut, sizeof(szOut), "\n//%.3f %s\n  %s", twTimer_GetTime(), pstrTag, pstrText);
    } else {
        snprintf(szOut, sizeof(szOut), "  %s", pstrText);
    }
    FILE* pFile = fopen(pCore->szLogFile, pCore->iNumLogLines ? "at" : "wt");
    if (!pFile) {
        pCore->iNumLogLines++;
        return 1;
    }
    if (!pCore->iNumLogLines) {
        char szDate[32];
        twTimer_GetDateString(szDate);
        fprintf(pFile, "//%s\n", pCore->szAppName);
        fputs(LOG_MAKER_LINE, pFile);
        fprintf(pFile, "//%s\n", szDate);
    }
    fputs(szOut, pFile);
    fclose(pFile);
    pCore->iNumLogLines++;
    return 1;
}

// Formats into the fixed message buffer and writes under the tag; a longer message is cut
// and the cut is noted. An error's text is not used as a format a second time: a '%' that
// came in with a file name stays as it is, and the line after says so.
static void WriteFormatted(const char* pstrTag, int bError, const char* pstrFormat, va_list args)
{
    char szText[TW_LOG_MESSAGE_SIZE];
    int bCut = vsnprintf(szText, sizeof(szText), pstrFormat, args) >= TW_LOG_MESSAGE_SIZE;
    WriteMessage(pstrTag, szText);
    if (bCut)
        WriteMessage(pstrTag, LOG_CUT_NOTE);
    if (bError && strchr(szText, '%'))
        WriteMessage(pstrTag, LOG_PERCENT_NOTE);
}

int twLog(const char* pstrTag, const char* pstrFormat, ...)
{
    if (!IsLoggingOn() || !pstrTag || !pstrFormat)
        return 0;
    va_list args;
    va_start(args, pstrFormat);
    WriteFormatted(pstrTag, 0, pstrFormat, args);
    va_end(args);
    return 1;
}

int twLogError(const char* pstrTag, const char* pstrFormat, ...)
{
    if (!pstrTag || !pstrFormat)
        return 0;
    if (!IsLoggingOn())
        return 1;
    char szTag[TW_LOG_MESSAGE_SIZE];
    snprintf(szTag, sizeof(szTag), "[error] %s", pstrTag);
    va_list args;
    va_start(args, pstrFormat);
    WriteFormatted(szTag, 1, pstrFormat, args);
    va_end(args);
    return 1;
}
