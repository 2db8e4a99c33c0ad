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
    twWindow_StopWatch(pLink->iWatch);
    pLink->iWatch = -1;
    memset(&pLink->timer, 0, sizeof(pLink->timer));
    if (pLink->bLive && pLink->szSource[0]) {
        pLink->iWatch = twWindow_WatchFile(pLink->szSource);
        if (pLink->iWatch >= 0)
            twLog(TAG, "Watching '%s'\n", pLink->szSource);
    }
    if (!pLink->bLive)
        snprintf(pLink->szLinkStatus, sizeof(pLink->szLinkStatus), "%s", twStrings_Get(TW_LINK_STR_LINK_OFF));
    else if (pLink->iWatch >= 0)
        snprintf(pLink->szLinkStatus, sizeof(pLink->szLinkStatus), "%s %.80s", twStrings_Get(TW_LINK_STR_WATCHING),
                 twCore_BaseName(pLink->szSource));
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
    int bChanged = l->iWatch >= 0 && twWindow_FileChanged(l->iWatch, l->szSource);
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
