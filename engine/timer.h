// The frame timer: a monotonic counter turned into frame deltas in seconds.
// Starts first and stops last; the log moves it too.
#pragma once
#include <stdint.h>

#define TW_TIMER_MAX_DELTA 0.8f // seconds; a longer frame (a dialog, a load) counts as none

struct TwTimer {
    int64_t iNow;       // counter at this update
    int64_t iLast;      // counter at the last update
    int64_t iMark;      // counter at the last twTimer_Mark
    float fTickSeconds; // 1 / counter frequency
    float fDelta;       // seconds of the last frame
    float fTime;        // sum of all deltas
    float fReserved;
    float fScale;       // multiplies every delta
    float fFpsClock;    // seconds counted towards the next frames-per-second reading
    int32_t iFpsFrames; // frames counted towards it
    int32_t iFps;       // the last reading
    uint32_t uiFrames;  // frames since start
    int32_t bSkipNext;  // the next update yields delta 0
};

extern TwTimer* pTimer;

int twTimer_Init(void);      // allocates the record; 0 without a monotonic counter
float twTimer_Update(void);  // one frame: returns the new delta
float twTimer_GetDelta(void);
float twTimer_GetTime(void);
int twTimer_GetFps(void);
uint32_t twTimer_GetFrames(void);
double twTimer_Seconds(void); // the monotonic clock in seconds, outside the frame timer
void twTimer_Mark(void);     // starts the stop watch
float twTimer_Elapsed(void); // seconds since the mark, unscaled
void twTimer_GetDateString(char* pstrOut);     // ctime form without the line end; 32 bytes
void twTimer_GetFileDateString(char* pstrOut); // the same with blanks and colons as "_"
int twTimer_Shutdown(void);  // frees the record; 1 also without one
