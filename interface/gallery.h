// The gallery: kept views (angles, each a frozen camera with its sun) and clips (camera
// paths sampled at a fixed rate). It records from the live camera, plays clips back into it
// with linear steps between keys, runs all clips one after another, and is stored as the
// "Gallery" file: with a published copy, or in the user's Temp between runs.
#pragma once
#include <stdint.h>
#include <stdio.h>

#include "engine/list.h"

struct TwCamera;
struct TwTexture;

#define TW_GALLERY_FILE "Gallery"
#define TW_GALLERY_MAX_KEYS 8400      // seven minutes at 20 keys a second
#define TW_GALLERY_KEYS_PER_SECOND 20
#define TW_GALLERY_NAME_SIZE 128
#define TW_GALLERY_CLIP 1
#define TW_GALLERY_ANGLE 2
#define TW_GALLERY_HEADER_SIZE 13     // "G", bPlayAll, the count, the selected item
#define TW_GALLERY_MAGIC 'G'          // views without cuts, as every gallery was
#define TW_GALLERY_MAGIC_CUTS 'S'     // each view followed by its cut's text: a length and the bytes
#define TW_GALLERY_ITEM_HEAD_SIZE (4 + TW_GALLERY_NAME_SIZE + 4)

// One step of a clip, as in the file
struct TwGalleryKey {
    float vPos[3];
    float fPitch, fYaw;
    float fTopPitch, fTopYaw;
    float vOrthoCentre[3];
    float fOrthoHalfWidth;
    uint32_t bTop;
};
static_assert(sizeof(TwGalleryKey) == 48, "a key mirrors the file");

// A kept view, as in the file
struct TwNavpoint {
    float vPos[3];
    float vAngles[3];       // pitch, yaw, roll
    float vTopAngles[3];
    float vOrthoCentre[3];
    float fOrthoHalfWidth;
    float fFov;
    int32_t bTop;
    int32_t bWalk;
    int32_t iSunAzimuth;    // the applied sun when it was kept
    int32_t iSunAltitude;
};
static_assert(sizeof(TwNavpoint) == 72, "a navpoint mirrors the file");

struct TwClip {
    TwGalleryKey* pKeys;
    int32_t iNumKeys;
};

struct TwGalleryItem {
    int32_t iListIndex;     // its slot in pItems
    int32_t iIndex;         // running number among live items
    int32_t iType;          // TW_GALLERY_CLIP or TW_GALLERY_ANGLE
    int32_t bDeleted;       // kept in the list for reuse
    char szName[TW_GALLERY_NAME_SIZE];
    char szLabel[TW_GALLERY_NAME_SIZE]; // "[n/m] name"
    TwNavpoint* pNavpoint;
    TwClip* pClip;
    char* pstrCut;          // a view's section state as text, owned; null: kept without one
    int32_t iCutLength;
};

struct TwGallery {
    TwGalleryKey* pRecKeys;       // iMaxKeys keys: the one recording buffer
    TwGalleryKey* pKeys;          // the keys played, or pRecKeys while recording
    TwList pItems;                // every item, deleted ones included
    TwGalleryItem* pSelected;
    TwGalleryItem* pPlaying;
    int32_t iNumItems;            // live items
    int32_t iMaxKeys;
    int32_t iKeysPerSecond;
    int32_t bContinue;            // play goes on where it stopped
    int32_t bRecording, bPlaying;
    int32_t bForward;             // the playback's direction
    int32_t bRecPaused;
    int32_t bPlayAll;             // at a clip's end go on with the next; kept in the file
    int32_t iNumKeys;             // keys in pKeys
    int32_t iFrame;               // next key to write, or the key before the playhead
    float fKeyTime;               // seconds a key
    float fFrame;                 // the playhead, in keys
    float fFrac;
    int32_t iLastKey;             // the clock's step of the last key written; -1 at first
    // the live camera, given at start
    float* pvPos;
    float* pfAngles;              // pitch, yaw
    float* pfTopAngles;
    float* pvOrthoCentre;
    float* pfOrthoHalfWidth;
    int32_t* pbTop;
    TwTexture* pNullTexture;      // the kind images: nothing, a clip, an angle, and recording
    TwTexture* pClipTexture;
    TwTexture* pCameraTexture;
    TwTexture* pRecPauseTexture;
    TwTexture* pRecPlayTexture;
    TwTexture* pTexture;          // the one shown for the selected item
    char szLabel[TW_GALLERY_NAME_SIZE];
    char szStatus[TW_GALLERY_NAME_SIZE];
    int32_t bHasModel;            // the program carries its own model
};

extern TwGallery* pGallery;

int twGallery_Init(int iMaxKeys, int iKeysPerSecond, float* pvPos, float* pfAngles, float* pfTopAngles,
                   float* pvOrthoCentre, float* pfOrthoHalfWidth, int32_t* pbTop);
void twGallery_Shutdown(void);
void twGallery_Free(void); // every item deleted, the list kept for reuse
// A gallery file from the stream's position, iSize bytes (-1: to the end); the items
// before any damage are kept
int twGallery_Load(FILE* pFile, int64_t iSize);
int twGallery_Save(const char* pstrPath); // nothing selected: no file, and 1
TwGalleryItem* twGallery_GetNewItem(void);
int twGallery_AddAngle(const char* pstrName, const TwNavpoint* pNavpoint);
// The section state the selected view keeps, as text; 0 out of memory
int twGallery_SetSelectedCut(const char* pstrText, int iLength);
int twGallery_AddClip(const char* pstrName); // the iNumKeys keys of pRecKeys
// The section state the selected view keeps, as text; 0 out of memory
int twGallery_SetSelectedCut(const char* pstrText, int iLength);
void twGallery_NavpointFromCamera(const TwCamera* pCam, int iSunAzimuth, int iSunAltitude, TwNavpoint* pOut);
int twGallery_DeleteItem(TwGalleryItem* pItem);
int twGallery_Delete(void);
void twGallery_Select(TwGalleryItem* pItem);
int twGallery_WarpToPosition(TwGalleryItem* pItem, TwCamera* pCam, int32_t* piSun1, int32_t* piSun2);
int twGallery_WarpToSelected(TwCamera* pCam, int32_t* piSun1, int32_t* piSun2);
int twGallery_WarpToFirstAngle(TwCamera* pCam, int32_t* piSun1, int32_t* piSun2);
int twGallery_ApplyToCamera(TwCamera* pCam); // the selected item's view, for the preview
int twGallery_SelectNext(void);
int twGallery_SelectPrevious(void);
int twGallery_MoveEarlier(void);
int twGallery_MoveLater(void);
int twGallery_StartRecording(void);
void twGallery_StopRecording(void);
int twGallery_RecTogglePause(void); // 1 when the pause closed a clip
int twGallery_PlayFromTop(void);
int twGallery_PlayNext(void);
void twGallery_StopPlaying(void);
int twGallery_Resume(void);
float twGallery_ClipSeconds(const TwGalleryItem* pItem); // a clip's length; -1 for anything else
int twGallery_PoseClip(const TwGalleryItem* pItem, float fSeconds); // the live camera at that time of a clip
int twGallery_Update(float fDelta); // once a frame; 1 when a clip was closed at the buffer's end
int twGallery_IsRecording(void);
int twGallery_IsPlaying(void);
int twGallery_IsRecPaused(void);
int twGallery_GetNumItems(void);
int twGallery_GetPlayAllFlag(void);
TwTexture* twGallery_GetTexture(void);
const char* twGallery_GetLabel(void);
const char* twGallery_GetStatus(void);
