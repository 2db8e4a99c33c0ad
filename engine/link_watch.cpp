// The watch of the open model's source: a save that has rested is exported again, and one
// that never rests less and less often
#include "engine/model_link.h"

#include <math.h>
#include <stdio.h>
#include <string.h>

#include "engine/log.h"
#include "engine/strings.h"
#include "engine/timer.h"
#include "platform/window.h"

#define TAG "twLink"

int twLink_TimerStep(TwLinkTimer* t, double dNow, int bChanged, int bBusy)
{
    if (t->dWait <= 0)
        t->dWait = TW_LINK_FIRST_WAIT;
    if (bChanged) {
        if (!t->bPending)
            t->dFirstChange = dNow;
        t->bPending = 1;
        t->dLastChange = dNow;
    }
    if (!t->bPending || bBusy)
        return TW_LINK_IDLE;
    if (dNow - t->dLastChange >= TW_LINK_QUIET) {
        t->bPending = 0;
        t->dWait = TW_LINK_FIRST_WAIT;
        return TW_LINK_NOW;
    }
    if (dNow - t->dFirstChange >= t->dWait) {
        t->bPending = 0;
        t->dWait = fmin(t->dWait * 2, TW_LINK_LONGEST_WAIT);
        return TW_LINK_NOW_BACKED_OFF;
    }
    return TW_LINK_IDLE;
}

void twLink_Watch(void)
{
    char aszFiles[TW_LINK_MAX_SOURCES][TW_PATH_SIZE];
    int iFiles = pLink->bLive ? twLink_SplitSet(pLink->szSource, aszFiles, TW_LINK_MAX_SOURCES) : 0, iWatched = 0;
    memset(&pLink->timer, 0, sizeof(pLink->timer));
    for (int i = 0; i < TW_LINK_MAX_SOURCES; i++) {
        twWindow_StopWatch(pLink->aiWatch[i]);
        pLink->aiWatch[i] = i < iFiles ? twWindow_WatchFile(aszFiles[i]) : -1;
        if (pLink->aiWatch[i] >= 0) {
            twLog(TAG, "Watching '%s'\n", aszFiles[i]);
            iWatched++;
        }
    }
    char szName[256];
    twLink_SetName(pLink->szSource, szName, sizeof(szName));
    if (!pLink->bLive)
        snprintf(pLink->szLinkStatus, sizeof(pLink->szLinkStatus), "%s", twStrings_Get(TW_LINK_STR_LINK_OFF));
    else if (iWatched)
        snprintf(pLink->szLinkStatus, sizeof(pLink->szLinkStatus), "%s %.80s", twStrings_Get(TW_LINK_STR_WATCHING),
                 szName);
    else
        pLink->szLinkStatus[0] = 0;
}

void twLink_SetLive(int bLive)
{
    if (!pLink)
        return;
    pLink->bLive = bLive != 0;
    twLog(TAG, "Live link %s\n", pLink->bLive ? "on" : "off");
    twLink_Watch();
    twLink_SaveRecent();
}


int twLink_SourceSaved(void)
{
    TwLink* l = pLink;
    // each watch is asked, so that none keeps events of a save already exported
    char aszFiles[TW_LINK_MAX_SOURCES][TW_PATH_SIZE];
    int iFiles = twLink_SplitSet(l->szSource, aszFiles, TW_LINK_MAX_SOURCES), bChanged = 0;
    for (int i = 0; i < iFiles; i++)
        if (l->aiWatch[i] >= 0 && twWindow_FileChanged(l->aiWatch[i], aszFiles[i]))
            bChanged = 1;
    int iStep = twLink_TimerStep(&l->timer, twTimer_Seconds(), bChanged, 0);
    if (iStep == TW_LINK_NOW_BACKED_OFF) {
        char szWait[64];
        snprintf(szWait, sizeof(szWait), "%.0f %s", l->timer.dWait, twStrings_Get(TW_LINK_STR_BETWEEN_EXPORTS));
        twLog(TAG, "The model file keeps changing: the live link now waits %.0f s between exports\n",
              l->timer.dWait);
        twLink_Message(twStrings_Get(TW_LINK_STR_BACKED_OFF), szWait);
    }
    return iStep != TW_LINK_IDLE;
}
