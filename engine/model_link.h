// Building models opened from the viewer, and the live link to the file they came from. The
// exporter runs as a process of its own beside the frames; its model replaces the open one
// through the loader. The source is watched, and a save that has settled is exported and
// loaded again with the walker, the layers, the gallery and the settings kept. The models
// opened last are kept in Temp. A published copy has none of this: pLink stays null.
#pragma once
#include <stdint.h>

#include "engine/core.h"

#define TW_EXPORTER_NAME "ambexport"
#define TW_RECENT_FILE "Recent.txt"
#define TW_RECENT_MAGIC "Ambulon recent 1"
#define TW_RECENT_MAX 5
#define TW_RECENT_MAX_SIZE 65536
#define TW_LINK_OUTPUT "Opening.bin"      // in Temp: the exporter's model until it has loaded
#define TW_LINK_REPORT "Opening.txt"      // in Temp: what the exporter said
#define TW_LINK_SET_ASIDE "Set aside"     // in Temp: light solutions that no longer fit
#define TW_LINK_KEPT "Kept streams"      // in Temp: the engine's streams of a set's IFC sources
#define TW_LINK_MAX_SOURCES 8             // files of one set, opened together as one model
#define TW_LINK_QUIET 0.25                // seconds a saved source must rest before it is exported
#define TW_LINK_FIRST_WAIT 3.0            // seconds of changes without rest before it is exported anyway
#define TW_LINK_LONGEST_WAIT 120.0        // the back-off's end
#define TW_LINK_FILTER "ifc;gltf;glb;obj;fbx;dae;3ds;stl;ply;exe"

// Texts of the page and the messages
enum TwLinkText {
    TW_LINK_STR_EXPORTING = 544, TW_LINK_STR_ESC_CANCELS, TW_LINK_STR_READING, TW_LINK_STR_NOT_OPENED,
    TW_LINK_STR_LIGHT_SET_ASIDE, TW_LINK_STR_BACKED_OFF, TW_LINK_STR_NOT_FOUND, TW_LINK_STR_IS_FOLDER,
    TW_LINK_STR_UNREADABLE, TW_LINK_STR_EMPTY, TW_LINK_STR_CANCELLED, TW_LINK_STR_WATCHING, TW_LINK_STR_LINK_OFF,
    TW_LINK_STR_BETWEEN_EXPORTS,
};

enum TwLinkStep { TW_LINK_IDLE = 0, TW_LINK_NOW = 1, TW_LINK_NOW_BACKED_OFF = 2 };
// How a model comes: a new one, a save of its sources, or its set with a file added or taken
// away (the walker and the hidden layers stay, and the new set is watched and remembered)
enum TwLinkOpen { TW_LINK_NEW = 0, TW_LINK_SAVED = 1, TW_LINK_SET_CHANGED = 2 };

// When a changing source is exported: once it has rested TW_LINK_QUIET, or when it never
// rests, after a wait that doubles each time so that a file written every moment can't keep
// the exporter busy for ever
struct TwLinkTimer {
    double dFirstChange, dLastChange;
    int32_t bPending;                 // changes not yet exported
    double dWait;                     // the wait of a source that never rests
};

struct TwRecentModel {
    char szPath[TW_SET_SIZE];         // one file, or the set of several
    char szLabel[64];                 // the page's button: the name and its folder, unique
    int32_t bMissing;                 // greyed out on the page
};

struct TwLink {
    int32_t bLive;                    // the Model page's switch: saves of the source reload
    char szSource[TW_SET_SIZE];       // the files the open model was exported from, joined by tabs; empty: none
    int32_t aiWatch[TW_LINK_MAX_SOURCES]; // each source's; -1: not watched
    TwLinkTimer timer;
    // the export that runs
    int32_t iPid;                     // 0: none
    int32_t bReload;                  // a TwLinkOpen: not new, the walker and layers stay
    char szExporting[TW_SET_SIZE];
    float fFraction;                  // how far it is, 0 to 1; below 0 while the source is read
    double dStarted;                  // seconds of the timer
    char szStatus[TW_PATH_SIZE];      // the bar's line
    char szLinkStatus[TW_TEXT_SIZE * 2]; // the Model page's line about the link
    TwRecentModel aRecent[TW_RECENT_MAX];
    int32_t iNumRecent;
    double dLastReload;               // seconds: when the last reload was loaded, for the benchmark
    // the next export of an IFC source, started ahead with its engine ready: a save finds
    // it waiting for the file's name on its input
    int32_t iWaitingPid;              // 0: none
    int32_t iWaitingFeed;             // its input; -1: none
    int32_t bWaitAhead;               // start one at the next frame without an export
    char szWaitingFor[TW_SET_SIZE];   // the sources it was started for
};

extern TwLink* pLink;

int twLink_Init(void);  // the full program only; reads the recent models and picks up the source of Temp's model
void twLink_Free(void); // an export that runs is stopped and its files removed
// A file to open, or several joined by tabs that make one model: a copy through its own
// loader, anything else through the exporter. A file of several that can't be opened is left
// out with a message. 1 when it was started; 0 with a message and a log line, the open model
// kept
int twLink_Open(const char* pstrPaths, int bReload);
// Files added to the open set, or one taken from it (null: none): the set exported again as a
// TW_LINK_SET_CHANGED. 0 with a log line when nothing is open or the last file would go.
int twLink_ChangeSet(const char* pstrAdd, const char* pstrRemove);
// The files of a set, at most iMax; their number
int twLink_SplitSet(const char* pstrSet, char (*paszOut)[TW_PATH_SIZE], int iMax);
// "name" of one file, "name +2" of a set of three
void twLink_SetName(const char* pstrSet, char* pstrOut, int iOutSize);
void twLink_Update(void);       // each frame: the export's progress and end, the source's saves
int twLink_IsExporting(void);
void twLink_Cancel(void);       // Esc: the export stops, nothing of it is kept
void twLink_SetLive(int bLive); // the switch; kept with the recent models
int twLink_TimerStep(TwLinkTimer* pTimer, double dNow, int bChanged, int bBusy); // a TwLinkStep
const char* twLink_GetStatus(void);    // the progress bar's line while an export runs
// The message panel: what happened, and to what (the caller logs it)
void twLink_Message(const char* pstrFirst, const char* pstrSecond);
// recent_models.cpp: the recent models from the bytes of Recent.txt; 1, or 0 with a line and
// the list empty
int twLink_ReadRecent(const char* pData, int iSize);
void twLink_LoadRecent(void);
void twLink_SaveRecent(void);               // with the switch; a failed write keeps the file there was
void twLink_AddRecent(const char* pstrPath); // at the head, once
void twLink_UpdateRecentStates(void); // greys out what can't be opened, with the reason in its label
const char* twLink_RecentPath(const char* pstrLabel); // the model of a page button, or null
const char* twLink_WhyNot(const char* pstrPath);      // why a file can't be opened, or null
// link_watch.cpp: the open source watched anew, and the page's line about it
void twLink_Watch(void);
int twLink_SourceSaved(void); // each frame: 1 when a save of the source is to be exported
