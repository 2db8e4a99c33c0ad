#include "interface/gallery.h"

#include <GL/glew.h>
#include <math.h>
#include <string.h>

#include "engine/core.h"
#include "engine/engine.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/reader.h"
#include "engine/strings.h"
#include "engine/writer.h"
#include "interface/section.h"
#include "navigation/camera.h"
#include "platform/ogl.h"

#define TAG "twGallery"
#define STR_EMPTY_COPY 312    // the label of an empty gallery in a copy, which can't keep views
#define STR_EMPTY 313         // ... and in the full program
#define STR_ANGLE_NAME 314
#define STR_CLIP_NAME 315
#define SUN_LIMIT 720         // degrees: a kept sun beyond this is damage, not a view

TwGallery* pGallery = nullptr;

static TwGalleryItem* ItemAt(TwList* pNode) { return (TwGalleryItem*)pNode->pData; }

static int IsLive(const TwGalleryItem* pItem) { return pItem && !pItem->bDeleted; }

static void SetStatus(void)
{
    TwGallery* g = pGallery;
    if (!g->bRecording) {
        if (g->iNumKeys > 0)
            snprintf(g->szStatus, sizeof(g->szStatus), "%d frames available for playback", g->iNumKeys);
        else
            g->szStatus[0] = 0;
    } else if (!g->bRecPaused) {
        snprintf(g->szStatus, sizeof(g->szStatus), "[RECORDING Frame %d/%d] Click left mouse to pause", g->iFrame,
                 g->iMaxKeys);
    } else {
        snprintf(g->szStatus, sizeof(g->szStatus), "[PAUSED] Click left mouse to %s recording",
                 g->iFrame > 0 ? "continue" : "begin");
    }
}

// Live items get their running numbers and labels in list order
static void Renumber(void)
{
    TwGallery* g = pGallery;
    int iCount = 0;
    for (TwList* n = g->pItems.pNext; n; n = n->pNext)
        if (IsLive(ItemAt(n)))
            iCount++;
    g->iNumItems = iCount;
    int i = 0;
    for (TwList* n = g->pItems.pNext; n; n = n->pNext) {
        TwGalleryItem* pItem = ItemAt(n);
        if (!IsLive(pItem))
            continue;
        pItem->iIndex = i++;
        snprintf(pItem->szLabel, sizeof(pItem->szLabel), "[%d/%d] %.100s", pItem->iIndex + 1, iCount, pItem->szName);
    }
}

void twGallery_Select(TwGalleryItem* pItem)
{
    TwGallery* g = pGallery;
    g->pSelected = pItem;
    if (!pItem) {
        g->pTexture = g->pNullTexture;
        snprintf(g->szLabel, sizeof(g->szLabel), "%s", twStrings_Get(g->bHasModel ? STR_EMPTY_COPY : STR_EMPTY));
        return;
    }
    g->pTexture = pItem->iType == TW_GALLERY_CLIP ? g->pClipTexture : g->pCameraTexture;
    snprintf(g->szLabel, sizeof(g->szLabel), "%s", pItem->szLabel);
}

int twGallery_Init(int iMaxKeys, int iKeysPerSecond, float* pvPos, float* pfAngles, float* pfTopAngles,
                   float* pvOrthoCentre, float* pfOrthoHalfWidth, int32_t* pbTop)
{
    const char* pstrTag = "twGallery_Init";
    if (pGallery || iMaxKeys <= 0 || iKeysPerSecond <= 0)
        return 0;
    pGallery = (TwGallery*)twMem_Malloc(sizeof(TwGallery), "pGallery");
    if (!pGallery) {
        twLogError(pstrTag, "!malloc : pGallery\n");
        return 0;
    }
    TwGallery* g = pGallery;
    g->pRecKeys = (TwGalleryKey*)twMem_Malloc((uint32_t)(iMaxKeys * sizeof(TwGalleryKey)), "pGallery->pRecKeys");
    if (!g->pRecKeys) {
        twLogError(pstrTag, "!malloc : pGallery->pRecKeys\n");
        return 0;
    }
    twLog(pstrTag, "Allocated %d KB for gallery clips\n", (int)(iMaxKeys * sizeof(TwGalleryKey) / 1024));
    twList_Init(&g->pItems);
    g->iMaxKeys = iMaxKeys;
    g->iKeysPerSecond = iKeysPerSecond;
    g->fKeyTime = 1.0f / (float)iKeysPerSecond;
    g->bForward = 1;
    g->bPlayAll = 1;
    g->iLastKey = -1;
    g->pvPos = pvPos;
    g->pfAngles = pfAngles;
    g->pfTopAngles = pfTopAngles;
    g->pvOrthoCentre = pvOrthoCentre;
    g->pfOrthoHalfWidth = pfOrthoHalfWidth;
    g->pbTop = pbTop;
    g->bHasModel = twCore_IsStandAlone();
    TwTexture** appTextures[5] = {&g->pNullTexture, &g->pClipTexture, &g->pCameraTexture, &g->pRecPauseTexture,
                                  &g->pRecPlayTexture};
    static const char* const apstrNames[5] = {"Null.tga", "Clip.tga", "Camera.tga", "Recpause.tga", "Recplay.tga"};
    for (int i = 0; i < 5; i++) {
        // a published copy never records and doesn't carry the recorder's two images
        if (i >= 3 && g->bHasModel && !twCore_HasResource(apstrNames[i], nullptr))
            continue;
        *appTextures[i] = twOgl_LoadResourceTexture(apstrNames[i], apstrNames[i], apstrNames[i], pstrTag);
        if (!*appTextures[i])
            return 0;
    }
    twGallery_Select(nullptr);
    return 1;
}

static void FreeItemData(TwGalleryItem* pItem)
{
    TwGallery* g = pGallery;
    if (pItem->pNavpoint && !twMem_Free(pItem->pNavpoint))
        twLogError("twGallery_DeleteItem", "!twMem_Free : pNavpoint\n");
    if (pItem->pClip) {
        // the keys may be the ones a stopped play would resume: they go with the clip
        if (pItem->pClip->pKeys == g->pKeys) {
            g->pKeys = nullptr;
            g->iNumKeys = 0;
            g->bContinue = 0;
            g->bPlaying = 0;
            g->pPlaying = nullptr;
        }
        if (pItem->pClip->pKeys && !twMem_Free(pItem->pClip->pKeys))
            twLogError("twGallery_DeleteItem", "!twMem_Free : pClip->pKeys\n");
        if (!twMem_Free(pItem->pClip))
            twLogError("twGallery_DeleteItem", "!twMem_Free : pClip\n");
    }
    twMem_Free(pItem->pstrCut);
    pItem->pNavpoint = nullptr;
    pItem->pClip = nullptr;
    pItem->pstrCut = nullptr;
    pItem->iCutLength = 0;
    pItem->bDeleted = 1;
}

void twGallery_Free(void)
{
    TwGallery* g = pGallery;
    if (!g)
        return;
    g->bPlaying = 0;
    g->pPlaying = nullptr;
    g->bRecording = 0;
    for (TwList* n = g->pItems.pNext; n; n = n->pNext)
        if (ItemAt(n))
            FreeItemData(ItemAt(n));
    g->iNumItems = 0;
    g->bContinue = 0;
    g->iNumKeys = 0;
    g->pKeys = nullptr;
    twGallery_Select(nullptr);
    SetStatus();
}

void twGallery_Shutdown(void)
{
    TwGallery* g = pGallery;
    if (!g)
        return;
    twGallery_Free();
    for (TwList* n = g->pItems.pNext; n; n = n->pNext)
        if (ItemAt(n))
            twMem_Free(ItemAt(n));
    twList_Free(&g->pItems, 0);
    TwTexture** appTextures[5] = {&g->pNullTexture, &g->pClipTexture, &g->pCameraTexture, &g->pRecPauseTexture,
                                  &g->pRecPlayTexture};
    for (TwTexture** ppTexture : appTextures)
        twOgl_ReleaseTexture(ppTexture);
    if (g->pRecKeys)
        twMem_Free(g->pRecKeys);
    twMem_Free(g);
    pGallery = nullptr;
}

TwGalleryItem* twGallery_GetNewItem(void)
{
    TwGallery* g = pGallery;
    int i = 0;
    for (TwList* n = g->pItems.pNext; n; n = n->pNext, i++) {
        TwGalleryItem* pItem = ItemAt(n);
        if (i >= g->iNumItems && pItem && pItem->bDeleted) {
            int iListIndex = pItem->iListIndex;
            memset(pItem, 0, sizeof(*pItem));
            pItem->iListIndex = iListIndex;
            return pItem;
        }
    }
    TwGalleryItem* pItem = (TwGalleryItem*)twMem_Malloc(sizeof(TwGalleryItem), "pGalleryItem");
    if (!pItem) {
        twLogError("twGallery_GetNewItem", "!malloc : pItem\n");
        return nullptr;
    }
    pItem->iListIndex = twList_AddPointer(&g->pItems, pItem);
    if (pItem->iListIndex < 0) {
        twMem_Free(pItem);
        return nullptr;
    }
    return pItem;
}

// A new item that couldn't be filled goes back to the deleted ones
static int Discard(TwGalleryItem* pItem)
{
    pItem->bDeleted = 1;
    return 0;
}

int twGallery_AddAngle(const char* pstrName, const TwNavpoint* pNavpoint)
{
    TwGallery* g = pGallery;
    TwGalleryItem* pItem = twGallery_GetNewItem();
    if (!pItem) {
        twLogError("twGallery_AddAngle", "!twGallery_GetNewItem\n");
        return 0;
    }
    pItem->pNavpoint = (TwNavpoint*)twMem_Malloc(sizeof(TwNavpoint), "pItem->pNavpoint");
    if (!pItem->pNavpoint) {
        twLogError("twGallery_AddAngle", "!malloc : pItem->pNavpoint\n");
        return Discard(pItem);
    }
    memcpy(pItem->pNavpoint, pNavpoint, sizeof(TwNavpoint));
    pItem->iType = TW_GALLERY_ANGLE;
    snprintf(pItem->szName, sizeof(pItem->szName), "%s", pstrName ? pstrName : twStrings_Get(STR_ANGLE_NAME));
    Renumber();
    twGallery_Select(pItem);
    twLog("twGallery_AddAngle", "Number of items=%d\n", g->iNumItems);
    return 1;
}

int twGallery_SetSelectedCut(const char* pstrText, int iLength)
{
    TwGalleryItem* pItem = pGallery ? pGallery->pSelected : nullptr;
    if (!pItem || pItem->iType != TW_GALLERY_ANGLE || iLength < 0)
        return 0;
    twMem_Free(pItem->pstrCut);
    pItem->pstrCut = nullptr;
    pItem->iCutLength = 0;
    if (!iLength)
        return 1;
    pItem->pstrCut = (char*)twMem_Malloc((uint32_t)iLength + 1, "pItem->pstrCut");
    if (!pItem->pstrCut) {
        twLogError("twGallery_SetSelectedCut", "!malloc : %d bytes\n", iLength);
        return 0;
    }
    memcpy(pItem->pstrCut, pstrText, (size_t)iLength);
    pItem->iCutLength = iLength;
    return 1;
}

int twGallery_AddClip(const char* pstrName)
{
    const char* pstrTag = "twGallery_AddClip";
    TwGallery* g = pGallery;
    TwGalleryItem* pItem = twGallery_GetNewItem();
    if (!pItem) {
        twLogError(pstrTag, "!twGallery_GetNewItem\n");
        return 0;
    }
    pItem->pClip = (TwClip*)twMem_Malloc(sizeof(TwClip), "pItem->pClip");
    if (!pItem->pClip) {
        twLogError(pstrTag, "!malloc : pItem->pClip\n");
        return Discard(pItem);
    }
    int iNumKeys = g->iNumKeys < 0 ? 0 : (g->iNumKeys > g->iMaxKeys ? g->iMaxKeys : g->iNumKeys);
    // a clip closed at once has no keys; its block still has room for one
    uint32_t uiBytes = (uint32_t)((iNumKeys ? iNumKeys : 1) * sizeof(TwGalleryKey));
    pItem->pClip->pKeys = (TwGalleryKey*)twMem_Malloc(uiBytes, "pKeys");
    if (!pItem->pClip->pKeys) {
        twLogError(pstrTag, "!malloc : >pKeys\n");
        twMem_Free(pItem->pClip);
        pItem->pClip = nullptr;
        return Discard(pItem);
    }
    memcpy(pItem->pClip->pKeys, g->pRecKeys, (size_t)iNumKeys * sizeof(TwGalleryKey));
    pItem->pClip->iNumKeys = iNumKeys;
    pItem->iType = TW_GALLERY_CLIP;
    if (pstrName)
        snprintf(pItem->szName, sizeof(pItem->szName), "%s", pstrName);
    else
        snprintf(pItem->szName, sizeof(pItem->szName), "%s %.1f s", twStrings_Get(STR_CLIP_NAME),
                 (float)iNumKeys * g->fKeyTime);
    Renumber();
    twGallery_Select(pItem);
    twLog(pstrTag, "Added new clip\n");
    twLog(pstrTag, "Number of keyframes=%d\n", iNumKeys);
    twLog(pstrTag, "Number of items=%d\n", g->iNumItems);
    return 1;
}

void twGallery_NavpointFromCamera(const TwCamera* c, int iSunAzimuth, int iSunAltitude, TwNavpoint* p)
{
    twCamera_GetView(c, p->vPos, p->vAngles, p->vTopAngles, p->vOrthoCentre, &p->fOrthoHalfWidth, &p->bTop);
    p->fFov = c->fFov;
    p->bWalk = c->bWalk;
    p->iSunAzimuth = iSunAzimuth;
    p->iSunAltitude = iSunAltitude;
}

int twGallery_DeleteItem(TwGalleryItem* pItem)
{
    if (!pItem)
        return 0;
    if (pItem->iType != TW_GALLERY_CLIP && pItem->iType != TW_GALLERY_ANGLE) {
        twLogError("twGallery_DeleteItem", "!Undefined item type %d\n", pItem->iType);
        return 0;
    }
    FreeItemData(pItem);
    return 1;
}

static TwGalleryItem* NextLive(TwGalleryItem* pFrom, int iType)
{
    int bPast = pFrom == nullptr;
    for (TwList* n = pGallery->pItems.pNext; n; n = n->pNext) {
        TwGalleryItem* pItem = ItemAt(n);
        if (bPast && IsLive(pItem) && (!iType || pItem->iType == iType))
            return pItem;
        if (pItem == pFrom)
            bPast = 1;
    }
    return nullptr;
}

static TwGalleryItem* PreviousLive(TwGalleryItem* pFrom)
{
    TwGalleryItem* pFound = nullptr;
    for (TwList* n = pGallery->pItems.pNext; n; n = n->pNext) {
        TwGalleryItem* pItem = ItemAt(n);
        if (pItem == pFrom)
            break;
        if (IsLive(pItem))
            pFound = pItem;
    }
    return pFound;
}

int twGallery_Delete(void)
{
    TwGallery* g = pGallery;
    TwGalleryItem* pItem = g->pSelected;
    if (!pItem)
        return 0;
    twGallery_StopPlaying();
    TwGalleryItem* pNext = NextLive(pItem, 0);
    if (!pNext)
        pNext = PreviousLive(pItem);
    twGallery_Select(nullptr);
    if (!twGallery_DeleteItem(pItem)) {
        twLogError("twGallery_Delete", "!twGallery_DeleteItem\n");
        return 0;
    }
    Renumber();
    twGallery_Select(pNext);
    return 1;
}

int twGallery_SelectNext(void)
{
    TwGalleryItem* pNext = NextLive(pGallery->pSelected, 0);
    if (!pNext)
        return 0;
    twGallery_Select(pNext);
    return 1;
}

int twGallery_SelectPrevious(void)
{
    if (!pGallery->pSelected)
        return 0;
    TwGalleryItem* pPrevious = PreviousLive(pGallery->pSelected);
    if (!pPrevious)
        return 0;
    twGallery_Select(pPrevious);
    return 1;
}

// The two items trade their slots in the list
static int Swap(TwGalleryItem* pA, TwGalleryItem* pB)
{
    if (!pA || !pB)
        return 0;
    TwList* pNodeA = nullptr;
    TwList* pNodeB = nullptr;
    for (TwList* n = pGallery->pItems.pNext; n; n = n->pNext) {
        if (n->pData == pA)
            pNodeA = n;
        else if (n->pData == pB)
            pNodeB = n;
    }
    if (!pNodeA || !pNodeB)
        return 0;
    pNodeA->pData = pB;
    pNodeB->pData = pA;
    int32_t iListIndex = pA->iListIndex;
    pA->iListIndex = pB->iListIndex;
    pB->iListIndex = iListIndex;
    Renumber();
    twGallery_Select(pA);
    return 1;
}

int twGallery_MoveEarlier(void)
{
    TwGalleryItem* pItem = pGallery->pSelected;
    return pItem ? Swap(pItem, PreviousLive(pItem)) : 0;
}

int twGallery_MoveLater(void)
{
    TwGalleryItem* pItem = pGallery->pSelected;
    return pItem ? Swap(pItem, NextLive(pItem, 0)) : 0;
}

// The navpoint into a camera, as it was kept: the view stands still where it was
static void PutNavpoint(const TwNavpoint* p, TwCamera* c)
{
    twCamera_PutView(c, p->vPos, p->vAngles, p->vTopAngles, p->vOrthoCentre, p->fOrthoHalfWidth, p->bTop);
    c->fFov = p->fFov;
    c->bWalk = p->bWalk;
    c->fForward = c->fStrafe = c->fFallSpeed = c->fImpulse = 0;
    c->fLastWalkY = c->vPos[1];
}

int twGallery_WarpToPosition(TwGalleryItem* pItem, TwCamera* pCam, int32_t* piSun1, int32_t* piSun2)
{
    if (!pItem || !pItem->pNavpoint || !pCam)
        return 0;
    PutNavpoint(pItem->pNavpoint, pCam);
    // the view's cut as it was kept; a view kept without one shows the building whole
    if (!pItem->pstrCut || !twSection_ReadState(pItem->pstrCut, pItem->iCutLength))
        twSection_Clear();
    // the kept azimuth comes back through the first pointer: the callers pair them that way
    if (piSun1)
        *piSun1 = pItem->pNavpoint->iSunAzimuth;
    if (piSun2)
        *piSun2 = pItem->pNavpoint->iSunAltitude;
    return 1;
}

static void Play(TwGalleryItem* pItem)
{
    TwGallery* g = pGallery;
    g->pKeys = pItem->pClip->pKeys;
    g->iNumKeys = pItem->pClip->iNumKeys;
    g->bPlaying = 1;
    g->pPlaying = pItem;
    g->iFrame = 0;
    g->fFrame = 0;
    g->bContinue = 0;
    twLog("twGallery_Play", "Playing '%s'\n", pItem->szName);
}

int twGallery_WarpToSelected(TwCamera* pCam, int32_t* piSun1, int32_t* piSun2)
{
    TwGallery* g = pGallery;
    TwGalleryItem* pItem = g->pSelected;
    if (!pItem || g->bRecording)
        return 0;
    if (pItem->iType == TW_GALLERY_CLIP) {
        Play(pItem);
        return 1;
    }
    twGallery_StopPlaying();
    return twGallery_WarpToPosition(pItem, pCam, piSun1, piSun2);
}

int twGallery_WarpToFirstAngle(TwCamera* pCam, int32_t* piSun1, int32_t* piSun2)
{
    return twGallery_WarpToPosition(NextLive(nullptr, TW_GALLERY_ANGLE), pCam, piSun1, piSun2);
}

int twGallery_ApplyToCamera(TwCamera* c)
{
    TwGalleryItem* pItem = pGallery ? pGallery->pSelected : nullptr;
    if (!pItem)
        return 0;
    if (pItem->pNavpoint) {
        PutNavpoint(pItem->pNavpoint, c);
        return 1;
    }
    // a clip shows its first key
    if (!pItem->pClip || pItem->pClip->iNumKeys <= 0)
        return 1;
    const TwGalleryKey* k = &pItem->pClip->pKeys[0];
    // a key keeps no roll: the camera's stays
    const float afAngles[3] = {k->fPitch, k->fYaw, c->fRoll}, afTop[3] = {k->fTopPitch, k->fTopYaw, c->fOrthoRoll};
    twCamera_PutView(c, k->vPos, afAngles, afTop, k->vOrthoCentre, k->fOrthoHalfWidth, (int)k->bTop);
    return 1;
}

// ---------------------------------------------------------------------------------------------
// Recording and playing
// ---------------------------------------------------------------------------------------------

int twGallery_StartRecording(void)
{
    TwGallery* g = pGallery;
    g->bRecPaused = 1;
    if (g->pRecKeys && !g->bPlaying) {
        g->bRecording = 1;
        g->pKeys = g->pRecKeys;
        g->iFrame = 0;
        g->fFrame = 0;
        g->bContinue = 0;
        g->pTexture = g->pRecPauseTexture;
    }
    SetStatus();
    return g->bRecording;
}

void twGallery_StopRecording(void)
{
    // the keys since the last pause are dropped
    TwGallery* g = pGallery;
    g->bRecording = 0;
    twGallery_Select(g->pSelected);
    SetStatus();
}

int twGallery_RecTogglePause(void)
{
    TwGallery* g = pGallery;
    int bMade = 0;
    g->bRecPaused = !g->bRecPaused;
    if (g->bRecPaused) {
        // every pause closes a clip, and the next is armed at once
        g->iNumKeys = g->iFrame;
        if (twGallery_AddClip(nullptr))
            bMade = 1;
        else
            twLogError("twGallery_RecTogglePause", "!twGallery_Add\n");
        g->iFrame = 0;
        g->fFrame = 0;
    }
    g->bContinue = 0;
    g->pTexture = g->bRecPaused ? g->pRecPauseTexture : g->pRecPlayTexture;
    SetStatus();
    return bMade;
}

int twGallery_PlayFromTop(void)
{
    TwGallery* g = pGallery;
    if (g->bRecording) {
        twLogError("twGallery_PlayFromTop", "!Keyframer is recording\n");
        return 0;
    }
    if (g->bPlaying) {
        twLogError("twGallery_PlayFromTop", "!Keyframer is playing\n");
        return 0;
    }
    TwGalleryItem* pClip = NextLive(nullptr, TW_GALLERY_CLIP);
    if (!pClip) {
        g->bContinue = 0;
        return 0;
    }
    Play(pClip);
    g->bContinue = 1;
    return 1;
}

int twGallery_PlayNext(void)
{
    TwGallery* g = pGallery;
    if (g->bRecording) {
        twLogError("twGallery_PlayNext", "!Keyframer is recording\n");
        return 0;
    }
    if (!g->bPlaying) {
        twLogError("twGallery_PlayNext", "!Keyframer not playing\n");
        return 0;
    }
    TwGalleryItem* pNext = NextLive(g->pPlaying, TW_GALLERY_CLIP);
    if (!pNext)
        pNext = NextLive(nullptr, TW_GALLERY_CLIP);
    if (!pNext) {
        twGallery_StopPlaying();
        return 0;
    }
    Play(pNext);
    return 1;
}

void twGallery_StopPlaying(void)
{
    pGallery->bPlaying = 0;
    pGallery->pPlaying = nullptr;
}

int twGallery_Resume(void)
{
    TwGallery* g = pGallery;
    if (!g->bContinue || !g->pKeys)
        return 0;
    g->bPlaying = 1;
    return 1;
}

static void WriteKey(TwGalleryKey* k)
{
    TwGallery* g = pGallery;
    memcpy(k->vPos, g->pvPos, sizeof(k->vPos));
    k->fPitch = g->pfAngles[0];
    k->fYaw = g->pfAngles[1];
    k->fTopPitch = g->pfTopAngles[0];
    k->fTopYaw = g->pfTopAngles[1];
    memcpy(k->vOrthoCentre, g->pvOrthoCentre, sizeof(k->vOrthoCentre));
    k->fOrthoHalfWidth = *g->pfOrthoHalfWidth;
    k->bTop = (uint32_t)*g->pbTop;
}

static float Mix(float a, float b, float t) { return a * (1 - t) + b * t; }

// The live camera at a playhead (in keys) between two keys of a clip, each component mixed
// on its own; the key after the last is the last, so a one-key clip shows its key
static void Pose(const TwGalleryKey* pKeys, int iNumKeys, float fFrame, int32_t* piKey, float* pfFrac)
{
    TwGallery* g = pGallery;
    int iLast = iNumKeys - 1;
    int i = (int)floorf(fFrame);
    i = i < 0 ? 0 : (i > iLast ? iLast : i);
    float t = fFrame - (float)i;
    t = t < 0 ? 0 : (t > 1 ? 1 : t);
    *piKey = i;
    *pfFrac = t;
    const TwGalleryKey* a = &pKeys[i];
    const TwGalleryKey* b = &pKeys[i < iLast ? i + 1 : iLast];
    for (int c = 0; c < 3; c++) {
        g->pvPos[c] = Mix(a->vPos[c], b->vPos[c], t);
        g->pvOrthoCentre[c] = Mix(a->vOrthoCentre[c], b->vOrthoCentre[c], t);
    }
    g->pfAngles[0] = Mix(a->fPitch, b->fPitch, t);
    g->pfAngles[1] = Mix(a->fYaw, b->fYaw, t);
    g->pfTopAngles[0] = Mix(a->fTopPitch, b->fTopPitch, t);
    g->pfTopAngles[1] = Mix(a->fTopYaw, b->fTopYaw, t);
    *g->pfOrthoHalfWidth = Mix(a->fOrthoHalfWidth, b->fOrthoHalfWidth, t);
    *g->pbTop = (int32_t)a->bTop;
}

float twGallery_ClipSeconds(const TwGalleryItem* pItem)
{
    if (!pGallery || !pItem || pItem->iType != TW_GALLERY_CLIP || !pItem->pClip || pItem->pClip->iNumKeys <= 0)
        return -1;
    return (float)(pItem->pClip->iNumKeys - 1) / (float)pGallery->iKeysPerSecond;
}

int twGallery_PoseClip(const TwGalleryItem* pItem, float fSeconds)
{
    if (twGallery_ClipSeconds(pItem) < 0)
        return 0;
    int32_t iKey;
    float fFrac;
    Pose(pItem->pClip->pKeys, pItem->pClip->iNumKeys, fSeconds * (float)pGallery->iKeysPerSecond, &iKey, &fFrac);
    return 1;
}

static void PlayStep(float fDelta)
{
    TwGallery* g = pGallery;
    if (!g->pKeys || g->iNumKeys <= 0) {
        twGallery_StopPlaying();
        return;
    }
    int iLast = g->iNumKeys - 1;
    Pose(g->pKeys, g->iNumKeys, g->fFrame, &g->iFrame, &g->fFrac);
    float fStep = fDelta * (float)g->iKeysPerSecond;
    g->fFrame += g->bForward ? fStep : -fStep;
    if (g->fFrame <= 0 || g->fFrame >= (float)iLast) {
        if (g->bPlayAll) {
            if (!twGallery_PlayNext())
                g->fFrame = 0;
        } else {
            g->bPlaying = 0;
            g->pPlaying = nullptr;
        }
    }
}

int twGallery_Update(float fDelta)
{
    TwGallery* g = pGallery;
    if (!g)
        return 0;
    int bClosed = 0;
    if (g->bRecording && !g->bRecPaused) {
        if (g->iFrame >= g->iMaxKeys) {
            // the buffer is full: the clip ends here rather than anything being written past it
            twLog("twGallery_Update", "The recording buffer is full after %d keys: the clip ends\n", g->iFrame);
            bClosed = twGallery_RecTogglePause();
        } else {
            // one key for each step of the clock that a frame sees: slow frames lose keys
            g->fFrame += fDelta * (float)g->iKeysPerSecond;
            int n = (int)floorf(g->fFrame);
            if (n != g->iLastKey) {
                WriteKey(&g->pRecKeys[g->iFrame]);
                g->iLastKey = n;
                g->iFrame++;
            }
        }
        SetStatus();
    } else if (g->bPlaying) {
        PlayStep(fDelta);
    }
    return bClosed;
}

int twGallery_IsRecording(void) { return pGallery && pGallery->bRecording; }
int twGallery_IsPlaying(void) { return pGallery && pGallery->bPlaying; }
int twGallery_IsRecPaused(void) { return pGallery && pGallery->bRecPaused; }
int twGallery_GetNumItems(void) { return pGallery ? pGallery->iNumItems : 0; }
int twGallery_GetPlayAllFlag(void) { return pGallery && pGallery->bPlayAll; }
TwTexture* twGallery_GetTexture(void) { return pGallery ? pGallery->pTexture : nullptr; }
const char* twGallery_GetLabel(void) { return pGallery ? pGallery->szLabel : ""; }
const char* twGallery_GetStatus(void) { return pGallery ? pGallery->szStatus : ""; }

// ---------------------------------------------------------------------------------------------
// The file
// ---------------------------------------------------------------------------------------------

int twGallery_Save(const char* pstrPath)
{
    const char* pstrTag = "twGallery_Save";
    TwGallery* g = pGallery;
    if (!g || !g->pSelected)
        return 1; // an empty gallery leaves no file
    TwWriter w;
    if (!twWriter_Open(&w, pstrPath)) {
        twLogError(pstrTag, "!fopen : '%s'\n", pstrPath);
        return 0;
    }
    // a gallery whose views keep no cut is written as before
    int bCuts = 0;
    for (TwList* n = g->pItems.pNext; n; n = n->pNext)
        bCuts |= IsLive(ItemAt(n)) && ItemAt(n)->pstrCut;
    twWriter_U8(&w, bCuts ? TW_GALLERY_MAGIC_CUTS : TW_GALLERY_MAGIC);
    twWriter_U32(&w, (uint32_t)g->bPlayAll);
    twWriter_U32(&w, (uint32_t)g->iNumItems);
    twWriter_U32(&w, (uint32_t)g->pSelected->iIndex);
    int iItem = 0;
    for (TwList* n = g->pItems.pNext; n; n = n->pNext) {
        TwGalleryItem* pItem = ItemAt(n);
        if (!IsLive(pItem))
            continue;
        twWriter_U32(&w, (uint32_t)iItem++);
        twWriter_Write(&w, pItem->szName, TW_GALLERY_NAME_SIZE);
        twWriter_U32(&w, (uint32_t)pItem->iType);
        if (pItem->iType == TW_GALLERY_CLIP && pItem->pClip) {
            twWriter_U32(&w, (uint32_t)pItem->pClip->iNumKeys);
            twWriter_Write(&w, pItem->pClip->pKeys, (int64_t)pItem->pClip->iNumKeys * (int64_t)sizeof(TwGalleryKey));
        } else if (pItem->pNavpoint) {
            twWriter_Write(&w, pItem->pNavpoint, sizeof(TwNavpoint));
            if (bCuts) {
                twWriter_U32(&w, (uint32_t)pItem->iCutLength);
                twWriter_Write(&w, pItem->pstrCut, pItem->iCutLength);
            }
        }
    }
    if (iItem != g->iNumItems) {
        twLogError(pstrTag, "iItem (%d) != iNumItems (%d)\n", iItem, g->iNumItems);
        twWriter_Abandon(&w);
        return 0;
    }
    if (!twWriter_Close(&w)) {
        twLogError(pstrTag, "!fwrite : '%s'\n", pstrPath);
        return 0;
    }
    twLog(pstrTag, "Gallery saved ok\n");
    return 1;
}

static int Finite(const float* pf, int iCount)
{
    for (int i = 0; i < iCount; i++)
        if (!isfinite(pf[i]))
            return 0;
    return 1;
}

static int BadNavpoint(const TwNavpoint* p)
{
    return !Finite(p->vPos, 14) || !(p->fFov > 0 && p->fFov < 180) || p->iSunAzimuth < -SUN_LIMIT ||
           p->iSunAzimuth > SUN_LIMIT || p->iSunAltitude < -SUN_LIMIT || p->iSunAltitude > SUN_LIMIT;
}

// One item of the file: 1, or 0 with the line that tells the damage
static int LoadItem(TwReader* r, int i, int iCount, int bCuts)
{
    const char* pstrTag = "twGallery_Load";
    TwGallery* g = pGallery;
    if (!twReader_Fits(r, 1, TW_GALLERY_ITEM_HEAD_SIZE)) {
        twLogError(pstrTag, "!The gallery ends in item %d of %d\n", i + 1, iCount);
        return 0;
    }
    int32_t iFound = twReader_I32(r);
    if (iFound != i) {
        twLogError(pstrTag, "!Index mismatch (Expected %d Found %d)\n", i, iFound);
        return 0;
    }
    char szName[TW_GALLERY_NAME_SIZE];
    twReader_Read(r, szName, sizeof(szName));
    szName[sizeof(szName) - 1] = 0;
    int32_t iType = twReader_I32(r);
    twLog(pstrTag, "Found item %d-%d type %d\n", i + 1, iCount, iType);
    if (iType == TW_GALLERY_CLIP) {
        uint32_t uiNumKeys = twReader_U32(r);
        if (uiNumKeys > (uint32_t)g->iMaxKeys) {
            twLogError(pstrTag, "!Clip %d has %u keys, more than the %d the buffer holds\n", i + 1, uiNumKeys,
                       g->iMaxKeys);
            return 0;
        }
        if (!twReader_Fits(r, uiNumKeys, sizeof(TwGalleryKey)) ||
            !twReader_Read(r, g->pRecKeys, (int64_t)uiNumKeys * (int64_t)sizeof(TwGalleryKey))) {
            twLogError(pstrTag, "!The gallery ends in the keys of item %d\n", i + 1);
            return 0;
        }
        for (uint32_t k = 0; k < uiNumKeys; k++) {
            if (!Finite(g->pRecKeys[k].vPos, 11)) {
                twLogError(pstrTag, "!Key %u of item %d is not a camera\n", k, i + 1);
                return 0;
            }
        }
        g->iNumKeys = (int32_t)uiNumKeys;
        if (!twGallery_AddClip(szName)) {
            twLogError(pstrTag, "!twGallery_AddClip\n");
            return 0;
        }
        return 1;
    }
    if (iType == TW_GALLERY_ANGLE) {
        TwNavpoint nav;
        if (!twReader_Read(r, &nav, sizeof(nav))) {
            twLogError(pstrTag, "!The gallery ends in the view of item %d\n", i + 1);
            return 0;
        }
        if (BadNavpoint(&nav)) {
            twLogError(pstrTag, "!The view of item %d is not a camera\n", i + 1);
            return 0;
        }
        if (!twGallery_AddAngle(szName, &nav)) {
            twLogError(pstrTag, "!twGallery_AddAngle\n");
            return 0;
        }
        if (!bCuts)
            return 1;
        // the view's cut: its text is read when the view is played
        uint32_t uiLength = twReader_U32(r);
        if (r->bShort || uiLength > TW_SECTION_STATE_SIZE) {
            twLogError(pstrTag, "!The cut of item %d is %u bytes, past the %d it may be\n", i + 1, uiLength,
                       TW_SECTION_STATE_SIZE);
            return 0;
        }
        char* pstrCut = (char*)twMem_GetTempBuffer(uiLength + 1, 0);
        if (!pstrCut || !twReader_Read(r, pstrCut, uiLength)) {
            twLogError(pstrTag, "!The gallery ends in the cut of item %d\n", i + 1);
            return 0;
        }
        if (!twGallery_SetSelectedCut(pstrCut, (int)uiLength)) {
            twLogError(pstrTag, "!twGallery_SetSelectedCut\n");
            return 0;
        }
        return 1;
    }
    twLogError(pstrTag, "!Undefined item type %d\n", iType);
    return 0;
}

int twGallery_Load(FILE* pFile, int64_t iSize)
{
    const char* pstrTag = "twGallery_Load";
    TwGallery* g = pGallery;
    if (!g || !pFile)
        return 0;
    g->pSelected = nullptr;
    // a gallery read in takes the recording buffer: nothing may be recording into it
    g->bRecording = 0;
    g->bPlaying = 0;
    g->pPlaying = nullptr;
    TwReader r;
    twReader_Init(&r, pFile, iSize);
    uint8_t ucMagic = twReader_U8(&r);
    int bCuts = ucMagic == TW_GALLERY_MAGIC_CUTS;
    if (ucMagic != TW_GALLERY_MAGIC && !bCuts) {
        twLogError(pstrTag, "!Failed to find G\n");
        twGallery_Select(nullptr);
        return 0;
    }
    int32_t bPlayAll = twReader_I32(&r);
    int32_t iCount = twReader_I32(&r);
    if (r.bShort) {
        twLogError(pstrTag, "!The gallery ends in its header\n");
        twGallery_Select(nullptr);
        return 0;
    }
    g->bPlayAll = bPlayAll != 0;
    if (iCount == 0) {
        twGallery_Select(nullptr);
        return 1;
    }
    int bOk = 1;
    if (iCount < 0) {
        twLogError(pstrTag, "!Wrong number of items %d\n", iCount);
        bOk = 0;
    } else {
        twLog(pstrTag, "Trying to load %d items\n", iCount);
        twReader_I32(&r); // the selected item's number: the last item read stays selected
        for (int i = 0; i < iCount && bOk; i++)
            bOk = LoadItem(&r, i, iCount, bCuts);
    }
    g->bContinue = 0;
    g->iNumKeys = 0;
    g->pKeys = nullptr;
    if (!g->pSelected)
        twGallery_Select(nullptr);
    SetStatus();
    if (bOk)
        twLog(pstrTag, "Done loading numitems=%d\n", g->iNumItems);
    return bOk;
}
