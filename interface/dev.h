// The developers' tools: the "Dev" page that shows one system at a time, the text panel
// with live figures and switches, and the toggles behind Z. A developers' build sets
// bDevMode at start-up; nothing a user can reach does.
#pragma once
#include <stdint.h>

#define TW_DEV_NUM_SYSTEMS 4
#define TW_DEV_SYSTEM_PHYSICS 2
#define TW_DEV_PAGE "Dev"

struct TwDev {
    int32_t bActive;    // the "Dev" page is up
    int32_t iNumSystems;
    int32_t iSystem;    // the system shown alone
    char aszSystems[TW_DEV_NUM_SYSTEMS][64];
    const char* apszSystems[TW_DEV_NUM_SYSTEMS];
    char szSavedPage[64]; // the page to go back to
};

extern TwDev* pDev;

int twDev_Toggle(void);          // Z+Tab: the "Dev" page on, or the saved page back
int twDev_Key(int iKey);         // Z with a letter in dev mode: 1 when it was a toggle
int twDev_HidesWorld(void);      // the page is up and the world is left out
void twDev_DrawStatistics(void); // the U panel, for every user
