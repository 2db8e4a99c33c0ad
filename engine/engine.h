// The viewer's global state and its life: start-up and shutdown lists, the main loop,
// the update step, settings that take effect, deferred actions and the progress screen.
// Written by the engine's own steps and by the interface's commands.
#pragma once
#include <stdint.h>
#include <stdio.h>

#include "engine/core.h"

struct TwTexture;
struct TwFbo;
struct TwCamera;
struct TwModelPlace;

#define TW_APP_NAME "Ambulon 2"
#define TW_PROGRAM_NAME "Ambulon.exe"
#define TW_MAC_PROGRAM_PATH "Ambulon.app/Contents/MacOS/Ambulon"
#define TW_MODEL_RESOURCE "Export.bin"
#define TW_LIGHT_RESOURCE "LightS.bin" // its presence tells that a light solution is there
#define TW_FAIL_TAG_SIZE 16

#define TW_HOST_WINDOWS 0x01 // uiHostFiles: the Windows master is in the data directory
#define TW_HOST_MAC 0x10     // uiHostFiles: the Mac master is there

#define TW_PROGRESS_FADE_END 1.4f // seconds of the progress screen's fade-in
#define TW_LEVEL_SWAP_DELAY 0.4f  // seconds after entering a level before frames are shown
#define TW_LEVEL_GALLERY_DELAY 0.2f

#define TW_SETTINGS_FILE "Settings.bin"
#define TW_SETTINGS_ITEMS 26 // four bytes each: the version, then the settings
#define TW_SETTINGS_SIZE (TW_SETTINGS_ITEMS * 4)

#define TW_SUN_PLACE_FILE "Sun.bin"
#define TW_SUN_PLACE_TAG "SUNP"
#define TW_SUN_PLACE_SIZE (4 + 40) // the tag, then the record

// The picture's choices, kept apart from the settings: smooth edges and the screenshots' kind
#define TW_PICTURE_FILE "Picture.bin"
#define TW_PICTURE_TAG "PICT"
#define TW_SHOT_BMP 0
#define TW_SHOT_PNG 1

#define TW_MAX_RENDER_MODES 6
#define TW_NUM_BACKGROUNDS 5
#define TW_NUM_STEREO_NAMES 5

enum TwPendingKind {
    TW_PENDING_NONE = 0, TW_PENDING_OPEN = 1, TW_PENDING_PUBLISH_WIN = 2, TW_PENDING_PUBLISH_MAC = 3,
    TW_PENDING_OPEN_MODEL = 4, // the dialog of building models, then the exporter
    TW_PENDING_ADD_MODEL = 5,  // the same dialog, its files added to what is open
    TW_PENDING_REMOVE_MODEL = 6, // a list of the open files, the one chosen taken away
};
// The message panel's kinds (iMessageKind): what its second line says
#define TW_MESSAGE_FILE_ERROR 1 // "File error"
#define TW_MESSAGE_OLD_MODEL 2  // the model file is older than the loader reads
#define TW_MESSAGE_FAILED 3     // the action could not be completed
#define TW_MESSAGE_NO_SHADOWS 4 // the card can't draw shadows
#define TW_MESSAGE_PUBLISHING 5 // a copy is being published
#define TW_MESSAGE_TEXT 6       // szMessageText
#define TW_MESSAGE_SECONDS 6.0f // how long the panel stays up, unless a kind says otherwise

// The sun's date, time and place, as "Sun.bin" holds it after its tag
struct TwSunPlace {
    int32_t bFollow;                  // the sun's angles follow the date, time and place
    int32_t iYear, iMonth, iDay;
    int32_t iHour, iMinute;           // the clock's time where the building stands
    float fLatitude;                  // degrees, north positive
    float fLongitude;                 // degrees, east positive
    float fUtcOffset;                 // hours the clock is ahead of UTC
    float fNorth;                     // degrees from the plan's up to true north, clockwise
};
static_assert(sizeof(TwSunPlace) == TW_SUN_PLACE_SIZE - 4, "the record mirrors the file");

struct TwEngine {
    char szInfo[TW_PATH_SIZE];        // the developer panel's "Info" line
    char szPickedPath[TW_PATH_SIZE];  // where the save dialog put a publish action
    float fProgressFade;              // seconds of the progress screen's fade-in, stops above 1.4
    int32_t iPendingStep;             // frame counter of a deferred action; 0: none
    int32_t iPendingKind;             // TwPendingKind
    int32_t bStarted;                 // start-up passed the camera step: settings are saved at shutdown
    int32_t bPublished;               // a publish succeeded: the host's model is removed at shutdown
    char szLegalLine[TW_PATH_SIZE];   // foot of the information page
    TwFbo* pFboL;                     // eye buffers of quad-buffered stereo
    TwFbo* pFboR;
    TwFbo* pWindowSamples;            // the frame's multisampled twin, for smooth edges
    int32_t bWindowSamplesTried;
    int32_t iStereoShift;             // pixels between the eyes
    int32_t iNumStereoModes;          // 3, or 4 with quad-buffered stereo
    int32_t iStereoExtraWidth;        // each eye buffer is this much wider than the window
    int32_t bStereoBuffers;           // both eye buffers exist
    TwTexture* pPlaneTexture;         // "Plane.tga": the flying mark
    float fMessageTime;               // seconds the message panel stays up
    int32_t iMessageKind;             // which second line it shows
    char szMessageText[TW_PATH_SIZE]; // the second line of TW_MESSAGE_TEXT
    char szOpenAtStart[TW_PATH_SIZE]; // the file named on the command line, opened once the level runs
    int32_t bLightLoaded;             // the open model came with its light
    TwTexture* pFbTex;                // "FrameBuffer-8x8"
    int32_t bDrawFlare;               // setting
    char szModelInfo[TW_PATH_SIZE];   // filled by the model loader
    char szVersion[64];               // "%u.%u" of the product version
    char szModelPath[TW_PATH_SIZE];   // the model that is open
    char szEngineInfo[TW_PATH_SIZE];  // the developer panel's "Engine info" line
    TwTexture* pGalleryTexture;       // the gallery preview
    TwTexture* pRecTexture;           // "Rec.tga"
    TwTexture* pPauseTexture;         // "Pause.tga"
    int32_t iMouseDx, iMouseDy, iMouseDz; // the frame's mouse motion
    float fCollisionSize;             // setting: the walker's radius, metres
    float fLightGain;                 // setting, 0 to 2
    int32_t iInterfHeight;            // the interface panel's height, pixels
    float fInterfSlide;               // 0 hidden, 1 out
    float fInterfSlideSpeed;          // units a second
    float fInterfSlideDir;            // +1 opening, -1 closing, 0 at rest
    int32_t bRadiosity;               // the light job is offered
    int32_t bNoShaders;               // no shader path: fixed-function modes only
    int32_t bStandAlone;              // the program carries its own model
    uint32_t uiHostFiles;             // TW_HOST_WINDOWS, TW_HOST_MAC
    int32_t bQuit;                    // ends the main loop
    int32_t bInterface;               // the interface panel is shown
    int32_t bDevMode;
    int32_t iSkyMode;                 // 0 clear colour, 1 skybox, 2 gradient plane
    int32_t iSunUpdate;               // two-frame countdown of a sun move
    int32_t iLayerUpdate;             // two-frame countdown of a layer change
    int32_t bUpdateGalleryImage;
    int32_t bUseVbo;
    int32_t bClearColor;              // the colour buffer is cleared each frame
    int32_t bShowHints;               // setting
    float fHintTime;                  // seconds left of the hint panel
    float fTimeRunning;               // seconds of update steps since start
    float fTimeInLevel;               // seconds since a level was entered
    float fIdleLimit;                 // seconds without input before the gallery plays
    float fNoteTime;                  // seconds left of the short note
    float fLightLevel, fLightLevelWanted;
    int32_t iNumRenderModes;
    int32_t iRenderMode, iRenderModeWanted; // places in the list of modes on offer
    int32_t iDrawMode;                // the applied mode as drawn: TW_MODE_* of render/render.h
    char aszRenderModes[TW_MAX_RENDER_MODES][TW_TEXT_SIZE];
    const char* apszRenderModes[TW_MAX_RENDER_MODES];
    int32_t iBackground, iBackgroundWanted;
    char aszBackgrounds[TW_NUM_BACKGROUNDS][TW_TEXT_SIZE];
    const char* apszBackgrounds[TW_NUM_BACKGROUNDS];
    int32_t iStereoMode;              // 0 off, 1 colour-masked, 2 split screen, 3 quad-buffered
    char aszStereoModes[TW_NUM_STEREO_NAMES][TW_TEXT_SIZE];
    const char* apszStereoModes[TW_NUM_STEREO_NAMES];
    char aszNoYes[2][TW_TEXT_SIZE];
    const char* apszNoYes[2];
    char aszLookMode[2][TW_TEXT_SIZE];
    const char* apszLookMode[2];
    int32_t iSceneOption, iSceneOptionWanted;
    int32_t iUnits, iUnitsWanted;     // 0 metres, 1 feet
    float fUnitScale;                 // -1 metres, -3.28084 feet: the sign is part of the value
    char szUnitSuffix[TW_TEXT_SIZE];  // " %s" of the unit's short name
    int32_t iSunAltitude, iSunAltitudeWanted; // whole degrees
    int32_t iSunAzimuth, iSunAzimuthWanted;
    float fSunShadow, fSunShadowWanted;       // -1 to 1
    float vClearColor[4];
    float vNoteColor[3];
    // fields of the frame renderer and the interface that the settings reach
    int32_t bSunShadows;              // sun shadows are on
    int32_t bDrawEdges;               // setting
    int32_t bSoftShadows;             // setting
    int32_t bSkyFollowsSun;           // setting
    int32_t bSmoothEdges;             // picture choice: the window's samples smooth the edges
    int32_t iShotFormat;              // picture choice: TW_SHOT_BMP or TW_SHOT_PNG
    int32_t iSunAltitudeState, iSunAzimuthState, iShadowState; // control-state words of the view page
    float fScale1, fScale10, fScale100, fScale200, fScale1000; // display scales of value controls
    // the panel's pointer: the frozen one for hit tests stands still while the left button is held
    int32_t iMouseX, iMouseY, iLiveX, iLiveY;
    int32_t bStatistics;              // U: the frame rate and counts panel
    int32_t bPlayOnStart;             // setting: a copy plays its gallery at start
    int32_t bPlayWhenIdle;            // setting: the gallery plays after a while without input
    int32_t bAngleWithSun;            // a kept angle brings back its sun
    float fIdleTime;                  // seconds without input
    int32_t bIdle;
    int32_t bWheelFast;               // Backspace: the wheel's speed
    int32_t bWheelLock;
    int32_t bDevSwitchF;              // Z+F: a switch nothing reads
    int32_t bDisplaySwitchO;          // O: a display switch nothing reads yet
    int32_t bMeasureMode;             // M: the measure tool is on
    int32_t bElementPick;             // I: the element pick is on
    int32_t iTrackedElement;          // the element under the cross after the last frame; -1: none
    int32_t iPickedElement;           // the one a click kept; -1: none
    // developer switches (the Z keys of dev mode)
    int32_t iDrawVolumes;
    int32_t bDrawSun, bInstances, bDrawSurfaces, bOcclusionCulling, bDrawOccluders, bSelectMode, bDrawSmooth;
    int32_t bTransparency, bViewFromSun;
    // the sun from a date, a time and a place
    TwSunPlace sunPlace;
    int32_t iSunPlaceAltitude, iSunPlaceAzimuth; // the angles it last set
    float fScaleDegrees;              // -1: the place's degrees with two decimals
    char szSunPlaceStatus[TW_TEXT_SIZE * 2];
};

extern TwEngine* pEngine;

// the engine entry: start, run, shut down; the exit code. pstrOpen: a file to open once the
// level runs (the full program only)
int twEngine_Main(const char* pstrExePath, const char* pstrOpen = nullptr);
int twEngine_Startup(const char* pstrExePath, char* pstrFailTag); // 0 with a failure tag (16 bytes)
int twEngine_Run(void);
int twEngine_Shutdown(void);
int twEngine_InitCore(const char* pstrExePath);
int twEngine_InitWindow(void);
int twEngine_InitInput(void);
int twEngine_InitOpenGL(void);
int twEngine_InitStrings(void);
int twEngine_InitEngine(void);
int twEngine_InitCamera(void);
int twEngine_InitLayers(void);
int twEngine_InitWorld(void);
int twEngine_InitSkybox(void);
int twEngine_InitGallery(void);
int twEngine_SaveGallery(void);      // the user's gallery into Temp, after every change
void twEngine_ApplyFirstAngle(void); // the gallery's first angle into the camera
void twEngine_WarpToSelected(void);  // the selected angle into the camera, or its clip played
void twEngine_DrawView(const TwCamera* pCamera, int iWidth, int iHeight); // sky and model, as the frame
// a view other than the frame's, cleared and drawn into the bound buffer: its matrices and
// a whole round of the sweep from it first (render/frame.cpp)
void twEngine_DrawViewAlone(TwCamera* pCamera, int iWidth, int iHeight);
// The same into a frame buffer (null: the one bound), smoothed through its multisampled twin
// when it has one; the frame buffer stays bound
void twEngine_DrawViewInto(TwFbo* pFbo, TwCamera* pCamera, int iWidth, int iHeight);
int twEngine_UpdateSun(void); // turns the sun's camera to the applied angles
int twEngine_ToggleSunShadows(void); // F3
int twEngine_Screenshot(void);       // F5: the back buffer as a BMP (publish/screenshot.cpp)
int twEngine_LargeScreenshot(int iFactor); // Shift+F5: the view alone, iFactor times the window each way
// The preview texture renewed: the selected item's view drawn at twice the size and
// reduced, or the stock picture when nothing is selected
int twEngine_UpdateGallery(TwTexture* pTexture);

void twEngine_FlashNote(float fRed, float fGreen, float fBlue); // the shutter flash (render/frame.cpp)
// The message panel for some seconds: a kind's own line, or with TW_MESSAGE_TEXT the text
// given (a "\n" in it starts a line of its own)
void twEngine_ShowMessage(int iKind, float fSeconds, const char* pstrText);
// A model has just loaded: no message, nothing picked or kept, the sun's shadow drawn anew;
// a new one (not a reload of the same building) starts its time in the level again
void twEngine_ModelIn(int bReload);
void twEngine_ShotPaths(const char* pstrSuffix, const char* pstrExtension, char* pstrPath, char* pstrFallback,
                        size_t uiSize); // a new picture's name; the path is empty in a stand-alone copy
// the selected clip filmed (publish/video.cpp)
int twEngine_StartVideo(void);
int twEngine_VideoStep(float fDelta); // from the update step: a frame, or the MP4's progress; 0 when none runs
void twEngine_StopVideo(void);        // Esc: nothing of it is kept
int twEngine_IsVideoRunning(void);
const char* twEngine_GetVideoStatus(void);
float twEngine_GetVideoProgress(void); // 0 to 1
int twEngine_Load(const char* pstrPath); // opens a stand-alone copy as the model; null asks the user
// The light a copy carries, after its model (the copy opened, or null for the own pack);
// without it, or where it doesn't load, the model runs unlit
void twEngine_LoadCopyLight(const char* pstrFrom, const char* pstrTag);
// Temp's light for the model just loaded: 1 loaded, 0 none; -1 it didn't fit and was moved
// into pstrSetAsideIn (null: left where it is)
int twEngine_ReloadLight(const char* pstrSetAsideIn);
int twEngine_Save(int bMac, const char* pstrPath); // publishes a copy (publish/publish.cpp)
int twEngine_PickPublishPath(int bMac);            // the save dialog into szPickedPath
int twEngine_RunPending(const char* pstrPath, int* piStep, int* piKind, float* pfMessageTime, int* piMessageKind);
int twEngine_InitAvailableRenderModes(int bNoShaders);
int twEngine_RenderModeIndex(int iDrawMode); // the place of a TW_MODE_* in the list on offer
int twEngine_Update(void);
void twEngine_Draw(void);        // the frame (render/frame.cpp)
void twEngine_HandleInput(void); // keys and commands (interface/viewer.cpp)
int twEngine_ApplySettings(void);
int twEngine_LoadSaveSettings(FILE* pFile, int bSave); // null: the user's Temp/Settings.bin
// the sun from a date and a place (engine/sun_place.cpp)
void twEngine_SunPosition(const TwSunPlace* pPlace, double* pdAltitude, double* pdAzimuth); // true north, clockwise
int twEngine_SunAzimuthInModel(double dAzimuth, float fNorth); // the engine's azimuth, 1 to 360
int twEngine_ApplySunPlace(void); // the sun's wanted angles from the place when it follows; 1 when they changed
// A new model's site, where its file gives one, becomes the sun's place (its clock's hours
// from its longitude); 1 when it did
int twEngine_TakeSitePlace(const TwModelPlace* pPlace);
void twEngine_CheckSunFollow(void); // a sun moved by other means no longer follows the date
int twEngine_LoadSaveSunPlace(FILE* pFile, int64_t iSize, int bSave); // null: the user's Temp/Sun.bin
// The picture's choices from or to the user's Temp/Picture.bin; without one the defaults stand
int twEngine_LoadSavePicture(int bSave);
int twEngine_ReadPicture(FILE* pFile); // from a stream: 1, or 0 with the choices as they were
int twEngine_InitInterf(void);   // the panel's pages (interface/viewer.cpp)
// the light page's buttons as the model's light stands (none, part way, complete), and the
// page brought up with bShowPage (interface/viewer.cpp)
void twEngine_ShowLightState(int bShowPage);
int twEngine_InitDevMode(void);  // interface/dev.cpp
void twDev_DrawPanel(void);
void twDev_Free(void);
int twEngine_EnterLevel(void);
int twEngine_ShowProgress(const char* pstrLine1, const char* pstrLine2, float fFraction);
void twEngine_DrawProgressBar(int iWidth, float fFraction, const char* pstrText); // render/frame.cpp
int twEngine_PrepareLight(void);          // a new light solution's frame, and the lit mode
int twEngine_RunLight(int bOnlyVisible);  // the light job, Esc breaking it off
void twEngine_LightProgress(void);        // the redraw during the light job
