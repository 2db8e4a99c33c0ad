#include "engine/timer.h"

#include <stdlib.h>
#include <string.h>
#include <time.h>

TwTimer* pTimer = nullptr;

static int64_t ReadCounter(void)
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (int64_t)ts.tv_sec * 1000000000 + ts.tv_nsec;
}

int twTimer_Init(void)
{
    struct timespec ts;
    if (clock_getres(CLOCK_MONOTONIC, &ts) != 0)
        return 0;
    pTimer = (TwTimer*)calloc(1, sizeof(TwTimer));
    if (!pTimer)
        return 0;
    pTimer->fTickSeconds = 1.0e-9f; // the counter runs in nanoseconds
    pTimer->fScale = 1.0f;
    return 1;
}

float twTimer_Update(void)
{
    if (!pTimer)
        return 0.0f;
    pTimer->iNow = ReadCounter();
    pTimer->fDelta = (float)(pTimer->iNow - pTimer->iLast) * pTimer->fTickSeconds * pTimer->fScale;
    if (pTimer->bSkipNext) {
        pTimer->bSkipNext = 0;
        pTimer->fDelta = 0.0f;
    }
    pTimer->iLast = pTimer->iNow;
    // a blocking operation must not throw the camera across the building
    if (pTimer->fDelta > TW_TIMER_MAX_DELTA) {
        pTimer->fDelta = 0.0f;
        return 0.0f;
    }
    if (pTimer->fFpsClock < 1.0f) {
        pTimer->fFpsClock += pTimer->fDelta;
        pTimer->iFpsFrames++;
    } else {
        pTimer->iFps = pTimer->iFpsFrames;
        pTimer->iFpsFrames = 0;
        pTimer->fFpsClock = 0.0f;
    }
    pTimer->fTime += pTimer->fDelta;
    pTimer->uiFrames++;
    return pTimer->fDelta;
}

float twTimer_GetDelta(void) { return pTimer ? pTimer->fDelta : 0.0f; }
float twTimer_GetTime(void) { return pTimer ? pTimer->fTime : 0.0f; }
int twTimer_GetFps(void) { return pTimer ? pTimer->iFps : 0; }
uint32_t twTimer_GetFrames(void) { return pTimer ? pTimer->uiFrames : 0; }

double twTimer_Seconds(void)
{
    return (double)ReadCounter() * 1.0e-9;
}

void twTimer_Mark(void)
{
    if (pTimer)
        pTimer->iMark = ReadCounter();
}

float twTimer_Elapsed(void)
{
    if (!pTimer)
        return 0.0f;
    return (float)(ReadCounter() - pTimer->iMark) * pTimer->fTickSeconds;
}

void twTimer_GetDateString(char* pstrOut)
{
    time_t t = time(nullptr);
    char szBuf[32];
    if (!ctime_r(&t, szBuf))
        szBuf[0] = 0;
    char* pEnd = strchr(szBuf, '\n');
    if (pEnd)
        *pEnd = 0;
    strcpy(pstrOut, szBuf);
}

void twTimer_GetFileDateString(char* pstrOut)
{
    twTimer_GetDateString(pstrOut);
    for (char* p = pstrOut; *p; p++)
        if (*p == ' ' || *p == ':')
            *p = '_';
}

int twTimer_Shutdown(void)
{
    free(pTimer);
    pTimer = nullptr;
    return 1;
}
